#!/usr/bin/env python3
"""Counts which lines and branches the tests reach, and holds them to a floor.

    scripts/coverage.py [--no-run] [--lines PATH]...

Builds the preset coverage (without optimisation), runs its tests and prints a table by folder. --no-run takes what the last
run has counted; --lines PATH prints the lines and branches of a file that are not reached.

Branches that only an exception takes are left out: nearly every call of the standard library has one. So are those of lines
without a condition, which g++ writes for the ends of scopes. A process that ends by _exit flushes its counts first (tests/support/ChildExit.h); one that is killed
does not.

A line of the library that no test reaches stands in scripts/not_reached.txt with the reason, or, where nothing could reach it,
carries a comment GCOV_EXCL_LINE with the reason. Counts are those of gcov, which comes with g++. The exit status is 1 below the floor, or when a line lacks its reason.
"""
import argparse
import collections
import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
TREE = ROOT / "build" / "coverage"
COUNTED = TREE / "coverage.json"
REASONS = ROOT / "scripts" / "not_reached.txt"

# Folders, least lines and least branches in per cent.
LIBRARY = ("mek", "models", "engine", "params", "module", "session", "platform", "capi")
BESIDE = ("recordings", "simulation", "accuracy", "series", "tools")
FLOORS = ((LIBRARY, 98.0, 95.0), (BESIDE, 90.0, None))
CONDITION = re.compile(r"\b(if|for|while|switch|case)\b|&&|\|\||[?]")
# What would take long and reaches nothing that others do not: the comparisons with other implementations, the installed
# library and packages, the benchmarks, the documents, the flags of what is shipped. And the faults: a program writes its counts at its end, by calls and
# with memory that are made to fail there as well, so that it crashes or spoils the counts. What they are to reach, tests reach
# that disturb single operations: tests/faults/operations_test.cpp without memory, tests/platform and tests/params by calls.
LEFT_OUT = r"^(reference|consumers|packages|bench|docs|lint|exports|faults|hardening)\.|independent_implementation"


def fail(text):
    sys.exit(f"coverage.py: {text}")


# A process that is killed while it writes its counts spoils those of its object, and every later one would say so on its
# standard error, which tests read.
ENVIRONMENT = os.environ | {"GCOV_ERROR_FILE": str(TREE / "gcov_errors.txt")}


def quietly(command, may_fail=False):
    done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace",
                          env=ENVIRONMENT)
    if done.returncode != 0:
        print(done.stdout[-8000:])
        if not may_fail:
            fail("failed: " + " ".join(map(str, command)))
    return done.returncode == 0


def run_tests():
    jobs = str(os.cpu_count() or 1)
    quietly(["cmake", "--preset", "coverage"])
    quietly(["cmake", "--build", "--preset", "coverage"])
    for counts in TREE.glob("**/*.gcda"):
        counts.unlink()
    if not quietly(["ctest", "--preset", "coverage", "-j", jobs, "-E", LEFT_OUT], may_fail=True):
        print("some tests failed; what they would have reached is missing below")


def counts_of(notes):
    """What gcov says of one object."""
    done = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities", notes], cwd=TREE,
                          capture_output=True, text=True)
    if done.returncode != 0:
        fail(f"gcov cannot read {notes}: {done.stderr}")
    return json.loads(done.stdout)["files"]


def count():
    """Adds up all objects. A line may stand in several functions, instances of a template or objects: reached in one of
    them, it is reached, and so is a branch."""
    merged = collections.defaultdict(lambda: collections.defaultdict(lambda: [0, []]))
    objects = [notes for folder in (*LIBRARY, *BESIDE, "tests") for notes in (TREE / folder).glob("**/*.gcno")]
    for notes in sorted(objects):
        for file in counts_of(notes):
            path = os.path.relpath(os.path.join(TREE, file["file"]), ROOT)
            if folder_of(path, (*LIBRARY, *BESIDE)) is None:
                continue
            for line in file["lines"]:
                entry = merged[path][line["line_number"]]
                entry[0] += line["count"]
                branches = [branch["count"] for branch in line["branches"] if not branch["throw"]]
                for i, taken in enumerate(branches):
                    if i == len(entry[1]):
                        entry[1].append(0)
                    entry[1][i] += taken
    COUNTED.write_text(json.dumps(merged))


class Totals:
    def __init__(self):
        self.lines = self.lines_reached = self.branches = self.branches_reached = 0

    def add(self, file):
        for _, hits, branches, _ in file:
            self.lines += 1
            self.lines_reached += hits > 0
            self.branches += len(branches)
            self.branches_reached += sum(taken > 0 for taken in branches)

    def share(self):
        return (100.0 * self.lines_reached / max(self.lines, 1), 100.0 * self.branches_reached / max(self.branches, 1))

    def row(self, name):
        lines, branches = self.share()
        return (f"| {name} | {self.lines_reached} of {self.lines} | {lines:.1f} % | "
                f"{self.branches_reached} of {self.branches} | {branches:.1f} % |")


def files():
    """The lines of every counted file: number, hits, hits of the branches, text."""
    counted = {}
    for path, lines in json.loads(COUNTED.read_text()).items():
        text = (ROOT / path).read_text(encoding="utf-8").splitlines()
        entries = []
        for number, (hits, branches) in sorted((int(number), entry) for number, entry in lines.items()):
            line = text[number - 1].strip() if number <= len(text) else ""
            if "GCOV_EXCL_LINE" in line:
                continue
            entries.append((number, hits, branches if CONDITION.search(line) else [], line))
        counted[path] = entries
    return counted


def folder_of(path, folders):
    return next((folder for folder in folders if path.startswith(folder + "/")), None)


def reasons():
    """Path and text of each line that no test reaches on purpose; the same text may stand in several places of a file."""
    known = {}
    for number, line in enumerate(REASONS.read_text(encoding="utf-8").splitlines() if REASONS.exists() else [], 1):
        if not line.strip() or line.startswith("#"):
            continue
        parts = re.fullmatch(r"(\S+): (.*?) : (\S.*)", line)
        if not parts:
            fail(f"{REASONS.name}:{number}: expected PATH: LINE : REASON")
        known[parts[1], parts[2]] = parts[3]
    return known


def unreached(file):
    """Lines that are not reached, or have branches that are not."""
    for number, hits, branches, text in file:
        missed = sum(taken == 0 for taken in branches)
        if hits == 0 or missed:
            yield number, hits, missed, len(branches), text


def main():
    parser = argparse.ArgumentParser(prog="coverage.py", usage="scripts/coverage.py [--no-run] [--lines PATH]...",
                                     description="Counts which lines and branches the tests reach, and holds them to a floor.")
    parser.add_argument("--no-run", action="store_true", help="take what the last run has counted")
    parser.add_argument("--lines", action="append", default=[], metavar="PATH", help="print what of these files is not reached")
    given = parser.parse_args()
    if not given.no_run:
        run_tests()
        count()
    elif not COUNTED.exists():
        count()
    counted = files()

    wrong = []
    print("| folder | lines | | branches | |\n|---|---|---|---|---|")
    for folders, least_lines, least_branches in FLOORS:
        by_folder, together = collections.defaultdict(Totals), Totals()
        for path, file in counted.items():
            folder = folder_of(path, folders)
            if folder is not None:
                by_folder[folder].add(file)
                together.add(file)
        for folder in folders:
            print(by_folder[folder].row(folder))
            if least_branches is None and by_folder[folder].share()[0] < least_lines:
                wrong.append(f"{folder}: {by_folder[folder].share()[0]:.2f} % of the lines are reached, expected {least_lines} %")
        name = "the library" if folders is LIBRARY else "beside it"
        print(together.row(f"**{name}**"))
        for what, share, least in zip(("lines", "branches"), together.share(), (least_lines, least_branches)):
            if least is not None and share < least:
                wrong.append(f"{name}: {share:.2f} % of the {what} are reached, expected {least} %")

    known, used = reasons(), set()
    for path, file in sorted(counted.items()):
        if folder_of(path, LIBRARY) is None:
            continue
        for number, hits, _, _, text in unreached(file):
            if hits == 0 and (path, text) not in known:
                wrong.append(f"{path}:{number}: not reached, without a reason: {text}")
            used.add((path, text))
    for path, text in sorted(set(known) - used):
        print(f"{REASONS.name}: no such line of {path} is left unreached; remove it: {text}")
    for path in given.lines:
        for name, file in sorted(counted.items()):
            if name.startswith(path):
                for number, hits, missed, of, text in unreached(file):
                    print(f"{name}:{number}: " + ("not reached" if hits == 0 else f"{missed} of {of} branches") + f": {text}")
    if wrong:
        print("\n".join(["", *wrong]))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
