#!/usr/bin/env python3
"""The completion of the command line in bash: what it offers, against what the program accepts.

    completion_test.py KOR [TEST]

Most tests call the function that the script gives to `complete`, with the words as bash would part them. Some type into a
bash at a terminal, and look at the arguments that the command gets in the end.
"""
import fcntl
import os
import pathlib
import pty
import re
import select
import shlex
import shutil
import subprocess
import tempfile
import termios
import time
import unittest

from program import KOR, PATH, helps

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCRIPT = ROOT / "tools/completion/kor"
DATA = ROOT / "data"
BREAKS = " \t\n\"'@><=;|&(:"  # of bash itself

RUN = r"""
compopt() { flags+=" $*"; }
offered() { # LINE POINT CWORD WORD...
    COMP_LINE=$1 COMP_POINT=$2 COMP_CWORD=$3
    COMP_WORDS=("${@:4}")
    flags=''
    COMPREPLY=()
    _kor kor "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    printf '%s\0' "${#COMPREPLY[@]}" "$flags" ${COMPREPLY[@]+"${COMPREPLY[@]}"}
}
"""


def parted(line, point, breaks):
    """COMP_WORDS and COMP_CWORD as bash makes them: parted at the breaks that are not quoted, blanks left out."""
    words, begins, at = [], [], 0
    while at < len(line):
        if line[at] in " \t\n":
            at += 1
            continue
        begin = at
        if line[at] in breaks and line[at] not in "\"'":
            while at < len(line) and line[at] in breaks and line[at] not in " \t\n\"'":
                at += 1
        else:
            while at < len(line) and line[at] not in breaks.replace('"', "").replace("'", ""):
                if line[at] == "\\":
                    at += 1
                elif line[at] in "\"'":
                    end = line.find(line[at], at + 1)
                    while line[at] == '"' and end > 0 and line[end - 1] == "\\":
                        end = line.find('"', end + 1)
                    at = end if end > 0 else len(line)
                at += 1
        begins.append(begin)
        words.append(line[begin:at])
    for i, begin in enumerate(begins):
        if begin < point <= begin + len(words[i]):
            return words, i
        if point <= begin:
            return words[:i] + [""] + words[i:], i
    return words + [""], len(words)


class Case(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp()

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.dir)

    def setUp(self):
        self.here = pathlib.Path(tempfile.mkdtemp(dir=self.dir))

    def put(self, *names):
        for name in names:
            path = self.here / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.touch() if not name.endswith("/") else path.mkdir(exist_ok=True)

    def offers(self, *lines, settings="", breaks=BREAKS, home=None):
        """What each line gets: a list of offers, with | where the cursor is if not at the end."""
        script = [f"COMP_WORDBREAKS={shlex.quote(breaks)}", f". {shlex.quote(str(SCRIPT))}", RUN, settings]
        for line in lines:
            point = line.find("|") if "|" in line else len(line)
            line = line.replace("|", "")
            words, word = parted(line, point, breaks)
            script.append(shlex.join(["offered", line, str(point), str(word), *words]))
        done = subprocess.run(["bash", "--norc", "-c", "\n".join(script)], cwd=self.here, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, env=dict(os.environ, HOME=str(home or self.here), LC_ALL="C.UTF-8"))
        self.assertEqual(done.stderr.decode(), "", settings)
        fields = done.stdout.decode().split("\0")[:-1]
        found = []
        self.flags = []
        while fields:
            count = int(fields[0])
            self.flags.append(fields[1].split())
            found.append(fields[2:2 + count])
            fields = fields[2 + count:]
        self.assertEqual(len(found), len(lines))
        return found

    def options(self, command):
        """Names of each option of a command by its help, and the word that stands for its value."""
        text = re.search(r"^Options:\n((?:  .*\n)*)", helps()[command], re.M)[1]
        return [(re.split(", ", names), value) for names, value in
                re.findall(r"^  (-[^ ,]+(?:, -[^ ,]+)*)(?: (\S+))?(?:  .*)?$", text, re.M)]


class Offers(Case):
    def test_every_subcommand_and_option_is_offered(self):
        commands = list(helps())
        self.assertGreaterEqual(len(commands), 15)
        for suffix, pattern in ((" -", "-"), (" --", "--")):
            for command, found in zip(commands, self.offers(*(command + suffix for command in commands))):
                wanted = [name for names, _ in self.options(command) for name in names if name.startswith(pattern)]
                self.assertEqual(found, wanted, command + suffix)
        found = self.offers("kor ", "kor prm ", "kor re", "kor prm from")
        self.assertEqual(["kor " + name for name in found[0]], [name for name in helps() if name.count(" ") == 1])
        self.assertEqual(["kor prm " + name for name in found[1]], [name for name in helps() if name.count(" ") == 2])
        self.assertEqual([sorted(found[2]), found[3]], [["replay", "report"], ["from-json"]])

    def test_values_are_those_that_the_program_accepts(self):
        needed = {"replay": "--prm . --id 5 a.csv", "simulate": f"--prm {DATA}/polarizer --id 1005 --motion static", "compare": "a b",
                  "convert": "a.csv b.csv", "plot": "a.csv -o a.svg", "report": "a.csv -o a.html --prm . --id 5", "prm check": "a.prm",
                  "prm new": "--id 5 --mode 5"}
        asked = [(command, names[-1]) for command in helps() for names, value in self.options(command) if value]
        offered = self.offers(*(f"{command} {option} " for command, option in asked))
        with_words = 0
        for (command, option), found in zip(asked, offered):
            words = command.split(" ")[1:]
            given = needed.get(" ".join(words), "").split(" ")
            if option in given:
                at = given.index(option)
                del given[at:at + 2]
            if option in ("-o", "--output", "--prm", "--manual", "--backup", "--uncertainty", "--truth"):
                self.assertEqual(found, [], (command, option))  # files and directories, of which there are none
                continue
            done = subprocess.run([*KOR, *words, *(word for word in given if word), f"{option}=?"], cwd=self.here,
                                  stderr=subprocess.PIPE, stdout=subprocess.PIPE)
            told = re.search(r'found "\?", expected (.*)', done.stderr.decode())
            told = told[1] if told else ""
            if choices := re.fullmatch(r"\w+(?: or \w+)+", told):
                wanted = choices[0].split(" or ")
            elif limits := re.match(r"a whole number from 1 to 10:", told):
                self.assertTrue(limits)
                wanted = [str(mode) for mode in range(1, 11)]
            elif channels := re.search(r"with a column of (.*)", told):
                wanted = [name + "=" for name in channels[1].split(", ")]
            elif motions := re.fullmatch(r"(.*), or a file of way-points", told):
                wanted = re.split(", | or ", motions[1])
            elif option in ("--columns", "--note") or (command, option) == ("kor compare", "--tolerance"):
                continue  # these need files, see below
            else:
                wanted = []
            with_words += bool(wanted)
            self.assertEqual(found, wanted, (command, option, told))
            text = " ".join(helps()[command].split())
            if wanted[:1] == ["1"]:
                self.assertRegex(text, "1 to 10|1, 2 dual level .*9, 10 two levels")
            elif wanted and wanted[0][-1] != "=":
                for word in wanted:
                    self.assertRegex(text, rf"\b{word}\b")
        self.assertGreaterEqual(with_words, 20)

    def test_columns_and_notes_are_those_that_files_have(self):
        folder = DATA / "polarizer"
        truth, raw = str(folder / "polarizer_truth.csv"), str(folder / "polarizer.csv")
        subprocess.run([*KOR, "replay", "--prm", str(folder), "--id=1005", raw, "-o", "r.csv", "--from=0", "--to=50", "-q"],
                       cwd=self.here, check=True)

        def listed(pattern, *arguments):
            done = subprocess.run([*KOR, *arguments], cwd=self.here, stderr=subprocess.PIPE, stdout=subprocess.PIPE)
            return set(re.search(pattern, done.stderr.decode())[1].split(", "))
        columns, tolerances, notes = self.offers("kor plot --columns ", "kor compare --tolerance ", "kor compare --note ")
        self.assertEqual(set(columns), listed("expected some of (.*)", "plot", raw, "r.csv", truth, "--columns=?", "-o", "a.svg"))
        both = [listed("both files have: (.*)", "compare", a, b, "--tolerance=?=1") for a, b in
                (("r.csv", "r.csv"), (truth, truth), ("r.csv", truth))]
        self.assertEqual(set(tolerances), {name + "=" for names in both for name in names})
        table = (ROOT / "docs/formats.md").read_text(encoding="utf-8").split("| `note` | `valid` |")[1].split("\n\n")[0]
        self.assertEqual(sorted(notes), sorted(re.findall(r"^\| `(\w+)` \| [01] \|", table, re.M)))

    def test_beginnings_and_both_forms_of_an_option(self):
        start = "kor replay --prm d --id 5 "
        found = self.offers(start + "--format b", start + "--format=b", start + "--format=", start + "--summary=js",
                            start + "--progress 'nev", start + '--mcs="o', start + "--mode 1", start + "--seed ",
                            start + "--strict=", start + "--no-such=", start + "--no-such ")
        self.assertEqual(found[:7], [["bin", "bare"], ["bin", "bare"], ["csv", "bin", "bare"], ["json"], ["never"],
                                     ["on", "off"], ["1", "10"]])
        self.assertEqual(found[7:], [[], [], [], []])
        # Without the break at =, the whole word is replaced.
        self.assertEqual(self.offers("kor replay --format=b", "kor replay --mode=", breaks=BREAKS.replace("=", "")),
                         [["--format=bin", "--format=bare"], [f"--mode={mode}" for mode in range(1, 11)]])

    def test_lists_assignments_and_units(self):
        found = self.offers("kor plot --columns azi", "kor plot --columns azimuthRaw,el", "kor plot --columns=azimuthRaw,a",
                            "kor simulate --noise elev", "kor simulate --noise=elev", "kor simulate --bias elevationRaw=",
                            "kor simulate --noise sensorVector_x=0.5 --noise sensorVector_",
                            "kor compare --tolerance 0.05", "kor compare --tolerance 3a", "kor compare --tolerance=.5d",
                            "kor compare --tolerance orien", "kor compare --tolerance orientation=0.1", "kor compare --tolerance x")
        self.assertEqual(found, [["azimuthRaw", "azimuth_deg"], ["azimuthRaw,elevationRaw", "azimuthRaw,elevation_deg"],
                                 ["azimuthRaw,azimuth_deg"], ["elevationRaw="], ["elevationRaw="], [],
                                 [f"sensorVector_{axis}=" for axis in "xyz"],
                                 ["0.05deg", "0.05arcsec", "0.05rad"], ["3arcsec"], [".5deg"],
                                 ["orientation=", "orientationX_deg=", "orientationZ_deg=", "orientationY_deg="], [], []])
        for i in (0, 1, 2, 3, 4, 6, 10):
            self.assertIn("nospace", self.flags[i])

    def test_what_is_there_already_is_not_offered_again(self):
        all_of_it, = self.offers("kor replay --")
        after, behind, repeated = self.offers("kor replay --prm d -o x --strict --", "kor replay --| --prm d --strict -o x",
                                              "kor simulate --noise levelXRaw=1 --noi")
        self.assertEqual(after, [name for name in all_of_it if name not in ("--prm", "--output", "--strict")])
        self.assertEqual(behind, after)
        self.assertEqual(repeated, ["--noise"])

    def test_arguments_come_to_an_end(self):
        self.put("a.csv", "b.csv")
        found = self.offers("kor compare ", "kor compare a.csv ", "kor compare a.csv b.csv ", "kor compare a.csv b.csv --br",
                            "kor convert a.csv b.csv ", "kor accuracy ", "kor replay --", "kor replay -- ", "kor replay -- -",
                            "kor report a.csv -", "kor prm show a ")
        files = ["a.csv", "b.csv"]
        self.assertEqual(found[:2], [files, files])
        self.assertEqual(found[2], [names[-1] for names, _ in self.options("kor compare")])
        self.assertEqual(found[3:6], [["--brief"], files, [names[-1] for names, _ in self.options("kor accuracy")]])
        self.assertIn("--prm", found[6])
        self.assertEqual(found[7:9], [files, []])
        self.assertEqual(found[9], [name for names, _ in self.options("kor report") for name in names])
        self.assertEqual(found[10], ["--help", "--rows"])


class Files(Case):
    def test_files_have_the_endings_that_the_command_reads_or_writes(self):
        self.put("a.csv", "b.korraw", "c.korinfo", "d.CSV.gz", "e.korraw.zst", "f.prm", "g.json", "h.svg", "i.html", "j.txt",
                 "k/", ".hidden.csv", "Tg5.prm")
        wanted = {
            "replay ": ["a.csv", "b.korraw", "d.CSV.gz", "e.korraw.zst"], "replay -o ": ["a.csv", "c.korinfo", "d.CSV.gz"],
            "compare ": ["a.csv", "c.korinfo", "d.CSV.gz"], "report ": ["a.csv", "b.korraw", "c.korinfo", "d.CSV.gz", "e.korraw.zst"],
            "report a.csv -o ": ["i.html"], "plot a.csv --output=": ["h.svg"], "plot --truth ": ["a.csv", "d.CSV.gz"],
            "prm show ": ["Tg5.prm", "f.prm"], "prm from-json ": ["g.json"], "prm json a -o ": ["g.json"],
            "prm check ": ["Tg5.prm", "f.prm"], "accuracy --uncertainty ": ["g.json"], "accuracy --plot ": ["h.svg"],
            "simulate --truth ": ["a.csv", "d.CSV.gz"], "replay --prm ": [], "--manual ": [],
            "simulate --motion ": ["static", "circle", "roll", "swing", "random", "a.csv", "d.CSV.gz"],
            "replay a.csv >": None, "replay a.csv 2> ": None,
        }
        everything = sorted(name for name in os.listdir(self.here) if name[0] != ".")
        for (line, names), found, flags in zip(wanted.items(), self.offers(*("kor " + line for line in wanted)), self.flags):
            expected = everything if names is None else sorted(names + ["k"])
            self.assertEqual(sorted(found), expected, line)
            self.assertIn("filenames", flags)
        # When nothing has such an ending, a file to read may have any name; one to be written may not.
        found = self.offers("kor replay j", "kor replay -o j", "kor replay none", "kor replay .h", "kor replay k/", "kor replay .")
        self.assertEqual(found, [["j.txt"], [], [], [".hidden.csv"], [], [".hidden.csv"]])

    def test_names_with_everything_in_them(self):
        names = ["with space.csv", "it's.csv", 'q"uote.csv', "do$lar.csv", "st*r.csv", "back\\slash.csv", "eq=ual.csv",
                 "co:lon.csv", "at@.csv", "new\nline.csv", "br[a]ck.csv", "tick`.csv", "semi;.csv", "ümlaut.csv"]
        self.put(*names, "a dir/in side.csv")
        lines = []
        for name in names:
            lines += ["kor replay " + re.sub(r"([^\w])", r"\\\1", name[:4]), "kor replay '" + name[:4].replace("'", "'\\''"),
                      'kor replay --prm d --id 5 "' + re.sub(r'([\\$`"])', r"\\\1", name[:4])]
        lines = [line for line in lines if "\n" not in line]
        found = self.offers(*lines)
        for line, offers in zip(lines, found):
            self.assertEqual(len(offers), 1, line)
        self.assertEqual(found[0:3], [["with space.csv"]] * 3)
        self.assertEqual(self.offers("kor replay eq=u", "kor replay co:", "kor replay --output=eq=u", "kor replay a\\ dir/",
                                     "kor replay --output='a dir/in", "kor replay n", "kor replay -o=with", "kor replay at@",
                                     "kor replay wi|th\\ s --prm d", "kor replay --in|zzz",
                                     "kor replay --format=ba|zzz --prm d"),
                         [["ual.csv"], ["lon.csv"], ["ual.csv"], ["a dir/in side.csv"], ["a dir/in side.csv"],
                          ["new\nline.csv"], [], [".csv"], ["with space.csv"], ["--input-format"], ["bare"]])

    def test_home_is_kept_as_it_was_written(self):
        self.put("home/a.csv", "home/b c.csv", "home/Tg7.prm")
        found = self.offers("kor replay ~/a", "kor replay ~/b", "kor replay --prm ~ --id ", "kor replay --prm ~/ --id ",
                            "kor replay --prm $HOME --id ", "kor replay --prm ${HOME}/ --id ", "kor replay --prm $NONE --id ",
                            home=self.here / "home")
        self.assertEqual(found, [["~/a.csv"], ["~/b c.csv"], ["7"], ["7"], ["7"], ["7"], []])

    def test_ids_are_those_in_the_directory(self):
        self.put("cal/Tg5.prm", "cal/Tg1005.prm", "cal/Tg-3.prm", "cal/Tgx.prm", "cal/Tg6.prm.bak", "my cal/Tg8.prm", "c'al/Tg9.prm")
        found = self.offers("kor replay --prm cal --id ", "kor replay --prm=cal --id=", "kor replay --id | --prm cal",
                            "kor simulate --prm cal/ --id 1", "kor replay --prm 'my cal' --id ", "kor replay --prm my\\ cal --id ",
                            'kor report --prm "c\'al" --id ', "kor accuracy --id=| --prm=cal", "kor replay --id ",
                            "kor replay --prm none --id ", "kor replay --prm cal --id 5 --prm")
        self.assertEqual([sorted(ids) for ids in found],
                         [["-3", "1005", "5"]] * 3 + [["1005"], ["8"], ["8"], ["9"], ["-3", "1005", "5"], [], [], []])

    def test_settings_of_the_shell_do_not_matter(self):
        self.put("a b.csv", "cal/Tg5.prm")
        lines = ("kor ", "kor replay --f", "kor replay --format=", "kor replay a", "kor replay nothing", "kor replay --prm cal --id ",
                 "kor replay --prm none --id ", "kor plot --columns azimuthRaw,e", "kor prm sh", "kor  prm\tshow  ")
        wanted = self.offers(*lines)
        self.assertEqual(wanted[3], ["a b.csv"])
        for settings in ("set -u", "set -f", "shopt -s failglob", "shopt -s nullglob", "IFS=,", "shopt -s dotglob nocaseglob extglob",
                         "GLOBIGNORE='*'", "set -o posix", "shopt -s nocasematch", "CDPATH=/usr"):
            found = self.offers(*lines, settings=settings)
            self.assertEqual(found, wanted, settings)


class Shell(Case):
    """Types into bash at a terminal, whose command kor prints its arguments."""

    def typed(self, *lines):
        primary, secondary = pty.openpty()
        environment = dict(os.environ, HOME=str(self.here), PS1="", TERM="dumb", LC_ALL="C.UTF-8", INPUTRC="/dev/null",
                           HISTFILE="/dev/null")
        # Without a terminal that controls it, a shell now and then waits for ever behind a pipeline.
        shell = subprocess.Popen(["bash", "--norc", "--noprofile", "-i"], cwd=self.here, stdin=secondary, stdout=secondary,
                                 stderr=secondary, env=environment, start_new_session=True,
                                 preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        os.close(secondary)
        try:
            say = lambda text: os.write(primary, text.encode())
            say(f"PS1=; bind 'set bell-style none'; bind 'set enable-bracketed-paste off'; . {shlex.quote(str(SCRIPT))}; "
                "kor() { printf '<%s>' \"$@\"; echo read''y; }; kor now\n")  # parted, as the line itself is shown, too
            seen, deadline = "", time.monotonic() + 60
            for number, line in enumerate(("",) + lines):
                if number:
                    say(line + "\n")
                while seen.count("ready\r\n") < number + 1:
                    self.assertLess(time.monotonic(), deadline, repr(seen))
                    if select.select([primary], [], [], 1)[0]:
                        seen += os.read(primary, 65536).decode(errors="replace")
        finally:
            shell.kill()
            shell.wait()
            os.close(primary)
        return [re.findall(r"<([^>]*)>", part)[-9:] for part in re.findall(r"((?:<[^>]*>)+)ready\r\n", seen)][1:]

    def test_names_come_out_whole(self):
        self.put("with space.csv", "it's here.csv", "eq=ual.csv", "do$lar.csv", "a dir/in side.csv", "my cal/Tg1005.prm")
        wanted = {
            "kor rep\tx": ["repx"],  # report or replay
            "kor repl\t": ["replay"],
            "kor replay wi\t": ["replay", "with space.csv"],
            "kor replay 'wi\t": ["replay", "with space.csv"],
            'kor replay "it\t': ["replay", "it's here.csv"],
            "kor replay it\t": ["replay", "it's here.csv"],
            "kor replay do\t": ["replay", "do$lar.csv"],
            "kor replay eq=u\t": ["replay", "eq=ual.csv"],
            "kor replay a\t\t": ["replay", "a dir/in side.csv"],
            "kor replay --output=with\t": ["replay", "--output=with space.csv"],
            "kor replay --output='with\t": ["replay", "--output=with space.csv"],
            "kor replay --format=ba\t": ["replay", "--format=bare"],
            "kor replay --input-f\tcs\t": ["replay", "--input-format", "csv"],
            "kor replay --prm my\\ cal --id=\t": ["replay", "--prm", "my cal", "--id=1005"],
            "kor replay --prm m\t --id \tx": ["replay", "--prm", "my cal/", "--id", "1005", "x"],
            "kor simulate --noise azi\t0.5": ["simulate", "--noise", "azimuthRaw=0.5"],
            "kor compare --tolerance 0.5arc\t": ["compare", "--tolerance", "0.5arcsec"],
            "kor prm fr\t-o x": ["prm", "from-json", "-o", "x"],
            "true | kor repl\t": ["replay"],
        }
        self.assertEqual(dict(zip(wanted, self.typed(*wanted))), wanted)


class Script(Case):
    def test_the_script_of_the_repository_is_that_of_the_program(self):
        done = subprocess.run([*KOR, "--bash-completion"], check=True, stdout=subprocess.PIPE)
        self.assertEqual(done.stdout.decode(), SCRIPT.read_text(encoding="ascii"),
                         "make it anew: kor --bash-completion >tools/completion/kor")

    @unittest.skipUnless(shutil.which("shellcheck"), "shellcheck is not installed")
    def test_shellcheck_finds_nothing(self):
        done = subprocess.run(["shellcheck", str(SCRIPT)], stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual((done.returncode, done.stdout.decode()), (0, ""))

    @unittest.skipUnless(os.path.exists("/usr/share/bash-completion/bash_completion"), "bash-completion is not installed")
    def test_bash_completion_finds_it_where_it_is_installed(self):
        place = self.here / "bash-completion/completions"
        place.mkdir(parents=True)
        shutil.copy(SCRIPT, place / "kor")
        done = subprocess.run(["bash", "--norc", "-c", ". /usr/share/bash-completion/bash_completion; "
                               "_completion_loader kor; complete -p kor; declare -F _kor"],
                              env=dict(os.environ, XDG_DATA_DIRS=str(self.here), PATH=f"{pathlib.Path(PATH).parent}:{os.environ['PATH']}"),
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual((done.stdout.decode(), done.stderr.decode()), ("complete -F _kor kor\n_kor\n", ""))


if __name__ == "__main__":
    unittest.main()
