"""The workers: processes of this machine, or a cluster that is there."""

from __future__ import annotations

import contextlib
import logging
import os
from collections.abc import Iterator
from typing import Any

from .._optional import need
from .settings import Plan


@contextlib.contextmanager
def connect(plan: Plan) -> Iterator[Any]:
    """A client of Dask, with the workers of the plan."""
    distributed = need("distributed")
    if plan.scheduler is not None or plan.scheduler_file is not None:
        with distributed.Client(address=plan.scheduler, scheduler_file=plan.scheduler_file,
                                set_as_default=False) as client:
            yield client
        return
    os.environ.setdefault("DASK_LOGGING__DISTRIBUTED", "error")  # of the workers as they start
    with need("dask").config.set(_OWN_CLUSTER), distributed.LocalCluster(
        n_workers=plan.workers or usable_cores(),
        threads_per_worker=1,
        processes=True,
        dashboard_address=plan.dashboard,
        silence_logs=logging.CRITICAL,
        memory_limit=0,  # the work is done by processes of its own
        preload=["sorvane.batch.preload"],
    ) as cluster, distributed.Client(cluster, set_as_default=False) as client:
        yield client


_OWN_CLUSTER = {
    # A file whose worker died goes back to the run, which tries it once more apart from others.
    "distributed.scheduler.allowed-failures": 0,
    # What the scheduler remembers of tasks that are over.
    "distributed.scheduler.transition-log-length": 1000,
    "distributed.scheduler.events-log-length": 1000,
}


def retries_itself(client: Any) -> bool:
    """Whether the scheduler gives a file to other workers by itself when one dies."""
    return bool(client.run_on_scheduler(_allowed_failures))


def _allowed_failures(dask_scheduler: Any) -> int:
    return int(dask_scheduler.allowed_failures)


def usable_cores() -> int:
    """Cores that this process may run on."""
    try:
        return len(os.sched_getaffinity(0))
    except AttributeError:
        return os.cpu_count() or 1
