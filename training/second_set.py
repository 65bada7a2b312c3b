"""The second test set: harder than the first, and more of what people meet.

By a seed, of sources of the part "test" alone:

    200 mixtures   eight kinds of noise at -5, 0, 5 and 10 dB; three in ten in a room, one in ten by telephone
    40 clean       voices alone
    40 noise       noises alone
    40 knock       a voice alone, with one loud knock
    1 long         ten minutes of one voice, with noise that changes every twenty seconds

All are of six seconds but the last, at 16 kHz.
"""

import numpy as np
from scipy import signal

import mixing
import sources
from metrics import si_sdr, stoi

RATE, SECONDS = 16000, 6
RATIOS = (-5, 0, 5, 10)
VOICES = ("prompts-fr", "prompts-ru", "pack-librispeech-test", "pack-student-words-test")
# For each kind what it is made of: a source, and which of its recordings by words in their paths.
KINDS = {
    "engines": [("pack-esc10-test", "helicopter chainsaw"), ("city", "trafic railtrain plane track")],
    "wind and rain": [("pack-esc10-test", "rain sea-waves")],
    "nature": [("pack-esc10-test", "dog rooster fire"), ("city", "green parkland farm")],
    "clatter": [("city", "blacksmith build pottery recycle mine construction industry")],
    "crowd": [("pack-berlin-test", ""), ("babble", ""), ("city", "market school croud")],
    "music": [("opsound-music", "")],
    "keys": [("test-keys", "")],
    "household": [("pack-esc10-test", "baby clock sneeze")],
}
AFTER_KNOCK = (0.1, 1.1)  # seconds after a knock in which the voice is looked at


class SecondSet:
    """The clips: dictionaries of group, kind, ratio, speech, noise and mixture; of "knock" where it ends."""

    def __init__(self, folder, seed=2027, count=200, alone=40, minutes=10):
        self.random = np.random.default_rng(seed)
        self.recordings = {source.name: mixing.Recordings(folder / "test", source)
                           for source in sources.of("test", "voice", "noise", "music", "keys")}
        self.length = SECONDS * RATE
        kinds = list(KINDS)
        self.clips = [self._mixture(kinds[number % len(kinds)], RATIOS[number // len(kinds) % len(RATIOS)])
                      for number in range(count)]
        self.clips += [self._alone("clean") for _ in range(alone)]
        self.clips += [self._noise_alone(kinds[number % len(kinds)]) for number in range(alone)]
        self.clips += [self._knock() for _ in range(alone)]
        if minutes:
            self.clips.append(self._long(minutes))

    def voice(self, length, pause=0.8):
        """Returns recordings of one speaker one after the other, with pauses."""
        recordings = self.recordings[VOICES[self.random.integers(len(VOICES))]]
        speaker = recordings.paths[self.random.integers(len(recordings))]
        numbers = np.arange(len(recordings))
        if recordings.source.package == sources.PACK:  # a file for each speaker
            numbers = np.array([n for n in numbers if recordings.paths[n] == speaker])
        track, position = np.zeros(length, np.float32), int(self.random.uniform(0, 0.5) * RATE)
        while position < length - RATE // 5:
            clip = recordings.clip(self.random.choice(numbers))[: length - position]
            track[position : position + len(clip)] = clip
            position += len(clip) + int(self.random.uniform(0.1, pause) * RATE)
        return track

    def noise(self, kind, length):
        while True:
            name, words = KINDS[kind][self.random.integers(len(KINDS[kind]))]
            track = self._babble(length) if name == "babble" else self._recorded(name, words, length)
            if np.abs(track).max() > 1e-3:
                return track / mixing.root_mean_square(track)

    def _babble(self, length):
        voices = [self.voice(length, 0.1) for _ in range(self.random.integers(4, 8))]
        return sum(voice / mixing.active_level(voice) for voice in voices)

    def _recorded(self, name, words, length):
        recordings = self.recordings[name]
        numbers = [number for number, path in enumerate(recordings.paths)
                   if not words or any(word.lower() in path.lower() for word in words.split())]
        if not numbers:
            raise ValueError(f"{name} has no recording of {words}")
        track = np.zeros(0, np.float32)
        while len(track) < length:
            clip = recordings.clip(numbers[self.random.integers(len(numbers))])
            begin = self.random.integers(0, max(len(clip) - length, 0) + 1)
            gap = int(self.random.uniform(0, 0.25) * RATE) if len(clip) < RATE else 0
            track = np.concatenate([track, clip[begin : begin + length], np.zeros(gap, np.float32)])
        return track[:length]

    def _placed(self, voice):
        draw = self.random.random()
        if draw < 0.3:
            response = mixing.room(self.random, len(voice))
            return signal.fftconvolve(voice, response)[: len(voice)].astype(np.float32)
        return mixing.telephone(self.random, voice) if draw < 0.4 else voice

    def _clip(self, group, kind, ratio, speech, noise, **more):
        mixture = speech + noise
        level = 10 ** (self.random.uniform(-32, -18) / 20) / mixing.root_mean_square(mixture)
        level = np.float32(min(level, 0.95 / np.abs(mixture).max()))
        return {"group": group, "kind": kind, "ratio": ratio, "speech": (speech * level).astype(np.float32),
                "noise": (noise * level).astype(np.float32), "mixture": (mixture * level).astype(np.float32),
                **more}

    def _mixture(self, kind, ratio):
        speech = self._placed(self.voice(self.length))
        noise = self.noise(kind, self.length) * mixing.active_level(speech) * 10 ** (-ratio / 20)
        return self._clip("mixture", kind, ratio, speech, noise)

    def _alone(self, group):
        speech = self._placed(self.voice(self.length))
        return self._clip(group, group, None, speech, np.zeros_like(speech))

    def _noise_alone(self, kind):
        noise = self.noise(kind, self.length)
        return self._clip("noise", kind, None, np.zeros_like(noise), noise)

    def _knock(self):
        speech = self.voice(self.length, 0.2)
        noise = np.zeros_like(speech)
        size, begin = int(self.random.uniform(0.02, 0.12) * RATE), int(self.random.uniform(2, 4) * RATE)
        burst = mixing.burst(self.random, size)
        peak = np.abs(speech).max() * 10 ** (self.random.uniform(0, 14) / 20)
        noise[begin : begin + size] = burst * (peak / np.abs(burst).max())
        return self._clip("knock", "knock", None, speech, noise, end=begin + size)

    def _long(self, minutes):
        length, part = minutes * 60 * RATE, 20 * RATE
        speech = self.voice(length, 1.5)
        level = mixing.active_level(speech)
        kinds = list(KINDS)
        parts = [self.noise(kinds[self.random.integers(len(kinds))], part) * level
                 * 10 ** (-self.random.uniform(-5, 15) / 20) for _ in range(length // part)]
        return self._clip("long", "long", None, speech, np.concatenate(parts))


def of(clips, group):
    return [number for number, clip in enumerate(clips) if clip["group"] == group]


def pauses(speech):
    """Returns which samples lie in pauses: 50 dB and more below the voice for a fifth of a second around."""
    count = len(speech) // 320
    power = np.square(speech[: count * 320].reshape(count, 320)).mean(axis=1)
    loud = power > mixing.active_level(speech) ** 2 * 1e-5
    near = np.convolve(loud, np.ones(11), "same") > 0
    return np.repeat(~near, 320)


def attenuation(before, after, which=None):
    """Returns by how many dB the power of what stands at `which` falls; NaN for less than 0.3 s."""
    if which is not None:
        before, after = before[: len(which)][which], after[: len(which)][which]
    if len(before) < 0.3 * RATE:
        return np.nan
    return 10 * np.log10((np.mean(before**2) + 1e-14) / (np.mean(after**2) + 1e-14))


def drop_after_knock(clip, estimate):
    """Returns by how many dB the voice is softer than it should be in the second after a knock."""
    begin, end = (clip["end"] + int(second * RATE) for second in AFTER_KNOCK)
    speech, estimate = clip["speech"][begin:end], estimate[begin:end]
    if mixing.root_mean_square(speech) < 0.1 * mixing.root_mean_square(clip["speech"]):
        return np.nan
    return -20 * np.log10(max(speech @ estimate / (speech @ speech), 1e-3))


def measure(clips, estimates):
    """Returns the figures of one system: arrays for each mixture, and numbers for the other groups."""
    fitted = [np.pad(estimate, (0, max(0, len(clip["mixture"]) - len(estimate))))[: len(clip["mixture"])]
              for clip, estimate in zip(clips, estimates)]
    mixed = of(clips, "mixture")
    rows = np.array([(si_sdr(fitted[n], clips[n]["speech"]) - si_sdr(clips[n]["mixture"], clips[n]["speech"]),
                      stoi(fitted[n], clips[n]["speech"], RATE),
                      attenuation(clips[n]["mixture"], fitted[n], pauses(clips[n]["speech"])))
                     for n in mixed])
    clean = [si_sdr(fitted[n], clips[n]["speech"]) for n in of(clips, "clean")]
    noise = [attenuation(clips[n]["mixture"][RATE:], fitted[n][RATE:]) for n in of(clips, "noise")]
    knock = [drop_after_knock(clips[n], fitted[n]) for n in of(clips, "knock")]
    figures = {"clean voice": np.mean(clean), "worst tenth of clean voices": np.percentile(clean, 10),
               "noise alone": np.mean(noise), "lowest tenth of noise alone": np.percentile(noise, 10),
               "worst tenth after a knock": np.nanpercentile(knock, 90)}
    for n in of(clips, "long"):
        speech, mixture = clips[n]["speech"], clips[n]["mixture"]
        parts = [slice(at, at + 10 * RATE) for at in range(0, len(speech), 10 * RATE)
                 if np.abs(speech[at : at + 10 * RATE]).max() > 0]
        figures["ten minutes, gain"] = np.mean(
            [si_sdr(fitted[n][part], speech[part]) - si_sdr(mixture[part], speech[part]) for part in parts])
    return rows, figures


def table(clips, results, ratings):
    """Returns the tables of all systems; RATINGS has DNSMOS overall by system, where it is known."""
    mixed = [clips[n] for n in of(clips, "mixture")]
    kinds = {kind: np.array([clip["kind"] == kind for clip in mixed]) for kind in KINDS}
    levels = {f"{ratio} dB": np.array([clip["ratio"] == ratio for clip in mixed]) for ratio in RATIOS}
    lines = ["| 200 mixtures | SI-SDR gain | STOI | pauses | DNSMOS overall | " + " | ".join(levels) + " |",
             "|---|" + "---|" * (4 + len(levels))]
    for system, (rows, _) in results.items():
        rating = f"{ratings[system]:.2f}" if system in ratings else ""
        gains = [f"{rows[which, 0].mean():.1f}" for which in levels.values()]
        lines.append(f"| {system} | {rows[:, 0].mean():.2f} | {rows[:, 1].mean():.3f} | "
                     f"{np.nanmean(rows[:, 2]):.1f} | {rating} | " + " | ".join(gains) + " |")
    for title, column, digits in (("SI-SDR gain", 0, 1), ("STOI", 1, 3), ("attenuation in pauses", 2, 1)):
        lines += ["", f"| {title} | " + " | ".join(kinds) + " |", "|---|" + "---|" * len(kinds)]
        for system, (rows, _) in results.items():
            values = [f"{np.nanmean(rows[which, column]):.{digits}f}" for which in kinds.values()]
            lines.append(f"| {system} | " + " | ".join(values) + " |")
    titles = list(next(iter(results.values()))[1])
    lines += ["", "| dB | " + " | ".join(titles) + " |", "|---|" + "---|" * len(titles)]
    for system, (_, figures) in results.items():
        values = [f"{min(value, 99):.1f}" for value in figures.values()]
        lines.append(f"| {system} | " + " | ".join(values) + " |")
    return "\n".join(lines) + "\n"
