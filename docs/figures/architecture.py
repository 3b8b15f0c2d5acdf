#!/usr/bin/env python3
"""Draws docs/img/folders.svg and docs/img/sample.svg: the arrows between the folders, and a sample's way through the engine.

Both are read from the sources: the arrows from the #include lines, which tests/lint/include_lint.py holds to its FOLDERS, and
from what the targets of CMake link, the way from the paragraphs of `orient` in engine/Update.cpp. graphviz places the folders; it is given the sizes of all
boxes, so that the fonts of a machine have no part in it.
"""
import pathlib
import re
import subprocess
import sys
from xml.sax.saxutils import escape

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "tests" / "lint"))
import include_lint

INK, SOFT, GROUND = "#222222", "#666666", "#ffffff"
LIBRARY, BESIDE, USER, FACE = "#d6e4f5", "#dcefdc", "#f9e4c8", "#ece2f3"  # fills; told apart by their lightness as well


class Drawing:
    def __init__(self, width, height, title):
        self.size, self.title, self.parts = (width, height), title, []

    def box(self, x, y, width, height, fill, lines, bold=True):
        self.parts.append(f'<rect x="{x:.1f}" y="{y:.1f}" width="{width}" height="{height}" rx="5" fill="{fill}" '
                          f'stroke="{INK}" stroke-width="1"/>')
        top = y + height / 2 - 8 * (len(lines) - 1) + 5
        for i, line in enumerate(lines):
            self.text(x + width / 2, top + 16 * i, line, INK if i == 0 else SOFT, 14 if i == 0 else 12, "middle",
                      "bold" if bold and i == 0 else "normal")

    def text(self, x, y, words, colour=INK, size=12, anchor="start", weight="normal"):
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" fill="{colour}" font-size="{size}" text-anchor="{anchor}" '
                          f'font-weight="{weight}">{escape(words)}</text>')

    def arrow(self, path, colour=INK):
        self.parts.append(f'<path d="{path}" fill="none" stroke="{colour}" stroke-width="1.3" marker-end="url(#head)"/>')

    def write(self, name):
        width, height = self.size
        (ROOT / "docs" / "img" / name).write_text("\n".join([
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" viewBox="0 0 {width} {height}" '
            'font-family="DejaVu Sans, Verdana, sans-serif">',
            f"<title>{escape(self.title)}</title>",
            '<defs><marker id="head" viewBox="0 0 10 8" refX="9" refY="4" markerWidth="9" markerHeight="8" '
            f'orient="auto"><path d="M0 0 L10 4 L0 8 z" fill="{INK}"/></marker></defs>',
            f'<rect width="{width}" height="{height}" fill="{GROUND}"/>', *self.parts, "</svg>"]) + "\n", encoding="utf-8")


# --------------------------------------------------------------------------------------------------------- folders

FACES = "include/KORInterface"
# What each folder holds, in the words of its box, and where it belongs.
WORDS = {
    "mek": (LIBRARY, "support maths"), "platform": (LIBRARY, "files, processes, text"), "models": (LIBRARY, "one source a model"),
    "params/file": (LIBRARY, "the parameter file"), "params": (LIBRARY, "CKorPrm"), "engine": (LIBRARY, "CKor"),
    "module": (LIBRARY, "shared records"), "session": (LIBRARY, "read, configure, tell"), "capi": (LIBRARY, "the C interface"),
    "recordings": (BESIDE, "readers and writers"), "series": (BESIDE, "rows in memory"),
    "simulation": (BESIDE, "the simulated sensor"), "accuracy": (BESIDE, "closed loop, budget"),
    "tools/kor": (USER, "the tool"), "python": (USER, "the package"), "examples": (USER, "hosts"),
    FACES: (FACE, "what a host sees"),
}


def sources():
    return {str(path.relative_to(ROOT)): path.read_text(encoding="utf-8") for name in WORDS
            for path in sorted((ROOT / name).rglob("*")) if path.suffix in (".h", ".cpp")}


def links():
    """What the targets of the folders link, as (user, used)."""
    names = {"KORInterface": FACES, "kor_recordings_plain": "recordings", "kor_params_file": "params/file",
             **{f"kor_{name}": name for name in WORDS}, **dict.fromkeys(("kor_forms", "kor_reports"), "tools/kor")}
    for name in WORDS:
        place = ROOT / name.replace("tools/kor", "tools") / "CMakeLists.txt"
        text = place.read_text(encoding="utf-8") if place.exists() and name != "examples" else ""
        for _, used in re.findall(r"kor_(?:side_)?folder\((\w+)[^)]*USES ([^)]*)\)", text):
            for target in used.split():
                if target in names and names[target] != name:
                    yield name, names[target]


def arrows():
    """What uses what, as (user, used), between folders."""
    found = set(links())
    for path, text in sources().items():
        user = include_lint.folder_of(path)
        for _, _, header in include_lint.includes(text):
            used = include_lint.folder_of(include_lint.place(header))
            if used in WORDS and used != user and "/" in header:
                found.add((user, used))
    # The library makes what the public headers declare, and the records alone are no interface.
    implements = [name for name, (fill, _) in WORDS.items() if fill == LIBRARY]
    records = [name for name in WORDS if name != FACES and include_lint.FOLDERS[name].only is not None]
    found = {(user, used) for user, used in found if used != FACES or user not in implements + records}
    # Behind them are the folders that no other part of the library uses; the C interface uses what hosts in C++ use as well.
    return found | {(FACES, name) for name in implements
                    if not any(used == name and user != "capi" for user, used in found)}


def without_implied(edges):
    """The arrows that no chain of others replaces."""
    def reaches(start, goal, left):
        return any(used == goal or reaches(used, goal, left) for user, used in left if user == start)
    return sorted(edge for edge in edges if edge[0] == FACES or not reaches(*edge, edges - {edge}))


def draw_folders():
    edges = without_implied(arrows())
    width, height = 160, 46
    graph = ["digraph { rankdir=TB; nodesep=0.35; ranksep=0.55; edge [arrowhead=none]; node [shape=box fixedsize=true label=\"\" "
             f"width={width / 72} height={height / 72}];"]
    graph += [f'"{name}";' for name in sorted(WORDS)] + [f'"{user}" -> "{used}";' for user, used in edges]
    plain = subprocess.run(["dot", "-Tplain"], input="\n".join([*graph, "}"]), text=True, check=True,
                           stdout=subprocess.PIPE).stdout
    lines = [line.split() for line in plain.splitlines()]
    wide, high = (72 * float(value) for value in lines[0][2:4])
    top = 20
    broad = max(wide + 40, 690)
    picture = Drawing(round(broad), round(high) + 80, "What each folder uses")

    def at(x, y):
        return (broad - wide) / 2 + 72 * float(x), top + high - 72 * float(y)

    for line in lines:
        if line[0] == "edge":
            count = int(line[3])
            points = [at(*line[4 + 2 * i:6 + 2 * i]) for i in range(count)]
            curves = " ".join(f"{x:.1f},{y:.1f}" for x, y in points[1:])
            picture.arrow(f"M{points[0][0]:.1f},{points[0][1]:.1f} C{curves}")
    for line in lines:
        if line[0] == "node":
            name = line[1].strip('"')
            x, y = at(*line[2:4])
            picture.box(x - width / 2, y - height / 2, width, height, WORDS[name][0],
                        [name.removeprefix("include/"), WORDS[name][1]])
    x = 20
    for fill, words in ((USER, "uses the library"), (BESIDE, "beside the library"), (FACE, "public headers"),
                        (LIBRARY, "the library")):
        picture.parts.append(f'<rect x="{x}" y="{top + high + 24:.1f}" width="22" height="14" fill="{fill}" stroke="{INK}"/>')
        picture.text(x + 28, top + high + 36, words)
        x += 165
    picture.write("folders.svg")


# ---------------------------------------------------------------------------------------------------------- sample

# The paragraphs of orient: a name in each tells it from the others; the words for it; what ends the way there.
STEPS = [
    ("correctedLevel", "Correct the levels", ""),
    ("calibrated", "Calibrate encoders, convert temperatures", ""),
    ("kValidStatus", "Is the status 2?", "rejected_status"),
    ("countSample", "Count how long each level has been in its table", ""),
    ("modelBuffer", "Collect the model's nine inputs", ""),
    ("adjustQvc", "Move the line of sight by the detector", ""),
    ("askModel", "Ask the model for the matrix", "no_matrix_..."),
    ("GetQVCMatrix", "Hand on position and levels", ""),
    ("captureReference", "If there is a reference: matrix and angles", "before_reference"),
]


def body_of(text, name):
    """The body of a function of a source."""
    found = re.search(rf"\b{name}\([^;{{]*\)\n\{{\n(.*?)\n\}}\n", text, re.S)
    return found[1] if found else ""


def steps():
    """(words, functions called, fields read of the sample, fields written to the result, ending) of each paragraph."""
    text = (ROOT / "engine" / "Update.cpp").read_text(encoding="utf-8")
    paragraphs = body_of(text, "orient").split("\n\n")
    found, at = [], 0
    for mark, words, ending in STEPS:
        while at < len(paragraphs) and not re.search(rf"\b{mark}\b", paragraphs[at]):
            at += 1
        if at == len(paragraphs):
            raise SystemExit(f"engine/Update.cpp: orient has no paragraph with {mark} where it is expected; correct STEPS")
        paragraph = re.sub(r"//.*", "", paragraphs[at])
        called = [name for name in dict.fromkeys(re.findall(r"\b(\w+)\(", paragraph)) if f" {name}(" in text
                  and body_of(text, name)]
        called += [name for name in dict.fromkeys(re.findall(r"model\.(\w+)\(", paragraph))]
        read = re.findall(r"\braw\.(\w+)", paragraph)
        for name in called:
            # A function that takes the whole sample.
            if re.search(rf"\b{name}\([^;]*\braw\b[,)]", paragraph):
                read += re.findall(r"\braw\.(\w+)", body_of(text, name))
        # Read again are those alone that the model gets.
        written = re.findall(r"(?<!static_cast<double>\()\binfo\.(\w+)", paragraph)
        found.append((words, called, list(dict.fromkeys(read)), list(dict.fromkeys(written)), ending))
        at += 1
    return found


def draw_sample():
    rows = steps()
    x, wide, high, pitch, top = 330, 360, 50, 78, 70
    picture = Drawing(1000, top + pitch * len(rows) + 40, "A sample's way through the engine")
    picture.text(300, 40, "read of KOR_RAWINFO", INK, 14, "end", "bold")
    picture.text(x + wide / 2, 40, "orient, in engine/Update.cpp", INK, 14, "middle", "bold")
    picture.text(720, 40, "written to KOR_INFO", INK, 14, "start", "bold")
    for i, (words, called, read, written, ending) in enumerate(rows):
        y = top + pitch * i
        names = ", ".join(called)
        picture.box(x, y, wide, high, FACE if ending else LIBRARY, [words, *([names] if names else [])], bold=False)
        if i:
            picture.arrow(f"M{x + wide / 2},{y - pitch + high} L{x + wide / 2},{y - 1}")
        middle = y + high / 2
        for fields, side in ((read, -1), (written, 1)):
            if not fields:
                continue
            lines = [", ".join(fields[:2]), ", ".join(fields[2:])] if len(fields) > 2 else [", ".join(fields)]
            for k, line in enumerate(line for line in lines if line):
                picture.text(300 if side < 0 else 720, middle + 4 + 16 * k - 8 * (len(lines) - 1), line, INK, 12,
                             "end" if side < 0 else "start")
            picture.arrow(f"M304,{middle} L{x - 1},{middle}" if side < 0 else f"M{x + wide},{middle} L716,{middle}")
        if ending:
            low = y + high - 8 if written else middle
            picture.arrow(f"M{x + wide},{low} L716,{low}")
            picture.text(720, low + 4, f"or the way ends: {ending}", SOFT, 12)
    picture.text(x + wide / 2, top + pitch * len(rows) - 2, "matrix and angles are the sensor's orientation", INK, 13, "middle")
    picture.write("sample.svg")


if __name__ == "__main__":
    draw_folders()
    draw_sample()
    for row in steps() if "--tell" in sys.argv else ():
        print(row)
    if "--tell" in sys.argv:
        print(without_implied(arrows()))
