"""Layers with several inputs: frame k of one goes with frame k of the others."""

import torch

from .base import Layer


class QueuedLayer(Layer):
    """Base of the joins: frames that one input has too many of wait for the others.

    `forward(*inputs, state=None)`; over whole streams the longer inputs lose their last frames.
    """

    def forward(self, *inputs, state=None):
        if state is not None:
            waiting = state.get("waiting", [x[:, :0] for x in inputs])
            inputs = [torch.cat(pair, dim=1) for pair in zip(waiting, inputs)]
        ready = min(x.shape[1] for x in inputs)
        if state is not None:
            state["waiting"] = [x[:, ready:] for x in inputs]
        return self.join([x[:, :ready] if x.shape[1] > ready else x for x in inputs])

    def join(self, inputs):
        raise NotImplementedError


class ConcatLayer(QueuedLayer):
    """Joins the channels, those of the first input first."""

    kind = 9

    def join(self, inputs):
        return torch.cat(inputs, dim=3)


class ArithmeticLayer(QueuedLayer):
    """Folds the inputs, all of one shape, by an operation.

    operation  "multiply", "divide", "add" or "subtract". As in the engine divide is the second
               over the first, and subtract the second less the first; a third input then stands
               over, or loses, that result.
    """

    kind = 18
    OPERATIONS = ("multiply", "divide", "add", "subtract")  # at their codes in the file

    def __init__(self, operation):
        super().__init__()
        self.operation = self.OPERATIONS[self.OPERATIONS.index(operation)]

    def join(self, inputs):
        result = inputs[0]
        for x in inputs[1:]:
            if self.operation == "multiply":
                result = result * x
            elif self.operation == "divide":
                result = x / result
            elif self.operation == "add":
                result = result + x
            else:
                result = x - result
        return result

    def fields(self):
        return {"operation": self.OPERATIONS.index(self.operation)}

    @classmethod
    def from_fields(cls, fields, in_shape):
        return cls(cls.OPERATIONS[fields["operation"]])
