from __future__ import annotations

import os
import sys
import tempfile
import wave
from collections.abc import Iterator
from typing import Any, Protocol

import numpy as np

from ._arguments import FloatArray
from ._denoise import open_denoiser
from ._optional import REASONS, find

_BLOCK = 65536


class Reader(Protocol):
    """An audio file, block by block as floats (samples, channels)."""

    rate: int
    channels: int
    length: int

    def blocks(self) -> Iterator[FloatArray]: ...
    def close(self) -> None: ...


class _Writer(Protocol):
    def write(self, block: FloatArray) -> None: ...
    def close(self) -> None: ...


def denoise_file(source: str | os.PathLike[str], target: str | os.PathLike[str], *,
                 model: str | os.PathLike[str] | None = None, keep: float = 0.0,
                 rest: bool = False, progress: bool | None = None) -> None:
    """Takes the noise out of a file, block by block: its length doesn't matter.

    source    WAV file of integers, or with the package soundfile whatever that reads.
    target    file of the format of its extension, and of the same rate and kind of samples; it
              appears when it is whole.
    model     name or path; by default the installed speech model that suits the rate best.
    keep      how much of the noise stays, 0 to 1.
    rest      gives what was removed instead.
    progress  shows how far it is, with the package tqdm; by default on a terminal.

    Raises OSError for files that can't be read or written, ImportError for those that take
    soundfile, and as Processor does.
    """
    reader = open_reader(os.fspath(source))
    try:
        with open_denoiser(model, reader.channels, reader.rate, keep, rest) as processor:
            folder = os.path.dirname(os.path.abspath(target))
            with tempfile.TemporaryDirectory(dir=folder, prefix=".sorvane-") as stage:
                partial = os.path.join(stage, os.path.basename(target))
                writer = _open_writer(reader, partial)
                try:
                    for block in _shown(reader, progress):
                        writer.write(processor.process(block, axis=0))
                    writer.write(processor.finish(axis=0))
                finally:
                    writer.close()
                os.replace(partial, target)
    finally:
        reader.close()


def _shown(reader: Reader, progress: bool | None) -> Iterator[FloatArray]:
    """The blocks of a file, with a bar that shows how far it is."""
    if progress is None:
        progress = sys.stderr.isatty()
    tqdm = find("tqdm") if progress else None
    if tqdm is None:
        yield from reader.blocks()
        return
    seconds = reader.length / reader.rate
    with tqdm.tqdm(total=round(seconds, 1), unit="s") as bar:
        for block in reader.blocks():
            yield block
            bar.update(len(block) / reader.rate)


def open_reader(path: str) -> Reader:
    """Opens a file; OSError when it can't be read, ImportError where soundfile is missing."""
    soundfile = find("soundfile")
    if soundfile is not None:
        with open(path, "rb"):  # OSError tells more than soundfile
            return _SoundReader(soundfile, path)
    try:
        return _WaveReader(path)
    except (wave.Error, EOFError) as error:
        raise ImportError(f"{path}: {error}; the package 'soundfile' is missing, which "
                          f"{REASONS['soundfile']}", name="soundfile") from error


def _open_writer(reader: Reader, path: str) -> _Writer:
    if isinstance(reader, _SoundReader):
        return _SoundWriter(reader, path)
    if not path.lower().endswith(".wav"):
        raise ImportError(f"{path}: the package 'soundfile' is missing, which "
                          f"{REASONS['soundfile']}", name="soundfile")
    assert isinstance(reader, _WaveReader)
    return _WaveWriter(reader, path)


class _SoundReader:
    """A file that soundfile reads."""

    def __init__(self, soundfile: Any, path: str) -> None:
        self.library = soundfile
        self._file = soundfile.SoundFile(path)
        self.rate = int(self._file.samplerate)
        self.channels = int(self._file.channels)
        self.length = int(self._file.frames)
        self.kind = str(self._file.subtype)

    def blocks(self) -> Iterator[FloatArray]:
        yield from self._file.blocks(_BLOCK, dtype="float32", always_2d=True)

    def close(self) -> None:
        self._file.close()


class _SoundWriter:
    """A file that soundfile writes."""

    def __init__(self, reader: _SoundReader, path: str) -> None:
        library = reader.library
        name = os.path.splitext(path)[1][1:].upper()
        container = {"AIF": "AIFF", "OGA": "OGG", "OPUS": "OGG", "SND": "AU"}.get(name, name)
        kind = "OPUS" if name == "OPUS" else reader.kind
        if not library.check_format(container, kind):
            kind = library.default_subtype(container)
        self._file = library.SoundFile(path, "w", reader.rate, reader.channels, kind,
                                       format=container)

    def write(self, block: FloatArray) -> None:
        self._file.write(block)

    def close(self) -> None:
        self._file.close()


class _WaveReader:
    """A WAV file of integers, without another package."""

    def __init__(self, path: str) -> None:
        self._file = wave.open(path, "rb")
        self.rate = self._file.getframerate()
        self.channels = self._file.getnchannels()
        self.length = self._file.getnframes()
        self.width = self._file.getsampwidth()

    def blocks(self) -> Iterator[FloatArray]:
        while data := self._file.readframes(_BLOCK):
            whole = len(data) // (self.width * self.channels) * self.width * self.channels
            samples = np.frombuffer(data[:whole], np.uint8).reshape(-1, self.width)
            wide = np.zeros((len(samples), 4), np.uint8)  # the upper bytes of 32 bits
            wide[:, 4 - self.width :] = samples if self.width > 1 else samples ^ 0x80
            values = wide.view("<i4").reshape(-1, self.channels)
            yield (values / 2.0**31).astype(np.float32)

    def close(self) -> None:
        self._file.close()


class _WaveWriter:
    """A WAV file like the one that is read."""

    def __init__(self, reader: _WaveReader, path: str) -> None:
        self._width = reader.width
        self._file = wave.open(path, "wb")
        self._file.setparams((reader.channels, reader.width, reader.rate, 0, "NONE", ""))

    def write(self, block: FloatArray) -> None:
        full = 2.0 ** (8 * self._width - 1)
        values = np.clip(np.rint(block * np.float64(full)), -full, full - 1)
        samples = np.nan_to_num(values).astype("<i4").reshape(-1, 1).view(np.uint8)
        kept = samples[:, : self._width]
        self._file.writeframes((kept if self._width > 1 else kept ^ 0x80).tobytes())

    def close(self) -> None:
        self._file.close()
