from __future__ import annotations

import os
from typing import Any

import numpy as np
import numpy.typing as npt

from ._arguments import FloatArray
from ._model import speech_model
from ._processor import Processor

_BLOCK = 65536  # samples that are processed at a time


def open_denoiser(model: str | os.PathLike[str] | None, channels: int, rate: float, keep: float,
                  rest: bool) -> Processor:
    """A stream that gives speech without noise, or with `keep` of it, or the noise."""
    if not 0 <= keep <= 1:
        raise ValueError(f"keep is from 0 to 1, not {keep}")
    processor = Processor(speech_model(rate) if model is None else model, channels, rate)
    processor.silence_noise()
    processor.busses[-1].gain = keep
    processor.inverted = rest
    return processor


def denoise(audio: npt.ArrayLike, rate: float, *, model: str | os.PathLike[str] | None = None,
            keep: float = 0.0, rest: bool = False, axis: int | None = None) -> npt.NDArray[Any]:
    """Takes the noise out of a recording of speech.

    audio    floats with full scale at 1, or integers of 8, 16 or 32 bits with theirs: (samples,),
             (samples, channels) or (channels, samples).
    rate     samples a second.
    model    name or path; by default the installed speech model that suits the rate best.
    keep     how much of the noise stays, 0 to 1.
    rest     gives what was removed instead.
    axis     that of the samples; by default the longer one, and of equal ones the first.
    returns  an array of the same shape and type, aligned with `audio`.

    Memory is that of the result and some blocks. Raises as Processor does.
    """
    array = np.asarray(audio)
    if array.ndim not in (1, 2):
        raise ValueError(f"audio has one or two dimensions, not {array.ndim}")
    if axis is None:
        axis = 0 if array.ndim == 1 or array.shape[0] >= array.shape[1] else 1
    rows = np.moveaxis(array, axis, -1).reshape(-1, array.shape[axis])
    scale = _scale(array.dtype)
    result = np.empty_like(array)
    targets = np.moveaxis(result, axis, -1).reshape(-1, array.shape[axis])
    if not np.shares_memory(targets, result):  # of no sample, it may be a copy
        return result
    with open_denoiser(model, max(rows.shape[0], 1), rate, keep, rest) as processor:
        done = 0
        for start in range(0, rows.shape[1], _BLOCK):
            block = _floats(rows[:, start : start + _BLOCK], scale)
            done = _put(targets, done, processor.process(block), scale)
        _put(targets, done, processor.finish(), scale)
    return result


def _scale(kind: np.dtype[Any]) -> float | None:
    """Full scale of integers; None for floats."""
    if np.issubdtype(kind, np.floating):
        return None
    if not np.issubdtype(kind, np.integer) or kind.itemsize > 4:
        raise TypeError(f"audio holds floats or integers of 8, 16 or 32 bits, not {kind}")
    return 2.0 ** (8 * kind.itemsize - 1)


def _floats(block: npt.NDArray[Any], scale: float | None) -> FloatArray:
    if scale is None:
        return block.astype(np.float32)
    middle = scale if np.issubdtype(block.dtype, np.unsignedinteger) else 0.0
    return ((block.astype(np.float64) - middle) / scale).astype(np.float32)


def _put(targets: npt.NDArray[Any], start: int, block: FloatArray, scale: float | None) -> int:
    """Puts a block into the result; returns where the next begins."""
    end = start + block.shape[1]
    if scale is None:
        targets[:, start:end] = block
        return end
    limits = np.iinfo(targets.dtype)
    middle = scale if limits.min == 0 else 0.0
    values = np.rint(block.astype(np.float64) * scale + middle)
    targets[:, start:end] = np.clip(np.nan_to_num(values), limits.min, limits.max)
    return end
