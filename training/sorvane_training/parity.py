"""Compares a model file in the built engine with the same network in PyTorch.

    python3 -m sorvane_training.parity FILE.model [--audio SPEECH.wav]

prints the largest differences on noise, on random frames like a voice's and on a recording's, as
parts of the largest value on any of them, and fails when one is above 4e-6 or frames are missing.
The network in PyTorch is the file's, with the values that it keeps, over the whole stream;
compare() also takes the one that was exported.
"""

import argparse
import sys
from dataclasses import dataclass

import numpy as np
import torch

from .engine import EngineModel, find_library
from .model_file import ModelFile
from .network import FileNetwork
from .outline import check, outline
from .packing import analysis_window, spectra

TOLERANCE = 4e-6  # of sums in another order, through a hundred layers


@dataclass
class Difference:
    """Two outputs: frames of both, the largest difference over the largest value, and that value.

    held  frames of a burst that the engine may still hold: it gives them with the next frames
    """

    engine_frames: int
    expected_frames: int
    relative: float
    largest: float
    held: int = 0

    @property
    def is_small(self):
        """Whether the engine gave all frames and none too many, and the right values."""
        lacking = self.expected_frames - self.engine_frames
        return (self.engine_frames > 0 and 0 <= lacking <= self.held and
                self.relative <= TOLERANCE)


def difference(result, expected, largest=0.0, held=0):
    """Compares what the engine gave with what PyTorch did, over the frames that both have.

    largest  the largest value of the same network on other frames, if that is known
    held     frames that the engine may lack: see held_frames()
    """
    frames, wanted = len(result), len(expected)
    common = min(frames, wanted)
    result, expected = result[:common], expected[:common]
    relative = np.inf
    if common and result.shape == expected.shape and np.isfinite(result).all():
        largest = max(largest, np.abs(expected).max())
        relative = float(np.abs(result - expected).max() / largest) if largest else float(
            np.abs(result).max() > 0)
    return Difference(frames, wanted, relative, float(largest), held)


def held_frames(model):
    """How many frames the engine may hold at the end of a stream: of the frames that a transposed
    layer makes at once, one comes out with each frame that goes in."""
    slowest = min((layer.stream.rate for layer in outline(model).layers), default=1)
    return max(int(1 / slowest) - 1, 0)


def compare(path, frames, network=None, layout="BTFC", engine=None):
    """The Difference of a model file in the engine from PyTorch on frames [T, F, C].

    network  the module that was exported, with its `layout`; the file's own network if None. For a
             file with half storage call it within Storage.applied(). It may give more frames at
             the end: padding behind makes frames that no stream has.
    """
    model = ModelFile.read(path)
    expected = FileNetwork(model).run(frames)
    with EngineModel(path, engine) as loaded:
        result = loaded.run(frames)
    if network is not None:
        expected = run_layout(network, frames, layout)[:len(expected)]
    return difference(result, expected, held=held_frames(model))


def compare_all(path, inputs):
    """The Differences of a model file, by name, on several streams of frames, also by name.

    Each is a part of the largest value on any of them: a mask that noise alone hardly opens is no
    measure for itself.
    """
    model = ModelFile.read(path)
    network, held = FileNetwork(model), held_frames(model)
    expected = {name: network.run(frames) for name, frames in inputs.items()}
    largest = max(float(np.abs(output).max(initial=0)) for output in expected.values())
    found = {}
    for name, frames in inputs.items():
        with EngineModel(path) as loaded:
            found[name] = difference(loaded.run(frames), expected[name], largest, held)
    return found


def run_layout(network, frames, layout="BTFC"):
    """The output [T', F, C] of a network whose tensors have the axes of `layout`."""
    lacking = [axis for axis in "FC" if axis not in layout]
    x = torch.tensor(frames).unsqueeze(0)  # a copy: networks may work in place
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
    """Frames [T, F, C] of noise whose level wanders over the 60 dB below a sine of full scale, with
    silence among them."""
    random = np.random.default_rng(seed)
    bins = model.fft_length // 2 + 1
    full_scale = analysis_window(model.frame_length, model.hop).sum() / 2
    levels = 10 ** random.uniform(-3, 0, count) * full_scale
    levels[random.random(count) < 0.1] = 0
    shape = (count, model.num_input_channels, bins)
    noise = random.standard_normal(shape) + 1j * random.standard_normal(shape)
    return model.input_packing.pack((noise * levels[:, None, None]).astype(np.complex64))


def voice_frames(model, count, seed=0):
    """Frames [T, F, C] like those of a voice, up to full scale: four vowels a second, harmonics of
    a gliding pitch under gliding formants, over faint noise."""
    random = np.random.default_rng(seed)
    samples = max(count * model.hop, 1)
    vowels = 4 * np.arange(samples) / model.sample_rate

    def glide(low, high):
        ends = random.uniform(low, high, int(vowels[-1]) + 2)
        return np.interp(vowels, np.arange(len(ends)), ends)

    pitch = glide(90, 250)
    formants = [glide(300, 800), glide(900, 2200), glide(2300, 3200)]
    phase = 2 * np.pi * np.cumsum(pitch) / model.sample_rate
    voice = np.zeros(samples)
    for harmonic in range(1, 41):
        frequency = harmonic * pitch
        level = sum(1 / (1 + ((frequency - formant) / 100) ** 2) for formant in formants)
        voice += np.where(frequency < model.sample_rate / 2, level, 0) * np.sin(harmonic * phase)
    voice *= np.sin(np.pi * vowels) ** 2
    voice /= np.abs(voice).max() or 1
    return audio_frames(model, voice + random.normal(0, 1e-3, samples))


def default_frames(model, count=300, seed=0):
    """The streams of frames, by name, on which the program compares. A voice is among them so that
    masks open: their largest value is the measure."""
    return {"noise": random_frames(model, count, seed),
            "voice-like": voice_frames(model, count, seed)}


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
    parser.add_argument("--frames", type=int, default=300,
                        help="frames of noise and of a random voice (default 300)")
    parser.add_argument("--seed", type=int, default=0)
    options = parser.parse_args(arguments)
    try:
        return _compare_streams(options)
    except (ImportError, OSError, RuntimeError, ValueError) as error:  # soundfile's, and ours
        parser.exit(2, f"{parser.prog}: {error}\n")


def _compare_streams(options):
    model = ModelFile.read(options.model)
    check(model)
    inputs = default_frames(model, options.frames, options.seed)
    if options.audio:
        inputs["audio"] = audio_frames(model, read_audio(options.audio))
    found = compare_all(options.model, inputs)
    print(f"engine      {find_library()}")
    for name, one in found.items():
        print(f"{name:11} {one.engine_frames} of {one.expected_frames} frames, largest difference "
              f"{one.relative:.2g} of the largest value {one.largest:.3g}"
              f"{'' if one.is_small else '  TOO LARGE'}")
    return 0 if all(one.is_small for one in found.values()) else 1


if __name__ == "__main__":
    sys.exit(main())
