"""The model files that ship: the engine against PyTorch."""

from pathlib import Path

import pytest

from sorvane_training.model_file import ModelFile
from sorvane_training.outline import check
from sorvane_training.parity import compare, random_frames

MODELS = sorted((Path(__file__).resolve().parents[3] / "models").rglob("*.model"))


@pytest.mark.parametrize("path", MODELS, ids=lambda path: path.stem)
def test_shipped_model(path):
    model = ModelFile.read(path)
    check(model)
    assert compare(path, random_frames(model, 100)).is_small
