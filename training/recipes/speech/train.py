#!/usr/bin/env python3
"""Trains a network on mixtures that are made as they are needed.

    train.py --data FOLDER --bank BANK --run FOLDER --size standard|small|large --minutes N
    train.py --voices FOLDER --noises FOLDER --run FOLDER [--begin MODEL] --minutes N

FOLDER of --data is that of `fetch.py`, BANK that of `bank.py`. The second form trains on audio files of
one's own; --begin goes on from a model file for 16 kHz or from a `network.pt` instead of from nothing, and
takes its size; `report.md` in --run tells what it gained on recordings that were held back.

Whatever is needed to go on is saved in the folder of --run every few minutes: started again with the same
options, training goes on where it was. It ends after N minutes at work, whatever the machine does in them,
and the step sizes follow that time; with --steps it ends after so many steps, and they follow these.
`log.jsonl` there has a line for each look at the validation set, `network.pt` the averaged weights. A
training has one process and one thread.
"""

import argparse
import copy
import fcntl
import json
import math
import time
from pathlib import Path

import numpy as np
import torch

import bank
import loss
import network
import own
import sources
from mixing import Bank, Mixer
from validation import Validation

CLIP = 5.0  # largest norm of a gradient
WARM_UP = 200  # steps


class Training:
    """The state of a training: network, optimiser, averaged weights, random numbers, time at work."""

    def __init__(self, options):
        torch.manual_seed(options.seed)
        self.options = options
        self.bank = Bank(options.bank, options.seed)
        self.network = network.make_network(options.size)
        if options.begin and options.begin.suffix == ".model":
            own.begin_from(self.network, options.begin, self.bank)
        elif options.begin:
            self.network.load_state_dict(torch.load(options.begin))
        self.average = copy.deepcopy(self.network)
        # Weights, and what normalisations saw.
        self.averaged, self.current = ([value for value in net.state_dict().values()
                                        if value.is_floating_point()]
                                       for net in (self.average, self.network))
        self.optimiser = torch.optim.AdamW(self.network.parameters(), lr=options.step_size,
                                           betas=(0.9, 0.99), weight_decay=1e-4, foreach=True)
        self.steps, self.seconds = 0, 0.0
        self.file = options.run / "state.pt"
        if self.file.exists():
            self._load()

    def _load(self):
        state = torch.load(self.file)
        self.network.load_state_dict(state["network"])
        self.average.load_state_dict(state["average"])
        self.optimiser.load_state_dict(state["optimiser"])
        self.bank.random.bit_generator.state = state["random"]
        self.steps, self.seconds = state["steps"], state["seconds"]

    def save(self):
        partial = self.file.with_suffix(".partial")
        torch.save({"network": self.network.state_dict(), "average": self.average.state_dict(),
                    "optimiser": self.optimiser.state_dict(), "steps": self.steps,
                    "random": self.bank.random.bit_generator.state, "seconds": self.seconds}, partial)
        partial.rename(self.file)

    def progress(self):
        """Returns what share of the training is done."""
        if self.options.steps:
            return self.steps / self.options.steps
        return self.seconds / (60 * self.options.minutes)

    def step(self):
        """Makes one step on a fresh batch; returns the parts of the loss."""
        rate = 0.5 + 0.5 * math.cos(math.pi * min(self.progress(), 1))
        for group in self.optimiser.param_groups:
            group["lr"] = self.options.step_size * min(1, self.steps / WARM_UP) * max(rate, 1e-3)
        voices, noises = (torch.from_numpy(tracks)
                          for tracks in self.bank.batch(self.options.batch))
        voice = loss.spectra(voices)
        mixture = voice + loss.spectra(noises)
        mask = self.network(mixture.abs().unsqueeze(3)).squeeze(3)
        total, parts = loss.loss(mask, voice, mixture)
        self.optimiser.zero_grad()
        total.backward()
        torch.nn.utils.clip_grad_norm_(self.network.parameters(), CLIP)
        self.optimiser.step()
        self.steps += 1
        keep = min(0.999, self.steps / (self.steps + 10))
        with torch.no_grad():
            torch._foreach_mul_(self.averaged, keep)
            torch._foreach_add_(self.averaged, self.current, alpha=1 - keep)
        return parts


def report(training, validation, parts):
    result = validation.run(training.average)
    line = {"minutes": round(training.seconds / 60, 2), "steps": training.steps,
            "cpu_minutes": round(time.process_time() / 60, 2),
            "loss": np.mean(parts, axis=0).round(4).tolist()} | result
    with open(training.options.run / "log.jsonl", "a") as log:
        log.write(json.dumps(line) + "\n")
    left = training.seconds / 60 * (1 / max(training.progress(), 1e-6) - 1)
    print(f"{line['minutes']:6.1f} min, {max(left, 0):.0f} left {training.steps:6} steps  loss {line['loss']}  "
          f"gain {result['all'][0]:.2f} dB  STOI {result['all'][1]:.4f}  alone {result['alone']}",
          flush=True)
    training.average.train()
    torch.save(training.average.state_dict(), training.options.run / "network.pt")


def lock(folder):
    """Keeps a second training out of FOLDER until the returned file is closed."""
    file = open(folder / "lock", "w")
    try:
        fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        file.close()
        raise SystemExit(f"{folder}: another training is at work there") from None
    return file


OWN_PARTS = 6  # of the bank that is made of one's own recordings


def prepare(options):
    """Makes the recordings and the bank of two folders of one's own."""
    options.data, options.bank = options.run / "data", options.run / "bank"
    options.bank.mkdir(exist_ok=True)
    if not (options.data / f"{sources.OWN}-noise-valid.json").exists():
        own.store("voice", options.voices, options.data)
        own.store("noise", options.noises, options.data)
    for number in range(options.parts):
        if not (options.bank / f"noise-{number:03}.npy").exists():
            print(f"tracks to mix: part {number + 1} of {options.parts}", flush=True)
            bank.make_part(Mixer(options.data, "train", options.seed + number, bank.SECONDS), options.bank,
                           number)


def summary(before, after):
    """Returns a report of two results of the validation."""
    lines = ["| | SI-SDR gain | STOI |", "|---|---|---|"]
    for name, result in (("before", before), ("after", after)):
        gain, stoi, mixture = result["all"]
        lines.append(f"| {name} | {gain:.2f} dB | {stoi:.3f} (mixture {mixture:.3f}) |")
    clean, noise = (f"{before['alone'][n]:.1f} dB before, {after['alone'][n]:.1f} dB after" for n in (0, 1))
    return "\n".join([*lines, "", f"A clean voice: {clean}. Noise alone falls by {noise}.", ""])


def work(options):
    torch.set_num_threads(1)
    if options.voices:
        prepare(options)
    training, validation = Training(options), Validation(options.data)
    first = options.run / "before.json"
    if not first.exists():
        first.write_text(json.dumps(validation.run(training.average)))
        training.average.train()
    before, began = training.seconds, time.monotonic()
    parts, saved = [], before
    while training.progress() < 1:
        parts.append(training.step())
        training.seconds = before + time.monotonic() - began
        if training.seconds - saved >= 60 * options.save_every:
            saved = training.seconds
            training.save()
            report(training, validation, parts)
            parts = []
            training.bank.look()
    training.save()
    if parts:
        report(training, validation, parts)
    last = json.loads((options.run / "log.jsonl").read_text().splitlines()[-1])
    text = summary(json.loads(first.read_text()), last)
    (options.run / "report.md").write_text(text)
    print(text, end="")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--data", type=Path, help="folder of the recordings")
    parser.add_argument("--bank", type=Path, help="folder of the tracks")
    parser.add_argument("--voices", type=Path, help="folder of audio files of clean voices")
    parser.add_argument("--noises", type=Path, help="folder of audio files of what is to go")
    parser.add_argument("--parts", type=int, default=OWN_PARTS, help="of tracks made of these two")
    parser.add_argument("--begin", type=Path, help="a model file for 16 kHz or a network.pt")
    parser.add_argument("--run", type=Path, required=True, help="folder for what training leaves")
    parser.add_argument("--size", choices=network.SIZES, default="standard")
    parser.add_argument("--minutes", type=float, default=70, help="time at work, in all")
    parser.add_argument("--steps", type=int, help="end after so many, whatever the time")
    parser.add_argument("--batch", type=int, default=4, help="mixtures of a step")
    parser.add_argument("--step-size", type=float, default=2e-3, help="largest, after the warm-up")
    parser.add_argument("--save-every", type=float, default=3, help="minutes")
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    if not (options.voices and options.noises or options.data and options.bank):
        parser.error("--voices and --noises, or --data and --bank, are needed")
    if options.begin and options.begin.suffix == ".model":
        options.size = own.size_of(own.ModelFile.read(options.begin))
    options.run.mkdir(parents=True, exist_ok=True)
    with lock(options.run):
        work(options)


if __name__ == "__main__":
    main()
