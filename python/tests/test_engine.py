"""Engines, replays and models, held against the tool and against each other."""
import os
import pickle
import signal
import subprocess
import sys
import threading
import time
import tracemalloc

import numpy as np
import pytest
from hypothesis import given, settings
from hypothesis import strategies as st
from hypothesis.extra import numpy as nps

import korinterface as ki
from korinterface import OUTCOMES, RAW_DTYPE


@pytest.mark.parametrize("mode", range(1, 11))
def test_a_replay_is_that_of_the_tool(mode, sensor, tmp_path, kor):
    one = sensor(mode)
    options = {1: ["--mcs", "off"], 4: ["--mode", "3"], 9: ["--store"], 10: ["--store", "--psd", "10,-20,1000"]}.get(mode, [])
    arguments = {1: {"mcs": False}, 4: {"mode": 3}, 9: {"store": True},
                 10: {"store": True, "psd": (10, -20, 1000)}}.get(mode, {})
    kor("replay", "--quiet", "--prm", one.folder, "--id", one.id, one.csv, "-o", tmp_path / "tool.csv", *options)
    results = ki.replay(one.csv, one.prm, **arguments)
    ki.write_results(tmp_path / "python.csv", results)
    assert (tmp_path / "python.csv").read_bytes() == (tmp_path / "tool.csv").read_bytes()
    # An engine of one's own, fed in two parts.
    ki.fresh_process_values()
    engine = ki.Kor(one.prm, **arguments)
    samples = one.samples()
    parts = [engine.process(samples[:301]), engine.process(samples[301:])]
    assert parts[0].info.tobytes() + parts[1].info.tobytes() == results.info.tobytes()
    assert parts[0].matrices.tobytes() + parts[1].matrices.tobytes() == results.matrices.tobytes()


def test_a_repaired_replay_is_that_of_the_tool(sensor, tmp_path, kor):
    one = sensor(9)
    samples = one.samples()
    samples["levelXRaw"][300:302] = np.nan
    samples["sensorVector"][700] = np.inf
    ki.write_recording(tmp_path / "spoiled.csv", samples)
    for options, arguments in (([], {}), (["--repair"], {"repair": True})):
        kor("replay", "--quiet", "--prm", one.folder, "--id", one.id, tmp_path / "spoiled.csv", "-o",
            tmp_path / "tool.csv", *options)
        results = ki.replay(tmp_path / "spoiled.csv", one.prm, **arguments)
        ki.write_results(tmp_path / "python.csv", results)
        assert (tmp_path / "python.csv").read_bytes() == (tmp_path / "tool.csv").read_bytes()
        assert (results.outcomes == OUTCOMES.index("spoiled")).any() == (not arguments)


def test_replays_of_two_level_sensors_do_not_disturb_each_other(sensor):
    # Their engines share values of the whole process: each replay begins anew and keeps them to itself.
    one, other = sensor(9), sensor(10)
    alone = [ki.replay(one.samples(), one.prm), ki.replay(other.samples(), other.prm)]
    found = {}

    def work(name, which):
        found[name] = [ki.replay(which.samples(), which.prm) for _ in range(4)]

    threads = [threading.Thread(target=work, args=(i, which)) for i, which in enumerate((one, other, one))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for name, expected in ((0, alone[0]), (1, alone[1]), (2, alone[0])):
        assert all(results.equals(expected) for results in found[name])


def test_the_input_is_neither_copied_nor_changed(polarizer):
    samples = np.concatenate([polarizer.samples()] * 40)
    before = samples.tobytes()
    samples.flags.writeable = False
    engine = ki.Kor(polarizer.prm)
    tracemalloc.start()
    results = engine.process(samples)
    peak = tracemalloc.get_traced_memory()[1]
    tracemalloc.stop()
    assert samples.tobytes() == before
    # NumPy tells what it allocates: the results alone, of 60 + 72 + 4 + 1 + 1 + 1 + 4 bytes a sample.
    assert peak < len(samples) * 143 + 100_000
    assert len(results) == len(samples)


def test_no_samples_give_no_results(polarizer):
    results = ki.Kor(polarizer.prm).process(np.empty(0, RAW_DTYPE))
    assert len(results) == 0 and results.matrices.shape == (0, 3, 3) and results.outcome_counts() == {}


def test_records_at_odd_addresses(polarizer):
    samples = polarizer.samples()[:300]
    shifted = np.frombuffer(b"x" + samples.tobytes(), RAW_DTYPE, offset=1)
    assert shifted.ctypes.data % 4 == 1 or shifted.ctypes.data % 4 == 3 or shifted.ctypes.data % 2 == 1
    assert ki.replay(shifted, polarizer.prm).equals(ki.replay(samples, polarizer.prm))


@pytest.mark.parametrize("count", [
    10**6,
    # More than 2**31 bytes of samples and more than 2**32 of results; 7 GB of memory, so that it has to be asked for.
    pytest.param(2**31 // 68 + 1, marks=pytest.mark.skipif("KOR_HUGE" not in os.environ, reason="KOR_HUGE is not set")),
])
def test_many_samples_in_one_call(count, polarizer):
    one = polarizer.samples()[300:301]
    samples = np.repeat(one, count)
    engine = ki.Kor(polarizer.prm)
    engine.process(polarizer.samples())
    results = engine.process(samples)
    assert len(results) == count and results.outcome_counts() == {"ok": count}
    assert results.matrices[-1].tobytes() == results.matrices[0].tobytes() == results.matrices[count // 2].tobytes()


@pytest.mark.parametrize("mode", [1, 4, 5, 7])
def test_nan_in_gives_nan_out_and_says_so(mode, sensor):
    one = sensor(mode)
    samples = one.samples()
    samples["sensorVector"][500] = np.nan
    results = ki.replay(samples, one.prm)
    assert OUTCOMES[results.outcomes[500]] in ("not_finite", "no_matrix_no_solution")
    clean = ki.replay(one.samples(), one.prm)
    others = np.arange(len(samples)) != 500
    assert results.matrices[others].tobytes() == clean.matrices[others].tobytes()


@settings(max_examples=60, deadline=None)
@given(mode=st.integers(1, 10), data=nps.arrays(np.uint8, st.integers(1, 30).map(lambda n: n * 68)))
def test_any_bytes_are_processed(mode, data, sensor):
    samples = data.view(RAW_DTYPE).copy()
    samples["status"] = 2
    results = ki.replay(samples, sensor(mode).prm)
    assert len(results) == len(samples)
    assert np.array_equal(results.time_stamps, samples["timeStampMs"])
    finite = np.isfinite(results.matrices).all(axis=(1, 2))
    assert not (results.usable & ~finite).any()


def test_one_sample_at_a_time_gives_the_same(polarizer):
    samples = polarizer.samples()[:200]
    together = ki.Kor(polarizer.prm).process(samples)
    engine = ki.Kor(polarizer.prm)
    for i, sample in enumerate(samples):
        one = engine.update(sample)
        assert one.equals(together[i])
    assert engine.read_matrix().tobytes() == together.matrices[-1].tobytes()
    assert engine.last_sample().outcome == "valid"
    with pytest.raises(ValueError, match="found 3 samples"):
        engine.update(samples[:3])
    with pytest.raises(TypeError, match="expected dtype"):
        engine.update(np.float64(1.0))


def test_an_engine_without_a_model_refuses(polarizer):
    engine = ki.Kor()
    assert engine.last_sample().outcome == "never fed"
    results = engine.process(polarizer.samples()[:3])
    assert results.outcome_counts() == {"no_matrix_no_model": 3}
    with pytest.raises(ki.KorError) as raised:
        engine.read_matrix()
    assert raised.value.status == 554 and raised.value.kind == "library"
    engine.configure(polarizer.prm)
    assert engine.process(polarizer.samples()).usable.any()
    engine.destroy()
    assert engine.process(polarizer.samples()[:1]).outcome_counts() == {"no_matrix_no_model": 1}
    with pytest.raises(ValueError, match="prm: found None"):
        ki.Kor(mode=5)


def by_hand(prm, mode, store):
    engine = ki.Kor()
    engine.set_azimuth_table(prm.azimuth_table)
    engine.set_elevation_table(prm.elevation_table)
    engine.set_level_x(prm.level_x_knots, prm.level_x_coefficients, prm.level_x_extra)
    engine.set_level_y(prm.level_y_knots, prm.level_y_coefficients, prm.level_y_extra)
    engine.set_encoder_offset(prm.encoder_offset)
    engine.set_known_vector(prm.groups()["known_vector"])
    engine.set_local_matrix(prm.local_matrix)
    engine.set_machine_matrix(prm.machine_matrix)
    engine.set_level1_parameters(prm.groups()["level1_parameters"])
    engine.set_level2_parameters(prm.groups()["level2_parameters"])
    engine.set_qvc_parameters(prm.groups()["qvc_parameters"])
    engine.set_scale_factors(prm.scale_factors)
    engine.set_thermal_factor(prm.thermal_factor)
    engine.set_tilt_offset(prm.tilt_offset)
    if store:
        engine.set_detector(10, -20, 1000)
        groups = prm.groups()
        engine.load_store(groups["dynamic_parameters"], groups["psd_x"], groups["psd_y"])
    engine.set_mount_mode(mode)
    return engine


@pytest.mark.parametrize("mode", [1, 5, 8, 9])
def test_an_engine_configured_by_hand_is_the_same(mode, sensor):
    one = sensor(mode)
    store = mode > 7
    expected = ki.replay(one.csv, one.prm, store=store, psd=(10, -20, 1000) if store else None)
    ki.fresh_process_values()
    assert by_hand(one.prm, mode, store).process(one.samples()).equals(expected)
    if mode < 7:
        engine = by_hand(one.prm, mode, store)
        engine.set_mcs_flag(False)
        assert engine.process(one.samples()).equals(ki.replay(one.csv, one.prm, mcs=False))


def test_groups_of_another_size_are_refused(polarizer):
    engine = ki.Kor()
    for given in ([1, 2, 3], np.zeros((2, 4))):
        with pytest.raises(ValueError, match="scale_factors: found an array of another shape, expected 8"):
            engine.set_scale_factors(given)
    with pytest.raises(TypeError, match="scale_factors"):
        engine.set_scale_factors(["a"] * 8)
    with pytest.raises(ValueError, match="table"):
        engine.set_azimuth_table([[1, 2, 3]])
    with pytest.raises(ValueError, match="coefficients"):
        engine.set_level_x([1, 2], [[0, 0, 0, 0]])
    engine.set_azimuth_table([[0, 0], [360, 0]])
    with pytest.raises(ki.KorError) as raised:
        engine.set_azimuth_table([[0, 0], [180, 0], [360, 0]])
    assert raised.value.status == 20
    other = ki.Kor()
    other.set_azimuth_table([])  # no correction: its size stays at zero
    assert other.inverse_azimuth(12.5) == 12.5


def test_inverse_calibrations_find_the_reading(polarizer):
    engine = ki.Kor(polarizer.prm)
    results = engine.process(polarizer.samples()[200:201])
    azimuth = float(results.info["azimuth"][0])
    raw = float(polarizer.samples()["azimuthRaw"][200])
    # Both ways round to single precision: a few units in the last place of some hundred degrees.
    assert engine.inverse_azimuth(azimuth) % 360 == pytest.approx(raw % 360, abs=2e-4)
    elevation = float(results.info["elevation"][0])
    assert engine.inverse_elevation(elevation) % 360 == pytest.approx(
        float(polarizer.samples()["elevationRaw"][200]) % 360, abs=2e-4)


def test_options_without_effect_are_refused(sensor):
    samples = sensor(5).samples()[:1]
    for arguments, words in (({"store": True}, "store has no effect"), ({"psd": (1, 2, 3)}, "psd has no effect"),
                             ({"mode": 11}, "mode: found 11"), ({"format": "csv"}, "go with a file")):
        with pytest.raises(ValueError, match=words):
            ki.replay(samples, sensor(5).prm, **arguments)
    for arguments, words in (({"mcs": False}, "mcs=False has no effect"), ({"psd": (1, 2, 3)}, "without store=True"),
                             ({"store": True, "psd": (1, 2, 0)}, "divisor of 0")):
        with pytest.raises(ValueError, match=words):
            ki.replay(sensor(9).samples()[:1], sensor(9).prm, **arguments)


def test_the_interpreter_goes_on_meanwhile(polarizer):
    samples = np.concatenate([polarizer.samples()] * 100)
    engine = ki.Kor(polarizer.prm)
    done = threading.Event()
    thread = threading.Thread(target=lambda: (engine.process(samples), done.set()))
    steps = 0
    thread.start()
    while not done.is_set():
        time.sleep(0.001)
        steps += 1
    thread.join()
    # A call that kept the lock would let this thread take a step or two.
    assert steps > 20


def test_threads_at_one_engine_take_turns(polarizer):
    # Whole arrays go through one after the other: whichever comes first, each array's samples stay together.
    samples = np.concatenate([polarizer.samples()[200:]] * 3)
    engine = ki.Kor(polarizer.prm)
    engine.process(polarizer.samples())
    alone = engine.process(samples)
    found = [None] * 4

    def work(i):
        found[i] = engine.process(samples)

    threads = [threading.Thread(target=work, args=(i,)) for i in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    # In mount mode 5 nothing is left of earlier samples but the reference, so all are the same.
    assert all(results.equals(alone) for results in found)


def in_child(work):
    """Exit status of a forked child that does some work: 0 if it has come to its end."""
    child = os.fork()
    if child == 0:
        try:
            signal.alarm(60)  # rather an end than a wait without one
            work()
            os._exit(0)
        except BaseException:
            os._exit(1)
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


@pytest.mark.filterwarnings("ignore:.*multi-threaded.*:DeprecationWarning")
@pytest.mark.parametrize("mode", [5, 9])
def test_engines_work_in_a_forked_child(mode, sensor):
    one = sensor(mode)
    samples = one.samples()
    whole = ki.replay(samples, one.prm)
    ki.fresh_process_values()
    engine = ki.Kor(one.prm)
    engine.process(samples[:400])

    def work():
        assert engine.process(samples[400:]).equals(whole[400:])
        assert ki.replay(samples, one.prm).equals(whole)

    assert in_child(work) == 0
    assert engine.process(samples[400:]).equals(whole[400:])  # the child's work is nothing to the parent


@pytest.mark.filterwarnings("ignore:.*multi-threaded.*:DeprecationWarning")
@pytest.mark.parametrize("mode", [5, 9])
def test_an_engine_at_work_during_a_fork_is_refused_in_the_child(mode, sensor):
    one = sensor(mode)
    samples = np.concatenate([one.samples()] * 200)
    engine = ki.Kor(one.prm)
    thread = threading.Thread(target=engine.process, args=(samples,))
    thread.start()
    time.sleep(0.02)

    def work():
        try:
            engine.process(samples[:1])
        except ki.KorError as error:
            assert "forked" in str(error)
        else:
            assert mode == 9  # the fork has waited until the values that all share were free
        ki.Kor(one.prm).process(samples[:10])
        ki.replay(samples[:10], one.prm)

    assert in_child(work) == 0
    thread.join()


def test_a_signal_ends_a_long_call(polarizer):
    samples = np.concatenate([polarizer.samples()] * 400)
    engine = ki.Kor(polarizer.prm)

    class Ended(Exception):
        pass

    def handler(number, frame):
        with pytest.raises(ki.KorError, match="in use by this very thread"):
            engine.process(samples[:1])
        raise Ended

    previous = signal.signal(signal.SIGALRM, handler)
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.02)
        with pytest.raises(Ended):
            engine.process(samples)
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, previous)
    assert len(engine.process(samples[:10])) == 10


def test_a_subinterpreter_is_refused():
    subinterpreters = pytest.importorskip("_xxsubinterpreters")
    other = subinterpreters.create()
    try:
        with pytest.raises(subinterpreters.RunFailedError, match="main interpreter of a process only"):
            subinterpreters.run_string(other, f"import sys; sys.path[:] = {sys.path!r}; import korinterface._core")
    finally:
        subinterpreters.destroy(other)


def test_a_second_import_gives_the_same_types():
    code = ("import sys, korinterface._core as first\n"
            "del sys.modules['korinterface._core']\n"
            "import importlib; second = importlib.import_module('korinterface._core')\n"
            "assert second is not first and second.Engine is first.Engine")
    subprocess.run([sys.executable, "-c", code], check=True)


def test_results_are_pickled(polarizer):
    results = ki.replay(polarizer.csv, polarizer.prm)
    assert pickle.loads(pickle.dumps(results)).equals(results)


def test_engines_and_models_are_not_pickled(polarizer):
    for made in (ki.Kor(polarizer.prm), ki.Model("polarizer")):
        with pytest.raises(TypeError):
            pickle.dumps(made)


def test_a_model_by_itself_is_that_of_the_engine(polarizer):
    # Mount mode 5 hands its model the calibrated angles, the levels and the position of the sample.
    prm = polarizer.prm
    samples = polarizer.samples()
    results = ki.replay(samples, prm, mcs=True)
    model = ki.Model("polarizer")
    model.set_scale_factors(prm.scale_factors)
    assert model.set_parity(1) == 1 and model.set_parity(-1) == 1
    row = 500
    info = results.info[row]
    readings = [*samples["sensorVector"][row], info["levelX"], info["levelY"], info["azimuth"], info["elevation"], 0, 0]
    matrix, formed = model.solve(readings, *prm.encoder_offset)
    assert formed
    # The engine calibrates in double precision and tells single precision: some 3e-5 degrees.
    assert np.abs(prm.machine_matrix @ matrix - results.matrices[row]).max() < 2e-6
    with pytest.raises(ValueError, match="kind: found"):
        ki.Model("none")
    for kind in ki.MODELS:
        model = ki.Model(kind)
        model.set_level_limits(False, False)
        model.set_counter(1, 1)
        model.set_time_interval(0.0, 0.0)
        model.set_dynamic_parameters([0] * 7)
        model.set_qvc_parameters([0] * 6)
        model.set_level1_parameters([0] * 7)
        model.set_level2_parameters([0] * 7)
        assert model.qvc().shape == (6,) and model.levels().shape == (2,)
        assert model.solve(np.zeros(9))[0].shape == (3, 3)
    ki.fresh_process_values()


def test_home_vector(polarizer):
    first, second, regular = ki.home_vector([1, 0, 0], [0, 1, 0.2], [10, 20], [30, 40])
    assert regular and np.isfinite([first, second]).all()
    assert np.isnan(ki.home_vector([1, 0, 0], [0, 1, 0.2], [10, 20], [0, 0])[0])
    assert not ki.home_vector([0, 0, 0], [0, 0, 0], [10, 20], [30, 40])[2]


def test_the_bindings_check_what_they_are_given_themselves():
    from korinterface import _core
    for given in (3, np.zeros(3), None):
        with pytest.raises(TypeError, match="samples: found"):
            _core.Engine().process(given)
