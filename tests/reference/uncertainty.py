#!/usr/bin/env python3
"""The uncertainty of the orientation a second time: samples with noise through this folder's models.

    uncertainty.py KOR

A sensor of mount mode 10 is held in one pose. The noise of its position, levels and encoders goes through the filters
of the second two-level model as written in models.py, and the turns have to spread as

    kor accuracy --uncertainty FILE

says for its typical sensor of that mode. Tables, offsets and thermal factors have no part here: a noise of the angles
is taken.
"""

import json
import math
import random
import subprocess
import sys
import tempfile

import models
import simulate
from ieee import f32

ARC = 3600.0
Q = [0.7, 1.4, 33.0, -0.25, 0.3, 0.2]
L1 = [0, 0, 0, 0.3, -0.2, 0.1, 1.002]
L2 = [0, 0, 0, 45.0, 0.4, -0.08, 0.9985]
KINDS = {  # slots of the sample, names of the inputs, noise, unit, units of a slot in it
    "position": ((0, 1, 2), ("x", "y", "z"), 0.003, "mm", 1.0),
    "levels": ((3, 4), ("level X", "level Y"), 2.0, "arcsec", ARC),
    "encoders": ((5, 6), ("azimuth encoder", "elevation encoder"), 5.0, "arcsec", ARC),
}
START = 40     # samples until the filters are full
STEP = 15      # samples to the next result that shares no noise with the last one
RESULTS = 150
TRIALS = 4000  # of the program


def turn(a, b):
    """Small turn from b to a, both row by row; arc-seconds about the tracker's axes."""
    d = [sum((a[3 * r + i] - b[3 * r + i]) * b[3 * c + i] for i in range(3)) for r in range(3) for c in range(3)]
    return [math.degrees(0.5 * v) * ARC for v in (d[7] - d[5], d[2] - d[6], d[3] - d[1])]


def spread(base, position, kind):
    """Standard deviations of the turn about x, y and z, with noise of one kind alone."""
    slots, _, noise, _, units = KINDS[kind]
    models.new_process()
    model = models.CKorThreeVec2Levelv2()
    model.UpdateQVCParameters([f32(v) for v in Q], 6)
    model.UpdateLevel1Parameters([f32(v) for v in L1], 7)
    model.UpdateLevel2Parameters([f32(v) for v in L2], 7)
    held = simulate.two_level(base, list(position), model.qvcParameters, model.level1Parameters,
                              model.level2Parameters, 0.0, 0.0)
    rng = random.Random(kind)
    turns = []
    for call in range(1, START + STEP * RESULTS + 1):
        sample = list(held)
        for slot in slots:
            sample[slot] += rng.gauss(0.0, noise / units)
        model.SetLevelLimits(False, False)
        model.SetCounter(call, call)
        model.SetTimeInterval(0.01 * call, 0.01 * call)
        model.CalTranxMatrix(sample, 0.0, 0.0)
        if call > START and (call - START) % STEP == 0:
            turns.append(turn(sample, base))
    return [statistic([t[axis] for t in turns]) for axis in range(3)]


def statistic(values):
    mean = sum(values) / len(values)
    return math.sqrt(sum((v - mean) ** 2 for v in values) / (len(values) - 1))


def stated(kor):
    """What the program says of mode 10."""
    inputs = {name: {"noise": noise, "unit": unit} for _, names, noise, unit, _ in KINDS.values() for name in names}
    with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
        json.dump({"format": "kor uncertainty 1", "inputs": inputs}, file)
        file.flush()
        done = subprocess.run([kor, "accuracy", "--uncertainty", file.name, "--mode=10", "--json",
                               f"--trials={TRIALS}"], capture_output=True, text=True, check=True)
    return json.loads(done.stdout)["modes"][0]


def main():
    mode = stated(sys.argv[1])
    # Four standard uncertainties of a standard deviation, of the results here and of the program's trials.
    trials = mode["inputs"][0]["monte_carlo"]["trials"]
    tolerance = 4.0 * math.hypot(1.0 / math.sqrt(2 * RESULTS), 1.0 / math.sqrt(2 * trials))
    failures = 0
    for kind, (_, names, *_) in KINDS.items():
        found = spread(mode["base"], mode["position_mm"], kind)
        entries = [i for i in mode["inputs"] if i["input"] in names]
        for axis, here in zip("xyz", found):
            there, law = (math.sqrt(sum(pick(i)[axis] ** 2 for i in entries))
                          for pick in (lambda i: i["monte_carlo"]["standard"], lambda i: i["law"]))
            good = abs(here - there) <= tolerance * there
            failures += not good
            print(f"{'ok  ' if good else 'FAIL'} {kind:9s} about {axis}: {here:8.3f} arc-seconds here, {there:8.3f} by "
                  f"the program (within {100 * tolerance:.0f} %), {law:8.3f} by the law")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
