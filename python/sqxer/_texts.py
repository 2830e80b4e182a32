"""Values of parameters and switches as the texts that the engine reads."""

from __future__ import annotations

import datetime as dt
from decimal import Decimal

from ._values import Interval
from .errors import InterfaceError


def switch_text(value: object) -> str:
    """A value of a switch."""
    return ("on" if value else "off") if isinstance(value, bool) else str(value)


def _moment(value: dt.date | dt.time) -> str:
    if isinstance(value, dt.time):
        return f"time:{value.isoformat()}"
    if not isinstance(value, dt.datetime):
        return f"date:{value.isoformat()}"
    if value.tzinfo is not None:
        value = value.astimezone(dt.UTC).replace(tzinfo=None)
    return f"timestamp:{value.isoformat(sep=' ')}"


def parameter_text(value: object) -> str:  # noqa: PLR0911 (one for each type)
    """A value of a parameter, with its type, as the engine reads it."""
    if value is None:
        return ""
    if isinstance(value, bool):
        return f"boolean:{'true' if value else 'false'}"
    if isinstance(value, int):
        return f"{'int4' if -(1 << 31) <= value < 1 << 31 else 'numeric'}:{value}"
    if isinstance(value, float):
        return f"double:{float.__repr__(value)}"
    if isinstance(value, Decimal):
        return f"numeric:{value}"
    if isinstance(value, str):
        return f"varchar:{value}"
    if isinstance(value, dt.date | dt.time):
        return _moment(value)
    if isinstance(value, dt.timedelta):
        value = Interval(0, value.days, value.seconds * 1_000_000 + value.microseconds)
    if isinstance(value, Interval):
        return f"interval:{value.months} mons {value.days} days {value.microseconds} us"
    msg = f"a parameter cannot be a {type(value).__name__}"
    raise InterfaceError(msg)
