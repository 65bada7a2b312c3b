"""Files and frames against the built engine, which SORVANE_LIBRARY names."""

import ctypes
import os
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import numpy as np

from sorvane_training import engine
from sorvane_training.engine import Engine, EngineModel
from sorvane_training.model_file import LayerRecord
from sorvane_training.outline import outline
from sorvane_training.packing import Packing, hann, spectra

from sample_models import BINS, every_kind, header


class FindLibrary(unittest.TestCase):
    def test_release_goes_before_newer_builds(self):
        with tempfile.TemporaryDirectory() as folder, mock.patch.dict(os.environ):
            os.environ.pop("SORVANE_LIBRARY", None)
            with mock.patch.object(engine, "__file__", f"{folder}/training/package/engine.py"):
                for build in ("debug", "release", "coverage"):
                    path = Path(folder).resolve() / "build" / build / engine.BUILT[0]
                    path.parent.mkdir(parents=True)
                    path.touch()
                    self.assertEqual(engine.find_library().parts[-3],
                                     "debug" if build == "debug" else "release")


@unittest.skipUnless("SORVANE_LIBRARY" in os.environ, "needs the built engine")
class BuiltEngine(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "network.model")

    def test_every_kind_runs(self):
        """Shapes are the outline's, and the first frame comes when its latency says."""
        for half in (False, True):
            model = every_kind(half)
            frames = np.random.default_rng(2).uniform(0, 1, (20, BINS, 1)).astype(np.float32)
            for layer in outline(model).layers:
                model.output_source = layer.name
                model.write(self.path)
                with EngineModel(self.path) as engine:
                    result = engine.run(frames)
                    engine.run(frames[:1])
                    np.testing.assert_array_equal(engine.run(frames), result)
                stream = layer.stream
                self.assertEqual(result.shape[1:], (stream.positions, stream.channels), layer.name)
                expected = (len(frames) - stream.newest) * stream.rate
                self.assertLessEqual(abs(len(result) - expected), 1, layer.name)
                self.assertTrue(np.isfinite(result).all(), layer.name)

    def test_spectra_are_the_engines(self):
        """A network of a sigmoid alone, heard through the whole chain, shows the frames' scale."""
        samples = np.random.default_rng(3).standard_normal(16 * 256).astype(np.float32) * 0.03
        for fft, frame, hop in ((512, 512, 256), (1024, 768, 384), (1024, 1024, 256)):
            bins = fft // 2 + 1
            model = header(Packing.magnitudes(bins), fft_length=fft, frame_length=frame, hop=hop,
                           layers=[LayerRecord("mask", 6, ["input"])], output_source="mask")
            model.write(self.path)
            heard = through_processor(self.path, samples)
            x = spectra(samples, fft, frame, hop)
            magnitudes = model.input_packing.pack(x)[:, :, 0]
            masks = 1 / (1 + np.exp(-np.minimum(magnitudes, 10)))
            expected = overlap_add(x[:, 0] * masks, frame, hop)[:len(heard)]
            self.assertGreater(len(heard), len(samples) // 2)
            np.testing.assert_allclose(heard, expected, atol=2e-6)


def through_processor(path, samples):
    """What a processor makes of samples with only the first bus."""
    library = Engine().library
    create = library.sorvaneCreateProcessor
    create.restype = ctypes.c_void_p
    create.argtypes = [ctypes.c_char_p, ctypes.c_int, ctypes.c_double]
    handle = ctypes.c_void_p(create(os.fsencode(path), 1, 16000.0))
    library.sorvaneSetParameterValue(handle, 257, ctypes.c_float(0))  # gain of the remainder
    row = ctypes.POINTER(ctypes.c_float) * 1

    def channels(block):
        return row(block.ctypes.data_as(ctypes.POINTER(ctypes.c_float)))

    library.sorvaneAddAudio(handle, channels(samples), len(samples))
    result = np.zeros(library.sorvaneGetNumOfPendingSamples(handle), np.float32)
    library.sorvaneGetAudio(handle, channels(result), len(result))
    library.sorvaneDeleteProcessor(handle)
    return result


def overlap_add(x, frame, hop):
    """Audio of spectra, by the definition of the two kinds of windows."""
    short = frame < 3 * hop
    frames = np.fft.irfft(x)[:, -frame:]
    if short:
        frames = frames * np.sqrt(hann(frame))
    else:
        window = np.zeros(frame)
        start = (frame - 2 * hop) // 2
        window[start:start + 2 * hop] = hann(2 * hop)
        frames = frames * (window / hann(frame))
    result = np.zeros(hop * (len(frames) - 1) + frame)
    for t, samples in enumerate(frames):
        result[t * hop:t * hop + frame] += samples
    return result[frame - (1 if short else 2) * hop:]


if __name__ == "__main__":
    unittest.main()
