"""Every kind of layer: the engine, PyTorch over whole streams, and PyTorch in pieces."""

import numpy as np
import pytest
import torch

from sorvane_training.engine import EngineModel
from sorvane_training.layers import (ALL, ARPreNormLayer, ArithmeticLayer, ConcatLayer, ConvLayer,
                                     DenseLayer, ELULayer, FrequencyRescaleLayer, HardSigmoidLayer,
                                     LeakyReLULayer, NormLayer, PreNormLayer, ReLULayer,
                                     SelfAttentionLayer, SeparableChannelConvLayer, SigmoidLayer,
                                     SoftplusLayer, TransposedConvLayer)
from sorvane_training.network import FileNetwork
from sorvane_training.parity import TOLERANCE, difference, held_frames

from networks import model_of, randomise, record

F, C = 9, 4

LAYERS = {
    "no bias": ConvLayer(C, 3, (2, 3), bias=False),
    "strides": ConvLayer(C, 5, (3, 3), (2, 2), delay=1),
    "long stride": ConvLayer(C, 5, (2, 2), (3, 1), delay=4),
    "dilation": ConvLayer(C, 2, (3, 1), dilation_t=5, delay=3),
    "kernel below stride": ConvLayer(C, 2, (2, 1), (1, 3)),
    "all positions over time": ConvLayer(C, 7, (3, 9), (1, 9), dilation_t=2),
    "depthwise over time": ConvLayer(C, C, (3, 1), dilation_t=4, delay=2, depthwise=True),
    "depthwise": ConvLayer(C, C, (2, 3), (2, 2), depthwise=True),
    "two filters a channel": ConvLayer(C, 2 * C, (2, 3), depthwise=True),
    "transposed": TransposedConvLayer(C, 3, (4, 3), (2, 2)),
    "transposed with delay": TransposedConvLayer(C, 3, (3, 2), (2, 3), delay=3),
    "transposed with gaps": TransposedConvLayer(C, 3, (2, 1), (4, 3), delay=1, bias=False),
    "bands from one": TransposedConvLayer(C, 2, (1, 6), (1, 6)),
    "transposed depthwise": TransposedConvLayer(C, C, (3, 3), (1, 2), depthwise=True),
    "separable": SeparableChannelConvLayer(5, 4),
    "separable even": SeparableChannelConvLayer(4, 3),
    "dense": DenseLayer(F, C),
    "rms": NormLayer(C, bias=True),
    "rms without bias": NormLayer(C),
    "affine": NormLayer(C, "affine"),
    "level of a window": PreNormLayer([1.0, 1.0, 1.0, 1.0]),
    "level follower": ARPreNormLayer(0.3, 0.9, 0.01),
    "mix": SelfAttentionLayer(F, C),
    "mix of filtered": SelfAttentionLayer(F, C, taps=3, delay=2),
    "relu": ReLULayer(), "leaky": LeakyReLULayer(0.2), "elu": ELULayer(), "sigmoid": SigmoidLayer(),
    "hard sigmoid": HardSigmoidLayer(), "softplus": SoftplusLayer(),
    "rescale": FrequencyRescaleLayer([(0, [1, 2]), (3, [0.5]), (3, [1, 1, 1, 1, 1, 1]), (8, [2])]),
}
JOINS = [ConcatLayer()] + [ArithmeticLayer(operation) for operation in ArithmeticLayer.OPERATIONS]


def frames(count=24, seed=0):
    """Noise of changing level, with limits of the functions passed now and then."""
    random = np.random.default_rng(seed)
    levels = 10 ** random.uniform(-2, 1, (count, 1, 1))
    return (random.standard_normal((count, F, C)) * levels).astype(np.float32)


def check_parity(model, x, tmp_path):
    path = tmp_path / "network.model"
    model.write(path)
    network = FileNetwork(model)
    whole = network.run(x)
    with EngineModel(path) as engine:
        result = engine.run(x)
        again = engine.run(x)
    # Where single floats lose more by themselves, the engine may lose as much.
    own = difference(whole, FileNetwork(model).double().run(x)).relative
    found = difference(result, whole)
    assert found.relative <= max(TOLERANCE, 3 * own) and own < 1e-5, (found, own)
    assert 0 < len(result) <= len(whole)
    np.testing.assert_array_equal(result, again)
    for step in (1, 5):
        pieces = network.run(x, step)
        assert difference(pieces, whole).relative <= max(TOLERANCE, 3 * own)
        assert len(pieces) == len(whole)
    return len(result), len(whole)


def test_table_has_every_kind():
    assert {type(layer) for layer in [*LAYERS.values(), *JOINS]} == set(ALL)


@pytest.mark.parametrize("half", [False, True])
@pytest.mark.parametrize("name", LAYERS)
def test_layer(name, half, tmp_path):
    torch.manual_seed(3)
    layer = LAYERS[name]
    if "level of" not in name:
        randomise(layer)
    model = model_of(F, C, [record("one", layer, ["input"], half)])
    engine_frames, frames_of_torch = check_parity(model, frames(), tmp_path)
    # A burst comes out frame by frame; all else must be there.
    assert engine_frames == frames_of_torch or "transposed" in name


@pytest.mark.parametrize("layer", JOINS, ids=lambda layer: getattr(layer, "operation", "concat"))
def test_join(layer, tmp_path):
    torch.manual_seed(4)
    records = [record("late", randomise(ConvLayer(C, C, (3, 3), delay=2)), ["input"]),
               record("early", SigmoidLayer(), ["input"]),
               record("last", SelfAttentionLayer(F, C), ["late"]),
               record("one", layer, ["early", "late", "last"])]
    if getattr(layer, "operation", "") == "divide":
        records[2] = record("last", ReLULayer(), ["late"])
        records[3].inputs = ["early", "last"]
    check_parity(model_of(F, C, records), frames(), tmp_path)


def test_halves_of_the_rate_meet_again(tmp_path):
    """Down to half the frames and back, beside the full rate."""
    torch.manual_seed(5)
    records = [record("half", randomise(ConvLayer(C, 6, (2, 3), (2, 1), delay=1)), ["input"]),
               record("elu", ELULayer(), ["half"]),
               record("full", randomise(TransposedConvLayer(6, C, (2, 1), (2, 1), 1)), ["elu"]),
               record("sum", ArithmeticLayer("add"), ["input", "full"])]
    model = model_of(F, C, records)
    given, expected = check_parity(model, frames(), tmp_path)
    assert 0 <= expected - given <= held_frames(model) == 1


def test_gradient_through_the_level():
    x = torch.randn(2, 12, 3, 1, dtype=torch.double, requires_grad=True)
    assert torch.autograd.gradcheck(ARPreNormLayer(0.3, 0.9, 0.1), x)
