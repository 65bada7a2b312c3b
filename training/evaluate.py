#!/usr/bin/env python3
"""Measures models on the test set, through the built program.

    evaluate.py --data FOLDER --out FOLDER [--set first|second] [--also NAME=FOLDER]... MODEL...

FOLDER of --data is where `recipes/speech/fetch.py` has put the recordings; only its part `test` is read.
Voices that no training heard are mixed with noise, by a seed: two voices, five kinds of noise, three
ratios, several clips each. The recordings of noise are others than the training's, but the keys are of a
keyboard whose other keys it heard, and steady noise is made as some of the training's. A model whose name
has "48k" is run on hosts at 48 and at 44.1 kHz, the others at 16 kHz. Beside the models stand the mixture
itself, an ideal mask, and the denoiser of SpeexDSP. Left in --out: table.md, results.json, chart.png.

`--set second` measures on the clips of `second_set.py` instead, models for 16 kHz at their own rate.
`--write FOLDER` leaves the audio of each system as FOLDER/SYSTEM/NNN.wav, at 16 kHz and as long as the
clips, those of the mixtures in FOLDER/mixture; other programs' outputs of those files, with the same names,
are a column of the tables by `--also NAME=FOLDER`. `--ratings CSV` adds DNSMOS from a table of file,
seconds, windows, SIG, BAK, OVRL whose files are SYSTEM/NNN.wav.
"""

import argparse
import csv
import ctypes
import json
import subprocess
import sys
import tempfile
from pathlib import Path

import numpy as np
import soundfile
from scipy.signal import resample_poly

sys.path.insert(0, str(Path(__file__).parent / "recipes/speech"))

import mixing
import second_set
import sources
from metrics import segmental_snr, si_sdr, stoi

RATE = 16000
SECONDS = 6
RATIOS = (0, 5, 10)
VOICES = ("prompts-fr", "prompts-ru")
# The first three are what happens around a microphone and changes; the rest is steady, or keys.
KINDS = ("city", "music", "babble", "stationary", "keys")
CHANGING = KINDS[:3]
MEASURES = ("SI-SDR gain", "segmental SNR", "STOI")


class TestSet:
    """Mixtures of the test sources."""

    def __init__(self, folder, clips, seed):
        self.random = np.random.default_rng(seed)
        self.length = SECONDS * RATE
        self.recordings = {source.name: mixing.Recordings(folder / "test", source)
                           for source in sources.of("test", "voice", "noise", "music", "keys")}
        self.clips = []
        for voice in VOICES:
            for kind in KINDS:
                for ratio in RATIOS:
                    self.clips += [self._clip(voice, kind, ratio) for _ in range(clips)]

    def _sequence(self, name, pause):
        """Returns recordings of a source one after the other, with pauses of PAUSE seconds at most."""
        recordings, track = self.recordings[name], []
        while sum(map(len, track)) < self.length:
            clip = recordings.clip(self.random.integers(len(recordings)))
            track += [clip, np.zeros(int(self.random.uniform(0, pause) * RATE), np.float32)]
        return np.concatenate(track)[: self.length]

    def _excerpt(self, name):
        """Returns an excerpt of one recording, which is repeated if it is short."""
        recordings = self.recordings[name]
        while True:
            clip = recordings.clip(self.random.integers(len(recordings)))
            begin = self.random.integers(max(len(clip) - self.length, 0) + 1)
            track = np.resize(clip[begin:], self.length) if len(clip) > RATE else np.zeros(1)
            if np.abs(track).max() > 1e-3:
                return track

    def _noise(self, kind):
        if kind == "city":
            return self._excerpt("city")
        if kind == "music":
            return self._excerpt("opsound-music")
        if kind == "babble":  # of three of each voice; who speaks in front speaks behind as well
            tracks = [self._sequence(voice, 0.1) for voice in VOICES for _ in range(3)]
            return sum(track / mixing.root_mean_square(track) for track in tracks)
        if kind == "keys":
            return self._sequence("test-keys", 0.25)
        white = np.fft.rfft(self.random.standard_normal(self.length))
        slope = self.random.uniform(0, 1)  # white to falling by 6 dB an octave
        return np.fft.irfft(white * (np.arange(len(white)) + 20) ** -slope, self.length)

    def _clip(self, voice, kind, ratio):
        speech = self._sequence(voice, 0.3)
        noise = self._noise(kind)
        noise = noise * (mixing.root_mean_square(speech) / mixing.root_mean_square(noise)
                         * 10 ** (-ratio / 20))
        level = 10 ** (self.random.uniform(-30, -18) / 20) / mixing.root_mean_square(speech + noise)
        level = min(level, 0.95 / np.abs(speech + noise).max())
        return {"voice": voice, "kind": kind, "ratio": ratio,
                "speech": (speech * level).astype(np.float32),
                "noise": (noise * level).astype(np.float32),
                "mixture": ((speech + noise) * level).astype(np.float32)}


def resampled(audio, rate, target):
    common = np.gcd(rate, target)
    return resample_poly(audio, target // common, rate // common).astype(np.float32)


def run_model(program, model, clips, rate, options, level=1.0):
    """Returns the mixtures as the program leaves them on a host at RATE, given at LEVEL."""
    with tempfile.TemporaryDirectory() as folder:
        inputs = [Path(folder) / f"{number:04}.wav" for number in range(len(clips))]
        for path, clip in zip(inputs, clips):
            soundfile.write(path, resampled(clip["mixture"], RATE, rate) * level, rate, "FLOAT")
        cleaned = Path(folder) / "cleaned"
        subprocess.run([program, "process", model, *inputs, "--out-dir", cleaned, "--quiet", *options],
                       check=True)
        return [resampled(soundfile.read(cleaned / path.name, dtype="float32")[0], rate, RATE) / level
                for path in inputs]


def ideal_mask(clip):
    """Returns the mixture under the mask that knows the power of voice and noise in each bin."""
    size, hop = 512, 256
    window = np.sqrt(0.5 - 0.5 * np.cos((np.arange(size) + 0.5) * (2 * np.pi / size)))
    at = np.arange(len(clip["mixture"]) // hop + 1)[:, None] * hop + np.arange(size)

    def spectra(audio):
        return np.fft.rfft(np.pad(audio, (hop, size))[at] * window)

    speech, noise = np.abs(spectra(clip["speech"])) ** 2, np.abs(spectra(clip["noise"])) ** 2
    frames = np.fft.irfft(spectra(clip["mixture"]) * speech / (speech + noise + 1e-12)) * window
    audio = np.zeros(at.max() + 1)
    np.add.at(audio, at, frames)
    return audio[hop : hop + len(clip["mixture"])].astype(np.float32)


def speex_denoiser(clip):
    """Returns the mixture as SpeexDSP's denoiser leaves it at its defaults, without its delay."""
    library = ctypes.CDLL("libspeexdsp.so.1")
    frame = RATE // 50
    library.speex_preprocess_state_init.restype = ctypes.c_void_p
    state = ctypes.c_void_p(library.speex_preprocess_state_init(frame, RATE))
    samples = np.round(np.pad(clip["mixture"], (0, 2 * frame)) * 32767).astype(np.int16)
    for begin in range(0, len(samples) - frame + 1, frame):
        part = samples[begin : begin + frame]
        library.speex_preprocess_run(state, part.ctypes.data_as(ctypes.POINTER(ctypes.c_int16)))
    library.speex_preprocess_state_destroy(state)
    output = samples.astype(np.float32) / 32767
    # Its windows overlap; how far they delay the audio is found from the audio.
    length = len(clip["mixture"])
    delay = max(range(2 * frame), key=lambda lag: output[lag : lag + length] @ clip["mixture"])
    return output[delay : delay + length]


def measure(estimates, clips):
    """Returns an array [clip, measure]."""
    rows = []
    for estimate, clip in zip(estimates, clips):
        speech = clip["speech"]
        estimate = np.pad(estimate, (0, max(0, len(speech) - len(estimate))))[: len(speech)]
        rows.append((si_sdr(estimate, speech) - si_sdr(clip["mixture"], speech),
                     segmental_snr(estimate, speech, RATE), stoi(estimate, speech, RATE)))
    return np.array(rows)


def chosen(clips, **wanted):
    """Returns which clips have the wanted values, each a value or several."""
    return np.array([all(clip[key] in (value if isinstance(value, tuple) else (value,))
                         for key, value in wanted.items()) for clip in clips])


def selections(clips):
    """Returns the columns of the table: name and which clips."""
    columns = [("city, music, babble", chosen(clips, kind=CHANGING)),
               ("all", np.ones(len(clips), bool))]
    columns += [(kind, chosen(clips, kind=kind)) for kind in KINDS]
    columns += [(voice.replace("prompts-", "voice "), chosen(clips, voice=voice)) for voice in VOICES]
    return columns + [(f"{ratio} dB", chosen(clips, ratio=ratio)) for ratio in RATIOS]


def table(results, clips):
    columns = selections(clips)
    lines = []
    for number, name in enumerate(MEASURES):
        digits = 3 if name == "STOI" else 1
        lines += ["", f"| {name} | " + " | ".join(title for title, _ in columns) + " |",
                  "|---|" + "---|" * len(columns)]
        for system, rows in results.items():
            values = [f"{rows[which, number].mean():.{digits}f}" for _, which in columns]
            lines.append(f"| {system} | " + " | ".join(values) + " |")
    return "\n".join(lines[1:]) + "\n"


def chart(results, clips, path):
    import matplotlib

    matplotlib.use("Agg")
    from matplotlib import pyplot

    figure, axes = pyplot.subplots(2, 1, figsize=(10, 8), constrained_layout=True)
    width = 0.8 / len(results)
    for axis, number in zip(axes, (0, 2)):
        for place, (system, rows) in enumerate(results.items()):
            means = [rows[chosen(clips, kind=kind), number].mean() for kind in KINDS]
            axis.bar(np.arange(len(KINDS)) + (place - len(results) / 2 + 0.5) * width, means, width,
                     label=system, color=pyplot.cm.tab20(place))
        axis.set_xticks(range(len(KINDS)), KINDS)
        axis.set_ylabel(MEASURES[number] + (" in dB" if number == 0 else ""))
        axis.grid(axis="y", alpha=0.3)
    axes[1].set_ylim(0.6, 1)
    axes[0].legend(ncols=3, fontsize="small")
    figure.savefig(path, dpi=110)


def runs(models):
    """Returns the name, model, host's rate, options and level of each run."""
    alone = ["--gain", "Noise=0"]
    for model in models:
        if "48k" in model.stem:
            yield f"{model.stem}, host 48 kHz", model, 48000, alone, 1
            yield f"{model.stem}, host 44.1 kHz", model, 44100, alone, 1
        else:
            yield model.stem, model, RATE, alone, 1
            yield f"{model.stem}, input 30 dB softer", model, RATE, alone, 10**-1.5
            yield f"{model.stem}, remainder -12 dB", model, RATE, ["--remainder", "-12"], 1


def others(options, clips):
    """Returns the outputs of other programs, by name."""
    result = {}
    for pair in options.also:
        name, _, folder = pair.partition("=")
        result[name] = [soundfile.read(Path(folder) / f"{number:03}.wav", dtype="float32")[0]
                        for number in range(len(clips))]
    return result


def write_audio(folder, estimates):
    for system, clips in estimates.items():
        (folder / system).mkdir(parents=True, exist_ok=True)
        for number, clip in enumerate(clips):
            soundfile.write(folder / system / f"{number:03}.wav", clip, RATE, "FLOAT")


def mean_ratings(path, numbers):
    """Returns DNSMOS overall by system, the mean over the clips of these numbers."""
    rows = {}
    for row in csv.DictReader(open(path)):
        file = Path(row["file"])
        if int(file.stem) in numbers:
            rows.setdefault(file.parent.name, []).append(float(row["OVRL"]))
    return {system: np.mean(values) for system, values in rows.items()}


def evaluate_second(options):
    clips = second_set.SecondSet(options.data).clips
    estimates = {"mixture": [clip["mixture"] for clip in clips]} | others(options, clips)
    for model in options.models:
        estimates[model.stem] = run_model(options.program.resolve(), model, clips,
                                          48000 if "48k" in model.stem else RATE,
                                          ["--gain", "Noise=0"])
    if options.write:
        write_audio(options.write, estimates)
    ratings = mean_ratings(options.ratings, set(second_set.of(clips, "mixture"))) if options.ratings else {}
    results = {name: second_set.measure(clips, audio) for name, audio in estimates.items()}
    text = second_set.table(clips, results, ratings)
    (options.out / "second.md").write_text(text)
    print(text, end="")


def evaluate_first(options):
    clips = TestSet(options.data, options.clips, options.seed).clips
    estimates = {"mixture": [clip["mixture"] for clip in clips],
                 "ideal ratio mask": [ideal_mask(clip) for clip in clips],
                 "SpeexDSP": [speex_denoiser(clip) for clip in clips]} | others(options, clips)
    for name, model, rate, extra, level in runs(options.models):
        estimates[name] = run_model(options.program.resolve(), model, clips, rate, extra, level)
    if options.write:
        write_audio(options.write, estimates)
    results = {name: measure(audio, clips) for name, audio in estimates.items()}
    text = table(results, clips)
    (options.out / "table.md").write_text(text)
    (options.out / "results.json").write_text(json.dumps(
        {name: {title: dict(zip(MEASURES, rows[which].mean(axis=0).round(4).tolist()))
                for title, which in selections(clips)} for name, rows in results.items()}, indent=1))
    chart(results, clips, options.out / "chart.png")
    print(text, end="")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("models", metavar="MODEL", type=Path, nargs="*")
    parser.add_argument("--data", type=Path, required=True, help="folder of the recordings")
    parser.add_argument("--out", type=Path, required=True, help="folder for the table and the chart")
    parser.add_argument("--set", choices=["first", "second"], default="first")
    parser.add_argument("--also", metavar="NAME=FOLDER", action="append", default=[],
                        help="outputs of another program as a column; repeatable")
    parser.add_argument("--write", type=Path, help="folder for the audio of all systems")
    parser.add_argument("--ratings", type=Path, help="a table of DNSMOS ratings")
    parser.add_argument("--program", type=Path, default="build/release/bin/sorvane")
    parser.add_argument("--clips", type=int, default=5, help="of the first set, for each voice, noise, ratio")
    parser.add_argument("--seed", type=int, default=2026, help="of the first set")
    options = parser.parse_args()
    options.out.mkdir(parents=True, exist_ok=True)
    (evaluate_second if options.set == "second" else evaluate_first)(options)


if __name__ == "__main__":
    main()
