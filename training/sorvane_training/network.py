"""A model file as a PyTorch module: over whole streams, or frame by frame."""

import torch
from torch import nn

from .layers import BY_KIND, QueuedLayer
from .outline import outline


class FileNetwork(nn.Module):
    """The network of a ModelFile, with the values that the file keeps.

    A module like its layers: `network(x)` runs whole streams [batch, T, F, C] from a cold start,
    and `network(x, state)` the next frames of one, with a dictionary that is empty at its start.
    """

    def __init__(self, model):
        super().__init__()
        streams = {layer.name: layer.stream for layer in outline(model).layers}
        channels = model.input_packing.columns * model.num_input_channels
        shapes = {name: (s.positions, s.channels) for name, s in streams.items()}
        shapes["input"] = (model.input_packing.rows, channels)
        self.inputs = {layer.name: layer.inputs for layer in model.layers}
        self.output_source = model.output_source
        # Names of files may be no names of submodules.
        self.names = [layer.name for layer in model.layers]
        self.layers = nn.ModuleList(
            BY_KIND[layer.kind].from_fields(layer.arrays(), shapes[layer.inputs[0]])
            for layer in model.layers)

    def forward(self, x, state=None):
        values = {"input": x}
        for name, layer in zip(self.names, self.layers):
            inputs = [values[source] for source in self.inputs[name]]
            own = None if state is None else state.setdefault(name, {})
            values[name] = (layer(*inputs, state=own) if isinstance(layer, QueuedLayer)
                            else layer(inputs[0], own))
        return values[self.output_source]

    def run(self, frames, step=None):
        """The output of a stream, an array [T, F, C]; in calls of `step` frames if given."""
        x = torch.as_tensor(frames).unsqueeze(0).to(next(self.parameters(), torch.zeros(0)).dtype)
        with torch.no_grad():
            if step is None:
                return self(x)[0].numpy()
            state = {}
            parts = [self(x[:, t:t + step], state) for t in range(0, x.shape[1], step)]
        return torch.cat(parts, dim=1)[0].numpy() if parts else self(x)[0].numpy()
