from __future__ import annotations

import math
import operator
import os

import numpy as np
import numpy.typing as npt

from . import _engine
from ._arguments import FloatArray, float_array, readable_path
from ._busses import Busses
from ._handle import Handle


class Processor(Handle):
    """Sends streaming audio through a model.

    with Processor("noise-gate-48k.model", channels=2, rate=48000) as processor:
        processor.busses["Noise"].gain = 0.1
        for block in blocks:
            play(processor.process(block))
        play(processor.finish())

    Audio has the shape (channels, samples), full scale at 1. One call of `process`, `finish` and
    `reset` runs at a time, without Python's lock; others wait. Busses may be steered on other
    threads meanwhile.
    """

    def __init__(self, model: str | os.PathLike[str], channels: int, rate: float) -> None:
        """Loads the model file `model` for audio of `channels` channels at `rate` hertz.

        Neither need be the model's own. Raises OSError when the file can't be opened, and
        ValueError when it is no valid model or can't run at this rate.
        """
        channels = operator.index(channels)
        rate = float(rate)
        if channels < 1:
            raise ValueError(f"a processor has at least one channel, not {channels}")
        if not (math.isfinite(rate) and rate > 0):
            raise ValueError(f"a rate is above 0, not {rate}")
        self._engine: _engine.Processor = _engine.Processor(readable_path(model), channels, rate)
        self._channels = channels
        self._rate = rate
        self._busses = Busses(self._engine)

    @property
    def channels(self) -> int:
        """Channels of the audio."""
        return self._channels

    @property
    def rate(self) -> float:
        """Sample rate of the audio in hertz."""
        return self._rate

    @property
    def busses(self) -> Busses:
        """The busses, by number or name: `busses["Noise"].gain = 0`."""
        return self._busses

    @property
    def latency(self) -> int:
        """How late the output is, in samples, when blocks have any size."""
        return self._engine.latency

    def process(self, block: npt.ArrayLike) -> FloatArray:
        """Pushes a block of any length and gives what is ready, possibly nothing.

        block    floats (channels, samples); with one channel also (samples,).
        returns  float32 (channels, samples). The first sample that comes out belongs to the first
                 that went in.

        After an exception of the engine, what hadn't come out comes out as silence.
        """
        array = float_array(block, "a block")
        if array.ndim == 1 and self._channels == 1:
            array = array[np.newaxis]
        if array.ndim != 2 or array.shape[0] != self._channels:
            shape = f"({self._channels}, samples)"
            raise ValueError(f"a block has the shape {shape}, not {array.shape}")
        return self._engine.process(array)

    def finish(self) -> FloatArray:
        """Ends the stream: gives what is still held back, and begins a new stream.

        All of a stream's output is then as long as its input.
        """
        return self._engine.finish()

    def reset(self) -> None:
        """Drops all audio in flight and begins a new stream. Gains and sensitivities stay."""
        self._engine.reset()
