#!/usr/bin/env python3
"""Holds the sources to the arrows between the folders, by their #include lines.

    include_lint.py ROOT      reads the sources below ROOT; exit status 1 and one line for each finding
    include_lint.py --itself  shows that every rule finds what it is there for

Rules:
  arrow     a folder includes itself and the folders that FOLDERS lists for it, nothing else of ours
  public    a folder includes those public headers only that FOLDERS lists for it; what a public header includes
            counts, so that the engine does not meet the parameter file by a detour
  foreign   the library takes the standard library only; system headers are platform's, other libraries' those of the
            folders beside the library
  written   headers of ours stand in quotes with their path from the root, all others in angle brackets
  source    no source includes another source
  order     own header, standard and system, other libraries, ours
  placed    every folder with sources has its line in FOLDERS
"""
import re

import harness

ENGINE_SIDE = {"CKor.h"}
PARAMETER_SIDE = {"CKorPrm.h"}


class Folder:
    """What a folder may include.

    uses      other folders of ours; None: all of them
    only      the public headers that it may include, if not all
    never     public headers that must not reach it
    foreign   pattern of the headers in angle brackets beyond the standard library's
    """

    def __init__(self, uses=(), only=None, never=(), foreign=r"(?!)"):
        self.uses, self.only, self.never, self.foreign = uses, only, set(never), re.compile(foreign)


FOLDERS = {
    # The public headers stand alone, with nothing of any system. Those that C reads as well have its standard headers.
    "include/KORInterface": Folder(foreign=r"std(def|int)\.h"),
    # The library.
    "mek": Folder(only=set()),
    "platform": Folder(only=set(), foreign=r".*\.h"),
    "models": Folder({"mek"}, never=ENGINE_SIDE | PARAMETER_SIDE),
    "params/file": Folder({"mek", "platform"}, never=ENGINE_SIDE),
    "params": Folder({"params/file", "mek", "platform"}, never=ENGINE_SIDE),
    "engine": Folder({"models", "mek", "platform"}, never=PARAMETER_SIDE),
    "module": Folder({"params/file", "platform"}, foreign=r"afx\w+\.h"),
    "session": Folder({"engine", "params", "params/file", "models", "mek", "platform"}),
    "capi": Folder({"recordings"}),
    # Beside the library: they stand on the public headers, as a host does.
    "recordings": Folder({"platform"}, only={"Records.h", "Export.h"}, foreign=r"(zlib|zstd|zstd_errors)\.h|dragonbox/.*"),
    "series": Folder({"recordings", "platform"}, only={"Records.h"}),
    "simulation": Folder({"recordings"}),
    "accuracy": Folder({"simulation"}),
    "tools/kor": Folder({"platform", "recordings", "series", "simulation", "accuracy"}, foreign=r"(fmt|CLI|nlohmann|boost)/.*"),
    # It gives the tool's answers, and so shares with it what makes them.
    "python": Folder({"platform", "recordings", "series", "simulation", "accuracy", "tools/kor"}, foreign=r"pybind11/.*"),
    "examples": Folder(),
    "cmake/mingw-w64": Folder(foreign=r"fmt/.*"),
    # These reach inside.
    "tests": Folder(None, foreign=r".*"),
    "bench": Folder(None, foreign=r".*"),
    "fuzz": Folder(None, foreign=r".*"),
}
GENERATED = {"MessageTable.inc", "ReportPage.inc"}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
STANDARD = re.compile(r"[a-z_0-9]+")
SYSTEM = re.compile(r"(sys|linux|netinet|arpa)/.*|[a-z_0-9]+\.h")


def folder_of(path):
    """The longest entry of FOLDERS that holds the file."""
    inside = [name for name in FOLDERS if path.startswith(name + "/")]
    return max(inside, key=len, default=None)


def place(header):
    """A header's path from the root, as FOLDERS has it."""
    return "include/" + header if header.startswith("KORInterface/") else header


def includes(text):
    text = re.sub(r"/\*.*?\*/", lambda m: "\n" * m.group(0).count("\n"), text, flags=re.S)
    for number, line in enumerate(text.splitlines(), start=1):
        found = INCLUDE.match(line)
        if found:
            yield number, found.group(1) == '"', found.group(2)


def reached(header, files, seen):
    """The names of the public headers that come with one of them."""
    name = header.split("/")[-1]
    if name not in seen:
        seen.add(name)
        for _, _, inner in includes(files.get("include/KORInterface/" + name, "")):
            if inner.startswith("KORInterface/"):
                reached(inner, files, seen)
    return seen


def check_file(path, text, files):
    name = folder_of(path)
    if name is None:
        yield f"{path}:1: placed: no line of FOLDERS holds this file"
        return
    folder = FOLDERS[name]
    rank = 0
    stem = re.sub(r"\.cpp$", "", path)
    own = next((header for header in (stem + ".h", re.sub(r"/(posix|windows)/", "/", stem) + ".h",
                                      re.sub(r".*/", "include/KORInterface/", stem) + ".h")
                if stem != path and header in files), None)
    for number, quoted, header in includes(text):
        def finding(rule, says):
            return f"{path}:{number}: {rule}: {says}"
        target = folder_of(place(header))
        is_ours = target is not None and target not in ("tests", "examples") and "/" in header
        if header.endswith((".cpp", ".cc", ".c")):
            yield finding("source", f"includes {header}")
            continue
        if name not in ("tests", "bench", "fuzz", "examples"):
            if quoted != (is_ours or header in GENERATED):
                yield finding("written", f"{header}: ours in quotes with the path from the root, others in <>")
            this = 3 if quoted else 1 if STANDARD.fullmatch(header) or SYSTEM.fullmatch(header) else 2
            if place(header) == own:
                this = 0
            if this < rank:
                yield finding("order", f"{header} comes too late: own header, standard, other libraries, ours")
            rank = max(rank, this)
        if not is_ours:
            if not quoted and not STANDARD.fullmatch(header) and not folder.foreign.fullmatch(header):
                yield finding("foreign", f"{name} does not take <{header}>")
        elif target == "include/KORInterface":
            met = reached(header, files, set()) if name != target else set()
            if folder.only is not None and not met <= folder.only:
                yield finding("public", f"{name} does not take {header}")
            elif met & folder.never:
                yield finding("public", f"{name} meets {', '.join(sorted(met & folder.never))} through {header}")
        elif target != name and folder.uses is not None and target not in folder.uses:
            yield finding("arrow", f"{name} does not use {target} ({header})")


def check(files):
    """Findings in files: text by path from the root."""
    return [finding for path, text in sorted(files.items()) for finding in check_file(path, text, files)]


def itself():
    public = {
        "include/KORInterface/Records.h": "#include <cstdint>\n",
        "include/KORInterface/CKor.h": '#include "KORInterface/Records.h"\n',
        "include/KORInterface/CKorPrm.h": '#include "KORInterface/Records.h"\n',
        "platform/Own.h": "",
        "include/KORInterface/Both.h": '#include "KORInterface/CKor.h"\n#include "KORInterface/CKorPrm.h"\n',
    }
    wanted = [
        ("mek/A.cpp", '#include "models/Geometry.h"', "arrow"),
        ("mek/A.cpp", '#include "platform/Files.h"', "arrow"),
        ("platform/posix/A.cpp", '#include "mek/Matrix.h"', "arrow"),
        ("models/A.cpp", '#include "engine/State.h"', "arrow"),
        ("params/file/A.cpp", '#include "params/Set.h"', "arrow"),
        ("params/A.cpp", '#include "engine/State.h"', "arrow"),
        ("engine/A.cpp", '#include "params/file/Reader.h"', "arrow"),
        ("session/A.cpp", '#include "recordings/Reader.h"', "arrow"),
        ("capi/A.cpp", '#include "engine/State.h"', "arrow"),
        ("capi/A.cpp", '#include "simulation/Sensor.h"', "arrow"),
        ("recordings/A.cpp", '#include "capi/Answer.h"', "arrow"),
        ("recordings/A.cpp", '#include "tools/kor/Exit_.h"', "arrow"),
        ("recordings/A.cpp", '#include "series/Series.h"', "arrow"),
        ("series/A.cpp", '#include "accuracy/Comparison.h"', "arrow"),
        ("simulation/A.cpp", '#include "mek/Matrix.h"', "arrow"),
        ("accuracy/A.cpp", '#include "engine/State.h"', "arrow"),
        ("tools/kor/a.cpp", '#include "engine/State.h"', "arrow"),
        ("tools/kor/a.cpp", '#include "python/src/Lane.h"', "arrow"),
        ("python/src/a.cpp", '#include "engine/State.h"', "arrow"),
        ("python/src/a.cpp", "#include <Python.h>", "foreign"),
        ("tools/kor/a.cpp", '#include "params/file/Scanner.h"', "arrow"),
        ("include/KORInterface/A.h", '#include "mek/Matrix.h"', "arrow"),
        ("engine/A.cpp", '#include "KORInterface/CKorPrm.h"', "public"),
        ("engine/A.cpp", '#include "KORInterface/Both.h"', "public"),
        ("params/A.cpp", '#include "KORInterface/Both.h"', "public"),
        ("mek/A.cpp", '#include "KORInterface/Records.h"', "public"),
        ("recordings/A.cpp", '#include "KORInterface/CKor.h"', "public"),
        ("include/KORInterface/A.h", "#include <windows.h>", "foreign"),
        ("include/KORInterface/A.h", "#include <stdio.h>", "foreign"),
        ("include/KORInterface/A.h", "#include <stdint.h>", None),
        ("include/KORInterface/A.h", "#include <fmt/format.h>", "foreign"),
        ("engine/A.cpp", "#  include <unistd.h>", "foreign"),
        ("simulation/A.cpp", "#include <CLI/CLI.hpp>", "foreign"),
        ("mek/A.cpp", '#include "Matrix.h"', "written"),
        ("mek/A.cpp", "#include <mek/Matrix.h>", "written"),
        ("mek/A.cpp", '#include "vector"', "written"),
        ("mek/A.cpp", '#include "mek/Matrix.cpp"', "source"),
        ("mek/A.cpp", '#include "mek/Matrix.h"\n#include <cmath>', "order"),
        ("models/Both.cpp", '#include "mek/Matrix.h"\n#include "KORInterface/Records.h"', None),
        ("platform/posix/Own.cpp", '#include "platform/Own.h"\n#include <unistd.h>\n#include "platform/Other.h"', None),
        ("recordings/Records.cpp", '#include <cmath>\n#include "KORInterface/Records.h"', "order"),
        ("tools/kor/a.cpp", "#include <fmt/format.h>\n#include <string>", "order"),
        ("elsewhere/A.cpp", "", "placed"),
        ("models/CKor_.cpp", '#include "KORInterface/Records.h"\n#include <cmath>\n#include "mek/Matrix.h"', "order"),
        ("models/Records.cpp", '#include "KORInterface/Records.h"\n\n#include <cmath>\n\n#include "mek/Matrix.h"', None),
        ("session/A.cpp", '#include "KORInterface/Both.h"\n#include "engine/State.h"\n#include "params/file/Reader.h"', None),
        ("engine/A.cpp", '/*\n#include "params/file/Reader.h"\n*/\n// #include "params/file/Reader.h"', None),
        ("platform/posix/A.cpp", "#include <unistd.h>\n#include <sys/stat.h>\n#include <string>", None),
        ("recordings/A.cpp", '#include <string>\n#include "KORInterface/Records.h"\n#include "platform/Files.h"', None),
        ("tools/kor/a.cpp", '#include <string>\n#include <fmt/format.h>\n#include "recordings/Reader.h"', None),
        ("tests/x/a.cpp", '#include "engine/State.h"\n#include "params/file/Reader.h"\n#include <gtest/gtest.h>', None),
    ]
    return harness.judge([((path, text), rule) for path, text, rule in wanted], lambda sample: check({**public, sample[0]: sample[1]}))


def over(root):
    files = harness.tracked(root, (".h", ".cpp"))
    return harness.report(files, check(files))


if __name__ == "__main__":
    harness.main(itself, over)
