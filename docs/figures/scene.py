"""Scenes in three dimensions, seen in perspective, drawn as SVG that is the same to the byte each time.

The calculations stand here; matplotlib puts lines, areas and words on the paper. Lengths of a picture are CSS pixels, y
downwards. Solids are convex: of each, the faces turned to the eye are drawn, and the solids themselves from back to front.
"""
import io
import math
import pathlib
import re
import sys

import matplotlib

import matplotlib.figure
import matplotlib.patches
import matplotlib.patheffects

# The same bytes each time, and letters as outlines, so that no font has to be there.
SETTINGS = {"svg.hashsalt": "kor", "svg.fonttype": "path", "font.family": "DejaVu Sans", "path.simplify": False}

# Told apart by colour-blind eyes, and in print by brightness: Okabe and Ito's colours, darkened for white paper.
INK, SOFT, FAINT, PAPER = "#1a1a1a", "#6b6b6b", "#c4c8cc", "#ffffff"
RED, GREEN, BLUE = "#c24a00", "#007a58", "#0060a0"     # axes x, y, z, of every frame
ANGLE, LEVEL = "#8a2379", "#946200"                    # angles; level axes and what levels measure
BASE, STAGE, HEAD, GLASS = "#aab4bd", "#d3e3ee", "#f1e3c2", "#6fa8c9"

PATH, LONG = re.compile(r' d="[^"]*"'), re.compile(r"-?\d+\.\d+")

X, Y, Z, O = (1.0, 0.0, 0.0), (0.0, 1.0, 0.0), (0.0, 0.0, 1.0), (0.0, 0.0, 0.0)



def short(number):
    """A number with at most two decimals."""
    text = f"{number:.2f}".rstrip("0").rstrip(".")
    return "0" if text == "-0" else text


# ------------------------------------------------------------------------------------------------- vectors, matrices

def add(a, b, factor=1.0):
    return tuple(p + factor * q for p, q in zip(a, b))


def times(a, factor):
    return tuple(factor * p for p in a)


def dot(a, b):
    return sum(p * q for p, q in zip(a, b))


def cross(a, b):
    return (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])


def unit(a):
    return times(a, 1.0 / math.sqrt(dot(a, a)))


def turned(v, axis, degrees):
    """Right-handed turn of a vector about a unit vector."""
    c, s = math.cos(math.radians(degrees)), math.sin(math.radians(degrees))
    w, d = cross(axis, v), dot(axis, v)
    return tuple(v[i] * c + w[i] * s + axis[i] * d * (1 - c) for i in range(3))


def turn(axis, degrees):
    """Right-handed turn about a unit vector, as the columns of its matrix."""
    return tuple(turned(v, axis, degrees) for v in (X, Y, Z))


def times_matrix(m, v):
    """The matrix with the columns m, times a vector."""
    return tuple(sum(m[i][row] * v[i] for i in range(3)) for row in range(3))


def product(m, n):
    """The product of two matrices given as columns."""
    return tuple(times_matrix(m, column) for column in n)


def transposed(m):
    return tuple(tuple(m[i][row] for i in range(3)) for row in range(3))


# ----------------------------------------------------------------------------------------------------------- drawing

class Picture:
    """Paper with words and lines; views of space are put on it with `view`."""

    def __init__(self, width, height, title):
        self.width, self.height, self.title = width, height, title
        matplotlib.rcdefaults()
        matplotlib.rcParams.update(SETTINGS)
        self.figure = matplotlib.figure.Figure(figsize=(width / 72, height / 72), dpi=72, facecolor=PAPER)
        self.axes = self.figure.add_axes([0, 0, 1, 1])
        self.axes.set_xlim(0, width)
        self.axes.set_ylim(height, 0)
        self.axes.axis("off")
        self.level = 1

    def _next(self):
        self.level += 1
        return self.level

    def path(self, points, colour=INK, width=1.5, dash=None, fill=None, alpha=1.0, cap="round"):
        if fill:
            shape = matplotlib.patches.Polygon(points, closed=True, facecolor=fill, edgecolor=colour or "none",
                                               linewidth=width if colour else 0, alpha=alpha, joinstyle="round",
                                               zorder=self._next())
            self.axes.add_patch(shape)
        else:
            xs, ys = zip(*points)
            self.axes.plot(xs, ys, color=colour, linewidth=width, dashes=dash or (None, None), alpha=alpha,
                           solid_capstyle=cap, dash_capstyle="butt", solid_joinstyle="round", zorder=self._next())

    def arrow(self, a, b, colour=INK, width=1.5, head=9.0):
        """A straight arrow on the paper."""
        self.path([a, b], colour, width)
        self.head(a, b, colour, head)

    def head(self, a, b, colour, size=9.0):
        angle = math.atan2(b[1] - a[1], b[0] - a[0])
        wings = [(b[0] - size * math.cos(angle + d), b[1] - size * math.sin(angle + d)) for d in (0.42, -0.42)]
        self.path([b, *wings], None, 0, fill=colour)

    def text(self, x, y, words, colour=INK, size=13.0, anchor="start", weight="normal", halo=False):
        """Words whose base line begins, stands in the middle or ends at a place."""
        effects = [matplotlib.patheffects.withStroke(linewidth=3, foreground=PAPER)] if halo else []
        self.axes.text(x, y, words, color=colour, fontsize=size, fontweight=weight, va="baseline",
                       ha={"start": "left", "middle": "center", "end": "right"}[anchor], path_effects=effects,
                       zorder=100000 + self._next())

    def box(self, x, y, width, height, fill="#f6f7f8", edge=FAINT):
        self.path([(x, y), (x + width, y), (x + width, y + height), (x, y + height)], edge, 1, fill=fill)

    def view(self, x, y, scale, side=-60.0, lift=20.0, distance=14.0, centre=O):
        return View(self, x, y, scale, side, lift, distance, centre)

    def svg(self):
        out = io.StringIO()
        self.figure.savefig(out, format="svg", facecolor=PAPER,
                            metadata={"Title": self.title, "Date": None, "Creator": None, "Format": None, "Type": None})
        text = "\n".join(line.rstrip() for line in out.getvalue().split("\n"))
        text = text.replace(f'width="{self.width}pt" height="{self.height}pt"',
                            f'width="{self.width}" height="{self.height}"', 1)
        # A hundredth of a pixel is enough, and is the same whatever the last bits of the C library are.
        return PATH.sub(lambda path: LONG.sub(lambda number: short(float(number[0])), path[0]).replace("\n", " "), text)


class View:
    """A look into space. The eye stands `distance` from the centre, at an angle about z from x (`side`) and above the
    horizon (`lift`); at the centre one unit of length has `scale` pixels, nearer more, farther fewer."""

    def __init__(self, picture, x, y, scale, side, lift, distance, centre):
        self.picture, self.place, self.scale, self.distance, self.centre = picture, (x, y), scale, distance, centre
        a, b = math.radians(side), math.radians(lift)
        self.out = (math.cos(a) * math.cos(b), math.sin(a) * math.cos(b), math.sin(b))   # to the eye
        self.right = (-math.sin(a), math.cos(a), 0.0)
        self.up = cross(self.out, self.right)
        self.solids = []

    def depth(self, p):
        return self.distance - dot(self.out, add(p, self.centre, -1.0))

    def at(self, p):
        v = add(p, self.centre, -1.0)
        factor = self.scale * self.distance / (self.distance - dot(self.out, v))
        return (self.place[0] + factor * dot(self.right, v), self.place[1] - factor * dot(self.up, v))

    # -- lines

    def line(self, *points, colour=INK, width=1.5, dash=None, alpha=1.0):
        self.picture.path([self.at(p) for p in points], colour, width, dash, alpha=alpha)

    def dashed(self, *points, colour=SOFT, width=1.1):
        self.line(*points, colour=colour, width=width, dash=(4, 3))

    def vector(self, a, b, colour=INK, width=2.2, head=10.0):
        self.picture.arrow(self.at(a), self.at(b), colour, width, head)

    def arc(self, centre, first, second, radius, degrees, start=0.0, colour=ANGLE, width=1.8, arrow=True, fill=None,
            dash=None):
        """From `start` on by `degrees`, from the direction `first` towards `second`, which are at right angles. With an
        arrow at its end, and the sector filled on wish."""
        steps = max(8, int(abs(degrees) / 3))
        points = []
        for i in range(steps + 1):
            angle = math.radians(start + degrees * i / steps)
            points.append(self.at(add(add(centre, first, radius * math.cos(angle)), second, radius * math.sin(angle))))
        if fill:
            self.picture.path([self.at(centre), *points], None, 0, fill=fill, alpha=0.25)
        self.picture.path(points, colour, width, dash)
        if arrow:
            # The head points along the chord of its own length, so that it sits on the arc.
            back = next((p for p in reversed(points[:-1]) if math.dist(p, points[-1]) > 7.0), points[0])
            self.picture.head(back, points[-1], colour, 9.0)
        return points

    def angle(self, centre, first, last, radius, **how):
        """The arc from one direction to another."""
        first, last = unit(first), unit(last)
        second = unit(add(last, first, -dot(first, last)))
        return self.arc(centre, first, second, radius, math.degrees(math.acos(max(-1.0, min(1.0, dot(first, last))))),
                        **how)

    def label(self, p, words, dx=0.0, dy=0.0, colour=INK, size=13.0, anchor="start", weight="normal"):
        x, y = self.at(p)
        self.picture.text(x + dx, y + dy, words, colour, size, anchor, weight, True)

    def note(self, p, words, x, y, colour=INK, size=12.0, anchor="start"):
        """Words beside the scene with a thin line to what they name; x and y are places of the paper."""
        px, py = self.at(p)
        start = (x - 4 if anchor == "start" else x + 4, y - 4)
        self.picture.path([start, (px, py)], SOFT, 0.9)
        self.picture.path([(px + 2 * math.cos(a), py + 2 * math.sin(a)) for a in
                           (0, 0.785, 1.571, 2.356, 3.142, 3.927, 4.712, 5.498)], None, 0, fill=SOFT)
        self.picture.text(x, y, words, colour, size, anchor)

    def frame(self, origin, axes, length, names=("x", "y", "z"), width=2.2, shifts=((4, 4), (4, 4), (4, -4)), size=13.0):
        for axis, name, colour, shift in zip(axes, names, (RED, GREEN, BLUE), shifts):
            tip = add(origin, axis, length)
            self.vector(origin, tip, colour, width)
            if name:
                self.label(tip, name, *shift, colour=colour, size=size)

    def circle(self, centre, axis, radius, fill=None, colour=FAINT):
        """A full circle about an axis."""
        first = unit(cross(axis, X if abs(axis[0]) < 0.9 else Y))
        second = cross(axis, first)
        points = [self.at(add(add(centre, first, radius * math.cos(t)), second, radius * math.sin(t)))
                  for t in (2 * math.pi * i / 90 for i in range(91))]
        self.picture.path(points, colour, 1.0, fill=fill)

    def ball(self, centre, radius):
        """The outline of a sphere, as the eye sees it."""
        far = self.depth(centre)
        seen = radius * math.sqrt(1.0 - (radius / far) ** 2)
        self.circle(add(centre, self.out, radius * radius / far), self.out, seen, fill="#f3f5f7", colour="#9aa3ab")

    def on_ball(self, centre, radius, axis, degrees, colour, width=2.0):
        """The directions that make an angle with an axis, as a circle on a sphere; dashed where it is behind."""
        first = unit(cross(axis, X if abs(axis[0]) < 0.9 else Y))
        second = cross(axis, first)
        c, s = math.cos(math.radians(degrees)), math.sin(math.radians(degrees))
        points = [add(add(times(axis, c), first, s * math.cos(t)), second, s * math.sin(t))
                  for t in (2 * math.pi * i / 120 for i in range(121))]
        eye = add(add(self.centre, self.out, self.distance), centre, -1.0)
        runs = []
        for point in points:
            front = dot(point, eye) > radius
            if not runs or runs[-1][0] != front:
                runs.append((front, runs[-1][1][-1:] if runs else []))
            runs[-1][1].append(point)
        for front, run in sorted(runs):
            if len(run) > 1:
                places = [self.at(add(centre, q, radius)) for q in run]
                self.picture.path(places, colour, width if front else 1.0, None if front else (3, 3))

    def dot(self, p, colour, size=5.0):
        x, y = self.at(p)
        self.picture.path([(x + size * math.cos(math.pi * i / 12), y + size * math.sin(math.pi * i / 12))
                           for i in range(24)], PAPER, 1.0, fill=colour)

    # -- solids

    def face(self, points, fill, edge=None, width=0.7, shade=True, alpha=1.0):
        """One area, seen from either side."""
        fill = self.lit(points, fill) if shade else fill
        self.picture.path([self.at(p) for p in points], edge or shaded(fill, 0.62), width, fill=fill, alpha=alpha)

    def lit(self, points, fill):
        """The colour of an area in the light, which comes from above the eye and from its left."""
        normal = unit(cross(add(points[1], points[0], -1.0), add(points[2], points[1], -1.0)))
        light = unit(add(add(self.out, self.up, 0.9), self.right, -0.5))
        return shaded(fill, 0.78 + 0.22 * max(0.0, dot(normal, light)))

    def visible(self, points):
        normal = cross(add(points[1], points[0], -1.0), add(points[2], points[1], -1.0))
        eye = add(self.centre, self.out, self.distance)
        return dot(normal, add(eye, points[0], -1.0)) > 0

    def solid(self, faces, fill):
        """Remembers a convex body, its faces counter-clockwise as seen from outside; drawn by `build`."""
        corners = [p for face in faces for p in face]
        middle = times(tuple(sum(c) for c in zip(*corners)), 1.0 / len(corners))
        self.solids.append((self.depth(middle), faces, fill))

    def box(self, middle, axes, half, fill):
        """A box around a point, with its axes and half lengths."""
        def corner(i, j, k):
            return add(add(add(middle, axes[0], i * half[0]), axes[1], j * half[1]), axes[2], k * half[2])
        c = {(i, j, k): corner(i, j, k) for i in (-1, 1) for j in (-1, 1) for k in (-1, 1)}
        faces = []
        for s in (-1, 1):
            faces.append([c[s, -s, -1], c[s, s, -1], c[s, s, 1], c[s, -s, 1]])
            faces.append([c[-1, s, -s], c[-1, s, s], c[1, s, s], c[1, s, -s]])
            faces.append([c[-s, -1, s], c[s, -1, s], c[s, 1, s], c[-s, 1, s]])
        self.solid(faces, fill)

    def cylinder(self, bottom, axis, radius, height, fill, top_radius=None, sides=48):
        """A cylinder or cone standing on a point."""
        first = unit(cross(axis, X if abs(axis[0]) < 0.9 else Y))
        second = cross(axis, first)
        top_radius = radius if top_radius is None else top_radius

        def ring(centre, r):
            return [add(add(centre, first, r * math.cos(2 * math.pi * i / sides)), second,
                        r * math.sin(2 * math.pi * i / sides)) for i in range(sides)]
        lower, upper = ring(bottom, radius), ring(add(bottom, axis, height), max(top_radius, 1e-6))
        faces = [[lower[i], lower[(i + 1) % sides], upper[(i + 1) % sides], upper[i]] for i in range(sides)]
        self.solid([*faces, upper, lower[::-1]], fill)

    def build(self):
        """Draws the solids that were remembered, the farthest first."""
        for _, faces, fill in sorted(self.solids, key=lambda s: -s[0]):
            smooth = len(faces) > 12
            for face in faces:
                if self.visible(face):
                    side = smooth and len(face) == 4
                    colour = self.lit(face, fill)
                    self.picture.path([self.at(p) for p in face], colour if side else shaded(fill, 0.55),
                                      0.6, fill=colour)
        self.solids = []


def shaded(colour, factor):
    parts = [int(colour[i:i + 2], 16) for i in (1, 3, 5)]
    return "#" + "".join(f"{min(255, max(0, round(p * factor))):02x}" for p in parts)


# ------------------------------------------------------------------------------------------------- tracker and sensor

def tracker(view, at=O, size=1.0):
    """A tracker whose beam leaves from a point."""
    foot = add(at, Z, -1.05 * size)
    view.cylinder(foot, Z, 0.34 * size, 0.16 * size, BASE)
    view.cylinder(add(foot, Z, 0.16 * size), Z, 0.22 * size, 0.55 * size, STAGE, 0.17 * size)
    view.build()
    view.box(at, (X, Y, Z), (0.17 * size, 0.30 * size, 0.30 * size), BASE)
    view.build()


class Sensor:
    """The parts of the sensor at a target point, in true attitudes.

    base       columns: the base's axes in the tracker frame
    azimuth    turn of the stage about the base's z, degrees
    elevation  how far the line of sight rises towards the base's z, degrees
    sight      X or Y: the direction of the stage that the line of sight has at elevation 0
    """

    def __init__(self, target, base, azimuth, elevation, sight):
        self.target, self.base = target, base
        self.stage = product(base, turn(Z, azimuth))
        axis, sign = (Y, -1.0) if sight == X else (X, 1.0)
        self.head = product(self.stage, turn(axis, sign * elevation))
        self.sight_axis, self.elevation_axis = sight, axis
        self.sight = times_matrix(self.head, sight)
        self.rest = times_matrix(self.stage, sight)
        self.axis = times_matrix(self.stage, axis)

    def draw(self, view, size=1.0, head=True):
        """From below to above: base, stage with the yoke, head with its window to the tracker."""
        z, target = self.base[2], self.target
        parts = [lambda: view.cylinder(add(target, z, -0.98 * size), z, 0.56 * size, 0.16 * size, BASE),
                 lambda: view.cylinder(add(target, z, -0.79 * size), z, 0.46 * size, 0.13 * size, STAGE)]
        uprights = []
        for s in (-1, 1):
            middle = add(add(target, self.axis, s * 0.38 * size), z, -0.26 * size)
            uprights.append((view.depth(middle), lambda m=middle: view.box(
                m, self.stage, (0.15 * size, 0.05 * size, 0.40 * size) if self.sight_axis == X
                else (0.05 * size, 0.15 * size, 0.40 * size), STAGE)))
        uprights.append((view.depth(target), lambda: self._head(view, size)) if head else (0.0, lambda: None))
        above = [part for _, part in sorted(uprights, key=lambda u: -u[0])]
        # A base that is seen from below hides its stage.
        order = parts + above if dot(z, view.out) > 0 else above + parts[::-1]
        for part in order:
            part()
            view.build()

    def _head(self, view, size):
        half = (0.30 * size, 0.27 * size, 0.25 * size) if self.sight_axis == X else (0.27 * size, 0.30 * size, 0.25 * size)
        view.box(self.target, self.head, half, HEAD)
        view.build()
        # The window faces the tracker, against the direction of the line of sight.
        window = add(self.target, self.sight, -0.301 * size)
        if dot(times(self.sight, -1.0), add(add(view.centre, view.out, view.distance), window, -1.0)) > 0:
            up = self.head[2]
            across = cross(up, self.sight)
            ring = [add(add(window, across, 0.17 * size * math.cos(t)), up, 0.17 * size * math.sin(t))
                    for t in (2 * math.pi * i / 36 for i in range(36))]
            view.picture.path([view.at(p) for p in ring], shaded(GLASS, 0.6), 0.8, fill=GLASS)


def looking(target, base, sight, line=None):
    """The sensor whose axes are turned so that its line of sight runs along the beam, as its drives do it."""
    b = times_matrix(transposed(base), unit(line or target))
    bearing = math.degrees(math.atan2(b[1], b[0]))
    return Sensor(target, base, bearing - (0.0 if sight == X else 90.0), math.degrees(math.asin(b[2])), sight)


def vial(view, middle, axis, up, length=0.16, radius=0.035):
    """A level: a tube along its axis."""
    view.cylinder(add(middle, axis, -length), axis, radius, 2 * length, "#e2b33c", sides=20)
    view.build()


def plumb(view, at, length=0.8, words="gravity"):
    """Where gravity pulls."""
    low = add(at, Z, -length)
    view.vector(at, low, SOFT, 1.8)
    if words:
        view.label(low, words, 6, 4, colour=SOFT)


def main(pictures):
    """FOLDER: writes the pictures, a dictionary of names and functions that draw them, into a folder."""
    folder = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parent.parent / "img"
    for name, draw in pictures.items():
        (folder / name).write_text(draw().svg(), encoding="utf-8")
