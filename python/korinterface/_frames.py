"""Tables of pandas, with the columns of the CSV files."""
from __future__ import annotations

from typing import TYPE_CHECKING, Any, Mapping, Union, cast

import numpy as np
import numpy.typing as npt

from . import _core
from ._errors import missing_extra
from ._records import INFO_DTYPE, OUTCOMES, RAW_DTYPE, Results

if TYPE_CHECKING:
    import pandas as pd

# The column of a CSV file that each element of a field has.
_RAW = {
    "status": "status", "sensorVector": ("sensorVector_x", "sensorVector_y", "sensorVector_z"), "azimuthRaw": "azimuthRaw",
    "elevationRaw": "elevationRaw", "levelXRaw": "levelXRaw", "levelYRaw": "levelYRaw",
    "levelTemperature": "levelTemperature", "referenceGate": "referenceGate", "referenceHold": "referenceHold",
    "temperatureCount": ("temperatureCount_0", "temperatureCount_1", "temperatureCount_2"), "timeStampMs": "timeStampMs"}
_INFO = {
    "azimuth": "azimuth_deg", "elevation": "elevation_deg", "levelX": "levelX_deg", "levelY": "levelY_deg",
    "orientationAngles": ("orientationX_deg", "orientationZ_deg", "orientationY_deg"),
    "sensorOut": ("sensorOutX_mm", "sensorOutY_mm", "sensorOutZ_mm"),
    "temperature": ("temperature_0", "temperature_1", "temperature_2")}
_MATRIX = [f"m{row}{column}" for row in range(3) for column in range(3)]


def _pandas() -> Any:
    try:
        import pandas
    except ImportError:
        raise missing_extra("pandas", "pandas") from None
    return pandas


def _columns_of(array: npt.NDArray[np.void], fields: dict[str, Any]) -> dict[str, npt.NDArray[Any]]:
    columns: dict[str, npt.NDArray[Any]] = {}
    for field, names in fields.items():
        if isinstance(names, str):
            columns[names] = array[field].copy()
        else:
            columns.update((name, array[field][:, i].copy()) for i, name in enumerate(names))
    return columns


def result_columns(results: Results) -> dict[str, npt.NDArray[Any]]:
    """A copy of each column of the CSV file, in its order; of the outcomes their numbers."""
    columns = {"timeStampMs": results.time_stamps.copy(), **_columns_of(results.info, _INFO)}
    flat = results.matrices.reshape(len(results), 9)
    columns.update((name, flat[:, i].copy()) for i, name in enumerate(_MATRIX))
    columns["matrixCode"] = results.codes.copy()
    columns["outcome"] = results.outcomes.copy()
    columns["levelX_out"] = results.level_x_out.copy()
    columns["levelY_out"] = results.level_y_out.copy()
    return columns


def results_of(columns: Mapping[str, npt.NDArray[Any]]) -> Results:
    """The results of such columns.

    Raises
    ------
    ValueError
        A value does not fit its column.
    """
    count = len(columns["timeStampMs"])
    matrices = np.stack([_column(columns, name, np.dtype(np.float64)) for name in _MATRIX], axis=1)
    return Results(_filled(columns, count, _INFO, INFO_DTYPE), np.ascontiguousarray(matrices.reshape(count, 3, 3)),
                   _column(columns, "matrixCode", np.dtype(np.int32)), columns["outcome"].astype(np.uint8),
                   columns["levelX_out"].astype(np.bool_), columns["levelY_out"].astype(np.bool_),
                   _column(columns, "timeStampMs", np.dtype(np.uint32)))


def to_pandas(data: Union[npt.NDArray[np.void], Results]) -> "pd.DataFrame":
    """Samples or results as a table with the columns of the CSV files (docs/formats.md), types kept.

    Parameters
    ----------
    data
        An array of `RAW_DTYPE`, or `Results`. The bytes of a sample that the engine does not read have no column.

    Returns
    -------
    pandas.DataFrame
        ``outcome`` is categorical, with the categories `OUTCOMES`.

    Raises
    ------
    ImportError
        pandas is not installed: ``pip install 'korinterface[pandas]'``.

    Examples
    --------
    >>> samples = korinterface.read_recording("data/polarizer/polarizer.csv")
    >>> table = korinterface.to_pandas(samples)
    >>> bool((korinterface.from_pandas(table) == samples).all())
    True
    """
    pandas = _pandas()
    columns: dict[str, Any]
    if isinstance(data, Results):
        columns = dict(result_columns(data))
        columns["outcome"] = pandas.Categorical.from_codes(data.outcomes, categories=list(OUTCOMES))
    else:
        if getattr(data, "dtype", None) != RAW_DTYPE:
            raise TypeError("data: found neither results nor an array of dtype korinterface.RAW_DTYPE")
        columns = dict(_columns_of(data, _RAW))
    return cast("pd.DataFrame", pandas.DataFrame(columns))


def _filled(columns: Mapping[str, npt.NDArray[Any]], count: int, fields: dict[str, Any],
            dtype: np.dtype[np.void]) -> npt.NDArray[np.void]:
    array = np.zeros(count, dtype)
    for field, names in fields.items():
        if isinstance(names, str):
            array[field] = _column(columns, names, dtype[field])
        else:
            for i, name in enumerate(names):
                array[field][:, i] = _column(columns, name, dtype[field].base)
    return array


def _column(columns: Mapping[str, npt.NDArray[Any]], name: str, dtype: np.dtype[Any]) -> npt.NDArray[Any]:
    values = columns[name]
    if dtype.kind in "iu" and len(values):
        if values.dtype.kind not in "iub":
            whole = np.asarray(values, dtype=np.float64)
            if not np.all(whole == np.floor(whole)):  # nor is nan one
                raise ValueError(f"column {name}: found a value that is not a whole number")
            values = whole
        limits = np.iinfo(dtype)
        if values.min() < limits.min or values.max() > limits.max:
            raise ValueError(f"column {name}: found a value out of range, expected {limits.min} to {limits.max}")
    with np.errstate(over="ignore"):
        return values.astype(dtype)


def from_pandas(table: "pd.DataFrame") -> Union[npt.NDArray[np.void], Results]:
    """Samples or results from a table as `to_pandas` makes it, or pandas reads it from a CSV file; the columns say which.
    Columns beside these are left out.

    Returns
    -------
    numpy.ndarray of `RAW_DTYPE`, or Results

    Raises
    ------
    KeyError
        A column is missing.
    ValueError
        A value does not fit its column.
    """
    pandas = _pandas()
    columns = set(table.columns)
    raw = {name for name, _ in _core.RAW_COLUMNS}
    results = {name for name, _ in _core.RESULT_COLUMNS}
    wanted = results if "matrixCode" in columns or "m00" in columns else raw
    if missing := sorted(wanted - columns):
        raise KeyError(f"found no column {', '.join(missing)}; expected the columns of "
                       f"{'results' if wanted is results else 'a recording'} (docs/formats.md)")
    arrays = {name: table[name].to_numpy() for name in wanted - {"outcome"}}
    if wanted is raw:
        return _filled(arrays, len(table), _RAW, RAW_DTYPE)
    outcomes = pandas.Index(OUTCOMES).get_indexer(table["outcome"].astype(object))
    if len(outcomes) and outcomes.min() < 0:
        raise ValueError(f"column outcome: found {table['outcome'].to_numpy()[outcomes < 0][0]!r}, "
                         f"expected one of {', '.join(OUTCOMES)}")
    return results_of({**arrays, "outcome": outcomes})
