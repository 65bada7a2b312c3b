"""Networks as people write them: what becomes a file, what is refused, what half storage does."""

import operator
import re
from pathlib import Path

import numpy as np
import pytest
import torch
from torch import nn
from torch.nn import functional
from torch.nn.utils import parametrizations, prune, spectral_norm, weight_norm

from sorvane_training import layers as kinds
from sorvane_training import outline, parity
from sorvane_training.export import export
from sorvane_training.model_file import ModelError, ModelFile
from sorvane_training.outline import check
from sorvane_training.parity import compare, default_frames, difference, random_frames
from sorvane_training.storage import Storage

from networks import header

BINS = 12


class Rescaled(nn.Module):
    """A network that changes the number of positions, and back."""

    def __init__(self, network, positions):
        super().__init__()
        self.network = network
        self.back = kinds.FrequencyRescaleLayer([(f * positions // BINS, [1]) for f in range(BINS)])

    def forward(self, x):
        return self.back(self.network(x).permute(0, 2, 3, 1)).permute(0, 3, 1, 2)


class Padded(nn.Module):
    """Causal by functional.pad; operators, a module used twice, channels joined."""

    def __init__(self):
        super().__init__()
        self.conv = nn.Conv2d(1, 4, (3, 3), padding=(0, 1), dilation=(2, 1))
        self.mix = nn.Linear(4, 4)
        self.act = nn.ELU()
        self.gate = nn.Sigmoid()
        self.last = nn.Conv2d(8, 1, 1)
        self.dropout = nn.Dropout(0.5)

    def forward(self, x):
        x = self.act(self.conv(functional.pad(x, (0, 0, 4, 0))))
        y = self.act(self.mix(x.permute(0, 2, 3, 1)).permute(0, 3, 1, 2))
        z = self.dropout((x * x - y) / self.gate(y))
        return self.last(torch.cat([x + z, y], dim=1))


class Bands(nn.Module):
    """Conv1d over bands of magnitudes, as torch.stft() lays them out, and back by our layer."""

    def __init__(self):
        super().__init__()
        self.net = nn.Sequential(nn.ConstantPad1d((2, 0), 0), nn.Conv1d(BINS, 6, 3), nn.ReLU(),
                                 nn.Conv1d(6, 5, 3, padding="same"), nn.LeakyReLU(0.1))
        self.up = kinds.TransposedConvLayer(5, 1, (1, BINS), (1, BINS))

    def forward(self, x):
        return self.up(self.net(x).transpose(1, 2).unsqueeze(2)).squeeze(3).transpose(1, 2)


class Conv(kinds.ConvLayer):
    """A class of the user's that computes as its base does."""


class Unusual(nn.Module):
    """Names that Python has for itself, arguments by name, a state, in-place steps."""

    def __init__(self):
        super().__init__()
        for name, module in (("class", nn.Linear(1, 1)), ("a'b\n", Conv(1, 1, (2, 1)))):
            self.add_module(name, module)
        self.relu = nn.ReLU(inplace=True)

    def forward(self, x, state=None):
        x = self.get_submodule("class")(input=x).transpose(dim0=1, dim1=2)
        x = self.get_submodule("a'b\n")(x.permute(dims=(0, 2, 1, 3)), state)
        y = x.squeeze(dim=3).unsqueeze(dim=3) * x
        y += x
        return self.relu(y)


def normalised(network):
    """A network whose normalisations have seen something."""
    for module in network.modules():
        if isinstance(module, nn.modules.batchnorm._BatchNorm):
            module.running_mean.uniform_(-1, 1)
            module.running_var.uniform_(0.2, 3)
            if module.affine:
                nn.init.uniform_(module.weight, 0.5, 2)
                nn.init.uniform_(module.bias, -1, 1)
    return network


torch.manual_seed(1)
ACCEPTED = {
    "batch norms": (normalised(nn.Sequential(
        nn.Conv2d(1, 4, 3, padding=1, bias=False), nn.BatchNorm2d(4), nn.ReLU(), nn.BatchNorm2d(4),
        nn.Conv2d(4, 4, 1, groups=4), nn.BatchNorm2d(4, affine=False), nn.Conv2d(4, 1, 1))), "BCTF"),
    "batch norms of layers": (normalised(nn.Sequential(
        kinds.ConvLayer(1, 5, (1, 4), (1, 4), bias=False), kinds.BatchNormLayer(5),
        kinds.TransposedConvLayer(5, 3, (1, 4), (1, 4)), kinds.BatchNormLayer(3),
        kinds.TransposedConvLayer(3, 3, (1, 3), depthwise=True), kinds.BatchNormLayer(3),
        kinds.ConvLayer(3, 1))), "BTFC"),
    "causal": (nn.Sequential(nn.ZeroPad2d((0, 0, 2, 0)), nn.Conv2d(1, 1, 3, padding=(0, 1))),
               "BCTF"),
    "look-ahead": (nn.Sequential(nn.Conv2d(1, 4, 5, padding=2), nn.ReLU(), nn.Conv2d(4, 1, 1)),
                   "BCTF"),
    "no padding": (nn.Conv2d(1, 1, (4, 1), bias=False), "BCTF"),
    "depthwise": (nn.Sequential(nn.Conv2d(1, 3, 1), nn.Conv2d(3, 6, 3, padding=1, groups=3),
                                nn.Hardsigmoid(), nn.Conv2d(6, 1, 1), nn.Softplus()), "BCTF"),
    "stride in frequency": (Rescaled(nn.Conv2d(1, 1, 3, (1, 2), padding=1), 6), "BCTF"),
    "padding in front of frequency": (
        nn.Sequential(nn.ZeroPad2d((3, 0, 0, 0)), nn.Conv2d(1, 1, (1, 4))), "BCTF"),
    "linear": (nn.Sequential(nn.Linear(1, 3), nn.ELU(), nn.Identity(), nn.Linear(3, 1),
                             nn.Sigmoid()), "BTFC"),
    "operators": (Padded(), "BCTF"),
    "bands": (Bands(), "BFT"),
    "unusual": (Unusual(), "BTFC"),
    "one layer": (kinds.PreNormLayer([0.5, 0.25, 0.25]), "BTFC"),
}


@pytest.mark.filterwarnings("ignore:Using padding")
@pytest.mark.parametrize("name", ACCEPTED)
def test_accepted(name, tmp_path):
    network, layout = ACCEPTED[name]
    network = network.eval()
    model = export(network, header(BINS), layout)
    path = tmp_path / "plain.model"
    model.write(path)
    # nn.Sigmoid and the engine's, which ends at 10, only differ beyond.
    frames = random_frames(model, 40) / (1000 if name in ("linear", "operators") else 1)
    assert compare(path, frames, network, layout).is_small
    assert compare(path, frames).is_small


REFUSED = {
    "norm (BatchNorm2d): it has 2 channels, and 1 come in":
        lambda n: n.add_module("norm", nn.BatchNorm2d(2)),
    "norm (BatchNorm2d): it keeps no running mean": lambda n: n.add_module(
        "norm", nn.BatchNorm2d(1, track_running_stats=False)),
    "back (GRU): the format has no layer for it; no layer is recurrent; filters in time":
        lambda n: n.add_module("back", nn.GRU(1, 1)),
    "deep.0 (ELU): alpha is 0.5": lambda n: n.add_module("deep", nn.Sequential(nn.ELU(0.5))),
    "plus (Softplus): beta is 2": lambda n: n.add_module("plus", nn.Softplus(2)),
    "conv (Conv2d): 2 groups of 4 channels": lambda n: n.extend(
        [nn.Conv2d(1, 4, 1)]).add_module("conv", nn.Conv2d(4, 4, 1, groups=2)),
    "conv (Conv2d): it pads by 'reflect'": lambda n: n.add_module(
        "conv", nn.Conv2d(1, 1, 3, padding=1, padding_mode="reflect")),
    "conv (Conv2d): 3 frames of padding in front": lambda n: n.add_module(
        "conv", nn.Conv2d(1, 1, 3, padding=(3, 1))),
    "layer conv: delay is 200, and a file holds whole numbers from -128": lambda n: n.add_module(
        "conv", nn.Conv2d(1, 1, (201, 1))),
    "act (ReLU): its input is padded": lambda n: n.extend(
        [nn.ZeroPad2d(1)]).add_module("act", nn.ReLU()),
    "pad (ConstantPad2d): it pads with 1": lambda n: n.add_module("pad", nn.ConstantPad2d(1, 1)),
    "linear (Linear): it would mix the positions": lambda n: n.extend(
        [nn.Conv2d(1, 2, 1)]).add_module("linear", nn.Linear(BINS, 3)),
    "dense (DenseLayer): its input has the axes BCTF, not BTFC; permute(0": lambda n: n.add_module(
        "dense", kinds.DenseLayer(BINS, 1)),
    "conv gives 1/2 frames": lambda n: n.add_module("conv", nn.Conv2d(1, 1, 1, (2, 1))),
    "layer conv: bias: half floats end at 131008": lambda n: n.add_module(
        "conv", nn.Conv2d(1, 1, 1).apply(lambda m: nn.init.constant_(m.bias, 2e5))),
}


@pytest.mark.parametrize("message", REFUSED)
def test_refused(message):
    network = nn.Sequential()
    REFUSED[message](network)
    with pytest.raises(ModelError) as error:
        export(network, header(BINS), "BCTF", Storage(half=True))
    assert str(error.value).startswith(message)


class Changed(kinds.ConvLayer):
    def forward(self, x, state=None):
        return super().forward(x, state).relu()


class Lambda(nn.Module):
    def __init__(self, function):
        super().__init__()
        self.function = function
        self.bias = nn.Parameter(torch.zeros(1))
        self.relu = nn.ReLU(inplace=True)
        self.wide = kinds.TransposedConvLayer(1, 1, (1, 257), (1, 257))
        self.bands = nn.Linear(BINS, 4)
        self.changed = Changed(1, 1)

    def forward(self, x):
        return self.function(self, x)


@pytest.mark.parametrize("message, function", [
    ("add: 1 is no output of a layer", lambda n, x: x + 1),
    ("bias: a parameter or buffer outside of a layer", lambda n, x: x * n.bias),
    ("exp: no layer comes of this function", lambda n, x: torch.exp(x)),
    ("Lambda: its forward() can't be traced", lambda n, x: x if x.sum() > 0 else -x),
    ("cat: it joins the axis T", lambda n, x: torch.cat([x, x], 1)),
    ("output: its axes are BFTC", lambda n, x: x.permute(0, 2, 1, 3)),
    ("relu (ReLU): it works in place", lambda n, x: (n.relu(x), x * x)[1]),
    ("iadd: it works in place", lambda n, x: (operator.iadd(x, x), x * x)[1]),
    ("changed (Changed): its class computes otherwise than ConvLayer", lambda n, x: n.changed(x)),
    ("wide (TransposedConvLayer): it reads or makes 257 positions", lambda n, x: n.wide(x)),
    ("output: its axes are BTC, not the input's BTFC; unsqueeze makes BTFC",
     lambda n, x: n.bands(x.squeeze(3))),
])
def test_refused_functions(message, function):
    with pytest.raises(ModelError) as error:
        export(Lambda(function), header(BINS))
    assert str(error.value).startswith(message)


def test_refused_hooks():
    for hooked, remover in (
            (weight_norm, "remove_weight_norm"), (spectral_norm, "remove_spectral_norm"),
            (parametrizations.spectral_norm, "parametrize.remove_parametrizations"),
            (lambda m: prune.l1_unstructured(m, "weight", 1), "prune.remove"),
            (lambda m: m.register_forward_hook(lambda *_: None), "handle.remove()")):
        linear = nn.Linear(1, 1)
        hooked(linear)
        with pytest.raises(ModelError, match="^0 .*Linear.*" + re.escape(remover)):
            export(nn.Sequential(linear), header(BINS))


def test_missing_frames():
    """All frames must come, but for those of a burst that the engine still holds."""
    expected = np.ones((300, 1, 1), np.float32)
    for given, held, small in ((300, 0, True), (299, 0, False), (299, 1, True), (298, 1, False),
                               (1, 0, False), (0, 300, False)):
        assert difference(expected[:given], expected, held=held).is_small == small
    assert not difference(expected, expected[:299]).is_small


def test_full_scale(tmp_path):
    """Noise reaches what only the engine's softplus makes infinite."""
    model = export(nn.Softplus(), header(257))
    model.write(tmp_path / "plus.model")
    assert not compare(tmp_path / "plus.model", default_frames(model, 40)["noise"]).is_small


@pytest.mark.parametrize("program", [parity.main, outline.main])
def test_bad_files_end_in_a_line(program, capsys):
    for path in ("/nowhere", "/dev/null"):
        with pytest.raises(SystemExit) as ended:
            program([path])
        assert ended.value.code == 2 and capsys.readouterr().err.count("\n") == 1


def test_read_me(tmp_path, monkeypatch, capsys):
    """Its blocks run one after the other, and its files in the engine."""
    text = (Path(__file__).resolve().parents[2] / "README.md").read_text()
    monkeypatch.chdir(tmp_path)
    given = {"layer": kinds.ConvLayer(1, 1, (3, 1)), "x": torch.rand(1, 9, 257, 1),
             "loss": nn.MSELoss(), "target": torch.zeros(1, 9, 257, 1),
             "samples": np.random.default_rng(1).normal(0, 0.1, (1, 9000))}
    for block in re.findall("```python[^\n]*\n(.*?)```", text, re.DOTALL):
        if "optimiser" in block:
            given["optimiser"] = torch.optim.SGD(given["network"].parameters(), 0.1)
        exec(block, given)
    masks = torch.from_numpy(given["masks"])
    assert len(masks) > 9
    torch.testing.assert_close(torch.cat(given["single"], 1)[0], masks)
    torch.testing.assert_close(torch.from_numpy(np.concatenate(given["pushed"])), masks)
    for name in ("gate.model", "bands.model"):
        assert parity.main([name]) == 0, capsys.readouterr().out


def test_half_storage(tmp_path):
    """The exported halves are those that training hears, and single tensors stay exact."""
    torch.manual_seed(2)
    network = nn.Sequential(nn.Linear(1, 6), nn.ELU(), nn.Linear(6, 1))
    storage = Storage(half=True, single=("2.bias",))
    exact = {name: p.detach().clone() for name, p in network.named_parameters()}
    model = export(network, header(BINS), storage=storage)
    path = tmp_path / "half.model"
    model.write(path)
    frames = random_frames(model, 20)
    assert not compare(path, frames, network).is_small
    with storage.applied(network):
        assert compare(path, frames, network).is_small
        assert torch.equal(network[2].bias, exact["2.bias"])
        network(torch.ones(1, 1, BINS, 1)).sum().backward()
    for name, parameter in network.named_parameters():
        assert torch.equal(parameter, exact[name]) and parameter.grad is not None
    stored = [tensor.half for layer in ModelFile.read(path).layers for tensor in layer.tensors()]
    assert stored == [True, True, True, False]


def test_patterns_of_storage():
    """A name is itself before it is a pattern, and one that names nothing is a mistake."""
    network = nn.Sequential()
    network.add_module("x[1]", nn.Linear(1, 2))
    network.add_module("x1", nn.Linear(2, 1))
    model = export(network, header(BINS), storage=Storage(True, ("x[1]", "x?.bias")))
    assert [tensor.half for layer in model.layers for tensor in layer.tensors()] == [
        False, False, True, False]
    before = model.to_bytes()
    nn.init.zeros_(network[1].bias)
    assert model.to_bytes() == before  # it holds copies
    wrong = Storage(True, ("x2.*",))
    for use in (lambda: export(network, header(BINS), storage=wrong),
                lambda: wrong.applied(network).__enter__()):
        with pytest.raises(ModelError, match="'x2.\\*' names no tensor"):
            use()
