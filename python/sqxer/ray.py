"""Statements over Ray's datasets, evaluated by sqxer in Ray's workers.

    import ray, sqxer.ray
    trades = ray.data.read_parquet("trades")
    sqxer.ray.sql("SELECT symbol, SUM(price) AS total FROM trades GROUP BY symbol", trades=trades)

`docs/distributed.md` tells how a statement is split. The workers need sqxer and pyarrow.

Groups whose states are few, and DISTINCT, are an aggregate of Ray's (`Aggregation`), which merges
them wherever they meet; rows that have to travel are brought together by `groupby`.
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, cast

import pyarrow as pa
import pyarrow.compute as pc
import ray.data
from ray.data.aggregate import AggregateFnV2
from ray.data.block import BlockAccessor

from ._plan import Plan, Worker, check_name, only_table

if TYPE_CHECKING:
    from collections.abc import Mapping, Sequence

    from .connection import Numerics

_BUCKETS = 32
_RESULT = "result"
# Fewer states than this are put together without looking for those of one group among them.
_FEW_STATES = 1024


class Aggregation(AggregateFnV2[bytes, bytes]):
    """The states of a plan of the kind split or distinct, as an aggregate of Ray's over blocks of
    them: accumulators are such states, results rows of the statement, both as streams of Arrow.
    """

    def __init__(self, worker: Worker) -> None:
        """`worker`: its `partial` has made the blocks."""
        self._worker = worker
        empty = worker.plan.state_schema.empty_table()
        super().__init__(_RESULT, lambda: _pack(empty, 0), on=None, ignore_nulls=False)

    def aggregate_block(self, block: Any) -> bytes:  # noqa: ANN401
        """States of one block, but for the marker's row."""
        states = BlockAccessor.for_block(block).to_arrow()
        states = states.select(self._worker.plan.state_schema.names)
        return _pack(states.filter(pc.is_valid(states[0])), 0)

    def combine(self, current_accumulator: bytes, new: bytes) -> bytes:
        """Both. Those of one group become one when they are twice as many as there were groups, so
        that a state is not touched again for every block.
        """
        some, groups = _unpack(current_accumulator)
        others, more_groups = _unpack(new)
        groups = max(groups, more_groups)
        states = pa.concat_tables([some, others])
        if states.num_rows > max(2 * groups, _FEW_STATES):
            states = self._worker.plan.combine(states)
            groups = states.num_rows
        return _pack(states, groups)

    def finalize(self, accumulator: bytes) -> bytes:  # type: ignore[override]
        """Rows of the result."""
        return _pack(self._worker.finish(_unpack(accumulator)[0]), 0)


def _pack(table: pa.Table, groups: int) -> bytes:
    """A stream of Arrow, which tells how many groups there were when states were last combined."""
    sink = pa.BufferOutputStream()
    schema = table.schema.with_metadata({"groups": str(groups)})
    with pa.ipc.new_stream(sink, schema) as writer:
        writer.write_table(table)
    return cast("bytes", sink.getvalue().to_pybytes())


def _unpack(packed: bytes) -> tuple[pa.Table, int]:
    table = pa.ipc.open_stream(packed).read_all()
    return table.replace_schema_metadata(), int(table.schema.metadata[b"groups"])


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
        places = result.union(marker).groupby(
            "bucket", num_partitions=1 if plan.exchange is None else buckets
        )
        if plan.kind in {"split", "distinct"}:
            result = places.aggregate(Aggregation(worker)).map_batches(
                _rows, batch_format="pyarrow", batch_size=None
            )
        else:
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


def _rows(results: pa.Table) -> pa.Table:
    """Of the results of an aggregation."""
    return pa.concat_tables([_unpack(packed)[0] for packed in results[_RESULT].to_pylist()])
