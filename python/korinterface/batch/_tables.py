"""The columns of the results, of the summaries and of the failures."""
from __future__ import annotations

import datetime
import functools
from typing import Any, Mapping

import numpy as np

from .. import _core
from .._errors import missing_extra
from .._frames import result_columns
from .._records import INFO_DTYPE, OUTCOMES, Results

#: What the files hold, as a number that changes when it does.
FORMAT = 1

_OF_FLOATS = ("float", "double")


def pyarrow() -> Any:
    """The package, with its part for Parquet."""
    try:
        import pyarrow
        import pyarrow.compute
        import pyarrow.parquet
    except ImportError:
        raise missing_extra("pyarrow", "batch") from None
    return pyarrow


@functools.lru_cache(maxsize=None)
def summary_schema() -> Any:
    pa = pyarrow()
    text, count, time = pa.string(), pa.int64(), pa.uint32()
    columns = [("recording", text), ("sensor", count), ("day", pa.date32()), ("day_from", text), ("mount_mode", pa.int32()),
               ("model", text), ("samples", count), *((outcome, count) for outcome in OUTCOMES), ("unusable", count),
               ("outside_window", count), ("bad", count), ("repaired", count), ("reference_ms", time),
               ("spoiled_since", count), ("stays_not_finite_from", count), ("readings_not_finite", count),
               ("first_ms", time), ("last_ms", time), ("usual_step_ms", time), ("gaps", count), ("longest_gap_ms", time),
               ("backward_jumps", count), ("level_x_out", count), ("level_y_out", count), ("messages", pa.list_(text)),
               ("bytes", count), ("recording_sha256", text), ("prm", text), ("prm_sha256", text), ("options", text),
               ("version", text), ("key", text), ("results", text)]
    return pa.schema([pa.field(name, kind) for name, kind in columns])


@functools.lru_cache(maxsize=None)
def failure_schema() -> Any:
    pa = pyarrow()
    text, number = pa.string(), pa.int64()
    columns = [("recording", text), ("sensor", number), ("day", pa.date32()), ("prm", text), ("kind", text),
               ("status", number), ("file", text), ("line", number), ("record", number), ("column", text), ("found", text),
               ("expected", text), ("reason", text), ("advice", text), ("text", text)]
    return pa.schema([pa.field(name, kind) for name, kind in columns])


def table(rows: list[dict[str, Any]], schema: Any) -> Any:
    """Rows as a table; days may be texts."""
    for row in rows:
        if isinstance(row.get("day"), str):
            row["day"] = datetime.date.fromisoformat(row["day"])
    return pyarrow().Table.from_pylist(rows, schema=schema)


def summary_row(told: Mapping[str, Any]) -> dict[str, Any]:
    """The columns that say the same as ``kor replay --summary json``."""
    times, reference, spoiled = told["time_stamps"], told["reference"], told["spoiled"]
    return {
        "mount_mode": told["mount_mode"], "model": told["model"], "samples": told["samples"],
        **{outcome: places["count"] for outcome, places in told["outcomes"].items()},
        "unusable": told["unusable"], "outside_window": told["outside_window"], "bad": told["bad"]["count"],
        "repaired": told["repaired"]["count"], "reference_ms": reference and reference["time_ms"],
        "spoiled_since": spoiled and spoiled["since"], "stays_not_finite_from": told["stays_not_finite_from"],
        "readings_not_finite": told["readings_not_finite"]["count"], "first_ms": times["first_ms"],
        "last_ms": times["last_ms"], "usual_step_ms": times["usual_step_ms"], "gaps": times["gaps"]["count"],
        "longest_gap_ms": times["gaps"]["longest_ms"], "backward_jumps": times["backward_jumps"]["count"],
        "level_x_out": told["level_x_out"]["count"], "level_y_out": told["level_y_out"]["count"]}


@functools.lru_cache(maxsize=None)
def _columns() -> dict[str, Any]:
    pa = pyarrow()
    none = Results(np.zeros(0, INFO_DTYPE), np.zeros((0, 3, 3)), np.zeros(0, np.int32), np.zeros(0, np.uint8),
                   np.zeros(0, np.bool_), np.zeros(0, np.bool_), np.zeros(0, np.uint32))
    kinds = {name: pa.from_numpy_dtype(column.dtype) for name, column in result_columns(none).items()}
    kinds["outcome"] = pa.dictionary(pa.int8(), pa.string())
    return {"recording": pa.dictionary(pa.int32(), pa.string()), "sample": pa.int64(), **kinds}


@functools.lru_cache(maxsize=None)
def result_schema() -> Any:
    pa = pyarrow()
    units = {name: unit for name, unit in _core.RESULT_COLUMNS}
    return pa.schema([pa.field(name, kind, metadata={"unit": units[name]} if units.get(name) else None)
                      for name, kind in _columns().items()])


def result_batch(results: Results, recording: str, first: int) -> Any:
    """A part of the results of a recording; `first` is the number of its first sample, from 0."""
    pa = pyarrow()
    count = len(results)
    arrays = [pa.DictionaryArray.from_arrays(np.zeros(count, np.int32), [recording]),
              pa.array(np.arange(first, first + count, dtype=np.int64))]
    for name, column in result_columns(results).items():
        if name == "outcome":
            arrays.append(pa.DictionaryArray.from_arrays(column.astype(np.int8), list(OUTCOMES)))
        else:
            arrays.append(pa.array(column))
    return pa.RecordBatch.from_arrays(arrays, schema=result_schema())


def writer(file: Any) -> Any:
    """Writes results to an open file. Bytes of the same weight side by side take two thirds of the room that pyarrow's own
    choice needs: neighbouring samples differ in the last ones."""
    schema = result_schema()
    floats = [field.name for field in schema if str(field.type) in _OF_FLOATS]
    return pyarrow().parquet.ParquetWriter(
        file, schema, compression="zstd", use_dictionary=["recording", "outcome"],
        column_encoding={**{name: "BYTE_STREAM_SPLIT" for name in floats}, "timeStampMs": "DELTA_BINARY_PACKED",
                         "sample": "DELTA_BINARY_PACKED"},
        write_statistics=["timeStampMs", "sample"])


def results_of_table(table: Any) -> Results:
    """Results from rows of such files, in the order of the rows."""
    from .._frames import results_of

    numbers = {outcome: number for number, outcome in enumerate(OUTCOMES)}
    columns = {}
    for name in result_schema().names[2:]:
        column = table.column(name)
        if name == "outcome":
            texts = column.combine_chunks().cast(pyarrow().string()).to_pylist()
            columns[name] = np.array([numbers[text] for text in texts], dtype=np.uint8)
        else:
            columns[name] = column.to_numpy()
    return results_of(columns)
