"""Conditions of statements as filters of pyarrow's datasets."""

from __future__ import annotations

import datetime as dt
import math
from decimal import Decimal
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from collections.abc import Callable

    from ._engine import Condition

    # The filter of a comparison; True where it leaves no row out, None where it could fail.
    Term = Any


_MICROSECOND_DIGITS = 6


def _between(field: Any, comparison: str, low: Any, high: Any) -> Term:  # noqa: ANN401
    """Rows whose value may compare so with something from `low` to `high`."""
    terms: dict[str, Callable[[], Term]] = {
        "=": lambda: (field >= low) & (field <= high),
        "<>": lambda: True,
        "<": lambda: field <= high,
        "<=": lambda: field <= high,
        ">": lambda: field >= low,
        ">=": lambda: field >= low,
    }
    return terms[comparison]()


def _number_term(field: Any, kind: Any, comparison: str, text: str) -> Term:  # noqa: ANN401
    import pyarrow as pa  # noqa: PLC0415

    number = Decimal(text)
    if pa.types.is_integer(kind):
        # Unsigned integers of 64 bits meet no signed ones there.
        if abs(number) >= 1 << 62 or pa.types.is_uint64(kind):
            return True
        return _between(field, comparison, math.floor(number), math.ceil(number))
    if not pa.types.is_float64(kind):
        return True
    near = float(number)
    low, high = math.nextafter(near, -math.inf), math.nextafter(near, math.inf)
    if math.isinf(low) or math.isinf(high):
        return True
    term = _between(field, comparison, low, high)
    # It stands behind all numbers here, and beside them there.
    return term | field.is_nan() if comparison in {">", ">="} else term


def _text_term(field: Any, comparison: str, text: str) -> Term:  # noqa: ANN401
    # Blanks at the end do not count here. What lies between the text and the one with the character
    # behind the blank at its end begins with the text, and goes on with blanks if with anything.
    bare = text.rstrip(" ")
    if not bare or min(bare) < " ":
        return True
    return _between(field, comparison, bare, bare + "!")


def _moment_term(field: Any, kind: Any, comparison: str, text: str) -> Term:  # noqa: ANN401
    import pyarrow as pa  # noqa: PLC0415

    try:
        if pa.types.is_date32(kind):
            value = pa.scalar(dt.date.fromisoformat(text), kind)
        else:
            moment = dt.datetime.fromisoformat(text)
            # What is finer than microseconds is cut there.
            if moment.tzinfo is not None or len(text.partition(".")[2]) > _MICROSECOND_DIGITS:
                return True
            value = pa.scalar(moment.replace(tzinfo=dt.UTC) if kind.tz else moment, kind)
    except (ValueError, OverflowError, pa.ArrowInvalid):
        return True
    return _between(field, comparison, value, value)


def _term(field: Any, kind: Any, comparison: str, value: tuple[str, str]) -> Term:  # noqa: ANN401
    import pyarrow as pa  # noqa: PLC0415

    literal, text = value
    if pa.types.is_integer(kind) or pa.types.is_floating(kind) or pa.types.is_decimal(kind):
        return _number_term(field, kind, comparison, text) if literal == "number" else None
    if pa.types.is_string(kind) or pa.types.is_large_string(kind):
        return _text_term(field, comparison, text) if literal == "text" else None
    if pa.types.is_date32(kind) and literal == "date":
        return _moment_term(field, kind, comparison, text)
    if pa.types.is_timestamp(kind) and literal in {"date", "timestamp"}:
        return _moment_term(field, kind, comparison, text)
    return None


def filter_of(conditions: list[Condition], schema: Any) -> Any:  # noqa: ANN401
    """A filter that leaves out none of the rows for which the conditions hold; None for none.

    It goes as far as the conditions can be told, and never beyond one that may fail for a row.
    """
    whole = None
    for column, comparison, values in conditions:
        import pyarrow.compute as pc  # noqa: PLC0415

        field = pc.field(column)
        if comparison == "is null":
            term = field.is_null()
        elif comparison == "is not null":
            term = field.is_valid()
        else:
            terms = [_term(field, schema.field(column).type, comparison, v) for v in values]
            if any(term is None for term in terms):
                break
            if any(term is True for term in terms):
                continue
            term = terms[0]
            for other in terms[1:]:
                term |= other
        whole = term if whole is None else whole & term
    return whole
