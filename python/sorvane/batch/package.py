"""Cleans a file within the worker, where the program `sorvane` isn't installed."""

from __future__ import annotations

import math
import os
import time
from typing import Any

import sorvane

from .._files import open_reader
from .._model import speech_model
from .settings import Settings


def denoise(source: str, target: str, settings: Settings) -> dict[str, Any]:
    """Makes `target`, and reports as the program does."""
    if settings.stems is not None or settings.bitrate is not None:
        raise ValueError("stems and bit rates take the program sorvane on the workers")
    reader = open_reader(source)
    rate, seconds = reader.rate, reader.length / reader.rate
    reader.close()
    model = settings.model or speech_model(rate)
    begin = time.perf_counter()
    sorvane.denoise_file(source, target, model=model, keep=gain_of(settings.keep),
                         rest=settings.rest, progress=False)
    took = time.perf_counter() - begin
    return {"seconds": seconds, "processingSeconds": took,
            "realTimeFactor": took / seconds if seconds > 0 else None,
            "model": os.fspath(model), "version": sorvane.__version__, "outputs": []}


def gain_of(keep: str | None) -> float:
    """The gain of the noise that "10%", "-20dB" or "-20" stand for."""
    if keep is None:
        return 0.0
    text = keep.strip().lower()
    gain = math.nan
    if text.endswith("%"):
        gain = float(text[:-1]) / 100
    elif float(text.removesuffix("db")) >= -96:
        gain = 10 ** (float(text.removesuffix("db")) / 20)
    if not 0 <= gain <= 1:
        raise ValueError(f"{keep!r} is neither a share, 0% to 100%, nor a level, -96dB to 0dB")
    return gain
