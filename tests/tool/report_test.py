#!/usr/bin/env python3
"""End-to-end tests of `kor report`, without a browser; tests/browser opens the pages.

    report_test.py KOR [-v] [Class[.test] ...]

The pages are taken apart here by Python's own parsers, and what they hold is compared with the files they are about.
"""
import base64
import csv
import hashlib
import json
import math
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

from page import Page, connections, event_handlers, policy
from program import KOR, WINDOWS

USAGE, DATA, NO_INPUT, CANNOT_CREATE = 64, 65, 66, 73
SHIPPED = pathlib.Path(__file__).resolve().parents[2] / "data"
MATRIX = [f"m{r}{c}" for r in range(3) for c in range(3)]
HOSTILE = "</script><!--<img src=x onerror=alert(1)>\"'&amp;"
CONTROL = "\x01\x1b[31m\x7f"


def single(text):
    """The nearest single-precision number."""
    return struct.unpack("<f", struct.pack("<f", float(text)))[0]


class Case(unittest.TestCase):
    kept = tempfile.mkdtemp(prefix="kor-report-kept-")

    @classmethod
    def results(cls, name="polarizer"):
        """The results of a shipped recording, replayed once."""
        path = os.path.join(cls.kept, name + ".csv")
        if not os.path.exists(path):
            folder = SHIPPED / name
            subprocess.run([*KOR, "replay", "--prm", str(folder), "--id", cls.number(name), str(folder / f"{name}.csv"),
                            "-o", path, "-q"], check=True, timeout=120)
        return path

    @staticmethod
    def number(name):
        return next((SHIPPED / name).glob("Tg*.prm")).stem[2:]

    @staticmethod
    def truth(name="polarizer"):
        return str(SHIPPED / name / f"{name}_truth.csv")

    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="kor-report-")
        self.addCleanup(shutil.rmtree, self.dir)
        self.output = os.path.join(self.dir, "report.html")

    def run_report(self, *arguments, **options):
        return subprocess.run([*KOR, "report", *arguments], capture_output=True, timeout=120, **options)

    def report(self, *arguments):
        """The page that a call writes."""
        done = self.run_report(*arguments, "-o", self.output)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return self.read()

    def read(self):
        page = Page(pathlib.Path(self.output).read_bytes())
        self.assertEqual(page.faults, [])
        return page

    def refused(self, status, *arguments, text):
        done = self.run_report(*arguments)
        self.assertEqual(done.returncode, status, done.stderr)
        self.assertIn(text, done.stderr.decode("utf-8", "replace"))

    def put(self, name, header, rows):
        path = os.path.join(self.dir, name)
        with open(path, "w", newline="", encoding="utf-8") as file:
            csv.writer(file, lineterminator="\n").writerows([header, *rows])
        return path

    def put_results(self, name, count, change=lambda row: None):
        """Rows like those of a replay: identity matrices, and angles of which no two are the same."""
        path = self.results()
        with open(path, newline="", encoding="utf-8") as file:
            header = next(csv.reader(file))
        rows = []
        for i in range(count):
            row = dict.fromkeys(header, "0")
            row.update(timeStampMs=str(10 * i), outcome="ok", m00="1", m11="1", m22="1",
                       azimuth_deg=str(single(math.sin(i / 7) * 100 + i % 13)), orientationX_deg=str(single(i / 3)))
            row["i"] = i
            change(row)
            rows.append([row[column] for column in header])
        return self.put(name, header, rows)


def records(path):
    with open(path, newline="", encoding="utf-8") as file:
        return list(csv.DictReader(file))


class Document(Case):
    def test_one_page_fetches_nothing_and_runs_only_its_own_scripts(self):
        page = self.report(self.results(), "--truth", self.truth(), "--prm", str(SHIPPED / "polarizer"), "--id", "1005")
        self.assertLess(os.path.getsize(self.output), 2_000_000)  # 1.1 MB of libraries and 2400 rows
        self.assertEqual((connections(page), event_handlers(page)), ([], []))
        rules = dict(rule.strip().split(" ", 1) for rule in policy(page).split(";"))
        self.assertEqual(rules["default-src"], "'none'")
        self.assertEqual((rules["base-uri"], rules["form-action"]), ("'none'", "'none'"))
        self.assertEqual(set(rules), {"default-src", "script-src", "style-src", "base-uri", "form-action"})
        scripts = {"'sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() + "'"
                   for tag, attributes, text in page.elements if tag == "script" and "type" not in attributes}
        self.assertEqual(set(rules["script-src"].split()), scripts)
        self.assertEqual({attributes["type"] for tag, attributes, _ in page.elements
                          if tag == "script" and "type" in attributes}, {"application/json", "text/plain"})
        self.assertEqual(page.elements[0][:2], ["html", {"lang": "en"}])

    def test_notices_of_the_libraries_are_on_the_page(self):
        page = self.report(self.results())
        notices = "".join(text for tag, _, text in page.elements if tag == "pre")
        for part in ("dygraphs is MIT-licenced", "three.js", "Permission is hereby granted"):
            self.assertIn(part, notices)

    def test_same_inputs_give_the_same_bytes(self):
        self.report(self.results())
        first = pathlib.Path(self.output).read_bytes()
        self.report(self.results())
        self.assertEqual(first, pathlib.Path(self.output).read_bytes())

    def test_page_goes_to_standard_output_and_input_comes_from_it(self):
        with open(self.results(), "rb") as file:
            done = self.run_report("-", "-o", "-", stdin=file)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(Page(done.stdout).manifest["rows"], 2400)

    def test_text_from_files_and_command_line_stays_text(self):
        names = [HOSTILE] if not WINDOWS else ["a&b'c"]
        if not WINDOWS:
            names += [CONTROL, "caf\udce9"]
        for name in names:
            with self.subTest(name=name):
                path = os.path.join(self.dir, name + ".csv")
                os.makedirs(os.path.dirname(path), exist_ok=True)
                shutil.copy(self.results(), path)
                page = self.report(path)
                self.assertEqual((connections(page), event_handlers(page)), ([], []))
                shown = {CONTROL: r"\x01\x1b[31m\x7f.csv", "caf\udce9": r"caf\xe9.csv"}.get(name, name + ".csv")
                self.assertEqual(page.manifest["title"], shown.rpartition("/")[2])
                self.assertTrue(page.fact("File").endswith(shown), page.fact("File"))
                self.assertIn(shown, page.fact("Command line"))

    def test_words_of_a_parameter_file_stay_text(self):
        for word, shown in ((HOSTILE.replace(" ", ""), HOSTILE.replace(" ", "")), ("\x01\x1b", r"\x01\x1b"),
                            ("caf\udce9", r"caf\xe9")):
            with self.subTest(word=word):
                text = (SHIPPED / "polarizer" / "Tg1005.prm").read_bytes()
                lines = text.split(b"\n")
                at = next(i for i, line in enumerate(lines) if line.startswith(b"Device Owner"))
                lines[at + 1] = word.encode("utf-8", "surrogateescape")
                pathlib.Path(self.dir, "Tg1005.prm").write_bytes(b"\n".join(lines))
                page = self.report(self.results(), "--prm", self.dir, "--id", "1005")
                self.assertEqual((connections(page), event_handlers(page)), ([], []))
                owner = next(line for line in page.manifest["parameters"]["lines"] if line["title"] == "Device Owner")
                self.assertIn(shown, owner["content"].replace("\\\\", "\\"))


class Content(Case):
    def test_findings_come_with_what_the_file_holds(self):
        page = self.report(self.results(), "--prm", str(SHIPPED / "polarizer"), "--id", "1005")
        rows = records(self.results())
        reference = max(i for i, row in enumerate(rows) if row["outcome"] == "before_reference") + 1
        usable = sum(row["outcome"] == "ok" for row in rows)
        self.assertIn(f"{usable} of {len(rows)} rows hold a usable orientation", page.findings("warning")[0])
        self.assertTrue(any(f"captured in row {reference} " in text for text in page.findings("good")))
        self.assertTrue(any("no gap; the usual step is 10 ms" in text for text in page.findings("good")))
        self.assertTrue(any("finds 0 errors and 0 warnings" in text for text in page.findings("good")))
        self.assertEqual(page.fact("Model and mode"), "polarizer, mount mode 5")
        self.assertEqual(page.fact("Made by"),
                         subprocess.run([*KOR, "--version"], capture_output=True, check=True).stdout.decode().strip())
        self.assertEqual(page.manifest["reference"]["row"], reference)
        outcomes = {each["name"]: each for each in page.manifest["outcomes"]}
        for name in {row["outcome"] for row in rows}:
            places = [i + 1 for i, row in enumerate(rows) if row["outcome"] == name]
            self.assertEqual((outcomes[name]["count"], outcomes[name]["first"], outcomes[name]["last"]),
                             (len(places), places[0], places[-1]))

    def test_findings_claim_no_more_than_the_rows_tell(self):
        page = self.report(self.put_results("one.csv", 1))
        self.assertEqual(page.findings("good"), ["1 of 1 row holds a usable orientation, 100.00 %."])
        page = self.report(self.put_results("same.csv", 20, lambda row: row.update(timeStampMs="7")))
        self.assertIn("time stamp of the row before", page.findings("warning")[0])
        self.assertFalse(any("missing" in text for text in page.findings("good")))
        page = self.report(self.put_results("cut.csv", 20, lambda row: row.update(outcome="rejected_status")))
        self.assertEqual(page.findings("error"), ["0 of 20 rows hold a usable orientation, 0.00 %."])
        page = self.report(self.put_results("none.csv", 20, lambda row: row.update(outcome="before_reference")))
        self.assertEqual(page.findings("error")[1], "No reference was captured: all angles are 0.")

    def test_error_figures_are_those_of_compare(self):
        page = self.report(self.results(), "--truth", self.truth())
        orientation = json.loads(subprocess.run([*KOR, "compare", "--json", self.results(), self.truth()],
                                                capture_output=True, check=True).stdout)["orientation"]
        mine = page.manifest["comparison"]
        for name in ("median", "p999", "largest"):
            self.assertEqual(mine[name], orientation[name])
        histogram = mine["histogram"]
        self.assertEqual(sum(histogram["counts"]), orientation["rows"])
        self.assertEqual([mark["value"] for mark in histogram["marks"]],
                         [orientation[name] * 3600 for name in ("median", "p999", "largest")])

    def test_every_row_of_a_short_file_is_in_charts_and_cursor(self):
        page = self.report(self.results())
        rows = records(self.results())
        self.assertEqual(page.manifest["levels"], {"overview": {"rowsPerPoint": 1, "points": len(rows)}})
        lows = page.block("overview-lows")
        for i, charted in enumerate(page.manifest["charted"]):
            for row, value in zip(rows, lows[i * len(rows):(i + 1) * len(rows)]):
                hidden = row["outcome"] != "ok" and charted["name"].startswith("orientation")
                expected = math.nan if hidden else single(row[charted["name"]])
                if not (math.isnan(expected) and math.isnan(value)) and not charted["name"].startswith("sensorOut"):
                    self.assertEqual(value, expected, charted["name"])
        self.assertEqual(page.block("pose-rows"), list(range(1, len(rows) + 1)))
        self.assertEqual(page.block("pose-stamps"), [int(row["timeStampMs"]) for row in rows])
        self.assertEqual(page.block("pose-matrices"), [float(row[name]) for row in rows for name in MATRIX])
        values = page.block("pose-values")
        for i, column in enumerate(page.manifest["columns"]):
            self.assertEqual(values[i * len(rows):(i + 1) * len(rows)],
                             [single(row[column["name"]]) if column["single"] else float(row[column["name"]])
                              for row in rows])
        labels = [each["name"] for each in page.manifest["labels"]]
        self.assertEqual([labels[label] for label in page.block("pose-labels")], [row["outcome"] for row in rows])

    def test_levels_of_detail_keep_every_extreme(self):
        def spike(row):
            if row["i"] == 2345:
                row["azimuth_deg"] = "5000"
        count = 4000
        page = self.report(self.put_results("long.csv", count, spike))
        levels = page.manifest["levels"]
        self.assertEqual(levels["detail"], {"rowsPerPoint": 1, "points": count})
        step, points = levels["overview"]["rowsPerPoint"], levels["overview"]["points"]
        self.assertEqual((step, points), (3, 1334))  # 1500 points at most
        azimuth = [each["name"] for each in page.manifest["charted"]].index("azimuth_deg")
        whole = page.block("detail-lows")[azimuth * count:(azimuth + 1) * count]
        groups = [whole[i:i + step] for i in range(0, count, step)]
        for name, pick in (("lows", min), ("highs", max)):
            self.assertEqual(page.block("overview-" + name)[azimuth * points:(azimuth + 1) * points],
                             [pick(group) for group in groups])
        self.assertEqual(max(whole), 5000)
        self.assertIn("every row", page.manifest["resolution"])

    def test_stretches_and_gaps_are_listed_with_their_places(self):
        def change(row):
            if 100 <= row["i"] < 120:
                row["outcome"] = "rejected_status"
            if row["i"] >= 200:
                row["timeStampMs"] = str(10 * row["i"] + 500)
        page = self.report(self.put_results("odd.csv", 300, change))
        self.assertEqual(page.manifest["stretches"]["list"],
                         [{"outcome": "rejected_status", "first": 101, "last": 120, "from": 1.0, "to": 1.19,
                           "known": False}])
        self.assertEqual(page.manifest["gaps"]["list"], [{"row": 201, "time": 2.5, "length": 0.51}])
        self.assertTrue(any("1 gap, the longest of 0.510 s before row 201" in text for text in page.findings("warning")))

    def test_time_that_goes_back_or_wraps_does_not_go_back_on_the_page(self):
        def change(row):
            row["timeStampMs"] = str((4294967000 + 10 * row["i"] - (5000 if row["i"] >= 150 else 0)) % 2 ** 32)
        page = self.report(self.put_results("back.csv", 300, change))
        times = page.block("overview-times")
        self.assertEqual(times, [10 * i for i in range(300)])
        self.assertTrue(any("Time goes back 1 time, first before row 151" in text for text in page.findings("warning")))

    def test_truth_and_recording_have_pages_too(self):
        page = self.report(self.truth())
        rows = records(self.truth())
        self.assertEqual(page.block("pose-matrices"),
                         [float(row[f"R_{r}{c}"]) for row in rows for r in range(3) for c in range(3)])
        self.assertEqual((page.manifest["sight"]["frame"], page.manifest["sight"]["position"]), ("tracker", [1, 2, 3]))
        page = self.report(str(SHIPPED / "polarizer" / "polarizer.csv"))
        self.assertIsNone(page.manifest["sight"])
        self.assertIn("azimuthRaw", [each["name"] for each in page.manifest["charted"]])

    def test_values_that_are_not_finite_are_no_fault_of_the_page(self):
        def change(row):
            if row["i"] % 3 == 0:
                row.update(outcome="not_finite", m00="nan", m11="inf", m22="-inf", azimuth_deg="nan", levelX_deg="inf")
        page = self.report(self.put_results("nan.csv", 30, change))
        self.assertTrue(math.isnan(page.block("pose-matrices")[0]))
        self.assertEqual(len(page.manifest["stretches"]["list"]), 10)

    def test_many_stretches_are_counted_and_the_longest_listed(self):
        def change(row):
            row["outcome"] = "rejected_status" if row["i"] % 2 or row["i"] % 100 == 0 else "ok"
        page = self.report(self.put_results("many.csv", 6000, change))
        stretches = page.manifest["stretches"]
        self.assertEqual((stretches["total"], len(stretches["list"])), (2941, 2000))
        self.assertIn("the 2000 longest of 2941", stretches["text"])
        self.assertEqual(sum(each["last"] > each["first"] for each in stretches["list"]), 60)


class Parameters(Case):
    def test_blocks_are_those_of_prm_show(self):
        page = self.report(self.results(), "--prm", str(SHIPPED / "polarizer"), "--id", "1005")
        shown = subprocess.run([*KOR, "prm", "show", str(SHIPPED / "polarizer" / "Tg1005.prm")], capture_output=True,
                               check=True).stdout.decode()
        for line in page.manifest["parameters"]["lines"]:
            self.assertIn(line["content"], shown)
            self.assertIn(line["title"], shown)
        self.assertTrue(any("degrees" in line["content"] for line in page.manifest["parameters"]["lines"]))
        self.assertEqual(page.manifest["sight"]["azimuthOffset"], single("17.345678"))
        self.assertEqual((page.manifest["sight"]["forward"], page.manifest["sight"]["frame"]), ("y", "machine"))

    def test_findings_of_the_check_are_told(self):
        text = (SHIPPED / "polarizer" / "Tg1005.prm").read_text(encoding="latin-1")
        pathlib.Path(self.dir, "Tg1005.prm").write_text(text.replace("17.345678", "417.345678", 1), encoding="latin-1")
        page = self.report(self.results(), "--prm", self.dir, "--id", "1005")
        told = subprocess.run([*KOR, "prm", "check", "--json", os.path.join(self.dir, "Tg1005.prm")],
                              capture_output=True).stdout
        findings = json.loads(told)[0]["findings"]
        self.assertGreater(len(findings), 0)
        # A directory and a name in it are joined by what the system has between them.
        self.assertEqual([each["text"].replace("\\", "/") for each in page.manifest["parameters"]["check"]],
                         [f"{each['text']} [{each['rule']}]".replace("\\", "/") for each in findings])

    def test_file_that_the_library_refuses_is_reported(self):
        pathlib.Path(self.dir, "Tg1005.prm").write_text("Serial Number\n1006\n", encoding="ascii")
        done = self.run_report(self.results(), "--prm", self.dir, "--id", "1005", "-o", self.output)
        self.assertEqual(done.returncode, 0)
        self.assertIn(b"the library refuses this file", done.stderr)
        page = self.read()
        self.assertIn("the library refuses the file", page.findings("error")[0])
        self.assertEqual(page.manifest["parameters"]["lines"], [])


class Refusals(Case):
    def test_wrong_usage(self):
        results = self.results()
        self.refused(USAGE, results, text="--output is required")
        self.refused(USAGE, results, "-o", self.output, "--prm", self.dir, text="--prm and --id go together")
        self.refused(USAGE, results, "-o", self.output, "--mode", "5", text="--mode requires")
        self.refused(USAGE, results, "-o", self.output, "--prm", self.dir, "--id", "x", text="--id: found")
        self.refused(USAGE, results, "-o", self.output, "--truth", results, text="expected a truth")
        self.refused(USAGE, "-", "-o", self.output, "--truth", self.truth(), text="must not be -")
        self.refused(USAGE, results, "-o", results, text="the file that is reported")
        self.assertFalse(os.path.exists(self.output))

    def test_files_that_cannot_be_read(self):
        self.refused(NO_INPUT, os.path.join(self.dir, "none.csv"), "-o", self.output, text="none.csv")
        self.refused(NO_INPUT, self.results(), "-o", self.output, "--prm", self.dir, "--id", "7", text="Tg7.prm")
        path = self.put_results("bad.csv", 5, lambda row: row.update(m00="x") if row["i"] == 3 else None)
        self.refused(DATA, path, "-o", self.output, text="bad.csv: line 5")
        self.refused(DATA, self.put_results("empty.csv", 0), "-o", self.output, text="found no rows")
        self.assertFalse(os.path.exists(self.output))

    def test_page_that_cannot_be_created(self):
        self.refused(CANNOT_CREATE, self.results(), "-o", os.path.join(self.dir, "no", "report.html"), text="report.html")


if __name__ == "__main__":
    unittest.main()
