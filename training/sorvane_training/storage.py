"""Which tensors a file keeps as half floats, and what a network is with such weights."""

from contextlib import contextmanager
from dataclasses import dataclass
from fnmatch import fnmatchcase

import torch

from . import half_floats
from .model_file import ModelError

# Parameters whose name in a file is another.
FIELD_NAMES = {"weight": "weights", "time_taps": "timeTaps", "freq_taps": "freqTaps",
               "values": "bands"}


@dataclass(frozen=True)
class Storage:
    """Half floats for all tensors, or none, but for those that a pattern of `single` names.

    Patterns are shell-like and match "module" or "module.tensor": "soft.*", "norm*.scale". One that
    matches nothing is an error.
    """

    half: bool = False
    single: tuple = ()

    def halves(self, tensors):
        """Those of `tensors`, pairs of module and tensor, that become half floats.

        A pattern that is the name of one of them, or of its module, names no others. ModelError for
        one that names none.
        """
        single = set()
        for pattern in self.single:
            named = ([pair for pair in tensors if pattern in _names(pair)] or
                     [pair for pair in tensors
                      if any(fnmatchcase(name, pattern) for name in _names(pair))])
            if not named:
                raise ModelError(f"Storage: {pattern!r} names no tensor")
            single.update(named)
        return set(tensors) - single if self.half else set()

    @contextmanager
    def applied(self, network):
        """Within it the network's parameters are what a file keeps of them; afterwards themselves.

        For hearing and measuring what half storage does, and for training with it: with the loss
        and its gradients inside and the optimiser's step outside, the steps move the exact weights
        by the gradients of the rounded ones.
        """
        exact, parameters = {}, {}
        for name, module in network.named_modules():
            for tensor, parameter in module.named_parameters(recurse=False):
                # export() calls a single layer "0".
                parameters[name or "0", FIELD_NAMES.get(tensor, tensor)] = parameter
        for pair in self.halves(list(parameters)):
            parameter = parameters[pair]
            if parameter not in exact:
                exact[parameter] = parameter.data
                values = half_floats.rounded(parameter.detach().cpu().numpy())
                parameter.data = torch.from_numpy(values).to(parameter)
        try:
            yield network
        finally:
            for parameter, data in exact.items():
                parameter.data = data


def _names(pair):
    return pair[0], ".".join(pair)
