#!/usr/bin/env python3
"""The C interface through ctypes: the test vectors, every line.

    python_smoke.py LIBRARY DATA VECTORS
"""
import csv
import ctypes as c
import math
import struct
import sys


class RawInfo(c.Structure):
    _fields_ = [("reserved0", c.c_int32), ("status", c.c_int32), ("sensorVector", c.c_float * 3), ("azimuthRaw", c.c_float),
                ("elevationRaw", c.c_float), ("levelXRaw", c.c_float), ("levelYRaw", c.c_float),
                ("levelTemperature", c.c_float), ("referenceGate", c.c_float), ("reserved44", c.c_int32),
                ("referenceHold", c.c_uint8), ("reserved49", c.c_uint8 * 3), ("temperatureCount", c.c_int32 * 3),
                ("timeStampMs", c.c_uint32)]


class Info(c.Structure):
    _fields_ = [("reserved0", c.c_int32), ("azimuth", c.c_float), ("elevation", c.c_float), ("levelX", c.c_float),
                ("levelY", c.c_float), ("orientationAngles", c.c_float * 3), ("reserved32", c.c_int32),
                ("sensorOut", c.c_float * 3), ("temperature", c.c_float * 3)]


class SampleReport(c.Structure):
    _fields_ = [("size", c.c_uint32)] + [(name, c.c_int32) for name in (
        "outcome", "reason", "model", "captured_reference", "level_x_outside", "level_y_outside", "spoiled_by")] + [
        ("spoiled_since", c.c_uint64)]


class ConfigureOptions(c.Structure):
    _fields_ = [("size", c.c_uint32)] + [(name, c.c_int32) for name in (
        "has_mount_mode", "mount_mode", "has_mcs_flag", "mcs_flag", "parameter_store", "has_detector")] + [
        ("detector", c.c_int32 * 3)]


def single(text):
    """A number in single precision."""
    return struct.unpack("f", struct.pack("f", float(text)))[0]


def two_ulps(value):
    size = abs(single(value))
    if not math.isfinite(size):
        return 0.0
    above = struct.unpack("f", struct.pack("I", struct.unpack("I", struct.pack("f", size))[0] + 1))[0]
    return 2 * (above - size)


class Host:
    def __init__(self, library, data):
        self.kor, self.data = c.CDLL(library), data
        self.kor.kor_status_text.restype = c.c_char_p
        self.prm, self.engine = c.c_void_p(), c.c_void_p()

    def done(self, function, *arguments):
        status = getattr(self.kor, function)(*arguments)
        if status != 0:
            sys.exit(f"{function}: {status}, {self.kor.kor_status_text(status).decode('ascii')}")

    def begin(self, _, folder, number, mode, mcs, store, *detector):
        for handle, destroy in ((self.prm, self.kor.kor_prm_destroy), (self.engine, self.kor.kor_engine_destroy)):
            destroy(handle)
        self.done("kor_prm_create", c.byref(self.prm))
        self.done("kor_engine_create", c.byref(self.engine))
        self.done("kor_prm_read", self.prm, f"{self.data}/{folder}".encode(), int(number))
        self.done("kor_fresh_process_values")
        options = ConfigureOptions(c.sizeof(ConfigureOptions), 1, int(mode), 1, int(mcs), int(store), 1,
                                   (c.c_int32 * 3)(*map(int, detector)))
        self.done("kor_engine_configure", self.engine, self.prm, c.byref(options))
        return []

    def sample(self, *words):
        floats = [float(word) for word in words[1:10]]
        raw = RawInfo(0, int(words[0]), (c.c_float * 3)(*floats[:3]), *floats[3:], 0, int(words[10]), (c.c_uint8 * 3)(),
                      (c.c_int32 * 3)(*map(int, words[11:14])), int(words[14]))
        info, matrix, code, report = Info(), (c.c_double * 9)(), c.c_int32(), SampleReport(c.sizeof(SampleReport))
        self.done("kor_engine_update", self.engine, c.byref(raw), c.byref(info), matrix, c.byref(code), c.byref(report))
        return [info.azimuth, info.elevation, info.levelX, info.levelY, *info.orientationAngles, *info.sensorOut,
                *info.temperature, *matrix, code.value, report.outcome, report.reason]

    def inverse(self, azimuth, elevation):
        readings = c.c_float(), c.c_float()
        self.done("kor_engine_inverse_azimuth", self.engine, c.c_float(float(azimuth)), c.byref(readings[0]))
        self.done("kor_engine_inverse_elevation", self.engine, c.c_float(float(elevation)), c.byref(readings[1]))
        return [reading.value for reading in readings]

    def home(self, *words):
        values = [float(word) for word in words]
        vectors = [(c.c_double * 3)(*part) for part in (values[:3], values[3:6], values[6:8], values[8:])]
        first, second, solved = c.c_double(), c.c_double(), c.c_int32()
        self.done("kor_engine_home_vector", self.engine, *vectors, c.byref(first), c.byref(second), c.byref(solved))
        return [first.value, second.value, solved.value]


def tolerance(kind, place, wanted):
    """As the head of the vectors says."""
    if kind == "home":
        return 1e-11 if place < 2 else 0
    if kind == "inverse" or place < 4 or 7 <= place < 13:
        return two_ulps(wanted)
    return 3.5e-6 if place < 7 else 1.6e-14 if place < 22 else 0


def main():
    assert c.sizeof(RawInfo) == 68 and c.sizeof(Info) == 60
    host = Host(sys.argv[1], sys.argv[2])
    calls = {"scenario": (host.begin, 9), "sample": (host.sample, 15), "inverse": (host.inverse, 2), "home": (host.home, 10)}
    counts, wrong = dict.fromkeys(calls, 0), 0
    with open(sys.argv[3], encoding="ascii", newline="") as file:
        for number, words in enumerate(csv.reader(file), 1):
            if not words or words[0].startswith("#"):
                continue
            kind = words[0]
            call, given = calls[kind]
            counts[kind] += 1
            found, wanted = call(*words[1:1 + given]), [float(word) for word in words[1 + given:]]
            singles = {"sample": 13, "inverse": 2}.get(kind, 0)
            wanted[:singles] = map(single, wanted[:singles])
            for place, (value, expected) in enumerate(zip(found, wanted)):
                if not (value == expected or abs(value - expected) <= tolerance(kind, place, expected) or
                        math.isnan(value) and math.isnan(expected)):
                    print(f"line {number}, value {place}: found {value!r}, expected {expected!r}")
                    wrong += 1
            if len(found) != len(wanted):
                sys.exit(f"line {number} has {len(wanted)} values, expected {len(found)}")
    print(", ".join(f"{count} {kind}" for kind, count in counts.items()), f"- {wrong} wrong", sep=" ")
    return 1 if wrong or counts["scenario"] < 15 or counts["sample"] < 500 else 0


if __name__ == "__main__":
    sys.exit(main())
