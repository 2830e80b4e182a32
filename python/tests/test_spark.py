"""Statements on two executors of Spark, processes of their own, over Parquet.

SQXER_SPARK_ROWS=20000000 is the long form: `make test-spark`.
"""

from __future__ import annotations

import os
import shutil
import signal
import sys
import threading
import time
from pathlib import Path
from typing import TYPE_CHECKING, Any

import pytest

pytest.importorskip("pyarrow", reason="Spark is not tested: pyarrow is missing")
pytest.importorskip("pyspark", reason="Spark is not tested: pyspark is missing")
if shutil.which("java") is None and "JAVA_HOME" not in os.environ:
    pytest.skip("Spark is not tested: Java is missing", allow_module_level=True)

import parts
import sqxer
import sqxer.spark
from pyspark.sql import SparkSession

if TYPE_CHECKING:
    from collections.abc import Iterator

    from pyspark.sql import DataFrame

_ROWS = int(os.environ.get("SQXER_SPARK_ROWS", "200000"))
_FILES = 16


@pytest.fixture(scope="module")
def folder(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """The table."""
    made: Path = tmp_path_factory.mktemp("spark") / "t"
    parts.write_parts(made, _ROWS, _FILES)
    return made


@pytest.fixture(scope="module")
def spark(tmp_path_factory: pytest.TempPathFactory) -> Iterator[SparkSession]:
    """A cluster of two workers with an executor each."""
    os.environ["PYSPARK_PYTHON"] = sys.executable
    here = "127.0.0.1"
    session = (
        SparkSession.builder.master("local-cluster[2,1,1024]")
        .appName("sqxer")
        .config("spark.driver.host", here)
        .config("spark.driver.bindAddress", here)
        .config("spark.ui.enabled", "false")
        .config("spark.local.dir", str(tmp_path_factory.mktemp("local")))
        .config("spark.executorEnv.PYTHONPATH", parts.python_path())
        .config("spark.sql.shuffle.partitions", "4")
        # A file is a task, so that some are left when an executor goes.
        .config("spark.sql.files.openCostInBytes", "128m")
        .getOrCreate()
    )
    yield session
    session.stop()


def _rows(frame: DataFrame) -> list[tuple[Any, ...]]:
    return [tuple(row) for row in frame.collect()]


@pytest.mark.parametrize(("statement", "in_order"), parts.STATEMENTS)
def test_gives_what_one_machine_gives(
    spark: SparkSession, folder: Path, statement: str, in_order: bool
) -> None:
    """Every kind of statement, over rows that Spark makes: a condition leaves them to it."""
    rows = spark.read.parquet(str(folder)).where("true")
    got = parts.lines(_rows(sqxer.spark.sql(spark, statement, t=rows)), in_order)
    assert got == parts.expected(statement, folder, in_order)


def test_reads_files_by_itself(spark: SparkSession, folder: Path, tmp_path: Path) -> None:
    """Where their path is handed over; columns that are in the names of folders, too."""
    for statement, in_order in [parts.STATEMENTS[i] for i in (0, 4, 8)]:
        got = parts.lines(_rows(sqxer.spark.sql(spark, statement, t=folder)), in_order)
        assert got == parts.expected(statement, folder, in_order)
    assert _rows(sqxer.spark.sql(spark, "SELECT COUNT(*) FROM t", t=str(folder))) == [(_ROWS,)]
    for year in (2023, 2024):
        parts.write_parts(tmp_path / "years" / f"year={year}", 100, 2)
    statement = "SELECT year, COUNT(*), AVG(d) FROM t GROUP BY year"
    got = parts.lines(_rows(sqxer.spark.sql(spark, statement, t=tmp_path / "years")), False)
    assert got == parts.expected(statement, tmp_path / "years", False)
    with pytest.raises(sqxer.InterfaceError):
        sqxer.spark.sql(spark, statement, t=tmp_path / "t.csv")


def test_reads_the_files_of_plain_frames(spark: SparkSession, folder: Path, tmp_path: Path) -> None:
    """A frame that is the rows of Parquet files does not pass through Java, any other one does."""

    def is_read_by_spark(frame: DataFrame) -> bool:
        last = frame.columns[-1]
        made = sqxer.spark.sql(spark, f"SELECT COUNT(*), MAX({last}) FROM t", t=frame)
        assert _rows(made) == _rows(frame.selectExpr("count(*)", f"max({last})"))
        return "Relation" in made._jdf.queryExecution().analyzed().toString()

    frame = spark.read.parquet(str(folder))
    frame.createOrReplaceTempView("shown")
    some = frame.select("n", "at", "k").alias("some")
    for plain in (frame, some, spark.table("shown"), spark.sql("SELECT k FROM shown")):
        assert not is_read_by_spark(plain)
    # A moment of a zone has settings of Spark's own; the years are in the names of folders.
    moments = tmp_path / "a b%20c"
    spark.sql("SELECT timestamp'2024-01-01' AS at").write.parquet(str(moments))
    frame.limit(10).selectExpr("n", "id % 2 AS year").write.partitionBy("year").parquet(
        str(tmp_path / "years")
    )
    for other in (
        frame.where("n > 3"),
        frame.selectExpr("n + 1 AS n"),
        frame.withColumnRenamed("n", "m"),
        frame.select("n").cache(),
        spark.read.option("mergeSchema", "true").parquet(str(folder)),
        spark.read.parquet(str(moments)),
        spark.read.parquet(str(tmp_path / "years")),
    ):
        assert is_read_by_spark(other)
    named = tmp_path / "c d%20e"
    frame.limit(10).select("n").write.parquet(str(named))
    assert not is_read_by_spark(spark.read.parquet(str(named)))


def test_no_part_is_no_rows(spark: SparkSession, folder: Path) -> None:
    """A frame that Spark knows to be empty has one row of counts nevertheless."""
    empty = spark.read.parquet(str(folder)).limit(0)
    counted = sqxer.spark.sql(spark, "SELECT COUNT(*), MAX(n) FROM t", t=empty)
    assert _rows(counted) == [(0, None)]
    assert _rows(sqxer.spark.sql(spark, "SELECT k, AVG(n) FROM t GROUP BY k", t=empty)) == []


def test_errors_come_with_code_and_sentence(spark: SparkSession, folder: Path) -> None:
    """Of the statement at once, of rows when Spark runs."""
    frame = spark.read.parquet(str(folder))
    with pytest.raises(sqxer.Error, match="59015"):
        sqxer.spark.sql(spark, "SELECT nope FROM t", t=frame)
    with pytest.raises(sqxer.InterfaceError):
        sqxer.spark.sql(spark, "SELECT k FROM t", other=frame)
    with pytest.raises(Exception, match="division by zero") as raised:
        sqxer.spark.sql(spark, parts.WRONG_VALUE, t=frame).collect()
    error = sqxer.spark.find_error(raised.value)
    assert error is not None
    assert error.code == 59008
    assert str(error.args[0]).startswith("division by zero")


def _parent_of(process: Path) -> int:
    return int((process / "stat").read_text().rsplit(")", 1)[1].split()[1])


def _executors(driver: int) -> list[int]:
    """The processes of executors that a driver's Java has started."""
    found = []
    for process in Path("/proc").iterdir():
        try:
            command = (process / "cmdline").read_bytes() if process.name.isdigit() else b""
            if b"CoarseGrainedExecutorBackend" in command and _parent_of(process) == driver:
                found.append(int(process.name))
        except OSError:
            continue  # it has ended
    return found


@pytest.mark.skipif(not Path("/proc/self/stat").exists(), reason="executors are found in /proc")
def test_an_executor_that_dies_changes_nothing(spark: SparkSession, folder: Path) -> None:
    """It is killed when some of its tasks are done; others take its place."""
    statement, in_order = parts.STATEMENTS[0]
    frame = sqxer.spark.sql(spark, statement, t=spark.read.parquet(str(folder)))
    gateway = spark.sparkContext._gateway
    assert gateway is not None
    driver = gateway.proc.pid
    before = _executors(driver)
    assert len(before) == 2
    got: list[list[tuple[Any, ...]]] = []
    running = threading.Thread(target=lambda: got.append(_rows(frame)))
    running.start()
    tracker = spark.sparkContext.statusTracker()
    is_killed = False
    while running.is_alive() and not is_killed:
        stages = [tracker.getStageInfo(stage) for stage in tracker.getActiveStageIds()]
        if any(stage and stage.numTasks > 2 and stage.numCompletedTasks > 0 for stage in stages):
            os.kill(before[0], signal.SIGKILL)
            is_killed = True
        time.sleep(0.01)
    assert is_killed
    assert running.is_alive()
    running.join()
    assert parts.lines(got[0], in_order) == parts.expected(statement, folder, in_order)
    assert before[0] not in _executors(driver)
