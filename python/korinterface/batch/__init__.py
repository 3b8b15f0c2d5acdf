"""Archives of recordings: from a folder, a glob or an object store to Parquet, on one machine or a cluster.

    >>> from korinterface import batch
    >>> report = batch.replay("data/polarizer", "archive", prm="{folder}", day="2026-11-22")
    >>> report.replayed, report.failed
    (2, 2)
    >>> batch.failures("archive").column("found").to_pylist()
    ['the header of a truth file of kor simulate', 'the header of a file of way-points']

`replay` does the work, `summaries`, `failures` and `read_results` read what it has written; every tool that knows Parquet
reads the results as well. ``python -m korinterface.batch`` is the same as a command. docs/scaling.md says how it grows.
"""
from __future__ import annotations

from ._plan import read_table
from ._run import Report, failures, read_results, replay, summaries

__all__ = ["Report", "failures", "read_results", "read_table", "replay", "summaries"]
