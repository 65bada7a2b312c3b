"""What the outline says of networks whose numbers are known."""

import math
import unittest
from fractions import Fraction

import numpy as np

from sorvane_training.model_file import LayerRecord, ModelError, Tensor
from sorvane_training.outline import check, outline
from sorvane_training.packing import Packing

from sample_models import BINS, every_kind, header


def conv(name, source, shape, bias=None, **numbers):
    fields = {"weights": Tensor(np.ones(shape, np.float32)), "strideT": 1, "strideF": 1,
              "bias": None if bias is None else Tensor(np.ones(bias, np.float32)),
              "dilationT": 1, "unusedParameter": 0, "delay": 0, **numbers}
    return LayerRecord(name, 2, [source], fields)


def transposed(name, source, shape, **numbers):
    record = conv(name, source, shape, **numbers)
    return LayerRecord(name, 3, [source], {**record.fields, "outputChannels": shape[2]})


def attention(name, source, delay, taps=0, positions=BINS):
    def tensor(*shape):
        return Tensor(np.ones(shape, np.float32))

    return LayerRecord(name, 19, [source], {
        "attention": tensor(1, 1), "bias": tensor(positions, 1), "delay": delay,
        "timeTaps": tensor(taps, 1) if taps else None})


def network(*layers):
    return header(layers=list(layers), output_source=layers[-1].name)


class Numbers(unittest.TestCase):
    def test_known_networks(self):
        for what, model, shape, parameters, operations, latency, field in (
                ("kernel", network(conv("a", "input", (3, 5, 1, 4), 4, dilationT=2, delay=1)),
                 (8, 4), 64, 8 * (2 * 60 + 4), 1, 5),
                ("strides", network(conv("a", "input", (1, 8, 1, 6), strideF=8),
                                    transposed("b", "a", (1, 8, 1, 6), strideF=8)),
                 (8, 1), 96, 2 * 48 + 2 * 48, 0, 1),
                ("two rates", network(conv("half", "input", (4, 1, 1, 1), strideT=2, delay=3),
                                      conv("late", "half", (1, 1, 1, 1), delay=1),
                                      transposed("back", "late", (2, 1, 1, 1), strideT=2)),
                 (8, 1), 7, 8 * (8 // 2 + 2 // 2 + 4 // 2), 3 + 2, 5),
                ("no scale for attention", network(conv("half", "input", (1, 1, 1, 1), strideT=2),
                                                   attention("b", "half", 3, taps=2)),
                 (8, 1), 1 + 1 + 8 + 2, 8 * (2 + 7) // 2, 3, 3),
                ("dead ends", network(attention("dead", "input", 5), conv("a", "input", (1,) * 4)),
                 (8, 1), 10, 8 * 3 + 8 * 2, 5, 1)):
            with self.subTest(what):
                whole = outline(model)
                output = whole.output
                self.assertEqual((output.positions, output.channels), shape)
                self.assertEqual(whole.parameters, parameters)
                self.assertEqual(whole.operations, operations)
                self.assertEqual(whole.latency_frames, latency)
                self.assertEqual(whole.receptive_field, field)

    def test_every_kind(self):
        whole = check(every_kind())
        self.assertEqual(whole.output.rate, Fraction(1))
        self.assertEqual(whole.receptive_field, math.inf)  # it follows a level
        self.assertIn("receptive field   without end", whole.text())
        self.assertEqual(len(whole.text().splitlines()), 18 + 4)


class Refusals(unittest.TestCase):
    def test_reasons(self):
        joined = [conv("half", "input", (1,) * 4, strideT=2), conv("wide", "input", (1, 1, 1, 3)),
                  conv("low", "input", (1,) * 4, strideF=2)]
        for reason, model in {
                "layer a (ConvLayer): the weights take 2 channels, the input has 1":
                    network(conv("a", "input", (1, 1, 2, 1))),
                "layer b (ConvLayer): 4 depthwise filters don't divide among 3":
                    network(joined[1], conv("b", "wide", (1, 1, 1, 4))),
                "layer a (ConvLayer): the delay is -1": network(
                    conv("a", "input", (1,) * 4, delay=-1)),
                "layer a (ConvLayer): the stride leaves none of 8": network(
                    conv("a", "input", (1,) * 4, strideF=9)),
                "layer x (ArithmeticLayer): its inputs have different rates": network(
                    *joined, LayerRecord("x", 18, ["input", "half"], {"operation": 2})),
                "layer x (ArithmeticLayer): its inputs have different shapes: 8 x 1, 8 x 3":
                    network(*joined, LayerRecord("x", 18, ["input", "wide"], {"operation": 2})),
                "layer x (FrequencyRescaleLayer): band 0 reads positions 7 to 8 of 8": network(
                    LayerRecord("x", 22, ["input"], {
                        "bands": [(7, Tensor(np.ones(2, np.float32)))]})),
                "layer x (SelfAttentionLayer): the bias isn't 8 x 1": network(
                    attention("x", "input", 0, positions=7)),
                "hop 512, frame 384 and transform 512 don't rise": header(hop=512),
                "the transform's length 500 is no power": header(fft_length=500),
                "the packing has 4 low bins of 16, and groups of 0": header(
                    Packing.grouped(4, 16, 0)),
                "the output of wide is 8 x 3, but the packings, channels and masks make it 8 x 1":
                    network(joined[1]),
                "half gives 1/2 frames": network(joined[0])}.items():
            with self.assertRaises(ModelError) as raised:
                check(model)
            self.assertTrue(str(raised.exception).startswith(reason), str(raised.exception))


if __name__ == "__main__":
    unittest.main()
