"""Tables of every kind that people hand over, and results in every form that they take."""

from __future__ import annotations

import datetime as dt
import itertools
import math
import random
from decimal import Decimal
from pathlib import Path
from typing import Any

import duckdb
import numpy as np
import pandas as pd
import polars as pl
import pyarrow as pa
import pyarrow.dataset as ds
import pyarrow.parquet as pq
import pytest
import sqxer

_ROWS = 20_000
_WORDS = ["", "plain", "naïve", "Ωmega", "日本語", "🎈", "x" * 70]


def _values(kind: str, rng: random.Random) -> Any:  # noqa: ANN401, PLR0911
    if kind == "bool":
        return rng.random() < 0.5
    if kind.startswith("int"):
        return rng.randrange(-(1 << (int(kind[3:]) - 1)), 1 << (int(kind[3:]) - 1))
    if kind.startswith("uint"):
        return rng.randrange(1 << int(kind[4:]))
    if kind == "float64":
        return rng.choice([0.0, -0.0, 1e300, -2.5, rng.uniform(-1e6, 1e6)])
    if kind == "decimal":
        return Decimal(rng.randrange(-(10**20), 10**20)).scaleb(-2)
    if kind == "date32":
        return dt.date(1900, 1, 1) + dt.timedelta(days=rng.randrange(90_000))
    if kind == "timestamp":
        return dt.datetime(1950, 1, 1) + dt.timedelta(microseconds=rng.randrange(4 * 10**15))
    if kind == "time":
        return (dt.datetime.min + dt.timedelta(microseconds=rng.randrange(86_400 * 10**6))).time()
    return rng.choice(_WORDS)


_TYPES: dict[str, Any] = {
    "bool": pa.bool_(),
    **{f"int{bits}": getattr(pa, f"int{bits}")() for bits in (8, 16, 32, 64)},
    **{f"uint{bits}": getattr(pa, f"uint{bits}")() for bits in (8, 16, 32, 64)},
    "float64": pa.float64(),
    "decimal": pa.decimal128(25, 2),
    "date32": pa.date32(),
    "timestamp": pa.timestamp("us"),
    "time": pa.time64("us"),
    "text": pa.string(),
    "large_text": pa.large_string(),
    "view_text": pa.string_view(),
    "dictionary": pa.dictionary(pa.int8(), pa.string()),
}


def _table(rows: int, nulls: float, seed: int) -> pa.Table:
    rng = random.Random(seed)
    columns = {}
    for name, kind in _TYPES.items():
        values = [None if rng.random() < nulls else _values(name, rng) for _ in range(rows)]
        plain = pa.string() if pa.types.is_dictionary(kind) else kind
        column = pa.array(values, plain)
        columns[name] = column.cast(kind) if plain is not kind else column
    return pa.table(columns)


def _same(a: Any, b: Any) -> bool:  # noqa: ANN401
    if isinstance(a, float) and isinstance(b, float):
        return (
            (math.isnan(a) and math.isnan(b)) or (a == b and math.copysign(1, a * b) >= 0) or a == b
        )
    return bool(a == b)


def _rows(table: pa.Table) -> list[tuple[Any, ...]]:
    return list(zip(*(column.to_pylist() for column in table.columns), strict=True))


def _expect_same(got: list[tuple[Any, ...]], wanted: list[tuple[Any, ...]]) -> None:
    assert len(got) == len(wanted)
    for row, (a, b) in enumerate(zip(got, wanted, strict=True)):
        assert all(map(_same, a, b)), (row, a, b)


@pytest.mark.parametrize("nulls", [0.0, 0.1, 1.0])
def test_every_type_comes_back(nulls: float) -> None:
    """Whole, sliced and in chunks; read by pyarrow and as Python values."""
    table = _table(_ROWS, nulls, 1)
    chunked = pa.concat_tables([table.slice(3, 5000), table.slice(8003, 1), table.slice(9001)])
    for part in (table, table.slice(17, 9000), table.slice(5, 0), chunked):
        result = sqxer.sql("SELECT * FROM t", t=part)
        wanted = _rows(part)
        assert len(result) == len(wanted)
        _expect_same(_rows(result.arrow()), wanted)
        _expect_same(result.fetchall(), wanted)
        for batch in result.batches():
            assert batch.arrow().num_rows == len(batch)


def test_batches_beside_duckdb() -> None:
    """Filters, groups and sorts of generated rows."""
    table = _table(_ROWS, 0.1, 2)
    statements = [
        "SELECT int32 + uint16 AS s, text FROM t WHERE int8 > 100 ORDER BY int32, text LIMIT 500",
        "SELECT dictionary, COUNT(*) AS n, SUM(int16) AS s, MAX(date32) AS d FROM t "
        "GROUP BY dictionary ORDER BY n",
        "SELECT COUNT(*), SUM(decimal), MIN(timestamp), MAX(text) FROM t WHERE bool",
        "SELECT DISTINCT int8 / 16 AS k FROM t WHERE uint8 BETWEEN 3 AND 200 ORDER BY k",
    ]
    for statement in statements:
        other = statement.replace("/ 16", "// 16")
        relation = duckdb.from_arrow(table).query("t", other)
        assert relation is not None
        wanted = relation.fetchall()
        got = sqxer.sql(statement, t=table).fetchall()
        _expect_same(
            [
                tuple(int(v) if isinstance(v, Decimal) and v == int(v) else v for v in r)
                for r in got
            ],
            [
                tuple(int(v) if isinstance(v, Decimal) and v == int(v) else v for v in r)
                for r in wanted
            ],
        )


def test_every_container_is_a_table(tmp_path: Path) -> None:
    """The same rows as data frames, arrays, lists, readers and files."""
    columns = {"a": [1, 2, 3, None], "b": [0.5, 1.5, 2.5, 3.5], "c": ["x", "ü", None, "z"]}
    table = pa.table(columns)
    pq.write_table(table, tmp_path / "t.parquet")
    (tmp_path / "t.csv").write_text("a,b,c\n1,0.5,x\n2,1.5,ü\n3,2.5,\n,3.5,z\n")
    relation = duckdb.from_arrow(table)
    containers: list[Any] = [
        table,
        table.to_batches()[0],
        table.to_reader(),
        pd.DataFrame(columns).convert_dtypes(),
        pl.DataFrame(columns),
        relation,
        columns,
        [dict(zip(columns, row, strict=True)) for row in zip(*columns.values(), strict=True)],
        ds.dataset(tmp_path / "t.parquet"),
        tmp_path / "t.parquet",
        str(tmp_path / "t.csv"),
    ]
    for container in containers:
        result = sqxer.sql("SELECT c, a, b FROM t WHERE b > 1 ORDER BY b", t=container)
        wanted = [("ü", 2, 1.5), (None, 3, 2.5), ("z", None, 3.5)]
        assert [tuple(row) for row in result.fetchall()] == wanted, type(container)


def test_numpy_columns() -> None:
    """Arrays of every number, with strides, and dates with NaT."""
    for kind in ["i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", "f4", "f8", "?"]:
        values = np.array([1, 0, 1, 1, 0, 1]).astype(kind)
        for shown in (values, values[::2], values[::-1]):
            rows = sqxer.sql("SELECT v FROM t", t={"v": shown}).fetchall()
            assert [row[0] for row in rows] == shown.tolist(), kind
    days = np.array(["2012-01-31", "NaT", "1969-12-31"], dtype="M8[D]")
    moments = days.astype("M8[ns]")
    dated = sqxer.sql("SELECT d, m, w FROM t", t={"d": days, "m": moments, "w": ["p", None, "q"]})
    assert dated.fetchall() == [
        (dt.date(2012, 1, 31), dt.datetime(2012, 1, 31), "p"),
        (None, None, None),
        (dt.date(1969, 12, 31), dt.datetime(1969, 12, 31), "q"),
    ]
    with pytest.raises(sqxer.InterfaceError, match="different lengths"):
        sqxer.sql("SELECT * FROM t", t={"a": [1], "b": [1, 2]})
    with pytest.raises(sqxer.InterfaceError, match="no table"):
        sqxer.sql("SELECT * FROM t", t=7)


def test_exact_numbers() -> None:
    """Numerics come with all their digits, as integers, decimals or doubles."""
    big = Decimal("12345678901234567890123456789.01")
    t = {"v": [big, Decimal("0.5"), None]}
    assert sqxer.sql("SELECT v + 1 AS w FROM t", t=t).fetchall() == [
        (Decimal("12345678901234567890123456790.01"),),
        (Decimal("1.5"),),
        (None,),
    ]
    whole = sqxer.sql("SELECT SUM(v) AS s FROM t", t={"v": [1 << 40, 2]})
    assert whole.arrow().schema.field("s").type == pa.int64()
    doubles = sqxer.sql("SELECT v FROM t", t=t, numerics="double").arrow()
    assert doubles.schema.field("v").type == pa.float64()
    decimals = sqxer.sql("SELECT SUM(v) AS s FROM t", t={"v": [1, 2]}, numerics="decimal").arrow()
    assert pa.types.is_decimal(decimals.schema.field("s").type)


@pytest.mark.parametrize("kinds", [0, 1, 256, 257])
def test_texts_of_few_kinds(kinds: int) -> None:
    """They are kept as codes, up to 256 of them, which nobody can see."""
    rng = random.Random(kinds)
    texts = [f"{'long ' * (i % 5)}{i}" for i in range(kinds)]
    values = [None if not texts or rng.random() < 0.1 else rng.choice(texts) for _ in range(30_000)]
    connection = sqxer.connect()
    connection.register("t", pa.table({"v": pa.array(values, pa.string())}).slice(7))
    wanted = values[7:]
    assert [row[0] for row in connection.execute("SELECT v FROM t")] == wanted
    counts = dict(connection.execute("SELECT v, COUNT(*) FROM t GROUP BY v").fetchall())
    assert counts == {value: wanted.count(value) for value in set(wanted)}
    some = connection.execute("SELECT COUNT(*) FROM t WHERE v >= 'long 2' AND v LIKE '%1%'")
    expected = sum(value is not None and value >= "long 2" and "1" in value for value in wanted)
    assert some.fetchall() == [(expected,)]


def test_intervals() -> None:
    """As Python has them, with their months beside it, and as Arrow has them."""
    values = [dt.timedelta(days=2, microseconds=-1), sqxer.Interval(14, -3, 5), None]
    table = {"i": values, "n": [1, 2, 3]}
    result = sqxer.sql("SELECT i, i * n AS twice FROM t ORDER BY n", t=table)
    assert result.types == ["interval", "interval"]
    assert result.fetchall() == [
        (values[0], values[0]),
        (values[1], sqxer.Interval(28, -6, 10)),
        (None, None),
    ]
    arrow = sqxer.sql("SELECT i FROM t", t=table).arrow()
    assert arrow.schema.field("i").type == pa.month_day_nano_interval()
    assert arrow["i"].to_pylist()[1:] == [pa.MonthDayNano([14, -3, 5000]), None]
    again = sqxer.sql("SELECT i, CAST(i AS text) AS s FROM t", t=arrow)
    assert [row[0] for row in again.fetchall()] == values
    # A span of more days than a timedelta has.
    assert sqxer.sql("SELECT INTERVAL '2147483647 days' AS i").fetchall() == [
        (sqxer.Interval(0, 2_147_483_647, 0),)
    ]
    beyond = "SELECT INTERVAL '2562047788 hours' AS i"
    with pytest.raises(sqxer.OperationalError, match="month_day_nano"):
        sqxer.sql(beyond).fetchall()
    spans = pa.table({"d": pa.array([1500], pa.duration("ms"))})
    assert sqxer.sql("SELECT d FROM t", t=spans).fetchall() == [(1500,)]


def test_columns_that_cannot_be_read_are_in_nobodys_way() -> None:
    """Unless a statement names them."""
    table = pa.table({"a": [1, 2], "raw": pa.array([b"x", b"y"])})
    assert sqxer.sql("SELECT SUM(a) FROM t", t=table).fetchall() == [(3,)]
    with pytest.raises(sqxer.OperationalError, match="raw"):
        sqxer.sql("SELECT raw FROM t", t=table)
    connection = sqxer.connect()
    connection.register("t", table, binary_as_text=True)
    assert connection.execute("SELECT raw FROM t").fetchall() == [("x",), ("y",)]


def test_tables_stay_as_long_as_anything_shows_them() -> None:
    """Results hold the memory of tables that are gone."""

    def make() -> Any:  # noqa: ANN401
        column = pa.array(np.arange(100_000, dtype=np.int32))
        return sqxer.sql("SELECT v FROM t", t=pa.table({"v": column}))

    before = pa.total_allocated_bytes()
    for _ in range(20):
        result = make()
        batches = list(result.batches())
        del result
        assert sum(sum(batch.arrow()["v"].to_pylist()) for batch in batches) == sum(range(100_000))
        del batches
    assert pa.total_allocated_bytes() - before < 4 << 20


def test_datasets_are_asked_for_the_columns_that_count(tmp_path: Path) -> None:
    """Parquet in several files and hive folders, columns read as far as they are named."""
    for part, first in ((1, 0), (2, 5)):
        folder = tmp_path / "t" / f"p={part}"
        folder.mkdir(parents=True)
        pq.write_table(
            pa.table({"a": range(first, first + 5), "b": ["w"] * 5}), folder / "x.parquet"
        )
    asked: list[list[str]] = []

    class Watched:
        """A dataset that tells which columns it was asked for."""

        def __init__(self) -> None:
            self._dataset = ds.dataset(tmp_path / "t", partitioning="hive")
            self.schema = self._dataset.schema

        def scanner(self, columns: list[str]) -> Any:  # noqa: ANN401
            asked.append(columns)
            return self._dataset.scanner(columns=columns)

    rows = sqxer.sql("SELECT p, SUM(a) AS s FROM t GROUP BY p ORDER BY p", t=Watched()).fetchall()
    assert rows == [(1, 10), (2, 35)]
    assert all(sorted(columns) == ["a", "p"] for columns in asked)
    assert asked
    count = sqxer.sql("SELECT COUNT(*) FROM t", t=tmp_path / "t").fetchall()
    assert count == [(10,)]


def test_streams_give_rows_while_they_are_made() -> None:
    """Far more rows than are kept ahead, ended early or read to the end."""
    connection = sqxer.connect()
    connection.register("t", {"v": np.arange(1_000_000)})
    stream = connection.stream("SELECT v * 2 AS w FROM t")
    assert list(itertools.islice(stream, 3)) == [(0,), (2,), (4,)]
    again = connection.stream("SELECT v * 2 AS w FROM t")
    assert again.arrow().num_rows == 1_000_000
    with pytest.raises(sqxer.Error, match="cancelled"):
        list(stream)
    failing = connection.stream("SELECT 1 / (v - 900000) AS w FROM t")
    with pytest.raises(sqxer.DataError, match="input row 900001"):
        list(failing)
    reader = pa.RecordBatchReader.from_stream(
        connection.stream("SELECT 1 / (v - 900000) AS w FROM t")
    )
    with pytest.raises(pa.ArrowInvalid, match="division by zero"):
        reader.read_all()


def test_streams_have_one_place() -> None:
    """However they are read, no row is lost, and none comes after an error or when handed on."""
    connection = sqxer.connect()
    connection.register("t", {"v": np.arange(100_000)})
    connection.register("u", {"v": np.arange(1_000_000)})
    stream = connection.stream("SELECT v FROM t")
    assert stream.fetchone() == (0,)
    assert list(itertools.islice(stream, 3)) == [(1,), (2,), (3,)]
    with pytest.raises(sqxer.InterfaceError, match="go on with those"):
        stream.arrow()
    assert list(stream) == [(i,) for i in range(4, 100_000)]
    stream = connection.stream("SELECT v FROM t")
    assert stream.arrow().num_rows == 100_000
    for use in (lambda: stream.columns, lambda: repr(stream), lambda: list(stream), stream.arrow):
        with pytest.raises(sqxer.Error):
            use()
    stream = connection.stream("SELECT CASE WHEN v = 900000 THEN 0.5 ELSE v END AS w FROM u")
    for _ in range(2):
        with pytest.raises(sqxer.Error, match=r"0\.5"):
            list(stream)


def test_sources_that_are_not_what_they_said() -> None:
    """Missing columns, other types and other rows are errors; exceptions of Python come as such."""

    class Source:
        """A dataset that does as its test wants."""

        schema = pa.schema([("a", pa.int32()), ("b", pa.int32())])

        def __init__(self, make: Any) -> None:  # noqa: ANN401
            self._make = make

        def scanner(self, columns: list[str]) -> Any:  # noqa: ANN401
            table = self._make(columns)

            class Scanner:
                """What pyarrow's scanners have."""

                def to_reader(self) -> Any:  # noqa: ANN401
                    return table.to_reader()

            return Scanner()

    lacking = Source(lambda _: pa.table({"a": pa.array([1], pa.int32())}))
    other = Source(lambda _: pa.table({"a": ["x"], "b": pa.array([1], pa.int32())}))
    for source in (lacking, other):
        for statement in (
            "SELECT a, b FROM t",
            "SELECT a, b FROM t ORDER BY a",
            "SELECT SUM(a + b) FROM t",
        ):
            with pytest.raises(sqxer.OperationalError):
                sqxer.sql(statement, t=source)

    def fail(_: list[str]) -> Any:  # noqa: ANN401
        raise KeyError("mine")

    with pytest.raises(KeyError, match="mine"):
        sqxer.sql("SELECT a FROM t", t=Source(fail))


def test_sources_that_a_statement_reads_twice(tmp_path: Path) -> None:
    """As its rows, which pass once, and as the table that values are looked up in."""
    pq.write_table(
        pa.table({"id": pa.array([1, 2], pa.int32()), "w": ["x", "y"]}), tmp_path / "t.parquet"
    )
    for statement in (
        "SELECT id, w, DICT_LOOKUP(3 - id, t) AS v FROM t",
        "SELECT id, w, DICT_LOOKUP(3 - id, t) AS v FROM t LIMIT 5",
    ):
        rows = sqxer.sql(statement, t=tmp_path / "t.parquet").fetchall()
        assert rows == [(1, "x", "y"), (2, "y", "x")], statement
    first = sqxer.sql("SELECT id, DICT_LOOKUP(2, t) AS v FROM t LIMIT 1", t=tmp_path / "t.parquet")
    assert first.fetchall() == [(1, "y")]


def test_tables_are_those_of_their_registration() -> None:
    """What is changed afterwards is not seen."""
    frame = pl.DataFrame({"a": [1, 2, 3], "b": [1, 2, 3]})
    connection = sqxer.connect()
    connection.register("t", frame)
    assert connection.execute("SELECT SUM(a) FROM t").fetchall() == [(6,)]
    for index, name in enumerate(["a", "b"]):
        frame.replace_column(index, pl.Series(name, [30, 20, 10]))
    assert connection.execute("SELECT a, b FROM t").fetchall() == [(1, 1), (2, 2), (3, 3)]


def test_values_at_the_limits() -> None:
    """Nothing becomes another value."""
    big = 2**63 + 1
    assert sqxer.sql("SELECT v FROM t", t={"v": [big, 1]}).fetchall() == [(big,), (1,)]
    least = pa.array([-(2**63) + 1, 0], pa.int64()).cast(pa.timestamp("ns"))
    assert sqxer.sql("SELECT v FROM t", t=pa.table({"v": least})).arrow()["v"].cast(
        pa.int64()
    ).to_pylist() == [-(2**63) + 1, 0]
    large = "12345678901234567890123456789012345678"
    far = f"SELECT CASE WHEN k = 2 THEN {large} ELSE 0.25 END AS v FROM t"
    with pytest.raises(sqxer.OperationalError, match=r"0\.25"):
        sqxer.sql(far, t={"k": [1, 2]}).fetchall()
    assert sqxer.sql(far, t={"k": [1, 2]}, numerics="double").fetchall()[0] == (0.25,)
    masked = np.ma.array([1, 2, 3], mask=[False, True, False])
    assert sqxer.sql("SELECT v FROM t", t={"v": masked}).fetchall() == [(1,), (None,), (3,)]
    weeks = np.array(["2020-01-02"], dtype="M8[D]").astype("M8[7D]")
    wanted = weeks.astype("M8[D]").tolist()[0]
    assert sqxer.sql("SELECT v FROM t", t={"v": weeks}).fetchall()[0][0] in {
        wanted,
        dt.datetime.combine(wanted, dt.time()),
    }
    with pytest.raises(sqxer.InterfaceError):
        sqxer.sql("SELECT v FROM t", t={"v": np.array([1], dtype="M8[ps]")})
    with pytest.raises(sqxer.InterfaceError):
        sqxer.sql("SELECT a, a FROM t", t={"a": [1]}).to_dict()
