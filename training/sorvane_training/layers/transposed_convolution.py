"""Convolution turned round: each frame and position adds a kernel to the output."""

from torch.nn import functional

from .base import Layer, drop_first, loaded, stored, uniform_weights


class TransposedConvLayer(Layer):
    """Each input frame and position adds a kernel to the output; causal in time.

    kernel     (Kt, Kf); output frame n * strideT + k gets tap k of input frame n, and position
               i * strideF - int((Kf - strideF) / 2) + j gets tap j of position i.
    stride     (strideT, strideF): strideT frames for each input frame, F * strideF positions.
    delay      how many of the first output frames are missing.
    depthwise  one filter for each channel; out_channels equals in_channels.

    `weights` has the file's shape [Kt, Kf, out_channels or 1, in_channels]. All frames of an input
    frame come at once here; the engine gives out those bursts one by one, in the same order.
    """

    kind = 3

    def __init__(self, in_channels, out_channels, kernel=(1, 1), stride=(1, 1), delay=0, bias=True,
                 depthwise=False):
        super().__init__()
        if depthwise and out_channels != in_channels:
            raise ValueError("depthwise: out_channels must equal in_channels")
        self.in_channels = in_channels
        self.out_channels = out_channels
        self.depthwise = depthwise and in_channels > 1
        self.kernel = tuple(kernel)
        self.stride = tuple(stride)
        self.delay = delay
        outputs = 1 if self.depthwise else out_channels
        fan_in = in_channels if not self.depthwise else 1
        self.weights = uniform_weights(*self.kernel, outputs, in_channels, fan_in=fan_in)
        self.bias = uniform_weights(out_channels, fan_in=fan_in) if bias else None

    def forward(self, x, state=None):
        emitted = x.shape[1] * self.stride[0]
        out = self._spread(x) if x.shape[1] else x.new_zeros(
            x.shape[0], 0, x.shape[2] * self.stride[1], self.out_channels)
        if self.kernel[0] != self.stride[0]:
            out = self._overlap(out, emitted, state)
        if self.bias is not None:
            out = out + self.bias
        return drop_first(out, self.delay, state)

    def _spread(self, x):
        kernel, stride = self.kernel[1], self.stride[1]
        if self.kernel[0] == 1 and self.stride[0] == 1 and kernel == stride and not self.depthwise:
            weight = self.weights.reshape(-1, self.in_channels)
            return functional.linear(x, weight).reshape(*x.shape[:2], -1, self.out_channels)
        out = functional.conv_transpose2d(x.permute(0, 3, 1, 2), self.weights.permute(3, 2, 0, 1),
                                          stride=self.stride,
                                          groups=self.in_channels if self.depthwise else 1)
        front = int((kernel - stride) / 2)
        back = x.shape[2] * stride + front - out.shape[3]
        return functional.pad(out.permute(0, 2, 3, 1), (0, 0, -front, back))

    def _overlap(self, out, emitted, state):
        """Adds what earlier calls left and keeps what later frames can still add to."""
        rest = max(self.kernel[0] - self.stride[0], 0)
        out = functional.pad(out, (0, 0, 0, 0, 0, emitted + rest - out.shape[1]))
        if state is not None:
            if "rest" in state:
                past = state["rest"]
                out = out + functional.pad(past, (0, 0, 0, 0, 0, out.shape[1] - past.shape[1]))
            state["rest"] = out[:, emitted:]
        return out[:, :emitted]

    def fields(self):
        return {"weights": stored(self.weights), "bias": stored(self.bias),
                "outputChannels": self.out_channels,
                "strideT": self.stride[0], "strideF": self.stride[1],
                "dilationT": 1, "unusedParameter": 0, "delay": self.delay}

    @classmethod
    def from_fields(cls, fields, in_shape):
        weights, channels = fields["weights"], fields["outputChannels"]
        layer = cls(weights.shape[3], channels, weights.shape[:2],
                    (fields["strideT"], fields["strideF"]), fields["delay"],
                    depthwise=weights.shape[2] == 1 and channels != 1)
        layer.weights = loaded(weights)
        layer.bias = loaded(fields["bias"])
        return layer
