#!/usr/bin/env python3
"""Writes scenario files (format: replay.py) into a directory.

    scenarios.py DIRECTORY [--seed N] [--only PREFIX]

The same seed gives the same files. Names begin with the kind: `sane` smooth motion with sound
parameters, `edge` awkward inputs through the engine, `model` calls on the models themselves,
`mek` the support routines.
"""

import argparse
import math
import pathlib
import random

import engine
import mek
import simulate
from ieee import INF, NAN, f32, next_double, next_single
from models import DEAD_BAND, HALF_PI, LEVEL_DEAD_BAND

SINGLE_SPECIALS = [0.0, -0.0, NAN, INF, -INF, f32(1e-45), f32(-1e-40), f32(3.4e38), f32(-3.4e38)]
DOUBLE_SPECIALS = [0.0, -0.0, NAN, INF, -INF, 5e-324, -1e-310, 1e308, -1e308]
LAGS = [0.0, 3.0, 2.9, -2.9, -1.0, 25.0, 50.0, 51.0, 52.0, -51.0, 1e9, -1e9, 3.4e38, NAN, INF, -INF]
MODES = range(1, 11)
FIRST_VERSION = "CKorThreeVec2Level"
SECOND_VERSION = "CKorThreeVec2Levelv2"


def around(x, single=False):
    """x, its neighbours, and the same with the other sign."""
    step = next_single if single else next_double
    x = f32(x) if single else x
    values = [step(x, False), x, step(x)]
    return values + [-v for v in values]


def singles(*values):
    return [f32(v) for v in values]


class Script:
    """The lines of one scenario."""

    def __init__(self):
        self.lines = []

    def op(self, name, *values):
        words = [name]
        for value in values:
            self._add(words, value)
        self.lines.append(" ".join(words))

    def _add(self, words, value):
        if isinstance(value, (list, tuple)):
            for v in value:
                self._add(words, v)
        elif isinstance(value, bool):
            words.append(str(int(value)))
        elif isinstance(value, float):
            words.append(value.hex())
        else:
            words.append(str(value))

    def counted(self, name, values):
        self.op(name, len(values), values)

    def sample(self, raw, read=True):
        self.op("sample", raw.pack().hex())
        if read:
            self.op("ReadMatrix")


# Parameters of an engine ------------------------------------------------------------------------


def encoder_table(rng, count, amplitude=0.02):
    start = rng.uniform(-200.0, 10.0)
    rows = []
    for i in range(count):
        rows += singles(start + i * 360.0 / count, rng.uniform(-amplitude, amplitude))
    return rows


def level_table(rng, low, high, count):
    """(count, count + 3 knots, 4 count coefficients) of a spline close to y = x."""
    x = singles(*(low + (high - low) * i / (count - 1) for i in range(count)))
    size = high - low
    y = singles(*(v + size * rng.uniform(-1e-3, 1e-3) for v in x))
    coefficients = mek.cubic_splines(x, y, count - 1)
    return count, x + singles(0.0, 0.0, 0.0), coefficients + [0.0] * 4


def rotation(rng):
    return mek.mul3(
        mek.mul3(
            mek.rotation_x(rng.uniform(-3, 3)),
            mek.rotation_y(rng.uniform(-1.5, 1.5)),
        ),
        mek.rotation_z(rng.uniform(-3, 3)),
    )


class Setup:
    """One engine's parameters, and readings of a simulated pose to go with them."""

    def __init__(self, rng, mode):
        self.mode = mode

        def angle():
            return rng.choice((-1, 1)) * rng.uniform(0.1, 0.5)

        gains = [rng.uniform(0.95, 1.05) for _ in range(3)]
        self.S = singles(
            rng.uniform(-1, 1),
            rng.uniform(-0.5, 0.5) if mode not in (1, 2) else rng.choice((0.0, 0.3, -0.3)),
            rng.uniform(0, 2),
            rng.uniform(0, 2),
            *gains,
            rng.uniform(-1, 1),
        )
        self.Q = singles(*(rng.uniform(-80, 80) for _ in range(3)), angle(), angle(), angle())
        self.L1 = singles(1, 2, 3, angle(), angle(), angle(), rng.uniform(0.9, 1.1))
        self.L2 = singles(
            4,
            5,
            6,
            rng.choice((-1, 1)) * rng.uniform(30, 60),
            angle(),
            angle(),
            rng.uniform(0.9, 1.1),
        )
        self.offset = singles(rng.uniform(-3, 3), rng.uniform(-1, 1))
        self.tilt = singles(rng.uniform(-0.1, 0.1), rng.uniform(-0.1, 0.1))
        self.thermal = singles(
            rng.uniform(-1e-3, 1e-3), 1 + rng.uniform(-1e-2, 1e-2),
            rng.uniform(-1e-3, 1e-3), 1 + rng.uniform(-1e-2, 1e-2),
        )
        self.local = rotation(rng)
        self.machine = rotation(rng)
        self.azimuth = encoder_table(rng, rng.randint(1, 36))
        self.elevation = encoder_table(rng, rng.randint(2, 36))
        self.level_x = level_table(rng, -15.0, 15.0, rng.randint(2, 12))
        self.level_y = level_table(rng, -15.0, 15.0, rng.randint(2, 12))
        if mode in (5, 6) and rng.random() < 0.5:
            self.level_y = level_table(rng, -5000.0, 5000.0, rng.randint(2, 12))
        self.mcs = rng.random() < 0.5
        # The simulated sensor's own: a scenario may spoil what the engine is told.
        self.true = [list(group) for group in (self.S, self.Q, self.L1, self.L2, self.offset)]

    def write(self, script, mount=True):
        s = script
        s.op("setAzimuthComp", len(self.azimuth) // 2, self.azimuth)
        s.op("setElevationComp", len(self.elevation) // 2, self.elevation)
        s.op("setEncoderOffset", self.offset)
        s.op("setKnownVector", [1.0, 2.0, 3.0])
        s.op("setLocalMatrix", 3, self.local)
        s.op("setMachineMatrix", 3, self.machine)
        s.op("setLevelXComp", *self.level_x)
        s.op("setLevelYComp", *self.level_y)
        s.counted("setLevel1Parameters", self.L1)
        s.counted("setLevel2Parameters", self.L2)
        s.counted("setQVCParameters", self.Q)
        s.counted("setScaleFactors", self.S)
        s.op("setThermalFactor", self.thermal)
        s.op("setTiltOffset", self.tilt)
        s.op("setMcsFlag", self.mcs)
        s.op("setPSDParameters", 3, -7, 100)
        if mount:
            s.op("setMountMode", self.mode)

    def readings(self, R, P):
        """The nine inputs of a model for a true pose."""
        S, Q, L1, L2, (A1, A2) = self.true
        if self.mode in (1, 2):
            return simulate.dual_level(R, P, S, A1, A2)
        if self.mode in (5, 6):
            return simulate.polarizer(R, P, S, A1, A2)
        if self.mode in (7, 8):
            return simulate.three_vector(R, P, Q, L1, A1, A2, self.mode == 7)
        if self.mode in (9, 10):
            return simulate.two_level(R, P, Q, L1, L2, A1, A2)
        return simulate.pendulum(R, P, S, A1, A2, self.mode % 2 == 1)


class Motion:
    """A slowly moving pose; ten milliseconds a step."""

    def __init__(self, rng, mode):
        self.R0, self.P0 = simulate.random_pose(rng, 0.5, 5.0, 25.0, upside_down=mode == 9)
        self.P0 = [2.0 * x for x in self.P0]
        self.v = [rng.uniform(-200, 200) for _ in range(3)]
        self.amplitude = [rng.uniform(0, 100) for _ in range(3)]
        self.axis = mek.normalised([rng.gauss(0, 1) for _ in range(3)])
        self.rate = rng.uniform(-1, 1)

    def at(self, n):
        t = n * 0.01
        P = [
            self.P0[i] + self.v[i] * t + self.amplitude[i] * math.sin(3.0 * t + i)
            for i in range(3)
        ]
        turned = [
            mek.rotate_around_axis(self.axis, self.rate * math.sin(t), self.R0[c::3])
            for c in range(3)
        ]
        return [turned[c][r] for r in range(3) for c in range(3)], P


def record(rng, m, n, stamp0=0):
    """A raw record from nine model inputs."""
    raw = engine.RawInfo()
    raw.unread = (rng.randbytes(4), rng.randbytes(4))
    raw.sensorVector = singles(*m[0:3])
    raw.levelXRaw, raw.levelYRaw, raw.azimuthRaw, raw.elevationRaw = singles(*m[3:7])
    raw.levelTemperature = f32(20.0 + rng.gauss(0, 0.01))
    raw.referenceGate = f32(0.1)
    raw.temperatureCount = [
        838400 + rng.randint(0, 500), rng.randint(0, 0xFFFFFF), 920000 + rng.randint(0, 500)
    ]
    raw.timeStampMs = (stamp0 + 10 * n) & 0xFFFFFFFF
    return raw


class Source:
    """A set-up, a motion and the records that belong to them."""

    def __init__(self, rng, mode):
        self.rng = rng
        self.setup = Setup(rng, mode)
        self.motion = Motion(rng, mode)
        self.stamp0 = rng.choice((0, 5000, 0xFFFFFC18, 0x7FFFFF00))

    def inputs(self, n):
        return self.setup.readings(*self.motion.at(n))

    def record(self, n):
        raw = record(self.rng, self.inputs(n), n, self.stamp0)
        if self.setup.mode in (5, 6) and self.setup.level_y[1][0] < -1000.0:
            raw.levelYRaw = f32(self.rng.choice((-1, 1)) * self.rng.uniform(1500.0, 4500.0))
            raw.levelXRaw = f32(self.rng.uniform(-20000.0, 20000.0))
        return raw


# Kinds of scenario --------------------------------------------------------------------------------


def sane(rng):
    for mode in MODES:
        for part in range(4):
            s = Script()
            source = Source(rng, mode)
            s.op("newEngine", "k")
            s.op("Initialization")
            source.setup.write(s)
            for n in range(300):
                raw = source.record(n)
                if n < 3:
                    raw.referenceGate = f32(0.6)
                elif n < 5:
                    raw.referenceHold = 1 + n
                if part == 3 and rng.random() < 0.03:
                    raw.status = rng.choice((0, 1, 3, -1, 2**31 - 1))
                s.sample(raw)
            yield f"sane_mode{mode:02d}_{part}", s


RECORD_SLOTS = (
    "sensorVector0 sensorVector1 sensorVector2 azimuthRaw elevationRaw levelXRaw levelYRaw "
    "levelTemperature referenceGate"
).split()


def put(raw, slot, value):
    if slot.startswith("sensorVector"):
        raw.sensorVector[int(slot[-1])] = value
    else:
        setattr(raw, slot, value)


def edge_special_slots(rng):
    """Signed zeros, NaN, infinities and extremes in every slot of a record."""
    for mode in range(0, 9):
        s = Script()
        source = Source(rng, mode)
        s.op("newEngine", "k")
        source.setup.write(s)
        for n in range(3):
            s.sample(source.record(n))
        for slot in RECORD_SLOTS:
            for value in SINGLE_SPECIALS:
                raw = source.record(3)
                put(raw, slot, value)
                s.sample(raw)
        yield f"edge_special_mode{mode:02d}", s
    for mode in (9, 10):  # these keep what they were given: one value a process
        for slot in RECORD_SLOTS:
            for index, value in enumerate(SINGLE_SPECIALS):
                s = Script()
                source = Source(rng, mode)
                s.op("newEngine", "k")
                source.setup.write(s)
                for n in range(40):
                    raw = source.record(n)
                    if n == 22 or (n == 30 and index % 2):
                        put(raw, slot, value)
                    s.sample(raw)
                yield f"edge_special_mode{mode:02d}_{slot}_{index}", s


def edge_reference_slot(rng):
    """The reference is captured from a matrix of NaNs, or of a singular model result."""
    for mode in (1, 3, 5, 7):
        for mcs in (False, True):
            s = Script()
            source = Source(rng, mode)
            source.setup.mcs = mcs
            s.op("newEngine", "k")
            source.setup.write(s)
            bad = source.record(0)
            bad.azimuthRaw = NAN
            s.sample(bad)
            for n in range(1, 6):
                s.sample(source.record(n))
            yield f"edge_nan_reference_mode{mode:02d}_{int(mcs)}", s


def edge_parameters(rng):
    """Extremes in the configuration."""
    groups = (("S", 8), ("Q", 6), ("L1", 7), ("L2", 7))
    for mode in (1, 3, 5, 7, 8, 9, 10):
        for index, value in enumerate((0.0, -0.0, NAN, INF, f32(90.0), f32(1e30))):
            s = Script()
            for field, size in groups:
                for i in range(size):
                    if mode >= 9 and i not in (0, size - 1, 3):
                        continue
                    source = Source(rng, mode)
                    getattr(source.setup, field)[i] = value
                    s.op("newEngine", f"{field}{i}")
                    source.setup.write(s)
                    for n in range(3):
                        s.sample(source.record(n))
            yield f"edge_parameters_mode{mode:02d}_{index}", s
        s = Script()
        for op, size in (("setEncoderOffset", 2), ("setTiltOffset", 2), ("setThermalFactor", 4)):
            for i in range(size):
                for value in SINGLE_SPECIALS:
                    source = Source(rng, mode)
                    s.op("newEngine", f"{op}{i}")
                    source.setup.write(s)
                    values = [f32(0.5)] * size
                    values[i] = value
                    s.op(op, values)
                    for n in range(2):
                        s.sample(source.record(n))
        yield f"edge_offsets_mode{mode:02d}", s


def edge_thresholds(rng):
    # Reference gate
    for mode in (2, 4, 6, 8, 10):
        s = Script()
        for gate in around(0.4, single=True) + SINGLE_SPECIALS + [f32(0.5)]:
            for hold in (0, 1, 255):
                source = Source(rng, mode)
                s.op("newEngine", "g")
                source.setup.write(s)
                for n in range(3):
                    raw = source.record(n)
                    raw.referenceGate, raw.referenceHold = gate, hold
                    s.sample(raw)
        yield f"edge_gate_mode{mode:02d}", s

    # The ratio of modes 5 and 6
    for mode in (4, 5, 6, 7):
        s = Script()
        source = Source(rng, mode)
        s.op("newEngine", "k")
        source.setup.write(s)
        s.sample(source.record(0))
        n = 1
        for y in around(2000.0, single=True) + SINGLE_SPECIALS + singles(2500.0, -1e5):
            for x in SINGLE_SPECIALS + singles(100.0, -30000.0):
                raw = source.record(n)
                raw.levelXRaw, raw.levelYRaw = x, y
                s.sample(raw)
                n += 1
        yield f"edge_ratio_mode{mode:02d}", s

    # Temperature counts
    s = Script()
    source = Source(rng, 6)
    s.op("newEngine", "k")
    source.setup.write(s)
    counts = [0, 1, -1, 2**23 - 1, 2**23, 2**23 + 1, 2**24 - 1, 2**24, 2**24 + 1]
    counts += [2**31 - 1, -(2**31), -(2**23), 33554431, 41920]
    for i, count in enumerate(counts):
        raw = source.record(i)
        raw.temperatureCount = [count, counts[i - 1], counts[i - 2]]
        s.sample(raw)
    yield "edge_temperature", s

    # Knots of the level tables, and just outside; descending tables
    for name, descending in (("rising", False), ("falling", True)):
        s = Script()
        for mode in (2, 8):
            source = Source(rng, mode)
            if descending:
                table = level_table(rng, 15.0, -15.0, 7)
                source.setup.level_x = source.setup.level_y = table
            else:
                table = source.setup.level_x
            s.op("newEngine", "k")
            source.setup.write(s)
            for knot in table[1][: table[0]]:
                for x in around(knot, single=True)[:3]:
                    raw = source.record(0)
                    raw.levelXRaw = raw.levelYRaw = x
                    s.sample(raw)
        yield f"edge_knots_{name}", s

    # Dead-bands of the vector's components, mode by mode
    for mode in (1, 2, 3, 4):
        s = Script()
        source = Source(rng, mode)
        s.op("newEngine", "k")
        source.setup.write(s)
        s.sample(source.record(0))
        values = around(DEAD_BAND, single=True) + singles(0.0, -0.0, 1500.0, -1500.0)
        for x in values:
            for y in values:
                raw = source.record(0)
                raw.sensorVector[0:2] = [x, y]
                s.sample(raw)
                raw.sensorVector[2] = f32(rng.choice((1e-7, -1e-7, 0.0)))
                s.sample(raw)
        yield f"edge_quadrants_mode{mode:02d}", s


def edge_angles(rng):
    """The angle extraction of modes below 7, on matrices chosen entry by entry.

    This polarizer set-up's matrix is the identity, so that machine * R is the machine matrix; a
    singular local matrix is its own inverse's place holder, so that local * local comes out.
    """
    entries = [0.0, -0.0, 1.0, -1.0, 0.5, -0.5, 1e-300, -1e-300]
    entries += around(1e-12)
    for mcs in (True, False):
        for part in range(3):
            s = Script()
            s.op("newEngine", "k")
            s.counted("setScaleFactors", singles(0, 0, 0, 0, 1, 1, 1, 0))
            s.op("setThermalFactor", singles(0, 1, 0, 1))
            s.op("setLocalMatrix", 3, mek.eye(3))
            s.op("setMcsFlag", mcs)
            s.op("setMountMode", 5)
            raw = engine.RawInfo()
            raw.sensorVector = [0.0, 1.0, 0.0]
            s.sample(raw)
            for _ in range(250):
                matrix = [rng.choice(entries) for _ in range(9)]
                if part == 1:
                    base = rotation(rng)
                    matrix = [a if rng.random() < 0.7 else b for a, b in zip(base, matrix)]
                if part == 2:
                    turns = [rng.choice((-2, -1, 0, 1, 2)) * HALF_PI for _ in range(3)]
                    matrix = mek.mul3(
                        mek.mul3(mek.rotation_x(turns[0]), mek.rotation_y(turns[1])),
                        mek.rotation_z(turns[2]),
                    )
                    if not mcs:
                        raw.azimuthRaw = f32(rng.choice((0, 90, -90, 180, 45)))
                        raw.elevationRaw = f32(rng.choice((0, 90, -90, 180, 45)))
                elif not mcs:
                    matrix[6:9] = [2.0 * x for x in matrix[3:6]]  # singular
                s.op("setMachineMatrix" if mcs else "setLocalMatrix", 3, matrix)
                s.sample(raw)
            yield f"edge_angles_{'machine' if mcs else 'local'}_{part}", s


def edge_roll(rng):
    """Modes of 7 and above turned beyond 90 degrees, where all three angles are taken anew."""
    for mode in (7, 8, 9, 10):
        s = Script()
        source = Source(rng, mode)
        s.op("newEngine", "k")
        source.setup.write(s)
        for n in range(150):
            raw = source.record(n)
            if mode < 9:
                raw.sensorVector = singles(*simulate.random_position(rng, 89.0))
                raw.levelYRaw = f32(rng.uniform(-14, 14))
            raw.azimuthRaw = f32(rng.uniform(-400, 400))
            raw.elevationRaw = f32(rng.uniform(-400, 400))
            s.sample(raw)
        yield f"edge_roll_mode{mode:02d}", s


def edge_vectors(rng):
    """Zero, vertical and level directions; level readings of exactly nothing."""
    vectors = [[x, y, z] for x in (0.0, -0.0, 1.0, -3.0) for y in (0.0, -0.0, 2.0, -2.0)
               for z in (0.0, -0.0, 1.0, -5.0)]
    for mode in range(0, 9):
        s = Script()
        source = Source(rng, mode)
        source.setup.tilt = [0.0, 0.0]
        source.setup.level_x = source.setup.level_y = (2, singles(-15, 15, 0, 0, 0),
                                                       [-15.0, 1.0, 0.0, 0.0] + [0.0] * 4)
        s.op("newEngine", "k")
        source.setup.write(s)
        s.sample(source.record(0))
        for vector in vectors:
            raw = source.record(0)
            raw.sensorVector = singles(*vector)
            s.sample(raw)
            raw.levelXRaw = raw.levelYRaw = f32(rng.choice((0.0, -0.0, 1e-4, 1.0)))
            s.sample(raw)
        yield f"edge_vectors_mode{mode:02d}", s


def edge_status(rng):
    """Status changes, repeated and wrapped stamps, levels leaving their range and coming back."""
    for mode in (1, 3, 7, 8, 9, 10):
        for part in range(2):
            s = Script()
            source = Source(rng, mode)
            s.op("newEngine", "k")
            source.setup.write(s)
            out_x = out_y = 0
            stamp = 0
            for n in range(260):
                raw = source.record(n)
                if n > 20:
                    if rng.random() < 0.03:
                        out_x = rng.randint(1, 40)
                    if rng.random() < 0.03:
                        out_y = rng.randint(1, 40)
                    if part and rng.random() < 0.02:
                        raw.status = 1
                    if rng.random() < 0.1:
                        stamp -= 10
                if out_x > 0:
                    raw.levelXRaw = f32(16.0)
                    out_x -= 1
                if out_y > 0:
                    raw.levelYRaw = f32(rng.choice((-16.0, NAN)) if part else -16.0)
                    out_y -= 1
                raw.timeStampMs = (raw.timeStampMs + stamp) & 0xFFFFFFFF
                s.sample(raw)
            yield f"edge_status_mode{mode:02d}_{part}", s


def edge_long(rng):
    """The second two-level version past the mean of its warm-up, with dynamic parameters."""
    choices = (
        [0, 0, 0, 0, 0, 0, 0],
        [1, 0.5, -0.25, 0.5, 0, 0, 0],
        [0.3, 20, 30, 0.9, 3, 3, 2],
        [0.7, -2, 5, 0.99, 50, 1, 4],
        [0, 1, 1, 1, 5, 0, 50],
        [-3, 100, 100, -0.5, 2, 10, 7],
    )
    for index, dynamic in enumerate(choices):
        for mode in (9, 10):
            s = Script()
            source = Source(rng, mode)
            s.op("newEngine", "k")
            s.op(
                "loadParameterStore",
                singles(*dynamic),
                singles(*(rng.uniform(-0.2, 0.2) for _ in range(3))),
                singles(*(rng.uniform(-0.2, 0.2) for _ in range(3))),
            )
            source.setup.write(s)
            drift = 0.0
            for n in range(620):
                raw = source.record(n)
                drift += rng.gauss(0, 40)
                raw.temperatureCount[0] += int(drift)
                raw.temperatureCount[2] -= int(drift)
                if index == 4 and 100 <= n < 130:
                    raw.temperatureCount[0] = 0
                if index == 3 and 250 <= n < 290:
                    raw.levelXRaw = f32(20.0)
                if n % 50 == 0:
                    s.op("setPSDParameters", rng.randint(-99, 99), rng.randint(-99, 99),
                         rng.choice((100, -7, 0, 1)))
                s.sample(raw, read=n % 5 == 0)
            yield f"edge_long_mode{mode:02d}_{index}", s


def edge_lags(rng):
    for index, lag in enumerate(LAGS):
        s = Script()
        source = Source(rng, 9 + index % 2)
        dynamic = singles(rng.uniform(0, 1), 1, 1, 0.5, lag, lag, lag)
        for slot in range(4, 7):
            if rng.random() < 0.4:
                dynamic[slot] = f32(rng.choice(LAGS))
        s.op("newEngine", "k")
        s.op("loadParameterStore", dynamic, [0.0] * 3, [0.0] * 3)
        source.setup.write(s)
        for n in range(70):
            s.sample(source.record(n))
        yield f"edge_lags_{index:02d}", s
    for index, value in enumerate(SINGLE_SPECIALS):
        for slot in range(4):
            s = Script()
            source = Source(rng, 10)
            dynamic = singles(0.5, 1, 1, 0.5, 1, 2, 3)
            dynamic[slot] = value
            s.op("newEngine", "k")
            s.op("loadParameterStore", dynamic, [0.0] * 3, [0.0] * 3)
            source.setup.write(s)
            for n in range(30):
                s.sample(source.record(n))
            yield f"edge_dynamic_{slot}_{index}", s


def edge_store(rng):
    """Detector coefficients with every kind of divisor, in every vector mode."""
    for mode in (6, 7, 8, 9, 10, 11):
        s = Script()
        source = Source(rng, mode)
        s.op("newEngine", "k")
        source.setup.write(s)
        psd = [(5, 7, 0), (5, 7, 3), (-5, 0, 3), (16777217, 2**31 - 1, 3), (1, -(2**31), -1),
               (0, 0, 0), (0, -1, -(2**31))]
        for n in range(5):
            s.sample(source.record(n))
        s.op("loadParameterStore", singles(1, 0, 0, 0, 0, 0, 0),
             singles(0.1, 0.25, 3.0), singles(-0.1, 0.3, 2.0))
        for n, values in enumerate(psd * 2):
            s.op("setPSDParameters", values)
            s.sample(source.record(5 + n))
        s.op("setMountMode", mode)  # now the dynamic parameters reach the model
        for n in range(10):
            s.sample(source.record(20 + n))
        s.op("loadParameterStore", singles(1, 0, 0, 0, 0, 0, 0),
             singles(NAN, INF, 3.0), singles(-0.1, 1e30, 3e38))
        for n in range(5):
            s.sample(source.record(30 + n))
        yield f"edge_store_mode{mode:02d}", s


def edge_modes(rng):
    """Every mode and both flags; then mode changes on one engine."""
    for mode in range(-3, 13):
        for mcs in (False, True):
            s = Script()
            source = Source(rng, mode)
            source.setup.mcs = mcs
            s.op("newEngine", "k")
            source.setup.write(s)
            for n in range(30):
                s.sample(source.record(n))
            yield f"edge_mode_{mode}_{int(mcs)}".replace("-", "m"), s
    for first in (1, 2, 3, 4, 5, 6, 7, 8, 9, 10, -1, 11):
        s = Script()
        source = Source(rng, first)
        s.op("newEngine", "k")
        source.setup.write(s)
        n = 0
        for mode in [first] + rng.sample(range(-3, 13), 16):
            if n:
                s.op("setMountMode", mode)
            for _ in range(7):
                s.sample(source.record(n))
                n += 1
        yield f"edge_change_{first}".replace("-", "m"), s


def edge_copies(rng):
    """Copies share tables, model and parameter store with their source, nothing else."""
    for mode in (1, 3, 5, 8, 10):
        s = Script()
        source = Source(rng, mode)
        s.op("newEngine", "a")
        source.setup.write(s)
        for n in range(8):
            s.sample(source.record(n))
        s.op("copyEngine", "b", "a")
        s.op("ReadMatrix")
        s.op("setEncoderOffset", singles(0.1, 0.2))
        s.op("setMcsFlag", not source.setup.mcs)
        s.op("setMachineMatrix", 3, rotation(rng))
        s.op("setTiltOffset", singles(0.5, -0.5))
        for n in range(8, 40):
            s.op("useEngine", rng.choice("ab"))
            s.sample(source.record(n))
        s.op("setMountMode", mode + 1)
        for n in range(40, 60):
            s.op("useEngine", rng.choice("ab"))
            s.sample(source.record(n))
        s.op("useEngine", "b")
        s.op("loadParameterStore", singles(1, 0, 0, 0, 0, 0, 0), singles(0.1, 1, 1),
             singles(0.2, 1, 1))
        for n in range(60, 70):
            s.op("useEngine", "ab"[n % 2])
            s.sample(source.record(n))
        yield f"edge_copies_mode{mode:02d}", s

    # The copy writes new values into the tables that its source reads as well.
    s = Script()
    source = Source(rng, 8)
    s.op("newEngine", "a")
    source.setup.write(s)
    s.op("copyEngine", "b", "a")
    rows = len(source.setup.azimuth) // 2
    s.op("setAzimuthComp", rows, [f32(x * 1.0 if i % 2 == 0 else x + 0.5)
                                 for i, x in enumerate(source.setup.azimuth)])
    count, knots, coefficients = source.setup.level_x
    s.op("setLevelXComp", count, knots, [0.5 * c for c in coefficients])
    for n in range(8):
        s.op("useEngine", "ab"[n % 2])
        s.sample(source.record(n))
        s.op("getInverseAzCalib", f32(10.0 * n))
    yield "edge_copies_tables", s


def edge_setters(rng):
    """Null pointers, counts of every size, small and large matrices, tables set again."""
    s = Script()
    s.op("newEngine", "k")
    s.op("ReadMatrix")
    s.op("ReadMatrix", "null")
    s.sample(Source(rng, 5).record(0))  # no model yet
    for op in ("setScaleFactors", "setQVCParameters", "setLevel1Parameters",
               "setLevel2Parameters", "setLevelXComp", "setLevelYComp", "setAzimuthComp",
               "setElevationComp", "setKnownVector", "setLocalMatrix", "setMachineMatrix"):
        s.op(op, "null")
    for count in (0, -1, -2147483648):
        s.op("setLevelXComp", count)
        s.op("setLevelYComp", count)
    source = Source(rng, 8)
    source.setup.write(s)
    for n in range(3):
        s.sample(source.record(n))
    for op, field, size in (("setScaleFactors", "S", 8), ("setQVCParameters", "Q", 6),
                            ("setLevel1Parameters", "L1", 7), ("setLevel2Parameters", "L2", 7)):
        for count in (1, 3, size, size + 5):
            s.counted(op, singles(*(rng.uniform(0.5, 1.5) for _ in range(count))))
            s.op("setMountMode", 8)
            s.sample(source.record(3))
    count, knots, coefficients = source.setup.level_x
    for smaller in (1, 2, count):  # never more than the first time
        if smaller <= count:
            s.op("setLevelXComp", smaller, knots[: smaller + 3],
                 [1.1 * c for c in coefficients[: 4 * smaller]])
            s.sample(source.record(4))
    rows = len(source.setup.elevation) // 2
    for smaller in (1, rows - 1, rows):
        if 1 <= smaller <= rows:
            s.op("setElevationComp", smaller, source.setup.elevation[: 2 * smaller])
            s.sample(source.record(5))
            s.op("getInverseElCalib", f32(17.0))
    yield "edge_setters", s

    s = Script()
    source = Source(rng, 2)
    source.setup.mcs = False
    s.op("newEngine", "k")
    source.setup.write(s)
    s.sample(source.record(0))
    for op in ("setLocalMatrix", "setMachineMatrix"):
        for n in (0, 1, 2, 4, 3):
            s.op(op, n, [rng.uniform(-1, 1) for _ in range(n * n)])
            for mcs in (False, True):
                s.op("setMcsFlag", mcs)
                s.sample(source.record(1))
    for special in DOUBLE_SPECIALS:
        for i in range(0, 9, 2):
            matrix = rotation(rng)
            matrix[i] = special
            for op, mcs in (("setLocalMatrix", False), ("setMachineMatrix", True)):
                s.op(op, 3, matrix)
                s.op("setMcsFlag", mcs)
                s.sample(source.record(2))
    yield "edge_matrices", s

    # Nothing but the mode: everything starts at zero.
    for mode in range(1, 11):
        s = Script()
        source = Source(rng, mode)
        s.op("newEngine", "k")
        s.op("setMountMode", mode)
        for n in range(12):
            s.sample(source.record(n))
        source.setup.write(s, mount=False)  # the model does not see the groups yet
        for n in range(12, 20):
            s.sample(source.record(n))
        s.op("setMountMode", mode)
        for n in range(20, 40):
            s.sample(source.record(n))
        yield f"edge_bare_mode{mode:02d}", s


def edge_encoders(rng):
    s = Script()
    index = 0
    tables = [[], singles(20, 0.5), singles(-180, 0.1, 0, -0.1, 180, 0.1),
              singles(0, 1, 360, 2), singles(0, -0.0, 90, 0.3, 180, 0.0, 270, -0.3),
              encoder_table(rng, 36), encoder_table(rng, 7, 5.0), singles(350, 1, 355, -1, 370, 2)]
    for table in tables:
        s.op("newEngine", f"e{index}")
        index += 1
        s.op("setAzimuthComp", len(table) // 2, table)
        s.op("setElevationComp", len(table) // 2, table)
        s.op("setMountMode", 6)
        values = SINGLE_SPECIALS[:-2] + singles(
            *(rng.uniform(-1000, 1000) for _ in range(25)), 1e5, -1e5, 359.99998, 360, -360, 720)
        for reading in table[::2]:
            values += around(reading, single=True)[:3]
        for value in values:
            raw = engine.RawInfo()
            raw.azimuthRaw = raw.elevationRaw = value
            raw.sensorVector = [1.0, 2.0, 3.0]
            s.sample(raw)
            s.op("getInverseAzCalib", value)
            s.op("getInverseElCalib", value)
    yield "edge_encoders", s


def edge_home(rng):
    s = Script()
    s.op("newEngine", "k")
    for _ in range(400):
        a = mek.normalised([rng.gauss(0, 1) for _ in range(3)])
        b = [rng.gauss(0, 3) for _ in range(3)]
        s.op("Calc_HV0", a, b, [rng.uniform(-180, 180) for _ in range(2)],
             [rng.uniform(-20, 20) for _ in range(3)])
    pool = [0.0, -0.0, 1.0, -1.0] + around(1e-12)
    degrees = [0.0, -0.0, 5.0, -5.0, 90.0, -90.0, 180.0, 270.0]
    degrees += [v / mek.DEGREE for v in around(1e-12)] + around(HALF_PI / mek.DEGREE)
    for _ in range(600):
        a = [rng.choice(pool) for _ in range(3)]
        b = [rng.choice(pool) for _ in range(3)]
        s.op("Calc_HV0", a, b, [rng.choice(degrees), rng.choice(degrees)],
             [rng.choice(degrees), rng.choice(degrees), 0.0])
    for i in range(10):
        for special in DOUBLE_SPECIALS:
            v = [rng.gauss(0, 1) for _ in range(11)]
            v[i] = special
            s.op("Calc_HV0", v)
    yield "edge_home", s


# The models themselves ----------------------------------------------------------------------------


def prime(s, setup, parity):
    s.op("set_iMMode", parity)
    s.counted("UpdateSFactors", setup.S)
    s.counted("UpdateQVCParameters", setup.Q)
    s.counted("UpdateLevel1Parameters", setup.L1)
    s.counted("UpdateLevel2Parameters", setup.L2)


CLASSES = {1: "CKorDualLevel", 3: "CKorPendulum", 5: "CKorPolarizer", 7: "CKorThreeVec"}


def model_single(rng):
    for mode, name in CLASSES.items():
        s = Script()
        for parity in (0, 1, 2, 5):
            for tilt, elevation in ((5.0, 30.0), (60.0, 60.0)):
                source = Source(rng, mode)
                s.op("newModel", "m", name)
                prime(s, source.setup, parity)
                for _ in range(40):
                    R, P = simulate.random_pose(rng, 0.0, tilt, elevation)
                    try:
                        m = source.setup.readings(R, P)
                    except ValueError:
                        continue
                    s.op("CalTranxMatrix", source.setup.offset, m)
                    s.op("GetQVCMatrix", 6)
        yield f"model_random_{name}", s

        s = Script()
        source = Source(rng, mode)
        s.op("newModel", "m", name)
        prime(s, source.setup, 1)
        for slot in range(9):
            for value in DOUBLE_SPECIALS:
                m = source.inputs(0)
                m[slot] = value
                s.op("CalTranxMatrix", source.setup.offset, m)
                s.op("GetQVCMatrix", 6)
        for value in DOUBLE_SPECIALS:
            s.op("CalTranxMatrix", value, 0.5, source.inputs(0))
            s.op("CalTranxMatrix", 0.5, value, source.inputs(0))
        yield f"model_special_{name}", s


def model_thresholds(rng):
    plain = singles(0, 0, 0, 0, 1, 1, 1, 0)
    s = Script()
    s.op("newModel", "m", "CKorDualLevel")
    levels = around(0.001) + around(LEVEL_DEAD_BAND / mek.DEGREE) + [0.0, -0.0, 0.002, -3.0, 2.0]
    for factors in (plain, singles(0.5, -0.7, 0, 0, 1, 1, 1, 0), singles(0, 89.5, 0, 0, 0, 0, 0, 0)):
        s.counted("UpdateSFactors", factors)
        for a3 in levels:
            for a4 in levels:
                s.op("CalTranxMatrix", 0.0, 0.0, [1000.0, -300.0, 250.0, a3, a4, 10.0, 5.0, 0.0, 0.0])
        components = around(DEAD_BAND) + [0.0, -0.0, 700.0, -700.0]
        for x in components:
            for y in components:
                s.op("CalTranxMatrix", 0.1, 0.2, [x, y, -30.0, 1.0, 2.0, 10.0, 5.0, 0.0, 0.0])
    s.counted("UpdateSFactors", plain)
    for x in ([1.0, 0.0, 0.0], [0.0, 0.0, 0.0], [0.0, 0.0, 1.0], [1e-5, -1.0, 0.0]):
        s.op("CalTranxMatrix", 0.0, 0.0, x + [0.0] * 6)
    yield "model_thresholds_CKorDualLevel", s

    s = Script()
    s.op("newModel", "m", "CKorPendulum")
    targets = around(DEAD_BAND / mek.DEGREE) + [0.0, -0.0, 2.0, -2.0]
    for parity in (0, 1, 2):
        for factors in (plain, singles(0.5, 0, 1.0, 0.7, 1, 1, 1, 0)):
            s.op("set_iMMode", parity)
            s.counted("UpdateSFactors", factors)
            for z in (0.0, -0.0, 400.0, -400.0, 5e-324):
                for tilt in targets:
                    s.op("CalTranxMatrix", 0.1, 0.2, [3000.0, -900.0, z, 0.0, tilt, 8.0, 3.0, 0.0, 0.0])
    for x in around(DEAD_BAND) + [0.0, 50.0]:
        for y in around(DEAD_BAND) + [0.0, -50.0]:
            s.op("CalTranxMatrix", 0.1, 0.2, [x, y, 30.0, 0.0, 1.0, 8.0, 3.0, 0.0, 0.0])
    yield "model_thresholds_CKorPendulum", s

    # Arms that make the iteration slow, or let it run to its end
    s = Script()
    s.op("newModel", "m", "CKorPendulum")
    for swing in (60.0, 80.0, 89.0, 90.0, 91.0, 100.0, 170.0):
        for bend in (0.0, 30.0, 120.0):
            s.counted("UpdateSFactors", singles(0.2, 0, bend, swing, 1, 1, 1, 0))
            for z in (800.0, -800.0):
                for tilt in (1.5, -1.5):
                    s.op("CalTranxMatrix", 0.0, 0.0, [2500.0, 700.0, z, 0.0, tilt, 8.0, 3.0, 0.0, 0.0])
    yield "model_iteration_CKorPendulum", s


def model_base(rng):
    """The do-nothing operations, copies and queries."""
    s = Script()
    source = Source(rng, 7)
    for name in ("CKorModel",) + tuple(CLASSES.values()) + (FIRST_VERSION, SECOND_VERSION):
        s.op("newModel", name, name)
        s.op("set_iMMode", 1)
        s.op("set_iMMode", -1)
        s.op("set_iMMode", 0)
        s.op("set_iMMode", 7)
        s.op("set_iMMode", -2147483648)
        s.op("GetQVCMatrix", 6)
        s.op("GetQVCMatrix", 2)
        s.op("GetQVCMatrix", 0)
        s.op("GetQVCMatrix", -3)
        s.op("GetLevelValues")
        prime(s, source.setup, 1)
        s.op("SetDynamicParameters", singles(1, 2, 3, 0.5, 1, 2, 3))
        s.op("SetDynamicParameters", "null")
        if name != FIRST_VERSION:  # refused before anything happens, or without any state
            s.op("SetCounter", 5, 6)
            s.op("SetTimeInterval", 0.1, 0.2)
            s.op("CalTranxMatrix", 0.1, 0.2, source.inputs(0))
        if name not in (FIRST_VERSION, SECOND_VERSION):
            for kind in ("copyModel", "moveModel"):
                s.op(kind, name + kind, name)
                s.op("CalTranxMatrix", 0.1, 0.2, source.inputs(0))
                s.op("GetQVCMatrix", 6)
            s.op("newModel", name + "assigned", name)
            s.op("assignModel", name + "assigned", name)
            s.op("UpdateSFactors", 1, f32(0.125))
            s.op("CalTranxMatrix", 0.1, 0.2, source.inputs(0))
            s.op("useModel", name)
            s.op("CalTranxMatrix", 0.1, 0.2, source.inputs(0))
        s.op("UpdateQVCParameters", 2, singles(0.5, 0.25))
        s.op("SetLevelLimits", True, True)
        s.op("CalTranxMatrix", 0.1, 0.2, source.inputs(1))
    yield "model_base", s


def drive(s, source, n, rng, counters, times, limits, jitter=0.0):
    m = source.inputs(n)
    m[7] = 20.0 + 0.01 * n
    m[8] = 22.0 + rng.gauss(0, 0.05)
    for i in (3, 4):
        m[i] += rng.gauss(0, jitter)
    s.op("SetLevelLimits", limits)
    s.op("SetCounter", counters)
    s.op("SetTimeInterval", times)
    s.op("CalTranxMatrix", source.setup.offset, m)
    s.op("GetLevelValues")


def model_first_version(rng):
    for index, mode in enumerate((9, 10, 9, 10)):
        s = Script()
        source = Source(rng, mode)
        s.op("newModel", "a", FIRST_VERSION)
        prime(s, source.setup, mode % 2)
        c1 = c2 = 0
        limits = (False, False)
        for n in range(330):
            if index in (1, 2) and n > 120 and rng.random() < 0.05:
                limits = rng.choice(((False, False), (True, False), (False, True), (True, True)))
            if index == 2 and n in (200, 260):
                c1 = 0
            if index == 3 and n == 140:
                c2 = 40  # level 1 alone gives a result for a while
            if index == 3 and n == 230:
                c1, c2 = 51, 70
            drive(s, source, n, rng, (c1, c2), (0.01 * n, 0.01 * n), limits, 0.002)
            if n % 10 == 0:
                s.op("GetQVCMatrix", 6)
            c1 += 1
            c2 += 1
        yield f"model_first_{index}", s

    # One excluded from the start, then the other
    for index, limits in enumerate(((True, False), (False, True))):
        s = Script()
        source = Source(rng, 10)
        s.op("newModel", "a", FIRST_VERSION)
        prime(s, source.setup, 0)
        for n in range(260):
            now = limits if n < 150 else (not limits[0], not limits[1])
            drive(s, source, n, rng, (n, n), (0.01 * n, 0.01 * n), now, 0.001)
        yield f"model_first_alone_{index}", s

    # Specials in every slot once the histories are full; counters at the edges of 32 bits
    for slot in range(9):
        for index, value in enumerate((NAN, INF, 0.0, -0.0, 1e308)):
            s = Script()
            source = Source(rng, 10)
            s.op("newModel", "a", FIRST_VERSION)
            prime(s, source.setup, 0)
            for n in range(112):
                if n in (104, 108):
                    m = source.inputs(n)
                    m[slot] = value
                    s.op("SetCounter", n, n)
                    s.op("SetTimeInterval", 0.01 * n, 0.01 * n)
                    s.op("CalTranxMatrix", source.setup.offset, m)
                else:
                    drive(s, source, n, rng, (n, n), (0.01 * n, 0.01 * n), (False, False))
            yield f"model_first_special_{slot}_{index}", s
    s = Script()
    source = Source(rng, 10)
    s.op("newModel", "a", FIRST_VERSION)
    prime(s, source.setup, 0)
    counters = list(range(104)) + [2**31 - 1, 2**31, 2**31 + 1, 2**32 - 1, 2**32 - 2, 10**9]
    counters += [2**32 + n for n in (0, 5, 51, 102, 150)] + [2**40 + 104, 2**63 + 105]
    for n, counter in enumerate(counters):
        drive(s, source, n, rng, (counter, counter), (0.01 * n, 0.01 * n), (False, False))
    for n in range(60):  # one stamp throughout: the fit has no slope
        drive(s, source, 120, rng, (110 + n, 110 + n), (5.0, 5.0), (False, False))
    yield "model_first_counters", s

    # Two objects share what the process keeps; copies share the filter buffers
    s = Script()
    sources = {"a": Source(rng, 10), "b": Source(rng, 9)}
    for name, source in sources.items():
        s.op("newModel", name, FIRST_VERSION)
        prime(s, source.setup, source.setup.mode % 2)
    for n in range(125):
        for name in "ab":
            s.op("useModel", name)
            drive(s, sources[name], n, rng, (n, n), (0.01 * n, 0.01 * n), (False, False), 0.01)
    s.op("copyModel", "c", "a")
    s.op("assignModel", "b", "a")
    sources["c"] = sources["a"]
    for n in range(125, 230):
        for name in "abc":
            if rng.random() < 0.8:
                s.op("useModel", name)
                drive(s, sources["a"], n, rng, (n, n), (0.01 * n, 0.01 * n), (False, False), 0.01)
    yield "model_first_instances", s


def model_first_parts(rng):
    """The first version's operations one by one."""
    s = Script()
    s.op("newModel", "a", FIRST_VERSION)
    source = Source(rng, 10)
    for n in range(250):
        value = rng.gauss(0, 1) if n < 170 else rng.choice(DOUBLE_SPECIALS + [1.0] * 20)
        s.op("MovingFilter", value)
        s.op("MovingFilterLevelY", -value * 0.5)
        if n == 100:
            s.op("copyModel", "b", "a")
        if n > 100:
            s.op("useModel", rng.choice("ab"))
    s.op("newModel", "z", FIRST_VERSION)
    for _ in range(85):
        s.op("MovingFilter", -0.0)
    yield "model_first_filters", s

    s = Script()
    s.op("newModel", "a", FIRST_VERSION)
    for n in list(range(108)) + [102, 50, 51, 52, 101, 102, 103, 2**32 + 102, 2**32 - 1]:
        pos = [rng.uniform(-10, 10) + 0.3 * n for _ in range(3)]
        axis = mek.normalised([rng.gauss(0, 1) for _ in range(3)])
        s.op("GetAccLx", pos, axis, n, 0.01 * n)
        s.op("GetAccLy", axis, pos, n, 0.02 * n)
    for value in DOUBLE_SPECIALS:
        s.op("GetAccLx", [value, 1.0, 2.0], [1.0, 0.0, 0.0], 120, 1.2)
        s.op("GetAccLy", [1.0, 1.0, 2.0], [1.0, 0.0, 0.0], 120, value)
        for n in range(121, 124):
            s.op("GetAccLx", [3.0, 1.0, 2.0], [1.0, value, 0.0], n, 0.01 * n)
            s.op("GetAccLy", [3.0, 1.0, 2.0], [1.0, 0.0, 0.0], n, 0.01 * n)
    yield "model_first_acceleration", s

    for name, compensate in ((FIRST_VERSION, "GetLevelAfterAccComp"),
                             (SECOND_VERSION, "GetLevelAfterAccCompv2")):
        s = Script()
        s.op("newModel", "a", name)
        levels = [0.0, -0.0, 10.0, -10.0, 90.0, -90.0, 180.0] + DOUBLE_SPECIALS
        accs = [0.0, -0.0, 1.0, -100.0] + around(9800.0) + around(19600.0) + DOUBLE_SPECIALS
        for level in levels:
            for acc in accs:
                values = [level, acc] + ([-33.0] if compensate.endswith("v2") else [])
                s.op(compensate, values)
        for _ in range(300):
            values = [rng.uniform(-90, 90), rng.uniform(-5000, 5000)]
            values += [rng.uniform(-1, 1)] if compensate.endswith("v2") else []
            s.op(compensate, values)
        yield f"model_compensation_{name}", s

        s = Script()
        s.op("newModel", "a", name)
        for parity in (0, 1):
            s.op("set_iMMode", parity)
            for i in range(200):
                direction = mek.normalised([rng.gauss(0, 0.2), 1.0, rng.gauss(0, 0.2)])
                level = rng.uniform(-8, 8) if i % 4 else rng.uniform(-100, 100)
                h, v = rng.uniform(-180, 180), rng.uniform(-80, 80)
                if i % 10 == 9:
                    level, h, v = rng.choice(((NAN, h, v), (level, INF, v), (level, h, NAN)))
                prm = singles(1, 2, 3, rng.uniform(-60, 60), rng.uniform(-3, 3),
                              rng.uniform(-1, 1), rng.uniform(0.9, 1.1))
                axis = mek.normalised([1.0, rng.gauss(0, 1), rng.gauss(0, 0.05)])
                if i % 25 == 0:
                    axis = direction
                s.op("GetF1", prm, level, direction, h, v)
                if name == SECOND_VERSION:
                    s.op("GetF1v2", axis, level, direction, h, v)
        yield f"model_solve_{name}", s


def model_second_version(rng):
    for index in range(8):
        mode = 9 + index % 2
        s = Script()
        source = Source(rng, mode)
        s.op("newModel", "a", SECOND_VERSION)
        prime(s, source.setup, mode % 2)
        dynamic = [rng.choice((0.0, 1.0, 0.3)), rng.uniform(-5, 5), rng.uniform(-5, 5),
                   rng.choice((0.0, 0.5, 0.9, 0.3)), *(float(rng.randint(0, 6)) for _ in range(3))]
        if index:
            s.op("SetDynamicParameters", singles(*dynamic))
        limits = (False, False)
        t1 = t2 = 0.0
        for n in range(500 if index < 3 else 150):
            if rng.random() < 0.02 and index > 1:
                limits = rng.choice(((False, False), (True, False), (False, True), (True, True)))
            if rng.random() < 0.9:
                t1 += 0.01
            if rng.random() < 0.9:
                t2 += 0.01
            drive(s, source, n, rng, (n, 2 * n), (t1, t2), limits, 0.002)
            if n % 3 == 0:
                s.op("GetQVCMatrix", 6)
            if index == 5 and n % 20 == 19:
                s.op("UpdateQVCParameters", 6, source.setup.Q[0:3]
                     + singles(rng.uniform(-1, 1), rng.uniform(-1, 1)) + source.setup.Q[5:6])
            if index == 6 and n == 60:
                s.op("set_iMMode", 1 - mode % 2)
            if index == 7 and n % 30 == 29:
                s.op("SetDynamicParameters", singles(rng.random(), 1, 2, rng.random(),
                                                     *(rng.choice(LAGS) for _ in range(3))))
        yield f"model_second_{index}", s

    # Specials in every slot, in the stamps, and solves without a solution
    for slot in range(9):
        for index, value in enumerate((NAN, INF, -0.0, 1e308)):
            s = Script()
            source = Source(rng, 10)
            s.op("newModel", "a", SECOND_VERSION)
            prime(s, source.setup, 0)
            for n in range(60):
                if n in (0, 3, 30)[slot % 3 :: 3] or n == 35:
                    m = source.inputs(n)
                    m[slot] = value
                    s.op("SetLevelLimits", False, False)
                    s.op("SetTimeInterval", 0.01 * n, 0.01 * n)
                    s.op("CalTranxMatrix", source.setup.offset, m)
                    s.op("GetLevelValues")
                else:
                    drive(s, source, n, rng, (n, n), (0.01 * n, 0.01 * n), (False, False))
            yield f"model_second_special_{slot}_{index}", s
    for index in range(6):
        s = Script()
        source = Source(rng, 10)
        if index == 4:
            source.setup.L1[3:5] = source.setup.L2[3:5] = singles(89.99999, 0)
        if index == 5:
            source.setup.L1[6] = NAN
        s.op("newModel", "a", SECOND_VERSION)
        prime(s, source.setup, 0)
        for n in range(60):
            m = source.inputs(n)
            time = 0.01 * n
            if index == 0 and n > 5:
                time = NAN
            if index == 1 and 12 < n < 40:
                m[3] = 95.0  # no direction makes this angle
            if index == 2 and 12 < n < 40:
                m[4] = -95.0
            if index == 3:
                m[3] = 95.0
                m[4] = 95.0
            s.op("SetLevelLimits", False, False)
            s.op("SetTimeInterval", time, time)
            s.op("CalTranxMatrix", source.setup.offset, m)
            s.op("GetQVCMatrix", 6)
            s.op("GetLevelValues")
        yield f"model_second_unsolved_{index}", s

    # Two objects in one process
    s = Script()
    sources = {"a": Source(rng, 10), "b": Source(rng, 9)}
    for name, source in sources.items():
        s.op("newModel", name, SECOND_VERSION)
        prime(s, source.setup, source.setup.mode % 2)
        s.op("CalTranxMatrix", 0.0, 0.0, source.inputs(0))  # both levels excluded at first
    for n in range(60):
        for name in "ab":
            s.op("useModel", name)
            t = 0.01 * (2 * n + (name == "b"))
            drive(s, sources[name], n, rng, (n, n), (t, t), (False, False), 0.01)
    yield "model_second_instances", s

    # A model of each version in one process
    s = Script()
    source = Source(rng, 10)
    for name, kind in (("one", FIRST_VERSION), ("two", SECOND_VERSION)):
        s.op("newModel", name, kind)
        prime(s, source.setup, 0)
    for n in range(110):
        for name in ("one", "two"):
            s.op("useModel", name)
            drive(s, source, n, rng, (n, n), (0.01 * n, 0.01 * n), (False, False), 0.01)
    yield "model_both_versions", s

    # The second version's filters; the inherited estimator and filter beside them
    s = Script()
    source = Source(rng, 10)
    s.op("newModel", "a", SECOND_VERSION)
    prime(s, source.setup, 0)
    for n in range(130):
        values = [rng.gauss(0, 10) for _ in range(9)]
        if n % 17 == 16:
            values[rng.randrange(9)] = rng.choice(DOUBLE_SPECIALS)
        s.op("MovingFilterv2", values)
        s.op("PsdMovingFilter", values[0:2])
        s.op("AccMovingFilter", values[2])
        s.op("MovingFilter", values[3])
        s.op("MovingFilterLevelY", values[3])
        s.op("GetAccLx", values[0:3], values[3:6], n, 0.01 * n)
        if n > 4:  # moves the ring index
            drive(s, source, n, rng, (n, n), (0.01 * n, 0.01 * n), (False, False))
    yield "model_second_filters", s


def support(rng):
    s = Script()
    for _ in range(300):
        n = rng.randint(1, 4)
        scale = 10.0 ** rng.randint(-8, 8)
        s.op("mek.MatrixInverse", n, [scale * rng.gauss(0, 1) for _ in range(n * n)])
    pool = [0.0, -0.0, 1.0, -1.0, 2.0, 0.5, 2.0**-52, 3 * 2.0**-52, NAN, INF, 1e308, 5e-324]
    for _ in range(500):
        n = rng.randint(0, 3)
        s.op("mek.MatrixInverse", n, [rng.choice(pool[:8]) for _ in range(n * n)])
        s.op("mek.MatrixInverse", n, [rng.choice(pool) for _ in range(n * n)])
    for n in (1, 2, 3):
        for value in around(n * 2.0**-52)[:3]:
            m = mek.eye(n)
            m[-1] = value
            s.op("mek.MatrixInverse", n, m)
    for _ in range(100):
        r, n, c = (rng.randint(1, 4) for _ in range(3))
        s.op("mek.MatrixMultiply", r, n, c, [rng.gauss(0, 1) for _ in range(r * n + n * c)])
        s.op("mek.MatrixTransform", r, c, [rng.gauss(0, 1) for _ in range(r * c)])
        s.op("mek.CrossMultiply", [rng.choice(pool) for _ in range(6)])
        s.op("mek.CrossMultiply", [rng.gauss(0, 1) for _ in range(6)])
    for angle in [rng.uniform(-7, 7) for _ in range(50)] + DOUBLE_SPECIALS:
        for axis in "xyz":
            s.op(f"mek.rotation_{axis}", angle)
    yield "mek_matrices", s

    s = Script()
    for i in range(300):
        axis = mek.normalised([rng.gauss(0, 1) for _ in range(3)])
        v = [rng.gauss(0, 1) for _ in range(3)]
        s.op("mek.mlaRotateAroundAxis", axis, rng.uniform(-400, 400), v)
        s.op("mek.ConvertCartesianToSphericalCoordinates", [1000.0 * x for x in v])
        special = [rng.choice(DOUBLE_SPECIALS[:7] + [1.0, -1.0]) for _ in range(3)]
        s.op("mek.ConvertCartesianToSphericalCoordinates", special)
        g = rng.choice(([0.0, 0.0, 1.0], [0.0, 0.0, -1.0]))
        u = mek.normalised(v)
        angles = [rng.uniform(60, 120), rng.uniform(60, 120)]
        if i % 5 == 0:
            angles = [rng.uniform(-10, 200), rng.uniform(-10, 200)]
        if i % 31 == 0:
            angles[i % 2] = NAN
        if i % 17 == 0:
            u = [x + 1e-6 * rng.gauss(0, 1) for x in axis]
        if i % 37 == 0:
            u = [-x for x in axis]
        s.op("mek.solveVectorsRelAng", g, u, axis, angles)
    for q in (90.0, 60.0, 30.0):  # s on the unit circle: both solutions fall together
        for d in (0.0, 1e-9, 1e-7, 1e-5):
            s.op("mek.solveVectorsRelAng", [0.0, 0.0, 1.0], [0.0, 1.0, 0.0], [1.0, 0.0, 0.0],
                 90.0 - q - d, q)
    yield "mek_vectors", s

    s = Script()
    for i in range(200):
        count = rng.randint(1, 51)
        xy = []
        for n in range(count):
            xy += [0.01 * n + rng.choice((0.0, 100.0)), rng.gauss(0, 100)]
        if i % 9 == 0:
            xy[0::2] = [2.5] * count
        if i % 21 == 0:
            xy[rng.randrange(2 * count)] = rng.choice(DOUBLE_SPECIALS)
        s.op("mek.JPolyfit", count, 1, xy)
    s.op("mek.JPolyfit", 0, 1)
    s.op("mek.JPolyfit", 3, -1, [1.0] * 6)
    for i in range(60):
        count, knots, coefficients = level_table(rng, *rng.choice(((-9, 9), (9, -9))),
                                                 rng.randint(2, 9))
        segments = count - 1
        values = SINGLE_SPECIALS + singles(*(rng.uniform(-12, 12) for _ in range(8)))
        for knot in knots[:count]:
            values += around(knot, single=True)[:3]
        for x in values:
            s.op("mek.CalcSpline", i % 2, segments, x, knots[:count],
                 coefficients[: 4 * segments])
    yield "mek_fits", s

    s = Script()
    for order in (0, 2, 3, 4):
        for count in (1, 3, 5, 12, 51):
            xy = []
            for n in range(count):
                xy += [rng.uniform(-1, 1), rng.gauss(0, 10)]
            s.op("mek.JPolyfit", count, order, xy)
        s.op("mek.JPolyfit", 9, order, [2.5, 1.0, 3.5, -1.0, 2.5, 4.0] * 3)
    for n in range(0, 9):
        for turn in (1, -1):
            x = singles(*(turn * (i + rng.uniform(-0.3, 0.3)) for i in range(n + 1)))
            s.op("mek.CubicSplines", n, x, singles(*(rng.gauss(0, 1) for _ in x)))
    yield "mek_free_form", s

    s = Script()
    for _ in range(300):
        table = encoder_table(rng, rng.randint(1, 12), 3.0)
        value = f32(rng.uniform(-1000, 1000))
        s.op("mek.encCalibration", len(table) // 2, table, value)
        s.op("mek.inverseEncCalibration", len(table) // 2, table, value)
    yield "mek_encoders", s


GENERATORS = (
    sane,
    edge_special_slots,
    edge_reference_slot,
    edge_parameters,
    edge_thresholds,
    edge_angles,
    edge_roll,
    edge_vectors,
    edge_status,
    edge_long,
    edge_lags,
    edge_store,
    edge_modes,
    edge_copies,
    edge_setters,
    edge_encoders,
    edge_home,
    model_single,
    model_thresholds,
    model_base,
    model_first_version,
    model_first_parts,
    model_second_version,
    support,
)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("directory", type=pathlib.Path)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", default="", help="write only names that begin like this")
    options = parser.parse_args()
    options.directory.mkdir(parents=True, exist_ok=True)
    count = 0
    for generator in GENERATORS:
        rng = random.Random(f"{options.seed} {generator.__name__}")
        for name, script in generator(rng):
            if name.startswith(options.only):
                path = options.directory / (name.replace("-", "m") + ".scn")
                path.write_text("\n".join(script.lines) + "\n")
                count += 1
    print(f"{count} scenarios")


if __name__ == "__main__":
    main()
