#!/usr/bin/env python3
"""A shipped recording against this implementation, which shares no code with the one that made it.

    recordings.py NAME [--results RESULTS.csv] [--limit DEGREES]

Reads data/NAME and checks, sample by sample:

  - the recording's numbers, corrected by this engine, are the angles that a sensor in the true pose reads;
  - the truth's notes and matrices follow from the recording, the parameters and the true pose;
  - this engine finds the true pose again, within the limit;
  - with --results, the program's results are those of this engine, bit for bit but for the orientation angles, which
    may differ by two units in the last place;
  - binary records, where there are any, say the same as the text.

One recording a process: the model of modes 9 and 10 keeps values for the whole process.
"""

import argparse
import csv
import math
import pathlib
import struct
import sys

import engine
import mek
import simulate
from ieee import f32

DATA = pathlib.Path(__file__).resolve().parents[2] / "data"
REALS = (
    "sensorVector_x sensorVector_y sensorVector_z azimuthRaw elevationRaw levelXRaw levelYRaw levelTemperature "
    "referenceGate"
).split()
COUNTS = ["temperatureCount_0", "temperatureCount_1", "temperatureCount_2"]

# Degrees. Two roundings of an angle below 32 or 256 degrees to single precision; levels pass five of them.
AZIMUTH, ELEVATION, LEVEL = 3.1e-5, 4e-6, 1e-5
# Written with fewer digits nowhere: the truth's matrices are the program's own doubles.
MATRIX = 1e-14
# Samples after which a pose that is held has replaced all others in the filters of modes 9 and 10.
SETTLED = 24


class Sensor:
    """A parameter file read on its own: titles found by their text, numbers by their place."""

    def __init__(self, path):
        self.lines = path.read_text(encoding="ascii").split("\n")
        self.mode = int(self.lines[self.lines.index("Mounting Mode") + 1])
        self.offset = [f32(v * mek.DEGREE) for v in self.rows("Angle Offset", 1)[0]]
        self.machine_file = sum(self.rows("Machine Coordinate Tranform Matrix", 3), [])
        self.local = sum(self.rows("Local Coordinate Tranform Matrix", 3), [])
        self.machine = list(self.machine_file)
        assert mek.matrix_inverse(self.machine, 3)
        self.thermal = self.rows("Thermal Compensation Factor", 1)[0]
        self.tilt = self.rows("Tilt Sensor Offset", 1)[0]
        self.factors = [row[0] for row in self.rows("Scale Factor", 8)]
        self.azimuth, self.elevation = (self.table(f"{axis} Calibration Table") for axis in ("AZ", "EL"))
        self.level_x, self.level_y = (self.table(f"Tilt {axis} Calibration Table") for axis in "XY")
        vectors = self.mode >= 7
        self.qvc = self.rows("QVC", 1)[0] if vectors else [0.0] * 6
        self.level1 = self.rows("Level_X", 1)[0] if vectors else [0.0] * 7
        self.level2 = self.rows("Level_Y", 1)[0] if vectors else [0.0] * 7

    def rows(self, title, count):
        at = self.lines.index(title) + 1
        return [[f32(float(word)) for word in line.split()] for line in self.lines[at : at + count]]

    def table(self, title):
        at = self.lines.index(title) + 1
        count = int(self.lines[at])
        return [[f32(float(word)) for word in line.split()] for line in self.lines[at + 1 : at + 1 + count]]

    def engine(self):
        kor = engine.CKor()
        for rows, put in ((self.azimuth, kor.setAzimuthComp), (self.elevation, kor.setElevationComp)):
            put(len(rows), sum(rows, []))
        for rows, put in ((self.level_x, kor.setLevelXComp), (self.level_y, kor.setLevelYComp)):
            readings, angles = [row[0] for row in rows], [row[1] for row in rows]
            # The set-up gives coefficients of every interval; the engine's array has room for one more.
            coefficients = mek.cubic_splines(readings, angles, len(rows) - 1) + [0.0] * 4
            put(len(rows), readings + [0.0] * 3, coefficients)
        kor.setEncoderOffset(self.offset)
        kor.setTiltOffset(self.tilt)
        kor.setThermalFactor(self.thermal)
        kor.setLocalMatrix(self.local, 3)
        kor.setMachineMatrix(self.machine, 3)
        kor.setScaleFactors(self.factors, 8)
        kor.setQVCParameters(self.qvc, 6)
        kor.setLevel1Parameters(self.level1, 7)
        kor.setLevel2Parameters(self.level2, 7)
        kor.setMcsFlag(True)
        kor.setMountMode(self.mode)
        return kor

    def slots(self, R, P):
        """What a sensor in this pose reads, degrees: levels X and Y (X None where it is a numerator), azimuth,
        elevation."""
        A1, A2 = self.offset
        odd = self.mode % 2 == 1
        if self.mode in (1, 2):
            m = simulate.dual_level(R, P, self.factors, A1, A2)
        elif self.mode in (3, 4):
            m = simulate.pendulum(R, P, self.factors, A1, A2, odd)
        elif self.mode in (5, 6):
            m = simulate.polarizer(R, P, self.factors, A1, A2)
        elif self.mode in (7, 8):
            m = simulate.three_vector(R, P, self.qvc, self.level1, A1, A2, odd)
        else:
            m = simulate.two_level(R, P, self.qvc, self.level1, self.level2, A1, A2)
        x = m[3]
        if self.mode in (5, 6):
            x = None
        elif self.mode in (3, 4, 7, 8):
            # These models do not look at level X. It rides on the azimuth stage: along its x axis in modes 3 and 4, with
            # the sign of mode 1, and along its y axis in modes 7 and 8.
            turn = m[5] * mek.DEGREE - A1
            turn = turn * self.factors[4] * (-1.0 if odd else 1.0) if self.mode < 5 else turn
            H = mek.mul3(R, mek.rotation_z(turn))
            x = (-math.asin(H[6]) if self.mode < 5 else math.asin(H[7])) / mek.DEGREE
        return x, m[4], m[5], m[6]

    def corrected(self, kor, raw):
        """Levels X and Y of a raw record after this engine's corrections, and whether each was out of its table."""
        x = raw.levelXRaw
        if self.mode in (5, 6):
            x = engine.fdiv(x, raw.levelYRaw) if abs(raw.levelYRaw) > 2000.0 else 0.0
        t = raw.levelTemperature
        X, outX = kor._level(kor.levelXTable, x, self.tilt[0], self.thermal[0], self.thermal[1], t)
        Y, outY = kor._level(kor.levelYTable, raw.levelYRaw, self.tilt[1], self.thermal[2], self.thermal[3], t)
        return X, Y, outX, outY


def record(row):
    raw = engine.RawInfo()
    raw.status = int(row["status"])
    values = [f32(float(row[name])) for name in REALS]
    raw.sensorVector = values[:3]
    (
        raw.azimuthRaw,
        raw.elevationRaw,
        raw.levelXRaw,
        raw.levelYRaw,
        raw.levelTemperature,
        raw.referenceGate,
    ) = values[3:]
    raw.referenceHold = int(row["referenceHold"])
    raw.temperatureCount = [int(row[name]) for name in COUNTS]
    raw.timeStampMs = int(row["timeStampMs"])
    return raw


def rows(path):
    with open(path, newline="") as file:
        return list(csv.DictReader(file))


def ulps(a, b):
    """Distance of two single-precision numbers in units of the last place."""
    whole = [struct.unpack("<i", struct.pack("<f", v))[0] for v in (a, b)]
    return abs(whole[0] - whole[1]) if (whole[0] < 0) == (whole[1] < 0) else sum(w & 0x7FFFFFFF for w in whole)


class Checks:
    def __init__(self, name):
        self.name, self.failures, self.worst, self.count = name, [], {}, {}

    def expect(self, what, line, condition, detail=""):
        self.count[what] = self.count.get(what, 0) + 1
        if not condition:
            self.failures.append(f"{self.name}, line {line}: {what} {detail}")

    def near(self, what, line, difference, limit):
        self.worst[what] = max(self.worst.get(what, 0.0), abs(difference))
        self.expect(what, line, abs(difference) <= limit, f"is off by {difference:.2g}, at most {limit:.2g} expected")


def matrix_of(row, prefix):
    return [float(row[f"{prefix}{r}{c}"]) for r in range(3) for c in range(3)]


def wanted_note(sensor, raw, truth_note, out, captured, side):
    """The note that the sample ought to have; None where this program cannot tell (levels that were pushed out)."""
    if raw.status != 2:
        return "status"
    if not captured:
        return "reference"
    if truth_note in ("level", "moving"):
        return None
    if side:
        return "side"
    return "range" if out else "ok"


def is_side(sensor, slots, P):
    x, y, _, _ = slots
    if sensor.mode in (1, 2):
        return P[2] * y < 0.0 or min(abs(x), abs(y)) < 0.001
    if sensor.mode in (3, 4):
        return abs(P[2]) < 1.0 or None
    return False


def check_sample(checks, sensor, kor, line, raw, truth, state):
    R, P = matrix_of(truth, "R_"), [f32(float(truth[f"position_{axis}"])) for axis in "xyz"]
    note = truth["note"]
    checks.expect("position", line, P == raw.sensorVector)
    checks.expect("time stamp", line, truth["timeStampMs"] == str(raw.timeStampMs))
    if raw.status == 2:
        held = R + P == state["pose"] and note != "level"
        state["held"] = state["held"] + 1 if held else 0
        state["pose"] = R + P

    # The readings against the true pose.
    slots = sensor.slots(R, P)
    X, Y, outX, outY = sensor.corrected(kor, raw)
    azimuth = kor.azimuthEncoder.enc_calibration(raw.azimuthRaw)
    elevation = kor.elevationEncoder.enc_calibration(raw.elevationRaw)
    gain = sensor.factors[4] if sensor.mode in (3, 4, 5, 6) else 1.0
    turn = 360.0 / gain
    checks.near("azimuth", line, math.remainder(azimuth - slots[2], turn), AZIMUTH)
    checks.near("elevation", line, elevation - slots[3], ELEVATION)
    # Levels that were pushed out of their tables do not read what they should, and accelerated ones feel more.
    pushed = note == "level" or (note in ("status", "reference") and (outX or outY))
    at_rest = raw.status == 2 and state["held"] > 0 and state["rests"]
    if not pushed and (sensor.mode < 9 or at_rest):
        checks.near("level Y", line, Y - slots[1], LEVEL)
        if slots[0] is not None:
            checks.near("level X", line, X - slots[0], LEVEL)

    # Note and matrix.
    captured = state["captured"]
    if raw.status == 2 and raw.referenceGate <= f32(0.4) and raw.referenceHold == 0:
        state["captured"] = True
    side = is_side(sensor, slots, P)
    wanted = wanted_note(sensor, raw, note, outX or outY, captured, side)
    if wanted is not None and not (side is None and note == "side"):
        checks.expect("note", line, note == wanted, f"is {note}, expected {wanted}")
    if sensor.mode >= 9 and note in ("ok", "range", "moving"):
        checks.expect("settled", line, (note != "moving") == (state["held"] >= SETTLED), f"{note} at {state['held']}")
    checks.expect("valid", line, truth["valid"] == str(int(note in ("ok", "range"))))
    expected = [1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0]
    if captured and raw.status == 2:
        expected = mek.mul3(sensor.machine, R) if sensor.mode < 7 else R
    checks.near(
        "matrix of the truth", line, max(abs(a - b) for a, b in zip(matrix_of(truth, "result_"), expected)), MATRIX
    )


def check_result(checks, kor, line, raw, truth, result, limit):
    info = kor.updateKORData(raw)
    code, matrix = kor.ReadMatrix()
    if truth["valid"] == "1":
        checks.near("orientation", line, simulate.turn_between(matrix, matrix_of(truth, "result_")), limit)
    if result is None:
        return
    checks.expect("code", line, int(result["matrixCode"]) == code)
    checks.expect("matrix", line, matrix_of(result, "m") == matrix, "is not this engine's")
    same = {
        "azimuth_deg": info.azimuth,
        "elevation_deg": info.elevation,
        "levelX_deg": info.levelX,
        "levelY_deg": info.levelY,
        "sensorOutX_mm": info.sensorOut[0],
        "sensorOutY_mm": info.sensorOut[1],
        "sensorOutZ_mm": info.sensorOut[2],
        "temperature_0": info.temperature[0],
        "temperature_1": info.temperature[1],
        "temperature_2": info.temperature[2],
    }
    for column, value in same.items():
        checks.expect("result", line, f32(float(result[column])) == value, f"{column} is {result[column]}, not {value}")
    for column, value in zip(("orientationX_deg", "orientationZ_deg", "orientationY_deg"), info.orientationAngles):
        checks.expect("angle", line, ulps(f32(float(result[column])), value) <= 2, f"{column} {result[column]} {value}")


def main():
    parser = argparse.ArgumentParser(description="Checks a shipped recording against this implementation.")
    parser.add_argument("name")
    parser.add_argument("--results", help="what the program has made of the recording, machine coordinates")
    parser.add_argument("--limit", type=float, default=1e-5, help="largest angle to the truth, degrees")
    arguments = parser.parse_args()
    folder = DATA / arguments.name
    sensor = Sensor(next(folder.glob("Tg*.prm")))
    recording = rows(folder / f"{arguments.name}.csv")
    truths = rows(folder / f"{arguments.name}_truth.csv")
    results = rows(arguments.results) if arguments.results else [None] * len(recording)
    checks = Checks(arguments.name)
    checks.expect("rows", 1, len(recording) == len(truths) == len(results) >= 1200)

    records = [record(row) for row in recording]
    binary = folder / f"{arguments.name}.korraw"
    if binary.exists():
        checks.expect("binary records", 1, binary.read_bytes() == b"".join(raw.pack() for raw in records))

    kor = sensor.engine()
    state = {"captured": False, "pose": None, "held": 0, "rests": False}
    poses = [matrix_of(truth, "R_") for truth in truths]
    for line, (raw, truth, result) in enumerate(zip(records, truths, results), start=2):
        state["rests"] = poses[line - 2] == poses[min(line - 1, len(poses) - 1)]  # as the next sample does
        check_sample(checks, sensor, kor, line, raw, truth, state)
        check_result(checks, kor, line, raw, truth, result, arguments.limit)

    print("\n".join(checks.failures[:20]))
    print(f"{arguments.name}: {len(records)} samples, " + ", ".join(f"{k} {v:.1e}" for k, v in checks.worst.items()))
    print("checked: " + ", ".join(f"{k} {v}" for k, v in checks.count.items()))
    return 1 if checks.failures else 0


if __name__ == "__main__":
    sys.exit(main())
