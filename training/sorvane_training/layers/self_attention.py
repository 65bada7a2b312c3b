"""A fixed mix of channels, with a filter in time before it and a constant for each position."""

import torch
from torch import nn

from .base import Layer, drop_first, frames_before, loaded, stored


class SelfAttentionLayer(Layer):
    """out[f] = x[f] @ attention + bias[f]; begins as the identity, with no filter in time.

    taps   K of `time_taps` [K, channels], the oldest frame's first; 0 for none.
    delay  how many of the first outputs are missing.

    `attention` [channels, channels]: input, output. `bias` [positions, channels]: so with
    attention.requires_grad_(False) the layer is a trained constant for each position.
    """

    kind = 19

    def __init__(self, positions, channels, taps=0, delay=0):
        super().__init__()
        self.delay = delay
        self.attention = nn.Parameter(torch.eye(channels))
        self.bias = nn.Parameter(torch.zeros(positions, channels))
        self.time_taps = None
        if taps:
            self.time_taps = nn.Parameter(torch.zeros(taps, channels))
            with torch.no_grad():
                self.time_taps[-1] = 1

    def forward(self, x, state=None):
        if self.time_taps is not None:
            x = self._filter_time(x, state)
        out = x * self.attention[0, 0] if x.shape[3] == 1 else x @ self.attention
        return drop_first(out + self.bias, self.delay, state)

    def _filter_time(self, x, state):
        taps = self.time_taps.shape[0]
        joined = frames_before(x, taps - 1, state)
        return sum(joined[:, k:k + x.shape[1]] * self.time_taps[k] for k in range(taps))

    def fields(self):
        return {"attention": stored(self.attention), "bias": stored(self.bias),
                "delay": self.delay, "timeTaps": stored(self.time_taps)}

    @classmethod
    def from_fields(cls, fields, in_shape):
        layer = cls(*in_shape, delay=fields["delay"])
        layer.attention = loaded(fields["attention"])
        layer.bias = loaded(fields["bias"].reshape(in_shape))
        layer.time_taps = loaded(fields["timeTaps"])
        return layer
