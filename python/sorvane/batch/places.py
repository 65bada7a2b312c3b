"""Files on this machine, and on others by their URLs: reads them, and writes them whole or not."""

from __future__ import annotations

import contextlib
import os
import posixpath
import shutil
import tempfile
import uuid
from collections.abc import Iterator
from typing import Any

from .._optional import need

STATE = ".sorvane-batch"
"""Folder in the output folder for the journal and for what isn't whole yet."""

_RENAMING = frozenset({"sftp", "ssh", "ftp", "smb", "file", "local"})


def is_url(name: str) -> bool:
    return "://" in name


def open_url(url: str) -> tuple[Any, str]:
    """The file system of a URL and the path in it."""
    system, path = need("fsspec").core.url_to_fs(url)
    return system, path


@contextlib.contextmanager
def local_file(url: str) -> Iterator[str]:
    """The path of a file; one from elsewhere is copied here for as long as it is used."""
    if not is_url(url):
        yield url
        return
    system, path = open_url(url)
    with tempfile.TemporaryDirectory(prefix="sorvane-") as folder:
        copy = os.path.join(folder, posixpath.basename(path.partition("?")[0]) or "input")
        system.get_file(path, copy)
        yield copy


@contextlib.contextmanager
def stage(output: str) -> Iterator[str]:
    """A new folder to write in. Of a local output it is on the same disk, so that what is whole
    need only be renamed."""
    if is_url(output):
        with tempfile.TemporaryDirectory(prefix="sorvane-") as folder:
            yield folder
        return
    partial = partial_folder(output)
    os.makedirs(partial, exist_ok=True)
    folder = tempfile.mkdtemp(dir=partial)
    try:
        yield folder
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def partial_folder(output: str) -> str:
    return os.path.join(output, STATE, "partial")


def deliver(path: str, output: str, name: str) -> str:
    """Gives a staged file its place `name` below the output; returns where it is then."""
    if not is_url(output):
        target = os.path.join(output, *name.split("/"))
        os.makedirs(os.path.dirname(target), exist_ok=True)
        os.replace(path, target)
        return target
    system, root = open_url(output)
    target = posixpath.join(root, name)
    protocols = {system.protocol} if isinstance(system.protocol, str) else set(system.protocol)
    if protocols.isdisjoint(_RENAMING):
        system.put_file(path, target)  # an object appears when it is whole
        return posixpath.join(output, name)
    try:
        system.makedirs(posixpath.dirname(target), exist_ok=True)
    except OSError:  # another worker made it at the same time
        if not system.isdir(posixpath.dirname(target)):
            raise
    beside = f"{target}.{uuid.uuid4().hex}.part"
    try:
        system.put_file(path, beside)
        if system.exists(target):  # SFTP doesn't rename onto a file
            system.rm_file(target)
        system.mv(beside, target)
    except BaseException:
        with contextlib.suppress(OSError):
            system.rm_file(beside)
        raise
    return posixpath.join(output, name)


def exists(path: str) -> bool:
    if not is_url(path):
        return os.path.isfile(path)
    system, inner = open_url(path)
    return bool(system.exists(inner))
