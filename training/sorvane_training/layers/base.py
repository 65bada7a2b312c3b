"""What all layers share: the layout of tensors, state between calls, fields of a model file."""

import math

import torch
from torch import nn


class Layer(nn.Module):
    """A layer with the engine's meaning, on tensors [batch, T, F, C].

    `forward(x)` takes the T frames of a whole stream, from a cold start. `forward(x, state)` takes
    the next frames of one, any number: `state` is a dictionary, empty at the start of a stream, in
    which the layer keeps what it needs of earlier frames. Any split of a stream gives the frames
    that one call gives, though a layer with a delay or a stride may give none in one call.
    """

    kind: int  # code in the model file

    def fields(self):
        """The layer's fields in the model file: numbers, and NumPy arrays for tensors."""
        return {}

    @classmethod
    def from_fields(cls, fields, in_shape):
        """The layer that a file's fields describe; `in_shape` is (F, C) of its input."""
        return cls()


def uniform_weights(*shape, fan_in):
    """A parameter drawn as PyTorch's own convolutions draw theirs."""
    bound = 1 / math.sqrt(fan_in)
    return nn.Parameter(torch.empty(*shape).uniform_(-bound, bound))


def stored(parameter):
    """A copy of a parameter's values as a file's tensor; None is a tensor without data."""
    if parameter is None:
        return None
    return parameter.detach().cpu().float().numpy().copy()


def loaded(values):
    """The parameter that holds a file's tensor, or None for one without data."""
    return None if values is None or values.size == 0 else nn.Parameter(torch.tensor(values))


def frames_before(x, count, state, key="past"):
    """`x` with the `count` frames before it in front; at a cold start these are 0.

    Remembers in `state`, when there is one, what the next call needs.
    """
    if count == 0:
        return x
    past = state.get(key) if state else None
    if past is None:
        past = x.new_zeros(x.shape[0], count, *x.shape[2:])
    joined = torch.cat([past, x], dim=1)
    if state is not None:
        state[key] = joined[:, -count:]
    return joined


def count_frames(frames, state, key="count"):
    """How many frames the stream had before these `frames`, which are added to the count."""
    if state is None:
        return 0
    before = state.get(key, 0)
    state[key] = before + frames
    return before


def drop_first(x, delay, state, key="count"):
    """`x` without those of its frames that are among the first `delay` of the stream."""
    before = count_frames(x.shape[1], state, key)
    dropped = min(max(delay - before, 0), x.shape[1])
    return x[:, dropped:] if dropped else x
