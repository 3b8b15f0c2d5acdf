#!/usr/bin/env python3
"""The help and the manual pages: made of one declaration, readable, and the pages of docs/man are those of the program.

    manual_test.py KOR [TEST]
"""
import filecmp
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from program import KOR, helps

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = ROOT / "docs/man"
CANNOT_CREATE, USAGE = 73, 64


def kor(*arguments, status=0):
    done = subprocess.run([*KOR, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if done.returncode != status:
        raise AssertionError(f"kor {' '.join(arguments)}: status {done.returncode}\n{done.stderr.decode()}")
    return done.stdout.decode(), done.stderr.decode()


def part(text, heading, following):
    """What stands below a heading of a help or a page, up to the next heading."""
    found = re.search(rf"^{heading}\n(.*?)(?={following}|\Z)", text, re.M | re.S)
    return found[1] if found else ""


def listed(help_text, heading):
    """Options or arguments of a help: the names of each."""
    return [re.split(r", ", re.match(r"(-[^ ,]+(, -[^ ,]+)*|\S+)", line)[0])
            for line in re.findall(r"^  (\S.*)$", part(help_text, heading, r"^\S"), re.M)]


class Case(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp()
        kor("--manual", cls.dir)
        cls.pages = {path.name: path.read_text(encoding="ascii") for path in pathlib.Path(cls.dir).iterdir()}

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.dir)


class Manual(Case):
    def test_the_pages_of_the_repository_are_those_of_the_program(self):
        self.assertEqual(sorted(self.pages), sorted(path.name for path in PAGES.iterdir()))
        _, others, errors = filecmp.cmpfiles(self.dir, PAGES, self.pages, shallow=False)
        self.assertEqual((others, errors), ([], []), "make them anew: kor --manual docs/man")

    def test_every_command_has_a_page_and_every_page_a_command(self):
        self.assertEqual({name.replace(" ", "-") + ".1" for name in helps()}, set(self.pages))
        self.assertGreaterEqual(len(self.pages), 15)

    def test_page_and_help_list_the_same_options_and_arguments(self):
        for name, text in helps().items():
            page = self.pages[name.replace(" ", "-") + ".1"].replace("\\-", "-")
            page = re.sub(r"\\f[A-Z]", "", page)
            for in_help, in_page in (("Options:", "OPTIONS"), ("Arguments:", "ARGUMENTS")):
                with self.subTest(command=name, part=in_page):
                    entries = re.findall(r"^\.TP\n(.*)$", part(page, f"\\.SH {in_page}", r"^\.SH"), re.M)
                    found = [re.split(r", ", re.match(r"(-[^ ,]+(, -[^ ,]+)*|\S+)", entry)[0]) for entry in entries]
                    self.assertEqual(found, listed(text, in_help))
                    if in_help == "Options:":
                        self.assertIn(["-h", "--help"], found)

    def test_pages_have_every_section_with_something_in_it(self):
        for name, page in self.pages.items():
            for heading in ("NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", '"EXIT STATUS"', "EXAMPLES", '"SEE ALSO"'):
                with self.subTest(page=name, section=heading):
                    self.assertRegex(part(page, rf"\.SH {heading}", r"^\.SH"), r"\w+")
        for heading in ("SUBCOMMANDS", "ENVIRONMENT", "FILES"):
            self.assertRegex(part(self.pages["kor.1"], rf"\.SH {heading}", r"^\.SH"), r"\w+")

    def test_pages_name_pages_that_there_are(self):
        named = {name for page in self.pages.values() for name in re.findall(r"\b(kor(?:\\-[a-z]+)*)(?:\\fR)? ?\(1\)", page)}
        self.assertLessEqual({name.replace("\\-", "-") + ".1" for name in named}, set(self.pages))
        self.assertGreaterEqual(len(named), 15)

    def test_the_page_of_a_command_has_its_own_statuses(self):
        def statuses(name):
            section = part(self.pages[name], r'\.SH "EXIT STATUS"', r"^\.SH")
            return {int(number): " ".join(words.split()) for number, words in
                    re.findall(r"^\.TP\n\.B (\d+)\n(.*?)(?=^\.TP|\Z)", section, re.M | re.S)}
        self.assertEqual(statuses("kor-compare.1")[1], "a tolerance is exceeded.")
        self.assertEqual(statuses("kor-compare.1")[65], "an input holds bad data, or there is nothing to compare.")
        self.assertNotIn(73, statuses("kor-compare.1"))  # it writes no file
        self.assertEqual(statuses("kor-plot.1")[69], "gnuplot, which draws the pictures, is not installed.")
        self.assertNotIn(1, statuses("kor-replay.1"))
        self.assertEqual(statuses("kor-prm.1")[1],
                         r"\fBkor\fR \fBprm\fR \fBdiff\fR: the files differ; \fBkor\fR \fBprm\fR \fBcheck\fR: a file has "
                         "warnings, and none has errors.")
        self.assertIn(r"\fBkor\fR \fBaccuracy\fR, \fBkor\fR \fBplot\fR: gnuplot", statuses("kor.1")[69])

    @unittest.skipUnless(shutil.which("mandoc"), "mandoc is not installed")
    def test_mandoc_finds_nothing(self):
        done = subprocess.run(["mandoc", "-T", "lint", *(os.path.join(self.dir, name) for name in sorted(self.pages))],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(done.stdout.decode(), "")

    @unittest.skipUnless(shutil.which("groff"), "groff is not installed")
    def test_groff_warns_of_nothing(self):
        done = subprocess.run(["groff", "-man", "-ww", "-Tutf8", "-z", "-rLL=79n",
                               *(os.path.join(self.dir, name) for name in sorted(self.pages))],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(done.stdout.decode(), "")

    def test_a_directory_that_cannot_be_written_is_told(self):
        _, errors = kor("--manual", os.path.join(self.dir, "none"), status=CANNOT_CREATE)
        self.assertIn("kor.1", errors)
        kor("--manual", status=USAGE)


class Help(Case):
    def test_every_help_fits_80_columns(self):
        for name, text in helps().items():
            for line in text.split("\n"):
                self.assertLessEqual(len(line), 79, (name, line))
                self.assertEqual(line, line.rstrip(), name)
            self.assertNotIn("\n\n\n", text, name)

    def test_every_help_has_its_parts_and_an_example(self):
        for name, text in helps().items():
            with self.subTest(name):
                self.assertRegex(text, rf"\A[A-Z].*\nUsage: {name}\b.*\n")
                self.assertRegex(part(text, "Options:", r"^\S"), r"(?m)^  -h, --help +Print this help and exit$")
                self.assertRegex(text, r"(?m)^Examples?:\n  \S(.|\n)*?:\n    \S")
                self.assertRegex(text, r"\nExit statuses:\n  0    done\n")
                if " " in name:
                    self.assertTrue(text.endswith("  kor --help lists the others.\n"))

    def test_the_usage_shows_what_is_required(self):
        self.assertIn("Usage: kor replay --prm DIR --id N [OPTIONS] RECORDING...\n", helps()["kor replay"])
        self.assertIn("Usage: kor prm check [OPTIONS] [FILE|DIR...]\n", helps()["kor prm check"])
        self.assertIn("Usage: kor prm new --mode M [OPTIONS]\n", helps()["kor prm new"])
        self.assertRegex(helps()["kor replay"], r"\n  --prm DIR +Directory of the parameter file \(required\)\n")

    def test_page_and_help_show_the_same_examples(self):
        for name, text in helps().items():
            in_help = re.sub(r" \\\n +", " ", part(text, "Examples?:", r"^\S"))
            commands = re.findall(r"(?m)^    (\S.*)$", in_help)
            page = self.pages[name.replace(" ", "-") + ".1"]
            shown = "".join(re.findall(r"^\.nf\n(.*?)^\.fi$", page, re.M | re.S))
            shown = shown.replace("\\-", "-").replace("\\(aq", "'").replace("\\(ha", "^").replace("\\e", "\\")
            self.assertEqual(commands, re.sub(r" \\\n +", " ", shown).splitlines())
            self.assertGreater(len(commands), 0)

    def test_help_of_a_group_stands_in_for_that_of_its_subcommands(self):
        self.assertEqual(kor("prm", "-h")[0], helps()["kor prm"])
        self.assertEqual(kor("prm", "--help", "show")[0], helps()["kor prm show"])


if __name__ == "__main__":
    unittest.main()
