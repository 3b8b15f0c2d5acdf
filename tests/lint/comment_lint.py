#!/usr/bin/env python3
"""Holds the sources to one form of comments.

    comment_lint.py ROOT      reads the sources below ROOT; exit status 1 and one line for each finding
    comment_lint.py --itself  shows that every rule finds what it is there for

Rules:
  empty     no `///<` without text, and `///` without text between two paragraphs only
  header    in a header, a comment that stands directly above a declaration, or behind one on its line, describes it
            and begins with `///`; a comment that is a heading of several declarations has an empty line below it
  body      `///` stands at declarations: not in sources, not inside functions
"""
import re

import harness

PRODUCT = ("include/", "mek/", "platform/", "models/", "params/", "engine/", "module/", "session/", "capi/", "recordings/",
           "simulation/", "accuracy/", "tools/")
TOKEN = re.compile(r'(?P<comment>//[^\n]*)|/\*.*?\*/|R"(\w*)\(.*?\)\2"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'|'
                   r"(?P<line>\n)|(?P<brace>[{}])|(?P<end>;)|(?P<other>[\t A-QS-Za-z0-9_]+|.)", re.S)
# What a comment may stand above without describing it.
NOT_DESCRIBED = re.compile(r"\s*(#|\}|(public|protected|private)\s*:|namespace\b|using namespace\b|extern *\"|$)")


def comments(text):
    """Each // comment: (line, text, code before it on its line, inside a function or initialiser)."""
    text = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*",
                  lambda m: "\n" * m.group(0).count("\n"), text, flags=re.M)
    scopes, piece, line, before = [], "", 1, ""
    for token in TOKEN.finditer(text):
        kind = token.lastgroup
        if kind == "comment":
            yield line, token.group(0), before, "code" in scopes
        elif kind == "line":
            line, before = line + 1, ""
            piece += " "
        elif kind == "brace" and token.group(0) == "{":
            words = " ".join(piece.split())
            declares = re.search(r"\b(class|struct|enum|union|namespace)\b[^()=]*$|^extern\b", words)
            scopes.append("declarations" if declares else "code")
            piece, before = "", before + "{"
        elif kind == "brace":
            if scopes:
                scopes.pop()
            piece, before = "", before + "}"
        elif kind == "end":
            piece, before = "", before + ";"
        else:
            line += token.group(0).count("\n")
            if kind == "other":
                piece += token.group(0)
                if token.group(0) == ":":
                    piece = re.sub(r"\b(public|protected|private)\s*:$", "", piece)
            before += token.group(0)


def check(path, text):
    lines = text.splitlines()
    is_header = path.endswith(".h")
    is_product = path.startswith(PRODUCT)
    found = list(comments(text))
    whole = {line: content for line, content, before, _ in found if not before.strip()}
    for line, content, before, inside in found:
        documents = content.startswith("///") and not content.startswith("////")
        blank = documents and not content.lstrip("/<").strip()
        if blank and not (line - 1 in whole and whole.get(line + 1, "").startswith("/// ")):
            yield f"{path}:{line}: empty: {content}"
            continue
        if not is_product:
            continue
        if documents and (inside or not is_header):
            yield f"{path}:{line}: body: {content}"
        if documents or inside or not is_header:
            continue
        if before.strip():
            if before.strip() not in ("}", "};"):
                yield f"{path}:{line}: header: {content}"
        elif line - 1 not in whole or lines[line - 2].strip().startswith("///"):
            after = line + 1
            while after in whole:
                after += 1
            below = lines[after - 1] if after <= len(lines) else ""
            if not NOT_DESCRIBED.match(below):
                yield f"{path}:{line}: header: {content}"


def itself():
    wanted = [
        ("mek/A.h", "struct A {\n    int m; ///<\n};", "empty"),
        ("tests/A.h", "///\nint f();", "empty"),
        ("mek/A.h", "/// One.\n///\nint f();", "empty"),
        ("mek/A.h", "// What it does.\nint f();", "header"),
        ("mek/A.h", "namespace n {\n// Two\n// lines.\nclass A {\n};\n}", "header"),
        ("mek/A.h", "class A {\npublic:\n    // What it does.\n    int f() const;\n};", "header"),
        ("mek/A.h", "struct A {\n    int m; // degrees\n};", "header"),
        ("mek/A.h", "struct A {\n    int m{}; // degrees\n};", "header"),
        ("mek/A.h", "enum class E : int {\n    one, // first\n};", "header"),
        ("mek/A.h", "constexpr int kA = 1; // unit", "header"),
        ("mek/A.h", "int f()\n{\n    return 1; /// one\n}", "body"),
        ("mek/A.cpp", "/// What it does.\nint f();", "body"),
        ("mek/A.h", "// Heading of the file.\n#pragma once\n\n// A group.\n\n/// One.\nint f(); ///< two\n", None),
        ("mek/A.h", "namespace n {\n/// One.\ninline int f()\n{\n    // why\n    return 1; // why\n}\n} // namespace n\n", None),
        ("mek/A.h", "struct A {\n    A() : m(0) {} ///< none\n    int m = 0; ///< degrees\n}; // A\n", None),
        ("mek/A.h", "/// One.\n///\n/// Two.\nint f();", None),
        ("mek/A.cpp", "// Why.\nint f()\n{\n    return 1; // one\n}\n", None),
        ("tests/A.h", "// Free here.\nint f();", None),
        ("mek/A.h", "/// A text.\nconst char* const t = \"// no comment\";\nconst char u = '/';\n", None),
    ]
    return harness.judge([((path, text), rule) for path, text, rule in wanted], lambda sample: check(*sample))


def over(root):
    files = harness.tracked(root, (".h", ".cpp"))
    return harness.report(files, [finding for path, text in files.items() for finding in check(path, text)])


if __name__ == "__main__":
    harness.main(itself, over)
