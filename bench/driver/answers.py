"""Whether two engines gave the same result: the same rows in any order, numbers equal to about nine
digits, blanks at the end of texts not counted.
"""

import datetime
import decimal
import json
import math
import re
from collections.abc import Iterable, Sequence

#: Values as texts, NULL as None.
Row = Sequence[str | None]
Rows = Sequence[Row]

TOLERANCE = 2e-9
NUMBER = re.compile(r"[-+]?\d+(\.\d*)?([eE][-+]?\d+)?", re.ASCII)


def text_of(value: object) -> str | None:
    """A value of a peer as the text that is compared; TypeError for one that has no such text."""
    match value:
        case None:
            return None
        case bool():
            return str(value).lower()
        case str():
            return value
        case int() | float():
            return repr(value)
        case decimal.Decimal():
            return format(value, "f")
        case datetime.date() | datetime.time():
            return value.isoformat()
    raise TypeError(f"{type(value).__name__} is no value of a result")


def rows_of(rows: Iterable[Iterable[object]]) -> Rows:
    return [[text_of(value) for value in row] for row in rows]


def _same_value(a: str | None, b: str | None) -> bool:
    if a is None or b is None:
        return a is b
    if not NUMBER.fullmatch(a) or not NUMBER.fullmatch(b):
        return a.rstrip() == b.rstrip()
    return math.isclose(float(a), float(b), rel_tol=TOLERANCE)


def _same_row(a: Row, b: Row) -> bool:
    return len(a) == len(b) and all(map(_same_value, a, b))


def _sorted(rows: Rows) -> list[Row]:
    """In the order of their values; results by groups have the keys of the groups in front."""

    def key(row: Row) -> list[tuple[bool, str]]:
        return [(value is not None, (value or "").rstrip()) for value in row]

    return sorted(rows, key=key)


def difference(expected: Rows, actual: Rows) -> str | None:
    """What differs first, as text; None when the results are the same."""
    if len(expected) != len(actual):
        return f"{len(actual)} rows, not {len(expected)}"
    for a, b in zip(_sorted(expected), _sorted(actual), strict=True):
        if not _same_row(a, b):
            return f"{json.dumps(b)}, not {json.dumps(a)}"
    return None
