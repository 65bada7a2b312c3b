"""The recipe's parts on recordings made here."""

import json
import sys

import numpy as np
import pytest
import torch

import evaluate
import export
import fetch
import loss
import mixing
import network
import sources
import train
import validation
from sorvane_training.packing import spectra


@pytest.fixture(scope="module")
def recordings(tmp_path_factory):
    """A folder as fetching leaves it, with a second of noise for each recording.

    The samples of validation's voices have one size, by which they are known.
    """
    recordings = tmp_path_factory.mktemp("recordings")
    (recordings / "test").mkdir()
    random = np.random.default_rng(1)
    for source in sources.SOURCES:
        lengths = random.integers(4000, 40000, 5)
        starts = np.concatenate([[0], np.cumsum(lengths)])
        samples = random.standard_normal(starts[-1]) * 3000
        if source.part == "valid" and source.kind == "voice":
            samples = np.sign(samples) * 3000
        folder = recordings / "test" if source.part == "test" else recordings
        np.save(folder / f"{source.name}.npy", samples.astype(np.int16))
        (folder / f"{source.name}.json").write_text(
            json.dumps({"starts": starts.tolist(), "paths": [str(n) for n in range(5)]}))
    return recordings


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


def test_fetching_keeps_the_test_set_apart(tmp_path, monkeypatch):
    stored = {}
    monkeypatch.setattr(fetch, "store", lambda source, folder: stored.update({source.name: folder}))
    for part in ("train", "valid", "test"):
        monkeypatch.setattr(sys, "argv", ["fetch.py", "--data", str(tmp_path), "--part", part])
        stored.clear()
        fetch.main()
        folder = tmp_path / "test" if part == "test" else tmp_path
        assert stored == {s.name: folder for s in sources.SOURCES if s.part == part}
    monkeypatch.setattr(sys, "argv", ["fetch.py", "--data", str(tmp_path)])
    fetch.main()
    assert stored == {s.name: tmp_path / "test" if s.part == "test" else tmp_path
                      for s in sources.SOURCES}


def test_validation_has_its_own_voice_and_nothing_of_the_test(recordings, monkeypatch):
    opened = []

    class Noted(mixing.Recordings):
        def __init__(self, folder, source):
            opened.append((folder, source.part))
            super().__init__(folder, source)

    monkeypatch.setattr(mixing, "Recordings", Noted)
    mixtures = validation.Validation(recordings, count=8)
    assert set(opened) == {(recordings, "train"), (recordings, "valid")}
    for voice in mixtures.voices:
        sizes = np.abs(voice[voice != 0])
        assert len(sizes) > 16000 and sizes.max() == pytest.approx(sizes.min(), rel=1e-5)


def test_the_test_set_has_its_ratios_and_gains_are_against_the_mixture(recordings):
    clips = evaluate.TestSet(recordings, 1, 3).clips
    assert len(clips) == 30
    for clip in clips:
        levels = [mixing.root_mean_square(clip[name]) for name in ("speech", "noise")]
        assert 20 * np.log10(levels[0] / levels[1]) == pytest.approx(clip["ratio"], abs=1e-3)
        np.testing.assert_allclose(clip["mixture"], clip["speech"] + clip["noise"], atol=1e-6)
    some = clips[::7]
    assert {clip["ratio"] for clip in some} == {0, 5, 10}
    gains = evaluate.measure([clip["mixture"] for clip in some], some)[:, 0]
    np.testing.assert_allclose(gains, 0, atol=1e-9)
    assert (evaluate.measure([clip["speech"] + clip["noise"] / 2 for clip in some], some)[:, 0] > 4).all()


def test_a_training_goes_on_as_if_it_had_not_been_stopped(recordings, tmp_path, monkeypatch):
    monkeypatch.setattr(train, "Validation", lambda folder: validation.Validation(folder, count=4))

    def run(name):
        monkeypatch.setattr(sys, "argv", [
            "train.py", "--data", str(recordings), "--run", str(tmp_path / name), "--size", "small",
            "--steps", "6", "--batch", "2", "--save-every", "0"])
        train.main()
        state = torch.load(tmp_path / name / "state.pt")
        assert state["steps"] == 6
        return state["network"] | {f"mean {key}": value for key, value in state["average"].items()}

    whole, step = run("whole"), train.Training.step

    def stopped_step(training):
        if training.steps == 3:
            raise KeyboardInterrupt
        return step(training)

    with monkeypatch.context() as stopping:
        stopping.setattr(train.Training, "step", stopped_step)
        with pytest.raises(KeyboardInterrupt):
            run("stopped")
    gone_on = run("stopped")
    assert all(torch.equal(value, gone_on[key]) for key, value in whole.items())


def test_two_trainings_share_no_folder(tmp_path):
    with train.lock(tmp_path):
        with pytest.raises(SystemExit, match="another training"):
            train.lock(tmp_path)
    train.lock(tmp_path).close()
