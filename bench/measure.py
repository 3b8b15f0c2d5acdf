"""Runs programs by turns and measures time, processor time and memory."""
import dataclasses
import os
import statistics
import subprocess
import tempfile
import time


@dataclasses.dataclass
class Run:
    """One run of a program."""
    wall: float  # seconds
    processor: float  # seconds, of the program and what it starts, user and system


@dataclasses.dataclass
class Runs:
    """All runs of one side."""
    wall: list
    processor: list

    def least(self, what="wall"):
        return min(getattr(self, what))

    def median(self, what="wall"):
        return statistics.median(getattr(self, what))


def run_once(command, out=None, inp=None):
    """Given  out, inp  paths for standard output and input; nothing by default"""
    with open(inp or os.devnull, "rb") as source, open(out or os.devnull, "wb") as target:
        begun = time.perf_counter()
        program = subprocess.Popen(command, stdin=source, stdout=target, stderr=subprocess.PIPE)
        errors = program.stderr.read()
        _, status, usage = os.wait4(program.pid, 0)
        wall = time.perf_counter() - begun
    program.returncode = os.waitstatus_to_exitcode(status)
    if program.returncode not in (0, 1):
        raise RuntimeError(f"{' '.join(command)}\nended with status {program.returncode}: {errors.decode()}")
    return Run(wall, usage.ru_utime + usage.ru_stime)


def memory_of(command):
    """The most memory that a program takes, in bytes. What a process reports of a program that it has started itself
    begins with its own memory; so a small program stands between."""
    with tempfile.NamedTemporaryFile("r") as told:
        subprocess.run(["/usr/bin/time", "-f", "%M", "-o", told.name, *command], stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=True)
        return int(told.read()) * 1024


def by_turns(sides, rounds):
    """Runs every side once to warm up, then `rounds` times by turns.

    Given     sides   name: a function that makes one Run
    Returned  name: Runs
    """
    runs = {name: Runs([], []) for name in sides}
    for turn in range(rounds + 1):
        for name, once in sides.items():
            one = once()
            if turn > 0:
                runs[name].wall.append(one.wall)
                runs[name].processor.append(one.processor)
    return runs
