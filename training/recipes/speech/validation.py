"""The mixtures on which networks are compared while they train.

No voice in front, music or sound of them is trained on. A quarter has babble of the training's voices, a
quarter noise of the training's generators, of other random numbers.
"""

import numpy as np
import torch

import loss
import mixing
from metrics import si_sdr, stoi

KINDS = ("music", "noise", "babble", "generated")
RATIOS = (0, 5, 10)


class Validation:
    """Twelve mixtures for each kind of noise, four seconds each, by a seed."""

    def __init__(self, folder, count=48, seed=7):
        held = mixing.Mixer(folder, "valid", seed, 4.0)
        trained = mixing.Mixer(folder, "train", seed + 1, 4.0)  # babble needs several voices
        pairs = []
        for number in range(count):
            kind = KINDS[number % len(KINDS)]
            voice = held.plain_voice()
            noise = trained.babble() if kind == "babble" else held.noise(kind)
            pairs.append(held.scaled(voice, noise, RATIOS[number // len(KINDS) % len(RATIOS)]))
        self.voices = np.stack([voice for voice, _ in pairs]).astype(np.float32)
        self.mixtures = self.voices + np.stack([noise for _, noise in pairs]).astype(np.float32)
        self.before = self._measure(self.mixtures)

    def _measure(self, estimates):
        """Returns [mixture, (SI-SDR, STOI)]."""
        return np.array([(si_sdr(estimate, voice[: len(estimate)]),
                          stoi(estimate, voice[: len(estimate)], mixing.RATE))
                         for estimate, voice in zip(estimates, self.voices)])

    def run(self, network):
        """Returns for each kind, and for all, the gain of SI-SDR in dB, STOI, and STOI before."""
        spectra = loss.spectra(torch.from_numpy(self.mixtures))
        with torch.no_grad():
            mask = network(spectra.abs().unsqueeze(3)).squeeze(3)
        after = self._measure(loss.audio(mask * spectra).numpy())
        rows = np.stack([after[:, 0] - self.before[:, 0], after[:, 1], self.before[:, 1]], axis=1)
        result = {kind: rows[number :: len(KINDS)].mean(axis=0).round(4).tolist()
                  for number, kind in enumerate(KINDS)}
        return result | {"all": rows.mean(axis=0).round(4).tolist()}
