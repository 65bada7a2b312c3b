"""The network: a mask for the voice, from the magnitudes of one frame and of those before it.

Magnitudes go to 96 bands. Ratios stand in for a logarithm over the whole range of a microphone, so that
no level has to be followed, which a knock would throw. Beside them stand memories of half a second and of
two seconds of each band. Convolutions bring the bands to 24 positions. Blocks of two sorts take turns
there: some look back in time, at every position with the same weights, the others across all positions.
The way back to 96 bands is joined at each width by what came in there.
"""

import numpy as np
import torch
from sorvane_training import compiled
from sorvane_training.layers import (ArithmeticLayer, BatchNormLayer, ConcatLayer, ConvLayer,
                                     FrequencyRescaleLayer, LeakyReLULayer, SigmoidLayer,
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


def rectified(network, name, x, extra=None):
    """Returns x after the modules NAME_norm and NAME_rectify of a network, plus EXTRA if given.

    In training they are one step, which changes nothing but the time that it takes.
    """
    norm, rectify = getattr(network, f"{name}norm"), getattr(network, f"{name}rectify", None)
    if network.training and compiled.available():
        return compiled.normalise(norm, x, rectify.slope if rectify else 1.0, extra)
    x = norm(x) if rectify is None else rectify(norm(x))
    return x if extra is None else network.add(extra, x)


class SoftLogarithm(nn.Module):
    """a x / (1 + a x) for several a, which training may move.

    Each is a step in the logarithm of x, 1 / (1 + exp(-ln x - ln a)); with steps of 13 dB their sum is all but
    straight from -60 dBFS to full scale.
    """

    def __init__(self, ratios):
        super().__init__()
        self.scaled = ConvLayer(1, ratios, bias=False)
        self.raised = ConvLayer(1, ratios)
        self.ratio = ArithmeticLayer("divide")
        factors = torch.logspace(-1.5, 3, ratios).reshape(1, 1, 1, ratios)
        self.scaled.weights = nn.Parameter(factors)
        self.raised.weights = self.scaled.weights
        self.raised.bias = nn.Parameter(torch.ones(ratios), requires_grad=False)

    def forward(self, x):
        return self.ratio(self.raised(x), self.scaled(x))


class Memory(nn.Module):
    """What each band was like: a filter in time of TAPS taps for each of some mixes of the ratios."""

    def __init__(self, ratios, channels, taps, dilation):
        super().__init__()
        self.mix = ConvLayer(ratios, channels)
        self.time = ConvLayer(channels, channels, (taps, 1), dilation_t=dilation, depthwise=True)
        with torch.no_grad():  # begins as means
            self.time.weights.mul_(0.1).add_(1 / taps)

    def forward(self, x):
        return self.time(self.mix(x))


class TimeBlock(nn.Module):
    """Three taps in time for each channel, and a mix of channels, added to the input."""

    def __init__(self, channels, dilation):
        super().__init__()
        self.time = ConvLayer(channels, channels, (3, 1), dilation_t=dilation, depthwise=True)
        self.mix = ConvLayer(channels, channels, bias=False)
        self.norm = BatchNormLayer(channels)
        self.rectify = LeakyReLULayer(SLOPE)
        self.add = ArithmeticLayer("add")
        with torch.no_grad():  # begins near the current frame alone
            self.time.weights.mul_(0.3)
            self.time.weights[2] += 0.8

    def forward(self, x):
        return rectified(self, "", self.mix(self.time(x)), x)


class WideBlock(nn.Module):
    """All positions, a few channels of each, through one vector of features, added to the input."""

    def __init__(self, channels, positions, few, features, dilation):
        super().__init__()
        self.fewer = ConvLayer(channels, few, bias=False)
        self.fewer_norm = BatchNormLayer(few)
        self.fewer_rectify = LeakyReLULayer(SLOPE)
        self.inward = ConvLayer(few, features, (1, positions), (1, positions), bias=False)
        self.inward_norm = BatchNormLayer(features)
        self.inward_rectify = LeakyReLULayer(SLOPE)
        self.time = ConvLayer(features, features, (3, 1), dilation_t=dilation, depthwise=True)
        self.outward = TransposedConvLayer(features, few, (1, positions), (1, positions))
        self.outward_rectify = LeakyReLULayer(SLOPE)
        self.more = ConvLayer(few, channels, bias=False)
        self.norm = BatchNormLayer(channels)
        self.add = ArithmeticLayer("add")
        with torch.no_grad():
            self.time.weights.mul_(0.3)
            self.time.weights[2] += 0.8

    def forward(self, x):
        y = rectified(self, "fewer_", self.fewer(x))
        y = self.time(rectified(self, "inward_", self.inward(y)))
        return rectified(self, "", self.more(self.outward_rectify(self.outward(y))), x)


class SpeechNetwork(nn.Module):
    """Magnitudes [batch, T, 257, 1] to masks of the same shape.

    ratios    of the soft logarithm
    memories  channels of each memory
    early     channels of the 48 positions, and half as many of the 96 bands
    channels  of the 24 positions
    few       of them that go through the vector
    features  of the vector
    blocks    one for each letter and number: t for time, w for wide, and a dilation in frames
    """

    def __init__(self, ratios, memories, early, channels, few, features, blocks):
        super().__init__()
        positions = BANDS // 4
        self.bands = FrequencyRescaleLayer.from_matrix(analysis_table())
        self.soft = SoftLogarithm(ratios)
        self.short = Memory(ratios, memories, 8, 4)
        self.long = Memory(ratios, memories, 16, 8)
        self.beside = ConcatLayer()
        seen = ratios + 2 * memories
        self.early = ConvLayer(seen, early, (1, 6), (1, 2), bias=False)
        self.early_norm = BatchNormLayer(early)
        self.early_rectify = LeakyReLULayer(SLOPE)
        self.down = ConvLayer(early, channels, (1, 4), (1, 2), bias=False)
        self.down_norm = BatchNormLayer(channels)
        self.down_rectify = LeakyReLULayer(SLOPE)
        self.blocks = nn.Sequential(*[
            TimeBlock(channels, dilation) if sort == "t" else
            WideBlock(channels, positions, few, features, dilation) for sort, dilation in blocks])
        self.up = TransposedConvLayer(channels, early, (1, 2), (1, 2))
        self.up_pass = ConvLayer(early, early, bias=False)
        self.up_add = ArithmeticLayer("add")
        self.up_rectify = LeakyReLULayer(SLOPE)
        self.refine = ConvLayer(early, early, (1, 3), bias=False)
        self.refine_norm = BatchNormLayer(early)
        self.refine_rectify = LeakyReLULayer(SLOPE)
        self.out = TransposedConvLayer(early, early // 2, (1, 2), (1, 2))
        self.out_pass = ConvLayer(seen, early // 2, bias=False)
        self.out_add = ArithmeticLayer("add")
        self.out_rectify = LeakyReLULayer(SLOPE)
        self.last = ConvLayer(early // 2, 1, (1, 3))
        self.sigmoid = SigmoidLayer()
        self.mask = FrequencyRescaleLayer.from_matrix(
            synthesis_table(np.arange(BINS) * BIN_WIDTH))

    def forward(self, magnitudes):
        x = self.soft(self.bands(magnitudes))
        seen = self.beside(x, self.short(x), self.long(x))
        early = rectified(self, "early_", self.early(seen))
        x = self.blocks(rectified(self, "down_", self.down(early)))
        x = self.up_rectify(self.up_add(self.up(x), self.up_pass(early)))
        x = rectified(self, "refine_", self.refine(x))
        x = self.out_rectify(self.out_add(self.out(x), self.out_pass(seen)))
        return self.mask(self.sigmoid(self.last(x)))


SLOPE = 0.1  # of the rectifiers below 0


def _blocks(text):
    return [(word[0], int(word[1:])) for word in text.split()]


SIZES = {
    "large": dict(ratios=8, memories=4, early=24, channels=48, few=12, features=160, blocks=_blocks(
        "t1 t2 w1 t4 t8 w2 t16 t32 w4 t1 t2 w1 t4 t8 w2 t16 t32 w4")),
    "standard": dict(ratios=8, memories=4, early=16, channels=32, few=8, features=96, blocks=_blocks(
        "t1 t2 w1 t4 t8 w2 t16 t32 w4 t1 t4 w1 t8 t16")),
    "small": dict(ratios=6, memories=2, early=8, channels=16, few=4, features=48, blocks=_blocks(
        "t1 t4 w1 t16 w4 t32")),
}


def make_network(size):
    return SpeechNetwork(**SIZES[size])
