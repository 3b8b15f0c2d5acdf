"""An archive on a cluster of this machine, and what may happen to it: scripts/batch.sh runs this.

KOR_RECORDINGS says how many recordings the archive has, 1000 without it.
"""
import contextlib
import os
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time

import distributed
import pytest

import korinterface as ki
from korinterface import batch
from korinterface.batch import _run

import archives

RECORDINGS = int(os.environ.get("KOR_RECORDINGS", "1000"))
PATTERN = "{sensor}/{day}/*"


@pytest.fixture(scope="module")
def archive(tmp_path_factory):
    """The recordings, and what one process makes of them one after the other."""
    folder = tmp_path_factory.mktemp("archive")
    os.chmod(folder.parent, 0o755)
    os.chmod(folder, 0o755)
    made = archives.make(folder, RECORDINGS)
    replay(folder, folder / "wanted")
    return folder, made


@pytest.fixture(scope="module")
def client():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address="127.0.0.1:0") as cluster:
        with distributed.Client(cluster) as one:
            yield one


def replay(folder, output, **options):
    return batch.replay(folder / "recordings", output, **{"prm": folder / "calibration", "pattern": PATTERN,
                                                          "root": folder / "recordings", **options})


def counts(report):
    return report.replayed, report.recognised, report.failed


def at_the_middle(act):
    """A progress that acts once, when half of the work is done."""
    acted = []

    def progress(report):
        if not acted and report.done * 2 >= report.recordings:
            acted.append(report.done)
            act()
    progress.acted = acted
    return progress


def test_results_are_those_of_the_tool_file_by_file(archive, client, kor, tmp_path):
    folder, made = archive
    assert counts(replay(folder, tmp_path / "output", client=client)) == (RECORDINGS, 0, 0)
    wanted = archives.replayed_by_tool(kor.tool, made, folder / "calibration", tmp_path / "tool")
    files = dict(zip(*(batch.summaries(tmp_path / "output").column(name).to_pylist() for name in ("recording", "results"))))
    assert len(wanted) == len(files) == RECORDINGS and len(set(files.values())) == RECORDINGS
    assert {(path.parts[1], path.parts[2]) for path in map(__import__("pathlib").Path, files.values())} == {
        (f"sensor={path.parts[-3]}", f"day={path.parts[-2]}") for path in made}
    import pyarrow.parquet

    from korinterface.batch._tables import results_of_table
    for path, results in wanted.items():
        table = pyarrow.parquet.read_table(tmp_path / "output" / files[str(path.relative_to(folder / "recordings"))],
                                           partitioning=None)
        assert results_of_table(table).equals(results), path
    assert archives.contents(tmp_path / "output") == archives.contents(folder / "wanted")
    before = archives.tree(tmp_path / "output")
    assert counts(replay(folder, tmp_path / "output", client=client)) == (0, RECORDINGS, 0)
    assert archives.tree(tmp_path / "output") == before


def test_a_worker_is_killed_in_the_middle(archive, client, tmp_path):
    folder, _ = archive
    killed = []

    def kill():
        killed.append(next(iter(client.run(os.getpid).values())))
        os.kill(killed[0], signal.SIGKILL)

    progress = at_the_middle(kill)
    report = replay(folder, tmp_path / "output", client=client, recordings_per_task=10, progress=progress)
    assert killed and 0 < progress.acted[0] < RECORDINGS
    assert report.done == RECORDINGS and report.failed == 0
    assert archives.contents(tmp_path / "output").keys() >= archives.contents(folder / "wanted").keys()
    # What the killed process was writing may lie there; the next run takes it away and finds everything done.
    assert counts(replay(folder, tmp_path / "output", client=client)) == (0, RECORDINGS, 0)
    assert archives.contents(tmp_path / "output") == archives.contents(folder / "wanted")


def free_port():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


class Cluster:
    """A scheduler and two workers as processes of their own, as on a cluster."""

    def __init__(self):
        self.port = free_port()
        self.processes = []
        self.start()

    def start(self):
        address = f"tcp://127.0.0.1:{self.port}"
        quiet = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, "env": {**os.environ, "PYTHONPATH": os.pathsep.join(
            filter(None, [os.environ.get("PYTHONPATH")]))}}
        dask = [sys.executable, "-m", "dask"]
        self.scheduler = subprocess.Popen([*dask, "scheduler", "--host", "127.0.0.1", "--port", str(self.port),
                                           "--no-dashboard"], **quiet)
        self.processes.append(self.scheduler)
        for _ in range(2):
            self.processes.append(subprocess.Popen([*dask, "worker", address, "--nthreads", "1", "--no-dashboard",
                                                    "--death-timeout", "20"], start_new_session=True, **quiet))
        return address

    @property
    def address(self):
        return f"tcp://127.0.0.1:{self.port}"

    def kill_scheduler(self):
        self.scheduler.kill()
        self.scheduler.wait()

    def close(self):
        for process in self.processes:
            with contextlib.suppress(ProcessLookupError):
                process.terminate()
        for process in self.processes:
            try:
                process.wait(20)
            except subprocess.TimeoutExpired:
                process.kill()


@pytest.fixture
def cluster():
    one = Cluster()
    yield one
    one.close()


def test_the_scheduler_is_restarted_and_the_run_goes_on(archive, cluster, tmp_path):
    folder, _ = archive

    def restart():
        cluster.kill_scheduler()
        threading.Timer(3, cluster.start).start()

    with distributed.Client(cluster.address, timeout=30) as client:
        client.wait_for_workers(2, timeout=60)
        progress = at_the_middle(restart)
        report = replay(folder, tmp_path / "output", client=client, recordings_per_task=10, progress=progress)
    assert progress.acted and report.done == RECORDINGS and report.failed == 0
    assert replay(folder, tmp_path / "output").recognised == RECORDINGS
    assert archives.contents(tmp_path / "output") == archives.contents(folder / "wanted")


def test_the_scheduler_is_gone_and_the_run_is_started_again(archive, cluster, tmp_path, monkeypatch):
    folder, _ = archive
    monkeypatch.setattr(_run, "_LONGEST_SILENCE", 3.0)
    with distributed.Client(cluster.address, timeout=30) as client:
        client.wait_for_workers(2, timeout=60)
        progress = at_the_middle(cluster.kill_scheduler)
        with pytest.raises(ki.KorError, match="the scheduler is gone; what is done is recognised"):
            replay(folder, tmp_path / "output", client=client, recordings_per_task=10, progress=progress)
    done = len([name for name in archives.contents(tmp_path / "output") if name.endswith(".parquet")])
    assert done >= progress.acted[0] > 0
    report = replay(folder, tmp_path / "output")
    assert report.recognised >= progress.acted[0] and report.done == RECORDINGS and report.failed == 0
    assert archives.contents(tmp_path / "output") == archives.contents(folder / "wanted")


class Deadly(distributed.WorkerPlugin):
    """Ends the process that opens deadly://..., as a recording that takes all memory would."""

    def setup(self, worker):
        import os as system
        import signal as signals
        import time as clock

        import fsspec
        from fsspec.implementations.memory import MemoryFileSystem

        class DeadlyFileSystem(MemoryFileSystem):
            protocol = "deadly"

            @classmethod
            def _strip_protocol(cls, path):
                return "/" + path.split("://", 1)[-1].lstrip("/")

            def _open(self, path, *arguments, **options):
                # A worker that dies while it starts is not started again by Dask.
                clock.sleep(2)
                system.kill(system.getpid(), signals.SIGKILL)

        fsspec.register_implementation("deadly", DeadlyFileSystem, clobber=True)


def test_a_recording_that_ends_its_worker_is_a_failure(archive, tmp_path):
    distributed.protocol.pickle.cloudpickle.register_pickle_by_value(sys.modules[__name__])
    folder, made = archive
    recordings = [str(path) for path in made[:6]]
    prm = {path: str(folder / "calibration" / f"Tg{made[number].parts[-3]}.prm") for number, path in enumerate(recordings)}
    prm["deadly://x/a.csv"] = prm[recordings[0]]
    deadly = Deadly()
    deadly.setup(None)  # the list of the recordings is made here
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address="127.0.0.1:0") as cluster:
        with distributed.Client(cluster) as client:
            client.register_plugin(deadly)
            report = batch.replay([*recordings, "deadly://x/a.csv"], tmp_path / "output", prm=prm, day="2026-11-22",
                                  client=client, recordings_per_task=7)
    assert report.done == 7 and report.failed == 1
    (row,) = batch.failures(tmp_path / "output").to_pylist()
    assert row["recording"] == "deadly://x/a.csv" and "the process of the worker has ended" in row["text"]


def as_nobody(arguments, **options):
    """Runs a program that the permissions of files hold for."""
    return subprocess.run(arguments, **options, **({"user": 65534, "group": 65534, "extra_groups": []}
                                                   if os.getuid() == 0 else {}))


def test_unreadable_files_are_failures(archive, tmp_path):
    folder, made = archive
    here = tmp_path / "here"
    shutil.copytree(folder / "calibration", here / "calibration")
    files = []
    for path in made[:12]:
        copy = here / "recordings" / path.relative_to(folder / "recordings")
        copy.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(path, copy)
        files.append(copy)
    files[0].chmod(0)
    archives.cut_gzip(files[1].with_name("cut.csv.gz"))
    files[2].write_bytes(os.urandom(3000))
    files[3].write_bytes(b"")
    (here / "calibration" / "Tg1009.prm").unlink()
    (here / "calibration" / "Tg1007.prm").chmod(0)
    os.chmod(here, 0o777)
    for each in [tmp_path, *tmp_path.parents][:3]:
        with contextlib.suppress(PermissionError):
            os.chmod(each, 0o755)
    done = as_nobody([sys.executable, "-m", "korinterface.batch", here / "recordings", "-o", here / "output", "--prm",
                      here / "calibration", "--pattern", PATTERN, "--root", here / "recordings"], capture_output=True,
                     text=True, cwd="/", check=False)
    assert done.returncode == 65, done.stderr
    table = batch.failures(here / "output")
    texts = dict(zip(table.column("recording").to_pylist(), table.column("text").to_pylist()))
    of = {name.split("/")[0]: [text for each, text in texts.items() if each.split("/")[0] == name.split("/")[0]]
          for name in texts}
    assert "Permission denied" in texts[str(files[0].relative_to(here / "recordings"))]
    assert "gzip" in next(text for name, text in texts.items() if name.endswith("cut.csv.gz"))
    assert all("Tg1009.prm: No such file" in text for text in of["1009"])
    assert all("Tg1007.prm: Permission denied" in text for text in of["1007"])
    assert str(files[2].relative_to(here / "recordings")) in texts and str(files[3].relative_to(here / "recordings")) in texts
    assert len(texts) + batch.summaries(here / "output").num_rows == 13


@contextlib.contextmanager
def small_disk(folder, size):
    if os.getuid() != 0:
        pytest.fail("this test mounts a file system of its own: run it as root")
    folder.mkdir()
    subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "none", folder], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", folder], check=True)


def test_a_full_disk_ends_the_run_and_room_lets_it_go_on(archive, client, tmp_path):
    folder, _ = archive
    needed = sum(len(content) for content in archives.contents(folder / "wanted").values())
    with small_disk(tmp_path / "disk", needed // 2):
        with pytest.raises(ki.KorError, match="cannot write .*No space left on device") as raised:
            replay(folder, tmp_path / "disk" / "output", client=client, recordings_per_task=10)
        assert raised.value.kind == "cannot write"
        time.sleep(1)  # the other worker ends its task
        names = list(archives.contents(tmp_path / "disk"))
        assert len(names) > RECORDINGS // 10 and not [name for name in names if not name.endswith(".parquet")]
        wanted = archives.contents(folder / "wanted")
        assert all(content == wanted[name[len("output/"):]] for name, content in archives.contents(tmp_path / "disk").items())
        subprocess.run(["mount", "-o", f"remount,size={4 * needed}", tmp_path / "disk"], check=True)
        report = replay(folder, tmp_path / "disk" / "output", client=client)
        assert report.recognised >= len(names) and report.done == RECORDINGS and report.failed == 0
        assert archives.contents(tmp_path / "disk" / "output") == wanted


def test_memory_does_not_grow_with_the_recording(sensor, tmp_path):
    # Some million samples: the samples alone would be 68 bytes each, the results 135.
    samples = sensor(5).samples()
    rows = max(1, RECORDINGS * 4 // len(samples) + 1) * 250
    with open(tmp_path / "long.korraw", "wb") as file:
        for _ in range(rows):
            samples.tofile(file)
    # VmHWM: getrusage would hand on the peak of the process that has started this one.
    code = ("import re, sys\nfrom korinterface import batch\n"
            "print(batch.replay(sys.argv[1], sys.argv[2], prm=sys.argv[3], day='2026-11-22').replayed)\n"
            "print(re.search(r'VmHWM:\\s+(\\d+)', open('/proc/self/status').read())[1])")

    def peak(name):
        done = subprocess.run([sys.executable, "-c", code, name, tmp_path / "output", sensor(5).folder / "Tg1005.prm"],
                              capture_output=True, text=True, check=True)
        replayed, kilobytes = done.stdout.split()
        assert replayed == "1"
        return int(kilobytes) / 1024

    short = peak(sensor(5).csv)
    long = peak(tmp_path / "long.korraw")
    print(f"\n{rows * len(samples)} samples: {long:.0f} MB at most, {short:.0f} MB for {len(samples)}")
    # Two parts of 65536 rows on their way, with what Arrow makes of them.
    assert long - short < 250
