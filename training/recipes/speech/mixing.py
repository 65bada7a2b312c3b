"""Mixtures of voices and noise, made as they are needed from a seed.

A `Mixer` gives pairs of tracks, the voice and the noise, at 16 kHz and at levels that a microphone gives.
Their sum is what a network hears, the voice is what it should leave.
"""

import json
from pathlib import Path

import numpy as np
from scipy import fft, ndimage

import sources

RATE = 16000
# Shares of the kinds of noise in training.
KINDS = {"music": 0.22, "noise": 0.36, "babble": 0.20, "generated": 0.16, "keys": 0.06}


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
    """Returns the response of a room: its first echoes by images, noise that dies away after them."""
    sides = random.uniform((2.5, 2.5, 2.2), (9, 7, 4))
    decay = random.uniform(0.12, 0.9) * min(1.0, float(np.prod(sides)) ** (1 / 3) / 4)  # s for 60 dB
    ear = random.uniform(0.15, 0.85, 3) * sides
    way = random.standard_normal(3)
    mouth = np.clip(ear + way / np.linalg.norm(way) * 10 ** random.uniform(-0.6, 0.5), 0.2, sides - 0.2)
    keeps = 10 ** (-3 / decay * (np.prod(sides) / (sides @ np.roll(sides, 1)) * 2 / 343) / 1.0)
    orders = np.arange(-3, 4)
    at, bounces = [], []
    for axis in range(3):
        mirrored = np.concatenate([2 * orders * sides[axis] + mouth[axis], 2 * orders * sides[axis] - mouth[axis]])
        at.append((mirrored - ear[axis]) ** 2)
        bounces.append(np.concatenate([np.abs(2 * orders), np.abs(2 * orders - 1)]))
    distances = np.sqrt(at[0][:, None, None] + at[1][:, None] + at[2]).ravel() + 0.05
    counts = (bounces[0][:, None, None] + bounces[1][:, None] + bounces[2]).ravel()
    delays = (distances - distances.min()) / 343 * RATE
    gains = keeps**counts / distances * distances.min()
    size = min(int((decay + 0.05) * RATE), length)
    response = np.zeros(size + 1)
    inside = delays < size - 1
    whole = delays[inside].astype(int)
    np.add.at(response, whole, gains[inside] * (1 - delays[inside] + whole))
    np.add.at(response, whole + 1, gains[inside] * (delays[inside] - whole))
    # The density of echoes grows; from 40 ms on noise of their energy stands in for them.
    mix = min(int(0.04 * RATE), size // 2)
    level = np.sqrt(np.mean(response[mix // 2 : mix] ** 2) + 1e-12)
    time = np.arange(size + 1 - mix) / RATE
    response[mix:] = random.normal(0, level, len(time)) * 10 ** (-3 * (time + 0.01) / decay)
    return response


def telephone(random, audio):
    """Returns audio as a telephone's band leaves it."""
    spectrum = fft.rfft(audio)
    frequency = np.linspace(0, RATE / 2, len(spectrum))
    low, high = random.uniform(150, 400), random.uniform(3000, 4200)
    gain = 1 / np.sqrt((1 + (low / (frequency + 1)) ** 8) * (1 + (frequency / high) ** 24))
    return fft.irfft(spectrum * gain, len(audio)).astype(np.float32)


def quieter_pauses(audio):
    """Returns a voice whose recording's own noise, 35 dB and more below it, is faded out."""
    size = 160
    count = len(audio) // size
    levels = np.sqrt(np.square(audio[: count * size].reshape(count, size)).mean(axis=1) + 1e-14)
    loud = np.sqrt(np.mean(np.sort(levels**2)[-max(count // 5, 1):]))
    gains = np.minimum(1, levels / (loud * 10 ** (-35 / 20) + 1e-9)) ** 1.5
    gains = ndimage.uniform_filter1d(ndimage.maximum_filter1d(gains, 13), 5)
    return audio * np.interp(np.arange(len(audio)), np.arange(count) * size + size / 2, gains).astype(np.float32)


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


def burst(random, size):
    """Returns a knock: noise and a tone that die away, of one or two blows."""
    time = np.arange(size) / RATE
    tones = sum(random.uniform(0, 2) * np.sin(2 * np.pi * random.uniform(80, 3000) * time)
                for _ in range(random.integers(1, 4)))
    knock = (random.standard_normal(size) + tones) * np.exp(-random.uniform(4, 9) * np.arange(size) / size)
    spectrum = fft.rfft(knock)
    spectrum *= random_curve(random, len(spectrum), 12)
    return fft.irfft(spectrum, size).astype(np.float32)


def knocks(random, length):
    """Returns one to four knocks, far louder than what is between."""
    audio = np.zeros(length, np.float32)
    for _ in range(random.integers(1, 5)):
        size = int(random.uniform(0.01, 0.2) * RATE)
        begin = random.integers(0, length - size)
        audio[begin : begin + size] += burst(random, size) * random.uniform(0.3, 1)
    return audio


def breathing(random, length):
    """Returns breaths: noise through a mouth, in and out."""
    audio = np.zeros(length, np.float32)
    position = random.integers(0, RATE)
    while position < length - RATE // 2:
        size = int(random.uniform(0.25, 1.3) * RATE)
        size = min(size, length - position)
        breath = coloured(random, pink_like(random, size), size, curve=14)
        shape = np.sin(np.pi * np.arange(size) / size) ** random.uniform(0.5, 2)
        audio[position : position + size] += breath / root_mean_square(breath) * shape * random.uniform(0.3, 1)
        position += size + int(random.uniform(0.1, 1.5) * RATE)
    return audio


def wind(random, length):
    """Returns gusts on a microphone: low noise whose level and edge wander."""
    low = fft.rfft(random.standard_normal(length, np.float32))
    frequency = np.arange(len(low)) * (RATE / 2 / len(low))
    low *= 1 / (1 + (frequency / random.uniform(40, 500)) ** random.uniform(1, 2.5))
    track = fft.irfft(low, length)
    points = random.normal(0, random.uniform(3, 9), int(length / RATE * random.uniform(1, 6)) + 2)
    gains = 10 ** (np.interp(np.linspace(0, 1, length), np.linspace(0, 1, len(points)), points) / 20)
    return (track * gains).astype(np.float32)


class Mixer:
    """Makes tracks from the recordings of one part, "train" or "valid".

    folder  where `fetch.py` has put them.
    seed    equal seeds give equal tracks.
    """

    def __init__(self, folder, part, seed, seconds):
        self.random = np.random.default_rng(seed)
        self.length = int(seconds * RATE)
        self.voices = self._load(folder, part, "voice")
        self.voice_shares = self._shares(self.voices)
        self.noises = {kind: self._load(folder, part, kind) for kind in ["music", "noise", "keys"]}
        self.shares = {kind: self._shares(loaded) for kind, loaded in self.noises.items()}

    @staticmethod
    def _shares(loaded):
        """A little of everything: a source of ten times the length is taken three times as often."""
        sizes = np.array([len(recordings.samples) for recordings in loaded]) ** 0.5
        return sizes / max(sizes.sum(), 1)

    @staticmethod
    def _load(folder, part, kind):
        """Returns what `fetch.py` has put there of one kind."""
        return [Recordings(folder, source) for source in sources.of(part, kind)
                if (Path(folder) / f"{source.name}.json").exists()]

    def _sequence(self, recordings, length, pause, in_order=False):
        """Returns recordings one after the other, with pauses of up to PAUSE seconds."""
        track = np.zeros(length, np.float32)
        position = -self.random.integers(0, RATE)
        number = self.random.integers(len(recordings))
        while position < length:
            # Neighbours are of one speaker in sources of several.
            number = (number + 1) % len(recordings) if in_order else self.random.integers(len(recordings))
            clip = recordings.clip(number)
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
        track = self._sequence(recordings, length, self.random.choice([0.1, 0.5, 2.0]), in_order=True)
        track = quieter_pauses(track)
        if self.random.random() < 0.06:
            track = telephone(self.random, track)
        return coloured(self.random, track, self.length, curve=5, room_share=room_share)

    def voice(self):
        return self._voice(0.87, 1.15, room_share=0.4)

    def plain_voice(self):
        """Returns a voice as it was recorded."""
        recordings = self.voices[self.random.choice(len(self.voices), p=self.voice_shares)]
        return self._sequence(recordings, self.length, 0.3)

    def babble(self):
        voices = [self._voice(0.8, 1.3, room_share=0.5) for _ in range(self.random.integers(3, 11))]
        return sum(voice / (active_level(voice) + 1e-6) * 10 ** (self.random.uniform(-8, 0) / 20)
                   for voice in voices).astype(np.float32)

    def _music(self):
        recordings = self.random.choice(self.noises["music"], p=self.shares["music"])
        clip = recordings.clip(self.random.integers(len(recordings)))
        while len(clip) < self.length // 2:  # loops one after the other
            clip = np.concatenate([clip, clip, recordings.clip(self.random.integers(len(recordings)))])
        length = self._longer(self.random.uniform(0.75, 1.35))
        begin = self.random.integers(0, max(len(clip) - length, 1))
        clip = np.pad(clip[begin : begin + length], (0, max(0, length - len(clip) + begin)), "wrap")
        return coloured(self.random, clip[:length], self.length, curve=8)

    def _sounds(self, kind, pause):
        """Returns a scene: one to three layers of sounds, one after the other."""
        scene = np.zeros(self.length, np.float32)
        for _ in range(self.random.integers(1, 4)):
            recordings = self.random.choice(self.noises[kind], p=self.shares[kind])
            length = self._longer(self.random.uniform(0.6, 1.6))
            if kind == "noise" and self.random.random() < 0.6:
                track = self._excerpt(recordings, length)
            elif self.random.random() < 0.5:  # one sound again and again, as of a machine
                clip = recordings.clip(self.random.integers(len(recordings)))[:length]
                clip = np.pad(clip, (0, self.random.integers(0, int(pause * 4000) + 1)))
                track = np.resize(np.roll(clip, self.random.integers(len(clip))), length)
            else:
                track = self._sequence(recordings, length, pause)
            layer = coloured(self.random, track, self.length, curve=8, room_share=0.4)
            scene += layer / (active_level(layer) + 1e-6) * 10 ** (self.random.uniform(-10, 0) / 20)
        return scene

    def _excerpt(self, recordings, length):
        """Returns part of one recording, repeated where it is short."""
        clip = recordings.clip(self.random.integers(len(recordings)))
        begin = self.random.integers(0, max(len(clip) - length, 0) + 1)
        return np.resize(clip[begin : begin + length], length)

    def _generated(self):
        if self.random.random() < 0.3:
            return self.random.choice([wind, breathing])(self.random, self.length)
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
        single = kind is not None
        if kind is None:
            shares = np.array([KINDS[kind] for kind in kinds])
            kind = self.random.choice(kinds, p=shares / shares.sum())
        track = makers[kind]()
        track /= root_mean_square(track) + 1e-6
        if not single and self.random.random() < 0.3:
            other = makers[self.random.choice(kinds)]()
            track += other / (root_mean_square(other) + 1e-6) * np.float32(self.random.uniform(0, 1))
        return track

    def scaled(self, voice, noise, ratio):
        """Returns the pair at RATIO dB, and at a random level."""
        noise = noise * np.float32(active_level(voice) / root_mean_square(noise) * 10 ** (-ratio / 20))
        peak = max(float(np.abs(voice + noise).max()), 1e-6)
        level = np.float32(10 ** (self.random.uniform(-40, -1) / 20) / peak)
        return voice * level, noise * level


class Bank:
    """Pairs of voice and noise from the tracks that `bank.py` has put into a folder."""

    def __init__(self, folder, seed):
        self.folder, self.random = Path(folder), np.random.default_rng(seed)
        self.voices, self.noises, self.read = [], [], set()
        self.look()

    def look(self):
        """Takes up what came since."""
        for path in sorted(self.folder.glob("noise-*.npy")):
            if path.name in self.read:
                continue
            self.read.add(path.name)
            self.noises += list(np.load(path, mmap_mode="r"))
            self.voices += list(np.load(path.with_name(path.name.replace("noise", "voice")), mmap_mode="r"))

    def _track(self, tracks):
        return tracks[self.random.integers(len(tracks))].astype(np.float32) / 32767

    def pair(self):
        """Returns a voice and the noise to take from it, at a random ratio and level."""
        random = self.random
        voice = self._track(self.voices)
        noise = np.roll(self._track(self.noises), random.integers(len(voice)))
        ratio, draw = random.triangular(-10, 2, 20), random.random()
        if draw < 0.04:
            voice = np.zeros_like(voice)
        elif draw < 0.11:
            ratio = random.uniform(25, 50)
        if random.random() < 0.06:  # a noise that begins, ends or changes
            at = random.integers(len(noise))
            noise[at:] *= np.float32(10 ** (random.uniform(-30, 30) / 20))
        level = max(active_level(voice), 1e-5)
        if level > 1e-5:
            noise *= np.float32(level / max(root_mean_square(noise), 1e-6) * 10 ** (-ratio / 20))
        if random.random() < 0.1:
            hits = knocks(random, len(voice))
            noise += hits * np.float32(max(level, root_mean_square(noise)) * 10 ** (random.uniform(0, 26) / 20)
                                       / max(float(np.abs(hits).max()), 1e-6))
        if random.random() < 0.06:
            noise += breathing(random, len(voice)) * np.float32(level * 10 ** (random.uniform(-35, -10) / 20))
        if random.random() < 0.04:
            at = random.integers(len(voice))
            step = np.float32(10 ** (random.uniform(-20, 20) / 20))
            voice[at:] *= step
            noise[at:] *= step
        peak = max(float(np.abs(voice + noise).max()), 1e-6)
        if random.random() < 0.03:  # what is cut off becomes noise
            limit = peak * random.uniform(0.2, 0.8)
            noise = np.clip(voice + noise, -limit, limit) - voice
            peak = limit
        scale = np.float32(10 ** (random.uniform(-38, 0) / 20) / peak)
        return voice * scale, noise * scale

    def batch(self, size):
        """Returns voices and noises, two arrays [size, samples]."""
        voices, noises = zip(*[self.pair() for _ in range(size)])
        return np.stack(voices), np.stack(noises)
