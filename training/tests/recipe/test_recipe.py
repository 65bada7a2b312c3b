"""The recipe's parts on recordings made here."""

import json

import numpy as np
import pytest
import torch

import export
import loss
import mixing
import network
import sources
from sorvane_training.packing import spectra


@pytest.fixture(scope="module")
def recordings(tmp_path_factory):
    """A folder as fetching leaves it, with a second of noise for each recording."""
    folder = tmp_path_factory.mktemp("recordings")
    random = np.random.default_rng(1)
    for source in sources.SOURCES:
        lengths = random.integers(4000, 40000, 5)
        starts = np.concatenate([[0], np.cumsum(lengths)])
        np.save(folder / f"{source.name}.npy",
                (random.standard_normal(starts[-1]) * 3000).astype(np.int16))
        (folder / f"{source.name}.json").write_text(
            json.dumps({"starts": starts.tolist(), "paths": [str(n) for n in range(5)]}))
    return folder


def test_parts_have_nothing_in_common():
    """No recording is in two parts, nor a package of the test set in another but for its keys."""
    for part in ("train", "valid"):
        shared = {s.package for s in sources.SOURCES if s.part == part} & {
            s.package for s in sources.SOURCES if s.part == "test"}
        assert shared <= {"bucklespring-data"}
    for key in range(256):
        path = f"/usr/share/buckle/wav/{key:02x}-1.wav"
        takers = [s.name for s in sources.SOURCES if s.kind == "keys" and s.takes(path)]
        assert takers == (["test-keys"] if key % 4 == 0 else ["keys"])
    spoken = {s.name for s in sources.SOURCES if s.takes("/animals/cow_desc_fr.ogg")
              or s.takes("/animals/cow_desc_ru.ogg")}
    assert not any(name.startswith("stamps") for name in spoken)


def test_mixtures_follow_the_seed_and_the_ratio(recordings):
    first, again, other = (mixing.Mixer(recordings, "train", seed, 1.0).batch(4) for seed in (5, 5, 6))
    for one, two, three in zip(first, again, other):
        np.testing.assert_array_equal(one, two)
        assert one.shape == (4, 16000) and np.isfinite(one).all() and np.abs(one - three).max() > 0
    assert np.abs(first[0] + first[1]).max() <= 1
    mixer = mixing.Mixer(recordings, "train", 7, 4.0)
    for kind in mixing.KINDS:
        for ratio in (-5, 10):
            voice, noise = mixer.scaled(mixer.voice(), mixer.noise(kind), ratio)
            measured = 20 * np.log10(mixing.active_level(voice) / mixing.root_mean_square(noise))
            assert measured == pytest.approx(ratio, abs=0.1), kind


def test_transform_is_the_engine_s():
    audio = np.random.default_rng(2).standard_normal(16000).astype(np.float32)
    ours = loss.spectra(torch.from_numpy(audio)[None])[0].numpy()
    np.testing.assert_allclose(ours, spectra(audio, 512, 512, 256)[:, 0], atol=1e-4)
    back = loss.audio(loss.spectra(torch.from_numpy(audio)[None]))[0].numpy()
    np.testing.assert_allclose(back, audio[: len(back)], atol=1e-5)
    assert len(audio) - len(back) < 512


def test_loss_is_smallest_for_the_voice():
    random = np.random.default_rng(3)
    voice = torch.from_numpy(random.standard_normal((2, 16000)).astype(np.float32))
    voice[0] = 0  # nobody speaks
    noise = torch.from_numpy(random.standard_normal((2, 16000)).astype(np.float32))
    voice, mixture = loss.spectra(voice), loss.spectra(voice + noise)
    ideal = ((voice * mixture.conj()).real / mixture.abs() ** 2).clamp(0, 1)
    losses = [loss.loss(mask, voice, mixture, 30, 20)[0].item()
              for mask in (ideal, torch.full_like(ideal, 0.5), torch.ones_like(ideal))]
    assert losses == sorted(losses) and np.isfinite(losses).all()


def test_tables_carry_a_spectrum_to_bands_and_back():
    for analysis, frequencies, scale in (
            (network.analysis_table(), np.arange(network.BINS) * network.BIN_WIDTH, 1),
            (export.wide_analysis_table(),
             np.arange(export.WIDE_BINS) * export.WIDE_RATE / export.WIDE_FFT, 3)):
        slope = 1 + frequencies / 4000
        bands = analysis @ (scale * slope)
        np.testing.assert_allclose(network.synthesis_table(frequencies) @ bands, slope, rtol=0.06)
        np.testing.assert_allclose(analysis.sum(axis=1) * scale, 1, rtol=1e-5)
