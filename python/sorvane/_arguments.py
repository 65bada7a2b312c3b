"""Checks of what users hand over."""

from __future__ import annotations

import errno
import os
import stat

import numpy as np
import numpy.typing as npt

FloatArray = npt.NDArray[np.float32]


def model_file(model: str | os.PathLike[str]) -> bytes:
    """The path or name of a model as the engine takes it; OSError when the file can't be opened."""
    encoded = os.fsencode(model)
    if not os.path.lexists(model) and os.path.dirname(encoded) == b"" and not encoded.endswith(
            b".model"):
        return encoded  # a name: the engine knows where models lie
    mode = os.stat(model).st_mode
    if not (stat.S_ISREG(mode) or stat.S_ISDIR(mode)):  # opening a pipe waits for a writer
        raise OSError(errno.EINVAL, "Not a regular file", os.fspath(model))
    with open(model, "rb"):
        return encoded


def float_array(values: npt.ArrayLike, what: str) -> FloatArray:
    """`values` as contiguous 32-bit floats. Integers are refused, whose full scale isn't 1."""
    array = np.asarray(values)
    if not np.issubdtype(array.dtype, np.floating):
        raise TypeError(f"{what} must hold floats, not {array.dtype}")
    return np.ascontiguousarray(array, dtype=np.float32)
