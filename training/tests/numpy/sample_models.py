"""Files for the tests: one with a layer of every kind."""

import numpy as np

from sorvane_training.model_file import LayerRecord, ModelFile, Tensor
from sorvane_training.packing import Packing

BINS = 8


def header(packing=Packing.magnitudes(BINS), **others):
    return ModelFile(**{"sample_rate": 16000.0, "fft_length": 512, "frame_length": 384, "hop": 192,
                        "input_packing": packing, "output_packing": packing,
                        "bus_names": ["Speech", "Noise"], **others})


def every_kind(half=False):
    """A network of all kinds of layers, with small random weights, on BINS positions."""
    random = np.random.default_rng(1)

    def tensor(*shape):
        return Tensor(random.uniform(-0.5, 0.5, shape).astype(np.float32), half)

    def numbers(**others):
        return {"strideT": 1, "strideF": 1, "dilationT": 1, "unusedParameter": 0, "delay": 0,
                **others}

    layers = [
        ("bands", 22, ["input"], {"bands": [(0, tensor(2))] + [(f, tensor(1)) for f in range(7)]}),
        ("level", 23, ["bands"], {"attack": 0.75, "release": 0.5, "epsilon": 0.25}),
        ("half", 2, ["level"], {"weights": tensor(3, 3, 1, 4), "bias": tensor(4),
                                **numbers(strideT=2, strideF=2, dilationT=2, delay=1)}),
        ("elu", 5, ["half"], {}),
        ("full", 3, ["elu"], {"weights": tensor(2, 2, 4, 4), "bias": None, "outputChannels": 4,
                              **numbers(strideT=2, strideF=2)}),
        ("norm", 7, ["full"], {"mode": 1, "scale": tensor(4), "bias": None}),
        ("pre", 16, ["norm"], {"window": Tensor(np.ones(4, np.float32), half)}),
        ("mix", 19, ["pre"], {"attention": tensor(4, 4), "bias": tensor(8, 4), "delay": 1,
                              "timeTaps": tensor(2, 4)}),
        ("relu", 4, ["mix"], {}),
        ("leaky", 12, ["mix"], {"slope": 0.125}),
        ("hard", 20, ["leaky"], {}),
        ("soft", 17, ["relu"], {}),
        ("ratio", 18, ["soft", "hard"], {"operation": 1}),
        ("dense", 14, ["ratio"], {"weights": tensor(8, 8, 4), "bias": tensor(32)}),
        ("smooth", 15, ["dense"], {"timeTaps": tensor(3), "freqTaps": tensor(3)}),
        ("both", 9, ["smooth", "relu"], {}),
        ("one", 2, ["both"], {"weights": tensor(1, 1, 8, 1), "bias": tensor(1), **numbers()}),
        ("mask", 6, ["one"], {}),
    ]
    return header(layers=[LayerRecord(*layer) for layer in layers], output_source="mask")
