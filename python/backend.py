"""What builds the package: scikit-build-core, and for a source distribution a copy of the library's sources."""

from __future__ import annotations

import shutil
from pathlib import Path
from typing import Any

from scikit_build_core import build

_HERE = Path(__file__).parent
_COPY = _HERE / "library"
_TAKEN = ("CMakeLists.txt", "LICENSE", "cmake", "jni")


def __getattr__(hook: str) -> Any:
    return getattr(build, hook)


def build_sdist(sdist_directory: str, config_settings: dict[str, list[str] | str] | None = None) -> str:
    """Take the library along; a distribution that is built from a distribution has it already."""
    is_checkout = (_HERE.parent / "jni").is_dir()
    try:
        if is_checkout:
            shutil.rmtree(_COPY, ignore_errors=True)
            for name in _TAKEN:
                source = _HERE.parent / name
                copy = shutil.copytree if source.is_dir() else shutil.copy
                _COPY.mkdir(exist_ok=True)
                copy(source, _COPY / name)
        return build.build_sdist(sdist_directory, config_settings)
    finally:
        if is_checkout:
            shutil.rmtree(_COPY, ignore_errors=True)
