"""Replays in parts."""
import contextlib
import gzip
import json
import subprocess

import numpy as np
import pytest

import korinterface as ki


def parts_of(*arguments, **options):
    parts = []
    summary = ki.replay_parts(*arguments, parts.append, **options)
    return parts, summary


def joined(parts):
    return b"".join(part.info.tobytes() for part in parts), b"".join(part.matrices.tobytes() for part in parts)


@pytest.mark.parametrize("mode", [5, 9])
def test_parts_are_the_whole(sensor, mode):
    recording = sensor(mode)
    whole = ki.replay(recording.csv, recording.prm)
    for rows in (1, 7, 1000, len(whole), 65536):
        parts, summary = parts_of(recording.csv, recording.prm, rows=rows)
        assert [len(part) for part in parts[:-1]] == [rows] * (len(parts) - 1) and len(parts[-1]) <= rows
        assert summary["samples"] == len(whole) == sum(map(len, parts))
        assert joined(parts) == joined([whole])
        for name in ("codes", "outcomes", "level_x_out", "level_y_out", "time_stamps"):
            assert np.array_equal(np.concatenate([getattr(part, name) for part in parts]), getattr(whole, name))


def test_the_summary_is_that_of_the_tool(sensor, kor, tmp_path):
    recording = sensor(9)
    lines = recording.csv.read_text().splitlines()
    cells = lines[300].split(",")
    cells[lines[0].split(",").index("levelXRaw")] = "nan"
    lines[300] = ",".join(cells)
    lines[700] = "not,a,row"
    (tmp_path / "bad.csv").write_text("\n".join(lines) + "\n")
    for name, options, words in (
            (recording.csv, {}, []), (tmp_path / "bad.csv", {"skip_bad": True}, ["--skip-bad"]),
            (tmp_path / "bad.csv", {"skip_bad": True, "repair": True}, ["--skip-bad", "--repair"]),
            (recording.csv, {"from_ms": 0, "to_ms": 2000}, ["--from", 0, "--to", 2000])):
        done = subprocess.run([kor.tool, "replay", "--prm", recording.folder, "--id", str(recording.id), name, "-o",
                               tmp_path / "r.korinfo", "--summary", "json", *map(str, words)], capture_output=True,
                              check=True)
        told = json.loads(done.stderr)
        with pytest.warns(ki.KorWarning) if "skip_bad" in options else contextlib.nullcontext():
            parts, summary = parts_of(name, recording.prm, rows=100, **options)
        # Where the results are, how long it took, and what was warned of are of each way's own.
        for key in ("results", "seconds", "messages"):
            told.pop(key), summary.pop(key)
        assert summary == told
        assert joined(parts) == joined([ki.read_results(tmp_path / "r.korinfo")])  # CSV would lose the kind of a nan


def test_what_is_raised_ends_the_replay(sensor):
    recording = sensor(9)
    taken = []

    def take(part):
        taken.append(len(part))
        raise KeyError("enough")

    with pytest.raises(KeyError, match="enough"):
        ki.replay_parts(recording.csv, recording.prm, take, rows=10)
    assert taken == [10]
    # The values of the process are free again.
    assert ki.replay(recording.csv, recording.prm).equals(ki.replay(recording.csv, recording.prm))


def test_a_broken_recording_hands_over_what_is_before(polarizer, tmp_path):
    (tmp_path / "cut.csv.gz").write_bytes(gzip.compress(polarizer.csv.read_bytes())[:60_000])
    parts = []
    with pytest.raises(ki.KorError) as raised:
        ki.replay_parts(tmp_path / "cut.csv.gz", polarizer.prm, parts.append, rows=10)
    assert raised.value.kind == "bad data" and raised.value.line > 10
    whole = ki.replay(polarizer.csv, polarizer.prm)
    assert len(parts) > 10 and joined(parts) == joined([whole[:10 * len(parts)]])


def test_part_and_engine_do_not_share_the_process_values(sensor):
    recording = sensor(9)
    samples = recording.samples()[:50]
    whole = ki.replay(recording.csv, recording.prm)
    parts = []

    def take(part):
        with pytest.raises(ki.KorError, match="in use by this very thread"):
            ki.Kor(recording.prm).process(samples)
        parts.append(part)

    ki.replay_parts(recording.csv, recording.prm, take, rows=300)
    assert joined(parts) == joined([whole])


def test_options_are_checked(polarizer):
    for options, words in (({"rows": 0}, "rows: found 0"), ({"rows": 2**24 + 1}, "rows"), ({"store": True}, "no effect"),
                           ({"from_ms": -1}, "from_ms"), ({"mode": 11}, "mode")):
        with pytest.raises(ValueError, match=words):
            ki.replay_parts(polarizer.csv, polarizer.prm, print, **options)
    with pytest.raises(TypeError):
        ki.replay_parts(polarizer.csv, polarizer.prm, None, rows=10)
