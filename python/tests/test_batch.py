"""Archives of recordings. scripts/batch.sh does the same with a thousand, a cluster, and what may happen to it."""
import asyncio
import datetime
import os
import re
import runpy
import shutil
import subprocess
import sys
import threading

import numpy as np
import pytest

import korinterface as ki
from korinterface import batch

import archives
from conftest import ROOT

pytest.importorskip("pyarrow", reason="Debian has no package of it; scripts/python.sh brings it")
pytest.importorskip("fsspec")

PATTERN = "{sensor}/{day}/*"


@pytest.fixture(scope="module")
def shared(tmp_path_factory):
    """A dozen recordings, for tests that only read them."""
    folder = tmp_path_factory.mktemp("archive")
    return folder, archives.make(folder, 14)


@pytest.fixture
def few(shared, tmp_path):
    """Some of them, to be changed."""
    folder, _ = shared
    shutil.copytree(folder / "calibration", tmp_path / "calibration")
    for sensor in ("1005", "1009"):
        shutil.copytree(folder / "recordings" / sensor, tmp_path / "recordings" / sensor)
    return tmp_path


def replay(folder, output="output", **options):
    given = {"prm": folder / "calibration", "pattern": PATTERN, "root": folder / "recordings", **options}
    return batch.replay(folder / "recordings", folder / output, **given)


def column(table, name):
    return dict(zip(table.column("recording").to_pylist(), table.column(name).to_pylist()))


def test_results_are_those_of_the_tool(shared, kor, tmp_path):
    folder, made = shared
    report = batch.replay(folder / "recordings", tmp_path / "output", prm=folder / "calibration", pattern=PATTERN,
                          root=folder / "recordings")
    assert (report.recordings, report.replayed, report.recognised, report.failed) == (14, 14, 0, 0)
    wanted = archives.replayed_by_tool(kor.tool, made, folder / "calibration", tmp_path / "tool")
    summaries = batch.summaries(tmp_path / "output")
    assert batch.failures(tmp_path / "output").num_rows == 0
    for path in made:
        name = str(path.relative_to(folder / "recordings"))
        assert batch.read_results(tmp_path / "output", name).equals(wanted[path])
        (row,) = [row for row in summaries.to_pylist() if row["recording"] == name]
        counts = wanted[path].outcome_counts()
        assert {outcome: row[outcome] for outcome in ki.OUTCOMES if row[outcome]} == counts
        assert (str(row["sensor"]), str(row["day"])) == path.parts[-3:-1] and row["day_from"] == "path"
        assert row["results"].startswith(f"results/sensor={row['sensor']}/day={row['day']}/{path.name.split('.')[0]}-")
    assert {row["model"] for row in summaries.to_pylist()} == {"dual level", "pendulum", "polarizer", "three vectors",
                                                                "two levels"}
    assert any(row["not_finite"] or row["spoiled"] for row in summaries.to_pylist())


def test_the_results_are_a_data_set_of_parquet(shared, tmp_path):
    import pyarrow.dataset

    folder, _ = shared
    batch.replay(folder / "recordings", tmp_path / "output", prm=folder / "calibration", pattern=PATTERN)
    data = pyarrow.dataset.dataset(tmp_path / "output" / "results", partitioning="hive")
    found = data.to_table(filter=(pyarrow.dataset.field("sensor") == 1005))
    assert set(found.column("sensor").to_pylist()) == {1005} and set(found.column("day").to_pylist()) <= {
        "2026-11-20", "2026-11-21"}
    whole = data.to_table()
    assert whole.num_rows == sum(batch.summaries(tmp_path / "output").column("samples").to_pylist())
    kinds = {field.name: str(field.type) for field in data.schema}
    assert (kinds["timeStampMs"], kinds["azimuth_deg"], kinds["m00"], kinds["levelX_out"]) == (
        "uint32", "float", "double", "bool")
    assert data.schema.field("azimuth_deg").metadata == {b"unit": b"deg"}
    some = whole.filter(pyarrow.compute.equal(whole.column("recording"), whole.column("recording")[0]))
    assert some.column("sample").to_pylist() == list(range(120))


def test_a_second_run_changes_nothing(few):
    assert replay(few).replayed == 4
    before = archives.tree(few / "output")
    assert any(name.startswith("results/sensor=1009/day=") for name in before)
    report = replay(few)
    assert (report.replayed, report.recognised, report.failed) == (0, 4, 0)
    assert archives.tree(few / "output") == before


def test_only_what_has_changed_is_replayed(few):
    replay(few)
    (first,) = (few / "recordings" / "1005").rglob("*.korraw")
    name = str(first.relative_to(few / "recordings"))
    before = archives.tree(few / "output")

    # Its content, with the same size and time.
    samples = ki.read_recording(first)
    samples["azimuthRaw"][100] += 1
    stamp = first.stat().st_mtime_ns
    ki.write_recording(first, samples)
    os.utime(first, ns=(stamp, stamp))
    assert (replay(few).replayed, len(archives.tree(few / "output"))) == (1, len(before))
    changed = {file for file, what in archives.tree(few / "output").items() if before[file] != what}
    assert changed == {"summaries.parquet", column(batch.summaries(few / "output"), "results")[name]}
    prm = ki.Prm.read(few / "calibration", 1005)
    assert batch.read_results(few / "output", name).equals(ki.replay(samples, prm))

    # The parameter file of a sensor.
    blocks = prm.to_dict()
    blocks["Scale Factor"][1] = -0.25
    (few / "calibration" / "Tg1005.prm").write_bytes(ki.Prm.from_dict(blocks).content)
    report = replay(few)
    assert (report.replayed, report.recognised) == (2, 2)
    assert replay(few).recognised == 4

    # An option of the replay.
    report = replay(few, repair=True)
    assert report.replayed == 4
    assert set(column(batch.summaries(few / "output"), "options").values()) != {None}


def test_nothing_stays_behind_in_another_day(few):
    replay(few)
    old = {name for name in archives.tree(few / "output") if name.startswith("results")}
    replay(few, day="2026-01-31")
    new = {name for name in archives.tree(few / "output") if name.startswith("results")}
    assert len(new) == len(old) == 4 and not new & old and all("/day=2026-01-31/" in name for name in new)
    assert set(column(batch.summaries(few / "output"), "day_from").values()) == {"given"}


def test_rows_of_other_recordings_stay(few):
    options = {"prm": few / "calibration", "pattern": PATTERN, "root": few / "recordings"}
    batch.replay(few / "recordings" / "1009", few / "output", **options)
    batch.replay(str(few / "recordings" / "1005" / "**" / "*.*"), few / "output", **options)
    assert batch.summaries(few / "output").num_rows == 4
    whole = archives.contents(few / "output")
    assert replay(few).recognised == 4 and archives.contents(few / "output") == whole


def test_a_broken_recording_is_a_row_of_the_failures(few):
    replay(few)
    day = few / "recordings" / "1005" / "2026-11-20"
    good = ki.read_recording(next(day.iterdir()))
    ki.write_recording(day / "good.csv", good)
    lines = (day / "good.csv").read_text().splitlines()
    cells = lines[50].split(",")
    cells[4] = "1,5"
    (day / "bad_row.csv").write_text("\n".join([*lines[:50], ",".join(cells), *lines[51:]]) + "\n")
    (day / "empty.csv").touch()
    (day / "header.csv").write_text(lines[0] + "\n")
    (day / "garbage.korraw").write_bytes(np.random.default_rng(1).bytes(5000))
    (day / "text.csv.gz").write_bytes(b"no gzip at all, but a name that says so")
    archives.cut_gzip(day / "cut.csv.gz")
    os.mkfifo(day / "pipe.csv")
    (day / "nowhere.csv").symlink_to("gone.csv")
    (day / "loop.csv").symlink_to("loop.csv")
    (few / "recordings" / "1005" / "yesterday").mkdir()
    ki.write_recording(few / "recordings" / "1005" / "yesterday" / "no_day.csv", good)
    (few / "recordings" / "1005" / "2026-02-30").mkdir()
    ki.write_recording(few / "recordings" / "1005" / "2026-02-30" / "no_such_day.csv", good)
    for sensor in ("4711", "1006"):
        (few / "recordings" / sensor / "2026-11-20").mkdir(parents=True)
        ki.write_recording(few / "recordings" / sensor / "2026-11-20" / f"of_{sensor}.csv", good)
    (few / "calibration" / "Tg1006.prm").write_text("no parameters\n")
    odd = day / os.fsdecode(b"\xff\n name.csv")
    odd.write_text(lines[0] + "\nx\n")

    report = replay(few)
    rows = {row["recording"].rsplit("/", 1)[-1]: row for row in batch.failures(few / "output").to_pylist()}
    assert (report.recognised, report.replayed, report.failed) == (4, 1, 14) and len(rows) == 14
    row = rows["bad_row.csv"]
    assert (row["kind"], row["line"], row["sensor"]) == ("bad data", 51, 1005) and row["found"] and row["expected"]
    assert row["file"] == str(day / "bad_row.csv") and row["text"].startswith(f"{day / 'bad_row.csv'}: line 51")
    assert row["recording"] == "1005/2026-11-20/bad_row.csv" and row["prm"].endswith("/calibration/Tg1005.prm")
    for name, words in (("empty.csv", "empty"), ("header.csv", "empty"), ("garbage.korraw", ""), ("text.csv.gz", "header"),
                        ("cut.csv.gz", "gzip"), ("pipe.csv", "regular file"), ("nowhere.csv", "No such file"),
                        ("loop.csv", "symbolic links"), ("of_4711.csv", "Tg4711.prm: No such file"),
                        ("of_1006.csv", "Tg1006.prm"), ("no_day.csv", "pattern"), ("no_such_day.csv", "2026-02-30"),
                        ("\\udcff\n name.csv", "line 2")):
        assert words in rows[name]["text"], rows[name]
    before = archives.tree(few / "output")
    assert replay(few).failed == 14 and archives.tree(few / "output") == before

    # Once it is good it is not a failure any more.
    shutil.copy(day / "good.csv", day / "empty.csv")
    report = replay(few)
    assert (report.replayed, report.failed) == (1, 13)
    assert "1005/2026-11-20/empty.csv" not in column(batch.failures(few / "output"), "text")


def test_results_of_what_is_broken_go_and_of_what_cannot_be_reached_stay(few):
    replay(few)
    names = sorted(column(batch.summaries(few / "output"), "results"))
    (few / "recordings" / names[0]).rename(few / "away")
    (few / "recordings" / names[0]).symlink_to(few / "gone")  # as a mount that is not there
    (few / "recordings" / names[1]).write_bytes(b"")
    report = replay(few)
    assert (report.recognised, report.failed) == (2, 2)
    results = column(batch.summaries(few / "output"), "results")
    assert names[0] in results and names[1] not in results
    files = {name for name in archives.tree(few / "output") if name.startswith("results")}
    assert files == set(results.values())
    assert sorted(column(batch.failures(few / "output"), "kind").items()) == [(names[0], "cannot open"),
                                                                             (names[1], "bad data")]


def test_a_recording_without_a_usable_orientation_has_results(few):
    path = sorted((few / "recordings" / "1005").rglob("*.*"))[0]
    samples = ki.read_recording(path)
    samples["status"] = 3
    ki.write_recording(path, samples)
    assert replay(few).failed == 0
    (row,) = [row for row in batch.summaries(few / "output").to_pylist() if not row["ok"]]
    assert row["rejected_status"] == 120 and "no usable orientation in 120 samples" in row["messages"][0]


def test_parameter_files_are_found_in_many_ways(few):
    recordings = sorted((few / "recordings" / "1005").rglob("*.*"))
    wanted = [ki.replay(path, ki.Prm.read(few / "calibration", 1005)) for path in recordings]
    name = str(few / "calibration" / "Tg1005.prm")
    for folder in {path.parent for path in recordings}:
        shutil.copy(name, folder)
    shutil.copy(name, few / "of_any_sensor.prm")
    ways = [{"prm": name}, {"prm": "{folder}"}, {"prm": few / "calibration", "pattern": "{sensor}/**"},
            {"prm": few / "calibration" / "Tg{sensor}.prm", "pattern": "{sensor}/{day}/*"},
            {"prm": {str(path): name for path in recordings}}, {"prm": lambda recording: name},
            {"prm": few / "of_any_sensor.prm"}]
    for number, way in enumerate(ways):
        output = few / str(number)
        assert batch.replay(recordings, output, **way).replayed == 2, way
        for path, results in zip(recordings, wanted):
            assert batch.read_results(output, str(path)).equals(results)

    shutil.copy(few / "calibration" / "Tg1009.prm", recordings[0].parent)
    for way, words in (({"prm": "{folder}"}, "found 2: Tg1005.prm, Tg1009.prm"), ({"prm": {}}, "which parameter file"),
                       ({"prm": few / "calibration" / "Tg{sensor}.prm"}, "a pattern with {sensor}"),
                       ({"prm": lambda path: few / "calibration" / "Tg1009.prm", "pattern": PATTERN}, "expected that of"),
                       ({"prm": few / "recordings"}, "found none")):
        assert batch.replay(recordings[0], few / "refused", **way).failed == 1
        (text,) = batch.failures(few / "refused").column("text").to_pylist()
        assert words in text, text


def test_days_come_from_path_file_or_user(few):
    recordings = sorted((few / "recordings" / "1005").rglob("*.*"))
    os.utime(recordings[0], (1_700_000_000, 1_700_000_000))
    prm = few / "calibration" / "Tg1005.prm"
    for number, (options, wanted, says) in enumerate((
            ({"pattern": PATTERN}, datetime.date(2026, 11, 20), "path"), ({}, datetime.date(2023, 11, 14), "modified"),
            ({"pattern": PATTERN, "day": "modified"}, datetime.date(2023, 11, 14), "modified"),
            ({"day": "20240229"}, datetime.date(2024, 2, 29), "given"),
            ({"day": datetime.date(2024, 2, 29)}, datetime.date(2024, 2, 29), "given"),
            ({"day": lambda recording: "2024-02-29"}, datetime.date(2024, 2, 29), "given"),
            ({"day": {str(recordings[0]): "2024-02-29"}}, datetime.date(2024, 2, 29), "given"))):
        batch.replay(recordings[0], few / str(number), prm=prm, **options)
        (row,) = batch.summaries(few / str(number)).to_pylist()
        assert (row["day"], row["day_from"]) == (wanted, says)
    batch.replay(recordings[0], few / "none", prm=prm, day={})
    assert "expected a date" in batch.failures(few / "none").column("text").to_pylist()[0]


def test_patterns_say_where_sensor_and_day_are():
    from korinterface.batch._plan import Pattern

    for pattern, path, wanted in (
            ("{sensor}/{day}/*.csv", "/a/b/1005/2026-11-22/x.csv", ("1005", "2026-11-22")),
            ("{sensor}/{day}/*.csv", "/a/1005/20261122/x.csv", ("1005", "20261122")),
            ("{day}/Kor{sensor}_*", "s3://b/2026/11/22/Kor-7_a.csv", ("-7", "2026/11/22")),
            ("{sensor}/**/{day}?*", "/1005/2026-11-22.csv", ("1005", "2026-11-22")),
            ("{sensor}/**/{day}?*", "/1005/a/b/2026-11-22.csv", ("1005", "2026-11-22")),
            ("{sensor}/{sensor}.{day}", "1/1.2026-11-22", ("1", "2026-11-22")),
            ("{sensor}/{sensor}.{day}", "1/2.2026-11-22", None), ("{sensor}/{day}/*.csv", "/5/2026-11-22/x/y.csv", None),
            ("{sensor}/{day}/*.csv", "/x5/2026-11-22/y.csv", None), ("{sensor}/{day}/a.csv", "/5/2026-11-22/axcsv", None)):
        found = Pattern(pattern).match(path)
        assert (found and (found["sensor"], found["day"])) == wanted, (pattern, path)
    for pattern in ("*.csv", "{sensor}/{hour}/*", "{sensor}/{", "}{day}"):
        with pytest.raises(ValueError, match="pattern: found"):
            Pattern(pattern)


def test_tables_say_which_parameter_file_and_day(few):
    recordings = sorted((few / "recordings" / "1005").rglob("*.*"))
    (few / "table.csv").write_text("recording,prm,day\n" + "".join(
        f"{path},calibration/Tg1005.prm,2026-01-0{number + 1}\n" for number, path in enumerate(recordings)))
    prm, day = batch.read_table(str(few / "table.csv"))
    assert batch.replay(recordings, few / "output", prm=prm, day=day).replayed == 2
    assert sorted(map(str, column(batch.summaries(few / "output"), "day").values())) == ["2026-01-01", "2026-01-02"]
    for text, words in (("recording\nx\n", "line 1, column prm: found no column prm"),
                        ("recording,prm\nx,\n", "line 2, column prm: found an empty cell"),
                        ("recording,prm\nx,a\nx,b\n", "line 3, column recording: found 'x' a second time"),
                        ("recording,prm,day\nx,a,today\n", "line 2, column day: found 'today', expected a date"),
                        ("recording,prm\n\xff,\udc80", "expected CSV in UTF-8")):
        (few / "table.csv").write_bytes(text.encode("utf-8", "surrogateescape"))
        with pytest.raises(ki.KorError, match=words):
            batch.read_table(str(few / "table.csv"))
    with pytest.raises(ki.KorError, match="cannot open"):
        batch.read_table(str(few / "no.csv"))


def test_object_stores_serve_as_folders_do(few):
    import fsspec

    store = fsspec.filesystem("memory")
    store.store.clear()
    store.pseudo_dirs[:] = [""]
    store.put(str(few / "recordings"), "/in/recordings", recursive=True)
    store.put(str(few / "calibration"), "/in/calibration", recursive=True)
    store.pipe("/in/recordings/1005/2026-11-20/bad.csv", b"status\n")
    options = {"prm": "memory://in/calibration", "pattern": PATTERN, "root": "memory://in/recordings"}
    report = batch.replay("memory://in/recordings", "memory://out", **options)
    assert (report.replayed, report.failed) == (4, 1)
    replay(few)
    (bad,) = batch.failures("memory://out").to_pylist()
    assert bad["recording"] == "1005/2026-11-20/bad.csv" and bad["line"] == 1
    assert bad["text"].startswith("memory://in/recordings/1005/2026-11-20/bad.csv: line 1") and "/tmp" not in str(bad)
    for name in column(batch.summaries(few / "output"), "results"):
        assert batch.read_results("memory://out", name).equals(batch.read_results(few / "output", name))
    before = {name: store.cat(name) for name in store.find("/out")}
    assert len(before) == 6 and not any("partial" in name for name in before)
    assert batch.replay("memory://in/recordings/**/*.*", "memory://out", **options).recognised == 4
    assert {name: store.cat(name) for name in store.find("/out")} == before
    # An object that the library cannot open by its name.
    store.pipe("/in/odd/1005/a b\n.csv.gz", store.cat(next(n for n in store.find("/in/recordings/1005") if "csv.gz" in n)))
    assert batch.replay("memory://in/odd", "memory://odd", prm="memory://in/calibration", pattern="{sensor}/*").replayed == 1
    # The day is that on which the store took it.
    batch.replay("memory://in/recordings/1009", "memory://modified", prm="memory://in/calibration", pattern="{sensor}/**")
    assert set(column(batch.summaries("memory://modified"), "day").values()) == {
        datetime.datetime.now(datetime.timezone.utc).date()}


def test_every_bit_of_a_number_is_kept(tmp_path):
    import pyarrow.parquet

    from korinterface.batch import _tables

    count, random = 5000, np.random.default_rng(1)
    info = np.zeros(count, ki.INFO_DTYPE)
    for field in info.dtype.names:
        if info.dtype[field].base == np.float32:
            shape = info[field].shape
            info[field] = random.integers(0, 2**32, shape, np.uint32).view(np.float32)
    # Zeros of both signs, nans of several kinds.
    bits = np.array([0, 2**63, 0x7FF8000000000000, 0x7FF8000000000001, 0xFFF8000000000000, 0x7FF0000000000001], np.uint64)
    matrices = bits[random.integers(0, len(bits), (count, 3, 3))].view(np.float64)
    results = ki.Results(info, matrices, random.integers(-2**31, 2**31, count, np.int32),
                         random.integers(0, len(ki.OUTCOMES), count, np.uint8), random.integers(0, 2, count) == 1,
                         random.integers(0, 2, count) == 1, random.integers(0, 2**32, count, np.uint32))
    with open(tmp_path / "x.parquet", "wb") as file, _tables.writer(file) as writer:
        writer.write_batch(_tables.result_batch(results, "x", 0))
    read = _tables.results_of_table(pyarrow.parquet.read_table(tmp_path / "x.parquet"))
    assert read.info.tobytes() == info.tobytes() and read.equals(results)


def test_long_recordings_are_written_in_parts(few, monkeypatch):
    import pyarrow.parquet

    from korinterface.batch import _work

    monkeypatch.setattr(_work, "_ROWS", 50)
    replay(few)
    for row in batch.summaries(few / "output").to_pylist():
        file = pyarrow.parquet.ParquetFile(few / "output" / row["results"])
        assert [file.metadata.row_group(i).num_rows for i in range(file.num_row_groups)] == [50, 50, 20]
        assert file.read().column("sample").to_pylist() == list(range(120))
        wanted = ki.replay(few / "recordings" / row["recording"], ki.Prm.read(few / "calibration", row["sensor"]))
        assert batch.read_results(few / "output", row["recording"]).equals(wanted)


def test_what_a_killed_run_has_left_is_removed(few):
    replay(few)
    results = column(batch.summaries(few / "output"), "results")
    first = few / "output" / sorted(results.values())[0]
    whole = archives.contents(few / "output")
    (first.parent / f".{first.name}.0123.partial").write_bytes(b"half")
    first.write_bytes(first.read_bytes()[:1000])  # as after a loss of power
    (few / "output" / "summaries.parquet").unlink()
    report = replay(few)
    assert (report.replayed, report.recognised) == (1, 3)
    assert archives.contents(few / "output") == whole


def test_what_cannot_be_written_ends_the_run(few):
    (few / "file").touch()
    with pytest.raises(ki.KorError, match="cannot write .*: Not a directory") as raised:
        replay(few, "file/output")
    assert raised.value.kind == "cannot write"


def test_arguments_are_checked(few):
    for options, words in (({"prm": "{id}"}, "prm: found '{id}'"), ({"pattern": "x"}, "pattern"), ({"day": "soon"}, "day: "),
                           ({"pattern": "{sensor}/**", "day": "path"}, "a pattern without"), ({"mode": 0}, "mode"),
                           ({"from_ms": 2**32}, "from_ms"), ({"format": "xml"}, "format"),
                           ({"recordings_per_task": 0}, "recordings_per_task"), ({"root": few / "calibration"}, "root: ")):
        with pytest.raises(ValueError, match=words):
            replay(few, **options)
    (few / "nothing").mkdir()
    with pytest.raises(ki.KorError, match="found no recording"):
        batch.replay(few / "nothing", few / "output", prm=few / "calibration")
    assert batch.replay(few / "gone.csv", few / "output", prm=few / "calibration" / "Tg1005.prm").failed == 1
    with pytest.raises(ki.KorError, match="cannot open .*summaries.parquet"):
        batch.summaries(few / "nothing")
    with pytest.raises(ki.KorError, match="found no recording 'x'"):
        batch.read_results(few / "output", "x")
    with pytest.raises(ki.KorError, match="cannot use nonsense://"):
        batch.replay("nonsense://a", few / "output", prm=few / "calibration")
    # Options that do not suit the mount mode are a fault of each recording that has it.
    report = replay(few, "local", mcs=False)
    assert (report.replayed, report.failed) == (2, 2)
    assert set(column(batch.failures(few / "local"), "kind").values()) == {"usage"}


def test_a_parameter_file_with_errors_needs_force(few):
    path = few / "calibration" / "Tg1009.prm"
    blocks = ki.Prm.read(path).to_dict()
    blocks["Scale Factor"][4] = 0
    lines = ki.Prm.from_dict(blocks).content.decode().split("\n")
    lines[lines.index("Mounting Mode") + 1] = "99"
    path.write_text("\n".join(lines))
    errors = [finding for finding in ki.check(path) if finding.severity == "error"]
    assert errors
    assert replay(few).failed == 2
    (first, _) = batch.failures(few / "output").to_pylist()
    assert first["line"] == errors[0].line and first["found"] == errors[0].found and "force" in first["text"]
    assert replay(few, force=True).failed == 0
    told = column(batch.summaries(few / "output"), "messages")
    assert sum(any("99, expected a mount mode" in text for text in texts) for texts in told.values()) == 2
    path.write_text("\n".join(lines[:60]))  # the library refuses it as well
    for force in (False, True):
        assert replay(few, force=force).failed == 2
        (first, _) = batch.failures(few / "output").to_pylist()
        assert first["file"] == str(path) and first["line"] and str(path) in first["text"], first


def test_threads_of_one_worker_do_not_mix_recordings(shared, tmp_path):
    distributed = pytest.importorskip("distributed")
    folder, made = shared
    options = {"prm": folder / "calibration", "pattern": PATTERN, "root": folder / "recordings"}
    batch.replay(folder / "recordings", tmp_path / "alone", **options)
    with distributed.Client(n_workers=0, threads_per_worker=4, processes=False, dashboard_address="127.0.0.1:0") as client:
        threading.Timer(0.5, lambda: client.cluster.scale(1)).start()
        with pytest.warns(ki.KorWarning, match="no worker: the run waits"):
            report = batch.replay(folder / "recordings", tmp_path / "threads", client=client, recordings_per_task=1,
                                  **options)
        assert report.replayed == 14
        assert batch.replay(folder / "recordings", tmp_path / "threads", client=client, **options).recognised == 14
        with pytest.raises(ki.KorError, match="cannot write"):
            batch.replay(folder / "recordings", "/dev/null/x", client=client, **options)
    assert archives.contents(tmp_path / "threads") == archives.contents(tmp_path / "alone")


def test_an_answer_that_is_lost_on_its_way_is_asked_for_again(few):
    client_module = pytest.importorskip("distributed.client")
    from korinterface.batch import _work

    cancelled = getattr(client_module, "FutureCancelledError", None)
    lost = [asyncio.CancelledError(), OSError("closed")]
    if cancelled is not None:
        lost.append(cancelled("key", "scheduler-connection-lost", ""))

    class Future:
        status = "finished"

        def __init__(self, answer):
            self.answer = answer

        def add_done_callback(self, call):
            call(self)

        def exception(self):
            if isinstance(self.answer, BaseException):
                raise self.answer

        def result(self):
            return self.answer

    class Client:
        status = "running"

        def nthreads(self):
            return {"worker": 1}

        def submit(self, call, *arguments, **options):
            assert call is _work.work
            return Future(lost.pop() if lost else call(*arguments))

    report = replay(few, client=Client())
    assert not lost and (report.replayed, report.failed) == (4, 0)


def test_the_command_does_the_same(few, capsys):
    from korinterface.batch.__main__ import main

    replay(few)
    given = [str(few / "recordings"), "-o", str(few / "command"), "--prm", str(few / "calibration"), "--pattern", PATTERN,
             "--root", str(few / "recordings")]
    assert main(given) == 0
    assert capsys.readouterr().err == "4 recordings: 4 replayed, 0 done before, 0 failed\n"
    assert archives.contents(few / "command") == archives.contents(few / "output")
    (few / "recordings" / "1005" / "2026-11-20" / "bad.csv").write_text("status\n")
    assert main(given) == 65
    said = capsys.readouterr().err
    assert "bad.csv: line 1" in said and said.endswith("5 recordings: 0 replayed, 4 done before, 1 failed\n")
    assert main([*given, "-q"]) == 65 and capsys.readouterr().err == ""
    for extra, words in ((["--day", "soon"], "expected a date"), (["--from", "-1"], "from_ms")):
        assert main([*given, *extra]) == 64
        assert words in capsys.readouterr().err
    assert main(["/nonexistent/*.csv", *given[1:]]) == 66
    assert main([str(few / "recordings"), "-o", "/dev/null/x", *given[3:]]) == 74
    for wrong in (["--workers", "0"], ["--psd", "1,2"], ["--storage-option", "x"], ["--table", "t.csv"]):
        with pytest.raises(SystemExit) as ended:
            main([*given, *wrong])
        assert ended.value.code == 64


def test_the_command_of_the_page_prints_what_it_shows(tmp_path, monkeypatch):
    (tmp_path / "data").symlink_to(ROOT / "data")
    monkeypatch.chdir(tmp_path)
    runpy.run_path(str(ROOT / "python" / "examples" / "archive.py"))
    shutil.rmtree("results")
    (shown,) = re.findall(r"^```console\n\$ python (.*)\n\.\.\.\n(.*)\n```$", (ROOT / "docs" / "scaling.md").read_text(), re.M)
    done = subprocess.run(f"{sys.executable} {shown[0]}", shell=True, capture_output=True, text=True, check=False)
    assert done.returncode == 65 and done.stderr.splitlines()[1:] == [shown[1]]
    assert "noon.csv: line 1" in done.stderr.splitlines()[0]


def test_the_command_has_workers_of_its_own(few):
    given = [sys.executable, "-m", "korinterface.batch", few / "recordings", "-o", few / "output", "--prm",
             few / "calibration", "--pattern", PATTERN, "--workers", "1"]
    done = subprocess.run(given, capture_output=True, text=True, check=True)
    assert done.stderr == "4 recordings: 4 replayed, 0 done before, 0 failed\n" and done.stdout == ""


def test_a_missing_package_is_named():
    code = ("import sys\nfrom korinterface import batch\nfrom korinterface.batch.__main__ import main\n"
            "for missing in ('fsspec', 'pyarrow', 'distributed'):\n"
            "    sys.modules[missing] = None\n    workers = ['--workers', '1'] if missing == 'distributed' else []\n"
            "    print(main(['x', '-o', 'y', '--prm', 'z', *workers]))\n    del sys.modules[missing]\n")
    done = subprocess.run([sys.executable, "-c", code], check=True, capture_output=True, text=True, cwd="/")
    assert done.stdout == "64\n" * 3
    assert [line.split()[1] for line in done.stderr.splitlines()] == ["fsspec", "pyarrow", "distributed"]
    assert done.stderr.count("pip install 'korinterface[batch]'") == 3
