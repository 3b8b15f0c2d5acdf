#!/usr/bin/env python3
"""Holds replays of one recording by two builds against each other.

    compare_replays.py NAME NATIVE.csv WINDOWS.csv

Time stamps, codes, outcomes and the number of rows must be the same. The single-precision values and the elements of the matrix
may differ as far as the mathematical functions of the two C libraries do: see the bounds below. Prints how many values
differ and by how much.
"""
import csv
import struct
import sys

EXACT = ("timeStampMs", "matrixCode", "outcome", "levelX_out", "levelY_out")
MATRIX = tuple(f"m{r}{c}" for r in range(3) for c in range(3))

# Measured: at most 3 and 7.9e-15, the latter where the pendulum's search ends. An angle is rounded to single precision
# in radians and again in degrees; where the two C libraries' doubles fall on both sides of the limit between two floats,
# one step in radians becomes up to two in degrees. Orientation angles also go through the single-precision sine and
# cosine of the angle before them: a step there, 6e-8, is 3.4e-6 degrees, which is more than two steps of a small angle.
# The elements of the matrix are of magnitude 1 at most.
FLOAT_ULP = 2
ANGLE_DIFFERENCE = 3.5e-6
MATRIX_DIFFERENCE = 1.6e-14


def float_steps(a, b):
    """How many single-precision numbers lie between two of them."""
    def place(x):
        bits = struct.unpack("<i", struct.pack("<f", x))[0]
        return bits if bits >= 0 else -(bits & 0x7FFFFFFF)
    return abs(place(a) - place(b))


class Differences:
    """Of one kind of values: how many there are, how many differ, and the largest measure and difference."""

    def __init__(self):
        self.values = self.differing = self.worst = 0
        self.worst_difference = 0.0

    def add(self, measure, difference):
        self.values += 1
        self.differing += difference != 0
        self.worst = max(self.worst, measure)
        self.worst_difference = max(self.worst_difference, difference)


def main():
    name, native_path, windows_path = sys.argv[1:]
    with open(native_path, newline="") as file:
        native = list(csv.DictReader(file))
    with open(windows_path, newline="") as file:
        windows = list(csv.DictReader(file))
    faults = []
    if len(native) != len(windows) or not native:
        faults.append(f"{len(native)} rows natively, {len(windows)} on Windows")
    elif list(native[0]) != list(windows[0]):
        faults.append("the columns differ")
    floats, matrix = Differences(), Differences()
    for row, (a, b) in enumerate(zip(native, windows), start=2):
        for key in a:
            where = f"line {row} {key}: {a[key]} natively, {b.get(key)} on Windows"
            if key in EXACT:
                if a[key] != b.get(key):
                    faults.append(where)
                continue
            x, y = float(a[key]), float(b.get(key, "nan"))
            difference = 0.0 if a[key] == b.get(key) else abs(x - y)
            if difference != difference:
                faults.append(where)
            elif key in MATRIX:
                matrix.add(difference, difference)
                if difference > MATRIX_DIFFERENCE:
                    faults.append(where)
            else:
                steps = float_steps(x, y)
                floats.add(steps, difference)
                if steps > FLOAT_ULP and not (key.startswith("orientation") and difference <= ANGLE_DIFFERENCE):
                    faults.append(where)
    print(f"{name:<18} {len(native):>5} rows; floats: {floats.differing} of {floats.values} differ, {floats.worst} ulp at "
          f"most, {floats.worst_difference:.1e}; matrix: {matrix.differing} of {matrix.values} differ, "
          f"{matrix.worst:.1e} at most")
    for fault in faults[:10]:
        print(f"{name}: {fault}")
    if len(faults) > 10:
        print(f"{name}: and {len(faults) - 10} more")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
