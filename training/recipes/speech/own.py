"""Voices and noises of one's own, and a training that begins from a model file."""

import json
from pathlib import Path

import numpy as np
import soundfile
import torch
from sorvane_training.layers import BatchNormLayer
from sorvane_training.model_file import ModelFile

import fetch
import loss
import mixing
import network
import sources

HELD_BACK = 10  # one recording of so many is heard by the validation alone
PIECE = 30 * mixing.RATE  # longer recordings are cut, so that there is something to hold back
AUDIO = {f".{name.lower()}" for name in soundfile.available_formats()} | {".mp3", ".oga", ".opus"}


def store(kind, given, folder):
    """Decodes the audio files below GIVEN, those of one KIND, for a Mixer to read in FOLDER."""
    paths = [path for path in sorted(given.rglob("*")) if path.suffix.lower() in AUDIO]
    pieces = [audio[at : at + PIECE] for audio in map(fetch.decode, paths)
              for at in range(0, len(audio), PIECE)]
    pieces = [piece for piece in pieces if len(piece) > mixing.RATE // 4 and np.abs(piece).max() > 1e-3]
    if len(pieces) < 2:
        raise SystemExit(f"{given}: {len(paths)} audio files with {len(pieces)} pieces of sound; two are needed")
    folder.mkdir(parents=True, exist_ok=True)
    held = pieces[HELD_BACK - 1 :: HELD_BACK] or pieces[-1:]
    trained = [piece for piece in pieces if not any(piece is other for other in held)]
    for part, chosen in (("train", trained), ("valid", held)):
        name = next(s.name for s in sources.of(part, kind) if s.package == sources.OWN)
        starts = np.cumsum([0] + [len(piece) for piece in chosen]).tolist()
        samples = np.clip(np.round(np.concatenate(chosen) * 32767), -32767, 32767)
        np.save(folder / f"{name}.npy", samples.astype(np.int16))
        (folder / f"{name}.json").write_text(json.dumps({"starts": starts, "paths": [kind] * len(chosen)}))
    seconds = sum(map(len, pieces)) / mixing.RATE
    print(f"{given}: {len(paths)} files, {seconds / 60:.1f} minutes, a tenth of them held back", flush=True)


def size_of(model):
    """Returns the size in network.SIZES whose layers a model file has."""
    shapes = {layer.name: layer.fields["weights"].values.shape
              for layer in model.layers if layer.fields.get("weights") is not None}
    for size in network.SIZES:
        modules = dict(network.make_network(size).named_modules())
        if all(name in modules and tuple(modules[name].weights.shape) == shape
               for name, shape in shapes.items()):
            return size
    raise SystemExit("the model file has the layers of no size of network.py; it can't be trained further")


def _norm_after(name, modules):
    """Returns the normalisation that stands behind a convolution, by its name; None if none does."""
    if f"{name}_norm" in modules:
        return modules[f"{name}_norm"]
    block, _, own = name.rpartition(".")
    return modules.get(f"{block}.norm") if own in ("mix", "more") else None


def begin_from(net, path, bank):
    """Gives a network the weights of a model file.

    A file has its normalisations folded into the convolutions. Here they get back what a batch of the bank
    is like, so that training begins where the file's ended.
    """
    modules = dict(net.named_modules())
    for layer in ModelFile.read(path).layers:
        module, fields = modules[layer.name], layer.arrays()
        if "weights" not in fields:
            continue
        module.weights.data = torch.tensor(fields["weights"])
        bias = fields["bias"]
        norm = _norm_after(layer.name, modules)
        if norm is not None:
            norm.running_var.fill_(1 - norm.eps)
            norm.bias.data = torch.tensor(bias)
        elif bias is not None and bias.size:
            module.bias.data = torch.tensor(bias)
    _measure_levels(net, bank)


def _measure_levels(net, bank):
    seen = {}

    def look(module, inputs):
        seen[module] = torch.var_mean(inputs[0].reshape(-1, inputs[0].shape[-1]), 0)

    norms = [module for module in net.modules() if isinstance(module, BatchNormLayer)]
    hooks = [norm.register_forward_pre_hook(look) for norm in norms]
    net.eval()
    voices, noises = map(torch.from_numpy, bank.batch(16))
    with torch.no_grad():
        net(loss.spectra(voices + noises).abs().unsqueeze(3))
        for norm in norms:
            variance, mean = seen[norm]
            norm.weight.copy_((variance + norm.eps).sqrt())
            norm.bias.add_(mean)
            norm.running_mean.copy_(mean)
            norm.running_var.copy_(variance)
    for hook in hooks:
        hook.remove()
    net.train()
