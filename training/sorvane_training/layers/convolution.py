"""Convolution over time and frequency, causal in time."""

import torch
from torch.nn import functional

from .. import compiled
from .base import Layer, count_frames, frames_before, loaded, stored, uniform_weights


class ConvLayer(Layer):
    """Correlation of the last frames and the neighbouring positions with a kernel.

    kernel      (Kt, Kf) taps in time, the last on the current frame, and in frequency, where
                int((Kf - strideF) / 2) of them stand before the first of each stride's positions.
    stride      (strideT, strideF); F // strideF positions come out.
    dilation_t  frames between two taps in time.
    delay       first frame that gives an output. The outputs before it are missing, so that a
                join pairs output 0 with frame 0 of other paths: a look-ahead of `delay` frames.
    depthwise   out_channels / in_channels filters for each channel on its own.

    `weights` has the file's shape [Kt, Kf, in_channels or 1, out_channels].
    """

    kind = 2

    def __init__(self, in_channels, out_channels, kernel=(1, 1), stride=(1, 1), dilation_t=1,
                 delay=0, bias=True, depthwise=False):
        super().__init__()
        if depthwise and out_channels % in_channels:
            raise ValueError("depthwise: out_channels must be a multiple of in_channels")
        self.in_channels = in_channels
        self.out_channels = out_channels
        self.depthwise = depthwise and in_channels > 1
        self.kernel = tuple(kernel)
        self.stride = tuple(stride)
        self.dilation_t = dilation_t
        self.delay = delay
        inputs = 1 if self.depthwise else in_channels
        fan_in = self.kernel[0] * self.kernel[1] * inputs
        self.weights = uniform_weights(*self.kernel, inputs, out_channels, fan_in=fan_in)
        self.bias = uniform_weights(out_channels, fan_in=fan_in) if bias else None

    @property
    def span(self):
        """Frames from the oldest tap to the current one."""
        return (self.kernel[0] - 1) * self.dilation_t + 1

    def forward(self, x, state=None):
        frames = x.shape[1]
        before = count_frames(frames, state)
        first = self.delay - before  # the first frame with an output, counted from x's
        if first < 0:
            first %= self.stride[0]
        if state is None and self.delay == 0 and self._is_time_only() and self._is_compiled(x):
            return compiled.filter_time(x, self.weights[:, 0, 0], self.bias, self.dilation_t)
        x = self._fit_positions(frames_before(x, self.span - 1, state))
        outputs = -(-(frames - first) // self.stride[0])
        if outputs <= 0:
            return x.new_zeros(x.shape[0], 0, self._out_positions(x), self.out_channels)
        x = x[:, first:] if first else x  # a slice of everything costs its gradient a copy
        if self._is_matrix():
            return self._multiply(x[:, ::self.stride[0]] if self.stride[0] > 1 else x)
        if self._is_time_only():
            return self._filter_time(x, outputs)
        weight = self.weights.permute(3, 2, 0, 1)
        out = functional.conv2d(x.permute(0, 3, 1, 2), weight, self.bias, self.stride,
                                dilation=(self.dilation_t, 1),
                                groups=self.in_channels if self.depthwise else 1)
        return out.permute(0, 2, 3, 1)

    def _fit_positions(self, x):
        """Pads or cuts the frequency axis to what the kernel meets."""
        kernel, stride = self.kernel[1], self.stride[1]
        front = int((kernel - stride) / 2)
        back = (x.shape[2] // stride - 1) * stride + kernel - front - x.shape[2]
        return functional.pad(x, (0, 0, front, back)) if front or back else x

    def _out_positions(self, fitted):
        return (fitted.shape[2] - self.kernel[1]) // self.stride[1] + 1

    def _is_matrix(self):
        return self.kernel[0] == 1 and self.kernel[1] == self.stride[1] and not self.depthwise

    def _multiply(self, x):
        batch, frames = x.shape[:2]
        rows = x.reshape(batch, frames, -1, self.kernel[1] * self.in_channels)
        return functional.linear(rows, self.weights.reshape(-1, self.out_channels).t(), self.bias)

    def _is_time_only(self):
        return self.depthwise and self.kernel[1] == 1 and self.stride == (1, 1)

    def _is_compiled(self, x):
        """Whether the compiled filter takes what training gives."""
        return (self.in_channels == self.out_channels and self.bias is not None and
                x.dtype == torch.float32 and torch.is_grad_enabled() and compiled.available())

    def _filter_time(self, x, outputs):
        """The same as a grouped convolution, several times as fast."""
        repeat = self.out_channels // self.in_channels
        out = self.bias if self.bias is not None else x.new_zeros(self.out_channels)
        for k in range(self.kernel[0]):
            tap = x[:, k * self.dilation_t:k * self.dilation_t + outputs]
            tap = tap.repeat_interleave(repeat, dim=3) if repeat > 1 else tap
            out = torch.addcmul(out, tap, self.weights[k, 0, 0])
        return out

    def fields(self):
        return {"weights": stored(self.weights), "bias": stored(self.bias),
                "strideT": self.stride[0], "strideF": self.stride[1],
                "dilationT": self.dilation_t, "unusedParameter": 0, "delay": self.delay}

    @classmethod
    def from_fields(cls, fields, in_shape):
        weights = fields["weights"]
        depthwise = weights.shape[2] == 1 and in_shape[1] != 1
        layer = cls(in_shape[1], weights.shape[3], weights.shape[:2],
                    (fields["strideT"], fields["strideF"]), fields["dilationT"], fields["delay"],
                    depthwise=depthwise)
        layer.weights = loaded(weights)
        layer.bias = loaded(fields["bias"])
        return layer
