#!/usr/bin/env python3
"""Cleans a voice in noise and draws what went in, what came out and what was removed.

usage: clean_speech.py PICTURE [AUDIO.wav]

The parts between the lines `# %%` may be run one by one, as in a notebook. Without AUDIO it makes
its own: a hum with the harmonics and the syllables of a voice, in pink noise.
"""

# %% Imports, and the audio
import sys
import wave

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np

import sorvane

RATE = 16000


def imitated_voice(seconds=6.0):
    """Harmonics of a gliding tone, formed like vowels, four syllables a second."""
    time = np.arange(int(seconds * RATE)) / RATE
    pitch = 2 * np.pi * np.cumsum(120 + 20 * np.sin(2 * np.pi * 0.7 * time)) / RATE
    voice = np.zeros_like(time)
    for harmonic in range(1, 30):
        frequency = 120 * harmonic
        shape = sum(np.exp(-(((frequency - f) / 150) ** 2)) for f in (600, 1200, 2500))
        voice += (0.05 + shape) * np.sin(harmonic * pitch)
    syllables = np.clip(np.sin(2 * np.pi * 2 * time), 0, None) ** 0.5
    return 0.03 * voice * syllables


def pink_noise(samples):
    spectrum = np.fft.rfft(np.random.default_rng(1).normal(size=samples))
    return np.fft.irfft(spectrum / np.sqrt(np.arange(len(spectrum)) + 20), samples)


if len(sys.argv) > 2:
    with wave.open(sys.argv[2]) as file:
        rate = file.getframerate()
        data = np.frombuffer(file.readframes(file.getnframes()), "<i2")
        audio = data.reshape(-1, file.getnchannels())[:, 0] / 32768
else:
    rate = RATE
    audio = imitated_voice()
    audio = audio + 0.3 * pink_noise(len(audio))

# %% One line cleans it, another gives the noise
clean = sorvane.denoise(audio, rate)
removed = sorvane.denoise(audio, rate, rest=True)
print(f"sorvane {sorvane.__version__}, models {', '.join(sorvane.models())}")
print(f"the two parts add up to the input within {np.abs(clean + removed - audio).max():.1e}")

# %% Pauses become quiet
def level(signal):
    """The level in dB of every 20 ms."""
    frames = signal[: len(signal) // 320 * 320].reshape(-1, 320)
    return 10 * np.log10(np.mean(frames**2, axis=1) + 1e-10)


quiet = np.percentile(level(audio), 10) - np.percentile(level(clean), 10)
print(f"the quietest tenth is {quiet:.0f} dB quieter")

# %% Spectrograms
figure, rows = plt.subplots(3, 1, sharex=True, figsize=(9, 8), layout="constrained")
for row, signal, title in zip(rows, (audio, clean, removed), ("input", "clean", "removed")):
    row.specgram(signal, NFFT=512, Fs=rate, noverlap=384, vmin=-140, vmax=-40)
    row.set_title(title)
    row.set_ylabel("Hz")
rows[-1].set_xlabel("seconds")
figure.savefig(sys.argv[1] if len(sys.argv) > 1 else "clean_speech.png")
