"""How audio becomes a network's tensors: the engine's frames, spectra and packings."""

import math
from dataclasses import dataclass
from typing import ClassVar

import numpy as np


@dataclass(frozen=True)
class Packing:
    """The rows and columns that a spectrum's bins take in a tensor. Made by the class methods.

    code 1  a row for each bin: its magnitude
         2  below low_bins four rows for each: positive parts of re, im, -re, -im; above as 1
         4  a row for each bin and two columns for each channel: re, im
         6  as 4, but from low_bins on a row for the mean of each `group` bins
    """

    code: int
    bins: int
    low_bins: int = 0
    group: int = 1

    # The types of the parameters in a file.
    PARAMETERS: ClassVar = {1: ("i16",), 2: ("i16", "i16"), 4: ("i16",), 6: ("i16", "i16", "i8")}

    @classmethod
    def magnitudes(cls, bins):
        return cls(1, bins)

    @classmethod
    def rectified(cls, low_bins, bins):
        return cls(2, bins, low_bins)

    @classmethod
    def complex(cls, bins):
        return cls(4, bins)

    @classmethod
    def grouped(cls, low_bins, bins, group):
        return cls(6, bins, low_bins, group)

    @classmethod
    def from_parameters(cls, code, values):
        low = values[0] if code in (2, 6) else 0
        return cls(code, low + values[1] if code in (2, 6) else values[0], low, *values[2:])

    def parameters(self):
        """Type and value of each parameter in the file."""
        values = (self.bins,)
        if self.code in (2, 6):
            values = (self.low_bins, self.bins - self.low_bins, self.group)
        return list(zip(self.PARAMETERS[self.code], values))

    @property
    def columns(self):
        """Columns for each channel."""
        return 2 if self.code in (4, 6) else 1

    @property
    def rows(self):
        """F of a packed tensor."""
        if self.code == 6:
            return self.low_bins + (self.bins - self.low_bins) // max(self.group, 1)
        return self.bins + 3 * self.low_bins

    def pack(self, spectra):
        """Spectra [T, channels, bins] as a tensor [T, rows, columns]; bins that lack count as 0."""
        frames, channels, given = spectra.shape
        x = np.zeros((frames, channels, self.bins), np.complex64)
        x[:, :, :min(given, self.bins)] = spectra[:, :, :self.bins]
        low, high = x[:, :, :self.low_bins], x[:, :, self.low_bins:]
        if self.code in (1, 2):
            parts = np.stack([low.real, low.imag, -low.real, -low.imag], axis=3)
            rows = np.concatenate([np.maximum(parts, 0).reshape(frames, channels, -1),
                                   np.abs(high)], axis=2)
            return np.ascontiguousarray(rows.transpose(0, 2, 1), np.float32)
        if self.code == 6:
            groups = self.rows - self.low_bins
            means = high[:, :, :groups * self.group].reshape(frames, channels, groups, self.group)
            x = np.concatenate([low, means.mean(axis=3)], axis=2)
        pairs = np.stack([x.real, x.imag], axis=2).reshape(frames, 2 * channels, -1)
        return np.ascontiguousarray(pairs.transpose(0, 2, 1), np.float32)


def hann(length):
    """The window whose values stand half a sample inside its ends."""
    return 0.5 - 0.5 * np.cos((np.arange(length) + 0.5) * (2 * math.pi / length))


def analysis_window(frame_length, hop):
    """The window that the engine puts on a frame before it transforms it."""
    window = hann(frame_length)
    return (np.sqrt(window) if frame_length < 3 * hop else window).astype(np.float32)


def spectra(samples, fft_length, frame_length, hop):
    """Spectra [T, channels, fft_length / 2 + 1] of samples [channels, length], as the engine's.

    They begin with the engine's zeros before the stream, and are not scaled: bin 0 is the sum of
    the windowed samples. Zeros that fill up a frame stand before it.
    """
    samples = np.atleast_2d(np.asarray(samples, np.float32))
    lead = frame_length - (1 if frame_length < 3 * hop else 2) * hop
    padded = np.pad(samples, ((0, 0), (lead, 0)))
    count = max(0, (padded.shape[1] - frame_length) // hop + 1)
    frames = np.empty((count, samples.shape[0], frame_length), np.float32)
    for t, frame in enumerate(frames):
        frame[:] = padded[:, t * hop:t * hop + frame_length]
    frames = frames * analysis_window(frame_length, hop)
    frames = np.pad(frames, ((0, 0), (0, 0), (fft_length - frame_length, 0)))
    return np.fft.rfft(frames).astype(np.complex64)
