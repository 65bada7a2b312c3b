"""What a model file computes: shapes, operations, latency, receptive field; and whether it can run.

`outline(model)` walks the layers and raises ModelError, with the layer's name and the reason, where
the engine would refuse to run the network or frames would wait in it for ever; check(model) does
so too where its output can't become masks or spectra. As a program,

    python3 -m sorvane_training.outline FILE.model

prints a line for each layer (shape F x C, parameters, operations a frame) and the totals.
"""

import argparse
import math
import sys
from dataclasses import dataclass
from fractions import Fraction
from numbers import Integral, Real

from .model_file import ModelError, ModelFile, Tensor


@dataclass(frozen=True)
class Stream:
    """What flows between layers: frames [positions, channels].

    rate     frames for each input frame of the network
    oldest   frame 0 depends on the input frames from `oldest`, frame k on those k / rate later;
             -infinity where a level is followed for ever
    newest   up to here
    """

    positions: int
    channels: int
    rate: Fraction = Fraction(1)
    oldest: Fraction = Fraction(0)
    newest: Fraction = Fraction(0)

    def at(self, positions=None, channels=None, rate=1, oldest=0, newest=0):
        """The stream of a layer that sees `oldest` to `newest` of this one's frames."""
        return Stream(self.positions if positions is None else positions,
                      self.channels if channels is None else channels, self.rate * rate,
                      self.oldest + oldest / self.rate, self.newest + newest / self.rate)


@dataclass
class LayerOutline:
    """One layer: what comes out of it, and its operations for each input frame of the network.

    A multiply-add counts as two operations, and any other step on a value as one.
    """

    name: str
    class_name: str
    stream: Stream
    parameters: int
    operations: Fraction


@dataclass
class Outline:
    """A whole network; the latency is the one that the engine computes and reports."""

    layers: list
    output: Stream
    latency_frames: int
    frame_rate: float  # frames for each second
    hop: int

    @property
    def parameters(self):
        return sum(layer.parameters for layer in self.layers)

    @property
    def operations(self):
        """Operations for each frame."""
        return sum(layer.operations for layer in self.layers)

    @property
    def receptive_field(self):
        """Input frames from the oldest to the newest that an output frame depends on."""
        field = self.output.newest - self.output.oldest + 1
        return field if field == math.inf else math.ceil(field)

    def text(self, layers=True):
        """A report of a line for each layer and for each total."""
        lines = []
        for layer in self.layers if layers else ():
            shape = f"{layer.stream.positions} x {layer.stream.channels}"
            lines.append(f"{layer.name:24} {layer.class_name:26} {shape:>10} "
                         f"{layer.parameters:>9,} {round(layer.operations):>11,}")
        field = self.receptive_field
        seconds = 1 / self.frame_rate
        spans = "without end" if field == math.inf else f"{field} frames, {field * seconds:.3f} s"
        lines += [
            f"parameters        {self.parameters:,}",
            f"operations        {round(self.operations):,} a frame, "
            f"{float(self.operations) * self.frame_rate / 1e6:.1f} million a second",
            f"latency           {self.latency_frames} frames, "
            f"{self.latency_frames * seconds * 1000:.1f} ms beside the transform's",
            f"receptive field   {spans}",
        ]
        return "\n".join(lines)


def outline(model):
    """The outline of a ModelFile; ModelError where its network can't run on tensors."""
    channels = model.input_packing.columns * model.num_input_channels
    streams = {"input": Stream(model.input_packing.rows, channels)}
    _require(streams["input"].positions > 0 and channels > 0, "the input has no values")
    _require(model.hop > 0, f"the hop is {model.hop}")
    layers = []
    for layer in model.layers:
        inputs = [streams[name] for name in layer.inputs]
        try:
            stream, operations = RULES[layer.class_name](layer.fields, *inputs)
        except ModelError as error:
            raise ModelError(f"layer {layer.name} ({layer.class_name}): {error}") from None
        streams[layer.name] = stream
        parameters = sum(tensor.values.size for tensor in layer.tensors())
        layers.append(LayerOutline(layer.name, layer.class_name, stream, parameters,
                                   operations * inputs[0].rate))
    output = streams[model.output_source]
    return Outline(layers, output, _latency(model), model.sample_rate / model.hop, model.hop)


def check(model):
    """The outline of a ModelFile; ModelError where it can't run on audio."""
    fft, frame, hop = model.fft_length, model.frame_length, model.hop
    for name in ("fft_length", "frame_length", "hop"):
        value = getattr(model, name)
        _require(isinstance(value, Integral), f"{name} is {value!r}, no whole number")
    _require(0 < hop <= frame <= fft, f"hop {hop}, frame {frame} and transform {fft} don't rise")
    _require(fft & (fft - 1) == 0, f"the transform's length {fft} is no power of two")
    rate, packing = model.sample_rate, model.input_packing
    _require(isinstance(rate, Real) and 0 < rate < math.inf, f"the sample rate is {rate!r}")
    _require(0 <= packing.low_bins <= packing.bins and packing.group > 0,
             f"the packing has {packing.low_bins} low bins of {packing.bins}, and groups of "
             f"{packing.group}")
    _require(_numbers(model.input_packing) == _numbers(model.output_packing),
             "the numbers of the packings differ, and the engine reads its output by the input's")
    whole = outline(model)
    output, source = whole.output, model.output_source
    rows = model.input_packing.rows
    columns = model.output_packing.columns * model.num_output_channels * model.num_masks
    if (output.positions, output.channels) != (rows, columns):
        raise ModelError(f"the output of {source} is {output.positions} x {output.channels}, but "
                         f"the packings, channels and masks make it {rows} x {columns}")
    if output.rate != 1:
        raise ModelError(f"{source} gives {output.rate} frames for each that goes in")
    return whole


def _numbers(packing):
    return packing.bins, packing.low_bins, packing.group, packing.rows


def _latency(model):
    """The longest sum of delays over all paths, by the engine's rule, dead ends included."""
    following = {name: [] for name in ["input"] + [layer.name for layer in model.layers]}
    for layer in model.layers:
        for name in layer.inputs:
            following[name].append(layer)

    known = {}

    def after(name, scale):
        if (name, scale) not in known:
            known[name, scale] = max((of(layer, scale) for layer in following[name]), default=0)
        return known[name, scale]

    def of(layer, scale):
        delay, stride = layer.fields.get("delay", 0), layer.fields.get("strideT", 1)
        if layer.class_name == "ConvLayer":
            return delay * scale + after(layer.name, scale * stride)
        if layer.class_name == "TransposedConvLayer":
            return delay * scale + after(layer.name, scale // stride)
        return delay + after(layer.name, scale)

    # From the end backwards, so that the recursion above is never deep.
    scales = {"input": {1}}
    for layer in model.layers:
        stride = layer.fields.get("strideT", 1)
        for scale in set().union(*(scales[name] for name in layer.inputs)):
            scaled = {"ConvLayer": scale * stride,
                      "TransposedConvLayer": scale // stride}.get(layer.class_name, scale)
            scales.setdefault(layer.name, set()).add(scaled)
    for layer in reversed(model.layers):
        for scale in scales[layer.name]:
            after(layer.name, scale)
    return after("input", 1)


def _require(condition, reason):
    if not condition:
        raise ModelError(reason)


def _size(tensor):
    return tensor.values.size if isinstance(tensor, Tensor) else 0


def _check_bias(fields, count):
    _require(_size(fields["bias"]) in (0, count),
             f"the bias has {_size(fields['bias'])} values, not {count}")
    return count if _size(fields["bias"]) else 0


def _kernel(fields):
    _require(_size(fields["weights"]) and fields["weights"].values.ndim == 4,
             "the weights need four dimensions")
    for name in ("strideT", "strideF", "dilationT"):
        _require(fields[name] > 0, f"{name} is {fields[name]}, not above 0")
    _require(fields["delay"] >= 0, f"the delay is {fields['delay']}, below 0")
    return fields["weights"].values.shape


def _conv(fields, x):
    taps, kernel, inputs, outputs = _kernel(fields)
    if inputs == 1 and x.channels != 1:
        _require(outputs % x.channels == 0, f"{outputs} depthwise filters don't divide among "
                 f"{x.channels} channels")
    else:
        _require(inputs == x.channels,
                 f"the weights take {inputs} channels, the input has {x.channels}")
    positions = x.positions // fields["strideF"]
    _require(positions > 0, f"the stride leaves none of {x.positions} positions")
    bias = _check_bias(fields, outputs)
    operations = positions * (2 * taps * kernel * inputs * outputs + bias)
    stride, delay = fields["strideT"], fields["delay"]
    span = (taps - 1) * fields["dilationT"]
    return (x.at(positions, outputs, Fraction(1, stride), delay - span, delay),
            Fraction(operations, stride))


def _transposed_conv(fields, x):
    taps, kernel, group, inputs = _kernel(fields)
    outputs = fields["outputChannels"]
    _require(inputs == x.channels,
             f"the weights take {inputs} channels, the input has {x.channels}")
    depthwise = group == 1 and outputs != 1
    _require(outputs == (inputs if depthwise else group),
             f"the weights give {inputs if depthwise else group} channels, not {outputs}")
    stride, delay = fields["strideT"], fields["delay"]
    positions = x.positions * fields["strideF"]
    bias = _check_bias(fields, outputs) * stride * positions
    operations = 2 * taps * kernel * group * inputs * x.positions + bias
    return (x.at(positions, outputs, stride, Fraction(delay - taps + 1, stride),
                 Fraction(delay, stride)), operations)


def _dense(fields, x):
    _require(_size(fields["weights"]) == x.positions ** 2 * x.channels,
             f"the weights aren't {x.positions} x {x.positions} x {x.channels}")
    bias = _check_bias(fields, x.positions * x.channels)
    return x, 2 * x.positions ** 2 * x.channels + bias


def _separable(fields, x):
    taps, shifts = _size(fields["timeTaps"]), _size(fields["freqTaps"])
    _require(taps and shifts, "both filters need a tap")
    late = (taps + 1) // 2 - 1
    return (x.at(oldest=late - (taps - 1), newest=late),
            2 * (taps + shifts) * x.positions * x.channels)


def _norm(fields, x):
    _require(fields["mode"] in (0, 1), f"there is no mode {fields['mode']}")
    _require(_size(fields["scale"]) == x.channels,
             f"the scale has {_size(fields['scale'])} values, the input {x.channels} channels")
    bias = _check_bias(fields, x.channels)
    _require(bias or fields["mode"] == 1, "an affine norm needs a bias")
    steps = 4 if fields["mode"] == 1 else 1
    return x, x.positions * (x.channels * steps + bias)


def _pre_norm(fields, x):
    taps = _size(fields["window"])
    _require(taps, "the window needs a weight")
    return x.at(oldest=1 - taps), 3 * x.positions * x.channels + 2 * taps


def _ar_pre_norm(fields, x):
    return x.at(oldest=-math.inf), 3 * x.positions * x.channels


def _self_attention(fields, x):
    _require(_size(fields["attention"]) == x.channels ** 2,
             f"the attention isn't {x.channels} x {x.channels}")
    _require(_size(fields["bias"]) == x.positions * x.channels,
             f"the bias isn't {x.positions} x {x.channels}")
    _require(fields["delay"] >= 0, f"the delay is {fields['delay']}, below 0")
    taps = fields["timeTaps"].values.shape[0] if _size(fields["timeTaps"]) else 0
    _require(_size(fields["timeTaps"]) == taps * x.channels,
             f"the filters in time aren't for {x.channels} channels")
    operations = 2 * x.positions * x.channels * (x.channels + taps) + x.positions * x.channels
    delay = fields["delay"]
    return x.at(oldest=delay - max(taps - 1, 0), newest=delay), operations


def _rescale(fields, x):
    bands = fields["bands"]
    _require(bands, "there is no band")
    for number, (start, weights) in enumerate(bands):
        length = weights.values.shape[0]
        _require(0 <= start and start + length <= x.positions,
                 f"band {number} reads positions {start} to {start + length - 1} of {x.positions}")
    return x.at(len(bands)), 2 * x.channels * sum(_size(weights) for _, weights in bands)


def _joined(inputs, channels):
    first = inputs[0]
    _require(all(x.rate == first.rate for x in inputs),
             "its inputs have different rates, and frames would wait without end")
    return Stream(first.positions, channels, first.rate, min(x.oldest for x in inputs),
                  max(x.newest for x in inputs))


def _arithmetic(fields, *inputs):
    shapes = [(x.positions, x.channels) for x in inputs]
    _require(len(set(shapes)) == 1, "its inputs have different shapes: " +
             ", ".join(f"{f} x {c}" for f, c in shapes))
    return (_joined(inputs, inputs[0].channels),
            (len(inputs) - 1) * inputs[0].positions * inputs[0].channels)


def _concat(fields, *inputs):
    _require(len({x.positions for x in inputs}) == 1, "its inputs have different positions: " +
             ", ".join(str(x.positions) for x in inputs))
    return _joined(inputs, sum(x.channels for x in inputs)), 0


def _activation(fields, x):
    return x, x.positions * x.channels


# What comes out of each class of layer, and its operations for each frame that goes in.
RULES = {
    "ConvLayer": _conv, "TransposedConvLayer": _transposed_conv, "DenseLayer": _dense,
    "SeparableChannelConvLayer": _separable, "NormLayer": _norm, "PreNormLayer": _pre_norm,
    "ARPreNormLayer": _ar_pre_norm, "SelfAttentionLayer": _self_attention,
    "FrequencyRescaleLayer": _rescale, "ArithmeticLayer": _arithmetic, "ConcatLayer": _concat,
    "ReLULayer": _activation, "LeakyReLULayer": _activation, "ELULayer": _activation,
    "SigmoidLayer": _activation, "HardSigmoidLayer": _activation, "SoftplusLayer": _activation,
}


def main(arguments=None):
    parser = argparse.ArgumentParser(description="List a model file's layers and what they cost.")
    parser.add_argument("model")
    options = parser.parse_args(arguments)
    try:
        print(check(ModelFile.read(options.model)).text())
    except (ModelError, OSError) as error:
        parser.exit(2, f"{parser.prog}: {error}\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
