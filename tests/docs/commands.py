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
the numbers are. A block of console shows commands behind `$ ` and below each all that it prints, standard output and
standard error, character by character but for blanks at the ends of lines; a line `...` in it stands for any lines.

What would take minutes is replaced: `cmake --preset` and `cmake --build --preset` look the preset up and take the tree TREE,
which is built already, for its result; `ctest` lists the tests that it would run, of which there must be one. `kor` is KOR.
"""
import difflib
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
    ("CONTRIBUTING.md", r"\./docs\.sh --browser", "makes an environment for Sphinx, and a minute of work"),
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
    ("docs/first-host.md", r"sudo apt-get install .*",
     "installs on this machine; the tests packages.* use the packages unpacked"),
    ("docs/tasks.md", r"kor replay .*--view", "serves until an interrupt; the tests kor.view.* run such commands"),
    ("docs/python.md", r"(venv/bin/)?pip install .*|python3 -m venv venv|bash -c .*need.*|scripts/python\.sh --wheel",
     "builds the package; scripts/python.sh does so and runs the examples of the page"),
    ("CONTRIBUTING.md", r"scripts/python\.sh", "builds a wheel, for minutes"),
    ("CONTRIBUTING.md", r"scripts/batch\.sh", "the same, and a cluster"),
    ("docs/scaling.md", r"pip install .*|dask .*|python -m korinterface\.batch .*|scripts/batch\.sh.*",
     "needs the Python package and a cluster; python/tests/test_batch.py runs the first command"),
    ("docs/windows.md", r"tests/windows/run\.sh .*", "needs Wine; the tests of the preset mingw run it"),
    ("tests/reference/README.md", r"python3 .*", "the tests reference.* run all of these programs"),
]
# Sections whose commands another test runs: document, heading, test.
RUN_ELSEWHERE = [
    ("docs/first-host.md", "With the Debian packages", "packages.debian_packages_serve_a_consumer_and_run_kor"),
    ("docs/first-host.md", "On Windows, with MinGW", "windows.archive_serves_hosts_as_documented_and_runs_kor"),
    ("docs/windows.md", "A host program", "windows.archive_serves_hosts_as_documented_and_runs_kor"),
]
# Words of a synopsis such as `kor replay --prm DIRECTORY --id N RECORDING [-o RESULTS]`, and what stands in for them.
# Brackets are dropped, of A|B the first is taken, dots behind a word are dropped. Only commands that begin with kor.
STAND_INS = {
    "DIRECTORY": "data/polarizer", "DIR": "data/polarizer", "N": "1005", "ID": "1005",
    "RECORDING": "data/polarizer/polarizer.csv", "RESULTS": "results.csv",
}
# Names that the documents use as examples: pattern of documents, name, the shipped file or folder that is copied there.
FILES = [
    ("docs/formats.md", "calibration", "data/polarizer"),
    ("docs/formats.md", "monday/a.csv", "data/polarizer/polarizer.csv"),
    ("docs/formats.md", "tuesday/b.korraw", "data/polarizer/polarizer.korraw"),
    ("docs/formats.md", "truth.csv", "data/polarizer/polarizer_truth.csv"),
    ("docs/man/*.1", "calibration", "data/polarizer"),
    ("docs/parameter-check.md", "calibration", "data/polarizer"),
    ("docs/parameter-check.md", "Tg1005.prm", "data/polarizer/Tg1005.prm"),
    ("docs/parameter-check.md", "Tg1006.prm", "data/polarizer_even/Tg1006.prm"),
    ("docs/man/*.1", "run.csv", "data/polarizer/polarizer.csv"),
    ("docs/man/*.1", "second.korraw", "data/polarizer/polarizer.korraw"),
]

WHAT_TO_DO = """
What to do, for each line above:
  - the command is wrong or needs something that is not there: correct the document;
  - the output shown is another one now: build the tool again; if it stays, correct the block text or console; a line `...`
    in a console stands for lines that differ from run to run;
  - it is not a command: fence the block with its language (```text, ```cpp, ```cmake, ```bat);
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
    return command.text if command.language == "console" else stood_in(command.text)


def is_printed(printed, shown):
    """Whether printed lines are those that a console shows, among them `...` for any lines."""
    parts = [[]]
    for line in shown:
        if line == "...":
            parts.append([])
        else:
            parts[-1].append(line)
    if len(parts) == 1:
        return printed == shown
    first, *middle, last = parts
    begin, end = len(first), len(printed) - len(last)
    if begin > end or printed[:begin] != first or printed[end:] != last:
        return False
    for part in middle:
        while begin + len(part) <= end and printed[begin:begin + len(part)] != part:
            begin += 1
        begin += len(part)
    return begin <= end


def differences(command, printed):
    """What a console shows against what its command printed."""
    printed = [line.rstrip() for line in printed.splitlines()]
    shown = [line.rstrip() for line in command.printed]
    if is_printed(printed, shown):
        return []
    lines = list(difflib.unified_diff(shown, printed, "shown", "printed", lineterm="", n=1))
    return ["\n".join("    | " + line for line in lines[:40])]


def run(commands, folder, environment, name, emulator=()):
    """Runs commands in one shell; what is wrong with them, a text each. Prints the processor time of the dear ones."""
    with tempfile.TemporaryDirectory() as work:
        work = pathlib.Path(work)
        script = ["set -uo pipefail", "kor_status=0"]
        for i, command in enumerate(commands):
            (work / f"{i}.command").write_text(shell_text(command, emulator), encoding="utf-8")
            at = shlex.quote(str(work / str(i)))
            # A command may ask for the status of the one before it.
            script.append(f'kor_command=$(<{at}.command); (exit $kor_status); eval "$kor_command" >{at}.output 2>&1 </dev/null; '
                          f'kor_status=$?; echo $kor_status >{at}.status; times >{at}.times')
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
            if command.printed is not None:
                found += [f"{place}\n    prints something else than shown:\n{each}" for each in differences(command, printed)]
        return found


def grouped_tests(root, tree):
    """The names that tests have where each has a process of its own, if those of this tree share some."""
    cache = tree / "CMakeCache.txt"
    if not cache.is_file() or "KORINTERFACE_TESTS_GROUPED:BOOL=ON" not in cache.read_text(encoding="utf-8"):
        return
    for script in sorted((root / "tests" / "tool").glob("*_test.py")):
        for line in script.read_text(encoding="utf-8").splitlines():
            if named := re.match(r"class (\w+)\(Case\)", line):
                group = named[1]
            elif named := re.match(r"    def (test_\w+)", line):
                yield f"kor.{script.name.removesuffix('_test.py')}.{group}.{named[1]}"
    for source in sorted((root / "tests").glob("*/**/*_test.cpp")):
        for unit, name in re.findall(r"^TEST(?:_[FP])?\((\w+), (\w+)\)", source.read_text(encoding="utf-8"), re.M):
            yield f"{unit}.{name}"


def stand_in_programs(folder, root, tree, kor):
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
grep -q '^Total Tests: [1-9]' ctest.list || {real["ctest"]} "${{@:1:2}}" -N | grep -q _NOT_BUILT ||
    {{ [ "${{@: -2:1}}" = -R ] && grep -qE -- "${{@: -1}}" {shlex.quote(str(folder / "grouped"))}; }}
""",
    }
    folder.mkdir()
    (folder / "grouped").write_text("\n".join(grouped_tests(root, tree)), encoding="utf-8")
    for name, text in programs.items():
        (folder / name).write_text(text, encoding="utf-8")
        (folder / name).chmod(0o755)


def documents_of(root):
    return [name for name in documents.tracked(root) if any(fnmatch.fnmatch(name, pattern) and
            pattern.count("/") == name.count("/") for pattern in DOCUMENTS)]


def restore(copy, root, names, stamps):
    """Makes a copy what it was: files that have changed are copied again, what was added is removed."""
    for folder, folders, files in os.walk(copy, topdown=False):
        for name in folders + files:
            path = pathlib.Path(folder, name)
            relative = str(path.relative_to(copy))
            if relative in stamps:
                continue
            if path.is_dir() and not path.is_symlink():
                if not any(path.iterdir()):
                    path.rmdir()
            else:
                path.unlink()
    for name in names:
        path = copy / name
        there = path.lstat() if path.is_symlink() or path.exists() else None
        stamp = (there.st_ino, there.st_mtime_ns, there.st_size, there.st_mode) if there else None
        if stamp is None or stamp != stamps.get(name):
            path.parent.mkdir(parents=True, exist_ok=True)
            path.unlink(missing_ok=True)
            shutil.copy2(root / name, path)
            there = path.lstat()
            stamps[name] = (there.st_ino, there.st_mtime_ns, there.st_size, there.st_mode)


def check(root, tree, kor, not_run=NOT_RUN, elsewhere=RUN_ELSEWHERE):
    """Runs all documents; what is wrong with them, and how many commands ran."""
    found, ran, used = [], 0, set()
    names = documents.tracked(root)
    with tempfile.TemporaryDirectory() as work:
        work = pathlib.Path(work)
        stand_in_programs(work / "bin", root, tree, kor)
        copy, home, stamps = work / "copy", work / "home", {}
        for document in documents_of(root):
            commands = []
            try:
                all_commands = documents.commands(root / document)
            except SystemExit as wrong:
                found.append(f"{document}: {wrong}")
                continue
            for command in all_commands:
                reasons = [entry for entry in not_run
                           if entry[0] == document and re.fullmatch(entry[1], command.text)]
                reasons += [entry for entry in elsewhere if entry[:2] == (document, command.section)]
                used.update(reasons)
                if not reasons:
                    commands.append(command)
            if not commands:
                continue
            restore(copy, root, names, stamps)
            for owner, name, source in FILES:
                if fnmatch.fnmatch(document, owner):
                    (copy / name).parent.mkdir(parents=True, exist_ok=True)
                    (shutil.copytree if (root / source).is_dir() else shutil.copy2)(root / source, copy / name)
            home.mkdir()
            environment = dict(os.environ, PATH=f"{work / 'bin'}:{os.environ['PATH']}", HOME=str(home), LC_ALL="C.UTF-8",
                               TERM="dumb")
            found += run(commands, copy, environment, document)
            ran += len(commands)
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
        ("```console\n$ echo 1; echo 2 >&2\n1\n2\n$ true\n$ echo a \\\n> b\na b\n```\n", None),
        ("```console\n$ kor N [x]\nN [x]\n```\n", None),
        ("```console\n$ seq 9\n1\n2\n...\n5\n...\n9\n$ seq 2\n...\n1\n2\n...\n$ seq 3\n...\n```\n", None),
        ("```console\n$ printf 'a \\n\\nb'\na\n\nb\n```\n", None),
        ("```console\n$ false    # exit status 1\n$ echo $?\n1\n```\n", None),
        ("- item\n\n  ```console\n  $ echo ' 1'\n   1\n  ```\n", None),
        ("```console\n$ echo 1\n2\n```\n", "something else"),
        ("```console\n$ echo 1\n```\n", "something else"),
        ("```console\n$ echo 1\n1\n\n```\n", "something else"),
        ("```console\n$ echo ' 1'\n1\n```\n", "something else"),
        ("```console\n$ true\n1\n$ echo 1\n1\n```\n", "something else"),
        ("```console\n$ seq 9\n1\n...\n5\n...\n4\n...\n```\n", "something else"),
        ("```console\n$ seq 9\n...\n8\n```\n", "something else"),
        ("```console\n$ seq 9\n2\n...\n```\n", "something else"),
        ("```console\n$ seq 2\n1\n2\n...\n2\n```\n", "something else"),
        ("```console\n$ false\n```\n", "status 1"),
        ("```console\necho 1\n```\n", "begins with a command"),
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
        if bool(found) != bool(wanted) or (wanted and wanted not in found[0]) or not (ran or "begins with" in str(wanted)):
            failed += 1
            print(f"{text!r}: {ran} commands, found {found}, expected {wanted}")
    # What the commands of one document change is not there for the next.
    with tempfile.TemporaryDirectory() as work:
        root = pathlib.Path(work) / "root"
        (root / "docs").mkdir(parents=True)
        (root / "README.md").write_text("    echo b >a; rm -r docs; mkdir c; ln -s /nowhere c/d; ln -s a e\n", encoding="utf-8")
        (root / "docs" / "a.md").write_text('    [ "$(cat a)" = a ] && [ ! -e c ] && [ ! -L e ] && [ -e docs ]\n', encoding="utf-8")
        (root / "a").write_text("a\n", encoding="utf-8")
        subprocess.run(["git", "init", "-q", str(root)], check=True)
        found, ran = check(root, pathlib.Path(work), "/bin/echo", [], [])
        if found or ran != 2:
            failed += 1
            print(f"a document meets what another one changed: {found}")
    with tempfile.TemporaryDirectory() as work:
        root = pathlib.Path(work)
        (root / "README.md").write_text("[a](b.md) [c](#c) [d](../d.md)\n", encoding="utf-8")
        if len(documents.broken_links(root, ["README.md"])) != 3:
            failed += 1
            print("broken links are not found")
        (root / "docs").mkdir()
        (root / "docs" / "index.md").write_text("- [a](a.md): b\n[c](c.md)\n", encoding="utf-8")
        if len(documents.not_listed(root, ["README.md", "docs/index.md", "docs/a.md", "docs/c.md"])) != 1:
            failed += 1
            print("a page that the front page does not list is not found")
    print(f"{len(cases) + 3} documents")
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
