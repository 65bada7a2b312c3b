"""The writer and the reader of files."""

import copy
import unittest
from pathlib import Path

import numpy as np

from sorvane_training import half_floats
from sorvane_training.model_file import KINDS, LayerRecord, ModelError, ModelFile, Tensor
from sorvane_training.packing import Packing

from sample_models import every_kind, header

ROOT = Path(__file__).resolve().parents[3]


class HalfFloats(unittest.TestCase):
    def test_every_word(self):
        words = np.arange(65536, dtype=np.uint16)
        values = half_floats.values_of(words)
        self.assertTrue(np.isfinite(values).all())
        self.assertTrue((half_floats.words_from(values) == words).all())
        ordinary = (words >> 10 & 31) < 31
        self.assertTrue((values[ordinary] == words.view(np.float16)[ordinary]).all())
        for word, value in ((0x7C00, 65536), (0xFC00, -65536), (0x7FFF, 131008), (1, 2.0 ** -24)):
            self.assertEqual(values[word], value)

    def test_rounding(self):
        for value, rounded in ((1 + 2.0 ** -11, 1), (1 + 3 * 2.0 ** -11, 1 + 2.0 ** -9),
                               (2.0 ** -25, 0), (65535, 65536), (65568, 65536), (65632, 65664),
                               (1e9, 131008), (-1e9, -131008)):
            self.assertEqual(half_floats.rounded(value), rounded, value)


class Files(unittest.TestCase):
    def test_shipped_file_is_written_again(self):
        data = (ROOT / "models" / "noise-gate-48k.model").read_bytes()
        model = ModelFile.from_bytes(data)
        self.assertEqual(model.to_bytes(), data)
        self.assertEqual([layer.class_name for layer in model.layers],
                         ["ConvLayer", "ConvLayer", "SigmoidLayer"])
        self.assertEqual(model.layers[0].fields["weights"].values.shape, (3, 3, 1, 1))

    def test_every_kind_comes_back(self):
        self.assertEqual({layer.kind for layer in every_kind().layers}, set(KINDS))
        for half in (False, True):
            model = every_kind(half)
            back = ModelFile.from_bytes(model.to_bytes())
            self.assertEqual(back.to_bytes(), model.to_bytes())
            for wrote, read in zip(model.layers, back.layers, strict=True):
                self.assertEqual((wrote.name, wrote.kind, wrote.inputs),
                                 (read.name, read.kind, read.inputs))
                self.assertEqual(repr(wrote.arrays()), repr(read.arrays()), wrote.name)
                self.assertTrue(all(tensor.half == half for tensor in read.tensors()))

    def test_header_comes_back(self):
        for packing in (Packing.magnitudes(257), Packing.rectified(3, 100), Packing.complex(12),
                        Packing.grouped(4, 16, 3)):
            model = header(packing, num_input_channels=2, num_output_channels=3, model_id=-5,
                           gives_spectra=True, tag="t", note="ü\n", bus_names=["a", "b", ""])
            self.assertEqual(ModelFile.from_bytes(model.to_bytes()), model)

    def test_broken_files(self):
        data = every_kind(half=True).to_bytes()
        for length in range(len(data)):
            with self.assertRaises(ModelError, msg=length):
                ModelFile.from_bytes(data[:length])
        for at in range(len(data)):
            broken = bytearray(data)
            broken[at] ^= (0x01, 0x80, 0xFF)[at % 3]
            try:
                ModelFile.from_bytes(broken).to_bytes()
            except ModelError:
                pass

    def test_refused(self):
        def layer(number, **fields):
            def change(model):
                model.layers[number].fields.update(fields)
            return change

        def change(number, **values):
            return lambda model: [setattr(model.layers[number], *pair) for pair in values.items()]

        for reason, breaks in {
                "layer half: delay is 128": layer(2, delay=128),
                "layer bands: bands start is 40000": layer(
                    0, bands=[(40000, Tensor(np.ones(1, np.float32)))]),
                "layer norm: scale: half floats end": layer(
                    5, scale=Tensor(np.array([-2e5], np.float32), half=True)),
                "layer elu: the name is taken": change(2, name="elu"),
                "layer output: the name is taken": change(0, name="output"),
                "layer ratio: a join needs different": change(12, inputs=["soft", "soft"]),
                "layer half: ConvLayer has one input": change(2, inputs=["level", "bands"]),
                "layer mask: no kind": change(17, kind=8),
                "the output's source x": lambda model: setattr(model, "output_source", "x"),
                "a model needs at least": lambda model: model.bus_names.clear(),
                "packing 5 can't run": lambda model: setattr(
                    model, "input_packing", Packing(5, 12)),
        }.items():
            model = copy.deepcopy(every_kind())
            breaks(model)
            with self.assertRaises(ModelError) as raised:
                model.to_bytes()
            text = str(raised.exception)
            self.assertTrue(text.startswith(reason), f"{text!r} is not {reason!r}")

    def test_foreign_files(self):
        data = bytearray(header().to_bytes())
        for reason, at, value in (("no model file", 4, b"K"), ("version", 17, b"\x09"),
                                  ("packing 5 can't run", 42, b"\x05")):
            broken = bytes(data[:at]) + value + bytes(data[at + 1:])
            with self.assertRaisesRegex(ModelError, reason):
                ModelFile.from_bytes(broken)


if __name__ == "__main__":
    unittest.main()
