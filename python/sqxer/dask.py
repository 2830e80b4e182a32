"""Statements over Dask's data frames, evaluated by sqxer in Dask's workers.

    import dask.dataframe as dd, sqxer.dask
    trades = dd.read_parquet("trades")
    sqxer.dask.sql("SELECT symbol, SUM(price) AS total FROM trades GROUP BY symbol", trades=trades)

`docs/distributed.md` tells how a statement is split. The workers need sqxer and pyarrow.
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, cast

import dask.dataframe as dd
import pandas as pd
import pyarrow as pa
import pyarrow.compute as pc
from dask.delayed import delayed

from ._plan import Plan, Worker, check_name, only_table

if TYPE_CHECKING:
    from collections.abc import Mapping, Sequence

    from .connection import Numerics

_BUCKETS = 8


def sql(  # noqa: PLR0913 (all but two by their names)
    statement: str,
    params: Sequence[object] = (),
    *,
    switches: Mapping[str, object] | None = None,
    numerics: Numerics = "decimal",
    scale: int = 10,
    buckets: int = _BUCKETS,
    **tables: Any,  # noqa: ANN401
) -> Any:  # noqa: ANN401
    """A statement over one data frame of Dask's, as a data frame whose columns are Arrow's.

    Decimals of the result have `scale` digits behind the point, or are doubles if `numerics` says
    so. `buckets`: in how many parts states are brought together, each of which has to fit a worker.
    ORDER BY, OFFSET and LIMIT are done by one worker.
    """
    name, frame = only_table(tables)
    schema = pa.Schema.from_pandas(frame._meta, preserve_index=False)
    plan = Plan(statement, schema, params, switches=switches, numerics=numerics, scale=scale)
    check_name(plan, name)
    worker = Worker(plan, buckets)
    parts = (frame[plan.inputs] if plan.inputs else frame).to_delayed()
    partial, finish, order = (delayed(step) for step in (_partial, _finish, _order))
    made = [partial(worker, schema, part) for part in parts]
    if plan.kind != "rows":
        places = range(buckets if plan.exchange is not None else 1)
        made = [finish(worker, made, place) for place in places]
    if plan.order_column is not None or plan.offset or plan.limit is not None:
        made = [order(plan, made)]
    empty = worker.schema.empty_table()
    if plan.order_column is not None:
        empty = empty.drop_columns([plan.order_column])
    meta = _frame(empty)
    return dd.from_delayed([delayed(_frame)(table) for table in made], meta=meta)


def _partial(worker: Worker, schema: pa.Schema, part: pd.DataFrame) -> pa.Table:
    wanted = pa.schema([schema.field(name) for name in part.columns])
    table = pa.Table.from_pandas(part, schema=wanted, preserve_index=False)
    return pa.concat_tables([worker.empty(), *worker.partial(iter(table.to_batches()))])


def _finish(worker: Worker, states: Sequence[pa.Table], place: int) -> pa.Table:
    gathered = pa.concat_tables([states.filter(pc.field("bucket") == place) for states in states])
    return worker.finish(gathered)


def _order(plan: Plan, tables: Sequence[pa.Table]) -> pa.Table:
    return plan.order(pa.concat_tables(tables))


def _frame(table: pa.Table) -> pd.DataFrame:
    return cast("pd.DataFrame", table.to_pandas(types_mapper=pd.ArrowDtype))
