"""What people hold their data in, as streams of Arrow data."""

from __future__ import annotations

import os
from collections.abc import Callable, Mapping, Sequence
from pathlib import Path
from typing import TYPE_CHECKING, Any, cast

from . import _engine, _values
from ._filters import filter_of
from .errors import InterfaceError

if TYPE_CHECKING:
    from ._engine import Condition, Session

_DATASET_SUFFIXES = {
    ".parquet": "parquet",
    ".pq": "parquet",
    ".arrow": "ipc",
    ".feather": "ipc",
    ".ipc": "ipc",
}
# Arrow's formats of numpy's numbers; float16 and complex numbers have none here.
_NUMPY_FORMATS = {
    "i1": "c", "u1": "C", "i2": "s", "u2": "S", "i4": "i", "u4": "I", "i8": "l", "u8": "L",
    "f4": "f", "f8": "g",
}  # fmt: skip
_NUMPY_UNITS = {"s": "tss:", "ms": "tsm:", "us": "tsu:", "ns": "tsn:"}


def _numpy_column(name: str, values: Any) -> _values.Column | None:  # noqa: ANN401
    """A column of a numpy array, its bytes shared where they can be; None for objects and texts."""
    import numpy as np  # noqa: PLC0415 (whoever hands over an array has it)

    if values.ndim != 1:
        msg = f"the column {name!r} has {values.ndim} dimensions, a column has one"
        raise InterfaceError(msg)
    count = len(values)
    kind = values.dtype.kind
    if isinstance(values, np.ma.MaskedArray):
        return None
    if kind == "b":
        packed = np.packbits(values, bitorder="little")
        return name, "b", count, 0, [None, packed]
    if kind == "M":
        known = ~np.isnat(values)
        nulls = count - int(known.sum())
        unit = np.datetime_data(values.dtype)[0]
        if unit in {"D", "W", "M", "Y"}:
            days = values.astype("M8[D]").view("i8")
            if nulls < count and np.abs(days[known]).max() >= 1 << 31:
                msg = f"the column {name!r} has days beyond those of dates"
                raise InterfaceError(msg)
            data, form = days.astype("i4"), "tdD"
        else:
            unit = unit if unit in _NUMPY_UNITS else "s"
            moments = values.astype(f"M8[{unit}]")
            if not (moments[known] == values[known]).all():
                msg = f"the column {name!r} has times finer than nanoseconds"
                raise InterfaceError(msg)
            data, form = moments.view("i8"), _NUMPY_UNITS[unit]
        validity = np.packbits(known, bitorder="little") if nulls else None
        return name, form, count, nulls, [validity, np.ascontiguousarray(data)]
    form = _NUMPY_FORMATS.get(values.dtype.newbyteorder("=").str[1:], "")
    if not form:
        return None
    native = np.ascontiguousarray(values, dtype=values.dtype.newbyteorder("="))
    return name, form, count, 0, [None, native]


def _column_of(name: str, values: Any) -> _values.Column:  # noqa: ANN401
    if hasattr(values, "dtype") and hasattr(values, "ndim"):
        column = _numpy_column(name, values)
        if column is not None:
            return column
        values = values.tolist()
    return _values.encode(name, list(values))


def stream_of_columns(columns: Mapping[str, Any]) -> object:
    """A stream of columns that are numpy arrays or sequences of Python values."""
    made = [_column_of(str(name), values) for name, values in columns.items()]
    lengths = {column[2] for column in made}
    if len(lengths) > 1:
        msg = "the columns have different lengths: " + ", ".join(
            f"{column[0]} {column[2]}" for column in made
        )
        raise InterfaceError(msg)
    return _engine.make_stream(made, lengths.pop() if lengths else 0)


class _Array:
    """One array of structs as a stream."""

    def __init__(self, held: Any) -> None:  # noqa: ANN401
        self._held = held

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        import pyarrow as pa  # noqa: PLC0415

        del requested_schema
        batch = pa.record_batch(self._held)
        reader = pa.RecordBatchReader.from_batches(batch.schema, [batch])
        return cast("object", reader.__arrow_c_stream__())


def stream_of(data: Any) -> object:  # noqa: ANN401
    """A capsule with a stream over all rows of `data`, which is no dataset."""
    if isinstance(data, str | os.PathLike):
        session = _engine.Session()
        session.add_file("input", os.fspath(data))
        return session.query("SELECT * FROM input", [], "settled", True).export_stream()
    if hasattr(data, "__arrow_c_stream__"):
        return cast("object", data.__arrow_c_stream__())
    if hasattr(data, "__arrow_c_array__"):
        return _Array(data).__arrow_c_stream__()
    if isinstance(data, Mapping):
        return stream_of_columns(data)
    if isinstance(data, Sequence) and data and all(isinstance(row, Mapping) for row in data):
        names = list(dict.fromkeys(name for row in data for name in row))
        return stream_of_columns({name: [row.get(name) for row in data] for name in names})
    msg = (
        f"a {type(data).__name__} is no table: hand over Arrow data (pyarrow, pandas, Polars, "
        "DuckDB), a dict of columns, a list of dicts, or a path"
    )
    raise InterfaceError(msg)


def _is_fixed(data: Any) -> bool:  # noqa: ANN401
    """Whether a stream over the data gives the same rows whenever it is opened: Arrow's own tables.

    Others may change, or be made anew in another order: they are read once.
    """
    return type(data).__module__.startswith("pyarrow.") and not hasattr(data, "read_next_batch")


def _fixed(data: Any) -> Any:  # noqa: ANN401
    """The rows of a table as they are now, without a copy, in Arrow's own table if there is one."""
    is_table = hasattr(data, "__arrow_c_stream__") and not hasattr(data, "read_next_batch")
    if _is_fixed(data) or not is_table or not getattr(data, "is_kept", True):
        return data
    try:
        import pyarrow as pa  # noqa: PLC0415
    except ImportError:
        return data
    try:
        return pa.table(data)
    except (pa.ArrowInvalid, pa.ArrowNotImplementedError):
        return data


def _add_dataset(
    session: Session,
    name: str,
    dataset: Any,  # noqa: ANN401
    binary_as_text: bool,
) -> None:
    def open_columns(columns: list[str], conditions: list[Condition]) -> object:
        told = filter_of(conditions, dataset.schema)
        wanted = {} if told is None else {"filter": told}
        scanner = dataset.scanner(columns=columns, **wanted)
        return cast("object", scanner.to_reader().__arrow_c_stream__())

    session.add_source(
        name, dataset.schema.__arrow_c_schema__(), open_columns, binary_as_text, False
    )


def dataset_of(data: Any) -> Any | None:  # noqa: ANN401
    """The dataset that `data` is, or that a path of one means; None for anything else."""
    if hasattr(data, "scanner") and hasattr(data, "schema"):
        return data
    if not isinstance(data, str | os.PathLike):
        return None
    path = Path(data)
    form = _DATASET_SUFFIXES.get(path.suffix.lower())
    if form is None and path.is_dir():
        form = "parquet"
    if form is None:
        return None
    try:
        import pyarrow.dataset as ds  # noqa: PLC0415
    except ImportError as error:
        msg = f"reading {os.fspath(path)!r} takes pyarrow: pip install pyarrow"
        raise InterfaceError(msg) from error
    try:
        return ds.dataset(path, format=form, partitioning="hive")
    except (OSError, ValueError) as error:
        msg = f"{os.fspath(path)!r} cannot be read: {error}"
        raise InterfaceError(msg) from error


def _schema_opener(
    data: Any,  # noqa: ANN401
) -> tuple[object, Callable[[list[str], list[Condition]], object]] | None:
    """The schema of a table, and what opens it for some of its columns."""
    if hasattr(data, "__arrow_c_schema__"):  # polars and Arrow tables have one with streams
        return data.__arrow_c_schema__(), lambda _, __: stream_of(data)
    schema = getattr(data, "schema", None)
    if hasattr(schema, "__arrow_c_schema__"):
        return cast("Any", schema).__arrow_c_schema__(), lambda _, __: stream_of(data)
    return None


def add_table(
    session: Session,
    name: str,
    data: Any,  # noqa: ANN401
    binary_as_text: bool = False,
) -> None:
    """Makes `data` a table of a session."""
    dataset = dataset_of(data)
    if dataset is not None:
        _add_dataset(session, name, dataset, binary_as_text)
        return
    if isinstance(data, str | os.PathLike):
        session.add_file(name, os.fspath(data))
        return
    data = _fixed(data)
    opener = _schema_opener(data) if _is_fixed(data) else None
    if opener is None:
        session.add_arrow(name, stream_of(data), binary_as_text)
    else:
        schema, open_columns = opener
        session.add_source(name, schema, open_columns, binary_as_text, True)
