#!/usr/bin/env python3
"""Draws the pictures of docs/mount-modes.md: the geometry of each orientation model.

    docs/figures/modes.py [FOLDER]     into docs/img, or into FOLDER
"""
import math

from scene import (ANGLE, BLUE, FAINT, GLASS, GREEN, INK, LEVEL, O, RED, SOFT, X, Y, Z, Picture, add, cross, dot,
                   looking, main, plumb, product, shaded, times, times_matrix, tracker, transposed, turn, turned, unit,
                   vial)


def direction(bearing, elevation):
    """A unit vector, from its bearing and elevation in degrees."""
    b, e = math.radians(bearing), math.radians(elevation)
    return (math.cos(e) * math.cos(b), math.cos(e) * math.sin(b), math.sin(e))


def scene(p, sight, base, u, x=300, y=215, scale=104, side=None, lift=20, far=2.9):
    """The sensor in the middle of its scene, the tracker at its left, the beam along u."""
    side = side if side is not None else (-58 if sight == X else 32)
    v = p.view(x, y, scale, side=side, lift=lift, distance=11)
    start = times(u, -far)
    tracker(v, start, 0.55)
    v.line(start, O, colour=INK, width=1.0)
    sensor = looking(O, base, sight, u)
    return v, sensor, start


def beam(v, u, start, words="u", length=1.45, shift=(2, -9), under=74):
    """The line of sight beyond the target point, and the tracker's name."""
    v.vector(O, times(u, length), INK, 3.0, 12)
    v.label(times(u, length), words, *shift)
    v.label(start, "tracker", 0, under, SOFT, 12, "middle")


def between(a, b):
    """The angle between two unit vectors, degrees."""
    return math.degrees(math.acos(dot(a, b)))


def mirror_image(sight, axis, down):
    """The other direction that makes the same angles with the sight and with a level axis as gravity does."""
    normal = unit(cross(sight, axis))
    return add(down, normal, -2.0 * dot(down, normal))


def dual_level():
    p = Picture(760, 420, "Dual level: modes 1 and 2")
    base = product(turn(unit((0.8, -0.6, 0.0)), 13), turn(Z, -12))
    u = direction(14, 13)
    v, s, start = scene(p, X, base, u)
    s.draw(v)
    for axis, place, words, colour, shift in ((s.stage[1], (0.20, 0.34), "level Y: stage y", GREEN, (8, 14)),
                                              (s.stage[0], (0.60, -0.12), "level X: stage x", RED, (-10, 19))):
        middle = add(add(add(O, s.stage[2], -0.58), s.stage[0], place[0]), s.stage[1], place[1])
        v.vector(middle, add(middle, axis, 0.85), colour, 2.2, 9)
        vial(v, middle, axis, base[2], 0.2, 0.05)
        v.label(add(middle, axis, 0.85), words, *shift, colour=colour)
    v.dashed(O, times(Z, 1.65))
    v.label(times(Z, 1.65), "vertical", 7, 4, SOFT, 12.5)
    v.vector(O, times(base[2], 1.55), BLUE, 2.6)
    v.label(times(base[2], 1.55), "base z", -8, 2, BLUE, 13, "end")
    v.angle(O, Z, base[2], 1.3, width=2.2)
    v.label(times(Z, 1.3), "tilt", 7, 4, ANGLE, 13)
    beam(v, u, start, shift=(8, -4))
    p.text(20, 28, "Dual level: modes 1 and 2", INK, 15, weight="bold")
    p.text(20, 398, "Both levels ride on the stage. Together they give base z; the beam gives the rest.", INK, 12.5)
    left, top = 560, 140
    p.text(left + 90, top - 62, "Where it is exact", INK, 13.5, "middle", "bold")
    for i, words in enumerate(("level Y < 0", "level Y > 0")):
        p.text(left + 45 + 92 * i, top - 14, words, GREEN, 12, "middle")
    p.text(left + 90, top - 36, "height of P, and", SOFT, 12, "middle")
    for row, words in enumerate(("above", "below")):
        p.text(left - 8, top + 38 + 64 * row, words, INK, 12, "end")
        for column in range(2):
            exact = (row == 0) == (column == 1)
            p.box(left + 92 * column, top + 64 * row, 88, 60, "#e6f4ef" if exact else "#fbeee6",
                  GREEN if exact else RED)
            p.text(left + 44 + 92 * column, top + 35 + 64 * row, "exact" if exact else "approximate",
                   GREEN if exact else RED, 12.5, "middle", "bold" if exact else "normal")
    p.text(left + 90, top + 152, "P above or below", SOFT, 12, "middle")
    p.text(left + 90, top + 168, "the tracker's height", SOFT, 12, "middle")
    return p


def pendulum():
    p = Picture(760, 420, "Pendulum: modes 3 and 4")
    base = product(turn(unit((0.9, -0.3, 0.0)), 15), turn(Z, -10))
    u = direction(10, 12)
    v, s, start = scene(p, X, base, u, x=285, scale=106)
    # The pendulum's direction near the elevation axis, fixed to the stage: azimuth 3, elevation 2 degrees, drawn larger.
    at = direction(90.0 - 9.0, 5.0)
    arm = times_matrix(s.stage, at)
    flat = unit((arm[0], arm[1], 0.0))
    v.circle(O, Z, 1.5, fill="#eef1f3")
    s.draw(v)
    v.dashed(O, times(flat, 1.6))
    v.label((-0.75, -1.3, 0.0), "horizontal plane", 10, 32, SOFT, 12, "middle")
    v.dashed(times(s.axis, -0.7), times(s.axis, 1.75), colour=GREEN)
    v.label(times(s.axis, 1.75), "elevation axis", -8, -8, GREEN, 12.5, "end")
    v.vector(O, times(arm, 1.75), LEVEL, 3.0, 12)
    v.label(times(arm, 1.75), "pendulum p", 8, 0, LEVEL)
    v.angle(O, flat, arm, 1.45, width=2.4)
    v.label(times(unit(add(flat, arm)), 1.45), "level Y", 8, 6, ANGLE)
    v.vector(O, times(base[2], 1.4), BLUE, 2.2)
    v.label(times(base[2], 1.4), "base z", -8, -2, BLUE, 13, "end")
    v.angle(O, u, s.axis, 0.72, width=1.8, arrow=False)
    v.note(times(unit(add(times(u, 3.0), s.axis)), 0.72), "90\u00b0 + Scale Factor 1", 400, 292, ANGLE)
    beam(v, u, start, shift=(8, 4))
    p.text(20, 28, "Pendulum: modes 3 and 4", INK, 15, weight="bold")
    p.text(20, 398, "The stage is rolled about the beam until its pendulum stands as steep as level Y says.", INK, 12.5)
    # Along the beam: the pendulum's direction runs round a circle; at two places it has the elevation measured.
    cx, cy, r = 646, 218, 74
    p.text(cx, 92, "Seen along the beam", INK, 13.5, "middle", "bold")
    ring = [(cx + r * math.cos(t), cy + r * math.sin(t)) for t in (2 * math.pi * i / 72 for i in range(73))]
    p.path(ring, FAINT, 1.2, fill="#f6f7f8")
    height = 26
    half = math.sqrt(r * r - height * height)
    p.path([(cx - r - 16, cy), (cx + r + 16, cy)], SOFT, 1.0, (4, 3))
    p.path([(cx - r - 16, cy - height), (cx + r + 16, cy - height)], ANGLE, 1.4)
    p.arrow((cx, cy), (cx - half, cy - height), LEVEL, 2.8, 11)
    p.arrow((cx, cy), (cx + half, cy - height), FAINT, 2.2, 10)
    p.text(cx - half, cy - height - 34, "taken: roll", LEVEL, 12, "middle")
    p.text(cx - half, cy - height - 18, "below 90\u00b0", LEVEL, 12, "middle")
    p.text(cx + half, cy - height - 18, "not taken", SOFT, 12, "middle")
    p.path([(cx - 4, cy - 4), (cx + 4, cy + 4)], INK, 1.6)
    p.path([(cx - 4, cy + 4), (cx + 4, cy - 4)], INK, 1.6)
    p.text(cx, cy + 22, "u, away from you", INK, 12, "middle")
    p.text(cx, cy + r + 26, "The pendulum is to the left", SOFT, 12, "middle")
    p.text(cx, cy + r + 42, "of the beam.", SOFT, 12, "middle")
    return p


def polarizer():
    p = Picture(760, 420, "Polarizer: modes 5 and 6")
    u = direction(84, 8)
    roll = 24
    level = (unit(cross(u, Z)), u, cross(unit(cross(u, Z)), u))      # x horizontal, y along the beam
    rolled = product(level, turn(Y, roll))
    # The base that goes with this roll when the axes are turned by 25 and 14 degrees.
    base = product(rolled, transposed(product(turn(Z, 25), turn(X, 14))))
    v, s, start = scene(p, Y, base, u, x=285, y=215, scale=104, side=-38, lift=16, far=1.95)
    s.draw(v)
    v.dashed(O, times(level[2], 1.5))
    v.label(times(level[2], 1.5), "no roll", -6, -4, SOFT, 12.5, "end")
    v.vector(O, times(rolled[2], 1.5), BLUE, 2.8)
    v.label(times(rolled[2], 1.5), "head z", 8, 2, BLUE)
    v.angle(O, level[2], rolled[2], 1.2, width=2.4)
    v.label(times(unit(add(level[2], rolled[2])), 1.2), "level Y: roll", -14, 2, ANGLE, 13, "end")
    beam(v, u, start, shift=(8, -4), under=92)
    p.text(20, 28, "Polarizer: modes 5 and 6", INK, 15, weight="bold")
    p.text(20, 398, "Level Y is the roll of the head about the beam itself. Gravity and the base's tilt have no part.", INK, 12.5)
    cx, cy, r = 648, 218, 74
    p.text(cx, 92, "Seen along the beam", INK, 13.5, "middle", "bold")
    ring = [(cx + r * math.cos(t), cy + r * math.sin(t)) for t in (2 * math.pi * i / 72 for i in range(73))]
    p.path(ring, shaded(GLASS, 0.7), 1.2, fill="#eaf3f8")
    p.path([(cx - r - 18, cy), (cx + r + 18, cy)], SOFT, 1.0, (4, 3))
    p.path([(cx, cy + r + 4), (cx, cy - r - 4)], SOFT, 1.0, (4, 3))

    def on(degrees, length):
        # Along the beam a right-handed turn about it runs clockwise.
        return (cx + length * math.sin(math.radians(degrees)), cy - length * math.cos(math.radians(degrees)))
    p.arrow((cx, cy), on(roll, r), BLUE, 2.8, 11)
    p.arrow((cx, cy), on(90 + roll, r), RED, 2.2, 10)
    p.text(on(roll, r)[0] + 6, on(roll, r)[1] - 6, "head z", BLUE, 12.5)
    p.text(on(90 + roll, r)[0] - 2, on(90 + roll, r)[1] + 18, "head x", RED, 12.5)
    arc = [on(roll * i / 20, 52) for i in range(21)]
    p.path(arc, ANGLE, 2.2)
    p.head(arc[-5], arc[-1], ANGLE)
    p.text(cx + 4, cy - 58, "+", ANGLE, 16, "end", "bold")
    p.text(cx, cy + r + 26, "u points away from you;", SOFT, 12, "middle")
    p.text(cx, cy + r + 42, "positive is clockwise.", SOFT, 12, "middle")
    return p


def sphere(p, x, y, sight, cones, down, title):
    """Directions as points of a sphere: circles of equal angle about sight and level axes, and where they meet."""
    v = p.view(x, y, 104, side=32, lift=-14, distance=9)
    v.ball(O, 1.0)
    v.on_ball(O, 1.0, sight, between(sight, down), INK, 1.8)
    for axis, _, colour, _ in cones:
        v.on_ball(O, 1.0, axis, between(axis, down), colour, 1.8)
    v.vector(O, times(sight, 1.32), INK, 2.4, 10)
    for axis, name, colour, shift in cones:
        v.vector(O, times(axis, 1.32), colour, 2.4, 10)
        v.label(times(axis, 1.32), name, *shift, colour=colour)
        v.dot(mirror_image(sight, axis, down), "#9aa3ab", 4.5)
    v.dot(down, ANGLE, 6.0)
    p.text(x, 76, title, INK, 13.5, "middle", "bold")
    return v


def level_axes(v, s, axes):
    """Level axes on the stage: tubes, arrows and names."""
    for axis, name, colour, shift in axes:
        w = times_matrix(s.stage, axis)
        middle = add(add(O, s.base[2], -0.60), w, 0.58)
        vial(v, middle, w, s.base[2], 0.18, 0.05)
        tip = add(add(O, s.base[2], -0.60), w, 1.35)
        v.vector(add(add(O, s.base[2], -0.60), w, 0.76), tip, colour, 2.2, 9)
        v.label(tip, name, *shift, colour=colour)


def finish_scene(p, v, s, base, u, start, title):
    """What the scenes of vectors have in common behind their level axes; gravity and sight in the stage."""
    v.vector(O, times(base[2], 1.4), BLUE, 2.2)
    v.label(times(base[2], 1.4), "base z", 6, -2, BLUE)
    plumb(v, add(O, times(s.rest, 0.95)), 0.8, "gravity")
    beam(v, u, start, "sight", 1.35, (6, -4))
    p.text(20, 28, title, INK, 15, weight="bold")
    down = times_matrix(transposed(s.stage), times(Z, -1.0))
    sight = times_matrix(transposed(s.stage), u)
    return down, sight


def three_vectors():
    p = Picture(760, 430, "Three vectors: modes 7 and 8")
    base = product(turn(unit((0.7, 0.7, 0.0)), -13), turn(Z, 12))
    u = direction(90, 20)
    v, s, start = scene(p, Y, base, u, x=250, y=225, scale=98, far=2.4)
    s.draw(v)
    level_axes(v, s, ((X, "level Y: axis l", LEVEL, (-20, 20)),))
    down, sight = finish_scene(p, v, s, base, u, start, "Three vectors: modes 7 and 8")
    w = sphere(p, 600, 230, sight, ((X, "axis l", LEVEL, (-2, 20)),), down, "Directions in the stage")
    w.label(times(sight, 1.32), "sight", 2, -8)
    w.label(down, "gravity", 10, 18, ANGLE)
    w.note(mirror_image(sight, X, down), "mirror image", 505, 112, SOFT, 12, "end")
    p.text(20, 396, "The position gives the angle between sight and gravity, the level that between axis l and gravity.", INK,
           12.5)
    p.text(20, 415, "Two directions make both angles. The one on the side of the mode's vertical is taken.", INK, 12.5)
    return p


def two_levels():
    p = Picture(760, 430, "Two levels: modes 9 and 10")
    base = product(turn(unit((0.7, 0.7, 0.0)), -12), turn(Z, 12))
    u = direction(90, 18)
    first, second = X, unit((1.0, math.tan(math.radians(50.0)), 0.0))
    v, s, start = scene(p, Y, base, u, x=250, y=225, scale=98, far=2.4)
    s.draw(v)
    level_axes(v, s, ((first, "level X: axis l1", LEVEL, (-20, 20)), (second, "level Y: axis l2", GREEN, (-18, 20))))
    down, sight = finish_scene(p, v, s, base, u, start, "Two levels: modes 9 and 10")
    w = sphere(p, 600, 230, sight, ((first, "l1", LEVEL, (-2, 20)), (second, "l2", GREEN, (8, 4))), down,
               "Directions in the stage")
    w.label(times(sight, 1.32), "sight", 2, -8)
    w.label(down, "gravity", 10, 18, ANGLE)
    w.note(mirror_image(sight, first, down), "", 505, 112, SOFT, 12, "end")
    w.note(mirror_image(sight, second, down), "mirror images", 465, 112, SOFT, 12, "end")
    p.text(20, 396, "Each level gives one orientation, as in modes 7 and 8; both are averaged. If one level leaves its table,",
           INK, 12.5)
    p.text(20, 415, "the other one goes on alone. In mode 9 the base hangs upside down.", INK, 12.5)
    return p


def two_levels_in_time():
    p = Picture(760, 470, "Two levels in time")
    p.text(20, 28, "Two levels in time", INK, 15, weight="bold")
    p.text(20, 58, "Which samples the matrix of sample n is made from (modes 9 and 10)", INK, 13.5, weight="bold")
    left, step = 250, 43
    for i in range(11):
        name = "n" if i == 10 else f"n\u2212{10 - i}"
        p.text(left + step * i + step / 2, 84, name, SOFT, 11.5, "middle")
    rows = (("acceleration", 0, 10, 5, ANGLE, "second difference of seven means"),
            ("levels", 5, 9, 7, LEVEL, "mean of five, one sample older"),
            ("position, detector", 6, 10, 8, BLUE, "mean of five"),
            ("azimuth, elevation", 8, 8, 8, INK, "two samples back"))
    for row, (name, first, last, middle, colour, words) in enumerate(rows):
        y = 96 + 34 * row
        for i in range(11):
            p.box(left + step * i + 2, y, step - 4, 24, "#ffffff")
        for i in range(first, last + 1):
            p.path([(left + step * i + 2, y), (left + step * i + step - 2, y), (left + step * i + step - 2, y + 24),
                    (left + step * i + 2, y + 24)], colour, 1.0, fill=colour, alpha=0.30)
        x = left + step * middle + step / 2
        p.path([(x, y - 2), (x, y + 26)], colour, 3.0)
        p.text(20, y + 10, name, colour, 13)
        p.text(20, y + 25, words, SOFT, 11.5)
    p.text(left, 248, "The bar is the instant that the value stands for.", SOFT, 12)
    # A level jumps from 0 to 1 at sample 0: what the solve gets, in both versions of the model.
    p.text(20, 284, "A step of the levels, and what the solve gets", INK, 13.5, weight="bold")
    x0, y0, wide, high, most = 70, 430, 470, 120, 500
    p.path([(x0, y0 - high - 8), (x0, y0), (x0 + wide + 10, y0)], SOFT, 1.0)
    for share in (0.0, 0.5, 1.0):
        p.text(x0 - 8, y0 - high * share + 4, f"{100 * share:.0f} %", SOFT, 11.5, "end")
    for n in range(0, most + 1, 100):
        p.path([(x0 + wide * n / most, y0), (x0 + wide * n / most, y0 + 4)], SOFT, 1.0)
        p.text(x0 + wide * n / most, y0 + 18, str(n), SOFT, 11.5, "middle")
    p.text(x0 + wide + 14, y0 + 18, "samples", SOFT, 11.5)

    def curve(value, colour):
        p.path([(x0 + wide * n / most, y0 - high * value(n)) for n in range(most + 1)], colour, 2.4)
    second = [min(1.0, 0.2 * n) for n in range(most + 1)]
    first, smooth = [], 0.0
    for n in range(most + 1):
        smooth += (min(1.0, (n + 1) / 80.0) - smooth) * 0.006
        first.append(smooth)
    curve(lambda n: second[n], GREEN)
    curve(lambda n: first[n], RED)
    p.text(x0 + 14, y0 - high - 10, "second version (modes 9 and 10): 5 samples", GREEN, 12.5)
    n = next(n for n in range(most + 1) if first[n] >= 0.5)
    y = y0 - high * first[n]
    p.path([(x0 + wide * n / most, y), (x0 + wide * n / most, y0)], RED, 1.0, (4, 3))
    p.text(x0 + wide * n / most + 8, y + 20, "first version (class CKorThreeVec2Level,", RED, 12.5)
    p.text(x0 + wide * n / most + 8, y + 37, f"no mount mode): half after {n} samples", RED, 12.5)
    return p


def detector():
    p = Picture(760, 400, "The position-sensitive detector")
    p.text(20, 28, "The position-sensitive detector, modes 7 to 10", INK, 15, weight="bold")
    v = p.view(190, 200, 116, side=-52, lift=20, distance=9)
    half = (0.62, 0.85, 0.55)

    def corner(i, j, k):
        return (i * half[0], j * half[1], k * half[2])
    # The head as a frame, its window to the tracker, the detector inside behind it.
    for a in ((-1, 1), (1, 1), (-1, -1), (1, -1)):
        v.dashed(corner(a[0], -1, a[1]), corner(a[0], 1, a[1]))
        v.dashed(corner(a[0], a[1], -1), corner(a[0], a[1], 1))
        v.dashed(corner(-1, a[0], a[1]), corner(1, a[0], a[1]))
    plate = 0.55
    v.face([(-0.4, plate, -0.4), (0.4, plate, -0.4), (0.4, plate, 0.4), (-0.4, plate, 0.4)], GLASS, shade=False)
    v.line((-0.4, plate, 0.0), (0.4, plate, 0.0), colour=INK, width=0.8)
    v.line((0.0, plate, -0.4), (0.0, plate, 0.4), colour=INK, width=0.8)
    v.circle((0.0, -half[1], 0.0), Y, 0.36, fill="#eaf3f8", colour=shaded(GLASS, 0.6))
    spot = (0.2, plate, 0.15)
    v.line((0.2, -1.9, 0.15), spot, colour=RED, width=1.6)
    v.dot(spot, RED, 5.0)
    v.dashed((0.0, -1.9, 0.0), (0.0, 1.0, 0.0))
    v.vector((0.0, 0.85, 0.0), (0.0, 1.75, 0.0), INK, 2.6, 11)
    v.label((0.0, 1.75, 0.0), "sight, near y", 8, 4)
    v.note(spot, "spot: reading a, b", 250, 84, RED)
    v.note((-0.36, -half[1], 0.0), "window", 62, 108, INK, 12)
    v.note((0.3, plate, -0.36), "detector", 345, 268, INK, 12)
    v.label((0.2, -1.9, 0.15), "beam", -10, -10, RED)
    v.frame((1.15, -0.9, -0.45), (X, Y, Z), 0.5, ("x", "y", "z"), 1.8, ((4, 10), (4, 2), (4, 0)), 12.5)
    # What the reading does to the sight: real coefficients, and the angles that they give.
    cx, cy, per = 590, 190, 620
    p.text(cx, 66, "The sight at elevation 0, seen along it", INK, 13.5, "middle", "bold")
    p.arrow((cx - 110, cy), (cx + 122, cy), RED, 1.6)
    p.text(cx + 112, cy + 20, "angle 1, to x", RED, 12.5, "middle")
    p.arrow((cx, cy + 95), (cx, cy - 100), BLUE, 1.6)
    p.text(cx + 8, cy - 92, "angle 2, to z", BLUE, 12.5)
    a, b = 0.06, 0.04
    a0, a1, a2, b0, b1, b2 = 0.01, 1.2, 0.1, 0.0, 1.0, 0.1
    first, second = (-0.07, 0.06), None
    second = (first[0] + a0 + a1 * a + a1 * a2 * b, first[1] - (b0 + b1 * b + b1 * b2 * a))
    points = [(cx + per * x * 1.2, cy - per * y * 1.2) for x, y in (first, second)]
    p.arrow(points[0], points[1], ANGLE, 2.4, 10)
    for (x, y), colour in zip(points, (INK, ANGLE)):
        p.path([(x + 4.5 * math.cos(t), y + 4.5 * math.sin(t)) for t in (math.pi * i / 12 for i in range(24))], None, 0,
               fill=colour)
    p.text(points[0][0] - 6, points[0][1] - 12, "block QVC", INK, 12.5, "middle")
    p.text(points[1][0] + 10, points[1][1] - 4, "of this sample", ANGLE, 12.5)
    p.text(cx, 322, "angle 1 + A0 + A1 a + A1 A2 b", INK, 13, "middle")
    p.text(cx, 344, "angle 2 \u2212 (B0 + B1 b + B1 B2 a)", INK, 13, "middle")
    p.text(20, 384, "a and b are the two numbers of setPSDParameters, each divided by the third one.", INK, 12.5)
    return p


def directions():
    p = Picture(760, 420, "Sight, elevation axis and level axes in the stage")
    p.text(20, 28, "Directions in the stage, modes 7 to 10", INK, 15, weight="bold")

    def tangent(degrees):
        return math.tan(math.radians(degrees))

    def panel(x, side, title, shifts):
        p.text(x, 62, title, INK, 13.5, "middle", "bold")
        v = p.view(x, 220, 112, side=side, lift=33, distance=9)
        v.frame(O, (X, Y), 1.5, ("stage x", "stage y"), 1.3, shifts, 12.5)
        v.vector(O, times(Z, 0.95), BLUE, 1.3)
        v.label(times(Z, 0.95), "stage z", 8, 4, BLUE, 12.5)
        return v

    def tilted(v, along, first, second, angles, colour):
        """A direction with two tangents: along one axis, leaning to a second and rising to a third."""
        length = 1.35
        flat, steep = add(along, first, tangent(angles[0])), add(along, second, tangent(angles[1]))
        tip = add(flat, second, tangent(angles[1]))
        v.angle(O, along, flat, 0.95, width=2.0, fill=ANGLE)
        v.angle(O, along, steep, 0.95, width=2.0, fill=ANGLE)
        for corner in (flat, steep):
            v.dashed(O, times(corner, length), times(tip, length))
        v.vector(O, times(tip, length), colour, 2.8, 11)
        return times(tip, length), times(unit(add(along, flat)), 0.95), times(unit(add(along, steep)), 0.95)

    v = panel(160, 24, "Block QVC", ((-24, 18), (-2, 20)))
    tip, one, two = tilted(v, Y, X, Z, (20, 20), INK)
    v.label(tip, "sight at", 8, 0)
    v.label(tip, "elevation 0", 8, 16)
    v.label(one, "angle 1", -12, 24, ANGLE, 12.5)
    v.label(two, "angle 2", -26, -22, ANGLE, 12.5)
    axis = turned(X, Y, -20)
    v.angle(O, X, axis, 1.0, width=2.0, fill=ANGLE)
    v.vector(O, times(axis, 1.4), GREEN, 2.8, 11)
    v.label(times(axis, 1.4), "elevation axis", 14, -10, GREEN, 13, "end")
    v.label(times(unit(add(X, axis)), 1.0), "angle 3", -10, 4, ANGLE, 12.5, "end")
    v = panel(610, 62, "Blocks Level_X and Level_Y", ((-30, 18), (2, 18)))
    tip, one, two = tilted(v, X, Y, Z, (20, 20), LEVEL)
    v.label(tip, "axis of a level", -8, 4, LEVEL, 13, "end")
    v.label(one, "angle 1", -4, 24, ANGLE, 12.5)
    v.label(two, "angle 2", 4, -21, ANGLE, 12.5, "middle")
    second = unit((1.0, tangent(45), 0.0))
    v.vector(O, times(second, 1.35), LEVEL, 2.2, 10)
    v.label(times(second, 1.35), "angle 1 = 45\u00b0,", 8, 6, LEVEL, 12.5)
    v.label(times(second, 1.35), "as for level Y", 8, 22, LEVEL, 12.5)
    p.text(20, 382, "The sight points along (tan angle 1, 1, tan angle 2), a level axis along (1, tan angle 1, tan angle 2), the", INK, 12.5)
    p.text(20, 402, "elevation axis along (cos angle 3, 0, sin angle 3). All angles as drawn are positive.", INK, 12.5)
    return p


PICTURES = {"mode-dual-level.svg": dual_level, "mode-pendulum.svg": pendulum, "mode-polarizer.svg": polarizer,
            "mode-three-vectors.svg": three_vectors, "mode-two-levels.svg": two_levels,
            "two-levels-in-time.svg": two_levels_in_time, "detector.svg": detector, "directions.svg": directions}

if __name__ == "__main__":
    main(PICTURES)
