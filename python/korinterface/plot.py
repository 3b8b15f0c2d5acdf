"""Pictures of samples, results and measurements, by matplotlib: ``pip install 'korinterface[plot]'``.

Each function draws into the axes that it is given, or into a new figure, and returns the axes.
"""
from __future__ import annotations

from typing import TYPE_CHECKING, Any, Mapping, Optional, Sequence

import numpy as np
import numpy.typing as npt

from ._errors import missing_extra
from ._records import OUTCOMES, Results, Truth

if TYPE_CHECKING:
    from matplotlib.axes import Axes

__all__ = ["angles", "budget", "errors", "levels", "outcomes", "path"]

_AXES = ("x", "z", "y")  # the order of Results.angles


def _new_axes(axes: Optional["Axes"], **options: Any) -> "Axes":
    if axes is not None:
        return axes
    try:
        from matplotlib import pyplot
    except ImportError:
        raise missing_extra("matplotlib", "plot") from None
    created: "Axes" = pyplot.subplots(subplot_kw=options or None)[1]
    return created


def seconds(time_stamps: npt.NDArray[np.uint32]) -> npt.NDArray[np.float64]:
    """Time since the first sample, s: stamps count on across the wrap at 2**32 ms, and steps back stay steps back."""
    steps = np.diff(time_stamps).astype(np.uint32).astype(np.int64)
    steps[steps >= 2**31] -= 2**32
    return np.concatenate(([0.0] if len(time_stamps) else [], np.cumsum(steps) / 1000.0))


def _line(axes: "Axes", times: npt.NDArray[np.float64], values: npt.NDArray[Any], mask: npt.NDArray[np.bool_],
          label: str) -> None:
    # A line ends where a sample has no value.
    axes.plot(times, np.where(mask, values.astype(np.float64), np.nan), label=label, linewidth=1.0)


def _over_time(axes: "Axes", quantity: str) -> "Axes":
    axes.set_xlabel("time, s")
    axes.set_ylabel(quantity)
    axes.legend()
    return axes


def angles(results: Results, axes: Optional["Axes"] = None) -> "Axes":
    """Orientation angles over time; samples without a usable orientation leave gaps."""
    axes = _new_axes(axes)
    times = seconds(results.time_stamps)
    for i, name in enumerate(_AXES):
        _line(axes, times, results.angles[:, i], results.usable, f"about {name}")
    return _over_time(axes, "orientation angle, degrees")


def levels(results: Results, axes: Optional["Axes"] = None) -> "Axes":
    """Corrected levels over time; dots mark samples with a level outside its table."""
    axes = _new_axes(axes)
    times = seconds(results.time_stamps)
    for field, outside, name in (("levelX", results.level_x_out, "level X"), ("levelY", results.level_y_out, "level Y")):
        values = results.info[field]
        _line(axes, times, values, np.isfinite(values), name)
        axes.plot(times[outside], values[outside], ".", color=axes.lines[-1].get_color(), label=f"{name} outside its table")
    return _over_time(axes, "level, degrees")


def outcomes(results: Results, axes: Optional["Axes"] = None) -> "Axes":
    """Outcomes of the samples over time: a row of marks for each outcome that occurs."""
    axes = _new_axes(axes)
    times = seconds(results.time_stamps)
    names = list(results.outcome_counts())
    for row, name in enumerate(names):
        chosen = results.outcomes == OUTCOMES.index(name)
        axes.plot(times[chosen], np.full(int(chosen.sum()), row), "|")
    axes.set_yticks(range(len(names)), names)
    axes.set_xlabel("time, s")
    return axes


def path(samples: npt.NDArray[np.void], axes: Optional["Axes"] = None) -> "Axes":
    """Way of the target point of valid samples, seen from above: x and y of the tracker frame."""
    axes = _new_axes(axes)
    points = samples["sensorVector"][samples["status"] == 2]
    axes.plot(points[:, 0], points[:, 1], linewidth=1.0)
    axes.set_aspect("equal", adjustable="datalim")
    axes.set_xlabel("x, mm")
    axes.set_ylabel("y, mm")
    return axes


def errors(results: Results, truth: Truth, axes: Optional["Axes"] = None) -> "Axes":
    """Angle between the found and the true orientation over time, arc-seconds, where both may be compared. The rows of
    both have to be the same."""
    if not np.array_equal(results.time_stamps, truth.time_stamps):
        raise ValueError("truth: found other time stamps than those of the results; compare() pairs rows by their stamps")
    axes = _new_axes(axes)
    mask = results.usable & truth.valid
    turns = np.full(len(results), np.nan)
    turns[mask] = turn(results.matrices[mask], truth.matrices[mask]) * (3600.0 * 180.0 / np.pi)
    axes.semilogy(seconds(results.time_stamps), turns, ".", markersize=2.0)
    axes.set_xlabel("time, s")
    axes.set_ylabel("error of the orientation, arc-seconds")
    return axes


def turn(first: npt.NDArray[np.float64], second: npt.NDArray[np.float64]) -> npt.NDArray[np.float64]:
    """Angle of the rotation from one orientation to the other, radians; (n, 3, 3) each."""
    # The distance of the matrices keeps the digits of small angles, which the arc cosine of a trace loses.
    distance = np.linalg.norm(first - second, axis=(-2, -1)) / np.sqrt(8.0)
    angle: npt.NDArray[np.float64] = 2.0 * np.arcsin(np.minimum(distance, 1.0))
    return angle


def budget(inputs: Sequence[Mapping[str, Any]], axes: Optional["Axes"] = None) -> "Axes":
    """Bars of a budget: how far the orientation turns per arc-second or unit of each input. `inputs` is the member of
    that name of an element of `korinterface.budget`."""
    axes = _new_axes(axes)
    names = [f"{each['input']} (1 {'arcsec' if each['unit_arcsec'] else each['unit']})" for each in inputs]
    sizes = [np.sqrt(sum(each[axis] ** 2 for axis in "xyz")) / (each["unit_arcsec"] or 1.0) for each in inputs]
    rows = np.arange(len(names))
    axes.barh(rows, sizes)
    axes.set_yticks(rows, names)
    axes.invert_yaxis()
    axes.set_xscale("symlog", linthresh=1e-3)
    axes.set_xlabel("turn of the orientation, arc-seconds")
    return axes
