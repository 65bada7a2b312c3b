"""Gives files to workers, a few ahead of them, and notes what comes back."""

from __future__ import annotations

import queue
import signal
import threading
import uuid
from collections import deque
from collections.abc import Iterator
from typing import Any, Protocol

from . import cluster, worker
from .inputs import Input
from .journal import Journal, Line, is_done
from .settings import Plan

_AHEAD = 2  # files for each thread of a worker, so that none waits for the client
_GATHERED = 256  # results that are fetched at a time
_TICK = 0.2  # seconds


class Stopped(Exception):
    """The run ended before its inputs did; it can be gone on with."""


class Watcher(Protocol):
    """Who looks on: the progress."""

    def noted(self, line: Line) -> None: ...
    def passed_over_input(self, item: Input) -> None: ...
    def tick(self, in_flight: int) -> None: ...


class Interrupts:
    """Ctrl-C and SIGTERM: the first asks the run to stop, a second Ctrl-C ends it at once."""

    def __init__(self) -> None:
        self.asked = False
        self._before: dict[int, Any] = {}

    def __enter__(self) -> Interrupts:
        if threading.current_thread() is threading.main_thread():
            for number in (signal.SIGINT, signal.SIGTERM):
                self._before[number] = signal.signal(number, self._ask)
        return self

    def __exit__(self, *error: object) -> None:
        for number, handler in self._before.items():
            signal.signal(number, handler)

    def _ask(self, number: int, frame: object) -> None:
        if self.asked and number == signal.SIGINT:
            raise KeyboardInterrupt
        self.asked = True


class Scheduling:
    """One pass over the inputs."""

    def __init__(self, plan: Plan, client: Any, journal: Journal, watcher: Watcher) -> None:
        self._plan = plan
        self._client = client
        self._journal = journal
        self._watcher = watcher
        self._mark = plan.settings.mark()
        self._done: queue.SimpleQueue[Any] = queue.SimpleQueue()
        self._in_flight: dict[Any, Input] = {}
        self._suspects: deque[Input] = deque()
        self._retries_itself = cluster.retries_itself(client)

    def run(self, inputs: Iterator[Input], interrupts: Interrupts) -> None:
        """Raises Stopped when it was interrupted, the scheduler went away or the disk is full."""
        try:
            self._pass(self._pending(inputs), _AHEAD, False, interrupts)
            # One of them has killed its worker, others may only have been near: each is alone now.
            suspects = iter(list(self._suspects))
            self._suspects.clear()
            self._pass(suspects, 1, True, interrupts)
        except OSError as error:
            raise Stopped(f"the journal can't be written: {error}") from error

    def _pending(self, inputs: Iterator[Input]) -> Iterator[Input]:
        for item in inputs:
            other = self._journal.take(item.output, item.url)
            if other is not None:
                self._note(item, f"its output would be that of {other}")
            elif is_done(self._journal.latest(item.url), item, self._mark, self._plan.again):
                self._watcher.passed_over_input(item)
            else:
                yield item

    def _pass(self, items: Iterator[Input], ahead: int, is_last: bool,
              interrupts: Interrupts) -> None:
        more = True
        while more or self._in_flight:
            if interrupts.asked:
                self._finish_what_runs()
                raise Stopped("interrupted")
            while more and len(self._in_flight) < ahead * self._threads():
                item = next(items, None)
                if item is None:
                    more = False
                elif not interrupts.asked:
                    self._submit(item)
                else:
                    break
                if not self._done.empty():
                    break
            self._collect(is_last)
            self._watcher.tick(len(self._in_flight))

    def _threads(self) -> int:
        workers = self._client.scheduler_info()["workers"].values()
        return max(1, sum(int(w["nthreads"]) for w in workers))

    def _submit(self, item: Input) -> None:
        future = self._client.submit(worker.process, item, self._plan.output, self._plan.settings,
                                     key=f"denoise-{uuid.uuid4().hex}", pure=False)
        self._in_flight[future] = item
        future.add_done_callback(self._done.put)

    def _collect(self, is_last: bool) -> None:
        """Notes what is done, and waits a moment if nothing is."""
        if not self._in_flight:
            return
        futures = []
        try:
            futures.append(self._done.get(timeout=_TICK))
            while len(futures) < _GATHERED:
                futures.append(self._done.get_nowait())
        except queue.Empty:
            pass
        if self._client.status != "running":
            raise Stopped("the scheduler has gone")
        finished = [f for f in futures if f.status == "finished"]
        lines = dict(zip(finished, self._client.gather(finished))) if finished else {}
        for future in futures:
            item = self._in_flight.pop(future, None)
            if item is None:
                continue
            if future in lines:
                self._note_line(lines[future])
            elif future.status == "error":
                self._failed(item, future.exception(), is_last)
            else:
                raise Stopped("the scheduler has gone")

    def _failed(self, item: Input, error: BaseException, is_last: bool) -> None:
        if type(error).__name__ != "KilledWorker":
            self._note(item, str(error) or type(error).__name__)
        elif is_last or self._retries_itself:
            self._note(item, "its worker died each time", aside=True)
        else:
            self._suspects.append(item)

    def _note(self, item: Input, error: str, aside: bool = False) -> None:
        self._note_line({"input": item.url, "size": item.size, "modified": item.modified,
                         "settings": self._mark, "outputs": [], "error": error,
                         **({"aside": True} if aside else {})})

    def _note_line(self, line: Line) -> None:
        self._journal.add(line)
        self._watcher.noted(line)
        if line.get("error") == worker.OUTPUT_FULL:
            raise Stopped(worker.OUTPUT_FULL)

    def _finish_what_runs(self) -> None:
        """Takes back what no worker has begun, and waits for the rest."""
        begun = {url for urls in self._client.run(worker.running).values() for url in urls}
        waiting = [f for f, item in self._in_flight.items() if item.url not in begun]
        for future in waiting:
            if future.status == "pending":
                del self._in_flight[future]
                future.cancel()
        while self._in_flight:
            self._collect(True)
            self._watcher.tick(len(self._in_flight))
