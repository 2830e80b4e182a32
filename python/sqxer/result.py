"""The rows of a statement."""

from __future__ import annotations

import html
from collections import deque
from typing import TYPE_CHECKING, Any, cast

from . import _values
from .errors import InterfaceError

if TYPE_CHECKING:
    from collections.abc import Iterator

    from . import _engine

_SHOWN_ROWS = 20
_MOST_WIDTH = 40


def _text_of(value: object) -> str:
    if value is None:
        return "NULL"
    if isinstance(value, bool):
        return "true" if value else "false"
    return str(value)


class Batch:
    """Some rows of a result, as an Arrow array of structs."""

    def __init__(self, batch: _engine.Batch) -> None:
        self._batch = batch

    def __len__(self) -> int:
        """How many rows."""
        return len(self._batch)

    def __arrow_c_array__(self, requested_schema: object = None) -> tuple[object, object]:
        """The Arrow C data interface."""
        return self._batch.__arrow_c_array__(requested_schema)

    def columns(self) -> list[list[Any]]:
        """The columns as Python values."""
        return [_values.decode(column) for column in self._batch.columns()]

    def rows(self) -> list[tuple[Any, ...]]:
        """The rows as Python values."""
        return _values.rows_of(self._batch)

    def arrow(self) -> Any:  # noqa: ANN401
        """The rows as a `pyarrow.RecordBatch`."""
        import pyarrow as pa  # noqa: PLC0415

        return pa.record_batch(self)


class Result:
    """The rows of a statement, from which whatever reads Arrow data can be made.

    >>> import sqxer
    >>> sqxer.sql("SELECT a, a * 2 AS b FROM t", t={"a": [1, 2, None]}).fetchall()
    [(1, 2), (2, 4), (None, None)]
    """

    def __init__(self, result: _engine.Result, owner: object = None) -> None:
        self._whole = result
        # Whoever has the rows has what they come from.
        self._owner = owner
        self._reading: _engine.Result | None = None
        self._waiting: deque[tuple[Any, ...]] = deque()

    @property
    def columns(self) -> list[str]:
        """The names of the columns."""
        return [name for name, _, _ in self._whole.columns()]

    @property
    def types(self) -> list[str]:
        """Their types, as the engine names them: int4, varchar(10), numeric."""
        return [kind for _, kind, _ in self._whole.columns()]

    @property
    def tag(self) -> str:
        """What a statement without rows has done, as PostgreSQL says it: "INSERT 0 12".

        Empty for one with rows.
        """
        return self._whole.tag()

    @property
    def rowcount(self) -> int:
        """How many rows there are, or were written by a statement that gives none; -1: unknown."""
        counted = not self.tag or self.tag.rpartition(" ")[2].isdigit()
        return self._whole.count_rows() if counted else -1

    @property
    def is_kept(self) -> bool:
        """Whether all rows are there, and can be read again, or are made while they are read."""
        return self._whole.count_rows() >= 0

    def __len__(self) -> int:
        """How many rows there are."""
        count = 0 if self.tag else self._whole.count_rows()
        if count < 0:
            msg = "the rows of a stream are not counted before they are read"
            raise TypeError(msg)
        return count

    def _copy(self) -> _engine.Result:
        if self.is_kept:
            return self._whole.copy()
        if self._waiting:
            msg = "some rows of this stream were taken as Python values: go on with those"
            raise InterfaceError(msg)
        return self._whole

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        """The Arrow C data interface: pyarrow, pandas, Polars and DuckDB take results by it."""
        del requested_schema
        return self._copy().export_stream()

    def __arrow_c_schema__(self) -> object:
        """The schema, as a struct."""
        return self._whole.schema()

    def batches(self) -> Iterator[Batch]:
        """The rows, batch by batch."""
        result = self._copy()
        while (batch := result.next()) is not None:
            yield Batch(batch)

    def __iter__(self) -> Iterator[tuple[Any, ...]]:
        """The rows as tuples of Python values; of a stream those that are left."""
        if not self.is_kept:
            while (row := self.fetchone()) is not None:
                yield row
            return
        for batch in self.batches():
            yield from batch.rows()

    def _fill(self, count: int | None) -> None:
        if self._reading is None:
            self._reading = self._whole.copy() if self.is_kept else self._whole
        while count is None or len(self._waiting) < count:
            batch = self._reading.next()
            if batch is None:
                return
            self._waiting.extend(_values.rows_of(batch))

    def fetchmany(self, size: int = 1) -> list[tuple[Any, ...]]:
        """The next rows, at most `size`."""
        self._fill(size)
        return [self._waiting.popleft() for _ in range(min(size, len(self._waiting)))]

    def fetchone(self) -> tuple[Any, ...] | None:
        """The next row; None behind the last one."""
        rows = self.fetchmany(1)
        return rows[0] if rows else None

    def fetchall(self) -> list[tuple[Any, ...]]:
        """All rows that are left."""
        self._fill(None)
        rows = list(self._waiting)
        self._waiting.clear()
        return rows

    def arrow(self) -> Any:  # noqa: ANN401
        """All rows as a `pyarrow.Table`."""
        import pyarrow as pa  # noqa: PLC0415

        return pa.table(self)

    def df(self) -> Any:  # noqa: ANN401
        """All rows as a pandas data frame."""
        return self.arrow().to_pandas()

    def pl(self) -> Any:  # noqa: ANN401
        """All rows as a Polars data frame."""
        import polars as pl  # noqa: PLC0415

        return pl.DataFrame(self)

    def to_dict(self) -> dict[str, list[Any]]:
        """The columns as lists of Python values."""
        if len(set(self.columns)) < len(self.columns):
            msg = "two columns have the same name: give one another by AS"
            raise InterfaceError(msg)
        columns: dict[str, list[Any]] = {name: [] for name in self.columns}
        for batch in self.batches():
            for name, values in zip(self.columns, batch.columns(), strict=True):
                columns[name] += values
        return columns

    def _head(self) -> tuple[list[tuple[Any, ...]], int]:
        rows: list[tuple[Any, ...]] = []
        for batch in self.batches():
            rows += batch.rows()[: _SHOWN_ROWS - len(rows)]
            if len(rows) == _SHOWN_ROWS:
                break
        return rows, len(self)

    def __repr__(self) -> str:
        """The first rows as a table."""
        if self.tag:
            return f"<sqxer {self.tag}>"
        if not self.is_kept:
            return f"<sqxer stream of {', '.join(self.columns)}>"
        rows, count = self._head()
        cells = [self.columns, *([_text_of(value) for value in row] for row in rows)]
        cells = [
            [text if len(text) <= _MOST_WIDTH else text[: _MOST_WIDTH - 1] + "…" for text in line]
            for line in cells
        ]
        widths = [max(map(len, column)) for column in zip(*cells, strict=True)]
        numeric = [not kind.startswith(("varchar", "char", "boolean")) for kind in self.types]
        lines = [
            "  ".join(
                text.rjust(width) if is_right else text.ljust(width)
                for text, width, is_right in zip(line, widths, numeric, strict=True)
            ).rstrip()
            for line in cells
        ]
        lines.insert(1, "  ".join("-" * width for width in widths))
        if count > len(rows):
            lines.append(f"... {count:,} rows")
        return "\n".join(lines)

    def _repr_html_(self) -> str:
        """The first rows as a table of a notebook."""
        if self.tag or not self.is_kept:
            return f"<pre>{html.escape(repr(self))}</pre>"
        rows, count = self._head()
        head = "".join(
            f"<th title='{html.escape(kind)}'>{html.escape(name)}</th>"
            for name, kind in zip(self.columns, self.types, strict=True)
        )
        body = "".join(
            "<tr>" + "".join(f"<td>{html.escape(_text_of(v))}</td>" for v in row) + "</tr>"
            for row in rows
        )
        more = f"<p>{count:,} rows</p>" if count > len(rows) else ""
        return f"<table><thead><tr>{head}</tr></thead><tbody>{body}</tbody></table>{more}"

    def plot(self, **options: Any) -> Any:  # noqa: ANN401
        """The rows as a picture of matplotlib, whose axes are returned.

        The first column is what the others are drawn over: numbers and dates as lines, labels as
        bars. A column TRENDLINE beside points is drawn as a line over them. `options` go to
        matplotlib's drawing.
        """
        import matplotlib.pyplot as plt  # noqa: PLC0415

        columns = self.to_dict()
        if len(columns) < 2:
            msg = "a picture takes a column to draw over and one to draw"
            raise InterfaceError(msg)
        (label, over), *drawn = columns.items()
        _, axes = plt.subplots()
        are_labels = any(isinstance(value, str) for value in over)
        has_trend = any("trend" in name.lower() for name, _ in drawn)
        for name, values in drawn:
            if are_labels:
                axes.bar([_text_of(value) for value in over], values, label=name, **options)
            elif has_trend and "trend" not in name.lower():
                axes.plot(over, values, "o", label=name, **options)
            else:
                points = sorted(
                    (x, y) for x, y in zip(over, values, strict=True) if None not in {x, y}
                )
                axes.plot([x for x, _ in points], [y for _, y in points], label=name, **options)
        axes.set_xlabel(label)
        axes.legend()
        return cast("Any", axes)
