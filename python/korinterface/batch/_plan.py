"""Which recordings there are, which parameter file is whose, and which day it was."""
from __future__ import annotations

import csv
import datetime
import glob
import hashlib
import os
import re
from typing import Any, Callable, Iterable, Mapping, NamedTuple, Optional, Union

from .. import _core
from .._errors import KorError
from .._paths import native
from ._files import Options, absolute, cannot, file_system, is_local, shown, url_like

#: Endings by which a folder's recordings are found, in any case.
ENDINGS = (".csv", ".korraw", ".csv.gz", ".korraw.gz", ".csv.zst", ".korraw.zst")

Day = Union[None, str, datetime.date, Mapping[str, Any], Callable[[str], Any]]
PrmOf = Union[str, "os.PathLike[str]", Mapping[str, Any], Callable[[str], Any]]


class Item(NamedTuple):
    """A recording, and what is known of it before anybody looks into it."""

    name: str  #: of the tables
    url: str
    size: int
    prm: Optional[str]  #: path or URL of its parameter file
    sensor: Optional[int]  #: that its path names
    day: Optional[str]  #: YYYY-MM-DD
    day_from: str  #: "path", "modified" or "given"
    problem: Optional[dict[str, Any]]  #: why it cannot be worked on; attributes of a KorError
    existing: tuple[str, ...] = ()  #: files of its results of earlier runs

    @property
    def key(self) -> str:
        """What the files of its results are known by."""
        return key_of(self.name)


def key_of(name: str) -> str:
    return hashlib.sha256(name.encode("utf-8", "surrogateescape")).hexdigest()[:24]


class Pattern:
    """Where the end of a recording's path says sensor and day: ``{sensor}/{day}/*.csv``."""

    _PARTS = {"{sensor}": ("sensor", r"-?\d{1,10}"), "{day}": ("day", r"\d{4}[-_./]?\d\d[-_./]?\d\d")}
    _WILD = {"**/": r"(?:.*/)?", "**": ".*", "*": "[^/]*", "?": "[^/]"}

    def __init__(self, text: str) -> None:
        self.text = text
        expression, seen = "", set()
        for part in re.findall(r"\{[^{}]*\}|\*\*/|\*\*|\*|\?|.", text, re.S):
            if part in self._PARTS:
                group, values = self._PARTS[part]
                expression += f"(?P={group})" if group in seen else f"(?P<{group}>{values})"
                seen.add(group)
            elif part in self._WILD:
                expression += self._WILD[part]
            elif part[0] in "{}":
                raise ValueError(f"pattern: found {part!r}, expected {{sensor}}, {{day}}, *, ** or ? among what is to stand "
                                 "in the path as it is")
            else:
                expression += re.escape(part)
        if not seen:
            raise ValueError(f"pattern: found {text!r}, expected {{sensor}} or {{day}} in it")
        self.groups = seen
        self._expression = re.compile(f"(?:^|/){expression}$", re.S)

    def match(self, path: str) -> Optional[dict[str, str]]:
        found = self._expression.search(path)
        return found.groupdict() if found else None


def date_of(given: Any) -> datetime.date:
    """A date of what a user or a path says. Raises ValueError."""
    if isinstance(given, datetime.datetime):
        return given.date()
    if isinstance(given, datetime.date):
        return given
    digits = re.fullmatch(r"(\d{4})[-_./]?(\d\d)[-_./]?(\d\d)", str(given), re.A)
    try:
        if digits is None:
            raise ValueError
        return datetime.date(*map(int, digits.groups()))
    except ValueError:
        raise ValueError(f"found {given!r}, expected a date such as 2026-11-22") from None


def _look_up(given: Any) -> Optional[Callable[[str, str], Any]]:
    # By the name of the recording, or else by its path.
    if isinstance(given, Mapping):
        return lambda name, url: given.get(name, given.get(url))
    return (lambda name, url: given(name)) if callable(given) else None


def _problem(text: str, kind: str = "usage", **attributes: Any) -> dict[str, Any]:
    return {"text": text, "kind": kind, **attributes}


class _Prms:
    """The parameter file of a recording."""

    def __init__(self, prm: PrmOf, has_sensor: bool, options: Options) -> None:
        self._options = options
        self._of = _look_up(prm)
        self._template = ""
        self._folders: dict[str, Union[str, dict[str, Any]]] = {}
        if self._of is None:
            self._template = os.fspath(prm)  # type: ignore[arg-type]
            for part in re.findall(r"\{[^{}]*\}?|\}", self._template):
                if part not in ("{sensor}", "{day}", "{folder}"):
                    raise ValueError(f"prm: found {part!r}, expected {{sensor}}, {{day}} or {{folder}} among what is to "
                                     "stand in the path as it is")
            if not self._template.lower().endswith(".prm"):
                self._template += "/Tg{sensor}.prm" if has_sensor or "{sensor}" in self._template else "/"

    def find(self, name: str, url: str, said: Mapping[str, Optional[str]]) -> Union[str, dict[str, Any]]:
        """Its path or URL, or why there is none."""
        if self._of is not None:
            found = self._of(name, url)
            if found is None:
                return _problem(f"{shown(name)}: nothing says which parameter file is its own; expected a path",
                                expected="a path", advice="name it in the table, or leave the recording out")
            return absolute(os.fspath(found))
        path = self._template.replace("{folder}", url.rpartition("/")[0])
        for part in ("sensor", "day"):
            value = said.get(part)
            if value is None and f"{{{part}}}" in path:
                return _problem(f"prm: found {{{part}}} in {self._template!r}, and nothing in the path {shown(url)} says "
                                f"it; expected a pattern with {{{part}}}", expected=f"a pattern with {{{part}}}")
            if part == "sensor" and value is not None:  # the library writes no zeros in front
                folder, slash, last = path.rpartition("/")
                path = folder + slash + last.replace("{sensor}", str(int(value)))
            path = path.replace(f"{{{part}}}", value or "")
        if not path.endswith("/"):
            return absolute(path)
        if path not in self._folders:
            self._folders[path] = self._only_one(absolute(path))
        return self._folders[path]

    def _only_one(self, folder: str) -> Union[str, dict[str, Any]]:
        try:
            if is_local(folder):
                names = [entry.name for entry in os.scandir(folder)]
            else:
                fs, path = file_system(folder, self._options)
                names = [each.rsplit("/", 1)[-1] for each in fs.ls(path, detail=False)]
        except Exception as error:  # of the store's own kinds
            problem = cannot("cannot open", folder, error)
            return _problem(str(problem), **{**problem.__dict__})
        files = sorted(name for name in names if _core.prm_name_id(native(name)) is not None)
        if len(files) == 1:
            return f"{folder}/{files[0]}"
        found = "none" if not files else f"{len(files)}: {shown(', '.join(files[:5]))}{' ...' if files[5:] else ''}"
        return _problem(f"{shown(folder)}: found {found}, expected one parameter file Tg<ID>.prm, or a pattern that says "
                        "the sensor of a recording", file=shown(folder), found=found,
                        expected="one parameter file Tg<ID>.prm")


class _Days:
    """The day of a recording, whose time stamps do not say it."""

    def __init__(self, day: Day, in_path: bool) -> None:
        self._of = _look_up(day)
        self._given: Optional[str] = None
        self._from = "given"
        if self._of is not None:
            return
        if day == "modified" or (day is None and not in_path):
            self._from = "modified"
        elif day is None or day == "path":
            if not in_path:
                raise ValueError("day: found 'path' and a pattern without {day}, expected a pattern with it")
            self._from = "path"
        else:
            try:
                self._given = date_of(day).isoformat()
            except ValueError as error:
                raise ValueError(f"day: {error}, \"modified\" or \"path\"") from None

    def find(self, name: str, url: str, said: Mapping[str, Optional[str]], info: Mapping[str, Any],
             ) -> tuple[Optional[str], str, Optional[dict[str, Any]]]:
        """The day, where it comes from, and why there is none."""
        if self._given is not None:
            return self._given, self._from, None
        try:
            if self._from == "path":
                return date_of(said["day"]).isoformat(), self._from, None
            if self._of is not None:
                return date_of(self._of(name, url)).isoformat(), self._from, None
        except ValueError as error:
            return None, self._from, _problem(f"{shown(name)}: day: {error}", found=shown(str(said.get("day"))),
                                              expected="a date such as 2026-11-22")
        for key in ("mtime", "LastModified", "last_modified", "updated", "modified", "created"):
            moment = info.get(key)
            if isinstance(moment, (int, float)):
                moment = datetime.datetime.fromtimestamp(moment, datetime.timezone.utc)
            if isinstance(moment, str):
                try:
                    moment = datetime.datetime.fromisoformat(moment.replace("Z", "+00:00"))
                except ValueError:
                    continue
            if isinstance(moment, datetime.datetime):
                moment = moment.astimezone(datetime.timezone.utc) if moment.tzinfo else moment
                return moment.date().isoformat(), self._from, None
        return None, self._from, _problem(f"{shown(name)}: its store does not say when it was written; expected a day: name "
                                          "one, or a pattern with {day}", expected="a day")


def _below(folder: str) -> Iterable[tuple[str, dict[str, Any]]]:
    def fail(error: OSError) -> None:
        raise cannot("cannot open", error.filename or folder, error) from error

    for where, _, names in os.walk(folder, onerror=fail):
        for name in names:
            if name.lower().endswith(ENDINGS):
                yield os.path.join(where, name), {}


def _listed(recordings: str, options: Options) -> Iterable[tuple[str, dict[str, Any]]]:
    """Path or URL of each recording that a folder, a glob or a path means."""
    if is_local(recordings):
        path = absolute(recordings)
        if os.path.isdir(path):
            yield from _below(path)
        elif os.path.lexists(path) or not glob.has_magic(path):
            yield path, {}
        else:
            yield from ((each, {}) for each in glob.iglob(path, recursive=True) if not os.path.isdir(each))
        return
    fs, path = file_system(recordings, options)
    try:
        if fs.isdir(path):
            found = {name: info for name, info in fs.find(path, detail=True).items() if name.lower().endswith(ENDINGS)}
        elif glob.has_magic(path):
            found = {name: info for name, info in fs.glob(path, detail=True).items() if info.get("type") != "directory"}
        else:
            found = {path: fs.info(path)}
    except FileNotFoundError:
        found = {path: {}}
    except Exception as error:  # of the store's own kinds
        raise cannot("cannot open", recordings, error) from error
    yield from ((url_like(recordings, name), dict(info)) for name, info in found.items())


def plan(recordings: Iterable[str], *, root: Optional[str], prm: PrmOf, pattern: Optional[str], day: Day,
         options: Options) -> list[Item]:
    """All recordings, each once, in the order of their parameter files and names."""
    where = Pattern(pattern) if pattern is not None else None
    groups = where.groups if where else set()
    prms, days = _Prms(prm, "sensor" in groups, options), _Days(day, "day" in groups)
    base = None if root is None else absolute(root).rstrip("/") + "/"
    items: dict[str, Item] = {}
    for given in recordings:
        for url, info in _listed(given, options):
            if base is not None and not url.startswith(base):
                raise ValueError(f"root: found the recording {shown(url)}, expected one below {shown(base)}")
            name = url if base is None else url[len(base):]
            if name not in items:
                items[name] = _item(name, url, info, where, prms, days)
    if not items:
        raise KorError(f"{', '.join(map(shown, recordings))}: found no recording, expected files that end in "
                       f"{', '.join(ENDINGS[:2])}, also with .gz or .zst", kind="cannot open", expected="recordings")
    return sorted(items.values(), key=lambda item: (item.prm or "", item.name))


def _item(name: str, url: str, info: dict[str, Any], where: Optional[Pattern], prms: _Prms, days: _Days) -> Item:
    if is_local(url):
        try:
            status = os.stat(url)
            info = {"size": status.st_size, "mtime": status.st_mtime}
        except OSError as error:
            problem = cannot("cannot open", url, error)
            return Item(name, url, 0, None, None, None, "", _problem(str(problem), **problem.__dict__))
    size = int(info.get("size") or 0)
    said: dict[str, Optional[str]] = {}
    if where is not None:
        matched = where.match(url)
        if matched is None:
            return Item(name, url, size, None, None, None, "", _problem(
                f"{shown(name)}: found a path that the pattern {where.text!r} does not fit; expected one that it fits",
                found=shown(name), expected=where.text, advice="change the pattern, or leave the recording out"))
        said.update(matched)
    sensor = said.get("sensor")
    date, day_from, problem_of_day = days.find(name, url, said, info)
    found = prms.find(name, url, {**said, "day": date if said.get("day") is None else said["day"]})
    prm, problem_of_prm = (found, None) if isinstance(found, str) else (None, found)
    return Item(name, url, size, prm, None if sensor is None else int(sensor), date, day_from,
                problem_of_prm or problem_of_day)


def read_table(path: str) -> tuple[dict[str, str], dict[str, str]]:
    """The parameter file, and perhaps the day, of each recording, from a CSV file with the columns ``recording``, ``prm``
    and, if wanted, ``day``. Paths of parameter files are taken from the folder of the table.

    Raises
    ------
    KorError
        The file cannot be read, or a row cannot.
    """
    prms: dict[str, str] = {}
    days: dict[str, str] = {}
    try:
        with open(path, newline="", encoding="utf-8-sig") as file:
            rows = csv.DictReader(file)
            columns = rows.fieldnames or []
            for column in ("recording", "prm"):
                if column not in columns:
                    raise _bad_row(path, 1, column, f"no column {column}", "the columns recording, prm and perhaps day")
            for row in rows:
                recording = row["recording"] or ""
                for column in ("recording", "prm", "day"):
                    if column in columns and not row[column]:
                        raise _bad_row(path, rows.line_num, column, "an empty cell", "a value")
                if recording in prms:
                    raise _bad_row(path, rows.line_num, "recording", f"{recording!r} a second time", "each once")
                prms[recording] = row["prm"] if "://" in row["prm"] else os.path.join(os.path.dirname(path), row["prm"])
                if "day" in columns:
                    try:
                        days[recording] = date_of(row["day"]).isoformat()
                    except ValueError:
                        raise _bad_row(path, rows.line_num, "day", repr(row["day"]),
                                       "a date such as 2026-11-22") from None
    except OSError as error:
        raise cannot("cannot open", path, error) from error
    except (UnicodeDecodeError, csv.Error) as error:
        raise KorError(f"{shown(path)}: {error}; expected CSV in UTF-8", kind="bad data", file=shown(path),
                       reason=str(error), expected="CSV in UTF-8") from error
    return prms, days


def _bad_row(path: str, line: int, column: str, found: str, expected: str) -> KorError:
    return KorError(f"{shown(path)}: line {line}, column {column}: found {found}, expected {expected}", kind="bad data",
                    file=shown(path), line=line, column=column, found=found, expected=expected)
