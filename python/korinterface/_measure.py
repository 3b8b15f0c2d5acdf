"""The simulated sensor, what is measured with it, and comparisons: the answers of the tool, number for number."""
from __future__ import annotations

import json
import os
import pathlib
import tempfile
from dataclasses import dataclass
from typing import Any, Mapping, Optional, Sequence, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._errors import warn_all
from ._paths import AnyPath, native
from ._prm import Prm, _mode
from ._records import Results, Truth, truth_of, write_results, write_truth

#: Columns of a recording that noise, bias and quantisation apply to.
CHANNELS: tuple[str, ...] = _core.CHANNELS

_MOTIONS = ("static", "circle", "roll", "swing", "random")
_MOST = 1e9


def _number(name: str, value: float, least: float, most: float) -> float:
    if not least <= value <= most:
        raise ValueError(f"{name}: found {value}, expected a number from {least:g} to {most:g}")
    return float(value)


def _whole(name: str, value: int, least: int, most: int) -> int:
    if not least <= value <= most:
        raise ValueError(f"{name}: found {value}, expected a whole number from {least} to {most}")
    return int(value)


def _channels(name: str, values: Optional[Mapping[str, float]], least: float) -> dict[str, float]:
    return {channel: _number(f"{name}[{channel!r}]", value, least, _MOST) for channel, value in (values or {}).items()}


def _pose(pose: Optional[Sequence[float]]) -> Optional[list[float]]:
    if pose is None:
        return None
    if len(pose) != 6:
        raise ValueError(f"pose: found {len(pose)} numbers, expected six: x, y, z in mm; roll, pitch, yaw in degrees")
    return [_number("pose", value, -1e6, 1e6) for value in pose]


@dataclass(eq=False)
class Simulation:
    """The recording of a simulated sensor.

    Attributes
    ----------
    samples : ndarray, (n,), `RAW_DTYPE`
        Without those that were dropped.
    truth : Truth
        Row by row for the same samples.
    dropped : int
        Number of samples that were dropped.
    """

    samples: npt.NDArray[np.void]
    truth: Truth
    dropped: int


def simulate(prm: Prm, motion: Union[str, "os.PathLike[str]", npt.ArrayLike], *, mode: Optional[int] = None,
             samples: int = 1000, rate: float = 100.0, seed: int = 1, start_stamp: int = 0, reference: int = 20,
             noise: Optional[Mapping[str, float]] = None, bias: Optional[Mapping[str, float]] = None,
             quantise: Optional[Mapping[str, float]] = None, drop: float = 0.0, bad_status: float = 0.0,
             level_out: float = 0.0, nan: float = 0.0,
             time_jumps: Sequence[tuple[int, int]] = ()) -> Simulation:
    """Makes the recording of a sensor that is moved in a known way, as ``kor simulate`` does: the same samples.

    Parameters
    ----------
    prm
        The sensor.
    motion
        ``"static"``, ``"circle"``, ``"roll"``, ``"swing"`` or ``"random"``; a `pathlib.Path` of a file of way-points
        (docs/formats.md); or way-points, (n, 7): time in s, x, y, z in mm, roll, pitch, yaw in degrees, times ascending.
    mode
        Mount mode in place of the parameter set's.
    samples
        Number of samples, dropped ones included.
    rate
        Samples per second.
    seed
        Seed of all random numbers.
    start_stamp
        Time stamp of the first sample, ms.
    reference
        The reference may be captured from this sample on.
    noise, bias, quantise
        By channel (`CHANNELS`): standard deviation of normal noise, what is added, and the step that the value is rounded
        to, in the column's unit.
    drop, bad_status, level_out, nan
        Probabilities that a sample is lost, has a bad status, a level beyond its table, a value replaced by nan.
    time_jumps
        Pairs of a sample and of ms that the clock runs ahead (or behind) from that sample on.

    Raises
    ------
    KorError
        The sensor cannot look at the tracker, or no reading can be computed from the parameters.
    ValueError
        A number is out of range.

    Examples
    --------
    >>> prm = korinterface.Prm.read("data/polarizer", 1005)
    >>> found = korinterface.simulate(prm, "circle", samples=200, noise={"levelXRaw": 0.5})
    >>> len(found.samples), bool(found.truth.valid.any())
    (200, True)
    """
    if isinstance(motion, str):
        if motion not in _MOTIONS:
            raise ValueError(f"motion: found {motion!r}, expected one of {', '.join(_MOTIONS)}, a pathlib.Path of a file of "
                             "way-points, or an array of them")
        request: Union[bytes, list[list[float]]] = motion.encode()
    elif isinstance(motion, os.PathLike):
        request = b"file:" + native(motion)
    else:
        points = np.asarray(motion, dtype=np.float64)
        if points.ndim != 2 or points.shape[1] != 7 or not len(points):
            raise ValueError(f"motion: found way-points of shape {points.shape}, expected (n, 7)")
        if not np.all(np.abs(points) <= 1e6):
            raise ValueError("motion: found a way-point with a number out of range, expected numbers from -1e6 to 1e6")
        request = points.tolist()
    jumps = [(_whole("time_jumps", sample, 0, 2**64 - 1), _whole("time_jumps", ms, -2**32, 2**32))
             for sample, ms in time_jumps]
    arrays = _core.simulate(
        prm._native, request, _mode(mode), _whole("samples", samples, 1, 2**40), _number("rate", rate, 0.001, 1e6),
        _whole("seed", seed, 0, 2**64 - 1), _whole("start_stamp", start_stamp, 0, 2**32 - 1),
        _whole("reference", reference, 0, 2**64 - 1), _channels("noise", noise, 0.0), _channels("bias", bias, -_MOST),
        _channels("quantise", quantise, 0.0), _number("drop", drop, 0.0, 1.0),
        _number("bad_status", bad_status, 0.0, 1.0), _number("level_out", level_out, 0.0, 1.0),
        _number("nan", nan, 0.0, 1.0), jumps)
    raws, truth, notes, names, dropped = arrays
    return Simulation(raws, truth_of(truth, notes, names), dropped)


def accuracy(mode: Optional[int] = None, *, poses: int = 2000, seed: int = 1) -> dict[str, Any]:
    """Measures how exactly known poses are found again: what ``kor accuracy --json`` prints, as an object.

    Parameters
    ----------
    mode
        One mount mode; None: all.
    poses
        Poses of each stratum.
    seed
        Seed of the poses.

    Returns
    -------
    dict
        ``seed``; ``noise``; ``strata``, a list of dicts with ``mode``, ``model``, ``stratum``, ``samples``, ``without``,
        ``median_deg``, ``p999_deg``, ``worst_deg``, their bounds, and ``exceeded``, the figures beyond their
        bounds in words, empty if there are none.

    Examples
    --------
    >>> found = korinterface.accuracy(5, poses=20)
    >>> [stratum["exceeded"] for stratum in found["strata"] if stratum["exceeded"]]
    []
    """
    found: dict[str, Any] = json.loads(_core.accuracy(_mode(mode), _whole("poses", poses, 1, 10_000_000),
                                                      _whole("seed", seed, 0, 2**64 - 1)))
    return found


def budget(prm: Optional[Prm] = None, mode: Optional[int] = None, *,
           pose: Optional[Sequence[float]] = None) -> list[dict[str, Any]]:
    """How much the orientation turns per unit of each input and parameter: ``kor accuracy --budget --json``.

    Parameters
    ----------
    prm
        The sensor; None: typical ones.
    mode
        Mount mode in place of the parameter set's; without one, that of the typical sensor (None: all ten).
    pose
        Target point in mm, roll, pitch and yaw of the base in degrees; None: a pose that suits the mount mode.

    Returns
    -------
    list of dict
        For each sensor ``mode``, ``model``, ``position_mm``, ``base`` and ``inputs``: ``group``, ``input``, ``unit``,
        ``unit_arcsec``, ``value``, the turn about ``x``, ``y`` and ``z`` in arc-seconds per unit, and its
        ``uncertainty``.

    Raises
    ------
    KorError
        The sensor cannot look at the tracker in this pose.
    """
    found = json.loads(_core.budget(None if prm is None else prm._native, _mode(mode), _pose(pose)))
    budgets: list[dict[str, Any]] = found["budgets"]
    return budgets


def uncertainty(inputs: Union[AnyPath, Mapping[str, Mapping[str, Any]]], prm: Optional[Prm] = None,
                mode: Optional[int] = None, *, pose: Optional[Sequence[float]] = None, trials: int = 10_000,
                seed: int = 1) -> dict[str, Any]:
    """The uncertainty of the orientation that follows from those of the inputs: ``kor accuracy --uncertainty --json``.

    Parameters
    ----------
    inputs
        A file of uncertainties (docs/formats.md), or its member ``inputs`` as a mapping: names to ``noise``, ``constant``
        and ``unit``.
    prm, mode, pose
        As for `budget`.
    trials
        Monte Carlo trials.
    seed
        Seed of the trials.

    Raises
    ------
    KorError
        An input has another name or value than the format allows, or the sensor cannot look at the tracker in this pose.
    """
    if isinstance(inputs, Mapping):
        with tempfile.TemporaryDirectory(prefix="kor") as directory:
            path = pathlib.Path(directory, "inputs")
            path.write_text(json.dumps({"format": "kor uncertainty 1", "inputs": inputs}), encoding="utf-8")
            return uncertainty(path, prm, mode, pose=pose, trials=trials, seed=seed)
    found: dict[str, Any] = json.loads(
        _core.uncertainty(native(inputs), None if prm is None else prm._native, _mode(mode), _pose(pose),
                          _whole("trials", trials, 100, 1_000_000), _whole("seed", seed, 0, 2**64 - 1)))
    return found


def compare(first: Union[AnyPath, Results, Truth], second: Union[AnyPath, Results, Truth], *, note: Optional[str] = None,
            lag: int = 0) -> dict[str, Any]:
    """Compares two results, results and their truth, or two truths: what ``kor compare --json`` prints, as an object.

    Parameters
    ----------
    first, second
        Files, or objects that `replay`, `simulate` and the functions that read files have returned.
    note
        Compares the rows of the truth with this note in place of its valid ones.
    lag
        Compares each row with the row that is so many rows before its counterpart in the truth, or in `second`.

    Returns
    -------
    dict
        ``sides``; ``rows``, what became of the rows; ``orientation`` and ``columns``: number of ``rows``, ``median``,
        ``rms``, ``p999`` and ``largest`` difference in ``unit``, of degrees also in arc-seconds.

    Raises
    ------
    KorError
        A file cannot be read, or there is nothing to compare.

    Examples
    --------
    >>> prm = korinterface.Prm.read("data/polarizer", 1005)
    >>> results = korinterface.replay("data/polarizer/polarizer.csv", prm)
    >>> found = korinterface.compare(results, "data/polarizer/polarizer_truth.csv")
    >>> found["rows"]["compared"], found["orientation"]["largest"] < 2e-5
    (2258, True)
    """
    with tempfile.TemporaryDirectory(prefix="kor") as directory:
        paths = []
        for number, side in enumerate((first, second)):
            if isinstance(side, Results):
                path = os.path.join(directory, f"{number}.korinfo")
                write_results(path, side)
                paths.append(native(path))
            elif isinstance(side, Truth):
                path = os.path.join(directory, f"{number}.csv")
                write_truth(path, side)
                paths.append(native(path))
            else:
                paths.append(native(side))
        text, warnings = _core.compare(paths[0], paths[1], note, _whole("lag", lag, -(2**31 - 1), 2**31 - 1))
    warn_all(warnings)
    found: dict[str, Any] = json.loads(text)
    for side_found in found["sides"]:
        if os.path.dirname(side_found["file"]) == directory:
            side_found["file"] = None
    return found
