"""The half floats of model files: as IEEE 754's, but exponent 31 stands for numbers too.

Words from 0x7C00 up are the numbers from 65536 to 131008, and there are neither infinities nor NaN.
"""

import numpy as np

LARGEST = 131008.0


def words_from(values):
    """The nearest half-float words (uint16), ties to even; what is larger becomes the largest."""
    values = np.asarray(values, np.float32)
    sign = np.where(np.signbit(values), np.uint16(0x8000), np.uint16(0))
    magnitude = np.minimum(np.abs(values), np.float32(LARGEST))
    with np.errstate(over="ignore"):
        plain = magnitude.astype(np.float16).view(np.uint16)  # its infinity is the word of 65536
    beyond = np.rint((np.maximum(magnitude, 65536) - 65536) / 64).astype(np.uint16) + 0x7C00
    return sign | np.where(magnitude < 65536, plain, beyond).astype(np.uint16)


def values_of(words):
    """The floats that half-float words stand for."""
    words = np.asarray(words, np.uint16)
    exponent = (words >> 10 & 31).astype(np.int32)
    fraction = (words & 0x3FF).astype(np.float32)
    normal = np.ldexp(1 + fraction / 1024, exponent - 15)
    magnitude = np.where(exponent > 0, normal, np.ldexp(fraction, -24)).astype(np.float32)
    return np.where(words & 0x8000, -magnitude, magnitude).astype(np.float32)


def rounded(values):
    """What remains of floats that are stored as half floats."""
    return values_of(words_from(values))
