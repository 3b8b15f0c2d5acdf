#!/usr/bin/env python3
"""End-to-end tests of `kor simulate`.

    simulate_test.py KOR [-v] [Class[.test] ...]

Simulates with the shipped parameter files, replays and holds the results against the truth.
"""
import csv
import hashlib
import json
import math
import os
import pathlib
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

from program import KOR, posix_only
from rotation import distance_angle

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
DATA = os.path.join(ROOT, "data")
SENSORS = ["dual_level", "dual_level_even", "pendulum", "pendulum_even", "polarizer", "polarizer_even", "three_vector",
           "three_vector_even", "two_level", "two_level_even"]
REALS = ["sensorVector_x", "sensorVector_y", "sensorVector_z", "azimuthRaw", "elevationRaw", "levelXRaw", "levelYRaw",
         "levelTemperature", "referenceGate"]
COUNTS = ["temperatureCount_0", "temperatureCount_1", "temperatureCount_2"]
RAW = struct.Struct("<4xi9f4xB3x3iI")
USAGE, DATA_ERROR, NO_INPUT, CANNOT_CREATE, IO_ERROR = 64, 65, 66, 73, 74


def digest(path):
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()


def rows(path):
    with open(path, newline="") as file:
        return list(csv.DictReader(file))


def f32(value):
    return struct.unpack("<f", struct.pack("<f", value))[0]


def turn(axis, degrees):
    c, s = math.cos(math.radians(degrees)), math.sin(math.radians(degrees))
    return {"x": [[1, 0, 0], [0, c, -s], [0, s, c]], "y": [[c, 0, s], [0, 1, 0], [-s, 0, c]],
            "z": [[c, -s, 0], [s, c, 0], [0, 0, 1]]}[axis]


def times(a, b):
    return [[sum(a[r][k] * b[k][c] for k in range(3)) for c in range(3)] for r in range(3)]


class Case(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.dir)

    def path(self, name):
        return os.path.join(self.dir, name)

    def run_kor(self, *arguments, status=0):
        done = subprocess.run([*KOR, *arguments], capture_output=True, text=True, timeout=120)
        self.assertEqual(done.returncode, status, done.stderr)
        return done

    def simulate(self, sensor, *options, motion="static", samples=400, out="run.csv", truth=True, status=0):
        arguments = ["simulate", "--prm", os.path.join(DATA, sensor), "--id", str(1001 + SENSORS.index(sensor)),
                     "--motion", motion, "--samples", str(samples), "-o", self.path(out)]
        if truth:
            arguments += ["--truth", self.path("truth.csv")]
        return self.run_kor(*arguments, *options, status=status)

    def replay(self, sensor, recording="run.csv", *options):
        self.run_kor("replay", "--prm", os.path.join(DATA, sensor), "--id", str(1001 + SENSORS.index(sensor)),
                     self.path(recording), "-o", self.path("results.csv"), *options)
        return rows(self.path("results.csv"))

    def errors(self, *options):
        """Figures of the angles between results and truth; every sample that may be compared has to have one."""
        done = self.run_kor("compare", self.path("results.csv"), self.path("truth.csv"), "--json",
                            *(options or ("--strict",)))
        return json.loads(done.stdout)["orientation"]

    def recording(self, *options, sensor="polarizer", **more):
        self.simulate(sensor, *options, **more)
        return rows(self.path("run.csv"))

    # What single-precision readings leave of the truth; the slanted pendulum's search stops within 1e-3 degrees.
    def limit(self, sensor):
        return 1.2e-3 if sensor == "pendulum_even" else 2e-5

    def closed_loop(self, sensor, motion, least, samples, *options):
        self.simulate(sensor, *options, motion=motion, samples=samples)
        self.replay(sensor)
        found = self.errors()
        self.assertGreaterEqual(found["rows"], least, (sensor, motion))
        self.assertLess(found["largest"], self.limit(sensor), (sensor, motion))


class ClosedLoop(Case):
    def check(self, sensor):
        for motion in ("static", "circle", "swing", "random", "roll"):
            with self.subTest(motion=motion):
                self.closed_loop(sensor, motion, 180 if motion == "roll" else 360, 400)

    def test_mode_1(self):
        self.check("dual_level")

    def test_mode_2(self):
        self.check("dual_level_even")

    def test_mode_3(self):
        self.check("pendulum")

    def test_mode_4(self):
        self.check("pendulum_even")

    def test_mode_5(self):
        self.check("polarizer")

    def test_mode_6(self):
        self.check("polarizer_even")

    def test_mode_7(self):
        self.check("three_vector")

    def test_mode_8(self):
        self.check("three_vector_even")

    def test_mode_9_in_held_poses(self):
        self.closed_loop("two_level", "static", 850, 2000)

    def test_mode_10_in_held_poses(self):
        self.closed_loop("two_level_even", "static", 850, 2000)

    def test_modes_9_and_10_follow_two_samples_behind(self):
        # The filters look back two samples. What remains against the truth of then comes from the level channel, which
        # is read one sample later than the line of sight.
        for sensor in ("two_level", "two_level_even"):
            with self.subTest(sensor=sensor):
                self.simulate(sensor, motion="random", samples=800)
                self.replay(sensor)
                behind = self.errors("--note=moving", "--lag=2")
                now = self.errors("--note=moving")
                self.assertGreater(behind["rows"], 700)
                self.assertLess(behind["median"], 0.8 * now["median"])
                self.assertLess(behind["largest"], 0.5)

    def test_faults_leave_the_other_samples_true(self):
        for sensor in SENSORS:
            with self.subTest(sensor=sensor):
                self.closed_loop(sensor, "static", 300, 1000, "--drop=0.02", "--bad-status=0.02", "--level-out=0.003",
                                 "--time-jump=500=100000", "--start-stamp=4294962000")

    def test_a_nan_spoils_its_own_sample_only_below_mode_9(self):
        for sensor in SENSORS[:8]:
            with self.subTest(sensor=sensor):
                self.closed_loop(sensor, "static", 360, 400, "--nan=0.03")
        self.simulate("two_level", "--nan=0.005", samples=1000)
        notes = [row["note"] for row in rows(self.path("truth.csv"))]
        first = notes.index("nan")
        self.assertEqual(set(notes[first:]), {"nan"})

    def test_any_mode_can_take_the_place_of_the_files(self):
        for mode in (3, 4, 5, 6):
            with self.subTest(mode=mode):
                self.simulate("polarizer", f"--mode={mode}", motion="random")
                self.replay("polarizer", "run.csv", f"--mode={mode}")
                found = self.errors()
                self.assertGreater(found["rows"], 350)
                self.assertLess(found["largest"], 1.2e-3)

    def test_the_other_simulator_finds_the_same_axis_angles_and_levels(self):
        sys.path.insert(0, os.path.join(ROOT, "tests", "reference"))
        from recordings import Sensor
        for sensor in SENSORS:
            with self.subTest(sensor=sensor):
                number = 1001 + SENSORS.index(sensor)
                independent = Sensor(pathlib.Path(DATA, sensor, f"Tg{number}.prm"))
                moving = sensor in SENSORS[:8]
                self.simulate(sensor, motion="random" if moving else "static", samples=150)
                results = self.replay(sensor)
                truths = rows(self.path("truth.csv"))
                for result, truth in list(zip(results, truths))[30:150:7]:
                    R = [float(truth[f"R_{r}{c}"]) for r in range(3) for c in range(3)]
                    P = [f32(float(truth[f"position_{axis}"])) for axis in "xyz"]
                    x, y, az, el = independent.slots(R, P)
                    difference = (float(result["azimuth_deg"]) - az + 180.0) % 360.0 - 180.0
                    self.assertLess(abs(difference), 4e-5)
                    self.assertLess(abs(float(result["elevation_deg"]) - el), 1e-5)
                    if moving:
                        self.assertLess(abs(float(result["levelY_deg"]) - y), 1e-5)
                        if x is not None:
                            self.assertLess(abs(float(result["levelX_deg"]) - x), 1e-5)


class Reproducibility(Case):
    def test_the_same_seed_gives_the_same_bytes(self):
        options = ["--noise=levelYRaw=0.5", "--drop=0.01", "--nan=0.01", "--level-out=0.01", "--bad-status=0.01"]
        found = set()
        for _ in range(2):
            self.simulate("polarizer", "--seed=77", *options, motion="random")
            found.add((digest(self.path("run.csv")), digest(self.path("truth.csv"))))
        self.assertEqual(len(found), 1)

    def test_another_seed_gives_another_recording(self):
        found = set()
        for seed in ("1", "2", "18446744073709551615"):
            self.simulate("polarizer", "--seed", seed, motion="random")
            found.add(digest(self.path("run.csv")))
        self.assertEqual(len(found), 3)

    def test_the_seed_is_printed_given_or_not(self):
        self.assertRegex(self.simulate("polarizer", "--seed=77").stderr, r"seed: +77\n")
        self.assertRegex(self.simulate("polarizer").stderr, r"seed: +1\n")

    def test_the_bytes_are_these_on_every_platform(self):
        wanted = {
            "dual_level_even": ("3cdca1c63531f3e4", "75dee7feff33a231"),
            "pendulum_even": ("7a0eec2c21b8969e", "1339ffee2bc11285"),
            "polarizer": ("98da3b8bfe4f1fec", "bae6b85c56063be4"),
            "three_vector_even": ("a163dd1d5aeb44a1", "4f364894fd57b406"),
            "two_level": ("326045734b8f13f7", "79a923853981b224"),
        }
        found = {}
        for sensor in wanted:
            self.simulate(sensor, "--seed=2024", "--noise=azimuthRaw=0.001", "--bad-status=0.02", motion="random",
                          samples=300)
            found[sensor] = (digest(self.path("run.csv"))[:16], digest(self.path("truth.csv"))[:16])
        self.assertEqual(found, wanted)

    def test_a_fault_leaves_the_other_faults_where_they_were(self):
        first = self.recording("--noise=azimuthRaw=0.01", "--bad-status=0.1")
        second = self.recording("--noise=azimuthRaw=0.01", "--bad-status=0.1", "--noise=levelXRaw=3",
                                "--level-out=0.1")
        for name in ("azimuthRaw", "status", "elevationRaw", "temperatureCount_1"):
            self.assertEqual([row[name] for row in first], [row[name] for row in second])
        self.assertNotEqual([row["levelXRaw"] for row in first], [row["levelXRaw"] for row in second])


class Motions(Case):
    def way_points(self, text, sensor="polarizer", *options, samples=301, status=0):
        with open(self.path("way.csv"), "w", newline="") as file:
            file.write(text)
        done = self.simulate(sensor, *options, motion=self.path("way.csv"), samples=samples, status=status)
        return rows(self.path("truth.csv")) if status == 0 else done

    HEADER = "time_s,x_mm,y_mm,z_mm,roll_deg,pitch_deg,yaw_deg\n"

    def assert_pose(self, row, position, roll, pitch, yaw):
        for axis, value in zip("xyz", position):
            self.assertEqual(float(row[f"position_{axis}"]), f32(value))
        wanted = times(times(turn("z", yaw), turn("y", pitch)), turn("x", roll))
        for r in range(3):
            for c in range(3):
                self.assertAlmostEqual(float(row[f"R_{r}{c}"]), wanted[r][c], delta=1e-14)

    def test_acceleration_does_not_depend_on_the_rate(self):
        first = [self.recording(f"--rate={rate}", sensor="two_level", motion="random", samples=1)[0]
                 for rate in ("100", "1e6", "0.001")]
        self.assertEqual(first[0], first[1])
        self.assertEqual(first[0], first[2])

    def test_slow_sampling_goes_on_for_years(self):
        for motion in ("static", "circle", "random"):
            found = self.recording("--rate=0.001", motion=motion, samples=14000)
            self.assertEqual(len(found), 14000)
            self.assertTrue(all(20 < float(row["levelTemperature"]) < 23 for row in found))

    def test_way_points_are_met_exactly(self):
        truth = self.way_points(self.HEADER + "0,4000,3000,500,1,2,-40\n1,4100,2900,600,10,-5,-70\n"
                                "2.5,3900,3100,400,-4,3,-100\n")
        self.assert_pose(truth[0], (4000, 3000, 500), 1, 2, -40)
        self.assert_pose(truth[100], (4100, 2900, 600), 10, -5, -70)
        self.assert_pose(truth[250], (3900, 3100, 400), -4, 3, -100)

    def test_the_sensor_rests_before_the_first_and_after_the_last_way_point(self):
        truth = self.way_points(self.HEADER + "1,4000,3000,500,0,0,-40\n2,4100,3000,500,0,0,-50\n")
        for i in (0, 50, 100):
            self.assert_pose(truth[i], (4000, 3000, 500), 0, 0, -40)
        for i in (200, 201, 300):
            self.assert_pose(truth[i], (4100, 3000, 500), 0, 0, -50)

    def test_coordinates_follow_the_natural_cubic(self):
        # Through 0, 100, 0 at 0, 1, 2 s: second derivative -300 in the middle, x = 150 t - 50 t^3 in the first half.
        truth = self.way_points(self.HEADER + "0,4000,3000,500,0,0,-40\n1,4100,3000,500,0,0,-40\n"
                                "2,4000,3000,500,0,0,-40\n")
        for i in range(0, 101, 5):
            t = i / 100
            self.assertAlmostEqual(float(truth[i]["position_x"]), 4000 + 150 * t - 50 * t ** 3, delta=3e-4)
            self.assertEqual(truth[i]["position_x"], truth[200 - i]["position_x"])

    def test_attitude_takes_the_shorter_way_and_stays_a_rotation(self):
        truth = self.way_points(self.HEADER + "0,4000,3000,500,0,0,170\n1,4000,3000,500,0,0,-170\n"
                                "2,4000,3000,500,0,0,-150\n", samples=201)
        for row in truth:
            R = [[float(row[f"R_{r}{c}"]) for c in range(3)] for r in range(3)]
            for i in range(3):
                for j in range(3):
                    self.assertAlmostEqual(sum(R[i][k] * R[j][k] for k in range(3)), float(i == j), delta=1e-14)
            heading = math.degrees(math.atan2(R[1][0], R[0][0])) % 360
            self.assertTrue(169.9 < heading < 210.1, heading)
        self.assert_pose(truth[200], (4000, 3000, 500), 0, 0, -150)

    def test_way_points_close_the_loop(self):
        self.way_points(self.HEADER + "0,4000,3000,500,1,2,-40\n1,4100,2900,600,10,-5,-70\n"
                        "2.5,3900,3100,400,-4,3,-100\n")
        self.replay("polarizer")
        self.assertLess(self.errors()["largest"], 2e-5)

    def test_columns_may_stand_in_any_order(self):
        first = self.way_points(self.HEADER + "0,4000,3000,500,1,2,-40\n1,4100,2900,600,10,-5,-70\n")
        second = self.way_points("\ufeffyaw_deg, pitch_deg, roll_deg, z_mm, y_mm, x_mm, time_s\r\n"
                                 "-40,2,1,500,3000,4000,0\r\n\r\n -70 ,-5,10,600,2900,4100,1\r\n")
        self.assertEqual(first, second)

    def test_bad_way_points_are_refused_with_their_line(self):
        good = "0,4000,3000,500,1,2,-40\n"
        for text, wanted in ((self.HEADER, "there is no way-point"), ("", "way.csv: found no header line, expected one with the columns time_s,"),
                             (self.HEADER + good + good, "way.csv: line 3, column time_s"),
                             (self.HEADER + good + "1,2,3\n", "way.csv: line 3: found 3 fields, expected 7"),
                             (self.HEADER + good.replace("500", "nan"), "way.csv: line 2, column z_mm"),
                             (self.HEADER + good.replace("500", "5e7"), "way.csv: line 2, column z_mm"),
                             (self.HEADER + good.replace("500", "5x"), 'found "5x"'),
                             (self.HEADER + good.replace("500", ""), 'line 2, column z_mm: found ""'),
                             (self.HEADER.replace(",", ";"), "found columns separated by semicolons, expected a file of"),
                             (self.HEADER.replace("z_mm", "z_mm,q,z"), 'line 1: found column "q", "z", expected only the columns time_s,x_mm'),
                             (self.HEADER.replace("z_mm", "z"), 'expected also the columns z_mm'),
                             (self.HEADER.replace("z_mm", "z_mm,z_mm"), 'way.csv: line 1: found column z_mm twice')):
            with self.subTest(text=text):
                self.assertIn(wanted, self.way_points(text, status=DATA_ERROR).stderr)
                self.assertFalse(os.path.exists(self.path("run.csv")))

    def test_other_files_are_no_way_points(self):
        shipped = os.path.join(DATA, "polarizer")
        with open(self.path("picture.csv"), "wb") as file:
            file.write(b"\x89PNG\r\n\x1a\n" + bytes(90))
        for path, what in ((self.path("picture.csv"), "a PNG image"),
                           (os.path.join(shipped, "polarizer.korraw"), "binary records of raw samples"),
                           (os.path.join(shipped, "polarizer.csv"), "the header of a recording")):
            done = self.simulate("polarizer", motion=path, status=DATA_ERROR)
            self.assertIn(f"found {what}, expected a file of way-points", done.stderr)

    def test_a_pose_that_cannot_look_at_the_tracker_is_refused(self):
        # The skew of the shipped sensor's elevation axis leaves a small cone about its azimuth axis out of sight.
        done = self.way_points(self.HEADER + "0,0,0,5000,0,0,0\n", "polarizer", status=DATA_ERROR)
        self.assertIn("sample 0: the sensor cannot look at the tracker", done.stderr)

    def test_static_poses_are_held(self):
        self.simulate("polarizer", samples=800)
        truth = rows(self.path("truth.csv"))
        keys = [k for k in truth[0] if k.startswith(("R_", "position"))]
        pose = lambda i: [truth[i][k] for k in keys]
        self.assertEqual(pose(0), pose(200))
        self.assertEqual(pose(400), pose(600))
        self.assertNotEqual(pose(0), pose(300))
        self.assertNotEqual(pose(200), pose(400))

    def test_circle_roll_and_swing_do_what_they_say(self):
        def truth(motion):
            self.simulate("polarizer", motion=motion, samples=1001)
            table = rows(self.path("truth.csv"))
            return ([[float(r[f"position_{a}"]) for a in "xyz"] for r in table],
                    [[float(r[f"R_{i}{j}"]) for i in range(3) for j in range(3)] for r in table])
        places, bases = truth("circle")
        self.assertAlmostEqual(math.dist(places[0], places[500]), 1000.0, delta=1e-2)
        self.assertLess(math.dist(places[0], places[1000]), 1e-2)
        self.assertEqual(bases[0], bases[700])
        places, bases = truth("roll")
        self.assertEqual(places[0], places[321])
        self.assertAlmostEqual(distance_angle(bases[0], bases[200]), 30.0, delta=1e-9)
        self.assertAlmostEqual(distance_angle(bases[200], bases[600]), 60.0, delta=1e-9)
        places, bases = truth("swing")
        self.assertAlmostEqual(math.dist(places[50], places[150]), 2 * 100 / math.pi ** 2, delta=2e-3)
        self.assertAlmostEqual(distance_angle(bases[50], bases[150]), 2.0, delta=1e-9)


class Faults(Case):
    def column(self, name, *options, **more):
        return [float(row[name]) for row in self.recording(*options, **more)]

    def test_noise_has_its_standard_deviation_on_every_channel(self):
        clean = self.recording(samples=2000)
        for name in REALS + COUNTS:
            with self.subTest(name=name):
                sigma = 50.0 if name.startswith(("sensor", "temper")) else 0.25
                noisy = self.column(name, f"--noise={name}={sigma}", samples=2000)
                errors = [n - float(c[name]) for n, c in zip(noisy, clean)]
                if name in COUNTS:
                    errors = [(e + 2 ** 23) % 2 ** 24 - 2 ** 23 for e in errors]
                mean = sum(errors) / len(errors)
                deviation = math.sqrt(sum((e - mean) ** 2 for e in errors) / len(errors))
                # Five standard deviations of the estimates; level counts of some 10^4 are rounded to 1e-3.
                self.assertAlmostEqual(mean, 0.0, delta=5 * sigma / math.sqrt(2000) + 1e-3)
                self.assertAlmostEqual(deviation / sigma, 1.0, delta=5 / math.sqrt(4000) + 0.01)

    def test_bias_is_added(self):
        clean = self.recording()
        for name, bias in (("sensorVector_z", -12.5), ("azimuthRaw", 0.25), ("temperatureCount_0", 1000)):
            biased = self.column(name, f"--bias={name}={bias}")
            for b, c in zip(biased, clean):
                self.assertAlmostEqual(b - float(c[name]), bias, delta=1e-3)

    def test_a_biased_temperature_stays_a_24_bit_count(self):
        for bias in (-1e6, 1e6, 3e7):
            for row in self.recording(f"--bias=temperatureCount_1={bias}"):
                self.assertTrue(0 <= int(row["temperatureCount_1"]) < 2 ** 24)

    def test_quantised_readings_are_multiples(self):
        for name, step in (("azimuthRaw", 0.125), ("elevationRaw", 0.0625), ("levelYRaw", 8.0), ("levelXRaw", 4.0)):
            values = self.column(name, f"--quantise={name}={step}", f"--noise={name}=1")
            self.assertTrue(all(v / step == round(v / step) for v in values))
            self.assertGreater(len(set(values)), 3)

    def test_dropped_samples_are_missing_from_recording_and_truth(self):
        whole = self.recording()
        self.assertEqual(len(whole), 400)
        kept = self.recording("--drop=0.25")
        truth = rows(self.path("truth.csv"))
        self.assertTrue(250 < len(kept) < 350)
        self.assertEqual([r["timeStampMs"] for r in kept], [t["timeStampMs"] for t in truth])
        by_stamp = {r["timeStampMs"]: r for r in whole}
        self.assertTrue(all(by_stamp[r["timeStampMs"]] == r for r in kept))
        self.assertEqual(len(self.recording("--drop=1")), 0)

    def test_bad_status_is_any_but_two(self):
        status = [row["status"] for row in self.recording("--bad-status=0.3")]
        self.assertEqual(set(status), {"0", "1", "2", "3"})
        self.assertTrue(70 < 400 - status.count("2") < 170)
        truth = rows(self.path("truth.csv"))
        self.assertTrue(all((t["note"] == "status") == (s != "2") for s, t in zip(status, truth)))

    def test_a_level_out_of_range_reads_beyond_its_table(self):
        for sensor in ("dual_level", "two_level_even"):
            with self.subTest(sensor=sensor):
                found = self.recording("--level-out=0.2", sensor=sensor)
                truth = rows(self.path("truth.csv"))
                out = [max(abs(float(r["levelXRaw"])), abs(float(r["levelYRaw"]))) > 20 for r in found]
                self.assertTrue(40 < sum(out) < 130)
                for o, t in list(zip(out, truth))[21:]:
                    self.assertEqual(o, t["note"] == "level")

    def test_nan_is_written_as_such(self):
        found = self.recording("--nan=0.2")
        per_row = [[row[name] for name in REALS].count("nan") for row in found]
        self.assertEqual(set(per_row), {0, 1})
        self.assertTrue(40 < sum(per_row) < 130)
        self.assertEqual([t["note"] == "nan" for t in rows(self.path("truth.csv"))], [n == 1 for n in per_row])
        self.assertTrue(all(any(row[name] == "nan" for row in found) for name in REALS))

    def test_time_stamps_start_where_told_and_wrap(self):
        stamps = [int(row["timeStampMs"]) for row in self.recording("--start-stamp=4294967290", samples=10)]
        self.assertEqual(stamps, [(4294967290 + 10 * i) % 2 ** 32 for i in range(10)])
        self.assertEqual([int(r["timeStampMs"]) for r in self.recording("--rate=30", samples=5)], [0, 33, 67, 100, 133])

    def test_time_jumps_last(self):
        stamps = [int(row["timeStampMs"])
                  for row in self.recording("--time-jump=3=1000", "--time-jump=6=-1500", samples=9)]
        self.assertEqual(stamps, [0, 10, 20, 1030, 1040, 1050, 2 ** 32 - 440, 2 ** 32 - 430, 2 ** 32 - 420])

    def test_the_reference_waits(self):
        for first in (0, 7, 50):
            found = self.recording(f"--reference={first}", samples=60)
            kept = [float(r["referenceGate"]) > 0.4 or r["referenceHold"] != "0" for r in found]
            self.assertEqual(kept, [True] * first + [False] * (60 - first))
            notes = [t["note"] for t in rows(self.path("truth.csv"))]
            self.assertEqual(notes.index("ok"), first + 1)


class Output(Case):
    def test_csv_and_binary_hold_the_same_samples(self):
        table = self.recording("--bad-status=0.1", "--start-stamp=4294967000", truth=False)
        self.simulate("polarizer", "--bad-status=0.1", "--start-stamp=4294967000", out="run.korraw", truth=False)
        with open(self.path("run.korraw"), "rb") as file:
            data = file.read()
        self.assertEqual(len(data), 68 * 400)
        for row, at in zip(table, range(0, len(data), 68)):
            status, *rest = RAW.unpack_from(data, at)
            self.assertEqual(status, int(row["status"]))
            self.assertEqual(rest[:9], [f32(float(row[name])) for name in REALS])
            self.assertEqual(rest[9:], [int(row[n]) for n in ["referenceHold"] + COUNTS + ["timeStampMs"]])

    def test_standard_output_takes_the_recording(self):
        self.simulate("polarizer", samples=20, truth=False)
        done = self.run_kor("simulate", "--prm", os.path.join(DATA, "polarizer"), "--id", "1005", "--motion", "static",
                            "--samples", "20")
        with open(self.path("run.csv")) as file:
            self.assertEqual(done.stdout, file.read())

    def test_wrong_usage_is_refused_before_anything_is_written(self):
        for option in ("--noise=status=1", "--noise=levelXRaw", "--noise=levelXRaw=-1", "--noise=levelXRaw=x",
                       "--bias=levelXRaw=nan", "--quantise=levelXRaw=-1", "--drop=1.5", "--nan=-0.1", "--rate=0",
                       "--samples=0", "--seed=-1", "--seed=18446744073709551616", "--time-jump=5", "--time-jump=x=5",
                       "--start-stamp=4294967296", "--format=xml", "--progress=now", "--mode=x", "--mode=0", "--mode=11"):
            with self.subTest(option=option):
                self.simulate("polarizer", option, status=USAGE)
                self.assertEqual(os.listdir(self.dir), [])
        self.simulate("polarizer", "--noise=levelXRaw=1", "--noise=levelXRaw=2", status=USAGE)
        self.assertIn("static, circle, roll, swing or random", self.simulate("polarizer", motion="dance", status=USAGE).stderr)

    def test_says_why_no_sample_is_valid(self):
        for sensor, options, motion, samples, reasons in (
                ("polarizer", [], "static", 10, ["10 of 10 have the note reference: no reference is captured before "
                                                "sample 20; take more --samples or an earlier --reference"]),
                ("polarizer", ["--bad-status=1"], "static", 30, ["30 of 30 have the note status: "]),
                ("polarizer", ["--drop=1"], "static", 30, ["all samples were dropped"]),
                ("two_level", ["--nan=0.2"], "random", 40, [" have the note nan: "]),
                ("two_level", [], "random", 40, [" have the note reference: ", " have the note moving: "])):
            errors = self.simulate(sensor, *options, motion=motion, samples=samples).stderr
            self.assertIn("kor: warning: no sample is valid: ", errors)
            for reason in reasons:
                self.assertIn(reason, errors)

    def test_counts_the_samples_that_are_not_valid(self):
        errors = self.simulate("polarizer", "--bad-status=0.1").stderr
        self.assertNotIn("warning", errors)
        notes = [row["note"] for row in rows(self.path("truth.csv")) if row["valid"] == "0"]
        found = re.search(r"  valid:    (\d+) \(not valid: (.*)\)\n", errors)
        self.assertEqual(int(found[1]), 400 - len(notes))
        self.assertEqual({part.split(" ")[0]: int(part.split(" ")[1]) for part in found[2].split(", ")},
                         {note: notes.count(note) for note in notes})

    @posix_only
    def test_a_pipe_that_is_closed_ends_every_command_quietly(self):
        self.simulate("polarizer", samples=50)
        prm = ["--prm", os.path.join(DATA, "polarizer"), "--id=1005"]
        for arguments in (["simulate", *prm, "--motion=static", "--samples=5"], ["accuracy", "--poses=2", "--mode=5"],
                          ["accuracy", "--budget", "--mode=5", "--json"], ["--help"], ["replay", "--help"],
                          ["replay", *prm, self.path("run.csv")], ["convert", self.path("run.csv"), "-"],
                          ["compare", self.path("truth.csv"), self.path("truth.csv")]):
            ours, theirs = os.pipe()
            os.close(ours)
            done = subprocess.run([*KOR, *arguments], stdout=theirs, stderr=subprocess.PIPE, timeout=60)
            os.close(theirs)
            self.assertEqual((done.returncode, done.stderr), (141, b""), arguments)

    def test_missing_files_are_told(self):
        self.simulate("polarizer", motion="./nowhere.csv", status=NO_INPUT)
        self.run_kor("simulate", "--prm", self.dir, "--id", "5", "--motion", "static", status=NO_INPUT)
        self.simulate("polarizer", out="no/where.csv", truth=False, status=CANNOT_CREATE)

    def test_no_input_is_overwritten(self):
        shutil.copy(os.path.join(DATA, "polarizer", "Tg1005.prm"), self.path("Tg1005.prm"))
        with open(self.path("way.csv"), "w") as file:
            file.write(Motions.HEADER + "0,4000,3000,500,1,2,-40\n")
        base = ["simulate", "--prm", self.dir, "--id", "1005", "--motion", self.path("way.csv")]
        for options in (["-o", self.path("Tg1005.prm")], ["-o", self.path("way.csv")],
                        ["-o", self.path("a.csv"), "--truth", self.path("a.csv")],
                        ["-o", self.path("a.csv"), "--truth", self.path("way.csv")]):
            self.run_kor(*base, *options, status=USAGE)

    def test_one_file_for_recording_and_truth_is_refused_whatever_its_names(self):
        os.mkdir(self.path("d"))
        for names in (("new.csv", "new.csv"), ("new.csv", "d/../new.csv"), ("-", "-")):
            paths = [name if name == "-" else self.path(name) for name in names]
            done = self.run_kor("simulate", "--prm", os.path.join(DATA, "polarizer"), "--id", "1005", "--motion",
                                "static", "-o", paths[0], "--truth", paths[1], status=USAGE)
            self.assertIn(" is the recording itself", done.stderr)
            self.assertEqual(os.listdir(self.dir), ["d"])

    @posix_only  # tests/windows/run.sh gives the emulator an output of its own
    def test_a_truth_in_the_file_behind_standard_output_is_refused(self):
        with open(self.path("same.csv"), "w") as same:
            done = subprocess.run([*KOR, "simulate", "--prm", os.path.join(DATA, "polarizer"), "--id", "1005", "--motion",
                                   "static", "--truth", self.path("same.csv")], stdout=same, stderr=subprocess.PIPE,
                                  timeout=60)
        self.assertEqual(done.returncode, USAGE, done.stderr)

    @posix_only
    def test_neither_of_two_is_put_in_place_when_one_cannot_be_completed(self):
        # A truth is three times as long as its recording.
        for limit, failing in ((200, "truth.csv"), (60, "run.csv")):
            for name in ("run.csv", "truth.csv"):
                with open(self.path(name), "w") as file:
                    file.write("old\n")
            line = (f"'{KOR[0]}' simulate --prm '{DATA}/polarizer' --id 1005 --motion random --samples 600 -o run.csv "
                    + ("--truth truth.csv" if failing == "truth.csv" else "--truth /dev/null"))
            done = subprocess.run(["/bin/sh", "-c", f"ulimit -f {limit}; exec {line}"], cwd=self.dir, text=True,
                                  stderr=subprocess.PIPE, timeout=60)
            self.assertEqual(done.returncode, IO_ERROR, done.stderr)
            self.assertIn(f"kor: cannot write {failing}: File too large\n", done.stderr)
            self.assertEqual(sorted(os.listdir(self.dir)), ["run.csv", "truth.csv"])
            for name in ("run.csv", "truth.csv"):
                with open(self.path(name)) as file:
                    self.assertEqual(file.read(), "old\n")

    @posix_only
    def test_a_truth_behind_a_link_to_the_recording_is_refused(self):
        os.symlink("run.csv", self.path("link.csv"))
        done = self.run_kor("simulate", "--prm", os.path.join(DATA, "polarizer"), "--id", "1005", "--motion", "static",
                            "-o", self.path("run.csv"), "--truth", self.path("link.csv"), status=USAGE)
        self.assertIn(" is the recording itself", done.stderr)

    @posix_only
    def test_a_signal_leaves_neither_of_two_temporary_files(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGUSR1):
            with self.subTest(signal=number.name):
                folder = self.path(number.name)
                os.mkdir(folder)
                child = subprocess.Popen([*KOR, "simulate", "--prm", os.path.join(DATA, "polarizer"), "--id", "1005",
                                          "--motion", "static", "--samples", "1000000000", "-o", "run.csv", "--truth",
                                          "truth.csv"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, cwd=folder)
                self.addCleanup(child.wait)
                self.addCleanup(child.kill)
                deadline = time.monotonic() + 20
                while len(os.listdir(folder)) < 2 and time.monotonic() < deadline:
                    time.sleep(0.01)
                self.assertEqual([name[:5] for name in os.listdir(folder)], [".kor."] * 2, "both were there")
                child.send_signal(number)
                self.assertEqual(child.wait(timeout=20), -number)
                self.assertEqual([name for name in os.listdir(folder) if not name.startswith("core")], [])

    @posix_only
    def test_a_full_device_ends_a_long_simulation(self):
        for options in (["-o", "/dev/full"], ["-o", self.path("run.csv"), "--truth", "/dev/full"]):
            done = self.run_kor("simulate", "--prm", os.path.join(DATA, "polarizer"), "--id", "1005", "--motion", "static",
                                "--samples", "1000000000", *options, status=IO_ERROR)
            self.assertIn("/dev/full: No space left on device", done.stderr)
            self.assertEqual(os.listdir(self.dir), [])

    def test_parameters_that_cannot_be_simulated_are_refused(self):
        with open(os.path.join(DATA, "polarizer", "Tg1005.prm")) as file:
            lines = file.read().split("\n")
        at = lines.index("Scale Factor")
        lines[at + 5] = "0.000000"
        with open(self.path("Tg1005.prm"), "w") as file:
            file.write("\n".join(lines))
        done = self.run_kor("simulate", "--prm", self.dir, "--id", "1005", "--motion", "static", status=DATA_ERROR)
        self.assertIn("scale factor 5 is a gain", done.stderr)

    def test_another_rate_is_warned_of_in_modes_9_and_10(self):
        self.assertIn("10 ms apart", self.simulate("two_level", "--rate=50").stderr)
        self.assertNotIn("warning", self.simulate("polarizer", "--rate=50").stderr)


if __name__ == "__main__":
    unittest.main()
