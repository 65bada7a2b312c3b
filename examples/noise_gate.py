"""Writes a model without training: the spectral noise gate that ships with the engine.

usage: noise_gate.py FILE

The network sees the magnitudes of 513 bins of each frame. It averages them over three frames and three
bins, and a sigmoid makes the mean a mask: 1 where a frequency is loud, 0 where only quiet, steady noise
is. The order of the fields is that of docs/model-format.md.
"""

import struct
import sys

BINS = 513


def text(words):
    data = words.encode()
    return struct.pack("<I", len(data)) + data


def tensor(shape, values):
    """A tensor of 32-bit floats, the last dimension varying fastest."""
    return struct.pack(f"<bb{len(shape)}i{len(values)}f", 1, len(shape), *shape, *values)


NOTHING = tensor([], [])


def convolution(name, source, weights, bias, delay=0):
    """`weights` has the dimensions time, frequency, input channels, output channels."""
    steps = struct.pack("<5b", 1, 1, 1, 0, delay)  # strides, dilation, unused, delay
    return text(name) + struct.pack("<h", 2) + text(source) + weights + bias + steps


def sigmoid(name, source):
    return text(name) + struct.pack("<h", 6) + text(source)


def model(layers, output):
    magnitudes = struct.pack("<bh", 1, BINS)
    return b"".join([
        text("sorvane.model"),
        struct.pack("<i", 0x100A),
        text("noise-gate-48k"),
        struct.pack("<i", 1),
        text("Hand-made spectral noise gate"),
        struct.pack("<d", 48000.0),
        struct.pack("<b", 1),  # input channels
        magnitudes,
        struct.pack("<bbb", 0, 1, 1),  # one mask of one channel
        text("Speech"),
        text("Noise"),  # what the mask leaves over
        magnitudes,
        struct.pack("<hhh", 1024, 1024, 512),  # transform, frame, hop
        struct.pack("<i", len(layers)),
        *layers,
        text(output),
    ])


def noise_gate():
    mean = tensor([3, 3, 1, 1], [1 / 9] * 9)
    return model(
        [
            # With a delay of one frame the three frames are the one before, this, and the one after.
            convolution("mean", "input", mean, NOTHING, delay=1),
            # The mask is 1/2 where the mean is 4/3.
            convolution("level", "mean", tensor([1, 1, 1, 1], [6.0]), tensor([1], [-8.0])),
            sigmoid("mask", "level"),
        ],
        output="mask",
    )


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: noise_gate.py FILE")
    with open(sys.argv[1], "wb") as file:
        file.write(noise_gate())
