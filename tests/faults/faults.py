#!/usr/bin/env python3
"""Runs kor and a rewriting host while memory and system calls fail, and looks at what is left.

    faults.py KOR INTERPOSED HOST [--smoke] [--only NAME] [--jobs N]

INTERPOSED is the library of tests/faults/faults.cpp, HOST that of host.cpp. For every task below:

- memory: the n-th allocation fails, for every n, alone and with all behind it;
- calls: every system call fails with the errors that it may have, alone and with all behind it; is interrupted; does half
  of its work;
- kills: the process is killed before, in and behind every system call of a rewriting, on one file system and across two;
- places: a full disk, a limit of the file size, a read-only directory and file system, a directory that has vanished.

What must hold: a run ends with one of its statuses and never by a signal of its own; with its usual status, all that it
leaves is what an undisturbed run leaves, to the last byte; with another, no output is in its place, what was there before
is as it was, and no temporary file is left. An interruption and half a transfer change nothing. A parameter file that is
rewritten is at every moment the old one or a complete new one.

--smoke takes a few of each, for the tests; without it the campaign takes some minutes.
"""
import argparse
import concurrent.futures
import errno
import itertools
import os
import pathlib
import re
import shutil
import signal
import stat
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
SENSOR = ROOT / "data" / "polarizer"
ID = 1005

# Tasks that the short form leaves out.
LONG = {"replay-over", "replay-zstd", "simulate-over"}

NO_MEMORY = 71
STATUSES = {0, 1, 65, 66, 70, 71, 73, 74}

# The errors that a call may have, and whether it may be interrupted.
ERRORS = {
    "open": (errno.EACCES, errno.EMFILE, errno.ENOENT, errno.EROFS, errno.ENOSPC), "read": (errno.EIO,),
    "write": (errno.ENOSPC, errno.EDQUOT, errno.EIO), "close": (errno.EIO, errno.EDQUOT, errno.EINTR),
    "fsync": (errno.EIO, errno.EDQUOT), "ftruncate": (errno.EIO,), "rename": (errno.EACCES, errno.ENOENT, errno.EXDEV),
    "unlink": (errno.EACCES,), "fstat": (errno.EIO,), "stat": (errno.EACCES,), "lstat": (errno.EACCES,),
    "chmod": (errno.EPERM,), "fchmod": (errno.EPERM,), "fchown": (errno.EPERM,), "poll": (errno.ENOMEM,),
    "link": (errno.EPERM, errno.ENOSPC), "flock": (errno.ENOLCK, errno.EWOULDBLOCK), "fcntl": (errno.EMFILE,),
    "opendir": (errno.EACCES,), "readdir": (errno.EIO,), "getcwd": (errno.ENOENT,), "pthread_create": (errno.EAGAIN,),
}
INTERRUPTIBLE = {"open", "read", "write", "fsync", "poll"}
TRANSFERS = {"read", "write"}


class Fault(Exception):
    """Something that must not be."""


def contents(folder):
    """Every file below a folder with its bytes."""
    return {str(path.relative_to(folder)): path.read_bytes() for path in sorted(folder.rglob("*")) if path.is_file()}


def is_temporary(name):
    name = os.path.basename(name)
    return name.startswith("$tmp") or (name.startswith(".kor.") and name.endswith(".tmp"))


class Run:
    """What a run has left."""

    def __init__(self, command, folder, environment, **options):
        # What it says goes through pipes, whose ends are closed when it ends.
        done = subprocess.run(command, cwd=folder, env={**os.environ, **environment}, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60, check=False, **options)
        self.status, self.out, self.said = done.returncode, done.stdout, done.stderr.decode("utf-8", "replace")


class Task:
    """A command, the files that it begins with and those that it makes."""

    def __init__(self, name, command, inputs, outputs, is_host=False):
        self.name, self.command, self.inputs, self.outputs, self.is_host = name, command, inputs, outputs, is_host
        self.usual = None

    def prepared(self, folder):
        for name, content in self.inputs.items():
            path = folder / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(content)

    def run(self, environment, **options):
        with tempfile.TemporaryDirectory(prefix="kor-faults-") as name:
            folder = pathlib.Path(name)
            self.prepared(folder)
            run = Run(self.command, folder, environment, **options)
            run.left = contents(folder)
            return run

    def undisturbed(self, interposed):
        """The usual end; how many allocations it takes and which calls."""
        with tempfile.NamedTemporaryFile(prefix="kor-faults-") as report:
            self.usual = self.run({"LD_PRELOAD": interposed, "KOR_FAULTS_REPORT": report.name})
            count, *calls = pathlib.Path(report.name).read_text(encoding="ascii").split()
        if self.usual.status not in (0, 1):
            raise Fault(f"{self.name}: ends with {self.usual.status} undisturbed: {self.usual.said}")
        if any(is_temporary(path) for path in self.usual.left):
            raise Fault(f"{self.name}: leaves {list(self.usual.left)} undisturbed")
        return int(count), calls

    def is_usual(self, run):
        return (run.status, run.out, run.left) == (self.usual.status, self.usual.out, self.usual.left)

    def judge(self, run, may_leave=False, silent=False, statuses=STATUSES):
        """Raises when a disturbed run has done what it must not. It may leave a file where it could not remove it."""
        told = f"status {run.status}, said {run.said!r}, left {sorted(run.left)}"
        if self.is_host:
            self.judge_host(run, told)
            return
        if run.status not in statuses | {self.usual.status}:
            raise Fault(f"ends in no way of its own: {told}")
        if run.status == self.usual.status:
            left = {name: content for name, content in run.left.items() if not (may_leave and is_temporary(name))}
            if left != self.usual.left or (run.out != self.usual.out and not silent):
                raise Fault(f"ends as usual and leaves something else: {told}")
            return
        if not run.said and not silent:
            raise Fault(f"does not say why it failed: {told}")
        if (run.status == NO_MEMORY or "cannot write standard output" in run.said) and run.left == self.usual.left:
            return  # all is done, and only the account of it could not be told
        for name, content in self.inputs.items():
            if run.left.get(name) != content and not (may_leave and content in run.left.values()):
                raise Fault(f"failed, and {name} is not as it was: {told}")
        for name in sorted(set(run.left) - set(self.inputs)):
            if ".partial" in name:
                whole = self.usual.left[name.replace(".partial", "")]
                if not whole.startswith(run.left[name]):
                    raise Fault(f"the partial results are not a part of the whole: {told}")
            elif not may_leave:
                raise Fault(f"failed, and {name} is there: {told}")

    def judge_host(self, run, told):
        """0: the file is the new one, or the old one if the replacement was refused; 550, 553: the old one."""
        (name, old), = self.inputs.items()
        if run.status not in (0, 1, 2):
            raise Fault(f"ends in no way of its own: {told}")
        if run.left.get(name) != old and (run.status != 0 or run.left.get(name) != self.usual.left[name]):
            raise Fault(f"the file is neither the old one nor the new one, or the result is that of a failure: {told}")
        if any(not is_temporary(left) for left in set(run.left) - {name}):
            raise Fault(f"left a file: {told}")


def table_file(rows):
    """A parameter file that the library rewrites: it ends before "Mounting Mode"."""
    text = (SENSOR / f"Tg{ID}.prm").read_text(encoding="ascii")
    text = text[:text.index("Scale Factor")]
    body = "".join(f"{10 + row / 64:.6f}\t{row / 4096:.6f}\n" for row in range(rows))
    return re.sub(r"(AZ Calibration Table\n)\d+\n[^A-Z]*", rf"\g<1>{rows}\n{body}", text).encode()


def tasks_of(kor, host):
    prm = (SENSOR / f"Tg{ID}.prm").read_bytes()
    other = prm.replace(b"ADM Offset\n", b"ADM Offset\n1", 1)
    rows = (SENSOR / "polarizer.csv").read_bytes().split(b"\n")
    recording = b"\n".join(rows[:600]) + b"\n"
    inputs = {f"Tg{ID}.prm": prm, "a.csv": recording}
    replay = [kor, "replay", "--prm", ".", "--id", str(ID), "--progress=never"]
    simulate = [kor, "simulate", "--prm", ".", "--id", str(ID), "--motion", "random", "--samples", "300",
                "--progress=never", "-o", "s.csv", "--truth", "t.csv"]
    json = Run([kor, "prm", "json", str(SENSOR / f"Tg{ID}.prm")], "/", {}).out
    packed = subprocess.run(["gzip", "-n"], input=recording, stdout=subprocess.PIPE, check=True).stdout
    with tempfile.TemporaryDirectory(prefix="kor-faults-") as folder:
        place = pathlib.Path(folder)
        (place / "a.csv").write_bytes(recording)
        Run([kor, "convert", "a.csv", "a.csv.zst"], place, {})
        zstandard = (place / "a.csv.zst").read_bytes()
    short = {f"Tg{ID}.prm": table_file(40)}
    return [
        Task("replay", [*replay, "--threads", "1", "a.csv", "-o", "r.csv"], inputs, ["r.csv"]),
        Task("replay-over", [*replay, "--threads", "1", "a.csv", "-o", "r.csv"], {**inputs, "r.csv": b"old"}, ["r.csv"]),
        Task("replay-gzip", [*replay, "--threads", "1", "a.csv.gz", "-o", "r.korinfo.gz"],
             {f"Tg{ID}.prm": prm, "a.csv.gz": packed}, ["r.korinfo.gz"]),
        Task("replay-zstd", [*replay, "--threads", "1", "a.csv.zst", "-o", "r.csv.zst"],
             {f"Tg{ID}.prm": prm, "a.csv.zst": zstandard}, ["r.csv.zst"]),
        Task("replay-threads", [*replay, "--threads", "3", "a.csv", "-o", "r.csv"], inputs, ["r.csv"]),
        Task("simulate", simulate, {f"Tg{ID}.prm": prm}, ["s.csv", "t.csv"]),
        Task("simulate-over", simulate, {f"Tg{ID}.prm": prm, "s.csv": b"old", "t.csv": b"old"}, ["s.csv", "t.csv"]),
        Task("prm-check", [kor, "prm", "check", f"Tg{ID}.prm"], {f"Tg{ID}.prm": prm}, []),
        Task("prm-show", [kor, "prm", "show", f"Tg{ID}.prm"], {f"Tg{ID}.prm": prm}, []),
        Task("prm-json", [kor, "prm", "json", f"Tg{ID}.prm", "-o", "p.json"], {f"Tg{ID}.prm": prm}, ["p.json"]),
        Task("prm-from-json", [kor, "prm", "from-json", "p.json", "-o", f"Tg{ID}.prm"], {"p.json": json},
             [f"Tg{ID}.prm"]),
        Task("prm-diff", [kor, "prm", "diff", f"Tg{ID}.prm", "other.prm"], {f"Tg{ID}.prm": prm, "other.prm": other}, []),
        Task("prm-new", [kor, "prm", "new", "--mode", "5", "--id", str(ID), "-o", f"Tg{ID}.prm"], {},
             [f"Tg{ID}.prm"]),
        Task("prm-rewrite", [kor, "prm", "rewrite", f"Tg{ID}.prm"], short, [f"Tg{ID}.prm", f"Tg{ID}.prm.bak"]),
        Task("rewrite", [host, f"Tg{ID}.prm"], short, [], True),
    ]


class Campaign:
    def __init__(self, given):
        self.interposed, self.smoke = str(pathlib.Path(given.interposed).resolve()), given.smoke
        self.kor, self.host = (str(pathlib.Path(path).resolve()) for path in (given.kor, given.host))
        self.only = given.only
        self.pool = concurrent.futures.ThreadPoolExecutor(given.jobs)
        self.runs = 0
        self.wrong = []

    def all(self, name, plans, work):
        """Runs the work for every plan and tells how many there were."""
        def guarded(plan):
            try:
                work(plan)
            except (Fault, subprocess.TimeoutExpired) as fault:
                return f"{name}: {plan}: {fault}"
            return None
        plans = list(plans)
        wrong = [fault for fault in self.pool.map(guarded, plans) if fault]
        self.wrong += wrong
        self.runs += len(plans)
        print(f"{name}: {len(plans)} disturbed runs, {len(wrong)} wrong", flush=True)
        for fault in wrong[:10]:
            print("  " + fault)

    def some(self, numbers, how_many):
        """All of them, or a few all over the range."""
        numbers = list(numbers)
        if not self.smoke or len(numbers) <= how_many:
            return numbers
        return [numbers[i * len(numbers) // how_many] for i in range(how_many)]

    def memory(self, task, count):
        def work(plan):
            run = task.run({"LD_PRELOAD": self.interposed, "KOR_FAULTS": plan})
            task.judge(run, statuses={NO_MEMORY})
            if task.is_host and run.status not in (0, 2):
                raise Fault(f"a rewriting without memory gives neither 0 nor 553: status {run.status}")
        numbers = self.some(range(1, count + 1), 12)
        how = ("on",) if self.smoke else ("once", "on")
        self.all(f"memory, {task.name}", (f"alloc:{n}:{kind}" for n in numbers for kind in how), work)

    def calls(self, task, calls):
        def work(plan):
            number, how, *error = plan.split(":")[1:]
            run = task.run({"LD_PRELOAD": self.interposed, "KOR_FAULTS": plan})
            name = calls[int(number) - 1]
            if how == "half" or (error == [str(errno.EINTR)] and name in INTERRUPTIBLE):
                if not task.is_usual(run):
                    raise Fault(f"a {name} that {'is interrupted' if error else 'does half its work'} changes the run: "
                                f"status {run.status}, said {run.said!r}, left {sorted(run.left)}")
                return
            # Whoever has the lock of a file removes it.
            task.judge(run, may_leave=how == "on" or name in ("unlink", "rename", "flock"), silent=how == "on" or name == "write")
        plans = []
        for number, name in self.some(enumerate(calls, 1), 12):
            for error in self.some(ERRORS[name], 1):
                # Whoever tries an interrupted call again and again would wait for ever.
                hows = ("once",) if self.smoke or error == errno.EINTR else ("once", "on")
                plans += [f"call:{number}:{how}:{error}" for how in hows]
            plans += [f"call:{number}:once:{errno.EINTR}"] * (name in INTERRUPTIBLE)
            plans += [f"call:{number}:half"] * (name in TRANSFERS)
        self.all(f"calls, {task.name}", plans, work)

    def kills(self, name, work_in):
        """Kills rewritings, with the current directory in another folder than the file."""
        old = table_file(15000)

        def rewritten(plan, report=None):
            with tempfile.TemporaryDirectory(prefix="kor-faults-") as there, \
                    tempfile.TemporaryDirectory(prefix="kor-faults-", dir=work_in) as here:
                path = pathlib.Path(there) / f"Tg{ID}.prm"
                path.write_bytes(old)
                environment = {"LD_PRELOAD": self.interposed, "KOR_FAULTS": plan, "KOR_FAULTS_REPORT": report or ""}
                first = Run([self.host, str(path)], here, environment)
                between = path.read_bytes() if path.exists() else None
                again = first
                if plan and between == old:
                    again = Run([self.host, str(path)], here, {"LD_PRELOAD": self.interposed})
                return first, between, again, path.read_bytes() if path.exists() else None

        with tempfile.NamedTemporaryFile(prefix="kor-faults-") as report:
            first, new, _, _ = rewritten("", report.name)
            _, *calls = pathlib.Path(report.name).read_text(encoding="ascii").split()
        if first.status != 0 or new in (None, old):
            raise Fault(f"{name}: ends with {first.status} undisturbed")

        def work(plan):
            first, between, again, after = rewritten(plan)
            if first.status != -signal.SIGKILL:
                raise Fault(f"was not killed but ended with {first.status}")
            if between not in (old, new):
                raise Fault("the file is neither the old one nor the new one: "
                            f"{'gone' if between is None else f'{len(between)} bytes'}")
            if again.status not in (0, -signal.SIGKILL) or after != new:
                raise Fault(f"the next rewriting ended with {again.status} and left "
                            f"{'the old file' if after == old else 'something else'}")
        plans = [f"call:{number}:{how}" for number, call in enumerate(calls, 1)
                 for how in ("kill", "killed", "torn")[:3 if call in TRANSFERS else 2]]
        if len(plans) < 400:
            raise Fault(f"kills, {name}: {len(plans)} moments, expected at least 400")
        self.all(f"kills, {name}", self.some(plans, 12), work)

    def places(self, task):
        """Where an output finds no room, or no place at all."""
        def limited(size):
            def limit():
                import resource  # pylint: disable=import-outside-toplevel
                signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
                resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
            return limit

        largest = max((len(content) for name, content in task.usual.left.items()
                       if content != task.inputs.get(name)), default=0)
        sizes = {size for size in (0, 1, 4096, largest // 2, largest - 1) if 0 <= size < largest}

        def too_small(size):
            run = task.run({}, preexec_fn=limited(size))
            task.judge(run)
            if run.status == 0:
                raise Fault("ended with 0")
        self.all(f"limits of the file size, {task.name}", self.some(sorted(sizes), 2), too_small)

    def mounted(self, task):
        """On a file system that is full or read-only, and in a directory that has vanished."""
        mount = "mount -t tmpfs -o size=64k tmpfs . && cd . && cd \"$PWD\" && "
        fill = "head -c 1000000 /dev/zero > filler 2>/dev/null; "
        scripts = {
            "full": mount + "cp -r \"$1/.\" . && " + fill + "shift && exec \"$@\"",
            "read-only": mount + "cp -r \"$1/.\" . && mount -o remount,ro . && cd \"$PWD\" && shift && exec \"$@\"",
            "vanished": "mkdir gone && cd gone && rmdir ../gone && shift && exec \"$@\"",
        }

        def work(name):
            with tempfile.TemporaryDirectory(prefix="kor-faults-") as source, \
                    tempfile.TemporaryDirectory(prefix="kor-faults-") as target:
                task.prepared(pathlib.Path(source))
                apart = ["unshare", "-m"] if os.geteuid() == 0 else ["unshare", "-r", "-m"]
                run = Run([*apart, "sh", "-c", scripts[name], "sh", source, *task.command], target, {})
                if run.status == 0 and task.outputs:
                    raise Fault(f"ended with 0, said {run.said!r}")
                if run.status not in STATUSES:
                    raise Fault(f"ended with {run.status}, said {run.said!r}")
                if not run.said and not task.is_host:
                    raise Fault(f"did not say why it ended with {run.status}")
                if contents(pathlib.Path(target)):
                    raise Fault(f"left {contents(pathlib.Path(target))}")
        self.all(f"places, {task.name}", scripts, work)

    def run(self):
        tasks = [task for task in tasks_of(self.kor, self.host) if self.only in task.name]
        if self.smoke:
            tasks = [task for task in tasks if task.name not in LONG]
        for task in tasks:
            allocations, calls = task.undisturbed(self.interposed)
            print(f"{task.name}: {allocations} allocations, {len(calls)} calls", flush=True)
            self.memory(task, allocations)
            if task.name != "replay-threads":  # their order is another one in every run
                self.calls(task, calls)
            if task.outputs or task.is_host:
                self.places(task)
                if not self.smoke:
                    self.mounted(task)
        if self.only in "rewrite":
            self.kills("one file system", None)
            shared = pathlib.Path("/dev/shm")
            if shared.is_dir() and os.stat(shared).st_dev != os.stat(tempfile.gettempdir()).st_dev:
                self.kills("two file systems", shared)
            else:
                print("kills, two file systems: /dev/shm is not a file system of its own here, left out")
        print(f"{self.runs} disturbed runs, {len(self.wrong)} wrong")
        return 1 if self.wrong else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("kor", metavar="KOR")
    parser.add_argument("interposed", metavar="INTERPOSED")
    parser.add_argument("host", metavar="HOST")
    parser.add_argument("--smoke", action="store_true", help="a few of each")
    parser.add_argument("--only", metavar="NAME", default="", help="tasks whose name holds this")
    parser.add_argument("--jobs", metavar="N", type=int, default=os.cpu_count(), help="runs at a time")
    return Campaign(parser.parse_args()).run()


if __name__ == "__main__":
    sys.exit(main())
