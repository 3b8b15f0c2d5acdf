"""The program under test: the first argument of the script that imports this.

A Windows program runs under the emulator that KOR_EMULATOR in the environment names, quoted as for a shell.
"""
import functools
import os
import re
import shlex
import subprocess
import sys
import unittest

PATH = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 else "kor"
EMULATOR = shlex.split(os.environ.get("KOR_EMULATOR", ""))
WINDOWS = PATH.endswith(".exe")
KOR = [*EMULATOR, PATH]

# For what Windows does not have (FIFOs, signals, limits of a process, links for everybody) or the emulator hides
# (it gives the program files for standard output and standard error).
posix_only = unittest.skipIf(WINDOWS, "POSIX only")


@functools.cache
def helps():
    """The help of the program and of each of its subcommands, by what calls them: "kor prm show"."""
    found, left = {}, ["kor"]
    while left:
        name = left.pop(0)
        done = subprocess.run([*KOR, *name.split(" ")[1:], "--help"], check=True, stdout=subprocess.PIPE)
        found[name] = done.stdout.decode()
        below = re.search(r"^Subcommands:\n((?:  .*\n)*)", found[name], re.M)
        left += [f"{name} {word}" for word in re.findall(r"^  (\S+)  ", below[1] if below else "", re.M)]
    return found


def run_line(arguments, **options):
    """Runs the program as a command line of the system's shell, redirections included."""
    if WINDOWS:
        # Files that the system's own shell has opened are all that the emulator can tell from one another.
        command = [*EMULATOR, "cmd", "/c", "Z:" + PATH.replace("/", "\\") + " " + arguments]
    else:
        command = ["/bin/sh", "-c", shlex.quote(PATH) + " " + arguments]
    return subprocess.run(command, **options)
