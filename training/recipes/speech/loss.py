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


WEIGHTS = {"ratio": 1.0, "magnitudes": 30.0, "complex": 20.0, "suppressed": 10.0, "envelopes": 10.0}
POWER, TINY = 0.3, 1e-3


def loss(mask, voice, mixture):
    """Returns the loss of a mask, and its parts for the log.

    ratio       the logarithm of the error over the voice, with a floor for both, in dB
    magnitudes  the error of magnitudes to the power 0.3, which counts what is soft, as noise in pauses is
    complex     the same with the phases, those of the mixture against the voice's
    suppressed  what magnitudes to that power lack of the voice's: losing voice costs more than keeping noise
    envelopes   what the envelopes lack of running alike
    """
    loudness = (mixture.real**2 + mixture.imag**2).mean(dim=(1, 2), keepdim=True).sqrt() + 1e-9
    voice, mixture = voice / loudness, mixture / loudness
    size = mixture[0].numel()
    real, imaginary = mask * mixture.real - voice.real, mask * mixture.imag - voice.imag
    error = (real**2 + imaginary**2).sum(dim=(1, 2))
    power = (voice.real**2 + voice.imag**2).sum(dim=(1, 2))
    ratio = (10 * torch.log10(error / (power + 1e-3 * size) + 1e-3)).mean()

    before, target = mixture.abs(), voice.abs()
    estimate = mask * before
    soft, soft_target = (estimate + TINY) ** POWER, (target + TINY) ** POWER
    lacking = soft_target - soft
    magnitudes = (lacking**2).mean()
    suppressed = (functional.relu(lacking) ** 2).mean()
    # |a e^ix - b e^iy|^2 = (a - b)^2 + 2 a b (1 - cos(x - y))
    alike = (mixture.real * voice.real + mixture.imag * voice.imag) / (before * target + TINY**2)
    turned = magnitudes + (2 * soft * soft_target * (1 - alike.clamp(-1, 1)) *
                           (target > TINY)).mean()

    spoken = power > 1e-3 * size
    envelopes = 1 - envelope_correlation(estimate[spoken], target[spoken]).mean()
    parts = {"ratio": ratio, "magnitudes": magnitudes, "complex": turned, "suppressed": suppressed,
             "envelopes": envelopes}
    total = sum(WEIGHTS[name] * part for name, part in parts.items())
    return total, [round(part.item(), 4) for part in parts.values()]
