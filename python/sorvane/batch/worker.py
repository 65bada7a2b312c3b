"""What a worker does: makes the outputs of one input, by the program `sorvane`.

The program decodes, cleans and encodes, so that a batch gives the bytes of `sorvane denoise`. And
where a file makes it crash or takes all memory, the program ends and the worker doesn't. A worker
without the program does what the package can.
"""

from __future__ import annotations

import functools
import json
import os
import posixpath
import shutil
import socket
import subprocess
import threading
from datetime import datetime, timezone
from typing import Any

from .._model import speech_model
from . import package, places
from .inputs import Input
from .settings import Settings

OUTPUT_FULL = "the output's disk is full"

_CRASHES = 2  # that set a file aside

_running: set[str] = set()
_running_lock = threading.Lock()


class Failed(Exception):
    """A sentence for the journal."""


class Crashed(Failed):
    """The program didn't end by itself."""


def running() -> list[str]:
    """The inputs that this worker is at."""
    with _running_lock:
        return list(_running)


def process(item: Input, output: str, settings: Settings) -> dict[str, Any]:
    """Makes the outputs of an input; gives the line for the journal, also of a failure."""
    line: dict[str, Any] = {
        "input": item.url, "size": item.size, "modified": item.modified,
        "settings": settings.mark(), "outputs": [],
        "time": datetime.now(timezone.utc).isoformat(timespec="seconds"),
        "worker": socket.gethostname(),
    }
    with _running_lock:
        _running.add(item.url)
    try:
        line.update(_outputs(item, output, settings))
    except Crashed as error:
        line.update(error=str(error), aside=True)
    except Exception as error:  # whatever a file does, the run goes on
        line.update(error=str(error) or type(error).__name__)
    finally:
        with _running_lock:
            _running.discard(item.url)
    return line


def _outputs(item: Input, output: str, settings: Settings) -> dict[str, Any]:
    program = find_program(settings)
    with places.local_file(item.url) as source, places.stage(output) as folder:
        target = os.path.join(folder, posixpath.basename(item.output))
        if program is None:
            report = package.denoise(source, target, settings)
        else:
            report = _run(command(program, source, target, settings))
            report["version"] = _version(program)
            report["model"] = report["model"] or _chosen_model(report)
        below = posixpath.dirname(item.output)
        outputs = [places.deliver(os.path.join(folder, made), output, posixpath.join(below, made))
                   for made in sorted(os.listdir(folder))]
    kept = ("seconds", "processingSeconds", "realTimeFactor", "model", "version")
    return {"outputs": outputs, **{name: report[name] for name in kept},
            "peak": max((made["peak"] for made in report["outputs"]), default=None)}


def command(program: str, source: str, target: str, settings: Settings) -> list[str]:
    """The program's words for one file; stems lie beside `target` and begin with its name."""
    words = [program, "denoise" if settings.stems is None else "process"]
    options = ["--report", "json", "--quiet"]
    if settings.bitrate is not None:
        options += ["--bitrate", str(settings.bitrate)]
    if settings.stems is not None:
        stem, extension = os.path.splitext(os.path.basename(target))
        braces = stem.replace("{", "_") + ".{bus}" + extension  # a brace begins a word there
        return [*words, *options, "--stems", settings.stems, "--name", braces, "--out-dir",
                os.path.dirname(target), str(settings.model), source]
    if settings.model is not None:
        options += ["--model", settings.model]
    if settings.keep is not None:
        options += ["--keep", settings.keep]
    if settings.rest:
        options.append("--rest")
    return [*words, *options, "-o", target, source]


def find_program(settings: Settings) -> str | None:
    """The program's path on this machine; None where there is none and none was asked for."""
    named = settings.program or os.environ.get("SORVANE_PROGRAM")
    found = shutil.which(named or "sorvane")
    if found is None and named is not None:
        raise Failed(f"there is no program {named!r} on {socket.gethostname()}")
    return found


def _chosen_model(report: dict[str, Any]) -> str | None:
    """The speech model that suits the file's rate best: the program takes it where none is named,
    and doesn't tell."""
    if not report["latencySeconds"]:
        return None
    try:
        return speech_model(round(report["latencySamples"] / report["latencySeconds"]))
    except LookupError:
        return None


@functools.lru_cache(maxsize=4)
def _version(program: str) -> str:
    done = subprocess.run([program, "--version"], capture_output=True, text=True, check=True)
    return done.stdout.split()[-1]


def _run(words: list[str]) -> dict[str, Any]:
    """Runs the program and gives its report of the one file."""
    for _ in range(_CRASHES):
        done = subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True,
                              env={**os.environ, "LC_ALL": "C.UTF-8"},
                              start_new_session=True)  # Ctrl-C is for the client alone
        if done.returncode >= 0:
            break
    else:
        raise Crashed(f"the program was ended {_CRASHES} times by signal {-done.returncode}")
    said = done.stderr.decode(errors="replace").strip()
    if done.returncode != 0:
        if "No space left" in said:
            raise Failed(OUTPUT_FULL)
        raise Failed(said.splitlines()[-1] if said else f"exit code {done.returncode}")
    report = json.loads(done.stdout)
    file: dict[str, Any] = report["files"][0]
    return {**file, "model": file.get("model") or report["model"]}
