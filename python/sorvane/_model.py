from __future__ import annotations

import os

import numpy.typing as npt

from . import _engine
from ._arguments import FloatArray, float_array, readable_path
from ._handle import Handle


class Model(Handle):
    """Drives the network of one model with tensors.

    with Model("noise-gate-48k.model") as model:
        mask = model.run(magnitudes)

    Tensors have the shape (T, F, C): frames, frequency positions, channels. One call runs at a
    time, without Python's lock; others wait.
    """

    def __init__(self, model: str | os.PathLike[str]) -> None:
        """Loads a model file.

        Raises OSError when it can't be opened, and ValueError when it is no valid model.
        """
        self._engine: _engine.Model = _engine.Model(readable_path(model))
        (self._rate, self._channels, self._fft_length, self._frame_length, self._hop,
         self._latency_frames) = self._engine.info()

    @property
    def rate(self) -> float:
        """Sample rate that the model was made for, in hertz."""
        return self._rate

    @property
    def channels(self) -> int:
        """Channels of audio that the model takes."""
        return self._channels

    @property
    def fft_length(self) -> int:
        """Samples of the transform."""
        return self._fft_length

    @property
    def frame_length(self) -> int:
        """Samples per analysis frame."""
        return self._frame_length

    @property
    def hop(self) -> int:
        """Samples between the starts of frames."""
        return self._hop

    @property
    def latency_frames(self) -> int:
        """Frames that the network looks ahead."""
        return self._latency_frames

    def run(self, tensor: npt.ArrayLike) -> FloatArray | None:
        """Runs the network on floats (T, F, C) and gives its result in the same layout.

        Gives None while the network holds frames back: the first frame that comes out belongs to
        the first that went in. Raises RuntimeError when the shape doesn't fit the network; its
        history may be out of step until `reset`.
        """
        array = float_array(tensor, "a tensor")
        if array.ndim != 3:
            raise ValueError(f"a tensor has the shape (T, F, C), not {array.shape}")
        if max(array.shape) > 2**31 - 1:
            raise ValueError("a dimension is too large")
        return self._engine.run(array)

    def reset(self) -> None:
        """Makes the network forget its history."""
        self._engine.reset()
