"""PyTorch modules that mean exactly what the engine's layers mean.

Tensors are [batch, T, F, C]: streams, frames, frequency positions, channels. A module takes a whole
stream at once, causal and from the engine's cold start, or its next frames when it is given a
`state` (see Layer). A layer with a delay or a stride in time gives fewer frames than it takes, and
joins pair the k-th frames of their inputs, so a look-ahead of d frames is a delay of d and a target
that lacks its last d frames. Parameters have the shapes of the model file.

    ConvLayer, TransposedConvLayer, SeparableChannelConvLayer   convolutions
    DenseLayer                                                  a matrix over positions
    NormLayer, PreNormLayer, ARPreNormLayer                     division by a level
    SelfAttentionLayer                                          a mix of channels, a constant
    ReLULayer, LeakyReLULayer, ELULayer, SigmoidLayer,
    HardSigmoidLayer, SoftplusLayer                             functions of single values
    ArithmeticLayer, ConcatLayer                                joins
    FrequencyRescaleLayer                                       bands from bins and back
"""

from .activation import (ELULayer, HardSigmoidLayer, LeakyReLULayer, ReLULayer, SigmoidLayer,
                         SoftplusLayer)
from .base import Layer
from .convolution import ConvLayer
from .dense import DenseLayer
from .frequency_rescale import FrequencyRescaleLayer
from .joins import ArithmeticLayer, ConcatLayer, QueuedLayer
from .normalisation import ARPreNormLayer, BatchNormLayer, NormLayer, PreNormLayer
from .self_attention import SelfAttentionLayer
from .separable_convolution import SeparableChannelConvLayer
from .transposed_convolution import TransposedConvLayer

ALL = (ConvLayer, TransposedConvLayer, ReLULayer, ELULayer, SigmoidLayer, NormLayer, ConcatLayer,
       LeakyReLULayer, DenseLayer, SeparableChannelConvLayer, PreNormLayer, SoftplusLayer,
       ArithmeticLayer, SelfAttentionLayer, HardSigmoidLayer, FrequencyRescaleLayer, ARPreNormLayer)
BY_KIND = {layer.kind: layer for layer in ALL}
