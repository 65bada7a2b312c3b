"""Cleans archives of recordings, on all cores of a machine or on a cluster of Dask.

    from sorvane import batch
    result = batch.run(["recordings"], "clean", settings=batch.Settings(keep="10%"))

and the same as a command: `sorvane-batch recordings clean --keep 10%`. It takes the package
distributed, and runs the program `sorvane` on the workers.
"""

from __future__ import annotations

import os
import shutil
from collections.abc import Iterable
from dataclasses import dataclass
from typing import Any

from . import cluster, journal, places, report
from .inputs import Search
from .journal import InUse
from .progress import Census, Progress
from .scheduling import Interrupts, Scheduling, Stopped
from .settings import Plan, Settings

__all__ = ["InUse", "Plan", "Result", "Settings", "run", "run_plan"]


@dataclass(frozen=True)
class Result:
    """What a run has done."""

    done: int
    failed: int
    passed_over: int
    """Inputs that an earlier run had done."""
    without_audio: int
    """Files in folders that aren't audio."""
    seconds: float
    """Length of the audio that was done."""
    stopped: str | None
    """Why it ended before its inputs did; the same call goes on with it."""
    summary: str

    @property
    def is_whole(self) -> bool:
        """Whether all inputs are done."""
        return self.stopped is None and self.failed == 0


def run(inputs: str | os.PathLike[str] | Iterable[str | os.PathLike[str]],
        output: str | os.PathLike[str], **options: Any) -> Result:
    """Cleans all inputs that an earlier run on the same output hasn't done.

    inputs   files, folders, patterns, manifests (CSV or JSON lines) and URLs of fsspec.
    output   a folder or URL; the tree of the inputs is mirrored there.
    options  the fields of Plan: settings, workers, scheduler, report...

    A broken input is a line in the journal and counted. Raises InUse while another run writes to the
    output, ImportError where a package is missing, and ValueError for inputs that can't be listed.
    """
    names = [inputs] if isinstance(inputs, (str, os.PathLike)) else list(inputs)
    return run_plan(Plan([os.fspath(n) for n in names], os.fspath(output), **options))


def run_plan(plan: Plan) -> Result:
    """The same for a plan."""
    if not places.is_url(plan.output):
        plan.output = os.path.abspath(plan.output)  # workers may be in other folders
    path = plan.journal or journal.default_path(plan.output)
    with Interrupts() as interrupts, journal.Journal(path) as notes:
        _remove_leftovers(plan.output)
        census = Census(Search(plan.inputs, plan.output))
        census.start()
        progress = Progress(census, plan.quiet)
        search = Search(plan.inputs, plan.output)
        stopped = None
        with cluster.connect(plan) as client:
            try:
                Scheduling(plan, client, notes, progress).run(iter(search), interrupts)
            except Stopped as reason:
                stopped = str(reason)
        _remove_leftovers(plan.output)
        if plan.report is not None:
            report.write(notes.lines(), plan.report)
        summary = progress.summary()
        if not plan.quiet:
            progress.say(summary)
    return Result(progress.done, progress.failed, progress.passed_over, search.without_audio,
                  progress.seconds, stopped, summary)


def _remove_leftovers(output: str) -> None:
    """What a run or a worker that was killed had not finished."""
    if not places.is_url(output):
        shutil.rmtree(places.partial_folder(output), ignore_errors=True)
