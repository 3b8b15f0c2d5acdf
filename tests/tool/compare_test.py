#!/usr/bin/env python3
"""End-to-end tests of `kor compare`.

    compare_test.py KOR [-v] [Class[.test] ...]

What it should find is computed here from the same files by other means: numpy's percentiles, and angles by quaternions
with mpmath's digits. Each test is a process of its own, so these two are imported where they are used.
"""
import csv
import gzip
import json
import math
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from program import KOR, WINDOWS, posix_only
from rotation import distance_angle

BEYOND, USAGE, DATA, NO_INPUT = 1, 64, 65, 66
SHIPPED = pathlib.Path(__file__).resolve().parents[2] / "data"
RESULT_MATRIX = [f"m{r}{c}" for r in range(3) for c in range(3)]
TRUE_MATRIX = [f"result_{r}{c}" for r in range(3) for c in range(3)]
TEXTS = ("timeStampMs", "outcome", "note", "valid")


def table(path):
    """Header and rows of a CSV as texts."""
    with open(path, newline="", encoding="utf-8") as file:
        rows = list(csv.reader(file))
    return rows[0], rows[1:]


def records(path):
    header, rows = table(path)
    return [dict(zip(header, row)) for row in rows]


def matrix(row, names):
    return [float(row[name]) for name in names]


def quaternion(m):
    """Of a rotation given row by row, in mpmath's digits: the column of the matrix of products with the largest sum."""
    import mpmath
    m = [mpmath.mpf(x) for x in m]
    products = [[1 + m[0] + m[4] + m[8], m[7] - m[5], m[2] - m[6], m[3] - m[1]],
                [m[7] - m[5], 1 + m[0] - m[4] - m[8], m[1] + m[3], m[2] + m[6]],
                [m[2] - m[6], m[1] + m[3], 1 - m[0] + m[4] - m[8], m[5] + m[7]],
                [m[3] - m[1], m[2] + m[6], m[5] + m[7], 1 - m[0] - m[4] + m[8]]]
    best = max(range(4), key=lambda i: products[i][i])
    size = mpmath.sqrt(sum(x * x for x in products[best]))
    return [x / size for x in products[best]]


def quaternion_angle(a, b):
    """Degrees between two rotations: twice the angle of the quaternion that leads from one to the other."""
    import mpmath
    mpmath.mp.dps = 40
    p, q = quaternion(a), quaternion(b)
    scalar = sum(x * y for x, y in zip(p, q))
    vector = [p[0] * q[i] - q[0] * p[i] - (p[j] * q[k] - p[k] * q[j])
              for i, j, k in ((1, 2, 3), (2, 3, 1), (3, 1, 2))]
    return float(mpmath.degrees(2 * mpmath.atan2(mpmath.sqrt(sum(x * x for x in vector)), abs(scalar))))


def spread(sizes):
    """Median, RMS, 99.9 % and largest by numpy."""
    import numpy
    sizes = numpy.asarray(sizes, dtype=numpy.float64)
    return (numpy.percentile(sizes, 50, method="higher"), math.sqrt(numpy.mean(sizes ** 2)),
            numpy.quantile(sizes, 0.999, method="inverted_cdf"), sizes.max())


FIGURES = ("median", "rms", "p999", "largest")


class Case(unittest.TestCase):
    replayed = {}
    kept = tempfile.mkdtemp(prefix="kor-compare-kept-")

    @classmethod
    def results(cls, name, *options):
        """The results of a shipped recording, replayed once."""
        key = (name, *options)
        if key not in cls.replayed:
            folder = SHIPPED / name
            number = next(folder.glob("Tg*.prm")).stem[2:]
            path = os.path.join(cls.kept, f"{name}{len(cls.replayed)}.csv")
            subprocess.run([*KOR, "replay", "--prm", str(folder), "--id", number, str(folder / f"{name}.csv"), "-o",
                            path, *options], check=True, stderr=subprocess.DEVNULL, timeout=120)
            cls.replayed[key] = path
        return cls.replayed[key]

    @staticmethod
    def truth(name):
        return str(SHIPPED / name / f"{name}_truth.csv")

    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="kor-compare-")
        self.addCleanup(shutil.rmtree, self.dir)

    def put(self, name, header, rows):
        path = os.path.join(self.dir, name)
        with open(path, "w", newline="", encoding="utf-8") as file:
            writer = csv.writer(file, lineterminator="\n")
            writer.writerow(header)
            writer.writerows(rows)
        return path

    def put_bytes(self, name, content):
        path = os.path.join(self.dir, name)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def compare(self, *arguments, status=0, stdin=b""):
        """Holds the exit status against the wanted one; (stdout, stderr)."""
        done = subprocess.run([*KOR, "compare", *arguments], input=stdin, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, cwd=self.dir, timeout=120)
        self.assertEqual(done.returncode, status, done.stderr.decode() + done.stdout.decode())
        return done.stdout.decode(), done.stderr.decode()

    def found(self, *arguments, **options):
        return json.loads(self.compare("--json", *arguments, **options)[0])

    def assert_figures(self, found, wanted, relative, absolute=0.0):
        for name, value in zip(FIGURES, wanted):
            self.assertAlmostEqual(found[name], value, delta=relative * abs(value) + absolute, msg=name)

    def few(self, name="pendulum", first=200, count=8):
        """Some rows of results that are all ok."""
        header, rows = table(self.results(name))
        ok = [row for row in rows[first:] if row[header.index("outcome")] == "ok"][:count]
        return header, [list(row) for row in ok]


class AgainstTruth(Case):
    def test_figures_are_those_of_numpy(self):
        """The two ways to the angle differ by roundings of 1e-16 rad beside 1e-8 rad, and by third orders."""
        for name in ("polarizer", "three_vector_even", "two_level", "pendulum_even"):
            rows, truths = records(self.results(name)), records(self.truth(name))
            sizes, stamps = [], []
            for row, true in zip(rows, truths):
                if true["valid"] == "1":
                    self.assertEqual(row["outcome"], "ok")
                    sizes.append(distance_angle(matrix(row, RESULT_MATRIX), matrix(true, TRUE_MATRIX)))
                    stamps.append(int(row["timeStampMs"]))
            found = self.found(self.results(name), self.truth(name))
            self.assertEqual(found["rows"]["same_time_stamp"], len(truths))
            self.assertEqual(found["rows"]["compared"], len(sizes))
            orientation = found["orientation"]
            self.assertEqual(orientation["rows"], len(sizes))
            self.assert_figures(orientation, spread(sizes), 1e-6, 1e-13)
            self.assertEqual(orientation["largest_at_ms"], stamps[max(range(len(sizes)), key=sizes.__getitem__)])
            for figure in FIGURES:
                self.assertAlmostEqual(orientation[figure + "_arcsec"], 3600 * orientation[figure],
                                       delta=1e-12 * orientation[figure + "_arcsec"])

    def test_the_largest_angle_has_all_its_digits(self):
        """From one true pose to the next. The two ways differ by the share by which a matrix misses being a rotation:
        these are a true rotation times the inverse of a machine matrix in single precision."""
        for name in ("polarizer", "pendulum_even"):
            orientation = self.found(self.truth(name), self.truth(name), "--lag=1")["orientation"]
            self.assertGreater(orientation["largest"], 0.01)
            first, second = (place - 1 for place in orientation["largest_at_rows"])
            self.assertEqual(second, first - 1)
            truths = records(self.truth(name))
            a, b = matrix(truths[first], TRUE_MATRIX), matrix(truths[second], TRUE_MATRIX)
            self.assertAlmostEqual(orientation["largest"], quaternion_angle(a, b), delta=6e-8 * orientation["largest"])

    def test_order_of_the_files_does_not_matter(self):
        a, b = self.results("polarizer"), self.truth("polarizer")
        self.assertEqual(self.compare(a, b), self.compare(b, a))
        self.assertEqual([s["kind"] for s in self.found(b, a)["sides"]], ["results", "truth"])

    def test_rows_that_do_not_count_are_counted(self):
        out, _ = self.compare(self.results("polarizer"), self.truth("polarizer"))
        found = self.found(self.results("polarizer"), self.truth("polarizer"))
        for side, rows, key, good in ((0, records(self.results("polarizer")), "outcome", "ok"),
                                      (1, records(self.truth("polarizer")), "note", "ok")):
            wanted = {}
            for row in rows:
                if row.get("valid", "0") == "0" and row[key] != good:
                    wanted[row[key]] = wanted.get(row[key], 0) + 1
            self.assertEqual(found["sides"][side]["not_usable"], wanted)
            for reason, count in wanted.items():
                self.assertIn(f"{reason} {count}", out)
        self.assertIn("compared:", out)

    def test_table_tells_the_same_as_json(self):
        out, _ = self.compare(self.results("polarizer"), self.truth("polarizer"))
        found = self.found(self.results("polarizer"), self.truth("polarizer"))
        lines = out.split("\n")
        at = next(i for i, line in enumerate(lines) if line.startswith("orientation "))
        degrees, seconds = lines[at].split(), lines[at + 1].split()
        self.assertEqual(degrees[1:3], ["deg", str(found["orientation"]["rows"])])
        self.assertEqual(degrees[3:7], [f"{found['orientation'][figure]:.2e}" for figure in FIGURES])
        self.assertEqual(degrees[7], str(found["orientation"]["largest_at_ms"]))
        self.assertEqual(seconds, ["arcsec"] + [f"{3600 * found['orientation'][figure]:.2e}" for figure in FIGURES])
        self.assertEqual([c["name"] for c in found["columns"]], RESULT_MATRIX)

    def test_brief_is_one_line(self):
        out, errors = self.compare("--brief", self.results("polarizer"), self.truth("polarizer"))
        orientation = self.found(self.results("polarizer"), self.truth("polarizer"))["orientation"]
        self.assertEqual(errors, "")
        self.assertEqual(out.count("\n"), 1)
        self.assertIn(f"{orientation['rows']} rows compared: median angle {orientation['median']:.2e} deg", out)
        self.assertIn(f"largest {orientation['largest']:.2e} deg", out)

    def test_note_and_lag_compare_moving_samples_with_earlier_truths(self):
        name, lag = "two_level", 2
        rows, truths = records(self.results(name)), records(self.truth(name))
        sizes = [distance_angle(matrix(rows[i], RESULT_MATRIX), matrix(truths[i - lag], TRUE_MATRIX))
                 for i in range(lag, len(rows))
                 if truths[i]["note"] == "moving" and truths[i - lag]["note"] not in ("status", "reference")
                 and rows[i]["outcome"] == "ok"]
        self.assertGreater(len(sizes), 100)
        for files in ((self.results(name), self.truth(name)), (self.truth(name), self.results(name))):
            found = self.found(*files, "--note", "moving", "--lag", str(lag))
            self.assertEqual(found["rows"]["compared"], len(sizes))
            self.assertEqual(found["rows"]["without_earlier"], lag)
            self.assert_figures(found["orientation"], spread(sizes), 1e-6, 1e-13)
        self.assertIn("is one", self.compare(self.results(name), self.results(name), "--note=ok", status=USAGE)[1])

    def test_two_truths(self):
        header, rows = table(self.truth("polarizer"))
        at = header.index("position_y")
        for row in rows:
            row[at] = repr(float(row[at]) + 0.25)
        other = self.put("other_truth.csv", header, rows)
        found = self.found(self.truth("polarizer"), other)
        columns = {c["name"]: c for c in found["columns"]}
        self.assertEqual(found["orientation"]["largest"], 0.0)
        self.assertEqual(columns["position_x"]["largest"], 0.0)
        self.assertAlmostEqual(columns["position_y"]["median"], 0.25, delta=3e-4)  # single precision at some 2000 mm
        self.assertIn("R_22", columns)


class TwoResults(Case):
    def test_every_column_against_numpy(self):
        import numpy
        header, rows = table(self.results("three_vector_even"))
        random = numpy.random.default_rng(3)
        other = [list(row) for row in rows]
        for i, name in enumerate(header):
            if name in TEXTS or name in RESULT_MATRIX or name in ("matrixCode", "levelX_out", "levelY_out"):
                continue
            for row, noise in zip(other, random.normal(scale=1e-3, size=len(rows))):
                row[i] = str(numpy.float32(row[i]) + numpy.float32(noise))
        found = self.found(self.results("three_vector_even"), self.put("other.csv", header, other))
        ok = [i for i, row in enumerate(rows) if row[header.index("outcome")] == "ok"]
        self.assertEqual(found["rows"]["compared"], len(ok))
        self.assertEqual([c["name"] for c in found["columns"]], [name for name in header if name not in TEXTS])
        for column in found["columns"]:
            at = header.index(column["name"])
            kind = numpy.float64 if column["name"] in RESULT_MATRIX else numpy.float32
            a = numpy.array([kind(rows[i][at]) for i in ok], dtype=numpy.float64)
            b = numpy.array([kind(other[i][at]) for i in ok], dtype=numpy.float64)
            sizes = numpy.abs(a - b)
            if column["unit"] == "deg":
                sizes = numpy.minimum(sizes, 360.0 - sizes)
                self.assertAlmostEqual(column["largest_arcsec"], 3600 * column["largest"],
                                       delta=1e-12 * column["largest_arcsec"])
            self.assert_figures(column, spread(sizes), 1e-13)
            if column["largest"] > 0:
                self.assertEqual(column["largest_at_ms"], int(rows[ok[int(sizes.argmax())]][0]))

    def test_a_file_agrees_with_itself(self):
        found = self.found(self.results("pendulum"), self.results("pendulum"), "--strict", "--tolerance=0")
        self.assertEqual(found["orientation"]["largest"], 0.0)
        self.assertTrue(all(c["largest"] == 0.0 and c["not_finite"] == 0 for c in found["columns"]))
        self.assertEqual(found["beyond"], [])

    def test_two_modes_differ_by_what_their_matrices_say(self):
        a, b = self.results("pendulum"), self.results("pendulum", "--mcs=off")
        orientation = self.found(a, b)["orientation"]
        self.assertGreater(orientation["largest"], 10.0)
        first, second = (place - 1 for place in orientation["largest_at_rows"])
        wanted = quaternion_angle(matrix(records(a)[first], RESULT_MATRIX), matrix(records(b)[second], RESULT_MATRIX))
        # The engine's matrices are rotations to some 1e-8, which two ways to the angle count differently.
        self.assertAlmostEqual(orientation["largest"], wanted, delta=1e-6)

    def test_angles_near_half_a_turn_keep_their_digits(self):
        header, rows = self.few(count=3)
        other = [list(row) for row in rows]
        for angle, row, turned in zip((1e-11, 90.0, 180.0 - 1e-7), rows, other):
            c, s = math.cos(math.radians(angle)), math.sin(math.radians(angle))
            for name, x in zip(RESULT_MATRIX, (1, 0, 0, 0, 1, 0, 0, 0, 1)):
                row[header.index(name)] = str(x)
            for name, x in zip(RESULT_MATRIX, (c, -s, 0, s, c, 0, 0, 0, 1)):
                turned[header.index(name)] = repr(x)
        for row, turned, angle in zip(rows, other, (1e-11, 90.0, 180.0 - 1e-7)):
            found = self.found(self.put("a.csv", header, [row]), self.put("b.csv", header, [turned]))
            self.assertAlmostEqual(found["orientation"]["largest"], angle, delta=2e-16 + 1e-15 * angle)

    def test_angles_differ_the_shorter_way_round(self):
        header, rows = self.few(count=2)
        other = [list(row) for row in rows]
        at = header.index("azimuth_deg")
        rows[0][at], other[0][at] = "359.75", "0.5"
        rows[1][at], other[1][at] = "-179.5", "179.5"
        found = self.found(self.put("a.csv", header, rows), self.put("b.csv", header, other))
        column = next(c for c in found["columns"] if c["name"] == "azimuth_deg")
        self.assertEqual(column["largest"], 1.0)
        self.assertEqual(column["median"], 1.0)
        self.assertAlmostEqual(column["rms"], math.sqrt((0.75 ** 2 + 1) / 2), delta=1e-15)

    def test_missing_rows_on_either_side_are_counted(self):
        header, rows = table(self.results("pendulum"))
        a = self.put("a.csv", header, rows[:700] + rows[710:])
        b = self.put("b.csv", header, rows[3:])
        found = self.found(a, b)["rows"]
        self.assertEqual((found["same_time_stamp"], found["only_first"], found["only_second"]), (1187, 3, 10))
        out, _ = self.compare(a, b)
        self.assertRegex(out, r"time stamp in the first file only: +3\n")
        self.assertRegex(out, r"time stamp in the second file only: +10\n")

    def test_doubled_stamps_are_paired_in_order_or_left_open(self):
        header, rows = self.few(count=6)
        rows[1][0] = rows[2][0] = rows[0][0]      # three times on one side
        same = self.found(self.put("a.csv", header, rows), self.put("b.csv", header, rows))
        self.assertEqual(same["rows"]["compared"], 6)
        self.assertEqual(same["orientation"]["largest"], 0.0)
        found = self.found("a.csv", self.put("b.csv", header, rows[1:]))["rows"]
        self.assertEqual((found["open_first"], found["open_second"], found["compared"]), (3, 2, 3))
        self.assertRegex(self.compare("a.csv", "b.csv")[0], r"not as often in both, the first file: +3\n")

    def test_values_that_are_not_finite(self):
        header, rows = self.few(count=4)
        other = [list(row) for row in rows]
        at = header.index("levelX_deg")
        for row, a, b in zip(range(4), ("nan", "inf", "nan", "1"), ("nan", "-inf", "1", "1.5")):
            rows[row][at], other[row][at] = a, b
        files = self.put("a.csv", header, rows), self.put("b.csv", header, other)
        column = next(c for c in self.found(*files)["columns"] if c["name"] == "levelX_deg")
        self.assertEqual((column["rows"], column["not_finite"], column["largest"]), (2, 2, 0.5))
        self.assertIn(f"levelX_deg        not both finite in 2 rows, first at {rows[1][0]} ms",
                      self.compare(*files)[0])
        _, errors = self.compare(*files, "--tolerance=levelX_deg=1", status=BEYOND)
        self.assertIn(f"levelX_deg: in 2 rows not both values are finite, first at {rows[1][0]} ms", errors)

    def test_matrices_that_are_no_rotation_are_told_and_left_out(self):
        header, rows = self.few(count=5)
        for row, factor in ((1, 1.001), (2, -1.0), (3, math.nan)):
            for name in RESULT_MATRIX:
                rows[row][header.index(name)] = repr(factor * float(rows[row][header.index(name)]))
        a, b = self.put("a.csv", header, rows), self.put("b.csv", *self.few(count=5))
        out, errors = self.compare(a, b)
        self.assertIn("a.csv: in 2 rows the matrix is not a rotation", errors)
        self.assertIn(f"first at {rows[1][0]} ms", errors)
        self.assertIn("by up to 2.0e+00;", errors)
        self.assertIn("no_rotation 2, not_finite 1", out)
        found = self.found(a, b)
        self.assertEqual(found["rows"]["compared"], 2)
        self.assertEqual(found["rows"]["only_second_usable"], 3)
        # The engine's matrices are rotations to some 1e-8.
        self.assertAlmostEqual(found["sides"][0]["most_off_rotation"], 2.0, delta=1e-7)
        self.assertEqual(found["orientation"]["largest"], 0.0)

    def test_binary_and_compressed_results_are_those_of_csv(self):
        for name in ("a.korinfo", "a.csv.gz", "a.korinfo.zst"):
            if WINDOWS and name.endswith(".zst"):
                continue
            other = os.path.join(self.dir, name)
            subprocess.run([*KOR, "convert", self.results("pendulum"), other], check=True, stderr=subprocess.DEVNULL,
                           timeout=60)
            found = self.found(self.results("pendulum"), other, "--strict", "--tolerance=0", "--tolerance=m00=0")
            self.assertEqual(found["rows"]["compared"],
                             sum(r["outcome"] == "ok" for r in records(self.results("pendulum"))))
            self.assertTrue(all(c["largest"] == 0.0 for c in found["columns"]))

    def test_results_without_outcomes_are_compared_by_their_matrix(self):
        header, rows = self.few(count=4)
        keep = [i for i, name in enumerate(header) if name not in ("outcome", "levelX_out", "levelY_out")]
        rows[2][header.index("matrixCode")] = "554"
        old = self.put("old.csv", [header[i] for i in keep], [[row[i] for i in keep] for row in rows])
        out, errors = self.compare(old, self.put("new.csv", *self.few(count=4)))
        self.assertIn("old.csv: there is no column outcome", errors)
        self.assertIn("matrix code 554 1", out)
        self.assertNotIn("levelX_out", out)

    def test_standard_input(self):
        with open(self.results("pendulum"), "rb") as file:
            content = file.read()
        out, _ = self.compare("-", self.truth("pendulum"), stdin=content)
        self.assertIn("standard input: 1200 rows", out)
        self.assertIn("standard input", self.compare("-", "-", status=USAGE)[1])


class Tolerance(Case):
    def files(self):
        return self.results("pendulum"), self.truth("pendulum")

    def test_of_the_angle_in_its_units(self):
        largest = self.found(*self.files())["orientation"]["largest"]
        for text in (repr(largest * 1.001), f"{largest * 1.001!r}deg", f"{largest * 3600 * 1.001!r}arcsec",
                     f"{math.radians(largest) * 1.001!r}rad", f"orientation={largest * 1.001!r}", "inf"):
            self.compare(*self.files(), f"--tolerance={text}")
        for text in (repr(largest * 0.999), f"{largest * 0.999!r}deg", f"{largest * 3600 * 0.999!r}arcsec",
                     f"{math.radians(largest) * 0.999!r}rad", f"orientation={largest * 0.999!r}", "0"):
            out, errors = self.compare(*self.files(), f"--tolerance={text}", status=BEYOND)
            self.assertIn("orientation ", out)
            self.assertRegex(errors, rf"^kor: orientation: {largest:.2e} deg \(.* arcsec\) at \d+ ms is more than ")

    def test_of_a_column(self):
        columns = {c["name"]: c["largest"] for c in self.found(*self.files())["columns"]}
        self.compare(*self.files(), f"--tolerance=m00={columns['m00']!r}", f"--tolerance=m21={columns['m21']!r}")
        _, errors = self.compare(*self.files(), "--tolerance=m00=1", "--tolerance=m21=1e-20", "--tolerance=1",
                                 status=BEYOND)
        self.assertEqual(errors.count("kor: "), 1)
        self.assertRegex(errors, r"^kor: m21: \S+ at \d+ ms is more than 1\.00e-20\n$")

    def test_of_a_column_with_its_unit(self):
        header, rows = self.few(count=3)
        other = [list(row) for row in rows]
        for row in other:
            row[header.index("sensorOutX_mm")] = repr(float(row[header.index("sensorOutX_mm")]) + 1)
            row[header.index("levelX_deg")] = repr(float(row[header.index("levelX_deg")]) + 0.5)
        files = self.put("a.csv", header, rows), self.put("b.csv", header, other)
        self.compare(*files, "--tolerance=sensorOutX_mm=1.001mm", "--tolerance=levelX_deg=1801arcsec")
        self.compare(*files, "--tolerance=sensorOutX_mm=0.999", status=BEYOND)
        self.compare(*files, "--tolerance=levelX_deg=1799arcsec", status=BEYOND)
        self.compare(*files, "--tolerance=sensorOutX_mm=1arcsec", status=USAGE)

    def test_what_is_no_tolerance_is_refused(self):
        for text in ("x", "-1", "nan", "1e-5 deg", "1mm", "m00=", "m00=1deg", "1e-5,2"):
            self.assertIn("--tolerance: found", self.compare(*self.files(), f"--tolerance={text}", status=USAGE)[1])
        _, errors = self.compare(*self.files(), "--tolerance=pressure=1", status=USAGE)
        self.assertIn('found "pressure", expected one of the columns that both files have: orientation, m00', errors)
        _, errors = self.compare(*self.files(), "--tolerance=1", "--tolerance=orientation=2", status=USAGE)
        self.assertIn("orientation is given twice", errors)

    def test_beyond_is_in_json_too(self):
        found = self.found(*self.files(), "--tolerance=0", status=BEYOND)
        self.assertEqual(len(found["beyond"]), 1)

    def test_strict_asks_for_every_row(self):
        header, rows = table(self.results("pendulum"))
        shorter = self.put("shorter.csv", header, rows[:-2])
        self.compare(shorter, self.truth("pendulum"), "--tolerance=1")
        _, errors = self.compare(shorter, self.truth("pendulum"), "--strict", status=BEYOND)
        self.assertIn("2 rows have no counterpart", errors)
        self.compare(*self.files(), "--strict")      # what the truth leaves out may have an orientation

        ok = next(i for i, row in enumerate(rows) if row[header.index("outcome")] == "ok" and i > 500)
        rows[ok][header.index("outcome")] = "not_finite"
        lost = self.put("lost.csv", header, rows)
        for other in (self.truth("pendulum"), self.results("pendulum")):
            self.compare(lost, other, "--tolerance=1")
            _, errors = self.compare(lost, other, "--strict", status=BEYOND)
            self.assertIn("1 rows are usable on one side only", errors)


class Refusals(Case):
    def test_nothing_in_common(self):
        header, rows = self.few()
        for row in rows:
            row[0] = str((int(row[0]) + 3) % 2**32)
        _, errors = self.compare(self.put("late.csv", header, rows), self.truth("pendulum"), "--tolerance=180",
                                 status=DATA)
        self.assertIn(f"late.csv goes from {rows[0][0]} to {rows[-1][0]} ms", errors)
        self.assertIn("there is nothing to compare: ", errors)
        self.assertIn("no time stamp is in both", errors)
        header, rows = self.few()
        for row in rows:
            row[header.index("outcome")] = "before_reference"
        none = self.put("none.csv", header, rows)
        out, errors = self.compare(none, self.results("pendulum"), status=DATA)
        self.assertEqual(out, "")
        self.assertIn("of 8 rows with the same time stamp none is usable in both", errors)
        self.assertIn("none.csv: before_reference 8", errors)
        empty = self.put("empty.csv", header, [])
        self.assertIn("empty.csv has no rows", self.compare(empty, self.results("pendulum"), status=DATA)[1])

    def test_other_files_are_named_for_what_they_are(self):
        good = self.results("pendulum")
        shipped = SHIPPED / "polarizer"
        for path, text in ((shipped / "polarizer.csv", "a recording"), (shipped / "polarizer.korraw", "raw samples"),
                           (shipped / "way_points.csv", "way-points"), (self.put_bytes("a.png", b"\x89PNG\r\n\x1a\n" +
                            bytes(90)), "a PNG image"), (self.put_bytes("nothing.csv", b""), "")):
            for files in ((str(path), good), (good, str(path))):
                out, errors = self.compare(*files, status=DATA)
                self.assertEqual(out, "")
                self.assertIn(os.path.basename(str(path)), errors)
                self.assertIn("expected results of kor replay or the truth of kor simulate", errors)
                self.assertIn(text, errors)

    def test_files_that_cannot_be_opened(self):
        good = self.results("pendulum")
        self.assertIn("missing.csv", self.compare(good, "missing.csv", status=NO_INPUT)[1])
        self.assertIn("directory", self.compare(self.dir, good, status=NO_INPUT)[1])

    def test_a_bad_row_is_told_with_its_place(self):
        header, rows = self.few()
        rows[3][header.index("m11")] = "x"
        _, errors = self.compare(self.put("bad.csv", header, rows), self.results("pendulum"), status=DATA)
        self.assertIn('bad.csv: line 5, column m11: found "x"', errors)

    def test_damaged_compressed_data(self):
        with open(self.results("pendulum"), "rb") as file:
            packed = gzip.compress(file.read())
        cut = self.put_bytes("cut.csv.gz", packed[:len(packed) // 2])
        self.compare(cut, self.truth("pendulum"), status=DATA)

    def test_usage(self):
        good = self.results("pendulum")
        for arguments in ([], [good], [good, good, good], [good, good, "--lag=x"], [good, good, "--lag=1e3"],
                          [good, good, "--json", "--brief"]):
            self.assertIn("kor compare --help", self.compare(*arguments, status=USAGE)[1])

    def test_help_names_every_option(self):
        out, _ = self.compare("--help")
        for option in ("--tolerance", "--strict", "--note", "--lag", "--brief", "--json", "Example:"):
            self.assertIn(option, out)

    @posix_only
    def test_a_name_that_is_no_utf8(self):
        path = os.path.join(os.fsencode(self.dir), b"caf\xe9.csv")
        shutil.copyfile(os.fsencode(self.results("pendulum")), path)
        self.assertEqual(self.found(path, self.truth("pendulum"))["sides"][0]["rows"], 1200)


def tearDownModule():
    shutil.rmtree(Case.kept)


if __name__ == "__main__":
    unittest.main()
