"""Writes a table of a journal and a page with charts."""

from __future__ import annotations

import csv
import html
import math
import os
from collections import Counter
from collections.abc import Iterable, Sequence

from .journal import Line

_COLUMNS = ("input", "outputs", "seconds", "processingSeconds", "realTimeFactor", "peak", "model",
            "version", "worker", "time", "error")
_LISTED = 1000  # failures on the page

_PAGE = """<!doctype html>
<html lang="en"><meta charset="utf-8"><title>sorvane-batch</title>
<style>body{{font:15px sans-serif;max-width:60em;margin:2em auto}} td,th{{text-align:left;
padding:.1em 1em .1em 0}} rect{{fill:#36c}} svg text{{font-size:11px}}</style>
<h1>sorvane-batch</h1>
<table>{facts}</table>
<h2>Times real time, by files</h2>{speeds}
<h2>Hours of audio, by worker</h2>{workers}
<h2>Failures</h2><table>{failures}</table>
"""


class Histogram:
    """Counts in classes that double."""

    def __init__(self) -> None:
        self._counts: Counter[int] = Counter()

    def add(self, value: float) -> None:
        if value > 0:
            self._counts[math.floor(math.log2(value))] += 1

    def bars(self) -> list[tuple[str, float]]:
        if not self._counts:
            return []
        lowest, highest = min(self._counts), max(self._counts)
        return [(f"{2.0**k:g} to {2.0 ** (k + 1):g}", self._counts[k])
                for k in range(lowest, highest + 1)]


def write(lines: Iterable[Line], folder: str) -> None:
    """Writes files.csv, a row for each input, and index.html."""
    os.makedirs(folder, exist_ok=True)
    done = failed = 0
    seconds = processing = 0.0
    speeds = Histogram()
    hours: Counter[str] = Counter()
    failures: list[Line] = []
    with open(os.path.join(folder, "files.csv"), "w", newline="", encoding="utf-8",
              errors="backslashreplace") as file:
        table = csv.writer(file)
        table.writerow(_COLUMNS)
        for line in lines:
            row = {**line, "outputs": " ".join(line["outputs"])}
            table.writerow([row.get(column, "") for column in _COLUMNS])
            if line.get("error"):
                failed += 1
                if len(failures) < _LISTED:
                    failures.append(line)
                continue
            done += 1
            seconds += line["seconds"]
            processing += line["processingSeconds"]
            if line["processingSeconds"] > 0:
                speeds.add(line["seconds"] / line["processingSeconds"])
            hours[line["worker"]] += line["seconds"] / 3600
    facts = [("Files", str(done)), ("Failed", str(failed)),
             ("Audio", f"{seconds / 3600:.2f} h"), ("Core time", f"{processing / 3600:.3f} h")]
    page = _PAGE.format(
        facts=_rows(facts), speeds=_chart(speeds.bars()), workers=_chart(hours.most_common(30)),
        failures=_rows((line["input"], line["error"]) for line in failures) or "<tr><td>none")
    with open(os.path.join(folder, "index.html"), "w", encoding="utf-8",
              errors="backslashreplace") as file:
        file.write(page)


def _rows(rows: Iterable[tuple[str, str]]) -> str:
    return "".join(f"<tr><td>{html.escape(a)}<td>{html.escape(b)}" for a, b in rows)


def _chart(bars: Sequence[tuple[str, float]]) -> str:
    """Bars, as a drawing within the page."""
    most = max((value for _, value in bars), default=0) or 1
    drawn = "".join(
        f'<text x="0" y="{20 * i + 14}">{html.escape(name)}</text>'
        f'<rect x="160" y="{20 * i + 3}" width="{500 * value / most:.1f}" height="14"/>'
        f'<text x="{165 + 500 * value / most:.1f}" y="{20 * i + 14}">{value:.4g}</text>'
        for i, (name, value) in enumerate(bars))
    return f'<svg width="760" height="{20 * len(bars)}">{drawn}</svg>'
