"""Python values to Arrow buffers and back, without any package but the standard library."""

from __future__ import annotations

import array
import datetime as dt
import itertools
import struct
from collections.abc import Callable, Iterable, Sequence
from decimal import Context, Decimal
from typing import TYPE_CHECKING, Any, NamedTuple

if TYPE_CHECKING:
    from ._engine import Batch, BatchColumn

_EPOCH = dt.date(1970, 1, 1)
_EPOCH_TIME = dt.datetime(1970, 1, 1)
_EXACT = Context(prec=80)
_FORMATS = {
    "c": "b",
    "C": "B",
    "s": "h",
    "S": "H",
    "i": "i",
    "I": "I",
    "l": "q",
    "f": "f",
    "g": "d",
}

Column = tuple[str, str, int, int, list[object]]


class Interval(NamedTuple):
    """A span of time with months, which are no fixed number of days.

    Spans without months are `datetime.timedelta`, if that can hold them.
    """

    months: int
    days: int
    microseconds: int


_INTERVAL = struct.Struct("<iiq")


def _bits(buffer: bytes, first: int, count: int) -> list[bool]:
    return [bool(buffer[i >> 3] >> (i & 7) & 1) for i in range(first, first + count)]


def _numbers(code: str, buffer: bytes | None, first: int, count: int) -> list[Any]:
    values = array.array(code)
    values.frombytes(buffer or b"")
    return values[first : first + count].tolist()


def _decimals(buffer: bytes | None, first: int, count: int, scale: int) -> list[Any]:
    """Decimals, or integers where there are no digits behind the point."""
    view = buffer or b""
    numbers = [
        int.from_bytes(view[i * 16 : i * 16 + 16], "little", signed=True)
        for i in range(first, first + count)
    ]
    if scale == 0:
        return numbers
    return [Decimal(number).scaleb(-scale, _EXACT) for number in numbers]


def _date(days: int) -> dt.date | None:
    try:
        return _EPOCH + dt.timedelta(days=days)
    except OverflowError:
        return None


def _time(nanoseconds: int) -> dt.time:
    seconds, rest = divmod(nanoseconds, 1_000_000_000)
    return dt.time(seconds // 3600, seconds // 60 % 60, seconds % 60, rest // 1000)


def _timestamp(per_second: int) -> Callable[[int], dt.datetime]:
    def convert(count: int) -> dt.datetime:
        seconds, rest = divmod(count, per_second)
        microseconds = rest * 1_000_000 // per_second
        return _EPOCH_TIME + dt.timedelta(seconds=seconds, microseconds=microseconds)

    return convert


def _interval(months: int, days: int, nanoseconds: int) -> dt.timedelta | Interval:
    microseconds = nanoseconds // 1000
    if months == 0:
        try:
            return dt.timedelta(days=days, microseconds=microseconds)
        except OverflowError:
            pass
    return Interval(months, days, microseconds)


def _intervals(buffer: bytes | None, first: int, count: int) -> list[dt.timedelta | Interval]:
    size = _INTERVAL.size
    values = memoryview(buffer or b"")[first * size : (first + count) * size]
    return [_interval(*parts) for parts in _INTERVAL.iter_unpack(values)]


def _texts(buffers: list[bytes | None], code: str, first: int, count: int) -> list[str]:
    offsets = _numbers(code, buffers[1], first, count + 1)
    text = buffers[2] or b""
    return [text[a:b].decode() for a, b in itertools.pairwise(offsets)]


def _values(column: BatchColumn) -> list[Any]:  # noqa: PLR0911 (one for each kind of layout)
    """The values of a column of a batch, with anything where there is NULL."""
    form, _, first, count, buffers, dictionary = column
    if dictionary is not None:
        entries = decode(dictionary)
        codes = _numbers(_FORMATS[form], buffers[1], first, count)
        return [entries[code] if 0 <= code < len(entries) else None for code in codes]
    if form == "b":
        return _bits(buffers[1] or b"", first, count)
    if form in _FORMATS:
        return _numbers(_FORMATS[form], buffers[1], first, count)
    if form.startswith("d:"):
        return _decimals(buffers[1], first, count, int(form.split(",")[1]))
    if form == "tdD":
        return [_date(days) for days in _numbers("i", buffers[1], first, count)]
    if form == "ttn":
        return [_time(value) for value in _numbers("q", buffers[1], first, count)]
    if form in {"tsu:", "tsn:"}:
        convert = _timestamp(1_000_000 if form == "tsu:" else 1_000_000_000)
        return [convert(value) for value in _numbers("q", buffers[1], first, count)]
    if form == "tin":
        return _intervals(buffers[1], first, count)
    return _texts(buffers, "q" if form == "U" else "i", first, count)


def decode(column: BatchColumn) -> list[Any]:
    """The values of a column of a batch, None for NULL."""
    _, nulls, first, count, buffers, _ = column
    validity = buffers[0]
    if count == 0:
        return []
    values = _values(column)
    if validity is None or nulls == 0:
        return values
    known = _bits(validity, first, count)
    return [value if is_known else None for value, is_known in zip(values, known, strict=True)]


def rows_of(batch: Batch) -> list[tuple[Any, ...]]:
    """The rows of a batch."""
    columns = [decode(column) for column in batch.columns()]
    return list(zip(*columns, strict=True)) if columns else [()] * len(batch)


def _pack(truths: Iterable[bool]) -> bytes:
    packed = bytearray()
    for i, truth in enumerate(truths):
        if i % 8 == 0:
            packed.append(0)
        packed[-1] |= truth << (i % 8)
    return bytes(packed)


def _text_buffers(texts: list[str]) -> list[object]:
    encoded = [text.encode() for text in texts]
    offsets = array.array("q", [0])
    end = 0
    for text in encoded:
        end += len(text)
        offsets.append(end)
    return [offsets, b"".join(encoded)]


def _microseconds(value: dt.datetime) -> int:
    if value.tzinfo is not None:
        value = value.astimezone(dt.UTC).replace(tzinfo=None)
    return (value - _EPOCH_TIME) // dt.timedelta(microseconds=1)


def _nanoseconds(value: dt.time) -> int:
    seconds = value.hour * 3600 + value.minute * 60 + value.second
    return seconds * 1_000_000_000 + value.microsecond * 1000


def _decimal_buffers(values: list[Decimal | int]) -> tuple[str, list[object]]:
    decimals = [Decimal(value) for value in values]
    scale = max((max(0, -int(value.as_tuple().exponent)) for value in decimals), default=0)
    buffer = bytearray()
    for value in decimals:
        buffer += int(value.scaleb(scale, _EXACT)).to_bytes(16, "little", signed=True)
    return f"d:38,{scale}", [bytes(buffer)]


def _interval_bytes(value: dt.timedelta | Interval) -> bytes:
    if isinstance(value, dt.timedelta):
        value = Interval(0, value.days, value.seconds * 1_000_000 + value.microseconds)
    return _INTERVAL.pack(value.months, value.days, value.microseconds * 1000)


def _encode_times(kinds: set[type], values: list[Any]) -> tuple[str, list[object]]:
    if kinds == {dt.datetime}:
        return "tsu:", [array.array("q", [_microseconds(value) for value in values])]
    if kinds <= {dt.date, dt.datetime}:
        return "tdD", [array.array("i", [(value - _EPOCH).days for value in values])]
    if kinds == {dt.time}:
        return "ttn", [array.array("q", [_nanoseconds(value) for value in values])]
    if kinds <= {dt.timedelta, Interval}:
        return "tin", [b"".join(_interval_bytes(value) for value in values)]
    raise _unreadable(kinds)


def _unreadable(kinds: set[type]) -> TypeError:
    names = ", ".join(sorted(kind.__name__ for kind in kinds))
    return TypeError(f"a column of {names} is none that expressions can read")


def _encode(values: list[Any]) -> tuple[str, list[object]]:  # noqa: PLR0911 (one for each type)
    """The Arrow format of values without NULLs, and their buffers behind the validity."""
    kinds = {type(value) for value in values}
    if kinds == {bool}:
        return "b", [_pack(values)]
    if kinds <= {int, bool}:
        if all(-(1 << 63) <= value < 1 << 63 for value in values):
            return "l", [array.array("q", values)]
        return _decimal_buffers(values)
    if kinds <= {int, float, bool}:
        return "g", [array.array("d", values)]
    if kinds <= {int, bool, Decimal}:
        return _decimal_buffers(values)
    if kinds == {str}:
        return "U", _text_buffers(values)
    if kinds <= {dt.datetime, dt.date, dt.time, dt.timedelta, Interval}:
        return _encode_times(kinds, values)
    raise _unreadable(kinds)


def encode(name: str, values: Sequence[Any]) -> Column:
    """A column of Python values, None for NULL, as Arrow buffers."""
    known = [value for value in values if value is not None]
    if not known:
        return name, "n", len(values), len(values), []
    form, buffers = _encode([known[0] if value is None else value for value in values])
    nulls = len(values) - len(known)
    validity = _pack(value is not None for value in values) if nulls else None
    return name, form, len(values), nulls, [validity, *buffers]
