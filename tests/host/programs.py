#!/usr/bin/env python3
"""Builds the hosts of this folder with each compiler that is there, and lets them survive models.

usage: programs.py FOLDER_OF_THE_LIBRARIES
"""

import pathlib
import shutil
import subprocess
import sys
import tempfile

libraries = pathlib.Path(sys.argv[1])
source = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(source / "examples"))
import noise_gate as gate

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wconversion", "-Werror"]


def models(folder):
    """Files that are refused, each cut elsewhere, one that raises, and one that is well."""
    whole = gate.noise_gate()
    misfit = gate.convolution("a", "input", gate.tensor([1, 1, 2, 1], [1.0, 1.0]), gate.NOTHING)
    contents = [whole[:length] for length in range(0, len(whole), 3)]
    contents += [gate.model([misfit], "a"), whole]
    for number, content in enumerate(contents):
        (folder / f"{number}.model").write_bytes(content)
    return [folder / f"{number}.model" for number in range(len(contents))]


with tempfile.TemporaryDirectory() as name:
    folder = pathlib.Path(name)
    files = models(folder)
    tried = 0
    for compiler, standard, program in [("gcc", "c99", "survivor.c"), ("clang", "c99", "survivor.c"),
                                        ("g++", "c++20", "survivor.cpp"),
                                        ("clang++", "c++20", "survivor.cpp")]:
        if not shutil.which(compiler):
            continue
        subprocess.run([compiler, f"-std={standard}", *WARNINGS, "-I", source / "host",
                        source / "tests/host" / program, "-L", libraries, "-lSorvaneHost",
                        f"-Wl,-rpath,{libraries}", "-o", folder / "host"], check=True)
        told = subprocess.run([folder / "host", *files], check=True, capture_output=True, text=True)
        expected = f"{len(files) - 2} refused, 1 raised\n"
        assert told.stdout == expected, f"{compiler}: {told.stdout} instead of {expected}"
        tried += 1
    assert tried > 0, "there is no compiler"
