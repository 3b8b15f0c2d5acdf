#!/usr/bin/env python3
"""Holds the instructions that a sample takes, modes 1, 5 and 9, to the stored figures.

    instructions.py KOR ENGINE_BENCH COMPILER [--update]
    instructions.py --itself

COMPILER is the compiler's name and version. The figures stand in instructions.json, by compiler and C library; --update
stores them. They do not depend on the processor, because every count takes the mathematical functions that each x86-64
processor has. Ends with 1 if a figure is more than one per cent above the stored one.

Another compiler or C library has other figures. Without stored ones a sample may take LOOSELY times the instructions that
the plain formulas spend within the mathematical functions in the same run.
"""
import argparse
import concurrent.futures
import json
import os
import pathlib
import platform
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
import callgrind  # noqa: E402: found only now
from bench import ENGINE, PLAIN, ROOT, SENSORS  # noqa: E402

STORED = HERE / "instructions.json"
MOST = 1.01
LOOSELY = 3.0
MODES = (1, 5, 9)
SAMPLES = 400


def counted(kor, engine_bench, mode, folder):
    """Instructions of a sample, and those of the plain formulas within the mathematical functions."""
    directory, identity = ROOT / "data" / SENSORS[mode], 1000 + mode
    recording = os.path.join(folder, f"{mode}.korraw")
    subprocess.run([kor, "simulate", "--prm", directory, "--id", str(identity), "--motion", "random", "--rate", "1000",
                    "--samples", str(SAMPLES), "--reference", "5", "--progress=never", "-o", recording],
                   check=True, stderr=subprocess.DEVNULL)
    task = [engine_bench, str(directory), str(identity), recording]
    ours, _ = callgrind.profile([*task, "feed", str(SAMPLES)], ENGINE, same_everywhere=True)
    plain, _ = callgrind.profile([*task, "plain", str(SAMPLES)], PLAIN, same_everywhere=True)
    return round(ours.total / SAMPLES), round(plain.of_object("libm") / SAMPLES)


def judge(toolchain, counts, stored):
    """The lines to print, and whether any figure is too large."""
    lines, wrong = [], False
    if toolchain not in stored:
        lines.append(f"no figures are stored for {toolchain}; compared with the plain formulas of this run only")
    for mode, (ours, floor) in counts.items():
        most = stored[toolchain][str(mode)] * MOST if toolchain in stored else floor * LOOSELY
        told = f"stored {stored[toolchain][str(mode)]}" if toolchain in stored else f"{LOOSELY} times {floor}"
        lines.append(f"mode {mode}: {ours} instructions a sample, {told}{', TOO MANY' if ours > most else ''}")
        wrong = wrong or ours > most
    if wrong:
        lines.append("find out what takes them (valgrind --tool=callgrind); if it is worth that, store the new figures with "
                     "bench/instructions.py --update")
    return lines, wrong


def itself():
    """A figure that has grown is found, with stored figures and without."""
    stored = {"g++ 1, glibc 1": {"1": 1000}}
    for toolchain, ours, floor, expected in (("g++ 1, glibc 1", 1010, 1, False), ("g++ 1, glibc 1", 1011, 1000, True),
                                             ("g++ 2, glibc 1", 3000, 1000, False), ("g++ 2, glibc 1", 3001, 1000, True)):
        if judge(toolchain, {1: (ours, floor)}, stored)[1] != expected:
            sys.exit(f"{toolchain}: {ours} was judged wrongly")
    print("every figure was judged as it should be")


def main():
    if sys.argv[1:] == ["--itself"]:
        return itself()
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("kor", metavar="KOR")
    parser.add_argument("engine_bench", metavar="ENGINE_BENCH")
    parser.add_argument("compiler", metavar="COMPILER")
    parser.add_argument("--update", action="store_true", help="store the figures")
    given = parser.parse_args()
    toolchain = f"{given.compiler}, {' '.join(platform.libc_ver())}"
    with tempfile.TemporaryDirectory(prefix="kor-count-") as folder:
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            counts = dict(zip(MODES, pool.map(lambda mode: counted(given.kor, given.engine_bench, mode, folder), MODES)))
    stored = json.loads(STORED.read_text(encoding="utf-8")) if STORED.exists() else {}
    if given.update:
        stored[toolchain] = {str(mode): ours for mode, (ours, _) in counts.items()}
        STORED.write_text(json.dumps(stored, indent=2, sort_keys=True) + "\n", encoding="utf-8")
    lines, wrong = judge(toolchain, counts, stored)
    print("\n".join(lines))
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
