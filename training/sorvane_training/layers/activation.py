"""Functions of single values."""

import torch
from torch.nn import functional

from .base import Layer


class ReLULayer(Layer):
    """max(x, 0)"""

    kind = 4

    def forward(self, x, state=None):
        return functional.relu(x)


class LeakyReLULayer(Layer):
    """max(x, 0) + slope min(x, 0)"""

    kind = 12

    def __init__(self, slope=0.01):
        super().__init__()
        self.slope = slope

    def forward(self, x, state=None):
        return functional.leaky_relu(x, self.slope)

    def fields(self):
        return {"slope": self.slope}

    @classmethod
    def from_fields(cls, fields, in_shape):
        return cls(**fields)


class ELULayer(Layer):
    """max(x, 0) + exp(min(x, 0)) - 1"""

    kind = 5

    def forward(self, x, state=None):
        return functional.elu(x)


class SigmoidLayer(Layer):
    """1 / (1 + exp(-y)), with y the input limited to -10 and 10"""

    kind = 6

    def forward(self, x, state=None):
        return torch.sigmoid(x.clamp(-10, 10))


class HardSigmoidLayer(Layer):
    """x / 6 + 0.5 within 0 and 1"""

    kind = 20

    def forward(self, x, state=None):
        return functional.hardsigmoid(x)


class SoftplusLayer(Layer):
    """ln(1 + exp(x)), infinite where exp(x) is in single floats"""

    kind = 17
    LARGEST_EXPONENT = 88.722839  # the largest float whose exponential is finite

    def forward(self, x, state=None):
        out = functional.softplus(x)
        return torch.where(x > self.LARGEST_EXPONENT, torch.full_like(out, float("inf")), out)
