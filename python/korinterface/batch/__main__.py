"""``python -m korinterface.batch``: `korinterface.batch.replay` as a command."""
from __future__ import annotations

import argparse
import contextlib
import sys
import time
import warnings
from typing import Any, Iterator, NoReturn, Optional

from .. import __version__
from .._errors import KorError, KorWarning
from ._plan import read_table
from ._run import Report, failures, replay

# The statuses of the program kor.
_OK, _USAGE, _BAD_DATA, _NO_INPUT, _SOFTWARE, _IO, _INTERRUPTED = 0, 64, 65, 66, 70, 74, 130
_STATUS_OF = {"usage": _USAGE, "bad data": _BAD_DATA, "library": _BAD_DATA, "cannot open": _NO_INPUT, "internal": _SOFTWARE}
_SHOWN = 10  # failures


class _Parser(argparse.ArgumentParser):
    def error(self, message: str) -> NoReturn:
        self.exit(_USAGE, f"{self.prog}: {message}\n{self.prog} --help tells more\n")


def _psd(text: str) -> tuple[int, int, int]:
    first, second, divisor = map(int, text.split(","))
    return first, second, divisor


def _pair(text: str) -> tuple[str, str]:
    name, equals, value = text.partition("=")
    if not (name and equals):
        raise ValueError
    return name, value


def _count(text: str) -> int:
    count = int(text)
    if count < 1:
        raise ValueError
    return count


def _parser() -> argparse.ArgumentParser:
    parser = _Parser(
        prog="python -m korinterface.batch", formatter_class=argparse.RawDescriptionHelpFormatter,
        description="Replay an archive of recordings on many processes; the results become Parquet files.",
        epilog="Example:\n"
               "  python -m korinterface.batch archive -o results --prm calibration \\\n"
               "      --pattern '{sensor}/{day}/*' --workers 8\n\n"
               "Started again, it goes on where it was: what is done is recognised by its content. Exit status\n"
               "0: every recording has results; 65: some could not be replayed, failures.parquet says why;\n"
               "64: wrong usage; 66: no recording, or the cluster cannot be reached; 70: internal error;\n"
               "74: the results cannot be written, or the scheduler is gone; 130: interrupted.")
    parser.add_argument("--version", action="version", version=f"korinterface {__version__}")
    parser.add_argument("recordings", nargs="+", metavar="RECORDINGS",
                        help="folder, glob (in quotes) or file; a path or a URL of fsspec")
    parser.add_argument("-o", "--output", required=True, metavar="FOLDER", help="folder or URL that takes the results")
    which = parser.add_argument_group("which recording is whose")
    parameters = which.add_mutually_exclusive_group(required=True)
    parameters.add_argument("--prm", metavar="PATH",
                            help="folder of files Tg<ID>.prm, or a parameter file; {sensor}, {day} and {folder}, the "
                                 "folder of the recording, may stand in it")
    parameters.add_argument("--table", metavar="FILE", help="CSV with the columns recording, prm and perhaps day")
    which.add_argument("--pattern", help="where the end of a path says sensor and day: '{sensor}/{day}/*.csv'")
    which.add_argument("--day", help="date of all recordings, or modified: the day in UTC on which each file was written "
                                     "last (default: {day} of the pattern or, without it, modified)")
    which.add_argument("--root", metavar="FOLDER", help="folder that the recordings' names are taken from (default: names "
                                                        "are full paths)")
    how = parser.add_argument_group("replay, as of kor replay")
    how.add_argument("--input-format", choices=("csv", "bin"), help="format of the recordings")
    how.add_argument("--from", dest="from_ms", type=int, metavar="MS", help="samples from this time stamp on")
    how.add_argument("--to", dest="to_ms", type=int, metavar="MS", help="samples up to this time stamp")
    how.add_argument("--mode", type=int, metavar="N", help="mount mode in place of that in the parameter file")
    how.add_argument("--mcs", choices=("on", "off"), default="on", help="machine (default) or local coordinates")
    how.add_argument("--psd", type=_psd, metavar="A,B,D", help="reading of the position-sensitive detector")
    how.add_argument("--store", action="store_true", help="load the parameter store")
    how.add_argument("--skip-bad", action="store_true", help="leave out rows that cannot be read")
    how.add_argument("--repair", action="store_true", help="go on after a sample that would spoil all samples after it")
    how.add_argument("--force", action="store_true", help="use parameter files with errors, too")
    where = parser.add_argument_group("where")
    cluster = where.add_mutually_exclusive_group()
    cluster.add_argument("--workers", type=_count, metavar="N",
                         help="processes of this machine (default: none, all is done in this one)")
    cluster.add_argument("--scheduler", metavar="ADDRESS", help="scheduler of a cluster: tcp://HOST:8786")
    cluster.add_argument("--scheduler-file", metavar="FILE", help="file that the scheduler of a cluster has written")
    where.add_argument("--per-task", type=_count, metavar="N", help="recordings of one task (default: at most 100)")
    where.add_argument("--storage-option", type=_pair, action="append", default=[], metavar="NAME=VALUE",
                       help="what fsspec needs for URLs; may be given several times")
    parser.add_argument("-q", "--quiet", action="store_true", help="errors only")
    return parser


@contextlib.contextmanager
def _client(arguments: argparse.Namespace) -> Iterator[Any]:
    """The client of the cluster that was asked for, or None."""
    if arguments.workers is None and arguments.scheduler is None and arguments.scheduler_file is None:
        yield None
        return
    try:
        import distributed
    except ImportError:
        from .._errors import missing_extra
        raise missing_extra("distributed", "batch") from None
    with contextlib.ExitStack() as stack:
        if arguments.workers is not None:
            # One thread each: they would wait for one another in mount modes 9 and 10.
            cluster = stack.enter_context(distributed.LocalCluster(  # type: ignore[no-untyped-call]
                n_workers=arguments.workers, threads_per_worker=1, dashboard_address="127.0.0.1:0"))
            client = distributed.Client(cluster)  # type: ignore[no-untyped-call]
        else:
            where = arguments.scheduler or arguments.scheduler_file
            try:
                client = distributed.Client(  # type: ignore[no-untyped-call]
                    arguments.scheduler, scheduler_file=arguments.scheduler_file)
            except (OSError, ValueError) as error:
                raise KorError(f"cannot reach the scheduler {where}: {error}", kind="cannot open", reason=str(error)) from error
        yield stack.enter_context(client)


class _Progress:
    """A line now and then; on a terminal always the same one."""

    def __init__(self, quiet: bool) -> None:
        self._quiet = quiet
        self._terminal = sys.stderr.isatty()
        self._told = time.monotonic()
        self._open = False

    def __call__(self, report: Report) -> None:
        if self._quiet or time.monotonic() - self._told < (0.5 if self._terminal else 60):
            return
        self._told = time.monotonic()
        self._open = self._terminal
        text = f"{report.done} of {report.recordings} recordings, {report.failed} failed"
        print(f"\r{text}" if self._terminal else text, end="" if self._terminal else "\n", file=sys.stderr, flush=True)

    def close(self) -> None:
        if self._open:
            print(file=sys.stderr)


def _run(arguments: argparse.Namespace) -> int:
    prm, day = arguments.prm, arguments.day
    if arguments.table is not None:
        prm, days = read_table(arguments.table)
        if days and day is not None:
            raise ValueError("--day: the table has a column day")
        day = days or day
    progress = _Progress(arguments.quiet)
    try:
        with _client(arguments) as client:
            report = replay(
                arguments.recordings, arguments.output, prm=prm, pattern=arguments.pattern, day=day, root=arguments.root,
                client=client, mode=arguments.mode, mcs=arguments.mcs == "on", store=arguments.store, psd=arguments.psd,
                format=arguments.input_format, from_ms=arguments.from_ms, to_ms=arguments.to_ms,
                skip_bad=arguments.skip_bad, repair=arguments.repair, force=arguments.force,
                storage_options=dict(arguments.storage_option), recordings_per_task=arguments.per_task, progress=progress)
    finally:
        progress.close()
    if report.failed and not arguments.quiet:
        table = failures(arguments.output, storage_options=dict(arguments.storage_option))
        for text in table.column("text").to_pylist()[:_SHOWN]:
            print(f"korinterface.batch: {text}", file=sys.stderr)
        if table.num_rows > _SHOWN:
            print(f"korinterface.batch: {table.num_rows - _SHOWN} more failures are in failures.parquet", file=sys.stderr)
    if not arguments.quiet:
        print(f"{report.recordings} recordings: {report.replayed} replayed, {report.recognised} done before, "
              f"{report.failed} failed", file=sys.stderr)
    return _BAD_DATA if report.failed else _OK


def main(given: Optional[list[str]] = None) -> int:
    """The command. Returns its exit status."""
    arguments = _parser().parse_args(given)
    try:
        with warnings.catch_warnings():
            warnings.simplefilter("always", KorWarning)
            warnings.showwarning = lambda message, *_: print(f"korinterface.batch: {message}", file=sys.stderr)
            return _run(arguments)
    except KeyboardInterrupt:
        return _INTERRUPTED
    except KorError as error:
        text, status = str(error), _STATUS_OF.get(error.kind, _IO)
    except (ValueError, ImportError) as error:
        text, status = str(error), _USAGE
    print(f"korinterface.batch: {text}", file=sys.stderr)
    return status


if __name__ == "__main__":
    sys.exit(main())
