#!/usr/bin/env python3
"""End-to-end tests of `kor prm check`; the rules themselves are tested in tests/session/parameter_check_test.cpp.

    prm_check_test.py KOR [-v] [Class[.test] ...]
"""
import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest

from program import KOR

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
DATA = os.path.join(ROOT, "data")
FINDINGS, USAGE, ERRORS, NO_INPUT = 1, 64, 65, 66


class Case(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="kor-check-")
        self.addCleanup(shutil.rmtree, self.dir)
        with open(os.path.join(DATA, "polarizer", "Tg1005.prm"), newline="") as file:
            self.sound = file.read()

    def put(self, name, text):
        path = os.path.join(self.dir, name)
        with open(path, "wb") as file:
            file.write(text if isinstance(text, bytes) else text.encode())
        return path

    def check(self, *arguments, status=0):
        done = subprocess.run([*KOR, "prm", "check", *arguments], capture_output=True, text=True, encoding="utf-8",
                              timeout=60, cwd=self.dir)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout, done.stderr


class Files(Case):
    def test_the_shipped_files_are_sound(self):
        directories = sorted(os.path.join(DATA, name) for name in os.listdir(DATA)
                             if os.path.isdir(os.path.join(DATA, name)))
        out, errors = self.check(*directories)
        self.assertEqual(len(re.findall(r"Tg\d+\.prm: 0 errors, 0 warnings\n", out)), 10)
        self.assertEqual(len(out.splitlines()), 10)
        self.assertEqual(errors, "")
        notes, _ = self.check("--notes", *directories)
        self.assertEqual(notes.count("[rewrite-refused]"), 10)
        self.assertEqual(notes.count("[block-ignored]"), 8)

    def test_findings_have_a_line_each_and_decide_the_status(self):
        line = 1 + self.sound.split("\n").index("Tilt Sensor Offset") + 1
        self.put("Tg1005.prm", self.sound.replace("0.021500\t", "21.5\t"))
        out, _ = self.check("Tg1005.prm", status=FINDINGS)
        self.assertEqual(out, f'warning: Tg1005.prm: line {line}: block "Tilt Sensor Offset": x: found "21.5", expected '
                              "-5 to 5 degrees; look for a lost decimal point, a wrong unit or the number of another block "
                              "[implausible]\nTg1005.prm: 0 errors, 1 warning\n")
        self.put("Tg1005.prm", self.sound.replace("ADM Offset", "ADN Offset"))
        out, _ = self.check("Tg1005.prm", status=ERRORS)
        self.assertIn('error: Tg1005.prm: line 31: block "ADM Offset": found "ADN Offset", expected the title "ADM Offset"',
                      out)
        self.assertIn('Tg1005.prm: the library refuses this file with 553 and message 615, "Block title \\"ADM Offset\\" '
                      'is not foun."\n'.replace('\\"', '"'), out)

    def test_a_directory_stands_for_its_parameter_files(self):
        for name in ("Tg1005.prm", "tg7.PRM", "copy.prm", "Tg9.txt"):
            self.put(name, self.sound)
        out, _ = self.check(".", status=ERRORS)
        self.assertEqual(re.findall(r"^\S*?([Tt]g\d+\.\w+): \d+ error", out, re.M), ["Tg1005.prm", "tg7.PRM"])
        self.assertIn("found 1005, expected 7, the ID in the file's name", out)
        os.mkdir(os.path.join(self.dir, "empty"))
        out, errors = self.check("empty", "Tg1005.prm", status=NO_INPUT)
        self.assertIn("kor: empty: found no file of the name Tg*.prm, expected parameter files in this directory; ", errors)
        self.assertIn("Tg1005.prm: 0 errors, 0 warnings\n", out)

    def test_a_file_that_cannot_be_opened_is_told_and_the_others_are_checked(self):
        self.put("Tg1005.prm", self.sound)
        out, errors = self.check("Tg2.prm", "Tg1005.prm", status=NO_INPUT)
        self.assertIn("cannot open the parameter file Tg2.prm: ", errors)
        self.assertIn("Tg1005.prm: 0 errors, 0 warnings\n", out)

    def test_the_name_decides_on_the_id_only_if_it_has_the_form(self):
        self.put("any.prm", self.sound)
        self.check("any.prm")

    def test_what_is_no_text_is_told_so(self):
        self.put("Tg1005.prm", self.sound.encode("utf-16"))
        self.assertIn("found UTF-16", self.check("Tg1005.prm", status=ERRORS)[0])

    def test_the_mode_may_be_another(self):
        self.put("Tg1005.prm", self.sound)
        out, _ = self.check("--mode", "9", "Tg1005.prm", status=FINDINGS)
        self.assertEqual(out.count("which mount mode 9 uses"), 6)

    def test_json_holds_every_part_of_a_finding(self):
        self.put("Tg1005.prm", self.sound + "more\n")
        out, _ = self.check("--json", "Tg1005.prm", status=FINDINGS)
        (file,) = json.loads(out)
        self.assertEqual((file["file"], file["status"], file["message"], file["errors"], file["warnings"]),
                         ("Tg1005.prm", 0, 0, 0, 1))
        (finding,) = [one for one in file["findings"] if one["severity"] == "warning"]
        self.assertEqual(finding["rule"], "ignored-text")
        self.assertEqual(finding["line"], self.sound.count("\n") + 1)
        self.assertEqual(finding["found"], '"more"')
        self.assertEqual(sorted(finding), sorted(["severity", "rule", "line", "block", "field", "found", "expected",
                                                  "advice", "more", "text"]))


class Lists(Case):
    def test_ranges_name_every_field_once(self):
        out, _ = self.check("--ranges")
        ranges = json.loads(self.check("--ranges", "--json")[0])
        self.assertEqual(len(out.splitlines()), 1 + len(ranges))
        self.assertIn({"block": "Tilt Sensor Offset", "field": "x", "least": -5.0, "most": 5.0, "eitherSign": False,
                       "unit": "degrees"}, ranges)
        names = [(one["block"], one["field"]) for one in ranges]
        self.assertEqual(len(names), len(set(names)))

    def test_ranges_are_those_recorded(self):
        # Every name, limit and unit; after an intended change: kor prm check --ranges >tests/tool/ranges.txt
        with open(os.path.join(ROOT, "tests", "tool", "ranges.txt"), encoding="utf-8") as file:
            self.assertEqual(self.check("--ranges")[0].splitlines(), file.read().splitlines())

    def test_the_page_lists_exactly_the_rules_that_exist(self):
        rules = json.loads(self.check("--rules", "--json")[0])
        with open(os.path.join(ROOT, "docs", "parameter-check.md"), encoding="utf-8") as page:
            rows = re.findall(r"^\| `([a-z-]+)` \| (\w+) \| ([^|]+) \| [^|]+ \| [^|]+ \|$", page.read(), re.M)
        self.assertEqual(rows, [(rule["rule"], rule["severity"], rule["meaning"]) for rule in rules])
        self.assertEqual(len(self.check("--rules")[0].splitlines()), len(rules))

    def test_wrong_usage(self):
        for line, says in (((), "FILE|DIR is required"), (("--ranges", "x.prm"), "--ranges and --rules are each given alone"),
                           (("--mode", "11", "x.prm"), "--mode: found \"11\", expected a whole number from 1 to 10")):
            self.assertIn(says, self.check(*line, status=USAGE)[1])


if __name__ == "__main__":
    unittest.main()
