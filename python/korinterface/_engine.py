"""The engine, replays, models, and the home-vector solve."""
from __future__ import annotations

import json
import os
from dataclasses import dataclass
from typing import Any, Callable, Optional, Sequence, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._errors import KorError, warn_all
from ._paths import AnyPath, native
from ._prm import Prm, _mode
from ._records import RAW_DTYPE, Results, _window, read_recording

_THREE_VECTORS = 7  # the first mount mode of those models

#: Kinds of `Model`.
MODELS: tuple[str, ...] = ("dual level", "pendulum", "polarizer", "three vectors", "two levels, first version",
                           "two levels")

Detector = tuple[int, int, int]


@dataclass(frozen=True)
class SampleReport:
    """The account of one sample."""

    text: str  #: all of this in one line
    outcome: str
    reason: str  #: why the model formed no matrix; empty if it did
    model: str
    captured_reference: bool
    level_x_outside: bool
    level_y_outside: bool
    spoiled_by: str  #: what carries a nan or an infinity on to the samples that follow; empty if nothing does
    spoiled_since: int  #: number of the sample from which on this is so, from 1; 0 if nothing is spoiled


class Kor:
    """An engine: it turns raw samples of one sensor into calibrated angles and orientations.

    Parameters
    ----------
    prm
        The parameter set that configures the engine. None: configure it by hand, with `set_scale_factors` and the other set
        methods, `set_mount_mode` last; until then every sample is refused.
    mode
        Mount mode in place of the parameter set's.
    mcs
        Machine (True, the default) or local coordinates, in mount modes below 7.
    store
        Fills the parameter store: the detector's coefficients and, in mount modes 9 and 10, the dynamic parameters.
    psd
        Reading of the position-sensitive detector: two coordinates and their common divisor.

    Notes
    -----
    Threads: an engine works for one thread at a time; another thread that calls it waits. Engines of mount modes below 9 run
    side by side. Those of modes 9 and 10 share values of the whole process: they wait for one another, and if two of them
    process arrays in turn, they disturb each other, unless `fresh_process_values` or `replay` is called in between.

    Fork: an engine may be used in a child process. An engine that another thread was using
    at the moment of the fork is refused in the child.

    Examples
    --------
    >>> prm = korinterface.Prm.read("data/polarizer", 1005)
    >>> samples = korinterface.read_recording("data/polarizer/polarizer.korraw")
    >>> results = korinterface.Kor(prm).process(samples)
    >>> results.outcome_counts()
    {'ok': 2265, 'before_reference': 111, 'rejected_status': 24}
    >>> results.matrices.shape
    (2400, 3, 3)
    """

    def __init__(self, prm: Optional[Prm] = None, mode: Optional[int] = None, *, mcs: Optional[bool] = None,
                 store: bool = False, psd: Optional[Detector] = None) -> None:
        self._core = _core.Engine()
        if prm is not None:
            self.configure(prm, mode, mcs=mcs, store=store, psd=psd)
        elif mode is not None or mcs is not None or store or psd is not None:
            raise ValueError("prm: found None, expected a parameter set; without one configure the engine by hand")

    def configure(self, prm: Prm, mode: Optional[int] = None, *, mcs: Optional[bool] = None, store: bool = False,
                  psd: Optional[Detector] = None) -> None:
        """Configures the engine from a parameter set, with the parameters of the constructor. An engine that has a model
        already keeps that model's kind.

        Raises
        ------
        KorError
            A table does not fit the engine's.
        """
        self._core.configure(prm._native, _mode(mode), mcs, store, psd)

    def process(self, samples: npt.NDArray[np.void]) -> Results:
        """Feeds samples in their order. They are not copied, and the interpreter's lock is released meanwhile.

        Parameters
        ----------
        samples
            Shape (n,), dtype `RAW_DTYPE`, contiguous; read-only and empty ones are fine. So are any
            values: the results of values that are not finite are not finite, and their outcome says so.

        Returns
        -------
        Results

        Raises
        ------
        TypeError, ValueError
            The array is of another dtype, or not contiguous, or has another number of dimensions.
        """
        return Results(*self._core.process(samples))

    def update(self, sample: Union[np.void, npt.NDArray[np.void]]) -> Results:
        """The same for one sample: a record of an array, `samples[i]`."""
        array = np.asarray(sample)
        if array.dtype == RAW_DTYPE and array.size != 1:
            raise ValueError(f"sample: found {array.size} samples, expected one; process() takes many")
        return self.process(np.ascontiguousarray(array.reshape(-1)))

    def read_matrix(self) -> npt.NDArray[np.float64]:
        """Orientation matrix of the last sample, (3, 3).

        Raises
        ------
        KorError
            With status 554 if the last sample has none.
        """
        matrix, status = self._core.read_matrix()
        if status != 0:
            raise KorError(_core.status_text(status), kind="library", status=status)
        return matrix

    def last_sample(self) -> SampleReport:
        """Account of the last sample."""
        return SampleReport(**self._core.last_sample())

    def destroy(self) -> None:
        """Releases tables, model and parameter store; samples are refused afterwards."""
        self._core.destroy()

    def inverse_azimuth(self, value: float) -> float:
        """Encoder reading that calibrates to an azimuth; degrees in and out, single precision."""
        return self._core.inverse_azimuth(value)

    def inverse_elevation(self, value: float) -> float:
        """Encoder reading that calibrates to an elevation; degrees in and out, single precision."""
        return self._core.inverse_elevation(value)

    # Configuration by hand. The properties of the same names of Prm say what each group means.

    def set_scale_factors(self, values: npt.ArrayLike) -> None:
        """Eight scale factors of the orientation model."""
        self._core.set_scale_factors(values)

    def set_qvc_parameters(self, values: npt.ArrayLike) -> None:
        """Six QVC parameters of the three-vector models."""
        self._core.set_qvc_parameters(values)

    def set_level1_parameters(self, values: npt.ArrayLike) -> None:
        """Seven numbers of the first level, for the three-vector models."""
        self._core.set_level1_parameters(values)

    def set_level2_parameters(self, values: npt.ArrayLike) -> None:
        """Seven numbers of the second level, for the three-vector models."""
        self._core.set_level2_parameters(values)

    def set_level_x(self, knots: npt.ArrayLike, coefficients: npt.ArrayLike, extra: npt.ArrayLike = (0, 0, 0)) -> None:
        """Table of level X: (n,) knots, (n, 4) spline coefficients in degrees, three extra values.

        Raises KorError with status 20 for no knot, or for more than the first call had.
        """
        self._core.set_level_x(knots, coefficients, extra)

    def set_level_y(self, knots: npt.ArrayLike, coefficients: npt.ArrayLike, extra: npt.ArrayLike = (0, 0, 0)) -> None:
        """Table of level Y, as `set_level_x`."""
        self._core.set_level_y(knots, coefficients, extra)

    def set_azimuth_table(self, table: npt.ArrayLike) -> None:
        """Calibration of the azimuth encoder: (rows, 2) readings and corrections in degrees, readings ascending."""
        self._core.set_azimuth_table(table)

    def set_elevation_table(self, table: npt.ArrayLike) -> None:
        """Calibration of the elevation encoder, as `set_azimuth_table`."""
        self._core.set_elevation_table(table)

    def set_encoder_offset(self, values: npt.ArrayLike) -> None:
        """Zero references of azimuth and elevation, radians."""
        self._core.set_encoder_offset(values)

    def set_tilt_offset(self, values: npt.ArrayLike) -> None:
        """Offsets of level X and level Y, degrees."""
        self._core.set_tilt_offset(values)

    def set_thermal_factor(self, values: npt.ArrayLike) -> None:
        """X gain, X offset, Y gain, Y offset."""
        self._core.set_thermal_factor(values)

    def set_known_vector(self, values: npt.ArrayLike) -> None:
        """Three numbers, kept for the host."""
        self._core.set_known_vector(values)

    def set_local_matrix(self, matrix: npt.ArrayLike) -> None:
        """Local coordinate transform, (3, 3)."""
        self._core.set_local_matrix(matrix)

    def set_machine_matrix(self, matrix: npt.ArrayLike) -> None:
        """Machine coordinate transform, (3, 3)."""
        self._core.set_machine_matrix(matrix)

    def set_mcs_flag(self, flag: bool) -> None:
        """Machine (True) or local coordinates in mount modes below 7."""
        self._core.set_mcs_flag(flag)

    def set_detector(self, first: int, second: int, divisor: int) -> None:
        """Reading of the position-sensitive detector."""
        self._core.set_detector(first, second, divisor)

    def load_store(self, dynamic_parameters: npt.ArrayLike, psd_x: npt.ArrayLike, psd_y: npt.ArrayLike) -> None:
        """Fills the parameter store, before the mount mode is chosen: seven dynamic parameters, three coefficients of
        each coordinate of the detector."""
        self._core.load_store(dynamic_parameters, psd_x, psd_y)

    def set_mount_mode(self, mode: int) -> None:
        """Chooses the orientation model and primes it with the groups; the first call fixes the kind of the model."""
        self._core.set_mount_mode(mode)


def _refuse_what_has_no_effect(mode: int, mcs: bool, store: bool, psd: Optional[Detector]) -> None:
    if mode < _THREE_VECTORS and (store or psd is not None):
        raise ValueError(f"{'store' if store else 'psd'} has no effect in mount mode {mode}, only in mount modes 7 to 10")
    if mode >= _THREE_VECTORS and not mcs:
        raise ValueError(f"mcs=False has no effect in mount mode {mode}, only in mount modes below 7")
    if psd is not None and not store:
        raise ValueError("psd has no effect without store=True, which loads the detector's coefficients")
    if psd is not None and psd[2] == 0:
        raise ValueError("psd: found a divisor of 0, expected another number; with 0 the reading has no effect")


def replay(recording: Union[AnyPath, npt.NDArray[np.void]], prm: Prm, *, mode: Optional[int] = None, mcs: bool = True,
           store: bool = False, psd: Optional[Detector] = None, format: Optional[str] = None,
           from_ms: Optional[int] = None, to_ms: Optional[int] = None, skip_bad: bool = False,
           repair: bool = False) -> Results:
    """Feeds a whole recording to an engine of its own, as ``kor replay`` does in a process of its own: the results are
    the same to the last bit.

    Parameters
    ----------
    recording
        A file (`read_recording`), or an array of samples, (n,), `RAW_DTYPE`.
    prm, mode, mcs, store, psd
        As for `Kor`; what has no effect in the mount mode is refused.
    format, from_ms, to_ms, skip_bad
        As for `read_recording`, of a file.
    repair
        Goes on with fresh values and a new engine after a sample that is not finite and would spoil all samples after it.

    Returns
    -------
    Results

    Raises
    ------
    KorError
        The recording cannot be read to its end, or the parameter set cannot be used.
    ValueError
        An option has no effect in the mount mode.

    Notes
    -----
    In mount modes 9 and 10 a replay resets the values that all engines of these modes share in the process.

    Examples
    --------
    >>> prm = korinterface.Prm.read("data/two_level", 1009)
    >>> results = korinterface.replay("data/two_level/two_level.csv", prm)
    >>> korinterface.write_results("results.csv", results)    # the file that kor replay -o results.csv writes
    """
    _refuse_what_has_no_effect(prm.mode if mode is None else mode, mcs, store, psd)
    if isinstance(recording, (str, bytes, os.PathLike)):
        samples = read_recording(recording, format=format, from_ms=from_ms, to_ms=to_ms, skip_bad=skip_bad)
    elif format is not None or from_ms is not None or to_ms is not None or skip_bad:
        raise ValueError("format, from_ms, to_ms and skip_bad go with a file: found an array of samples")
    else:
        samples = recording
    arrays, _ = _core.replay(prm._native, samples, _mode(mode), mcs, store, psd, repair)
    return Results(*arrays)


def replay_parts(recording: AnyPath, prm: Prm, take: Callable[[Results], object], *, rows: int = 65536,
                 mode: Optional[int] = None, mcs: bool = True, store: bool = False, psd: Optional[Detector] = None,
                 format: Optional[str] = None, from_ms: Optional[int] = None, to_ms: Optional[int] = None,
                 skip_bad: bool = False, repair: bool = False) -> dict[str, Any]:
    """The same as `replay` for a file of any length: reads and feeds a part at a time, hands over its results, and needs
    memory for one part only.

    Parameters
    ----------
    recording
        A file (`read_recording`).
    take
        Is called with the results of each part, in their order. If it raises, the replay ends with that exception. In
        mount modes 9 and 10 the process's values belong to the replay meanwhile: `take` must not use them.
    rows
        Samples of a part; the last one may have fewer.
    prm, mode, mcs, store, psd, format, from_ms, to_ms, skip_bad, repair
        As for `replay`.

    Returns
    -------
    dict
        The summary, as ``kor replay --summary json`` prints it (docs/formats.md). ``results`` is None.

    Raises
    ------
    KorError
        The recording cannot be read to its end, or the parameter set cannot be used. The results up to
        there have been handed over.
    ValueError
        An option has no effect in the mount mode.

    Examples
    --------
    >>> prm = korinterface.Prm.read("data/polarizer", 1005)
    >>> hottest = []
    >>> summary = korinterface.replay_parts("data/polarizer/polarizer.csv", prm,
    ...                                     lambda part: hottest.append(part.info["temperature"].max()), rows=1000)
    >>> len(hottest), summary["samples"], summary["outcomes"]["ok"]["count"]
    (3, 2400, 2265)
    """
    told, warnings = _replay_parts(recording, prm, take, rows=rows, mode=mode, mcs=mcs, store=store, psd=psd,
                                   format=format, from_ms=from_ms, to_ms=to_ms, skip_bad=skip_bad, repair=repair)
    warn_all(warnings)
    return told


def _replay_parts(recording: AnyPath, prm: Prm, take: Callable[[Results], object], *, rows: int, mode: Optional[int],
                  mcs: bool, store: bool, psd: Optional[Detector], format: Optional[str], from_ms: Optional[int],
                  to_ms: Optional[int], skip_bad: bool, repair: bool) -> tuple[dict[str, Any], list[str]]:
    # With the warnings as values: those of several threads at a time could not be told apart.
    _refuse_what_has_no_effect(prm.mode if mode is None else mode, mcs, store, psd)
    if not 1 <= rows <= 2**24:
        raise ValueError(f"rows: found {rows}, expected a whole number from 1 to 16777216")
    summary, warnings = _core.replay_parts(prm._native, native(recording), format, *_window(from_ms, to_ms), skip_bad,
                                           _mode(mode), mcs, store, psd, repair, rows,
                                           lambda arrays: take(Results(*arrays)))
    return json.loads(summary), warnings


def fresh_process_values() -> None:
    """Gives the values that engines and models of mount modes 9 and 10 share the content that they have in a new
    process. Waits for those that are at work."""
    _core.fresh_process_values()


def home_vector(a: Sequence[float], b: Sequence[float], reference: Sequence[float],
                measured: Sequence[float]) -> tuple[float, float, bool]:
    """Home-vector solve: two directions and two pairs of angles to two angles.

    Parameters
    ----------
    a, b
        Direction vectors, three numbers each.
    reference
        Two reference angles, degrees.
    measured
        Two measured angles, degrees.

    Returns
    -------
    first, second : float
        Degrees; nan for measured angles of 0 and 0.
    regular : bool
        False when the first frame is singular.
    """
    return _core.home_vector(a, b, reference, measured)


class Model:
    """An orientation model by itself. Most programs use `Kor`, which drives one.

    Parameters
    ----------
    kind
        One of `MODELS`. Those of two levels share values of the whole process (see `Kor`, threads).

    Examples
    --------
    >>> model = korinterface.Model("polarizer")
    >>> model.set_scale_factors([0, 0, 0, 0, 1, 1, 1, 0])
    >>> matrix, formed = model.solve([1000, 0, 0, 0, 0, 0, 0, 20, 20])
    >>> formed, matrix.shape
    (True, (3, 3))
    """

    def __init__(self, kind: str) -> None:
        self.kind = kind
        self._core = _core.Model(kind)

    def solve(self, readings: npt.ArrayLike, azimuth_offset: float = 0.0,
              elevation_offset: float = 0.0) -> tuple[npt.NDArray[np.float64], bool]:
        """Orientation from one sample.

        Parameters
        ----------
        readings
            Nine numbers: position of the target point (tracker frame, mm), level X, level Y, azimuth and elevation
            (degrees), first and third temperature.
        azimuth_offset, elevation_offset
            Encoder offsets, radians.

        Returns
        -------
        matrix : ndarray, (3, 3)
            Base to tracker frame; without a meaning if none was formed.
        formed : bool
        """
        return self._core.solve(readings, azimuth_offset, elevation_offset)

    def qvc(self) -> npt.NDArray[np.float32]:
        """Six QVC values that the last solve left; zeros from models that have none."""
        return self._core.qvc()

    def levels(self) -> npt.NDArray[np.float32]:
        """The two levels after the model's own filters, degrees; zeros from models without any."""
        return self._core.levels()

    def set_scale_factors(self, values: npt.ArrayLike) -> None:
        """Eight scale factors."""
        self._core.set_scale_factors(values)

    def set_qvc_parameters(self, values: npt.ArrayLike) -> None:
        """Six QVC parameters."""
        self._core.set_qvc_parameters(values)

    def set_level1_parameters(self, values: npt.ArrayLike) -> None:
        """Seven numbers of the first level."""
        self._core.set_level1_parameters(values)

    def set_level2_parameters(self, values: npt.ArrayLike) -> None:
        """Seven numbers of the second level."""
        self._core.set_level2_parameters(values)

    def set_dynamic_parameters(self, values: npt.ArrayLike) -> None:
        """Seven dynamic parameters."""
        self._core.set_dynamic_parameters(values)

    def set_level_limits(self, first_excluded: bool, second_excluded: bool) -> None:
        """Which levels lie outside their tables."""
        self._core.set_level_limits(first_excluded, second_excluded)

    def set_counter(self, first: int, second: int) -> None:
        """Samples of the current run of each level."""
        self._core.set_counter(first, second)

    def set_time_interval(self, first: float, second: float) -> None:
        """Time since the start of each level's current run, seconds."""
        self._core.set_time_interval(first, second)

    def set_parity(self, mode: int) -> int:
        """Sets the mount parity, which is the mount mode modulo 2, and returns it. A negative number only returns it."""
        return self._core.set_parity(mode)


def _register_fork() -> None:
    # No thread is within the shared values when a child gets its copy of them.
    if hasattr(os, "register_at_fork"):
        os.register_at_fork(before=_core.hold_process_values, after_in_parent=_core.release_process_values,
                            after_in_child=_core.release_process_values)


_register_fork()
