#!/usr/bin/env python3
"""Objects of a built tree that a static build would compile in the same way.

    static_objects.py STATIC BUILT

Both are CMake trees with compile commands; only BUILT has been built. Prints the objects of BUILT for the library of STATIC.
Ends with 1 if a source would be compiled in another way.
"""
import json
import pathlib
import shlex
import sys


def commands(tree):
    """The compiler's arguments by object; launchers of the compiler and the path of the tree are left out."""
    found = {}
    for entry in json.loads((tree / "compile_commands.json").read_text(encoding="utf-8")):
        arguments = shlex.split(entry["command"].replace(str(tree), "TREE"))
        compiler = [i for i, argument in enumerate(arguments) if "++" in pathlib.Path(argument).name][:1]
        if compiler and "-o" in arguments:  # resources of a DLL have a compiler of their own
            found[arguments[arguments.index("-o") + 1]] = arguments[compiler[0]:]
    return found


static, built = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
there = commands(built)
library = {name: arguments for name, arguments in commands(static).items()
           if name.split("/")[0] not in ("simulation", "accuracy")}
for name, arguments in library.items():
    if there.get(name) != arguments:
        sys.exit(f"{name} is compiled differently:\n  {shlex.join(arguments)}\n  {shlex.join(there.get(name, []))}")
    print(built / name)
sys.exit(len(library) < 20)
