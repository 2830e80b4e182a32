"""Python functions as functions of SQL."""

from __future__ import annotations

import datetime as dt
from decimal import Decimal
from typing import TYPE_CHECKING, Any

import numpy as np
import pyarrow as pa
import pyarrow.compute as pc
import pytest
import sqxer

if TYPE_CHECKING:
    from collections.abc import Callable

ROWS = 9001
TABLE = pa.table(
    {
        "i": pa.array([None if n % 7 == 0 else n for n in range(ROWS)], pa.int32()),
        "d": pa.array([n / 4 for n in range(ROWS)]),
        "s": pa.array([None if n % 5 == 0 else f"t{n % 11}" for n in range(ROWS)]),
        "day": pa.array([dt.date(2024, 1, 1) + dt.timedelta(n % 400) for n in range(ROWS)]),
    }
)


@pytest.fixture
def connection() -> sqxer.Connection:
    made = sqxer.connect(threads=2)
    made.register("t", TABLE)
    return made


@pytest.mark.parametrize("evaluation", ["batches", "rows"])
def test_functions_give_what_python_gives(connection: sqxer.Connection, evaluation: str) -> None:
    connection.set("Evaluation", evaluation)
    calls = []

    def half(values: pa.Array) -> pa.Array:
        calls.append(len(values))
        return pc.divide(values, 2.0)

    connection.register_function("half", half, "double", ["double"])
    connection.register_function("size", lambda s: None if s is None else len(s), "int4", rows=True)
    connection.register_function("year_of", lambda day: day.year, "int2", rows=True)
    connection.register_function(
        "joined", lambda *texts: "-".join(text or "" for text in texts), "varchar", rows=True
    )
    connection.register_function("doubled", lambda x: np.asarray(x) * 2, "numeric", ["double"])
    got = connection.execute(
        "SELECT half(i), size(s), year_of(day), joined(s, 'x', s), doubled(d) FROM t"
    ).fetchall()
    rows = TABLE.to_pylist()
    assert got == [
        (
            None if row["i"] is None else row["i"] / 2,
            None if row["s"] is None else len(row["s"]),
            row["day"].year,
            f"{row['s'] or ''}-x-{row['s'] or ''}",
            Decimal(str(row["d"] * 2)),
        )
        for row in rows
    ]
    # A row at a time costs a call each; batches have some thousand.
    assert max(calls) == (2048 if evaluation == "batches" else 1)
    total = connection.execute(
        "SELECT size(s) AS n, SUM(half(d)), COUNT(*) FROM t WHERE half(d) > 3 GROUP BY size(s) "
        "ORDER BY n"
    ).fetchall()
    known = [row for row in rows if row["d"] / 2 > 3]
    assert [(n, count) for n, _, count in total] == [
        (n, sum(1 for row in known if (row["s"] and len(row["s"])) == n)) for n in (2, 3, None)
    ]
    assert sum(part for _, part, _ in total) == sum(row["d"] / 2 for row in known)


def test_only_rows_that_need_a_function_come_to_it(connection: sqxer.Connection) -> None:
    seen: list[float] = []

    def inverse(values: pa.Array) -> pa.Array:
        seen.extend(values.to_pylist())
        return pc.divide(1.0, values)

    connection.register_function("inverse", inverse, "double", ["double"])
    rows = connection.execute(
        "SELECT CASE WHEN d > 2000 THEN inverse(d) END AS x FROM t WHERE d > 1999 ORDER BY d"
    ).fetchall()
    assert [row[0] for row in rows[:5]] == [None, None, None, None, 1 / 2000.25]
    assert min(seen) > 2000


@pytest.mark.parametrize(
    ("result", "given", "value"),
    [
        ("boolean", True, True),
        ("int4", 7, 7),
        ("int4", "12", 12),
        ("double", Decimal("1.5"), 1.5),
        ("float", 1.5, 1.5),
        ("numeric", Decimal("12345678901234567890.25"), Decimal("12345678901234567890.25")),
        ("varchar(3)", "abc", "abc"),
        ("text", "łódź", "łódź"),
        ("date", dt.date(2024, 2, 29), dt.date(2024, 2, 29)),
        ("date", "2024-02-29", dt.date(2024, 2, 29)),
        ("time", dt.time(12, 30, 1), dt.time(12, 30, 1)),
        ("timestamp", dt.datetime(2024, 2, 29, 1, 2, 3), dt.datetime(2024, 2, 29, 1, 2, 3)),
        ("int4", None, None),
    ],
)
def test_results_are_brought_to_their_type(
    connection: sqxer.Connection, result: str, given: object, value: object
) -> None:
    connection.register_function("f", lambda _: given, result, rows=True)
    connection.register_function("constant", lambda: given, result, rows=True)
    sql = "SELECT f(i), constant() FROM t WHERE d < 1"
    assert connection.execute(sql).fetchall() == [(value, value)] * 4


def test_arguments_come_as_declared(connection: sqxer.Connection) -> None:
    seen: list[Any] = []

    def see(*values: object) -> int:
        seen.append(values)
        return 0

    types = ["numeric", "double", "varchar", "date", "boolean", "int4"]
    connection.register_function("see", see, "int4", types, rows=True, volatile=True)
    connection.execute("SELECT see(12.50, '1.5', 7, '2024-02-29', TRUE, NULL) AS x")
    connection.register_function("any_of", see, "int4", rows=True, volatile=True)
    connection.execute("SELECT any_of(12.50, 'a', DATE '2024-02-29', NULL, 3) AS x")
    day = dt.date(2024, 2, 29)
    assert seen[0] == (Decimal("12.5"), 1.5, "7", day, True, None)
    assert seen[1][:4] == (12.5, "a", day, None)


def test_refusals(connection: sqxer.Connection) -> None:
    def refuse(code: int, sql: str) -> sqxer.Error:
        with pytest.raises(sqxer.Error) as info:
            connection.execute(sql)
        assert info.value.code == code, info.value
        return info.value

    register = connection.register_function
    register("one", lambda x: x, "int4", ["int4"])
    refuse(58013, "SELECT one(1, 2) AS x")
    refuse(58012, "SELECT one(DISTINCT 1) AS x")
    refuse(58042, "SELECT one(i) OVER () AS x FROM t")
    refuse(58004, "SELECT two(1) AS x")
    register("few", lambda x: x.slice(1), "int4", ["int4"])
    assert refuse(57114, "SELECT few(i) AS x FROM t").row == 1
    register("words", lambda _: "no number", "int4", rows=True)
    error = refuse(57115, "SELECT 1, words(i) AS x FROM t WHERE i > 20")
    assert (error.row, error.position) == (23, 10)
    register("mean", lambda x: [pc.mean(x).as_py()], "double", ["double"])
    error = refuse(57114, "SELECT COUNT(DISTINCT mean(d)) AS x FROM t")
    assert "gave 1 values for 2048 rows" in str(error)
    register("long", lambda _: "four", "varchar(3)", rows=True)
    register("number", lambda _: 1234, "varchar(3)", rows=True)
    for call in ("long(i)", "UPPER(long(i))", "number(i)", "number(i) || 'x'"):
        refuse(57116, f"SELECT {call} AS x FROM t")
    for name in ("upper", "sum", "a b", "1a", "", "select", "case", "dec"):
        with pytest.raises(sqxer.Error, match="57117"):
            register(name, lambda: 1, "int4")
    with pytest.raises(sqxer.Error, match="57118"):
        register("f", lambda: 1, "bigint")
    connection.unregister_function("ONE")
    refuse(58004, "SELECT one(1) AS x")


def test_exceptions_pass_through(connection: sqxer.Connection) -> None:
    def fail(_: object) -> None:
        raise KeyError("mine")

    connection.register_function("fail", fail, "int4")
    for sql in (
        "SELECT fail(i) FROM t",
        "SELECT fail(1) AS x",
        "SELECT i, COUNT(*) FROM t WHERE fail(d) > 0 GROUP BY i",
        "SELECT fail(i), SUM(d) FROM t GROUP BY 1",
        "SELECT SUM(d) OVER (PARTITION BY fail(i)) FROM t",
        "SELECT i FROM t ORDER BY fail(d)",
    ):
        with pytest.raises(KeyError, match="mine"):
            connection.execute(sql)
    with pytest.raises(KeyError, match="mine"):
        list(connection.stream("SELECT fail(i) FROM t"))

    def again(_: object) -> object:
        return connection.execute("SELECT 1 AS x")

    connection.register_function("again", again, "int4")
    with pytest.raises(sqxer.InterfaceError, match="uses this connection"):
        connection.execute("SELECT again(i) FROM t")
    assert connection.execute("SELECT COUNT(*) FROM t").fetchall() == [(ROWS,)]


@pytest.mark.parametrize("threads", [1, 2])
def test_errors_are_those_of_rows(threads: int) -> None:
    """What no row asks for is not raised, and what comes first is."""
    connection = sqxer.connect(threads=threads)
    codes = pa.array([n % 3 for n in range(20_000)], pa.int32())
    texts = pa.DictionaryArray.from_arrays(codes, pa.array(["a", "b", "bad", "never"]))
    connection.register("t", pa.table({"id": pa.array(range(20_000), pa.int32()), "s": texts}))

    def fail(value: object) -> object:
        if value in {"bad", "never", 5000}:
            raise ValueError(value)
        return value

    connection.register_function("f", fail, "varchar(9)", rows=True)
    connection.register_function("g", fail, "int4", ["int4"], rows=True)
    good = connection.execute("SELECT COUNT(f(s)) FROM t WHERE s <> 'bad'").fetchall()
    assert good == [(13_334,)]
    good = connection.execute("SELECT COUNT(CASE WHEN s <> 'bad' THEN f(s) END) FROM t").fetchall()
    assert good == [(13_334,)]
    assert len(connection.execute("SELECT g(id) FROM t LIMIT 5000").fetchall()) == 5000
    with pytest.raises(sqxer.DataError) as info:
        connection.execute("SELECT g(id), 1 / (id - 4500) FROM t")
    assert info.value.row == 4501
    with pytest.raises(ValueError, match="5000"):
        connection.execute("SELECT g(id), 1 / (id - 5001) FROM t")


def test_one_value_is_that_of_all_rows(connection: sqxer.Connection) -> None:
    for result, value in (
        ("date", dt.date(2020, 1, 2)),
        ("time", dt.time(1, 2)),
        ("timestamp", dt.datetime(2020, 1, 2, 3)),
        ("numeric", Decimal("1.5")),
        ("double", np.float64(1.5)),
        ("varchar", "text"),
        ("int4", pa.scalar(3)),
    ):
        connection.register_function("f", lambda *_, value=value: value, result)
        plain = value.as_py() if isinstance(value, pa.Scalar) else value
        assert connection.execute("SELECT f(i) FROM t LIMIT 2").fetchall() == [(plain,)] * 2


def test_a_function_does_not_use_its_connection(connection: sqxer.Connection) -> None:
    """Neither while a result is made nor while it is streamed."""
    uses = (
        lambda: connection.execute("SELECT 1 AS x"),
        lambda: connection.stream("SELECT 1 AS x"),
        lambda: connection.register("u", {"a": [1]}),
        lambda: connection.unregister("t"),
        lambda: connection.set("Evaluation", "rows"),
        connection.close,
    )
    big = {"x": np.arange(200_000.0)}
    connection.register("big", big)
    for use in uses:
        calls: list[int] = []

        def at_last(
            x: pa.Array, use: Callable[[], object] = use, calls: list[int] = calls
        ) -> pa.Array:
            calls.append(1)
            if len(calls) > 40:
                use()
            return x

        connection.register_function("at_last", at_last, "double")
        with pytest.raises(sqxer.InterfaceError, match="connection"):
            list(connection.stream("SELECT at_last(x) FROM big"))
        calls.clear()
        with pytest.raises(sqxer.InterfaceError, match="connection"):
            connection.execute("SELECT SUM(at_last(x)) AS s FROM big")
    assert connection.execute("SELECT COUNT(*) FROM big").fetchall() == [(200_000,)]


def test_expressions_call_functions(connection: sqxer.Connection) -> None:
    connection.register_function("twice", lambda x: 2 * x, "double", ["double"], rows=True)
    twice = connection.expr("twice(a) + 1")
    assert twice({"a": [1.5, 2.0]}).fetchall() == [(4.0,), (5.0,)]
    assert twice.row({"a": 4.0}) == 9.0
