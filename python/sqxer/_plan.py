"""Statements over a table in parts: the steps that Spark, Ray and Dask do on their workers."""

from __future__ import annotations

import datetime as dt
from collections.abc import Iterable, Iterator, Sequence
from typing import TYPE_CHECKING, Any, Literal, cast

import pyarrow as pa
import pyarrow.compute as pc

from . import _engine
from ._marks import numbered
from ._texts import parameter_text, switch_text
from .errors import Error, InterfaceError

if TYPE_CHECKING:
    from collections.abc import Mapping

    from .connection import Numerics

Kind = Literal["rows", "split", "whole", "distinct", "windows"]

# So many rows at most are grouped at once, so that a part of any size fits a worker.
_ROWS_OF_STEP = 1 << 20


def _switches(switches: Mapping[str, object] | None) -> list[tuple[str, str]]:
    return [(name, switch_text(value)) for name, value in (switches or {}).items()]


def _schema(data: Any) -> pa.Schema:  # noqa: ANN401
    """A schema, or that of what has one."""
    return pa.schema(getattr(data, "schema", data))


def _table(data: Any) -> pa.Table:  # noqa: ANN401
    if isinstance(data, pa.Table):
        return data
    if isinstance(data, pa.RecordBatch):
        return pa.Table.from_batches([data])
    if isinstance(data, Iterable) and not hasattr(data, "__arrow_c_stream__"):
        return pa.Table.from_batches(list(data))
    return pa.table(data)


class Plan:
    """A statement over one table whose rows lie in parts, on any number of machines.

    >>> import pyarrow as pa, sqxer
    >>> part = pa.table({"k": ["a", "b", "a"], "n": [1, 2, 3]})
    >>> plan = sqxer.plan("SELECT k, SUM(n) AS total FROM t GROUP BY k ORDER BY k", part.schema)
    >>> plan.kind
    'split'
    >>> states = plan.combine([plan.partial(part), plan.partial(part.slice(2))])
    >>> plan.order(plan.finish(states)).to_pydict()
    {'k': ['a', 'b'], 'total': [7, 2]}

    `partial` makes states of the rows of a part, `combine` fewer states of several tables of them,
    any number of times or never, and `finish` rows of the result of all states that belong
    together: those of one value of the column `exchange`, or all where it is None. What ORDER BY,
    OFFSET and LIMIT say is done at the end, of all rows, by `order`, or by whatever sorts by the
    text column `order_column`. A plan can be pickled, and be made anew of the same texts.
    """

    def __init__(  # noqa: PLR0913 (all but two by their names)
        self,
        sql: str,
        schema: Any,  # noqa: ANN401
        params: Sequence[object] = (),
        *,
        switches: Mapping[str, object] | None = None,
        numerics: Numerics = "settled",
        scale: int | None = None,
    ) -> None:
        """`schema`: that of the table, or a table that has it. `switches` are set as by
        `Connection.set`. `scale`: the types of the result do not depend on the rows, decimals come
        with so many digits behind the point, and timestamps by microseconds.
        """
        parameters = [parameter_text(value) for value in params]
        given = _switches(switches)
        if all(name.lower() != "now" for name, _ in given):
            # Every machine has the moment of this one.
            moment = dt.datetime.now(dt.UTC).replace(tzinfo=None)
            given.append(("Now", moment.isoformat(sep=" ")))
        with numbered(sql) as text:
            self._make(text, _schema(schema), parameters, given)
        self._numerics = numerics
        self._scale = scale

    def _make(
        self, sql: str, schema: pa.Schema, parameters: list[str], switches: list[tuple[str, str]]
    ) -> None:
        self._texts = (sql, schema, parameters, switches)
        self._plan = _engine.Plan(sql, schema.__arrow_c_schema__(), switches, parameters)

    def __getstate__(self) -> tuple[object, ...]:
        """The texts of the plan."""
        return (self._texts, self._numerics, self._scale)

    def __setstate__(self, state: tuple[Any, ...]) -> None:
        """Makes it anew."""
        texts, self._numerics, self._scale = state
        self._make(*texts)

    def __repr__(self) -> str:
        """Kind and statement."""
        return f"<sqxer.Plan {self.kind}: {self.sql}>"

    @property
    def sql(self) -> str:
        """The statement."""
        return self._texts[0]

    @property
    def kind(self) -> Kind:
        """What travels: nothing, the rows being finished in their part (rows), partial results
        (split), or the rows themselves (whole, distinct, windows).
        """
        return cast("Kind", self._plan.kind())

    @property
    def table(self) -> str:
        """The table's name in the statement."""
        return self._plan.table()

    @property
    def inputs(self) -> list[str]:
        """The columns that the statement reads; a part need have no others."""
        return self._plan.inputs()

    @property
    def exchange(self) -> str | None:
        """The states' column of whole numbers that are equal where states belong together; None
        where all of them do.
        """
        return self._plan.exchange() or None

    @property
    def order_column(self) -> str | None:
        """The last column of unordered rows: a text by whose bytes they are in order."""
        return self._plan.order()[0] or None

    @property
    def offset(self) -> int:
        """How many rows OFFSET leaves out."""
        return self._plan.order()[1]

    @property
    def limit(self) -> int | None:
        """How many rows LIMIT leaves."""
        return self._plan.order()[2]

    @property
    def state_schema(self) -> pa.Schema:
        """Of `partial` and `combine`."""
        return self.partial(self._texts[1].empty_table()).schema

    @property
    def schema(self) -> pa.Schema:
        """Of `finish`, with `order_column`."""
        states = self.partial(self._texts[1].empty_table())
        return self.finish(states).schema

    def partial(self, batches: Any) -> pa.Table:  # noqa: ANN401
        """States of some rows: a table, a batch, several of them, or anything that shows Arrow
        data. Of the kind rows it gives rows of the result.
        """
        stream = _table(batches).__arrow_c_stream__()
        return self._read(self._plan.partial(stream, self._numerics, self._scale))

    def combine(self, tables: Any) -> pa.Table:  # noqa: ANN401
        """Fewer states of a table of them, or of several. Rows are put together."""
        if isinstance(tables, Sequence):
            tables = pa.concat_tables(tables)
        table = _table(tables)
        if self.kind == "rows":
            return table
        return self._read(self._plan.combine(table.__arrow_c_stream__()))

    def finish(self, table: Any) -> pa.Table:  # noqa: ANN401
        """Rows of the result of states that belong together. Of the kind rows they are that."""
        table = _table(table)
        if self.kind == "rows":
            return table
        stream = table.__arrow_c_stream__()
        return self._read(self._plan.finish(stream, self._numerics, self._scale))

    def order(self, table: Any) -> pa.Table:  # noqa: ANN401
        """All rows of the result in the order of ORDER BY, without those that OFFSET and LIMIT
        leave out, and without `order_column`.
        """
        table = _table(table)
        column = self.order_column
        if column is not None:
            table = table.take(pc.sort_indices(table[column])).drop_columns([column])
        return table.slice(self.offset, self.limit)

    @staticmethod
    def _read(result: _engine.Result) -> pa.Table:
        return pa.RecordBatchReader._import_from_c_capsule(result.export_stream()).read_all()


def _unique(names: Sequence[str]) -> list[str]:
    """Of columns of one name the first keeps it, the others get a number behind."""
    made: list[str] = []
    for name in names:
        number = 0
        unique = name
        while unique in made or (number and unique in names):
            number += 1
            unique = f"{name}_{number}"
        made.append(unique)
    return made


class Worker:
    """The steps of a plan as workers of other systems do them, which want names that differ."""

    def __init__(self, plan: Plan, buckets: int = 0) -> None:
        """`buckets`: states get a column more, `bucket`, one of so many numbers from 0 on, equal
        where states belong together.
        """
        self.plan = plan
        self._buckets = buckets if plan.exchange is not None else 1
        self._has_buckets = buckets > 0 and plan.kind != "rows"

    def partial(self, batches: Iterator[pa.RecordBatch]) -> Iterator[pa.Table]:
        """States of a part; rows of the result, of the kind rows."""
        states: list[pa.Table] = []
        for table in _steps(batches):
            made = without_row(self.plan.partial, table)
            if self.plan.kind == "rows":
                yield self._rename(made)
            elif self.plan.kind in {"split", "distinct"}:
                states.append(made)
            else:
                yield self._mark(made)
        if states:
            yield self._mark(self.plan.combine(states) if len(states) > 1 else states[0])

    def finish(self, states: pa.Table) -> pa.Table:
        """Rows of the result of states that belong together, the marker's row left out."""
        exchange = self.plan.state_schema.field(0).name
        states = states.select(self.plan.state_schema.names)
        return self._rename(self.plan.finish(states.filter(pc.is_valid(states[exchange]))))

    def marker(self) -> pa.Table:
        """One row of no states: with it even no rows come to `finish`, which makes a row of them
        where there are no group keys.
        """
        schema = self.state_schema
        row: dict[str, list[object]] = {name: [None] for name in schema.names}
        if self._has_buckets:
            row["bucket"] = [0]
        return pa.table(row, schema=schema)

    @property
    def schema(self) -> pa.Schema:
        """Of rows of the result."""
        return self._rename(self.plan.schema.empty_table()).schema

    @staticmethod
    def _rename(rows: pa.Table) -> pa.Table:
        return rows.rename_columns(_unique(rows.column_names))

    def empty(self) -> pa.Table:
        """What `partial` gives, without rows."""
        return self.state_schema.empty_table()

    @property
    def state_schema(self) -> pa.Schema:
        """Of `partial`."""
        if self.plan.kind == "rows":
            return self.schema
        schema = self.plan.state_schema
        return schema.append(pa.field("bucket", pa.int32())) if self._has_buckets else schema

    def _mark(self, states: pa.Table) -> pa.Table:
        if not self._has_buckets:
            return states
        numbers = states[0].to_numpy()
        buckets = (numbers % self._buckets).astype("int32")
        return states.append_column("bucket", pa.array(buckets, pa.int32()))


def _steps(batches: Iterator[pa.RecordBatch]) -> Iterator[pa.Table]:
    waiting: list[pa.RecordBatch] = []
    rows = 0
    for batch in batches:
        waiting.append(batch)
        rows += batch.num_rows
        if rows >= _ROWS_OF_STEP:
            yield pa.Table.from_batches(waiting)
            waiting, rows = [], 0
    if waiting:
        yield pa.Table.from_batches(waiting)


def without_row(step: Any, table: pa.Table) -> pa.Table:  # noqa: ANN401
    """Does a step; its errors name no row, whose number in a part would mislead."""
    try:
        return step(table)
    except Error as error:
        error.row = None
        raise


def only_table(tables: Mapping[str, Any]) -> tuple[str, Any]:
    """The one table that a statement is given."""
    if len(tables) != 1:
        msg = f"a statement that runs on many machines reads one table, and got {len(tables)}"
        raise InterfaceError(msg)
    return next(iter(tables.items()))


def check_name(plan: Plan, name: str) -> None:
    """The table must be the one that the statement reads."""
    if plan.table.casefold() != name.casefold():
        msg = f"the statement reads the table {plan.table!r}, and got {name!r}"
        raise InterfaceError(msg)
