"""Statements over Ray's datasets, evaluated by sqxer in Ray's workers.

    import ray, sqxer.ray
    trades = ray.data.read_parquet("trades")
    sqxer.ray.sql("SELECT symbol, SUM(price) AS total FROM trades GROUP BY symbol", trades=trades)

`docs/distributed.md` tells how a statement is split. The workers need sqxer and pyarrow.
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, cast

import pyarrow as pa
import ray.data

from ._plan import Plan, Worker, check_name, only_table

if TYPE_CHECKING:
    from collections.abc import Mapping, Sequence

    from .connection import Numerics

_BUCKETS = 32


def sql(  # noqa: PLR0913 (all but two by their names)
    statement: str,
    params: Sequence[object] = (),
    *,
    switches: Mapping[str, object] | None = None,
    numerics: Numerics = "decimal",
    scale: int = 10,
    buckets: int = _BUCKETS,
    **tables: ray.data.Dataset,
) -> ray.data.Dataset:
    """A statement over one dataset, as a dataset.

    Decimals of the result have `scale` digits behind the point, or are doubles if `numerics` says
    so. `buckets`: in how many parts states are brought together, each of which has to fit a worker.
    """
    name, rows = only_table(tables)
    schema = cast("Any", rows.schema(fetch_if_missing=True)).base_schema
    plan = Plan(statement, schema, params, switches=switches, numerics=numerics, scale=scale)
    check_name(plan, name)
    worker = Worker(plan, buckets)
    if plan.inputs:
        rows = rows.select_columns(plan.inputs)

    def partial(table: pa.Table) -> pa.Table:
        return pa.concat_tables([worker.empty(), *worker.partial(iter(table.to_batches()))])

    result = rows.map_batches(partial, batch_format="pyarrow", batch_size=None)
    if plan.kind != "rows":
        marker = ray.data.from_arrow(worker.marker())
        states = result.union(marker)
        if plan.exchange is None:
            result = states.repartition(1).map_batches(
                worker.finish, batch_format="pyarrow", batch_size=None
            )
        else:
            places = states.groupby("bucket", num_partitions=buckets)
            result = places.map_groups(worker.finish, batch_format="pyarrow")
    if plan.order_column is not None:
        result = result.sort(plan.order_column)
    if plan.offset or plan.limit is not None:
        # Only whoever has all rows can leave out the first ones.
        kept = result if plan.limit is None else result.limit(plan.offset + plan.limit)
        result = kept.repartition(1).map_batches(
            plan.order, batch_format="pyarrow", batch_size=None
        )
    elif plan.order_column is not None:
        result = result.drop_columns([plan.order_column])
    return cast("ray.data.Dataset", result)
