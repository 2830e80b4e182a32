"""Statements over Spark's data frames, evaluated by sqxer on Spark's executors.

    import sqxer.spark
    sqxer.spark.sql(spark, "SELECT symbol, SUM(price) AS total FROM trades GROUP BY symbol",
                    trades=frame).show()

Spark reads, moves, sorts and recovers; sqxer filters, groups and evaluates. `docs/distributed.md`
tells how a statement is split. The executors need the package sqxer and pyarrow.

A path of Parquet or Arrow files, which all executors must have, is read by pyarrow in Spark's
tasks: its rows do not pass through Java. So are the files of a frame that is nothing but the rows
of Parquet files.
"""

from __future__ import annotations

import os
import re
from pathlib import Path
from typing import TYPE_CHECKING, Any, cast

import pyarrow as pa
import pyarrow.compute as pc
from pyspark.sql import functions as F  # noqa: N812 (as Spark's own documents call it)
from pyspark.sql.pandas.types import from_arrow_schema, to_arrow_schema

from ._plan import Plan, Worker, check_name, only_table
from ._spark_files import files_of, quoted
from ._tables import dataset_of
from .errors import Error, InterfaceError, make_error

if TYPE_CHECKING:
    from collections.abc import Callable, Iterator, Mapping, Sequence

    from pyspark.sql import DataFrame, SparkSession

    from .connection import Numerics

    Step = Callable[[Iterator[pa.RecordBatch]], Iterator[pa.RecordBatch]]

_BUCKET = "bucket"
# So that a task that takes long keeps no other processor waiting for it.
_TASKS_OF_PROCESSOR = 4


def sql(  # noqa: PLR0913 (all but three by their names)
    spark: SparkSession,
    statement: str,
    params: Sequence[object] = (),
    *,
    switches: Mapping[str, object] | None = None,
    numerics: Numerics = "decimal",
    scale: int = 10,
    **tables: DataFrame | str | os.PathLike[str],
) -> DataFrame:
    """A statement over one data frame, or a path of Parquet or Arrow files, as a data frame.

    Decimals of the result are DECIMAL(38, scale), or doubles if `numerics` says so; its timestamps
    are TIMESTAMP_NTZ, those of a zone in UTC. An error of the statement is raised here, one of a
    row when Spark runs: `find_error` finds it in Spark's exception.
    """
    name, source = only_table(tables)
    dataset = _dataset(source)
    schema = to_arrow_schema(source.schema, timezone="UTC") if dataset is None else dataset.schema
    plan = Plan(statement, schema, params, switches=switches, numerics=numerics, scale=scale)
    check_name(plan, name)
    if dataset is None:
        dataset = files_of(source, plan.inputs)
    names = [field.name for field in plan.schema]
    finished = _plain(Worker(plan).schema)
    if plan.kind == "rows":
        worker = Worker(plan)
        step, made = _rows_step(worker, finished), finished
    else:
        worker = Worker(plan, int(spark.conf.get("spark.sql.shuffle.partitions") or 200))
        step, made = _partial_step(worker), worker.state_schema
    if dataset is None:
        inputs = [quoted(column) for column in plan.inputs]
        rows = source.select(*inputs) if inputs else source.select(F.lit(1).alias("one"))
    else:
        rows, step = _places(spark, dataset, plan.inputs, step)
    result = states = rows.mapInArrow(step, from_arrow_schema(made))
    if plan.kind != "rows":
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


def _dataset(source: Any) -> Any | None:  # noqa: ANN401
    if not isinstance(source, str | os.PathLike):
        return None
    # Executors are at home in other folders.
    dataset = dataset_of(Path(source).resolve())
    if dataset is None:
        msg = f"{os.fspath(source)!r} is no path of Parquet or Arrow files"
        raise InterfaceError(msg)
    return dataset


def _places(
    spark: SparkSession,
    dataset: Any,  # noqa: ANN401
    inputs: Sequence[str],
    step: Step,
) -> tuple[DataFrame, Step]:
    """A frame of the numbers of pieces of a dataset, and the step over the rows of these."""
    pieces: list[Any] = []
    for fragment in dataset.get_fragments():
        can_split = hasattr(fragment, "split_by_row_group")
        pieces.extend(fragment.split_by_row_group() if can_split else [fragment])
    columns = list(inputs) or {"one": pc.scalar(1)}
    schema = dataset.schema

    def read(batches: Iterator[pa.RecordBatch]) -> Iterator[pa.RecordBatch]:
        for batch in batches:
            for number in batch.column(0).to_pylist():
                scanner = pieces[number].scanner(schema=schema, columns=columns, use_threads=False)
                yield from scanner.to_batches()

    tasks = min(len(pieces), _TASKS_OF_PROCESSOR * spark.sparkContext.defaultParallelism)
    return spark.range(len(pieces), numPartitions=max(tasks, 1)), lambda rows: step(read(rows))


def _rows_step(worker: Worker, schema: pa.Schema) -> Step:
    def step(batches: Iterator[pa.RecordBatch]) -> Iterator[pa.RecordBatch]:
        for table in worker.partial(batches):
            yield from _as(table, schema).to_batches()

    return step


def _partial_step(worker: Worker) -> Step:
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
