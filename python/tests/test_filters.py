"""Conditions that the reader of a dataset evaluates: the rows stay those of the statement."""

# ruff: noqa: ANN401 (pyarrow is untyped)

from __future__ import annotations

import contextlib
import datetime as dt
import random
from decimal import Decimal
from pathlib import Path
from typing import Any

import pyarrow as pa
import pyarrow.dataset as ds
import pyarrow.parquet as pq
import pytest
import sqxer

ROWS = 5000


def _table() -> pa.Table:
    chosen = random.Random(7)
    nan = float("nan")

    def some(values: list[Any], kind: pa.DataType) -> pa.Array:
        return pa.array(chosen.choices([*values, None], k=ROWS), kind)

    days = [dt.date(2024, 1, 1) + dt.timedelta(n) for n in range(-30, 30)]
    moments = [dt.datetime(2024, 1, 1, 12) + dt.timedelta(hours=n) for n in range(-9, 9)]
    noon = 1_704_110_400_000_000_000
    return pa.table(
        {
            "id": pa.array(range(ROWS), pa.int64()),
            "small": some([-128, -1, 0, 1, 5, 127], pa.int8()),
            "big": some([0, 5, 1 << 63, (1 << 64) - 1], pa.uint64()),
            "d": some([nan, 0.1, -0.0, 1.5, 5.0, 1e300, float("inf")], pa.float64()),
            "f": some([nan, 0.1, 1.5], pa.float32()),
            "n": some([Decimal("0.10"), Decimal("5.00"), Decimal("-7.25")], pa.decimal128(9, 2)),
            "s": some(["", "a", "a  ", "a!", "a\t", "ab", "b", "A", "ä", "5"], pa.string()),
            "day": some(days, pa.date32()),
            "at": some(moments, pa.timestamp("ns")),
            "fine": some([noon + n * 100 for n in range(30)], pa.timestamp("ns")),
            "zoned": some(moments, pa.timestamp("s", tz="Europe/Vienna")),
        }
    )


class Recorded:
    """A dataset that remembers how it was asked."""

    def __init__(self, dataset: Any) -> None:
        self._dataset = dataset
        self.schema = dataset.schema
        self.filter: Any = None

    def scanner(self, columns: list[str], filter: Any = None) -> Any:  # noqa: A002
        self.filter = filter
        return self._dataset.scanner(columns=columns, filter=filter)


@pytest.fixture(scope="module")
def dataset(tmp_path_factory: pytest.TempPathFactory) -> Any:
    path = tmp_path_factory.mktemp("filters") / "t.parquet"
    pq.write_table(_table(), path, row_group_size=500)
    return ds.dataset(path)


CONDITIONS = {
    "small": ["0", "5", "1.5", "1000", "99999999999999999999", "127"],
    "big": ["5", "9223372036854775808"],
    "d": ["0.1", "1.5", "5", "0", "1e308", "1e300"],
    "f": ["0.1", "1.5"],
    "n": ["0.1", "5", "0.105"],
    "s": ["'a'", "'a '", "'ab'", "''", "'b'", "'ä'"],
    "day": ["DATE '2024-01-05'", "DATE '2023-12-31'"],
    "at": ["TIMESTAMP '2024-01-01 12:00:00'", "DATE '2024-01-01'", "DATE '9999-12-31'"],
    "fine": ["TIMESTAMP '2024-01-01 12:00:00.0000015'", "TIMESTAMP '2024-01-01 12:00:00.000002'"],
    "zoned": ["TIMESTAMP '2024-01-01 12:00:00'", "TIMESTAMP '2024-01-01 12:00:00.5'"],
}


def test_rows_are_those_of_the_statement(dataset: Any) -> None:
    connection = sqxer.connect(threads=1)
    connection.register("whole", _table())
    connection.register("read", dataset)
    conditions = []
    for column, literals in CONDITIONS.items():
        for literal in literals:
            conditions += [f"{column} {c} {literal}" for c in ("=", "<>", "<", "<=", ">", ">=")]
            conditions.append(f"{literal} < {column}")
        conditions.append(f"{column} BETWEEN {literals[0]} AND {literals[1]}")
        conditions.append(f"{column} IN ({literals[0]}, {literals[1]})")
        conditions += [f"{column} IS NULL", f"{column} IS NOT NULL"]
    chosen = random.Random(3)
    conditions += [" AND ".join(chosen.choices(conditions, k=3)) for _ in range(100)]
    for condition in conditions:
        sql = f"SELECT id FROM {{}} WHERE {condition}"
        expected = connection.execute(sql.format("whole")).fetchall()
        assert connection.execute(sql.format("read")).fetchall() == expected, condition


@pytest.mark.parametrize(
    ("condition", "told"),
    [
        ("Small > 1 AND s = 'a'", True),
        ("t.day BETWEEN DATE '2024-01-05' AND DATE '2024-01-07'", True),
        ("small IN (1, 5)", True),
        ("1 / small > 0 AND id > 10", False),
        ("s > 3 AND id > 10", False),
        ("id > 10 OR small = 1", False),
        ("s LIKE 'a%'", False),
        ("day > '2024-01-05'", False),
    ],
)
def test_only_what_cannot_fail_is_told(dataset: Any, condition: str, told: bool) -> None:
    recorded = Recorded(dataset)
    connection = sqxer.connect()
    connection.register("t", recorded)
    # Some fail when they are evaluated.
    with contextlib.suppress(sqxer.Error):
        connection.execute(f"SELECT COUNT(*) FROM t WHERE {condition}")
    assert (recorded.filter is not None) == told


def test_errors_before_a_condition_are_not_lost(dataset: Any) -> None:
    connection = sqxer.connect()
    connection.register("t", dataset)
    with pytest.raises(sqxer.DataError) as info:
        connection.execute("SELECT COUNT(*) FROM t WHERE 1 / small > 0 AND id < 0")
    assert info.value.code == 59008
    rows = connection.execute("SELECT COUNT(*) FROM t WHERE id < 0 AND 1 / small > 0").fetchall()
    assert rows == [(0,)]


def test_other_orders_of_texts_are_not_told(dataset: Any) -> None:
    recorded = Recorded(dataset)
    connection = sqxer.connect()
    connection.register("t", recorded)
    connection.set("CaseSensitiveCompare", False)
    found = connection.execute("SELECT COUNT(*) FROM t WHERE s = 'A' AND id >= 0").fetchall()
    texts = _table()["s"].to_pylist()
    assert found == [(sum(1 for t in texts if t is not None and t.rstrip(" ").upper() == "A"),)]
    assert recorded.filter is None


def test_statements_that_read_twice_see_all_rows(tmp_path: Path) -> None:
    path = tmp_path / "codes.parquet"
    pq.write_table(pa.table({"k": pa.array([1, 2], pa.int32()), "v": ["one", "two"]}), path)
    connection = sqxer.connect()
    connection.register("codes", path)
    found = connection.execute(
        "SELECT DICT_LOOKUP(2, codes) AS v FROM codes WHERE k = 1"
    ).fetchall()
    assert found == [("two",)]
