"""What the documents hold: commands with their places and what is printed under them, links, headings.

In a Markdown document a block of commands is indented, or fenced as sh or without a language. A block of anything else is
fenced with its language; bat are commands of Windows. The block text behind commands shows lines of their output. In a
block of console, lines that begin with `$ ` are commands, and the lines below each are exactly what it prints; a line `...`
stands for any lines. A table's column with the heading Command holds commands, too, and so do the lines between .nf and .fi
of a manual page.
"""
import dataclasses
import pathlib
import re
import subprocess


@dataclasses.dataclass
class Command:
    line: int
    text: str
    section: str
    language: str = ""
    shown: list = dataclasses.field(default_factory=list)  # lines of output that the document shows, and their number
    printed: list = None  # of a console: all lines of the output, among them `...` for any lines


@dataclasses.dataclass
class Block:
    line: int
    language: str  # "" when indented or fenced without one
    lines: list
    section: str


def tracked(root):
    """The files of the repository, new ones included, as paths relative to it."""
    listed = subprocess.run(["git", "-C", str(root), "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            check=True, stdout=subprocess.PIPE).stdout.decode()
    return [name for name in sorted(set(listed.split("\0"))) if name and (root / name).is_file()]


def blocks(text):
    """Fenced and indented blocks. Within an item of a list a block is indented by four more than the item's words."""
    found, section, margin, fence, blank = [], "", 0, None, True
    indented = None
    for number, line in enumerate(text.split("\n"), 1):
        words = line.strip()
        if fence:
            if words == "```":
                fence = None
            else:
                found[-1].lines.append(line[fence[0]:])
            continue
        if opened := re.match(r"( *)```(\w*)$", line):
            fence = (len(opened[1]),)
            found.append(Block(number + 1, opened[2], [], section))
            indented, blank = None, True
            continue
        indent = len(line) - len(line.lstrip(" "))
        if not words:
            blank = True
            if indented:
                indented.lines.append("")
            continue
        if indented and indent >= indented.margin:
            indented.lines.append(line[indented.margin:])
            continue
        indented = None
        if indent == 0:
            margin = 0
        if blank and indent >= margin + 4:
            indented = Block(number, "", [line[margin + 4:]], section)
            indented.margin = margin + 4
            found.append(indented)
            continue
        blank = False
        if heading := re.match(r"#+ (.*)", line):
            section, margin, blank = heading[1], 0, True
        elif item := re.match(r"( *(?:[-*]|\d+\.) +)\S", line):
            margin = len(item[1])
    if fence:
        raise SystemExit("a fenced block is not closed")
    return found


def lines_to_commands(lines, first, section, language):
    """Commands of a block: one a line, continued behind a backslash; comments alone are not commands."""
    continued = "\\" if language != "bat" else "^"
    found, text, begin = [], "", first
    for number, line in enumerate(lines, first):
        if not text:
            begin = number
        text += line
        if line.endswith(continued):
            text = text[:-1]
            continue
        if text.strip() and not text.strip().startswith("#"):
            found.append(Command(begin, text.strip(), section, language))
        text = ""
    return found


def console_commands(block):
    """Commands of a block of console: one a line behind `$ `, continued behind a backslash, and what each prints."""
    found, continues = [], False
    for number, line in enumerate(block.lines, block.line):
        if continues:
            found[-1].text = found[-1].text[:-1] + line.removeprefix("> ")
        elif line.startswith("$ "):
            found.append(Command(number, line[2:], block.section, block.language, printed=[]))
        elif found:
            found[-1].printed.append(line)
        else:
            break
        continues = line.endswith("\\") and (continues or line.startswith("$ "))
    if not found:
        raise SystemExit(f"line {block.line}: a block of console begins with a command, '$ ' and what is typed")
    return found


def table_commands(text):
    found, column, section = [], None, ""
    for number, line in enumerate(text.split("\n"), 1):
        if heading := re.match(r"#+ (.*)", line):
            section = heading[1]
        if not line.startswith("|"):
            column = None
            continue
        cells = [cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
        if "Command" in cells:
            column = cells.index("Command")
        elif column is not None and (code := re.fullmatch(r"`([^`]+)`", cells[column])):
            found.append(Command(number, code[1], section))
    return found


def plain(line):
    """A line of a manual page without troff's escapes."""
    marks = {"-": "-", "e": "\\", "&": "", "(aq": "'", "(ha": "^", "(ti": "~", "(ga": "`"}
    return re.sub(r"\\(\(\w\w|.)", lambda escape: marks[escape[1]], line)


def manual_commands(text):
    found, inside, section = [], False, ""
    for number, line in enumerate(text.split("\n"), 1):
        if line.startswith(".SH "):
            section = line[4:].strip('"')
        elif line == ".nf":
            inside, first, lines = True, number + 1, []
        elif line == ".fi":
            found += lines_to_commands(lines, first, section, "")
            inside = False
        elif inside and line and not line.startswith((".", "'")):
            lines.append(plain(line))
    return found


def commands(path, languages=("", "sh")):
    """The commands of a document, in its order."""
    text = path.read_text(encoding="utf-8")
    if path.suffix == ".1":
        return manual_commands(text)
    found = []
    for block in blocks(text):
        if block.language in languages:
            found += lines_to_commands(block.lines, block.line, block.section, block.language)
        elif block.language == "console":
            found += console_commands(block)
        elif block.language == "text" and found:
            found[-1].shown += [(n, line) for n, line in enumerate(block.lines, block.line) if line.strip()]
    if "" in languages:
        found += table_commands(text)
    return sorted(found, key=lambda command: command.line)


def anchors(text):
    """The names that a link may have behind its #: the headings, as GitHub and others make them."""
    found = set()
    for line in re.sub(r"^```.*?^```", "", text, flags=re.M | re.S).split("\n"):
        if heading := re.match(r"#+ (.*)", line):
            words = re.sub(r"\]\([^)]*\)", "]", heading[1])
            found.add(re.sub(r"[^\w\- ]", "", words.lower()).replace(" ", "-"))
    return found


def links(text):
    """(line, target) of every link and picture that leads to a place in the same tree."""
    for number, line in enumerate(text.split("\n"), 1):
        for target in re.findall(r"\]\(([^)\s]+)\)", line):
            if not re.match(r"[a-z]+:", target):
                yield number, target


def not_listed(root, names):
    """Pages of docs/ to which no list of the manual's front page leads."""
    text = (root / "docs" / "index.md").read_text(encoding="utf-8")
    listed = set(re.findall(r"^[-*] +\[[^\]]*\]\(([^)#\s]+)\)", text, re.M))
    return [f"docs/index.md: no list leads to {name}; write a line for it" for name in names
            if re.fullmatch(r"docs/[^/]*\.md", name) and name != "docs/index.md" and name[5:] not in listed]


def broken_links(root, names):
    """Where a document of a tree links to what is not in it."""
    found = []
    for name in names:
        text = (root / name).read_text(encoding="utf-8")
        for number, target in links(text):
            place, _, anchor = target.partition("#")
            there = (root / name).parent / place if place else root / name
            inside = pathlib.Path(root).resolve() in [there.resolve(), *there.resolve().parents]
            if not inside or not there.exists():
                found.append(f"{name}:{number}: {target} leads to nothing in this tree")
            elif anchor and anchor not in anchors(there.read_text(encoding="utf-8")):
                found.append(f"{name}:{number}: {place or name} has no heading for #{anchor}")
    return found
