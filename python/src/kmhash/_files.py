"""Hashing of files: what the functions take, and how they fail."""

from __future__ import annotations

import io
import os
from collections.abc import Iterator
from contextlib import contextmanager
from typing import Any, Literal, NoReturn, Protocol, Union, cast

from . import _kmhash
from ._hash import Algorithm, Difference, Hash
from ._kmhash import ResultCode


class BinaryFile(Protocol):
    """Any object that reads bytes and seeks, such as what ``open(path, "rb")`` gives, or an ``io.BytesIO``."""

    def read(self, count: int, /) -> bytes:
        """Read up to ``count`` bytes at the current position; fewer are asked for again, none ends the file.

        None, of a file that does not block, is a BlockingIOError.
        """
        ...

    def seek(self, offset: int, whence: Literal[0, 2] = ..., /) -> Any:
        """Move to an offset from the beginning, or, with a ``whence`` of 2, to the end, and return the position."""
        ...


File = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]", int, BinaryFile]
"""A path, a file descriptor, or an open binary file."""


class KmhashError(Exception):
    """The library could not hash, identify or verify a file that could be opened."""

    def __init__(self, code: int, file: object = None) -> None:
        """Tell of a result code and of the file, where there is one."""
        super().__init__(code, file)
        self.code = ResultCode(code)
        self.file = file

    @property
    def name(self) -> str:
        """The name of the result code, such as ``"HASHCREATE_NON_SUPPORTED"``."""
        return self.code.name

    def __str__(self) -> str:
        """Return the file, the name and the code."""
        told = f"{self.name} ({self.code.value})"
        return told if self.file is None else f"{self.file}: {told}"


def hash(file: File, *, prefer: Literal[3, 4] = 3, whole: bool = False, quick: bool = False) -> Hash:
    """Hash a file by its media.

    ``prefer`` is the version whose algorithm is taken where both versions know the format, 3 as in the command;
    ``whole`` takes in every byte of the payload in place of samples; ``quick`` names any file by its size and (sampled)
    bytes, whatever its format.

    Raises OSError when a path cannot be opened, whatever an open file raises, and KmhashError for the rest, with
    ``HASHCREATE_NON_SUPPORTED`` for a file of no supported format.
    """
    flags = _preference(prefer) | (_kmhash.WHOLE if whole else 0)
    if quick and flags:
        raise ValueError("a quick hash has no version to prefer and is never whole")
    with _opened(file) as opened:
        code, text = _kmhash.hash_quick(opened) if quick else _kmhash.hash(opened, flags)
    return _made(code, text, file)


def hash_both(file: File, *, prefer: Literal[3, 4] = 3) -> tuple[Hash, Hash]:
    """Hash a file by its media, from samples and whole in one go; fails as ``hash``."""
    with _opened(file) as opened:
        code, sampled, whole = _kmhash.hash_both(opened, _preference(prefer))
    return _made(code, sampled, file), _made(code, whole, file)


def identify(file: File, *, prefer: Literal[3, 4] = 3) -> Algorithm:
    """Recognise the format of a file without reading its payload; fails as ``hash``."""
    with _opened(file) as opened:
        return Algorithm.of_id(_checked(_kmhash.identify(opened, _preference(prefer)), file))


def verify(file: File, stored_hash: Hash | str) -> Difference:
    """Hash a file as the stored hash was made (version, sampled or whole, quick) and tell what differs.

    Fails as ``hash``, and with ``HASHCREATE_NON_SUPPORTED`` also for a hash that a newer library made (``can_verify``
    tells). Raises ValueError for a text that is no hash text.
    """
    stored = _parsed(stored_hash)
    with _opened(file) as opened:
        return Difference(_checked(_kmhash.verify(opened, stored.text), file))


def can_verify(stored_hash: Hash | str) -> bool:
    """Whether this library knows how the hash was made; a newer one may have made it."""
    return _kmhash.can_verify(_parsed(stored_hash).text) == 1


def _parsed(stored_hash: Hash | str) -> Hash:
    return stored_hash if isinstance(stored_hash, Hash) else Hash.parse(stored_hash)


def _preference(version: int) -> int:
    if version not in (3, 4):
        raise ValueError(f"no version of the algorithms: {version}")
    return _kmhash.PREFER_VERSION_4 if version == 4 else 0


def _path_of(file: object) -> bytes | None:
    if not isinstance(file, (str, bytes, os.PathLike)):
        return None
    path = os.fsencode(file)
    if b"\0" in path:
        raise ValueError("embedded null byte")
    return path


@contextmanager
def _opened(file: File) -> Iterator[bytes | BinaryFile]:
    """Give what the extension takes: a path as bytes, or an object that reads and seeks."""
    path = _path_of(file)
    if path is not None:
        yield path
    elif isinstance(file, int) and not isinstance(file, bool):  # True is no descriptor 1
        with open(file, "rb", buffering=0, closefd=False) as opened:
            yield opened
    elif isinstance(getattr(file, "file", file), io.TextIOBase):  # a temporary file wraps one
        raise TypeError('a text file; open it with "rb"')
    elif hasattr(file, "read") and hasattr(file, "seek"):
        yield cast(BinaryFile, file)
    else:
        raise TypeError(f"neither a path, a file descriptor nor a binary file: {type(file).__name__}")


def _made(code: int, text: str, file: File) -> Hash:
    _checked(code, file)
    try:
        return Hash(text)
    except ValueError:  # labels that were never set: a file without media
        raise KmhashError(ResultCode.HASHCREATE_INVALID_HASH, file) from None


def _checked(code: int, file: File) -> int:
    if code < 0:
        _fail(code, file)
    return code


def _fail(code: int, file: File) -> NoReturn:
    if isinstance(file, (str, bytes, os.PathLike)):  # the system tells best why a path cannot be opened
        with open(file, "rb", opener=lambda path, flags: os.open(path, flags | os.O_NONBLOCK)):
            pass
    raise KmhashError(code, file)
