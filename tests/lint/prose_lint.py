#!/usr/bin/env python3
"""Finds turns of phrase at which a reader stops, in comments, documents and texts of the program.

    prose_lint.py ROOT      reads the files below ROOT; exit status 1 and one line for each finding
    prose_lint.py --itself  shows that every rule finds what it is there for

Each rule has what to write in its place. A ~ in its pattern stands for blanks, or for the end of a line and the mark of a
comment on the next one.
"""
import re

import harness

FILES = (".h", ".cpp", ".c", ".py", ".sh", ".md", ".in", ".cmake", ".txt", ".1", ".js", ".html")
RULES = {
    "none": (r"(?<!\b[Tt]here )\b(?:is|are)~none\b(?! of)",
             'say what it is not: "is not a number", "is not counted", "could not be read"'),
    "no number": (r"(?<!\b[Tt]here )\b(?:is|are|was)~no~(?:\w+~)?numbers?\b", 'write "is not a number", "cannot be read"'),
    "differ by": (r"\b[Ww]hat~(?:[\w']+~){1,5}differs?~by\b", 'write "the difference between"'),
    "old content": (r"\bat~its~old~content\b", 'write "keeps its previous content"'),
    "correct": (r"\b(?:which|that)~a~correct~implementation~has\b", 'write "in any correct implementation"'),
    "empty": (r'found~\\?"\\?",~expected~a~number', "say that it is empty, and what to write"),
}
PATTERNS = {rule: re.compile(pattern.replace("~", r"(?:[ \t]+|[ \t]*\n[ \t]*(?://[/<]*|#|\*)?[ \t]*)"))
            for rule, (pattern, _) in RULES.items()}


def check(path, text):
    for rule, pattern in PATTERNS.items():
        for found in pattern.finditer(text):
            words = " ".join(found[0].split())
            yield f"{path}:{text.count(chr(10), 0, found.start()) + 1}: {rule}: {words!r}; {RULES[rule][1]}"


def itself():
    wanted = [
        ("// Probability that one of a sample's numbers is none.", "none"),
        ("// rows that are\n// none", "none"),
        ("If there is none, or there are none, is none of these", None),
        ("A reading that is no number.", "no number"),
        ("/// a value is\n/// no whole number", "no number"),
        ("It is not a number, there is no such number, and this is number one.", None),
        ("what two step widths differ by", "differ by"),
        ("/// What two values\n/// differ by.", "differ by"),
        ("what differs by name", None),
        ("it is left at its old content", "old content"),
        ("a limit which a correct implementation has", "correct"),
        ('found \\"\\", expected a number', "empty"),
        ('found "", expected a file', None),
    ]
    return harness.judge([(("a.md", text), rule) for text, rule in wanted], lambda sample: check(*sample))


def over(root):
    # The samples of this file are faults.
    files = {path: text for path, text in harness.tracked(root, FILES).items()
             if path != "tests/lint/prose_lint.py" and not path.startswith(("tests/data/", "fuzz/corpus"))}
    return harness.report(files, [finding for path, text in files.items() for finding in check(path, text)])


if __name__ == "__main__":
    harness.main(itself, over)
