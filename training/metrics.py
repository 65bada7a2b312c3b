"""Measures of how near an estimate is to a clean recording. Arrays of one channel, equally long."""

import math

import numpy as np
from scipy.signal import resample_poly


def si_sdr(estimate, reference):
    """Returns the scale-invariant signal-to-distortion ratio in dB.

    J. Le Roux et al., "SDR - half-baked or well done?", ICASSP 2019, without removal of means.
    """
    estimate, reference = estimate.astype(np.float64), reference.astype(np.float64)
    target = reference * (estimate @ reference / (reference @ reference))
    distortion = estimate - target
    return 10 * math.log10((target @ target) / max(distortion @ distortion, 1e-20))


def segmental_snr(estimate, reference, rate):
    """Returns the mean signal-to-noise ratio of frames of 32 ms in dB, each held to -10 to 35 dB.

    J. Hansen and B. Pellom, "An effective quality evaluation protocol for speech enhancement
    algorithms", ICSLP 1998. Frames over 40 dB below the loudest are left out.
    """
    size = int(0.032 * rate)
    count = len(reference) // size
    clean = reference[: count * size].astype(np.float64).reshape(count, size)
    error = clean - estimate[: count * size].astype(np.float64).reshape(count, size)
    signal, noise = (clean**2).sum(axis=1), (error**2).sum(axis=1)
    ratios = 10 * np.log10((signal + 1e-20) / (noise + 1e-20))
    return float(np.clip(ratios, -10, 35)[signal > signal.max() * 1e-4].mean())


STOI_RATE, STOI_FRAME, STOI_HOP, STOI_FFT = 10000, 256, 128, 512
STOI_BANDS, STOI_LOWEST, STOI_SEGMENT, STOI_CLIP, STOI_RANGE = 15, 150, 30, -15, 40


def third_octaves(rate, size, count, lowest):
    """Returns a matrix [count, size / 2 + 1] that adds up the bins of third-octave bands."""
    bins = np.linspace(0, rate, size + 1)[: size // 2 + 1]
    bands = np.zeros((count, len(bins)))
    for band in range(count):
        centre = lowest * 2 ** (band / 3)
        low, high = (int(np.argmin((bins - centre * 2 ** (side / 6)) ** 2)) for side in (-1, 1))
        bands[band, low:high] = 1
    return bands


def _frames(audio):
    count = max((len(audio) - STOI_FRAME) // STOI_HOP + 1, 0)
    at = np.arange(count)[:, None] * STOI_HOP + np.arange(STOI_FRAME)
    return audio[at] * np.hanning(STOI_FRAME + 2)[1:-1]


def _joined(frames):
    audio = np.zeros((len(frames) - 1) * STOI_HOP + STOI_FRAME)
    for number, frame in enumerate(frames):
        audio[number * STOI_HOP : number * STOI_HOP + STOI_FRAME] += frame
    return audio


def stoi(estimate, reference, rate):
    """Returns the short-time objective intelligibility, about 0 to 1.

    C. Taal et al., "An algorithm for intelligibility prediction of time-frequency weighted noisy
    speech", IEEE TASLP 19(7), 2011. Recordings with less than 0.4 s of speech give NaN.
    """
    common = math.gcd(rate, STOI_RATE)
    clean, noisy = (resample_poly(audio.astype(np.float64), STOI_RATE // common, rate // common)
                    for audio in (reference, estimate))
    clean, noisy = _frames(clean), _frames(noisy)
    if len(clean) == 0:
        return math.nan
    levels = 20 * np.log10(np.linalg.norm(clean, axis=1) + 1e-20)
    loud = levels > levels.max() - STOI_RANGE
    clean, noisy = _joined(clean[loud]), _joined(noisy[loud])
    bands = third_octaves(STOI_RATE, STOI_FFT, STOI_BANDS, STOI_LOWEST)
    clean, noisy = (np.sqrt(np.abs(np.fft.rfft(_frames(audio), STOI_FFT)) ** 2 @ bands.T).T
                    for audio in (clean, noisy))
    if clean.shape[1] < STOI_SEGMENT:
        return math.nan
    clean, noisy = (np.lib.stride_tricks.sliding_window_view(envelope, STOI_SEGMENT, axis=1)
                    for envelope in (clean, noisy))
    tiny = 1e-20
    scale = np.linalg.norm(clean, axis=2, keepdims=True) / (
        np.linalg.norm(noisy, axis=2, keepdims=True) + tiny)
    noisy = np.minimum(noisy * scale, clean * (1 + 10 ** (-STOI_CLIP / 20)))
    clean = clean - clean.mean(axis=2, keepdims=True)
    noisy = noisy - noisy.mean(axis=2, keepdims=True)
    product = np.linalg.norm(clean, axis=2) * np.linalg.norm(noisy, axis=2)
    return float(((clean * noisy).sum(axis=2) / (product + tiny)).mean())
