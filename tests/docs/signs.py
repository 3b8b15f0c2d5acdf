#!/usr/bin/env python3
"""The signs that docs/frames.md draws and tells are those of the program.

    signs.py KOR

For each mount mode a sensor without deviations stands in poses in which one angle alone is not nearly zero; a recording of it
is simulated and replayed, and the corrected readings and orientation angles of its last sample have to be those that the page
tells.
"""
import csv
import math
import pathlib
import subprocess
import sys
import tempfile

TOLERANCE = 2e-3  # degrees; single-precision readings, and a level of half a thousandth that keeps all readings off zero
SMALL = 5.0


def elementary(axis, degrees):
    """Right-handed turn about x, y or z, as rows."""
    c, s = math.cos(math.radians(degrees)), math.sin(math.radians(degrees))
    return {"x": ((1, 0, 0), (0, c, -s), (0, s, c)), "y": ((c, 0, s), (0, 1, 0), (-s, 0, c)),
            "z": ((c, -s, 0), (s, c, 0), (0, 0, 1))}[axis]


def product(a, b):
    return tuple(tuple(sum(a[i][k] * b[k][j] for k in range(3)) for j in range(3)) for i in range(3))


def times(m, v):
    return tuple(sum(m[i][k] * v[k] for k in range(3)) for i in range(3))


def attitude(m):
    """Roll, pitch and yaw of way-points: R = Rz(yaw) Ry(pitch) Rx(roll)."""
    return (math.degrees(math.atan2(m[2][1], m[2][2])), math.degrees(math.asin(-m[2][0])),
            math.degrees(math.atan2(m[1][0], m[0][0])))


def readings(kor, folder, mode, base, sight):
    """The last row of the results of a sensor that stands still: base in the tracker frame, sight in the base."""
    position = [4000.0 * c for c in times(base, sight)]
    numbers = ",".join(f"{value:.9f}" for value in (*position, *attitude(base)))
    (folder / "pose.csv").write_text("time_s,x_mm,y_mm,z_mm,roll_deg,pitch_deg,yaw_deg\n0," + numbers + "\n")
    prm = folder / f"Tg{mode}.prm"
    if not prm.exists():
        prm.write_text(output(kor, folder, "", "prm", "new", "--mode", mode, "--id", mode))
    raw = output(kor, folder, "", "simulate", "--prm", ".", "--id", mode, "--motion", "pose.csv", "--samples", 30,
                 "--reference", 2)
    results = output(kor, folder, raw, "replay", "--prm", ".", "--id", mode, "--input-format", "csv", "-", "--quiet")
    return list(csv.DictReader(results.splitlines()))[-1]


def output(kor, folder, given, *arguments):
    """What the program prints; nothing goes through files, whose syncing takes longer than all the rest."""
    done = subprocess.run([kor, *map(str, arguments)], cwd=folder, input=given, capture_output=True, text=True)
    if done.returncode != 0:
        raise SystemExit(f"kor {' '.join(map(str, arguments))}: {done.stderr}")
    return done.stdout


def cases(mode):
    """(what, turn of the base in the tracker frame, azimuth, elevation, {column: expected degrees})."""
    backwards = -1 if mode == 3 else 1
    yield "azimuth", (), 30.0, 0.0, {"azimuth_deg": 30.0 * backwards}
    yield "elevation", (), 0.0, 20.0, {"elevation_deg": 20.0 * backwards}
    if mode in (1, 2):
        yield "stage x dips", (("y", SMALL),), 0.0, 0.0, {"levelX_deg": SMALL}
        yield "stage y rises", (("x", SMALL),), 0.0, 0.0, {"levelY_deg": SMALL}
    elif mode in (3, 4):
        yield "the pendulum rises", (("x", SMALL),), 0.0, 0.0, {"levelY_deg": SMALL * backwards}
    elif mode in (5, 6):
        yield "roll about the sight", (("y", SMALL),), 0.0, 0.0, {"levelY_deg": SMALL}
    elif mode == 7:
        yield "the level axis rises", (("y", -SMALL),), 0.0, 0.0, {"levelY_deg": SMALL}
    elif mode == 8:
        yield "the level axis dips", (("y", SMALL),), 0.0, 0.0, {"levelY_deg": SMALL}
    else:
        yield "the axis of level X dips", (("y", SMALL),), 0.0, 0.0, {"levelX_deg": SMALL}
        # Level Y lies half-way between the stage's x and y.
        across = math.degrees(math.asin(math.sin(math.radians(SMALL)) / math.sqrt(2)))
        yield "the axis of level Y dips", (("y", SMALL),), 0.0, 0.0, {"levelY_deg": across}
    if mode != 9:
        for axis in "xyz":
            # An elevation and, where the model needs it, a height and a level of the same sign.
            yield (f"turn about {axis}", ((axis, SMALL),), 0.0, 10.0,
                   {f"orientation{name.upper()}_deg": SMALL if name == axis else 0.0 for name in "xyz"})


def main(kor):
    kor = str(pathlib.Path(kor).resolve())
    wrong, count = [], 0
    for mode in range(1, 11):
        hanging = elementary("x", 180.0) if mode == 9 else elementary("x", 0.0)
        rest = 0.0 if mode <= 4 else 90.0
        with tempfile.TemporaryDirectory() as folder:
            for what, turns, azimuth, elevation, expected in cases(mode):
                base = hanging
                # Half a thousandth of a degree about each axis, so that no level reads zero.
                for axis, degrees in (("x", 5e-4), ("y", 5e-4), *turns):
                    base = product(elementary(axis, degrees), base)
                a, e = math.radians(rest + azimuth), math.radians(elevation)
                sight = (math.cos(e) * math.cos(a), math.cos(e) * math.sin(a), math.sin(e))
                row = readings(kor, pathlib.Path(folder), mode, base, sight)
                for column, value in expected.items():
                    count += 1
                    if not abs(float(row[column]) - value) < TOLERANCE:
                        wrong.append(f"mode {mode}, {what}: found {column} {row[column]}, expected {value:.6g}")
    print("\n".join([*wrong, f"{count} signs, {len(wrong)} wrong"]))
    return 1 if wrong or not count else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
