"""Mixtures of voices and noise, made as they are needed from a seed.

A `Mixer` gives pairs of tracks, the voice and the noise, at 16 kHz and at levels that a microphone gives.
Their sum is what a network hears, the voice is what it should leave.
"""

import json
from pathlib import Path

import numpy as np
from scipy import fft, signal

import sources

RATE = 16000
# Shares of the kinds of noise in training.
KINDS = {"music": 0.26, "noise": 0.26, "babble": 0.22, "generated": 0.18, "keys": 0.08}


class Recordings:
    """The recordings of one source, mapped from disk."""

    def __init__(self, folder, source):
        self.samples = np.load(Path(folder) / f"{source.name}.npy", mmap_mode="r")
        index = json.loads((Path(folder) / f"{source.name}.json").read_text())
        self.starts, self.paths = np.array(index["starts"]), index["paths"]
        self.source = source

    def __len__(self):
        return len(self.starts) - 1

    def clip(self, number):
        begin, end = self.starts[number], self.starts[number + 1]
        return self.samples[begin:end].astype(np.float32) / 32767


def root_mean_square(audio):
    return float(np.sqrt(np.mean(np.square(audio), dtype=np.float64) + 1e-12))


def active_level(audio):
    """Returns the root mean square over the frames of 20 ms within 30 dB of the loudest."""
    power = np.square(audio[: len(audio) // 320 * 320].reshape(-1, 320)).mean(axis=1)
    return float(np.sqrt(power[power >= power.max() * 1e-3].mean() + 1e-12))


def random_curve(random, count, spread):
    """Returns gains that wander smoothly over frequency, within about +-spread dB."""
    points = random.normal(0, spread / 2, 7)
    octaves = np.log2(np.linspace(0, 8000, count) + 60)
    return 10 ** (np.interp(octaves, np.linspace(octaves[0], octaves[-1], 7), points) / 20)


def room(random, length):
    """Returns the response of a small room: the direct sound, and noise that dies away."""
    decay = random.uniform(0.03, 0.35)  # seconds until the echoes have fallen by 60 dB
    time = np.arange(min(int(decay * RATE), length)) / RATE
    tail = random.normal(0, 1, len(time)) * 10 ** (-3 * time / decay)
    tail[: int(random.uniform(0.001, 0.01) * RATE)] = 0
    ratio = 10 ** (-random.uniform(0, 15) / 20)  # of the echoes to the direct sound
    response = tail * (ratio / np.sqrt(np.sum(tail**2) + 1e-9))
    response[0] += 1
    return response


def coloured(random, audio, length, curve=6, room_share=0.0, speed=1.0):
    """Returns LENGTH samples of AUDIO at another speed, equalised, and put in a room."""
    spectrum = fft.rfft(audio)
    spectrum *= random_curve(random, len(spectrum), curve)
    if random.random() < room_share:
        spectrum *= fft.rfft(room(random, len(audio)).astype(np.float32), len(audio))
    return fft.irfft(spectrum, length).astype(np.float32) * np.float32(length / len(audio))


def pink_like(random, length):
    """Returns noise whose spectrum falls by 0 to 9 dB an octave."""
    white = fft.rfft(random.standard_normal(length, np.float32))
    slope = random.uniform(0, 1.5)
    white *= (np.arange(len(white)) + 20) ** -slope
    return fft.irfft(white, length).astype(np.float32)


def modulated(random, audio):
    """Returns AUDIO with a level that swings: slowly at random, or as a machine does."""
    time = np.arange(len(audio)) / RATE
    if random.random() < 0.5:
        points = random.uniform(-18, 0, int(len(audio) / RATE * random.uniform(1, 8)) + 2)
        level = 10 ** (np.interp(time, np.linspace(0, time[-1], len(points)), points) / 20)
    else:
        rate = random.uniform(0.5, 20)
        level = 1 + random.uniform(0.3, 1) * np.sin(2 * np.pi * (rate * time + random.random()))
    return (audio * level).astype(np.float32)


def hum(random, length):
    """Returns the tones of mains or a motor, with a little noise."""
    time = np.arange(length) / RATE
    base = random.choice([50, 60, 100, 120]) if random.random() < 0.6 else random.uniform(40, 400)
    wander = 1 + 0.01 * np.sin(2 * np.pi * random.uniform(0.1, 1) * time) * random.integers(0, 2)
    phase = 2 * np.pi * base * np.cumsum(wander) / RATE
    tones = sum(random.uniform(0.1, 1) / k**0.7 * np.sin(k * phase + random.uniform(0, 6))
                for k in range(1, random.integers(3, 16)) if k * base < 7800)
    noise = pink_like(random, length)
    return (tones + noise * root_mean_square(tones) / root_mean_square(noise)
            * random.uniform(0.02, 0.5)).astype(np.float32)


def clicks(random, length):
    """Returns short knocks at random times, each a burst that rings and dies away."""
    audio = np.zeros(length, np.float32)
    for _ in range(int(length / RATE * random.uniform(1, 12)) + 1):
        size = int(random.uniform(0.002, 0.06) * RATE)
        time = np.arange(size) / RATE
        burst = random.standard_normal(size) + random.uniform(0, 3) * np.sin(
            2 * np.pi * random.uniform(200, 5000) * time)
        begin = random.integers(0, length - size)
        audio[begin : begin + size] += burst * np.exp(-5 * np.arange(size) / size) * random.uniform(
            0.1, 1)
    return audio + pink_like(random, length) * np.float32(random.uniform(0, 2e-4) * 100)


class Mixer:
    """Makes tracks from the recordings of one part, "train" or "valid".

    folder  where `fetch.py` has put them.
    seed    equal seeds give equal tracks.
    """

    def __init__(self, folder, part, seed, seconds):
        self.random = np.random.default_rng(seed)
        self.length = int(seconds * RATE)
        self.voices = self._load(folder, part, "voice")
        # A little of everything: a source of ten times the length is taken three times as often.
        sizes = np.array([len(voice.samples) for voice in self.voices]) ** 0.5
        self.voice_shares = sizes / sizes.sum()
        self.noises = {kind: self._load(folder, part, kind) for kind in ["music", "noise", "keys"]}

    @staticmethod
    def _load(folder, part, kind):
        return [Recordings(folder, source) for source in sources.of(part, kind)]

    def _sequence(self, recordings, length, pause):
        """Returns recordings one after the other, with pauses of up to PAUSE seconds."""
        track = np.zeros(length, np.float32)
        position = -self.random.integers(0, RATE)
        while position < length:
            clip = recordings.clip(self.random.integers(len(recordings)))
            begin, end = max(position, 0), min(position + len(clip), length)
            if end > begin:
                track[begin:end] = clip[begin - position : end - position]
            position += len(clip) + int(self.random.uniform(0, pause) * RATE)
        return track

    def _longer(self, speed):
        return fft.next_fast_len(int(self.length * speed), real=True)

    def _voice(self, low, high, room_share):
        recordings = self.voices[self.random.choice(len(self.voices), p=self.voice_shares)]
        length = self._longer(self.random.uniform(low, high))
        track = self._sequence(recordings, length, self.random.choice([0.1, 0.5, 2.0]))
        return coloured(self.random, track, self.length, curve=5, room_share=room_share)

    def voice(self):
        return self._voice(0.87, 1.15, room_share=0.4)

    def plain_voice(self):
        """Returns a voice as it was recorded."""
        recordings = self.voices[self.random.choice(len(self.voices), p=self.voice_shares)]
        return self._sequence(recordings, self.length, 0.3)

    def babble(self):
        voices = [self._voice(0.8, 1.3, room_share=0.5) for _ in range(self.random.integers(3, 8))]
        return sum(voice / (active_level(voice) + 1e-6) * 10 ** (self.random.uniform(-8, 0) / 20)
                   for voice in voices).astype(np.float32)

    def _music(self):
        recordings = self.random.choice(self.noises["music"])
        clip = recordings.clip(self.random.integers(len(recordings)))
        length = self._longer(self.random.uniform(0.75, 1.35))
        begin = self.random.integers(0, max(len(clip) - length, 1))
        clip = np.pad(clip[begin : begin + length], (0, max(0, length - len(clip) + begin)), "wrap")
        return coloured(self.random, clip[:length], self.length, curve=8)

    def _sounds(self, kind, pause):
        """Returns a scene: one to three layers of sounds, one after the other."""
        scene = np.zeros(self.length, np.float32)
        for _ in range(self.random.integers(1, 4)):
            recordings = self.random.choice(self.noises[kind])
            length = self._longer(self.random.uniform(0.6, 1.6))
            if self.random.random() < 0.5:  # one sound again and again, as of a machine
                clip = recordings.clip(self.random.integers(len(recordings)))[:length]
                clip = np.pad(clip, (0, self.random.integers(0, int(pause * 4000) + 1)))
                track = np.resize(np.roll(clip, self.random.integers(len(clip))), length)
            else:
                track = self._sequence(recordings, length, pause)
            layer = coloured(self.random, track, self.length, curve=8, room_share=0.4)
            scene += layer / (active_level(layer) + 1e-6) * 10 ** (self.random.uniform(-10, 0) / 20)
        return scene

    def _generated(self):
        which = self.random.random()
        if which < 0.35:
            return coloured(self.random, pink_like(self.random, self.length), self.length, curve=10)
        if which < 0.65:
            return modulated(self.random, pink_like(self.random, self.length))
        if which < 0.85:
            return hum(self.random, self.length)
        return clicks(self.random, self.length)

    def noise(self, kind=None):
        """Returns a track of noise, in one case of five of two kinds."""
        makers = {"music": self._music, "noise": lambda: self._sounds("noise", 0.5),
                  "babble": self.babble, "generated": self._generated,
                  "keys": lambda: self._sounds("keys", 0.4)}
        kinds = [kind for kind in KINDS if self.noises.get(kind) != []]
        if kind is None:
            shares = np.array([KINDS[kind] for kind in kinds])
            kind = self.random.choice(kinds, p=shares / shares.sum())
        track = makers[kind]()
        track /= root_mean_square(track) + 1e-6
        if kind is None and self.random.random() < 0.2:
            other = makers[self.random.choice(kinds)]()
            track += other / (root_mean_square(other) + 1e-6) * np.float32(self.random.uniform(0, 1))
        return track

    def scaled(self, voice, noise, ratio=None):
        """Returns the pair at a random ratio, or at RATIO dB, and at a random level."""
        if ratio is None:
            ratio = self.random.triangular(-6, 3, 20)
            draw = self.random.random()
            if draw < 0.03:
                voice = np.zeros_like(voice)
            elif draw < 0.05:
                ratio = 45.0
        voice_level, noise_level = active_level(voice), root_mean_square(noise)
        noise = noise * np.float32(voice_level / max(noise_level, 1e-6) * 10 ** (-ratio / 20)
                                   if voice_level > 1e-5 else 1 / max(noise_level, 1e-6))
        peak = max(float(np.abs(voice + noise).max()), 1e-6)
        level = np.float32(10 ** (self.random.uniform(-40, -1) / 20) / peak)
        return voice * level, noise * level

    def batch(self, size, uses=2):
        """Returns voices and noises, two arrays [size, samples]; each track is mixed USES times."""
        count = size // uses
        voices = [self.voice() for _ in range(count)]
        noises = [self.noise() for _ in range(count)]
        pairs = [self.scaled(voices[i], noises[(i + use) % count])
                 for use in range(uses) for i in range(count)]
        return np.stack([voice for voice, _ in pairs]), np.stack([noise for _, noise in pairs])
