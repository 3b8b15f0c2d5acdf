#!/usr/bin/env python3
"""docs/parameter-file.md names the blocks and values of the program, with their units, ranges and modes.

    blocks.py KOR ROOT     compares the page with the program
    blocks.py --itself KOR ROOT
                           faults planted in the page are found

The titles and their order are those of `kor prm show`, the units and ranges those of `kor prm check --ranges`, and the modes
those in which `kor prm show` does not call a value unused, seen in one shipped file for each mode.
"""
import pathlib
import re
import subprocess
import sys

FILES = {mode: f"data/{name}/Tg{1000 + mode}.prm" for mode, name in enumerate(
    ("dual_level", "dual_level_even", "pendulum", "pendulum_even", "polarizer", "polarizer_even", "three_vector",
     "three_vector_even", "two_level", "two_level_even"), 1)}
MODES = range(1, 11)


def output(kor, root, *arguments):
    done = subprocess.run([kor, "prm", *arguments], cwd=root, capture_output=True, text=True)
    if done.returncode != 0:
        raise SystemExit(done.stderr)
    return done.stdout


def ranges(kor, root):
    """{title: {value: (unit, range)}} in the order of the file."""
    found = {}
    for line in output(kor, root, "check", "--ranges").split("\n")[1:]:
        if cells := re.match(r"(\S.*?) +(\w+) +(-?[\d.]+) +(-?[\d.]+) *(.*)$", line):
            found.setdefault(cells[1], {})[cells[2]] = (cells[5], f"{cells[3]} to {cells[4]}")
    return found


def used(kor, root, titles):
    """{title: {value: modes}}; "" is the block as a whole. Limits of tables are never used."""
    found = {title: {} for title in titles}
    for mode, path in FILES.items():
        title = ""
        for line in output(kor, root, "show", path).split("\n"):
            if begun := re.match(r" *\d+  (\S.*?)(?:  |$)", line):
                title = begun[1]
            if not title or not line.strip():
                continue
            is_used = not re.search(r"\((not used|encoder limits only)", line)
            if begun:
                # A mark behind the first value of PSDX holds for that value only.
                found[title].setdefault("", []).append((mode, is_used))
            named = re.match(r"(?: *\d+  \S.*?  +| +)([a-z][a-z0-9 ]*?)  +-?[\d.]", line)
            if named:
                found[title].setdefault(named[1].replace(" ", "_"), []).append((mode, is_used))
    return {title: {name: {mode for mode, is_used in seen if is_used} for name, seen in values.items()}
            for title, values in found.items()}


def modes_of(text):
    """The modes that a cell names: 1-6, or 1, 2, 9."""
    if text in ("none", "not used"):
        return set()
    found = set()
    for part in text.split(", "):
        first, _, last = part.partition("-")
        found |= set(range(int(first), int(last or first) + 1))
    return found


def names_of(cell, known):
    """The values that a cell names: `a`, or `a` to `b` in the order of the file."""
    names = re.findall(r"`(\w+)`", cell)
    if " to " in cell and all(name in known for name in names):
        known = list(known)
        return known[known.index(names[0]):known.index(names[1]) + 1]
    return names


def check(page, kor, root):
    """Findings, one a line."""
    by_range = ranges(kor, root)
    listed, tables, title, head = [], {}, "", []
    for number, line in enumerate(page.split("\n"), 1):
        cells = [cell.strip() for cell in line.split("|")[1:-1]]
        head = cells if cells and not head else head if cells else []
        if heading := re.match(r"## (?:(\d+)\. )?(.*)", line):
            title = heading[2] if heading[1] else ""
            if title:
                tables[title] = (number, int(heading[1]), [])
        elif head[:2] == ["#", "Block"] and cells[0].isdigit():
            listed.append((number, int(cells[0]), cells[1].strip("`"), cells[3]))
        elif head == ["Value", "Unit", "Plausible", "Modes"] and title and cells[0].startswith("`"):
            tables[title][2].append((number, *cells))
    shown = output(kor, root, "show", FILES[10])
    titles = [m[1] for m in re.finditer(r"^ *\d+  (\S.*?)(?:  |$)", shown, re.M)]
    findings = []
    if [(n, t) for _, n, t, _ in listed] != list(enumerate(titles, 1)):
        findings.append(f"the table of blocks: found {[t for _, _, t, _ in listed]}, expected {titles}")
    if [(n, t) for t, (_, n, _) in tables.items()] != list(enumerate(titles, 1)):
        findings.append(f"the sections of the blocks: found {list(tables)}, expected {titles}")
    if findings:
        return findings
    by_mode = used(kor, root, titles)
    for number, _, title, modes in listed:
        # A block is used where one of its values is.
        expected = set().union(*[s for name, s in by_mode[title].items() if name or len(by_mode[title]) == 1])
        if title in ("Serial Number", "Device Owner"):
            expected = set()
        if modes_of(modes) != expected:
            findings.append(f"line {number}: {title}: found modes {modes}, the program uses it in {sorted(expected)}")
    for title, (number, _, rows) in tables.items():
        known = by_range.get(title, {})
        named = []
        for number, value, unit, plausible, modes in rows:
            names = names_of(value, known)
            named += names
            for name in names:
                if known.get(name) != (unit, plausible):
                    findings.append(f"line {number}: {title}: {name}: found {(unit, plausible)}, the program has "
                                    f"{known.get(name)}")
                seen = by_mode[title].get(name, by_mode[title].get("", set()))
                expected = set() if name in ("low", "high", "third") else seen
                if modes_of(modes) != expected:
                    findings.append(f"line {number}: {title}: {name}: found modes {modes}, the program uses it in "
                                    f"{sorted(expected)}")
        if named != list(known):
            findings.append(f"line {number}: {title}: found the values {named}, the program has {list(known)}")
    return findings


def itself(page, kor, root):
    """Each of these faults has to be found."""
    faults = [(None, None),
              ("| 9 | `Transform Vector`", "| 9 | `Transform Vektor`"),
              ("## 13. Tilt Sensor Offset", "## 13. Tilt Offset"),
              ("| `x` | degrees | -5 to 5 | 1, 2, 9, 10 |\n", ""),
              ("| `y_offset` | | 0.5 to 2 |", "| `y_offset` | | 0.5 to 3 |"),
              ("| `lag_1` | samples |", "| `lag_1` | s |"),
              ("| `angle_3` | degrees | -360 to 360 | 3, 4 |", "| `angle_3` | degrees | -360 to 360 | 3-6 |"),
              ("| 23 | `Level_Y` | 7 | 9, 10 |", "| 23 | `Level_Y` | 7 | 7-10 |")]
    wrong = 0
    for before, after in faults:
        if before is not None and page.count(before) != 1:
            raise SystemExit(f"{before!r} stands {page.count(before)} times in the page, expected once")
        found = check(page.replace(before, after) if before else page, kor, root)
        if bool(found) != bool(before):
            wrong += 1
            print(f"{before!r} -> {after!r}: found {found}")
    print(f"{len(faults)} pages, {wrong} wrong")
    return 1 if wrong else 0


def main(arguments):
    *option, kor, root = arguments
    root = pathlib.Path(root)
    page = (root / "docs" / "parameter-file.md").read_text(encoding="utf-8")
    if option == ["--itself"]:
        return itself(page, kor, root)
    findings = check(page, kor, root)
    print("\n".join(findings) or "the page is what the program has")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
