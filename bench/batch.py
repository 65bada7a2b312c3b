#!/usr/bin/env python3
"""Measures sorvane.batch beside the program on the same files.

usage: bench/batch.py PROGRAM [--files N] [--minutes M] [--tiny K]

PROGRAM is the built `sorvane`; PYTHONPATH leads to the package. It prints a line of JSON for each
measurement: seconds of the program and of one and two workers on N files of M minutes each, the
seconds until the first output is there, and the memory of the process that is client and scheduler
over K tiny files. Machines differ from one minute to the next: only ratios of one run tell anything.
"""

import argparse
import json
import os
import pathlib
import platform
import subprocess
import sys
import tempfile
import time
import wave

import numpy as np

RATE = 16000


def write_sound(path, seconds, seed):
    path.parent.mkdir(parents=True, exist_ok=True)
    noise = np.random.default_rng(seed).normal(0, 2000, int(RATE * seconds)).astype("<i2")
    with wave.open(str(path), "wb") as file:
        file.setparams((1, 2, RATE, 0, "NONE", ""))
        file.writeframes(noise.tobytes())


def seconds_of(words):
    begin = time.monotonic()
    subprocess.run(words, check=True, stderr=subprocess.DEVNULL)
    return time.monotonic() - begin


def batch(folder, output, workers, program):
    return [sys.executable, "-m", "sorvane.batch", str(folder), str(output), "--workers",
            str(workers), "--program", program, "--quiet"]


def first_output(words, output):
    """Seconds until an output is there, and until the end."""
    begin = time.monotonic()
    process = subprocess.Popen(words, stderr=subprocess.DEVNULL)
    while not list(output.glob("*.wav")) and process.poll() is None:
        time.sleep(0.01)
    first = time.monotonic() - begin
    if process.wait() != 0:
        raise SystemExit("a run failed: " + " ".join(words))
    return first, time.monotonic() - begin


def resident(pid):
    """Megabytes of a process."""
    with open(f"/proc/{pid}/statm", encoding="ascii") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE") / 1e6


def memory(words, journal, count):
    """Megabytes when a tenth, a fifth... of the files is done, and the seconds of all."""
    begin = time.monotonic()
    process = subprocess.Popen(words, stderr=subprocess.DEVNULL)
    samples = []
    while process.poll() is None:
        done = 0
        if journal.exists():
            with journal.open("rb") as file:
                done = sum(1 for _ in file)
        if done >= count * (len(samples) + 1) / 10:
            samples.append(round(resident(process.pid), 1))
        time.sleep(0.5)
    if process.returncode != 0:
        raise SystemExit("a run failed: " + " ".join(words))
    return samples, time.monotonic() - begin


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--files", type=int, default=8)
    parser.add_argument("--minutes", type=float, default=10)
    parser.add_argument("--tiny", type=int, default=100000)
    asked = parser.parse_args()
    program = os.path.abspath(asked.program)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        tell("machine", processor=platform.processor(), load=os.getloadavg()[0])
        for i in range(asked.files):
            write_sound(folder / f"long/{i}.wav", asked.minutes * 60, i)
        if asked.files:
            tell("program", whole=seconds_of([program, "denoise", str(folder / "long"), "--out-dir",
                                              str(folder / "program"), "--quiet"]))
            for workers in (1, 2):
                output = folder / f"out{workers}"
                words = batch(folder / "long", output, workers, program)
                first, whole = first_output(words, output)
                tell(f"{workers} workers", first=first, whole=whole)
            write_sound(folder / "short/0.wav", 1, 0)
            output = folder / "out-short"
            tell("start", first=first_output(batch(folder / "short", output, 1, program), output)[0])
        for i in range(asked.tiny):
            write_sound(folder / f"tiny/{i // 1000}/{i}.wav", 0.05, i)
        if asked.tiny:
            output = folder / "out-tiny"
            samples, whole = memory(batch(folder / "tiny", output, 2, program),
                                    output / ".sorvane-batch/journal.jsonl", asked.tiny)
            tell("tiny", files=asked.tiny, megabytes=samples, whole=whole)


def tell(what, **figures):
    print(json.dumps({"what": what, **figures}), flush=True)


if __name__ == "__main__":
    main()
