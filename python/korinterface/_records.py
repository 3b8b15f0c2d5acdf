"""Recordings, results and truths: arrays, and files of them."""
from __future__ import annotations

import os
from dataclasses import dataclass, fields
from typing import Any, Optional, cast

import numpy as np
import numpy.typing as npt

from . import _core
from ._errors import warn_all
from ._paths import AnyPath, native

#: One raw sample, byte for byte the library's record of 68 bytes. The fields are those of ``KOR_RAWINFO``.
RAW_DTYPE: np.dtype[np.void] = _core.RAW_DTYPE
#: One result, byte for byte the library's record of 60 bytes. The fields are those of ``KOR_INFO``.
INFO_DTYPE: np.dtype[np.void] = _core.INFO_DTYPE
#: What may become of a sample, by the numbers in `Results.outcomes`.
OUTCOMES: tuple[str, ...] = _core.OUTCOMES

_OK = OUTCOMES.index("ok")


def _window(start: Optional[int], stop: Optional[int]) -> tuple[Optional[int], Optional[int]]:
    for name, stamp in (("from_ms", start), ("to_ms", stop)):
        if stamp is not None and not 0 <= stamp < 2**32:
            raise ValueError(f"{name}: found {stamp}, expected a time stamp from 0 to 4294967295")
    return start, stop


def _format_of(path: AnyPath, given: Optional[str], binary: str) -> str:
    if given is not None:
        return given
    name = os.fsdecode(path)
    for ending in (".gz", ".zst"):
        name = name[:-len(ending)] if name.endswith(ending) else name
    return "bin" if name.endswith(binary) else "csv"


def read_recording(path: AnyPath, *, format: Optional[str] = None, from_ms: Optional[int] = None,
                   to_ms: Optional[int] = None, skip_bad: bool = False) -> npt.NDArray[np.void]:
    """Reads a recording: CSV or binary records, as they are or compressed by gzip or zstd.

    Parameters
    ----------
    path
        The file.
    format
        ``"csv"`` or ``"bin"``; None: by the name (``.csv``, ``.korraw``), otherwise by the content.
    from_ms, to_ms
        Samples with time stamps of this window only, ms, both inclusive, across the wrap of the stamps if `to_ms` is the
        smaller one; as ``--from`` and ``--to`` of ``kor replay``.
    skip_bad
        Leaves out rows that cannot be read, and warns of them (`KorWarning`).

    Returns
    -------
    numpy.ndarray
        Shape (n,), dtype `RAW_DTYPE`. Positions in mm in the tracker frame, encoder angles in degrees before
        calibration, levels in the units of their tables, time stamps in ms.

    Raises
    ------
    KorError
        The file cannot be read, or a row cannot: with file, line or record, column, what was found and expected.

    Examples
    --------
    >>> samples = korinterface.read_recording("data/polarizer/polarizer.csv")
    >>> samples.shape, samples.dtype == korinterface.RAW_DTYPE
    ((2400,), True)
    >>> samples["timeStampMs"][:3]
    array([4294955299, 4294955309, 4294955319], dtype=uint32)
    """
    samples, warnings = _core.read_recording(native(path), format, *_window(from_ms, to_ms), skip_bad)
    warn_all(warnings)
    return samples


def write_recording(path: AnyPath, samples: npt.NDArray[np.void], *, format: Optional[str] = None) -> None:
    """Writes a recording. The file appears when it is complete, and not at all if something fails.

    Parameters
    ----------
    path
        The file; with ``.gz`` or ``.zst`` at its end it is compressed.
    samples
        Shape (n,), dtype `RAW_DTYPE`, contiguous.
    format
        ``"csv"`` or ``"bin"``; None: binary if the name ends in ``.korraw`` (before ``.gz`` or ``.zst``), otherwise CSV.
        CSV has no columns for the bytes that the engine does not read.

    Raises
    ------
    KorError
        The file cannot be created or written.
    """
    chosen = _format_of(path, format, ".korraw")
    if chosen not in ("csv", "bin"):
        raise ValueError(f'format: found {chosen!r}, expected "csv", "bin" or None')
    _core.write_recording(native(path), samples, chosen)


@dataclass(eq=False)
class Results:
    """What the engine says of n samples; all arrays have one element for each sample.

    Attributes
    ----------
    info : ndarray, (n,), `INFO_DTYPE`
        Calibrated angles, corrected levels and orientation angles in degrees, position in mm, temperatures.
    matrices : ndarray, (n, 3, 3), float64
        Orientations: they take directions of the sensor's base to the tracker frame (docs/formats.md, frames). The
        identity where there is none.
    codes : ndarray, (n,), int32
        0, or 554 where there is no orientation.
    outcomes : ndarray, (n,), uint8
        What became of each sample: an index of `OUTCOMES`.
    level_x_out, level_y_out : ndarray, (n,), bool
        Whether the level was outside its table.
    time_stamps : ndarray, (n,), uint32
        ms; they wrap at 2**32.
    """

    info: npt.NDArray[np.void]
    matrices: npt.NDArray[np.float64]
    codes: npt.NDArray[np.int32]
    outcomes: npt.NDArray[np.uint8]
    level_x_out: npt.NDArray[np.bool_]
    level_y_out: npt.NDArray[np.bool_]
    time_stamps: npt.NDArray[np.uint32]
    says_outcomes: bool = True  #: False for a file without the column: outcomes then follow the codes

    def __len__(self) -> int:
        return len(self.codes)

    def __getitem__(self, rows: Any) -> "Results":
        """The same for some samples: a slice, a mask or an array of indices."""
        if isinstance(rows, (int, np.integer)):
            index = int(rows)
            if not -len(self) <= index < len(self):
                raise IndexError(f"found index {index}, expected one of {len(self)} samples")
            rows = slice(index, index + 1 if index != -1 else None)
        return Results(**{f.name: np.ascontiguousarray(getattr(self, f.name)[rows])
                          for f in fields(self) if f.name != "says_outcomes"}, says_outcomes=self.says_outcomes)

    @property
    def usable(self) -> npt.NDArray[np.bool_]:
        """Which samples have a usable orientation: their outcome is ``ok``."""
        return cast("npt.NDArray[np.bool_]", self.outcomes == _OK)

    @property
    def angles(self) -> npt.NDArray[np.float32]:
        """Orientation angles about x, z and y, degrees; shape (n, 3)."""
        return cast("npt.NDArray[np.float32]", self.info["orientationAngles"])

    def outcome_counts(self) -> dict[str, int]:
        """How many samples have each outcome; those that none has are left out."""
        counts = np.bincount(self.outcomes, minlength=len(OUTCOMES))
        return {name: int(count) for name, count in zip(OUTCOMES, counts) if count}

    def equals(self, other: "Results") -> bool:
        """Whether both are the same to the last bit."""
        return all(getattr(self, f.name).tobytes() == getattr(other, f.name).tobytes()
                   for f in fields(self) if f.name != "says_outcomes")


def read_results(path: AnyPath, *, format: Optional[str] = None) -> Results:
    """Reads results of ``kor replay`` or `write_results`: CSV or binary, as they are or compressed.

    Parameters
    ----------
    path
        The file.
    format
        ``"csv"`` or ``"bin"``; None: by the name (``.csv``, ``.korinfo``), otherwise by the content.

    Returns
    -------
    Results
        Of a file without the column ``outcome`` the outcome is ``ok`` where the matrix code is 0, and
        ``no_matrix_no_solution`` elsewhere; `Results.says_outcomes` is False then.

    Raises
    ------
    KorError
        The file cannot be read, or a row cannot.
    """
    arrays, says_outcomes, _, warnings = _core.read_results(native(path), format)
    warn_all(warnings)
    results = Results(*arrays, says_outcomes=says_outcomes)
    if not says_outcomes:
        results.outcomes[:] = np.where(results.codes == 0, _OK, OUTCOMES.index("no_matrix_no_solution"))
    return results


def write_results(path: AnyPath, results: Results, *, format: Optional[str] = None) -> None:
    """Writes results as ``kor replay`` does. The file appears when it is complete, and not at all if something fails.

    Parameters
    ----------
    path
        The file; with ``.gz`` or ``.zst`` at its end it is compressed.
    results
        What is written.
    format
        ``"csv"``, ``"bin"``, or ``"bare"`` for the engine's records alone; None: binary if the name ends in
        ``.korinfo`` (before ``.gz`` or ``.zst``), otherwise CSV.

    Raises
    ------
    KorError
        The file cannot be created or written.
    """
    _core.write_results(native(path), results.info, results.matrices, results.codes, results.outcomes,
                        results.level_x_out, results.level_y_out, results.time_stamps,
                        _format_of(path, format, ".korinfo"))


@dataclass(eq=False)
class Truth:
    """What is true of n simulated samples; all arrays have one element for each sample.

    Attributes
    ----------
    time_stamps : ndarray, (n,), uint32
        ms.
    valid : ndarray, (n,), bool
        Whether the orientation may be held against the truth.
    base : ndarray, (n, 3, 3), float64
        True orientation of the sensor's base, base to tracker frame.
    positions : ndarray, (n, 3), float32
        True target point, tracker frame, mm.
    matrices : ndarray, (n, 3, 3), float64
        What the engine should hand out in machine coordinates.
    notes : ndarray, (n,), str
        Why a sample is valid or not (data/README.md).
    """

    time_stamps: npt.NDArray[np.uint32]
    valid: npt.NDArray[np.bool_]
    base: npt.NDArray[np.float64]
    positions: npt.NDArray[np.float32]
    matrices: npt.NDArray[np.float64]
    notes: npt.NDArray[np.str_]

    def __len__(self) -> int:
        return len(self.time_stamps)


def truth_of(arrays: tuple[Any, ...], notes: npt.NDArray[np.uint32], names: list[str]) -> Truth:
    """A truth from what the module hands out."""
    stamps, valid, base, positions, matrices = arrays
    return Truth(stamps, valid, base, positions, matrices, np.array(names or [""])[notes])


def read_truth(path: AnyPath) -> Truth:
    """Reads the truth of a simulated recording.

    Raises
    ------
    KorError
        The file cannot be read, or a row cannot.
    """
    arrays, notes, names, warnings = _core.read_truth(native(path))
    warn_all(warnings)
    return truth_of(arrays, notes, names)


def write_truth(path: AnyPath, truth: Truth) -> None:
    """Writes a truth as ``kor simulate --truth`` does: CSV, compressed if the name ends in ``.gz`` or ``.zst``.

    Raises
    ------
    KorError
        The file cannot be created or written.
    """
    names, notes = np.unique(truth.notes, return_inverse=True)
    _core.write_truth(native(path), truth.time_stamps, truth.valid, truth.base, truth.positions, truth.matrices,
                      notes.astype(np.uint32), [str(name) for name in names])
