from __future__ import annotations

import os

import numpy.typing as npt

from . import _engine
from ._arguments import FloatArray, float_array, model_file
from ._handle import Handle


def models() -> dict[str, str]:
    """The models that can be opened by name, with their paths.

    They are those within the package, and those in the folders of the environment variable
    SORVANE_MODEL_PATH, which go first.
    """
    return {os.fsdecode(name): os.fsdecode(path) for name, path in _engine.list_models()}


def speech_model(rate: float) -> str:
    """The path of the speech model that suits a rate best; LookupError when there is none."""
    fits = [(_engine.badness(os.fsencode(path), rate), path) for name, path in models().items()
            if name.startswith("speech") and "small" not in name]
    if not fits:
        raise LookupError("no speech model is installed")
    return min(fits)[1]


class Model(Handle):
    """Drives the network of one model with tensors.

    with Model("noise-gate-48k") as model:
        mask = model.run(magnitudes)

    Tensors have the shape (T, F, C): frames, frequency positions, channels. One call runs at a
    time, without Python's lock; others wait.
    """

    __slots__ = ("_busses", "_channels", "_fft_length", "_frame_length", "_hop", "_latency_frames",
                 "_name", "_num_bins", "_rate")

    _engine: _engine.Model

    def __init__(self, model: str | os.PathLike[str]) -> None:
        """Loads a model by its name or the path of its file.

        Raises OSError when it can't be opened, and ValueError when it is no valid model.
        """
        self._engine = _engine.Model(model_file(model))
        (name, self._rate, self._channels, self._fft_length, self._frame_length, self._hop,
         self._latency_frames, self._num_bins) = self._engine.info()
        self._name = os.fsdecode(name)
        self._busses = tuple(b.decode(errors="replace") for b in self._engine.bus_names())

    @property
    def name(self) -> str:
        """Name of the model: that of its file."""
        return self._name

    @property
    def rate(self) -> float:
        """Sample rate that the model was made for, in hertz."""
        return self._rate

    @property
    def channels(self) -> int:
        """Channels of audio that the model takes."""
        return self._channels

    @property
    def busses(self) -> tuple[str, ...]:
        """Names of its busses; the last is what the masks leave over."""
        return self._busses

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
    def num_bins(self) -> int:
        """Bins of the transform that the network sees, from bin 0."""
        return self._num_bins

    @property
    def latency_frames(self) -> int:
        """Frames that the network looks ahead."""
        return self._latency_frames

    @property
    def latency(self) -> int:
        """How late its output is, in samples at its own rate."""
        return self._frame_length + self._latency_frames * self._hop

    def run(self, tensor: npt.ArrayLike) -> FloatArray | None:
        """Runs the network on floats (T, F, C) and gives its result in the same layout.

        Gives None while the network holds frames back: the first frame that comes out belongs to
        the first that went in. Raises RuntimeError when the shape doesn't fit the network; its
        history is then that of a new one.
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

    def __repr__(self) -> str:
        state = ", closed" if self.closed else f", rate={self.rate:g}, busses={list(self.busses)}"
        return f"Model({self.name!r}{state})"
