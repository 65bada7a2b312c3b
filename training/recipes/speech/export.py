#!/usr/bin/env python3
"""Writes the model files of a trained network, and holds them against PyTorch in the built engine.

    export.py --size standard|small|large --weights RUN/network.pt --out FOLDER --date DAY

Two files of the same weights: for 16 kHz, and for 48 kHz, which differ only in the tables from bins to
bands and back.
"""

import argparse
from pathlib import Path

import numpy as np
import torch
from sorvane_training.export import export
from sorvane_training.layers import FrequencyRescaleLayer
from sorvane_training.model_file import ModelFile
from sorvane_training.packing import Packing
from sorvane_training.parity import compare
from sorvane_training.storage import Storage

import network

BUSSES = ["Speech", "Noise"]
# The ratios reach over five powers of ten, and the tables are few.
STORAGE = Storage(half=True, single=("soft.*", "bands", "mask"))
LARGEST_ROUNDING = 0.02  # of the largest mask
WIDE_RATE, WIDE_FFT, WIDE_FRAME, WIDE_HOP, WIDE_BINS = 48000, 2048, 1536, 768, 342


def wide_analysis_table():
    """Returns the matrix [bands, bins] for spectra of 48 kHz.

    A bin stands for the frequencies up to half way to its neighbours: each band is the mean of the finer
    bins over what its own bins stand for. Frames have three times the samples, and magnitudes with them.
    """
    width = WIDE_RATE / WIDE_FFT / network.BIN_WIDTH
    low = (np.arange(WIDE_BINS) - 0.5) * width
    low[0] = -0.5  # so that the mean of the first band is not taken over less
    high = (np.arange(WIDE_BINS) + 0.5) * width
    edges = network.band_edges() - 0.5
    table = np.zeros((network.BANDS, WIDE_BINS), np.float32)
    for band, (begin, end) in enumerate(zip(edges[:-1], edges[1:])):
        shared = np.clip(np.minimum(high, end) - np.maximum(low, begin), 0, None)
        table[band] = shared / shared.sum() * (512 / WIDE_FRAME)
    return table


def make_wide(net):
    """Gives a network the tables of 48 kHz."""
    net.bands = FrequencyRescaleLayer.from_matrix(wide_analysis_table())
    frequencies = np.arange(WIDE_BINS) * (WIDE_RATE / WIDE_FFT)
    net.mask = FrequencyRescaleLayer.from_matrix(network.synthesis_table(frequencies))


def header(rate, sizes, bins, name, date):
    packing = Packing.magnitudes(bins)
    return ModelFile(rate, *sizes, packing, packing, BUSSES, tag=name,
                     note=f"speech against noise, trained {date}")


def write(net, head, path):
    export(net, head, storage=STORAGE).write(path)
    magnitudes = np.abs(np.random.default_rng(1).normal(0, 3, (300, head.input_packing.bins, 1)))
    magnitudes = magnitudes.astype(np.float32)
    result = compare(path, magnitudes)
    # Half floats are of the weights after batch normalisation is folded into them, so that the network that
    # was trained is not the file's to the last digit.
    trained = compare(path, magnitudes, net)
    print(f"{path}: {path.stat().st_size} bytes, {result.relative:.1e} from PyTorch, "
          f"{trained.relative:.1e} from the network before rounding")
    if not result.is_small or trained.relative > LARGEST_ROUNDING:
        raise SystemExit(f"{path}: the engine and PyTorch differ")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--size", choices=network.SIZES, required=True)
    parser.add_argument("--weights", type=Path, required=True, help="network.pt of the training")
    parser.add_argument("--out", type=Path, required=True, help="folder for the model files")
    parser.add_argument("--date", required=True, help="for the note in the files")
    options = parser.parse_args()
    net = network.make_network(options.size)
    net.load_state_dict(torch.load(options.weights))
    net.eval()
    name = "speech" if options.size == "standard" else f"speech-{options.size}"
    options.out.mkdir(parents=True, exist_ok=True)
    write(net, header(16000, (512, 512, 256), network.BINS, f"{name}-16k", options.date),
          options.out / f"{name}-16k.model")
    make_wide(net)
    write(net, header(WIDE_RATE, (WIDE_FFT, WIDE_FRAME, WIDE_HOP), WIDE_BINS, f"{name}-48k",
                      options.date), options.out / f"{name}-48k.model")


if __name__ == "__main__":
    main()
