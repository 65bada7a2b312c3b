"""One filter over time and one over frequency for all channels."""

import torch
from torch import nn
from torch.nn import functional

from .base import Layer, drop_first, frames_before, stored


class SeparableChannelConvLayer(Layer):
    """The same short filter in time, then in frequency, on every channel.

    `time_taps` [Kt] in the file's order: taps 0 to Kt - 2 meet the frames 1 to Kt - 1 back, and tap
    Kt - 1 meets the current frame. `freq_taps` [Kf]: tap q moves by q - (Kf - 1) // 2 positions
    upwards. The first (Kt + 1) // 2 - 1 outputs are missing. Begins as the identity.
    """

    kind = 15

    def __init__(self, time_taps=1, freq_taps=1):
        super().__init__()
        self.time_taps = nn.Parameter(torch.zeros(time_taps))
        self.freq_taps = nn.Parameter(torch.zeros(freq_taps))
        with torch.no_grad():
            self.time_taps[-1] = 1
            self.freq_taps[(freq_taps - 1) // 2] = 1

    def forward(self, x, state=None):
        taps = self.time_taps.shape[0]
        joined = frames_before(x, taps - 1, state)
        out = joined[:, taps - 1:] * self.time_taps[-1]
        for k in range(taps - 1):
            out = out + joined[:, taps - 2 - k:joined.shape[1] - 1 - k] * self.time_taps[k]
        return drop_first(self._filter_positions(out), (taps + 1) // 2 - 1, state)

    def _filter_positions(self, x):
        taps = self.freq_taps.shape[0]
        if taps == 1:
            return x * self.freq_taps[0]
        half = (taps - 1) // 2
        x = functional.pad(x, (0, 0, taps - 1 - half, half))
        positions = x.shape[2] - taps + 1
        return sum(x[:, :, taps - 1 - q:taps - 1 - q + positions] * self.freq_taps[q]
                   for q in range(taps))

    def fields(self):
        return {"timeTaps": stored(self.time_taps), "freqTaps": stored(self.freq_taps)}

    @classmethod
    def from_fields(cls, fields, in_shape):
        layer = cls(len(fields["timeTaps"]), len(fields["freqTaps"]))
        layer.time_taps.data = torch.tensor(fields["timeTaps"])
        layer.freq_taps.data = torch.tensor(fields["freqTaps"])
        return layer
