#!/usr/bin/env python3
"""What a sample costs from Python, beside the loop of a C++ host: turn by turn in one process, both with the same answer.

    cost.py [ROUNDS]   exit status 1 when the answers differ, or Python takes more than 5 % longer
"""
import pathlib
import statistics
import sys
import time

import kor_loop
import numpy as np

import korinterface

MOST = 1.05
ROOT = pathlib.Path(__file__).resolve().parents[2]


def main():
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 15
    beyond = False
    print(f"{'mount mode':>10} {'C++ ns':>8} {'Python ns':>10} {'ratio':>7}")
    for mode, name in ((1, "dual_level"), (5, "polarizer"), (7, "three_vector"), (9, "two_level")):
        folder = ROOT / "data" / name
        prm = korinterface.Prm.read(folder, 1000 + mode)
        samples = np.concatenate([korinterface.read_recording(folder / f"{name}.csv")] * 80)
        times = {"C++": [], "Python": []}
        for turn in range(rounds):
            for which in ("C++", "Python") if turn % 2 else ("Python", "C++"):
                korinterface.fresh_process_values()
                if which == "C++":
                    seconds, info, matrices = kor_loop.run(str(folder), prm.id, samples.view(np.uint8))
                else:
                    engine = korinterface.Kor(prm)
                    begin = time.process_time()
                    results = engine.process(samples)
                    seconds = time.process_time() - begin
                times[which].append(seconds / len(samples) * 1e9)
            if results.info.tobytes() != info or results.matrices.tobytes() != matrices:
                print(f"mount mode {mode}: the answers differ", file=sys.stderr)
                return 1
            del results, info, matrices
        # Disturbances only ever add time, and both had the same chances; the ratio of neighbours tells the rest.
        ratio = statistics.median(p / c for p, c in zip(times["Python"], times["C++"]))
        print(f"{mode:>10} {min(times['C++']):>8.1f} {min(times['Python']):>10.1f} {ratio:>7.3f}")
        beyond = beyond or ratio > MOST
    return 1 if beyond else 0


if __name__ == "__main__":
    sys.exit(main())
