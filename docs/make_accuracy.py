#!/usr/bin/env python3
"""Makes docs/accuracy.md.

    docs/make_accuracy.py KOR            rewrite it
    docs/make_accuracy.py KOR --check    measure again and compare: text to the byte, figures by size

The words stand in accuracy.md.in, with a place for each figure and table: @name@. Standard library only.
"""
import argparse
import json
import math
import pathlib
import re
import subprocess
import sys

DOCS = pathlib.Path(__file__).resolve().parent
EXAMPLE = ["examples/uncertainty.json", "--mode", "10", "--trials", "2000"]
PLACE = re.compile(r"@(\w+)@")

# ----------------------------------------------------------------------------------------------------------- text


def number(value):
    return f"{value:.1e}" if value else "0"


def sentence(stratum):
    return stratum["poses"] + (f". **Inherent**: {stratum['inherent']}" if stratum["inherent"] else "")


def table(title, head, rows):
    lines = [f"### {title}", "", "| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows])


def strata_tables(report):
    """One table a mount mode."""
    head = ["Stratum", "Poses", "Samples", "Median", "99.9 %", "Worst", "Bound", "Median, arcsec", "99.9 %, arcsec",
            "Worst, arcsec", "Without"]
    modes = {}
    for s in report["strata"]:
        figures = [s["median_deg"], s["p999_deg"], s["worst_deg"]]
        row = [s["stratum"] + (" *" if s["inherent"] else ""), sentence(s), s["samples"], *map(number, figures),
               number(s["worst_bound_deg"]), *(number(3600 * f) for f in figures),
               f"{100.0 * s['without'] / s['samples']:.2g} %"]
        modes.setdefault(f"Mode {s['mode']}, {s['model']}", []).append(row)
    return "\n\n".join(table(title, head, rows) for title, rows in modes.items())


def budget_tables(report):
    """One table a model."""
    tables = []
    for budget in report["budgets"]:
        if budget["mode"] in (1, 4, 5, 8, 10):
            rows = [[i["input"], i["unit"], f"{i['unit_arcsec']:.6g}" if i["unit_arcsec"] else "-", f"{i['value']:.6g}", f"{i['x']:.4g}", f"{i['y']:.4g}", f"{i['z']:.4g}",
                     number(i["uncertainty"])]
                    for i in budget["inputs"] if math.hypot(i["x"], i["y"], i["z"]) >= 1e-3]
            tables.append(table(f"Mode {budget['mode']}, {budget['model']}",
                                ["Input", "Unit", "Unit, arcsec", "Value", "About x", "About y", "About z", "+-"], rows))
    return "\n\n".join(tables)


def document(kor):
    """The template with the figures in their places."""
    def output(*arguments):
        done = subprocess.run([kor, "accuracy", *arguments], capture_output=True, text=True, cwd=DOCS.parent)
        if done.returncode != 0:
            raise SystemExit(done.stderr)
        return done.stdout

    def report(*arguments):
        return json.loads(output("--json", *arguments))

    measured = report()
    figures = {"encoder_noise": measured["noise"]["encoder_deg"], "level_noise": measured["noise"]["level_deg"],
               "position_noise": measured["noise"]["position_mm"], "strata": strata_tables(measured),
               "budgets": budget_tables(report("--budget")),
               "uncertainty": "```text\n" + output("--uncertainty", *EXAMPLE) + "```",
               "example": "kor accuracy --uncertainty " + " ".join(EXAMPLE)}
    template = (DOCS / "accuracy.md.in").read_text()
    places = PLACE.findall(template)
    if sorted(places) != sorted(figures):
        raise SystemExit(f"accuracy.md.in: found places for {sorted(places)}, expected one for each of {sorted(figures)}")
    return PLACE.sub(lambda place: str(figures[place.group(1)]), template)


# ----------------------------------------------------------------------------------------------------- comparison

NUMBER = re.compile(r"-?\d+(?:\.\d+)?(?:e[-+]?\d+)?")


def same_size(a, b):
    """Measured figures move with the C library's last bits: a factor of five, or next to nothing."""
    if a == b or max(abs(a), abs(b)) < 1e-9:
        return True
    return a * b > 0 and 0.2 < a / b < 5.0


def same_output(a, b):
    """Lines of a program's output that differ in the size of their figures alone."""
    words = [" ".join(NUMBER.sub("#", line).split()) for line in (a, b)]
    figures = [map(float, NUMBER.findall(line)) for line in (a, b)]
    return words[0] == words[1] and all(same_size(x, y) for x, y in zip(*figures))


def differences(wanted, got):
    """Lines that differ in more than the size of their figures."""
    wanted, got = wanted.split("\n"), got.split("\n")
    if len(wanted) != len(got):
        return [f"{len(got)} lines, stored {len(wanted)}"]
    found = []
    output = False
    for at, (a, b) in enumerate(zip(wanted, got), start=1):
        if b.startswith("```"):
            output = b == "```text"
        if a == b or (output and same_output(a, b)):
            continue
        cells_a, cells_b = a.split("|"), b.split("|")
        measured = len(cells_a) in (10, 13) and len(cells_a) == len(cells_b)
        # Names, poses and bounds have to be the same; what was measured, of the same size.
        free = {4, 5, 6, 8, 9, 10} if len(cells_a) == 13 else {3, 5, 6, 7, 8}
        for i, (x, y) in enumerate(zip(cells_a, cells_b)):
            if x == y:
                continue
            numbers = [NUMBER.fullmatch(c.strip()) for c in (x, y)]
            last = i == 8 and len(cells_a) == 10    # what differentiation leaves is noise
            if not (measured and i in free and all(numbers) and (last or same_size(float(x), float(y)))):
                found.append(f"line {at}: {y.strip()}, stored {x.strip()}")
    return found


def main():
    parser = argparse.ArgumentParser(description="Makes docs/accuracy.md.")
    parser.add_argument("kor", help="the program")
    parser.add_argument("--check", action="store_true", help="compare with what is stored, write nothing")
    arguments = parser.parse_args()
    page = DOCS / "accuracy.md"
    stored = page.read_text() if page.exists() else ""
    text = document(arguments.kor)
    if not arguments.check:
        page.write_text(text)
        return 0
    found = differences(stored, text)
    print("\n".join(found) or "the page is what is measured")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
