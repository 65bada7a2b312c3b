"""The packages that sorvane can use and doesn't ask for, each with what it is for."""

from __future__ import annotations

import importlib
from typing import Any

REASONS = {
    "soundfile": "reads and writes files other than plain WAV in denoise_file",
    "tqdm": "shows how far denoise_file has come",
    "distributed": "runs sorvane.batch (with dask, of the same makers)",
    "fsspec": "opens URLs in sorvane.batch; HTTP takes aiohttp and requests too, SFTP paramiko, "
              "and object stores packages of their own, such as s3fs",
    "bokeh": "draws the dashboard of sorvane.batch",
}


def find(name: str) -> Any | None:
    """The module, or None where it isn't installed."""
    try:
        return importlib.import_module(name)
    except ImportError:
        return None


def need(name: str) -> Any:
    """The module; ImportError tells what it is needed for."""
    module = find(name)
    if module is None:
        raise ImportError(f"the package {name!r} is missing; it {REASONS[name]}", name=name)
    return module
