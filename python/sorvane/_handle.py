from __future__ import annotations

from types import TracebackType
from typing import TypeVar

from ._engine import Model, Processor

_Handle = TypeVar("_Handle", bound="Handle")


class Handle:
    """A handle of the engine, which ends with `close` or with the block that it is opened in."""

    _engine: Model | Processor

    def close(self) -> None:
        """Releases the model. Other calls then raise ValueError."""
        self._engine.close()

    def __enter__(self: _Handle) -> _Handle:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.close()
