#!/usr/bin/env python3
"""Makes tracks of voices and of noise, from which training mixes.

    bank.py --data FOLDER --out BANK --parts N [--seed S]

Each part is two arrays of 256 tracks of four seconds, 33 MB each. Parts that are there are not made again,
and training takes up those that come while it is at work.
"""

import argparse
from pathlib import Path

import numpy as np

from mixing import Mixer

TRACKS, SECONDS = 256, 4.0


def stored(track):
    """Returns a track at full scale as 16-bit integers."""
    peak = max(float(np.abs(track).max()), 1e-6)
    return np.round(track * (32000 / peak)).astype(np.int16)


def make_part(mixer, out, number, tracks=TRACKS):
    for name, make in (("voice", mixer.voice), ("noise", mixer.noise)):  # a part is whole with its noise
        partial = out / f"{name}.partial.npy"
        np.save(partial, np.stack([stored(make()) for _ in range(tracks)]))
        partial.rename(out / f"{name}-{number:03}.npy")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--data", type=Path, required=True, help="folder of the recordings")
    parser.add_argument("--out", type=Path, required=True, help="folder for the tracks")
    parser.add_argument("--parts", type=int, default=30)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    options.out.mkdir(parents=True, exist_ok=True)
    for number in range(options.parts):
        if not (options.out / f"noise-{number:03}.npy").exists():
            make_part(Mixer(options.data, "train", options.seed + number, SECONDS), options.out, number)
            print(f"part {number + 1} of {options.parts}", flush=True)


if __name__ == "__main__":
    main()
