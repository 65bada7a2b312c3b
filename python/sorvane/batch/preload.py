"""Makes ready the worker processes that a run starts on its own machine."""

from __future__ import annotations

import signal
from typing import Any


def dask_setup(worker: Any) -> None:
    """Ctrl-C is for the client, which lets workers finish what they are at."""
    signal.signal(signal.SIGINT, signal.SIG_IGN)
