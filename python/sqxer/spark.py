"""Statements over Spark's data frames, evaluated by sqxer on Spark's executors.

    import sqxer.spark
    sqxer.spark.sql(spark, "SELECT symbol, SUM(price) AS total FROM trades GROUP BY symbol",
                    trades=frame).show()

Spark reads, moves, sorts and recovers; sqxer filters, groups and evaluates. `docs/distributed.md`
tells how a statement is split. The executors need the package sqxer and pyarrow.
"""

from __future__ import annotations

import re
from typing import TYPE_CHECKING, Any, cast

import pyarrow as pa
from pyspark.sql import functions as F  # noqa: N812 (as Spark's own documents call it)
from pyspark.sql.pandas.types import from_arrow_schema, to_arrow_schema

from ._plan import Plan, Worker, check_name, only_table
from .errors import Error, make_error

if TYPE_CHECKING:
    from collections.abc import Callable, Iterator, Mapping, Sequence

    from pyspark.sql import DataFrame, SparkSession

    from .connection import Numerics

_BUCKET = "bucket"


def sql(  # noqa: PLR0913 (all but three by their names)
    spark: SparkSession,
    statement: str,
    params: Sequence[object] = (),
    *,
    switches: Mapping[str, object] | None = None,
    numerics: Numerics = "decimal",
    scale: int = 10,
    **tables: DataFrame,
) -> DataFrame:
    """A statement over one data frame, as a data frame.

    Decimals of the result are DECIMAL(38, scale), or doubles if `numerics` says so; its timestamps
    are TIMESTAMP_NTZ, those of a zone in UTC. An error of the statement is raised here, one of a
    row when Spark runs: `find_error` finds it in Spark's exception.
    """
    name, frame = only_table(tables)
    schema = to_arrow_schema(frame.schema, timezone="UTC")
    plan = Plan(statement, schema, params, switches=switches, numerics=numerics, scale=scale)
    check_name(plan, name)
    names = [field.name for field in plan.schema]
    finished = _plain(Worker(plan).schema)
    # Quoted: a name may have a point.
    inputs = [F.col(f"`{column.replace('`', '``')}`") for column in plan.inputs]
    rows = frame.select(*inputs) if inputs else frame.select(F.lit(1).alias("one"))
    if plan.kind == "rows":
        worker = Worker(plan)
        result = rows.mapInArrow(_rows_step(worker, finished), from_arrow_schema(finished))
    else:
        worker = Worker(plan, int(spark.conf.get("spark.sql.shuffle.partitions") or 200))
        states = rows.mapInArrow(_partial_step(worker), from_arrow_schema(worker.state_schema))
        if plan.exchange is None:
            states = states.unionByName(_marker(spark, worker))
        # Grouping is what Spark keeps through every change of its own plan: states of one bucket
        # are never parted.
        result = states.groupBy(_BUCKET).applyInArrow(
            _finish_step(worker, finished), from_arrow_schema(finished)
        )
    if plan.order_column is not None:
        result = result.orderBy(F.col(plan.order_column))
    if plan.offset:
        result = result.offset(plan.offset)
    if plan.limit is not None:
        result = result.limit(plan.limit)
    if plan.order_column is not None:
        names.pop()
        result = result.drop(plan.order_column)
    return cast("DataFrame", result.toDF(*names))


def find_error(raised: BaseException) -> Error | None:
    """The error of sqxer in an exception that Spark has raised; None if there is none."""
    found = re.search(r"sqxer\.errors\.\w+: error (\d+): (.*)", str(raised))
    return make_error(int(found[1]), found[2], "", -1, -1) if found else None


def _plain(schema: pa.Schema) -> pa.Schema:
    """A schema of types that Spark has: it knows no unsigned numbers."""
    wider = {pa.uint8(): pa.int16(), pa.uint16(): pa.int32(), pa.uint32(): pa.int64()}
    return pa.schema([pa.field(f.name, wider.get(f.type, f.type)) for f in schema])


def _rows_step(
    worker: Worker, schema: pa.Schema
) -> Callable[[Iterator[pa.RecordBatch]], Iterator[pa.RecordBatch]]:
    def step(batches: Iterator[pa.RecordBatch]) -> Iterator[pa.RecordBatch]:
        for table in worker.partial(batches):
            yield from _as(table, schema).to_batches()

    return step


def _partial_step(
    worker: Worker,
) -> Callable[[Iterator[pa.RecordBatch]], Iterator[pa.RecordBatch]]:
    def step(batches: Iterator[pa.RecordBatch]) -> Iterator[pa.RecordBatch]:
        for table in worker.partial(batches):
            yield from table.to_batches()

    return step


def _finish_step(worker: Worker, schema: pa.Schema) -> Callable[[pa.Table], pa.Table]:
    def step(states: pa.Table) -> pa.Table:
        return _as(worker.finish(states), schema)

    return step


def _as(table: pa.Table, schema: pa.Schema) -> pa.Table:
    return table.cast(schema)


def _marker(spark: SparkSession, worker: Worker) -> DataFrame:
    fields = from_arrow_schema(worker.state_schema)
    row = worker.marker().to_pylist()[0]
    columns: list[Any] = [F.lit(row[f.name]).cast(f.dataType).alias(f.name) for f in fields]
    return spark.range(1, numPartitions=1).select(*columns)
