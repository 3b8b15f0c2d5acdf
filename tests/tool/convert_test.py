#!/usr/bin/env python3
"""End-to-end tests of `kor convert`.

    convert_test.py KOR [-v] [Class[.test] ...]

Records are packed and texts written here, and held against what the program makes of them. Standard library only.
"""
import gzip
import os
import pathlib
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

from program import KOR, PATH, posix_only

USAGE, DATA, NO_INPUT, CANNOT_CREATE = 64, 65, 66, 73
SHIPPED = pathlib.Path(__file__).resolve().parents[2] / "data"
COLUMNS = ("status,sensorVector_x,sensorVector_y,sensorVector_z,azimuthRaw,elevationRaw,levelXRaw,levelYRaw,"
           "levelTemperature,referenceGate,referenceHold,temperatureCount_0,temperatureCount_1,temperatureCount_2,"
           "timeStampMs").split(",")
RAW = struct.Struct("<4xi9I4xB3x3iI")  # floats as their bits
HEADER = ",".join(COLUMNS)

# Bits of single precision that are easily lost: zeros of both signs, the ends of the denormals and of the range,
# infinities, and the one nan that text can stand for.
CORNERS = (0x00000000, 0x80000000, 0x00000001, 0x80000001, 0x007fffff, 0x00800000, 0x7f7fffff, 0xff7fffff, 0x7f800000,
           0xff800000, 0x7fc00000, 0x3f800000, 0x4b7fffff, 0x33d6bf95)


def record(bits, stamp, status=2, hold=0, counts=(1, -2, 3)):
    return RAW.pack(status, *bits, hold, *counts, stamp)


def any_bits(chance):
    """Of any number that text can stand for."""
    while True:
        bits = chance.choice(CORNERS) if chance.random() < 0.3 else chance.getrandbits(32)
        if bits & 0x7f800000 != 0x7f800000 or bits in CORNERS:
            return bits


def plain(count, first=1000, step=10):
    """Plausible records."""
    one = struct.unpack("<9I", struct.pack("<9f", 3000.5, -2.25, 7e-3, 12.5, -3.5, 1.25, 2.5, 20.0, 0.1))
    return [record(one, (first + i * step) % 2**32) for i in range(count)]


class Case(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="kor-convert-")
        self.addCleanup(shutil.rmtree, self.dir)

    def path(self, name):
        return os.path.join(self.dir, name)

    def put(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())
        return name

    def get(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def kor(self, *arguments, status=0, stdin=b""):
        """Holds the exit status against the wanted one; (stdout, stderr) as bytes and text."""
        done = subprocess.run([*KOR, *arguments], input=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              cwd=self.dir, timeout=120)
        self.assertEqual(done.returncode, status, done.stderr.decode())
        return done.stdout, done.stderr.decode()

    def convert(self, *arguments, **options):
        return self.kor("convert", *arguments, **options)

    def results(self):
        """The results of a shipped recording."""
        folder = SHIPPED / "two_level"
        number = next(folder.glob("Tg*.prm")).stem[2:]
        self.kor("replay", "--prm", str(folder), "--id", number, str(folder / "two_level.csv"), "-o", "results.csv")
        return "results.csv"

    def stamps(self, name):
        lines = self.get(name).decode().split("\n")
        at = lines[0].split(",").index("timeStampMs")
        return [int(line.split(",")[at]) for line in lines[1:-1]]


class RoundTrips(Case):
    def test_records_of_any_bits_go_to_text_and_back(self):
        """The positions stay plausible, since a recording is recognised by them; every other number is any."""
        chance = random.Random(11)
        positions = [b for b in CORNERS if b & 0x7fffffff == 0] + [0x453b8000, 0xc49c4000]
        made = b"".join(
            record([chance.choice(positions) for _ in range(3)] + [any_bits(chance) for _ in range(6)], 1000 + 10 * i,
                   chance.choice((0, 1, 2, 3, -1, 1000)), chance.randrange(256),
                   [chance.choice((-2**31, 2**31 - 1, chance.getrandbits(31))) for _ in range(3)])
            for i in range(2000))
        self.put("a.korraw", made)
        self.convert("a.korraw", "a.csv")
        self.convert("a.csv", "b.korraw")
        self.assertEqual(self.get("b.korraw"), made)
        self.convert("b.korraw", "b.csv")
        self.assertEqual(self.get("b.csv"), self.get("a.csv"))
        text = self.get("a.csv").decode()
        self.assertTrue(text.startswith(HEADER + "\n"))
        for value in (",nan,", ",-0,", ",1e-45,", ",inf,", ",-inf,"):
            self.assertIn(value, text)

    def test_the_text_stands_for_the_bits(self):
        self.put("a.korraw", b"".join(record([0x453b8000] * 3 + [bits] * 6, i) for i, bits in enumerate(CORNERS)))
        self.convert("a.korraw", "a.csv")
        at = COLUMNS.index("azimuthRaw")
        for line, bits in zip(self.get("a.csv").decode().split("\n")[1:], CORNERS):
            self.assertEqual(struct.pack("<f", float(line.split(",")[at])), struct.pack("<I", bits), line)

    def test_shipped_recording_in_every_form(self):
        folder = SHIPPED / "polarizer"
        text, records = (folder / "polarizer.csv").read_bytes(), (folder / "polarizer.korraw").read_bytes()
        for source, other, back, wanted in (("polarizer.csv", "a.korraw.gz", "back.csv", text),
                                            ("polarizer.korraw", "a.csv.gz", "back.korraw", records),
                                            ("polarizer.csv", "a.korraw", "back.korraw", records),
                                            ("polarizer.korraw", "a.csv", "back.csv", text)):
            self.convert(str(folder / source), other)
            self.convert(other, back)
            self.assertEqual(self.get(back), wanted, other)
        self.assertEqual(gzip.decompress(self.get("a.korraw.gz")), (folder / "polarizer.korraw").read_bytes())
        self.assertLess(len(self.get("a.csv.gz")), 0.7 * len(self.get("a.csv")))

    @posix_only
    def test_zstandard(self):
        source = SHIPPED / "polarizer" / "polarizer.csv"
        self.convert(str(source), "a.csv.zst")
        self.assertEqual(self.get("a.csv.zst")[:4], b"\x28\xb5\x2f\xfd")
        self.convert("a.csv.zst", "back.csv")
        self.assertEqual(self.get("back.csv"), source.read_bytes())

    def test_results_in_every_form(self):
        source = self.results()
        for other in ("a.korinfo", "a.korinfo.gz", "a.csv.gz"):
            self.convert(source, other)
            self.convert(other, "back.csv")
            self.assertEqual(self.get("back.csv"), self.get(source))

    def test_results_keep_the_corners_of_double_precision(self):
        lines = self.get(self.results()).decode().split("\n")
        at = lines[0].split(",").index("m00")
        texts = ("nan", "-0", "5e-324", "-2.2250738585072014e-308", "1.7976931348623157e+308", "inf", "-inf",
                 "0.1", "2.225073858507201e-308")
        for i, value in enumerate(texts):
            cells = lines[500 + i].split(",")
            cells[at] = value
            lines[500 + i] = ",".join(cells)
        self.put("corners.csv", "\n".join(lines))
        self.convert("corners.csv", "a.korinfo")
        self.convert("a.korinfo", "back.csv")
        self.assertEqual(self.get("back.csv"), self.get("corners.csv"))

    def test_truth(self):
        source = SHIPPED / "two_level" / "two_level_truth.csv"
        self.convert(str(source), "a.csv.gz")
        self.convert("a.csv.gz", "back.csv")
        self.assertEqual(self.get("back.csv"), source.read_bytes())

    def test_bare_results_are_the_engines_records(self):
        source = self.results()
        self.convert(source, "a.korinfo", "--format=bare")
        lines = self.get(source).decode().split("\n")[1:-1]
        made = self.get("a.korinfo")
        self.assertEqual(len(made), 60 * len(lines))
        for i, line in enumerate(lines[::50]):
            got = struct.unpack_from("<i2f2f3fi3f3f", made, 60 * 50 * i)
            wanted = [struct.unpack("<f", struct.pack("<f", float(x)))[0] for x in line.split(",")[1:14]]
            self.assertEqual([*got[1:8], *got[9:]], wanted)

    def test_standard_streams(self):
        source = (SHIPPED / "polarizer" / "polarizer.csv").read_bytes()
        out, errors = self.convert("-", "-", "--format=bin", stdin=source)
        self.assertEqual(out, (SHIPPED / "polarizer" / "polarizer.korraw").read_bytes())
        self.assertIn("rows written:         2400", errors)
        self.assertEqual(self.convert("-", "-", stdin=out)[0], source)


class Parts(Case):
    def test_window(self):
        self.put("a.korraw", b"".join(plain(100, first=4294967000)))
        for options, keep in ((["--from=4294967100"], lambda i: i >= 10),
                              (["--to=4294967100"], lambda i: i <= 10),
                              (["--from=4294967250", "--to=54"], lambda i: 25 <= i <= 35),
                              (["--from=4294967251", "--to=53"], lambda i: 26 <= i <= 34)):
            self.convert("a.korraw", "b.csv", *options)
            self.assertEqual(self.stamps("b.csv"), [(4294967000 + 10 * i) % 2**32 for i in range(100) if keep(i)])

    def test_window_is_that_of_replay(self):
        folder = SHIPPED / "polarizer"
        window = ("--from=4294960000", "--to=5000")
        self.convert(str(folder / "polarizer.csv"), "part.csv", *window)
        self.kor("replay", "--prm", str(folder), "--id", "1005", str(folder / "polarizer.csv"), "-o", "a.csv", *window)
        self.kor("replay", "--prm", str(folder), "--id", "1005", "part.csv", "-o", "b.csv")
        self.assertEqual(self.get("a.csv"), self.get("b.csv"))

    def test_every(self):
        self.put("a.korraw", b"".join(plain(25)))
        _, errors = self.convert("a.korraw", "b.csv", "--every=10")
        self.assertEqual(self.stamps("b.csv"), [1000, 1100, 1200])
        self.assertIn("left out by --every:  22\n", errors)
        self.convert("a.korraw", "b.csv", "--every=10", "--from=1050", "--to=1180")
        self.assertEqual(self.stamps("b.csv"), [1050, 1150])
        self.convert("a.korraw", "b.csv", "--every=1")
        self.assertEqual(len(self.stamps("b.csv")), 25)

    def test_joining_the_parts_makes_the_whole(self):
        whole = plain(90, first=4294967000)
        self.put("whole.korraw", b"".join(whole))
        self.put("a.korraw", b"".join(whole[:20]))
        self.put("b.korraw", b"".join(whole[20:21]))
        self.put("c.korraw", b"".join(whole[21:]))
        self.convert("b.korraw", "b.csv")
        self.convert("c.korraw", "c.csv.gz")
        _, errors = self.convert("a.korraw", "b.csv", "c.csv.gz", "joined.korraw")
        self.assertNotIn("warning", errors)
        self.assertEqual(self.get("joined.korraw"), b"".join(whole))
        self.convert("a.korraw", "b.csv", "c.csv.gz", "every.csv", "--every=7")
        self.assertEqual(self.stamps("every.csv"), [(4294967000 + 70 * i) % 2**32 for i in range(13)])

    def test_stamps_that_go_backwards_between_parts_are_told(self):
        self.put("a.korraw", b"".join(plain(10)))
        self.put("b.korraw", b"".join(plain(10, first=1095)))
        _, errors = self.convert("b.korraw", "a.korraw", "c.korraw")
        self.assertIn("a.korraw begins at 1000 ms, before b.korraw ends at 1185 ms: the time stamps go backwards", errors)
        self.assertNotIn("warning", self.convert("a.korraw", "b.korraw", "c.korraw")[1])
        self.put("b.korraw", b"".join(plain(10, first=1090)))
        self.assertIn("b.korraw begins with the time stamp 1090 ms, with which a.korraw ends",
                      self.convert("a.korraw", "b.korraw", "c.korraw")[1])
        self.put("empty.csv", HEADER + "\n")
        _, errors = self.convert("b.korraw", "empty.csv", "a.korraw", "c.korraw")
        self.assertIn("empty.csv: there are no rows", errors)
        self.assertIn("before b.korraw ends at", errors)

    def test_kinds_are_not_mixed(self):
        self.put("a.korraw", b"".join(plain(3)))
        _, errors = self.convert("a.korraw", self.results(), "out.csv", status=DATA)
        self.assertIn("results.csv: found results, expected a recording, as a.korraw is", errors)
        self.assertFalse(os.path.exists(self.path("out.csv")))


class Refusals(Case):
    def setUp(self):
        super().setUp()
        self.put("a.korraw", b"".join(plain(5)))
        self.convert("a.korraw", "a.csv")

    def test_an_input_is_not_overwritten(self):
        before = self.get("a.csv")
        for arguments in (("a.csv", "a.csv"), ("a.korraw", "a.csv", "./a.csv"), ("a.csv", "a.korraw", "a.csv")):
            _, errors = self.convert(*arguments, status=USAGE)
            self.assertIn("is one of the files to convert", errors)
        self.assertEqual(self.get("a.csv"), before)

    def test_the_name_has_to_say_the_format(self):
        for name in ("out", "out.bin", "out.gz", "out.txt"):
            _, errors = self.convert("a.csv", name, status=USAGE)
            self.assertIn(f"{name}: the name does not say the format", errors)
        self.convert("a.csv", "out.bin", "--format=bin")
        self.assertEqual(self.get("out.bin"), self.get("a.korraw"))
        self.convert("a.csv", "OUT.KORRAW")
        self.assertEqual(self.get("OUT.KORRAW"), self.get("a.korraw"))

    def test_forms_that_a_kind_does_not_have(self):
        truth = str(SHIPPED / "polarizer" / "polarizer_truth.csv")
        for arguments, text in ((("a.csv", "out.korinfo"), "binary results, and the input is a recording"),
                                ((self.results(), "out.korraw"), "a binary recording, and the input is results"),
                                ((truth, "out.korraw"), "the input is a truth"),
                                ((truth, "out.dat", "--format=bin"), "a truth can only be written as CSV"),
                                (("a.csv", "out.dat", "--format=bare"), "--format bare is a form of results")):
            self.assertIn(text, self.convert(*arguments, status=USAGE)[1])

    def test_usage(self):
        for arguments in ((), ("a.csv",), ("a.csv", "o.csv", "--every=0"), ("a.csv", "o.csv", "--from=-1"),
                          ("a.csv", "o.csv", "--format=xml"), ("-", "-", "o.csv"), ("a.csv", "o.csv", "--to=x"),
                          ("a.csv", "o.csv", "--input-format=bare")):
            self.assertIn("kor convert --help", self.convert(*arguments, status=USAGE)[1])

    def test_a_bad_row_leaves_no_output_unless_it_is_left_out(self):
        lines = self.get("a.csv").decode().split("\n")
        lines[2] = lines[2].replace("12.5", "12.5x")
        self.put("bad.csv", "\n".join(lines))
        self.put("out.csv", "older")
        _, errors = self.convert("bad.csv", "out.csv", status=DATA)
        self.assertIn('bad.csv: line 3, column azimuthRaw: found "12.5x"', errors)
        self.assertEqual(self.get("out.csv"), b"older")
        _, errors = self.convert("bad.csv", "out.csv", "--skip-bad")
        self.assertIn("line 3, column azimuthRaw", errors)
        self.assertIn("bad, left out:        1\n", errors)
        self.assertEqual(self.stamps("out.csv"), [1000, 1020, 1030, 1040])
        self.put("cut.korraw", self.get("a.korraw")[:-1])
        self.assertIn("cut.korraw: record 5", self.convert("cut.korraw", "out.csv", status=DATA)[1])

    def test_nothing_to_convert(self):
        self.put("none.csv", HEADER + "\n")
        self.assertIn("there is nothing to convert", self.convert("none.csv", "out.csv", status=DATA)[1])
        self.assertIn("no row lies between --from and --to",
                      self.convert("a.csv", "out.csv", "--from=5000", "--to=6000", status=DATA)[1])
        self.put("empty.csv", "")
        self.convert("empty.csv", "out.csv", status=DATA)
        self.assertFalse(os.path.exists(self.path("out.csv")))

    def test_other_files(self):
        self.put("picture.csv", b"\x89PNG\r\n\x1a\n" + bytes(100))
        self.assertIn("PNG", self.convert("picture.csv", "out.csv", status=DATA)[1])
        self.assertIn("missing.csv", self.convert("missing.csv", "out.csv", status=NO_INPUT)[1])
        self.assertIn("nowhere", self.convert("a.csv", "nowhere/out.csv", status=CANNOT_CREATE)[1])

    def test_results_without_outcomes_do_not_gain_any(self):
        lines = self.get(self.results()).decode().split("\n")
        at = lines[0].split(",").index("outcome")
        old = "\n".join(",".join(cell for i, cell in enumerate(line.split(",")) if i != at) for line in lines)
        _, errors = self.convert(self.put("old.csv", old), "out.csv", status=DATA)
        self.assertIn("old.csv: the column outcome is missing; replay the recording again", errors)

    def test_bytes_without_a_column_are_told(self):
        made = bytearray(self.get("a.korraw"))
        made[68:72], made[68 * 3 + 50] = b"\1\0\0\0", 7
        self.put("b.korraw", bytes(made))
        self.assertIn("2 records have contents in bytes that the engine does not read",
                      self.convert("b.korraw", "out.csv")[1])
        self.assertNotIn("warning", self.convert("b.korraw", "out.korraw")[1])
        self.assertEqual(self.get("out.korraw"), bytes(made))

    def test_columns_that_are_left_out_are_told(self):
        lines = self.get("a.csv").decode().split("\n")
        self.put("more.csv", "\n".join([lines[0] + ",pressure"] + [line + ",5" if line else "" for line in lines[1:]]))
        self.assertIn('column "pressure" is not a column of a recording: left out', self.convert("more.csv", "out.csv")[1])
        self.assertEqual(self.get("out.csv"), self.get("a.csv"))

    def test_help_names_every_option(self):
        out = self.convert("--help")[0].decode()
        for option in ("--format", "--input-format", "--from", "--to", "--every", "--skip-bad", "--progress", "OUT",
                       "Examples:"):
            self.assertIn(option, out)

    @posix_only
    def test_a_closed_pipe_ends_quietly_and_loses_no_line(self):
        source = SHIPPED / "polarizer" / "polarizer.csv"
        done = subprocess.run(f"'{PATH}' convert '{source}' - | head -3", shell=True, executable="/bin/bash",
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(done.stdout, b"".join(source.read_bytes().splitlines(keepends=True)[:3]))
        self.convert(*[str(source)] * 4, "many.csv")  # more than a pipe holds
        done = subprocess.run(f"'{PATH}' convert many.csv - | head -1", shell=True, executable="/bin/bash",
                              cwd=self.dir, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(done.stderr, b"")
        self.assertEqual(done.stdout.decode(), HEADER + "\n")


if __name__ == "__main__":
    unittest.main()
