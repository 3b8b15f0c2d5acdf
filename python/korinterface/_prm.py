"""Parameter files."""
from __future__ import annotations

import json
import os
import tempfile
from dataclasses import dataclass
from typing import Any, Optional, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._errors import KorError
from ._paths import AnyPath, native, text


@dataclass(frozen=True)
class ReadFinding:
    """One place of a parameter file that a read has passed over: its values keep their previous content."""

    kind: str  #: ``"unreadable value"`` or ``"short table"``
    line: int  #: from 1
    block: str  #: title of its block
    expected: str
    found: str
    text: str  #: all of this in one sentence
    values: int  #: values that were not read for it
    rows: int  #: of a short table: rows that could be read whole
    count: int  #: of a short table: rows that it announces


@dataclass(frozen=True)
class ReadReport:
    """The account of a read that has succeeded: what it has passed over."""

    status: int  #: 0
    message: int  #: number of the message that was loaded, 601 to 624; 0 if there was none
    all_findings: int  #: `findings` holds the first ten thousand
    findings: tuple[ReadFinding, ...]


@dataclass(frozen=True)
class CheckFinding:
    """Something that is wrong or unusual with a parameter file (docs/parameter-check.md)."""

    severity: str  #: ``"error"``, ``"warning"`` or ``"note"``
    line: int  #: from 1; 0 if the finding has no place
    rule: str  #: name of its rule
    block: str  #: title of its block, empty for the whole file
    field: str  #: row and name of the value, empty for the whole block
    found: str
    expected: str
    advice: str  #: what to do
    text: str  #: all of this in one sentence
    more: int  #: further findings of the same rule in the same block, which are not listed


def _mode(mode: Optional[int]) -> Optional[int]:
    if mode is not None and not 1 <= mode <= 10:
        raise ValueError(f"mode: found {mode}, expected a mount mode from 1 to 10")
    return mode


def _id(number: int) -> int:
    if not -2**31 <= number < 2**32:
        raise ValueError(f"id: found {number}, expected a sensor ID from -2147483648 to 4294967295")
    return number if number < 2**31 else number - 2**32


class Prm:
    """The parameter set of one sensor, as its file says it. It does not change: to change a parameter, take it to a dict
    and back (`to_dict`, `from_dict`). It can be pickled, and used by any number of threads.

    Attributes
    ----------
    id : int
        Sensor ID.
    mode : int
        Mount mode: 1, 2 dual level; 3, 4 pendulum; 5, 6 polarizer; 7, 8 three vectors; 9, 10 two levels.
    path : str or None
        The file that it was read from.
    content : bytes
        That file, byte by byte.
    report : ReadReport
        What the read has passed over.

    Examples
    --------
    >>> prm = korinterface.Prm.read("data/polarizer", 1005)
    >>> prm.id, prm.mode, len(prm.report.findings)
    (1005, 5, 0)
    >>> prm.scale_factors
    array([ 0.35  , -0.12  ,  0.    ,  0.    ,  1.0002,  0.9997,  1.0015,
            0.    ], dtype=float32)
    """

    id: int
    mode: int
    path: Optional[str]
    content: bytes
    report: ReadReport
    _native: _core.Parameters
    _groups: dict[str, npt.NDArray[Any]]

    def __init__(self) -> None:
        raise TypeError("Prm: use Prm.read(directory, id), Prm.read(path), Prm.from_json(text) or Prm.from_dict(dict)")

    @classmethod
    def _of(cls, core: _core.Parameters, id: int, path: Optional[str], report: Optional[ReadReport] = None) -> "Prm":
        self = object.__new__(cls)
        self._native = core
        self.id = id
        self.mode = core.mode
        self.path = path
        self.content = core.content
        if report is None:
            told = core.report
            report = ReadReport(told["status"], told["message"], told["all_findings"],
                                tuple(ReadFinding(**finding) for finding in told["findings"]))
        self.report = report
        self._groups = core.groups()
        for group in self._groups.values():
            group.flags.writeable = False
        return self

    @classmethod
    def _of_content(cls, content: bytes, id: int, path: Optional[str], report: Optional[ReadReport] = None) -> "Prm":
        # The library reads files alone.
        with tempfile.TemporaryDirectory(prefix="kor") as directory:
            name = os.path.join(directory, f"Tg{id}.prm")
            with open(name, "wb") as file:
                file.write(content)
            return cls._of(_core.Parameters(native(directory), id), id, path, report)

    @classmethod
    def read(cls, directory: AnyPath, id: Optional[int] = None) -> "Prm":
        """Reads a sensor's parameter file.

        Parameters
        ----------
        directory
            The directory of ``Tg<id>.prm``; without an ID the path of the file itself. A file of another name may be of
            any sensor.
        id
            Sensor ID.

        Raises
        ------
        KorError
            The library refuses the file, with its status (550 cannot be opened, 553 format), line, what was found and what
            was expected. `check` tells more of a file that is refused.
        """
        if id is not None:
            number = _id(id)
            path = os.path.join(text(directory), f"Tg{number}.prm")
            return cls._of(_core.Parameters(native(directory), number), number, path)
        path = text(directory)
        named = _core.prm_name_id(native(directory))
        if named is not None:
            return cls._of(_core.Parameters(native(os.path.dirname(path) or "."), named), named, path)
        try:
            with open(directory, "rb") as file:
                content = file.read(2**24 + 1)
        except OSError as error:
            raise KorError(f"cannot open {path}: {error.strerror}", kind="cannot open", file=path,
                           reason=error.strerror) from error
        return cls._of_content(content, _core.prm_id(content, native(directory)), path)

    @classmethod
    def from_json(cls, text: str) -> "Prm":
        """The parameter set that a JSON text describes, as ``kor prm from-json`` takes it (docs/formats.md).

        Raises
        ------
        KorError
            The text does not describe a parameter file: with the path of the value, what was found and what was expected.
        """
        content = _core.prm_text(text, "JSON")
        return cls._of_content(content, _core.prm_id(content, b"JSON"), None)

    @classmethod
    def from_dict(cls, blocks: dict[str, Any]) -> "Prm":
        """The same from the object that the JSON text describes; NumPy's numbers and arrays may stand in it.

        Examples
        --------
        >>> blocks = korinterface.Prm.read("data/polarizer", 1005).to_dict()
        >>> blocks["Scale Factor"][1] = -0.25
        >>> float(korinterface.Prm.from_dict(blocks).scale_factors[1])
        -0.25
        """
        return cls.from_json(json.dumps(blocks, default=_plain))

    def to_json(self) -> str:
        """The file as JSON, as ``kor prm json`` prints it: each number in the shortest text that reads back as the same
        float."""
        return self._native.json()

    def to_dict(self) -> dict[str, Any]:
        """The file as the object that the JSON text describes: a member for each block, named by the block's title."""
        blocks: dict[str, Any] = json.loads(self.to_json())
        return blocks

    def show(self, *, rows: bool = False) -> str:
        """The file with names, units and what its mount mode makes of each value, as ``kor prm show`` prints it.

        Parameters
        ----------
        rows
            Every row of the tables as well.
        """
        return self._native.show(self.path or f"Tg{self.id}.prm", rows)

    def check(self, mode: Optional[int] = None) -> list[CheckFinding]:
        """What is wrong or unusual with the content of the file, by the rules of ``kor prm check``.

        Parameters
        ----------
        mode
            Mount mode that it is to be used with; None: its own.
        """
        return [CheckFinding(**finding) for finding in self._native.findings(_mode(mode))]

    def __reduce__(self) -> tuple[Any, ...]:
        return Prm._of_content, (self.content, self.id, self.path, self.report)

    def __repr__(self) -> str:
        return f"<korinterface.Prm of sensor {self.id}, mount mode {self.mode}>"

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Prm) and (self.id, self.content) == (other.id, other.content)

    def __hash__(self) -> int:
        return hash((self.id, self.content))

    def groups(self) -> dict[str, npt.NDArray[Any]]:
        """All groups of parameters by the names of the properties below; the arrays are read-only."""
        return dict(self._groups)

    # Each group, as the engine takes it.

    @property
    def azimuth_table(self) -> npt.NDArray[np.float32]:
        """Reading and correction of each row, degrees; (rows, 2)."""
        return self._groups["azimuth_table"]

    @property
    def elevation_table(self) -> npt.NDArray[np.float32]:
        """Reading and correction of each row, degrees; (rows, 2)."""
        return self._groups["elevation_table"]

    @property
    def level_x_knots(self) -> npt.NDArray[np.float32]:
        """Readings of the rows of level X's table; (rows,)."""
        return self._groups["level_x_knots"]

    @property
    def level_x_extra(self) -> npt.NDArray[np.float32]:
        """The three numbers behind the rows of level X's table: two limits and a third number."""
        return self._groups["level_x_extra"]

    @property
    def level_x_coefficients(self) -> npt.NDArray[np.float64]:
        """Spline of level X, degrees: c0 to c3 of each interval; (rows, 4)."""
        return self._groups["level_x_coefficients"]

    @property
    def level_y_knots(self) -> npt.NDArray[np.float32]:
        """Readings of the rows of level Y's table; (rows,), no rows if the file does not have it."""
        return self._groups["level_y_knots"]

    @property
    def level_y_extra(self) -> npt.NDArray[np.float32]:
        """The three numbers behind the rows of level Y's table."""
        return self._groups["level_y_extra"]

    @property
    def level_y_coefficients(self) -> npt.NDArray[np.float64]:
        """Spline of level Y, degrees; (rows, 4)."""
        return self._groups["level_y_coefficients"]

    @property
    def scale_factors(self) -> npt.NDArray[np.float32]:
        """Eight scale factors of the orientation model."""
        return self._groups["scale_factors"]

    @property
    def encoder_offset(self) -> npt.NDArray[np.float32]:
        """Zero references of azimuth and elevation, radians; (2,)."""
        return self._groups["encoder_offset"]

    @property
    def tilt_offset(self) -> npt.NDArray[np.float32]:
        """Offsets of level X and level Y, degrees; (2,)."""
        return self._groups["tilt_offset"]

    @property
    def thermal_factor(self) -> npt.NDArray[np.float32]:
        """X gain, X offset, Y gain, Y offset; (4,)."""
        return self._groups["thermal_factor"]

    @property
    def local_matrix(self) -> npt.NDArray[np.float64]:
        """Local coordinate transform, as in the file; (3, 3)."""
        return self._groups["local_matrix"]

    @property
    def machine_matrix(self) -> npt.NDArray[np.float64]:
        """Machine coordinate transform, the inverse of that in the file; (3, 3)."""
        return self._groups["machine_matrix"]


def _plain(value: Any) -> Union[list[Any], int, float]:
    if isinstance(value, np.ndarray):
        return value.tolist()  # type: ignore[no-any-return]
    if isinstance(value, np.integer):
        return int(value)
    if isinstance(value, np.floating):
        return float(value)
    raise TypeError(f"found an object of type {type(value).__name__}, expected what JSON can express")


def check(directory: AnyPath, id: Optional[int] = None, *, mode: Optional[int] = None) -> list[CheckFinding]:
    """What is wrong or unusual with a parameter file, also with one that the library refuses; as ``kor prm check``.

    Parameters
    ----------
    directory, id
        As for `Prm.read`.
    mode
        Mount mode that the file is to be used with; None: its own.

    Raises
    ------
    KorError
        The file cannot be opened.
    """
    path = text(directory) if id is None else os.path.join(text(directory), f"Tg{_id(id)}.prm")
    return [CheckFinding(**finding) for finding in _core.check_file(native(path), _mode(mode))]
