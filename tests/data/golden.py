#!/usr/bin/env python3
"""Holds the results of the shipped recordings against stored ones, bit for bit.

    golden.py check KOR TOOLCHAIN NAME      replay one recording and compare
    golden.py explained                     the stored results are those that CHANGELOG.md names
    golden.py update KOR TOOLCHAIN          store what this program gives

tests/data/golden/digests.json has, for every toolchain, the SHA-256 of each recording's results as CSV up to the column
matrixCode, in machine and, in mount modes below 7, in local coordinates. The columns behind it say what became of each
sample: no arithmetic is in them, so one digest of each recording holds for every toolchain, and a change of these columns
leaves the digests of the numbers as they stand. NAME.csv beside it has every fiftieth row, for eyes, and for toolchains
that have no digests: with those the rows have to agree to the last printed digits of a float.

On Linux the C library chooses its mathematical functions by the processor, and those with fused multiplication and
addition differ from the others in last bits. So "math" and a number that tells them apart is part of the toolchain
there; GLIBC_TUNABLES=glibc.cpu.hwcaps=-FMA,-AVX2 in the environment gives the others.

Whoever changes results runs `update` with each toolchain and writes the line that `explained` asks for into
CHANGELOG.md, with the reason.
"""
import csv
import hashlib
import json
import math
import pathlib
import struct
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
DATA = ROOT / "data"
GOLDEN = ROOT / "tests" / "data" / "golden"
EVERY = 50
EVERY_TOOLCHAIN = "every toolchain"
LAST_NUMBER = "matrixCode"


def with_math(toolchain):
    """The toolchain and what tells this process's mathematical functions from others, where programs share them."""
    if " Linux " not in toolchain:
        return toolchain
    sum_of_all = hashlib.sha256()
    for i in range(20000):
        x = i * 1e-3
        values = (math.sin(x), math.cos(x), math.tan(x), math.atan(x), math.atan2(x, 1.7), math.asin(i / 20000),
                  math.acos(i / 20000))
        sum_of_all.update(struct.pack("<7d", *values))
    return f"{toolchain}, math {sum_of_all.hexdigest()[:6]}"


def parameter_file(name):
    return next((DATA / name).glob("Tg*.prm"))


def mount_mode(name):
    lines = parameter_file(name).read_text().splitlines()
    return int(lines[lines.index("Mounting Mode") + 1])


def names():
    return sorted(path.parent.name for path in DATA.glob("*/Tg*.prm"))


def replayed(kor, name, coordinates):
    """The results as bytes."""
    prm = parameter_file(name)
    with tempfile.TemporaryDirectory() as folder:
        results = pathlib.Path(folder) / "results.csv"
        done = subprocess.run([kor, "replay", "--prm", prm.parent, "--id", prm.stem[2:], "--mcs", coordinates,
                               DATA / name / f"{name}.csv", "-o", results], capture_output=True, text=True)
        if done.returncode != 0:
            raise SystemExit(done.stderr)
        return results.read_bytes()


def parted(table):
    """A table as two, behind the last column of numbers."""
    lines = [line.split(",") for line in table.decode("ascii").splitlines()]
    count = lines[0].index(LAST_NUMBER) + 1
    return ["".join(",".join(line[part]) + "\n" for line in lines) for part in (slice(count), slice(count, None))]


def digest(text):
    return hashlib.sha256(text.encode("ascii")).hexdigest()


def results(kor, name):
    """Digest of each kind of numbers, that of the outcomes, and the rows to show."""
    machine = replayed(kor, name, "on")
    numbers, outcomes = parted(machine)
    digests = {"machine": digest(numbers)}
    if mount_mode(name) < 7:
        local, local_outcomes = parted(replayed(kor, name, "off"))
        digests["local"] = digest(local)
        if local_outcomes != outcomes:
            raise SystemExit(f"{name}: the outcomes differ between machine and local coordinates")
    lines = machine.decode("ascii").splitlines(keepends=True)
    return digests, digest(outcomes), "".join(lines[:1] + lines[1::EVERY])


def stored():
    return json.loads((GOLDEN / "digests.json").read_text())


def written(digests):
    (GOLDEN / "digests.json").write_text(json.dumps(digests, indent=2, sort_keys=True) + "\n")


def fingerprint():
    """Of everything that is stored."""
    sum_of_all = hashlib.sha256()
    for path in sorted(GOLDEN.iterdir()):
        sum_of_all.update(path.name.encode() + b"\0" + path.read_bytes() + b"\0")
    return sum_of_all.hexdigest()[:12]


def rows_agree(got, wanted):
    """Whether two tables differ by no more than some roundings of single precision."""
    got, wanted = (list(csv.reader(text.splitlines())) for text in (got, wanted))
    if len(got) != len(wanted) or got[0] != wanted[0]:
        return "other rows or columns"
    for number, (mine, theirs) in enumerate(zip(got[1:], wanted[1:])):
        for column, a, b in zip(got[0], mine, theirs):
            if a == b:
                continue
            try:
                x, y = float(a), float(b)
            except ValueError:
                return f"row {EVERY * number}, {column}: {a}, stored {b}"
            if not math.isclose(x, y, rel_tol=1e-6, abs_tol=1e-6):
                return f"row {EVERY * number}, {column}: {a}, stored {b}"
    return ""


def check(kor, toolchain, name):
    digests, outcomes, rows = results(kor, name)
    difference = rows_agree(rows, (GOLDEN / f"{name}.csv").read_text())
    if difference:
        print(f"{name}: {difference}")
        return 1
    if stored()[EVERY_TOOLCHAIN][name]["outcomes"] != outcomes:
        print(f"{name}: the outcomes are not the stored ones. If that is wanted: {sys.argv[0]} update, and CHANGELOG.md "
              "says why.")
        return 1
    known = stored().get(toolchain)
    if known is None:
        print(f"{name}: no digests of {toolchain}; every {EVERY}th row agrees")
        return 0
    for kind, found in digests.items():
        if known[name][kind] != found:
            print(f"{name}: the results in {kind} coordinates are not the stored ones, though every {EVERY}th row agrees "
                  f"to 1e-6. If that is wanted: {sys.argv[0]} update, and CHANGELOG.md says why.")
            return 1
    print(f"{name}: {', '.join(digests)}: the stored results")
    return 0


def update(kor, toolchain):
    GOLDEN.mkdir(exist_ok=True)
    digests = stored() if (GOLDEN / "digests.json").exists() else {}
    digests[toolchain] = {}
    digests[EVERY_TOOLCHAIN] = {}
    for name in names():
        digests[toolchain][name], outcomes, rows = results(kor, name)
        digests[EVERY_TOOLCHAIN][name] = {"outcomes": outcomes}
        shown = GOLDEN / f"{name}.csv"
        # One toolchain's rows are shown as long as the others agree.
        if not shown.exists() or rows_agree(rows, shown.read_text()):
            shown.write_text(rows)
    written(digests)
    print(f"CHANGELOG.md must explain: golden results {fingerprint()}")
    return 0


def explained():
    line = f"golden results {fingerprint()}"
    if line not in (ROOT / "CHANGELOG.md").read_text():
        print(f"CHANGELOG.md does not explain the {line}")
        return 1
    for toolchain, digests in stored().items():
        if sorted(digests) != names():
            print(f"{toolchain}: digests of {sorted(digests)}, recordings {names()}")
            return 1
    return 0


def main():
    if sys.argv[1:] == ["explained"]:
        return explained()
    if len(sys.argv) == 5 and sys.argv[1] == "check":
        return check(sys.argv[2], with_math(sys.argv[3]), sys.argv[4])
    if len(sys.argv) == 4 and sys.argv[1] == "update":
        return update(sys.argv[2], with_math(sys.argv[3]))
    print(__doc__)
    return 2


if __name__ == "__main__":
    sys.exit(main())
