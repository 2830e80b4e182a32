"""Python functions as functions of SQL."""

from __future__ import annotations

import threading
import weakref
from typing import TYPE_CHECKING, Any, cast

from . import _tables, _values
from .errors import InterfaceError

if TYPE_CHECKING:
    from collections.abc import Callable

    from ._engine import Batch

    BatchFunction = Callable[[Batch], object]


def _stream_of_values(values: Any, rows: int) -> object:  # noqa: ANN401
    """A stream of one column of what a function gave for so many rows."""
    import pyarrow as pa  # noqa: PLC0415

    if isinstance(values, str | bytes) or not hasattr(values, "__len__"):
        # One value for all rows, pyarrow's, numpy's or Python's.
        kept = values.as_py() if isinstance(values, pa.Scalar) else values
        kept = kept.item() if hasattr(kept, "item") else kept
        return _tables.stream_of_columns({"value": [kept] * rows})
    if not isinstance(values, pa.Array | pa.ChunkedArray):
        if hasattr(values, "__arrow_c_stream__"):
            values = pa.chunked_array(values)
        elif hasattr(values, "__arrow_c_array__"):
            values = pa.array(values)
        else:
            return _tables.stream_of_columns({"value": values})
    return cast("object", pa.table([values], names=["value"]).__arrow_c_stream__())


_calls = threading.local()


def is_called_by(connection: object) -> bool:
    """Whether this thread is in a function that a statement of the connection calls."""
    return connection in getattr(_calls, "connections", ())


def of_connection(connection: object, call: BatchFunction) -> BatchFunction:
    """A function that remembers whose statement calls it."""
    whose = weakref.ref(connection)

    def called(batch: Batch) -> object:
        outer = getattr(_calls, "connections", ())
        _calls.connections = (*outer, whose())
        try:
            return call(batch)
        finally:
            _calls.connections = outer

    return called


def over_columns(function: Callable[..., object]) -> BatchFunction:
    """A function of pyarrow's arrays."""
    try:
        import pyarrow as pa  # noqa: PLC0415
    except ImportError as error:
        msg = "a function over columns takes pyarrow: pip install pyarrow, or say rows=True"
        raise InterfaceError(msg) from error

    def call(batch: Batch) -> object:
        columns = pa.record_batch(batch).columns
        return _stream_of_values(function(*columns), len(batch))

    return call


def over_rows(function: Callable[..., object]) -> BatchFunction:
    """A function of the values of one row."""

    def call(batch: Batch) -> object:
        values = [function(*row) for row in _values.rows_of(batch)]
        return _tables.stream_of_columns({"value": values})

    return call
