"""Tells how far a run has come: a line that changes on a terminal, plain lines elsewhere."""

from __future__ import annotations

import os
import sys
import threading
import time
from collections.abc import Iterable
from typing import TextIO

from . import worker
from .inputs import Input
from .journal import Line

_SECONDS_ON_TERMINAL = 0.5
_SECONDS_ELSEWHERE = 30.0


class Census(threading.Thread):
    """Counts the inputs beside the run, for the time that is left."""

    def __init__(self, inputs: Iterable[Input]) -> None:
        super().__init__(daemon=True)
        self._inputs = inputs
        self.files = 0
        self.bytes = 0
        self.is_whole = False

    def run(self) -> None:
        try:
            for item in self._inputs:
                self.files += 1
                self.bytes += item.size or 0
        except (OSError, ValueError):
            return  # the run itself tells
        self.is_whole = True


class Progress:
    """Counts what a run has done, and tells it."""

    def __init__(self, census: Census, quiet: bool = False, stream: TextIO | None = None) -> None:
        self._census = census
        self._quiet = quiet
        self._stream = stream or sys.stderr
        self._on_terminal = self._stream.isatty()
        self._begin = time.monotonic()
        self._told = self._begin
        self._bytes = 0
        self._bytes_passed_over = 0
        self._width = 0
        self.done = 0
        self.failed = 0
        self.passed_over = 0
        self.seconds = 0.0

    def noted(self, line: Line) -> None:
        """A file is done or has failed."""
        self._bytes += line["size"] or 0
        if line.get("error"):
            self.failed += 1
            if line["error"] != worker.OUTPUT_FULL and not self._quiet:
                self.say(f"{line['input']}: {line['error']}"
                         + ("; it is set aside" if line.get("aside") else ""))
        else:
            self.done += 1
            self.seconds += line["seconds"]

    def passed_over_input(self, item: Input) -> None:
        self.passed_over += 1
        self._bytes_passed_over += item.size or 0

    def tick(self, in_flight: int) -> None:
        """Called often; tells now and then."""
        pause = _SECONDS_ON_TERMINAL if self._on_terminal else _SECONDS_ELSEWHERE
        if self._quiet or time.monotonic() - self._told < pause:
            return
        self._told = time.monotonic()
        if self._on_terminal:
            width = os.get_terminal_size(self._stream.fileno()).columns - 1
            text = self.text()[:width]
            self._stream.write("\r" + text.ljust(self._width))
            self._width = len(text)
            self._stream.flush()
        else:
            self.say(self.text())

    def say(self, text: str) -> None:
        """A line that stays."""
        if self._width:
            self._stream.write("\r" + " " * self._width + "\r")
            self._width = 0
        print(text, file=self._stream, flush=True)

    def text(self) -> str:
        """Where the run is, in one line."""
        passed = max(time.monotonic() - self._begin, 1e-9)
        seen = self.done + self.failed + self.passed_over
        total = f" of {self._census.files}" if self._census.is_whole else ""
        parts = [f"{seen}{total} files", f"{self.seconds / 3600:.2f} h",
                 f"{self.seconds / passed:.0f}x real time"]
        if self.failed:
            parts.append(f"{self.failed} failed")
        left = self._census.bytes - self._bytes - self._bytes_passed_over
        if self._census.is_whole and self._bytes > 0 and left > 0:
            parts.append(f"{_duration(left * passed / self._bytes)} left")
        return ", ".join(parts)

    def summary(self) -> str:
        """What the run has done, in one line."""
        passed = time.monotonic() - self._begin
        parts = [f"{self.done} files of {self.seconds / 3600:.2f} h done in {_duration(passed)}"]
        if self.passed_over:
            parts.append(f"{self.passed_over} were done before")
        if self.failed:
            parts.append(f"{self.failed} failed")
        return ", ".join(parts)


def _duration(seconds: float) -> str:
    whole = round(seconds)
    if whole >= 3600:
        return f"{whole // 3600}:{whole // 60 % 60:02} h"
    return f"{whole // 60}:{whole % 60:02} min" if whole >= 60 else f"{seconds:.1f} s"
