"""Python functions as functions of SQL."""

from __future__ import annotations

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

    if values is None or isinstance(values, str | bytes | bool | int | float | pa.Scalar):
        # One value for all rows.
        value = values.as_py() if isinstance(values, pa.Scalar) else values
        return _tables.stream_of_columns({"value": [value] * rows})
    if not isinstance(values, pa.Array | pa.ChunkedArray):
        if hasattr(values, "__arrow_c_stream__"):
            values = pa.chunked_array(values)
        elif hasattr(values, "__arrow_c_array__"):
            values = pa.array(values)
        else:
            return _tables.stream_of_columns({"value": values})
    return cast("object", pa.table([values], names=["value"]).__arrow_c_stream__())


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
