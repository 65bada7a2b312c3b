from __future__ import annotations

from collections.abc import Sequence
from typing import overload

from . import _engine

_NUM_STEERED = 16


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
    def gain(self) -> float:
        """Linear gain, 0 to 100; 1 at first."""
        return self._get(_engine.BUS_GAIN, 1.0)

    @gain.setter
    def gain(self, value: float) -> None:
        self._set(_engine.BUS_GAIN, value, 0.0, 100.0, "gain")

    @property
    def sensitivity(self) -> float:
        """How far the mask of the bus is bent, -100 to 100; 0 at first.

        Positive values lower its middle range, negative ones raise it.
        """
        return self._get(_engine.BUS_SENSITIVITY, 0.0)

    @sensitivity.setter
    def sensitivity(self, value: float) -> None:
        self._set(_engine.BUS_SENSITIVITY, value, -100.0, 100.0, "sensitivity")

    def _get(self, family: int, fixed: float) -> float:
        return self._engine.parameter(family + self._index) if self._index < _NUM_STEERED else fixed

    def _set(self, family: int, value: float, least: float, most: float, what: str) -> None:
        if self._index >= _NUM_STEERED:
            raise ValueError(f"only the first {_NUM_STEERED} busses can be steered")
        if not least <= value <= most:  # NaN neither
            raise ValueError(f"a {what} is from {least:g} to {most:g}, not {value}")
        self._engine.set_parameter(family + self._index, value)

    def __repr__(self) -> str:
        if self._engine.closed:
            return f"Bus({self._name!r}, closed)"
        return f"Bus({self._name!r}, gain={self.gain:g}, sensitivity={self.sensitivity:g})"


class Busses(Sequence[Bus]):
    """The busses of a processor, by number or by name. The last is what the masks leave over."""

    __slots__ = ("_busses",)

    def __init__(self, engine: _engine.Processor) -> None:
        names = [engine.bus_name(i).decode(errors="replace") for i in range(engine.num_busses)]
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
