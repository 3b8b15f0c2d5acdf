#!/usr/bin/env python3
"""This tree's library and tool against those of another revision, by turns.

    compare.py BUILD ENGINE_BENCH KOR [--quick] [engine] [recordings]

BUILD is the folder of the preset "bench"; ENGINE_BENCH and KOR are the programs with the other revision's library. Ends
with 1 if a sample takes more than one per cent more instructions than there.
"""
import argparse
import json
import os
import pathlib
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import callgrind  # noqa: E402: found only now
from bench import Bench, COUNTED, ENGINE, SENSORS, Sensor, both, output_of, searching  # noqa: E402
from measure import by_turns, run_once  # noqa: E402

MOST = 1.01


def engine(bench, old, folder):
    """One row for each mode; the modes whose samples have become dearer."""
    rows, dearer = [], []
    for mode in (1, 3, 5, 7, 9) if bench.quick else SENSORS:
        sensor = Sensor(bench, mode, folder, change=searching if mode == 3 else None)
        new_task = sensor.task(bench)
        old_task = [str(old), *new_task[1:]]
        digests = [json.loads(output_of(*task, "equal"))["digest"] for task in (new_task, old_task)]
        if digests[0] != digests[1]:
            sys.exit(f"mode {mode}: the two revisions give different results")
        counts = [callgrind.profile([*task, "feed", str(COUNTED)], ENGINE)[0].total / COUNTED
                  for task in (new_task, old_task)]
        spent = [[], []]
        for _ in range(bench.rounds):
            for times, task in zip(spent, (new_task, old_task)):
                times.append(json.loads(output_of(*task, "time", 3))["engine"][0])
        figures = [(min(times), sorted(times)[len(times) // 2]) for times in spent]
        grown = counts[0] / counts[1]
        dearer += [str(mode)] if grown > MOST else []
        rows.append([str(mode), f"{counts[1]:.0f}", f"{counts[0]:.0f}", f"{grown:.3f}", both(figures[1]), both(figures[0]),
                     both([then / now for then, now in zip(figures[1], figures[0])], 2)])
    bench.table("Engine, then and now", ["mode", "instructions then", "now", "ratio", "ns then", "ns now", "times as fast"],
                rows)
    return dearer


def replay(bench, old_kor, folder):
    rows = 50000 if bench.quick else 500000
    sensor = Sensor(bench, 5, folder, samples=rows)
    csv = os.path.join(folder, "raw.csv")
    bench.simulate(sensor, csv, rows)
    table = []
    for form, source, result in (("CSV to CSV", csv, "csv"), ("binary to binary", sensor.recording, "korinfo")):
        outs = [os.path.join(folder, f"{name}.{result}") for name in ("new", "old")]
        commands = [[str(kor), "replay", "--prm", str(sensor.directory), "--id", str(sensor.identity), "--progress=never",
                     "--force", source, "-o", out] for kor, out in zip((bench.programs["kor"], old_kor), outs)]
        for command in commands:
            run_once(command)
        same = pathlib.Path(outs[0]).read_bytes() == pathlib.Path(outs[1]).read_bytes()
        runs = by_turns({str(i): (lambda command=command: run_once(command)) for i, command in enumerate(commands)}, 7)
        now, then = runs["0"], runs["1"]
        table.append([form, both((then.least(), then.median()), 3), both((now.least(), now.median()), 3),
                      both((then.least() / now.least(), then.median() / now.median()), 2), "yes" if same else "no"])
    bench.table(f"kor replay of {rows:,} samples, then and now", ["form", "s then", "s now", "times as fast", "same bytes"],
                table)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", metavar="BUILD", type=pathlib.Path)
    parser.add_argument("engine_bench", metavar="ENGINE_BENCH", type=pathlib.Path)
    parser.add_argument("kor", metavar="KOR", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true", help="fewer modes and rounds, shorter recordings")
    parser.add_argument("sections", metavar="SECTION", nargs="*", help="engine, recordings; both without one")
    given = parser.parse_intermixed_args()
    sections = given.sections or ("engine", "recordings")
    bench = Bench(given.build.resolve(), given.quick)
    with tempfile.TemporaryDirectory(prefix="kor-bench-") as folder:
        dearer = engine(bench, given.engine_bench.resolve(), folder) if "engine" in sections else []
        if "recordings" in sections:
            replay(bench, given.kor.resolve(), folder)
    if dearer:
        sys.exit(f"a sample takes more than one per cent more instructions in mode {', '.join(dearer)}")


if __name__ == "__main__":
    main()
