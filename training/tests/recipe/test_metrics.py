"""The measures against values that are known and against a second computation."""

import math

import numpy as np
import pytest
from scipy.signal import lfilter, resample_poly

import metrics

RATE = 16000


def voice_like(seconds=2.0, seed=1):
    """Noise of a falling spectrum whose level swings as syllables do."""
    random = np.random.default_rng(seed)
    noise = lfilter([1], [1, -0.9], random.standard_normal(int(seconds * RATE)))
    time = np.arange(len(noise)) / RATE
    return noise * (1.05 + np.sin(2 * np.pi * 4 * time)) * 0.05


def noise_like(audio, ratio, seed=2):
    noise = np.random.default_rng(seed).standard_normal(len(audio))
    return noise * np.linalg.norm(audio) / np.linalg.norm(noise) * 10 ** (-ratio / 20)


def stoi_by_loops(estimate, reference, rate):
    """The measure written out frame by frame and band by band, after the paper's equations.

    Both are by the same hand; values that others publish for given signals aren't at hand.
    """
    clean, noisy = (resample_poly(a, 10000 // math.gcd(rate, 10000), rate // math.gcd(rate, 10000))
                    for a in (reference, estimate))
    window = np.array([0.5 - 0.5 * math.cos(2 * math.pi * (n + 1) / 257) for n in range(256)])
    starts = range(0, len(clean) - 255, 128)
    energies = [20 * math.log10(np.linalg.norm(clean[s : s + 256] * window)) for s in starts]
    kept = [s for s, e in zip(starts, energies) if e > max(energies) - 40]
    joined = []
    for audio in (clean, noisy):
        out = np.zeros((len(kept) - 1) * 128 + 256)
        for number, s in enumerate(kept):
            out[number * 128 : number * 128 + 256] += audio[s : s + 256] * window
        joined.append(out)
    bands = []
    for band in range(15):
        edges = [150 * 2 ** ((2 * band + side) / 6) for side in (-1, 1)]
        bands.append([round(edge / (10000 / 512)) for edge in edges])
    envelopes = []
    for audio in joined:
        spectra = [np.fft.rfft(audio[s : s + 256] * window, 512)
                   for s in range(0, len(audio) - 255, 128)]
        envelopes.append([[math.sqrt(sum(abs(x) ** 2 for x in spectrum[low:high]))
                           for spectrum in spectra] for low, high in bands])
    total, count = 0.0, 0
    for x_band, y_band in zip(*envelopes):
        for m in range(30, len(x_band) + 1):
            x, y = np.array(x_band[m - 30 : m]), np.array(y_band[m - 30 : m])
            y = np.minimum(y * np.linalg.norm(x) / np.linalg.norm(y), x * (1 + 10 ** (15 / 20)))
            x, y = x - x.mean(), y - y.mean()
            total += x @ y / (np.linalg.norm(x) * np.linalg.norm(y))
            count += 1
    return total / count


def test_stoi_is_what_the_equations_say():
    voice = voice_like()
    voice[8000:14000] *= 1e-4  # silence that is left out
    for ratio in (-5, 0, 10):
        noisy = voice + noise_like(voice, ratio)
        assert metrics.stoi(noisy, voice, RATE) == pytest.approx(stoi_by_loops(noisy, voice, RATE),
                                                                 abs=1e-9)


def test_stoi_of_known_cases():
    voice = voice_like()
    assert metrics.stoi(voice, voice, RATE) == pytest.approx(1, abs=1e-12)
    assert metrics.stoi(-0.2 * voice, voice, RATE) == pytest.approx(1, abs=1e-12)
    rising = [metrics.stoi(voice + noise_like(voice, ratio), voice, RATE) for ratio in (-10, 0, 10, 20)]
    assert rising == sorted(rising)
    assert math.isnan(metrics.stoi(voice[:3000], voice[:3000], RATE))


def test_ratios_of_known_cases():
    voice = voice_like()
    noise = noise_like(voice, 0)
    noise -= voice * (noise @ voice) / (voice @ voice)  # nothing of the voice in it
    scale = np.linalg.norm(voice) / np.linalg.norm(noise)
    for ratio in (-3, 0, 12):
        noisy = voice + noise * scale * 10 ** (-ratio / 20)
        assert metrics.si_sdr(0.3 * noisy, voice) == pytest.approx(ratio, abs=1e-6)
    # An estimate of half the size is wrong by half the signal in every frame: 6.02 dB.
    assert metrics.segmental_snr(0.5 * voice, voice, RATE) == pytest.approx(6.0206, abs=1e-3)
    assert metrics.segmental_snr(voice, voice, RATE) == 35
    assert metrics.segmental_snr(-9 * voice, voice, RATE) == -10
