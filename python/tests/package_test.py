import importlib.util
import os
import pathlib
import pickle
import re
import runpy
import struct
import subprocess
import sys
import tempfile
import threading
import unittest
import unittest.mock

import numpy as np

import noise_gate  # examples/noise_gate.py, which writes models
import sorvane

GATE = ""  # path of noise-gate-48k.model, set by run.py
RATE = 48000
ALL_BINS = struct.pack("<bh", 1, noise_gate.BINS)  # the packing in the header of a model


def noise(channels, samples):
    """Noise whose level rises and falls, so that the gate opens and closes."""
    level = 0.3 * np.sin(np.arange(samples) / 3000) ** 2
    return level * np.random.default_rng(1).uniform(-1, 1, (channels, samples))


def gate(channels=2, rate=RATE):
    processor = sorvane.Processor(GATE, channels, rate)
    processor.busses["Noise"].gain = 0.0
    return processor


def processed(processor, audio, sizes):
    """`audio` through `processor` in blocks of `sizes`, again and again, with its end."""
    results = []
    start = 0
    while start < audio.shape[1]:
        for size in sizes:
            results.append(processor.process(audio[:, start : start + size]))
            start += size
    results.append(processor.finish())
    return np.concatenate(results, axis=1)


class Folder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, data):
        path = self.folder / "a.model"
        path.write_bytes(data)
        return path

    def misfit(self):
        """A model that loads, and whose layer expects more channels than it gets."""
        weights = noise_gate.tensor([1, 1, 2, 1], [1.0, 1.0])
        layer = noise_gate.convolution("a", "input", weights, noise_gate.NOTHING)
        return self.write(noise_gate.model([layer], "a"))


class ProcessorTest(Folder):
    def test_any_blocks_give_the_same_as_long_as_the_input(self):
        audio = noise(2, 40000)
        for rate in (RATE, 44100, 96000):
            with gate(rate=rate) as processor:
                whole = processed(processor, audio, [audio.shape[1]])
                self.assertEqual(whole.shape, audio.shape)
                self.assertEqual(whole.dtype, np.float32)
                # On one object: each end begins a new stream.
                for sizes in ([480], [1, 0, 7, 5000]):
                    with self.subTest(rate=rate, sizes=sizes):
                        np.testing.assert_array_equal(processed(processor, audio, sizes), whole)
                        processor.process(audio[:, ::-1])
                        processor.reset()

    def test_layouts_of_arrays(self):
        audio = noise(2, 4000).astype(np.float32)
        with gate() as processor:
            expected = processed(processor, audio, [4000])
            for name, same in {"double": audio.astype(float),
                               "columns first": np.asfortranarray(audio),
                               "backwards": audio[:, ::-1].copy()[:, ::-1]}.items():
                with self.subTest(name):
                    np.testing.assert_array_equal(processed(processor, same, [4000]), expected)
        with gate(1) as mono:
            expected = processed(mono, audio[:1], [4000])
            first = mono.process(audio[0])
            np.testing.assert_array_equal(np.hstack([first, mono.finish()]), expected)

    def test_bad_arguments(self):
        processor = gate()
        self.addCleanup(processor.close)
        bus = processor.busses[0]
        cases = [
            (FileNotFoundError, lambda: sorvane.Processor(self.folder / "missing", 1, RATE)),
            (IsADirectoryError, lambda: sorvane.Processor(self.folder, 1, RATE)),
            (ValueError, lambda: sorvane.Processor(GATE + "\0", 1, RATE)),
            (ValueError, lambda: sorvane.Processor(self.write(b"sorvane"), 1, RATE)),
            (ValueError, lambda: sorvane.Processor(GATE, 0, RATE)),
            (TypeError, lambda: sorvane.Processor(GATE, 1.5, RATE)),
            (TypeError, lambda: sorvane.Processor(GATE, 2**40, RATE)),
            (ValueError, lambda: sorvane.Processor(GATE, 1, float("nan"))),
            (ValueError, lambda: processor.process(np.zeros((3, 10)))),
            (TypeError, lambda: processor.process(np.zeros((2, 10), int))),
            (TypeError, lambda: processor.process(None)),
            (TypeError, lambda: pickle.dumps(processor)),
            (AttributeError, lambda: setattr(bus, "gian", 0.5)),
            (KeyError, lambda: processor.busses["Music"]),
            (IndexError, lambda: processor.busses[2]),
            (ValueError, lambda: setattr(bus, "gain", -1)),
            (ValueError, lambda: setattr(bus, "sensitivity", 101)),
        ]
        for number, (error, call) in enumerate(cases):
            with self.subTest(number=number), self.assertRaises(error):
                call()
        self.assertEqual((bus.gain, bus.sensitivity), (1, 0))

    @unittest.skipUnless(hasattr(os, "mkfifo"), "there are no named pipes")
    def test_a_pipe_is_no_model(self):
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        for path, reason in [(pipe, "Not a regular file"), (self.folder, "Is a directory"),
                             ("missing.model", "No such file")]:
            with self.subTest(path=path):
                code = f"import sorvane; sorvane.Model({str(path)!r})"
                tried = subprocess.run([sys.executable, "-c", code], timeout=60,
                                       capture_output=True, text=True)
                self.assertRegex(tried.stderr, f"Error: .*{reason}.*: '{path}'")

    def test_what_the_engine_throws(self):
        with sorvane.Processor(self.misfit(), 1, RATE) as processor:
            for _ in range(2):
                with self.assertRaisesRegex(RuntimeError, "^IPP exception: ippStsSizeErr"):
                    processor.process(noise(1, 4096))
                processor.reset()
                self.assertEqual(processor.finish().shape, (1, 0))

    def test_closed(self):
        with gate() as processor:
            self.assertFalse(processor.closed)
        processor.close()
        self.assertTrue(processor.closed)
        self.assertEqual(repr(processor.busses[1]), "Bus('Noise', closed)")
        for use in (lambda p: p.process(np.zeros((2, 1))), lambda p: p.finish(),
                    lambda p: p.reset(), lambda p: p.latency, lambda p: p.busses[0].gain,
                    lambda p: p.__enter__()):
            with self.assertRaisesRegex(ValueError, "closed"):
                use(processor)

    def test_threads(self):
        """Calls overlap with each other and with a close: none is lost, and nothing breaks."""
        processor = gate()
        audio = noise(2, 48000)
        received, ended = [], []

        def run():
            try:
                for _ in range(1000):
                    received.append(processor.process(audio).shape[1])
            except ValueError as error:
                ended.append(str(error))

        threads = [threading.Thread(target=run) for _ in range(3)]
        for thread in threads:
            thread.start()
        while len(received) < 6:
            processor.busses[1].gain = len(received) / 10
            processor.busses[0].sensitivity = len(received)
        processor.close()
        for thread in threads:
            thread.join()
        self.assertEqual(len(ended), 3)
        self.assertTrue(all("closed" in text for text in ended))
        self.assertLess(abs(sum(received) - len(received) * 48000), 3 * 1536)

    def test_the_import_leaves_small_numbers_alone(self):
        for first in ("import sorvane", "import sorvane._engine",
                      "from sorvane._engine import version"):
            with self.subTest(first):
                code = (f"import numpy; {first}\n"
                        "assert (numpy.full(9, 1e-38, numpy.float32) * 0.01).view('i4').all()\n"
                        "assert 1e-310 / 2 > 0")
                subprocess.run([sys.executable, "-c", code], check=True, timeout=60)

    def test_the_readme(self):
        text = (pathlib.Path(__file__).parents[1] / "README.md").read_text(encoding="utf-8")
        code = re.search("```python[^\n]*package_test[^\n]*\n(.*?)```", text, re.DOTALL)[1]
        played = []
        names = {"blocks": np.split(noise(2, 9600), 10, axis=1), "play": played.append,
                 "magnitudes": np.ones((4, 513, 1))}
        exec(code.replace("speech-48k.model", GATE), names)
        self.assertEqual(np.concatenate(played, axis=1).shape, (2, 9600))
        self.assertEqual(names["mask"].shape, (3, 513, 1))


class ModelTest(Folder):
    def test_the_mask_of_the_gate(self):
        magnitudes = np.random.default_rng(2).uniform(0, 4, (20, 513, 1))
        padded = np.pad(magnitudes[:, :, 0], 1)
        means = sum(padded[i : i + 20, j : j + 513] for i in range(3) for j in range(3)) / 9
        expected = 1 / (1 + np.exp(8 - 6 * means[:-1]))
        with sorvane.Model(GATE) as model:
            self.assertEqual(
                (model.rate, model.channels, model.fft_length, model.frame_length, model.hop,
                 model.latency_frames), (48000, 1, 1024, 1024, 512, 1))
            whole = model.run(magnitudes)
            self.assertEqual((whole.dtype, whole.shape), (np.float32, (19, 513, 1)))
            np.testing.assert_allclose(whole[:, :, 0], expected, atol=1e-4)
            model.reset()
            single = [model.run(frame[np.newaxis]) for frame in magnitudes]
            self.assertIsNone(single[0])
            np.testing.assert_allclose(np.concatenate(single[1:]), whole, atol=1e-6)

    def test_failures(self):
        model = sorvane.Model(self.misfit())
        frame = np.zeros((1, 513, 1))
        cases = [
            (FileNotFoundError, lambda: sorvane.Model(self.folder / "missing")),
            (ValueError, lambda: sorvane.Model(__file__)),
            (RuntimeError, lambda: model.run(frame)),
            (ValueError, lambda: model.run(frame[0])),
            (ValueError, lambda: model.run(np.zeros((0, 2**31, 1)))),
            (TypeError, lambda: model.run(frame.astype(int))),
        ]
        for number, (error, call) in enumerate(cases):
            with self.subTest(number=number), self.assertRaises(error):
                call()
        model.close()
        for use in (model.run, lambda _: model.reset()):
            with self.assertRaisesRegex(ValueError, "closed"):
                use(frame)


@unittest.skipUnless(importlib.util.find_spec("matplotlib"), "matplotlib is missing")
class DrawingTest(Folder):
    SCRIPT = str(pathlib.Path(__file__).parents[1] / "examples/draw_mask.py")

    def draw(self, *arguments):
        """The names of the example after it ran."""
        with unittest.mock.patch("sys.argv", [self.SCRIPT, *map(str, arguments)]):
            return runpy.run_path(self.SCRIPT)

    def test_the_example_draws(self):
        """The mask lies at its frequencies, for networks that see fewer bins too."""
        few = noise_gate.noise_gate().replace(ALL_BINS, struct.pack("<bh", 1, 100))
        for model, bins in [(GATE, 513), (self.write(few), 100)]:
            with self.subTest(bins=bins):
                picture = self.folder / f"{bins}.png"
                lower = self.draw(model, picture)["lower"]
                self.assertEqual(picture.read_bytes()[:8], b"\x89PNG\r\n\x1a\n")
                for image, rows in zip(lower.get_images(), (513, bins)):
                    self.assertEqual(len(image.get_array()), rows)
                    np.testing.assert_allclose(
                        image.get_extent()[2:], np.array([-0.5, rows - 0.5]) * 48 / 1024)
                self.assertEqual(lower.get_ylim(), (0, 24))

    def test_what_the_example_refuses(self):
        complex_bins = self.write(noise_gate.noise_gate().replace(ALL_BINS, b"\4" + ALL_BINS[1:]))
        sound = self.folder / "a.wav"
        sound.write_bytes(struct.pack("<4sI8sIHHIIHH4sIQ", b"RIFF", 48, b"WAVEfmt ", 16, 1, 1, RATE,
                                      2 * RATE, 2, 16, b"data", 8, 0))
        for text, model in [("shorter than a frame", GATE),
                            ("magnitudes of one channel", complex_bins)]:
            with self.subTest(text), self.assertRaisesRegex(SystemExit, text):
                self.draw(model, self.folder / "a.png", sound)
