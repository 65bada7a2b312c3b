from __future__ import annotations

from types import TracebackType
from typing import NoReturn, TypeVar

from ._engine import Model, Processor

_Handle = TypeVar("_Handle", bound="Handle")


class Handle:
    """A handle of the engine, which ends with `close` or with the block that it is opened in."""

    __slots__ = ("__weakref__", "_engine")

    _engine: Model | Processor

    def close(self) -> None:
        """Releases the model. Other calls then raise ValueError."""
        self._engine.close()

    @property
    def closed(self) -> bool:
        """Whether it has been closed."""
        return self._engine.closed

    def __enter__(self: _Handle) -> _Handle:
        if self.closed:
            raise ValueError("it is closed")
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.close()

    def __reduce__(self) -> NoReturn:
        raise TypeError(f"a {type(self).__name__} can't be copied or pickled")
