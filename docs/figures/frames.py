#!/usr/bin/env python3
"""Draws the pictures of docs/frames.md.

    docs/figures/frames.py [FOLDER]     into docs/img, or into FOLDER
"""
from scene import (ANGLE, BASE, BLUE, FAINT, GREEN, HEAD, INK, LEVEL, O, RED, SOFT, STAGE, X, Y, Z, Picture, Sensor, add,
                   dot, looking, main, plumb, product, times, times_matrix, tracker, turn, unit, vial)
import math


def frames():
    p = Picture(760, 470, "Tracker frame, target point, base and matrix R")
    v = p.view(350, 318, 76, side=-72, lift=22, distance=16, centre=(2.0, 1.2, 0.2))
    target = (3.9, 2.9, 1.55)
    base = product(turn(unit((1.0, -0.4, 0.0)), 9), turn(Z, -22))
    foot = (target[0], target[1], 0.0)
    flat = unit(foot)
    v.angle(O, X, flat, 1.6, fill=ANGLE)
    v.angle(O, flat, unit(target), 3.3, fill=ANGLE)
    tracker(v, O, 0.8)
    v.frame(O, (X, Y, Z), 2.1, ("x", "y", "z, up"), shifts=((4, 14), (-4, -9), (7, 2)))
    v.dashed(O, foot, target)
    sensor = looking(target, base, X)
    sensor.draw(v, 1.25)
    v.line(O, target, colour=INK, width=1.0)
    v.vector(O, times(unit(target), 1.9), INK, 3.0, 12)
    v.label(times(unit(target), 1.9), "u = P / |P|", -34, -16)
    v.label(times(unit(add(X, flat)), 1.6), "bearing", 8, 12, ANGLE)
    v.label(times(unit(add(flat, unit(target))), 3.3), "elevation of u", -7, 22, ANGLE, 13, "end")
    v.frame(target, base, 1.85, ("base x", "base y", "base z:"), width=2.8, shifts=((-2, 19), (-10, -10), (8, 4)))
    x, y = v.at(add(target, base[2], 1.85))
    p.text(x + 8, y + 20, "azimuth axis", BLUE)
    v.note(add(add(target, sensor.head[2], 0.31), sensor.head[1], 0.2), "head", 452, 148, INK, 12.5, "end")
    v.note(add(add(target, base[2], -0.45), sensor.axis, -0.42), "stage", 640, 276, INK, 12.5)
    v.note(add(add(target, base[2], -1.12), sensor.stage[0], 0.6), "base", 640, 302, INK, 12.5)
    v.note(target, "target point P", 628, 372)
    p.text(628, 390, "sensorVector, mm", SOFT, 12)
    p.text(20, 28, "Tracker frame", INK, 14, weight="bold")
    p.text(20, 47, "origin at the tracker, z up; positions in mm", SOFT, 12.5)
    p.text(740, 28, "Matrix R: base to tracker frame", INK, 14, "end", weight="bold")
    p.text(740, 47, "its columns are base x, base y and base z", SOFT, 12.5, "end")
    p.text(20, 454, "Not to scale: the beam is metres long, the sensor fits in a hand.", SOFT, 12)
    return p


def axes():
    p = Picture(760, 480, "The two axes and their positive senses")
    for left, sight, modes in ((0, X, "Modes 1 to 4"), (380, Y, "Modes 5 to 10")):
        name = "x" if sight == X else "y"
        p.text(left + 190, 26, f"{modes}: the sight starts along {name}", INK, 14, "middle", "bold")
        v = p.view(left + 142, 246, 108, side=-58 if sight == X else 32, lift=24, distance=9, centre=(0, 0, -0.1))
        s = Sensor(O, (X, Y, Z), 38, 24, sight)
        # The base's axes lie in the plane of its upper face.
        low = (0.0, 0.0, -0.82)
        side = Y if sight == X else times(X, -1.0)
        v.dashed(low, add(low, s.rest, 1.25))
        v.vector(low, add(low, X, 1.3), RED, 1.6, 8)
        v.vector(low, add(low, Y, 1.3), GREEN, 1.6, 8)
        v.arc(low, sight, side, 1.05, 38, arrow=True, width=2.4)
        s.draw(v, 1.0)
        v.label(add(low, X, 1.3), "base x", -6 if sight == X else -22, 18 if sight == X else 18, RED)
        v.label(add(low, Y, 1.3), "base y", 6, 2 if sight == X else 14, GREEN)
        v.label(add(low, s.rest, 1.05), "azimuth +", 8, 4, ANGLE)
        v.vector(O, (0, 0, 1.25), BLUE, 2.4)
        v.label((0, 0, 1.25), "base z: azimuth axis", 8, 4, BLUE)
        far = 1.0 if sight == X else -1.0
        v.dashed(add(O, s.axis, -0.75 * far), add(O, s.axis, 1.5 * far))
        v.label(add(O, s.axis, 1.5 * far), "elevation axis", 2, -8, SOFT, 12.5, "end")
        v.dashed(O, times(s.rest, 1.6))
        v.vector(O, times(s.sight, 1.75), INK, 3.0, 12)
        v.label(times(s.sight, 1.75), "sight", -2, -10)
        v.angle(O, s.rest, s.sight, 1.35, width=2.4)
        v.label(times(unit(add(s.rest, s.sight)), 1.38), "elevation +", 6, 8, ANGLE)
    p.text(20, 414, "The sight points away from the tracker: both axes turn until it runs along the beam.", INK, 12.5)
    p.text(20, 434, "Azimuth is right-handed about base z. Elevation grows as the sight turns towards base z.", INK, 12.5)
    p.text(20, 454, "In mode 3 both angles count the other way. In mode 9 the base hangs: base z points down.", INK, 12.5)
    return p


def levels():
    p = Picture(760, 640, "Positive readings of the levels")
    tilt = 17.0

    def panel(column, row, modes, words, axis, about, degrees, name, colour, roll=False):
        left, top = 253 * column, 318 * row
        p.box(left + 8, top + 8, 240, 302, "#ffffff")
        p.text(left + 128, top + 32, modes, INK, 13.5, "middle", "bold")
        v = p.view(left + 128, top + 168, 72, side=-52, lift=29, distance=8)
        ring = [(1.25 * math.cos(t), 1.25 * math.sin(t), 0.0) for t in (2 * math.pi * i / 72 for i in range(73))]
        p.path([v.at(q) for q in ring], FAINT, 1, fill="#eef1f3")
        if roll:
            # The head, rolled about its line of sight.
            attitude = turn(Y, degrees)
            v.vector(add(O, Y, -1.2), add(O, Y, -0.45), INK, 2.2)
            v.box(O, attitude, (0.33, 0.42, 0.24), HEAD)
            v.build()
            v.vector(add(O, Y, 0.42), add(O, Y, 1.35), INK, 2.6)
            v.label(add(O, Y, 1.35), "sight, y", -8, 22)
            v.dashed(O, times(Z, 1.1))
            v.vector(O, times(attitude[2], 1.15), BLUE, 2.2)
            v.label(times(attitude[2], 1.15), "z", 6, 2, BLUE)
            v.arc(O, Z, X, 0.85, degrees, width=2.2)
            v.label(times(unit(add(Z, attitude[2])), 0.85), "roll +", -4, -14, ANGLE, 13, "end")
        else:
            attitude = turn(about, degrees)
            plate = [add(add(O, attitude[0], i * 0.85), attitude[1], j * 0.85) for i, j in
                     ((-1, -1), (1, -1), (1, 1), (-1, 1))]
            v.face(plate, STAGE, alpha=0.85)
            v.dashed(O, times(axis, 1.45))
            vial(v, add(O, attitude[2], 0.06), times_matrix(attitude, axis), Z, 0.34, 0.055)
            tip = times(times_matrix(attitude, axis), 1.45)
            v.vector(O, tip, colour, 2.8, 11)
            v.label(tip, name, -4 if dot(v.right, axis) < 0.8 else 0, 18 if tip[2] < 0 else -9, colour, 13,
                    "middle" if dot(v.right, axis) > 0 else "middle")
            v.angle(O, axis, tip, 1.22, width=2.2)
            plumb(v, times(Z, 0.0), 1.0, "")
            v.label((0, 0, -1.0), "gravity", 8, 0, SOFT, 12)
        for i, line in enumerate(words):
            p.text(left + 128, top + 276 + 18 * i, line, INK, 12.5, "middle")

    panel(0, 0, "Modes 1, 2: level X", ("positive: the stage's x axis dips", "on the side of the sight"), X, Y, tilt,
          "stage x", RED)
    panel(1, 0, "Modes 1, 2: level Y", ("positive: the elevation axis,", "the stage's y, rises"), Y, X, tilt,
          "stage y", GREEN)
    panel(2, 0, "Modes 3, 4: level Y", ("positive: the pendulum direction", "rises; in mode 3 it sinks"), Y, X, tilt,
          "p, near stage y", LEVEL)
    panel(0, 1, "Modes 5, 6: level Y", ("positive: roll about the sight,", "clockwise seen from the tracker"), Z, Y, 24,
          "", BLUE, True)
    panel(1, 1, "Mode 7: level Y", ("positive: axis l of the level,", "near stage x, rises"), X, Y, -tilt, "axis l", LEVEL)
    panel(2, 1, "Mode 8: Y; modes 9, 10: X, Y", ("positive: axis l of the level dips", "(mode 9: while the base hangs)"), X,
          Y, tilt, "axis l", LEVEL)
    return p


def angles():
    p = Picture(760, 330, "The three orientation angles")
    panels = (("orientationAngles[0]", "orientationX_deg", "about x", X, RED),
              ("orientationAngles[1]", "orientationZ_deg", "about z", Z, BLUE),
              ("orientationAngles[2]", "orientationY_deg", "about y", Y, GREEN))
    for i, (name, column, words, axis, colour) in enumerate(panels):
        left = 253 * i
        p.box(left + 8, 8, 240, 280, "#ffffff")
        p.text(left + 128, 32, name, INK, 13.5, "middle", "bold")
        p.text(left + 128, 52, f"{column}: turn {words}", SOFT, 12, "middle")
        v = p.view(left + 122, 192, 74, side=38, lift=24, distance=8)
        for e in (X, Y, Z):
            v.dashed(O, times(e, 1.3))
        m = turn(axis, 28)
        v.box(times_matrix(m, (0.0, 0.0, 0.0)), m, (0.42, 0.30, 0.14), HEAD)
        v.build()
        for e, name, tint, shift in zip(m, ("x", "y", "z"), (RED, GREEN, BLUE), ((-4, 17), (4, 14), (6, 0))):
            about = e == axis or dot(e, axis) > 0.999
            v.vector(O, times(e, 1.4 if about else 1.25), tint, 3.6 if about else 1.8, 12 if about else 9)
            shift = (-16, 2) if name == "z" and axis == Y else shift
            v.label(times(e, 1.4 if about else 1.25), name, *shift, colour=tint)
        first, second = {X: (Y, Z), Y: (Z, X), Z: (X, Y)}[axis]
        v.arc(O, first, second, 1.08, 28, width=2.4)
        middle = add(times(first, math.cos(math.radians(14))), second, math.sin(math.radians(14)))
        v.label(times(middle, 0.82), "+", -5, 5, ANGLE, 15, weight="bold")
    p.text(380, 314, "Each turn is right-handed: thumb along the axis, fingers along the arrow. Mind the order: x, z, y.",
           INK, 12.5, "middle")
    return p


def matrix():
    p = Picture(760, 470, "How the orientation matrix is read")
    v = p.view(158, 270, 84, side=55, lift=25, distance=9)
    base = product(product(turn(Z, 35), turn(Y, 15)), turn(X, -10))
    v.frame(O, (X, Y, Z), 1.55, ("x", "y", "z, up"), width=1.3, shifts=((-10, 15), (3, 15), (6, 0)))
    v.box(O, base, (0.42, 0.30, 0.14), BASE)
    v.build()
    v.frame(O, base, 1.4, ("base x", "base y", "base z"), width=3.0, shifts=((-22, 19), (-4, -10), (-56, -4)))
    p.text(20, 28, "The base in the tracker frame", INK, 14, weight="bold")
    p.text(20, 47, "yaw 35, pitch 15, roll \u221210 degrees", SOFT, 12.5)
    left, top, wide, high = 420, 112, 92, 52
    p.text(332, 28, "R takes directions of the base to the tracker frame", INK, 14, weight="bold")
    p.text(332, 47, "each column is one axis of the base, written in tracker x, y, z", SOFT, 12.5)
    for column, (name, colour, fill) in enumerate((("base x", RED, "#fbeee6"), ("base y", GREEN, "#e6f4ef"),
                                                   ("base z", BLUE, "#e6eff6"))):
        p.box(left + column * (wide + 8), top, wide, 3 * high, fill, colour)
        p.text(left + column * (wide + 8) + wide / 2, top - 12, name, colour, 14, "middle", "bold")
        for row in range(3):
            x, y = left + column * (wide + 8) + wide / 2, top + row * high
            p.text(x, y + 25, f"{base[column][row]:.3f}".replace("-", "\u2212"), INK, 15, "middle")
            p.text(x, y + 43, f"m{row}{column}, index {3 * row + column}", SOFT, 11, "middle")
    for row, name in enumerate(("x", "y", "z")):
        p.text(left - 14, top + row * high + 31, f"tracker {name}", INK, 13, "end")
    y = top + 3 * high + 34
    p.text(332, y, "In memory the rows follow each other:", INK, 13)
    for i in range(9):
        colour = (RED, GREEN, BLUE)[i % 3]
        p.box(332 + i * 45, y + 12, 43, 28, ("#fbeee6", "#e6f4ef", "#e6eff6")[i % 3], colour)
        p.text(332 + i * 45 + 21.5, y + 31, f"m{i // 3}{i % 3}", INK, 12.5, "middle")
    p.text(332, y + 70, "A direction of the base becomes one of the tracker frame:", INK, 13)
    d = (1.0, 0.0, 0.0)
    w = times_matrix(base, d)
    minus = "\u2212"
    p.text(332, y + 92, "R (1, 0, 0) = (" + ", ".join(f"{c:.3f}".replace("-", minus) for c in w) + "), the first column.",
           INK, 13)
    p.text(332, y + 122, "The way back is the transposed matrix: a row of R is", INK, 13)
    p.text(332, y + 140, "one axis of the tracker frame, written in base x, y, z.", INK, 13)
    return p


PICTURES = {"frames.svg": frames, "axes.svg": axes, "levels.svg": levels, "angles.svg": angles, "matrix.svg": matrix}

if __name__ == "__main__":
    main(PICTURES)
