#!/usr/bin/env python3
"""Fetches the recordings and stores them as 16 kHz arrays.

    fetch.py --data FOLDER [--pack PACK] [--part train|valid|test]...

Downloads Debian's packages (`apt-get download`), unpacks them under FOLDER/packages, and writes one
FOLDER/NAME.npy (int16, all recordings end to end) and FOLDER/NAME.json (where each starts, its path) for
each source. What is there already is not fetched again. Packages of the test set go to FOLDER/test, which
only the evaluation reads. PACK is a folder of Opus files with an `index.json`, which tells for each
folder and file the part ("split") and where each recording begins and ends ("clips", in samples at
16 kHz); without it the packages alone are fetched. Needs ffmpeg (for G.722 and Opus), python3-numpy, -scipy and -soundfile.
"""

import argparse
import json
import math
import subprocess
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import numpy as np
import soundfile
from scipy.signal import resample_poly

import sources

RATE = 16000
MUSIC_SECONDS = 150  # of each piece; more of the same piece adds little


def unpacked(package, folder):
    """Returns where PACKAGE's files are, after fetching it if they aren't there."""
    target = folder / "packages" / package
    if target.exists():
        return target
    downloads = folder / "downloads"
    downloads.mkdir(parents=True, exist_ok=True)
    subprocess.run(["apt-get", "download", "-qq", package], cwd=downloads, check=True)
    archive = next(downloads.glob(f"{package}_*.deb"))
    partial = target.with_suffix(".partial")
    partial.mkdir(parents=True, exist_ok=True)
    subprocess.run(["dpkg-deb", "-x", archive, partial], check=True)
    partial.rename(target)
    archive.unlink()
    return target


def decode_g722(paths):
    """Returns recordings as mono float32 at 16 kHz: many for each run of ffmpeg, which starts slowly."""
    with tempfile.TemporaryDirectory() as folder:
        outputs = [Path(folder) / f"{number}.raw" for number in range(len(paths))]
        inputs = [word for path in paths for word in ["-f", "g722", "-i", path]]
        maps = [word for number, output in enumerate(outputs)
                for word in ["-map", str(number), "-f", "s16le", output]]
        subprocess.run(["ffmpeg", "-v", "error", "-nostdin", *inputs, *maps], check=True)
        return [np.fromfile(output, "<i2").astype(np.float32) / 32768 for output in outputs]


def decode(path):
    """Returns a recording as mono float32 at 16 kHz; empty if it can't be read."""
    try:
        audio, rate = soundfile.read(path, dtype="float32", always_2d=True)
    except soundfile.LibsndfileError:
        return np.zeros(0, np.float32)
    mono = audio[: MUSIC_SECONDS * rate].mean(axis=1)
    common = math.gcd(rate, RATE)
    return resample_poly(mono, RATE // common, rate // common).astype(np.float32)


def decode_all(paths):
    if paths[0].suffix == ".g722":
        groups = [paths[begin : begin + 50] for begin in range(0, len(paths), 50)]
        return [audio for group in groups for audio in decode_g722(group)]
    with ThreadPoolExecutor(2) as pool:
        return list(pool.map(decode, paths))


def voice_to_noise(audio):
    """Returns the level of a recording's loud frames over that of its quiet ones in dB."""
    frames = audio[: len(audio) // 320 * 320].reshape(-1, 320)
    if len(frames) < 10:
        return 0.0
    levels = 10 * np.log10((frames**2).mean(axis=1) + 1e-9)
    return np.percentile(levels, 95) - np.percentile(levels, 5)


def fit(source, audio):
    """Tells whether a recording is worth keeping: it has sound, and a voice has no noise of its own."""
    if len(audio) < 0.03 * RATE or np.abs(audio).max() < 1e-3:
        return False
    if source.kind != "voice":
        return True
    # The stamps were spoken into microphones of all sorts; of the others single words have no pause.
    return len(audio) > 0.4 * RATE and voice_to_noise(audio) > (30 if "stamps" in source.name else 18)


def packed(source, pack):
    """Returns (path, audio) of each recording that PACK has for a source."""
    index = json.loads((pack / "index.json").read_text())[source.pattern]
    for name, entry in index.items():
        if entry["split"] != source.part:
            continue
        path = pack / source.pattern / f"{name}.opus"
        raw = subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-i", path, "-ar", str(RATE), "-ac",
                              "1", "-f", "f32le", "-"], check=True, stdout=subprocess.PIPE).stdout
        audio = np.frombuffer(raw, "<f4")
        for begin, end in entry["clips"]:
            yield f"{source.pattern}/{name}", audio[begin:end]


def packaged(source, folder):
    """Returns (path, audio) of each recording that a package has for a source."""
    root = unpacked(source.package, folder)
    paths = [path for path in sorted(root.rglob("*"))
             if path.is_file() and source.takes("/" + str(path.relative_to(root)))]
    return [(str(path.relative_to(root)), audio) for path, audio in zip(paths, decode_all(paths))
            if fit(source, audio)]


def store(source, folder, pack):
    array, index = folder / f"{source.name}.npy", folder / f"{source.name}.json"
    if index.exists() or source.package == sources.PACK and not pack:
        return
    folder.mkdir(parents=True, exist_ok=True)
    kept = list(packed(source, pack) if source.package == sources.PACK else packaged(source, folder))
    starts = np.cumsum([0] + [len(audio) for _, audio in kept])
    joined = np.concatenate([audio for _, audio in kept])
    np.save(array, np.clip(np.round(joined * 32767), -32767, 32767).astype(np.int16))
    index.write_text(json.dumps({"starts": starts.tolist(), "paths": [path for path, _ in kept]}))
    print(f"{source.name}: {len(kept)} recordings, {starts[-1] / RATE / 60:.1f} minutes", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--data", type=Path, required=True, help="folder for the recordings")
    parser.add_argument("--pack", type=Path, help="folder of the packed recordings")
    parser.add_argument("--part", action="append", choices=["train", "valid", "test"],
                        help="fetch this part only; repeatable")
    arguments = parser.parse_args()
    for source in sources.SOURCES:
        if source.package != sources.OWN and source.part in (arguments.part or ["train", "valid", "test"]):
            folder = arguments.data / "test" if source.part == "test" else arguments.data
            store(source, folder, arguments.pack)


if __name__ == "__main__":
    main()
