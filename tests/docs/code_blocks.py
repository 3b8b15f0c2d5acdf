#!/usr/bin/env python3
"""Every block of code in the documents is a part of an example that is compiled and run.

    code_blocks.py ROOT      the Markdown documents of the repository; exit status 1 and a line for each finding
    code_blocks.py --itself  shows that every rule finds what it is there for

The line before a block of cpp, c, csharp, python or cmake names the example, `<!-- examples/NAME -->`, which is invisible on
a page. The block is the whole of that file, or consecutive lines of it, which may be indented less. Blocks of other
languages may name a file, too.

Rules:
  named    a block of code names its example, by a path from the root that begins with examples/ or python/examples/
  exists   the example is there
  part     the block's lines stand one behind the other in the example
  above    a comment that names an example has a block on the next line
  run      the example is run: a command of a document names it (tests/docs/commands.py runs them) or a test does; those of
           python/examples are run by python/tests/test_examples.py, all of them
"""
import pathlib
import re
import sys
import textwrap

import commands
import documents

sys.path.append(str(pathlib.Path(__file__).parents[1] / "lint"))
import harness

CODE = ("cpp", "c", "csharp", "python", "cmake")
PLACES = ("examples/", "python/examples/")
ALL_RUN = "python/examples/"  # by python/tests/test_examples.py
NAMED = re.compile(r" *<!-- (\S+) -->$")


def is_part(lines, text):
    """Whether lines, indented less or not, stand one behind the other in a text."""
    wanted = textwrap.dedent("\n".join(lines)).strip("\n").split("\n")
    there = text.split("\n")
    for begin, line in enumerate(there):
        if not line.endswith(wanted[0]):
            continue
        part = there[begin:begin + len(wanted)]
        if textwrap.dedent("\n".join(part)).split("\n") == wanted:
            return True
    return False


def is_run(example, run, tests):
    """Whether a command or a test names an example; of a CMake project they name the folder."""
    if example.startswith(ALL_RUN):
        return True
    place = example.removesuffix("/CMakeLists.txt")
    word = re.compile(r"(?<![\w./-])" + re.escape(place) + r"(?![\w./-])")
    name = re.compile(r"(?<![\w.-])" + re.escape(example.split("/")[-1]) + r"(?![\w.-])")
    return any(word.search(text) for text in run) or any(name.search(text) for text in tests)


def check_document(name, text, files, run, tests):
    lines = text.split("\n")
    blocks = {block.line - 1: block for block in documents.blocks(text) if lines[block.line - 2].lstrip().startswith("```")}
    inside = {number for begin, block in blocks.items() for number in range(begin + 1, begin + 1 + len(block.lines))}
    for begin, block in sorted(blocks.items()):
        above = NAMED.match(lines[begin - 2]) if begin > 1 else None
        if not above:
            if block.language in CODE:
                yield f"{name}:{begin}: named: a block of {block.language} without <!-- examples/NAME --> on the line before"
            continue
        example = above[1]
        if not example.startswith(PLACES):
            yield f"{name}:{begin - 1}: named: {example}, expected examples/NAME or python/examples/NAME"
        elif example not in files:
            yield f"{name}:{begin - 1}: exists: there is no {example}"
        elif not block.lines or not is_part(block.lines, files[example]):
            yield f"{name}:{begin}: part: these lines do not stand one behind the other in {example}"
        elif block.language in CODE and not is_run(example, run, tests):
            yield f"{name}:{begin - 1}: run: no command of a document and no test names {example}"
    for number, line in enumerate(lines, 1):
        if NAMED.match(line) and "/" in line and number + 1 not in blocks and number not in inside:
            yield f"{name}:{number}: above: no block of code begins on the next line"


def check(files, run):
    """Findings in files, text by path from the root; run holds the commands of the documents that are run."""
    tests = [text for path, text in files.items() if path.startswith("tests/") and not path.endswith(".md")
             and path != "tests/docs/code_blocks.py"]
    return [finding for path, text in sorted(files.items()) if path.endswith(".md")
            for finding in check_document(path, text, files, run, tests)]


def itself():
    sound = {
        "examples/a.cpp": "int a;\nint f()\n{\n    if (a) {\n\n        a = 1;\n    }\n}\n",
        "examples/b.c": "int b;\n", "examples/CMakeLists.txt": "project(a)\n", "examples/c.json": "{}\n",
        "python/examples/a.py": "import a\nfor b in a:\n    a.c(b)\n",
        "tests/x/CMakeLists.txt": "run(examples/b.c)\n",
    }
    run = ["g++ examples/a.cpp -o a", "cmake -S examples -B a"]
    wanted = [
        ("```cpp\nint a;\n```\n", "named"),
        ("<!-- tests/x/CMakeLists.txt -->\n```cmake\nrun(examples/b.c)\n```\n", "named"),
        ("<!-- examples/none.cpp -->\n```cpp\nint a;\n```\n", "exists"),
        ("<!-- examples/a.cpp -->\n```cpp\nint b;\n```\n", "part"),
        ("<!-- examples/a.cpp -->\n```cpp\nint a;\n{\n```\n", "part"),
        ("<!-- examples/a.cpp -->\n```cpp\nif (a) {\na = 1;\n```\n", "part"),
        ("<!-- examples/a.cpp -->\n```cpp\n```\n", "part"),
        ("<!-- examples/c.json -->\n```json\n[]\n```\n", "part"),
        ("<!-- examples/a.cpp -->\ntext\n", "above"),
        ("<!-- examples/a.cpp -->\n```cpp\nint a;\n```\n", None),
        ("<!-- examples/a.cpp -->\n```cpp\nif (a) {\n\n    a = 1;\n}\n```\n", None),
        ("- item\n\n  <!-- examples/a.cpp -->\n  ```cpp\n  int f()\n  {\n  ```\n", None),
        ("<!-- examples/b.c -->\n```c\nint b;\n```\n", None),
        ("<!-- examples/CMakeLists.txt -->\n```cmake\nproject(a)\n```\n", None),
        ("<!-- python/examples/a.py -->\n```python\nfor b in a:\n    a.c(b)\n```\n", None),
        ("```text\nint a;\n```\n\n    indented\n", None),
        ("<!-- examples/c.json -->\n```json\n{}\n```\n", None),
        ("```text\n<!-- examples/a.cpp -->\n```\n", None),
        ("<!-- a remark -->\ntext\n", None),
    ]
    samples = [((text, run), rule) for text, rule in wanted] + [
        (("<!-- examples/a.cpp -->\n```cpp\nint a;\n```\n", ["g++ other/examples/a.cpp"]), "run"),
        (("<!-- examples/CMakeLists.txt -->\n```cmake\nproject(a)\n```\n", ["g++ examples/a.cpp"]), "run")]
    return harness.judge(samples, lambda sample: check({**sound, "docs/a.md": sample[0]}, sample[1]))


def over(root):
    root = root.resolve()
    files = {name: (root / name).read_text(encoding="utf-8", errors="replace") for name in documents.tracked(root)
             if name.endswith(".md") or name.startswith(("tests/", "examples/", "python/examples/"))
             and not name.startswith(("tests/data/golden/", "tests/data/vectors/"))}
    run = [command.text for name in commands.documents_of(root) for command in documents.commands(root / name)
           if not any(entry[0] == name and re.fullmatch(entry[1], command.text) for entry in commands.NOT_RUN)]
    return harness.report(files, check(files, run))


if __name__ == "__main__":
    harness.main(itself, over)
