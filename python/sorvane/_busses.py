from __future__ import annotations

from collections.abc import Sequence
from typing import overload

from . import _engine


class Bus:
    """One bus of a processor. Its values may be moved on any thread while audio runs."""

    __slots__ = ("_engine", "_index", "_name")

    def __init__(self, engine: _engine.Processor, index: int, name: str) -> None:
        self._engine = engine
        self._index = index
        self._name = name

    @property
    def name(self) -> str:
        """Name of the bus; several may have the same."""
        return self._name

    @property
    def number(self) -> int:
        """Number of the bus, from 0."""
        return self._index

    @property
    def gain(self) -> float:
        """Linear gain, 0 to 100; 1 at first."""
        return self._engine.gain(self._index)

    @gain.setter
    def gain(self, value: float) -> None:
        self._engine.set_gain(self._index, value)

    @property
    def sensitivity(self) -> float:
        """How far the mask of the bus is bent, -100 to 100; 0 at first.

        Positive values lower its middle range, negative ones raise it.
        """
        return self._engine.sensitivity(self._index)

    @sensitivity.setter
    def sensitivity(self, value: float) -> None:
        self._engine.set_sensitivity(self._index, value)

    def __repr__(self) -> str:
        if self._engine.closed:
            return f"Bus({self._name!r}, closed)"
        return f"Bus({self._name!r}, gain={self.gain:g}, sensitivity={self.sensitivity:g})"


class Busses(Sequence[Bus]):
    """The busses of a processor, by number or by name. The last is what the masks leave over."""

    __slots__ = ("_busses",)

    def __init__(self, engine: _engine.Processor) -> None:
        names = [name.decode(errors="replace") for name in engine.bus_names()]
        self._busses = [Bus(engine, i, name) for i, name in enumerate(names)]

    @property
    def names(self) -> list[str]:
        """Names of the busses in their order."""
        return [bus.name for bus in self._busses]

    def __len__(self) -> int:
        return len(self._busses)

    def __contains__(self, key: object) -> bool:
        return key in self.names if isinstance(key, str) else super().__contains__(key)

    @overload
    def __getitem__(self, key: int | str) -> Bus: ...
    @overload
    def __getitem__(self, key: slice) -> list[Bus]: ...
    def __getitem__(self, key: int | str | slice) -> Bus | list[Bus]:
        if not isinstance(key, str):
            return self._busses[key]
        for bus in self._busses:
            if bus.name == key:
                return bus
        raise KeyError(f"no bus {key!r}; there are {', '.join(self.names)}")

    def __repr__(self) -> str:
        return f"Busses({self.names})"
