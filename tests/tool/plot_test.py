#!/usr/bin/env python3
"""End-to-end tests of `kor plot`.

    plot_test.py KOR [-v] [Class[.test] ...]

What is drawn is read from the script that gnuplot gets: a program of that name in PATH keeps it. Pictures themselves are
gnuplot's own, in as few tests as tell that it understands the script.
"""
import json
import math
import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree
import zlib

from program import KOR, WINDOWS

USAGE, DATA, NO_INPUT, UNAVAILABLE, SOFTWARE = 64, 65, 66, 69, 70
SHIPPED = pathlib.Path(__file__).resolve().parents[2] / "data"
POLARIZER = SHIPPED / "polarizer"
BLUE = (0x00, 0x72, 0xB2)
VERMILION = (0xD5, 0x5E, 0x00)

# Keeps its arguments and its standard input, and hands out something to be written.
STAND_IN = """#!/bin/sh
printf '%s\\n' "$@" > "$KEPT/arguments"
cat > "$KEPT/script"
printf drawn
exit $STATUS
"""


class Case(unittest.TestCase):
    on_windows = False # the Windows build draws nothing

    def setUp(self):
        if WINDOWS != self.on_windows:
            self.skipTest("of the Windows build" if self.on_windows else "the Windows build draws nothing")
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = pathlib.Path(place.name)

    def kor(self, *arguments, expect=0, env=None, **options):
        options.setdefault("cwd", self.place)
        environment = {key: value for key, value in os.environ.items() if key not in ("DISPLAY", "WAYLAND_DISPLAY")}
        done = subprocess.run([*KOR, *map(os.fspath if WINDOWS else os.fsencode, arguments)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env={**environment, **(env or {})}, **options)
        self.assertEqual(done.returncode, expect, done.stderr)
        return done.stderr.decode("utf-8", "surrogateescape")

    def script(self, *arguments, status=0, expect=0, env=None, **options):
        """What gnuplot is told to draw."""
        programs = self.place / "programs"
        programs.mkdir(exist_ok=True)
        (programs / "gnuplot").write_text(STAND_IN)
        (programs / "gnuplot").chmod(0o755)
        environment = {"PATH": f"{programs}:{os.environ['PATH']}", "KEPT": str(self.place), "STATUS": str(status)}
        self.errors = self.kor("plot", *arguments, expect=expect, env={**environment, **(env or {})}, **options)
        return (self.place / "script").read_text()

    def results(self, mode="polarizer", sensor=1005):
        path = self.place / f"{mode}.csv"
        self.kor("replay", "-q", "--prm", SHIPPED / mode, "--id", str(sensor), SHIPPED / mode / f"{mode}.csv", "-o", path)
        return path


def blocks(script):
    """The data of a script: for each block its pieces, which blank lines separate, as lists of points."""
    found = {}
    for name, text in re.findall(r"^(\$d\d+) << EOD\n(.*?)^EOD$", script, re.M | re.S):
        found[name] = [[tuple(map(float, line.split())) for line in piece.splitlines()]
                       for piece in text.strip("\n").split("\n\n")]
    return found


def drawn(script, title):
    """The pieces of the line that the legend has under that title."""
    name = re.search(rf"(\$d\d+) using 1:2 with lines [^\n]* title '{re.escape(title)}'", script).group(1)
    return blocks(script)[name]


def points(pieces):
    return [point for piece in pieces for point in piece]


def pixels(content):
    """Width and the colours of a PNG of 8 bits, row by row."""
    width, height, depth, kind, _, _, interlaced = struct.unpack(">2I5B", content[16:29])
    assert (depth, interlaced) == (8, 0) and kind in (2, 6)
    channels = 3 if kind == 2 else 4
    packed, at = b"", 8
    while at < len(content):
        length, name = struct.unpack(">I4s", content[at:at + 8])
        packed += content[at + 8:at + 8 + length] if name == b"IDAT" else b""
        at += 12 + length
    raw, rows, before = zlib.decompress(packed), [], bytes(width * channels)
    for row in range(height):
        at = row * (width * channels + 1)
        kind, line = raw[at], bytearray(raw[at + 1:at + 1 + width * channels])
        for i in range(len(line)):
            left, up = line[i - channels] if i >= channels else 0, before[i]
            corner = before[i - channels] if i >= channels else 0
            near = min((abs(up - corner), 0, left), (abs(left - corner), 1, up), (abs(left + up - 2 * corner), 2, corner))
            line[i] = (line[i] + (0, left, up, (left + up) // 2, near[2])[kind]) & 255
        before = bytes(line)
        rows.append([tuple(line[i:i + 3]) for i in range(0, len(line), channels)])
    return rows


class Pictures(Case):
    def test_a_png_shows_the_lines_in_their_panels(self):
        truth = SHIPPED / "pendulum" / "pendulum_truth.csv"
        self.kor("plot", truth, "--columns", "position_x,position_y", "--size", "500x300", "-o", "small.png")
        rows = pixels((self.place / "small.png").read_bytes())
        self.assertEqual((len(rows), len(rows[0])), (300, 500))
        for colour in (BLUE, VERMILION):
            columns = {x for row in rows for x, pixel in enumerate(row) if
                       max(abs(a - b) for a, b in zip(pixel, colour)) < 60}
            self.assertGreater(len(columns), 200) # one in most columns of the panel's 300
        self.assertEqual([path.name for path in self.place.iterdir()], ["small.png"]) # nothing temporary

    def test_hostile_names_are_shown_and_not_obeyed(self):
        name = b"a'; system 'touch 1'; #{*9 b}_c^d`touch 2`@e\"$(touch 3)\\n\\\nset output '4'\x1b\xff&<.csv"
        file = os.fsencode(self.place) + b"/" + name
        with open(file, "wb") as copy:
            copy.write(b"".join((SHIPPED / "pendulum" / "pendulum_truth.csv").read_bytes().splitlines(True)[:40]))
        before = set(os.listdir(self.place))
        self.kor("plot", name, name, "--columns", "position_x", "--size", "1600x400", "-o", "out.svg")
        self.assertEqual(set(os.listdir(self.place)) - before, {"out.svg"})
        texts = " ".join("".join(text.itertext()) for text in xml.etree.ElementTree.parse(self.place / "out.svg").iter()
                         if text.tag.endswith("}text"))
        shown = "a'; system 'touch 1'; #{*9 b}_c^d`touch 2`@e\"$(touch 3)\\n\\\\x0aset output '4'\\x1b\\xff&<.csv"
        self.assertIn(shown.replace(" ", ""), texts.replace(" ", "").replace("\xa0", ""))

    def test_a_pdf_and_a_compressed_svg_are_made_by_their_names(self):
        truth = SHIPPED / "pendulum" / "pendulum_truth.csv"
        self.kor("plot", truth, "--columns", "valid", "-o", "out.pdf")
        self.assertTrue((self.place / "out.pdf").read_bytes().startswith(b"%PDF-"))
        self.kor("plot", truth, "--columns", "valid", "-o", "out.svg.gz")
        self.assertIn(b"<svg", zlib.decompress((self.place / "out.svg.gz").read_bytes(), 31))

    def test_a_column_without_a_value_is_drawn_empty(self):
        lines = (SHIPPED / "polarizer" / "polarizer.csv").read_text().splitlines()[:50]
        column = lines[0].split(",").index("levelTemperature")
        rows = [line.split(",") for line in lines[1:]]
        for row in rows:
            row[column] = "nan"
        (self.place / "none.csv").write_text("\n".join([lines[0], *map(",".join, rows)]))
        self.kor("plot", "none.csv", "--columns", "levelTemperature", "-o", "out.svg")
        self.assertIn("not finite: 49", (self.place / "out.svg").read_text())


class Content(Case):
    def test_one_outlier_among_two_million_rows_is_drawn(self):
        import numpy
        kind = numpy.dtype({"names": ["status", "vector", "azimuth", "rest", "stamp"], "itemsize": 68, "offsets":
                            [4, 8, 20, 24, 64], "formats": ["<i4", "3<f4", "<f4", "5<f4", "<u4"]})
        rows = numpy.zeros(2000000, dtype=kind)
        rows["status"], rows["vector"], rows["stamp"] = 2, 1000, numpy.arange(2000000, dtype=numpy.uint32) * 10
        rows["azimuth"] = numpy.arange(2000000) % 7
        rows["azimuth"][1234567] = -40
        script = self.script("-", "--columns", "azimuthRaw", "-o", "out.png", input=rows.tobytes())
        line = points(drawn(script, "azimuthRaw"))
        self.assertIn((12345.67 / 3600, -40), [(x, y) for x, y in line if y == -40])
        self.assertEqual(max(y for _, y in line), 6)
        self.assertLess(len(line), 5000)

    def test_lines_break_at_gaps_and_where_there_is_no_orientation(self):
        lines = self.results().read_text().splitlines()
        header, rows = lines[0].split(","), lines[1:]
        kept = rows[:500] + rows[700:]
        (self.place / "gap.csv").write_text("\n".join([lines[0], *kept]))
        script = self.script("gap.csv", "-o", "out.svg", "--size", "9000x900")
        outcome = header.index("outcome")
        ok = [row.split(",")[outcome] == "ok" for row in kept]
        pieces = sum(ok[i] and (i == 0 or not ok[i - 1] or i == 500) for i in range(len(kept)))
        angles = drawn(script, "orientationX_deg")
        self.assertEqual(len(points(angles)), sum(ok)) # every sample of its own in so wide a picture
        self.assertEqual(len(angles), pieces)
        self.assertEqual(len(drawn(script, "azimuth_deg")), 2) # which every sample has
        self.assertEqual(len(points(drawn(script, "azimuth_deg"))), len(kept))
        self.assertEqual(re.findall(r"'gap \(1\)' \S+ ", script), ["'gap (1)' 0, "])
        rejected = sum(row.split(",")[outcome] == "rejected_status" for row in kept)
        self.assertEqual(re.findall(r"'([a-z_]+) \((\d+)\)' (-\d)", script),
                         [("before_reference", "111", "-1"), ("rejected_status", str(rejected), "-2")])
        last = max(i for i, row in enumerate(kept) if row.split(",")[outcome] == "before_reference")
        self.assertTrue(f"set arrow from first {last / 100:g}, graph 0" in script) # one sample each 10 ms

    def test_the_error_is_that_of_kor_compare(self):
        results, truth = self.results("two_level", 1009), SHIPPED / "two_level" / "two_level_truth.csv"
        found = json.loads(subprocess.run([*KOR, "compare", results, truth, "--json"], stdout=subprocess.PIPE,
                                          check=True).stdout)["orientation"]
        script = self.script(results, "--truth", truth, "-o", "out.svg", "--size", "9000x900")
        angles = points(drawn(script, "angle"))
        self.assertEqual(len(angles), found["rows"])
        self.assertEqual(max(y for _, y in angles), found["largest_arcsec"])
        parts = [dict(points(drawn(script, f"about {axis}"))) for axis in "xyz"]
        for at, angle in angles:
            # The parts are those of the angle: rounded five times in double precision.
            self.assertAlmostEqual(math.hypot(*(part[at] for part in parts)), angle, delta=1e-14 * angle)

    def test_several_runs_lie_over_each_other_by_their_stamps(self):
        self.results()
        script = self.script("polarizer.csv", POLARIZER / "polarizer_truth.csv", "polarizer.csv", "-o", "out.svg")
        looks = [re.search(rf"with lines (lc [^\n]*) title 'polarizer.csv{again}: azimuth_deg'", script).group(1)
                 for again in ("", r" \(2\)")]
        colours, dashes = ({re.search(pattern, look).group(1) for look in looks} for pattern in ("rgb '(.*?)'", "dt (.)"))
        self.assertEqual((len(colours), len(dashes)), (2, 2))
        self.assertIn("time since stamp 4294955299 ms", script)
        times = [x for x, _ in points(drawn(script, "polarizer.csv: azimuth_deg"))]
        self.assertEqual(times, sorted(times)) # across the wrap of the stamps
        self.assertAlmostEqual(times[-1], 23.99)
        other = self.script("polarizer.csv", SHIPPED / "pendulum" / "pendulum_truth.csv", "--from", "4294960000",
                            "--to", "4294961400", "-o", "out.svg")
        self.assertIn("time since stamp 429496", other)

    def test_runs_of_one_name_are_told_apart_by_their_folders(self):
        for folder in ("first/out", "second/out"):
            (self.place / folder).mkdir(parents=True)
            (self.place / folder / "polarizer.csv").write_bytes(self.results().read_bytes())
        script = self.script("polarizer.csv", "first/out/polarizer.csv", "second/out/polarizer.csv",
                             "second/out/polarizer.csv", "--columns", "azimuth_deg", "-o", "out.svg", "--size", "2000x900")
        names = ["polarizer.csv", "first/out/polarizer.csv", "second/out/polarizer.csv", "second/out/polarizer.csv (2)"]
        self.assertEqual(re.findall(r"title '([^']*): azimuth_deg'", script), names)
        self.assertIn("'" + ", ".join(names) + "' at screen", script)

    def test_from_to_and_bad_rows(self):
        lines = (POLARIZER / "polarizer.csv").read_text().splitlines()
        lines[5] = "x" + lines[5][1:]
        (self.place / "bad.csv").write_text("\n".join(lines))
        stamps = [int(line.rsplit(",", 1)[1]) for line in lines[1:]]
        self.kor("plot", "bad.csv", "-o", "out.svg", expect=DATA)
        script = self.script("bad.csv", "--skip-bad", "--from", str(stamps[10]), "--to", str(stamps[30]), "-o", "out.svg")
        self.assertEqual(len(points(drawn(script, "azimuthRaw"))), 21)
        self.assertIn("1 rows that could not be read", self.errors)


class Refusals(Case):
    def test_an_unknown_column_is_told_with_those_that_are_known(self):
        told = self.kor("plot", POLARIZER / "polarizer.csv", "--columns", "azimuthRaw,azimut", "-o", "out.svg", expect=USAGE)
        self.assertIn('found "azimut", expected some of status, sensorVector_x', told)

    def test_what_cannot_be_drawn_is_refused(self):
        for arguments, status, words in [
                (["run.csv", "-o", "out.svg"], NO_INPUT, "cannot open run.csv"),
                ([POLARIZER / "Tg1005.prm", "-o", "out.svg"], DATA, "found a parameter file, expected a recording, results"),
                ([POLARIZER / "polarizer.csv"], USAGE, "there is no desktop"),
                ([POLARIZER / "polarizer.csv", "-o", "out.jpg"], USAGE, "ends in .svg, .png or .pdf"),
                ([POLARIZER / "polarizer.csv", "-o", "out.svg", "--size", "10x10"], USAGE, "from 300 to 20000"),
                ([POLARIZER / "polarizer.csv", "-o", "out.svg", "--to", "x"], USAGE, "--to"),
                ([POLARIZER / "polarizer.csv", "-o", "out.svg", "--from", "1", "--to", "2"], DATA, "no row lies between"),
                ([POLARIZER / "polarizer.csv", "-o", "out.svg", "--truth", POLARIZER / "polarizer_truth.csv"], USAGE,
                 "--truth requires results"),
                (["-", "-", "-o", "out.svg"], USAGE, "only one of the files")]:
            self.assertIn(words, self.kor("plot", *arguments, expect=status, stdin=subprocess.DEVNULL))
        self.assertEqual(list(self.place.iterdir()), [])

    def test_a_missing_or_failing_gnuplot_is_told(self):
        recording = POLARIZER / "polarizer.csv"
        told = self.kor("plot", recording, "-o", "out.svg", expect=UNAVAILABLE, env={"PATH": str(self.place)})
        self.assertIn("apt-get install gnuplot-nox", told)
        (self.place / "out.svg").write_text("old")
        self.script(recording, "-o", "out.svg", status=1, expect=SOFTWARE)
        self.assertIn("gnuplot has drawn nothing (exit status 1)", self.errors)
        self.assertEqual((self.place / "out.svg").read_text(), "old")

    def test_the_picture_is_written_as_every_output_is(self):
        recording = self.place / "run.csv"
        recording.write_bytes((POLARIZER / "polarizer.csv").read_bytes())
        (self.place / "out.svg").write_text("old")
        (self.place / "out.svg").chmod(0o640)
        (self.place / "link.svg").symlink_to("out.svg")
        self.script(recording, "-o", "link.svg")
        self.assertTrue((self.place / "link.svg").is_symlink())
        self.assertEqual((self.place / "out.svg").read_text(), "drawn")
        self.assertEqual((self.place / "out.svg").stat().st_mode & 0o777, 0o640)
        (self.place / "same.svg").symlink_to("run.csv")
        self.assertIn("one of the files to plot", self.kor("plot", recording, "-o", "same.svg", expect=USAGE))


class Desktop(Case):
    def test_a_window_is_opened_where_there_is_a_desktop(self):
        script = self.script(POLARIZER / "polarizer.csv", env={"DISPLAY": ":77"})
        self.assertEqual((self.place / "arguments").read_text().split(), ["--default-settings", "-persist", "-"])
        self.assertIn("set terminal qt noenhanced persist", script)
        self.assertIn("unset multiplot", script)
        self.script(POLARIZER / "polarizer.csv", env={"DISPLAY": ":77"}, status=3, expect=UNAVAILABLE)
        self.assertIn("this gnuplot cannot open windows; give -o FILE", self.errors)


class OtherSystem(Case):
    on_windows = True

    def test_the_windows_build_says_that_it_draws_nothing(self):
        told = self.kor("plot", POLARIZER / "polarizer.csv", "-o", "out.svg", expect=UNAVAILABLE)
        self.assertIn("this build starts no other programs; the page of kor report needs no other program", told)


if __name__ == "__main__":
    unittest.main()
