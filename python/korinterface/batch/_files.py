"""Files wherever they are: in folders of this machine or, through fsspec, in an object store."""
from __future__ import annotations

import contextlib
import errno
import hashlib
import os
import re
import stat
import tempfile
import uuid
from typing import Any, Callable, Iterator, Mapping, Optional

from .._errors import KorError, missing_extra

#: Stores in which an object appears when it is whole, and under its old content until then.
_WHOLE_AT_ONCE = {"s3", "s3a", "gs", "gcs", "abfs", "abfss", "az", "adl", "oci", "oss"}
_NO_ROOM = {errno.ENOSPC, errno.EDQUOT}
_CHUNK = 2**20

Options = Mapping[str, Any]


def is_local(url: str) -> bool:
    """Whether a path or URL is of the machine's own folders."""
    return "://" not in url or url.startswith(("file://", "local://"))


def file_system(url: str, options: Options) -> tuple[Any, str]:
    """The file system of a path or URL, and its path there."""
    try:
        import fsspec
    except ImportError:
        raise missing_extra("fsspec", "batch") from None
    try:
        fs, path = fsspec.core.url_to_fs(url, **({} if is_local(url) else dict(options)))
    except (ValueError, ImportError) as error:
        raise KorError(f"cannot use {url}: {error}", kind="usage", file=url, reason=str(error)) from error
    return fs, str(path)


def absolute(url: str) -> str:
    """The same without regard to where the process stands, and in one spelling."""
    if is_local(url):
        return os.path.abspath(re.sub(r"^(file|local)://", "", url))
    return url.rstrip("/")


def url_like(url: str, path: str) -> str:
    """The URL of a path of the same file system."""
    return path if is_local(url) else f"{url.split('://', 1)[0]}://{path.lstrip('/')}"


def shown(text: str) -> str:
    """A path as text that every table and message can hold, whatever its bytes are."""
    return text.encode("utf-8", "backslashreplace").decode()


def reason_of(error: BaseException) -> str:
    """Why something has failed, without the name of a file."""
    strerror = getattr(error, "strerror", None)
    return shown(str(strerror or error or type(error).__name__))


def cannot(what: str, path: str, error: BaseException) -> KorError:
    """The error for a file that cannot be opened, read or written."""
    reason = reason_of(error)
    return KorError(f"{what} {shown(path)}: {reason}", kind=what, file=shown(path), reason=reason)


def is_full(error: BaseException) -> bool:
    """Whether a folder of this machine has no room left."""
    return isinstance(error, OSError) and error.errno in _NO_ROOM


class LocalCopy:
    """A file of any file system as one that the library can open, with the SHA-256 of its content.

    What is here already is used where it lies. Everything else is copied to a temporary folder, a piece at a time.
    """

    def __init__(self, url: str, options: Options) -> None:
        self.url = url
        self._options = options
        self._folder: Optional[tempfile.TemporaryDirectory[str]] = None
        self.path = ""
        self.sha256 = ""
        self.bytes = 0

    def __enter__(self) -> "LocalCopy":
        try:
            if is_local(self.url):
                self._look_at(absolute(self.url))
            else:
                self._fetch()
        except OSError as error:  # of the copy; those of the file itself are KorError
            self._drop()
            raise NoRoom(cannot("cannot write", tempfile.gettempdir(), error)) from error
        except BaseException:
            self._drop()
            raise
        return self

    def __exit__(self, *_: object) -> None:
        self._drop()

    def _drop(self) -> None:
        if self._folder is not None:
            self._folder.cleanup()
            self._folder = None

    def _look_at(self, path: str) -> None:
        self.path = path
        try:
            if not stat.S_ISREG(os.stat(path).st_mode):  # to open a pipe would be to wait for it
                raise OSError(errno.EINVAL, "found no regular file")
            file = open(path, "rb", buffering=0)
        except OSError as error:
            raise cannot("cannot open", path, error) from error
        with file:
            self._before = _stamp(os.fstat(file.fileno()))
            self._digest(file, path, lambda block: None)

    def _fetch(self) -> None:
        self._folder = tempfile.TemporaryDirectory(prefix="kor")
        # Its name tells the library what it is to be, and its bytes may be any.
        name = self.url.rsplit("/", 1)[-1]
        self.path = os.path.join(self._folder.name, name if re.fullmatch(r"[\w.-]{1,200}", name, re.A) else
                                 "file" + "".join(re.findall(r"\.(?:csv|korraw|prm|gz|zst)(?=\.|$)", name.lower())))
        fs, path = file_system(self.url, self._options)
        try:
            source = fs.open(path, "rb")
        except Exception as error:  # of the store's own kinds
            raise cannot("cannot open", self.url, error) from error
        with source, open(self.path, "wb", buffering=0) as copy:
            self._digest(source, self.url, copy.write)

    def _digest(self, file: Any, name: str, take: Callable[[memoryview], object]) -> None:
        digest = hashlib.sha256()
        buffer = memoryview(bytearray(_CHUNK))
        while True:
            try:
                count = file.readinto(buffer)
            except Exception as error:
                raise cannot("cannot read", name, error) from error
            if not count:
                break
            digest.update(buffer[:count])
            self.bytes += count
            take(buffer[:count])
        self.sha256 = digest.hexdigest()

    def must_not_have_changed(self) -> None:
        """Raises KorError if somebody has written to the file since its content was looked at."""
        try:
            same = self._folder is not None or _stamp(os.stat(self.path)) == self._before
        except OSError as error:
            raise cannot("cannot read", self.path, error) from error
        if not same:
            raise KorError(f"cannot read {shown(self.path)}: it has changed while it was read", kind="cannot read",
                           file=shown(self.path), reason="it has changed while it was read", advice="run again")

    def renamed(self, error: KorError) -> KorError:
        """The same error, with the name of the file that was copied."""
        if self._folder is None:
            return error
        text = str(error).replace(self.path, shown(self.url))
        renamed = KorError(text)
        renamed.__dict__.update(error.__dict__)
        if error.file is not None:
            renamed.file = error.file.replace(self.path, shown(self.url))
        return renamed


def _stamp(status: os.stat_result) -> tuple[int, int, int]:
    return status.st_size, status.st_mtime_ns, status.st_ino


class NoRoom(Exception):
    """What is to be written cannot be: the end of the run, and no fault of a recording."""

    def __init__(self, error: KorError) -> None:
        super().__init__(error)
        self.error = error

    def __reduce__(self) -> tuple[Any, ...]:
        return NoRoom, (self.error,)


class Folder:
    """The folder that takes the results. Each of its files appears when it is whole."""

    def __init__(self, url: str, options: Options) -> None:
        self.url = absolute(url)
        self._options = dict(options)
        self._fs: Any = None
        self._root = ""

    def __reduce__(self) -> tuple[Any, ...]:
        return Folder, (self.url, self._options)

    def _system(self) -> Any:
        if self._fs is None:
            self._fs, self._root = file_system(self.url, self._options)
        return self._fs

    def path(self, name: str) -> str:
        """Where a file of the folder is, for its file system."""
        self._system()
        return f"{self._root}/{name}"

    def shown(self, name: str) -> str:
        """The same for people."""
        return shown(f"{self.url}/{name}")

    def names(self, below: str) -> list[str]:
        """All files below a folder of it."""
        fs = self._system()
        # What another process has written since must not be hidden by what was listed before.
        fs.invalidate_cache()
        begin = self.path(below)
        if is_local(self.url):
            return [os.path.relpath(os.path.join(folder, name), self._root)
                    for folder, _, files in os.walk(begin) for name in files]
        if not fs.exists(begin):
            return []
        cut = len(self._root) + 1
        return [name[cut:] for name in fs.find(begin)]

    def open(self, name: str, whole: bool) -> Any:
        """A file of it, to be read by pyarrow, whole or in some places.

        None of Python's files, as far as possible: pyarrow's threads, which read ahead, would let go of it at any time,
        and those that do so while the interpreter ends abort the process.
        """
        import pyarrow

        if is_local(self.url):
            return pyarrow.OSFile(self.path(name), "rb")
        if whole:
            return pyarrow.BufferReader(self._system().cat_file(self.path(name)))
        return self._system().open(self.path(name), "rb")

    def remove(self, name: str) -> None:
        """Removes a file, if it is there."""
        with contextlib.suppress(FileNotFoundError):
            self._system().rm_file(self.path(name))

    @contextlib.contextmanager
    def new(self, name: str) -> Iterator[str]:
        """The path of a file of this machine, to be written. At the end of the block it takes its name in the folder; if
        the block ends with an exception, it never has been there.

        Raises
        ------
        NoRoom
            It cannot be written.
        """
        place = self.path(name)
        folder, last = place.rsplit("/", 1)
        hidden = f"{folder}/.{last}.{uuid.uuid4().hex}.partial"
        try:
            if is_local(self.url):
                os.makedirs(folder, exist_ok=True)
                try:
                    yield hidden
                    os.replace(hidden, place)
                except BaseException:
                    with contextlib.suppress(OSError):
                        os.remove(hidden)
                    raise
                return
            with tempfile.TemporaryDirectory(prefix="kor") as here:
                local = os.path.join(here, "new")
                yield local
                try:
                    self._put(local, hidden, place)
                except Exception as error:  # of the store's own kinds
                    raise NoRoom(cannot("cannot write", self.shown(name), error)) from error
        except OSError as error:
            raise NoRoom(cannot("cannot write", self.shown(name), error)) from error

    def _put(self, local: str, hidden: str, place: str) -> None:
        fs = self._system()
        protocols = {fs.protocol} if isinstance(fs.protocol, str) else set(fs.protocol)
        if protocols & _WHOLE_AT_ONCE:
            fs.put_file(local, place)
            return
        fs.makedirs(place.rsplit("/", 1)[0], exist_ok=True)
        try:
            fs.put_file(local, hidden)
            fs.mv(hidden, place)
        except BaseException:
            with contextlib.suppress(Exception):
                fs.rm_file(hidden)
            raise

    def remove_partial(self, names: list[str]) -> list[str]:
        """Removes what killed processes have left, and hands out the others."""
        partial = [name for name in names if name.endswith(".partial")]
        for name in partial:
            self.remove(name)
        return [name for name in names if name.endswith(".parquet")]
