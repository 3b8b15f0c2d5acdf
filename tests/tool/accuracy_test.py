#!/usr/bin/env python3
"""End-to-end tests of `kor accuracy`.

    accuracy_test.py KOR [-v] [Class[.test] ...]
"""
import json
import math
import os
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

from program import KOR, posix_only

USAGE = 64
BAD_DATA = 65
NO_INPUT = 66
UNAVAILABLE = 69
ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
MODES = range(1, 11)


class Case(unittest.TestCase):
    def run_kor(self, *arguments, status=0, **options):
        done = subprocess.run([*KOR, "accuracy", *arguments], capture_output=True, text=True, timeout=300, **options)
        self.assertEqual(done.returncode, status, done.stderr + done.stdout)
        return done

    measured = {}

    def strata(self, *arguments):
        """What a command measures, made once."""
        if arguments not in self.measured:
            self.measured[arguments] = self.run_kor("--json", *arguments).stdout
        return json.loads(self.measured[arguments])["strata"]


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
        for s in self.strata("--poses=400"):
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
        data = os.path.join(ROOT, "data", "polarizer")
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

    def test_a_unit_of_a_levels_table_is_given_in_arc_seconds(self):
        for budget in self.budgets():
            entries = {i["input"]: i for i in budget["inputs"]}
            tables = {"level Y": "Tilt Y Calibration Table"}
            if budget["mode"] not in (5, 6):
                tables["level X"] = "Tilt X Calibration Table"
            for level, table in tables.items():
                # The table shifted by a degree does what its reading does when it grows by as many arc-seconds.
                for axis in "xyz":
                    self.assertAlmostEqual(abs(entries[level][axis]),
                                           abs(entries[table][axis]) * entries[level]["unit_arcsec"] / self.ARC,
                                           delta=3e-3 * self.size(entries[level]) + 1e-6)
            for name, entry in entries.items():
                if name not in ("level X", "level Y"):
                    self.assertEqual(entry["unit_arcsec"], self.ARC if entry["unit"] == "deg" else None, name)
            # In modes 5 and 6 level Y is too small here for a ratio with level X.
            self.assertEqual(entries["level X"]["unit_arcsec"] > 0.0, budget["mode"] not in (5, 6))

    def test_a_pose_that_the_model_does_not_find_is_told(self):
        self.assertEqual(self.run_kor("--budget").stderr, "")
        done = self.run_kor("--budget", "--mode=8", "--pose=3000,2000,900,180,0,-60")
        self.assertIn("degrees from this pose", done.stderr)

    def test_wrong_usage_of_the_budget_is_refused(self):
        for options in (["--pose=1,2,3,0,0,0"], ["--prm=x", "--id=5"], ["--budget", "--pose=1,2,3"],
                        ["--budget", "--pose=1,2,3,4,5,x"], ["--budget", "--prm=x"], ["--budget", "--poses=5"],
                        ["--budget", "--mode=12"], ["--trials=200"], ["--budget", "--uncertainty=x"]):
            self.run_kor(*options, status=USAGE)
        done = self.run_kor("--budget", "--mode=5", "--pose=0,0,5000,0,0,0", status=USAGE)
        self.assertIn("cannot look at the tracker", done.stderr)


@posix_only
class Plot(Case):
    """Bars by gnuplot, beside what is printed."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def svg(self, *arguments):
        """The picture; what is printed is the same as without it."""
        path = os.path.join(self.folder, "bars.svg")
        done = self.run_kor(*arguments, "--plot", path)
        self.assertEqual(done.stdout, self.run_kor(*arguments).stdout)
        root = xml.etree.ElementTree.parse(path).getroot()
        return [element.text for element in root.iter("{http://www.w3.org/2000/svg}text")], root

    def test_every_stratum_has_its_bars(self):
        words, root = self.svg("--mode=5", "--poses=20")
        wanted = [s["stratum"] + ("" if s["inherent"] is None else " *") for s in self.strata("--mode=5", "--poses=20")]
        self.assertEqual([w for w in words if w in wanted], wanted)
        for text in ("Orientation errors of known poses", "mount mode 5, polarizer", "error, arc-seconds", "median",
                     "99.9 %", "worst", "bound of the worst"):
            self.assertIn(text, words)
        self.assertEqual(self.bars(root), [len(wanted)] * 3)

    COLOURS = ("0, 114, 178", "230, 159,   0", " 86, 180, 233")

    def bars(self, root):
        """How many bars each series has, without the sample of its key."""
        fills = [e.get("fill", "") for e in root.iter("{http://www.w3.org/2000/svg}polygon")]
        return [sum(colour in fill for fill in fills) - 1 for colour in self.COLOURS]

    def test_every_input_that_turns_the_base_has_its_bars(self):
        words, _ = self.svg("--budget", "--mode=10")
        entries = json.loads(self.run_kor("--budget", "--json", "--mode=10").stdout)["budgets"][0]["inputs"]
        for i in entries:
            name = ("position " if i["group"] == "position" else "") + i["input"] + (
                "" if i["unit"] == "1" else ", per " + i["unit"])
            self.assertEqual(name in words, math.hypot(i["x"], i["y"], i["z"]) >= 1e-3, name)

    def test_every_mode_has_its_panel(self):
        words, _ = self.svg("--budget")
        self.assertEqual(sum(w.startswith("mount mode ") for w in words if w), 10)

    def test_every_form_is_drawn(self):
        for name, magic in (("a.png", b"\x89PNG\r\n"), ("a.pdf", b"%PDF-"), ("a.svg", b"<?xml"), ("a.svg.gz", b"\x1f\x8b")):
            path = os.path.join(self.folder, name)
            self.run_kor("--budget", "--mode=5", "--plot", path)
            with open(path, "rb") as file:
                self.assertTrue(file.read().startswith(magic), name)

    def test_an_uncertainty_is_drawn_also_if_it_is_zero(self):
        example = os.path.join(ROOT, "examples", "uncertainty.json")
        words, _ = self.svg("--uncertainty", example, "--mode=10", "--trials=100")
        for text in ("law of propagation", "Monte Carlo", "all together *", "position x, noise *", "Angle Offset 1, constant"):
            self.assertIn(text, words)
        none = os.path.join(self.folder, "none.json")
        with open(none, "w", encoding="utf-8") as file:
            file.write('{"format": "kor uncertainty 1", "inputs": {}}')
        words, _ = self.svg("--uncertainty", none, "--mode=5", "--trials=100")
        self.assertIn("all together", words)

    def test_a_picture_of_another_name_is_refused_before_anything_is_measured(self):
        for name in ("bars.gif", "bars", "-", ""):
            done = self.run_kor("--mode=5", "--plot", name, status=USAGE)
            self.assertIn("expected a name that ends in .svg, .png or .pdf", done.stderr)
            self.assertEqual(done.stdout, "")

    def test_the_file_of_uncertainties_is_not_overwritten(self):
        path = os.path.join(self.folder, "u.svg")
        with open(path, "w", encoding="utf-8") as file:
            file.write('{"format": "kor uncertainty 1", "inputs": {}}')
        done = self.run_kor("--uncertainty", path, "--plot", path, "--mode=5", status=USAGE)
        self.assertIn("the file of uncertainties itself", done.stderr)

    def test_without_gnuplot_the_figures_are_there_and_the_status_says_so(self):
        path = os.path.join(self.folder, "a.svg")
        done = self.run_kor("--budget", "--mode=5", "--plot", path, status=UNAVAILABLE, env={**os.environ, "PATH": self.folder})
        self.assertIn("azimuth encoder", done.stdout)
        self.assertIn("gnuplot is not installed", done.stderr)
        self.assertEqual(os.listdir(self.folder), [])


class Uncertainty(Case):
    """The law of propagation and Monte Carlo, side by side. Few trials: what they leave open is in the tolerances."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)

    def file(self, inputs):
        return self.text(json.dumps({"format": "kor uncertainty 1", "inputs": inputs}))

    def text(self, text):
        path = os.path.join(self.folder.name, "uncertainty.json")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def mode(self, mode, inputs, *arguments):
        done = self.run_kor("--uncertainty", self.file(inputs), f"--mode={mode}", "--json", *arguments)
        return json.loads(done.stdout)["modes"][0]

    def budget(self, mode):
        done = self.run_kor("--budget", "--json", f"--mode={mode}")
        return {i["input"]: i for i in json.loads(done.stdout)["budgets"][0]["inputs"]}

    def assert_alike(self, found, wanted, own, factor=4.0):
        for name in ("x", "y", "z", "angle"):
            # Beside the trials' own uncertainty, a thousandth: second order of what is nearly linear.
            self.assertAlmostEqual(found[name], wanted[name], delta=factor * own[name] + 1e-3 * wanted["angle"])

    def test_no_uncertainty_gives_none(self):
        inputs = {"azimuth encoder": {"noise": 0, "constant": 0.0, "unit": "arcsec"},
                  "Angle Offset 1": {"constant": 0e5, "unit": "deg"}, "x": {"noise": 1e-999, "unit": "mm"}}
        for mode in (5, 10):
            for stated in (inputs, {}):
                found = self.mode(mode, stated, "--trials=100")
                for way in (found["law"], found["monte_carlo"]):
                    for figure in (*way["standard"].values(), *way["expanded"].values()):
                        self.assertEqual(figure, 0.0)
                self.assertEqual(list(found["monte_carlo"]["mean"].values()), [0.0, 0.0, 0.0])
                self.assertEqual((found["inputs"], found["believe"]), ([], "either"))

    def test_the_law_is_sensitivity_times_uncertainty(self):
        entry = self.budget(8)["elevation encoder"]
        found = self.mode(8, {"elevation encoder": {"constant": 7.2, "unit": "arcsec"}}, "--trials=100")
        for axis in "xyz":
            self.assertAlmostEqual(found["law"]["standard"][axis], abs(entry[axis]) * 0.002, delta=1e-9)
            self.assertEqual(found["law"]["expanded"][axis], 2.0 * found["law"]["standard"][axis])
        self.assertAlmostEqual(found["law"]["standard"]["angle"],
                               math.hypot(*(entry[axis] for axis in "xyz")) * 0.002, delta=1e-9)

    def test_one_input_alone_is_worth_the_same_by_both(self):
        for mode, name, kind, unit in ((1, "azimuth encoder", "noise", "arcsec"), (5, "level Y", "constant", "arcsec"),
                                       (8, "z", "noise", "mm"), (9, "Angle Offset 1", "constant", "arcsec"),
                                       (10, "x", "constant", "mm"), (10, "Level_X 5", "constant", "arcsec")):
            found = self.mode(mode, {name: {kind: 0.5, "unit": unit}}, "--trials=400")
            trials = found["monte_carlo"]
            self.assertGreater(found["law"]["standard"]["angle"], 0.01)
            self.assert_alike(trials["standard"], found["law"]["standard"], trials["standard_own"])
            self.assertEqual((found["believe"], found["inputs"][0]["difference"]), ("either", "none"), name)
            for share in ("law_share_percent", "monte_carlo_share_percent"):
                self.assertEqual(found["inputs"][0][share], 100.0)
            # A normal deviate is within two standard deviations in 95.4 % of all cases; 400 trials tell it within 1.
            self.assertAlmostEqual(trials["within_expanded_angle"], 0.954, delta=0.04)
            self.assertAlmostEqual(trials["p95_angle"], 1.96 * found["law"]["standard"]["angle"],
                                   delta=0.15 * found["law"]["standard"]["angle"] * 1.96)

    MANY = {"azimuth encoder": {"noise": 0.7, "constant": 0.5, "unit": "arcsec"},
            "level Y": {"noise": 1.8, "unit": "arcsec"}, "y": {"noise": 0.01, "constant": 0.02, "unit": "mm"},
            "levelTemperature": {"constant": 0.3, "unit": "deg C"}, "Angle Offset 2": {"constant": 1, "unit": "arcsec"},
            "Tilt Sensor Offset 2": {"constant": 0.0004, "unit": "deg"}}

    def test_twice_the_uncertainties_are_twice_the_uncertainty(self):
        twice = {name: {k: 2 * v if k != "unit" else v for k, v in entry.items()} for name, entry in self.MANY.items()}
        for mode in (4, 6):
            once, double = (self.mode(mode, inputs, "--trials=200") for inputs in (self.MANY, twice))
            for name in ("x", "y", "z", "angle"):
                self.assertEqual(2.0 * once["law"]["standard"][name], double["law"]["standard"][name])
                # The same numbers are drawn: what remains is the second order.
                self.assertAlmostEqual(2.0 * once["monte_carlo"]["standard"][name],
                                       double["monte_carlo"]["standard"][name],
                                       delta=1e-3 * double["monte_carlo"]["standard"]["angle"])
            for a, b in zip(once["inputs"], double["inputs"]):
                self.assertAlmostEqual(a["law_share_percent"], b["law_share_percent"], delta=1e-9)

    def test_shares_add_up_and_follow_from_the_figures(self):
        for mode in (2, 7, 10):
            found = self.mode(mode, self.MANY, "--trials=100")
            self.assertEqual([(i["input"], i["kind"]) for i in found["inputs"]],
                             [(name, kind) for name, entry in self.MANY.items() for kind in ("noise", "constant")
                              if kind in entry])
            for share, figure in (("law_share_percent", lambda i: i["law"]["angle"]),
                                  ("monte_carlo_share_percent", lambda i: i["monte_carlo"]["standard"]["angle"])):
                total = sum(figure(i) ** 2 for i in found["inputs"])
                self.assertAlmostEqual(sum(i[share] for i in found["inputs"]), 100.0, delta=1e-9)
                for i in found["inputs"]:
                    self.assertAlmostEqual(i[share], 100.0 * figure(i) ** 2 / total, delta=1e-9)
            self.assertAlmostEqual(found["law"]["standard"]["angle"],
                                   math.sqrt(sum(i["law"]["angle"] ** 2 for i in found["inputs"])), delta=1e-9)

    def test_the_units_are_those_of_the_budget(self):
        entries = self.budget(10)
        table = entries["level X"]["unit_arcsec"]
        for name, given in (("level X", ((table, "arcsec"), (table / 3600, "deg"), (1, "table unit"))),
                            ("Angle Offset 1", ((36, "arcsec"), (0.01, "deg"))), ("y", ((0.5, "mm"), (500, "um")))):
            figures = [self.mode(10, {name: {"constant": value, "unit": unit}}, "--trials=100")["law"]["standard"]["angle"]
                       for value, unit in given]
            for figure in figures:
                self.assertAlmostEqual(figure, figures[0], delta=1e-9 * figures[0])

    def test_filters_make_more_of_the_positions_noise_and_less_of_the_levels(self):
        for mode in (9, 10):
            found = self.mode(mode, {"y": {"noise": 0.01, "unit": "mm"}, "level Y": {"noise": 5, "unit": "arcsec"},
                                     "azimuth encoder": {"noise": 0.5, "unit": "arcsec"}}, "--trials=300")
            position, level, encoder = found["inputs"]
            self.assertGreater(position["monte_carlo"]["standard"]["angle"], 50 * position["law"]["angle"])
            # The mean of five samples.
            self.assertAlmostEqual(level["monte_carlo"]["standard"]["angle"] / level["law"]["angle"], 1 / math.sqrt(5),
                                   delta=4 * level["monte_carlo"]["standard_own"]["angle"] / level["law"]["angle"])
            self.assertEqual([i["difference"] for i in found["inputs"]], ["filters", "filters", "none"])
            for entry in (position, level):
                self.assert_alike(entry["held"]["standard"], entry["law"], entry["held"]["standard_own"])
            self.assertEqual((found["believe"], found["cause"]), ("monte carlo", 0))
            self.assertIn("filters", found["verdict"])
            self.assertIn("y, noise", found["verdict"])
            # Without the noise of the position there is nothing that they differ on beyond the level's share.
            calm = self.mode(mode, {"y": {"constant": 0.01, "unit": "mm"}}, "--trials=300")
            self.assertEqual(calm["believe"], "either")

    def test_of_too_small_a_change_for_the_search_the_law_is_believed(self):
        found = self.mode(4, {"Scale Factor 3": {"constant": 0.4, "unit": "arcsec"}}, "--trials=100")
        self.assertLess(found["monte_carlo"]["standard"]["angle"], 0.5 * found["law"]["standard"]["angle"])
        self.assertEqual((found["believe"], found["inputs"][0]["difference"]), ("law", "search"))

    def test_jumps_to_another_solution_are_told(self):
        # 0.16 degrees from the half turn, which the noise of the position passes now and then.
        pose = "--pose=3000,2000,900,-176,-3,128.69"
        inputs = {"y": {"noise": 0.015, "unit": "mm"}, "Angle Offset 1": {"constant": 1, "unit": "arcsec"}}
        found = self.mode(9, inputs, pose, "--trials=1500")
        trials = found["monte_carlo"]
        self.assertGreater(trials["far"], 0)
        self.assertLess(trials["far"], 75)
        self.assertAlmostEqual(trials["farthest_angle"], 324600, delta=1000)    # a quarter turn
        self.assertEqual((found["believe"], found["inputs"][0]["difference"], found["cause"]), ("monte carlo", "jumps", 0))
        self.assertIn("another\nsolution", found["verdict"])

    def test_what_is_not_in_proportion_is_told(self):
        # The direction to the target changes by tens of degrees.
        found = self.mode(8, {"z": {"noise": 3000, "unit": "mm"}}, "--trials=2000")
        self.assertEqual((found["believe"], found["inputs"][0]["difference"]), ("monte carlo", "not linear"))

    def test_trials_without_a_matrix_are_counted(self):
        # Beyond some 76 degrees the dual level has no tilt that fits the height.
        inputs = {"level Y": {"constant": 50, "unit": "deg"}}
        trials = self.mode(1, inputs, "--trials=4000")["monte_carlo"]
        # The level reads 3.4 degrees: 7.3 % of normal deviates of 50 degrees lead beyond 76, 5.6 % beyond -76, on one side
        # at least without a tilt. Of 4000 that is certain to 0.4 % and 0.5 %; a share has four times that as room.
        share = trials["without"] / trials["trials"]
        self.assertTrue(0.057 < share < 0.150, share)
        text = self.run_kor("--uncertainty", self.file(inputs), "--mode=1", "--trials=200").stdout
        self.assertIn("of the trials have no matrix", text)

    def test_where_the_model_forms_no_matrix_neither_is_believed(self):
        # Target level with the tracker: the dual level divides by the height.
        found = self.mode(1, {"Angle Offset 1": {"constant": 1, "unit": "arcsec"}}, "--trials=100",
                          "--pose=3000,2000,0,4,-3,28.69")
        self.assertEqual((found["monte_carlo"]["without"], found["believe"]), (100, "neither"))
        self.assertEqual(found["inputs"][0]["difference"], "no matrix")

    def test_the_same_seed_gives_the_same_bytes(self):
        path = self.file(self.MANY)
        both = [self.run_kor("--uncertainty", path, "--mode=10", "--trials=100", "--seed=7", *form).stdout
                for form in (["--json"], ["--json"], [], [])]
        self.assertEqual(both[0], both[1])
        self.assertEqual(both[2], both[3])
        other = self.run_kor("--uncertainty", path, "--mode=10", "--trials=100", "--seed=8", "--json").stdout
        self.assertNotEqual(*(json.loads(text)["modes"][0]["monte_carlo"]["standard"] for text in (both[0], other)))
        # A mode alone is what it is among all, and the law knows no seed.
        every = json.loads(self.run_kor("--uncertainty", path, "--trials=100", "--seed=7", "--json").stdout)["modes"]
        self.assertEqual(every[9], json.loads(both[0])["modes"][0])
        self.assertEqual(every[9]["law"], json.loads(other)["modes"][0]["law"])

    @posix_only
    def test_neither_locale_nor_processors_matter(self):
        path = self.file(self.MANY)
        arguments = ("--uncertainty", path, "--mode=9", "--trials=100", "--json")
        names = subprocess.run(["locale", "-a"], capture_output=True, text=True).stdout.split()
        comma = [name for name in names if name.startswith("de_")] or ["de_DE.UTF-8"]
        plain = self.run_kor(*arguments, env={**os.environ, "LC_ALL": "C"}).stdout
        self.assertEqual(plain, self.run_kor(*arguments, env={**os.environ, "LC_ALL": comma[0]}).stdout)
        one = {min(os.sched_getaffinity(0))} if hasattr(os, "sched_getaffinity") else None
        if one:
            self.assertEqual(plain, self.run_kor(*arguments, preexec_fn=lambda: os.sched_setaffinity(0, one)).stdout)

    def test_text_tells_the_same_as_json(self):
        path = self.file(self.MANY)
        text = self.run_kor("--uncertainty", path, "--mode=10", "--trials=100").stdout
        found = json.loads(self.run_kor("--uncertainty", path, "--mode=10", "--trials=100", "--json").stdout)["modes"][0]
        rows = [row for row in text.split("\n") if row]
        figures = [[float(v) for v in row.split()[-4:]] for row in rows[3:8]]
        trials = found["monte_carlo"]
        for row, wanted in zip(figures, (found["law"]["standard"], found["law"]["expanded"], trials["standard"],
                                         trials["standard_own"], trials["expanded"])):
            for value, name in zip(row, ("x", "y", "z", "angle")):
                self.assertAlmostEqual(value, wanted[name], delta=1e-3 * wanted[name])
        for line in found["verdict"].split("\n"):
            self.assertIn(line, rows)
        for entry in found["inputs"]:
            row = next(r for r in rows if r[2:31].strip() == entry["input"] and r[32:40].strip() == entry["kind"])
            self.assertEqual(row[0], " " if entry["difference"] == "none" else "*")
            law, share, _, trial, _, alone, _ = row.split()[-7:]
            for value, wanted in ((law, entry["law"]["angle"]), (trial, entry["monte_carlo"]["standard"]["angle"])):
                self.assertAlmostEqual(float(value), wanted, delta=1e-3 * wanted)
            self.assertAlmostEqual(float(share), entry["law_share_percent"], delta=0.051)
            self.assertAlmostEqual(float(alone), entry["monte_carlo_share_percent"], delta=0.051)

    def test_an_input_of_other_modes_is_named_and_passed_over(self):
        inputs = {"azimuth encoder": {"noise": 1, "unit": "arcsec"}, "QVC 4": {"constant": 1, "unit": "arcsec"}}
        found = self.mode(5, inputs, "--trials=100")
        self.assertEqual((found["not_inputs"], len(found["inputs"])), (["QVC 4"], 1))
        text = self.run_kor("--uncertainty", self.file(inputs), "--mode=5", "--trials=100").stdout
        self.assertIn("not inputs of this mount mode: QVC 4\n", text)

    def test_the_example_is_taken_in_every_mode_from_a_parameter_file_and_at_a_pose(self):
        example = os.path.join(ROOT, "examples", "uncertainty.json")
        done = self.run_kor("--uncertainty", example, "--trials=100", "--json")
        found = json.loads(done.stdout)
        self.assertEqual([m["mode"] for m in found["modes"]], list(MODES))
        self.assertEqual((done.stderr, found["trials"]), ("seed: 1\n", 100))
        own = json.loads(self.run_kor("--uncertainty", example, "--prm", os.path.join(ROOT, "data", "polarizer"), "--id=1005",
                                      "--pose=4000,3000,500,1,2,-40", "--trials=100", "--json").stdout)["modes"][0]
        self.assertEqual((own["mode"], own["position_mm"]), (5, [4000, 3000, 500]))
        self.assertGreater(own["law"]["standard"]["angle"], 0.0)

    def refused(self, text, *wanted):
        done = self.run_kor("--uncertainty", self.text(text), "--mode=5", "--trials=100", status=BAD_DATA)
        for words in ("uncertainty.json: ", *wanted):
            self.assertIn(words, done.stderr)
        self.assertEqual(done.stdout, "")

    def test_a_file_with_an_error_is_refused_with_the_place(self):
        head = '{"format": "kor uncertainty 1", "inputs": {'
        for entry, *wanted in (
                ('"level Z": {"noise": 1, "unit": "mm"}', "/inputs/level Z: ", "kor accuracy --budget lists them"),
                ('"x": {"noise": -0.5, "unit": "mm"}', "/inputs/x/noise: found -0.5, expected a number from 0 to 1e9"),
                ('"x": {"noise": 1e10, "unit": "mm"}', "/inputs/x/noise: found 1e10, expected"),
                ('"x": {"noise": 1e999, "unit": "mm"}', "/inputs/x/noise: found", "expected a number from 0 to 1e9"),
                ('"x": {"noise": NaN, "unit": "mm"}', "line 1, column", "expected JSON"),
                ('"x": {"noise": "1", "unit": "mm"}', '/inputs/x/noise: found "1", expected a number'),
                ('"x": {"noise": null, "unit": "mm"}', "/inputs/x/noise: found null, expected"),
                ('"x": {"noise": true, "unit": "mm"}', "/inputs/x/noise: found true, expected"),
                ('"x": {"noise": [1], "unit": "mm"}', "/inputs/x/noise: found"),
                ('"x": {"unit": "mm"}', "/inputs/x: found neither", "standard uncertainty"),
                ('"x": {"noise": 1}', '/inputs/x/unit: found nothing, expected "mm" or "um"'),
                ('"x": {"noise": 1, "unit": "cm"}', '/inputs/x/unit: found "cm", expected "mm" or "um"'),
                ('"x": {"noise": 1, "unit": 5}', "/inputs/x/unit: found 5, expected"),
                ('"level X": {"noise": 1, "unit": "mm"}', 'expected "arcsec", "deg" or "table unit"'),
                ('"x": {"noise": 1, "unit": "mm", "sigma": 2}', "/inputs/x/sigma: found a member of that name"),
                ('"x": {"noise": 1, "noise": 2, "unit": "mm"}', "/inputs/x/noise: found a second value"),
                ('"x": {"noise": 1, "unit": "mm"}, "x": {"noise": 1, "unit": "mm"}', "/inputs/x: found a second value"),
                ('"Angle Offset 1": {"noise": 1, "unit": "deg"}', "/inputs/Angle Offset 1/noise: ",
                 "a parameter is the same in all samples"),
                ('"x": 0.1', "/inputs/x: found 0.1, expected an object"),
                ('"x": {"noise": {"a": {}}, "unit": "mm"}', "found"),
                ('"x": {"noise": 1, "unit": "mm"},', "line 1, column", "expected JSON")):
            self.refused(head + entry + "}}", *wanted)
        for text, *wanted in (("", "end of file"), ("[]", "/: found an array"), ("{}", "/format: found nothing"),
                              ('{"format": "kor uncertainty 2", "inputs": {}}', '/format: found "kor uncertainty 2"'),
                              ('{"format": "kor uncertainty 1"}', "/inputs: found nothing"),
                              ('{"format": "kor uncertainty 1", "inputs": []}', "/inputs: found an array"),
                              ('{"format": "kor uncertainty 1", "inputs": {}, "trials": 5}', "/trials: found"),
                              (" " * 100_001, "more than 100000 bytes", "file of uncertainties")):
            self.refused(text, *wanted)

    def test_a_file_that_is_not_there_is_told(self):
        done = self.run_kor("--uncertainty", os.path.join(self.folder.name, "none.json"), status=NO_INPUT)
        self.assertIn("none.json", done.stderr)
        self.assertIn("cannot open", done.stderr)

    def test_wrong_usage_of_the_uncertainty_is_refused(self):
        path = self.file({})
        for option in ("--trials=99", "--trials=1000001", "--trials=x", "--seed=-1", "--poses=5", "--budget", "--id=3",
                       "--progress=now", "--pose=1,2"):
            self.run_kor("--uncertainty", path, option, status=USAGE)
        done = self.run_kor("--uncertainty", path, "--mode=5", "--pose=0,0,5000,0,0,0", status=USAGE)
        self.assertIn("cannot look at the tracker", done.stderr)


if __name__ == "__main__":
    unittest.main()
