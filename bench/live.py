#!/usr/bin/env python3
"""Delay of the results of a live recording, and throughput of recordings that are files.

    bench/live.py KOR [--against OLD] [--rows N] [--runs N] [--samples N]

Delay: from the sending of a row to the arrival of its result, at 200 Hz and 1 kHz, through standard input and output as
pipes and through FIFOs, as CSV and as binary records; the next row is sent when the result of the last one is there. The
results of each stream are compared with those of the same rows in a file.

Throughput: rows per second of a recording that is a file, start of the program included. With another build of the program,
OLD, both run by turns, after a look at whether they give the same results; the figure is the fastest run of each.
"""
import argparse
import os
import pathlib
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "tool"))
from feed import Stream, figures, latencies  # noqa: E402: found only now

PARAMETERS = ["--prm", str(ROOT / "data" / "polarizer"), "--id", "1005"]
RECORD = 68
FORMS = {"csv": "csv", "bin": "korraw"}


def run(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if done.returncode != 0:
        sys.exit(f"{' '.join(command)}\nended with status {done.returncode}: {done.stderr.decode()}")
    return done.stdout


def simulate(kor, path, count):
    """A recording of a simulated sensor; the same rows in every format."""
    run(kor, "simulate", *PARAMETERS, "--motion", "random", "--samples", str(count), "--reference", "5",
        "--progress=never", "-o", path)


def rows_of(path):
    """The header and the rows of a recording."""
    content = pathlib.Path(path).read_bytes()
    if path.endswith(".csv"):
        header, *rows = content.splitlines(True)
        return header, rows
    return b"", [content[at:at + RECORD] for at in range(0, len(content), RECORD)]


def measure_delay(kor, folder, count):
    print(f"Delay of each of {count} results, ms")
    replay = [kor, "replay", *PARAMETERS, "--progress=never", "--format"]
    for form, extension in FORMS.items():
        path = os.path.join(folder, "delay." + extension)
        simulate(kor, path, count)
        wanted = run(*replay, form, path)
        header, rows = rows_of(path)
        for transport in ("pipe", "FIFO"):
            names = None if transport == "pipe" else ("feed." + extension, "results")
            for rate in (200, 1000):
                stream = Stream([*replay, form], names)
                took = latencies(stream, header, rows, rate)
                out, status, errors = stream.finish()
                if status != 0 or out != wanted:
                    sys.exit(f"{transport}, {form}: status {status}, other results than those of the file\n{errors}")
                print(f"  {transport}, {form}, {rate:>4} Hz:  {figures(took)}", flush=True)


def columns_of(results):
    """The results by column."""
    lines = results.decode().splitlines()
    return dict(zip(lines[0].split(","), zip(*(line.split(",") for line in lines[1:]))))


def compare(one, other):
    """Whether two programs give the same results, in the columns that both have."""
    ours, theirs = columns_of(one), columns_of(other)
    common = [name for name in ours if name in theirs]
    different = [name for name in common if ours[name] != theirs[name]]
    if different or not common:
        sys.exit(f"the results differ in {', '.join(different) or 'all columns'}")
    return len(common)


def measure_throughput(programs, folder, count, runs):
    print(f"Throughput of a file of {count} rows, fastest of {runs} runs, rows per second")
    for form, extension in FORMS.items():
        path = os.path.join(folder, "throughput." + extension)
        simulate(programs["KOR"], path, count)
        results = [run(program, "replay", *PARAMETERS, "--progress=never", path) for program in programs.values()]
        agree = f"  ({compare(*results)} columns agree)" if len(results) == 2 else ""
        best = dict.fromkeys(programs, float("inf"))
        for _ in range(runs):
            for name, program in programs.items():
                out = os.path.join(folder, name)
                begun = time.perf_counter()
                run(program, "replay", *PARAMETERS, "--progress=never", path, "-o", out)
                best[name] = min(best[name], time.perf_counter() - begun)
        text = "  ".join(f"{name} {count / seconds:.0f}" for name, seconds in best.items())
        if "OLD" in best:
            text += f"  ratio {best['OLD'] / best['KOR']:.3f}"
        print(f"  {form}:  {text}{agree}", flush=True)


def main():
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("kor", metavar="KOR")
    arguments.add_argument("--against", metavar="OLD", help="an earlier build of the program")
    arguments.add_argument("--rows", metavar="N", type=int, default=200000, help="of the file, 200000")
    arguments.add_argument("--runs", metavar="N", type=int, default=7, help="of each program on the file, 7")
    arguments.add_argument("--samples", metavar="N", type=int, default=1000, help="of each live recording, 1000")
    given = arguments.parse_args()
    programs = {"KOR": os.path.abspath(given.kor)}
    if given.against:
        programs["OLD"] = os.path.abspath(given.against)
    with tempfile.TemporaryDirectory(prefix="kor-bench-") as folder:
        measure_delay(programs["KOR"], folder, given.samples)
        measure_throughput(programs, folder, given.rows, given.runs)


if __name__ == "__main__":
    main()
