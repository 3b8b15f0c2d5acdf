#!/usr/bin/env python3
"""Lays out the sources of the manual for Sphinx.

    stage.py ROOT FOLDER    FOLDER is made anew

The pages are the documents of the repository as they stand. They link to each other, to files of the repository, and to
folders. Here every file that a page links to gets a page as well: a header its reference, any other text its content.
docs/index.md says which pages there are and in which order: its lists become the navigation.
"""
import pathlib
import posixpath
import re
import shutil
import subprocess
import sys
import textwrap
from xml.etree import ElementTree

import docblocks

HERE = pathlib.Path(__file__).resolve().parent
sys.path.append(str(HERE.parents[1] / "tests" / "docs"))
import documents

HEADERS = "include/KORInterface"
LANGUAGES = {".c": "c", ".cpp": "cpp", ".h": "cpp", ".py": "python", ".sh": "bash", ".cs": "csharp", ".cmake": "cmake",
             ".json": "json", ".js": "javascript", ".in": "text", ".txt": "text"}
ITEM = re.compile(r"[-*] +\[([^\]]*)\]\(([^)#\s]+)\)")


def place_of(root, path):
    """Where the page of a file of the repository stands in the manual, without extension; None if it has none."""
    if path == HEADERS:
        return "api/index"
    if posixpath.dirname(path) == HEADERS:
        return f"api/{posixpath.basename(path).removesuffix('.h')}"
    if path.startswith("docs/") and path.endswith(".md"):
        return path.removeprefix("docs/").removesuffix(".md")
    if path.endswith(".md"):
        return path.removesuffix(".md")
    return f"files/{path}" if (root / path).is_file() else None


def place_in_headers(element):
    """The header in which something is declared."""
    return f"include/{element.find('location').get('file')}"


def arguments(function):
    """The types of a function's arguments, in brackets, which tell it from others of its name."""
    types = ["".join(parameter.find("type").itertext()) for parameter in function.iterfind("param")]
    return f"({', '.join(types)})"


class Stage:
    def __init__(self, root, folder):
        self.root, self.folder = root, folder
        self.waiting, self.made = [], set()

    def write(self, place, text):
        path = self.folder / f"{place}.md"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def target(self, page, link):
        """A link of a page, as it is to stand in the manual's page of it."""
        where, hash_, anchor = link.partition("#")
        path = posixpath.normpath(posixpath.join(posixpath.dirname(page), where))
        begin = posixpath.dirname(place_of(self.root, page)) or "."
        if path.startswith("docs/img/"):
            return posixpath.relpath(path.removeprefix("docs/"), begin)
        place = place_of(self.root, path)
        if place is None:
            raise SystemExit(f"{page}: {link}: the manual has no page for this folder; link to a file in it")
        if path not in self.made:
            self.made.add(path)
            self.waiting.append(path)
        return posixpath.relpath(place, begin) + ".md" + hash_ + anchor

    def linked(self, page, text):
        """The text of a page with its links as they are in the manual, and its examples with their names."""
        def turned(found):
            if not found[2] or re.match(r"[a-z]+:", found[2]):
                return found[0]
            return found[1] + self.target(page, found[2]) + ")"

        out, fence = [], False
        lines = text.split("\n")
        for number, line in enumerate(lines):
            named = re.match(r"( *)<!-- (\S+/\S+) -->$", line)
            if line.lstrip().startswith("```"):
                fence = not fence
                above = re.match(r" *<!-- (\S+/\S+) -->$", lines[number - 1]) if number else None
                if fence and above:
                    indent, language = re.match(r"( *)```(\w+)", line).groups()
                    target = self.target(page, posixpath.relpath(above[1], posixpath.dirname(page) or "."))
                    line = f"{indent}```{{code-block}} {language}\n{indent}:caption: '[{above[1]}]({target})'\n"
            elif named and not fence:
                continue
            elif not fence:
                line = re.sub(r"(\]\()([^)\s#][^)\s]*)\)", turned, line)
            out.append(line)
        return "\n".join(out)

    def document(self, path):
        text = (self.root / path).read_text(encoding="utf-8")
        linked = self.linked(path, text)
        if path == "docs/index.md":
            linked += self.navigation(text)
        self.write(place_of(self.root, path), linked)

    def navigation(self, text):
        """The lists of the front page, a part for each of its headings, and the references."""
        parts = []
        for line in text.split("\n"):
            if line.startswith("## "):
                parts.append((line[3:], []))
            elif parts and (item := ITEM.match(line)):
                parts[-1][1].append(f"{item[1]} <{self.target('docs/index.md', item[2]).removesuffix('.md')}>")
        parts.append(("Reference", ["api/index", "api/python", "files/docs/man/index"]))
        return "".join("\n```{toctree}\n:hidden:\n:caption: " + heading + "\n\n" + "\n".join(pages) + "\n```\n"
                       for heading, pages in parts if pages)

    def manual_pages(self):
        return [name for name in documents.tracked(self.root) if re.fullmatch(r"docs/man/[^/]*\.1", name)]

    def manual_page(self, path):
        text = subprocess.run(["man", "--local-file", "--no-hyphenation", "--no-justification", str(self.root / path)],
                              env={"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "MANWIDTH": "100", "MANPAGER": "cat"},
                              check=True, stdout=subprocess.PIPE).stdout.decode()
        # The first and the last line name page and release; a line in the first column is a heading.
        lines = text.strip("\n").split("\n")[1:-1]
        page, block = [f"# {posixpath.basename(path).removesuffix('.1')}(1)", ""], []
        for line in [*lines, "End"]:
            if line[:1].strip():
                while block and not block[-1].strip():
                    block.pop()
                if block:
                    page += ["```text", *textwrap.dedent("\n".join(block)).split("\n"), "```", ""]
                page, block = [*page, f"## {line.capitalize()}", ""], []
            else:
                block.append(line)
        self.write(f"files/{path}", "\n".join(page[:-2]))

    def manual_index(self):
        names = [name.removeprefix("docs/man/") for name in self.manual_pages()]
        names.sort(key=lambda name: (name != "kor.1", name))
        self.write("files/docs/man/index", "\n".join(
            ["# The manual pages", "", "As `man kor` shows them where the tool is installed.", "",
             *(f"- [{name.removesuffix('.1')}(1)]({name}.md)" for name in names), "",
             "```{toctree}", ":hidden:", "", *names, "```", ""]))

    def file(self, path):
        text = (self.root / path).read_text(encoding="utf-8")
        language = LANGUAGES.get(posixpath.splitext(path)[1], "bash" if text.startswith("#!") else "text")
        if posixpath.basename(path) == "CMakeLists.txt":
            language = "cmake"
        self.write(f"files/{path}", f"---\norphan: true\n---\n# {path}\n\n````{language}\n{text.rstrip()}\n````\n")

    def header(self, path):
        name = posixpath.basename(path)
        text = (self.root / path).read_text(encoding="utf-8")
        _, lines = docblocks.head(text)
        page = [f"# {name}", "", f"`#include <KORInterface/{name}>`", "", *docblocks.for_markdown(lines)]
        if name == "KORInterface.h":
            page += [f"- [{other}]({other.removesuffix('.h')}.md)" for other in re.findall(r'"KORInterface/(\w+\.h)"', text)]
        page += [line for kind, what in self.declared.get(path, ()) for line in
                 (f"```{{doxygen{kind}}} {what}", *([":members:", ":undoc-members:"] if kind in ("class", "struct") else []), "```", "")]
        self.write(place_of(self.root, path), "\n".join(page) + "\n")

    def declarations(self):
        """What each header declares, in its order: (Breathe's directive, name)."""
        found = {}
        for file in sorted((self.root / "build" / "docs" / "xml").glob("*.xml")):
            compound = ElementTree.parse(file).getroot().find("compounddef")
            if compound is None:
                continue
            kind, name = compound.get("kind"), compound.findtext("compoundname")
            if kind in ("class", "struct") and "::" not in name.removeprefix("kor::"):
                found.setdefault(place_in_headers(compound), []).append((int(compound.find("location").get("line")), kind, name))
            if kind not in ("file", "namespace"):
                continue
            for member in compound.iterfind("sectiondef/memberdef"):
                kind, name = member.get("kind"), member.findtext("name")
                if kind == "function":
                    name = member.findtext("qualifiedname", name) + arguments(member)
                elif kind == "typedef" and member.findtext("definition").startswith("typedef struct "):
                    continue
                else:
                    name = member.findtext("qualifiedname", name)
                entry = (int(member.find("location").get("line")), kind, name)
                if kind != "define" and entry not in found.setdefault(place_in_headers(member), []):
                    found[place_in_headers(member)].append(entry)
        return {path: [entry[1:] for entry in sorted(entries)] for path, entries in found.items()}

    def reference(self):
        self.declared = self.declarations()
        headers = [name for name in documents.tracked(self.root) if posixpath.dirname(name) == HEADERS]
        rows = []
        for path in headers:
            self.header(path)
            self.made.add(path)
            name = posixpath.basename(path)
            sentence, _ = docblocks.head((self.root / path).read_text(encoding="utf-8"))
            rows.append(f"| [{name}]({name.removesuffix('.h')}.md) | {sentence} |")
        names = [posixpath.basename(path).removesuffix(".h") for path in headers]
        self.write("api/index", "\n".join(
            ["# The public headers", "", "| Header | What it holds |", "|---|---|", *rows, "",
             "```{toctree}", ":hidden:", "", *names, "```", ""]))
        self.made.add(HEADERS)
        modules = [path.removesuffix(".py").removesuffix("/__init__").split("/")[-1] for path in documents.tracked(self.root)
                   if re.fullmatch(r"python/korinterface/[a-z]\w*(/__init__)?\.py", path)]
        page = ["# The Python package", "", "```{eval-rst}", ".. automodule:: korinterface", "   :members:", "```", ""]
        for module in modules:
            page += [f"## korinterface.{module}", "", "```{eval-rst}", f".. automodule:: korinterface.{module}",
                     "   :members:", "```", ""]
        self.write("api/python", "\n".join(page))

    def all(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)
        shutil.copytree(self.root / "docs" / "img", self.folder / "img")
        self.reference()
        for path in self.manual_pages():
            self.manual_page(path)
            self.made.add(path)
        self.manual_index()
        self.waiting = ["docs/index.md", *(name for name in documents.tracked(self.root)
                                           if re.fullmatch(r"docs/[^/]*\.md", name) and name != "docs/index.md")]
        self.made.update(self.waiting)
        while self.waiting:
            path = self.waiting.pop(0)
            if path.endswith(".md"):
                self.document(path)
            else:
                self.file(path)
        return len(self.made)


if __name__ == "__main__":
    print(f"{Stage(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])).all()} pages")
