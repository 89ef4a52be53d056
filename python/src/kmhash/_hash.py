"""Hash texts and what they are made of."""

from __future__ import annotations

import builtins
import re
from dataclasses import dataclass
from enum import IntFlag
from typing import NamedTuple

from . import _kmhash

_SHAPE = re.compile(r"[0-9]{8}[0-9A-Fa-f]{120}")


class Difference(IntFlag):
    """What two hashes differ in."""

    CONTENT = _kmhash.DIFFERENT_CONTENT
    """The content digests."""
    META = _kmhash.DIFFERENT_META
    """The meta digests."""
    FORMAT = _kmhash.DIFFERENT_FORMAT
    """The first four characters of the format types."""
    VERSION = _kmhash.DIFFERENT_VERSION
    """The algorithm versions."""
    ALGORITHM = _kmhash.DIFFERENT_ALGORITHM
    """The algorithms."""


class Algorithm(NamedTuple):
    """What makes the hashes of a format."""

    id: int
    """As hash texts carry it, 0 to 255. Each version has ids of its own: PNG is 3 in version 3 and 45 in version 4."""
    name: str
    """The library's name for it, such as ``"JPEG"``; ``"UNKNOWN"`` for an id that this library does not know."""

    @classmethod
    def of_id(cls, algorithm_id: int) -> Algorithm:
        """Return the algorithm with the id."""
        return cls(algorithm_id, _kmhash.algorithm_name(algorithm_id) or "UNKNOWN")

    def __str__(self) -> str:
        """Return the name."""
        return self.name


@dataclass(frozen=True, eq=False)
class Hash:
    """A hash text taken apart. Immutable.

    Two are equal when they name the same media, that is when a comparison finds no difference, even if their texts are
    not the same.
    """

    text: str
    """128 characters, the first eight decimal digits and the others hex digits; anything else is a ValueError.

    Lower-case digits become upper case.
    """

    def __post_init__(self) -> None:
        """Refuse what is no hash text, and keep it as comparisons expect it."""
        if not _SHAPE.fullmatch(self.text):
            raise ValueError(f"no hash text: {self.text!r}")
        object.__setattr__(self, "text", self.text.upper())

    @classmethod
    def parse(cls, text: str) -> Hash:
        """Take a hash text apart; ValueError when it is none."""
        return cls(text)

    @property
    def content(self) -> str:
        """The digest of the media, 40 hex digits."""
        return self.text[18:58]

    @property
    def meta(self) -> str:
        """The digest of the properties that describe the media, 40 hex digits."""
        return self.text[58:98]

    @property
    def file_type(self) -> str:
        """``PHOTO``, ``VIDEO``, ``AUDIO``, ``OTHER`` (a few ASF files) or ``UNKWN`` (quick hashes)."""
        return _label(self.text[8:18])

    @property
    def format_type(self) -> str:
        """The label of the format, up to eight characters, such as ``JPEG`` or ``"PNG "`` with its blank."""
        return _label(self.text[98:114])

    @property
    def algorithm(self) -> Algorithm:
        """What made the hash."""
        return Algorithm.of_id(self.algorithm_id)

    @property
    def algorithm_id(self) -> int:
        """The id of what made the hash, 0 to 255."""
        return int(self.text[114:116], 16)

    @property
    def major_version(self) -> int:
        """The major version of the algorithm, 0 to 9999."""
        return int(self.text[0:4])

    @property
    def minor_version(self) -> int:
        """The minor version of the algorithm, 0 to 9999."""
        return int(self.text[4:8])

    @property
    def is_whole(self) -> bool:
        """Whether every byte of the payload counts; False when the hash may rest on samples."""
        return _kmhash.is_whole(self.text) == 1

    def compare(self, other: Hash) -> Difference:
        """Tell what two hashes differ in; nothing (0, which is false) for the same media."""
        return Difference(_kmhash.compare(self.text, other.text))

    def __str__(self) -> str:
        """Return the text, to be stored."""
        return self.text

    def __eq__(self, other: object) -> bool:
        """Whether both name the same media."""
        return not self.compare(other) if isinstance(other, Hash) else NotImplemented

    def __hash__(self) -> int:
        """Equal for hashes that are equal."""
        return builtins.hash((self.content, self.meta))


def _label(digits: str) -> str:
    return bytes.fromhex(digits).rstrip(b"\0").decode("latin-1")
