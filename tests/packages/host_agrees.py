#!/usr/bin/env python3
"""The example host prints the orientations that kor writes.

    host_agrees.py HOST_OUTPUT RESULTS.csv

The host prints the angles of single precision with four digits, so they may differ by half a unit of the last one.
"""
import csv
import re
import sys

HALF_A_DIGIT = 0.5e-4 * (1 + 1e-6)

with open(sys.argv[2], encoding="utf-8", newline="") as file:
    results = {int(row["timeStampMs"]): [float(row[f"orientation{axis}_deg"]) for axis in "XZY"] for row in csv.DictReader(file)}
compared = 0
with open(sys.argv[1], encoding="utf-8") as file:
    for line in file:
        if found := re.match(r"(\d+) ms: x (\S+), z (\S+), y (\S+) deg$", line.strip()):
            stamp, *angles = found.groups()
            for angle, wanted in zip(angles, results[int(stamp)]):
                if not abs(float(angle) - wanted) <= HALF_A_DIGIT:
                    sys.exit(f"at {stamp} ms the host prints {angle}, kor has {wanted}")
            compared += 1
print(f"{compared} orientations")
sys.exit(compared < 2000)
