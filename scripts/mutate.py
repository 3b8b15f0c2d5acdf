#!/usr/bin/env python3
"""Changes the library's sources, one change at a time, and looks whether a test notices.

    scripts/mutate.py [--count N] [--seed S] [--until HH:MM] [--in PATH]... [--part K/N]
    scripts/mutate.py --again | --only KEY... | --table | --list | --itself

Draws changes at random by the seed, the same number of each kind: signs, comparisons, indices, swapped names, literals,
dropped statements, early returns, conditions. A change that does not compile, and one that leaves the object code as it
is, does not count. For each of the others the tests of its folder run, the quickest first, up to the first that fails.

The sources stay untouched: a changed one is compiled from a folder of its own, together with the built objects of the
others, into a library that the tests find first. The tree (build/mutate/tree) has the tests linked to the library as a shared
one with all its names visible, so that the library alone is linked anew.

A run goes on where the last one has ended: what came of each change stands in build/mutate/results.jsonl. --again runs the
survivors once more, for example after a new test. Survivors that no test can tell from the original stand with the reason in
scripts/equivalent_mutants.txt, one a line: path: line -> changed line: reason.

--part K/N takes every N-th mutant from the K-th, for N runs side by side, each in a checkout of its own; their results can
be put into one file.

Needs what check.sh installs. The tree takes some minutes to build, once, and a mutant some ten seconds.
"""
import argparse
import collections
import json
import os
import pathlib
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import time

import mutations

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDERS = ("mek", "models", "engine", "params", "module", "session", "platform")
WORK = ROOT / "build" / "mutate"
TREE = WORK / "tree"
OVERLAY = WORK / "changed"  # the changed source, by its path from the root
MADE = WORK / "made"        # its objects and the library
RESULTS = WORK / "results.jsonl"
COSTS = WORK / "costs.json"
EQUIVALENT = ROOT / "scripts" / "equivalent_mutants.txt"
LIBRARY = "libKORInterface.so"

NUMERIC = {"mek", "models", "engine"}
FILES = {"platform", "params", "session"}
# A test, and the folders for whose changes it runs. Targets named *_test are programs of GoogleTest.
STEPS = {
    "mek_test": {"mek"},
    "platform_test": {"platform"},
    "models_test": {"mek", "models"},
    "geometric_models_test": {"mek", "models"},
    "two_level_test": {"mek", "models", "session"},
    "engine_test": NUMERIC | {"platform", "session"},
    "engine_noalloc_test": NUMERIC,
    "equality random": NUMERIC,
    "equality recordings": NUMERIC,
    "reference": NUMERIC,
    "golden": NUMERIC | {"session"},
    "params_test": {"mek"} | FILES,
    "writer_test": FILES,
    "operations_test": FILES | {"engine", "module"},
    "session_test": NUMERIC | FILES,
    "module_test": NUMERIC | FILES | {"module"},
    "boundary_test": NUMERIC | FILES | {"module"},
    "loading_test": {"engine", "params", "module"},
    "recordings_test": {"platform"},
    "tool_test": {"platform", "session"},
    "kor prm": FILES,
    "kor prm_check": FILES,
}
# Neither reading nor rewriting takes these sources, so that the dear tests of both say nothing of them.
ASIDE = ("params/file/Check", "params/file/Document", "params/file/Fields", "params/file/Structure")
OF_ASIDE = {"session_test", "tool_test", "kor prm", "kor prm_check"}
# Their scenarios must not share a process.
EACH_ALONE = {"two_level_test": "*", "geometric_models_test": "ModesTwoLevel.*"}
CAUGHT, SURVIVED, UNCHANGED, NOT_COMPILED = "caught", "survived", "unchanged", "not compiled"


def fail(text):
    sys.exit(f"mutate.py: {text}")


# ---- the tree -----------------------------------------------------------------------------------------------


def quietly(command):
    done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")
    if done.returncode != 0:
        print(done.stdout[-8000:])
        fail(f"failed: {shlex.join(map(str, command))}")


def build_tree():
    """Without debug information, whose lines would tell every changed source from the original."""
    if not (TREE / "build.ninja").exists():
        print("configuring the tree", flush=True)
        quietly(["cmake", "--preset", "dev", "-B", TREE, "-DKORINTERFACE_TESTS_SHARED=ON", "-DCMAKE_CXX_FLAGS_DEBUG=-O0",
                 "-DKORINTERFACE_LIBRARY_OPTIONS=-O2", "-DKORINTERFACE_BUILD_BENCHMARKS=OFF"])
    print("building the tree", flush=True)
    programs = [name for name in STEPS if name.endswith("_test")] + ["equality", "reference_driver", "kor"]
    quietly(["cmake", "--build", TREE, "--target", *programs])


class Tree:
    """What the build system knows: how each object is compiled and linked, and what it depends on."""

    def __init__(self):
        self.compile = {}  # object -> its command and source
        for entry in json.loads((TREE / "compile_commands.json").read_text()):
            words = shlex.split(entry["command"])
            if pathlib.Path(words[0]).name == "ccache":
                del words[0]
            source = os.path.relpath(entry["file"], ROOT)
            self.compile[words[words.index("-o") + 1]] = (words, source)
        listed = subprocess.run(["ninja", "-C", TREE, "-t", "deps"], capture_output=True, text=True, check=True).stdout
        self.dependents = collections.defaultdict(set)  # source or header -> objects
        made = None
        for line in listed.splitlines():
            if line.startswith("    "):
                path = os.path.relpath(os.path.join(TREE, line.strip()), ROOT)
                if made in self.compile:
                    self.dependents[path].add(made)
            elif line:
                made = line.split(":")[0]
        self.linked = {}  # program or library -> words of its command
        self.library_objects = set(self.objects_of(LIBRARY))

    def link_words(self, name):
        """The command that links a target, as words without the shell around it."""
        if name not in self.linked:
            out = subprocess.run(["ninja", "-C", TREE, "-t", "commands", "-s", name], capture_output=True, text=True).stdout
            lines = [line for line in out.splitlines() if " -o " in line]
            if not lines:
                fail(f"ninja does not tell how {name} is linked")
            words = shlex.split(re.sub(r"^: && ", "", lines[-1]))
            words = words[:words.index("&&")] if "&&" in words else words  # behind it the build lists the tests
            self.linked[name] = words
        return self.linked[name]

    def objects_of(self, name):
        target = next((path for path in (TREE / (LIBRARY + ".0.1.0"), *TREE.glob(LIBRARY + ".*.*")) if path.exists()), None)
        return [word for word in self.link_words(target.name if name == LIBRARY else name) if word.endswith(".o")]

    def compiled(self, made):
        """Compiles one object with the changed source or header in place of the original; whether that went well."""
        words, source = self.compile[made]
        words = list(words)
        words[words.index("-o") + 1] = str(MADE / made)
        changed = OVERLAY / source
        if changed.exists():
            words[words.index("-c") + 1] = str(changed)
        words[1:1] = ["-I", str(OVERLAY)]
        (MADE / made).parent.mkdir(parents=True, exist_ok=True)
        return subprocess.run([*words, "-w"], cwd=TREE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0

    def is_unchanged(self, made):
        return (MADE / made).read_bytes() == (TREE / made).read_bytes()

    def link(self, name, out):
        """Links a target into another file, with the objects that have been made anew."""
        words = list(self.link_words(name))
        words[words.index("-o") + 1] = str(out)
        words = [str(MADE / word) if word.endswith(".o") and (MADE / word).exists() else word for word in words]
        out.parent.mkdir(parents=True, exist_ok=True)
        quietly(["env", "-C", TREE, *words])

    def link_library(self):
        full = next(path.name for path in TREE.glob(LIBRARY + ".*.*"))
        self.link(full, MADE / full)
        for path in TREE.glob(LIBRARY + "*"):
            if path.is_symlink() and not (MADE / path.name).is_symlink():
                (MADE / path.name).symlink_to(full)


# ---- the tests ----------------------------------------------------------------------------------------------


def python():
    """The one that the tests take: some need numpy."""
    if not hasattr(python, "found"):
        told = subprocess.run(["cmake", "-P", ROOT / "cmake" / "Python.cmake"], capture_output=True, text=True, check=True)
        python.found = (told.stdout + told.stderr).strip()
    return python.found


def program(name):
    return next(path for path in TREE.glob(f"tests/**/{name}") if path.is_file())


def commands_of(step):
    """The commands that a step runs, one after the other."""
    kor = str(TREE / "tools" / "kor")
    if step in EACH_ALONE:
        listed = subprocess.run([program(step), "--gtest_list_tests", f"--gtest_filter={EACH_ALONE[step]}"],
                                capture_output=True, text=True, check=True).stdout
        alone, suite = [], ""
        for line in listed.splitlines():
            if line.startswith("  "):
                alone.append(suite + line.split("#")[0].strip())
            elif line[:1].isalnum():
                suite = line.split("#")[0].strip()
        rest = [] if EACH_ALONE[step] == "*" else [[program(step), "--gtest_fail_fast", f"--gtest_filter=-{EACH_ALONE[step]}"]]
        return rest + [[program(step), f"--gtest_filter={name}"] for name in alone]
    if step.endswith("_test"):
        return [[program(step), "--gtest_fail_fast"]]
    if step == "equality random":
        return [[program("equality"), "random", "15000", "1"]]
    recordings = sorted(path.parent for path in (ROOT / "data").glob("*/Tg*.prm"))
    if step == "equality recordings":
        return [[program("equality"), "recordings", *recordings]]
    if step == "golden":
        script = [python(), ROOT / "tests" / "data" / "golden.py", "check", kor, "GNU Linux x86_64"]
        return [[*script, path.name] for path in recordings]
    if step == "reference":
        return [[ROOT / "tests" / "reference" / "campaign.sh", program("reference_driver"), "1/9"]]
    command = step.split()[1]
    return [[python(), ROOT / "tests" / "tool" / f"{command}_test.py", kor, "-f"]]


class Tests:
    """Runs steps with the library that has been made."""

    def __init__(self):
        self.costs = json.loads(COSTS.read_text()) if COSTS.exists() else {}

    def run(self, step, programs=()):
        """Whether the step passes, the reason if not, and the seconds of processor time."""
        cost = self.costs.get(step, 120.0)
        spent = 0.0
        for command in commands_of(step):
            command = [str(word) for word in command]
            for name in programs:
                command = [str(MADE / name) if word == str(program(name)) else word for word in command]
            status, seconds = limited(command, cost)
            spent += seconds
            if status is not None:
                return status, spent
        return None, spent

    def measure(self):
        """Runs every step with the library as it is: each has to pass."""
        for step in STEPS:
            if step in self.costs:
                continue
            reason, spent = self.run(step)
            if reason is not None:
                fail(f"{step} fails with the library unchanged ({reason}); see {WORK / 'output'}")
            self.costs[step] = round(spent, 2)
            print(f"  {step}: {spent:.1f} s", flush=True)
            COSTS.write_text(json.dumps(self.costs, indent=2) + "\n")

    def steps_for(self, path):
        """Those of the folder, the quickest first; its own test comes before the others."""
        folder = path.split("/")[0]
        own = {"mek": "mek_test", "platform": "platform_test", "session": "session_test", "module": "module_test"}.get(folder)
        steps = OF_ASIDE if path.startswith(ASIDE) else [step for step in STEPS if folder in STEPS[step]]
        return sorted(steps,
                      key=lambda step: 0.0 if step == own else self.costs[step])


def limited(command, cost):
    """Runs a command with bounds on time, memory and files; None if it ends well, else the reason, and its seconds."""
    seconds = int(5 + 4 * cost)
    temporary = WORK / "tmp"
    shutil.rmtree(temporary, ignore_errors=True)
    temporary.mkdir(mode=0o700)

    def bounds():
        for number in (signal.SIGINT, signal.SIGQUIT):  # which a shell lets its background ignore
            signal.signal(number, signal.SIG_DFL)
        resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 1))
        resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 28, 1 << 28))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_DATA, (1 << 32, 1 << 32))

    environment = dict(os.environ, LD_LIBRARY_PATH=str(MADE), TMPDIR=str(temporary), LC_ALL="C.UTF-8")
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    with open(WORK / "output", "wb") as output:
        process = subprocess.Popen(command, cwd=temporary, env=environment, stdin=subprocess.DEVNULL, stdout=output,
                                   stderr=subprocess.STDOUT, preexec_fn=bounds, start_new_session=True)
        try:
            status = process.wait(timeout=60 + 20 * seconds)
            reason = None if status == 0 else f"signal {-status}" if status < 0 else f"status {status}"
        except subprocess.TimeoutExpired:
            reason = "time"
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return reason, after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


# ---- mutants ------------------------------------------------------------------------------------------------


def sources():
    """The sources and headers of the library that this system compiles."""
    listed = subprocess.run(["git", "ls-files", "-z", *FOLDERS], cwd=ROOT, capture_output=True, text=True, check=True).stdout
    return [path for path in listed.split("\0") if path.endswith((".cpp", ".h")) and "/windows/" not in path]


def all_mutants():
    found = []
    for path in sources():
        found += mutations.mutants_of(path, (ROOT / path).read_text(encoding="utf-8"))
    return found


def make(tree, mutant):
    """Compiles and links a mutant; whether it counts, else why not."""
    shutil.rmtree(OVERLAY, ignore_errors=True)
    for made in MADE.glob("**/*.o"):
        made.unlink()
    place = OVERLAY / mutant.path
    place.parent.mkdir(parents=True)
    place.write_text(mutant.applied((ROOT / mutant.path).read_text(encoding="utf-8")), encoding="utf-8")
    changed = False
    for made in sorted(tree.dependents[mutant.path] & tree.library_objects):
        if not tree.compiled(made):
            return NOT_COMPILED
        if tree.is_unchanged(made):
            (MADE / made).unlink()
        else:
            changed = True
    if not changed:
        return UNCHANGED
    tree.link_library()
    return None


def inline_in_tests(tree, mutant, steps):
    """Links the test programs of its folder anew that have taken code from a changed header; their names."""
    made = []
    for step in steps:
        if not step.endswith("_test") or step == "loading_test":
            continue
        name = str(program(step).relative_to(TREE))
        mine = tree.dependents[mutant.path] & set(tree.objects_of(name))
        if not mine or not all(tree.compiled(one) for one in sorted(mine)):
            continue
        if any(not tree.is_unchanged(one) for one in mine):
            tree.link(name, MADE / program(step).name)
            made.append(step)
    return made


def judged(tree, tests, mutant):
    """What comes of a mutant, as it is written to the results."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.time()
    result = {"key": mutant.key, "kind": mutant.kind, "path": mutant.path, "line": mutant.line, "before": mutant.before,
              "after": mutant.after}
    outcome = make(tree, mutant)
    if outcome is None:
        outcome = SURVIVED
        steps = tests.steps_for(mutant.path)
        for step in steps:
            reason, _ = tests.run(step)
            if reason is not None:
                outcome, result["by"], result["reason"] = CAUGHT, step, reason
                break
        else:
            if mutant.path.endswith(".h"):
                for step in inline_in_tests(tree, mutant, [s for s in steps if STEPS[s] != NUMERIC | FILES | {"module"}]):
                    reason, _ = tests.run(step, [step])
                    if reason is not None:
                        outcome, result["by"], result["reason"] = CAUGHT, step, reason
                        break
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    result["outcome"] = outcome
    result["seconds"] = round(after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime, 1)
    result["wall"] = round(time.time() - start, 1)
    return result


def results():
    """What came of each mutant, the last word of each."""
    if not RESULTS.exists():
        return {}
    entries = [json.loads(line) for line in RESULTS.read_text(encoding="utf-8").splitlines()]
    return {entry["key"]: entry for entry in entries}


def remember(result):
    with open(RESULTS, "a", encoding="utf-8") as file:
        file.write(json.dumps(result) + "\n")


def equivalents():
    """Path and both lines of the mutants that are shown to be equivalent, with the reason."""
    known = {}
    for number, line in enumerate(EQUIVALENT.read_text(encoding="utf-8").splitlines() if EQUIVALENT.exists() else [], 1):
        if line.startswith("#") or not line.strip():
            continue
        parts = re.fullmatch(r"(\S+): (.*) -> (.*) : (.*)", line)
        if not parts:
            fail(f"{EQUIVALENT}:{number}: expected PATH: LINE -> CHANGED LINE : REASON")
        known[parts[1], parts[2], parts[3]] = parts[4]
    return known


def table(found):
    """A table of the results by kind, and the survivors."""
    known = equivalents()
    counts = collections.defaultdict(collections.Counter)
    survivors = []
    for entry in found.values():
        outcome = entry["outcome"]
        if outcome == SURVIVED:
            reason = known.get((entry["path"], entry["before"], entry["after"]))
            if reason is None:
                survivors.append(entry)
            else:
                outcome = "equivalent"
        for kind in (entry["kind"], "all"):
            counts[kind][outcome] += 1
    lines = ["| change | not compiled | same code | caught | equivalent | survived | caught of those not equivalent |",
             "|---|---|---|---|---|---|---|"]
    for kind in (*mutations.KINDS, "all"):
        count = counts[kind]
        judged_ones = count[CAUGHT] + count[SURVIVED]
        rate = f"{100.0 * count[CAUGHT] / judged_ones:.1f} %" if judged_ones else ""
        lines.append(f"| {kind} | {count[NOT_COMPILED]} | {count[UNCHANGED]} | {count[CAUGHT]} | {count['equivalent']} | "
                     f"{count[SURVIVED]} | {rate} |")
    for entry in sorted(survivors, key=lambda entry: (entry["path"], entry["line"])):
        lines.append(f"\nsurvived {entry['key']} ({entry['kind']}) {entry['path']}:{entry['line']}\n"
                     f"  {entry['before']}\n  {entry['after']}")
    return "\n".join(lines)


def counted(found):
    return sum(entry["outcome"] in (CAUGHT, SURVIVED) for entry in found.values())


def check_the_tools(tree, tests):
    """The two things that the method stands on: equal sources give equal objects, and the tests take the library made."""
    source = "mek/Arithmetic.cpp"
    shutil.rmtree(OVERLAY, ignore_errors=True)
    (OVERLAY / source).parent.mkdir(parents=True)
    shutil.copyfile(ROOT / source, OVERLAY / source)
    made = next(iter(tree.dependents[source] & tree.library_objects))
    if not tree.compiled(made) or not tree.is_unchanged(made):
        fail("the same source gives another object: changes of the code cannot be told")
    shutil.rmtree(OVERLAY)
    tree.link_library()
    environment = dict(os.environ, LD_LIBRARY_PATH=str(MADE))
    for name in (program("mek_test"), TREE / "tools" / "kor"):
        told = subprocess.run(["ldd", name], capture_output=True, text=True, env=environment).stdout
        if str(MADE) not in told:
            fail(f"{name} would not take the changed library")


def part(text):
    found = re.fullmatch(r"([1-9]\d?)/([1-9]\d?)", text)
    if not found or int(found[1]) > int(found[2]):
        raise argparse.ArgumentTypeError(f"found {text!r}, expected K/N, for example 1/2")
    return int(found[1]), int(found[2])


def arguments():
    parser = argparse.ArgumentParser(prog="mutate.py", usage="scripts/mutate.py [OPTION]...",
                                     description="Changes the library's sources, one change at a time, and looks whether a "
                                                 "test notices.")
    parser.add_argument("--count", type=int, default=500, metavar="N", help="mutants that are to be judged in all (500)")
    parser.add_argument("--seed", type=int, default=1, help="another one draws other mutants (1)")
    parser.add_argument("--until", metavar="HH:MM", help="begins no mutant after this time")
    parser.add_argument("--in", dest="paths", action="append", metavar="PATH", help="only sources whose path begins so")
    parser.add_argument("--part", type=part, default=(1, 1), metavar="K/N", help="every N-th mutant from the K-th")
    parser.add_argument("--again", action="store_true", help="run the survivors once more")
    parser.add_argument("--only", nargs="+", metavar="KEY", help="run these mutants, whatever came of them before")
    parser.add_argument("--table", action="store_true", help="print the results and end")
    parser.add_argument("--list", action="store_true", help="print the mutants in their order and end")
    parser.add_argument("--itself", action="store_true", help="show that each kind of change is made, and end")
    return parser.parse_args()


def main():
    given = arguments()
    if given.itself:
        wrong = mutations.itself()
        print("\n".join(wrong) or "every kind of change is made")
        return 1 if wrong else 0
    if given.table:
        print(table(results()))
        return 0
    mutants = mutations.in_random_order(all_mutants(), given.seed)
    if given.paths:
        mutants = [mutant for mutant in mutants if mutant.path.startswith(tuple(given.paths))]
    mutants = mutants[given.part[0] - 1::given.part[1]]
    if given.list:
        for mutant in mutants:
            print(f"{mutant.key} {mutant.kind} {mutant.path}:{mutant.line}: {mutant.before} -> {mutant.after}")
        return 0

    until = time.strptime(given.until, "%H:%M")[3:5] if given.until else None
    MADE.mkdir(parents=True, exist_ok=True)
    build_tree()
    tree, tests = Tree(), Tests()
    check_the_tools(tree, tests)
    tests.measure()
    found = results()
    if given.only or given.again:
        wanted = set(given.only or [key for key, entry in found.items() if entry["outcome"] == SURVIVED])
        mutants = [mutant for mutant in mutants if mutant.key in wanted]
    for mutant in mutants:
        if not (given.only or given.again):
            if mutant.key in found:
                continue
            if counted(found) >= given.count:
                break
        if until and time.localtime()[3:5] >= until:
            break
        result = judged(tree, tests, mutant)
        found[mutant.key] = result
        remember(result)
        told = result.get("by", "")
        print(f"{counted(found)} {result['outcome']} {told} ({result['seconds']} s) {mutant.kind} {mutant.path}:{mutant.line}",
              flush=True)
    print(table(found))
    return 0


if __name__ == "__main__":
    sys.exit(main())
