"""The journal of an output: a JSON line for each file that was done or failed."""

from __future__ import annotations

import contextlib
import errno
import json
import os
import sqlite3
import tempfile
from collections.abc import Iterator
from types import TracebackType
from typing import Any

from . import places
from .inputs import Input

Line = dict[str, Any]


class InUse(Exception):
    """Another run writes to the same output."""


class Journal:
    """The journal of one output, held by one run at a time, on this machine or another.

    What it holds of earlier runs is looked up in a file of its own, so that memory doesn't grow
    with the number of files.
    """

    def __init__(self, path: str) -> None:
        """Opens or begins the journal; InUse while another run has it."""
        folder = os.path.dirname(os.path.abspath(path))
        os.makedirs(folder, exist_ok=True)
        self.path = path
        self._target = os.open(path, os.O_RDWR | os.O_CREAT | os.O_APPEND, 0o666)
        try:
            _lock(self._target)
        except OSError:
            os.close(self._target)
            raise InUse(f"another run writes to this output; it holds {path}") from None
        self._source = open(path, "rb")
        self._folder = tempfile.TemporaryDirectory(prefix="sorvane-journal-")
        self._index = sqlite3.connect(os.path.join(self._folder.name, "index"))
        self._index.execute("PRAGMA synchronous = OFF")
        self._index.execute("PRAGMA journal_mode = OFF")
        self._index.execute("CREATE TABLE latest (input BLOB PRIMARY KEY, place INTEGER)")
        self._index.execute("CREATE TABLE taken (output BLOB PRIMARY KEY, input BLOB)")
        self._read()

    def _read(self) -> None:
        place = 0
        text = b"\n"
        for text in self._source:
            with contextlib.suppress(ValueError, KeyError, TypeError):  # cut by a crash
                self._remember(json.loads(text)["input"], place)
            place += len(text)
        self._index.commit()
        self._end = place
        self._is_cut = not text.endswith(b"\n")

    def _remember(self, name: str, place: int) -> None:
        self._index.execute("INSERT OR REPLACE INTO latest VALUES (?, ?)", (_key(name), place))

    def add(self, line: Line) -> None:
        """Appends a line. What can't be written whole isn't left there."""
        text = b"\n" * self._is_cut + json.dumps(line).encode() + b"\n"
        try:
            if os.write(self._target, text) < len(text):
                raise OSError(errno.ENOSPC, os.strerror(errno.ENOSPC), self.path)
        except OSError:
            with contextlib.suppress(OSError):
                os.ftruncate(self._target, self._end)
            raise
        self._remember(line["input"], self._end + self._is_cut)
        self._end += len(text)
        self._is_cut = False

    def latest(self, name: str) -> Line | None:
        """What was noted last of an input."""
        row = self._index.execute("SELECT place FROM latest WHERE input = ?",
                                  (_key(name),)).fetchone()
        return None if row is None else self._at(row[0])

    def lines(self) -> Iterator[Line]:
        """What was noted last of each input, in the order of the journal."""
        for (place,) in self._index.execute("SELECT place FROM latest ORDER BY place"):
            yield self._at(place)

    def _at(self, place: int) -> Line:
        self._source.seek(place)
        line: Line = json.loads(self._source.readline())
        return line

    def take(self, output: str, name: str) -> str | None:
        """Takes an output for an input of this run; the input that had taken it before."""
        self._index.execute("INSERT OR IGNORE INTO taken VALUES (?, ?)", (_key(output), _key(name)))
        row = self._index.execute("SELECT input FROM taken WHERE output = ?",
                                  (_key(output),)).fetchone()
        other = row[0].decode(errors="surrogateescape")
        return None if other == name else other

    def close(self) -> None:
        """Gives the output free for other runs."""
        self._index.close()
        self._folder.cleanup()
        self._source.close()
        os.close(self._target)

    def __enter__(self) -> Journal:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 traceback: TracebackType | None) -> None:
        self.close()


def is_done(line: Line | None, item: Input, mark: str, again: bool) -> bool:
    """Whether an earlier run has done an input as it is now, or has set it aside."""
    if line is None or (line["size"], line["modified"]) != (item.size, item.modified):
        return False
    if line.get("error"):
        return bool(line.get("aside")) and not again
    return line["settings"] == mark and all(places.exists(path) for path in line["outputs"])


def default_path(output: str) -> str:
    if places.is_url(output):
        raise ValueError("an output elsewhere needs the name of a journal file on this machine")
    return os.path.join(output, places.STATE, "journal.jsonl")


def _key(name: str) -> bytes:
    """Names of files may be bytes that are no text."""
    return name.encode(errors="surrogateescape")


def _lock(file: int) -> None:
    """Ends with the process, however that ends."""
    if os.name == "nt":
        import msvcrt

        os.lseek(file, 1 << 40, os.SEEK_SET)  # beyond the lines, which others may read
        msvcrt.locking(file, msvcrt.LK_NBLCK, 1)  # type: ignore[attr-defined]
    else:
        import fcntl

        fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
