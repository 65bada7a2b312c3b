"""The recipe's parts on recordings made here."""

import json
import sys

import numpy as np
import pytest
import soundfile
import torch

import bank
import evaluate
import export
import fetch
import loss
import mixing
import network
import own
import second_set
import sources
import train
import validation
from sorvane_training import compiled
from sorvane_training.export import export as write_model
from sorvane_training.layers import BatchNormLayer, ConvLayer
from sorvane_training.model_file import ModelFile
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
            json.dumps({"starts": starts.tolist(),
                        "paths": ["helicopter trafic", "rain green", "dog build", "clock", "market"]}))
    return recordings


def test_parts_have_nothing_in_common():
    """No recording is in two parts, nor a package of the test set in another but for its keys."""
    for part in ("train", "valid"):
        shared = {s.package for s in sources.SOURCES if s.part == part} & {
            s.package for s in sources.SOURCES if s.part == "test"}
        assert shared <= {"bucklespring-data", sources.PACK}
    for key in range(256):
        path = f"/usr/share/buckle/wav/{key:02x}-1.wav"
        takers = [s.name for s in sources.SOURCES if s.kind == "keys" and s.takes(path)]
        assert takers == (["test-keys"] if key % 4 == 0 else ["keys"])
    spoken = {s.name for s in sources.SOURCES if s.takes("/animals/cow_desc_fr.ogg")
              or s.takes("/animals/cow_desc_ru.ogg")}
    assert not any(name.startswith("stamps") for name in spoken)


@pytest.fixture(scope="module")
def tracks(recordings, tmp_path_factory):
    """A folder as `bank.py` leaves it, with two small parts."""
    folder = tmp_path_factory.mktemp("bank")
    for number in range(2):
        bank.make_part(mixing.Mixer(recordings, "train", number, 4.0), folder, number, tracks=12)
    return folder


def test_mixtures_follow_the_seed_and_the_ratio(recordings, tracks):
    first, again, other = (mixing.Bank(tracks, seed).batch(40) for seed in (5, 5, 6))
    for one, two, three in zip(first, again, other):
        np.testing.assert_array_equal(one, two)
        assert one.shape == (40, 64000) and np.isfinite(one).all() and np.abs(one - three).max() > 0
    assert np.abs(first[0] + first[1]).max() <= 1.001
    mixer = mixing.Mixer(recordings, "train", 7, 4.0)
    for kind in mixing.KINDS:
        voice, noise = mixer.scaled(mixer.voice(), mixer.noise(kind), -5)
        measured = 20 * np.log10(mixing.active_level(voice) / mixing.root_mean_square(noise))
        assert measured == pytest.approx(-5, abs=0.1), kind


def test_a_room_dies_away():
    """Its first sound comes at once, and what is left after a second is nothing."""
    for seed in range(20):
        response = mixing.room(np.random.default_rng(seed), 64000)
        energy = np.cumsum(response[::-1] ** 2)[::-1]
        assert response[0] > 0.5 and np.isfinite(response).all()
        assert energy[len(energy) // 2] < 0.1 * energy[0]


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
    losses = [loss.loss(mask, voice, mixture)[0].item()
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
    monkeypatch.setattr(fetch, "store", lambda source, folder, pack: stored.update({source.name: folder}))
    for part in ("train", "valid", "test"):
        monkeypatch.setattr(sys, "argv", ["fetch.py", "--data", str(tmp_path), "--part", part])
        stored.clear()
        fetch.main()
        folder = tmp_path / "test" if part == "test" else tmp_path
        assert stored == {s.name: folder for s in sources.SOURCES
                          if s.part == part and s.package != sources.OWN}
    monkeypatch.setattr(sys, "argv", ["fetch.py", "--data", str(tmp_path)])
    fetch.main()
    assert stored == {s.name: tmp_path / "test" if s.part == "test" else tmp_path
                      for s in sources.SOURCES if s.package != sources.OWN}


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


def test_the_second_set_measures_what_it_says(recordings):
    clips = second_set.SecondSet(recordings, count=16, alone=8, minutes=0).clips
    nothing, figures = second_set.measure(clips, [clip["mixture"] for clip in clips])
    np.testing.assert_allclose(nothing[:, 0], 0, atol=1e-9)
    assert figures["noise alone"] == pytest.approx(0, abs=1e-6)
    # Half of the noise, and a voice 3 dB too soft after a knock.
    halved, figures = second_set.measure(
        clips, [clip["speech"] * np.float32(10 ** (-3 / 20) if clip["group"] == "knock" else 1)
                + clip["noise"] / 2 for clip in clips])
    np.testing.assert_allclose(halved[:, 0], 6.02, atol=0.1)
    assert np.nanmax(np.abs(halved[:, 2] - 6.02)) < 0.1
    assert figures["noise alone"] == pytest.approx(6.02, abs=0.1)
    assert figures["worst tenth after a knock"] == pytest.approx(3, abs=0.3)


def test_compiled_steps_are_pytorch_s():
    """Outputs, running values and gradients, where there is a compiler."""
    if not compiled.available():
        pytest.skip("no C compiler")
    torch.manual_seed(1)
    x, extra, toward = torch.randn(3, 2, 40, 6, 24).unbind()
    norm, plain = BatchNormLayer(24), BatchNormLayer(24)
    time = ConvLayer(24, 24, (3, 1), dilation_t=4, depthwise=True)
    results = []
    for fast in (True, False):
        x, extra = x.detach().requires_grad_(), extra.detach().requires_grad_()
        time.zero_grad()
        if fast:
            out = compiled.normalise(norm, time(x), 0.1, extra)
        else:
            padded = torch.nn.functional.pad(x, (0, 0, 0, 0, 8, 0))
            filtered = time._filter_time(padded, 40)
            out = extra + torch.nn.functional.leaky_relu(plain(filtered), 0.1)
        (out * toward).sum().backward()
        results.append([out, x.grad, extra.grad, time.weights.grad.clone()])
    for one, other in zip(*results):
        torch.testing.assert_close(one, other, atol=1e-4, rtol=1e-4)
    for one, other in zip(norm.buffers(), plain.buffers()):
        torch.testing.assert_close(one, other)


def test_a_training_goes_on_as_if_it_had_not_been_stopped(recordings, tracks, tmp_path, monkeypatch):
    monkeypatch.setattr(train, "Validation", lambda folder: validation.Validation(folder, count=4))

    def run(name):
        monkeypatch.setattr(sys, "argv", [
            "train.py", "--data", str(recordings), "--bank", str(tracks), "--run", str(tmp_path / name), "--size", "small",
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


def test_a_model_file_is_gone_on_with_from_where_it_was(tracks, tmp_path):
    """The network has the file's output, in training as well, by what a batch is like."""
    torch.manual_seed(3)
    net = network.make_network("small")
    voices, noises = map(torch.from_numpy, mixing.Bank(tracks, 1).batch(8))
    magnitudes = loss.spectra(voices + noises).abs().unsqueeze(3)
    with torch.no_grad():
        for _ in range(40):
            net(magnitudes)
        net.eval()
        path = tmp_path / "small.model"
        write_model(net, export.header(16000, (512, 512, 256), network.BINS, "s", "now")).write(path)
        begun = network.make_network(own.size_of(ModelFile.read(path)))
        own.begin_from(begun, path, mixing.Bank(tracks, 2))
        masks = net(magnitudes)
        torch.testing.assert_close(begun.eval()(magnitudes), masks, atol=2e-3, rtol=0)
        assert (begun.train()(magnitudes) - masks).abs().mean() < 0.05


def test_folders_of_one_s_own_become_tracks(tmp_path, monkeypatch):
    """Trained and held back have nothing in common; a short training on them leaves a report."""
    random = np.random.default_rng(4)
    for kind in ("voices", "noises"):
        (tmp_path / kind / "deep").mkdir(parents=True)
        for number in range(12):
            soundfile.write(tmp_path / kind / "deep" / f"{number}.flac",
                            random.standard_normal(24000) * 10 ** random.uniform(-3, -1), 8000)
    monkeypatch.setattr(train, "Validation", lambda folder: validation.Validation(folder, count=4))
    monkeypatch.setattr(bank, "TRACKS", 6)
    monkeypatch.setattr(bank.make_part, "__defaults__", (6,))
    monkeypatch.setattr(sys, "argv", [
        "train.py", "--voices", str(tmp_path / "voices"), "--noises", str(tmp_path / "noises"), "--run",
        str(tmp_path / "run"), "--size", "small", "--steps", "2", "--batch", "2", "--parts", "1"])
    train.main()
    assert "after" in (tmp_path / "run/report.md").read_text()
    for kind in ("voice", "noise"):
        lengths = [len(mixing.Recordings(tmp_path / "run/data", source)) for part in ("train", "valid")
                   for source in sources.of(part, kind) if source.package == sources.OWN]
        assert lengths == [11, 1]


def test_two_trainings_share_no_folder(tmp_path):
    with train.lock(tmp_path):
        with pytest.raises(SystemExit, match="another training"):
            train.lock(tmp_path)
    train.lock(tmp_path).close()
