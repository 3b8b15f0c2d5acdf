#!/usr/bin/env python3
"""Holds kept behaviour together: the comments in the code, the entries of docs/kept-behaviour.md, the tests that pin it.

    kept_lint.py ROOT      reads the files below ROOT; exit status 1 and one line for each finding
    kept_lint.py --itself  shows that every rule finds what it is there for

A behaviour has a name of lower-case words and digits with hyphens between. The code says `Kept [name]: text` in a
comment, the document `- **[name]** text`, a test `// Pins [name].` or `// Pins [name]: text` above it, or behind the
case of a table. A comment may name several, [one, other].

Rules:
  form     a comment that begins a sentence with Kept or Pins, and an entry of the document, have the form above
  entry    every name in the code has an entry
  comment  every entry has a comment in the code, or says "No one line:" and why
  pin      every entry has a test that pins it, or says "No test:" and why
  excuse   no entry says so in vain
  known    every name that a test pins has an entry
  place    a comment that pins stands directly above a test or behind a case
  once     a name has one entry, and stands once in its comment
"""
import re

import harness

DOCUMENT = "docs/kept-behaviour.md"
NAME = r"[a-z0-9]+(?:-[a-z0-9]+)*"
NAMES = rf"\[({NAME}(?:, {NAME})*)\]"
KEPT = re.compile(rf"\bKept {NAMES}: \S")
PINS = re.compile(rf"// Pins {NAMES}(?:\.$|: \S)")
ENTRY = re.compile(rf"- \*\*\[({NAME})\]\*\* \S")
# A sentence of a comment that begins with the word: the word alone, as a name in the code does not.
KEPT_AT_ALL = re.compile(r"(?:^|[.:;] )Kept\b(?=[ :\[])|\bKept:|\bKept ?\[")
PINS_AT_ALL = re.compile(r"\bPins ?[\[:]|^Pins\b")
TEST = re.compile(r"(?:TEST|TEST_F|TEST_P|TYPED_TEST)\(\w+, \w+\)|def test\w*\(")
NO_LINE, NO_TEST = "No one line: ", "No test: "

CODE = (".h", ".cpp", ".in", ".py", ".sh", ".txt", ".cmake", ".js")
HASH = (".py", ".sh", ".txt", ".cmake", ".in")
TOKEN = re.compile(r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'|(?P<comment>//.*)|.')


def comment_of(path, line):
    """What a line says behind its comment sign, and whether code stands before it; None without a comment."""
    if path.endswith(HASH):
        found = re.match(r"(\s*)#+ ?(.*)", line)
        return (found.group(2), False) if found else None
    for token in TOKEN.finditer(line):
        if token.lastgroup:
            return re.sub(r"^//+<? ?", "", token.group(0)), bool(line[:token.start()].strip())
    return None


def names_of(path, number, found):
    """The names in a comment's brackets, and findings about them."""
    names = found.group(1).split(", ")
    twice = sorted({name for name in names if names.count(name) > 1})
    return sorted(set(names)), [f"{path}:{number}: once: [{name}] stands twice in one comment" for name in twice]


def above_test(lines, number):
    """Whether the comment on a line, counted from 1, and what follows of it lead to a test."""
    at = number
    while at < len(lines) and lines[at].lstrip().startswith(("//", "#", "@")):
        at += 1
    return at < len(lines) and bool(TEST.match(lines[at].lstrip()))


def read_document(text):
    """The entries: name -> (line, whole text); and findings about their form."""
    entries, findings, open_entry = {}, [], None
    for number, line in enumerate(text.splitlines(), start=1):
        found = ENTRY.match(line)
        if found:
            name = found.group(1)
            if name in entries:
                findings.append(f"{DOCUMENT}:{number}: once: [{name}] has an entry on line {entries[name][0]} already; "
                                "give the behaviour one entry, or this one a name of its own")
                name += " again"
            entries[name] = (number, line)
            open_entry = name
        elif re.match(r"\s*[-*+] ", line):
            findings.append(f"{DOCUMENT}:{number}: form: {line.strip()[:50]!r}, expected '- **[name]** text'")
            open_entry = None
        elif line.startswith("  ") and open_entry:
            entries[open_entry] = (entries[open_entry][0], entries[open_entry][1] + " " + line.strip())
        else:
            open_entry = None
    return {name: entry for name, entry in entries.items() if not name.endswith(" again")}, findings


def check(files):
    """Findings in files: text by path from the root."""
    entries, findings = read_document(files.get(DOCUMENT, ""))
    if not entries:
        findings.append(f"{DOCUMENT}:1: form: no entry found, expected '- **[name]** text'")
    kept, pinned = {}, {}
    for path, text in sorted(files.items()):
        if path == DOCUMENT or not path.endswith(CODE):
            continue
        is_test = path.startswith("tests/")
        lines = text.splitlines()
        for number, line in enumerate(lines, start=1):
            said = comment_of(path, line) if "Kept" in line or "Pins" in line else None
            if said is None:
                continue
            comment, has_code = said
            found = KEPT.search(comment)
            if found and not is_test:
                names, wrong = names_of(path, number, found)
                findings += wrong
                for name in names:
                    kept.setdefault(name, f"{path}:{number}")
            elif found or KEPT_AT_ALL.search(comment):
                expected = "'// Pins [name].' above the test" if is_test else "'Kept [name]: text'"
                findings.append(f"{path}:{number}: form: {comment[:50]!r}, expected {expected}")
            pins = PINS.search("// " + comment)
            if pins and is_test:
                names, wrong = names_of(path, number, pins)
                findings += wrong
                for name in names:
                    pinned.setdefault(name, f"{path}:{number}")
                if not has_code and not above_test(lines, number):
                    findings.append(f"{path}:{number}: place: [{pins.group(1)}] pinned by no test; put the comment "
                                    "directly above a test or behind the case of a table")
            elif PINS_AT_ALL.search(comment):
                expected = "'// Pins [name].' or '// Pins [name]: text'" if is_test else "such comments in tests only"
                findings.append(f"{path}:{number}: form: {comment[:50]!r}, expected {expected}")
    for name, place in kept.items():
        if name not in entries:
            findings.append(f"{place}: entry: [{name}] has no entry; write one in {DOCUMENT}")
    for name, place in pinned.items():
        if name not in entries:
            findings.append(f"{place}: known: [{name}] has no entry in {DOCUMENT}; correct the name or write the entry")
    for name, (number, text) in entries.items():
        for rule, there, excuse, wanted in (
                ("comment", kept.get(name), NO_LINE, f"a comment 'Kept [{name}]: text' where it happens"),
                ("pin", pinned.get(name), NO_TEST, f"a comment '// Pins [{name}].' above the test that fails without it")):
            if there is None and excuse not in text:
                findings.append(f"{DOCUMENT}:{number}: {rule}: [{name}] has none; write {wanted}, or say here "
                                f"'{excuse}...' and why")
            elif there is not None and excuse in text:
                findings.append(f"{DOCUMENT}:{number}: excuse: [{name}] says '{excuse.strip()}', but {there} has one")
    return sorted(findings, key=lambda finding: (finding.split(":")[0], int(finding.split(":")[1])))


def itself():
    sound = {
        DOCUMENT: "# Kept\n\n- **[one]** A text\n  of two lines.\n- **[two-2]** Another. No one line: it is nowhere.\n"
                  "- **[three]** Last. No test: it cannot be seen.\n",
        "mek/A.cpp": "// Kept [one]: as it was.\nint a; // First. Kept [three, one]: as it was.\n",
        "tests/mek/a_test.cpp": "// Why.\n// Pins [one, two-2].\nTEST(A, isOne)\n{\n}\n",
    }
    code, test = sound["mek/A.cpp"], sound["tests/mek/a_test.cpp"]
    doc = sound[DOCUMENT]
    wanted = [
        ({}, None),
        ({"mek/A.cpp": code + "// Kept: nameless.\n"}, "form"),
        ({"mek/A.cpp": code + "int b; // Kept: nameless.\n"}, "form"),
        ({"mek/A.h": "int b; ///< A text. Kept: nameless.\n"}, "form"),
        ({"mek/A.cpp": code + "// First. Kept on purpose.\n"}, "form"),
        ({"mek/A.cpp": code + "// Kept [one] as it was.\n"}, "form"),
        ({"mek/A.cpp": code + "// Kept [one]:\n"}, "form"),
        ({"mek/A.cpp": code + "// Kept [One]: as it was.\n"}, "form"),
        ({"mek/A.cpp": code + "// Kept [one,three]: as it was.\n"}, "form"),
        ({"mek/A.cpp": code + "// Kept[one]: as it was.\n"}, "form"),
        ({"mek/messages.txt": "# Kept: nameless.\n"}, "form"),
        ({"mek/A.cpp": code + "// Kept [four]: as it was.\n"}, "entry"),
        ({"mek/A.cpp": code + "// Kept [one, four]: as it was.\n"}, "entry"),
        ({"mek/messages.txt": "# Kept [four]: as it was.\n"}, "entry"),
        ({"mek/A.cpp": code + "// Kept [one, one]: as it was.\n"}, "once"),
        ({"mek/A.cpp": code + "// Pins [one].\n"}, "form"),
        ({"mek/A.cpp": code + 'const char* const t = "// Kept: no comment";\nstruct Kept {\n};\n// A struct of Kept.\n'}, None),
        ({"mek/A.cpp": code + "// The names are kept: all of them.\n"}, None),
        ({"mek/A.cpp": "// Kept [three]: as it was.\n"}, "comment"),
        ({DOCUMENT: doc.replace("No one line: it is nowhere.", "")}, "comment"),
        ({DOCUMENT: doc.replace("No test: it cannot be seen.", "")}, "pin"),
        ({"tests/mek/a_test.cpp": test.replace("one, ", "")}, "pin"),
        ({"tests/mek/a_test.cpp": "// Pins [one, two-2].\nint a;\nTEST(A, isOne)\n{\n}\n"}, "place"),
        ({"tests/mek/a_test.cpp": "// Pins [one, two-2].\n\nTEST(A, isOne)\n{\n}\n"}, "place"),
        ({"tests/mek/a_test.cpp": test + "// Pins [one].\n"}, "place"),
        ({"tests/mek/a_test.cpp": "// Pins [one, two-2]: the first\n// of all.\nTEST_F(A, isOne)\n{\n}\n"}, None),
        ({"tests/mek/a_test.cpp": "const int kCases[] = {\n    1, // Pins [one].\n    2, // Pins [two-2].\n};\n"}, None),
        ({"tests/tool/a_test.py": "class A:\n    # Pins [one].\n    def test_one(self):\n        pass\n"}, None),
        ({"tests/tool/a_test.py": "class A:\n    # Pins [one].\n    def one(self):\n        pass\n"}, "place"),
        ({"tests/mek/a_test.cpp": test + "// Pins [one]\nTEST(A, isTwo)\n{\n}\n"}, "form"),
        ({"tests/mek/a_test.cpp": test + "// Pins: one.\nTEST(A, isTwo)\n{\n}\n"}, "form"),
        ({"tests/mek/a_test.cpp": test + "// Pins one.\nTEST(A, isTwo)\n{\n}\n"}, "form"),
        ({"tests/mek/a_test.cpp": test + "// Kept: one.\nTEST(A, isTwo)\n{\n}\n"}, "form"),
        ({"tests/mek/a_test.cpp": test + "// Kept [one]: one.\nTEST(A, isTwo)\n{\n}\n"}, "form"),
        ({"tests/mek/a_test.cpp": test + "// Pins [four].\nTEST(A, isTwo)\n{\n}\n"}, "known"),
        ({"tests/mek/a_test.cpp": test + "// Pins [one, one].\nTEST(A, isTwo)\n{\n}\n"}, "once"),
        ({"tests/mek/a_test.cpp": test + "// Pins [three].\nTEST(A, isTwo)\n{\n}\n"}, "excuse"),
        ({"mek/A.cpp": code + "// Kept [two-2]: as it was.\n"}, "excuse"),
        ({DOCUMENT: doc + "- **[one]** Again.\n"}, "once"),
        ({DOCUMENT: doc + "- Without a name.\n"}, "form"),
        ({DOCUMENT: doc + "- **[Four]** A text.\n"}, "form"),
        ({DOCUMENT: doc + "- **[one two]** A text.\n"}, "form"),
        ({DOCUMENT: doc + "- **four** A text.\n"}, "form"),
        ({DOCUMENT: "# Kept\n", "mek/A.cpp": "", "tests/mek/a_test.cpp": ""}, "form"),
    ]
    return harness.judge(wanted, lambda change: check({**sound, **change}))


def over(root):
    # The samples of this file are faults.
    files = {path: text for path, text in harness.tracked(root, (DOCUMENT, *CODE)).items() if path != "tests/lint/kept_lint.py"}
    entries = len(read_document(files.get(DOCUMENT, ""))[0])
    return harness.report(files, check(files), f", {entries} entries")


if __name__ == "__main__":
    harness.main(itself, over)
