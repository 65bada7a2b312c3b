"""Which tensors a file keeps as half floats, and what a network is with such weights."""

from contextlib import contextmanager
from dataclasses import dataclass
from fnmatch import fnmatchcase

import torch

from . import half_floats

# Parameters whose name in a file is another.
FIELD_NAMES = {"weight": "weights", "time_taps": "timeTaps", "freq_taps": "freqTaps",
               "values": "bands"}


@dataclass(frozen=True)
class Storage:
    """Half floats for all tensors, or none, but for those that a pattern of `single` names.

    Patterns are shell-like and match "module" or "module.tensor": "soft.*", "norm*.scale".
    """

    half: bool = False
    single: tuple = ()

    def is_half(self, layer, field):
        names = (layer, f"{layer}.{field}")
        return self.half and not any(fnmatchcase(name, pattern)
                                     for pattern in self.single for name in names)

    @contextmanager
    def applied(self, network):
        """Within it the network's parameters are what a file keeps of them; afterwards themselves.

        For hearing and measuring what half storage does, and for training with it: with the loss
        and its gradients inside and the optimiser's step outside, the steps move the exact weights
        by the gradients of the rounded ones.
        """
        exact = {}
        for name, parameter in network.named_parameters():
            layer, _, tensor = name.rpartition(".")
            if self.is_half(layer, FIELD_NAMES.get(tensor, tensor)):
                exact[parameter] = parameter.data
                values = half_floats.rounded(parameter.detach().cpu().numpy())
                parameter.data = torch.from_numpy(values).to(parameter)
        try:
            yield network
        finally:
            for parameter, data in exact.items():
                parameter.data = data
