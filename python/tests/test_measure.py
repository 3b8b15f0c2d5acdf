"""Simulation, accuracy, budgets, uncertainties and comparisons: what the tool prints."""
import json
import pathlib
import signal
import threading
import time

import numpy as np
import pytest

import korinterface as ki


@pytest.mark.parametrize("mode", range(1, 11))
def test_a_simulation_is_that_of_the_tool(mode, sensor, tmp_path, kor):
    one = sensor(mode)
    kor("simulate", "--prm", one.folder, "--id", one.id, "--motion", "random", "--samples", "60", "--seed", "7",
        "-o", tmp_path / "s.csv", "--truth", tmp_path / "t.csv", "--noise", "levelXRaw=0.5", "--bias", "azimuthRaw=0.01",
        "--quantise", "sensorVector_x=0.5", "--drop", "0.1", "--bad-status", "0.1", "--level-out", "0.1", "--nan", "0.05",
        "--time-jump", "20=5000", "--start-stamp", "4294967000", "--reference", "5", "--rate", "50")
    found = ki.simulate(one.prm, "random", samples=60, seed=7, noise={"levelXRaw": 0.5}, bias={"azimuthRaw": 0.01},
                        quantise={"sensorVector_x": 0.5}, drop=0.1, bad_status=0.1, level_out=0.1, nan=0.05,
                        time_jumps=[(20, 5000)], start_stamp=4294967000, reference=5, rate=50)
    ki.write_recording(tmp_path / "ms.csv", found.samples)
    ki.write_truth(tmp_path / "mt.csv", found.truth)
    assert (tmp_path / "ms.csv").read_bytes() == (tmp_path / "s.csv").read_bytes()
    assert (tmp_path / "mt.csv").read_bytes() == (tmp_path / "t.csv").read_bytes()
    assert found.dropped == 60 - len(found.samples) == 60 - len(found.truth) > 0


def test_way_points_from_a_file_and_from_an_array(polarizer, tmp_path, kor):
    path = polarizer.folder / "way_points.csv"
    from_file = ki.simulate(polarizer.prm, path, samples=50)
    points = np.loadtxt(path, delimiter=",", skiprows=1)
    from_array = ki.simulate(polarizer.prm, points, samples=50)
    assert from_file.samples.tobytes() == from_array.samples.tobytes()
    kor("simulate", "--prm", polarizer.folder, "--id", 1005, "--motion", path, "--samples", "50", "-o", tmp_path / "s.korraw")
    assert (tmp_path / "s.korraw").read_bytes() == from_file.samples.tobytes()


def test_simulations_that_cannot_be(polarizer, tmp_path):
    prm = polarizer.prm
    for arguments, words in (
            ({"motion": "walk"}, "motion: found 'walk'"), ({"motion": np.zeros((3, 6))}, r"shape \(3, 6\)"),
            ({"motion": np.full((1, 7), np.nan)}, "out of range"), ({"samples": 0}, "samples: found 0"),
            ({"drop": 1.5}, "drop: found 1.5"), ({"noise": {"levelXRaw": -1}}, "noise"), ({"rate": float("nan")}, "rate"),
            ({"seed": -1}, "seed")):
        with pytest.raises(ValueError, match=words):
            ki.simulate(prm, **{"motion": "static", **arguments})
    for arguments, words in (({"noise": {"levelRaw": 1}}, "found levelRaw, expected a channel of"),
                             ({"motion": np.zeros((2, 7))}, "times of way-points have to ascend"),
                             ({"motion": tmp_path / "absent.csv"}, "absent.csv"),
                             ({"motion": [[0, 0, 0, 0, 0, 0, 0]]}, "tracker|readings")):
        with pytest.raises(ki.KorError, match=words):
            ki.simulate(prm, **{"motion": "static", **arguments})


@pytest.mark.parametrize("mode", [1, 9])
def test_accuracy_is_that_of_the_tool(mode, kor):
    printed = kor("accuracy", "--mode", mode, "--poses", "3", "--seed", "5", "--json")
    assert ki.accuracy(mode, poses=3, seed=5) == json.loads(printed)


def test_budgets_are_those_of_the_tool(sensor, kor):
    printed = json.loads(kor("accuracy", "--budget", "--mode", "5", "--json"))
    assert ki.budget(mode=5) == printed["budgets"]
    one = sensor(9)
    pose = (3000.0, 500.0, -200.0, 1.0, 2.0, 3.0)
    printed = json.loads(kor("accuracy", "--budget", "--prm", one.folder, "--id", one.id, "--json", "--pose",
                             ",".join(map(str, pose))))
    assert ki.budget(one.prm, pose=pose) == printed["budgets"]
    with pytest.raises(ki.KorError, match="cannot look at the tracker"):
        ki.budget(mode=5, pose=(0, 0, 0, 0, 0, 0))
    with pytest.raises(ValueError, match="pose: found 3 numbers"):
        ki.budget(mode=5, pose=(0, 0, 0))


def test_uncertainties_are_those_of_the_tool(kor, tmp_path):
    path = pathlib.Path(__file__).resolve().parents[2] / "examples" / "uncertainty.json"
    printed = json.loads(kor("accuracy", "--uncertainty", path, "--mode", "5", "--trials", "100", "--seed", "3", "--json"))
    assert ki.uncertainty(path, mode=5, trials=100, seed=3) == printed
    inputs = json.loads(path.read_text())["inputs"]
    assert ki.uncertainty(inputs, mode=5, trials=100, seed=3) == printed
    with pytest.raises(ki.KorError, match="/inputs/nothing"):
        ki.uncertainty({"nothing": {"noise": 1, "unit": "1"}}, mode=5)


def test_comparisons_are_those_of_the_tool(polarizer, tmp_path, kor):
    results = ki.replay(polarizer.csv, polarizer.prm)
    ki.write_results(tmp_path / "r.csv", results)
    printed = json.loads(kor("compare", "--json", tmp_path / "r.csv", polarizer.truth))
    assert ki.compare(tmp_path / "r.csv", polarizer.truth) == printed
    in_memory = ki.compare(results, ki.read_truth(polarizer.truth))
    assert [side.pop("file") for side in in_memory["sides"]] == [None, None]
    for side in printed["sides"]:
        side.pop("file")
    assert in_memory == printed
    lagged = json.loads(kor("compare", "--json", "--lag", "2", tmp_path / "r.csv", polarizer.truth))
    assert ki.compare(tmp_path / "r.csv", polarizer.truth, lag=2) == lagged
    noted = json.loads(kor("compare", "--json", "--note", "range", tmp_path / "r.csv", polarizer.truth))
    assert ki.compare(tmp_path / "r.csv", polarizer.truth, note="range") == noted


def test_comparisons_that_cannot_be(polarizer, tmp_path):
    results = ki.replay(polarizer.csv, polarizer.prm)
    with pytest.raises(ki.KorError, match="nothing to compare"):
        ki.compare(results[:5], results[5:10])
    with pytest.raises(ki.KorError, match="expected results of kor replay"):
        ki.compare(polarizer.csv, polarizer.truth)
    spoiled = results[:]
    spoiled.matrices[700] *= 1.1
    with pytest.warns(ki.KorWarning, match="is not a rotation") as told:
        ki.compare(spoiled, results)
    assert told[0].filename == __file__


def test_a_signal_ends_a_measurement():
    class Ended(Exception):
        pass

    def handler(number, frame):
        raise Ended

    previous = signal.signal(signal.SIGALRM, handler)
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.1)
        begin = time.process_time()
        with pytest.raises(Ended):
            ki.accuracy(5, poses=1_000_000)
        assert time.process_time() - begin < 10  # all of it takes more than half a minute
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, previous)


def test_measurements_and_replays_of_two_levels_side_by_side(sensor):
    # Both work with the values that the process has once.
    one = sensor(9)
    expected = ki.replay(one.csv, one.prm)
    figures = ki.accuracy(9, poses=2)
    wrong = []

    def measure():
        if ki.accuracy(9, poses=2) != figures:
            wrong.append("accuracy")

    threads = [threading.Thread(target=measure) for _ in range(2)]
    for thread in threads:
        thread.start()
    while any(thread.is_alive() for thread in threads):
        if not ki.replay(one.csv, one.prm).equals(expected):
            wrong.append("replay")
    for thread in threads:
        thread.join()
    assert not wrong
