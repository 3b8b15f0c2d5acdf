#!/usr/bin/env python3
"""Holds replayed results against the truth beside a recording.

    compare.py RESULTS.csv TRUTH.csv [--limit DEGREES] [--note NAME] [--lag SAMPLES]
    compare.py --table FOLDER

Prints how many samples were compared and the median and largest angle of the rotation between the matrix in the
results and the true one, over the samples that the truth marks as valid. With --limit the exit status is 1 when the
largest angle is above it, or when nothing was compared. --note compares the samples with that note instead of the
valid ones, --lag each result with the truth so many samples before it: --note moving --lag 2 for mount modes 9 and 10.

With --table, FOLDER holds NAME.csv, replayed from the recording of that name, for every recording beside this program;
prints one line a recording, in the order of the mount modes.
"""
import argparse
import collections
import csv
import math
import pathlib
import sys

MODELS = {1: "dual level", 2: "dual level", 3: "pendulum", 4: "pendulum", 5: "polarizer", 6: "polarizer",
          7: "three vectors", 8: "three vectors", 9: "two levels", 10: "two levels"}


def rotation_angle(a, b):
    """Angle in degrees of the rotation that takes one nearly orthonormal matrix (nine numbers) to the other.

    Through the distance of the matrices, |A - B| = 2 sqrt(2) sin(angle / 2), which stays exact for small angles.
    """
    distance = math.sqrt(sum((x - y) ** 2 for x, y in zip(a, b)))
    return math.degrees(2 * math.asin(min(1.0, distance / (2 * math.sqrt(2)))))


def angles(results_path, truth_path, note=None, lag=0):
    """Angles of all valid samples, or of those with a note, each against the truth so many samples before it.

    An orientation that is not a number counts as 180 degrees.
    """
    found = []
    before = collections.deque(maxlen=lag + 1)
    with open(results_path, newline="") as results_file, open(truth_path, newline="") as truth_file:
        results, truths = csv.DictReader(results_file), csv.DictReader(truth_file)
        for line, truth in enumerate(truths, start=2):
            result = next(results, None)
            if result is None:
                raise SystemExit(f"{results_path}: ends before line {line} of {truth_path}")
            if result["timeStampMs"] != truth["timeStampMs"]:
                raise SystemExit(f"{results_path}:{line}: time stamp {result['timeStampMs']}, "
                                 f"expected {truth['timeStampMs']} as in {truth_path}")
            before.append(truth)
            if len(before) <= lag or (truth["valid"] != "1" if note is None else truth["note"] != note):
                continue
            if before[0]["note"] in ("status", "reference"):
                continue  # that truth's matrix is the identity
            matrix = [float(result[f"m{r}{c}"]) for r in range(3) for c in range(3)]
            wanted = [float(before[0][f"result_{r}{c}"]) for r in range(3) for c in range(3)]
            found.append(rotation_angle(matrix, wanted) if all(map(math.isfinite, matrix)) else 180.0)
        if next(results, None) is not None:
            raise SystemExit(f"{results_path}: goes on after the last line of {truth_path}")
    return found


def mount_mode(parameter_file):
    """Mount mode that a parameter file names: the number on the line after its title."""
    lines = iter(parameter_file.read_text().splitlines())
    for line in lines:
        if line.strip() == "Mounting Mode":
            return int(next(lines))
    raise SystemExit(f"{parameter_file}: no mount mode")


def table(results_folder):
    """One line a recording: mode, model, samples compared, median and largest angle."""
    data = pathlib.Path(__file__).resolve().parent
    rows = sorted((mount_mode(prm), prm.parent.name) for prm in data.glob("*/Tg*.prm"))
    print(f"{'mode':>4}  {'model':<14}{'samples':>8}{'median, deg':>14}{'largest, deg':>14}")
    for mode, name in rows:
        found = sorted(angles(pathlib.Path(results_folder) / f"{name}.csv", data / name / f"{name}_truth.csv"))
        print(f"{mode:>4}  {MODELS[mode]:<14}{len(found):>8}{found[len(found) // 2]:>14.1e}{found[-1]:>14.1e}")


def main():
    parser = argparse.ArgumentParser(description="Holds replayed results against the truth beside a recording.")
    parser.add_argument("results", nargs="?")
    parser.add_argument("truth", nargs="?")
    parser.add_argument("--limit", type=float, help="largest angle that is accepted, degrees")
    parser.add_argument("--note", help="compare the samples with this note instead of the valid ones")
    parser.add_argument("--lag", type=int, default=0, help="compare with the truth so many samples before")
    parser.add_argument("--table", metavar="FOLDER", help="compare every shipped recording's results in a folder")
    arguments = parser.parse_args()
    if arguments.table is not None:
        table(arguments.table)
        return 0
    if arguments.truth is None:
        parser.error("RESULTS.csv and TRUTH.csv, or --table FOLDER")

    found = sorted(angles(arguments.results, arguments.truth, arguments.note, arguments.lag))
    if not found:
        print("no sample could be compared")
        return 1
    median = found[len(found) // 2]
    print(f"{len(found)} samples compared with the truth: median angle {median:.2e} deg, largest {found[-1]:.2e} deg")
    return 1 if arguments.limit is not None and found[-1] > arguments.limit else 0


if __name__ == "__main__":
    sys.exit(main())
