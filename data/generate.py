#!/usr/bin/env python3
"""Makes the shipped parameter files, recordings and truths from a true pose.

A recording is the answer to the question: which raw readings would a perfect sensor, held like this, have
delivered? Each sample starts from the true orientation of the sensor's base and the position of its target
point, goes through the forward equations of its orientation model to the axis angles and level readings, and
from there backwards through everything that the engine corrects: thermal factor, tilt offset, level spline,
encoder table. Nothing here shares code with the library, so that a mistake must be made twice to go unseen.

    python3 data/generate.py                      rewrite every shipped file, byte for byte
    python3 data/generate.py --only polarizer     one recording
    python3 data/generate.py --out DIR            somewhere else
    python3 data/generate.py --verify             re-read the emitted files and run the corrections forward

Standard library only. Every value that the engine reads is rounded first (parameters to six decimals and then
to single precision, readings to single precision) and the truth is computed from the rounded value.
"""

import argparse
import math
import os
import random
import struct
import sys

# The library's own shortened literals. The simulated sensor uses them too: its truth is what the models define.
DEG = 0.01745329251994

SAMPLE_MS = 10
BAD_SAMPLES = {57: 0, 437: 1, 660: 3, 661: 0, 662: 1, 771: 3, 1500: 1, 1501: 0, 2222: 3}
HOLD_UNTIL = 80          # referenceHold is set before this sample
POSE_HOLD, POSE_MOVE = 170, 130    # samples that a pose is held, samples on the way to the next one
POSE_STEP = 1.0                  # seconds of the underlying motion from pose to pose
SETTLE = 14              # samples of a new pose until filters, delays and the acceleration window have left the old one


# ---------------------------------------------------------------------------------------------- rounding and text

def f32(value):
    """The single-precision number nearest to value."""
    return struct.unpack('<f', struct.pack('<f', value))[0]


def prm(value):
    """What the engine has after value went through a parameter file: six decimals, then single precision."""
    return f32(float('%.6f' % value))


def shortest(value):
    """Shortest %g text that reads back to the same single-precision number."""
    for digits in range(6, 10):
        text = '%.*g' % (digits, value)
        if f32(float(text)) == value:
            return text
    raise ValueError('not a single-precision number: %r' % value)


# --------------------------------------------------------------------------------------------- vectors and matrices

def dot(a, b):
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]


def cross(a, b):
    return (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])


def unit(a):
    length = math.sqrt(dot(a, a))
    return (a[0] / length, a[1] / length, a[2] / length)


def transposed(m):
    return tuple((m[0][c], m[1][c], m[2][c]) for c in range(3))


def apply(m, v):
    return tuple(dot(row, v) for row in m)


def product(first, *others):
    result = first
    for m in others:
        columns = transposed(m)
        result = tuple(tuple(dot(row, column) for column in columns) for row in result)
    return result


def inverse(m):
    """By cofactors: the cross products of the rows are the columns of the inverse, times the determinant."""
    c0, c1, c2 = cross(m[1], m[2]), cross(m[2], m[0]), cross(m[0], m[1])
    det = dot(m[0], c0)
    return transposed(tuple(tuple(e / det for e in c) for c in (c0, c1, c2)))


def turn_x(angle):
    c, s = math.cos(angle), math.sin(angle)
    return ((1.0, 0.0, 0.0), (0.0, c, -s), (0.0, s, c))


def turn_y(angle):
    c, s = math.cos(angle), math.sin(angle)
    return ((c, 0.0, s), (0.0, 1.0, 0.0), (-s, 0.0, c))


def turn_z(angle):
    c, s = math.cos(angle), math.sin(angle)
    return ((c, -s, 0.0), (s, c, 0.0), (0.0, 0.0, 1.0))


def angle_between(a, b):
    """Degrees of the rotation that takes b to a; by the sine, so that small angles keep their digits."""
    d = product(a, transposed(b))
    sine = 0.5 * math.sqrt((d[2][1] - d[1][2]) ** 2 + (d[0][2] - d[2][0]) ** 2 + (d[1][0] - d[0][1]) ** 2)
    return math.degrees(math.atan2(sine, 0.5 * (d[0][0] + d[1][1] + d[2][2] - 1.0)))


IDENTITY = ((1.0, 0.0, 0.0), (0.0, 1.0, 0.0), (0.0, 0.0, 1.0))
# Turns by Pythagorean angles: six decimals hold their products exactly, so the file's matrices stay orthonormal.
TURN_Z_345 = ((0.6, -0.8, 0.0), (0.8, 0.6, 0.0), (0.0, 0.0, 1.0))
TURN_X_724 = ((1.0, 0.0, 0.0), (0.0, 0.96, -0.28), (0.0, 0.28, 0.96))
TURN_Y_44117 = ((0.936, 0.0, 0.352), (0.0, 1.0, 0.0), (-0.352, 0.0, 0.936))


# -------------------------------------------------------------------------------------------------- tables of a sensor

class Spline:
    """Natural cubic spline by its second derivatives; straight on beyond both ends."""

    def __init__(self, xs, ys):
        self.xs, self.ys = xs, ys
        last = len(xs) - 1
        h = [xs[i + 1] - xs[i] for i in range(last)]
        slope = [(ys[i + 1] - ys[i]) / h[i] for i in range(last)]
        # Tridiagonal system of the inner knots, eliminated downwards and substituted upwards.
        upper, right = [0.0] * (last + 1), [0.0] * (last + 1)
        for i in range(1, last):
            pivot = 2.0 * (h[i - 1] + h[i]) - h[i - 1] * upper[i - 1]
            upper[i] = h[i] / pivot
            right[i] = (6.0 * (slope[i] - slope[i - 1]) - h[i - 1] * right[i - 1]) / pivot
        self.bend = [0.0] * (last + 1)
        for i in range(last - 1, 0, -1):
            self.bend[i] = right[i] - upper[i] * self.bend[i + 1]
        self.first_slope = slope[0] - h[0] * self.bend[1] / 6.0
        self.last_slope = slope[-1] + h[-1] * self.bend[last - 1] / 6.0

    def __call__(self, x):
        xs, ys, bend = self.xs, self.ys, self.bend
        if x < xs[0]:
            return ys[0] + self.first_slope * (x - xs[0])
        if x > xs[-1]:
            return ys[-1] + self.last_slope * (x - xs[-1])
        i = len(xs) - 2
        while i > 0 and x < xs[i]:
            i -= 1
        h = xs[i + 1] - xs[i]
        b = (x - xs[i]) / h
        a = (xs[i + 1] - x) / h
        return a * ys[i] + b * ys[i + 1] + ((a * a * a - a) * bend[i] + (b * b * b - b) * bend[i + 1]) * h * h / 6.0

    def inverse(self, y):
        """The x of an ascending curve, by bisection to the last bit."""
        if y < self.ys[0]:
            return self.xs[0] + (y - self.ys[0]) / self.first_slope
        if y > self.ys[-1]:
            return self.xs[-1] + (y - self.ys[-1]) / self.last_slope
        low, high = self.xs[0], self.xs[-1]
        while True:
            middle = 0.5 * (low + high)
            if middle <= low or middle >= high:
                return low if abs(self(low) - y) < abs(self(high) - y) else high
            if self(middle) < y:
                low = middle
            else:
                high = middle

    def outside(self, x):
        return not self.xs[0] <= x <= self.xs[-1]


class Encoder:
    """Corrections over one turn, straight between the rows and over the gap from the last row to the first."""

    def __init__(self, rows):
        self.rows = rows
        self.closed = rows + [(rows[0][0] + 360.0, rows[0][1])]

    def forward(self, reading):
        first = self.rows[0][0]
        r = reading - 360.0 * math.floor((reading - first) / 360.0)
        for (x0, c0), (x1, c1) in zip(self.closed, self.closed[1:]):
            if x0 <= r <= x1 and x1 > x0:
                return reading + (c0 + (c1 - c0) * (r - x0) / (x1 - x0))
        raise ValueError('reading %r' % reading)

    def inverse(self, angle):
        start = self.rows[0][0] + self.rows[0][1]
        turns = 360.0 * math.floor((angle - start) / 360.0)
        a = angle - turns
        for (x0, c0), (x1, c1) in zip(self.closed, self.closed[1:]):
            if x0 + c0 <= a <= x1 + c1 and x1 > x0:
                return x0 + (x1 - x0) * (a - (x0 + c0)) / ((x1 + c1) - (x0 + c0)) + turns
        raise ValueError('angle %r' % angle)


class Wave:
    """A smooth sum of sines about a centre, phases from the recording's own random numbers."""

    def __init__(self, rng, centre, *terms):
        self.centre = centre
        self.terms = [(amplitude, frequency, 2.0 * math.pi * rng.random()) for amplitude, frequency in terms]

    def __call__(self, t):
        value = self.centre
        for amplitude, frequency, phase in self.terms:
            value += amplitude * math.sin(2.0 * math.pi * frequency * t + phase)
        return value


def encoder_rows(rng, first, step, count, size):
    """Eccentricity, a second harmonic and the scatter of single rows; the last row lies short of a full turn."""
    phase1, phase2 = 2.0 * math.pi * rng.random(), 2.0 * math.pi * rng.random()
    rows = []
    for i in range(count):
        x = prm(first + step * i)
        c = size * (math.sin(x * DEG + phase1) + 0.35 * math.sin(2.0 * x * DEG + phase2) + 0.25 * (rng.random() - 0.5))
        rows.append((x, prm(c)))
    return rows


def level_table(rng, span, full, count=21):
    """Ascending, slightly curved, a little uneven; its ends read exactly -full and full."""
    xs, ys = [], []
    for i in range(count):
        s = 2.0 * i / (count - 1) - 1.0
        bow = -0.05 * s * (s * s - 1.0) + 0.012 * math.sin(math.pi * s) + 0.006 * (1.0 - s * s)
        scatter = 0.002 * (rng.random() - 0.5) if 0 < i < count - 1 else 0.0
        xs.append(prm(span * s))
        ys.append(prm(full * (s + bow + scatter)))
    return xs, ys


# -------------------------------------------------------------------------------------------------- parameter file

class Sensor:
    """The numbers of one parameter file, as the engine has them after reading."""

    def __init__(self, rng, mode, factors, level1=None, level2=None, qvc=None):
        self.mode, self.id = mode, 1000 + mode
        self.offset = tuple(prm(v) for v in (12.345678 + mode, -0.876543))
        self.known = tuple(prm(v) for v in (0.0, 1.0, 0.0))
        self.local = tuple(tuple(prm(e) for e in row) for row in product(TURN_Z_345, TURN_X_724))
        self.machine_file = tuple(tuple(prm(e) for e in row) for row in product(TURN_X_724, TURN_Y_44117, TURN_Z_345))
        self.machine = inverse(self.machine_file)
        self.thermal = tuple(prm(v) for v in (0.00012, 0.9976, 0.0001, 0.998))
        self.tilt = tuple(prm(v) for v in (0.0215, -0.0342))
        self.azimuth = Encoder(encoder_rows(rng, 0.5, 9.9, 37, 0.006))
        self.elevation = Encoder(encoder_rows(rng, -60.0, 7.5, 17, 0.003))
        self.factors = tuple(prm(v) for v in factors)
        self.qvc = tuple(prm(v) for v in qvc or (0.0,) * 6)
        self.level1 = tuple(prm(v) for v in level1 or (0.0,) * 7)
        self.level2 = tuple(prm(v) for v in level2 or (0.0,) * 7)
        self.level_x = self.level_y = None
        # Degrees to radians in double, handed to the engine in single precision.
        self.a1, self.a2 = (f32(v * DEG) for v in self.offset)

    def gain(self, axis, temperature):
        """Thermal factor of a level in the engine's own single precision."""
        return f32(f32(self.thermal[2 * axis] * temperature) + self.thermal[2 * axis + 1])

    def text(self):
        lines = []

        def row(values):
            lines.append('\t'.join('%.6f' % v for v in values))

        def block(title, *rows):
            lines.append(title)
            for values in rows:
                row(values)

        lines += ['Serial Number', '%d' % self.id, 'Device Owner', 'Simulated']
        for title, scale in (('AZ Position Gain', 1.0), ('EL Position Gain', 0.8),
                             ('AZ Tracking Gain', 1.5), ('EL Tracking Gain', 1.2)):
            block(title, [scale * v for v in (10.0, 2.0, 0.5, 0.1, 0.05, 1.0)])
        block('Digital Damping', (0.9, 0.1, 0.9, 0.1))
        block('Angle Offset', self.offset)
        block('Transform Vector', self.known)
        block('Local Coordinate Tranform Matrix', *self.local)
        block('Machine Coordinate Tranform Matrix', *self.machine_file)
        block('Thermal Compensation Factor', self.thermal)
        block('Tilt Sensor Offset', self.tilt)
        block('ADM Offset', (0.0,))
        for title, table in (('AZ Calibration Table', self.azimuth), ('EL Calibration Table', self.elevation)):
            lines += [title, '%d' % len(table.rows)]
            for values in table.rows:
                row(values)
        for title, table in (('Tilt X Calibration Table', self.level_x), ('Tilt Y Calibration Table', self.level_y)):
            lines += [title, '%d' % len(table.xs)]
            for values in zip(table.xs, table.ys):
                row(values)
            row((table.xs[0], table.xs[-1], 0.0))
            lines.append('Degrees')
        block('Scale Factor', *[(v,) for v in self.factors])
        lines += ['Mounting Mode', '%d' % self.mode]
        if self.mode >= 7:
            for title, values in (('QVC', self.qvc), ('Level_X', self.level1), ('Level_Y', self.level2)):
                lines += [title, ''.join('%.6f\t' % v for v in values)]
            block('Half Angle', (180.0, 60.0))
            block('PSDX', (0.0, 1.0, 0.0))
            block('PSDY', (0.0, 1.0, 0.0))
            block('DynamicParameters', (0.0,) * 7)
        return '\n'.join(lines) + '\n'


# ------------------------------------------------------------------------------------------------ forward equations
# Each gives the corrected readings (level X, level Y, azimuth, elevation; degrees) of a sensor whose base stands
# as R (base to tracker) and whose target point is at P. The axes are turned so that the sensor looks at the tracker.

def dual_level(s, R, P):
    u = unit(P)
    b = apply(transposed(R), u)
    e1, e2 = math.atan2(b[1], b[0]), -math.asin(b[2])
    H = product(R, turn_z(e1))
    s0 = s.factors[0] * DEG
    x = -math.asin(apply(H, (math.cos(s0), -math.sin(s0), 0.0))[2]) / DEG
    y = math.asin(apply(H, (0.0, 1.0, 0.0))[2]) / DEG
    return x, y, (e1 + s.a1) / DEG, (s.a2 - e2) / DEG


def pendulum(s, R, P):
    S = s.factors
    sign = -1.0 if s.mode % 2 == 1 else 1.0
    u = unit(P)
    b = apply(transposed(R), u)
    a = S[0] * DEG + math.pi / 2.0
    v = (math.sin(a), math.cos(a), 0.0)
    p = (math.sin(S[3] * DEG) * math.cos(S[2] * DEG), math.cos(S[3] * DEG) * math.cos(S[2] * DEG),
         math.sin(S[2] * DEG))
    e2 = math.asin(-b[2] / v[0])
    e1 = math.atan2(b[1], b[0]) - math.atan2(v[1], math.cos(e2) * v[0])
    H = product(R, turn_z(e1))
    x = -math.asin(H[2][0]) / DEG
    y = sign * math.asin(apply(H, p)[2]) / (DEG * S[6]) - S[1]
    return x, y, (sign * e1 / S[4] + s.a1) / DEG, (s.a2 - sign * e2 / S[5]) / DEG


def polarizer(s, R, P):
    S = s.factors
    b = apply(transposed(R), unit(P))
    s0 = S[0] * DEG
    f2 = math.asin(b[2] / math.cos(s0))
    f1 = math.atan2(b[1], b[0]) - math.atan2(math.cos(f2) * math.cos(s0), math.sin(s0))
    sight = product(turn_z(-math.atan2(P[0], P[1])), turn_x(math.asin(P[2] / math.sqrt(dot(P, P)))))
    Q = product(transposed(sight), R, turn_z(f1), turn_x(f2), turn_z(-s0))
    roll = math.atan2(Q[0][2], Q[2][2])
    return None, roll / (DEG * S[6]) - S[1], (f1 / S[4] + s.a1) / DEG, (f2 / S[5] + s.a2) / DEG


def level_axis(parameters):
    return unit((1.0, math.tan(parameters[3] * DEG), math.tan(parameters[4] * DEG)))


def vector_axes(s, R, P):
    """Axis angles of the three-vector models and the azimuth stage in the tracker frame."""
    Q = s.qvc
    b = apply(transposed(R), unit(P))
    a = (math.cos(Q[5] * DEG), 0.0, math.sin(Q[5] * DEG))
    u0 = unit((math.tan(Q[3] * DEG), 1.0, math.tan(Q[4] * DEG)))
    A = a[2] * dot(a, u0)
    B, C = u0[2] - A, cross(a, u0)[2]
    f2 = math.asin((b[2] - A) / math.hypot(B, C)) - math.atan2(B, C)
    f2 -= 2.0 * math.pi * round(f2 / (2.0 * math.pi))
    along, across, w = dot(a, u0), cross(a, u0), math.cos(f2)
    r = tuple(u0[i] * w + across[i] * math.sin(f2) + a[i] * along * (1.0 - w) for i in range(3))
    f1 = math.atan2(b[1], b[0]) - math.atan2(r[1], r[0])
    return f1, f2, product(R, turn_z(f1))


def level_reading(parameters, H, vertical):
    angle = math.asin(dot(level_axis(parameters), apply(transposed(H), vertical))) / DEG
    return angle / parameters[6] - parameters[5]


def three_vector(s, R, P):
    f1, f2, H = vector_axes(s, R, P)
    vertical = (0.0, 0.0, 1.0) if s.mode % 2 == 1 else (0.0, 0.0, -1.0)
    x = math.asin(H[2][1]) / DEG    # this model does not look at level X
    return x, level_reading(s.level1, H, vertical), (f1 + s.a1) / DEG, (f2 + s.a2) / DEG


def two_level(s, R, P, acceleration):
    """The levels of these modes feel the target's acceleration (mm/s2) as well; the model takes it out again."""
    f1, f2, H = vector_axes(s, R, P)
    down = tuple(n - a / 9800.0 for n, a in zip((0.0, 0.0, -1.0), acceleration))
    return (level_reading(s.level1, H, down), level_reading(s.level2, H, down),
            (f1 + s.a1) / DEG, (f2 + s.a2) / DEG)


# ----------------------------------------------------------------------------------------------------------- motions

class Motion:
    """Hand-held: the target point wanders a few metres from the tracker, the base is turned and tilted."""

    def __init__(self, rng, line_of_sight, tilt_x, tilt_y, upside_down=False, height=650.0):
        self.line_of_sight, self.upside_down = line_of_sight, upside_down
        self.bearing = Wave(rng, 40.0, (18.0, 0.041), (4.0, 0.13), (0.6, 0.47))
        self.distance = Wave(rng, 4200.0, (900.0, 0.037), (180.0, 0.17), (15.0, 0.61))
        self.height = Wave(rng, height, (300.0, 0.053), (90.0, 0.21), (6.0, 0.55))
        self.azimuth = Wave(rng, 5.0, (38.0, 0.047), (17.0, 0.15), (1.5, 0.43))
        self.tilt_x = Wave(rng, tilt_x[0], (tilt_x[1], 0.071), (0.3 * tilt_x[1], 0.23), (0.04 * tilt_x[1], 0.71))
        self.tilt_y = Wave(rng, tilt_y[0], (tilt_y[1], 0.059), (0.3 * tilt_y[1], 0.19), (0.04 * tilt_y[1], 0.67))

    def place(self, t):
        bearing, distance = self.bearing(t) * DEG, self.distance(t)
        return distance * math.cos(bearing), distance * math.sin(bearing), self.height(t)

    def pose(self, t):
        P = tuple(f32(v) for v in self.place(t))
        sight = math.atan2(P[1], P[0])
        tilt = product(turn_x(self.tilt_x(t) * DEG), turn_y(self.tilt_y(t) * DEG))
        azimuth = self.azimuth(t) * DEG
        if self.upside_down:
            heading = sight + azimuth + self.line_of_sight * DEG
            return product(turn_z(heading), tilt, turn_x(math.pi)), P
        return product(turn_z(sight - azimuth - self.line_of_sight * DEG), tilt), P


def stepped(index):
    """Time in the same motion when it is cut into poses: held still, then smoothly on to the next one."""
    cycle, phase = divmod(max(index, 0.0), POSE_HOLD + POSE_MOVE)
    part = max(0.0, (phase - POSE_HOLD + 1) / (POSE_MOVE + 1.0))
    return POSE_STEP * (cycle + part * part * part * (10.0 - 15.0 * part + 6.0 * part * part))


def stepped_acceleration(motion, index):
    """Second difference of the place over half samples, mm/s2; exactly zero while a pose is held."""
    before, now, after = (motion.place(stepped(index + shift)) for shift in (-0.5, 0.0, 0.5))
    interval = 0.5 * SAMPLE_MS / 1000.0
    return tuple((a - 2.0 * n + b) / (interval * interval) for b, n, a in zip(before, now, after))


# -------------------------------------------------------------------------------------------------------- recordings

class Plan:
    def __init__(self, mode, seed, samples, equations, factors, motion, binary=False, **parameters):
        self.mode, self.seed, self.samples, self.equations = mode, seed, samples, equations
        self.factors, self.motion, self.binary, self.parameters = factors, motion, binary, parameters


# The plain name of a model is its odd mount mode, the other one its even.
PLANS = {
    'dual_level': Plan(1, 20001, 1200, dual_level, (0.4,) + (0.0,) * 7,
                       dict(line_of_sight=0.0, tilt_x=(6.0, 4.0), tilt_y=(1.0, 4.0))),
    # The other way round: target below the tracker, elevation axis dipping; again mostly on the exact side.
    'dual_level_even': Plan(2, 20002, 1200, dual_level, (-0.3,) + (0.0,) * 7,
                            dict(line_of_sight=0.0, tilt_x=(-7.0, 4.0), tilt_y=(-1.0, 4.0), height=-700.0)),
    'pendulum': Plan(3, 20003, 1200, pendulum, (0.3, 0.1, 0.0, 0.0, 1.0003, 0.9996, 1.001, 0.0),
                     dict(line_of_sight=0.0, tilt_x=(1.0, 5.0), tilt_y=(-1.0, 5.0))),
    # A pendulum that is not square to the axes: its search ends within a thousandth of a degree, not sooner.
    'pendulum_even': Plan(4, 20004, 1200, pendulum, (-0.25, -0.15, 0.8, -1.2, 0.9998, 1.0004, 0.999, 0.0),
                          dict(line_of_sight=0.0, tilt_x=(-1.0, 5.0), tilt_y=(1.0, 5.0))),
    'polarizer': Plan(5, 20005, 2400, polarizer, (0.35, -0.12, 0.0, 0.0, 1.0002, 0.9997, 1.0015, 0.0),
                      dict(line_of_sight=90.0, tilt_x=(1.0, 7.0), tilt_y=(-1.0, 12.0)), binary=True),
    'polarizer_even': Plan(6, 20006, 1200, polarizer, (-0.45, 0.2, 0.0, 0.0, 0.9997, 1.0003, 0.9985, 0.0),
                           dict(line_of_sight=90.0, tilt_x=(-1.0, 7.0), tilt_y=(2.0, 12.0))),
    # Odd parity is exact only while the line of sight is square to the level axis: no skew angles here.
    'three_vector': Plan(7, 20007, 1200, three_vector, (0.0,) * 4 + (1.0,) * 3 + (0.0,),
                         dict(line_of_sight=90.0, tilt_x=(1.0, 5.0), tilt_y=(-1.0, 6.0)),
                         qvc=(1.2, -0.8, 35.0, 0.0, 0.25, 0.0), level1=(0.0,) * 5 + (0.12, 1.003),
                         level2=(0.0,) * 6 + (1.0,)),
    'three_vector_even': Plan(8, 20008, 1200, three_vector, (0.0,) * 4 + (1.0,) * 3 + (0.0,),
                              dict(line_of_sight=90.0, tilt_x=(-1.0, 5.0), tilt_y=(1.0, 6.0)),
                              qvc=(-0.9, 1.1, 34.5, 0.3, -0.2, 0.4), level1=(0.0,) * 3 + (0.35, -0.25, -0.1, 0.998),
                              level2=(0.0,) * 6 + (1.0,)),
    # Base upside down, and a tilt that keeps level X away from zero: a zero there switches the model off.
    'two_level': Plan(9, 20092, 1200, two_level, (0.0,) * 4 + (1.0,) * 3 + (0.0,),
                      dict(line_of_sight=90.0, tilt_x=(-2.0, 3.0), tilt_y=(8.0, 2.5), upside_down=True),
                      qvc=(0.7, 1.4, 33.0, -0.25, 0.3, 0.2), level1=(0.0,) * 3 + (0.3, -0.2, 0.1, 1.002),
                      level2=(0.0,) * 3 + (45.0, 0.4, -0.08, 0.9985)),
    'two_level_even': Plan(10, 20180, 1200, two_level, (0.0,) * 4 + (1.0,) * 3 + (0.0,),
                           dict(line_of_sight=90.0, tilt_x=(2.0, 3.0), tilt_y=(-8.0, 2.5)),
                           qvc=(-0.6, 0.9, 36.0, 0.2, -0.35, -0.3), level1=(0.0,) * 3 + (-0.4, 0.3, -0.07, 0.9975),
                           level2=(0.0,) * 3 + (-40.0, 0.5, 0.09, 1.0015)),
}

HEADER = ('status', 'sensorVector_x', 'sensorVector_y', 'sensorVector_z', 'azimuthRaw', 'elevationRaw', 'levelXRaw',
          'levelYRaw', 'levelTemperature', 'referenceGate', 'referenceHold', 'temperatureCount_0',
          'temperatureCount_1', 'temperatureCount_2', 'timeStampMs')
TRUTH_HEADER = (['timeStampMs', 'valid', 'note'] + ['R_%d%d' % (r, c) for r in range(3) for c in range(3)]
                + ['position_x', 'position_y', 'position_z']
                + ['result_%d%d' % (r, c) for r in range(3) for c in range(3)])


class Sample:
    """One raw record, its truth, and what the engine's corrections ought to give for it."""


def range_limit(values, outside):
    """Half-way between the largest magnitude that stays inside the table and the smallest that does not."""
    sizes = sorted(abs(v) for v in values)
    return 0.5 * (sizes[-outside - 1] + sizes[-outside])


def held_limit(values):
    """For poses that are held: the one with the largest magnitude lies outside, all others inside."""
    sizes = sorted(set(abs(v) for v in values))
    held = [size for size in sizes if sum(1 for v in values if abs(v) == size) > POSE_HOLD // 2]
    return 0.5 * (held[-1] + held[-2])


def simulate(plan):
    rng = random.Random(plan.seed)
    sensor = Sensor(rng, plan.mode, plan.factors, **plan.parameters)
    motion = Motion(rng, **plan.motion)
    ratio = Wave(rng, 0.05, (0.55, 0.083), (0.2, 0.29))
    room = Wave(rng, 21.5, (1.2, 0.019), (0.05, 0.31))
    cold = Wave(rng, 0.3, (1.1, 0.023), (0.04, 0.27))
    inside = Wave(rng, 27.0, (0.8, 0.017), (0.03, 0.37))
    polarized, held = plan.mode in (5, 6), plan.mode in (9, 10)
    start = (2 ** 32 - plan.samples // 2 * SAMPLE_MS + 3) % 2 ** 32

    samples, previous = [], None
    for i in range(plan.samples):
        t = i * SAMPLE_MS / 1000.0
        s = Sample()
        s.index = i
        s.R, s.P = motion.pose(stepped(i) if held else t)
        felt = (stepped_acceleration(motion, i),) if held else ()
        s.x, s.y, s.az, s.el = plan.equations(sensor, s.R, s.P, *felt)
        if previous is not None:    # the azimuth counts on over a full turn
            s.az -= 360.0 * round((s.az - previous) / 360.0)
        previous = s.az
        s.status = BAD_SAMPLES.get(i, 2)
        s.level_temperature = f32(room(t))
        s.gate = f32(0.05 + 1.2 * math.exp(-t / 0.9))
        s.hold = 1 if i < HOLD_UNTIL else 0
        s.counts = [int(round(v * 41920.0)) % 2 ** 24 for v in (room(t) + 0.4, cold(t), inside(t))]
        s.stamp = (start + i * SAMPLE_MS) % 2 ** 32
        if polarized:
            s.ratio = ratio(t) if i % 463 else 1.2    # now and then beyond its table
        samples.append(s)

    # Level tables, sized so that the largest swings leave them.
    def before_correction(axis, value, s):
        return value / sensor.gain(axis, s.level_temperature) + sensor.tilt[axis]

    ys = [before_correction(1, s.y, s) for s in samples]
    y_limit = range_limit(ys, 9) if not held else 0.0
    if polarized:
        sensor.level_x = Spline(*level_table(rng, 1.0, 15.0))
        sensor.level_y = Spline(*level_table(rng, 30000.0, y_limit))
    else:
        xs = [before_correction(0, s.x, s) for s in samples]
        if held:
            # Level X must stay usable here; level Y loses one whole pose. The thermal factor spreads the
            # readings of a held pose, so the poses are told apart by the corrected values.
            x_limit = 1.2 * max(abs(v) for v in xs)
            y_limit = held_limit([s.y for s in samples])
        else:
            x_limit = range_limit(xs, 7)
        sensor.level_x = Spline(*level_table(rng, 20.0, x_limit))
        sensor.level_y = Spline(*level_table(rng, 20.0, y_limit))

    captured = False
    for s, y in zip(samples, ys):
        s.y_raw = f32(sensor.level_y.inverse(y))
        if polarized:
            s.x_raw = f32(s.ratio * s.y_raw)
            s.x_input = f32(s.x_raw / s.y_raw) if abs(s.y_raw) > 2000.0 else 0.0
            s.x = (sensor.level_x(s.ratio if abs(s.y_raw) > 2000.0 else 0.0)
                   - sensor.tilt[0]) * sensor.gain(0, s.level_temperature)
        else:
            s.x_raw = s.x_input = f32(sensor.level_x.inverse(before_correction(0, s.x, s)))
        s.az_raw = f32(sensor.azimuth.inverse(s.az))
        s.el_raw = f32(sensor.elevation.inverse(s.el))
        s.outside = sensor.level_x.outside(s.x_input) or sensor.level_y.outside(s.y_raw)
        s.note = note(plan, s, captured)
        s.valid = 1 if s.note in ('ok', 'range') else 0
        s.result = (product(sensor.machine, s.R) if plan.mode < 7 else s.R) if captured else IDENTITY
        if s.status == 2 and s.gate <= f32(0.4) and not s.hold:
            captured = True
    return sensor, samples


def note(plan, s, captured):
    """Why a sample's result may differ from its truth; 'range' alone does not harm it."""
    if s.status != 2:
        return 'status'
    if not captured:
        return 'reference'
    if plan.mode in (9, 10):
        cycle, phase = divmod(s.index, POSE_HOLD + POSE_MOVE)
        if phase >= POSE_HOLD or (cycle > 0 and phase < SETTLE):
            return 'moving'
    if plan.mode in (1, 2) and (s.P[2] * s.y < 0.0 or min(abs(s.x), abs(s.y)) < 0.001):
        return 'side'
    if plan.mode in (3, 4) and abs(s.P[2]) < 1.0:
        return 'side'
    return 'range' if s.outside else 'ok'


def raw_fields(s):
    return ([str(s.status)] + [shortest(v) for v in s.P]
            + [shortest(v) for v in (s.az_raw, s.el_raw, s.x_raw, s.y_raw, s.level_temperature, s.gate)]
            + [str(s.hold)] + [str(c) for c in s.counts] + [str(s.stamp)])


def truth_fields(s):
    return ([str(s.stamp), str(s.valid), s.note] + ['%.11f' % e for row in s.R for e in row]
            + [shortest(v) for v in s.P] + ['%.11f' % e for row in s.result for e in row])


def write(path, data):
    with open(path, 'wb') as out:
        out.write(data)


def table(header, rows):
    return ('\n'.join([','.join(header)] + [','.join(row) for row in rows]) + '\n').encode('ascii')


def binary_record(s):
    return struct.pack('<ii3f6f4xB3x3iI', 0, s.status, *s.P, s.az_raw, s.el_raw, s.x_raw, s.y_raw,
                       s.level_temperature, s.gate, s.hold, *s.counts, s.stamp)


def emit(name, plan, sensor, samples, out):
    folder = os.path.join(out, name)
    os.makedirs(folder, exist_ok=True)
    write(os.path.join(folder, 'Tg%d.prm' % sensor.id), sensor.text().encode('ascii'))
    write(os.path.join(folder, name + '.csv'), table(HEADER, map(raw_fields, samples)))
    write(os.path.join(folder, name + '_truth.csv'), table(TRUTH_HEADER, map(truth_fields, samples)))
    if plan.binary:
        write(os.path.join(folder, name + '.korraw'), b''.join(map(binary_record, samples)))


# ------------------------------------------------------------------------------------------------------ verification

def binary_fields(record):
    """The line of the text recording that says the same as a 68-byte record, fields taken by their offsets."""
    def at(kind, offset):
        return struct.unpack_from('<' + kind, record, offset)[0]

    return ([str(at('i', 4))] + [shortest(at('f', offset)) for offset in range(8, 44, 4)] + [str(at('B', 48))]
            + [str(at('i', offset)) for offset in (52, 56, 60)] + [str(at('I', 64))])


class ParameterText:
    """A parameter file read back on its own: titles located by their text, numbers by position."""

    def __init__(self, path):
        with open(path, encoding='ascii') as source:
            self.lines = source.read().split('\n')

    def rows(self, title, count):
        at = self.lines.index(title) + 1
        return [[f32(float(word)) for word in line.split()] for line in self.lines[at:at + count]]

    def table(self, title):
        at = self.lines.index(title) + 1
        count = int(self.lines[at])
        return [[f32(float(word)) for word in line.split()] for line in self.lines[at + 1:at + 1 + count]]


def verify(name, plan, sensor, samples, out):
    """Runs the engine's corrections forward on the emitted numbers; True when all differences are as expected."""
    folder = os.path.join(out, name)
    text = ParameterText(os.path.join(folder, 'Tg%d.prm' % sensor.id))
    thermal, tilt = text.rows('Thermal Compensation Factor', 1)[0], text.rows('Tilt Sensor Offset', 1)[0]
    level_x, level_y = (Spline(*map(list, zip(*text.table('Tilt %s Calibration Table' % axis)))) for axis in 'XY')
    azimuth, elevation = (Encoder([tuple(row) for row in text.table('%s Calibration Table' % axis)])
                          for axis in ('AZ', 'EL'))
    a1, a2 = (f32(v * DEG) for v in text.rows('Angle Offset', 1)[0])
    S = [row[0] for row in text.rows('Scale Factor', 8)]
    polarized = sensor.mode in (5, 6)

    def corrected(curve, axis, reading, temperature):
        gain = f32(f32(thermal[2 * axis] * temperature) + thermal[2 * axis + 1])
        return f32(f32(f32(curve(reading)) - tilt[axis]) * gain)

    with open(os.path.join(folder, name + '.csv'), encoding='ascii') as source:
        records = [line.split(',') for line in source.read().split()[1:]]
    same = True
    if plan.binary:
        with open(os.path.join(folder, name + '.korraw'), 'rb') as source:
            data = source.read()
        same = [binary_fields(data[at:at + 68]) for at in range(0, len(data), 68)] == records
    worst = dict.fromkeys(('levelX', 'levelY', 'azimuth', 'elevation'), 0.0)
    errors = []
    for record, s in zip(records, samples):
        x_raw, y_raw, temperature = (f32(float(record[c])) for c in (6, 7, 8))
        if polarized:
            x_raw = f32(x_raw / y_raw) if abs(y_raw) > 2000.0 else 0.0
        got = (corrected(level_x, 0, x_raw, temperature), corrected(level_y, 1, y_raw, temperature),
               f32(azimuth.forward(f32(float(record[4])))), f32(elevation.forward(f32(float(record[5])))))
        for key, value, wanted in zip(('levelX', 'levelY', 'azimuth', 'elevation'), got, (s.x, s.y, s.az, s.el)):
            worst[key] = max(worst[key], abs(value - wanted))
        if polarized:
            x, y, z = (float(record[c]) for c in (1, 2, 3))
            R = product(turn_z(-math.atan2(x, y)), turn_x(math.asin(z / math.sqrt(x * x + y * y + z * z))),
                        turn_y((S[1] + got[1]) * DEG * S[6]), turn_z(S[0] * DEG),
                        turn_x((a2 - got[3] * DEG) * S[5]), turn_z((a1 - got[2] * DEG) * S[4]))
            errors.append(angle_between(R, s.R))

    notes = [s.note for s in samples]
    print('%-16s %d samples, valid %d  %s' % (name, len(records), sum(s.valid for s in samples), '  '.join(
        '%s %d' % (kind, notes.count(kind)) for kind in ('ok', 'range', 'status', 'reference', 'moving', 'side'))))
    print('    levels %.1f..%.1f, %.1f..%.1f  azimuth %.1f..%.1f  elevation %.1f..%.1f deg' % tuple(
        f(getattr(s, key) for s in samples) for key in ('x', 'y', 'az', 'el') for f in (min, max)))
    print('    worst difference in degrees: ' + '  '.join('%s %.2g' % item for item in worst.items()))
    if errors:
        print('    orientation, degrees: median %.2g  worst %.2g' % (sorted(errors)[len(errors) // 2], max(errors)))
    # One float rounding of an angle below 32 or 256 degrees, twice; levels pass five roundings.
    return (same and len(records) == len(samples) and worst['azimuth'] < 3.1e-5 and worst['elevation'] < 4e-6
            and worst['levelX'] < 1e-5 and worst['levelY'] < 1e-5 and (not errors or max(errors) < 3e-5))


def main():
    parser = argparse.ArgumentParser(description='Make the simulated parameter files, recordings and truths.')
    parser.add_argument('--out', default=os.path.dirname(os.path.abspath(__file__)), help='folder to write to')
    parser.add_argument('--only', choices=list(PLANS), help='make this recording only')
    parser.add_argument('--verify', action='store_true', help='run the corrections forward on what was written')
    arguments = parser.parse_args()
    sound = True
    for name, plan in PLANS.items():
        if arguments.only in (None, name):
            sensor, samples = simulate(plan)
            emit(name, plan, sensor, samples, arguments.out)
            if arguments.verify and not verify(name, plan, sensor, samples, arguments.out):
                sound = False
                print('    NOT as expected')
    return 0 if sound else 1


if __name__ == '__main__':
    sys.exit(main())
