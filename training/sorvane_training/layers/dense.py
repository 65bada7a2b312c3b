"""A full matrix over the frequency axis."""

import torch

from .base import Layer, loaded, stored, uniform_weights


class DenseLayer(Layer):
    """Each channel's positions times a matrix of its own.

    `weights` [positions, positions, channels]: output, input, channel. `bias` [positions,
    channels].
    """

    kind = 14

    def __init__(self, positions, channels, bias=True):
        super().__init__()
        self.weights = uniform_weights(positions, positions, channels, fan_in=positions)
        self.bias = uniform_weights(positions, channels, fan_in=positions) if bias else None

    def forward(self, x, state=None):
        out = torch.einsum("btjc,ijc->btic", x, self.weights)
        return out if self.bias is None else out + self.bias

    def fields(self):
        bias = stored(self.bias)
        return {"weights": stored(self.weights), "bias": None if bias is None else bias.reshape(-1)}

    @classmethod
    def from_fields(cls, fields, in_shape):
        layer = cls(*in_shape)
        layer.weights = loaded(fields["weights"])
        bias = fields["bias"]
        layer.bias = loaded(None if bias is None or not bias.size else bias.reshape(in_shape))
        return layer
