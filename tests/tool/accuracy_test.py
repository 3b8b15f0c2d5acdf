#!/usr/bin/env python3
"""End-to-end tests of `kor accuracy`.

    accuracy_test.py KOR [-v] [Class[.test] ...]
"""
import json
import math
import os
import subprocess
import sys
import unittest

from program import KOR

USAGE = 64
MODES = range(1, 11)


class Case(unittest.TestCase):
    def run_kor(self, *arguments, status=0):
        done = subprocess.run([*KOR, "accuracy", *arguments], capture_output=True, text=True, timeout=300)
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
                self.assertLess(s["worst_deg"], 1e-4, s)
                self.assertEqual(s["without"], 0)

    def test_inherent_errors_show(self):
        """The formulas' own limits, with the size that their leading order gives."""
        found = {(s["mode"], s["stratum"]): s
                 for mode in (1, 2, 3, 4, 7, 8) for s in self.strata("--poses=2000", f"--mode={mode}")}
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
            names = ("median_deg", "p999_deg", "worst_deg")
            for degrees, seconds, name in zip(fields[1:4], fields[4:7], names):
                self.assertAlmostEqual(float(degrees), s[name], delta=0.06 * s[name])
                self.assertAlmostEqual(float(seconds), 3600 * s[name], delta=0.06 * 3600 * s[name])

    def test_seed_is_printed(self):
        self.assertIn("seed: 1\n", self.run_kor("--poses=2", "--mode=5").stderr)
        self.assertIn("seed: 12\n", self.run_kor("--poses=2", "--mode=5", "--seed=12").stderr)

    def test_progress_is_drawn_when_asked(self):
        self.assertIn("accuracy", self.run_kor("--poses=400", "--mode=9", "--progress=always").stderr)
        self.assertNotIn("accuracy", self.run_kor("--poses=400", "--mode=9").stderr)

    def test_wrong_usage_is_refused(self):
        for option in ("--mode=0", "--mode=11", "--poses=0", "--poses=x", "--seed=-1", "--progress=now", "more"):
            self.assertIn("kor accuracy --help", self.run_kor(option, status=USAGE).stderr)


class Budget(Case):
    ARC = 3600.0

    def budgets(self, *arguments):
        return json.loads(self.run_kor("--budget", "--json", *arguments).stdout)["budgets"]

    def inputs(self, *arguments):
        budgets = self.budgets(*arguments)
        self.assertEqual(len(budgets), 1)
        return {i["input"]: i for i in budgets[0]["inputs"]}, budgets[0]

    @staticmethod
    def size(entry):
        return math.sqrt(entry["x"] ** 2 + entry["y"] ** 2 + entry["z"] ** 2)

    def test_every_mode_has_a_budget_of_every_input(self):
        found = self.budgets()
        self.assertEqual([b["mode"] for b in found], list(MODES))
        for budget in found:
            names = [i["input"] for i in budget["inputs"]]
            self.assertEqual(len(names), len(set(names)))
            for name in ("azimuth encoder", "elevation encoder", "level X", "level Y", "x", "y", "z",
                         "levelTemperature", "AZ Calibration Table", "Angle Offset 1", "Tilt Sensor Offset 2",
                         "Thermal Compensation Factor 4"):
                self.assertIn(name, names)

    def test_a_degree_of_azimuth_turns_the_base_a_degree_about_its_own_axis(self):
        for budget in self.budgets():
            entry = next(i for i in budget["inputs"] if i["input"] == "Angle Offset 1")
            axis = [budget["base"][2], budget["base"][5], budget["base"][8]]
            turn = [entry[a] / self.ARC for a in "xyz"]
            along = sum(a * t for a, t in zip(axis, turn))
            gain = 1e-3 if budget["mode"] in (3, 4, 5, 6) else 0.0
            self.assertAlmostEqual(abs(along), 1.0, delta=gain + 1e-6)
            self.assertAlmostEqual(self.size(entry) / self.ARC, abs(along), delta=1e-6)

    def test_what_cancels_has_opposite_signs(self):
        for budget in self.budgets():
            entries = {i["input"]: i for i in budget["inputs"]}
            for shifted, offset in (("AZ Calibration Table", "Angle Offset 1"),
                                    ("EL Calibration Table", "Angle Offset 2"),
                                    ("Tilt Y Calibration Table", "Tilt Sensor Offset 2")):
                for axis in "xyz":
                    self.assertAlmostEqual(entries[shifted][axis], -entries[offset][axis],
                                           delta=1e-6 * self.size(entries[shifted]) + 1e-5)

    def test_moving_along_the_line_of_sight_changes_nothing(self):
        for budget in self.budgets():
            entries = {i["input"]: i for i in budget["inputs"]}
            for axis in "xyz":
                along = sum(entries[c][axis] * p for c, p in zip("xyz", budget["position_mm"]))
                self.assertAlmostEqual(along, 0.0, delta=1e-2)    # of some 10^5 on each side

    def test_turning_everything_about_the_vertical_turns_the_base_as_far(self):
        for budget in self.budgets():
            entries = {i["input"]: i for i in budget["inputs"]}
            x, y, _ = budget["position_mm"]
            for axis, wanted in zip("xyz", (0.0, 0.0, 1.0)):
                turned = (-y * entries["x"][axis] + x * entries["y"][axis]) / 206264.80625
                self.assertAlmostEqual(turned, wanted, delta=1e-6)

    def test_inputs_that_a_model_does_not_read_weigh_nothing(self):
        for mode, names in ((3, ("level X",)), (5, ("level X",)), (7, ("level X",)),
                            (8, ("level X", "QVC 1", "QVC 2", "QVC 3")), (10, ("QVC 1", "temperature 0"))):
            entries, _ = self.inputs(f"--mode={mode}")
            for name in names:
                self.assertEqual(self.size(entries[name]), 0.0, (mode, name))
        entries, _ = self.inputs("--mode=10")
        self.assertGreater(self.size(entries["level X"]), 100.0)

    def test_the_pendulums_direction_weighs_as_much_as_its_reading(self):
        # A pendulum along y: what raises it by a degree is worth a degree of the level, gain apart.
        entries, _ = self.inputs("--mode=4")
        for axis in "xyz":
            self.assertAlmostEqual(abs(entries["Scale Factor 3"][axis] / entries["Scale Factor 2"][axis]), 1.0, delta=0.01)

    def test_step_control_leaves_little(self):
        for budget in self.budgets():
            for entry in budget["inputs"]:
                searched = budget["mode"] in (3, 4) and entry["input"] in ("Scale Factor 3", "Scale Factor 4")
                limit = 10.0 if searched else 1e-3 + 1e-6 * self.size(entry)
                self.assertLess(entry["uncertainty"], limit, entry)

    def test_pose_and_parameter_file_are_taken(self):
        data = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "data", "polarizer")
        entries, budget = self.inputs("--prm", data, "--id=1005", "--pose=4000,3000,500,1,2,-40")
        self.assertEqual(budget["mode"], 5)
        self.assertEqual(budget["position_mm"], [4000, 3000, 500])
        self.assertAlmostEqual(entries["Scale Factor 1"]["value"], 0.35, delta=1e-6)
        base = budget["base"]
        self.assertAlmostEqual(math.degrees(math.atan2(base[3], base[0])), -40.0, delta=1e-12)
        other, _ = self.inputs("--prm", data, "--id=1005", "--mode=6", "--pose=4000,3000,500,1,2,-40")
        self.assertEqual(other["azimuth encoder"]["z"], entries["azimuth encoder"]["z"])

    def test_table_of_the_budget_tells_the_same_as_json(self):
        text = self.run_kor("--budget", "--mode=8").stdout
        entries, _ = self.inputs("--mode=8")
        for name, entry in entries.items():
            line = next(row for row in text.split("\n")[3:] if row[15:44].strip() == name)
            for number, axis in zip(line.split()[-4:-1], "xyz"):
                self.assertAlmostEqual(float(number), entry[axis], delta=1e-3 * abs(entry[axis]) + 1e-12)

    def test_a_pose_that_the_model_does_not_find_is_told(self):
        self.assertEqual(self.run_kor("--budget").stderr, "")
        done = self.run_kor("--budget", "--mode=8", "--pose=3000,2000,900,180,0,-60")
        self.assertIn("degrees from this pose", done.stderr)

    def test_wrong_usage_of_the_budget_is_refused(self):
        for options in (["--pose=1,2,3,0,0,0"], ["--prm=x", "--id=5"], ["--budget", "--pose=1,2,3"],
                        ["--budget", "--pose=1,2,3,4,5,x"], ["--budget", "--prm=x"], ["--budget", "--poses=5"],
                        ["--budget", "--mode=12"]):
            self.run_kor(*options, status=USAGE)
        done = self.run_kor("--budget", "--mode=5", "--pose=0,0,5000,0,0,0", status=USAGE)
        self.assertIn("cannot look at the tracker", done.stderr)


if __name__ == "__main__":
    unittest.main()
