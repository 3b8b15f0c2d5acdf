#!/usr/bin/env python3
"""Makes docs/accuracy.md and its pictures.

    docs/make_accuracy.py KOR            rewrite them
    docs/make_accuracy.py KOR --check    measure again and compare: pictures and text to the byte, figures by size

What stands between the two "exact" marks of accuracy.md is kept as it is. Standard library only.
"""
import argparse
import json
import math
import pathlib
import re
import subprocess
import sys

DOCS = pathlib.Path(__file__).resolve().parent
MODELS = {1: "dual level", 3: "pendulum", 5: "polarizer", 7: "three vectors", 9: "two levels"}
BEGIN, END = "<!-- exact: begin -->", "<!-- exact: end -->"

# ------------------------------------------------------------------------------------------------------- pictures

INK, SOFT, RED, GREEN, BLUE, ORANGE = "#222", "#999", "#c0392b", "#2e7d32", "#1f5fa8", "#c46a00"


class Picture:
    """An SVG of lines, arrows and text, with a view of three dimensions."""

    def __init__(self, width, height, title):
        self.size, self.parts, self.title = (width, height), [], title
        self.origin, self.scale, self.turn, self.lift = (0, 0), 1.0, math.radians(30), math.radians(22)

    def view(self, x, y, scale, turn=30.0, lift=22.0):
        self.origin, self.scale = (x, y), scale
        self.turn, self.lift = math.radians(turn), math.radians(lift)

    def at(self, point):
        """Where a point in space is drawn: seen from the front, turned about z and from a little above."""
        x, y, z = point
        c, s = math.cos(self.turn), math.sin(self.turn)
        right, deep = y * c - x * s, y * s + x * c
        return (self.origin[0] + self.scale * right,
                self.origin[1] - self.scale * (z * math.cos(self.lift) - deep * math.sin(self.lift)))

    def path(self, points, colour=INK, width=1.5, dash="", arrow=False, fill="none"):
        text = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
        dashed = f' stroke-dasharray="{dash}"' if dash else ""
        shape = "polygon" if fill != "none" else "polyline"
        self.parts.append(f'<{shape} points="{text}" fill="{fill}" stroke="{colour}" stroke-width="{width}"{dashed}/>')
        if arrow:
            (x0, y0), (x1, y1) = points[-2], points[-1]
            a = math.atan2(y1 - y0, x1 - x0)
            head = [(x1, y1)] + [(x1 - 9 * math.cos(a + d), y1 - 9 * math.sin(a + d)) for d in (0.4, -0.4)]
            text = " ".join(f"{x:.1f},{y:.1f}" for x, y in head)
            self.parts.append(f'<polygon points="{text}" fill="{colour}"/>')

    def text(self, x, y, words, colour=INK, size=14, anchor="start", style=""):
        words = words.replace("&", "&amp;").replace("<", "&lt;")
        styled = f' font-style="{style}"' if style else ""
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" fill="{colour}" font-size="{size}" text-anchor="{anchor}"'
                          f'{styled}>{words}</text>')

    def line(self, a, b, **how):
        self.path([self.at(a), self.at(b)], **how)

    def vector(self, a, b, name="", colour=INK, shift=(6, -4), **how):
        self.line(a, b, colour=colour, arrow=True, **how)
        if name:
            x, y = self.at(b)
            self.text(x + shift[0], y + shift[1], name, colour)

    def arc(self, centre, first, second, radius, start, end, name="", colour=ORANGE, shift=(4, -4)):
        """From angle start to end, degrees, in the plane of two directions; an arrow at its end."""
        points = []
        for i in range(25):
            angle = math.radians(start + (end - start) * i / 24)
            points.append(self.at([c + radius * (math.cos(angle) * f + math.sin(angle) * s)
                                   for c, f, s in zip(centre, first, second)]))
        self.path(points, colour=colour, arrow=True)
        if name:
            x, y = points[14]
            self.text(x + shift[0], y + shift[1], name, colour)

    def svg(self):
        width, height = self.size
        return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
                f'viewBox="0 0 {width} {height}" font-family="DejaVu Sans, Helvetica, Arial, sans-serif">\n'
                f'<title>{self.title}</title>\n<rect width="{width}" height="{height}" fill="#fff"/>\n'
                + "\n".join(self.parts) + "\n</svg>\n")


X, Y, Z = (1, 0, 0), (0, 1, 0), (0, 0, 1)


def add(a, b, factor=1.0):
    return tuple(p + factor * q for p, q in zip(a, b))


def turned(v, axis, degrees):
    """Right-handed turn about a unit vector."""
    c, s = math.cos(math.radians(degrees)), math.sin(math.radians(degrees))
    d = sum(p * q for p, q in zip(axis, v))
    w = (axis[1] * v[2] - axis[2] * v[1], axis[2] * v[0] - axis[0] * v[2], axis[0] * v[1] - axis[1] * v[0])
    return tuple(v[i] * c + w[i] * s + axis[i] * d * (1 - c) for i in range(3))


def frames():
    p = Picture(760, 350, "Tracker frame, target point and base")
    p.view(150, 235, 70, turn=40, lift=24)
    o, P = (0, 0, 0), (-0.3, 5.2, 2.1)
    foot = (P[0], P[1], 0)
    p.vector(o, (2.2, 0, 0), "x", RED, (-16, 12))
    p.vector(o, (0, 2.0, 0), "y", GREEN, (4, 16))
    p.vector(o, (0, 0, 2.2), "z, up", BLUE)
    p.line(o, foot, colour=SOFT, dash="5,4")
    p.line(foot, P, colour=SOFT, dash="5,4")
    p.line(o, P, colour=INK, width=1)
    p.vector(o, tuple(0.33 * c for c in P), "u = P / |P|", INK, (-34, -12), width=2.5)
    p.text(p.at(P)[0] + 14, p.at(P)[1] + 28, "P, target point: sensorVector, mm", INK, 13)
    p.text(p.at(foot)[0] + 8, p.at(foot)[1] - 30, "height, z of P", SOFT, 12)
    p.text(40, 30, "tracker frame: origin at the tracker, z up", INK, 14)
    tilt = [turned(turned(v, Z, 30), (0.6, 0.8, 0), 16) for v in (X, Y, Z)]
    for v, name, colour, shift in zip(tilt, ("base x", "base y", "base z: azimuth axis"), (RED, GREEN, BLUE),
                                      ((-60, 8), (8, 8), (8, 4))):
        p.vector(P, add(P, v, 1.5), name, colour, shift, width=2)
    p.arc(o, X, Y, 1.2, 0, math.degrees(math.atan2(P[1], P[0])), "bearing of P", ORANGE, (-20, 22))
    p.text(400, 30, "R: base to tracker; its columns are base x, y, z", INK, 14)
    return p


def axes():
    p = Picture(760, 400, "Azimuth and elevation")
    for left, sight, modes in ((0, X, "modes 1 to 4"), (380, Y, "modes 5 to 10")):
        other = Y if sight == X else X
        p.view(left + (120 if sight == X else 180), 235, 105, turn=-32 if sight == X else 58, lift=26)
        o = (0, 0, 0)
        rest = turned(sight, Z, 0)
        p.vector(o, X, "x", RED, (-16, 10), width=1)
        p.vector(o, Y, "y", GREEN, (4, 14), width=1)
        p.vector(o, (0, 0, 1.25), "base z", BLUE)
        stage = turned(rest, Z, 42)
        p.line(o, tuple(1.35 * c for c in stage), colour=SOFT, dash="5,4")
        up = tuple(math.cos(math.radians(28)) * s + math.sin(math.radians(28)) * z for s, z in zip(stage, Z))
        p.vector(o, tuple(1.45 * c for c in up), "sight", INK, (4, -2), width=2.5)
        p.arc(o, rest, turned(rest, Z, 90), 0.62, 0, 42, "azimuth +", ORANGE, (-100, 30))
        p.arc(o, stage, Z, 1.1, 0, 28, "elevation +", ORANGE, (8, 6))
        p.text(left + 190, 30, modes + f": looks along +{'x' if sight == X else 'y'} at azimuth 0", INK, 14, "middle")
    p.text(380, 352, "The sight points away from the tracker: turned by both axes it coincides with u.", INK, 13, "middle")
    p.text(380, 374, "Azimuth turns about base z, right-handed; elevation grows towards base z. In mode 3 both run backwards.",
           INK, 13, "middle")
    return p


def levels():
    p = Picture(760, 640, "What a positive level reading means")
    o = (0, 0, 0)

    def panel(column, row, title, *notes):
        p.view(125 + 253 * column, 165 + 315 * row, 78, turn=58, lift=22)
        p.text(126 + 253 * column, 30 + 315 * row, title, INK, 14, "middle")
        for i, note in enumerate(notes):
            p.text(126 + 253 * column, 264 + 315 * row + 18 * i, note, INK, 12, "middle")

    def level_plane():
        p.path([p.at(c) for c in ((1, 1, 0), (-1, 1, 0), (-1, -1, 0), (1, -1, 0), (1, 1, 0))], SOFT, 1, "3,4")

    def tilted(v, axis, angle, name, colour, shift=(4, -4)):
        p.line(o, tuple(1.1 * c for c in v), colour=SOFT, width=1)
        w = turned(v, axis, angle)
        p.vector(o, tuple(1.2 * c for c in w), name, colour, shift, width=2.5)
        toward = turned(v, axis, 90 if angle > 0 else -90)
        p.arc(o, v, toward, 0.95, 0, abs(angle), "", ORANGE)

    panel(0, 0, "modes 1, 2: level X", "positive: the stage's x axis,", "towards the sight, dips")
    level_plane()
    p.vector(o, (0, 0, 1.2), "up", BLUE)
    tilted(X, Y, 24, "stage x", RED, (-20, 18))
    panel(1, 0, "modes 1, 2: level Y", "positive: the elevation axis,", "the stage's y, rises")
    level_plane()
    p.vector(o, (0, 0, 1.2), "up", BLUE)
    tilted(Y, X, 24, "stage y", GREEN, (8, 4))
    panel(2, 0, "modes 3, 4: level Y", "positive: the pendulum direction", "rises over the horizon (mode 3: sinks)")
    level_plane()
    p.vector(o, (0, 0, 1.2), "up", BLUE)
    tilted(Y, X, 24, "p, near y", GREEN, (8, 4))
    panel(0, 1, "modes 5, 6: level Y", "positive: roll about the sight, clock-", "wise as seen from the tracker")
    level_plane()
    p.vector(o, (0, 0, 1.2), "", SOFT, width=1)
    p.vector((0, -0.9, 0), (0, 1.3, 0), "sight, y", INK, (-24, 20), width=2.5)
    p.vector(o, turned((0, 0, 1.2), Y, 30), "z", BLUE, (-18, 2), width=2)
    p.arc(o, Z, X, 0.95, 0, 30, "roll", ORANGE, (-4, -10))
    panel(1, 1, "mode 7: level Y", "positive: the level axis l,", "near stage x, rises")
    level_plane()
    p.vector(o, (0, 0, 1.2), "up", BLUE)
    tilted(X, Y, -24, "l", RED, (-14, 4))
    panel(2, 1, "mode 8: level Y; 9, 10: both levels", "positive: the level axis l dips", "(in mode 9 the base hangs upside down)")
    level_plane()
    p.vector(o, (0, 0, 1.2), "up", BLUE)
    tilted(X, Y, 24, "l", RED, (-14, 14))
    return p


def angles():
    p = Picture(760, 300, "Orientation angles")
    titles = (("orientationAngles[0]", "orientationX_deg, about x", X, Y, Z, RED),
              ("orientationAngles[1]", "orientationZ_deg, about z", Z, X, Y, BLUE),
              ("orientationAngles[2]", "orientationY_deg, about y", Y, Z, X, GREEN))
    for i, (name, column, axis, first, second, colour) in enumerate(titles):
        p.view(126 + 253 * i, 170, 80, turn=58, lift=24)
        o = (0, 0, 0)
        for v, label, c, shift in ((X, "x", RED, (-14, 12)), (Y, "y", GREEN, (4, 14)), (Z, "z", BLUE, (6, -2))):
            p.vector(o, tuple(1.2 * e for e in v), label, c, shift, width=3 if v == axis else 1)
        p.arc(o, first, second, 0.8, 10, 78, "+", ORANGE, (4, -4))
        p.text(126 + 253 * i, 26, name, INK, 14, "middle")
        p.text(126 + 253 * i, 46, column, INK, 12, "middle")
    p.text(380, 286, "All turns are right-handed, in degrees.", INK, 13, "middle")
    return p


PICTURES = {"frames.svg": frames, "axes.svg": axes, "levels.svg": levels, "angles.svg": angles}

# ----------------------------------------------------------------------------------------------------------- text

CONVENTIONS = """# Accuracy

How exact is it? Known poses go through a simulated sensor to raw readings and back through the library; an error is the
angle of the rotation between the orientation that comes back and the true one. The tables below are what

    kor accuracy

measures in some ten seconds; the command fails when a stratum is beyond its recorded bound. To get the figures for a
sensor and a motion of your own, `kor simulate` writes a recording with its truth and `data/compare.py` compares.

## Frames, signs and units

![The tracker frame, the target point and the base](img/frames.svg)

The **tracker frame** has its origin at the tracker and z up. The **base** is the part of the sensor that does not turn with
its axes; its z is the azimuth axis. The matrix **R** takes directions of the base to the tracker frame, so its columns are
the base's x, y and z axes as the tracker sees them. Every orientation model returns R: the turns of the sensor's own two
axes are taken out again.

![Azimuth and elevation](img/axes.svg)

The two axes are no free quantities: they turn so that the sensor looks at the tracker. The stage that azimuth turns
carries the levels.

![The levels](img/levels.svg)

| Quantity | Where | Unit | Sign |
|---|---|---|---|
| position | `sensorVector` | mm | tracker frame |
| azimuth | `azimuthRaw`, `azimuth` | degrees | right-handed about the base's z; in mode 3 the other way. Zero where the reading is the encoder offset |
| elevation | `elevationRaw`, `elevation` | degrees | grows as the sight turns towards the base's z (it rises; in mode 9, whose base hangs, it sinks); in mode 3 the other way |
| encoder offset | `setEncoderOffset` | radians; degrees in the parameter file | subtracted from the angle |
| level X, level Y | `levelXRaw`, `levelYRaw` | of their table | as drawn, after correction |
| corrected levels | `levelX`, `levelY` | degrees | (table(reading) - tilt offset) (gain t + offset), t = `levelTemperature` |
| temperatures | `temperatureCount` | 1/41920 | 24-bit two's complement |
| time stamp | `timeStampMs` | ms | wraps at 2^32 |
| orientation | `orientationAngles` | degrees | right-handed, below |

In modes 5 and 6 level X is a numerator that the engine divides by level Y, and has no part in the orientation; in modes 3,
4, 7 and 8 it has none either.

## Angles and matrices in words

![The three orientation angles](img/angles.svg)

The three angles stand in the order x, **z**, y. They make up the matrix of `ReadMatrix`:

- in machine coordinates and in modes 7 and above, M = Rx([0]) Ry([2]) Rz([1]): the base turned about the fixed x last, or
  equally about its own axes in the order x, then y, then z;
- in local coordinates (modes below 7, MCS flag off), M = Rz([1]) Ry([2]) Rx([0]).

Below mode 7, M is the machine matrix times R with the MCS flag on, and L (R Rref^-1) L^-1 with it off: the turn since the
reference in tracker axes, seen in the local frame whose matrix is L. In modes 7 and above M is R. The angle about y lies
within 90 degrees of zero below mode 7; from 7 on the angle about x does, and a base that hangs upside down shows as an angle
about y near 180 degrees. Until a reference is captured the angles are zero and the matrix is the identity.

Rx, Ry, Rz are the right-handed elementary rotations; Rz(a) = ((cos a, -sin a, 0), (sin a, cos a, 0), (0, 0, 1)).
"""


def number(value):
    return f"{value:.1e}" if value else "0"


def sentence(stratum):
    return stratum["poses"] + (f". **Inherent**: {stratum['inherent']}" if stratum["inherent"] else "")


def accuracy_section(report):
    noise = report["noise"]
    lines = ["", "## Measured", "",
             "Degrees; in the last columns the same in arc-seconds and the share of samples without a matrix. Rows marked"
             " with * show a limit of the model's formulas, which a correct implementation has; a limit that has a row of its own"
             " is left out of the others.",
             f"Noise: standard deviations of {noise['encoder_deg']} degrees on the encoders, {noise['level_deg']} degrees on the"
             f" levels, {noise['position_mm']} mm on the position."]
    mode = None
    for s in report["strata"]:
        if s["mode"] != mode:
            mode = s["mode"]
            lines += ["", f"### Mode {mode}, {s['model']}", "",
                      "| Stratum | Poses | Samples | Median | 99.9 % | Worst | Bound | Median, arcsec | 99.9 %, arcsec | Worst, arcsec |"
                      " Without |", "|---|---|---|---|---|---|---|---|---|---|---|"]
        share = 100.0 * s["without"] / s["samples"]
        lines.append(f"| {s['stratum']}{' *' if s['inherent'] else ''} | {sentence(s)} | {s['samples']} | "
                     f"{number(s['median_deg'])} | {number(s['p999_deg'])} | {number(s['worst_deg'])} | "
                     f"{number(s['worst_bound_deg'])} | {number(3600 * s['median_deg'])} | {number(3600 * s['p999_deg'])} | "
                     f"{number(3600 * s['worst_deg'])} | {share:.2g} % |")
    return lines


LIMITS = """
## Limits of the models

- **Dual level.** Where height and level Y differ in sign the error is to leading order 2 |level X| |level Y| tan|e| / cos e
  (radians, e the elevation). Where they agree the model is exact and level X has no influence at all. Target exactly level
  with the tracker: no number. A base upside down is never found.
- **Pendulum.** The search stops within 0.001 degrees. A pendulum along y is hit at once, unless it reads less than 0.001
  degrees, which is taken as zero and costs up to 0.001 / cos e; any other pendulum comes out 0.0006 to 0.001 degrees short,
  always on the same side. Vanishing height loses digits: 3e-3 degrees at 0.001 mm. Beyond 90 degrees of roll about the sight
  the other solution is taken.
- **Polarizer.** None: any orientation, right up to the vertical.
- **Three vectors.** The mirrored solution is taken beyond 90 degrees of roll about the sight. In mode 7 the error is
  2 tan|e| times the cosine between sight and level axis: it takes a sensor whose sight is square to its level.
- **Two levels.** The first call of a process gives zeros, the next four no matrix, and right results come from the 16th
  on. The filters look back two samples, the level channel three. The seven-point acceleration turns noise of the position
  into tilt: 0.01 mm into some 0.05 degrees. Both levels' solutions are averaged by their angles; where one of these passes
  180 degrees the mean is up to a quarter turn away. The base has to stand as the parity says: z down in mode 9, up in
  mode 10.

## Error budget

How far the base turns, in arc-seconds about the tracker's x, y and z, when one input changes by its unit: what an
uncertainty statement multiplies with each input's own uncertainty. At a target point 3.7 m away, the base tilted by 5 degrees,
for a sensor with plausible parameters; `kor accuracy --budget --prm DIR --id N --pose X,Y,Z,ROLL,PITCH,YAW` gives the same
for yours. Inputs that weigh less than 0.001 arc-seconds per unit are left out. The last column is what the numerical
differentiation leaves open."""


def budget_section(report):
    lines = [LIMITS]
    for budget in report["budgets"]:
        if budget["mode"] not in (1, 4, 5, 8, 10):
            continue
        lines += ["", f"### Mode {budget['mode']}, {budget['model']}", "", "| Input | Unit | Value | About x | About y | About z |"
                  " +- |", "|---|---|---|---|---|---|---|"]
        for i in budget["inputs"]:
            if math.hypot(i["x"], i["y"], i["z"]) < 1e-3:
                continue
            lines.append(f"| {i['input']} | {i['unit']} | {i['value']:.6g} | {i['x']:.4g} | {i['y']:.4g} | {i['z']:.4g} | "
                         f"{number(i['uncertainty'])} |")
    return lines


def document(kor, kept):
    def report(*arguments):
        done = subprocess.run([kor, "accuracy", "--json", *arguments], capture_output=True, text=True)
        if done.returncode != 0:
            raise SystemExit(done.stderr)
        return json.loads(done.stdout)

    lines = [CONVENTIONS.rstrip("\n")] + accuracy_section(report()) + budget_section(report("--budget"))
    lines += ["", "## Against exact arithmetic", "", BEGIN + kept + END, "",
              "---", "", "Made by `docs/make_accuracy.py`."]
    return "\n".join(lines) + "\n"


# ----------------------------------------------------------------------------------------------------- comparison

NUMBER = re.compile(r"-?\d+(?:\.\d+)?(?:e[-+]?\d+)?")


def same_size(a, b):
    """Measured figures move with the C library's last bits: a factor of five, or next to nothing."""
    if a == b or max(abs(a), abs(b)) < 1e-9:
        return True
    return a * b > 0 and 0.2 < a / b < 5.0


def differences(wanted, got):
    """Lines that differ in more than the size of their figures."""
    wanted, got = wanted.split("\n"), got.split("\n")
    if len(wanted) != len(got):
        return [f"{len(got)} lines, stored {len(wanted)}"]
    found = []
    for at, (a, b) in enumerate(zip(wanted, got), start=1):
        if a == b:
            continue
        cells_a, cells_b = a.split("|"), b.split("|")
        measured = len(cells_a) in (9, 13) and len(cells_a) == len(cells_b)
        # Names, poses and bounds have to be the same; what was measured, of the same size.
        free = {4, 5, 6, 8, 9, 10} if len(cells_a) == 13 else {4, 5, 6, 7}
        for i, (x, y) in enumerate(zip(cells_a, cells_b)):
            if x == y:
                continue
            numbers = [NUMBER.fullmatch(c.strip()) for c in (x, y)]
            last = i == 7 and len(cells_a) == 9    # what differentiation leaves is noise
            if not (measured and i in free and all(numbers) and (last or same_size(float(x), float(y)))):
                found.append(f"line {at}: {y.strip()}, stored {x.strip()}")
    return found


def main():
    parser = argparse.ArgumentParser(description="Makes docs/accuracy.md and its pictures.")
    parser.add_argument("kor", help="the program")
    parser.add_argument("--check", action="store_true", help="compare with what is stored, write nothing")
    arguments = parser.parse_args()
    page = DOCS / "accuracy.md"
    stored = page.read_text() if page.exists() else ""
    kept = stored.split(BEGIN)[1].split(END)[0] if BEGIN in stored else "\n"
    text = document(arguments.kor, kept)
    pictures = {name: draw().svg() for name, draw in PICTURES.items()}
    if not arguments.check:
        page.write_text(text)
        (DOCS / "img").mkdir(exist_ok=True)
        for name, svg in pictures.items():
            (DOCS / "img" / name).write_text(svg)
        return 0
    found = differences(stored, text)
    found += [f"img/{name} is not what its code draws" for name, svg in pictures.items()
              if (DOCS / "img" / name).read_text() != svg]
    print("\n".join(found) or "the page is what is measured")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
