"""The types of DB-API 2.0: what makes values of parameters, and what the types of columns equal."""

from __future__ import annotations

import datetime as dt


class TypeObject:
    """Equal to the types of columns, as a cursor's description has them, that are of one kind."""

    def __init__(self, name: str, *types: str) -> None:
        self._name = name
        self._types = frozenset(types)

    def __eq__(self, other: object) -> bool:
        """Lengths in parentheses do not count."""
        if isinstance(other, str):
            return other.partition("(")[0] in self._types
        return self is other

    def __hash__(self) -> int:
        """One of its own: the types that it equals are several."""
        return id(self)

    def __repr__(self) -> str:
        """Where it is found."""
        return f"sqxer.{self._name}"


_NUMBERS = (
    "boolean", "bit", "int1", "uint1", "int2", "uint2", "int4", "uint4", "float", "double",
    "numeric",
)  # fmt: skip

STRING = TypeObject("STRING", "char", "varchar")
BINARY = TypeObject("BINARY")
NUMBER = TypeObject("NUMBER", *_NUMBERS)
DATETIME = TypeObject("DATETIME", "date", "time", "timestamp", "interval")
ROWID = TypeObject("ROWID")

Date = dt.date
Time = dt.time
Timestamp = dt.datetime
Binary = bytes


def DateFromTicks(ticks: float) -> dt.date:  # noqa: N802 (the name that DB-API 2.0 wants)
    """The local day of a number of seconds since 1970."""
    return dt.date.fromtimestamp(ticks)


def TimeFromTicks(ticks: float) -> dt.time:  # noqa: N802
    """The local time of day of a number of seconds since 1970."""
    return dt.datetime.fromtimestamp(ticks).time()


def TimestampFromTicks(ticks: float) -> dt.datetime:  # noqa: N802
    """The local moment of a number of seconds since 1970."""
    return dt.datetime.fromtimestamp(ticks)
