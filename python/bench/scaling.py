#!/usr/bin/env python3
"""How korinterface.batch grows: what a recording, a sample, a task and a row of the tables cost, and how much faster two
workers are than one. Prints tables in Markdown.

    scaling.py [RECORDINGS]   of the archive that one and two workers replay in turn (default 1200)

Exit status 1 if one and two workers give different answers.
"""
import hashlib
import os
import pathlib
import platform
import shutil
import statistics
import sys
import tempfile
import time

import distributed

import korinterface as ki
from korinterface import batch
from korinterface.batch import _plan, _run, _tables
from korinterface.batch._files import Folder

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests"))
import archives  # noqa: E402

ROUNDS = 5
PATTERN = "{sensor}/{day}/*"


def replay(folder, output, **options):
    return batch.replay(folder / "recordings", output, prm=folder / "calibration", pattern=PATTERN,
                        root=folder / "recordings", **options)


def timed(work):
    """Seconds by the clock and of this process's processor time."""
    wall, processor = time.perf_counter(), time.process_time()
    work()
    return time.perf_counter() - wall, time.process_time() - processor


def table(*columns):
    print("| " + " | ".join(columns) + " |\n|" + "---:|" * len(columns))


def row(*cells):
    print("| " + " | ".join(cells) + " |", flush=True)


def say_machine():
    model = next((line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo", encoding="utf-8")
                  if line.startswith("model name")), platform.machine())
    print(f"{model}, {os.cpu_count()} cores, load {os.getloadavg()[0]:.1f} before; Python {platform.python_version()}, "
          f"distributed {distributed.__version__}, pyarrow {_tables.pyarrow().__version__}, korinterface {ki.__version__}\n")


def two_beside_one(folder, recordings):
    """Returns whether both give the same answer."""
    print(f"### One and two workers\n\n{recordings} recordings of 1200 samples, {ROUNDS} rounds in turn\n")
    found = {1: [], 2: []}
    processor = {1: [], 2: []}  # of the workers, and of client and scheduler, which share a process here
    answers = {}
    clusters = {count: distributed.LocalCluster(n_workers=count, threads_per_worker=1, dashboard_address="127.0.0.1:0")
                for count in found}
    clients = {count: distributed.Client(cluster) for count, cluster in clusters.items()}
    try:
        for turn in range(ROUNDS + 1):
            for count in (1, 2) if turn % 2 else (2, 1):
                output = folder / f"output{count}"
                before = sum(clients[count].run(time.process_time).values())
                seconds, own = timed(lambda: replay(folder, output, client=clients[count]))
                spent = sum(clients[count].run(time.process_time).values()) - before
                answers[count] = archives.contents(output)
                shutil.rmtree(output)
                if turn:  # the first one warms up
                    found[count].append(seconds)
                    processor[count].append((spent, own))
            if answers[1] != answers[2]:
                return False
            if not turn:
                print(f"Both give the same {len(answers[1])} files.\n", flush=True)
    finally:
        for client in clients.values():
            client.close()
        for cluster in clusters.values():
            cluster.close()
    table("workers", "least s", "median s", "recordings per s", "samples per s", "processor s of the workers",
          "of client and scheduler")
    for count, times in found.items():
        row(str(count), f"{min(times):.2f}", f"{statistics.median(times):.2f}", f"{recordings / min(times):.0f}",
            f"{1200 * recordings / min(times):.0f}", *(f"{min(each):.2f}" for each in zip(*processor[count])))
    ratios = [one / two for one, two in zip(found[1], found[2])]
    print(f"\nTwo are {statistics.median(ratios):.2f} times as fast as one (median of the rounds; "
          f"{min(ratios):.2f} to {max(ratios):.2f}). Load {os.getloadavg()[0]:.1f} after it.\n", flush=True)
    return True


def by_length(folder):
    print("### A recording by its length\n\nOne process, processor time; CSV in, Parquet out\n")
    table("samples", "recordings", "ms per recording", "µs per sample", "bytes in", "bytes out", "done before: ms")
    for samples, count in ((100, 150), (1200, 150), (12_000, 30), (120_000, 7)):
        here = folder / str(samples)
        archives.make(here, count, samples=samples, modes=(5,))
        for path in (here / "recordings").rglob("*.*"):  # all of the same form
            if path.suffix != ".csv":
                ki.write_recording(path.with_name(path.name.split(".")[0] + ".csv"), ki.read_recording(path))
                path.unlink()
        times, again = [], []
        for _ in range(3):
            shutil.rmtree(here / "output", ignore_errors=True)
            times.append(timed(lambda: replay(here, here / "output"))[1] / count)
            again.append(timed(lambda: replay(here, here / "output"))[1] / count)
        size = [sum(path.stat().st_size for path in (here / name).rglob("*.*") if path.is_file()) / count / samples
                for name in ("recordings", "output/results")]
        row(str(samples), str(count), f"{1e3 * min(times):.2f}", f"{1e6 * min(times) / samples:.2f}", f"{size[0]:.0f}",
            f"{size[1]:.0f}", f"{1e3 * min(again):.2f}")
        shutil.rmtree(here)
    print("\nBytes are those of a sample.\n")


def by_task(folder, recordings):
    print("### A task\n\nTwo workers, the archive of above, done before: what is left is tasks, hashes and footers\n")
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address="127.0.0.1:0") as cluster:
        with distributed.Client(cluster) as client:
            replay(folder, folder / "output", client=client)
            table("recordings per task", "tasks", "s", "ms per recording")
            for each in (1, 10, 100):
                times = [timed(lambda: replay(folder, folder / "output", client=client, recordings_per_task=each))[0]
                         for _ in range(3)]
                row(str(each), str(-(-recordings // each)), f"{min(times):.2f}", f"{1e3 * min(times) / recordings:.2f}")
    print(flush=True)


def hash_of(what, item):
    return hashlib.sha256((what + item.name).encode()).hexdigest()


def of_the_client(folder):
    print("### What one process does for all: lists and tables\n")
    count = 20_000
    for number in range(count):
        path = folder / "many" / str(1001 + number % 50) / f"2026-11-{1 + number // 50 % 28:02}" / f"{number:06}.csv"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.touch()
    listed = min(timed(lambda: _plan.plan([str(folder / "many")], root=str(folder / "many"), prm="x/Tg{sensor}.prm",
                                          pattern=PATTERN, day=None, options={}))[0] for _ in range(3))
    existing = min(timed(lambda: Folder(str(folder), {}).names("many"))[0] for _ in range(3))
    items = _plan.plan([str(folder / "many")], root=str(folder / "many"), prm="x/Tg{sensor}.prm", pattern=PATTERN, day=None,
                       options={})
    sample = _tables.pyarrow().parquet.read_table(folder / "output" / "summaries.parquet").to_pylist()[0]
    rows = _tables.table([{**sample, "recording": item.name, "key": hash_of("key", item), "recording_sha256": hash_of("", item)}
                          for item in items], _tables.summary_schema())

    def write():
        tables = _run._Tables(Folder(str(folder / "tables"), {}), items)
        tables._summaries.append(rows)
        tables.write()

    first = timed(write)[0]
    size = (folder / "tables" / "summaries.parquet").stat().st_size
    again = min(timed(write)[0] for _ in range(3))
    table("per recording", "")
    row("listing it, with sensor, day and parameter file", f"{1e6 * listed / count:.0f} µs")
    row("finding its earlier results", f"{1e6 * existing / count:.0f} µs")
    row("its row into the summaries", f"{1e6 * first / count:.0f} µs")
    row("its row compared with that of the run before", f"{1e6 * again / count:.0f} µs")
    row("its row in the file of the summaries", f"{size / count:.0f} bytes")
    row("its row in memory", f"{rows.nbytes / count:.0f} bytes")
    print()


def main():
    recordings = int(sys.argv[1]) if len(sys.argv) > 1 else 1200
    folder = pathlib.Path(tempfile.mkdtemp(prefix="kor"))
    try:
        say_machine()
        archives.make(folder, recordings, samples=1200)
        if not two_beside_one(folder, recordings):
            print("one and two workers give different answers", file=sys.stderr)
            return 1
        by_task(folder, recordings)
        of_the_client(folder)
        by_length(folder)
    finally:
        shutil.rmtree(folder)
    return 0


if __name__ == "__main__":
    sys.exit(main())
