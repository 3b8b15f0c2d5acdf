#!/usr/bin/env python3
"""Checks that the shipped recordings still hold what they are there for (data/README.md).

One line for each thing that is missing; exit status 1 if there is one.
"""
import collections
import csv
import pathlib
import sys

DATA = pathlib.Path(__file__).resolve().parents[2] / "data"


def rows(path):
    with open(path, newline="") as file:
        return list(csv.DictReader(file))


def table_ends(lines, axis):
    """Lowest and highest reading of a level's table."""
    at = lines.index(f"Tilt {axis} Calibration Table")
    count = int(lines[at + 1])
    readings = [float(line.split()[0]) for line in lines[at + 2:at + 2 + count]]
    return min(readings), max(readings)


def outside(value, ends):
    return not ends[0] <= value <= ends[1]


def recording(folder):
    """What is missing in one recording."""
    name = folder.name
    prm = next(folder.glob("Tg*.prm")).read_text().split("\n")
    mode = int(prm[prm.index("Mounting Mode") + 1])
    x_ends, y_ends = table_ends(prm, "X"), table_ends(prm, "Y")
    samples, truths = rows(folder / f"{name}.csv"), rows(folder / f"{name}_truth.csv")
    stamps = [int(s["timeStampMs"]) for s in samples]
    notes = collections.Counter(t["note"] for t in truths)
    half = len(samples) // 2

    def expect(what, condition):
        if not condition:
            yield f"{name}: {what}"

    yield from expect("2400 samples, in other modes than 5 1200", len(samples) == (2400 if mode == 5 else 1200))
    yield from expect("a clock that wraps half-way", stamps[0] > stamps[-1] and stamps[half - 1] > 2**32 - 100
                      and stamps[half] < 100)
    yield from expect("samples of status 0, 1 and 3", {s["status"] for s in samples} == {"0", "1", "2", "3"})
    gate = [float(s["referenceGate"]) > 0.4 for s in samples]
    hold = [s["referenceHold"] != "0" for s in samples]
    for what, kind in (("both", (True, True)), ("the gate alone", (True, False)), ("the hold alone", (False, True))):
        yield from expect(f"a reference that {what} keep back", list(zip(gate, hold)).count(kind) > 20)
    if mode != 9:
        cold = [int(s["temperatureCount_1"]) >= 2**23 for s in samples]
        yield from expect("a temperature below and above zero", 100 < sum(cold) < len(cold) - 100)
    if mode != 4:
        yield from expect("samples with a level beyond its table", notes["range"] >= 100)
    if mode in (1, 2):
        yield from expect("poses on the model's wrong side", notes["side"] >= 50)
    if mode in (5, 6):
        big = [abs(float(s["levelYRaw"])) > 2000 for s in samples]
        ratios = [float(s["levelXRaw"]) / float(s["levelYRaw"]) for s, formed in zip(samples, big) if formed]
        yield from expect("ratios that are formed and such that are not", 20 < sum(big) < len(big) - 20)
        yield from expect("ratios within and beyond their table", {outside(r, x_ends) for r in ratios} == {True, False})
    if mode in (9, 10):
        kinds = collections.Counter((outside(float(s["levelXRaw"]), x_ends), outside(float(s["levelYRaw"]), y_ends))
                                    for s, t in zip(samples, truths) if t["valid"] == "1")
        yield from expect("held poses with both levels and with level X alone",
                          set(kinds) == {(False, False), (False, True)} and min(kinds.values()) >= 100)
        yield from expect("a sensor that is moved on", notes["moving"] >= 300)
    else:
        yield from expect("levels that read what they should not", notes["level"] >= 1)


def main():
    folders = sorted(path.parent for path in DATA.glob("*/Tg*.prm"))
    missing = [line for folder in folders for line in recording(folder)]
    if len(folders) != 10:
        missing.append(f"{len(folders)} recordings, expected 10")
    print("\n".join(missing) or "all that is said of the recordings holds")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
