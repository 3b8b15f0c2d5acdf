#!/usr/bin/env python3
"""End-to-end tests of `kor prm show`, `json`, `from-json`, `diff`, `rewrite` and `new`.

    prm_test.py KOR [-v] [Class[.test] ...]
"""
import json
import os
import re
import shutil
import stat
import struct
import subprocess
import tempfile
import unittest

from program import KOR, posix_only

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
DATA = os.path.join(ROOT, "data")
SENSORS = ["dual_level", "dual_level_even", "pendulum", "pendulum_even", "polarizer", "polarizer_even", "three_vector",
           "three_vector_even", "two_level", "two_level_even"]
DIFFERENT, USAGE, DATA_ERROR, NO_INPUT, CANNOT_CREATE, IO_ERROR = 1, 64, 65, 66, 73, 74


def shipped(sensor):
    return os.path.join(DATA, sensor, f"Tg{1001 + SENSORS.index(sensor)}.prm")


def numbers(text):
    """Every word of a parameter file, numbers as the bits of the float that they are rounded to."""
    def bits(word):
        try:
            return struct.pack("<f", float(word))
        except ValueError:
            return word
    return [bits(word) for word in text.split()]


class Case(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.dir = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.dir)

    def path(self, name):
        return os.path.join(self.dir, name)

    def write(self, name, text):
        with open(self.path(name), "w", newline="") as file:
            file.write(text)
        return self.path(name)

    @staticmethod
    def read(path):
        with open(path, newline="") as file:
            return file.read()

    def original(self, sensor="polarizer"):
        return self.read(shipped(sensor))

    def kor(self, *arguments, status=0, stdin=None, cwd=None):
        done = subprocess.run([*KOR, *arguments], capture_output=True, text=True, timeout=60, input=stdin,
                              cwd=cwd or self.dir)
        self.assertEqual(done.returncode, status, done.stderr + done.stdout)
        return done

    def prm(self, *arguments, **options):
        return self.kor("prm", *arguments, **options)

    def files(self):
        return sorted(os.listdir(self.dir))


class Group(Case):
    def test_help_names_the_subcommands_and_each_has_its_own(self):
        text = self.prm("--help").stdout
        for name in ("show", "json", "from-json", "diff", "rewrite", "new"):
            self.assertRegex(text, rf"\n  {name} +\S")
            own = self.prm(name, "--help").stdout
            self.assertIn(f"Usage: kor prm {name} ", own)
            self.assertIn("Print this help and exit", own)

    def test_wrong_usage_says_where_the_help_is(self):
        for arguments, message in ((("prm",), "See kor prm --help."),
                                   (("prm", "shaw"), 'there is no subcommand or option "shaw"\nSee kor prm --help.'),
                                   (("prm", "show"), "FILE is required\nSee kor prm show --help."),
                                   (("prm", "diff", "a"), "B is required\nSee kor prm diff --help."),
                                   (("prm", "diff", "a", "b", "--tolerance", "x"), 'found "x", expected a number'),
                                   (("prm", "diff", "a", "b", "--tolerance", "-1"), 'found "-1", expected a number'),
                                   (("prm", "diff", "a", "b", "--tolerance", "nan"), "See kor prm diff --help."),
                                   (("prm", "diff", "-", "-"), "standard input cannot be both files"),
                                   (("prm", "new"), "--mode is required"),
                                   (("prm", "new", "--mode", "0", "--id", "1"), "a whole number from 1 to 10"),
                                   (("prm", "new", "--mode", "11", "--id", "1"), "a whole number from 1 to 10"),
                                   (("prm", "new", "--mode", "3"), "--id is required if the output is not named"),
                                   (("prm", "new", "--mode", "3", "--id", "7", "-o", "Tg8.prm"), "expected 8, the ID")):
            with self.subTest(arguments):
                self.assertIn(message, self.kor(*arguments, status=USAGE).stderr)

    def test_what_cannot_be_read_is_refused(self):
        self.write("cut.prm", self.original()[:600])
        self.write("empty.prm", "")
        os.mkdir(self.path("folder"))
        for command in ("show", "json", "rewrite"):
            self.assertIn("nowhere.prm", self.prm(command, "nowhere.prm", status=NO_INPUT).stderr)
            self.assertIn("directory", self.prm(command, "folder", status=NO_INPUT).stderr)
            self.assertRegex(self.prm(command, "cut.prm", status=DATA_ERROR).stderr,
                             r'cut\.prm: line \d+: block "[^"]+": found .*, expected .*kor prm check')
            self.assertIn('empty.prm: line 1: block "Serial Number": found', self.prm(command, "empty.prm", status=DATA_ERROR).stderr)
        self.assertIn("cut.prm", self.prm("diff", shipped("polarizer"), "cut.prm", status=DATA_ERROR).stderr)
        self.assertIn("nowhere", self.prm("from-json", "nowhere", status=NO_INPUT).stderr)
        self.assertEqual(self.files(), ["cut.prm", "empty.prm", "folder"])


class Json(Case):
    def test_shipped_files_come_back_and_their_files_are_stable(self):
        for sensor in SENSORS:
            name = os.path.basename(shipped(sensor))
            first = self.prm("json", shipped(sensor)).stdout
            self.assertEqual(self.prm("from-json", "-", "-o", name, stdin=first).stderr, "")
            self.assertEqual(numbers(self.read(self.path(name))), numbers(self.original(sensor)))
            self.prm("json", name, "-o", "again.json")
            self.assertEqual(self.read(self.path("again.json")), first)
            self.assertEqual(self.prm("from-json", "again.json").stdout, self.read(self.path(name)))
            self.assertIn("the same values", self.prm("diff", name, shipped(sensor)).stdout)

    def test_members_are_the_blocks_of_the_file(self):
        found = json.loads(self.prm("json", shipped("two_level")).stdout)
        titles = [line for line in self.original("two_level").split("\n") if re.match(r"[A-Z]", line)]
        titles = [t for t in titles if t not in ("Simulated", "Degrees")]
        self.assertEqual(list(found), ["format", *titles])
        self.assertEqual(found["format"], "kor prm 1")
        self.assertEqual(found["Serial Number"], 1009)
        self.assertEqual(found["Device Owner"], "Simulated")
        self.assertEqual(found["QVC"], [0.7, 1.4, 33, -0.25, 0.3, 0.2])
        self.assertEqual(found["ADM Offset"], 0)
        self.assertEqual(found["AZ Calibration Table"][1], [10.4, -0.000867])
        self.assertEqual(len(found["AZ Calibration Table"]), 37)
        self.assertEqual(found["Tilt X Calibration Table"]["word"], "Degrees")
        self.assertEqual(len(found["Tilt X Calibration Table"]["limits"]), 3)

    def test_an_edited_text_becomes_the_edited_file(self):
        found = json.loads(self.prm("json", shipped("polarizer")).stdout)
        found["AZ Calibration Table"].append([366.5, -0.0])
        found["Scale Factor"][2] = "-inf"
        found["Serial Number"] = 7
        done = self.prm("from-json", "-", "-o", "Tg1005.prm", stdin=json.dumps(dict(reversed(found.items()))))
        self.assertIn("the library looks for sensor 7 under the name Tg7.prm", done.stderr)
        text = self.read(self.path("Tg1005.prm"))
        self.assertIn("AZ Calibration Table\n38\n0.5\t-0.006387\n", text)
        self.assertIn("\n366.5\t-0\nEL Calibration Table\n", text)
        self.assertIn("Scale Factor\n0.35\n-0.12\n-inf\n0\n1.0002\n", text)
        self.assertTrue(text.startswith("Serial Number\n7\nDevice Owner\nSimulated\n"))
        self.assertTrue(text.endswith("Mounting Mode\n5\n"))

    def test_hostile_text_leaves_no_file(self):
        first = self.prm("json", shipped("polarizer")).stdout
        for text, message in ((first.replace("17.345678", '"x"'), 'standard input: /Angle Offset/0: found "x", expected a number'),
                              (first[:500], "standard input: line "),
                              ("[" * 100000, "more than 8 deep"),
                              (first.replace("10.4,", "null,"), "/AZ Calibration Table/1/0: found null")):
            self.assertIn(message, self.prm("from-json", "-", "-o", "Tg1005.prm", stdin=text, status=DATA_ERROR).stderr)
        self.write("a.json", first)
        self.assertIn("a.json is the JSON text itself", self.prm("from-json", "a.json", "-o", "./a.json", status=USAGE).stderr)
        self.assertIn("is the parameter file itself",
                      self.prm("json", shipped("polarizer"), "-o", shipped("polarizer"), status=USAGE).stderr)
        self.prm("from-json", "a.json", "-o", "none/Tg1.prm", status=CANNOT_CREATE)
        self.assertEqual(self.files(), ["a.json"])
        self.assertEqual(self.read(self.path("a.json")), first)

    def test_what_a_text_cannot_hold_is_told(self):
        whole = self.original()
        self.write("a.prm", whole.replace("Mounting Mode\n5", "Mounting Mode\nfive"))
        done = self.prm("json", "a.prm")
        self.assertIn('"Mounting Mode": null\n', done.stdout)
        self.assertIn("warning: a.prm: 1 value could not be read and is null in the JSON text", done.stderr)
        self.assertIn("/Mounting Mode: found null", self.prm("from-json", "-", stdin=done.stdout, status=DATA_ERROR).stderr)
        self.write("b.prm", whole[:whole.index("0.999700")])
        done = self.prm("json", "b.prm")
        self.assertIn('"Scale Factor": [0.35, -0.12, 0, 0, 1.0002, null, null, null]\n', done.stdout)
        self.assertIn("warning: b.prm: 3 values could not be read and are null in the JSON text", done.stderr)
        done = self.prm("json", self.write("c.prm", whole + "more\ntext\n"))
        self.assertIn("c.prm: line 152: 9 bytes behind the last block, which the library ignores, are not in the JSON text",
                      done.stderr)
        self.assertEqual(done.stdout, self.prm("json", shipped("polarizer")).stdout)

class Show(Case):
    def shown(self, *arguments):
        return self.prm("show", *arguments).stdout

    def test_every_block_stands_there_with_its_line(self):
        for sensor in SENSORS:
            text = self.shown(shipped(sensor))
            lines = self.original(sensor).split("\n")
            for number, line in enumerate(lines, start=1):
                if re.match(r"[A-Z]", line) and line not in ("Simulated", "Degrees"):
                    self.assertRegex(text, rf"(?m)^ *{number}  {re.escape(line)} ")
            self.assertLess(max(map(len, text.split("\n"))), 130, "fits on a wide terminal")

    def test_values_have_names_units_and_their_use(self):
        text = self.shown(shipped("polarizer"))
        self.assertIn("sensor 1005, mount mode 5: polarizer", text)
        self.assertRegex(text, r"Angle Offset +azimuth +17\.345678 degrees")
        self.assertRegex(text, r"AZ Calibration Table +37 rows, readings 0\.5 to 356\.9 degrees, corrections -0\.007697 to 0\.007285 degrees")
        self.assertRegex(text, r"Transform Vector .*\(not used\)")
        self.assertRegex(text, r"Tilt X Calibration Table .*\(not used in mode 5\)")
        self.assertRegex(text, r"Not read in mount mode 5: QVC, Level_X, Level_Y, Half Angle, PSDX, PSDY, DynamicParameters\.")
        text = self.shown(shipped("two_level"))
        self.assertRegex(text, r"Machine Coordinate Tranform Matrix .*\(not used in mode 9\)")
        self.assertRegex(text, r"QVC +x +0\.7 mm")
        self.assertRegex(text, r"DynamicParameters .*with --store")
        self.assertNotIn("Not read in", text)

    def test_rows_are_printed_when_asked_for(self):
        self.assertNotIn("-0.00659", self.shown(shipped("polarizer")))
        self.assertRegex(self.shown(shipped("polarizer"), "--rows"), r"\n +2 +10\.4 +-0\.00659\n")

    def test_what_is_absent_or_unreadable_is_said(self):
        whole = self.original("pendulum")
        text = self.shown(self.write("a.prm", whole[:whole.index("Tilt Y Calibration")]))
        self.assertIn("level Y counts as outside its table", text)
        self.assertIn("0, 0, 0, 0, 1, 1, 1, 0 are used", text)
        self.assertIn("not in the file: mode 0 is used", text)
        self.assertIn("mount mode 0: pendulum", text)
        done = self.prm("show", self.write("b.prm", whole.replace("Mounting Mode\n3", "Mounting Mode\nthree")))
        self.assertRegex(done.stdout, r"Mounting Mode +NOT READABLE")
        self.assertIn("1 value could not be read and is marked NOT READABLE", done.stderr)


class Diff(Case):
    def test_the_same_file_is_the_same(self):
        done = self.prm("diff", shipped("polarizer"), shipped("polarizer"))
        self.assertEqual(done.stdout, "The files hold the same values.\n")
        self.prm("diff", shipped("polarizer"), "-", stdin=self.original().replace("0.000000", "0").replace("\n", "\r\n"))

    def test_values_that_differ_are_named_with_their_change(self):
        text = self.original()
        for what, by in (("17.345678", "17.35"), ("Simulated", "Factory"), ("0.997600", "nan"),
                         ("129.199997\t0.005104", "129.199997\t0.007204"), ("139.100006", "139.2"),
                         ("Scale Factor\n0.350000", "Scale Factor\n0.350001"), ("1.000000\t0.000000\nDegrees", "0.9\t0\nDegrees")):
            self.assertIn(what, text)
            text = text.replace(what, by, 1)
        done = self.prm("diff", shipped("polarizer"), self.write("b.prm", text), status=DIFFERENT)
        for pattern in (r"Angle Offset\n  azimuth +17\.345678 -> 17\.35 +\+0\.0043\d* degrees \(15\.56 arc-seconds\)\n",
                        r"Device Owner\n +Simulated -> Factory\n",
                        r"x offset +0\.9976 -> nan\n",
                        r"AZ Calibration Table: 2 of 37 rows differ; largest change: reading \+0\.09999\d* degrees \(360 arc-seconds\) in row 15\n",
                        r"row 14 +at 129\.2 +correction +0\.005104 -> 0\.007204 +\+0\.0021 degrees \(7\.56 arc-seconds\)\n",
                        r"Tilt X Calibration Table\n  high +1 -> 0\.9 +-0\.1\n",
                        r"Scale Factor\n  angle 1 +0\.35 -> 0\.350001",
                        r"7 differences in 6 blocks\.\n"):
            self.assertRegex(done.stdout, pattern)
        done = self.prm("diff", shipped("polarizer"), self.path("b.prm"), "--tolerance", "0.2", status=DIFFERENT)
        self.assertNotIn("Angle Offset", done.stdout)
        self.assertIn("2 differences in 2 blocks, larger than 0.2.\n", done.stdout)
        found = json.loads(self.prm("diff", shipped("polarizer"), self.path("b.prm"), "--json", status=DIFFERENT).stdout)
        blocks = {block["block"]: block for block in found["blocks"]}
        self.assertEqual(len(blocks), 6)
        self.assertEqual(blocks["Device Owner"]["values"][0]["b"], "Factory")
        self.assertEqual(blocks["Thermal Compensation Factor"]["values"][0], {
            "field": "x_offset", "unit": "", "a": 0.9976, "b": "nan", "change": None})
        row = blocks["AZ Calibration Table"]["values"][0]
        self.assertEqual((row["field"], row["row"], row["reading"], row["a"], row["b"]),
                         ("correction", 14, 129.2, 0.005104, 0.007204))
        self.assertAlmostEqual(row["change"], 0.0021, delta=1e-9)  # float32 of both
        self.assertEqual(json.loads(self.prm("diff", self.path("b.prm"), self.path("b.prm"), "--json").stdout)["blocks"], [])

    def test_rows_and_blocks_of_one_side_are_told(self):
        lines = self.original().split("\n")
        lines.remove("20.299999\t-0.007697")
        lines[lines.index("37")] = "36"
        done = self.prm("diff", shipped("polarizer"), self.write("b.prm", "\n".join(lines)), status=DIFFERENT)
        self.assertIn("AZ Calibration Table: 37 rows in A, 36 in B\n", done.stdout)
        self.assertRegex(done.stdout, r"row 3 +at 20\.3 +only in A: 20\.3, -0\.007697\n\n1 difference in 1 block\.")
        done = self.prm("diff", shipped("two_level"), shipped("polarizer"), status=DIFFERENT)
        self.assertIn("DynamicParameters: only in A\n", done.stdout)
        self.assertRegex(done.stdout, r"and \d+ more values of rows; --all lists them\n")
        self.assertGreater(len(self.prm("diff", shipped("two_level"), shipped("polarizer"), "--all", status=DIFFERENT).stdout),
                           len(done.stdout))

    def test_a_damaged_file_is_compared_if_the_library_reads_it(self):
        text = self.original().replace("Mode\n5", "Mode\nfive")
        done = self.prm("diff", shipped("polarizer"), self.write("b.prm", text), status=DIFFERENT)
        self.assertRegex(done.stdout, r"Mounting Mode\n +5 -> not readable\n")
        text = self.original().replace("10.400000\t-0.006590", "10.400000\tten")
        done = self.prm("diff", self.write("b.prm", text), shipped("polarizer"), status=DATA_ERROR)
        self.assertIn('b.prm: line 36: block "AZ Calibration Table": found "ten", expected a number; kor prm check', done.stderr)

class Rewrite(Case):
    def ending(self, sensor, title, name="Tg1.prm", extra=""):
        """A shipped file that ends before a block."""
        whole = self.original(sensor)
        return self.write(name, whole[:whole.index(title)] + extra)

    def test_a_file_that_ends_before_the_mode_is_rewritten(self):
        path = self.ending("dual_level", "Mounting Mode")
        text = self.read(path).replace("0.000120", "0.00012345678").replace("AZ Position Gain", "AZ Position Gains")
        self.write("Tg1.prm", text)
        done = self.prm("rewrite", "Tg1.prm")
        self.assertEqual(done.stderr, "")
        self.assertIn("Tg1.prm is rewritten; Tg1.prm.bak holds it as it was.\n", done.stdout)
        self.assertIn('line 5: the title "AZ Position Gains" has become "AZ Position Gain"\n', done.stdout)
        self.assertRegex(done.stdout, r"Thermal Compensation Factor\n  x gain +0\.00012345678 -> 0\.000123 ")
        self.assertIn("Mounting Mode: only in B\n", done.stdout)
        self.assertEqual(self.read(self.path("Tg1.prm.bak")), text)
        self.assertTrue(self.read(path).rstrip().endswith("Mounting Mode\n0") or os.linesep != "\n" or
                        self.read(path).replace("\r\n", "\n").endswith("Mounting Mode\n0\n"))
        self.assertEqual(self.files(), ["Tg1.prm", "Tg1.prm.bak"])

    def test_seven_of_eight_default_factors_are_told(self):
        self.ending("pendulum", "Scale Factor")
        done = self.prm("rewrite", "Tg1.prm", "--backup", "old")
        self.assertIn("Scale Factor: only in B", done.stdout)
        self.assertIn("Mounting Mode: only in B", done.stdout)
        self.assertEqual(self.files(), ["Tg1.prm", "old"])

    def test_a_file_with_a_mode_is_left_as_it_was(self):
        for name in (os.path.basename(shipped("polarizer")), os.path.basename(shipped("two_level"))):
            sensor = SENSORS[int(name[2:6]) - 1001]
            shutil.copy(shipped(sensor), self.path(name))
            done = self.prm("rewrite", name, status=DATA_ERROR)
            self.assertIn(f"{name} is as it was: the library rewrites only files that end before the block \"Mounting Mode\"",
                          done.stderr)
            self.assertIn("message 619", done.stderr)
            self.assertIn("kor prm from-json", done.stderr)
            self.assertEqual(self.read(self.path(name)), self.original(sensor))
            self.assertEqual(self.files(), [name])
            os.remove(self.path(name))

    def test_a_rewriting_that_cannot_be_read_is_taken_back(self):
        path = self.ending("polarizer", "Tilt Y Calibration")
        before = self.read(path)
        done = self.prm("rewrite", "Tg1.prm", status=DATA_ERROR)
        self.assertIn("Tg1.prm is as it was: the library could not read what it has written", done.stderr)
        self.assertEqual(self.read(path), before)
        self.assertEqual(self.files(), ["Tg1.prm"])

    def test_nothing_that_is_there_is_overwritten(self):
        self.ending("dual_level", "Mounting Mode")
        before = self.read(self.path("Tg1.prm"))
        self.write("Tg1.prm.bak", "precious")
        self.assertIn("the backup Tg1.prm.bak exists already", self.prm("rewrite", "Tg1.prm", status=CANNOT_CREATE).stderr)
        self.assertIn("cannot create the backup", self.prm("rewrite", "Tg1.prm", "--backup", "no/b", status=CANNOT_CREATE).stderr)
        self.assertIn("exists already", self.prm("rewrite", "Tg1.prm", "--backup", "Tg1.prm", status=CANNOT_CREATE).stderr)
        self.assertEqual(self.read(self.path("Tg1.prm.bak")), "precious")
        self.write("$tmp.prm", "another rewriting's")
        done = self.prm("rewrite", "Tg1.prm", "--backup", "b", status=CANNOT_CREATE)
        self.assertIn("the current directory holds $tmp.prm, which the library would overwrite", done.stderr)
        self.assertEqual(self.read(self.path("$tmp.prm")), "another rewriting's")
        self.assertEqual(self.read(self.path("Tg1.prm")), before)
        self.assertEqual(self.files(), ["$tmp.prm", "Tg1.prm", "Tg1.prm.bak"])

    @posix_only
    def test_links_under_the_name_of_the_copy_stay(self):
        self.ending("dual_level", "Mounting Mode")
        for goal in ("nowhere", "$tmp.prm"):
            os.symlink(goal, self.path("$tmp.prm"))
            done = self.prm("rewrite", "Tg1.prm", status=CANNOT_CREATE)
            self.assertIn("the current directory holds $tmp.prm", done.stderr)
            self.assertEqual(os.readlink(self.path("$tmp.prm")), goal)
            self.assertEqual(self.files(), ["$tmp.prm", "Tg1.prm"])
            os.remove(self.path("$tmp.prm"))

    @posix_only
    @unittest.skipUnless(os.name == "posix" and os.geteuid() == 0, "only the superuser has files of others")
    def test_only_who_may_write_a_file_rewrites_it(self):
        path = self.ending("dual_level", "Mounting Mode")
        before = self.read(path)
        os.chown(path, 4711, 4712)
        # The superuser, who may do no more than anybody else.
        limited = ["setpriv", "--bounding-set=-dac_override,-dac_read_search,-fowner,-chown", *KOR]
        for mode in (0o644, 0o444):
            os.chmod(path, mode)
            done = subprocess.run([*limited, "prm", "rewrite", "Tg1.prm"], capture_output=True, text=True, cwd=self.dir)
            self.assertEqual(done.returncode, CANNOT_CREATE, done.stderr)
            self.assertIn("cannot rewrite Tg1.prm: Permission denied; make it writable or rewrite a copy", done.stderr)
            self.assertEqual((self.read(path), self.files()), (before, ["Tg1.prm"]))
            self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), mode)
        os.chmod(path, 0o666)
        subprocess.run([*limited, "prm", "rewrite", "Tg1.prm"], check=True, capture_output=True, cwd=self.dir)
        self.assertIn("Mounting Mode", self.read(path))

    @posix_only
    def test_links_are_followed_and_permissions_stay(self):
        os.mkdir(self.path("real"))
        self.ending("dual_level", "Mounting Mode", name="real/Tg1.prm")
        os.chmod(self.path("real/Tg1.prm"), 0o440)
        os.symlink("real/Tg1.prm", self.path("link"))
        self.prm("rewrite", "link")
        self.assertTrue(os.path.islink(self.path("link")))
        self.assertIn("Mounting Mode", self.read(self.path("real/Tg1.prm")))
        for name in ("real/Tg1.prm", "link.bak"):
            self.assertEqual(stat.S_IMODE(os.stat(self.path(name)).st_mode) & 0o222, 0 if name != "link.bak" else 0o200)
        self.prm("rewrite", "x" * 300, status=NO_INPUT)


class New(Case):
    def test_every_mode_gives_a_file_that_measures_its_own_motion(self):
        """The engine finds the poses that the simulated sensor of such a file was in."""
        for mode in range(1, 11):
            with self.subTest(mode=mode):
                self.prm("new", "--mode", str(mode), "-o", f"Tg{mode}.prm")
                found = json.loads(self.prm("json", f"Tg{mode}.prm").stdout)
                self.assertEqual((found["Serial Number"], found["Mounting Mode"]), (mode, mode))
                self.assertEqual("QVC" in found, mode >= 7)
                sensor = ["--prm", ".", "--id", str(mode)]
                self.kor("simulate", *sensor, "--motion", "static", "--samples", "300", "-o", "run.csv", "--truth", "truth.csv")
                self.kor("replay", *sensor, "run.csv", "-o", "results.csv")
                found = json.loads(self.kor("compare", "results.csv", "truth.csv", "--json").stdout)["orientation"]
                self.assertGreater(found["rows"], 150)
                self.assertLess(found["largest"], 2e-5)  # what single-precision readings leave of the truth

    def test_every_mode_gives_a_sound_file_that_keeps_its_bytes(self):
        names = [f"Tg{mode}.prm" for mode in range(1, 11)]
        for mode, name in enumerate(names, 1):
            self.prm("new", "--mode", str(mode), "-o", name)
            text = self.prm("json", name).stdout
            self.assertEqual(self.prm("from-json", "-", stdin=text).stdout, self.read(self.path(name)))
        self.assertEqual(self.prm("check", *names).stdout, "".join(f"{name}: 0 errors, 0 warnings\n" for name in names))

    def test_shown_and_compared_with_itself(self):
        text = self.prm("new", "--mode", "9", "--id", "-12").stdout
        self.assertIn("sensor -12, mount mode 9", self.prm("show", "-", stdin=text).stdout)
        again = self.prm("json", "-", stdin=text).stdout
        self.assertEqual(self.prm("from-json", "-", stdin=again).stdout, text)
        done = self.prm("new", "--mode", "9", "--id", "5", "-o", "nine.prm")
        self.assertIn("nine.prm: the library looks for sensor 5 under the name Tg5.prm", done.stderr)

    def test_an_existing_file_is_replaced_only_by_force(self):
        self.write("Tg3.prm", "somebody's calibration")
        self.assertIn("Tg3.prm exists already", self.prm("new", "--mode", "3", "-o", "Tg3.prm", status=CANNOT_CREATE).stderr)
        self.assertEqual(self.read(self.path("Tg3.prm")), "somebody's calibration")
        self.prm("new", "--mode", "3", "-o", "Tg3.prm", "--force")
        self.assertIn("Mounting Mode\n3\n", self.read(self.path("Tg3.prm")))


if __name__ == "__main__":
    unittest.main()
