#!/usr/bin/env python3
"""Reads the form of docblocks that the headers have: words, then lists under Given, Returned, Accuracy, Notes.

    docblocks.py HEADER     the header as Doxygen is to read it (its INPUT_FILTER)
    docblocks.py --itself   shows that every part of the form is read

A docblock begins with sentences and formulas; formulas are indented. A section begins with a word in the first column and at
least two blanks:

    Given     name   what it is
              other  the same,
                     continued
    Notes  1  A numbered remark.
"""
import re
import sys
import textwrap

SECTION = re.compile(r"([A-Z][a-z]+) {2,}(\S.*)$")


def parts(lines):
    """What a docblock holds, piece by piece: ("words", text), ("formula", lines), ("section", word, entries).

    An entry is (name, text); the name is empty where a section has sentences only, and a number in Notes.
    """
    found, at = [], 0
    while at < len(lines):
        line = lines[at]
        if section := SECTION.match(line):
            column, entries = section.start(2), [section[2]]
            at += 1
            while at < len(lines) and lines[at].startswith("  "):
                indent = len(lines[at]) - len(lines[at].lstrip())
                named = section[1] in ("Given", "Returned") or re.match(r"\d+  ", section[2])
                if named and indent <= column and (section[1] != "Notes" or re.match(r" *\d+  ", lines[at])):
                    entries.append(lines[at].strip())
                else:
                    entries[-1] += " " + lines[at].strip()
                at += 1
            found.append(("section", section[1], [entry_of(section[1], entry) for entry in entries]))
        elif line.startswith("  "):
            formula = []
            while at < len(lines) and lines[at].startswith("  "):
                formula.append(lines[at])
                at += 1
            found.append(("formula", textwrap.dedent("\n".join(formula)).split("\n")))
        elif line.strip():
            words = []
            while at < len(lines) and lines[at].strip() and not lines[at].startswith("  ") and not SECTION.match(lines[at]):
                words.append(lines[at].strip())
                at += 1
            found.append(("words", " ".join(words)))
        else:
            at += 1
    return found


def entry_of(section, text):
    if section in ("Given", "Returned"):
        name, _, rest = text.partition("  ")
        if not rest:
            name, _, rest = text.partition(" ")
        return name, rest.strip()
    number = re.match(r"(\d+)  (.*)", text)
    return (number[1], number[2]) if number else ("", text)


def escaped(text):
    """Text without a meaning for Doxygen."""
    return re.sub(r"([\\@<>&#%])", r"\\\1", text)


def for_doxygen(lines):
    """The lines of a docblock in Doxygen's own marks."""
    out = []
    for kind, *content in parts(lines):
        if kind == "words":
            out += [escaped(content[0]), ""]
        elif kind == "formula":
            out += ["@verbatim", *content[0], "@endverbatim", ""]
        else:
            word, entries = content
            out.append(f"@par {word}")
            for name, text in entries:
                if not name:
                    out.append(escaped(text))
                elif name.isdigit():
                    out.append(f" -# {escaped(text)}")
                else:
                    out.append(f" - <tt>{escaped(name)}</tt>: {escaped(text)}")
            out.append("")
    return out


def filtered(text):
    """A header with its docblocks in Doxygen's marks. Functions that follow a described one without an empty line share its
    docblock, and refer to it.
    """
    out, block, margin, described, declaration = [], [], "", None, ""
    for line in [*text.split("\n"), "end"]:
        found = re.match(r"(\s*)///(?!<) ?(.*)$", line)
        if found:
            block.append(found[2])
            margin = found[1]
            continue
        if block:
            # Doxygen would leave the signs of such comments in formulas.
            out += [f"{margin}/**", *(each.replace("*/", "* /") for each in for_doxygen(block)), f"{margin}*/"]
            block, described, declaration = [], "", ""
        elif described and not declaration and (function := re.match(r"(\s*)[\w: *&]*?\b(\w+)\(", line)):
            same = "The same for these arguments." if function[2] == described else f"Described together with {described}."
            out.append(f"{function[1]}/// {same}")
        if not line.strip() or re.match(r"\s*(}|#|public:|private:)", line):
            described = None
        elif described is not None:
            declaration += line.split("///<")[0].rstrip() + " "
            if declaration.endswith("; "):
                name = re.search(r"(\w+)\(", declaration)
                described = described or (name[1] if name else None)
                declaration = ""
        if behind := re.match(r"(.*///<)(.*)$", line):
            line = behind[1] + escaped(behind[2])
        out.append(line)
    return "\n".join(out[:-1])


def head(text):
    """The comment at the top of a header: (its first sentence, its lines)."""
    lines = []
    for line in text.split("\n"):
        if not line.startswith("//"):
            break
        lines.append(line[3:])
    first = re.match(r".*?\.(?= |$)", " ".join(line.strip() for line in lines))
    return (first[0] if first else ""), lines


def for_markdown(lines):
    """The lines of a docblock as Markdown."""
    def plain(text):
        return re.sub(r"([\\`*_<>\[\]#|])", r"\\\1", text)
    out = []
    for kind, *content in parts(lines):
        if kind == "words":
            out += [plain(content[0]), ""]
        elif kind == "formula":
            out += ["```text", *content[0], "```", ""]
        else:
            word, entries = content
            out += [f"**{word}**", ""]
            for name, text in entries:
                mark = f"{name}. " if name.isdigit() else f"- `{name}`: " if name else ""
                out.append(mark + plain(text))
            out.append("")
    return out


SAMPLE = """\
// A head. More of it.
#include <a>
/// Takes <a> & b.
///
///   y = f(x)
///     + 1
///
/// Given     a, b  the first
///                 and the second
///           c     the third
/// Returned  r     what
/// Accuracy  1e-3, which
///           is enough
/// Notes  1  The first
///           remark.
///        2  The second.
int f(int a,
      int b);
int g(); ///< 1 < 2

int h();
"""
READ = """\
// A head. More of it.
#include <a>
/**
Takes \\<a\\> \\& b.

@verbatim
y = f(x)
  + 1
@endverbatim

@par Given
 - <tt>a, b</tt>: the first and the second
 - <tt>c</tt>: the third

@par Returned
 - <tt>r</tt>: what

@par Accuracy
1e-3, which is enough

@par Notes
 -# The first remark.
 -# The second.

*/
int f(int a,
      int b);
/// Described together with f.
int g(); ///< 1 \\< 2

int h();
"""


def itself():
    read = filtered(SAMPLE)
    if read != READ or head(SAMPLE) != ("A head.", ["A head. More of it."]):
        print(read)
        return 1
    print("1 header")
    return 0


if __name__ == "__main__":
    if sys.argv[1:] == ["--itself"]:
        sys.exit(itself())
    with open(sys.argv[1], encoding="utf-8") as file:
        sys.stdout.write(filtered(file.read()))
