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
RATIOS = (-5, 0, 5, 10)
CLEAN = 8  # voices alone, and as many noises alone


class Validation:
    """Sixteen mixtures for each kind of noise, four seconds each, by a seed; voices and noises alone."""

    def __init__(self, folder, count=64, seed=7):
        held = mixing.Mixer(folder, "valid", seed, 4.0)
        trained = mixing.Mixer(folder, "train", seed + 1, 4.0)  # babble needs several voices
        pairs = []
        for number in range(count):
            kind = KINDS[number % len(KINDS)]
            voice = held.plain_voice()
            wanted = "noise" if held.noises.get(kind) == [] else kind  # of recordings of one's own
            noise = trained.babble() if kind == "babble" else held.noise(wanted)
            pairs.append(held.scaled(voice, noise, RATIOS[number // len(KINDS) % len(RATIOS)]))
        self.voices = np.stack([voice for voice, _ in pairs]).astype(np.float32)
        self.mixtures = self.voices + np.stack([noise for _, noise in pairs]).astype(np.float32)
        self.before = self._measure(self.mixtures)

    @staticmethod
    def _cleaned(network, audio):
        spectra = loss.spectra(torch.from_numpy(audio))
        with torch.no_grad():
            mask = network(spectra.abs().unsqueeze(3)).squeeze(3)
        return loss.audio(mask * spectra).numpy()

    def _alone(self, network):
        """Returns the SI-SDR of voices alone, and by how many dB noise alone falls."""
        voices = self.voices[:CLEAN]
        noises = (self.mixtures - self.voices)[:: max(len(self.voices) // CLEAN, 1)]
        clean = [si_sdr(after, voice[: len(after)])
                 for after, voice in zip(self._cleaned(network, voices), voices)]
        after = self._cleaned(network, noises)
        power = [(part[:, mixing.RATE :] ** 2).mean(axis=1) for part in (noises, after)]
        return [round(float(np.mean(clean)), 3), round(float(np.mean(10 * np.log10(power[0] / power[1]))), 3)]

    def _measure(self, estimates):
        """Returns [mixture, (SI-SDR, STOI)]."""
        return np.array([(si_sdr(estimate, voice[: len(estimate)]),
                          stoi(estimate, voice[: len(estimate)], mixing.RATE))
                         for estimate, voice in zip(estimates, self.voices)])

    def run(self, network):
        """Returns for each kind, and for all, the gain of SI-SDR in dB, STOI, and STOI before; "alone" as
        _alone() does."""
        network.eval()
        after = self._measure(self._cleaned(network, self.mixtures))
        rows = np.stack([after[:, 0] - self.before[:, 0], after[:, 1], self.before[:, 1]], axis=1)
        result = {kind: rows[number :: len(KINDS)].mean(axis=0).round(4).tolist()
                  for number, kind in enumerate(KINDS)}
        return result | {"all": rows.mean(axis=0).round(4).tolist(), "alone": self._alone(network)}
