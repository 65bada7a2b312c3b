"""The model file: its contents as plain records, a writer, and a reader that checks.

Files of version 0x100A, the newest layout. All numbers are little-endian and packed. A file is

    string "sorvane.model", i32 version, string tag, i32 id, string note, f64 sample rate,
    i8 input channels, packing of the input, i8 0 for masks and 1 for spectra,
    i8 output channels, i8 number of masks, one bus name more than masks, packing of the output,
    i16 transform length, i16 frame length, i16 hop, i32 number of layers, the layers,
    string name of the layer that gives the output

with a string as u32 length and bytes, and a layer as name, i16 kind, inputs and the fields of its
kind (KINDS). Inputs are one name, or for the joins an i16 count and names; each is "input" or an
earlier layer. A tensor is i8 storage (1 single, 0 half), i8 rank, i32 dimensions, values with the
last dimension fastest.
"""

import math
import struct
from dataclasses import dataclass, field

import numpy as np

from . import half_floats
from .packing import Packing

MAGIC = "sorvane.model"
VERSION = 0x100A
CONV_NUMBERS = tuple((name, "i8") for name in
                     ("strideT", "strideF", "dilationT", "unusedParameter", "delay"))

# Kind: the engine's class, and the fields after the inputs in file order.
KINDS = {
    2: ("ConvLayer", (("weights", "tensor"), ("bias", "tensor")) + CONV_NUMBERS),
    3: ("TransposedConvLayer", (("weights", "tensor"), ("bias", "tensor"),
                                ("outputChannels", "i16")) + CONV_NUMBERS),
    4: ("ReLULayer", ()),
    5: ("ELULayer", ()),
    6: ("SigmoidLayer", ()),
    7: ("NormLayer", (("mode", "i8"), ("scale", "tensor"), ("bias", "tensor"))),
    9: ("ConcatLayer", ()),
    12: ("LeakyReLULayer", (("slope", "f32"),)),
    14: ("DenseLayer", (("weights", "tensor"), ("bias", "tensor"))),
    15: ("SeparableChannelConvLayer", (("timeTaps", "tensor"), ("freqTaps", "tensor"))),
    16: ("PreNormLayer", (("window", "tensor"),)),
    17: ("SoftplusLayer", ()),
    18: ("ArithmeticLayer", (("operation", "i8"),)),
    19: ("SelfAttentionLayer", (("attention", "tensor"), ("bias", "tensor"), ("delay", "i8"),
                                ("timeTaps", "tensor"))),
    20: ("HardSigmoidLayer", ()),
    22: ("FrequencyRescaleLayer", (("bands", "bands"),)),
    23: ("ARPreNormLayer", (("attack", "f32"), ("release", "f32"), ("epsilon", "f32"))),
}
JOINS = (9, 18)
NUMBERS = {"i8": "<b", "i16": "<h", "i32": "<i", "f32": "<f", "f64": "<d"}


class ModelError(ValueError):
    """Something that a model file can't hold, or a file that is none; the text says what."""


@dataclass
class Tensor:
    """Values as single floats, and how they are stored. None stands for a tensor without data."""

    values: np.ndarray
    half: bool = False

    def stored_values(self):
        """The values as a file keeps them."""
        return half_floats.rounded(self.values) if self.half else self.values


@dataclass
class LayerRecord:
    """A layer: `fields` has numbers, Tensor or None, and for bands a list of (start, Tensor)."""

    name: str
    kind: int
    inputs: list
    fields: dict = field(default_factory=dict)

    @property
    def class_name(self):
        return KINDS[self.kind][0]

    def tensors(self):
        """All tensors that have data."""
        for value in self.fields.values():
            if isinstance(value, Tensor):
                yield value
            elif isinstance(value, list):
                yield from (weights for _, weights in value)

    def arrays(self):
        """The fields with what the file keeps of each tensor in its place."""
        def array(value):
            if isinstance(value, Tensor):
                return value.stored_values()
            if isinstance(value, list):
                return [(start, weights.stored_values()) for start, weights in value]
            return value
        return {name: array(value) for name, value in self.fields.items()}


@dataclass
class ModelFile:
    """All that a model file says. The last of `bus_names` is the bus of what the masks leave."""

    sample_rate: float
    fft_length: int
    frame_length: int
    hop: int
    input_packing: Packing
    output_packing: Packing
    bus_names: list
    num_input_channels: int = 1
    num_output_channels: int = 1
    gives_spectra: bool = False  # the outputs are the stems' spectra, not masks
    tag: str = ""
    model_id: int = 0
    note: str = ""
    layers: list = field(default_factory=list)
    output_source: str = "input"

    @property
    def num_masks(self):
        return len(self.bus_names) - 1

    def to_bytes(self):
        """The file's bytes; ModelError for what they can't hold."""
        check_graph(self)
        out = _Writer()
        out.text(MAGIC, "magic")
        out.number("i32", VERSION, "version")
        out.text(self.tag, "tag")
        out.number("i32", self.model_id, "model_id")
        out.text(self.note, "note")
        out.number("f64", self.sample_rate, "sample_rate")
        out.number("i8", self.num_input_channels, "num_input_channels")
        out.packing(self.input_packing)
        out.number("i8", int(self.gives_spectra), "gives_spectra")
        out.number("i8", self.num_output_channels, "num_output_channels")
        out.number("i8", self.num_masks, "number of masks")
        for name in self.bus_names:
            out.text(name, "bus name")
        out.packing(self.output_packing)
        for name in ("fft_length", "frame_length", "hop"):
            out.number("i16", getattr(self, name), name)
        out.number("i32", len(self.layers), "number of layers")
        for layer in self.layers:
            out.layer(layer)
        out.text(self.output_source, "output_source")
        return bytes(out.data)

    def write(self, path):
        data = self.to_bytes()  # before the file is touched
        with open(path, "wb") as file:
            file.write(data)

    @classmethod
    def from_bytes(cls, data):
        """What a file's bytes say; ModelError when they are no file of the newest layout."""
        return _Reader(data).model()

    @classmethod
    def read(cls, path):
        """What the file says; OSError, or ModelError with its path."""
        with open(path, "rb") as file:
            data = file.read()
        try:
            return cls.from_bytes(data)
        except ModelError as error:
            raise ModelError(f"{path}: {error}") from None


def check_graph(model):
    """ModelError unless names are unique and every input stands earlier in the file."""
    if not model.bus_names:
        raise ModelError("a model needs at least the name of the bus of what the masks leave")
    known = {"input"}
    for layer in model.layers:
        if layer.kind not in KINDS:
            raise ModelError(f"layer {layer.name}: no kind of layer has the code {layer.kind}")
        if layer.name in known | {"output"}:
            raise ModelError(f"layer {layer.name}: the name is taken")
        if layer.kind in JOINS:
            if not layer.inputs or len(set(layer.inputs)) < len(layer.inputs):
                raise ModelError(f"layer {layer.name}: a join needs different inputs")
        elif len(layer.inputs) != 1:
            raise ModelError(f"layer {layer.name}: {layer.class_name} has one input")
        for name in layer.inputs:
            if name not in known:
                raise ModelError(f"layer {layer.name}: its input {name} is no earlier layer")
        known.add(layer.name)
    if model.output_source not in known:
        raise ModelError(f"the output's source {model.output_source} is no layer")


def _check_packing(code):
    if code not in Packing.PARAMETERS:
        raise ModelError(f"packing {code} can't run")


class _Writer:
    def __init__(self):
        self.data = bytearray()

    def number(self, kind, value, what):
        bits = int(kind[1:])
        try:
            self.data += struct.pack(NUMBERS[kind], value)
            held = kind[0] == "i" or math.isfinite(value)
        except (struct.error, OverflowError):
            held = False
        if not held:
            kept = (f"finite floats of {bits} bits" if kind[0] == "f" else
                    f"whole numbers from {-2 ** (bits - 1)} to {2 ** (bits - 1) - 1}")
            raise ModelError(f"{what} is {value!r}, and a file holds {kept}")

    def text(self, value, what):
        if not isinstance(value, str):
            raise ModelError(f"{what} is {value!r}, no string")
        encoded = value.encode(errors="surrogateescape")
        self.data += struct.pack("<I", len(encoded)) + encoded

    def packing(self, packing):
        _check_packing(packing.code)
        self.number("i8", packing.code, "packing")
        for kind, value in packing.parameters():
            self.number(kind, value, "packing parameter")

    def layer(self, layer):
        self.text(layer.name, "layer's name")
        self.number("i16", layer.kind, "kind")
        if layer.kind in JOINS:
            self.number("i16", len(layer.inputs), f"layer {layer.name}: number of inputs")
        for name in layer.inputs:
            self.text(name, f"layer {layer.name}: input")
        for name, kind in KINDS[layer.kind][1]:
            what = f"layer {layer.name}: {name}"
            if kind == "tensor":
                self.tensor(layer.fields[name], what)
            elif kind == "bands":
                bands = layer.fields[name]
                self.number("i16", len(bands), what)
                for start, weights in bands:
                    self.number("i16", start, what + " start")
                    self.tensor(weights, what)
            else:
                self.number(kind, layer.fields[name], what)

    def tensor(self, tensor, what):
        if tensor is None:
            self.data += struct.pack("<bb", 1, 0)
            return
        values = np.ascontiguousarray(tensor.values, "<f4")
        if not np.isfinite(values).all():
            raise ModelError(f"{what}: not all values are finite")
        if tensor.half and np.abs(values).max(initial=0) > half_floats.LARGEST:
            raise ModelError(f"{what}: half floats end at {half_floats.LARGEST:.0f}")
        self.data += struct.pack(f"<bb{values.ndim}i", 0 if tensor.half else 1, values.ndim,
                                 *values.shape)
        self.data += (half_floats.words_from(values).astype("<u2") if tensor.half
                      else values).tobytes()


class _Reader:
    def __init__(self, data):
        self.data = memoryview(data)
        self.at = 0

    def bytes(self, count):
        if count < 0 or self.at + count > len(self.data):
            raise ModelError("the file ends too early")
        self.at += count
        return self.data[self.at - count:self.at]

    def number(self, kind):
        return struct.unpack(NUMBERS[kind], self.bytes(struct.calcsize(NUMBERS[kind])))[0]

    def text(self):
        count = struct.unpack("<I", self.bytes(4))[0]
        return bytes(self.bytes(count)).decode(errors="surrogateescape")

    def packing(self):
        code = self.number("i8")
        _check_packing(code)
        return Packing.from_parameters(code, [self.number(kind)
                                              for kind in Packing.PARAMETERS[code]])

    def model(self):
        if self.text() != MAGIC:
            raise ModelError("no model file of the current family")
        version = self.number("i32")
        if version < VERSION:
            raise ModelError(f"version {version:#x} of the file is older than {VERSION:#x}")
        model = {"tag": self.text(), "model_id": self.number("i32"), "note": self.text(),
                 "sample_rate": self.number("f64"), "num_input_channels": self.number("i8"),
                 "input_packing": self.packing(), "gives_spectra": self.number("i8") != 0,
                 "num_output_channels": self.number("i8")}
        model["bus_names"] = [self.text() for _ in range(self.number("i8") + 1)]
        model["output_packing"] = self.packing()
        for name in ("fft_length", "frame_length", "hop"):
            model[name] = self.number("i16")
        model["layers"] = [self.layer() for _ in range(self.number("i32"))]
        model = ModelFile(**model, output_source=self.text())
        check_graph(model)
        return model

    def layer(self):
        name, kind = self.text(), self.number("i16")
        if kind not in KINDS:
            raise ModelError(f"layer {name}: no kind of layer has the code {kind}")
        count = self.number("i16") if kind in JOINS else 1
        inputs = [self.text() for _ in range(count)]
        fields = {label: self.value(of) for label, of in KINDS[kind][1]}
        return LayerRecord(name, kind, inputs, fields)

    def value(self, kind):
        if kind == "tensor":
            return self.tensor()
        if kind == "bands":
            return [(self.number("i16"), self.band_weights()) for _ in range(self.number("i16"))]
        return self.number(kind)

    def band_weights(self):
        weights = self.tensor()
        if weights is None:
            raise ModelError("a band has no weights")
        return weights

    def tensor(self):
        storage, rank = self.number("i8"), self.number("i8")
        shape = [self.number("i32") for _ in range(rank)]
        count = 1 if rank > 0 else 0
        for dimension in shape:
            if dimension < 0:
                raise ModelError("a tensor has a negative dimension")
            count *= dimension
        if count == 0:
            return None
        if storage not in (0, 1):
            raise ModelError(f"no storage of tensors has the code {storage}")
        if storage == 1:
            values = np.frombuffer(self.bytes(4 * count), "<f4").astype(np.float32)
        else:
            values = half_floats.values_of(np.frombuffer(self.bytes(2 * count), "<u2"))
        return Tensor(values.reshape(shape), half=storage == 0)
