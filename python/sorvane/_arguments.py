"""Checks of what users hand over."""

from __future__ import annotations

import errno
import os
import stat

import numpy as np
import numpy.typing as npt

FloatArray = npt.NDArray[np.float32]


def readable_path(path: str | os.PathLike[str]) -> bytes:
    """The path as the operating system takes it; OSError when the file can't be opened."""
    encoded = os.fsencode(path)
    mode = os.stat(path).st_mode
    if not (stat.S_ISREG(mode) or stat.S_ISDIR(mode)):  # opening a pipe waits for a writer
        raise OSError(errno.EINVAL, "Not a regular file", os.fspath(path))
    with open(path, "rb"):
        return encoded


def float_array(values: npt.ArrayLike, what: str) -> FloatArray:
    """`values` as contiguous 32-bit floats. Integers are refused, whose full scale isn't 1."""
    array = np.asarray(values)
    if not np.issubdtype(array.dtype, np.floating):
        raise TypeError(f"{what} must hold floats, not {array.dtype}")
    return np.ascontiguousarray(array, dtype=np.float32)
