"""What training makes small, and the transform that it works in.

Tensors are [batch, frames, bins]. The transform is the engine's at the model's own rate: frames of 512
samples every 256, square roots of Hann windows, no scaling.
"""

import torch
from sorvane_training.packing import analysis_window
from torch.nn import functional

from metrics import third_octaves

FRAME, HOP, RATE = 512, 256, 16000
WINDOW = torch.from_numpy(analysis_window(FRAME, HOP))
SEGMENT = 24  # frames of the windows in which envelopes are compared, 384 ms
OCTAVE_BANDS = torch.from_numpy(third_octaves(RATE, FRAME, 15, 150)).float()


def spectra(audio):
    """Returns the complex spectra of audio [batch, samples], from the engine's cold start."""
    padded = functional.pad(audio, (FRAME - HOP, 0))
    return torch.stft(padded, FRAME, HOP, FRAME, WINDOW, center=False,
                      return_complex=True).transpose(1, 2)


def audio(spectra):
    """Returns the audio of spectra, aligned with what they were made from, without its last hop."""
    frames = torch.fft.irfft(spectra, FRAME) * WINDOW
    first, second = frames.split(HOP, dim=2)
    return (second[:, :-1] + first[:, 1:]).flatten(1)


def envelope_correlation(estimate, target):
    """Returns how alike the envelopes of third-octave bands run, from magnitudes; 1 is the best.

    The idea of C. Taal et al.'s short-time objective intelligibility, on the frames at hand. Windows
    without voice don't count.
    """
    estimate, target = (((magnitudes**2) @ OCTAVE_BANDS.t() + 1e-6).sqrt().transpose(1, 2)
                        .unfold(2, SEGMENT, 4) for magnitudes in (estimate, target))
    power = (target**2).sum(dim=(1, 3))
    counts = (power > 1e-3 * power.amax(dim=1, keepdim=True)).float()
    estimate = estimate - estimate.mean(dim=3, keepdim=True)
    target = target - target.mean(dim=3, keepdim=True)
    product = estimate.norm(dim=3) * target.norm(dim=3) + 1e-3
    correlations = ((estimate * target).sum(dim=3) / product).mean(dim=1)
    return (correlations * counts).sum(dim=1) / counts.sum(dim=1)


def loss(mask, voice, mixture, magnitude_weight, envelope_weight):
    """Returns the loss of a mask, and its three parts for the log.

    The parts: the logarithm of the error over the voice, with a floor; the error of magnitudes to the
    power 0.3, which counts what is soft; what the envelopes lack of running alike.
    """
    loudness = (mixture.abs() ** 2).mean(dim=(1, 2), keepdim=True).sqrt() + 1e-9
    voice, mixture = voice / loudness, mixture / loudness
    size = mixture[0].numel()
    error = mask * mixture - voice
    error = (error.real**2 + error.imag**2).sum(dim=(1, 2))
    power = (voice.real**2 + voice.imag**2).sum(dim=(1, 2))
    ratio = (10 * torch.log10(error / (power + 1e-3 * size) + 10**-2.5)).mean()

    estimate, target = mask * mixture.abs(), voice.abs()
    magnitudes = (((estimate + 1e-4) ** 0.3 - (target + 1e-4) ** 0.3) ** 2).mean()

    spoken = power > 1e-3 * size
    envelopes = 1 - envelope_correlation(estimate[spoken], target[spoken]).mean()
    total = ratio + magnitude_weight * magnitudes + envelope_weight * envelopes
    return total, (ratio.item(), magnitudes.item(), envelopes.item())
