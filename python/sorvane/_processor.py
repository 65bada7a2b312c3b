from __future__ import annotations

import math
import operator
import os

import numpy as np
import numpy.typing as npt

from . import _engine
from ._arguments import FloatArray, float_array, model_file
from ._busses import Busses
from ._handle import Handle


class Processor(Handle):
    """Sends streaming audio through a model.

    with Processor("speech-48k", channels=2, rate=48000) as processor:
        processor.silence_noise()
        for block in blocks:
            play(processor.process(block))
        play(processor.finish())

    Audio has the shape (channels, samples), full scale at 1. One call of `process`, `finish` and
    `reset` runs at a time, without Python's lock; others wait. Controls may be moved on other
    threads meanwhile.
    """

    __slots__ = ("_busses", "_channels", "_inverted", "_model", "_rate")

    _engine: _engine.Processor

    def __init__(self, model: str | os.PathLike[str], channels: int, rate: float) -> None:
        """Loads a model, by its name or the path of its file, for audio of `channels` channels at
        `rate` hertz.

        Neither need be the model's own. Raises OSError when the file can't be opened, and
        ValueError when it is no valid model or can't run at this rate.
        """
        channels = operator.index(channels)
        rate = float(rate)
        if channels < 1:
            raise ValueError(f"a processor has at least one channel, not {channels}")
        if not (math.isfinite(rate) and rate > 0):
            raise ValueError(f"a rate is above 0, not {rate}")
        self._engine = _engine.Processor(model_file(model), channels, rate)
        self._model = os.fspath(model)
        self._channels = channels
        self._rate = rate
        self._busses = Busses(self._engine)
        self._inverted = False

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
        """How many samples the model holds back."""
        return self._engine.latency

    @property
    def remainder(self) -> float:
        """Level of what the mask of a model of two busses leaves over, -96 to 0 dB; 0 at first.

        Setting it makes the gain of the other bus 1. ValueError for models of more busses.
        """
        gain = self._busses[-1].gain
        return 20 * math.log10(gain) if gain > 0 else -math.inf

    @remainder.setter
    def remainder(self, decibels: float) -> None:
        self._engine.set_remainder(decibels)

    @property
    def amount(self) -> float:
        """How much of the result is in the output: 0 is the input, 1 the result, as at first."""
        return self._engine.amount()

    @amount.setter
    def amount(self, value: float) -> None:
        self._engine.set_amount(value)

    @property
    def inverted(self) -> bool:
        """Whether what the result lacks comes out instead of what it keeps."""
        return self._inverted

    @inverted.setter
    def inverted(self, value: bool) -> None:
        self._engine.set_inverted(value)
        self._inverted = bool(value)

    def silence_noise(self) -> None:
        """Gives what a model of two busses was made for without its remainder: speech without
        noise. ValueError for models of more busses."""
        self._engine.silence_noise()

    def isolate(self, bus: int | str) -> None:
        """Gives one bus alone, by number or name: its gain becomes 1, all others 0."""
        self._engine.isolate(self._busses[bus].number)

    def process(self, block: npt.ArrayLike, axis: int = -1) -> FloatArray:
        """Pushes a block of any length and gives what is ready, possibly nothing.

        block    floats (channels, samples); with one channel also (samples,).
        axis     that of the samples: 0 for blocks (samples, channels), as soundfile gives them.
        returns  float32 in the same layout; (channels, samples) for one of one dimension. The first
                 sample that comes out belongs to the first that went in.

        After an exception of the engine, what hadn't come out comes out as silence.
        """
        array = float_array(block, "a block")
        if array.ndim == 1 and self._channels == 1:
            array, axis = array[np.newaxis], -1
        if array.ndim == 2:
            array = np.moveaxis(array, axis, -1)
        if array.ndim != 2 or array.shape[0] != self._channels:
            shape = f"({self._channels}, samples)"
            raise ValueError(f"a block has the shape {shape}, not {np.shape(block)}")
        return np.moveaxis(self._engine.process(np.ascontiguousarray(array)), -1, axis)

    def finish(self, axis: int = -1) -> FloatArray:
        """Ends the stream: gives what is still held back, and begins a new stream.

        All of a stream's output is then as long as its input.
        """
        return np.moveaxis(self._engine.finish(), -1, axis)

    def reset(self) -> None:
        """Drops all audio in flight and begins a new stream. Controls stay."""
        self._engine.reset()

    def __repr__(self) -> str:
        state = ", closed" if self.closed else f", busses={self.busses.names}"
        return f"Processor({self._model!r}, channels={self.channels}, rate={self.rate:g}{state})"
