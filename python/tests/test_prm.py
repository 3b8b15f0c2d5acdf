"""Parameter sets."""
import json
import pickle
import subprocess
import sys
import threading

import numpy as np
import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

import korinterface as ki


@pytest.mark.parametrize("mode", range(1, 11))
def test_json_and_show_are_those_of_the_tool(mode, sensor, tmp_path, kor):
    one = sensor(mode)
    path = one.folder / f"Tg{one.id}.prm"
    assert one.prm.to_json().encode() == kor("prm", "json", path)
    assert one.prm.show().encode() == kor("prm", "show", path)
    assert one.prm.show(rows=True).encode() == kor("prm", "show", "--rows", path)
    again = ki.Prm.from_json(one.prm.to_json())
    (tmp_path / "prm.json").write_text(one.prm.to_json())
    assert again.content == kor("prm", "from-json", tmp_path / "prm.json")
    for name, group in one.prm.groups().items():
        assert again.groups()[name].tobytes() == group.tobytes(), name


def test_reading_by_directory_and_id_or_by_path(polarizer, tmp_path):
    by_path = ki.Prm.read(polarizer.folder / "Tg1005.prm")
    assert by_path == polarizer.prm and hash(by_path) == hash(polarizer.prm) and by_path.id == 1005
    other = tmp_path / "backup of 1005.txt"
    other.write_bytes(polarizer.prm.content)
    named = ki.Prm.read(other)
    assert named == polarizer.prm and named.path == str(other)
    assert repr(named) == "<korinterface.Prm of sensor 1005, mount mode 5>"
    with pytest.raises(TypeError, match=r"Prm\.read"):
        ki.Prm()


def test_a_file_that_is_not_there(tmp_path):
    with pytest.raises(ki.KorError) as raised:
        ki.Prm.read(tmp_path, 7)
    assert raised.value.kind == "cannot open" and raised.value.file == str(tmp_path / "Tg7.prm")
    with pytest.raises(ki.KorError) as raised:
        ki.Prm.read(tmp_path / "other.prm")
    assert raised.value.kind == "cannot open" and "No such file" in str(raised.value)
    with pytest.raises(ki.KorError):
        ki.check(tmp_path, 7)
    with pytest.raises(ValueError, match="id: found"):
        ki.Prm.read(tmp_path, 2**32)


def test_a_refused_file_names_the_place(polarizer, tmp_path, kor):
    text = polarizer.prm.content.replace(b"Angle Offset", b"Angle Ofset")
    (tmp_path / "Tg1005.prm").write_bytes(text)
    with pytest.raises(ki.KorError) as raised:
        ki.Prm.read(tmp_path, 1005)
    error = raised.value
    line = text[:text.index(b"Angle Ofset")].count(b"\n") + 1
    assert (error.kind, error.status, error.line) == ("library", 553, line)
    assert error.found == "Angle Ofset" and error.expected == "Angle Offset"
    findings = ki.check(tmp_path, 1005)
    assert any(f.severity == "error" and f.line == line for f in findings)
    told = json.loads(kor("prm", "check", "--json", tmp_path / "Tg1005.prm", status=65))
    assert json.dumps(told).count('"rule"') == len(findings)


def test_findings_are_those_of_the_tool(polarizer, tmp_path, kor):
    text = polarizer.prm.content.replace(b"Tilt Sensor Offset\n0.021500", b"Tilt Sensor Offset\n500", 1)
    (tmp_path / "Tg1005.prm").write_bytes(text)
    prm = ki.Prm.read(tmp_path / "Tg1005.prm")
    by_content = {(f.rule, f.line, f.block, f.found) for f in prm.check()}
    by_file = {(f.rule, f.line, f.block, f.found) for f in ki.check(tmp_path / "Tg1005.prm")}
    assert by_content == by_file and by_file
    assert [f.rule for f in polarizer.prm.check(mode=9)] != [f.rule for f in polarizer.prm.check()]


def test_what_a_read_passes_over_is_in_the_report(polarizer, tmp_path):
    content = polarizer.prm.content
    (tmp_path / "Tg1005.prm").write_bytes(content.replace(b"Mounting Mode\n5", b"Mounting Mode\nupright"))
    line = content[:content.index(b"Mounting Mode")].count(b"\n") + 2
    prm = ki.Prm.read(tmp_path, 1005)
    assert prm.mode == 0
    assert prm.report.all_findings == len(prm.report.findings) == 1
    finding = prm.report.findings[0]
    assert (finding.kind, finding.block, finding.line) == ("unreadable value", "Mounting Mode", line)
    assert pickle.loads(pickle.dumps(prm)).report == prm.report


def test_groups_are_read_only_arrays(polarizer):
    groups = polarizer.prm.groups()
    assert groups["azimuth_table"].shape[1] == 2 and groups["azimuth_table"].dtype == np.float32
    assert polarizer.prm.level_x_coefficients.shape == (len(polarizer.prm.level_x_knots), 4)
    assert groups["machine_matrix"].shape == groups["local_matrix"].shape == (3, 3)
    for group in groups.values():
        with pytest.raises(ValueError, match="read-only"):
            group[...] = 0
    blocks = polarizer.prm.to_dict()
    assert np.array_equal(np.float32(blocks["Scale Factor"]), polarizer.prm.scale_factors)
    assert np.allclose(np.linalg.inv(np.float64(blocks["Machine Coordinate Tranform Matrix"])),
                       polarizer.prm.machine_matrix, atol=1e-6)  # the file holds single precision


def test_a_parameter_is_changed_through_a_dict(polarizer):
    blocks = polarizer.prm.to_dict()
    blocks["Scale Factor"] = np.arange(8, dtype=np.float32)
    blocks["Mounting Mode"] = np.int64(1)
    changed = ki.Prm.from_dict(blocks)
    assert changed.mode == 1 and np.array_equal(changed.scale_factors, np.arange(8))
    blocks["Angle Offset"] = [1]
    with pytest.raises(ki.KorError, match="/Angle Offset: found .* expected"):
        ki.Prm.from_dict(blocks)
    with pytest.raises(TypeError, match="found an object of type set"):
        ki.Prm.from_dict({"format": {1}})


def test_pickles_are_the_same_parameters(sensor):
    for mode in (5, 9):
        one = sensor(mode)
        again = pickle.loads(pickle.dumps(one.prm))
        assert again == one.prm and (again.path, again.mode) == (one.prm.path, one.prm.mode)
        assert ki.replay(one.csv, again).equals(ki.replay(one.csv, one.prm))


def test_pickles_cross_processes(polarizer, tmp_path):
    (tmp_path / "prm").write_bytes(pickle.dumps(polarizer.prm))
    code = "import sys, pickle; prm = pickle.load(open(sys.argv[1], 'rb')); print(prm.id, prm.mode)"
    done = subprocess.run([sys.executable, "-c", code, str(tmp_path / "prm")], check=True, capture_output=True, text=True)
    assert done.stdout == "1005 5\n"


def test_errors_are_pickled_whole(tmp_path):
    with pytest.raises(ki.KorError) as raised:
        ki.read_recording(tmp_path / "absent")
    again = pickle.loads(pickle.dumps(raised.value))
    assert str(again) == str(raised.value) and again.__dict__ == raised.value.__dict__


def test_one_parameter_set_serves_many_threads(polarizer):
    expected = ki.replay(polarizer.csv, polarizer.prm)
    wrong = []

    def work():
        for _ in range(5):
            if not ki.replay(polarizer.samples(), polarizer.prm).equals(expected):
                wrong.append(1)

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not wrong


@settings(max_examples=60, deadline=None)
@given(position=st.integers(0, 6000), data=st.binary(max_size=30))
def test_any_change_of_a_file_is_read_or_refused(position, data, polarizer, tmp_path_factory):
    content = polarizer.prm.content
    path = tmp_path_factory.getbasetemp() / "any.prm"
    path.write_bytes(content[:position] + data + content[position + len(data):])
    try:
        prm = ki.Prm.read(path)
    except ki.KorError as error:
        assert str(error)
        return
    assert pickle.loads(pickle.dumps(prm)).groups().keys() == prm.groups().keys()
