"""Names of files on their way to the library."""
from __future__ import annotations

import os
from typing import Union

AnyPath = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]


def native(path: AnyPath) -> bytes:
    """The bytes of a path. A file whose name is a dash is a file here, not standard input."""
    name = os.fsencode(path)
    if b"\0" in name:
        raise ValueError("path: found a null character, expected the path of a file")
    if not name:
        raise ValueError("path: found an empty text, expected the path of a file")
    return b"./-" if name == b"-" else name


def text(path: AnyPath) -> str:
    """The path for messages."""
    return os.fsdecode(path)
