"""What a run is asked to do."""

from __future__ import annotations

import json
from dataclasses import dataclass, field


@dataclass(frozen=True)
class Settings:
    """How every file is processed. It travels to the workers."""

    model: str | None = None
    """Name or path; by default the speech model that suits the file's rate."""
    keep: str | None = None
    """How much of the noise stays: "10%" or "-20dB"."""
    rest: bool = False
    """Gives what was removed instead."""
    stems: str | None = None
    """"all", or busses with commas: a file NAME.BUS.EXT for each. Takes a model."""
    bitrate: int | None = None
    """Kilobits a second of lossy outputs."""
    program: str | None = None
    """Path of the program `sorvane` on the workers, by default the one that is found there."""

    def __post_init__(self) -> None:
        if self.stems is not None and self.model is None:
            raise ValueError("stems take a model: its busses are the stems")
        if self.stems is not None and (self.keep is not None or self.rest):
            raise ValueError("stems go with neither keep nor rest")
        if self.keep is not None and self.rest:
            raise ValueError("keep and rest don't go together")

    def mark(self) -> str:
        """A text that differs where outputs would."""
        asked = {"model": self.model, "keep": self.keep, "rest": self.rest or None,
                 "stems": self.stems, "bitrate": self.bitrate}
        return json.dumps({name: value for name, value in asked.items() if value is not None})


@dataclass
class Plan:
    """A run: where from, where to, and by whom."""

    inputs: list[str]
    output: str
    settings: Settings = field(default_factory=Settings)
    journal: str | None = None
    """File of the journal, by default in the output folder."""
    workers: int | None = None
    """Processes on this machine; by default one for each core."""
    scheduler: str | None = None
    """Address of a Dask scheduler to join instead."""
    scheduler_file: str | None = None
    dashboard: str | None = None
    """Address for Dask's dashboard, such as ":8787"."""
    again: bool = False
    """Tries files once more that were set aside."""
    report: str | None = None
    """Folder for a table and a page about the run."""
    quiet: bool = False
