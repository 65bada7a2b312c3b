"""The model files that ship: the engine against PyTorch, on random frames and on a voice."""

from pathlib import Path

import pytest
from scipy.signal import resample_poly

from sorvane_training.model_file import ModelFile
from sorvane_training.outline import check
from sorvane_training.parity import audio_frames, compare_all, default_frames, read_audio

MODELS = sorted((Path(__file__).resolve().parents[3] / "models").rglob("*.model"))
VOICE = "/usr/share/sounds/alsa/Front_Center.wav"  # of alsa-utils, 48 kHz


@pytest.mark.parametrize("path", MODELS, ids=lambda path: path.stem)
def test_shipped_model(path):
    model = ModelFile.read(path)
    check(model)
    voice = resample_poly(read_audio(VOICE), int(model.sample_rate), 48000, axis=-1)
    found = compare_all(path, default_frames(model))
    assert found["noise"].largest > 0.9  # some of the frames open the mask
    found |= compare_all(path, {"voice": audio_frames(model, voice)})
    assert all(difference.is_small for difference in found.values()), found
    assert path.stat().st_size <= 600_000
