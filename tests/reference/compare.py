#!/usr/bin/env python3
"""Compares two result files (see replay.py) number by number.

    compare.py WANTED GOT                           two files
    compare.py --suffix .ref .got DIRECTORY         every pair of files in a directory
    compare.py --driver PROGRAM DIRECTORY           runs PROGRAM SCENARIO for every .scn file, each
                                                    in a process of its own, keeps its output as
                                                    .got and compares it with .ref

Numbers are equal when their bits are: signed zeros count, all NaNs are one. What depends on the
library's single precision sine and cosine is granted two units in the last place: the orientation
angles of a record. Spline set-up and fits of other orders than 1 fix no order of operations: their
results may differ by 1e-9 of the largest one. `--ulp N` grants N units to every number. Prints the first differences of each
file; the exit status is 1 when there is any.
"""

import argparse
import pathlib
import struct
import subprocess
import sys

INFO_FIELDS = (
    "word0 azimuth elevation levelX levelY angle0 angle1 angle2 spare "
    "sensorOut0 sensorOut1 sensorOut2 temperature0 temperature1 temperature2"
).split()
ANGLE_ULP = 2
FREE_FORM = 1e-9


def ordered(bits, width):
    """Bits of a floating-point number as an integer that counts representable values."""
    sign = 1 << (width - 1)
    return sign - bits if bits & sign else bits


def distance(a, b, single):
    """Units in the last place between two numbers; 0 only for equal bits or two NaNs."""
    if a != a or b != b:
        return 0 if a != a and b != b else 1 << 64
    fmt, width = ("<f", 32) if single else ("<d", 64)
    code = "<I" if single else "<Q"
    ia, ib = (struct.unpack(code, struct.pack(fmt, x))[0] for x in (a, b))
    if ia == ib:
        return 0
    # -0 and +0 are neighbours here, not the same.
    return max(1, abs(ordered(ia, width) - ordered(ib, width)))


def compare_record(wanted, got, ulp):
    words = []
    for text in (wanted, got):
        data = bytes.fromhex(text)
        if len(data) != 60:
            return [f"record of {len(data)} bytes"]
        words.append((struct.unpack("<15f", data), struct.unpack("<15I", data)))
    problems = []
    for i, name in enumerate(INFO_FIELDS):
        if name in ("word0", "spare"):
            if words[0][1][i] != words[1][1][i]:
                problems.append(f"{name} wanted {words[0][1][i]} got {words[1][1][i]}")
            continue
        a, b = words[0][0][i], words[1][0][i]
        units = distance(a, b, True)
        if units > max(ulp, ANGLE_ULP if name.startswith("angle") else 0):
            problems.append(f"{name} wanted {a!r} got {b!r} ({units} ulp)")
    return problems


def compare_line(wanted, got, ulp):
    a, b = wanted.split(), got.split()
    if a[:2] != b[:2]:
        return [f"wanted '{' '.join(a[:2])}' got '{' '.join(b[:2])}'"]
    if len(b) == 2 and a[1].startswith("mek."):
        return []
    if len(a) != len(b):
        return [f"wanted {len(a) - 2} results got {len(b) - 2}"]
    if a[1] == "sample":
        return compare_record(a[2], b[2], ulp)
    slack = 0.0
    if a[1] == "mek.CubicSplines" or (a[1] == "mek.JPolyfit" and len(a) != 5):
        slack = FREE_FORM * max((abs(float.fromhex(x)) for x in a[2:]), default=0.0)
    problems = []
    for i, (x, y) in enumerate(zip(a[2:], b[2:])):
        if x == y:
            continue
        try:
            is_integer = str(int(x)) == x or str(int(y)) == y
        except ValueError:
            is_integer = False
        if is_integer:
            problems.append(f"result {i} wanted {x} got {y}")
            continue
        try:
            u, v = float.fromhex(x), float.fromhex(y)
        except ValueError:
            problems.append(f"result {i} wanted {x} got {y}")
            continue
        units = distance(u, v, False)
        if units > ulp and not abs(u - v) <= slack:
            problems.append(f"result {i} wanted {u!r} got {v!r} ({units} ulp, {x} {y})")
    return problems


def compare_files(wanted, got, ulp, limit=6):
    """Number of lines that differ; prints the first."""
    a = wanted.read_text().splitlines()
    b = got.read_text().splitlines() if got.exists() else []
    different = 0
    for i in range(max(len(a), len(b))):
        if i >= len(a) or i >= len(b):
            problems = [f"wanted {len(a)} lines got {len(b)}"]
        else:
            problems = compare_line(a[i], b[i], ulp)
        if problems:
            different += 1
            if different <= limit:
                name = a[i] if i < len(a) else b[i]
                print(f"{wanted.name}: {' '.join(name.split()[:2])}: {'; '.join(problems[:4])}")
        if i >= len(a) or i >= len(b):
            break
    if different > limit:
        print(f"{wanted.name}: {different} lines differ of {len(a)}")
    return different


def run_driver(program, directory):
    """Every scenario through the program; the number of runs that ended badly."""
    bad = 0
    for scenario in sorted(directory.glob("*.scn")):
        with scenario.with_suffix(".got").open("w") as out:
            result = subprocess.run([program, scenario], stdout=out, check=False)
        if result.returncode != 0:
            bad += 1
            print(f"{scenario.name}: exit status {result.returncode}")
    return bad


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("paths", nargs="+", type=pathlib.Path)
    parser.add_argument("--suffix", nargs=2, metavar=("WANTED", "GOT"))
    parser.add_argument("--driver", type=pathlib.Path)
    parser.add_argument("--ulp", type=int, default=0)
    options = parser.parse_args()
    crashed = 0
    if options.driver:
        options.suffix = (".ref", ".got")
        crashed = run_driver(options.driver.resolve(), options.paths[0])
    if options.suffix:
        if len(options.paths) != 1:
            parser.error("--suffix goes with one directory")
        wanted, got = options.suffix
        pairs = [
            (path, path.with_suffix(got))
            for path in sorted(options.paths[0].glob("*" + wanted))
        ]
        if not pairs:
            parser.error("nothing to compare")
    elif len(options.paths) == 2:
        pairs = [tuple(options.paths)]
    else:
        parser.error("two files, or --suffix and a directory")
    bad = sum(1 for a, b in pairs if compare_files(a, b, options.ulp))
    lines = sum(len(a.read_text().splitlines()) for a, _ in pairs)
    print(f"{len(pairs)} files, {lines} lines, {bad} files differ")
    return 1 if bad or crashed else 0


if __name__ == "__main__":
    sys.exit(main())
