"""Identity hashes of media files.

A hash names the media inside a file: captions, ratings, tags and covers can be edited without changing it.
"""

from ._files import BinaryFile, File, KmhashError, can_verify, hash, hash_both, identify, verify
from ._hash import Algorithm, Difference, Hash
from ._kmhash import VERSION, ResultCode

__version__ = VERSION

__all__ = [
    "Algorithm",
    "BinaryFile",
    "Difference",
    "File",
    "Hash",
    "KmhashError",
    "ResultCode",
    "__version__",
    "can_verify",
    "hash",
    "hash_both",
    "identify",
    "verify",
]
