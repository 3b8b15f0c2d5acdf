"""What the tests share: the shipped recordings, and the tool to compare with.

KOR names the tool, `kor` of the same tree; tests that need it fail without it. KOR_ROOT is the repository.
"""
import functools
import os
import pathlib
import subprocess

import pytest

import korinterface

ROOT = pathlib.Path(os.environ.get("KOR_ROOT", pathlib.Path(__file__).resolve().parents[2]))

#: Folder and ID of every shipped sensor, by mount mode.
SENSORS = {1: ("dual_level", 1001), 2: ("dual_level_even", 1002), 3: ("pendulum", 1003), 4: ("pendulum_even", 1004),
           5: ("polarizer", 1005), 6: ("polarizer_even", 1006), 7: ("three_vector", 1007), 8: ("three_vector_even", 1008),
           9: ("two_level", 1009), 10: ("two_level_even", 1010)}


class Sensor:
    """A shipped sensor with its recording."""

    def __init__(self, mode):
        name, self.id = SENSORS[mode]
        self.mode = mode
        self.folder = ROOT / "data" / name
        self.csv = self.folder / f"{name}.csv"
        self.truth = self.folder / f"{name}_truth.csv"
        self.prm = korinterface.Prm.read(self.folder, self.id)

    def samples(self):
        return korinterface.read_recording(self.csv)


@pytest.fixture(scope="session")
def sensor():
    return functools.lru_cache(maxsize=None)(Sensor)


@pytest.fixture(scope="session")
def polarizer():
    return Sensor(5)


@pytest.fixture(scope="session")
def kor():
    """Runs the tool; hands out its standard output."""
    tool = os.environ.get("KOR", str(ROOT / "build/dev/tools/kor"))

    def run(*arguments, status=0):
        done = subprocess.run([tool, *map(str, arguments)], capture_output=True, check=False)
        assert done.returncode == status, done.stderr.decode()
        return done.stdout

    run.tool = tool
    return run
