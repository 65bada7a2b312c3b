"""Plain torch.nn modules as layers of a model file.

Convolutions may pad time in front, themselves or by a padding before them: a kernel that reaches
back over `span` frames with `a` frames of padding in front looks span - 1 - a frames ahead, which
becomes the layer's delay. Padding behind only adds last outputs that no stream has.
"""

from dataclasses import dataclass

import numpy as np
from torch import nn
from torch.nn.utils import parametrize, prune

from .layers.base import stored
from .model_file import ModelError


# What takes a hook away and leaves the values that it makes, by the hook's class.
REMOVERS = {"WeightNorm": "torch.nn.utils.remove_weight_norm(module)",
            "SpectralNorm": "torch.nn.utils.remove_spectral_norm(module)"}


def require_unhooked(module):
    """ModelError for a module of which something else makes the weights or the output at each
    call: a file would hold what they happen to be."""
    _require(not parametrize.is_parametrized(module), "its tensors are parametrized; "
             "torch.nn.utils.parametrize.remove_parametrizations(module, name) leaves their values")
    for hook in [*module._forward_pre_hooks.values(), *module._forward_hooks.values()]:
        remover = REMOVERS.get(type(hook).__name__, "the hook's handle.remove()")
        if isinstance(hook, prune.BasePruningMethod):
            remover = "torch.nn.utils.prune.remove(module, name)"
        raise ModelError(f"a file would lack its forward hook; {remover} takes it away")


# What a file has in place of modules that it can't hold.
INSTEAD = (
    ((nn.RNNBase, nn.RNNCellBase), "no layer is recurrent; filters in time look back as far: "
     "ConvLayer(channels, channels, (3, 1), dilation_t=d, depthwise=True) with d = 1, 2, 4 to 32, "
     "each followed by ConvLayer(channels, channels), see 126 frames before the current one"),
    (nn.LayerNorm, "NormLayer divides by the root mean square of a position's channels, "
     "PreNormLayer and ARPreNormLayer by a frame's level"),
    ((nn.GroupNorm, nn.modules.instancenorm._InstanceNorm), "nn.BatchNorm2d becomes part of the "
     "convolution before it"),
    (nn.MultiheadAttention, "no layer weighs frames by others; filters in time look back"),
    (nn.PReLU, "LeakyReLULayer has one slope, which is fixed"),
    ((nn.Tanh, nn.SiLU, nn.GELU, nn.Hardswish), "ELULayer, LeakyReLULayer or a product with a "
     "SigmoidLayer's output comes near"),
    ((nn.Upsample, nn.PixelShuffle), "TransposedConvLayer makes more positions or frames"),
    ((nn.MaxPool1d, nn.MaxPool2d, nn.AvgPool1d, nn.AvgPool2d), "ConvLayer with a stride, or "
     "FrequencyRescaleLayer, makes fewer positions"))


def instead(module):
    """The end of a message that tells what takes the place of a module; often nothing."""
    return next((f"; {text}" for kinds, text in INSTEAD if isinstance(module, kinds)), "")


def scale_and_shift(module):
    """What a batch normalisation multiplies each channel by, and adds, once it is trained."""
    _require(module.running_mean is not None, "it keeps no running mean, and a stream's frames "
             "come one by one; track_running_stats=True makes it")
    scale = 1 / (module.running_var + module.eps).sqrt()
    if module.affine:
        scale = scale * module.weight
    shift = -module.running_mean * scale
    return stored(scale), stored(shift + module.bias if module.affine else shift)


@dataclass
class Filter:
    """A convolution of one axis: taps, stride, dilation, padding in front and behind."""

    taps: int
    stride: int
    dilation: int
    front: int
    behind: int

    @property
    def reach(self):
        return (self.taps - 1) * self.dilation


def activation(module):
    """Class name and fields of a module that is a function of single values; None for others."""
    if isinstance(module, nn.ELU):
        _require(module.alpha == 1, f"alpha is {module.alpha}, and the format's is 1")
        return "ELULayer", {}
    if isinstance(module, nn.LeakyReLU):
        return "LeakyReLULayer", {"slope": module.negative_slope}
    if isinstance(module, nn.Softplus):
        _require(module.beta == 1, f"beta is {module.beta}, and the format's is 1")
        _require(module.threshold >= 15, f"it is linear from {module.threshold}, and the format's "
                 "is not")
        return "SoftplusLayer", {}
    for of, name in ((nn.ReLU, "ReLULayer"), (nn.Sigmoid, "SigmoidLayer"),
                     (nn.Hardsigmoid, "HardSigmoidLayer")):
        if isinstance(module, of):
            return name, {}
    return None


def is_nothing(module):
    """Whether the module does nothing outside training."""
    return isinstance(module, (nn.Identity, nn.Dropout, nn.Dropout1d, nn.Dropout2d))


def padding(module):
    """The pairs of a module that pads with zeros, last axis first; None for others."""
    if isinstance(module, (nn.ConstantPad1d, nn.ConstantPad2d)):  # nn.ZeroPad2d is one
        _require(module.value == 0, f"it pads with {module.value}, and layers only with 0")
        return list(zip(module.padding[::2], module.padding[1::2]))
    return None


def convolution(module, over_positions, stream, padded):
    """The fields of a ConvLayer of a Conv1d, Conv2d or Linear.

    over_positions  whether what the module calls channels are the positions of one channel
    stream          positions and channels that come in
    padded          axis "T" or "F": zeros put in front and behind so far
    """
    weights = stored(module.weight)
    if isinstance(module, nn.Linear):
        weights = weights[:, :, None]
        time = Filter(1, 1, 1, *padded.get("T", (0, 0)))
        groups = 1
    else:
        _require(module.padding_mode == "zeros" or not any(module._reversed_padding_repeated_twice),
                 f"it pads by {module.padding_mode!r}, and layers only with zeros")
        time = _filter(module, 0, padded.get("T", (0, 0)))
        groups = module.groups
    frequency = Filter(1, 1, 1, *padded.get("F", (0, 0)))
    if weights.ndim == 4:
        frequency = _filter(module, 1, padded.get("F", (0, 0)))
    else:
        weights = weights[:, :, :, None]
    inputs = stream.positions if over_positions else stream.channels
    _require(weights.shape[1] * groups == inputs,
             f"it takes {weights.shape[1] * groups} channels, and {inputs} come in")
    _require(groups in (1, inputs), f"{groups} groups of {inputs} channels; a layer has one or "
             "as many as channels")

    weights = weights.transpose(2, 3, 1, 0)  # [Kt, Kf, in, out]
    if over_positions:
        _require(groups == 1, "it filters each position by itself")
        weights = weights.reshape(weights.shape[0], inputs, 1, -1)
        stride = inputs
    else:
        weights = _fit_positions(weights, frequency, stream.positions)
        stride = frequency.stride
    delay = time.reach - time.front
    _require(delay >= 0, f"{time.front} frames of padding in front of a kernel that reaches "
             f"{time.reach} back")
    return {"weights": np.ascontiguousarray(weights), "bias": stored(module.bias),
            "strideT": time.stride, "strideF": stride, "dilationT": time.dilation,
            "unusedParameter": 0, "delay": delay}


def _filter(module, axis, padded):
    dilation = module.dilation[axis]
    own = module._reversed_padding_repeated_twice  # of the last axis first, and "same" worked out
    last = len(own) // 2 - 1 - axis
    return Filter(module.kernel_size[axis], module.stride[axis], dilation,
                  padded[0] + own[2 * last], padded[1] + own[2 * last + 1])


def _fit_positions(weights, given, positions):
    """The kernel with taps of 0 around it, so that the layer's own padding is the given one."""
    _require(given.dilation == 1, "it has a dilation in frequency")
    outputs = (positions + given.front + given.behind - given.taps) // given.stride + 1
    _require(outputs == positions // given.stride,
             f"it makes {outputs} of {positions} positions, and a layer with its stride "
             f"{positions // given.stride}")
    taps = given.taps
    while True:
        front = int((taps - given.stride) / 2) - given.front
        if 0 <= front <= taps - given.taps:
            return np.pad(weights, ((0, 0), (front, taps - given.taps - front), (0, 0), (0, 0)))
        taps += 1


def _require(condition, reason):
    if not condition:
        raise ModelError(reason)
