"""The steps of a statement over a table in parts, in one process."""

from __future__ import annotations

import datetime as dt
import itertools
import pickle
from typing import TYPE_CHECKING

import pytest

pytest.importorskip("pyarrow", reason="plans need pyarrow")

import parts
import sqxer

if TYPE_CHECKING:
    import pyarrow as pa


def _rows(table: pa.Table) -> list[tuple[object, ...]]:
    return list(zip(*(column.to_pylist() for column in table.columns), strict=True))


def test_steps_give_what_one_machine_gives() -> None:
    """Also pickled plans, on parts of all shapes: batches, slices, empty ones."""
    table = parts.make_table(5000)
    cut = [0, 0, 1700, 1701, 4000, 5000]
    for statement, in_order in parts.STATEMENTS:
        plan = sqxer.plan(statement, table.schema, numerics="decimal", scale=parts.SCALE)
        states = []
        for first, end in itertools.pairwise(cut):
            part = table.slice(first, end - first).select(plan.inputs)
            batches = part.to_batches(max_chunksize=999)
            states.append(pickle.loads(pickle.dumps(plan)).partial(batches or part))
        states[1:3] = [plan.combine(states[1:3])]
        made = plan.order(plan.finish(plan.combine(states)))
        assert parts.lines(_rows(made), in_order) == parts.expected(statement, table, in_order)
        assert made.schema.equals(plan.order(plan.schema.empty_table()).schema), statement


def test_plan_describes_itself() -> None:
    """What a caller has to know to move rows and sort."""
    table = parts.make_table(5)
    plan = sqxer.plan("SELECT k, MAX(n) FROM t GROUP BY k ORDER BY 2 LIMIT 3 OFFSET 1", table)
    assert (plan.kind, plan.table, sorted(plan.inputs)) == ("split", "t", ["k", "n"])
    assert (plan.offset, plan.limit) == (1, 3)
    assert plan.exchange == plan.state_schema.names[0]
    assert plan.order_column == plan.schema.names[-1]
    one = sqxer.plan("SELECT MAX(n) + ? FROM t", table, [2], switches={"Locale": "sv"})
    assert (one.exchange, one.order_column, one.limit) == (None, None, None)


def test_all_machines_have_one_moment() -> None:
    """That of the plan, or the one that it is given."""
    table = parts.make_table(10)
    statement = "SELECT DISTINCT NOW() AS now FROM t"
    plan = sqxer.plan(statement, table.schema, numerics="decimal", scale=parts.SCALE)
    states = [pickle.loads(pickle.dumps(plan)).partial(table) for _ in range(2)]
    assert plan.finish(plan.combine(states)).num_rows == 1
    fixed = sqxer.plan(statement, table.schema, switches={"now": "2012-01-31 10:00"})
    rows = _rows(fixed.finish(fixed.partial(table)))
    assert rows == [(dt.datetime(2012, 1, 31, 10),)]


def test_errors_are_those_of_the_engine() -> None:
    """Of the statement when the plan is made, of rows where they are evaluated."""
    table = parts.make_table(100)
    with pytest.raises(sqxer.Error, match="59015") as wrong:
        sqxer.plan("SELECT nope FROM t", table.schema)
    assert wrong.value.position == 7
    with pytest.raises(sqxer.Error) as division:
        sqxer.plan(parts.WRONG_VALUE, table.schema).partial(table)
    assert division.value.code == 59008
    assert division.value.row is not None
    plan = sqxer.plan("SELECT COUNT(*) FROM t", table.schema)
    other = sqxer.plan("SELECT COUNT(n) FROM t", table.schema)
    with pytest.raises(sqxer.Error) as mixed:
        plan.finish(other.partial(table))
    assert mixed.value.code == 57122
