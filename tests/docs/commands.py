#!/usr/bin/env python3
"""Runs the commands that the documents show.

    commands.py ROOT TREE KOR                        all documents of the repository
    commands.py --in FOLDER DOCUMENT SECTION [EMULATOR...]
                                                     one section of a document, in a folder that has what it needs; with an
                                                     emulator for the commands of Windows among them
    commands.py --itself                             faults planted in a document are found

Every document has a copy of the repository to itself. Its commands run there in one shell, in their order, so that
variables and files of one command serve the next. Each has to end with status 0, or with the status that a comment behind
it names: `# exit status 1`. If a block marked text follows, each of its lines has to be among what was printed, whatever
the numbers are.

What would take minutes is replaced: `cmake --preset` and `cmake --build --preset` look the preset up and take the tree TREE,
which is built already, for its result; `ctest` lists the tests that it would run, of which there must be one. `kor` is KOR.
"""
import fnmatch
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

import documents

DOCUMENTS = ["README.md", "CONTRIBUTING.md", "docs/*.md", "docs/man/*.1", "data/README.md", "tests/*/README.md"]

# Commands that are not run here, with the reason: document, expression for the whole command, reason.
NOT_RUN = [
    ("CONTRIBUTING.md", r"git ls-files .*clang-format.*", "the first step of check.sh"),
    ("CONTRIBUTING.md", r"scripts/tidy\.sh .*", "the second step of check.sh"),
    ("CONTRIBUTING.md", r"scripts/(coverage|mutate)\.py", "minutes and hours"),
    ("CONTRIBUTING.md", r"scripts/nightly\.sh", "half an hour; the tests EveryValue.* try some of these inputs"),
    ("CONTRIBUTING.md", r"tests/reference/campaign\.sh .*",
     "a minute and a half; the test reference.library_equals_the_independent_implementation runs it with one seed"),
    ("CONTRIBUTING.md", r"tests/equality/campaign\.sh .*", "half an hour; the tests equality.* run fewer samples"),
    ("CONTRIBUTING.md", r"\./bench\.sh.*", "a measurement of speed; tests that run beside it would disturb it"),
    ("docs/performance.md", r"\./bench\.sh.*", "the same"),
    ("CONTRIBUTING.md", r"\./fuzz\.sh .*", "a minute of fuzzing"),
    ("CONTRIBUTING.md", r"scripts/threads\.sh", "minutes under ThreadSanitizer"),
    ("CONTRIBUTING.md", r"(\./)?soak\.sh", "ten minutes; the test endurance.a_short_soak runs fewer samples"),
    ("CONTRIBUTING.md", r"scripts/cppcheck\.sh", "the second step of check.sh"),
    ("CONTRIBUTING.md", r"scripts/report_size\.py .*", "makes and opens a page of half a million rows"),
    ("docs/reliability.md", r"ctest --preset asan .*", "a test of that preset alone"),
    ("docs/reliability.md", r"\./(fuzz|soak)\.sh.*|scripts/.*|tests/equality/campaign\.sh .*", "minutes and hours"),
    ("CONTRIBUTING.md", r"bench/live\.py .*", "the same; the test bench.live_and_throughput runs it shortly"),
    ("CONTRIBUTING.md", r"bench/instructions\.py .*", "the test bench.instructions_of_a_sample_stay runs it without --update"),
    ("docs/formats.md", r"cat .*--view", "serves until an interrupt; the tests kor.view.* run such commands"),
    ("README.md", r"kor accuracy", "the test docs.accuracy_page_is_what_is_measured runs it"),
    ("README.md", r"sudo cmake --install .*", "installs into /usr/local of this machine"),
    ("data/README.md", r"data/make\.sh .*", "the test data.simulation_reproduces_the_shipped_files runs it"),
    ("docs/accuracy.md", r"kor accuracy", "the test docs.accuracy_page_is_what_is_measured runs it"),
    ("docs/accuracy.md", r"exact\.py --driver .*",
     "two hundred poses take long; the test reference.arithmetic_keeps_its_digits runs it with three"),
    ("docs/releasing.md", r"\(cd build/[a-z-]+ && cpack -G [A-Z]+\)", "the tests packages.* make and use these packages"),
    ("docs/python.md", r"pip install .*", "builds the package; scripts/python.sh does so and runs the examples of the page"),
    ("CONTRIBUTING.md", r"scripts/python\.sh", "builds a wheel, for minutes"),
    ("docs/windows.md", r"tests/windows/run\.sh .*", "needs Wine; the tests of the preset mingw run it"),
    ("tests/reference/README.md", r"python3 .*", "the tests reference.* run all of these programs"),
]
# Sections whose commands another test runs: document, heading, test.
RUN_ELSEWHERE = [
    ("docs/windows.md", "A host program", "windows.archive_serves_hosts_as_documented_and_runs_kor"),
]
# Words of a synopsis such as `kor replay --prm DIRECTORY --id N RECORDING [-o RESULTS]`, and what stands in for them.
# Brackets are dropped, of A|B the first is taken, dots behind a word are dropped. Only commands that begin with kor.
STAND_INS = {
    "DIRECTORY": "data/polarizer", "DIR": "data/polarizer", "N": "1005", "ID": "1005",
    "RECORDING": "data/polarizer/polarizer.csv", "RESULTS": "results.csv",
}
# Names that the documents use as examples: document, name, the shipped file or folder that is copied there.
FILES = [
    ("docs/formats.md", "calibration", "data/polarizer"),
    ("docs/formats.md", "monday/a.csv", "data/polarizer/polarizer.csv"),
    ("docs/formats.md", "tuesday/b.korraw", "data/polarizer/polarizer.korraw"),
    ("docs/formats.md", "truth.csv", "data/polarizer/polarizer_truth.csv"),
    ("docs/man/kor.1", "calibration", "data/polarizer"),
    ("docs/parameter-check.md", "calibration", "data/polarizer"),
    ("docs/parameter-check.md", "Tg1005.prm", "data/polarizer/Tg1005.prm"),
    ("docs/parameter-check.md", "Tg1006.prm", "data/polarizer_even/Tg1006.prm"),
    ("docs/man/kor.1", "run.csv", "data/polarizer/polarizer.csv"),
    ("docs/man/kor.1", "second.korraw", "data/polarizer/polarizer.korraw"),
]

WHAT_TO_DO = """
What to do, for each line above:
  - the command is wrong or needs something that is not there: correct the document;
  - the output shown is another one now: build the tool again; if it stays, correct the block text;
  - it is no command: fence the block with its language (```text, ```cpp, ```cmake, ```bat);
  - it holds a word that stands for something, or names a file: add that to STAND_INS or FILES in tests/docs/commands.py;
  - it ends with another status than 0, on purpose: write a comment behind it, `# exit status 65`;
  - it cannot run within seconds on any machine: add it to NOT_RUN in tests/docs/commands.py, with the reason.
"""


def stood_in(command):
    """A synopsis with something in place of its words."""
    if not re.match(r"kor\b", command):
        return command
    command = re.sub(r"\[(\S[^\]]*)\]", r"\1", command)
    command = re.sub(r"\b([A-Z]+)(\|[A-Z]+)+", r"\1", command)
    command = re.sub(r"\b([A-Z]+)\.\.\.", r"\1", command)
    return re.sub(r"(?<![\w$./-])[A-Z]+(?![\w.-])", lambda word: STAND_INS.get(word[0], word[0]), command)


def masked(line):
    """A line of output without its numbers and the width of its columns."""
    return " ".join(re.sub(r"-?\d[\d.e+-]*", "#", line).split())


def shell_text(command, emulator):
    """A command as the shell is to read it."""
    if command.language == "bat":
        return shlex.join([*emulator, "cmd", "/c", command.text])
    return stood_in(command.text)


def run(commands, folder, environment, name, emulator=()):
    """Runs commands in one shell; what is wrong with them, a text each. Prints the processor time of the dear ones."""
    with tempfile.TemporaryDirectory() as work:
        work = pathlib.Path(work)
        script = ["set -uo pipefail"]
        for i, command in enumerate(commands):
            (work / f"{i}.command").write_text(shell_text(command, emulator), encoding="utf-8")
            at = shlex.quote(str(work / str(i)))
            script.append(f'eval "$(<{at}.command)" >{at}.output 2>&1 </dev/null; echo $? >{at}.status; times >{at}.times')
        (work / "script").write_text("\n".join(script) + "\n", encoding="utf-8")
        late = ""
        try:
            subprocess.run(["bash", str(work / "script")], cwd=folder, env=environment, timeout=120,
                           stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        except subprocess.TimeoutExpired:
            late = "did not end within 120 seconds"
        found, spent = [], 0.0
        for i, command in enumerate(commands):
            place = f"{name}:{command.line}: {command.text}"
            status, output = work / f"{i}.status", work / f"{i}.output"
            if not status.exists():
                found.append(f"{place}\n    {late or 'ended the shell'}")
                break
            before, spent = spent, sum(int(m) * 60 + float(s) for m, s in re.findall(
                r"(\d+)m([\d.]+)s", (work / f"{i}.times").read_text().splitlines()[1]))
            if spent - before > 0.5:
                print(f"{spent - before:.1f} s: {place}")
            printed = output.read_text(encoding="utf-8", errors="replace")
            wanted = re.search(r"#.*\bexit status (\d+)", command.text)
            wanted = int(wanted[1]) if wanted else 0
            if int(status.read_text()) != wanted:
                tail = "\n".join("    | " + line for line in printed.splitlines()[-12:])
                found.append(f"{place}\n    ended with status {status.read_text().strip()}, expected {wanted}\n{tail}")
            lines = {masked(line) for line in printed.splitlines()}
            found += [f"{name}:{number}: {line}\n    is not what `{command.text}` prints"
                      for number, line in command.shown if masked(line) not in lines]
        return found


def stand_in_programs(folder, tree, kor):
    """A folder for PATH: kor, and the two programs that would take minutes."""
    real = {name: shlex.quote(shutil.which(name)) for name in ("cmake", "ctest")}
    have_preset = f"""{real["cmake"]} --list-presets=$kind | grep -qF "\\"$preset\\"" ||
    {{ echo "there is no $kind preset $preset"; exit 1; }}
mkdir -p build && ln -sfn {shlex.quote(str(tree))} "build/$preset\""""
    programs = {
        "kor": f'#!/bin/sh\nexec {shlex.quote(kor)} "$@"\n',
        "cmake": f"""#!/usr/bin/env bash
case "${{1-}} ${{2-}}" in
"--preset "*) kind=configure preset=$2 ;;
"--build --preset") kind=build preset=${{3-}} ;;
*) exec {real["cmake"]} "$@" ;;
esac
{have_preset}
[ $kind = configure ] || echo "[1/1] built already"
""",
        "ctest": f"""#!/usr/bin/env bash
if [ "${{1-}}" = --preset ]; then
    kind=test preset=$2
    {have_preset}
fi
{real["ctest"]} "$@" -N >ctest.list 2>&1 || {{ cat ctest.list; exit 1; }}
tail -n 1 ctest.list
# In a tree that is built in part, the tests of a program without its executable are not known yet.
grep -q '^Total Tests: [1-9]' ctest.list || {real["ctest"]} "${{@:1:2}}" -N | grep -q _NOT_BUILT
""",
    }
    folder.mkdir()
    for name, text in programs.items():
        (folder / name).write_text(text, encoding="utf-8")
        (folder / name).chmod(0o755)


def documents_of(root):
    return [name for name in documents.tracked(root) if any(fnmatch.fnmatch(name, pattern) and
            pattern.count("/") == name.count("/") for pattern in DOCUMENTS)]


def check(root, tree, kor, not_run=NOT_RUN, elsewhere=RUN_ELSEWHERE):
    """Runs all documents; what is wrong with them, and how many commands ran."""
    found, ran, used = [], 0, set()
    names = documents.tracked(root)
    with tempfile.TemporaryDirectory() as work:
        work = pathlib.Path(work)
        stand_in_programs(work / "bin", tree, kor)
        for document in documents_of(root):
            commands = []
            for command in documents.commands(root / document):
                reasons = [entry for entry in not_run
                           if entry[0] == document and re.fullmatch(entry[1], command.text)]
                reasons += [entry for entry in elsewhere if entry[:2] == (document, command.section)]
                used.update(reasons)
                if not reasons:
                    commands.append(command)
            if not commands:
                continue
            copy, home = work / "copy", work / "home"
            for name in names:
                (copy / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(root / name, copy / name)
            for owner, name, source in FILES:
                if owner == document:
                    (copy / name).parent.mkdir(parents=True, exist_ok=True)
                    (shutil.copytree if (root / source).is_dir() else shutil.copy2)(root / source, copy / name)
            home.mkdir()
            environment = dict(os.environ, PATH=f"{work / 'bin'}:{os.environ['PATH']}", HOME=str(home), LC_ALL="C.UTF-8",
                               TERM="dumb")
            found += run(commands, copy, environment, document)
            ran += len(commands)
            shutil.rmtree(copy)
            shutil.rmtree(home)
    found += [f"tests/docs/commands.py: no command of {entry[0]} is {entry[1]}; remove the entry"
              for entry in [*not_run, *elsewhere] if entry not in used]
    return found, ran


def itself():
    """Plants faults in documents of a small repository; each has to be found."""
    good = "# A\n\n    true\n    echo 12 rows\n\n```text\n3 rows\n```\n\n- item\n\n      false    # exit status 1\n"
    cases = [  # document, what is found
        (good, None),
        ("    no_such_program --help\n", "status 127"),
        ("    echo 'open\n", "expected 0"),
        ("```\nfalse\n```\n", "status 1"),
        ("```sh\nA=1\n[ $A = 2 ]\n```\n", "status 1"),
        ("    echo rows\n\n```text\ncolumns\n```\n", "is not what"),
        ("    true    # exit status 65\n", "expected 65"),
        ("| Check | Command |\n|---|---|\n| x | `false \\| cat` |\n", "status 1"),
        ("    cmake --preset none\n", "status 1"),
        ("    exit 3\n    true\n", "ended the shell"),
        ("1. item\n\n       false\n", "status 1"),
        ("    kor FILE|DIR... [--mode N]\n", None),
    ]
    failed = 0
    for text, wanted in cases:
        with tempfile.TemporaryDirectory() as work:
            work = pathlib.Path(work)
            root = work / "root"
            root.mkdir()
            (root / "README.md").write_text(text, encoding="utf-8")
            (root / "CMakePresets.json").write_text('{"version": 3}', encoding="utf-8")
            subprocess.run(["git", "init", "-q", str(root)], check=True)
            found, ran = check(root, work, "/bin/echo", [], [])
        if bool(found) != bool(wanted) or (wanted and wanted not in found[0]) or not ran:
            failed += 1
            print(f"{text!r}: {ran} commands, found {found}, expected {wanted}")
    with tempfile.TemporaryDirectory() as work:
        root = pathlib.Path(work)
        (root / "README.md").write_text("[a](b.md) [c](#c) [d](../d.md)\n", encoding="utf-8")
        if len(documents.broken_links(root, ["README.md"])) != 3:
            failed += 1
            print("broken links are not found")
    print(f"{len(cases) + 1} documents")
    return 1 if failed else 0


def main(arguments):
    if arguments == ["--itself"]:
        return itself()
    if arguments[:1] == ["--in"]:
        folder, path, section, emulator = arguments[1], pathlib.Path(arguments[2]), arguments[3], arguments[4:]
        languages = ("", "sh", "bat") if emulator else ("", "sh")
        commands = [command for command in documents.commands(path, languages) if command.section == section]
        found, ran = run(commands, folder, dict(os.environ), path.name, emulator), len(commands)
    else:
        root, tree, kor = (pathlib.Path(argument).resolve() for argument in arguments)
        found, ran = check(root, tree, str(kor))
    print(f"{ran} commands")
    if found or not ran:
        print("\n".join(found) + "\n" + WHAT_TO_DO)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
