#!/usr/bin/env python3
"""Runs the built examples and compares what they give with the host program and with plain
computations.

usage: examples_test.py PREFIX FOLDER_OF_BUILT_EXAMPLES
"""

import array
import importlib.util
import math
import pathlib
import random
import struct
import subprocess
import sys
import tempfile
import unittest

prefix, built = map(pathlib.Path, sys.argv[1:3])
examples = prefix / "share/sorvane/examples"
gate_file = prefix / "share/sorvane/models/noise-gate-48k.model"
description = importlib.util.spec_from_file_location("noise_gate", examples / "noise_gate.py")
noise_gate = importlib.util.module_from_spec(description)
description.loader.exec_module(noise_gate)

RATE = 48000
LATENCY = 1536


def write_wav(path, rows, kind):
    """`rows` holds a list of samples for each channel; `kind` is pcm16, pcm24 or float32."""
    samples = [row[i] for i in range(len(rows[0])) for row in rows]
    if kind == "float32":
        data = struct.pack(f"<{len(samples)}f", *samples)
    else:
        size = int(kind[3:]) // 8
        scale = 1 << (8 * size - 1)
        data = b"".join(round(x * scale).to_bytes(size, "little", signed=True) for x in samples)
    size = len(data) // len(samples)
    frame = size * len(rows)
    tag = 3 if kind == "float32" else 1
    form = struct.pack("<HHIIHH", tag, len(rows), RATE, RATE * frame, frame, 8 * size)
    if kind == "pcm24":  # the extensible form
        more = struct.pack("<HHIH", 22, 24, 0, tag) + bytes.fromhex("000000001000800000aa00389b71")
        form = struct.pack("<H", 0xFFFE) + form[2:] + more
    odd = b"LIST" + struct.pack("<I", 3) + b"abc\0"  # an unknown chunk of odd length
    chunks = b"fmt " + struct.pack("<I", len(form)) + form + odd
    chunks += b"data" + struct.pack("<I", len(data)) + data
    path.write_bytes(b"RIFF" + struct.pack("<I", 4 + len(chunks)) + b"WAVE" + chunks)


def read_floats(path):
    """The interleaved samples of a WAV file of floats."""
    data = path.read_bytes()
    start = data.index(b"data") + 8
    size = struct.unpack_from("<I", data, start - 4)[0]
    assert struct.unpack_from("<H", data, 20)[0] in (3, 0xFFFE) and len(data) >= start + size
    floats = array.array("f", data[start : start + size])
    if sys.byteorder == "big":
        floats.byteswap()
    return floats


def difference(a, b):
    return max(abs(x - y) for x, y in zip(a, b, strict=True))


def noise(length, channels):
    """Noise whose level rises and falls, so that the gate opens and closes."""
    generator = random.Random(1)
    return [[0.4 * math.sin(i / 3000) ** 2 * generator.uniform(-1, 1) for i in range(length)]
            for _ in range(channels)]


class Examples(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.input = self.folder / "in.wav"
        self.output = self.folder / "out.wav"

    def run_example(self, name, *arguments, code=0, **options):
        result = subprocess.run([built / name, *arguments], capture_output=True, **options)
        self.assertEqual(result.returncode, code, result.stderr)
        return result

    def expected(self):
        """What the program makes of the input without the bus Noise."""
        path = self.folder / "expected.wav"
        subprocess.run([prefix / "bin/sorvane", "process", gate_file, self.input, path, "--gain",
                        "Noise=0", "--sample-type", "float32", "--force"], check=True)
        return read_floats(path)

    def test_stream_wav(self):
        for kind, channels, length in [("pcm16", 1, 20000), ("pcm24", 3, 9601), ("float32", 2, 479),
                                       ("float32", 1, 0)]:
            with self.subTest(kind=kind, channels=channels, length=length):
                write_wav(self.input, noise(max(length, 1), channels), kind)
                if length == 0:  # the head alone
                    data = self.input.read_bytes()
                    self.input.write_bytes(data[:-8] + bytes(4))
                self.run_example("stream_wav", gate_file, self.input, self.output)
                result = read_floats(self.output)
                self.assertEqual(len(result), length * channels)
                if length > 0:
                    self.assertLess(difference(result, self.expected()), 1e-6)

    def test_bad_files_are_refused(self):
        write_wav(self.input, noise(10, 1), "pcm24")
        data = self.input.read_bytes()
        cut = self.folder / "cut.wav"
        for length in range(data.index(b"data") + 8):
            cut.write_bytes(data[:length])
            self.run_example("stream_wav", gate_file, cut, self.output, code=1)
        for model in [self.input, self.folder / "missing.model"]:
            for name, *bus in [("stream_wav",), ("isolate_stem", "Speech")]:
                self.run_example(name, model, *bus, self.input, self.output, code=1)

    def test_isolate_stem(self):
        rows = noise(int(2.5 * RATE), 1)
        write_wav(self.input, rows, "float32")
        self.run_example("isolate_stem", gate_file, "Speech", self.input, self.output)
        late = read_floats(self.output)
        self.assertEqual(len(late), len(rows[0]))
        self.assertEqual(max(map(abs, late[:LATENCY])), 0)
        result = late[LATENCY:]
        some = RATE // 10
        self.assertLess(difference(result[:some], rows[0][:some]), 1e-5)
        isolated = self.expected()[: len(result)]
        self.assertLess(difference(result[-some:], isolated[-some:]), 1e-6)
        end = rows[0][len(result) - some : len(result)]
        self.assertGreater(difference(result[-some:], end), 0.01)

    def test_a_model_that_raises_is_survived(self):
        gate = noise_gate
        broken = self.folder / "broken.model"  # its layer expects two channels
        mean = gate.tensor([3, 3, 2, 1], [0.1] * 18)
        layer = gate.convolution("mean", "input", mean, gate.NOTHING)
        broken.write_bytes(gate.model([layer], "mean"))
        write_wav(self.input, noise(8192, 2), "float32")
        for name, *bus in [("stream_wav",), ("isolate_stem", "Speech")]:
            result = self.run_example(name, broken, *bus, self.input, self.output, code=1)
            self.assertIn(b"IPP exception", result.stderr)

    def test_run_network(self):
        generator = random.Random(2)
        bins, count = noise_gate.BINS, 6
        frames = [[generator.uniform(0, 4) for _ in range(bins)] for _ in range(count)]
        stream = struct.pack(f"<{bins * count}f", *(x for frame in frames for x in frame))
        result = self.run_example("run_network", gate_file, input=stream + b"abc")
        masks = array.array("f", result.stdout)
        self.assertEqual(len(masks), (count - 1) * bins)  # it looks one frame ahead

        for t, f in ((0, 0), (1, 100), (2, 511), (4, 512)):
            mean = sum(frames[i][j] for i in range(max(t - 1, 0), min(t + 2, count))
                       for j in range(max(f - 1, 0), min(f + 2, bins))) / 9
            mask = 1 / (1 + math.exp(8 - 6 * mean))
            self.assertAlmostEqual(masks[t * bins + f], mask, delta=1e-4)
        self.run_example("run_network", gate_file, "513", code=2)
        self.run_example("run_network", self.folder / "missing.model", code=1)

    def test_noise_gate_is_the_shipped_model(self):
        self.assertEqual(noise_gate.noise_gate(), gate_file.read_bytes())


unittest.main(argv=sys.argv[:1])
