"""Instructions by callgrind: the same figures run after run."""
import os
import pathlib
import re
import subprocess
import tempfile

# The C library chooses its mathematical functions by the processor. These switches leave the ones that every x86-64
# processor has, so that a count does not depend on the machine.
SAME_EVERYWHERE = {"GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX,-AVX2,-FMA,-FMA4,-AVX512F,-AVX512VL,-ERMS,-FSRM"}


class Profile:
    """What a function and all that it calls have executed."""

    def __init__(self, text):
        self.total = 0
        self.by_object = {}  # file name of the object: its own instructions
        self.calls = {}  # name of the function: calls
        names = {}  # "ob" or "fn", and the number: the name

        def name_of(kind, value):
            number, _, name = value.partition(" ")
            if not number.startswith("("):
                return value
            if name:
                names[kind, number] = name
            return names[kind, number]

        current, called, inclusive = "", "", False
        for line in text.splitlines():
            if line.startswith(("ob=", "cob=")):
                name = name_of("ob", line.partition("=")[2])
                current = current if line.startswith("c") else name
            elif line.startswith(("fn=", "cfn=")):
                name = name_of("fn", line.partition("=")[2])
                called = name if line.startswith("c") else called
            elif line.startswith("calls="):
                self.calls[called] = self.calls.get(called, 0) + int(line.partition("=")[2].split()[0])
                inclusive = True  # the next line's cost is that of the called function
            elif line[:1].isdigit() or line[:1] in ("+", "-", "*"):
                if not inclusive:
                    cost = int(line.split()[1])
                    self.total += cost
                    key = pathlib.PurePath(current).name
                    self.by_object[key] = self.by_object.get(key, 0) + cost
                inclusive = False

    def of_object(self, beginning):
        return sum(cost for name, cost in self.by_object.items() if name.startswith(beginning))

    def calls_of(self, *patterns):
        return sum(count for name, count in self.calls.items() if any(re.search(p, name) for p in patterns))


def profile(command, function, same_everywhere=False):
    """Runs a program and profiles what happens within calls of a function.

    Given     same_everywhere  whether the mathematical functions are to be those of every machine, or those that this one
                               runs (as far as valgrind knows its instructions)
    Returned  the Profile, and what the program has printed
    """
    with tempfile.TemporaryDirectory(prefix="kor-callgrind-") as folder:
        out = os.path.join(folder, "out")
        environment = {**os.environ, **(SAME_EVERYWHERE if same_everywhere else {}), "LD_BIND_NOW": "1"}
        done = subprocess.run(
            ["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}", f"--toggle-collect={function}", *command],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment)
        if done.returncode != 0:
            raise RuntimeError(f"{' '.join(command)}\n{done.stderr.decode()}")
        result = Profile(pathlib.Path(out).read_text(encoding="utf-8"))
    if result.total == 0:
        raise RuntimeError(f"{' '.join(command)}: {function} was never called")
    return result, done.stdout.decode()
