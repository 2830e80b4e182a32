"""Statements on two workers of Ray."""

from __future__ import annotations

from pathlib import Path
from typing import TYPE_CHECKING, Any

import pytest

for package in ("pyarrow", "ray.data"):
    pytest.importorskip(package, reason=f"Ray is not tested: {package} is missing")

import parts  # noqa: E402
import pyarrow as pa  # noqa: E402
import ray  # noqa: E402
import sqxer  # noqa: E402
import sqxer.ray  # noqa: E402
from sqxer._plan import Worker  # noqa: E402

if TYPE_CHECKING:
    from collections.abc import Iterator


@pytest.fixture(scope="module")
def cluster() -> Iterator[None]:
    """Two processes."""
    ray.init(
        num_cpus=2,
        include_dashboard=False,
        log_to_driver=False,
        object_store_memory=200_000_000,
        runtime_env={"env_vars": {"PYTHONPATH": parts.python_path()}},
    )
    yield
    ray.shutdown()


def _rows(dataset: ray.data.Dataset) -> list[tuple[Any, ...]]:
    tables = [table for table in ray.get(dataset.to_arrow_refs()) if table.num_columns]
    table = pa.concat_tables(tables)
    return list(zip(*(column.to_pylist() for column in table.columns), strict=True))


def test_an_aggregation_merges_states_in_any_order() -> None:
    """More groups than are put together unseen; blocks without rows, and none at all."""
    table = parts.make_table(9000)
    for statement in [
        "SELECT id / 3 AS g, AVG(d), COUNT(*), RANGE(n) FROM t GROUP BY id / 3",
        "SELECT AVG(n), SUM(d) FROM t",
        "SELECT DISTINCT n, yes FROM t",
    ]:
        plan = sqxer.plan(statement, table.schema, numerics="decimal", scale=parts.SCALE)
        worker = Worker(plan, 1)
        aggregation = sqxer.ray.Aggregation(worker)
        made = aggregation.aggregate_block(worker.empty())
        for first in (6000, 0, 3000):
            states = worker.partial(iter(table.slice(first, 3000).to_batches(500)))
            block = pa.concat_tables([worker.empty(), *states, worker.marker()])
            made = aggregation.combine(aggregation.aggregate_block(block), made)
        made = aggregation.combine(made, aggregation.aggregate_block(worker.marker()))
        rows = pa.ipc.open_stream(aggregation.finalize(made)).read_all()
        got = parts.lines(list(zip(*(c.to_pylist() for c in rows.columns), strict=True)), False)
        assert got == parts.expected(statement, table, False)


@pytest.mark.usefixtures("cluster")
def test_gives_what_one_machine_gives(tmp_path: Path) -> None:
    """A statement of every kind."""
    parts.write_parts(tmp_path / "t", 20000, 4)
    dataset = ray.data.read_parquet(str(tmp_path / "t"))
    # One of each kind: moving rows takes Ray some ten seconds, however few there are.
    for statement, in_order in [parts.STATEMENTS[i] for i in (0, 2, 3, 5, 8, 9)]:
        made = sqxer.ray.sql(statement, buckets=4, t=dataset)
        got = parts.lines(_rows(made), in_order)
        assert got == parts.expected(statement, tmp_path / "t", in_order), statement
    with pytest.raises(Exception, match="error 59008: division by zero"):
        sqxer.ray.sql(parts.WRONG_VALUE, t=dataset).materialize()
