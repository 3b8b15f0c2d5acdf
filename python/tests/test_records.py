"""Arrays of records, and files of them."""
import pathlib

import numpy as np
import pytest
from hypothesis import given, settings
from hypothesis import strategies as st
from hypothesis.extra import numpy as nps

import korinterface as ki
from korinterface import RAW_DTYPE


def test_the_types_are_the_records_of_the_library():
    # Offsets and sizes as Records.h states them, field by field.
    raw = {"reserved0": 0, "status": 4, "sensorVector": 8, "azimuthRaw": 20, "elevationRaw": 24, "levelXRaw": 28,
           "levelYRaw": 32, "levelTemperature": 36, "referenceGate": 40, "reserved44": 44, "referenceHold": 48,
           "reserved49": 49, "temperatureCount": 52, "timeStampMs": 64}
    info = {"reserved0": 0, "azimuth": 4, "elevation": 8, "levelX": 12, "levelY": 16, "orientationAngles": 20,
            "reserved32": 32, "sensorOut": 36, "temperature": 48}
    for dtype, size, offsets in ((ki.RAW_DTYPE, 68, raw), (ki.INFO_DTYPE, 60, info)):
        assert dtype.itemsize == size
        assert {name: field[1] for name, field in dtype.fields.items()} == offsets
        assert sum(field[0].itemsize for field in dtype.fields.values()) == size  # no byte without a name


def test_a_binary_recording_is_the_array_byte_for_byte(polarizer, tmp_path):
    samples = polarizer.samples()
    shipped = polarizer.csv.with_suffix(".korraw")
    assert samples.tobytes() == shipped.read_bytes()
    assert np.fromfile(shipped, RAW_DTYPE).tobytes() == ki.read_recording(shipped).tobytes()
    ki.write_recording(tmp_path / "copy.korraw", samples)
    assert (tmp_path / "copy.korraw").read_bytes() == shipped.read_bytes()


@pytest.mark.parametrize("name", ["copy.csv", "copy.csv.gz", "copy.korraw.zst", "-"])
def test_recordings_come_back_from_every_form(polarizer, tmp_path, monkeypatch, name):
    monkeypatch.chdir(tmp_path)
    samples = polarizer.samples()
    ki.write_recording(name, samples)
    assert (tmp_path / name).is_file()
    assert ki.read_recording(name).tobytes() == samples.tobytes()
    if name == "copy.csv":
        assert (tmp_path / name).read_bytes() == polarizer.csv.read_bytes()


def test_a_window_is_that_of_the_tool(polarizer, tmp_path, kor):
    kor("convert", polarizer.csv, tmp_path / "part.csv", "--from", "4294967000", "--to", "500")
    part = ki.read_recording(polarizer.csv, from_ms=4294967000, to_ms=500)
    assert len(part) and part.tobytes() == ki.read_recording(tmp_path / "part.csv").tobytes()
    with pytest.raises(ValueError, match="from_ms: found -1"):
        ki.read_recording(polarizer.csv, from_ms=-1)


def test_an_error_of_a_file_names_place_and_cause(polarizer, tmp_path):
    lines = polarizer.csv.read_text().splitlines(keepends=True)
    lines[4] = lines[4].replace(",", ",x", 1)
    broken = tmp_path / "broken.csv"
    broken.write_text("".join(lines[:20]))
    with pytest.raises(ki.KorError) as raised:
        ki.read_recording(broken)
    error = raised.value
    assert (error.kind, error.status, error.file, error.line, error.column) == (
        "bad data", None, str(broken), 5, "sensorVector_x")
    assert error.found and error.expected and str(broken) in str(error)
    with pytest.warns(ki.KorWarning) as told:
        samples = ki.read_recording(broken, skip_bad=True)
    assert len(samples) == 18
    assert "left out" in str(told[-1].message) and told[0].filename == __file__


def test_files_that_are_not_there_or_cannot_be_made(tmp_path, polarizer):
    for read in (ki.read_recording, ki.read_results, ki.read_truth):
        with pytest.raises(ki.KorError) as raised:
            read(tmp_path / "absent.csv")
        assert raised.value.kind == "cannot open" and raised.value.file == str(tmp_path / "absent.csv")
    with pytest.raises(ki.KorError) as raised:
        ki.write_recording(tmp_path / "no" / "folder.csv", polarizer.samples())
    assert raised.value.kind == "cannot create"
    assert list(tmp_path.iterdir()) == []
    for path in ("", "a\0b"):
        with pytest.raises(ValueError, match="path: found"):
            ki.read_recording(path)


def test_paths_of_any_bytes(polarizer, tmp_path):
    path = bytes(tmp_path) + b"/\xff\xe4.csv"
    ki.write_recording(path, polarizer.samples()[:3])
    assert len(ki.read_recording(path)) == 3
    with pytest.raises(ki.KorError, match="xff"):
        ki.read_recording(bytes(tmp_path) + b"/\xff.csv")


def test_results_are_the_files_of_a_replay(polarizer, tmp_path, kor):
    results = ki.replay(polarizer.csv, polarizer.prm)
    for name in ("results.csv", "results.korinfo", "results.csv.zst"):
        kor("replay", "--quiet", "--prm", polarizer.folder, "--id", polarizer.id, polarizer.csv, "-o", tmp_path / name)
        ki.write_results(tmp_path / f"mine_{name}", results)
        assert (tmp_path / f"mine_{name}").read_bytes() == (tmp_path / name).read_bytes()
        assert ki.read_results(tmp_path / name).equals(results)
    ki.write_results(tmp_path / "bare", results, format="bare")
    assert (tmp_path / "bare").read_bytes() == results.info.tobytes()


def test_results_without_outcomes_follow_the_codes(polarizer, tmp_path):
    results = ki.replay(polarizer.csv, polarizer.prm)[:300]
    ki.write_results(tmp_path / "new.csv", results)
    lines = [line.split(",")[:24] for line in (tmp_path / "new.csv").read_text().splitlines()]
    (tmp_path / "old.csv").write_text("".join(",".join(line) + "\n" for line in lines))
    old = ki.read_results(tmp_path / "old.csv")
    assert not old.says_outcomes and np.array_equal(old.usable, results.codes == 0)
    assert not old.level_x_out.any()


def test_parts_of_results(polarizer):
    results = ki.replay(polarizer.csv, polarizer.prm)
    assert len(results[results.usable]) == 2265
    assert results[-1].time_stamps[0] == results.time_stamps[-1] and len(results[5]) == 1
    assert results[::7].matrices.flags.c_contiguous
    with pytest.raises(IndexError):
        results[2400]


def test_a_truth_comes_back(polarizer, tmp_path):
    truth = ki.read_truth(polarizer.truth)
    assert truth.matrices.shape == (2400, 3, 3) and truth.valid.sum() == 2258
    ki.write_truth(tmp_path / "truth.csv", truth)
    assert (tmp_path / "truth.csv").read_bytes() == polarizer.truth.read_bytes()


def refusals(samples):
    """Arrays that are not what is expected, with the error and a part of its text."""
    return [
        (samples.tolist(), TypeError, "found an object of type list"),
        (samples.astype([(n, samples.dtype[n]) for n in samples.dtype.names[:-1]] + [("timeStampMs", "<f8")]), TypeError,
         "expected dtype korinterface.RAW_DTYPE"),
        (samples.view(np.uint8), TypeError, "found an array of dtype uint8"),
        (samples.astype(RAW_DTYPE.newbyteorder(">")), TypeError, "makes a copy"),
        (samples[::2], ValueError, "numpy.ascontiguousarray"),
        (samples[::-1], ValueError, "numpy.ascontiguousarray"),
        (samples.reshape(2, -1), ValueError, "one dimension"),
        (None, TypeError, "NoneType"),
    ]


def test_other_arrays_are_refused_with_what_to_do(polarizer, tmp_path):
    samples = polarizer.samples()[:10]
    engine = ki.Kor(polarizer.prm)
    for array, error, words in refusals(samples):
        for use in (engine.process, lambda a: ki.write_recording(tmp_path / "x.csv", a),
                    lambda a: ki.replay(a, polarizer.prm)):
            if isinstance(array, list | type(None)) and use is not engine.process:
                continue
            with pytest.raises(error, match=words.replace("(", "\\(")):
                use(array)
    assert list(tmp_path.iterdir()) == []
    results = ki.replay(samples, polarizer.prm)
    results.matrices = results.matrices[:5]
    with pytest.raises(ValueError, match="matrices: .* expected 10 x 3 x 3"):
        ki.write_results(tmp_path / "x.csv", results)
    results = ki.replay(samples, polarizer.prm)
    results.outcomes[3] = 200
    with pytest.raises(ValueError, match="outcomes: found 200 at index 3"):
        ki.write_results(tmp_path / "x.csv", results)


@settings(max_examples=60, deadline=None)
@given(nps.arrays(np.uint8, st.integers(0, 6).map(lambda n: n * 68)))
def test_any_bytes_are_samples_and_come_back_from_binary_files(tmp_path_factory, data):
    samples = data.view(RAW_DTYPE) if data.size else np.empty(0, RAW_DTYPE)
    path = tmp_path_factory.getbasetemp() / "any.korraw"
    ki.write_recording(path, samples)
    assert pathlib.Path(path).read_bytes() == samples.tobytes()
