"""Compares a model file in the built engine with the same network in PyTorch.

    python3 -m sorvane_training.parity FILE.model [--audio SPEECH.wav]

prints the largest differences on random frames and on those of a recording, as parts of the largest
value of both, and fails when one is above 2e-6. The network in PyTorch is the file's, with the
values that it keeps, over the whole stream; compare() also takes the one that was exported.
"""

import argparse
import sys
from dataclasses import dataclass

import numpy as np
import torch

from .engine import EngineModel, find_library
from .model_file import ModelFile
from .network import FileNetwork
from .outline import outline
from .packing import spectra

TOLERANCE = 2e-6


@dataclass
class Difference:
    """Two outputs: frames of both, the largest difference over the largest value."""

    engine_frames: int
    expected_frames: int
    relative: float

    @property
    def is_small(self):
        """Whether the engine gave frames, none too many, and the right values."""
        return (0 < self.engine_frames <= self.expected_frames) and self.relative <= TOLERANCE


def difference(result, expected, largest=0.0):
    """Compares what the engine gave with what PyTorch did, over the frames that both have.

    PyTorch may have more: padding behind makes frames that no stream has.

    largest  the largest value of the same network on other frames, if that is known
    """
    frames, wanted = len(result), len(expected)
    common = min(frames, wanted)
    result, expected = result[:common], expected[:common]
    relative = np.inf
    if common and result.shape == expected.shape and np.isfinite(result).all():
        largest = max(largest, np.abs(expected).max())
        relative = float(np.abs(result - expected).max() / largest) if largest else float(
            np.abs(result).max() > 0)
    return Difference(frames, wanted, relative)


def compare(path, frames, network=None, layout="BTFC", engine=None):
    """The Difference of a model file in the engine from PyTorch on frames [T, F, C].

    network  the module that was exported, with its `layout`; the file's own network if None. For a
             file with half storage call it within Storage.applied().
    """
    model = ModelFile.read(path)
    outline(model)
    with EngineModel(path, engine) as loaded:
        result = loaded.run(frames)
    if network is None:
        return difference(result, FileNetwork(model).run(frames))
    return difference(result, run_layout(network, frames, layout))


def compare_all(path, inputs):
    """The Differences of a model file, by name, on several streams of frames, also by name.

    Each is a part of the largest value on any of them: a mask that noise alone hardly opens is no
    measure for itself.
    """
    network = FileNetwork(ModelFile.read(path))
    expected = {name: network.run(frames) for name, frames in inputs.items()}
    largest = max(float(np.abs(output).max(initial=0)) for output in expected.values())
    found = {}
    for name, frames in inputs.items():
        with EngineModel(path) as loaded:
            found[name] = difference(loaded.run(frames), expected[name], largest)
    return found


def run_layout(network, frames, layout="BTFC"):
    """The output [T', F, C] of a network whose tensors have the axes of `layout`."""
    lacking = [axis for axis in "FC" if axis not in layout]
    x = torch.as_tensor(frames).unsqueeze(0)
    for axis in lacking:
        x = x.squeeze("BTFC".index(axis))
    kept = [axis for axis in "BTFC" if axis in layout]
    with torch.no_grad():
        out = network(x.permute(*(kept.index(axis) for axis in layout)))
    out = out.permute(*(layout.index(axis) for axis in kept))
    for axis in lacking:
        out = out.unsqueeze("BTFC".index(axis))
    return out[0].numpy()


def random_frames(model, count, seed=0):
    """Frames [T, F, C] of noise whose level wanders over 60 dB, with silence among them."""
    random = np.random.default_rng(seed)
    bins = model.fft_length // 2 + 1
    levels = 10 ** (random.uniform(-3, 0, count) + 0.5)
    levels[random.random(count) < 0.1] = 0
    shape = (count, model.num_input_channels, bins)
    noise = random.standard_normal(shape) + 1j * random.standard_normal(shape)
    return model.input_packing.pack((noise * levels[:, None, None]).astype(np.complex64))


def audio_frames(model, samples):
    """Frames [T, F, C] of samples [channels, length], mixed to the model's channels."""
    samples = np.broadcast_to(np.atleast_2d(samples).mean(axis=0),
                              (model.num_input_channels, np.shape(samples)[-1]))
    return model.input_packing.pack(
        spectra(samples, model.fft_length, model.frame_length, model.hop))


def read_audio(path):
    """Samples [channels, length] of an audio file."""
    import soundfile  # only here, so that all else runs without it

    samples, _ = soundfile.read(path, dtype="float32", always_2d=True)
    return samples.T


def main(arguments=None):
    parser = argparse.ArgumentParser(description="Compare a model file in the engine with PyTorch.")
    parser.add_argument("model")
    parser.add_argument("--audio", help="a recording, taken to be at the model's rate")
    parser.add_argument("--frames", type=int, default=300, help="random frames (default 300)")
    parser.add_argument("--seed", type=int, default=0)
    options = parser.parse_args(arguments)
    model = ModelFile.read(options.model)
    inputs = {"random": random_frames(model, options.frames, options.seed)}
    if options.audio:
        inputs["audio"] = audio_frames(model, read_audio(options.audio))
    print(f"engine  {find_library()}")
    good = True
    for name, found in compare_all(options.model, inputs).items():
        good = good and found.is_small
        print(f"{name:7} {found.engine_frames} frames, largest difference {found.relative:.2g}"
              f"{'' if found.is_small else '  TOO LARGE'}")
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
