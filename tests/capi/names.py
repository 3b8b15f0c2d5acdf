#!/usr/bin/env python3
"""Holds the names of the C interface together.

    names.py ROOT     reads kor.h, the list of exported names, the C test and the document; exit status 1 and one line for
                      each name that is missing somewhere

Every function of kor.h is exported, called by the C test, and named in docs/c.md; nothing else with its prefix is.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])


def text(name):
    return (ROOT / name).read_text(encoding="utf-8")


def without_comments(code):
    return re.sub(r"//[^\n]*|/\*.*?\*/", " ", code, flags=re.S)


header = without_comments(text("include/KORInterface/kor.h"))
declared = set(re.findall(r"\b(kor_\w+)\(", header))
types = set(re.findall(r"\b(?:struct|enum) (kor_\w+)", header))
places = {
    "exported": {line for line in text("tests/exports/exported_names.txt").split() if line.startswith("kor_")},
    "called by tests/capi/interface.c": set(re.findall(r"\b(kor_\w+)\(", without_comments(text("tests/capi/interface.c")))),
    "named in docs/c.md": set(re.findall(r"\bkor_\w*\w", text("docs/c.md"))) - types,
}
findings = [f"{name} is not {place}" for place, names in places.items() for name in sorted(declared - names)]
findings += [f"{name} is {place} and not in kor.h" for place, names in places.items() for name in sorted(names - declared)]
print("\n".join(findings + [f"{len(declared)} functions, {len(findings)} findings"]))
sys.exit(1 if findings or len(declared) < 80 else 0)
