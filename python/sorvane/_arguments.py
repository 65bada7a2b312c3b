"""Checks of what users hand over."""

from __future__ import annotations

import os

import numpy as np
import numpy.typing as npt

FloatArray = npt.NDArray[np.float32]


def readable_path(path: str | os.PathLike[str]) -> bytes:
    """The path as the operating system takes it; OSError when the file can't be opened."""
    encoded = os.fsencode(path)
    with open(encoded, "rb"):
        return encoded


def float_array(values: npt.ArrayLike, what: str) -> FloatArray:
    """`values` as contiguous 32-bit floats. Integers are refused, whose full scale isn't 1."""
    array = np.asarray(values)
    if not np.issubdtype(array.dtype, np.floating):
        raise TypeError(f"{what} must hold floats, not {array.dtype}")
    return np.ascontiguousarray(array, dtype=np.float32)
