"""One task: some recordings, one after the other."""
from __future__ import annotations

import hashlib
import json
import re
from typing import Any, NamedTuple, Optional

from .. import _core
from .._engine import _replay_parts
from .._errors import KorError
from .._prm import CheckFinding, Prm, check
from ._files import Folder, LocalCopy, NoRoom, Options, cannot, is_full, shown
from ._plan import Item
from ._tables import FORMAT, failure_schema, pyarrow, result_batch, summary_row, summary_schema, table, writer

_ROWS = 65536  # of a part, and of a row group
_UNREACHABLE = ("cannot open", "cannot read")


class Settings(NamedTuple):
    """What is the same for all recordings."""

    folder: Folder
    options: dict[str, Any]  #: of the replay
    force: bool
    storage_options: Options
    version: str  #: of the package of whoever asks


class Done(NamedTuple):
    """What has become of the recordings of a task."""

    replayed: int
    recognised: int
    summaries: Any  #: pyarrow.Table
    failures: Any


class _Parameters:
    """Each parameter file is read once in a task."""

    def __init__(self, settings: Settings) -> None:
        self._settings = settings
        self._known: dict[str, Any] = {}

    def read(self, url: str) -> tuple[Prm, str, list[str]]:
        """The parameter set, the hash of its file, and what is to be told of it. Raises KorError."""
        if url not in self._known:
            try:
                self._known[url] = self._read(url)
            except KorError as error:
                self._known[url] = error
        known = self._known[url]
        if isinstance(known, KorError):
            raise known
        return known  # type: ignore[no-any-return]

    def _read(self, url: str) -> tuple[Prm, str, list[str]]:
        with LocalCopy(url, self._settings.storage_options) as file:
            try:
                findings = check(file.path, mode=self._settings.options["mode"])
                self._refuse_errors(findings, file.path)
                prm = Prm.read(file.path)
            except KorError as error:
                raise file.renamed(error) from None
            if hashlib.sha256(prm.content).hexdigest() != file.sha256:
                raise KorError(f"cannot read {shown(url)}: it has changed while it was read", kind="cannot read",
                               file=shown(url), reason="it has changed while it was read", advice="run again")
            told = [finding.text for finding in findings if finding.severity != "note"]
            return prm, file.sha256, [text.replace(file.path, shown(url)) for text in told]

    def _refuse_errors(self, findings: list[CheckFinding], path: str) -> None:
        errors = [finding for finding in findings if finding.severity == "error"]
        if errors and not self._settings.force:
            first = errors[0]
            more = f" ({len(errors)} errors in all)" if len(errors) > 1 else ""
            raise KorError(f"{first.text}{more}; force uses the file if the library reads it", kind="bad data",
                           file=path, line=first.line or None, found=first.found, expected=first.expected,
                           advice=first.advice)


def work(settings: Settings, items: list[Item]) -> Done:
    """Replays recordings, or recognises what is done.

    Raises
    ------
    NoRoom
        The results cannot be written.
    """
    if settings.version != _core.VERSION:
        raise KorError(f"found korinterface {_core.VERSION} on a worker, expected {settings.version}, which has started the "
                       "run; install the same everywhere", found=_core.VERSION, expected=settings.version,
                       advice="install the same everywhere")
    parameters = _Parameters(settings)
    summaries: list[dict[str, Any]] = []
    failures: list[dict[str, Any]] = []
    replayed = recognised = 0
    for item in items:
        try:
            summary, was_done = _one(settings, parameters, item)
            summaries.append(summary)
            recognised += was_done
            replayed += not was_done
        except NoRoom:
            raise
        except Exception as error:  # of a recording, whatever it is, no other one has to suffer
            if is_full(error):
                raise NoRoom(cannot("cannot write", item.name, error)) from error
            failures.append(failure_row(item, error))
            if isinstance(error, KorError) and error.kind in _UNREACHABLE:
                # Perhaps it can be read tomorrow: its earlier results stay.
                summaries.extend(_earlier(settings.folder, item))
            else:
                for name in item.existing:
                    settings.folder.remove(name)
    return Done(replayed, recognised, table(summaries, summary_schema()), table(failures, failure_schema()))


def failure_row(item: Item, error: BaseException) -> dict[str, Any]:
    """The row of a recording that could not be replayed."""
    row: dict[str, Any] = {"recording": shown(item.name), "sensor": item.sensor, "day": item.day,
                           "prm": item.prm and shown(item.prm)}
    if isinstance(error, KorError):
        row.update((name, value) for name, value in error.__dict__.items() if name in failure_schema().names)
        row["text"] = str(error)
    elif isinstance(error, MemoryError):
        row.update(kind="no memory", text=f"{shown(item.name)}: there is not enough memory")
    elif isinstance(error, ValueError):
        row.update(kind="usage", text=str(error))
    else:
        row.update(kind="internal", text=f"{type(error).__name__}: {error}")
    return {name: shown(value) if isinstance(value, str) else value for name, value in row.items()}


def _file_of(item: Item, sensor: int) -> str:
    stem = re.sub(r"(\.(csv|korraw))?(\.(gz|zst))?$", "", item.name.rsplit("/", 1)[-1], flags=re.I)
    readable = re.sub(r"[^\w.-]+", "_", stem, flags=re.A).lstrip("._")[:60]
    return f"results/sensor={sensor}/day={item.day}/{readable}-{item.key}.parquet"


def _told_by(folder: Folder, name: str) -> Optional[dict[str, Any]]:
    """The row of the summaries that a file of results holds; None if it is not such a file."""
    try:
        with folder.open(name, whole=False) as file:
            metadata = pyarrow().parquet.read_metadata(file).metadata or {}
        row: dict[str, Any] = json.loads(metadata[b"korinterface.summary"])
        return row
    except (OSError, KeyError, ValueError):  # pyarrow's own errors are of these kinds
        return None


def _earlier(folder: Folder, item: Item) -> list[dict[str, Any]]:
    rows = [row for row in (_told_by(folder, name) for name in item.existing) if row is not None]
    return rows[:1]


def _one(settings: Settings, parameters: _Parameters, item: Item) -> tuple[dict[str, Any], bool]:
    """The row of its summary, and whether it was done before."""
    if item.problem is not None:
        text = item.problem["text"]
        raise KorError(text, **{name: value for name, value in item.problem.items() if name != "text"})
    assert item.prm is not None
    prm, prm_sha256, told_of_prm = parameters.read(item.prm)
    if item.sensor is not None and item.sensor != prm.id:
        raise KorError(f"{shown(item.name)}: found the parameter file {shown(item.prm)} of sensor {prm.id}, expected that of "
                       f"sensor {item.sensor}, which the path says", file=shown(item.prm), found=str(prm.id),
                       expected=str(item.sensor))
    with LocalCopy(item.url, settings.storage_options) as file:
        name = _file_of(item, prm.id)
        options = json.dumps(settings.options, sort_keys=True)
        # All that the file of the results depends on.
        said = {"recording": shown(item.name), "sensor": prm.id, "day": item.day, "day_from": item.day_from,
                "bytes": file.bytes, "recording_sha256": file.sha256, "prm": shown(item.prm), "prm_sha256": prm_sha256,
                "options": options, "version": _core.VERSION}
        key = hashlib.sha256(json.dumps([FORMAT, settings.force, said], sort_keys=True).encode()).hexdigest()
        if name in item.existing:
            row = _told_by(settings.folder, name)
            if row is not None and row.get("key") == key:
                _remove_others(settings.folder, item, name)
                return row, True
        row = {**said, "key": key, "results": name}
        _replay(settings, file, prm, told_of_prm, row)
        _remove_others(settings.folder, item, name)
        return row, False


def _remove_others(folder: Folder, item: Item, name: str) -> None:
    for other in item.existing:
        if other != name:
            folder.remove(other)


def _replay(settings: Settings, file: LocalCopy, prm: Prm, told_of_prm: list[str], row: dict[str, Any]) -> None:
    """Writes the results, and completes the row of the summary."""
    with settings.folder.new(row["results"]) as path:
        # The writer would leave its file open if the last bytes find no room.
        with pyarrow().OSFile(path, "wb") as sink, writer(sink) as parquet:
            written = 0

            def take(part: Any) -> None:
                nonlocal written
                parquet.write_batch(result_batch(part, row["recording"], written))
                written += len(part)

            try:
                told, warnings = _replay_parts(file.path, prm, take, rows=_ROWS, **settings.options)
            except KorError as error:
                raise file.renamed(error) from None
            file.must_not_have_changed()
            messages = [message["text"] for message in told["messages"]]
            if not told["samples"]:
                text = f"{shown(file.url)}: {'; '.join(messages)}"
                raise KorError(text, kind="bad data", file=shown(file.url), reason="; ".join(messages))
            row.update(summary_row(told), messages=[
                shown(text.replace(file.path, shown(file.url))) for text in [*told_of_prm, *warnings, *messages]])
            parquet.add_key_value_metadata({"korinterface.key": row["key"], "korinterface.summary": json.dumps(row)})
