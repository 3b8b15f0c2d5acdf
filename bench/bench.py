#!/usr/bin/env python3
"""Measures the library and the tool, and prints one table. bench.sh builds what this needs and runs it.

    bench.py BUILD [--quick] [--markdown FILE] [engine] [mek] [files] [recordings]

BUILD is the folder of the preset "bench". Without a section all of them run. Each comparison first checks that both sides
give the same answer, and then runs them by turns.
"""
import argparse
import json
import os
import pathlib
import platform
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent
sys.path.insert(0, str(HERE))
import callgrind  # noqa: E402: found only now
import measure  # noqa: E402
from measure import by_turns, run_once  # noqa: E402

SENSORS = {1: "dual_level", 2: "dual_level_even", 3: "pendulum", 4: "pendulum_even", 5: "polarizer", 6: "polarizer_even",
           7: "three_vector", 8: "three_vector_even", 9: "two_level", 10: "two_level_even"}
SECTIONS = ("engine", "mek", "files", "recordings")
ENGINE = "CKor::updateKORData(KOR_RAWINFO const&, KOR_INFO&)"
PLAIN = "kor_test::LiteralEngine::updateKORData(KOR_RAWINFO const&, KOR_INFO&)"
COUNTED = 2000  # samples of a count of instructions
BEGIN, END = "<!-- figures: begin -->", "<!-- figures: end -->"
MIB = 1 << 20


def output_of(*command):
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\nended with status {done.returncode}: {done.stderr.decode()}")
    return done.stdout.decode()


class Sensor:
    """A parameter file and a recording of it: a target that is moved, a thousand samples a second."""

    def __init__(self, bench, mode, folder, samples=COUNTED, change=None):
        self.identity = 1000 + mode
        self.directory = ROOT / "data" / SENSORS[mode]
        if change is not None:
            text = (self.directory / f"Tg{self.identity}.prm").read_text()
            self.directory = pathlib.Path(tempfile.mkdtemp(dir=folder))
            (self.directory / f"Tg{self.identity}.prm").write_text(change(text))
        self.recording = os.path.join(folder, f"{mode}_{samples}_{self.directory.name}.korraw")
        bench.simulate(self, self.recording, samples)

    def task(self, bench, *what):
        given = (bench.programs["engine_bench"], self.directory, self.identity, self.recording, *what)
        return [str(part) for part in given]


def searching(text):
    """The pendulum's direction out of its plane, so that the model searches for some steps."""
    lines = text.splitlines()
    at = lines.index("Scale Factor")
    lines[at + 3:at + 5] = ["0.400000", "-0.200000"]
    return "\n".join(lines) + "\n"


class Bench:
    """The programs, how thoroughly they are measured, and the tables made so far."""

    def __init__(self, build, quick):
        self.programs = {"kor": build / "tools/kor", "engine_bench": build / "bench/engine_bench",
                         "rivals_bench": build / "bench/rivals_bench"}
        self.quick = quick
        self.rounds = 7 if quick else 15
        self.tables = []
        self.section = ""

    def simulate(self, sensor, path, samples):
        output_of(self.programs["kor"], "simulate", "--prm", sensor.directory, "--id", sensor.identity, "--motion",
                  "random", "--rate", "1000", "--samples", samples, "--reference", "5", "--progress=never", "--force",
                  "-o", path)

    def table(self, title, columns, rows, *notes):
        self.tables.append((title, columns, [[str(cell) for cell in row] for row in rows], notes, self.section))
        print(plain_table(*self.tables[-1]), flush=True)


def plain_table(title, columns, rows, notes, _):
    widths = [max(len(row[i]) for row in [columns, *rows]) for i in range(len(columns))]

    def line(row):
        return "  ".join(cell.ljust(width) if i == 0 else cell.rjust(width)
                         for i, (cell, width) in enumerate(zip(row, widths))).rstrip()

    return "\n".join(["", title, "", line(columns), line(["-" * width for width in widths]), *map(line, rows),
                      *(f"  {note}" for note in notes)])


def markdown_table(title, columns, rows, notes, section):
    lines = [f"### {title}", "", f"`./bench.sh {section}`", "", "| " + " | ".join(columns) + " |",
             "|---|" + "---:|" * (len(columns) - 1), *("| " + " | ".join(row) + " |" for row in rows), ""]
    for note in notes:
        lines += [note, ""]
    return "\n".join(lines)


def both(spent, digits=0):
    """Least and median."""
    return f"{spent[0]:.{digits}f} / {spent[1]:.{digits}f}"


def engine_row(bench, label, sensor):
    counts = json.loads(output_of(*sensor.task(bench, "equal")))
    ours, _ = callgrind.profile(sensor.task(bench, "feed", COUNTED), ENGINE)
    plain, _ = callgrind.profile(sensor.task(bench, "plain", COUNTED), PLAIN)
    floor = plain.of_object("libm") / COUNTED
    spent = json.loads(output_of(*sensor.task(bench, "time", bench.rounds)))
    made = json.loads(output_of(*sensor.task(bench, "allocations")))
    late = json.loads(output_of(*sensor.task(bench, "latency", 50000 if bench.quick else 300000)))
    if label == "3":
        label = f"3, search of {plain.calls_of('^asin') / counts['valid']:.0f} steps"
    faster = [theirs / mine for mine, theirs in zip(spent["engine"], spent["plain"])]
    taken = ours.total / COUNTED
    return [label, both(spent["engine"]), f"{taken:.0f}", f"{floor:.0f}", f"{taken / floor:.2f}", both(spent["plain"]),
            both(faster, 2), made["allocations"], f"{late['most'] / 1000:.1f}"]


def engine(bench, folder):
    rows = []
    for mode in (1, 3, 5, 7, 9) if bench.quick else SENSORS:
        rows.append(engine_row(bench, str(mode), Sensor(bench, mode, folder, change=searching if mode == 3 else None)))
    bench.table("Engine, by mount mode", ["mode", "ns", "instructions", "floor", "ratio", "plain formulas, ns",
                                          "times as fast", "allocations", "99.99 %, us"], rows,
                "ns: least and median of the rounds. Floor: instructions of the plain formulas within the mathematical "
                "functions.", "99.99 %: of single calls, while a second thread sets parameters.")
    unusual_cases(bench, folder)
    flat_cost(bench, folder)
    lookups(bench, folder)


def unusual_cases(bench, folder):
    rows = []
    for mode in (9, 1, 5):
        spent = json.loads(output_of(*Sensor(bench, mode, folder).task(bench, "unusual")))
        if mode == 9:
            rows.append(["repeated time stamp, mode 9", both(spent["repeated"], 1), "60"])
        rows.append([f"rejected sample, mode {mode}", both(spent["rejected"], 1), "60"])
    bench.table("Samples that end early", ["sample", "ns", "at most"], rows)


def flat_cost(bench, folder):
    last = 1000000 if bench.quick else 10000000
    rows = []
    for mode in (1, 5, 9):
        spent = json.loads(output_of(*Sensor(bench, mode, folder, samples=20000).task(bench, "flat", last)))
        rows.append([str(mode), both(spent["early"]), both(spent["late"]),
                     both([late / early for early, late in zip(spent["early"], spent["late"])], 2)])
    bench.table("Cost over time", ["mode", "from sample 1,000 on, ns", f"from sample {last:,} on, ns", "ratio"], rows,
                "Two engines by turns; least and median of 25 blocks of 10,000 samples.")


def lookups(bench, folder):
    sensor = Sensor(bench, 1, folder)
    spent = json.loads(output_of(*sensor.task(bench, "tables")))
    rows = []
    for length, times in spent.items():
        counts = [callgrind.profile(sensor.task(bench, movement, length), ENGINE) for movement in ("walk", "leap")]
        figures = [f"{profile.total / json.loads(text)['samples']:.0f}" for profile, text in counts]
        rows.append([f"{int(length):,}", figures[0], both(times["walk"]), figures[1], both(times["leap"])])
    bench.table("Look-up, by the length of the two encoder and the two level tables, mode 1",
                ["rows", "moving: instructions", "ns", "jumping: instructions", "ns"], rows,
                "Moving: 10 degrees a second at 1,000 samples a second. Jumping: each reading anywhere in its table.")


def mek(bench, _):
    rows = []
    for line in output_of(bench.programs["rivals_bench"], "mek", bench.rounds).splitlines():
        result = json.loads(line)
        for rival, spent in result["rivals"].items():
            times = [theirs / mine for mine, theirs in zip(result["ours"], spent)]
            rows.append([result["name"], both(result["ours"], 1), rival, both(spent, 1), both(times, 2),
                         f"{result['difference']:.0e}"])
    bench.table("Support routines", ["routine", "ns", "rival", "its ns", "times as fast", "largest difference"], rows)


def files(bench, folder):
    long_table = pathlib.Path(tempfile.mkdtemp(dir=folder))
    (long_table / "Tg1009.prm").write_text(lengthened((ROOT / "data/two_level/Tg1009.prm").read_text(), 3600))
    rows = []
    sensors = [part for mode in (1, 5, 9) for part in (ROOT / "data" / SENSORS[mode], 1000 + mode)]
    command = (bench.programs["rivals_bench"], "files", bench.rounds, *sensors, long_table, 1009)
    for result in map(json.loads, output_of(*command).splitlines()):
        ours, plain = ([ns / 1000 for ns in spent] for spent in (result["ours"], result["rivals"]["fscanf"]))
        rows.append([f"{result['name']}, {result['values']} values", both(ours, 1), both(plain, 1),
                     both([theirs / mine for mine, theirs in zip(ours, plain)], 2)])
    bench.table("Reading a parameter file", ["file", "us", "fscanf, us", "times as fast"], rows,
                "From opening to closing, every value the same; both lay the splines and invert the matrix.")

    directory = os.path.join(folder, "thousand")
    os.mkdir(directory)
    for i in range(1000):
        source = ROOT / "data" / SENSORS[1 + i % 10]
        text = (source / f"Tg{1001 + i % 10}.prm").read_text().splitlines(True)
        pathlib.Path(directory, f"Tg{i + 1}.prm").write_text("".join([text[0], f"{i + 1}\n", *text[2:]]))
    kor = str(bench.programs["kor"])
    runs = by_turns({"check": lambda: run_once([kor, "prm", "check", directory])}, bench.rounds)["check"]
    bench.table("Checking 1,000 parameter files", ["command", "s", "processor, s", "at most, s"],
                [["kor prm check DIR", both((runs.least(), runs.median()), 3),
                  both((runs.least("processor"), runs.median("processor")), 3), "1"]])


def lengthened(text, rows):
    """A file whose encoder tables have so many rows."""
    lines = text.splitlines()
    for title, first, span in (("AZ Calibration Table", 0.5, 359.0), ("EL Calibration Table", -60.0, 120.0)):
        at = lines.index(title)
        count = int(lines[at + 1])
        body = [f"{first + span * i / rows:.6f}\t{0.001 * ((7 * i) % 11 - 5):.6f}" for i in range(rows)]
        lines[at + 1:at + 2 + count] = [str(rows), *body]
    return "\n".join(lines) + "\n"


PANDAS = "import sys, pandas; pandas.read_csv(sys.argv[1]).to_csv(sys.argv[2], index=False)"


def recordings(bench, folder):
    rows = 50000 if bench.quick else 500000
    sensor = Sensor(bench, 5, folder, samples=rows)
    raw = sensor.recording
    csv = os.path.join(folder, "raw.csv")
    bench.simulate(sensor, csv, rows)
    packed = csv + ".gz"
    output_of("gzip", "-k", "-1", csv)
    kor = str(bench.programs["kor"])
    replay = [kor, "replay", "--prm", str(sensor.directory), "--id", str(sensor.identity), "--progress=never", "--force"]

    def to(name):
        return os.path.join(folder, name)

    commands = {
        "kor replay, CSV to CSV": ([*replay, csv, "-o", to("out.csv")], csv),
        "the same, one thread": ([*replay, "--threads", "1", csv, "-o", to("one.csv")], csv),
        "kor replay, binary to binary": ([*replay, raw, "-o", to("out.korinfo")], raw),
        "kor replay, CSV.gz to CSV": ([*replay, packed, "-o", to("packed.csv")], packed),
        "mlr cat": (["mlr", "--icsv", "--ocsv", "cat", csv], csv),
        "pandas": (["/usr/bin/python3", "-c", PANDAS, csv, to("pandas.csv")], csv),
    }
    # The same results from every form; and the copies are copies.
    for name, (command, _) in commands.items():
        if command[0] == kor:
            run_once(command)
    wanted = pathlib.Path(to("out.csv")).read_bytes()
    if wanted.count(b"\n") != rows + 1:
        sys.exit(f"kor replay: {wanted.count(bytes([10]))} lines for {rows} samples")
    for name in ("one.csv", "packed.csv"):
        if pathlib.Path(to(name)).read_bytes() != wanted:
            sys.exit(f"kor replay: {name} and out.csv differ")
    output_of(kor, "convert", to("out.korinfo"), to("unpacked.csv"))
    if pathlib.Path(to("unpacked.csv")).read_bytes() != wanted:
        sys.exit("kor replay: the binary results and out.csv differ")
    run_once(commands["mlr cat"][0], out=to("mlr.csv"))
    if pathlib.Path(to("mlr.csv")).read_bytes() != pathlib.Path(csv).read_bytes():
        sys.exit("mlr cat: the copy differs")

    def afresh(command):
        # The results of the run before are taken away: putting new ones in their place takes the time of their size.
        if command[-2] == "-o":
            os.unlink(command[-1])
        return run_once(command)

    def engine_alone():
        least, _ = json.loads(output_of(*sensor.task(bench, "time", 1)))["engine"]
        return measure.Run(rows * least / 1e9, 0.0)

    runs = by_turns({**{name: (lambda command=command: afresh(command)) for name, (command, _) in commands.items()},
                     "the engine alone": engine_alone}, 7)
    own = runs["the engine alone"]
    table = []
    for name, (command, source) in commands.items():
        run = runs[name]
        table.append([name, both((run.least(), run.median()), 3),
                      both((run.least("processor"), run.median("processor")), 3),
                      f"{rows / run.median():,.0f}", f"{os.path.getsize(source) / MIB / run.median():.0f}",
                      f"{measure.memory_of(command) / MIB:.0f}"])
    table.append(["the engine alone", both((own.least(), own.median()), 3), "", f"{rows / own.median():,.0f}", "", ""])
    shares = []
    for what in ("processor", "wall"):
        share = (runs["kor replay, CSV to CSV"].least(what) / runs["mlr cat"].least(what),
                 runs["kor replay, CSV to CSV"].median(what) / runs["mlr cat"].median(what))
        shares.append(f"CSV to CSV, {what} time: {both(share, 3)} of mlr's.")
    binary = runs["kor replay, binary to binary"]
    shares.append(f"Binary to binary: {both((binary.least() / own.least(), binary.median() / own.median()), 2)} times the "
                  "engine's own time.")
    bench.table(f"Recordings of {rows:,} samples", ["command", "wall, s", "processor, s", "samples/s", "MB/s", "memory, MiB"],
                table, *shares)


def machine():
    """What the figures depend on."""
    cpu = next((line.partition(":")[2].strip() for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines()
                if line.startswith("model name")), platform.processor())
    versions = [output_of("g++", "--version").splitlines()[0], " ".join(platform.libc_ver()),
                output_of("mlr", "--version").strip(),
                "pandas " + output_of("/usr/bin/python3", "-c", "import pandas; print(pandas.__version__)").strip()]
    for package in ("libeigen3-dev", "libgsl-dev", "libboost-math-dev", "valgrind"):
        if shutil.which("dpkg-query"):
            versions.append(package + " " + output_of("dpkg-query", "-W", "-f=${Version}", package))
    commit = subprocess.run(["git", "-C", str(ROOT), "describe", "--always", "--dirty"], stdout=subprocess.PIPE,
                            stderr=subprocess.DEVNULL).stdout.decode().strip()
    load = os.getloadavg()[0]
    return (f"{cpu}, {os.cpu_count()} processors, {platform.system()} {platform.release()}; " + "; ".join(versions) +
            f"; commit {commit or 'unknown'}; load before the run {load:.1f}.")


def parts_of(path):
    """A page around the figures."""
    before, begin, rest = pathlib.Path(path).read_text(encoding="utf-8").partition(BEGIN)
    _, end, after = rest.partition(END)
    if not begin or not end:
        sys.exit(f"{path}: expected the lines {BEGIN} and {END}")
    return before + begin + "\n", "\n" + end + after


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", metavar="BUILD", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true", help="fewer modes and rounds, shorter recordings")
    parser.add_argument("--markdown", metavar="FILE", help="also write the tables between the marks of this page")
    parser.add_argument("sections", metavar="SECTION", nargs="*", help=", ".join(SECTIONS))
    given = parser.parse_intermixed_args()
    unknown = [name for name in given.sections if name not in SECTIONS]
    if unknown:
        parser.error(f"found the section {unknown[0]!r}, expected {', '.join(SECTIONS)}")
    around = parts_of(given.markdown) if given.markdown else None
    bench = Bench(given.build.resolve(), given.quick)
    about = machine()
    print(about)
    for name in given.sections or SECTIONS:
        bench.section = name
        with tempfile.TemporaryDirectory(prefix="kor-bench-") as folder:
            globals()[name](bench, folder)
    if given.markdown:
        text = "\n".join([about, "", *(markdown_table(*table) for table in bench.tables)])
        pathlib.Path(given.markdown).write_text(around[0] + text + around[1], encoding="utf-8")


if __name__ == "__main__":
    main()
