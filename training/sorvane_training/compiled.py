"""Steps of training that are compiled: several times as fast as PyTorch's own.

They need a C compiler; `available()` tells whether there was one.
"""

import ctypes
import functools
import subprocess
import tempfile
from pathlib import Path

import torch

SOURCE = Path(__file__).with_suffix(".c")
FLAGS = ["-O3", "-march=native", "-ffast-math", "-shared", "-fPIC"]


@functools.lru_cache(None)
def _library():
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "compiled.so"
        try:
            subprocess.run(["cc", *FLAGS, SOURCE, "-o", path], check=True, capture_output=True)
            library = ctypes.CDLL(str(path))
        except (OSError, subprocess.CalledProcessError):
            return None
    for function, pointers in ((library.filter_time, 4), (library.filter_time_back, 5)):
        function.argtypes = [ctypes.c_void_p] * pointers + [ctypes.c_long] * 5
        function.restype = None
    for function, pointers in ((library.normalise, 7), (library.normalise_back, 9)):
        function.argtypes = [ctypes.c_void_p] * pointers + [ctypes.c_long] * 2 + [ctypes.c_float] * 2
        function.restype = None
    return library


def available():
    return _library() is not None


def _pointers(*tensors):
    return [None if tensor is None else tensor.data_ptr() for tensor in tensors]


class _FilterTime(torch.autograd.Function):
    """`x` [batch, T, F, C], `taps` [K, C], `bias` [C]: all frames from a cold start."""

    @staticmethod
    def forward(ctx, x, taps, bias, dilation):
        x = x.contiguous()
        wide = taps.repeat(1, x.shape[2]).contiguous()
        wide_bias = bias.repeat(x.shape[2])
        out = torch.empty_like(x)
        ctx.sizes = (*x.shape[:2], x.shape[2] * x.shape[3], len(taps), dilation)
        _library().filter_time(*_pointers(x, wide, wide_bias, out), *ctx.sizes)
        ctx.save_for_backward(x, wide)
        return out

    @staticmethod
    def backward(ctx, gradient):
        x, wide = ctx.saved_tensors
        gradient = gradient.contiguous()
        into, into_taps = torch.zeros_like(x), torch.zeros_like(wide)
        _library().filter_time_back(*_pointers(x, wide, gradient, into, into_taps), *ctx.sizes)
        channels = x.shape[3]
        rows = torch.ones(1, gradient.shape[0] * gradient.shape[1])
        into_bias = (rows @ gradient.reshape(rows.shape[1], -1)).reshape(-1, channels).sum(0)
        return into, into_taps.reshape(len(wide), -1, channels).sum(1), into_bias, None


def filter_time(x, taps, bias, dilation):
    """Frames [batch, T, F, C] through filters `taps` [K, C], whose last meets the current frame."""
    return _FilterTime.apply(x, taps, bias, dilation)


class _Normalise(torch.autograd.Function):
    @staticmethod
    def forward(ctx, x, weight, bias, extra, slope, epsilon):
        x = x.contiguous()
        extra = None if extra is None else extra.contiguous()
        out, mean, variance = torch.empty_like(x), torch.empty_like(weight), torch.empty_like(weight)
        ctx.sizes = (x.numel() // len(weight), len(weight), slope, epsilon)
        _library().normalise(*_pointers(x, weight, bias, extra, out, mean, variance), *ctx.sizes)
        ctx.save_for_backward(x, weight, bias, mean, variance)
        ctx.has_extra = extra is not None
        ctx.mark_non_differentiable(mean, variance)
        return out, mean, variance

    @staticmethod
    def backward(ctx, gradient, *_):
        x, weight, bias, mean, variance = ctx.saved_tensors
        gradient = gradient.contiguous()
        into, into_weight, into_bias = (torch.empty_like(t) for t in (x, weight, bias))
        _library().normalise_back(*_pointers(x, weight, bias, mean, variance, gradient, into,
                                             into_weight, into_bias), *ctx.sizes)
        return into, into_weight, into_bias, gradient if ctx.has_extra else None, None, None


def normalise(norm, x, slope=1.0, extra=None):
    """extra + leaky_relu(norm(x), slope), as training has it: by what this batch is like.

    norm   a BatchNorm1d, over the last axis, whose running values it moves.
    extra  of the shape of x, or None.
    """
    out, mean, variance = _Normalise.apply(x, norm.weight, norm.bias, extra, slope, norm.eps)
    with torch.no_grad():
        count = x.numel() // x.shape[-1]
        norm.running_mean.lerp_(mean, norm.momentum)
        norm.running_var.lerp_(variance * (count / (count - 1)), norm.momentum)
        norm.num_batches_tracked += 1
    return out
