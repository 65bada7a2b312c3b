"""Networks of given layers, for the tests."""

import numpy as np
import torch

from sorvane_training.model_file import LayerRecord, ModelFile, Tensor
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
