"""Maps the frequency axis to another resolution."""

import torch
from torch import nn

from .base import Layer, stored


class FrequencyRescaleLayer(Layer):
    """Each output position is a weighted sum of neighbouring input positions, for every channel.

    bands      one (start, weights) for each output position: the first input position and at least
               one weight. from_matrix() makes them from a matrix.
    learnable  whether training may change the weights; which positions meet stays.

    Positions of the input beyond those that the bands name are not looked at.
    """

    kind = 22

    def __init__(self, bands, learnable=False):
        super().__init__()
        bands = [(int(start), torch.as_tensor(w, dtype=torch.float32).reshape(-1))
                 for start, w in bands]
        self.starts = [start for start, _ in bands]
        self.lengths = [len(w) for _, w in bands]
        if min(self.lengths, default=1) < 1 or min(self.starts, default=0) < 0:
            raise ValueError("a band needs a start from 0 and at least one weight")
        self.in_positions = max((s + n for s, n in zip(self.starts, self.lengths)), default=0)
        self.values = nn.Parameter(torch.cat([w for _, w in bands] or [torch.zeros(0)]),
                                   requires_grad=learnable)
        rows = [b for b, n in enumerate(self.lengths) for _ in range(n)]
        columns = [s + k for s, n in zip(self.starts, self.lengths) for k in range(n)]
        self.register_buffer("places", torch.tensor([rows, columns]).long().reshape(2, -1),
                             persistent=False)

    @classmethod
    def from_matrix(cls, matrix, learnable=False):
        """From [output, input] positions; the zeros around each row's run are left out."""
        bands = []
        for row in torch.as_tensor(matrix, dtype=torch.float32):
            used = row.nonzero().reshape(-1).tolist() or [0]
            bands.append((used[0], row[used[0]:used[-1] + 1].clone()))
        return cls(bands, learnable)

    def matrix(self):
        """The weights as [output positions, input positions]."""
        zeros = self.values.new_zeros(len(self.starts), self.in_positions)
        return zeros.index_put((self.places[0], self.places[1]), self.values)

    def forward(self, x, state=None):
        matrix = self.matrix()
        x = x[:, :, :self.in_positions] if x.shape[2] > self.in_positions else x
        if x.shape[3] == 1:
            return (x.squeeze(3) @ matrix.t()).unsqueeze(3)
        return matrix @ x

    def fields(self):
        values = stored(self.values)
        bands, at = [], 0
        for start, length in zip(self.starts, self.lengths):
            bands.append((start, values[at:at + length]))
            at += length
        return {"bands": bands}

    @classmethod
    def from_fields(cls, fields, in_shape):
        return cls(fields["bands"])
