"""Writes a PyTorch network as a model file.

The network is traced with torch.fx: its forward() may use the modules of `layers`, the plain
modules of `plain_modules`, batch normalisation, which is folded into the convolution before it, the operators + - * / between tensors, torch.cat, zero padding by
torch.nn.functional.pad, and permute, transpose, squeeze and unsqueeze between layouts.
"""

import dataclasses
import operator

import torch
from torch import fx, nn
from torch.nn import functional
from torch.nn.modules.batchnorm import _BatchNorm

from . import plain_modules
from .layers import BY_KIND, BatchNormLayer, Layer, QueuedLayer
from .model_file import JOINS, KINDS, LayerRecord, ModelError, Tensor
from .outline import RULES, Stream, check
from .storage import Storage

CODES = {name: kind for kind, (name, _) in KINDS.items()}
# Operation of an ArithmeticLayer, and whether its inputs stand in the other order.
OPERATORS = {operator.add: (2, False), torch.add: (2, False), operator.mul: (0, False),
             torch.mul: (0, False), operator.sub: (3, True), torch.sub: (3, True),
             operator.truediv: (1, True), torch.div: (1, True)}
IN_PLACE = {operator.iadd: operator.add, operator.imul: operator.mul,
            operator.isub: operator.sub, operator.itruediv: operator.truediv}
OPERATORS.update((changing, OPERATORS[plain]) for changing, plain in IN_PLACE.items())
VIEWS = ("permute", "transpose", "squeeze", "unsqueeze", "contiguous")
LARGEST_STRIDE = 127


def export(network, header, layout="BTFC", storage=Storage()):
    """The ModelFile of a network, with everything but the layers from `header`.

    layout   the axes of the network's input and output: B streams, T frames, F positions,
             C channels. One of F and C may be left out where there is one: "BFT" is one stream of
             magnitudes as torch.stft() lays them out.
    storage  which tensors become half floats.

    ModelError, with the module and the reason, for what a file can't hold.
    """
    tracer = _Tracer()
    if tracer.is_leaf_module(network, ""):
        network = nn.Sequential(network)
    try:
        plain_modules.require_unhooked(network)
        graph = tracer.trace(network)
    except ModelError as error:
        raise ModelError(f"{type(network).__name__}: {error}") from None
    except (fx.proxy.TraceError, TypeError) as error:
        name = type(network).__name__
        raise ModelError(f"{name}: its forward() can't be traced: {error}") from error
    graph.owning_module = network  # not by a GraphModule, whose code can't hold all names
    builder = _Builder(network, header, layout, storage)
    for node in graph.nodes:
        builder.check_changes(node)
    graph.eliminate_dead_code()
    for node in graph.nodes:
        builder.add(node)
    return builder.model()


class _Tracer(fx.Tracer):
    def is_leaf_module(self, module, name):
        return isinstance(module, (Layer, _BatchNorm)) or super().is_leaf_module(module, name)

    def create_proxy(self, kind, target, args, kwargs, *others, **named):
        """Arguments of forward() with a default, such as a state of None, keep it."""
        if kind == "placeholder" and args:
            return args[0]
        return super().create_proxy(kind, target, args, kwargs, *others, **named)

    def proxy(self, node):
        return _Proxy(node, self)


class _Proxy(fx.Proxy):
    """Records x += y as such; the plain one takes it for x = x + y, which changes no other x."""


def _recorded(function):
    return lambda self, other: self.tracer.create_proxy("call_function", function,
                                                        (self, other), {})


for _function in IN_PLACE:
    setattr(_Proxy, f"__{_function.__name__}__", _recorded(_function))


@dataclasses.dataclass(frozen=True)
class _Value:
    """What a node of the traced graph gives: a layer's output, its axes, zeros around it."""

    source: str
    axes: str
    padded: tuple = ()  # (axis, zeros in front, zeros behind)


class _Builder:
    def __init__(self, network, header, layout, storage):
        self.modules = dict(network.named_modules())
        self.header = header
        self.layout = layout
        self.storage = storage
        self.records = []
        self.tensors = {}  # those of the records, by module and field
        packing = header.input_packing
        self.streams = {"input": Stream(packing.rows, packing.columns * header.num_input_channels)}
        self.values = {}
        self.output = None
        self._check_axes(layout, "input")

    def model(self):
        for pair in self.storage.halves(list(self.tensors)):
            for tensor in self.tensors[pair]:
                tensor.half = True
        model = dataclasses.replace(self.header, layers=self.records, output_source=self.output)
        check(model)
        model.to_bytes()
        return model

    def add(self, node):
        try:
            self.values[node] = getattr(self, "_" + node.op)(node)
        except ModelError as error:
            raise ModelError(f"{self._label(node)}: {error}") from None
        except (TypeError, LookupError) as error:
            raise ModelError(f"{self._label(node)}: its arguments {node.args} {node.kwargs} can't "
                             f"be followed: {error}") from error

    def check_changes(self, node):
        """ModelError where a node changes in place what other nodes use."""
        if not self._is_in_place(node):
            return
        changed = node.all_input_nodes[:1]
        while changed:
            if len(changed[0].users) > 1:
                raise ModelError(f"{self._label(node)}: it works in place, and what it changes is "
                                 "used elsewhere too; take one with inplace=False, or x = x + y")
            changed = changed[0].all_input_nodes[:1] if self._is_same(changed[0]) else []

    def _is_in_place(self, node):
        if node.op == "call_module":
            module = self.modules[node.target]
            return getattr(module, "inplace", False) and not plain_modules.is_nothing(module)
        name = str(getattr(node.target, "__name__", node.target))
        return node.op in ("call_function", "call_method") and (
            node.target in IN_PLACE or bool(node.kwargs.get("inplace")) or
            name.endswith("_") and not name.endswith("__"))

    def _is_same(self, node):
        """Whether a node's output is, or may be, the memory of its input."""
        if node.op == "call_module" and plain_modules.is_nothing(self.modules[node.target]):
            return True
        return node.op == "call_method" and node.target in VIEWS or self._is_in_place(node)

    def _label(self, node):
        if node.op == "call_module":
            return f"{node.target} ({type(self.modules[node.target]).__name__})"
        name = getattr(node.target, "__name__", node.target)
        return node.name if name == node.name else f"{node.name} ({name})"

    # One method for each operation of a graph's nodes.

    def _placeholder(self, node):
        if self.values:
            raise ModelError("a network has one input")
        return _Value("input", self.layout)

    def _get_attr(self, node):
        raise ModelError("a parameter or buffer outside of a layer; SelfAttentionLayer adds a "
                         "constant to each position")

    def _output(self, node):
        result = node.args[0]
        if isinstance(result, (list, tuple)) and len(result) == 1:
            result = result[0]  # tracing makes lists where an argument's default is a dictionary
        value = self._plain(self._value(result))
        if value.axes != self.layout:
            raise ModelError(f"its axes are {value.axes}, not the input's {self.layout}" +
                             _way(value.axes, self.layout))
        self.output = value.source
        return value

    def _call_module(self, node):
        module = self.modules[node.target]
        plain_modules.require_unhooked(module)
        inputs = [self._value(argument) for argument in [*node.args, *node.kwargs.values()]
                  if argument is not None]
        if not isinstance(module, QueuedLayer) and len(inputs) != 1:
            raise ModelError("it takes the frames alone")
        if isinstance(module, Layer):
            inputs = [self._plain(value, "BTFC") for value in inputs]
            source = self._record(node.target, _class_name(module), inputs, module.fields())
            return _Value(source, "BTFC")
        value = inputs[0]
        if plain_modules.is_nothing(module):
            return value
        pairs = plain_modules.padding(module)
        if pairs is not None:
            return self._pad(value, pairs)
        found = plain_modules.activation(module)
        if found is not None:
            name, fields = found
            return dataclasses.replace(value, source=self._record(
                node.target, name, [self._plain(value)], fields))
        if isinstance(module, (nn.Conv1d, nn.Conv2d, nn.Linear)):
            return self._convolution(node.target, module, value)
        if isinstance(module, _BatchNorm):
            return self._batch_norm(node, module, self._plain(value))
        raise ModelError("the format has no layer for it" + plain_modules.instead(module))

    def _call_function(self, node):
        if node.target in OPERATORS:
            if len(node.args) != 2 or node.kwargs:
                raise ModelError("only plain operators of two tensors become layers")
            return self._join(node, *OPERATORS[node.target])
        if node.target is torch.cat:
            return self._concatenate(node)
        if node.target is functional.pad:
            return self._pad_function(node)
        raise ModelError("no layer comes of this function; take a module")

    def _call_method(self, node):
        value = self._value(node.args[0])
        if node.target == "contiguous":
            return value
        change = {"permute": self._permuted, "transpose": self._transposed,
                  "squeeze": self._squeezed, "unsqueeze": self._unsqueezed}.get(node.target)
        if change is None:
            raise ModelError("no layer comes of this method; take a module")
        return dataclasses.replace(value, axes=change(value, *node.args[1:], **node.kwargs))

    # Layers.

    def _record(self, name, class_name, inputs, fields):
        """Adds a layer and returns its name; a module that is used again gets a new one."""
        taken = {"input", "output"} | set(self.streams)
        unique, number = name, 2
        while unique in taken:
            unique, number = f"{name}.{number}", number + 1
        if CODES[class_name] in JOINS:
            sources = self._different([value.source for value in inputs])
        else:
            sources = [inputs[0].source]
        if fields.get("strideF", 1) > LARGEST_STRIDE:
            raise ModelError(f"it reads or makes {fields['strideF']} positions at once, and a file "
                             f"holds {LARGEST_STRIDE}; FrequencyRescaleLayer makes fewer bands of "
                             "them, and bins of bands")
        fields = {field: self._stored(name, field, value) for field, value in fields.items()}
        try:
            self.streams[unique], _ = RULES[class_name](fields, *(self.streams[s] for s in sources))
        except ModelError as error:
            raise ModelError(f"as {class_name}: {error}") from None
        self.records.append(LayerRecord(unique, CODES[class_name], sources, fields))
        return unique

    def _different(self, sources):
        """The inputs of a join, with a copy in place of one that comes again: a layer that feeds
        a join twice would leave it waiting for ever."""
        result = []
        for source in sources:
            if source in result:
                copy = _Value(source, "")
                source = self._record(f"{source}.copy", "ArithmeticLayer", [copy], {"operation": 2})
            result.append(source)
        return result

    def _stored(self, name, field, value):
        stored = self.tensors.setdefault((name, field), [])

        def tensor(values):
            stored.append(Tensor(values))
            return stored[-1]

        if field == "bands":
            return [(start, tensor(weights)) for start, weights in value]
        return tensor(value) if hasattr(value, "shape") else value

    def _convolution(self, name, module, value):
        axis = value.axes[-1 if isinstance(module, nn.Linear) else 1]
        stream = self.streams[value.source]
        if isinstance(module, nn.Conv2d):
            self._require_axes(value, "BCTF")
        elif isinstance(module, nn.Conv1d) and value.axes[2:] != "T":
            raise ModelError(f"its input has the axes {value.axes}, not BCT or BFT" +
                             _way(value.axes, "BCT" if "C" in value.axes else "BFT"))
        if axis not in "CF":
            raise ModelError(f"it would mix the axis {axis} of {value.axes}")
        over_positions = axis == "F"
        if over_positions and stream.channels != 1:
            raise ModelError("it would mix the positions of each channel, as DenseLayer does")
        fields = plain_modules.convolution(module, over_positions, stream, self._padding(value))
        source = self._record(name, "ConvLayer", [value], fields)
        axes = value.axes.replace("C", "").replace("F", "C") if over_positions else value.axes
        return _Value(source, axes)

    def _batch_norm(self, node, module, value):
        """Folds what training saw into the convolution before it; without one it's a NormLayer."""
        axis = value.axes[-1 if isinstance(module, BatchNormLayer) else 1]
        if axis != "C":
            raise ModelError(f"it would scale the axis {axis} of {value.axes}, and layers scale C")
        if module.num_features != self.streams[value.source].channels:
            raise ModelError(f"it has {module.num_features} channels, and "
                             f"{self.streams[value.source].channels} come in")
        scale, shift = plain_modules.scale_and_shift(module)
        record = next((r for r in self.records if r.name == value.source), None)
        before = node.args[0]
        if (record and record.class_name in ("ConvLayer", "TransposedConvLayer") and
                before.op == "call_module" and len(before.users) == 1):
            weights, bias = record.fields["weights"], record.fields["bias"]
            # The last axis of a convolution's weights is what comes out, and of a transposed one's
            # the one before, but that of its single filters.
            transposed = record.class_name == "TransposedConvLayer" and weights.values.shape[2] > 1
            weights.values = weights.values * (scale[:, None] if transposed else scale)
            if bias is None:
                record.fields["bias"] = self._stored(record.name, "bias", shift)
            else:
                bias.values = bias.values * scale + shift
            return value
        return dataclasses.replace(value, source=self._record(
            node.target, "NormLayer", [value], {"mode": 0, "scale": scale, "bias": shift}))

    def _join(self, node, operation, swapped):
        values = [self._plain(self._value(argument)) for argument in node.args]
        self._require_same_axes(values)
        order = values[::-1] if swapped else values
        source = self._record(node.name, "ArithmeticLayer", order, {"operation": operation})
        return _Value(source, values[0].axes)

    def _concatenate(self, node):
        given = dict(zip(("tensors", "dim"), node.args), **node.kwargs)
        values = [self._plain(self._value(argument)) for argument in given["tensors"]]
        self._require_same_axes(values)
        axis = values[0].axes[given.get("dim", 0)]
        if axis != "C":
            raise ModelError(f"it joins the axis {axis}, and a layer joins only channels")
        return _Value(self._record(node.name, "ConcatLayer", values, {}), values[0].axes)

    def _pad_function(self, node):
        given = dict(zip(("input", "pad", "mode", "value"), node.args), **node.kwargs)
        if given.get("mode", "constant") != "constant" or given.get("value") not in (None, 0):
            raise ModelError("layers pad only with zeros")
        pad = given["pad"]
        return self._pad(self._value(given["input"]), list(zip(pad[::2], pad[1::2])))

    # Values and their axes.

    def _value(self, argument):
        if not isinstance(argument, fx.Node):
            raise ModelError(f"{argument!r} is no output of a layer")
        return self.values[argument]

    def _plain(self, value, axes=None):
        """The value, which must not be padded and, if given, have these axes."""
        if any(front or behind for _, front, behind in value.padded):
            raise ModelError("its input is padded, which only convolutions can take")
        if axes:
            self._require_axes(value, axes)
        return value

    def _pad(self, value, pairs):
        padded = list(value.padded)
        for axis, (front, behind) in zip(reversed(value.axes), pairs):
            if front < 0 or behind < 0:
                raise ModelError("it cuts by negative padding, and layers only add zeros")
            if axis not in "TF" and (front or behind):
                raise ModelError(f"it pads the axis {axis}, and layers only T and F")
            padded.append((axis, front, behind))
        return dataclasses.replace(value, padded=tuple(padded))

    def _padding(self, value):
        return {axis: (sum(front for a, front, _ in value.padded if a == axis),
                       sum(behind for a, _, behind in value.padded if a == axis))
                for axis in "TF"}

    # Called with the arguments of the methods, whose names these are.

    def _permuted(self, value, *dims, **named):
        order = named.get("dims", dims)
        order = order[0] if isinstance(order[0], (tuple, list)) else order
        return "".join(value.axes[axis] for axis in order)

    def _transposed(self, value, dim0, dim1):
        axes = list(value.axes)
        axes[dim0], axes[dim1] = axes[dim1], axes[dim0]
        return "".join(axes)

    def _squeezed(self, value, dim=None):
        axis = value.axes[dim] if dim is not None else ""
        axes = value.axes.replace(axis, "", 1) if axis in ("C", "F") else ""
        self._check_axes(axes, value.source)
        return axes

    def _unsqueezed(self, value, dim):
        missing = [axis for axis in "CF" if axis not in value.axes]
        if len(missing) != 1:
            raise ModelError(f"{value.axes} lacks no axis of positions or channels")
        dim = dim % (len(value.axes) + 1)
        return value.axes[:dim] + missing[0] + value.axes[dim:]

    def _check_axes(self, axes, source):
        """ModelError unless these are axes that can hold what the source gives."""
        stream = self.streams[source]
        sizes = {"F": stream.positions, "C": stream.channels}
        lacking = [axis for axis in "BTFC" if axis not in axes]
        if (sorted(set(axes)) != sorted(axes) or not set(axes) <= set("BTFC") or
                len(lacking) > 1 or any(sizes.get(axis) != 1 for axis in lacking)):
            raise ModelError(f"the axes {axes or 'that remain'} don't hold {stream.positions} "
                             f"positions of {stream.channels} channels")

    def _require_axes(self, value, axes):
        if value.axes != axes:
            raise ModelError(f"its input has the axes {value.axes}, not {axes}" +
                             _way(value.axes, axes))

    def _require_same_axes(self, values):
        if len({value.axes for value in values}) > 1:
            raise ModelError("its inputs have the axes " + ", ".join(v.axes for v in values))


def _class_name(module):
    """The name of the package's class of which a module is one, or does the same."""
    base = BY_KIND.get(getattr(module, "kind", None), type(None))
    if not isinstance(module, base):
        raise ModelError("the format has no layer for it")
    if any(getattr(type(module), name, None) is not getattr(base, name, None)
           for name in ("forward", "join")):
        raise ModelError(f"its class computes otherwise than {base.__name__}, which is the layer")
    return base.__name__


def _way(axes, wanted):
    """How axes become the wanted ones, as the end of a message."""
    if sorted(axes) == sorted(wanted):
        order = ", ".join(str(axes.index(axis)) for axis in wanted)
        return f"; permute({order}) makes them so"
    if "C" in axes and "F" not in axes:
        return ("; unsqueeze makes BTFC of one position of it, and TransposedConvLayer(C, 1, "
                "(1, F), (1, F)) F positions of its channels")
    return "; unsqueeze and permute make them so" if set(axes) < set(wanted) else ""
