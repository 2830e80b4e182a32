"""Connections, DB-API 2.0, errors, signals, threads, and the examples of the docstrings."""

from __future__ import annotations

import ctypes
import datetime as dt
import doctest
import os
import pickle
import signal
import subprocess
import sys
import threading
import time
from decimal import Decimal
from pathlib import Path

import numpy as np
import pytest
import sqxer
from sqxer import connection as connection_module
from sqxer import expression, result


def test_parameters_of_every_type() -> None:
    """By position, as question marks or numbers, and not in quotations and comments."""
    values = [
        None, True, 7, 1 << 40, 2.5, Decimal("1.10"), "it's ?",
        dt.datetime(2012, 1, 31, 23, 59, 59, 500000),
        dt.timedelta(days=-3, microseconds=7), sqxer.Interval(-14, 3, -1_500_000),
    ]  # fmt: skip
    with sqxer.connect() as connection:
        for value in values:
            assert connection.execute("SELECT ? AS v", [value]).fetchall() == [(value,)]
        # A date is the midnight that begins it, as everywhere in parameters.
        midnight = connection.execute("SELECT ? AS v", [dt.date(2012, 1, 31)])
        assert midnight.types == ["timestamp"]
        assert midnight.fetchall() == [(dt.datetime(2012, 1, 31),)]
        text = "SELECT '?' || ? /* ? /* ? */ */ AS \"a?\" -- ?\n, ?"
        assert connection.execute(text, ["x", 3]).fetchall() == [("?x", 3)]
        assert connection.execute("SELECT $2 - $1", [1, 3]).fetchall() == [(2,)]
        with pytest.raises(sqxer.InterfaceError):
            connection.execute("SELECT ?", [object()])


def test_db_api() -> None:
    """What code for any database does."""
    connection = sqxer.connect()
    connection.register("t", {"a": [1, 2, 3], "b": ["x", "y", None]})
    cursor = connection.cursor()
    assert cursor.description is None
    cursor.execute("SELECT a, b FROM t WHERE a >= ? ORDER BY a", (1,))
    assert cursor.description is not None
    assert [column[0] for column in cursor.description] == ["a", "b"]
    assert cursor.rowcount == 3
    assert cursor.fetchone() == (1, "x")
    assert cursor.fetchmany(5) == [(2, "y"), (3, None)]
    assert cursor.fetchone() is None
    cursor.execute("SELECT a FROM t")
    assert list(cursor) == [(1,), (2,), (3,)]
    connection.commit()
    with pytest.raises(sqxer.NotSupportedError):
        connection.rollback()
    connection.close()
    with pytest.raises(sqxer.InterfaceError):
        connection.execute("SELECT 1")


def test_statements_of_a_session(tmp_path: Path) -> None:
    """Those that make something, or write: tags, counts, no columns, and errors by their kinds."""
    with sqxer.connect() as connection:
        connection.register("t", {"a": [1, 2, 3]})
        made = connection.execute("CREATE TABLE kept AS SELECT a FROM t WHERE a > ?", [1])
        assert (made.columns, made.tag, made.rowcount, len(made)) == ([], "SELECT 2", 2, 0)
        assert made.fetchall() == []
        assert repr(made) == "<sqxer SELECT 2>"
        cursor = connection.cursor()
        cursor.executemany("INSERT INTO kept VALUES (?)", [(5,), (None,)])
        assert (cursor.description, cursor.rowcount) == (None, 1)
        with pytest.raises(sqxer.InterfaceError):
            cursor.fetchall()
        cursor.execute("CREATE VIEW v AS SELECT SUM(a) AS s FROM kept")
        assert (cursor.description, cursor.rowcount) == (None, -1)
        assert connection.execute("SELECT s FROM v").fetchall() == [(10,)]
        assert connection.stream("INSERT INTO kept SELECT a FROM t").tag == "INSERT 0 3"
        path = tmp_path / "kept.jsonl.gz"
        assert connection.execute(f"COPY kept TO '{path}'").tag == "COPY 7"
        assert connection.execute(f"SELECT COUNT(a) AS n FROM '{path}'").fetchall() == [(6,)]
        described = connection.execute("DESCRIBE kept").fetchall()
        assert described == [("a", "numeric", True)]
        assert connection.execute("SHOW TABLES").to_dict()["name"] == ["kept", "t", "v"]
        with pytest.raises(sqxer.ProgrammingError):
            connection.execute("CREATE TABLE t AS SELECT 1 AS a")
        with pytest.raises(sqxer.OperationalError):
            connection.execute("COPY t TO '/nowhere/t.csv'")
    assert sqxer.sql("CREATE VIEW v AS SELECT 1 AS a").tag == "CREATE VIEW"


def test_db_api_types() -> None:
    """Constructors of parameters, and the kinds of columns' types."""
    moment = sqxer.Timestamp(2012, 1, 31, 23, 59, 59)
    cursor = sqxer.connect().cursor()
    cursor.execute(
        "SELECT CAST(? AS DATE) AS d, ? AS m, 'x' AS s, 1.5 AS n, 1 = 1 AS b, CAST(? AS TIME) AS t",
        [sqxer.Date(2012, 1, 31), moment, sqxer.Time(1, 2, 3)],
    )
    row = cursor.fetchone()
    assert row == (dt.date(2012, 1, 31), moment, "x", Decimal("1.5"), True, dt.time(1, 2, 3))
    assert cursor.description is not None
    kinds = [sqxer.DATETIME, sqxer.STRING, sqxer.NUMBER, sqxer.BINARY, sqxer.ROWID]
    found = [[kind == column[1] for kind in kinds].index(True) for column in cursor.description]
    assert found == [0, 0, 1, 2, 2, 0]
    assert all(sum(kind == column[1] for kind in kinds) == 1 for column in cursor.description)
    assert len({*kinds, sqxer.STRING}) == 5
    ticks = time.mktime((2012, 1, 31, 23, 59, 59, 0, 0, -1))
    assert sqxer.TimestampFromTicks(ticks) == moment
    assert sqxer.DateFromTicks(ticks) == moment.date()
    assert sqxer.TimeFromTicks(ticks) == moment.time()
    with pytest.raises(sqxer.InterfaceError):
        cursor.execute("SELECT ?", [sqxer.Binary(b"x")])


def test_errors_tell_where() -> None:
    """Code, place in characters, row, and a class that says whose fault it is."""
    with pytest.raises(sqxer.ProgrammingError) as planned:
        sqxer.sql("SELECT 'ü' || nope FROM t", t={"a": [1]})
    assert planned.value.position == 14
    assert planned.value.sql is not None
    assert str(planned.value).splitlines()[-1].index("^") == 2 + 14
    with pytest.raises(sqxer.ProgrammingError) as marked:
        connection_module.Connection().execute("SELECT ?, ?, nope", [1, 2])
    assert (marked.value.sql, marked.value.position) == ("SELECT ?, ?, nope", 13)
    with pytest.raises(sqxer.InterfaceError):
        sqxer.sql("SELECT ?, $1", [1])
    with pytest.raises(sqxer.DataError) as evaluated:
        sqxer.sql("SELECT 1 / a FROM t", t={"a": [1, 0]})
    assert (evaluated.value.code, evaluated.value.row) == (59008, 2)
    travelled = pickle.loads(pickle.dumps(evaluated.value))
    assert (travelled.row, travelled.inputs) == (2, {"a": "0"})
    assert str(travelled).endswith("^\n  a = 0")
    with pytest.raises(sqxer.OperationalError) as missing:
        sqxer.sql("SELECT * FROM nowhere")
    assert missing.value.code == 57001
    # A session goes on after an error.
    connection = sqxer.connect()
    for statement in ("SELECT", "SELECT 1 / 0", "SELECT a FROM nope"):
        with pytest.raises(sqxer.Error):
            connection.execute(statement)
    assert connection.execute("SELECT 1").fetchall() == [(1,)]
    with pytest.raises(sqxer.Error):
        connection.set("NoSuchSwitch", 1)
    connection.set("CaseSensitiveCompare", False)
    assert connection.execute("SELECT 'a' = 'A'").fetchall() == [(True,)]


def test_expressions() -> None:
    """Over tables of several types, and over rows."""
    total = sqxer.expr("price * quantity")
    assert total({"price": [1.5, 2.0], "quantity": [2, None]}).fetchall() == [(3.0,), (None,)]
    assert total({"price": [3], "quantity": [4]}).fetchall() == [(12,)]
    assert total.row({"price": 1.5, "quantity": 4}) == 6.0
    assert total.row({"price": 1.5, "quantity": None}) is None
    assert sqxer.expr("a + 1").row({"a": 1}) == 2
    name = sqxer.expr("UPPER(name) || ?", ["!"])
    assert [name.row({"name": text}) for text in ("a", "x" * 3000)] == ["A!", "X" * 3000 + "!"]
    for text in ("a, b", "SUM(a)", "a FROM t", "", "a +"):
        with pytest.raises(sqxer.Error):
            sqxer.expr(text)({"a": [1], "b": [2]})
    with pytest.raises(sqxer.DataError) as failed:
        sqxer.expr("1 / a")({"a": [1, 0]})
    assert (failed.value.row, failed.value.position) == (2, 2)


def test_expressions_over_files(tmp_path: Path) -> None:
    """As statements read them; of datasets the columns that are named alone."""
    pa = pytest.importorskip("pyarrow", reason="needs pyarrow")
    ds = pytest.importorskip("pyarrow.dataset")
    pq = pytest.importorskip("pyarrow.parquet")
    text = tmp_path / "t.csv"
    text.write_text("a,b\n1,x\n2,\n3,z\n")
    doubled = sqxer.expr("a * 2 || COALESCE(b, '?')")
    assert doubled(text).fetchall() == doubled(str(text)).fetchall() == [("2x",), ("4?",), ("6z",)]
    table = pa.table({"b": ["x", None, "z"], "n": [[1], [2], None], "a": [1, 2, 3]})
    pq.write_table(table, tmp_path / "t.parquet")
    for source in (tmp_path / "t.parquet", ds.dataset(table)):
        assert doubled(source).fetchall() == [("2x",), ("4?",), ("6z",)]
        assert sqxer.expr("1 + 1")(source).fetchall() == [(2,)] * 3
    with pytest.raises(sqxer.DataError) as failed:
        sqxer.expr("1 / (a - 2)")(tmp_path / "t.parquet")
    assert (failed.value.row, failed.value.position) == (2, 2)
    with pytest.raises(sqxer.OperationalError):
        doubled(tmp_path / "none.csv")
    with pytest.raises(sqxer.ProgrammingError):
        sqxer.expr("nope")(text)


def test_control_c_ends_a_statement() -> None:
    """Soon, with KeyboardInterrupt, and the connection goes on."""
    program = """
import numpy as np, sqxer, sys, time
connection = sqxer.connect(threads=1)
connection.register("t", {"v": np.arange(3_000_000) % 1000 + 0.5})
sql = "SELECT COUNT(*) FROM t WHERE " + " AND ".join(f"LN(v + {i}) < 50" for i in range(60))
print("started", flush=True)
start = time.monotonic()
try:
    while True:
        connection.execute(sql)
except KeyboardInterrupt:
    print("interrupted", connection.execute("SELECT 1").fetchall())
"""
    with subprocess.Popen(
        [sys.executable, "-c", program], stdout=subprocess.PIPE, text=True
    ) as process:
        assert process.stdout is not None
        assert process.stdout.readline() == "started\n"
        time.sleep(0.5)
        start = time.monotonic()
        process.send_signal(signal.SIGINT)
        assert process.stdout.readline() == "interrupted [(1,)]\n"
        assert time.monotonic() - start < 2
        assert process.wait() == 0


def test_other_threads_run_meanwhile() -> None:
    """A statement holds no lock of the interpreter, and another thread can end it."""
    connection = sqxer.connect(threads=1)
    connection.register("t", {"v": np.arange(2_000_000) + 0.5})
    sql = "SELECT COUNT(*) FROM t WHERE " + " AND ".join(f"LN(v + {i}) < 50" for i in range(80))
    failures: list[sqxer.Error] = []

    def run() -> None:
        try:
            while True:
                connection.execute(sql)
        except sqxer.Error as error:
            failures.append(error)

    thread = threading.Thread(target=run)
    thread.start()
    time.sleep(0.2)
    ticks = 0
    end = time.monotonic() + 0.3
    while time.monotonic() < end:
        ticks += 1
    while thread.is_alive():
        connection.cancel()
        thread.join(0.01)
    assert ticks > 1000
    assert [error.code for error in failures] == [57110]


def test_threads_with_connections_of_their_own() -> None:
    """Nobody disturbs anybody."""
    sums: list[object] = []

    def run(first: int) -> None:
        for _ in range(20):
            table = {"v": np.arange(first, first + 10_000)}
            sums.append((first, sqxer.sql("SELECT SUM(v) FROM t", t=table).fetchall()[0][0]))

    threads = [threading.Thread(target=run, args=(i * 7,)) for i in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert set(sums) == {(i * 7, sum(range(i * 7, i * 7 + 10_000))) for i in range(4)}


def test_nothing_is_left_at_the_end_of_the_interpreter() -> None:
    """Streams that nobody has read, tables of Python's memory, results in cycles."""
    program = """
import numpy as np, sqxer
connection = sqxer.connect()
connection.register("t", {"v": np.arange(1_000_000)})
streams = [connection.stream("SELECT v FROM t")]
streams.append(streams)
print(next(iter(streams[0])))
"""
    done = subprocess.run(
        [sys.executable, "-c", program], capture_output=True, text=True, check=True, timeout=60
    )
    assert (done.stdout, done.stderr) == ("(0,)\n", "")


_SLOW = """
import pyarrow as pa, sqxer, threading, time
class Slow:
    schema = pa.schema([("a", pa.int32())])
    def scanner(self, columns):
        def rows():
            while True:
                time.sleep(0.01)
                yield pa.record_batch([pa.array(range(20000), pa.int32())], ["a"])
        class Scanner:
            def to_reader(self):
                return pa.RecordBatchReader.from_batches(Slow.schema, rows())
        return Scanner()
connection = sqxer.connect()
connection.register("t", Slow())
"""


@pytest.mark.parametrize(
    "use",
    [
        "s = connection.stream('SELECT a FROM t'); next(iter(s)); connection.set('Locale', '')",
        "s = connection.stream('SELECT a FROM t'); next(iter(s)); del s",
        "c = connection.stream('SELECT a FROM t').__arrow_c_stream__(); del c",
        "s = [connection.stream('SELECT a FROM t')]; s.append(s); next(iter(s[0]))",
        "threading.Thread(target=connection.execute, args=('SELECT SUM(a) FROM t',), daemon=True)"
        ".start(); time.sleep(0.2)",
    ],
)
def test_sources_of_python_hold_nobody_up(use: str) -> None:
    """Not the end of a stream, nor that of the interpreter."""
    done = subprocess.run(
        [sys.executable, "-c", _SLOW + use + "\nprint('done', flush=True)"],
        capture_output=True, text=True, check=False, timeout=30,
    )  # fmt: skip
    assert (done.returncode, done.stdout) == (0, "done\n"), done.stderr


def test_control_c_reaches_every_phase() -> None:
    """Reading a stream that does not end, and an expression over much."""
    program = """
import numpy as np, pyarrow as pa, sqxer
def rows():
    while True:
        yield pa.record_batch([pa.array(range(1000), pa.int32())], ["a"])
connection = sqxer.connect()
reader = pa.RecordBatchReader.from_batches(pa.schema([("a", pa.int32())]), rows())
slow = sqxer.expr(" + ".join(f"LN(v + {i})" for i in range(300)))
for phase in (
    lambda: connection.register("t", reader),
    lambda: slow({"v": np.arange(5_000_000) + 0.5}),
):
    print("started", flush=True)
    try:
        phase()
    except KeyboardInterrupt:
        print("interrupted", flush=True)
"""
    with subprocess.Popen(
        [sys.executable, "-c", program], stdout=subprocess.PIPE, text=True
    ) as process:
        assert process.stdout is not None
        for _ in range(2):
            assert process.stdout.readline() == "started\n"
            time.sleep(0.4)
            process.send_signal(signal.SIGINT)
            assert process.stdout.readline() == "interrupted\n"
        assert process.wait() == 0


def test_memory_does_not_grow() -> None:
    """Over many statements, failing ones too."""

    def used() -> int:
        pages = int(Path("/proc/self/statm").read_text().split()[1])
        return pages * os.sysconf("SC_PAGE_SIZE")

    def run(times: int) -> None:
        table = {"v": np.arange(50_000), "w": ["text"] * 50_000}
        for _ in range(times):
            sqxer.sql("SELECT v, w FROM t", t=table).fetchmany(3)
            with pytest.raises(sqxer.Error):
                sqxer.sql("SELECT 1 / (v - 40000) FROM t", t=table)

    run(10)
    before = used()
    run(60)
    assert used() - before < 24 << 20


def test_tables_are_shown() -> None:
    """As text and as HTML, long ones shortened."""
    shown = sqxer.sql("SELECT v, 'a<b' AS w FROM t", t={"v": np.arange(1000)})
    assert repr(shown).splitlines()[:3] == [" v  w", "--  ---", " 0  a<b"]
    assert repr(shown).endswith("... 1,000 rows")
    assert "<td>a&lt;b</td>" in shown._repr_html_()
    assert repr(sqxer.sql("SELECT 1 AS a WHERE FALSE")) == "a\n-"


def test_pictures() -> None:
    """Lines, bars, and trend lines over their points."""
    plt = pytest.importorskip("matplotlib.pyplot")
    plt.switch_backend("Agg")
    points = sqxer.sql(
        "SELECT x, y, y AS trendline FROM t", t={"x": [1, 2, 3], "y": [2.0, 4.0, 5.5]}
    )
    assert len(points.plot().lines) == 2
    assert (
        len(sqxer.sql("SELECT k, v FROM t", t={"k": ["a", "b"], "v": [1, 2]}).plot().patches) == 2
    )


@pytest.mark.parametrize("module", [sqxer, connection_module, expression, result])
def test_examples(module: object) -> None:
    """Each gives what is printed."""
    outcome = doctest.testmod(module, optionflags=doctest.NORMALIZE_WHITESPACE)  # type: ignore[arg-type]
    assert outcome.attempted > 0
    assert outcome.failed == 0


def count_free_thread_keys() -> int:
    """How many more keys of thread-specific data the process may make."""
    library = ctypes.CDLL(None)
    key = ctypes.c_uint()
    keys: list[int] = []
    while library.pthread_key_create(ctypes.byref(key), None) == 0:
        keys.append(key.value)
    for made in keys:
        library.pthread_key_delete(made)
    return len(keys)


def test_statements_use_up_nothing_of_the_process() -> None:
    connection = sqxer.connect()
    connection.execute("SELECT 1").fetchall()
    before = count_free_thread_keys()
    for _ in range(20):
        connection.execute("SELECT 1").fetchall()
    assert count_free_thread_keys() > before - 10
