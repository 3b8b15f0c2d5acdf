#!/usr/bin/env python3
"""End-to-end tests of `kor accuracy`.

    accuracy_test.py KOR [-v] [Class[.test] ...]
"""
import json
import os
import re
import subprocess
import sys
import unittest

KOR = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 else "kor"
USAGE = 64
MODES = range(1, 11)


class Case(unittest.TestCase):
    def run_kor(self, *arguments, status=0):
        done = subprocess.run([KOR, "accuracy", *arguments], capture_output=True, text=True, timeout=300)
        self.assertEqual(done.returncode, status, done.stderr + done.stdout)
        return done

    def strata(self, *arguments):
        return json.loads(self.run_kor("--json", *arguments).stdout)["strata"]


class Accuracy(Case):
    def test_every_mode_keeps_its_bounds(self):
        found = self.strata("--poses=400")
        self.assertEqual(sorted({s["mode"] for s in found}), list(MODES))
        self.assertGreater(len(found), 130)
        for s in found:
            self.assertEqual(s["exceeded"], "")
            self.assertLessEqual(s["median_deg"], s["p999_deg"])
            self.assertLessEqual(s["p999_deg"], s["worst_deg"])
            self.assertLessEqual(s["worst_deg"], s["worst_bound_deg"])

    def test_other_seeds_keep_the_bounds_too(self):
        for seed in ("2", "3", "18446744073709551615"):
            self.run_kor("--poses=150", "--seed", seed)

    def test_every_mode_has_the_named_strata(self):
        for mode in MODES:
            names = [s["stratum"] for s in self.strata("--poses=5", f"--mode={mode}")]
            for name in ("near level", "tilted", "strongly tilted", "steep elevation", "quadrant 1", "quadrant 2",
                         "quadrant 3", "quadrant 4", "target level with tracker", "target near the vertical",
                         "through the engine", "with noise", "moving"):
                self.assertIn(name, names)
            self.assertEqual(len(names), len(set(names)))

    def test_models_are_exact_outside_the_marked_strata(self):
        for s in self.strata("--poses=300"):
            if s["inherent"] is None and s["stratum"] not in ("with noise", "moving", "through the engine"):
                self.assertLess(s["median_deg"], 1e-9, s)
                self.assertEqual(s["without"], 0)

    def test_inherent_errors_show(self):
        """The formulas' own limits, with the size that their leading order gives."""
        found = {(s["mode"], s["stratum"]): s for s in self.strata("--poses=2000")}
        for mode in (1, 2):
            self.assertGreater(found[mode, "tilted, wrong side"]["median_deg"], 3e-3)
            self.assertLess(found[mode, "tilted, wrong side"]["median_deg"], 3e-2)
        for mode in (3, 4):
            self.assertGreater(found[mode, "oblique pendulum"]["median_deg"], 6e-4)
            self.assertLess(found[mode, "oblique pendulum"]["worst_deg"], 1.2e-3)
        self.assertGreater(found[7, "sight not square to level"]["worst_deg"], 0.5)
        self.assertNotIn((8, "sight not square to level"), found)

    def test_the_same_seed_measures_the_same(self):
        first = self.run_kor("--poses=50", "--seed=9").stdout
        self.assertEqual(first, self.run_kor("--poses=50", "--seed=9").stdout)
        self.assertNotEqual(first, self.run_kor("--poses=50", "--seed=10").stdout)

    def test_a_mode_alone_measures_what_it_does_among_all(self):
        """Modes 9 and 10 share values within the process: nothing of one stratum may reach the next."""
        every = self.strata("--poses=40")
        for mode in MODES:
            self.assertEqual(self.strata("--poses=40", f"--mode={mode}"), [s for s in every if s["mode"] == mode])

    def test_table_tells_the_same_as_json(self):
        text = self.run_kor("--poses=20", "--mode=8").stdout
        for s in self.strata("--poses=20", "--mode=8"):
            line = next(l for l in text.split("\n") if l[2:].startswith(s["stratum"] + " "))
            self.assertEqual(line[0], " " if s["inherent"] is None else "*")
            fields = line[2 + len(s["stratum"]):].split()
            self.assertEqual(int(fields[0]), s["samples"])
            for field, name in zip(fields[1:4], ("median_deg", "p999_deg", "worst_deg")):
                self.assertAlmostEqual(float(field), s[name], delta=0.06 * s[name])
            self.assertAlmostEqual(float(fields[4]), 3600 * s["worst_deg"], delta=0.06 * 3600 * s["worst_deg"])

    def test_seed_is_printed(self):
        self.assertIn("seed: 1\n", self.run_kor("--poses=2", "--mode=5").stderr)
        self.assertIn("seed: 12\n", self.run_kor("--poses=2", "--mode=5", "--seed=12").stderr)

    def test_progress_is_drawn_when_asked(self):
        self.assertIn("accuracy", self.run_kor("--poses=400", "--mode=9", "--progress=always").stderr)
        self.assertNotIn("accuracy", self.run_kor("--poses=400", "--mode=9").stderr)

    def test_wrong_usage_is_refused(self):
        for option in ("--mode=0", "--mode=11", "--poses=0", "--poses=x", "--seed=-1", "--progress=now", "more"):
            self.assertIn("kor accuracy --help", self.run_kor(option, status=USAGE).stderr)


if __name__ == "__main__":
    unittest.main()
