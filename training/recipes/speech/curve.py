#!/usr/bin/env python3
"""Draws how trainings went, from their logs.

    curve.py --out PNG RUN...

Each RUN is a folder of `train.py --run`. Above the gain of SI-SDR, below STOI, on the validation set, of
the averaged weights: over all kinds of noise, and for each.
"""

import argparse
import json
from pathlib import Path

import matplotlib

matplotlib.use("Agg")
from matplotlib import pyplot

from validation import KINDS


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("runs", metavar="RUN", type=Path, nargs="+")
    parser.add_argument("--out", type=Path, required=True, help="the picture")
    options = parser.parse_args()
    count = len(options.runs)
    figure, axes = pyplot.subplots(2, count, figsize=(5 * count, 7), sharey="row", squeeze=False,
                                   constrained_layout=True)
    for run, (gain, stoi) in zip(options.runs, axes.T):
        lines = [json.loads(line) for line in (run / "log.jsonl").read_text().splitlines()]
        minutes = [line["minutes"] for line in lines]
        for kind in ("all", *KINDS):
            width = 2.5 if kind == "all" else 1.2
            for axis, column in ((gain, 0), (stoi, 1)):
                axis.plot(minutes, [line[kind][column] for line in lines], linewidth=width, label=kind)
        gain.set_title(f"{run.resolve().name}, {lines[-1]['steps']:,} steps")
        stoi.set_xlabel("minutes at work")
        for axis in (gain, stoi):
            axis.grid(alpha=0.3)
    axes[0, 0].set_ylabel("SI-SDR gain in dB")
    axes[1, 0].set_ylabel("STOI")
    axes[0, 0].set_ylim(bottom=-0.5)
    axes[0, -1].legend(fontsize="small", loc="lower right", ncols=3)
    figure.savefig(options.out, dpi=100)


if __name__ == "__main__":
    main()
