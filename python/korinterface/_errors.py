"""What the package raises and warns of."""
from __future__ import annotations

import warnings
from typing import Any


class KorError(Exception):
    """An operation that has failed; the text of the exception is one sentence with place, cause and advice.

    Attributes
    ----------
    kind : str
        ``"library"`` (an operation of the library has refused), ``"bad data"``, ``"cannot open"``, ``"cannot read"``,
        ``"cannot create"``, ``"cannot write"``, ``"interrupted"``, ``"usage"`` or ``"internal"``.
    status : int or None
        The library's status code: 20, 550, 551, 553 or 554. None if the error is not one of the library.
    file, column, found, expected, reason, advice : str or None
        Where in a file, and what is wrong there. None if it does not apply.
    line, record : int or None
        Of a text or a binary file, from 1.
    """

    def __init__(self, text: str, *, kind: str = "usage", status: int | None = None, file: str | None = None,
                 line: int | None = None, record: int | None = None, column: str | None = None,
                 found: str | None = None, expected: str | None = None, reason: str | None = None,
                 advice: str | None = None) -> None:
        super().__init__(text)
        self.kind = kind
        self.status = status
        self.file = file
        self.line = line
        self.record = record
        self.column = column
        self.found = found
        self.expected = expected
        self.reason = reason
        self.advice = advice

    def __reduce__(self) -> tuple[Any, ...]:
        # BaseException would hand the text alone to a new object.
        return _again, (str(self), self.__dict__)


def _again(text: str, attributes: dict[str, Any]) -> KorError:
    error = KorError(text)
    error.__dict__.update(attributes)
    return error


class KorWarning(UserWarning):
    """Something that the package leaves out with a warning: an unknown column, a row that cannot be read."""


def warn_all(texts: list[str]) -> None:
    """Warns of each text, in the name of the caller's caller."""
    for text in texts:
        warnings.warn(text, KorWarning, stacklevel=3)


def missing_extra(module: str, extra: str) -> ImportError:
    """The error for an optional package that is not there."""
    return ImportError(f"{module} is needed for this and is not installed: pip install 'korinterface[{extra}]'", name=module)
