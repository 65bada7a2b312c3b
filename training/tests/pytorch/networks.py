"""Networks for the tests: of given layers, and random ones of all kinds."""

import numpy as np
import torch

from sorvane_training import layers as kinds
from sorvane_training.model_file import LayerRecord, ModelFile, Tensor
from sorvane_training.network import FileNetwork
from sorvane_training.outline import Stream, outline
from sorvane_training.packing import Packing


def header(bins, masks=1, packing=None, **others):
    packing = packing or Packing.magnitudes(bins)
    return ModelFile(sample_rate=16000, fft_length=512, frame_length=512, hop=256,
                     input_packing=packing, output_packing=packing,
                     bus_names=[f"bus {i}" for i in range(masks + 1)], **others)


def randomise(network, scale=1.0):
    """Fills all parameters with noise of a scale that keeps values in range."""
    for parameter in network.parameters():
        fan = parameter.shape[-2] if parameter.ndim == 4 else 1
        parameter.data = torch.randn_like(parameter) * scale / fan ** 0.5
    return network


def record(name, layer, inputs, half=False):
    """A layer of `layers` as the file's record."""
    fields = {}
    for field, value in layer.fields().items():
        if field == "bands":
            value = [(start, Tensor(weights, half)) for start, weights in value]
        elif isinstance(value, np.ndarray):
            value = Tensor(value, half)
        fields[field] = value
    return LayerRecord(name, layer.kind, inputs, fields)


def model_of(positions, channels, records):
    """The file of layers on frames [positions, channels]."""
    model = header(positions, num_input_channels=channels)
    model.layers, model.output_source = records, records[-1].name
    return model


class RandomNetwork:
    """Layers one after the other, joined now and then with earlier values of the same shape.

    A layer whose values leave a range, where rounding would be all that two runs differ in, isn't
    taken.
    """

    def __init__(self, seed, count=14):
        self.random = np.random.default_rng(seed)
        torch.manual_seed(seed)
        self.start = (int(self.random.integers(3, 12)), int(self.random.integers(1, 5)))
        self.frames = self.random.standard_normal((20, *self.start)).astype(np.float32)
        self.records = []
        while len(self.records) < count:
            self.records.append(self.next(f"layer {len(self.records)}"))
            largest = np.abs(FileNetwork(self.model()).run(self.frames)).max(initial=0)
            if not 0.05 < largest < 20:
                self.records.pop()

    def model(self):
        return model_of(*self.start, self.records)

    def next(self, name):
        streams = {"input": Stream(*self.start)}
        if self.records:
            streams |= {layer.name: layer.stream for layer in outline(self.model()).layers}
        source = list(streams)[-1]
        f, c, rate = streams[source].positions, streams[source].channels, streams[source].rate
        same = [other for other, s in streams.items() if other != source and
                (s.positions, s.channels, s.rate) == (f, c, rate)]
        half = bool(self.random.random() < 0.3)
        if same and self.random.random() < 0.4:
            operation = self.random.choice(["multiply", "add", "subtract", "concat"])
            layer = (kinds.ConcatLayer() if operation == "concat" and c < 6 else
                     kinds.ArithmeticLayer("add" if operation == "concat" else operation))
            return record(name, layer, [source, str(self.random.choice(same))], half)
        layer = self.layer(f, c)
        if not isinstance(layer, kinds.PreNormLayer):
            randomise(layer, 0.7)
        return record(name, layer, [source], half)

    def layer(self, f, c):
        r = self.random
        taps, kernel = int(r.integers(1, 4)), int(r.integers(1, 5))
        out = int(r.integers(1, 6))
        makers = [
            lambda: kinds.ConvLayer(c, out, (taps, kernel), (1, int(r.integers(1, min(3, f) + 1))),
                                    int(r.integers(1, 4)), int(r.integers(0, 3)),
                                    bool(r.integers(2))),
            lambda: kinds.ConvLayer(c, c * int(r.integers(1, 3)), (taps, kernel), dilation_t=taps,
                                    depthwise=True),
            lambda: kinds.TransposedConvLayer(c, out, (taps, kernel), (1, 2 if f < 12 else 1),
                                              int(r.integers(0, 2)), bool(r.integers(2))),
            lambda: kinds.TransposedConvLayer(c, c, (taps, kernel), depthwise=True),
            lambda: kinds.SeparableChannelConvLayer(taps, kernel),
            lambda: kinds.DenseLayer(f, c, bool(r.integers(2))),
            lambda: kinds.NormLayer(c, str(r.choice(["rms", "affine"])), bool(r.integers(2))),
            lambda: kinds.PreNormLayer(np.ones(taps)),
            lambda: kinds.ARPreNormLayer(0.3, 0.9, 0.1),
            lambda: kinds.SelfAttentionLayer(f, c, int(r.integers(0, 4)), int(r.integers(0, 3))),
            lambda: kinds.FrequencyRescaleLayer(
                [(int(r.integers(0, f)), [0.5]) for _ in range(int(r.integers(2, 12)))]),
            kinds.ReLULayer, kinds.ELULayer, kinds.SigmoidLayer, kinds.SoftplusLayer,
            kinds.HardSigmoidLayer, lambda: kinds.LeakyReLULayer(0.3),
        ]
        return makers[int(r.integers(len(makers)))]()
