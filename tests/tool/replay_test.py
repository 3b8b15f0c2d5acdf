#!/usr/bin/env python3
"""End-to-end tests of `kor replay`.

    replay_test.py KOR [-v] [Class[.test] ...]

Everything is made here: parameter files, recordings, and what is expected of the results. Standard library only.
"""
import gzip
import json
import math
import os
import pathlib
import pty
import random
import re
import resource
import select
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import tty
import unittest

from program import KOR, PATH, WINDOWS, posix_only, run_line

COLUMNS = ("status,sensorVector_x,sensorVector_y,sensorVector_z,azimuthRaw,elevationRaw,levelXRaw,levelYRaw,"
           "levelTemperature,referenceGate,referenceHold,temperatureCount_0,temperatureCount_1,temperatureCount_2,"
           "timeStampMs").split(",")
RAW = struct.Struct("<4xi8f f4xB3x3iI".replace(" ", ""))
INFO = struct.Struct("<15f")
RESULT_HEADER = ("timeStampMs,azimuth_deg,elevation_deg,levelX_deg,levelY_deg,orientationX_deg,orientationZ_deg,"
                 "orientationY_deg,sensorOutX_mm,sensorOutY_mm,sensorOutZ_mm,temperature_0,temperature_1,"
                 "temperature_2,m00,m01,m02,m10,m11,m12,m20,m21,m22,matrixCode,outcome,levelX_out,levelY_out")
RESULT_COLUMNS = RESULT_HEADER.split(",")
INFO_COLUMNS = RESULT_COLUMNS[1:14]
USAGE, DATA, NO_INPUT, SOFTWARE, CANNOT_CREATE, IO_ERROR = 64, 65, 66, 70, 73, 74


def f32(value):
    return struct.unpack("<f", struct.pack("<f", value))[0]


def bits(value):
    """A float's 32 bits; every NaN is the same."""
    return "nan" if math.isnan(value) else struct.pack("<f", value)


def parameter_text(number, mode, angle_offset="10.0\t5.0"):
    """A whole parameter file with gentle but visible corrections everywhere."""
    def level_table(gain):
        rows = "".join(f"{x}\t{gain * x}\n" for x in (-20.0, -10.0, 0.0, 10.0, 20.0))
        return "5\n" + rows + "-20.0\t20.0\t1.0\nend\n"

    identity = "1.0\t0.0\t0.0\n0.0\t1.0\t0.0\n0.0\t0.0\t1.0\n"
    quarter_turn = "0.0\t-1.0\t0.0\n1.0\t0.0\t0.0\n0.0\t0.0\t1.0\n"
    axis_table = "4\n" + "".join(f"{a}\t{c}\n" for a, c in ((-180, 0.01), (-60, 0.02), (60, -0.01), (180, 0.01)))
    gains = "1.0\t1.0\t1.0\t1.0\t1.0\t1.0\n"
    text = f"Serial Number\n{number}\nDevice Owner\nnobody\n"
    for title in ("AZ Position Gain", "EL Position Gain", "AZ Tracking Gain", "EL Tracking Gain"):
        text += title + "\n" + gains
    text += "Digital Damping\n1.0\t1.0\t1.0\t1.0\n"
    text += f"Angle Offset\n{angle_offset}\n"
    text += "Transform Vector\n0.0\t0.0\t0.0\n"
    text += "Local Coordinate Tranform Matrix\n" + quarter_turn
    text += "Machine Coordinate Tranform Matrix\n" + identity
    text += "Thermal Compensation Factor\n0.001\t1.0\t0.001\t1.0\n"
    text += "Tilt Sensor Offset\n0.05\t-0.05\nADM Offset\n0.0\n"
    text += "AZ Calibration Table\n" + axis_table + "EL Calibration Table\n" + axis_table
    text += "Tilt X Calibration Table\n" + level_table(1.0) + "Tilt Y Calibration Table\n" + level_table(1.01)
    text += "Scale Factor\n0.1\t0.2\t0.0\t0.0\t1.0\t1.0\t1.0\t0.0\n"
    text += f"Mounting Mode\n{mode}\n"
    if mode >= 7:
        text += "QVC\n3.0\t4.0\t5.0\t0.1\t0.2\t0.05\n"
        text += "Level_X\n0.0\t0.0\t0.0\t0.1\t0.1\t0.0\t1.0\nLevel_Y\n0.0\t0.0\t0.0\t40.0\t0.1\t0.0\t1.0\n"
        text += "Half Angle\n180.0\t60.0\nPSDX\n0.1\t0.2\t0.3\nPSDY\n0.1\t0.2\t0.3\n"
        text += "DynamicParameters\n0.5\t0.0\t0.0\t0.0\t0.0\t0.0\t0.0\n"
    return text


def samples(count, seed=1, first=1000, step=10, **fixed):
    """Plausible raw samples, one dictionary each. The first five hold the reference back."""
    chance = random.Random(seed)
    made = []
    for i in range(count):
        sample = {
            "status": 2,
            "sensorVector_x": f32(3000 + chance.uniform(-500, 500)),
            "sensorVector_y": f32(2000 + chance.uniform(-500, 500)),
            "sensorVector_z": f32(700 + chance.uniform(-500, 500)),
            "azimuthRaw": f32(chance.uniform(-90, 90)),
            "elevationRaw": f32(chance.uniform(-30, 30)),
            "levelXRaw": f32(chance.uniform(-5, 5)),
            "levelYRaw": f32(chance.uniform(-5, 5)),
            "levelTemperature": f32(chance.uniform(18, 22)),
            "referenceGate": f32(0.1),
            "referenceHold": 1 if i < 5 else 0,
            "temperatureCount_0": chance.randrange(800000, 900000),
            "temperatureCount_1": chance.randrange(800000, 900000),
            "temperatureCount_2": chance.randrange(800000, 900000),
            "timeStampMs": (first + step * i) % 2**32,
        }
        sample.update(fixed)
        made.append(sample)
    return made


def number_text(value):
    """Python's shortest text of the double reads back to the same single-precision number."""
    return repr(value) if isinstance(value, float) else str(value)


def csv_text(rows, columns=COLUMNS, newline="\n"):
    lines = [",".join(columns)] + [",".join(number_text(row[c]) for c in columns) for row in rows]
    return "".join(line + newline for line in lines)


def binary(rows):
    return b"".join(RAW.pack(*(row[c] for c in COLUMNS)) for row in rows)


class Case(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="kor-replay-")
        self.addCleanup(shutil.rmtree, self.dir)
        for number, mode in ((5, 5), (8, 8), (10, 10)):
            self.put(f"Tg{number}.prm", parameter_text(number, mode))

    def path(self, *names):
        return os.path.join(self.dir, *names)

    def put(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())
        return self.path(name)

    def get(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def kor(self, *arguments, status=0, stdin=b"", **options):
        """Runs the tool and holds its exit status against the wanted one; (stdout, stderr) as bytes and text."""
        done = subprocess.run([*KOR, *arguments], input=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              cwd=self.dir, **{"timeout": 120, **options})
        errors = done.stderr.decode()
        self.assertEqual(done.returncode, status, errors)
        return done.stdout, errors

    def replay(self, *arguments, number=5, **options):
        return self.kor("replay", "--prm", self.dir, "--id", str(number), *arguments, **options)

    def rows(self, text):
        """The rows of a result CSV as dictionaries, after a look at its form."""
        lines = text.decode().split("\n")
        self.assertEqual(lines[0], RESULT_HEADER)
        self.assertEqual(lines[-1], "", "the last line is whole")
        fields = [line.split(",") for line in lines[1:-1]]
        for row in fields:
            self.assertEqual(len(row), len(RESULT_COLUMNS))
        return [dict(zip(RESULT_COLUMNS, row)) for row in fields]

    def results(self, *arguments, **options):
        return self.rows(self.replay(*arguments, **options)[0])

    def summary(self, errors):
        """The lines of the summary by their names."""
        return {name: value for name, value in re.findall(r"^  ([a-zA-Z_, ]+): +(.*)$", errors, re.M)}

    def count(self, errors, name):
        """What a line of the summary counts; no line counts nothing."""
        return int(re.match(r"\d+|none", self.summary(errors).get(name, "0")).group().replace("none", "0"))

    def account(self, *arguments, **options):
        """The summary as JSON, which is all that there is on standard error."""
        return json.loads(self.replay(*arguments, "--summary=json", **options)[1])

    def assert_no_leftovers(self, *wanted):
        found = {n for n in os.listdir(self.dir) if not n.endswith(".prm")}
        self.assertEqual(found, set(wanted))


class Help(Case):
    def test_version(self):
        out, errors = self.kor("--version")
        self.assertRegex(out.decode(), r"^kor \d+\.\d+\.\d+\n$")
        self.assertEqual(errors, "")

    def test_help_names_the_subcommands_and_the_exit_statuses(self):
        out, _ = self.kor("--help")
        for command in ("replay", "simulate", "accuracy", "compare", "convert"):
            self.assertIn(f"  {command} ", out.decode())
        statuses = out.decode().split("Exit statuses:")[1]
        for status in (0, 1, USAGE, DATA, NO_INPUT, SOFTWARE, CANNOT_CREATE, IO_ERROR):
            self.assertRegex(statuses, rf"(?m)^  {status} +\S")

    def test_help_of_replay_says_where_the_other_exit_statuses_are(self):
        out, _ = self.kor("replay", "--help")
        self.assertIn("kor --help lists the others.\n", out.decode())

    def test_help_of_replay_names_every_option(self):
        out, _ = self.kor("replay", "--help")
        for option in ("--prm", "--id", "--output", "--format", "--input-format", "--from", "--to", "--mode", "--mcs", "--psd",
                       "--store", "--skip-bad", "--strict", "--summary", "--quiet", "--progress", "--jobs", "RECORDING"):
            self.assertIn(option, out.decode())

    @posix_only
    def test_help_to_a_full_device_is_a_write_error(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([*KOR, "--help"], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, IO_ERROR)
        self.assertIn(b"No space left", done.stderr)


class Usage(Case):
    def refused(self, *arguments, says=""):
        self.put("a.csv", csv_text(samples(1)))
        out, errors = self.kor(*arguments, status=USAGE)
        self.assertEqual(out, b"")
        self.assertTrue(errors.startswith("kor: "), errors)
        self.assertIn(says, errors)

    def test_no_subcommand(self):
        self.refused(says="subcommand")

    def test_unknown_subcommand(self):
        self.refused("reply", says="reply")

    def test_unknown_option(self):
        self.refused("replay", "--prm", ".", "--id", "5", "--fast", "a.csv", says="--fast")

    def test_prm_is_required(self):
        self.refused("replay", "--id", "5", "a.csv", says="--prm")

    def test_id_is_required(self):
        self.refused("replay", "--prm", ".", "a.csv", says="--id")

    def test_a_recording_is_required(self):
        self.refused("replay", "--prm", ".", "--id", "5", says="RECORDING")

    def test_numbers_are_strict(self):
        for option, text in (("--mode", "5x"), ("--mode", "0x5"), ("--mode", " 5"), ("--mode", "+5"), ("--mode", "5.0"),
                             ("--mode", "2147483648"), ("--jobs", "0"), ("--jobs", "-1"), ("--jobs", "many"), ("--jobs", "257"),
                             ("--from", "-1"), ("--from", "4294967296"), ("--to", "1e3"), ("--to", "1000 "),
                             ("--psd", "1,2"), ("--psd", "1,2,3,4"), ("--psd", "1,2,x"), ("--psd", "1,,3"),
                             ("--psd", "1,2,0")):
            with self.subTest(option=option, text=text):
                self.refused("replay", "--prm", ".", "--id", "5", f"{option}={text}", "a.csv", says=option)

    def test_the_id_is_strict(self):
        for text in ("five", "5.", "0x5", "2147483648"):
            with self.subTest(text=text):
                self.refused("replay", "--prm", ".", f"--id={text}", "a.csv", says="--id")

    def test_choices_are_strict(self):
        for option in ("--mcs", "--format", "--input-format", "--progress", "--summary"):
            with self.subTest(option=option):
                self.refused("replay", "--prm", ".", "--id", "5", f"{option}=yes", "a.csv", says=option)

    def test_a_misuse_names_the_help_of_its_command(self):
        self.put("a.csv", csv_text(samples(1)))
        for line in (("replay", "--prm", ".", "--id", "5", "a.csv"),
                     ("simulate", "--prm", ".", "--id", "5", "--motion", "static"), ("accuracy",)):
            with self.subTest(line=line):
                out, errors = self.kor(*line, "--progress", "Never", status=USAGE)
                self.assertEqual(out, b"")
                self.assertEqual(errors, 'kor: --progress: found "Never", expected auto or always or never\n'
                                         f"See kor {line[0]} --help.\n")

    def test_an_empty_value_is_not_the_same_as_none(self):
        for option in ("--prm", "--id", "--output", "--mode", "--mcs", "--psd", "--input-format", "--format", "--from", "--to",
                       "--progress", "--jobs"):
            given = {"--prm": ".", "--id": "5"}
            given[option] = ""
            with self.subTest(option=option):
                self.refused("replay", *(part for pair in given.items() for part in pair), "a.csv",
                             says="-o" if option == "--output" else option)

    def test_an_empty_value_behind_an_equals_sign_does_not_take_the_next_argument(self):
        for option in ("--prm", "--id", "--output", "--mode", "--from", "--jobs"):
            given = [f"{name}={value}" for name, value in {"--prm": ".", "--id": "5", option: ""}.items()]
            with self.subTest(option=option):
                self.refused("replay", *given, "a.csv", says=f"kor: {option}: found \"\"")
        self.refused("replay", "--prm=", "--id=5", "a.csv", says="kor: --prm: found \"\"")

    def test_a_recording_behind_two_dashes_may_end_in_an_equals_sign(self):
        self.put("--x=", csv_text(samples(7)))
        self.assertEqual(len(self.results("--", "--x=")), 7)

    def test_everything_that_is_missing_is_told_at_once(self):
        self.refused("replay", says="kor: RECORDING, --prm, --id are required\n")
        self.refused("replay", "--id=5", says="kor: RECORDING, --prm are required\n")
        self.refused("replay", "--prm=.", "a.csv", says="kor: --id is required\n")

    def test_what_is_too_much_is_told(self):
        for line, says in (((), "a subcommand is required\nSee kor --help.\n"),
                           (("replay", "--prm=.", "--id=5", "--foo", "a.csv"), 'there is no option "--foo"\nSee kor replay --help.\n'),
                           (("replay", "--prm=.", "--id=5", "a.csv", "--id", "6"), "--id is given more than once\n"),
                           (("replay", "--id=5", "a.csv", "--prm"), "--prm: found nothing, expected DIR\n"),
                           (("compare", "a.csv", "b.csv", "c.csv"), 'found "c.csv", expected no further argument\n')):
            with self.subTest(line=line):
                self.refused(*line, says="kor: " + says)

    def test_mount_modes_are_1_to_10_and_the_message_names_them(self):
        for mode in ("99", "0", "11", "-1"):
            self.refused("replay", "--prm", ".", "--id", "5", f"--mode={mode}", "a.csv",
                         says=f'kor: --mode: found "{mode}", expected a whole number from 1 to 10: 1, 2 dual level; 3, 4 '
                              "pendulum; 5, 6 polarizer; 7, 8 three vectors; 9, 10 two levels\n")

    def test_options_without_effect_in_the_mount_mode_are_told(self):
        for number, options, says in (
                (5, ["--store"], "--store has no effect in mount mode 5 (polarizer), only in mount modes 7 to 10"),
                (5, ["--store", "--psd=1,2,3"], "--store has no effect in mount mode 5 (polarizer)"),
                (8, ["--mode=3", "--psd=1,2,3"], "--psd has no effect in mount mode 3 (pendulum), only in"),
                (8, ["--psd=1,2,3"], "--psd has no effect without --store"),
                (8, ["--mcs=off"], "--mcs off has no effect in mount mode 8 (three vectors), only in mount modes below 7"),
                (5, ["--quiet", "--summary=text"], "--quiet and --summary exclude each other")):
            for recordings in (["a.csv"], ["a.csv", "b.csv", "-o", "out"]):
                with self.subTest(options=options, recordings=recordings):
                    self.put("b.csv", csv_text(samples(20)))
                    self.refused("replay", "--prm", ".", "--id", str(number), *options, *recordings, says="kor: " + says)
                    self.assertFalse(os.path.exists(self.path("out")))

    def test_an_option_given_twice(self):
        self.refused("replay", "--prm", ".", "--id", "5", "--id", "6", "a.csv", says="--id")

    @posix_only
    def test_directory_not_utf8(self):
        self.refused("replay", "--prm", b"\xff\xfe", "--id", "5", "a.csv", says="UTF-8")

    def test_directory_too_long(self):
        self.refused("replay", "--prm", "d" * 255, "--id", "5", "a.csv", says="254")


class ParameterFile(Case):
    def test_missing(self):
        self.put("a.csv", csv_text(samples(1)))
        _, errors = self.replay("a.csv", number=77, status=NO_INPUT)
        self.assertIn("Tg77.prm", errors)
        self.assertIn("No such file", errors)

    @posix_only
    def test_what_is_no_regular_file_is_told_so_without_waiting(self):
        self.put("a.csv", csv_text(samples(1)))
        os.mkfifo(self.path("Tg70.prm"))
        os.symlink("/dev/null", self.path("Tg72.prm"))
        for number in (70, 72):
            with self.subTest(number=number):
                _, errors = self.replay("a.csv", number=number, status=NO_INPUT, timeout=20)
                self.assertIn(f"Tg{number}.prm: it is not a regular file\n", errors)

    def test_a_directory_is_told_so(self):
        self.put("a.csv", csv_text(samples(1)))
        os.mkdir(self.path("Tg71.prm"))
        _, errors = self.replay("a.csv", number=71, status=NO_INPUT)
        self.assertIn("Tg71.prm: it is a directory\n", errors)

    def broken(self, text, number=5, status=DATA, arguments=()):
        """What replay says of a parameter file."""
        self.put(f"Tg{number}.prm", text)
        self.put("a.csv", csv_text(samples(9)))
        return self.replay("a.csv", "-o", "out.csv", *arguments, number=number, status=status)[1]

    def test_a_bad_block_is_named_with_message_and_line(self):
        text = parameter_text(5, 5).replace("Angle Offset", "Angel Offset")
        errors = self.broken(text)
        line = 1 + text.split("\n").index("Angel Offset")
        self.assertIn(f"Tg5.prm: line {line}: block \"Angle Offset\": found \"Angel Offset\", expected the title "
                      "\"Angle Offset\"; ", errors)
        self.assertIn("Tg5.prm has 1 error; the library refuses it with 553 and message 609, "
                      "\"Block title \"Angle Offset\" is not found.\"\n", errors)
        self.assert_no_leftovers("a.csv")

    def test_a_bad_value_is_named_where_it_stands(self):
        text = parameter_text(5, 5, angle_offset="10.0\tfive")
        errors = self.broken(text)
        line = 1 + text.split("\n").index("10.0\tfive")
        self.assertIn(f"line {line}: block \"Angle Offset\": elevation: found \"five\", expected a number; ", errors)
        self.assertNotIn("Transform Vector\": found", errors)

    def test_a_bad_row_count_is_told_with_the_rows_that_follow(self):
        plain = parameter_text(5, 5)
        line = 2 + plain.split("\n").index("AZ Calibration Table")
        for count, says in (("four", "found \"four\", expected a row count, a whole number"),
                            ("999999", "found 999999, expected 4, the rows that follow"),
                            ("5", "found 5, expected 4, the rows that follow"),
                            ("3", "found 3, expected 4, the rows that follow")):
            with self.subTest(count=count):
                errors = self.broken(plain.replace("AZ Calibration Table\n4\n", f"AZ Calibration Table\n{count}\n"))
                self.assertIn(f"Tg5.prm: line {line}: block \"AZ Calibration Table\": row count: {says}; ", errors)

    def test_what_the_library_passes_over_stops_the_run(self):
        plain = parameter_text(5, 5)
        for what, text, says in (
                ("a word for the mode", plain.replace("Mounting Mode\n5", "Mounting Mode\nfive"),
                 "block \"Mounting Mode\": found \"five\", expected the mount mode"),
                ("no mode behind the title", plain.replace("Mounting Mode\n5\n", "Mounting Mode\n"),
                 "block \"Mounting Mode\": found nothing, expected the mount mode"),
                ("a number missing in a row", plain.replace("-60\t0.02", "-60", 1),
                 "block \"AZ Calibration Table\": row 2: found 1 number, \"-60\", expected 2 numbers"),
                ("a mode beyond the range", plain.replace("Mounting Mode\n5", "Mounting Mode\n-5"),
                 "block \"Mounting Mode\": found -5, expected a mount mode from 1 to 10"),
                ("UTF-16", plain.encode("utf-16"), "found UTF-16, two bytes for each character, expected a text file"),
                ("compressed", b"\x1f\x8b\x08" + bytes(9), "found a compressed file, expected a text file")):
            with self.subTest(what=what):
                self.assertIn(says, self.broken(text))
                self.assert_no_leftovers("a.csv")

    def test_what_looks_wrong_is_told_once_and_the_run_goes_on(self):
        plain = parameter_text(5, 5)
        rows = "4\n-180\t0.01\n-60\t0.02\n60\t-0.01\n180\t0.01\n"
        thirteen = "13\n" + "".join(f"{a}\t0.01\n" for a in range(-180, 181, 30))
        for what, text, says in (
                ("no mode", plain.split("Mounting Mode")[0], "the pendulum model is used"),
                ("a row deleted", plain.replace(rows, thirteen.replace("13\n", "12\n").replace("0\t0.01\n30", "30"), 1),
                 "found a step of 60 from -30 to 30, expected steps of about 30"),
                ("rows swapped", plain.replace("-60\t0.02\n60\t-0.01", "60\t-0.01\n-60\t0.02", 1),
                 "found reading -60 behind 60, expected readings that ascend strictly"),
                ("a row doubled", plain.replace("4\n-180\t0.01", "5\n-180\t0.01\n-180\t0.01", 1),
                 "found reading -180 behind -180"),
                ("tilt offset times 1000", plain.replace("0.05\t-0.05", "50.0\t-50.0"), "expected -5 to 5 degrees"),
                ("nan among the thermal factors", plain.replace("0.001\t1.0\t0.001", "0.001\t1.0\tnan"),
                 "y_gain: found \"nan\", expected a number within single precision"),
                ("1e50 among the thermal factors", plain.replace("0.001\t1.0\t0.001", "0.001\t1.0\t1e50"),
                 "y_gain: found \"1e50\", expected a number within single precision"),
                ("no rotation", plain.replace("0.0\t-1.0\t0.0", "0.0\t-1.0\t0.5"),
                 "block \"Local Coordinate Tranform Matrix\": found determinant 1, rows that differ from right angles"),
                ("text behind the last block", plain + "QVC\n1\n", "found \"QVC\" and 1 more lines")):
            with self.subTest(what=what):
                # A level that is not finite leaves no usable orientation.
                errors = self.broken(text, status=DATA if "thermal" in what else 0)
                self.assertEqual(errors.count("kor: warning: "), 2 if "1000" in what else 1, errors)
                self.assertIn(says, errors)
                self.assertEqual(len(self.rows(self.get("out.csv"))), 9)

    def test_force_goes_on_in_spite_of_errors(self):
        text = parameter_text(5, 5).replace("Mounting Mode\n5", "Mounting Mode\n99")
        text += parameter_text(10, 10).split("Mounting Mode\n10\n")[1]
        self.broken(text)
        errors = self.broken(text, status=0, arguments=("--force",))
        self.assertIn("found 99, expected a mount mode from 1 to 10", errors)
        self.assertEqual(len(self.rows(self.get("out.csv"))), 9)
        # What the library itself refuses stays refused.
        self.assertIn("Block title \"ADM Offset\" is not foun.",
                      self.broken(text.replace("ADM Offset", "ADN Offset"), arguments=("--force",)))

    def test_several_recordings_hear_of_their_parameter_file_once(self):
        self.put("Tg5.prm", parameter_text(5, 5).replace("0.05\t-0.05", "50.0\t-0.05") + "more\n")
        for name in ("a.csv", "b.csv", "c.csv"):
            self.put(name, csv_text(samples(9)))
        _, errors = self.replay("a.csv", "b.csv", "c.csv", "-o", "out")
        self.assertEqual(errors.count("expected the end of the file"), 1)
        self.assertEqual(len(os.listdir(self.path("out"))), 3)

    def test_another_sensors_file(self):
        errors = self.broken(parameter_text(5, 5), number=6)
        self.assertIn("Tg6.prm: line 2: block \"Serial Number\": found 5, expected 6, the ID in the file's name; ", errors)

    def test_a_block_without_a_message_is_named_all_the_same(self):
        self.put("Tg8.prm", parameter_text(8, 8).replace("PSDY", "PSDZ"))
        self.put("a.csv", csv_text(samples(1)))
        _, errors = self.replay("a.csv", number=8, status=DATA)
        self.assertIn("PSDY", errors)
        self.assertRegex(errors, r"line \d+")

    def test_directory_and_recording_with_names_beyond_ascii(self):
        directory = self.path("Prüfstand 測定")
        os.mkdir(directory)
        shutil.copy(self.path("Tg5.prm"), directory)
        self.put("µ-Lauf.csv", csv_text(samples(7)))
        out, errors = self.kor("replay", "--prm", directory, "--id", "5", "µ-Lauf.csv")
        self.assertEqual(len(self.rows(out)), 7)
        self.assertIn("µ-Lauf.csv\n", errors)

    def test_negative_id(self):
        self.put("Tg-3.prm", parameter_text(-3, 5))
        self.put("a.csv", csv_text(samples(7)))
        self.assertEqual(len(self.results("a.csv", number=-3)), 7)


class Recordings(Case):
    """What is accepted and what is refused, and where the message says it is."""

    def setUp(self):
        super().setUp()
        self.samples = samples(20)
        self.wanted = self.replay(self.put("plain.csv", csv_text(self.samples)))[0]

    def same_as_plain(self, name, content, *arguments):
        out, errors = self.replay(self.put(name, content), *arguments)
        self.assertEqual(out, self.wanted)
        return errors

    def refused(self, content, *says, name="bad.csv"):
        out, errors = self.replay(self.put(name, content), "-o", "out.csv", status=DATA)
        for text in says:
            self.assertIn(text, errors)
        self.assertLess(len(max(errors.split("\n"), key=len)), 700, "what was found is bounded")
        self.assertTrue(all(c.isprintable() or c == "\n" for c in errors), repr(errors))
        return errors

    def with_value(self, column, text, row=2):
        lines = csv_text(self.samples).split("\n")
        fields = lines[1 + row].split(",")
        fields[COLUMNS.index(column)] = text
        lines[1 + row] = ",".join(fields)
        return "\n".join(lines)

    def test_columns_in_any_order(self):
        shuffled = list(COLUMNS)
        random.Random(7).shuffle(shuffled)
        self.same_as_plain("a.csv", csv_text(self.samples, shuffled))

    def test_crlf(self):
        self.same_as_plain("a.csv", csv_text(self.samples, newline="\r\n"))

    def test_byte_order_mark(self):
        self.same_as_plain("a.csv", b"\xef\xbb\xbf" + csv_text(self.samples).encode())

    def test_blank_lines_are_ignored(self):
        self.same_as_plain("a.csv", "\n \n" + csv_text(self.samples).replace("\n", "\n\r\n\n \t\n"))

    def test_no_newline_at_the_end(self):
        self.same_as_plain("a.csv", csv_text(self.samples).rstrip("\n"))

    def test_blanks_around_values(self):
        self.same_as_plain("a.csv", csv_text(self.samples).replace(",", " ,\t"))

    def test_unknown_columns_are_left_out_with_one_warning_each(self):
        rows = [dict(s, note="x y", extra=1) for s in self.samples]
        errors = self.same_as_plain("a.csv", csv_text(rows, ["note", *COLUMNS[:7], "extra", *COLUMNS[7:]]))
        warnings = [line for line in errors.split("\n") if "warning" in line]
        self.assertEqual(len(warnings), 2, errors)
        self.assertIn("\"note\"", warnings[0])
        self.assertIn("\"extra\"", warnings[1])

    def test_missing_columns_are_all_named(self):
        columns = [c for c in COLUMNS if c not in ("azimuthRaw", "timeStampMs")]
        self.refused(csv_text(self.samples, columns), "bad.csv: line 1", "azimuthRaw, timeStampMs")
        self.assertNotIn("out.csv", os.listdir(self.dir))

    def test_a_wrong_kind_of_file_is_told_which(self):
        plain = csv_text(self.samples)
        for content, says in ((binary(self.samples), "--input-format bin"),
                              (plain.encode("utf-16"), "found UTF-16, expected a recording; save it as UTF-8"),
                              (("\ufeff" + plain).encode("utf-16-be"), "found UTF-16, expected a recording"),
                              (plain.replace(",", ";"), "line 1: found columns separated by semicolons, expected a recording;"
                                                        " save the table with commas between the columns and points"),
                              (plain.replace(",", "\t"), "found columns separated by tabs"),
                              (self.wanted, "results of kor replay"),
                              (self.wanted.replace(b"\n", b"\r\n"), "results of kor replay")):
            with self.subTest(says=says):
                self.refused(content, "bad.csv: ", says)
                self.assertNotIn("out.csv", os.listdir(self.dir))

    def test_utf16_is_told_whatever_the_name(self):
        text = csv_text(self.samples).encode("utf-16")
        for name in ("bad.txt", "bad.korraw"):
            self.refused(text, "found UTF-16, expected a recording; save it as UTF-8", name=name)

    def test_duplicate_column(self):
        self.refused(csv_text(self.samples, COLUMNS + ["status"]), "bad.csv: line 1", "status", "twice")

    def test_no_header(self):
        self.refused("", "bad.csv: found no header line")
        self.refused("\n\n", "bad.csv: found no header line")

    def test_a_bad_number_is_named_with_line_and_column(self):
        for text in ("abc", "1.5x", "1,5"[:1] + ";5", "0x10", "+-1", "++1", "+", "1e99", "--1", "1.5\x00", "\x1b[31m", "1e"):
            with self.subTest(text=text):
                self.refused(self.with_value("azimuthRaw", text), "bad.csv: line 4, column azimuthRaw: found \"",
                             "expected a number")

    def test_forms_that_other_programs_write_are_the_same_recording(self):
        plain = csv_text(self.samples)
        quoted = "".join('"' + line.replace(",", '","') + '"\r\n' for line in plain.splitlines())
        columns = ["note", *COLUMNS]
        noted = "\n".join([",".join(columns)] + [f'"a, ""b""",{line}' for line in plain.splitlines()[1:]]) + "\n"
        wholes = plain.replace("\n2,", "\n+2.0,").replace(",0,8", ",0e0,8").replace(",1,8", ",10e-1,8")
        self.assertNotEqual(wholes, plain)
        for name, text in (("quoted", quoted), ("noted", noted), ("upper", plain.replace(plain[:300], plain[:300].upper())),
                           ("CR", plain.replace("\n", "\r")), ("BOM", "\ufeff" + quoted), ("wholes", wholes),
                           ("plus", plain.replace(",3", ",+3"))):
            with self.subTest(name=name):
                self.same_as_plain("a.csv", text)

    def test_missing_values_are_nan(self):
        wanted = self.replay(self.put("a.csv", self.with_value("elevationRaw", "nan")))[0]
        self.assertNotEqual(wanted, self.wanted)
        for text in ("", " ", "NA", "null", "NULL", "NaN", '""', '" na "'):
            with self.subTest(text=text):
                self.assertEqual(self.replay(self.put("a.csv", self.with_value("elevationRaw", text)))[0], wanted)

    def test_a_whole_number_cannot_be_missing(self):
        for text in ("", " ", '""', "NA"):
            self.refused(self.with_value("status", text), "bad.csv: line 4, column status: ",
                         "expected a whole number from -2147483648 to 2147483647; only columns of floating-point numbers")

    def test_quotation_marks_that_do_not_match_are_named(self):
        self.refused(self.with_value("azimuthRaw", '"1.5'), "line 4, column azimuthRaw: found \"1.5,", "line break")
        self.refused(self.with_value("azimuthRaw", '"1.5"x'), 'text behind the quoted "1.5", expected a comma')

    def test_what_was_found_is_bounded_and_printable(self):
        errors = self.refused(self.with_value("levelXRaw", "\x07" + "z" * 5000), "\"\\x07zzz", "...")
        self.assertNotIn("\x07", errors)

    def test_integers_are_range_checked(self):
        for column, texts in (("status", ("2147483648", "-2147483649", "2.5", "2e-1", "nan", "0x2")),
                              ("temperatureCount_1", ("99999999999", "1.5")),
                              ("referenceHold", ("256", "-1")),
                              ("timeStampMs", ("4294967296", "-1", "1e10", "1e99999999999"))):
            for text in texts:
                with self.subTest(column=column, text=text):
                    self.refused(self.with_value(column, text), f"line 4, column {column}: found \"{text}\"",
                                 "expected a whole number from")

    def test_integers_at_the_ends_of_their_ranges(self):
        limits = {"status": (-2**31, 2**31 - 1), "temperatureCount_0": (-2**31, 2**31 - 1), "referenceHold": (0, 255),
                  "timeStampMs": (0, 2**32 - 1)}
        for column, values in limits.items():
            for value in values:
                with self.subTest(column=column, value=value):
                    made = self.samples[5:7] + [dict(self.samples[7], **{column: value})]
                    self.put("a.csv", csv_text(made))
                    self.put("a.korraw", binary(made))
                    self.assertEqual(self.replay("a.csv")[0],
                                     self.replay("--input-format=bin", "a.korraw")[0])

    def test_nan_and_infinity(self):
        for text in ("nan", "NaN", "-nan", "inf", "-inf", "Infinity"):
            with self.subTest(text=text):
                self.put("a.csv", self.with_value("sensorVector_x", text))
                row = self.results("a.csv")[2]
                self.assertEqual(row["sensorOutX_mm"], "nan" if "a" in text.lower() else
                                 "-inf" if text.startswith("-") else "inf")

    def test_too_few_and_too_many_fields(self):
        lines = csv_text(self.samples).split("\n")
        few = lines[:3] + [lines[3].rsplit(",", 1)[0]] + lines[4:]
        self.refused("\n".join(few), "line 4", "found 14 fields, expected 15")
        many = lines[:3] + [lines[3] + ",0"] + lines[4:]
        self.refused("\n".join(many), "line 4", "found 16 fields, expected 15")

    def test_line_numbers_count_blank_lines(self):
        self.refused("\n\n" + self.with_value("status", "x"), "line 6, column status")

    def test_results_before_a_bad_row_are_kept_in_whole_lines_under_a_name_that_says_so(self):
        self.put("out.csv", "complete\n")
        errors = self.refused(self.with_value("status", "x", row=7), "line 9, column status")
        self.assertIn(f"; the results up to there (7 samples) went to {os.path.join('', 'out.partial.csv')}\n", errors)
        self.assertEqual(self.get("out.partial.csv"), b"".join(self.wanted.splitlines(True)[:8]))
        self.assertEqual(self.get("out.csv"), b"complete\n", "what was there stays")
        self.assert_no_leftovers("plain.csv", "bad.csv", "out.csv", "out.partial.csv")

    def test_a_partial_file_takes_the_ending_of_the_results(self):
        for output, partial in (("r.korinfo", "r.partial.korinfo"), ("run.v2.csv", "run.v2.partial.csv"),
                                ("plain", "plain.partial")):
            self.put("bad.csv", self.with_value("status", "x", row=7))
            self.replay("bad.csv", "-o", output, status=DATA)
            self.assertFalse(os.path.exists(self.path(output)))
            self.assertGreater(len(self.get(partial)), 100)

    def test_nothing_is_left_of_a_recording_that_breaks_in_its_first_row(self):
        errors = self.refused(self.with_value("status", "x", row=0), "line 2, column status")
        self.assertIn("; there are no results\n", errors)
        self.assert_no_leftovers("plain.csv", "bad.csv")

    def test_results_of_a_broken_recording_never_take_the_place_of_the_recording(self):
        self.put("a.partial.csv", self.with_value("status", "x", row=7))
        before = self.get("a.partial.csv")
        _, errors = self.replay("a.partial.csv", "-o", "a.csv", status=USAGE)
        self.assertIn("a.partial.csv is the recording itself", errors)
        self.assertEqual(self.get("a.partial.csv"), before)

    def test_the_summary_of_a_broken_recording_covers_what_was_fed(self):
        errors = self.refused(self.with_value("status", "x", row=7))
        self.assertEqual(self.summary(errors)["samples"], "7")

    def test_skip_bad_leaves_out_and_counts(self):
        lines = csv_text(self.samples).split("\n")
        lines[3:3] = ["garbage", ",".join(["x"] * 15), "z" * 100000]
        errors = self.same_as_plain("a.csv", "\n".join(lines), "--skip-bad")
        self.assertEqual(self.summary(errors)["bad, left out"], "3, lines 4 to 6")
        self.assertEqual(self.summary(errors)["samples"], "20")
        for line in (4, 5, 6):
            self.assertIn(f"line {line}", errors)

    def test_skip_bad_does_not_repeat_itself_for_ever(self):
        errors = self.same_as_plain("a.csv", csv_text(self.samples) + "bad\n" * 1000, "--skip-bad")
        self.assertEqual(self.count(errors, "bad, left out"), 1000)
        self.assertLess(errors.count("warning"), 10)

    def test_skip_bad_does_not_help_a_bad_header(self):
        self.replay(self.put("a.csv", "a,b\n1,2\n"), "--skip-bad", status=DATA)

    def test_a_line_up_to_64_kib_is_read_and_a_longer_one_refused(self):
        text = csv_text([dict(s, note="") for s in self.samples], COLUMNS + ["note"]).split("\n")
        text[3] += "n" * (65536 - len(text[3]))
        self.same_as_plain("a.csv", "\n".join(text))
        text[3] += "n"
        self.refused("\n".join(text), "line 4: found a line of more than 65536 bytes")

    def test_the_line_after_a_long_one_keeps_its_number(self):
        lines = csv_text(self.samples).split("\n")
        lines[3:3] = ["z" * 500000]
        lines[6] = "x"
        self.put("a.csv", "\n".join(lines))
        _, errors = self.replay("a.csv", "--skip-bad")
        self.assertIn("line 4: found a line of more than", errors)
        self.assertIn("line 7: found 1 field,", errors)

    def test_a_hundred_megabytes_without_newline_in_little_memory(self):
        with open(self.path("a.csv"), "wb") as file:
            file.write(csv_text(self.samples).encode())
            for _ in range(100):
                file.write(b"7" * 2**20)
        limit = 64 * 2**20  # a plain run of the tool maps some 10 MB
        def bounded():
            resource.setrlimit(resource.RLIMIT_DATA, (limit, limit))
        out, errors = self.replay("a.csv", status=DATA, preexec_fn=bounded)
        self.assertEqual(out, self.wanted)
        self.assertIn("line 22", errors)
        _, errors = self.replay("a.csv", "--skip-bad", preexec_fn=bounded)
        self.assertEqual(self.summary(errors)["bad, left out"], "1, line 22")

    def test_header_line_too_long(self):
        self.refused("z" * 70000 + "\n" + csv_text(self.samples), "line 1", "65536")

    def test_header_only_is_an_empty_recording(self):
        errors = self.refused(csv_text([]), "bad.csv: the recording is empty: found no sample, expected at least one")
        self.assertEqual(self.summary(errors)["samples"], "0")
        self.assert_no_leftovers("plain.csv", "bad.csv")
        self.assertEqual(self.replay("bad.csv", status=DATA)[0], b"")

    def test_skip_bad_that_leaves_out_everything_fails(self):
        text = csv_text(self.samples)
        header, rows = text.split("\n", 1)
        self.put("bad.csv", header + "\n" + rows.replace(",", ";"))
        _, errors = self.replay("bad.csv", "--skip-bad", "-o", "out.csv", status=DATA)
        self.assertEqual(self.summary(errors)["bad, left out"], "20, lines 2 to 21")
        self.assertIn("kor: bad.csv: nothing could be read: 20 bad, lines 2 to 21\n", errors)
        self.assert_no_leftovers("plain.csv", "bad.csv")

    def test_missing_recording(self):
        _, errors = self.replay("none.csv", "-o", "out.csv", status=NO_INPUT)
        self.assertIn("none.csv", errors)
        self.assert_no_leftovers("plain.csv")

    def test_a_directory_is_no_recording(self):
        os.mkdir(self.path("d.csv"))
        _, errors = self.replay("d.csv", status=NO_INPUT)
        self.assertIn("directory", errors)

    def test_a_recording_whose_name_looks_like_an_option(self):
        self.put("-x.csv", csv_text(self.samples))
        self.assertEqual(self.replay("--", "-x.csv")[0], self.wanted)

    def test_standard_input(self):
        self.assertEqual(self.replay("-", stdin=csv_text(self.samples).encode())[0], self.wanted)
        self.assertEqual(self.replay("-", "-o", "-", stdin=binary(self.samples))[0], self.wanted)

    def test_input_in_small_pieces(self):
        child = subprocess.Popen([*KOR, "replay", "--prm", self.dir, "--id", "5", "-"], stdin=subprocess.PIPE,
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        content = csv_text(self.samples).encode()
        for i in range(0, len(content), 97):
            child.stdin.write(content[i:i + 97])
            child.stdin.flush()
            time.sleep(0.001)
        out, _ = child.communicate()
        self.assertEqual(out, self.wanted)


class BinaryRecordings(Case):
    def setUp(self):
        super().setUp()
        self.samples = samples(300)
        self.put("a.csv", csv_text(self.samples))
        self.put("a.korraw", binary(self.samples))

    def test_csv_and_binary_agree(self):
        self.assertEqual(self.replay("a.csv")[0], self.replay("a.korraw")[0])

    def test_by_content_and_forced(self):
        wanted = self.replay("a.csv")[0]
        shutil.copy(self.path("a.korraw"), self.path("b"))
        shutil.copy(self.path("a.csv"), self.path("c"))
        shutil.copy(self.path("a.korraw"), self.path("d.csv"))
        shutil.copy(self.path("a.csv"), self.path("e.korraw"))
        self.assertEqual(self.replay("b")[0], wanted)
        self.assertEqual(self.replay("c")[0], wanted)
        self.assertEqual(self.replay("--input-format=bin", "d.csv")[0], wanted)
        self.assertEqual(self.replay("--input-format=csv", "e.korraw")[0], wanted)
        self.replay("d.csv", status=DATA)

    def test_text_is_not_taken_for_records(self):
        short = ",".join(COLUMNS)[:40].encode()
        for name, content in (("e.korraw", self.get("a.csv")), ("s.korraw", short)):
            self.put(name, content)
            for arguments in ((name,), ("--input-format=bin", "--skip-bad", name)):
                with self.subTest(arguments=arguments):
                    _, errors = self.replay(*arguments, "-o", "r.csv", status=DATA)
                    self.assertIn(name + ": found text \"status,", errors)
                    self.assertIn("expected binary records; --input-format csv reads it as CSV", errors)
                    self.assertFalse(os.path.exists(self.path("r.csv")))

    def test_other_files_are_refused_with_what_they_are(self):
        results = self.put("r.csv", self.replay("a.csv")[0])
        self.replay("a.csv", "-o", "r.korinfo")
        self.replay("a.csv", "-o", "bare", "--format=bare")
        chance = random.Random(3)
        for content, found in ((b"\x89PNG\r\n\x1a\n" + bytes(200), "a PNG image"),
                               (b"\x7fELF\x02\x01\x01" + bytes(200), "a program (ELF)"),
                               (b"PK\x03\x04\x14\0\0\0" + bytes(200), "a ZIP archive or a spreadsheet"),
                               (b"%PDF-1.5\n%abc\n", "a PDF document"),
                               (self.get("r.csv"), "the header of results of kor replay"),
                               (self.get("r.korinfo"), "binary results of kor replay"),
                               (self.get("bare"), "binary results without a header"),
                               (self.get("Tg5.prm"), "a parameter file"),
                               (b"timeStampMs,valid,note,R_00,R_01\n", "the header of a truth file of kor simulate"),
                               (b'{"a": 1}\n', "JSON"), (b"1,2,3\n4,5,6\n", "numbers in place of a header line"),
                               (bytes(1000), "only bytes that are 0"),
                               (chance.randbytes(5000), "bytes that are neither text nor plausible records")):
            for name in ("x", "x.korraw") if content[:1] > b"\x7f" or b"\0" in content else ("x", "x.csv"):
                with self.subTest(found=found, name=name):
                    _, errors = self.replay(self.put(name, content), "-o", "out.csv", status=DATA)
                    self.assertIn(f"found {found}", errors)
                    self.assertIn("expected a recording", errors)
                    self.assertFalse(os.path.exists(self.path("out.csv")))

    def test_the_option_overrides_the_recognition(self):
        rows = [dict(s, status=99999) for s in self.samples]
        self.put("odd.korraw", binary(rows))
        _, errors = self.replay("odd.korraw", status=DATA)
        self.assertIn("--input-format bin reads it as binary records", errors)
        self.assertEqual(self.replay("--input-format=bin", "odd.korraw", status=DATA)[0],
                         self.replay(self.put("odd.csv", csv_text(rows)), status=DATA)[0])

    def test_truncated_record(self):
        whole = self.replay("a.korraw")[0]
        self.put("t.korraw", binary(self.samples)[:-1])
        out, errors = self.replay("t.korraw", status=DATA)
        self.assertEqual(out, b"".join(whole.splitlines(True)[:-1]))
        self.assertIn(f"t.korraw: record 300 (byte {299 * 68}): found 67 bytes before the end, expected 68", errors)
        _, errors = self.replay("t.korraw", "--skip-bad")
        self.assertEqual(self.summary(errors)["bad, left out"], "1, record 300")

    def test_empty(self):
        self.put("e.korraw", b"")
        out, errors = self.replay("e.korraw", status=DATA)
        self.assertEqual(out, b"")
        self.assertIn("e.korraw: the recording is empty: found no sample, expected at least one\n", errors)

    def test_unused_words_have_no_influence(self):
        noisy = bytearray(binary(self.samples))
        for record in range(0, len(noisy), 68):
            for at in (*range(0, 4), *range(44, 48), 49, 50, 51):
                noisy[record + at] = 0xA5
        self.put("n.korraw", bytes(noisy))
        self.assertEqual(self.replay("n.korraw")[0], self.replay("a.korraw")[0])


class Compressed(Case):
    """Recordings and results that gzip or zstd has compressed."""

    def setUp(self):
        super().setUp()
        self.text = csv_text(samples(300)).encode()
        self.put("a.csv", self.text)
        self.wanted = self.replay("a.csv")[0]

    def test_recordings_are_unpacked_whatever_their_name(self):
        half = len(self.text) // 2
        packed = gzip.compress(self.text)
        for name, content in (("a.csv.gz", packed), ("b", packed), ("c.csv", packed),
                              ("d.CSV.GZ", gzip.compress(self.text[:half]) + gzip.compress(self.text[half:])),
                              ("e.korraw.gz", gzip.compress(binary(samples(300))))):
            with self.subTest(name=name):
                self.assertEqual(self.replay(self.put(name, content))[0], self.wanted)
        self.assertEqual(self.replay("-", stdin=packed)[0], self.wanted)

    @unittest.skipIf(WINDOWS, "built without Zstandard")
    def test_what_is_written_compressed_is_read_back(self):
        for ending in (".gz", ".zst"):
            with self.subTest(ending=ending):
                self.replay("a.csv", "-o", "r.csv" + ending)
                self.assertLess(len(self.get("r.csv" + ending)), len(self.wanted))
                self.kor("simulate", "--prm", self.dir, "--id", "5", "--motion", "circle", "--samples", "200",
                         "-o", "s.csv" + ending)
                self.kor("simulate", "--prm", self.dir, "--id", "5", "--motion", "circle", "--samples", "200", "-o", "s.csv")
                self.assertEqual(self.replay("s.csv" + ending)[0], self.replay("s.csv")[0])
        self.assertEqual(gzip.decompress(self.get("r.csv.gz")), self.wanted)
        self.assertEqual(self.get("r.csv.gz")[:10], b"\x1f\x8b\x08\0\0\0\0\0\0\xff", "neither time nor system")

    def test_damage_is_named_and_the_rows_before_it_stand(self):
        packed = gzip.compress(self.text)
        for content, says in ((packed[:-20], "the gzip data end too early, at byte "),
                              (packed[:-3], "the gzip data end too early, at byte "),
                              (packed[:-6] + b"abcdef", "incorrect data check"),
                              (packed + b"more", "the gzip data are damaged at byte ")):
            with self.subTest(says=says):
                self.put("bad.csv.gz", content)
                out, errors = self.replay("bad.csv.gz", status=DATA)
                self.assertRegex(errors, r"bad\.csv\.gz: line \d+: ")
                self.assertIn(says, errors)
                self.assertIn("make or fetch the file anew", errors)
                self.assertTrue(self.wanted.startswith(out))
                self.assertIn(b"\n", out[200:])

    def test_compressed_twice_is_refused(self):
        self.put("a.csv.gz", gzip.compress(gzip.compress(self.text)))
        _, errors = self.replay("a.csv.gz", status=DATA)
        self.assertIn("a.csv.gz: found gzip data inside compressed data, expected a recording; decompress", errors)

    def test_several_recordings_lose_the_ending(self):
        self.put("b.csv.gz", gzip.compress(self.text))
        self.replay("a.csv", "b.csv.gz", "-o", "out")
        self.assertEqual(self.get("out/b.csv"), self.wanted)

    @posix_only
    def test_a_hundred_megabytes_of_one_line_in_little_memory(self):
        self.put("bomb.csv.gz", gzip.compress(self.text + b"7" * 100 * 2**20, 1))
        limit = 64 * 2**20
        out, errors = self.replay("bomb.csv.gz", status=DATA,
                                  preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_DATA, (limit, limit)))
        self.assertEqual(out, self.wanted)
        self.assertIn("line 302: found a line of more than 65536 bytes", errors)


class Results(Case):
    def setUp(self):
        super().setUp()
        self.samples = samples(200)
        for i in (20, 21, 150):
            self.samples[i]["status"] = i % 3
        self.samples[20]["status"] = 0
        self.put("a.csv", csv_text(self.samples))
        self.table = self.results("a.csv")

    def test_one_row_per_sample_with_its_stamp(self):
        self.assertEqual([int(r["timeStampMs"]) for r in self.table], [s["timeStampMs"] for s in self.samples])

    def test_values_are_the_engines(self):
        for sample, row in zip(self.samples, self.table):
            valid = sample["status"] == 2
            for axis in "xyz":
                wanted = sample["sensorVector_" + axis] if valid else 0.0
                self.assertEqual(bits(float(row[f"sensorOut{axis.upper()}_mm"])), bits(wanted))
            for i in range(3):
                wanted = f32(f32(sample[f"temperatureCount_{i}"]) / 41920.0)
                self.assertEqual(bits(float(row[f"temperature_{i}"])), bits(wanted))
            self.assertEqual(row["matrixCode"], "0" if valid else "554")

    def test_the_matrix_is_a_rotation_once_there_is_a_reference(self):
        identity = ["1", "0", "0", "0", "1", "0", "0", "0", "1"]
        names = RESULT_COLUMNS[14:23]
        for i, (sample, row) in enumerate(zip(self.samples, self.table)):
            matrix = [row[n] for n in names]
            if i <= 5 or sample["status"] != 2:
                self.assertEqual(matrix, identity)
                continue
            m = [float(t) for t in matrix]
            for a in range(3):
                for b in range(3):
                    product = sum(m[3 * a + k] * m[3 * b + k] for k in range(3))
                    self.assertAlmostEqual(product, float(a == b), delta=1e-12)  # a few roundings of products below 1

    def test_each_row_says_what_became_of_its_sample(self):
        for i, (sample, row) in enumerate(zip(self.samples, self.table)):
            wanted = "rejected_status" if sample["status"] != 2 else "before_reference" if i <= 5 else "ok"
            self.assertEqual(row["outcome"], wanted, i)
            # The ratio of the levels of mode 5 lies within the table of level X; level Y is its denominator.
            self.assertEqual((row["levelX_out"], row["levelY_out"]), ("0", "0"))

    def test_outcomes_of_samples_without_orientation(self):
        rows = samples(40)
        rows[10]["levelXRaw"] = 25.0
        rows[11]["levelYRaw"] = -25.0
        rows[12]["levelXRaw"] = rows[12]["levelYRaw"] = 25.0
        rows[30]["sensorVector_x"] = math.nan
        self.put("b.csv", csv_text(rows))
        table = self.results("b.csv", number=10)
        self.assertEqual([r["outcome"] for r in table[:7]], ["no_matrix_filters_filling"] * 5 + ["before_reference", "ok"])
        self.assertEqual([(r["levelX_out"], r["levelY_out"]) for r in table[9:14]],
                         [("0", "0"), ("1", "0"), ("0", "1"), ("1", "1"), ("0", "0")])
        self.assertEqual(table[12]["outcome"], "no_matrix_both_levels_out")
        self.assertEqual([r["outcome"] for r in table[30:]], ["not_finite"] + ["spoiled"] * 9)
        rows[30]["sensorVector_x"], rows[31]["sensorVector_x"] = 0.0, math.nan
        self.put("b.csv", csv_text(rows))
        table = self.results("b.csv", number=5)
        self.assertEqual([r["outcome"] for r in table[30:33]], ["ok", "not_finite", "ok"])

    def test_angles_rebuild_the_matrix(self):
        # Rx(a0) Ry(a2) Rz(a1), angle 0 about x, 1 about z, 2 about y: the order that the header names.
        row = self.table[100]
        a, c, b = (math.radians(float(row[n])) for n in ("orientationX_deg", "orientationZ_deg", "orientationY_deg"))
        self.assertAlmostEqual(float(row["m02"]), math.sin(b), delta=1e-6)  # the angles are single precision
        self.assertAlmostEqual(float(row["m00"]), math.cos(b) * math.cos(c), delta=1e-6)
        self.assertAlmostEqual(float(row["m12"]), -math.sin(a) * math.cos(b), delta=1e-6)

    def binary_results(self, content):
        """The records of binary results as dictionaries, by the columns of their header."""
        mark, version, size, record, count = struct.unpack_from("<8s4I", content)
        self.assertEqual((mark, version, size), (b"\x89KORINFO", 1, 32 + 48 * count))
        forms = {1: "f", 2: "d", 3: "i", 4: "I", 5: "B", 6: "?", 7: "B"}
        table = [struct.unpack_from("<24s8s2I8x", content, 32 + 48 * i) for i in range(count)]
        self.assertEqual((len(content) - size) % record, 0)
        return [{name.rstrip(b"\0").decode(): struct.unpack_from("<" + forms[form], content, at + offset)[0]
                 for name, _, form, offset in table} for at in range(size, len(content), record)]

    def test_binary_agrees_with_csv_to_the_bit(self):
        self.replay("a.csv", "-o", "r.korinfo")
        records = self.binary_results(self.get("r.korinfo"))
        self.assertEqual(len(records), len(self.samples))
        outcomes = ("ok", "before_reference", "rejected_status")
        for record, row in zip(records, self.table):
            self.assertEqual(list(record), list(row))
            self.assertEqual(record["timeStampMs"], int(row["timeStampMs"]))
            self.assertEqual(outcomes[record["outcome"]], row["outcome"])
            for name in RESULT_COLUMNS[1:]:
                if name != "outcome":
                    self.assertEqual(struct.pack("<d", record[name]), struct.pack("<d", float(row[name]))
                                     if name[0] == "m" else struct.pack("<d", f32(float(row[name]))), name)

    def test_the_python_of_the_documents_reads_binary_results(self):
        self.replay("a.csv", "-o", "results.korinfo")
        code = (pathlib.Path(__file__).parents[2] / "examples" / "read_korinfo.py").read_text(encoding="utf-8")
        names = {"path": self.path("results.korinfo")}
        exec(code.replace('"results.korinfo"', "path"), names)
        self.assertEqual(repr(names["rows"]), repr(self.binary_results(self.get("results.korinfo"))))

    def test_bare_results_are_the_engines_records(self):
        self.replay("a.csv", "-o", "r.korinfo", "--format=bare")
        content = self.get("r.korinfo")
        self.assertEqual(len(content), 60 * len(self.samples))
        for record, row in zip(INFO.iter_unpack(content), self.table):
            self.assertEqual((record[0], record[8]), (0.0, 0.0))
            values = record[1:8] + record[9:]
            self.assertEqual([bits(v) for v in values], [bits(float(row[n])) for n in INFO_COLUMNS])

    def test_the_text_of_a_number_is_the_shortest_that_reads_back(self):
        for row in self.table:
            for name in RESULT_COLUMNS[14:23]:
                self.assertEqual(len(row[name].lstrip("-")), len(self.shortest(float(row[name]))), row[name])

    @staticmethod
    def shortest(value):
        """Python's shortest digits in the shorter of plain and exponent notation."""
        text = repr(abs(value))
        mantissa, _, exponent = text.partition("e")
        digits = mantissa.replace(".", "").lstrip("0").rstrip("0") if value else "0"
        if value == 0 or value == int(value):
            return text.removesuffix(".0")
        plain = f"{abs(value):.20f}".rstrip("0") if not exponent else text
        power = int(exponent) if exponent else -(len(plain.split(".")[1]) - len(plain.split(".")[1].lstrip("0"))) - 1 \
            if plain.startswith("0.") else None
        if power is None:
            return text
        scientific = digits[0] + ("." + digits[1:] if len(digits) > 1 else "") + f"e-{-power:02d}"
        fixed = "0." + "0" * (-power - 1) + digits
        return min(fixed, scientific, key=len)

    def test_format_by_option_goes_before_the_extension(self):
        self.replay("a.csv", "-o", "r.korinfo", "--format=csv")
        self.assertEqual(self.rows(self.get("r.korinfo")), self.table)
        self.replay("a.csv", "-o", "r.csv", "--format=bin")
        self.assertEqual(len(self.binary_results(self.get("r.csv"))), 200)
        out, _ = self.replay("a.csv", "--format=bin")
        self.assertEqual(out, self.get("r.csv"))

    def test_file_and_standard_output_agree(self):
        self.replay("a.csv", "-o", "r.csv")
        self.assertEqual(self.rows(self.get("r.csv")), self.table)
        self.assertEqual(self.rows(self.replay("a.csv", "-o", "-")[0]), self.table)

    def test_an_older_result_is_replaced(self):
        self.put("r.csv", "old\n" * 100000)
        self.replay("a.csv", "-o", "r.csv")
        self.assertEqual(self.rows(self.get("r.csv")), self.table)
        self.assert_no_leftovers("a.csv", "r.csv")

    def test_a_name_as_long_as_the_file_system_allows(self):
        for length in (252, 255):
            name = "r" * (length - 4) + ".csv"
            self.replay("a.csv", "-o", name)
            self.assertEqual(self.rows(self.get(name)), self.table)

    @posix_only
    def test_a_link_stays_a_link(self):
        os.mkdir(self.path("deep"))
        self.put("deep/real.csv", "old\n")
        os.symlink(os.path.join("deep", "real.csv"), self.path("link.csv"))
        self.replay("a.csv", "-o", "link.csv")
        self.assertTrue(os.path.islink(self.path("link.csv")))
        self.assertEqual(self.rows(self.get("deep/real.csv")), self.table)

    @posix_only
    def test_a_link_to_a_file_that_is_not_there_is_followed(self):
        os.mkdir(self.path("deep"))
        for number, target in enumerate((os.path.join("deep", "new.csv"), self.path("deep", "other.csv"))):
            os.symlink(target, self.path(f"link{number}.csv"))
            os.symlink(f"link{number}.csv", self.path(f"again{number}.csv"))
            self.replay("a.csv", "-o", f"again{number}.csv")
            self.assertEqual(os.readlink(self.path(f"link{number}.csv")), target)
            self.assertEqual(os.readlink(self.path(f"again{number}.csv")), f"link{number}.csv")
            self.assertEqual(self.rows(self.get(f"link{number}.csv")), self.table)
        self.assertEqual(sorted(os.listdir(self.path("deep"))), ["new.csv", "other.csv"])
        os.symlink(os.path.join("none", "new.csv"), self.path("lost.csv"))
        _, errors = self.replay("a.csv", "-o", "lost.csv", status=CANNOT_CREATE)
        self.assertIn("kor: cannot create lost.csv: No such file or directory", errors)
        self.assertTrue(os.path.islink(self.path("lost.csv")))

    @posix_only
    def test_a_link_to_what_has_no_path_is_written_directly(self):
        wanted = self.replay("a.csv")[0]
        self.assertEqual(self.replay("a.csv", "-o", "/dev/stdout")[0], wanted)
        self.assertEqual(self.replay("a.csv", "-o", "/dev/fd/1")[0], wanted)
        with tempfile.TemporaryFile() as nameless:
            done = subprocess.run([*KOR, "replay", "--prm", ".", "--id", "5", "a.csv", "-q", "-o", "/dev/stdout"],
                                  cwd=self.dir, stdout=nameless)
            self.assertEqual(done.returncode, 0)
            nameless.seek(0)
            self.assertEqual(nameless.read(), wanted)
        with open(self.path("r.csv"), "wb") as named:
            subprocess.run([*KOR, "replay", "--prm", ".", "--id", "5", "a.csv", "-q", "-o", "/dev/stdout"],
                           cwd=self.dir, stdout=named, check=True)
        self.assertEqual(self.get("r.csv"), wanted)
        self.assert_no_leftovers("a.csv", "r.csv")

    @posix_only
    def test_links_in_a_circle_are_refused(self):
        os.symlink("b.csv", self.path("c.csv"))
        os.symlink("c.csv", self.path("b.csv"))
        os.symlink("self.csv", self.path("self.csv"))
        for name in ("b.csv", "self.csv"):
            _, errors = self.replay("a.csv", "-o", name, status=CANNOT_CREATE)
            self.assertIn(f"kor: cannot create {name}: Too many levels of symbolic links; remove the symbolic link or "
                          "choose another name", errors)
        self.assert_no_leftovers("a.csv", "b.csv", "c.csv", "self.csv")
        self.assertTrue(os.path.islink(self.path("self.csv")))
        os.symlink("nowhere", self.path("dir"))
        self.put("d.csv", csv_text(self.samples))
        self.replay("a.csv", "d.csv", "-o", "dir", status=CANNOT_CREATE)
        self.assertTrue(os.path.islink(self.path("dir")))

    @posix_only
    def test_a_link_under_the_partial_name_is_followed_too(self):
        self.put("bad.csv", csv_text(self.samples) + "bad\n")
        os.symlink("other.csv", self.path("r.partial.csv"))
        self.replay("bad.csv", "-o", "r.csv", status=DATA)
        self.assertEqual(os.readlink(self.path("r.partial.csv")), "other.csv")
        self.assertEqual(self.rows(self.get("other.csv")), self.table)

    def mode(self, name):
        return oct(os.stat(self.path(name)).st_mode & 0o7777)

    @posix_only
    def test_an_older_result_keeps_its_permissions(self):
        for mode in (0o600, 0o640, 0o604, 0o666, 0o755, 0o200):
            self.put("r.csv", "old\n")
            os.chmod(self.path("r.csv"), mode)
            self.replay("a.csv", "-o", "r.csv", umask=0o027)
            self.assertEqual(self.mode("r.csv"), oct(mode))
            os.remove(self.path("r.csv"))
        self.replay("a.csv", "-o", "new.csv", umask=0o027)
        self.assertEqual(self.mode("new.csv"), "0o640", "of a new one the user decides")
        self.put("bad.csv", csv_text(self.samples) + "bad\n")
        for name, mode in (("p.csv", 0o600), ("q.partial.csv", 0o660)):
            self.put(name, "old\n")
            os.chmod(self.path(name), mode)
        for name in ("p.csv", "q.csv"):
            self.replay("bad.csv", "-o", name, status=DATA)
        self.assertEqual((self.mode("p.partial.csv"), self.mode("q.partial.csv")), ("0o600", "0o660"))

    @unittest.skipIf(WINDOWS or os.geteuid() != 0, "files of other users need their rights")
    def test_an_older_result_keeps_its_owner(self):
        self.put("r.csv", "old\n")
        os.chown(self.path("r.csv"), 1234, 5678)
        os.chmod(self.path("r.csv"), 0o640)
        self.replay("a.csv", "-o", "r.csv")
        found = os.stat(self.path("r.csv"))
        self.assertEqual((found.st_uid, found.st_gid, found.st_mode & 0o777), (1234, 5678, 0o640))

    @posix_only
    def test_a_file_that_the_user_may_not_write_is_refused(self):
        self.put("r.csv", "old\n")
        self.put("bad.csv", csv_text(self.samples) + "bad\n")
        self.put("q.partial.csv", "old\n")
        for name in ("r.csv", "q.partial.csv"):
            os.chmod(self.path(name), 0o444)
        os.chmod(self.dir, 0o777)
        nobody = {}
        if os.geteuid() == 0:  # who may write everything
            nobody = {"user": 65534, "group": 65534, "extra_groups": []}
            if subprocess.run(["test", "-x", PATH], **nobody).returncode != 0:
                self.skipTest("another user cannot run the program where it is")
        try:
            _, errors = self.replay("a.csv", "-o", "r.csv", status=CANNOT_CREATE, **nobody)
            self.assertIn("kor: cannot create r.csv: Permission denied; the file that is there stays; make it writable or "
                          "choose another name", errors)
            self.assertEqual(self.get("r.csv"), b"old\n")
            _, errors = self.replay("bad.csv", "-o", "q.csv", status=CANNOT_CREATE, **nobody)
            self.assertIn("cannot create q.partial.csv: the complete file cannot take its place: Permission denied", errors)
            self.assertEqual(self.get("q.partial.csv"), b"old\n")
            self.assert_no_leftovers("a.csv", "bad.csv", "r.csv", "q.partial.csv")
        finally:
            for name in ("r.csv", "q.partial.csv"):
                os.chmod(self.path(name), 0o644)

    def test_summary(self):
        _, errors = self.replay("a.csv")
        figures = self.summary(errors)
        self.assertEqual(figures["model"], "polarizer, mount mode 5")
        self.assertEqual(figures["samples"], "200")
        rejected = [2 + i for i, s in enumerate(self.samples) if s["status"] != 2]
        self.assertEqual(figures["rejected_status"], f"{len(rejected)}, lines {rejected[0]} to {rejected[-1]}")
        # The sample that becomes the reference counts among those before it: its angles are zero, too.
        self.assertEqual(figures["before_reference"], "6, lines 2 to 7")
        self.assertEqual(figures["reference"], "captured in line 7, at 1050 ms")
        self.assertEqual(figures["ok"], f"{194 - len(rejected)} ({(194 - len(rejected)) / 2:.1f} %)")
        self.assertEqual(figures["unusable"], f"{len(rejected)} of 200")
        self.assertEqual(figures["time stamps"], "1000 to 2990 ms, usual step 10 ms")
        self.assertEqual((figures["gaps"], figures["backward jumps"]), ("none", "none"))
        self.assertEqual((figures["level X out of table"], figures["level Y out of table"]), ("none", "none"))
        self.assertGreater(int(figures["samples per second"]), 0)
        self.assertNotIn("not_finite", figures)
        self.assertTrue(errors.startswith("a.csv\n"), errors)

    def test_the_places_of_a_binary_recording_are_records(self):
        self.put("a.korraw", binary(self.samples))
        figures = self.summary(self.replay("a.korraw")[1])
        self.assertEqual(figures["before_reference"], "6, records 1 to 6")
        self.assertEqual(figures["reference"], "captured in record 6, at 1050 ms")


class Outcomes(Case):
    """What a run says of samples that have no orientation, and how it ends."""

    def setUp(self):
        super().setUp()
        self.samples = samples(1200)
        self.put("a.csv", csv_text(self.samples))

    def test_one_nan_in_a_model_that_keeps_it(self):
        self.samples[499]["sensorVector_x"] = math.nan
        self.put("a.csv", csv_text(self.samples))
        out, errors = self.replay("a.csv", number=10)
        figures = self.summary(errors)
        spoiled = [2 + i for i, row in enumerate(self.rows(out)) if row["m00"] == "nan"]
        self.assertGreater(len(spoiled), 600)
        self.assertEqual(spoiled[0], 501)
        self.assertEqual(figures["not_finite"], "1, line 501")
        self.assertEqual(figures["spoiled"], f"{len(spoiled) - 1}, lines 502 to 1201")
        self.assertEqual(figures["spoiled since"], "line 501: values that the process keeps are not finite; --repair goes on "
                                                   "with fresh ones")
        self.assertEqual(figures["readings not finite"], "1, line 501; the first is sensorVector_x")
        self.assertEqual(figures["stays not finite"], f"from line {spoiled[0]} to the end; in this model one nan spoils "
                                                      "every sample that follows")
        self.assertEqual(figures["unusable"], f"{len(spoiled)} of 1200")
        self.assertEqual(figures["ok"].split()[0], str(1200 - len(spoiled) - 6))
        errors = self.replay("a.csv", "--strict", number=10, status=DATA)[1]
        self.assertIn(f"kor: a.csv: {len(spoiled)} of 1200 samples have no usable orientation, and --strict was given\n",
                      errors)

    def test_one_nan_in_other_models_spoils_its_own_sample(self):
        self.samples[499]["sensorVector_x"] = math.nan
        self.put("a.csv", csv_text(self.samples))
        errors = self.replay("a.csv", number=8)[1]
        self.assertEqual(self.summary(errors)["not_finite"], "1, line 501")
        self.assertNotIn("stays not finite", self.summary(errors))

    def lines(self, *arguments, **options):
        """The rows of the results as they stand, without the header, and the messages."""
        out, errors = self.replay(*arguments, **options)
        return out.splitlines()[1:], errors

    def test_repair_gives_what_a_new_process_gives_behind_a_spoiled_sample(self):
        self.samples[399]["sensorVector_x"] = math.nan
        self.samples[699]["levelYRaw"] = math.inf  # in the filters it spoils the sample behind it
        self.put("a.csv", csv_text(self.samples))
        for number in ("1", "4"):
            got, errors = self.lines("a.csv", "--repair", "--threads", number, number=10)
            figures = self.summary(errors)
            self.assertEqual(figures["repaired"], "2, lines 401 to 702")
            self.assertEqual(figures["not_finite"], "3, lines 401 to 702")
            self.assertNotIn("spoiled", figures)
            self.assertNotIn("spoiled since", figures)
            self.assertEqual(figures["reference"], "captured in line 7, at 1050 ms, the last of 3 in line 703")
            self.assertEqual(errors.count("kor: warning: a.csv: line "), 2)
            self.assertIn("kor: warning: a.csv: line 401: values that the process keeps are not finite; repaired: from the "
                          "next sample on, the results are those of a new process\n", errors)
            for first, last in ((0, 399), (400, 700), (701, 1200)):
                self.put("part.csv", csv_text(self.samples[first:last]))
                self.assertEqual(got[first:last], self.lines("part.csv", number=10)[0], (first, last))
        found = self.account("a.csv", "--repair", number=10)
        self.assertEqual(found["repaired"], {"count": 2, "first": 401, "last": 702})
        self.assertEqual((found["spoiled"], found["stays_not_finite_from"]), (None, None))
        found = self.account("a.csv", number=10)
        self.assertEqual(found["spoiled"], {"since": 401, "by": "process_values"})

    def test_a_reference_that_is_not_finite_is_said_and_repaired(self):
        self.samples[5]["azimuthRaw"] = math.nan  # the first one that the hold lets through
        self.put("a.csv", csv_text(self.samples))
        for arguments in ((), ("--mcs=on",)):
            self.assertNotIn("spoiled", self.summary(self.replay("a.csv", *arguments)[1]))
        table = self.results("a.csv", "--mcs=off", status=DATA)
        self.assertEqual([row["outcome"] for row in table],
                         ["before_reference"] * 5 + ["not_finite"] + ["spoiled"] * 1194)
        figures = self.summary(self.replay("a.csv", "--mcs=off", status=DATA)[1])
        self.assertEqual(figures["spoiled since"], "line 7: the reference was captured from a sample that is not finite; "
                                                   "--repair goes on with fresh ones")
        got, errors = self.lines("a.csv", "--mcs=off", "--repair")
        self.assertEqual(self.summary(errors)["reference"], "captured in line 8, at 1060 ms")
        self.assertEqual(self.summary(errors)["ok"], "1193 (99.4 %)")
        self.put("part.csv", csv_text(self.samples[6:]))
        self.assertEqual(got[6:], self.lines("part.csv", "--mcs=off")[0])

    def test_repair_changes_nothing_where_nothing_is_spoiled(self):
        self.samples[499]["sensorVector_x"] = math.nan
        self.put("b.csv", csv_text(self.samples))
        for name, number in (("a.csv", 10), ("b.csv", 8), ("b.csv", 5)):
            got, errors = self.lines(name, "--repair", number=number)
            self.assertEqual(self.summary(errors)["repaired"], "none")
            self.assertEqual(got, self.lines(name, number=number)[0])

    def test_repairs_in_vain_come_to_an_end(self):
        # Parameters that are not finite spoil every reference.
        text = parameter_text(6, 5).replace("Scale Factor\n0.1", "Scale Factor\nnan")
        self.put("Tg6.prm", text)
        errors = self.replay("a.csv", "--mcs=off", "--repair", "--force", number=6, status=DATA)[1]
        self.assertEqual(self.summary(errors)["repaired"], "100, lines 7 to 106")
        self.assertEqual(errors.count("repaired: from the next sample on"), 5)
        self.assertEqual(self.summary(errors)["spoiled since"].split(":")[0], "line 107")

    def test_no_reference_is_no_usable_orientation(self):
        for name in ("gate", "hold"):
            for row in self.samples:
                row.update({"referenceGate": f32(0.41)} if name == "gate" else {"referenceGate": 0.1, "referenceHold": 1})
            self.put(f"{name}.csv", csv_text(self.samples))
            out, errors = self.replay(f"{name}.csv", status=DATA)
            self.assertEqual(self.summary(errors)["reference"], "no reference was captured: all angles are zero")
            self.assertIn(f"kor: {name}.csv: no usable orientation in 1200 samples: 1200 before_reference; no reference was "
                          "captured: all angles are zero. A sample with status 2, referenceGate at most 0.4 and "
                          "referenceHold 0 becomes the reference\n", errors)
            self.assertEqual(len(self.rows(out)), 1200, "the results are there all the same")

    def test_all_rejected(self):
        self.put("a.csv", csv_text([dict(row, status=3) for row in self.samples]))
        errors = self.replay("a.csv", "-o", "r.csv", status=DATA)[1]
        self.assertIn("kor: a.csv: no usable orientation in 1200 samples: 1200 rejected_status\n", errors)
        self.assertEqual(self.summary(errors)["reference"], "none was captured")
        self.assertEqual(len(self.rows(self.get("r.csv"))), 1200)

    def test_strict_is_content_with_what_every_recording_begins_with(self):
        for number in (5, 8, 10):
            self.replay("a.csv", "--strict", number=number)
        self.samples[700]["status"] = 0
        self.put("a.csv", csv_text(self.samples))
        self.replay("a.csv")
        errors = self.replay("a.csv", "--strict", status=DATA)[1]
        self.assertIn("kor: a.csv: 1 of 1200 samples have no usable orientation, and --strict was given\n", errors)

    def test_gaps_and_jumps_of_the_stamps(self):
        rows = samples(100, first=2**32 - 300)
        del rows[50]
        for row in rows[70:]:
            row["timeStampMs"] = (row["timeStampMs"] - 95) % 2**32
        self.put("a.csv", csv_text(rows))
        figures = self.summary(self.replay("a.csv")[1])
        self.assertEqual(figures["time stamps"], "4294966996 to 595 ms, usual step 10 ms")
        self.assertEqual(figures["gaps"], "1, line 52, longest 20 ms")
        self.assertEqual(figures["backward jumps"], "1, line 72, longest 85 ms")

    def test_levels_outside_their_tables(self):
        for i in range(300, 600):
            self.samples[i]["levelXRaw"] = f32(21.5)
        self.samples[900]["levelYRaw"] = f32(-20.5)
        self.put("a.csv", csv_text(self.samples))
        out, errors = self.replay("a.csv", number=8)
        self.assertEqual(self.summary(errors)["level X out of table"], "300 (25.0 %), lines 302 to 601")
        self.assertEqual(self.summary(errors)["level Y out of table"], "1 (0.1 %), line 902")
        rows = self.rows(out)
        self.assertEqual([i for i, row in enumerate(rows) if row["levelX_out"] == "1"], list(range(300, 600)))
        self.assertEqual([i for i, row in enumerate(rows) if row["levelY_out"] == "1"], [900])

    def test_a_file_without_mount_mode_of_its_own_is_a_pendulum(self):
        self.put("Tg3.prm", parameter_text(3, 0))
        self.assertEqual(self.summary(self.replay("a.csv", number=3)[1])["model"], "pendulum, mount mode 0")

    def test_the_summary_as_json(self):
        self.samples[499]["sensorVector_x"] = math.nan
        self.samples[600]["status"] = 1
        for row in self.samples[800:]:
            row["timeStampMs"] += 100
        self.samples[900]["levelYRaw"] = 25.0
        self.put("a.csv", csv_text([dict(row, more=1) for row in self.samples], COLUMNS + ["more"]) + "bad\n")
        found = self.account("a.csv", "--skip-bad", "--from=1010", "-o", "r.csv", number=8)
        table = self.rows(self.get("r.csv"))
        for name, places in found["outcomes"].items():
            lines = [3 + i for i, row in enumerate(table) if row["outcome"] == name]
            self.assertEqual(places, {"count": len(lines), "first": lines[0] if lines else None,
                                      "last": lines[-1] if lines else None}, name)
        self.assertEqual(sum(places["count"] for places in found["outcomes"].values()), 1199)
        self.assertGreater(found.pop("seconds"), 0)
        del found["outcomes"]
        messages = [message["text"] for message in found.pop("messages")]
        none = {"count": 0, "first": None, "last": None}
        self.assertEqual(len(messages), 2)
        self.assertIn('column "more" is not a column of a recording', messages[0])
        self.assertIn("a.csv: line 1202: found 1 field", messages[1])
        self.assertEqual(found, {
            "recording": "a.csv", "results": "r.csv", "complete": True, "exit": 0, "model": "three vectors",
            "mount_mode": 8, "places": "line", "samples": 1199, "unusable": 2, "outside_window": 1,
            "bad": {"count": 1, "first": 1202, "last": 1202}, "reference": {"at": 7, "time_ms": 1050},
            "readings_not_finite": {"count": 1, "first": 501, "last": 501, "first_column": "sensorVector_x"},
            "stays_not_finite_from": None, "one_nan_spoils_the_rest": False, "spoiled": None, "repaired": none,
            "time_stamps": {"first_ms": 1010, "last_ms": 13090, "usual_step_ms": 10,
                            "gaps": {"count": 1, "first": 802, "last": 802, "longest_ms": 110},
                            "backward_jumps": dict(none, longest_ms=None)},
            "level_x_out": dict(none, share=0.0),
            "level_y_out": {"count": 1, "first": 902, "last": 902, "share": 1 / 1199}})

    def test_json_tells_failures_too(self):
        found = self.account("none.csv", status=NO_INPUT)
        self.assertEqual((found["exit"], found["results"], found["samples"], found["complete"]), (66, None, 0, False))
        self.assertEqual([message["kind"] for message in found["messages"]], ["error"])
        self.assertIn("none.csv", found["messages"][0]["text"])
        found = self.account("a.csv", number=77, status=NO_INPUT)
        self.assertEqual((found["exit"], found["model"], found["mount_mode"]), (66, None, None))
        self.put("bad.csv", csv_text(samples(20)) + "bad\n")
        found = self.account("bad.csv", "-o", "r.csv", status=DATA)
        self.assertEqual((found["exit"], found["results"], found["complete"]), (65, "r.partial.csv", False))
        self.assertEqual(found["samples"], 20)

    def test_quiet_says_only_what_is_wrong(self):
        self.assertEqual(self.replay("a.csv", "--quiet")[1], "")
        self.put("bad.csv", csv_text(samples(20)) + "bad\n")
        errors = self.replay("bad.csv", "-q", status=DATA)[1]
        self.assertEqual(errors, "kor: bad.csv: line 22: found 1 field, expected 15; the results up to there (20 samples) "
                                 "went to standard output\n")


class Failures(Case):
    """Output that cannot be created or written."""

    def setUp(self):
        super().setUp()
        self.put("a.csv", csv_text(samples(5000)))

    def test_cannot_create(self):
        _, errors = self.replay("a.csv", "-o", "none/r.csv", status=CANNOT_CREATE)
        self.assertIn("none/r.csv", errors)
        os.mkdir(self.path("d"))
        _, errors = self.replay("a.csv", "-o", "d", status=CANNOT_CREATE)
        self.assertIn("directory", errors)

    @posix_only
    def test_full_device(self):
        _, errors = self.replay("a.csv", "-o", "/dev/full", status=IO_ERROR)
        self.assertIn("/dev/full: No space left on device", errors)
        self.assertTrue(os.path.exists("/dev/full"))
        self.assertEqual(self.summary(errors), {}, "no summary of what was lost")

    @posix_only
    def test_full_device_behind_standard_output(self):
        for recording in ("a.csv", self.put("e.csv", csv_text(samples(7)))):
            with open("/dev/full", "wb") as full:
                done = subprocess.run([*KOR, "replay", "--prm", self.dir, "--id", "5", recording], stdout=full,
                                      stderr=subprocess.PIPE, cwd=self.dir)
            self.assertEqual(done.returncode, IO_ERROR)
            self.assertIn(b"standard output: No space left", done.stderr)

    @posix_only
    def test_a_reader_that_has_enough_ends_it_quietly(self):
        self.put("big.csv", csv_text(samples(5000) * 4))
        done = subprocess.run(f"'{PATH}' replay --prm . --id 5 big.csv | head -1000; exit ${{PIPESTATUS[0]}}", shell=True,
                              executable="/bin/bash", cwd=self.dir, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, 141)
        self.assertEqual(done.stdout, b"".join(self.replay("big.csv")[0].splitlines(True)[:1000]), "none of them is lost")
        self.assertEqual(done.stderr, b"")

    @posix_only
    def test_closed_standard_output(self):
        done = run_line("replay --prm . --id 5 a.csv >&-", cwd=self.dir, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, IO_ERROR)

    @posix_only
    def test_no_standard_stream_takes_the_messages_into_the_results(self):
        wanted = self.replay("a.csv")[0]
        done = run_line("replay --prm . --id 5 a.csv -o r.csv <&- >&- 2>&-", cwd=self.dir)
        self.assertEqual(done.returncode, 0)
        self.assertEqual(self.get("r.csv"), wanted)

    @posix_only
    def test_a_file_that_may_not_grow_is_a_write_error_and_leaves_the_old_result(self):
        self.put("r.csv", "old\n")
        for line in ("replay --prm . --id 5 a.csv -o r.csv", "convert a.csv r.csv"):
            done = subprocess.run(["/bin/sh", "-c", f"ulimit -f 100; exec '{PATH}' {line}"], cwd=self.dir,
                                  stderr=subprocess.PIPE)
            self.assertEqual(done.returncode, IO_ERROR)
            self.assertIn(b"kor: cannot write r.csv: File too large", done.stderr)
            self.assertEqual(self.get("r.csv"), b"old\n")
            self.assert_no_leftovers("a.csv", "r.csv")

    @posix_only
    def test_a_read_error_on_the_way_keeps_the_results_so_far_in_whole_lines(self):
        # A terminal whose other side has gone gives what was written to it and then an error. It has no room for
        # much at a time, so that writing ends only when all but the rest has been read.
        content = csv_text(samples(5000)).encode()
        for arguments in ((), ("--skip-bad",)):
            ours, theirs = pty.openpty()
            tty.setraw(theirs)
            child = subprocess.Popen([*KOR, "replay", "--prm", ".", "--id", "5", *arguments, "-", "-o", "r.csv"],
                                     cwd=self.dir, stdin=ours, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            cut = content[:content.rindex(b"\n", 0, 100000) + 20]  # in the midst of a row
            at = 0
            while at < len(cut):
                at += os.write(theirs, cut[at:at + 1000])
            os.close(theirs)
            os.close(ours)
            errors = child.communicate(timeout=60)[1].decode()
            self.assertEqual(child.returncode, IO_ERROR, errors)
            self.assertIn("kor: cannot read standard input: Input/output error; the results up to there (", errors)
            fed = cut.count(b"\n") - 1
            self.assertEqual(self.get("r.partial.csv"), b"".join(self.replay("a.csv")[0].splitlines(True)[:1 + fed]))
            self.assertEqual(self.summary(errors)["samples"], str(fed))
            os.remove(self.path("r.partial.csv"))
            self.assert_no_leftovers("a.csv")

    @posix_only
    def test_fifo_is_written_directly(self):
        self.put("a.csv", csv_text(samples(20)))
        os.mkfifo(self.path("pipe"))
        with subprocess.Popen(["cat", self.path("pipe")], stdout=subprocess.PIPE) as cat:
            self.replay("a.csv", "-o", "pipe")
            content = cat.communicate()[0]
        self.assertEqual(content, self.replay("a.csv")[0])
        self.assert_no_leftovers("a.csv", "pipe")

    def test_results_over_the_recording_are_refused(self):
        before = self.get("a.csv")
        os.link(self.path("a.csv"), self.path("hard.csv"))
        os.symlink("a.csv", self.path("soft.csv"))
        for name in ("a.csv", "./a.csv", "hard.csv", "soft.csv"):
            with self.subTest(name=name):
                _, errors = self.replay("a.csv", "-o", name, status=USAGE)
                self.assertIn("is the recording itself", errors)
                self.assertEqual(self.get("a.csv"), before)

    def test_results_over_the_recording_behind_a_standard_stream_are_refused(self):
        before = self.get("a.csv")
        os.link(self.path("a.csv"), self.path("hard.csv"))
        # The Windows shell itself refuses to open a file twice, the last of these lines.
        lines = ("- -o a.csv < a.csv", "- -o hard.csv < a.csv", "a.csv >> a.csv", "- < a.csv >> hard.csv")
        for line in lines[:3] if WINDOWS else lines:
            with self.subTest(line=line):
                done = run_line(f"replay --prm . --id 5 {line}", cwd=self.dir, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, timeout=60)
                self.assertEqual(done.returncode, USAGE, done.stderr)
                self.assertIn(b"is the recording itself", done.stderr)
                self.assertEqual(self.get("a.csv"), before)

    def test_results_may_go_beside_a_recording_from_standard_input(self):
        done = run_line("replay --prm . --id 5 - -o r.csv < a.csv", cwd=self.dir, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(self.get("r.csv"), self.replay("a.csv")[0])

    def test_results_over_the_parameter_file_are_refused(self):
        before = self.get("Tg5.prm")
        self.replay("a.csv", "-o", "Tg5.prm", status=USAGE)
        self.assertEqual(self.get("Tg5.prm"), before)

    def temporaries(self, directory="."):
        return sorted(name for name in os.listdir(self.path(directory)) if name.startswith(".kor."))

    def put_long(self):
        # Rejected samples without an end, nearly: the file takes no room.
        self.put("long.korraw", binary(samples(100)))
        os.truncate(self.path("long.korraw"), 68 << 30)

    def long_replay(self, *arguments, count=1, directory=".", **options):
        """A replay that does not come to an end, when there are so many temporary files in a directory."""
        child = subprocess.Popen([*KOR, "replay", "--prm", ".", "--id", "5", *(arguments or ("long.korraw", "-o", "r.csv"))],
                                 cwd=self.dir, stderr=subprocess.DEVNULL, **options)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)
        deadline = time.monotonic() + 20
        while True:
            try:
                if len(self.temporaries(directory)) == count:
                    return child
            except FileNotFoundError:
                pass
            self.assertLess(time.monotonic(), deadline, "it has made its temporary files")
            time.sleep(0.01)

    @posix_only
    def test_a_signal_leaves_no_temporary_file(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGUSR2, signal.SIGALRM,
                       signal.SIGXCPU, signal.SIGABRT, signal.SIGILL, signal.SIGRTMIN + 3):
            self.put_long()
            with self.subTest(signal=number):
                child = self.long_replay(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CORE, (0, 0)))
                if number in (signal.SIGABRT, signal.SIGILL):
                    time.sleep(0.3)  # the signal of a fault does not wait until a file that is there is noted as well
                child.send_signal(number)
                self.assertEqual(child.wait(timeout=20), -number)
                self.assert_no_leftovers("a.csv", "long.korraw")

    @posix_only
    def test_what_a_killed_process_leaves_is_removed_by_the_next_run(self):
        self.put_long()
        killed, running = self.long_replay(), self.long_replay(count=2)
        killed.kill()
        killed.wait()
        self.assertEqual(len(self.temporaries()), 2, "nobody could remove it")
        self.put(".kor.notes.tmp", "of somebody else")
        self.put(".kor.1-2.tmp", "of a process that nobody knows")
        os.mkdir(self.path(".kor.1-3.tmp"))
        os.mkfifo(self.path(".kor.1-4.tmp"))
        os.symlink("a.csv", self.path(".kor.1-5.tmp"))
        before = self.get("a.csv")
        self.replay("a.csv", "-o", "next.csv")
        self.assertEqual(self.temporaries(), sorted([f".kor.{running.pid}-0.tmp", ".kor.1-3.tmp", ".kor.1-4.tmp",
                                                     ".kor.1-5.tmp", ".kor.notes.tmp"]))
        self.assertEqual(self.get("a.csv"), before)
        running.terminate()
        running.wait()
        self.assertNotIn(f".kor.{running.pid}-0.tmp", self.temporaries())

    @posix_only
    def test_when_the_parent_is_killed_its_children_end_and_leave_nothing(self):
        os.mkfifo(self.path("live.csv"))
        pipe = os.open(self.path("live.csv"), os.O_RDWR)
        self.addCleanup(os.close, pipe)
        os.write(pipe, csv_text(samples(20)).encode())
        self.put_long()
        child = self.long_replay("long.korraw", "live.csv", "-o", "out", "--jobs=2", count=2, directory="out")
        found = Several.children(child.pid, 2)
        self.assertEqual(len(found), 2)
        child.kill()
        child.wait()
        deadline = time.monotonic() + 20
        while any(Several.runs(pid) for pid in found) and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertFalse(any(Several.runs(pid) for pid in found))
        self.assertEqual(os.listdir(self.path("out")), [])

    @posix_only
    def test_a_child_whose_parent_has_ended_already_ends_too(self):
        done = subprocess.run([*KOR, "replay", "--prm", ".", "--id", "5", "a.csv", "-o", "r.csv", "--child-of=1"],
                              cwd=self.dir, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, -signal.SIGRTMIN)
        self.assert_no_leftovers("a.csv")


class Options(Case):
    def setUp(self):
        super().setUp()
        self.samples = samples(60)
        self.put("a.csv", csv_text(self.samples))

    def stamps(self, *arguments, recording="a.csv", status=0):
        out, errors = self.replay(*arguments, recording, status=status)
        return [int(r["timeStampMs"]) for r in self.rows(out)], self.summary(errors)

    def test_window_is_inclusive(self):
        stamps, figures = self.stamps("--from=1100", "--to=1200")
        self.assertEqual(stamps, list(range(1100, 1201, 10)))
        self.assertEqual(figures["samples"], "11")
        self.assertEqual(figures["outside the window"], "49")
        self.assertEqual(figures["time stamps"], "1100 to 1200 ms, usual step 10 ms")

    def test_one_bound(self):
        self.assertEqual(self.stamps("--from=1500")[0], list(range(1500, 1591, 10)))
        self.assertEqual(self.stamps("--to=1060")[0], list(range(1000, 1061, 10)))
        self.assertEqual(len(self.stamps("--from=0")[0]), 60)
        self.assertEqual(len(self.stamps("--to=4294967295")[0]), 60)
        for nothing in ("--to=999", "--from=1591"):
            out, errors = self.replay(nothing, "a.csv", status=DATA)
            self.assertEqual(out, b"")
            self.assertIn("kor: a.csv: no sample lies in the window of --from and --to, 60 lie outside it\n", errors)

    def test_both_bounds_around_everything(self):
        self.assertEqual(len(self.stamps("--from=0", "--to=4294967295")[0]), 60)

    def test_window_across_the_wrap(self):
        rows = samples(60, first=2**32 - 300)
        self.put("w.csv", csv_text(rows))
        every = [r["timeStampMs"] for r in rows]
        self.assertEqual(self.stamps("--from=4294967276", "--to=14", recording="w.csv")[0], every[28:32])
        self.assertEqual(self.stamps("--from=4", recording="w.csv")[0], [s for s in every if 4 <= s < 1000])
        self.assertEqual(self.stamps("--to=14", recording="w.csv")[0], every[:32])

    def test_samples_outside_are_not_fed(self):
        # The first sample fed becomes the reference, so its angles are zero and those of the whole run are not.
        rows = self.results("--from=1300", "a.csv")
        self.assertEqual(rows[0]["orientationX_deg"], "0")
        whole = {r["timeStampMs"]: r for r in self.results("a.csv")}
        self.assertNotEqual(whole["1300"]["orientationX_deg"], "0")

    def test_mode_replaces_the_files(self):
        self.put("Tg6.prm", parameter_text(6, 3))
        self.assertEqual([r["m00"] for r in self.results("--mode=5", "a.csv", number=6)],
                         [r["m00"] for r in self.results("a.csv")])
        self.assertNotEqual([r["m00"] for r in self.results("a.csv", number=6)],
                            [r["m00"] for r in self.results("a.csv")])

    def test_mode_chooses_the_model_too(self):
        # With the file's mode set first the pendulum would stay, whatever came later.
        self.put("Tg6.prm", parameter_text(6, 8))
        as_file = self.results("a.csv", number=6)
        overridden = self.results("--mode=8", "a.csv", number=10)
        self.assertEqual([r["m00"] for r in overridden], [r["m00"] for r in as_file])
        self.assertNotEqual([r["m00"] for r in self.results("a.csv", number=10)], [r["m00"] for r in as_file])

    def test_mcs(self):
        standard = self.replay("a.csv")[0]
        self.assertEqual(self.replay("--mcs=on", "a.csv")[0], standard)
        self.assertNotEqual(self.replay("--mcs=off", "a.csv")[0], standard)

    def test_store_and_psd_move_the_line_of_sight(self):
        plain = self.replay("a.csv", number=8)[0]
        stored = self.replay("--store", "a.csv", number=8)[0]
        self.assertNotEqual(stored, plain)
        self.assertNotEqual(self.replay("--store", "--psd=3,-4,5", "a.csv", number=8)[0], stored)

    def test_negative_psd_reading(self):
        self.assertEqual(self.replay("--store", "--psd", "-3,4,5", "a.csv", number=8)[0],
                         self.replay("--store", "--psd=-3,4,5", "a.csv", number=8)[0])

    def test_a_model_without_matrix_is_counted(self):
        rows = samples(60)
        self.put("a.csv", csv_text(rows))
        _, errors = self.replay("a.csv", number=10)
        # Call 1 hands out a zero matrix, calls 2 to 5 fill the filters.
        self.assertEqual(self.summary(errors)["no_matrix_filters_filling"], "5, lines 2 to 6")
        self.assertEqual(self.summary(errors)["before_reference"], "1, line 7")
        self.assertEqual(self.count(errors, "ok"), 54)

    def test_comma_locale_changes_nothing(self):
        locales = self.path("locales")
        os.mkdir(locales)
        made = subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8", os.path.join(locales, "de_DE.UTF-8")],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(made.returncode, 0, made.stdout.decode())
        environment = dict(os.environ, LOCPATH=locales, LC_ALL="de_DE.UTF-8")
        point = subprocess.run([sys.executable, "-c", "import locale as l; l.setlocale(l.LC_ALL, ''); "
                                "print(l.localeconv()['decimal_point'])"], env=environment, stdout=subprocess.PIPE)
        self.assertEqual(point.stdout, b",\n", "the locale is in force")
        self.assertEqual(self.replay("a.csv", env=environment)[0], self.replay("a.csv")[0])


class Several(Case):
    def setUp(self):
        super().setUp()
        self.names = ["c.csv", "a.csv", "b.korraw"]
        self.content = {name: samples(2000 if name == "c.csv" else 50, seed=i) for i, name in enumerate(self.names)}
        for name, rows in self.content.items():
            self.put(name, binary(rows) if name.endswith("raw") else csv_text(rows))

    def test_each_gives_its_own_result(self):
        out, errors = self.replay(*self.names, "-o", "new/out")
        self.assertEqual(out, b"")
        self.assertEqual(sorted(os.listdir(self.path("new/out"))), ["a.csv", "b.csv", "c.csv"])
        for name in self.names:
            alone = self.replay(name)[0]
            self.assertEqual(self.get(f"new/out/{name.split('.')[0]}.csv"), alone)

    def test_each_has_one_line_in_order_and_then_there_is_a_total(self):
        self.content["a.csv"][30]["timeStampMs"] += 5000
        self.put("a.csv", csv_text(self.content["a.csv"]))
        _, errors = self.replay(*self.names, "-o", "out", "--jobs=3")
        self.assertEqual(errors, "c.csv     2000 samples, 1994 ok, 6 before_reference\n"
                                 "a.csv     50 samples, 44 ok, 6 before_reference, 1 gap, 1 backward jump\n"
                                 "b.korraw  50 samples, 44 ok, 6 before_reference\n"
                                 "total     3 recordings, 0 failed: 2100 samples, 2082 ok, 18 before_reference\n")

    def test_quiet_leaves_the_failures(self):
        self.assertEqual(self.replay(*self.names, "-o", "out", "--quiet")[1], "")
        self.put("bad.csv", csv_text(self.content["a.csv"]) + "bad\n")
        _, errors = self.replay(*self.names, "bad.csv", "none.csv", "-o", "out", "--quiet", status=DATA)
        self.assertRegex(errors, r"^kor: 2 of 5 recordings failed:\n"
                                 r"kor: bad\.csv: line 52: found 1 field, expected 15; the results up to there \(50 samples\) "
                                 r"went to out[/\\]bad\.partial\.csv\nkor: .*none\.csv.*\n$")

    def test_failures_stand_in_the_lines_and_in_a_list_at_the_end(self):
        self.put("bad.csv", csv_text(self.content["a.csv"]) + "bad\n")
        self.put("held.csv", csv_text(samples(40, referenceHold=1)))
        _, errors = self.replay("a.csv", "bad.csv", "held.csv", "none.csv", "-o", "out", status=DATA)
        lines = errors.split("\n")
        self.assertEqual(lines[1:5], ["bad.csv   failed (65): 50 samples, 44 ok, 6 before_reference",
                                      "held.csv  failed (65): 40 samples, 40 before_reference, no reference captured",
                                      "none.csv  failed (66)",
                                      "total     4 recordings, 3 failed: 140 samples, 88 ok, 52 before_reference"])
        self.assertEqual(lines[5], "kor: 3 of 4 recordings failed:")
        for line, name in zip(lines[6:9], ("bad.csv", "held.csv", "none.csv")):
            self.assertTrue(line.startswith("kor: "), line)
            self.assertIn(name, line)
        self.assertEqual(lines[9:], [""])
        self.assertEqual(sorted(os.listdir(self.path("out"))), ["a.csv", "bad.partial.csv", "held.csv"])

    def test_all_accounts_are_one_object_of_json(self):
        self.put("bad.csv", csv_text(self.content["a.csv"]) + "bad\n")
        found = self.account(*self.names, "bad.csv", "-o", "out", status=DATA)
        alone = self.account("a.csv", "-o", "r.csv")
        self.assertEqual([r["recording"] for r in found["recordings"]], [*self.names, "bad.csv"])
        self.assertEqual(found["recordings"][1]["outcomes"], alone["outcomes"])
        self.assertEqual(found["recordings"][3]["exit"], DATA)
        self.assertEqual(len(found["recordings"][3]["messages"]), 1)
        total = found["total"]
        self.assertEqual((total["recordings"], total["failed"], total["samples"]), (4, 1, 2150))
        self.assertEqual((total["outcomes"]["ok"], total["outcomes"]["before_reference"]), (2126, 24))
        self.assertEqual((total["unusable"], found["exit"]), (0, DATA))

    def test_strict_reaches_every_recording(self):
        self.content["a.csv"][20]["status"] = 1
        self.put("a.csv", csv_text(self.content["a.csv"]))
        self.replay(*self.names, "-o", "out")
        _, errors = self.replay(*self.names, "-o", "out", "--strict", status=DATA)
        self.assertIn("kor: a.csv: 1 of 50 samples have no usable orientation, and --strict was given\n", errors)

    def test_repair_reaches_every_recording(self):
        self.content["a.csv"][30]["sensorVector_y"] = math.nan
        self.put("a.csv", csv_text(self.content["a.csv"]))
        _, errors = self.replay(*self.names, "-o", "out", "--repair", number=10)
        self.assertRegex(errors, r"a\.csv     50 samples, .*, 1 not_finite, 10 no_matrix_filters_filling, 1 repaired\n")
        self.assertEqual(errors.count("repaired: from the next sample on"), 1)

    def test_warnings_that_several_share_are_told_once_for_each_recording(self):
        for name in ("a.csv", "c.csv"):
            self.put(name, csv_text([dict(row, more=1) for row in self.content[name]], COLUMNS + ["more"]))
        _, errors = self.replay(*self.names, "-o", "out")
        self.assertEqual(errors.count("kor: warning: a.csv: column \"more\""), 1)
        self.assertEqual(errors.count("kor: warning: c.csv: column \"more\""), 1)

    def test_models_with_process_wide_values_do_not_disturb_each_other(self):
        self.replay(*self.names, "-o", "out", number=10)
        for name in self.names:
            self.assertEqual(self.get(f"out/{name.split('.')[0]}.csv"), self.replay(name, number=10)[0])

    def test_options_reach_every_recording(self):
        options = ["--mode=8", "--mcs=on", "--psd=3,4,5", "--store", "--format=bin", "--from=1010", "--to=1300",
                   "--skip-bad"]
        self.put("a.csv", csv_text(self.content["a.csv"]) + "bad\n")
        _, errors = self.replay(*options, *self.names, "-o", "out", number=8)
        self.assertEqual(sorted(os.listdir(self.path("out"))), ["a.korinfo", "b.korinfo", "c.korinfo"])
        for name in self.names:
            alone = self.replay(*options, name, number=8)[0]
            self.assertEqual(self.get(f"out/{name.split('.')[0]}.korinfo"), alone)
        self.assertRegex(errors, r"(?m)^a\.csv  .*, 1 bad left out$")

    def test_local_coordinates_reach_every_recording(self):
        self.replay("--mcs=off", *self.names, "-o", "out")
        self.assertEqual(self.get("out/c.csv"), self.replay("--mcs=off", "c.csv")[0])

    def test_input_format_reaches_every_recording(self):
        os.rename(self.path("a.csv"), self.path("a.korraw"))
        self.replay("--input-format=csv", "a.korraw", "c.csv", "-o", "out")
        self.assertEqual(self.get("out/a.csv"), self.replay("--input-format=csv", "a.korraw")[0])

    def test_same_stem_is_refused_before_anything_starts(self):
        os.mkdir(self.path("sub"))
        shutil.copy(self.path("a.csv"), self.path("sub"))
        for twin in ("sub/a.csv", "a.csv", "a.korraw"):
            with self.subTest(twin=twin):
                _, errors = self.replay("c.csv", "a.csv", twin, "-o", "out", status=USAGE)
                self.assertIn("would both give a.csv", errors)
                self.assertFalse(os.path.exists(self.path("out")))

    def test_results_of_a_broken_recording_never_take_the_place_of_others(self):
        shutil.copy(self.path("a.csv"), self.path("a.partial.csv"))
        _, errors = self.replay("a.partial.csv", "a.csv", "-o", "out", status=USAGE)
        self.assertIn("if a.csv breaks off, its partial results would replace the results of a.partial.csv", errors)
        _, errors = self.replay("c.csv", "a.partial.csv", "-o", ".", status=USAGE)
        os.rename(self.path("c.csv"), self.path("a.korraw"))
        _, errors = self.replay("a.korraw", "a.partial.csv", "-o", ".", status=USAGE)
        self.assertIn("is the recording itself", errors)

    def test_no_directory_given(self):
        self.replay(*self.names, status=USAGE)
        self.replay(*self.names, "-o", "-", status=USAGE)

    def test_standard_input_among_several(self):
        _, errors = self.replay("a.csv", "-", "-o", "out", status=USAGE)
        self.assertIn("standard input", errors)

    def test_results_over_a_recording_are_refused(self):
        before = self.get("a.csv")
        self.replay(*self.names, "-o", ".", status=USAGE)
        self.assertEqual(self.get("a.csv"), before)

    def test_directory_that_cannot_be_created(self):
        self.put("file", "x")
        for directory in ("file", "file/out"):
            with self.subTest(directory=directory):
                self.replay(*self.names, "-o", directory, status=CANNOT_CREATE)

    def test_missing_parameter_file_is_told_once(self):
        _, errors = self.replay(*self.names, "-o", "out", number=99, status=NO_INPUT)
        self.assertEqual(errors.count("Tg99.prm"), 1)
        self.assertFalse(os.path.exists(self.path("out")))

    def test_the_first_failure_in_order_is_the_exit_status(self):
        self.put("bad.csv", csv_text(self.content["a.csv"]) + "bad\n")
        _, errors = self.replay("a.csv", "bad.csv", "none.csv", "c.csv", "-o", "out", status=DATA)
        self.assertEqual(sorted(os.listdir(self.path("out"))), ["a.csv", "bad.partial.csv", "c.csv"])
        self.assertLess(errors.index("bad.csv: line 52"), errors.index("none.csv: No such file"))
        self.replay("none.csv", "bad.csv", "-o", "out", status=NO_INPUT)

    @posix_only
    def test_a_process_that_is_killed_is_a_failure_with_its_name(self):
        os.mkfifo(self.path("f.csv"))
        child = subprocess.Popen([*KOR, "replay", "--prm", ".", "--id", "5", "f.csv", "a.csv", "-o", "out", "--jobs=1"],
                                 cwd=self.dir, stderr=subprocess.PIPE)
        os.kill(int(self.children(child.pid, 1)[0]), signal.SIGKILL)
        errors = child.communicate(timeout=20)[1].decode()
        self.assertEqual(child.returncode, 128 + signal.SIGKILL)
        self.assertIn("f.csv  failed (137)\n", errors)
        self.assertIn("a.csv  50 samples", errors)
        self.assertIn("kor: 1 of 2 recordings failed:\nkor: f.csv: ended by signal 9\n", errors)

    @posix_only
    def test_jobs_limit_the_processes_at_a_time(self):
        # Recordings that are FIFOs: each process waits for its writer, so those that run can be counted.
        names = [f"f{i}.csv" for i in range(4)]
        for name in names:
            os.mkfifo(self.path(name))
        for jobs in (1, 2):
            with self.subTest(jobs=jobs):
                child = subprocess.Popen([*KOR, "replay", "--prm", ".", "--id", "5", *names, "-o", "out",
                                          f"--jobs={jobs}"], cwd=self.dir, stderr=subprocess.PIPE)
                for first in range(0, 4, jobs):
                    waiting = self.children(child.pid, jobs)
                    time.sleep(0.1)
                    self.assertEqual(len(self.children(child.pid, jobs)), jobs, waiting)
                    for name in names[first:first + jobs]:
                        with open(self.path(name), "w") as pipe:
                            pipe.write(csv_text(self.content["a.csv"]))
                errors = child.communicate(timeout=60)[1].decode()
                self.assertEqual(child.returncode, 0, errors)

    @posix_only
    def test_threads_that_cannot_be_started_leave_the_work_to_the_others(self):
        names = [shutil.copy(self.path("a.csv"), self.path(f"t{i}.csv")) for i in range(8)]
        _, errors = self.replay(*names, "-o", "out", "--jobs=8", preexec_fn=self.room_for_threads(3.5))
        self.assertEqual(errors.count(" 44 ok, "), 8)
        self.assertEqual(len(os.listdir(self.path("out"))), 8)

    @posix_only
    def test_no_thread_at_all_is_told(self):
        _, errors = self.replay(*self.names, "-o", "out", status=SOFTWARE, preexec_fn=self.room_for_threads(0.5))
        self.assertIn("kor: cannot start a thread: ", errors)

    def room_for_threads(self, count):
        """Limits with which a process starts so many threads and no more: their stacks are as large as the limit of
        the first one, and the address space has room for what a process has without them and so many stacks."""
        stack = 2**30
        with subprocess.Popen([*KOR, "replay", "--prm", ".", "--id", "5", "-"], cwd=self.dir, stdin=subprocess.PIPE,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as child:
            child.stdin.write(csv_text(samples(1)).encode())
            child.stdin.flush()
            time.sleep(0.3)
            with open(f"/proc/{child.pid}/statm") as file:
                size = int(file.read().split()[0]) * resource.getpagesize()
        def bounded():
            resource.setrlimit(resource.RLIMIT_STACK, (stack, resource.RLIM_INFINITY))
            resource.setrlimit(resource.RLIMIT_AS, (size + int(count * stack),) * 2)
        return bounded

    @posix_only
    def test_256_jobs_are_that_many_and_a_termination_takes_them_all_along(self):
        names = [f"f{i}.csv" for i in range(258)]
        for name in names:
            os.mkfifo(self.path(name))
        child = subprocess.Popen([*KOR, "replay", "--prm", ".", "--id", "5", *names, "-o", "out", "--jobs=256"],
                                 cwd=self.dir, stderr=subprocess.DEVNULL, start_new_session=True)
        try:
            self.children(child.pid, 256, seconds=60)
            found = self.children(child.pid, 258, seconds=1)
            child.terminate()
            child.wait(timeout=20)
            deadline = time.monotonic() + 10
            while (left := self.group(child.pid)) and time.monotonic() < deadline:
                time.sleep(0.05)
        finally:
            if self.group(child.pid):
                os.killpg(child.pid, signal.SIGKILL)
        self.assertEqual(len(found), 256)
        self.assertEqual(left, [])

    def group(self, leader):
        """The running processes of a process group."""
        found = []
        for entry in os.listdir("/proc"):
            if entry.isdigit() and self.runs(entry):
                try:
                    if os.getpgid(int(entry)) == leader:
                        found.append(entry)
                except OSError:
                    pass
        return found

    @staticmethod
    def runs(pid):
        """A process that nobody has waited for yet is a zombie: it has ended all the same."""
        try:
            with open(f"/proc/{pid}/stat") as file:
                return file.read().rsplit(")", 1)[1].split()[0] != "Z"
        except OSError:
            return False

    @staticmethod
    def children(pid, wanted, seconds=20):
        """The running children of a process, when there are as many as wanted or time is up."""
        found = []
        deadline = time.monotonic() + seconds
        while len(found) != wanted and time.monotonic() < deadline:
            time.sleep(0.02)
            try:
                found = []
                for task in os.listdir(f"/proc/{pid}/task"):
                    with open(f"/proc/{pid}/task/{task}/children") as file:
                        found += file.read().split()
            except OSError:
                found = []
        return found

    @posix_only
    def test_a_termination_takes_the_children_along(self):
        os.mkfifo(self.path("f.csv"))
        os.mkfifo(self.path("g.csv"))
        child = subprocess.Popen([*KOR, "replay", "--prm", ".", "--id", "5", "f.csv", "g.csv", "-o", "out", "--jobs=2"],
                                 cwd=self.dir, stderr=subprocess.PIPE)
        grandchildren = self.children(child.pid, 2)
        self.assertEqual(len(grandchildren), 2)
        child.terminate()
        child.communicate(timeout=20)
        self.assertEqual(child.returncode, -signal.SIGTERM)
        deadline = time.monotonic() + 20
        while any(self.runs(c) for c in grandchildren) and time.monotonic() < deadline:
            time.sleep(0.02)
        self.assertFalse(any(self.runs(c) for c in grandchildren))


class ProgressLine(Case):
    def on_terminal(self, *arguments):
        """Standard error of a run whose standard error is a terminal, 100 columns wide."""
        ours, theirs = pty.openpty()
        import fcntl
        import termios
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 100, 0, 0))
        child = subprocess.Popen([*KOR, "replay", "--prm", self.dir, "--id", "5", *arguments], cwd=self.dir,
                                 stdout=subprocess.DEVNULL, stderr=theirs)
        os.close(theirs)
        seen = b""
        while select.select([ours], [], [], 60)[0]:
            try:
                piece = os.read(ours, 65536)
            except OSError:
                break
            if not piece:
                break
            seen += piece
        os.close(ours)
        self.assertEqual(child.wait(), 0, seen)
        return seen.decode()

    def test_never_on_a_file_by_itself(self):
        self.put("a.csv", csv_text(samples(2000)))
        _, errors = self.replay("a.csv")
        self.assertNotIn("\r", errors)

    def test_always(self):
        self.put("a.csv", csv_text(samples(2000)))
        _, errors = self.replay("--progress=always", "a.csv")
        self.assertRegex(errors, r"\ra\.csv  \[[#.]+\]")
        self.assertTrue(errors.split("\r")[-1].startswith("\x1b[Ka.csv\n"), "erased in front of the summary")

    @posix_only
    def test_on_a_terminal_a_long_run_shows_bar_rate_and_time_left(self):
        self.put("a.korraw", binary(samples(5000)) * 300)
        seen = self.on_terminal("a.korraw")
        lines = [part for part in seen.split("\r") if "[" in part and "%" in part]
        self.assertGreater(len(lines), 1, seen[:2000])
        self.assertRegex(lines[0], r"a\.korraw  \[#*\.+\] +\d+%  [\d ]+ samples/s  \d\d:\d\d left")
        for line in lines:
            self.assertLess(len(line.replace("\x1b[K", "")), 100)
        shares = [int(re.search(r"(\d+)%", line).group(1)) for line in lines]
        self.assertEqual(shares, sorted(shares))

    @posix_only
    def test_never_on_a_terminal_when_told_so(self):
        self.put("a.korraw", binary(samples(5000)) * 100)
        self.assertNotIn("[", self.on_terminal("--progress=never", "a.korraw"))

    def test_several_recordings_count_themselves(self):
        for i in range(3):
            self.put(f"r{i}.korraw", binary(samples(500)))
        _, errors = self.replay("--progress=always", "r0.korraw", "r1.korraw", "r2.korraw", "-o", "out")
        self.assertIn("replay  [", errors)


class Threads(Case):
    """One recording on several threads: the same as on one, to the last byte and word."""

    NUMBERS = ("1", "2", "3", "8", "256")

    def setUp(self):
        super().setUp()
        self.samples = samples(1500)

    def said(self, *arguments, **options):
        """Results and messages, without the line that tells how fast it was."""
        out, errors = self.replay(*arguments, **options)
        return out, re.sub(r"^  samples per second:.*\n", "", errors, flags=re.M)

    def assert_all_the_same(self, *arguments, **options):
        wanted = self.said("--threads=1", *arguments, **options)
        for number in self.NUMBERS[1:]:
            with self.subTest(threads=number, arguments=arguments):
                self.assertEqual(self.said("--threads", number, *arguments, **options), wanted)
        return wanted

    def test_rows_stay_in_their_order_in_every_format(self):
        self.put("a.csv", csv_text(self.samples))
        self.put("a.korraw", binary(self.samples))
        stamps = [row["timeStampMs"] for row in self.rows(self.assert_all_the_same("a.csv")[0])]
        self.assertEqual(stamps, [str(row["timeStampMs"]) for row in self.samples])
        self.assert_all_the_same("a.korraw", "--format=bin")
        self.assert_all_the_same("a.csv", "--format=bare", "--from", stamps[300], "--to", stamps[1200])

    def test_bad_rows_are_told_left_out_and_counted_alike(self):
        lines = csv_text(self.samples).splitlines(True)
        for at in (3, 300, 301, 700, 1000, 1300, 1499):
            lines[at] = "x" + lines[at]
        self.put("bad.csv", "".join(lines))
        _, errors = self.assert_all_the_same("bad.csv", "--skip-bad")
        self.assertEqual(self.summary(errors)["bad, left out"], "7, lines 4 to 1500")

    def test_a_break_keeps_the_rows_before_it(self):
        lines = csv_text(self.samples).splitlines(True)
        lines[1200] = "x" + lines[1200]
        self.put("bad.csv", "".join(lines))
        self.put("good.csv", "".join(lines[:1200]))
        wanted = self.replay("good.csv")[0]
        out, errors = self.assert_all_the_same("bad.csv", status=DATA)
        self.assertEqual(out, wanted)
        self.assertIn("bad.csv: line 1201, column status: ", errors)
        for number in self.NUMBERS:
            self.replay("bad.csv", "-o", "r.csv", "--threads", number, status=DATA)
            self.assertEqual(self.get("r.partial.csv"), wanted)

    @posix_only
    def test_a_full_device_and_a_closed_pipe_end_it(self):
        self.put("big.csv", csv_text(self.samples * 4))
        for number in self.NUMBERS:
            with self.subTest(threads=number):
                _, errors = self.replay("big.csv", "-o", "/dev/full", "--threads", number, status=IO_ERROR)
                self.assertIn("/dev/full: No space left on device", errors)
                done = subprocess.run(f"'{PATH}' replay --prm . --id 5 big.csv --threads {number} | head -1 >/dev/null; "
                                      "exit ${PIPESTATUS[0]}", shell=True, executable="/bin/bash", cwd=self.dir,
                                      stderr=subprocess.PIPE)
                self.assertEqual((done.returncode, done.stderr), (141, b""))

    def test_of_several_recordings_each_has_as_many(self):
        self.put("a.csv", csv_text(self.samples))
        self.put("b.csv", csv_text(self.samples[:700]))
        self.replay("a.csv", "b.csv", "-o", "out", "--threads=3", "--jobs=2")
        for name in ("a.csv", "b.csv"):
            self.assertEqual(self.get("out/" + name), self.replay(name, "--threads=1")[0])

    def test_the_number_is_checked(self):
        self.put("a.csv", csv_text(self.samples[:1]))
        for number in ("0", "257", "-1", "two", ""):
            _, errors = self.replay("a.csv", "--threads", number, status=USAGE)
            self.assertIn("--threads", errors)

    @posix_only
    def test_memory_is_the_same_for_ten_times_the_rows(self):
        peaks = []
        records = binary(samples(5000))
        for count in (10, 100):
            self.put("a.korraw", records * count)
            child = subprocess.Popen([*KOR, "replay", "--prm", ".", "--id", "5", "a.korraw", "--threads=256"],
                                     cwd=self.dir, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
            peak = 0
            while child.stdout.read(1 << 20):
                with open(f"/proc/{child.pid}/status") as status:
                    peak = max([peak, *(int(line.split()[1]) for line in status if line.startswith("VmHWM"))])
            self.assertEqual(child.wait(timeout=60), 0)
            child.stdout.close()
            peaks.append(peak / 1024)
        self.assertLess(max(peaks), 32, "MiB")
        self.assertLess(peaks[1] - peaks[0], 2, "the results alone are some 100 MiB longer")


class Memory(Case):
    @posix_only
    def test_memory_does_not_grow_with_the_recording(self):
        # A run of this size fits into the limit whatever the recording's length; the records alone would not.
        self.put("a.korraw", binary(samples(5000)) * 100)
        limit = 16 * 2**20
        def bounded():
            resource.setrlimit(resource.RLIMIT_DATA, (limit, limit))
        _, errors = self.replay("a.korraw", "-o", "/dev/null", preexec_fn=bounded)
        self.assertEqual(self.summary(errors)["samples"], "500000")
        self.assertGreater(os.path.getsize(self.path("a.korraw")), limit)


if __name__ == "__main__":
    unittest.main()
