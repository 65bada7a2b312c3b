"""The network: a mask for the voice, from the magnitudes of one frame and of those before it.

Magnitudes go to 96 bands and are divided by a level that follows the signal, so that loud and quiet
recordings look alike. Ratios stand in for a logarithm. Convolutions over frequency bring the bands to
16 positions, and these to one vector of features; the blocks look back in time over two to three
seconds. The way back to 96 bands is joined at each width by what came in there.
"""

import numpy as np
import torch
from sorvane_training.layers import (ARPreNormLayer, ArithmeticLayer, ConvLayer, ELULayer,
                                     FrequencyRescaleLayer, NormLayer, SigmoidLayer,
                                     TransposedConvLayer)
from torch import nn

BIN_WIDTH = 31.25  # hertz, of the 512 samples of a frame at 16 kHz
BINS, SINGLE_BANDS, WIDE_BANDS = 257, 64, 32
BANDS = SINGLE_BANDS + WIDE_BANDS


def band_edges():
    """Returns the first bin of each band, and one bin past the last: 64 single bins, then means of
    ever more, each band wider than the one before by the same factor."""
    low, high = 1.0, 1.2
    for _ in range(60):
        factor = (low + high) / 2
        widths = 2 * factor ** np.arange(WIDE_BANDS)
        low, high = (low, factor) if widths.sum() > BINS - SINGLE_BANDS else (factor, high)
    wide = np.round(SINGLE_BANDS + np.cumsum(widths)).astype(int)
    return np.concatenate([np.arange(SINGLE_BANDS + 1), wide])


def analysis_table():
    """Returns the matrix [bands, bins] from magnitudes to bands."""
    edges = band_edges()
    table = np.zeros((BANDS, BINS), np.float32)
    for band, (begin, end) in enumerate(zip(edges[:-1], edges[1:])):
        table[band, begin:end] = 1 / (end - begin)
    return table


def synthesis_table(frequencies):
    """Returns the matrix [bins, bands] that interpolates the bands' masks at FREQUENCIES in hertz."""
    edges = band_edges()
    centres = (edges[:-1] + edges[1:] - 1) / 2 * BIN_WIDTH
    positions = np.interp(frequencies, centres, np.arange(BANDS))
    below = np.minimum(positions.astype(int), BANDS - 2)
    table = np.zeros((len(frequencies), BANDS), np.float32)
    rows = np.arange(len(frequencies))
    table[rows, below] = 1 - (positions - below)
    table[rows, below + 1] = positions - below
    return table


class SoftLogarithm(nn.Module):
    """a x / (1 + a x) for several a, which training may move."""

    def __init__(self, ratios):
        super().__init__()
        self.scaled = ConvLayer(1, ratios, bias=False)
        self.raised = ConvLayer(1, ratios)
        self.ratio = ArithmeticLayer("divide")
        factors = torch.logspace(-1.3, 2, ratios).reshape(1, 1, 1, ratios)
        self.scaled.weights = nn.Parameter(factors)
        self.raised.weights = self.scaled.weights
        self.raised.bias = nn.Parameter(torch.ones(ratios), requires_grad=False)

    def forward(self, x):
        return self.ratio(self.raised(x), self.scaled(x))


class Block(nn.Module):
    """Three taps in time for each feature, and a mix of features, added to the input."""

    def __init__(self, features, dilation):
        super().__init__()
        self.norm = NormLayer(features)
        self.time = ConvLayer(features, features, (3, 1), dilation_t=dilation, depthwise=True)
        self.mix = ConvLayer(features, features)
        self.elu = ELULayer()
        self.add = ArithmeticLayer("add")
        with torch.no_grad():  # begins near the current frame alone
            self.time.weights.mul_(0.3)
            self.time.weights[2] += 0.8

    def forward(self, x):
        return self.add(x, self.elu(self.mix(self.time(self.norm(x)))))


class SpeechNetwork(nn.Module):
    """Magnitudes [batch, T, 257, 1] to masks of the same shape.

    ratios     of the soft logarithm
    early      channels of the 96 bands
    middle     channels of the 16 positions
    features   of the blocks' vector
    dilations  in frames, one for each block
    """

    def __init__(self, ratios, early, middle, features, dilations):
        super().__init__()
        stride = 6
        positions = BANDS // stride
        self.bands = FrequencyRescaleLayer.from_matrix(analysis_table())
        self.level = ARPreNormLayer(0.8, 0.99, 1e-3)
        self.soft = SoftLogarithm(ratios)
        self.early = ConvLayer(ratios, early, (3, 5))
        self.early_elu = ELULayer()
        self.down = ConvLayer(early, middle, (1, stride), (1, stride))
        self.down_elu = ELULayer()
        self.inward = ConvLayer(middle, features, (1, positions), (1, positions))
        self.inward_elu = ELULayer()
        self.blocks = nn.Sequential(*[Block(features, dilation) for dilation in dilations])
        self.outward = TransposedConvLayer(features, middle, (1, positions), (1, positions))
        self.add_middle = ArithmeticLayer("add")
        self.outward_elu = ELULayer()
        self.up = TransposedConvLayer(middle, early, (1, stride), (1, stride))
        self.add_early = ArithmeticLayer("add")
        self.up_elu = ELULayer()
        self.late = ConvLayer(early, early, (1, 5))
        self.late_elu = ELULayer()
        self.last = ConvLayer(early, 1, (1, 3))
        self.sigmoid = SigmoidLayer()
        self.mask = FrequencyRescaleLayer.from_matrix(
            synthesis_table(np.arange(BINS) * BIN_WIDTH))

    def forward(self, magnitudes):
        x = self.soft(self.level(self.bands(magnitudes)))
        early = self.early_elu(self.early(x))
        middle = self.down_elu(self.down(early))
        x = self.blocks(self.inward_elu(self.inward(middle)))
        x = self.outward_elu(self.add_middle(self.outward(x), middle))
        x = self.up_elu(self.add_early(self.up(x), early))
        return self.mask(self.sigmoid(self.last(self.late_elu(self.late(x)))))


SIZES = {
    "standard": dict(ratios=6, early=8, middle=24, features=128,
                     dilations=(1, 2, 4, 8, 16, 32, 1, 2, 4, 8, 16)),
    "small": dict(ratios=4, early=8, middle=12, features=64, dilations=(1, 3, 9, 27)),
}


def make_network(size):
    return SpeechNetwork(**SIZES[size])
