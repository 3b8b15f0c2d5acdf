"""A run: the recordings in tasks, the tasks to the workers, what they say into the tables."""
from __future__ import annotations

import asyncio
import concurrent.futures
import contextlib
import math
import os
import queue
import time
import warnings
from collections import deque
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Callable, Iterable, Iterator, Mapping, Optional, Union

from .. import _core
from .._engine import Detector
from .._errors import KorError, KorWarning, missing_extra
from .._prm import _mode
from .._records import Results, _window
from ._files import Folder, NoRoom, cannot, shown
from ._plan import Day, Item, PrmOf, plan
from ._tables import failure_schema, pyarrow, results_of_table, summary_schema, table
from ._work import Done, Settings, failure_row, work

if TYPE_CHECKING:
    import distributed
    import pyarrow as pa

_SUMMARIES, _FAILURES = "summaries.parquet", "failures.parquet"
_RECORDINGS_OF_TASK = 100
_BYTES_OF_TASK = 256 * 2**20
# As many as keep a worker busy: a million tasks at a time would fill the scheduler's memory.
_TASKS_OF_THREAD = 4
_BETWEEN_COUNTS = 5.0  # of the workers, seconds
_LONGEST_SILENCE = 60.0  # seconds without a scheduler after which a run ends

Progress = Callable[["Report"], object]


@dataclass
class Report:
    """What a run has done so far.

    Attributes
    ----------
    output : str
        The folder of the results.
    recordings : int
        All that were found.
    replayed, recognised, failed : int
        How many of them were replayed, were done by an earlier run, and are rows of the failures.
    """

    output: str
    recordings: int
    replayed: int = 0
    recognised: int = 0
    failed: int = 0

    @property
    def done(self) -> int:
        """How many of the recordings have been looked at."""
        return self.replayed + self.recognised + self.failed


def replay(recordings: Union[str, "os.PathLike[str]", Iterable[Union[str, "os.PathLike[str]"]]],
           output: Union[str, "os.PathLike[str]"], *, prm: PrmOf, pattern: Optional[str] = None, day: Day = None,
           root: Union[None, str, "os.PathLike[str]"] = None, client: "Optional[distributed.Client]" = None,
           mode: Optional[int] = None, mcs: bool = True, store: bool = False, psd: Optional[Detector] = None,
           format: Optional[str] = None, from_ms: Optional[int] = None, to_ms: Optional[int] = None,
           skip_bad: bool = False, repair: bool = False, force: bool = False,
           storage_options: Optional[Mapping[str, Any]] = None, recordings_per_task: Optional[int] = None,
           progress: Optional[Progress] = None) -> Report:
    """Replays an archive of recordings, each as `korinterface.replay` does, on the workers of a cluster or in this
    process. What an earlier run has done is recognised by its content and left as it is.

    Parameters
    ----------
    recordings
        A folder, with all below it whose names end as those of recordings do (``.csv``, ``.korraw``, also with ``.gz`` or
        ``.zst``); a glob, such as ``"archive/**/*.csv"``; a file; or several of these. Paths, or URLs that fsspec knows.
    output
        Folder or URL that takes ``results/sensor=<ID>/day=<YYYY-MM-DD>/<name>.parquet``, ``summaries.parquet`` and
        ``failures.parquet`` (docs/scaling.md). One run at a time may write to it.
    prm
        The parameter file of each recording. A folder of files ``Tg<ID>.prm``: the ID from `pattern`, without one the only
        such file there. Or the path of a file. In both ``{sensor}``, ``{day}`` and ``{folder}``, the folder of the
        recording, may stand. Or a mapping from recordings to paths, or a function that takes a recording.
    pattern
        Where the end of a recording's path says sensor and day, for example ``"{sensor}/{day}/*.csv"``.
    day
        The day of each recording, since time stamps do not say it. None: the pattern's ``{day}``, or without one the day
        in UTC on which the file was written last (``"modified"``). Or a date for all, a mapping or a function.
    root
        Folder that the names of the recordings are taken from; None: they are full paths.
    client
        Of Dask distributed; None: one recording after the other in this process.
    mode, mcs, store, psd, format, from_ms, to_ms, skip_bad, repair
        As for `korinterface.replay`.
    force
        Uses parameter files also if `korinterface.check` finds errors in them.
    storage_options
        What fsspec needs for URLs: keys, an endpoint.
    recordings_per_task
        None: at most 100, and fewer where they are long or few.
    progress
        Is called with the report now and then.

    Returns
    -------
    Report

    Raises
    ------
    KorError
        There is no recording, the results cannot be written, or the scheduler is gone. What was done before that is
        recognised when the run is started again.
    ValueError
        An argument cannot be understood.
    ImportError
        pyarrow, fsspec or distributed is not installed: ``pip install 'korinterface[batch]'``.

    Examples
    --------
    >>> from korinterface import batch
    >>> report = batch.replay("data/polarizer/polarizer.*", "archive", prm="data/polarizer", day="2026-11-22")
    >>> report.replayed, report.failed
    (2, 0)
    >>> batch.replay("data/polarizer/polarizer.*", "archive", prm="data/polarizer", day="2026-11-22").recognised
    2
    >>> batch.summaries("archive").column("ok").to_pylist()
    [2265, 2265]
    """
    pyarrow()
    _window(from_ms, to_ms)
    if format not in (None, "csv", "bin"):
        raise ValueError(f'format: found {format!r}, expected "csv", "bin" or None')
    if recordings_per_task is not None and not 1 <= recordings_per_task <= 100_000:
        raise ValueError(f"recordings_per_task: found {recordings_per_task}, expected a whole number from 1 to 100000")
    settings = Settings(
        Folder(os.fspath(output), storage_options or {}),
        {"mode": _mode(mode), "mcs": mcs, "store": store, "psd": psd, "format": format, "from_ms": from_ms, "to_ms": to_ms,
         "skip_bad": skip_bad, "repair": repair}, force, dict(storage_options or {}), _core.VERSION)
    given = [recordings] if isinstance(recordings, (str, os.PathLike)) else list(recordings)
    items = plan([os.fspath(each) for each in given], root=None if root is None else os.fspath(root), prm=prm,
                 pattern=pattern, day=day, options=settings.storage_options)
    report = Report(settings.folder.url, len(items))
    tables = _Tables(settings.folder, items)
    threads = 1 if client is None else max(1, _threads(client))
    tasks = _tasks(_with_existing(settings.folder, items), recordings_per_task, threads)
    try:
        for done in _in_this_process(settings, tasks) if client is None else _on_workers(client, settings, tasks):
            report.replayed += done.replayed
            report.recognised += done.recognised
            report.failed += done.failures.num_rows
            tables.add(done)
            if progress is not None:
                progress(report)
        tables.write()
    except NoRoom as error:
        raise error.error from error
    return report


def _with_existing(folder: Folder, items: list[Item]) -> Iterator[Item]:
    known: dict[str, list[str]] = {}
    try:
        for name in folder.remove_partial(folder.names("results")):
            known.setdefault(name[-len(".parquet") - 24:-len(".parquet")], []).append(name)
    except OSError as error:
        raise cannot("cannot read", folder.url, error) from error
    for item in items:
        yield item._replace(existing=tuple(known.get(item.key, ())))


def _tasks(items: Iterator[Item], most: Optional[int], threads: int) -> list[list[Item]]:
    """Recordings that one task does one after the other; neighbours have the same parameter file."""
    everything = list(items)
    # Several rounds for each worker, so that the last ones do not wait long for each other.
    count = most or max(1, min(_RECORDINGS_OF_TASK, math.ceil(len(everything) / (8 * threads))))
    tasks: list[list[Item]] = []
    size = 0
    for item in everything:
        if not tasks or len(tasks[-1]) >= count or (most is None and size + item.size > _BYTES_OF_TASK):
            tasks.append([])
            size = 0
        tasks[-1].append(item)
        size += item.size
    return tasks


def _in_this_process(settings: Settings, tasks: list[list[Item]]) -> Iterator[Done]:
    for items in tasks:
        yield work(settings, items)


def _on_workers(client: Any, settings: Settings, tasks: list[list[Item]]) -> Iterator[Done]:
    """Whatever becomes of workers and scheduler, each recording is in one of the answers."""
    try:
        from distributed import KilledWorker
    except ImportError:
        raise missing_extra("distributed", "batch") from None
    waiting = deque(tasks)
    flying: dict[Any, list[Item]] = {}
    landed: "queue.Queue[Any]" = queue.Queue()
    silent_since: Optional[float] = None
    most, counted, told = 0, 0.0, False
    try:
        while waiting or flying:
            if client.status == "running":
                silent_since = None
                if time.monotonic() - counted > _BETWEEN_COUNTS:  # workers come and go
                    with contextlib.suppress(OSError, asyncio.TimeoutError):  # so does the scheduler
                        threads, counted = _threads(client), time.monotonic()
                        most = _TASKS_OF_THREAD * max(1, threads) + 4
                        if threads == 0 and not told:
                            warnings.warn("the scheduler has no worker: the run waits for one", KorWarning, stacklevel=4)
                        told = threads == 0
                while waiting and len(flying) < most:
                    items = waiting.popleft()
                    future = client.submit(work, settings, items, pure=False, key=None)
                    flying[future] = items
                    future.add_done_callback(landed.put)
            else:
                silent_since = silent_since or time.monotonic()
                if client.status == "closed" or time.monotonic() - silent_since > _LONGEST_SILENCE:
                    raise KorError("the scheduler is gone; what is done is recognised when the run is started again",
                                   kind="cannot read", reason="the scheduler is gone", advice="start the run again")
            try:
                future = landed.get(timeout=1.0)
            except queue.Empty:
                _take_back_lost(flying, waiting)
                continue
            if future not in flying:
                continue
            items = flying.pop(future)
            if future.status in ("cancelled", "lost"):
                waiting.append(items)
                continue
            try:
                error = future.exception()
                done: Any = future.result() if error is None else None
            except (concurrent.futures.CancelledError, asyncio.CancelledError, OSError):  # the scheduler went meanwhile
                waiting.append(items)
                continue
            if error is None:
                yield done
            elif isinstance(error, KilledWorker):
                # Which of them it was is found out one by one.
                if len(items) > 1:
                    waiting.extend([item] for item in items)
                else:
                    yield _killer(items[0], error)
            else:
                raise error
    finally:
        if flying and client.status == "running":
            client.cancel(list(flying))


def _threads(client: Any) -> int:
    return sum(int(count) for count in client.nthreads().values())


def _take_back_lost(flying: dict[Any, list[Item]], waiting: "deque[list[Item]]") -> None:
    for future in [future for future in flying if future.status in ("cancelled", "lost")]:
        waiting.append(flying.pop(future))


def _killer(item: Item, error: Any) -> Done:
    text = (f"{shown(item.name)}: the process of the worker has ended each time that this recording was replayed, "
            f"{error.allowed_failures + 1} times; expected that it goes on. Perhaps its memory is too small")
    failure = failure_row(item, KorError(text, kind="internal", file=shown(item.url), advice="give workers more memory"))
    return Done(0, 0, table([], summary_schema()), table([failure], failure_schema()))


class _Tables:
    """The tables of summaries and failures: the rows of this run, and of other recordings those of earlier runs."""

    def __init__(self, folder: Folder, items: list[Item]) -> None:
        self._folder = folder
        self._names = [shown(item.name) for item in items]
        self._summaries = [summary_schema().empty_table()]
        self._failures = [failure_schema().empty_table()]

    def add(self, done: Done) -> None:
        self._summaries.append(done.summaries)
        self._failures.append(done.failures)

    def write(self) -> None:
        self._write(_SUMMARIES, self._summaries)
        self._write(_FAILURES, self._failures)

    def _write(self, name: str, parts: list[Any]) -> None:
        pa = pyarrow()
        before = _read(self._folder, name, parts[0].schema)
        if before is not None:
            mine = pa.compute.is_in(before.column("recording"), value_set=pa.array(self._names, pa.string()))
            parts = [before.filter(pa.compute.invert(mine)), *parts]
        after = pa.concat_tables(parts).sort_by("recording")
        if before is not None and after.equals(before):
            return
        with self._folder.new(name) as path, pa.OSFile(path, "wb") as sink:
            pa.parquet.write_table(after, sink, compression="zstd")


def _read(folder: Folder, name: str, schema: Any) -> Any:
    """A table; None if there is none, or none that can be read."""
    try:
        with folder.open(name, whole=True) as file:
            return pyarrow().parquet.read_table(file).cast(schema)
    except FileNotFoundError:
        return None
    except (OSError, ValueError) as error:
        raise cannot("cannot read", folder.shown(name), error) from error


def _table(output: Union[str, "os.PathLike[str]"], name: str, schema: Any,
           storage_options: Optional[Mapping[str, Any]]) -> Any:
    folder = Folder(os.fspath(output), storage_options or {})
    found = _read(folder, name, schema)
    if found is None:
        raise KorError(f"cannot open {folder.shown(name)}: No such file; expected the output of a run", kind="cannot open",
                       file=folder.shown(name), reason="No such file")
    return found


def summaries(output: Union[str, "os.PathLike[str]"], *,
              storage_options: Optional[Mapping[str, Any]] = None) -> "pa.Table":
    """The table of summaries: a row for each recording that has results, with what ``kor replay`` tells of it.

    Parameters
    ----------
    output, storage_options
        As for `replay`.

    Returns
    -------
    pyarrow.Table

    Raises
    ------
    KorError
        There is none.
    """
    return _table(output, _SUMMARIES, summary_schema(), storage_options)


def failures(output: Union[str, "os.PathLike[str]"], *,
             storage_options: Optional[Mapping[str, Any]] = None) -> "pa.Table":
    """The table of failures: a row for each recording that could not be replayed, with the attributes and the text of the
    `KorError`. Parameters and errors as for `summaries`.
    """
    return _table(output, _FAILURES, failure_schema(), storage_options)


def read_results(output: Union[str, "os.PathLike[str]"], recording: str, *,
                 storage_options: Optional[Mapping[str, Any]] = None) -> Results:
    """The results of one recording, to the last bit those of `korinterface.replay`.

    Parameters
    ----------
    recording
        Its name in the table of summaries.
    output, storage_options
        As for `replay`.

    Raises
    ------
    KorError
        There are none.
    """
    folder = Folder(os.fspath(output), storage_options or {})
    known = summaries(output, storage_options=storage_options)
    row = known.filter(pyarrow().compute.equal(known.column("recording"), recording)).to_pylist()
    if not row:
        raise KorError(f"{folder.shown(_SUMMARIES)}: found no recording {recording!r}, expected one of "
                       f"{known.num_rows} that have results", kind="cannot open", file=folder.shown(_SUMMARIES),
                       expected="the name of a recording")
    try:
        with folder.open(row[0]["results"], whole=True) as file:
            return results_of_table(pyarrow().parquet.read_table(file))
    except (OSError, ValueError) as error:
        raise cannot("cannot read", folder.shown(row[0]["results"]), error) from error
