#!/usr/bin/env python3
"""Reads from built files how they are hardened (cmake/Hardening.cmake).

    hardening.py [--not-optimised] [--guard-cf] FILE...

A file for Linux must have: full RELRO (all of the tables that the loader fills are read-only afterwards), no executable
stack, no segment that can be written and executed, no relocations in code; a program a place that the loader chooses;
calls of the stack protector and, unless --not-optimised, of the C library's checked functions; a landing mark at the
beginning of every exported function outside the numeric core, and the mark that it may run with a shadow stack. A shared library must export
nothing of the standard library's. The marks are those of x86-64.

A file for Windows must have ASLR with 64 bits and relocations to move it by, DEP, and with --guard-cf control-flow guard;
calls of the stack protector, if it has its symbols still.

Needs readelf, objdump and c++filt, for Windows the objdump of MinGW.
"""
import argparse
import re
import subprocess
import sys


# Exported functions that have a landing mark: those that handle files and texts.
MARKED = re.compile(r"_ZNK?(3kor|7CKorPrm)")


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout.decode()


def lacks_of_elf(path, optimised):
    header = output("readelf", "-hW", path)
    segments = output("readelf", "-lW", path)
    dynamic = output("readelf", "-dW", path)
    symbols = output("readelf", "--dyn-syms", "-W", path)
    named = re.findall(r"^ *\d+: ([0-9a-f]+) +\S+ (\S+) +(\S+) +\S+ +(\S+) ([^@\s]+)", symbols, re.M)
    imports = {name for _, _, _, section, name in named if section == "UND"}
    exports = [(int(address, 16), kind, name) for address, kind, _, section, name in named if section not in ("UND", "ABS")]

    if "GNU_RELRO" not in segments or not re.search(r"\(FLAGS(_1)?\).*\b(BIND_NOW|NOW)\b", dynamic):
        yield "full RELRO"
    stack = re.search(r"GNU_STACK .* (R?W?E?) +0x\w+$", segments, re.M)
    if stack is None or "E" in stack[1]:
        yield "a stack that cannot be executed"
    if re.search(r"^ +\w+ .* RWE +0x\w+$", segments, re.M):
        yield "segments that cannot be both written and executed"
    if "TEXTREL" in dynamic:
        yield "code without relocations"
    if not re.search(r"Type: +DYN", header):
        yield "a place that the loader chooses"
    if "__stack_chk_fail" not in imports:
        yield "stack protector"
    checked = {name for name in imports if re.fullmatch(r"__\w+_chk", name)}
    if optimised and not checked:
        yield "calls of checked functions of the C library"
    if "X86-64" in header:
        if "SHSTK" not in output("readelf", "-nW", path):
            yield "mark for shadow stacks"
        code = dict(re.findall(r"^([0-9a-f]+) <[^>]+>:\n[^\n]*\t([^\n]*)$",
                               output("objdump", "-d", "--no-show-raw-insn", path), re.M))
        marks = {int(address, 16): "endbr64" in first for address, first in code.items()}
        bare = [name for address, kind, name in exports
                if kind == "FUNC" and MARKED.match(name) and not marks.get(address, False)]
        if bare:
            yield f"landing marks in {len(bare)} exported functions, {bare[0]} for one"
    if ".so" in path:
        foreign = [name for name in output("c++filt", *(name for _, _, name in exports)).split("\n")
                   if re.search(r"^((typeinfo|typeinfo name|vtable|VTT|guard variable) for )?([^(<]* )?(std|__gnu_cxx)::", name)]
        if foreign:
            yield f"exports without the standard library, {foreign[0]} for one"
        module = [name for _, _, name in exports if name.startswith("PyInit_")]
        if module and len(exports) > 1:
            yield f"a Python module's only export, but has {len(exports)}"
        elif not module and (len(exports) < 100 or sum(MARKED.match(name) is not None for _, _, name in exports) < 50):
            yield "the exports of the library"


def lacks_of_pe(path, guarded):
    told = output("x86_64-w64-mingw32-objdump", "-p", path)
    characteristics = re.search(r"^DllCharacteristics\t([0-9a-f]+)", told, re.M)
    bits = int(characteristics[1], 16) if characteristics else 0
    for bit, what in ((0x20, "ASLR with 64 bits"), (0x40, "ASLR"), (0x100, "DEP")):
        if not bits & bit:
            yield what
    if guarded and not bits & 0x4000:
        yield "control-flow guard"
    if not re.search(r"^Entry 5 [0-9a-f]*[1-9a-f][0-9a-f]* [0-9a-f]*[1-9a-f]", told, re.M):
        yield "relocations"
    symbols = output("x86_64-w64-mingw32-objdump", "-t", path)
    if "SYMBOL TABLE:\nno symbols" not in symbols and "__stack_chk_fail" not in symbols:
        yield "stack protector"
    table = told.split("[Ordinal/Name Pointer] Table", 1)
    if path.endswith(".dll"):
        names = re.findall(r"^\s+\[ *\d+\] (\S+)$", table[-1].split("\n\n", 1)[0], re.M)
        foreign = [name for name in output("c++filt", *names).split("\n") if re.search(r"^[^(]*\b(std|__gnu_cxx)::", name)]
        if foreign:
            yield f"exports without the standard library, {foreign[0]} for one"
        if len(names) < 100:
            yield "the exports of the library"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", metavar="FILE", nargs="+")
    parser.add_argument("--not-optimised", action="store_true", help="without checked calls of the C library")
    parser.add_argument("--guard-cf", action="store_true", help="with control-flow guard")
    given = parser.parse_args()
    wrong = 0
    for path in given.files:
        with open(path, "rb") as file:
            is_elf = file.read(4) == b"\x7fELF"
        lacks = list(lacks_of_elf(path, not given.not_optimised) if is_elf else lacks_of_pe(path, given.guard_cf))
        wrong += len(lacks)
        print(f"{path}: {'has all of it' if not lacks else 'lacks ' + '; lacks '.join(lacks)}")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
