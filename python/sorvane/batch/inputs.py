"""Finds the inputs of a run, one after the other: there may be a million."""

from __future__ import annotations

import csv
import glob
import json
import os
import posixpath
from collections.abc import Iterator
from dataclasses import dataclass
from typing import Any

from . import places

_WRITABLE = frozenset(
    "wav flac ogg oga opus mp3 aiff aif aifc au snd caf w64 rf64 m4a m4b mp4 m4v mov mkv mka webm "
    "wma wmv avi aac".split())
_READ_ONLY = frozenset(
    "asf 3gp 3g2 amr ac3 eac3 mpg mpeg ts m2ts mts flv ape wv dts mp2".split())
_MANIFESTS = (".csv", ".jsonl", ".ndjson")
_COLUMNS = ("input", "path", "url", "file")


@dataclass(frozen=True)
class Input:
    """A file to be processed."""

    url: str
    """An absolute path, or a URL."""
    output: str
    """Where its output lies below the output folder, with slashes."""
    size: int | None = None
    modified: float | str | None = None


class Search:
    """Goes through what a user named: files, folders, patterns, manifests and URLs.

    Iterating gives each input once, in an order that is the same the next time.
    """

    def __init__(self, names: list[str], output: str) -> None:
        self._names = names
        self._output = None if places.is_url(output) else os.path.abspath(output)
        self.without_audio = 0

    def __iter__(self) -> Iterator[Input]:
        self.without_audio = 0
        for name in self._names:
            yield from self._of(name)

    def _of(self, name: str) -> Iterator[Input]:
        if places.is_url(name):
            return self._of_url(name)
        if os.path.isdir(name):
            return self._of_folder(os.path.abspath(name))
        if name.lower().endswith(_MANIFESTS):
            return self._of_manifest(name)
        if glob.has_magic(name) and not os.path.lexists(name):
            return self._of_pattern(name)
        return iter([_local(os.path.abspath(name), os.path.basename(name))])

    def _has_audio(self, name: str) -> bool:
        extension = name.rpartition(".")[2].lower()
        found = extension in _WRITABLE or extension in _READ_ONLY
        self.without_audio += not found
        return found

    def _of_folder(self, root: str, below: str = "") -> Iterator[Input]:
        """Files of a folder and the folders in it; links to folders could lead in circles."""
        with os.scandir(os.path.join(root, below)) as listing:
            entries = sorted((e.name, e.is_dir(follow_symlinks=False)) for e in listing
                             if not e.name.startswith("."))
        for name, is_folder in entries:
            path = os.path.join(root, below, name)
            if is_folder:
                if path != self._output:
                    yield from self._of_folder(root, os.path.join(below, name))
            elif os.path.isfile(path) and self._has_audio(name):
                yield _local(path, os.path.join(below, name))

    def _of_pattern(self, pattern: str) -> Iterator[Input]:
        whole = os.path.abspath(pattern)
        fixed = whole
        while glob.has_magic(fixed):
            fixed = os.path.dirname(fixed)
        for path in glob.iglob(whole, recursive=True):
            if os.path.isfile(path) and self._has_audio(path):
                yield _local(path, os.path.relpath(path, fixed))

    def _of_manifest(self, name: str) -> Iterator[Input]:
        folder = os.path.dirname(os.path.abspath(name))
        for number, row in enumerate(_rows(name), 1):
            given = next((row[c] for c in _COLUMNS if row.get(c)), None)
            if not isinstance(given, str):
                raise ValueError(f"{name}: entry {number} has none of {', '.join(_COLUMNS)}")
            output = row.get("output")
            if places.is_url(given):
                yield _remote(given, output or given.partition("://")[2])
            else:
                yield _local(os.path.join(folder, given),
                             output or os.path.splitdrive(given)[1].lstrip("/\\"))

    def _of_url(self, url: str) -> Iterator[Input]:
        system, path = places.open_url(url)
        is_web = url.startswith(("http://", "https://"))
        is_folder = path.endswith("/") if is_web else system.isdir(path)
        if is_folder:
            yield from self._of_url_folder(system, path.rstrip("/"))
        elif glob.has_magic(path) and not is_web:
            fixed = path
            while glob.has_magic(fixed):
                fixed = posixpath.dirname(fixed)
            for found in system.glob(path):
                if self._has_audio(found):
                    yield _described(system, system.info(found), found[len(fixed):].lstrip("/"))
        else:
            yield _remote(url, posixpath.basename(path.partition("?")[0]))

    def _of_url_folder(self, system: Any, root: str, below: str = "") -> Iterator[Input]:
        for entry in sorted(system.ls(root + "/" + below if below else root, detail=True),
                            key=lambda e: str(e["name"])):
            name = entry["name"].rstrip("/")
            short = posixpath.basename(name)
            if short.startswith(".") or not short:
                continue
            inner = posixpath.join(below, short)
            if entry["type"] == "directory":
                if name.startswith(root):  # a web page may link to anywhere
                    yield from self._of_url_folder(system, root, inner)
            elif self._has_audio(short):
                yield _described(system, entry, inner)


def _local(path: str, output: str) -> Input:
    try:
        status = os.stat(path)
    except OSError:  # the run will tell
        return Input(path, _name_of_output(output))
    return Input(path, _name_of_output(output), status.st_size, status.st_mtime)


def _remote(url: str, output: str) -> Input:
    system, path = places.open_url(url)
    try:
        return _described(system, system.info(path), output, url)
    except (OSError, ValueError):
        return Input(url, _name_of_output(output))


def _described(system: Any, entry: dict[str, Any], output: str, url: str = "") -> Input:
    modified = next((entry[k] for k in ("mtime", "LastModified", "last_modified", "updated", "ETag")
                     if entry.get(k)), None)
    return Input(url or system.unstrip_protocol(entry["name"]), _name_of_output(output),
                 entry.get("size"), None if modified is None else str(modified))


def _name_of_output(name: str) -> str:
    """A path that stays below the output folder, of a format that can be written."""
    parts = [p for p in name.replace("\\", "/").split("/") if p not in ("", ".", "..")]
    path = "/".join(parts)
    extension = path.rpartition(".")[2].lower()
    return path if extension in _WRITABLE else posixpath.splitext(path)[0] + ".wav"


def _rows(name: str) -> Iterator[dict[str, Any]]:
    with open(name, newline="", encoding="utf-8-sig") as file:
        if name.lower().endswith(".csv"):
            yield from csv.DictReader(file)
            return
        for line in file:
            if line.strip():
                row = json.loads(line)
                yield row if isinstance(row, dict) else {"input": row}
