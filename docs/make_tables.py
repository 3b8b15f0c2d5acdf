#!/usr/bin/env python3
"""Fills the tables of docs/mount-modes.md and docs/parameter-file.md that hold measured figures.

    docs/make_tables.py KOR            rewrite them
    docs/make_tables.py KOR --check    measure again and compare with what is stored

A table stands between `<!-- NAME: begin -->` and `<!-- NAME: end -->`. Its figures come from docs/accuracy.md, or from the
error budget that the program KOR measures. Standard library only.
"""
import argparse
import json
import math
import pathlib
import re
import subprocess
import sys

DOCS = pathlib.Path(__file__).resolve().parent

# ------------------------------------------------------------------------------------- the measured errors of each mode

# Strata of docs/accuracy.md whose worst error stands in the table; the other columns are the rows of these names.
LIKELY = ("near level", "tilted", "strongly tilted", "steep elevation")

# Models with such poses, and their modes; the polarizer has none.
LIMITED = {"dual level": (1, 2), "pendulum": (3, 4), "three vectors": (7, 8), "two levels": (9, 10)}


def figure(text):
    """A figure as a reader wants it: 1.8, 0.054, or "below 0.001"."""
    value = float(text)
    if value < 1e-3:
        return "below 0.001"
    return f"{value:.2g}" if value < 100 else f"{value:.0f}"


def strata():
    """{mode: {stratum: its cells}} from docs/accuracy.md."""
    found, mode = {}, 0
    for line in (DOCS / "accuracy.md").read_text(encoding="utf-8").split("\n"):
        if heading := re.match(r"### Mode (\d+), (.*)", line):
            mode = int(heading[1])
        elif line.startswith("## "):
            mode = 0
        elif mode and len(cells := [cell.strip() for cell in line.split("|")]) == 13 and cells[1] != "Stratum":
            if not cells[1].startswith("-"):
                found.setdefault(mode, {})[cells[1].rstrip(" *")] = cells
    return found


def measured():
    lines = ["| Mode | Formulas alone | Single-precision readings | Moving slowly | With noise, median | With noise, worst |",
             "|---|---|---|---|---|---|"]
    for mode, rows in sorted(strata().items()):
        formulas = max((rows[name][10] for name in LIKELY), key=float)
        lines.append(f"| {mode} | {figure(formulas)} | {figure(rows['through the engine'][10])} | "
                     f"{figure(rows['moving'][10])} | {figure(rows['with noise'][8])} | "
                     f"{figure(rows['with noise'][10])} |")
    return lines


def limits(modes):
    """Poses in which a model's formulas themselves err, with the larger figure of its two modes."""
    rows = {}
    for mode in modes:
        for name, cells in strata()[mode].items():
            if cells[1].endswith("*"):
                rows.setdefault(name, []).append((mode, cells))
    lines = ["| Modes | Where | Reason | Median | Worst |", "|---|---|---|---|---|"]
    for name, both in rows.items():
        poses, reason = both[0][1][2].split(". **Inherent**: ")
        figures = [figure(max((cells[column] for _, cells in both), key=float)) for column in (4, 6)]
        lines.append(f"| {', '.join(str(mode) for mode, _ in both)} | {name}: {poses} | {reason} | {figures[0]} | "
                     f"{figures[1]} |")
    return lines


# ------------------------------------------------------------------------------- what a change of each parameter does

# The sight rises by ten degrees, the azimuth axis is some 20 degrees from its offset, and the base is tilted by two.
ALONG_X, ALONG_Y = "4000,0,700,2,0,-20", "0,4000,700,0,2,-20"
HANGING = "0,4000,700,180,2,-20"
MODES = {1: ALONG_X, 3: ALONG_X, 4: ALONG_X, 5: ALONG_Y, 7: ALONG_Y, 8: ALONG_Y, 9: HANGING, 10: ALONG_Y}
# How large a change is, by the unit of the input.
STEPS = {"deg": (0.01, "0.01\u00b0"), "1": (0.001, "0.001"), "mm": (1.0, "1 mm")}


def cross(a, b):
    return (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])


def dot(a, b):
    return sum(p * q for p, q in zip(a, b))


def unit(a):
    length = math.sqrt(dot(a, a))
    return tuple(p / length for p in a)


def along(axes, turn):
    """A small turn as the sum of turns about three axes, which need not be at right angles."""
    a, b, c = axes
    whole = dot(a, cross(b, c))
    return (dot(turn, cross(b, c)) / whole, dot(a, cross(turn, c)) / whole, dot(a, cross(b, turn)) / whole)


def effect(parts):
    """What of a turn is worth telling: "+36 A, -27 S"; the blanks within do not break."""
    told = [(f"{round(part):+d}" if abs(part) >= 10 else f"{part:+.1f}") + f"\u00a0{name}" for part, name in zip(parts, "AES")
            if abs(part) >= 0.05 and abs(part) >= 0.02 * max(map(abs, parts))]
    return ", ".join(told).replace("-", "\u2212") or "0"


def turns(kor):
    """One row a parameter, one column a mode; 2 and 6 are like 1 and 5."""
    rows = {}
    for mode, pose in MODES.items():
        done = subprocess.run([kor, "accuracy", "--budget", "--json", "--mode", str(mode), "--pose", pose],
                              capture_output=True, text=True)
        if done.returncode != 0:
            raise SystemExit(done.stderr)
        budget, = json.loads(done.stdout)["budgets"]
        base = budget["base"]
        z, sight = (base[2], base[5], base[8]), unit(budget["position_mm"])
        # The stage's y in modes 1 to 4, its x in the others.
        axis = unit(cross(z, sight) if mode < 5 else cross(sight, z))
        for entry in (e for e in budget["inputs"] if e["group"] == "parameter"):
            step, words = STEPS[entry["unit"]]
            if entry["input"].startswith("Thermal") and entry["input"][-1] in "13":
                step, words = 1e-5, "0.00001"
            key = (entry["input"], words)
            rows.setdefault(key, {})[mode] = effect(along((z, axis, sight), tuple(entry[c] * step for c in "xyz")))
    lines = ["| Parameter | Change | " + " | ".join(map(str, MODES)) + " |", "|---|---|" + "---|" * len(MODES)]
    for key in sorted(rows, key=block_order):
        name, words = key
        lines.append(f"| {name} | {words} | " + " | ".join(rows[key].get(mode, "-") for mode in MODES) + " |")
    return lines


def block_order(key):
    """The order of the file."""
    blocks = ("Angle Offset", "Thermal Compensation Factor", "Tilt Sensor Offset", "AZ Calibration Table",
              "EL Calibration Table", "Tilt X Calibration Table", "Tilt Y Calibration Table", "Scale Factor", "QVC",
              "Level_X", "Level_Y")
    name = re.sub(r" \d$", "", key[0])
    return blocks.index(name), key[0]


# ------------------------------------------------------------------------------------------------------------- pages

def filled(text, name, lines):
    """A page with a table in its place."""
    begin, end = f"<!-- {name}: begin -->", f"<!-- {name}: end -->"
    if text.count(begin) != 1 or text.count(end) != 1:
        raise SystemExit(f"found no place for the table {name}, expected {begin} and {end} once")
    first, last = text.index(begin) + len(begin), text.index(end)
    return text[:first] + "\n" + "\n".join(lines) + "\n" + text[last:]


def main():
    parser = argparse.ArgumentParser(description="Fills the measured tables of two documents.")
    parser.add_argument("kor", help="the program")
    parser.add_argument("--check", action="store_true", help="compare with what is stored, write nothing")
    arguments = parser.parse_args()
    kor = str(pathlib.Path(arguments.kor).resolve())
    limited = {f"limits of {name}": limits(modes) for name, modes in LIMITED.items()}
    tables = {"mount-modes.md": {"measured": measured(), **limited}, "parameter-file.md": {"turns": turns(kor)}}
    found = []
    for page, of_page in tables.items():
        text = (DOCS / page).read_text(encoding="utf-8")
        new = text
        for name, lines in of_page.items():
            new = filled(new, name, lines)
        if not arguments.check:
            (DOCS / page).write_text(new, encoding="utf-8")
        elif new != text:
            found += [f"docs/{page}: found {old!r}, measured {line!r}" for old, line in
                      zip(text.split("\n"), new.split("\n")) if old != line] or [f"docs/{page}: another number of lines"]
    print("\n".join(found + ["run docs/make_tables.py KOR and read what it changes"] if found else ["as measured"]))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
