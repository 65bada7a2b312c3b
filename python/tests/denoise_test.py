"""Arrays and files through the speech models, by the package's plain functions."""

import os
import pathlib
import re
import runpy
import subprocess
import sys
import tempfile
import threading
import unittest
import unittest.mock
import wave

import numpy as np

import sorvane

PYTHON = pathlib.Path(__file__).parents[1]
KINDS = {np.float64: 1, np.float32: 1, np.int16: 2**15, np.int32: 2**31, np.int8: 2**7,
         np.uint8: 2**7}


def noisy(samples=32000, channels=2):
    """Something like speech in noise, (channels, samples)."""
    random = np.random.default_rng(3)
    time = np.arange(samples) / 16000
    voice = sum(np.sin(2 * np.pi * 130 * k * time) / k for k in range(1, 20))
    voice *= np.clip(np.sin(2 * np.pi * 2 * time), 0, 1)
    return 0.1 * voice + 0.02 * random.normal(size=(channels, samples))


def streamed(audio, rate, model):
    """The same by the stream."""
    with sorvane.Processor(model, len(audio), rate) as processor:
        processor.silence_noise()
        return np.hstack([processor.process(audio), processor.finish()])


def write_wave(path, integers, rate):
    """Integers (samples, channels) of 2 bytes."""
    with wave.open(str(path), "wb") as file:
        file.setparams((integers.shape[1], 2, rate, 0, "NONE", ""))
        file.writeframes(integers.astype("<i2").tobytes())


class DenoiseTest(unittest.TestCase):
    def test_arrays_come_back_as_they_were(self):
        audio = noisy()
        expected = streamed(audio, 16000, "speech-16k")
        self.assertLess(np.std(expected[:, 20000:24000]), np.std(audio[:, 20000:24000]))
        for kind, full in KINDS.items():
            middle = full if kind is np.uint8 else 0
            whole = (np.rint(audio * full) if full > 1 else audio) + middle
            given = whole.astype(kind)
            tolerance = max(2 / full if full > 1 else 0, 1e-6)
            reference = streamed((given.astype(float) - middle) / full, 16000, "speech-16k")
            for layout in ("channels first", "channels last", "one"):
                with self.subTest(kind=kind.__name__, layout=layout):
                    array = {"channels first": given, "channels last": given.T,
                             "one": np.ascontiguousarray(given[0])}[layout]
                    before = array.copy()
                    clean = sorvane.denoise(array, 16000)
                    self.assertEqual((clean.dtype, clean.shape), (array.dtype, array.shape))
                    np.testing.assert_array_equal(array, before)
                    if layout == "one":
                        continue  # the mask is that of one channel
                    clean = clean if layout == "channels first" else clean.T
                    got = (clean.astype(float) - middle) / full
                    np.testing.assert_allclose(got, reference, atol=tolerance)
        # Loud integers stay within their range.
        loud = np.where(np.arange(16000) % 100 < 50, 32767, -32768).astype(np.int16)
        self.assertEqual(np.sign(sorvane.denoise(loud, 16000, keep=1)[5000:9000]).tolist(),
                         np.sign(loud[5000:9000]).tolist())

    def test_models_and_options(self):
        audio = noisy(16000, 1)[0]
        self.assertLessEqual({"speech-16k", "speech-48k", "speech-small-16k", "noise-gate-48k"},
                             set(sorvane.models()))
        for rate, model in ((16000, "speech-16k"), (48000, "speech-48k"), (44100, "speech-48k")):
            clean = sorvane.denoise(audio, rate)
            for same in (model, sorvane.models()[model]):
                np.testing.assert_array_equal(sorvane.denoise(audio, rate, model=same), clean)
        rest = sorvane.denoise(audio, rate, rest=True)
        np.testing.assert_allclose(clean + rest, audio, atol=1e-5)
        kept = sorvane.denoise(audio, rate, keep=0.25)
        np.testing.assert_allclose(kept, clean + 0.25 * rest, atol=1e-5)
        cases = [(ValueError, dict(keep=2)), (FileNotFoundError, dict(model="no-such")),
                 (FileNotFoundError, dict(model="no/such.model")), (TypeError, dict(gain=1)),
                 (ValueError, dict(rate=0))]
        for error, options in cases:
            with self.subTest(options), self.assertRaises(error):
                sorvane.denoise(audio, **{"rate": 16000, **options})
        for array in (np.zeros(9, complex), np.zeros(9, bool), np.zeros(9, np.int64)):
            with self.subTest(array.dtype), self.assertRaises(TypeError):
                sorvane.denoise(array, 16000)
        self.assertEqual(sorvane.denoise(np.zeros((0, 2)), 16000).shape, (0, 2))

    def test_controls(self):
        audio = noisy(16000, 2)
        with sorvane.Processor("speech-16k", 2, 16000) as processor:
            for name in ("remaindr", "gain", "model"):
                with self.assertRaises(AttributeError):
                    setattr(processor, name, -20)
            processor.remainder = -20
            self.assertAlmostEqual(processor.busses["Noise"].gain, 0.1, places=6)
            self.assertAlmostEqual(processor.remainder, -20, places=4)
            processor.isolate("Noise")
            self.assertEqual([bus.gain for bus in processor.busses], [0, 1])
            processor.amount = 0
            out = np.vstack([processor.process(audio.T, axis=0), processor.finish(axis=0)])
            np.testing.assert_allclose(out, audio.T, atol=1e-6)
            processor.inverted = True
            self.assertTrue(processor.inverted)
            for bad in (dict(remainder=1), dict(amount=2), dict(amount=float("nan"))):
                (name, value), = bad.items()
                with self.subTest(bad), self.assertRaises(ValueError):
                    setattr(processor, name, value)
            self.assertEqual(repr(processor), "Processor('speech-16k', channels=2, rate=16000, "
                                              "busses=['Speech', 'Noise'])")
        with sorvane.Model("speech-48k") as model:
            self.assertEqual((model.num_bins, model.busses, model.latency),
                             (342, ("Speech", "Noise"), 1536))
        self.assertEqual(repr(model), "Model('speech-48k', closed)")

    def test_threads(self):
        audio = noisy(16000)
        expected = sorvane.denoise(audio, 16000)
        results = []
        threads = [threading.Thread(target=lambda: results.append(sorvane.denoise(audio, 16000)))
                   for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(len(results), 4)
        for result in results:
            np.testing.assert_array_equal(result, expected)


class FileTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.talk = self.folder / "talk.wav"
        self.integers = np.rint(noisy(100000, 2).T * 32768)
        write_wave(self.talk, self.integers, 48000)

    def read(self, path):
        with wave.open(str(path)) as file:
            self.assertEqual(file.getframerate(), 48000)
            return np.frombuffer(file.readframes(file.getnframes()), "<i2").reshape(-1, 2)

    def test_files(self):
        expected = sorvane.denoise(self.integers.astype(np.int16), 48000)
        for missing in ({}, {"soundfile": None, "tqdm": None}):
            with self.subTest(missing=list(missing)), unittest.mock.patch.dict(sys.modules, missing):
                clean = self.folder / "clean.wav"
                sorvane.denoise_file(self.talk, clean, progress=bool(missing))
                self.assertLessEqual(np.abs(self.read(clean) - expected.astype(int)).max(), 1)
        with unittest.mock.patch.dict(sys.modules, {"soundfile": None}):
            with self.assertRaisesRegex(ImportError, "'soundfile' is missing"):
                sorvane.denoise_file(self.talk, self.folder / "clean.flac")
        with self.assertRaises(FileNotFoundError):
            sorvane.denoise_file(self.folder / "none.wav", clean)
        self.assertEqual({p.name for p in self.folder.iterdir()}, {"talk.wav", "clean.wav"})

    def test_the_readme(self):
        text = (PYTHON / "README.md").read_text(encoding="utf-8")
        first, second = re.findall("```python[^\n]*denoise_test[^\n]*\n(.*?)```", text, re.DOTALL)
        package = pathlib.Path(sorvane.__file__).parents[1]
        subprocess.run([sys.executable, "-c", first], cwd=self.folder, check=True,
                       env={**os.environ, "PYTHONPATH": str(package)})
        names = {"sorvane": sorvane, "audio": noisy(8000).T, "rate": 16000}
        exec(second, names)
        self.assertEqual(names["noise"].shape, (8000, 2))
        self.assertEqual(len(self.read(self.folder / "clean.wav")), 100000)

    def test_the_example_draws(self):
        try:
            import matplotlib  # noqa: F401
        except ImportError:
            self.skipTest("matplotlib is missing")
        picture = self.folder / "a.png"
        with unittest.mock.patch("sys.argv", ["clean_speech.py", str(picture)]):
            names = runpy.run_path(str(PYTHON / "examples/clean_speech.py"))
        self.assertEqual(picture.read_bytes()[:8], b"\x89PNG\r\n\x1a\n")
        self.assertGreater(names["quiet"], 3)
