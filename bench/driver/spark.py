"""Statements over Parquet on two workers of Spark: by sqxer on its executors, over a frame of
files, which it reads itself (files), and one whose rows Spark has to make (rows), and by Spark's
own operators on the same cluster.

Ends with status 1 when results differ.
"""

import argparse
import math
import os
import shutil
import sys
import tempfile
import time
from pathlib import Path
from typing import Any, NamedTuple

import numpy as np
import pyarrow as pa
import pyarrow.parquet as pq
import sqxer.spark
from pyspark.sql import DataFrame, SparkSession

from driver.machine import load, machine
from driver.options import count

FILES = 16
KEYS = 1000


class Pair(NamedTuple):
    """What is asked of both; nothing of Spark where it has no such operator."""

    what: str
    sqxer: str
    spark: str | None


PAIRS = (
    Pair(
        "count and sum of integers by 1,000 keys",
        "SELECT k, COUNT(*) AS n, SUM(quantity) AS q FROM t GROUP BY k",
        "SELECT k, COUNT(*) AS n, SUM(quantity) AS q FROM t GROUP BY k",
    ),
    Pair(
        "decimal summary by 1,000 keys",
        "SELECT k, COUNT(price) AS n, SUM(price) AS s, MIN(price) AS a, MAX(price) AS b, "
        "SUM(price * quantity) AS v FROM t WHERE quantity > 5 GROUP BY k",
        "SELECT k, COUNT(price) AS n, SUM(price) AS s, MIN(price) AS a, MAX(price) AS b, "
        "SUM(price * quantity) AS v FROM t WHERE quantity > 5 GROUP BY k",
    ),
    Pair(
        "slope and correlation by 1,000 keys",
        "SELECT k, REGR_SLOPE(y, x) AS slope, CORR(x, y) AS fit FROM t GROUP BY k",
        "SELECT k, REGR_SLOPE(y, x) AS slope, CORR(x, y) AS fit FROM t GROUP BY k",
    ),
    Pair(
        "mean and deviation by 1,000 keys",
        # Spark's mean of such decimals has six digits.
        "SELECT k, AVG(x) AS a, ROUND(AVG(price), 6) AS p, STDDEV_SAMP(x) AS d FROM t GROUP BY k",
        "SELECT k, AVG(x) AS a, AVG(price) AS p, STDDEV_SAMP(x) AS d FROM t GROUP BY k",
    ),
    Pair(
        "trend line by 1,000 keys",
        "SELECT k, TRENDLINE_MODEL(x, y, 'linear') AS model FROM t GROUP BY k",
        None,
    ),
)


def write(folder: Path, rows: int) -> None:
    """The table in some files of Parquet."""
    folder.mkdir(parents=True)
    chosen = np.random.default_rng(11)
    for part in range(FILES):
        size = rows * (part + 1) // FILES - rows * part // FILES
        k = chosen.integers(0, KEYS, size, dtype=np.int32)
        x = chosen.uniform(0, 100, size)
        cents = np.zeros((size, 2), dtype=np.int64)
        cents[:, 0] = chosen.integers(1, 100_000, size)
        price = pa.Array.from_buffers(pa.decimal128(9, 2), size, [None, pa.py_buffer(cents)])
        table = pa.table(
            {
                "k": k,
                "quantity": chosen.integers(1, 51, size, dtype=np.int32),
                "price": price,
                "x": x,
                "y": x * (1 + k / KEYS) + chosen.normal(0, 1, size),
            }
        )
        pq.write_table(table, folder / f"{part:02}.parquet")


def start(local: str) -> SparkSession:
    os.environ["PYSPARK_PYTHON"] = sys.executable
    here = "127.0.0.1"
    builder: Any = SparkSession.builder
    session: SparkSession = (
        builder.master("local-cluster[2,1,4096]")
        .appName("sqxer bench")
        .config("spark.driver.host", here)
        .config("spark.driver.bindAddress", here)
        .config("spark.ui.enabled", "false")
        .config("spark.ui.showConsoleProgress", "false")
        .config("spark.local.dir", local)
        .config("spark.executor.memory", "4g")
        .config("spark.executorEnv.PYTHONPATH", os.pathsep.join(path for path in sys.path if path))
        .config("spark.sql.shuffle.partitions", "4")
        .getOrCreate()
    )
    session.sparkContext.setLogLevel("ERROR")
    return session


def collected(frame: DataFrame) -> tuple[list[tuple[Any, ...]], float]:
    began = time.perf_counter()
    rows = [tuple(row) for row in frame.collect()]
    return sorted(rows), time.perf_counter() - began


def equal(a: list[tuple[Any, ...]], b: list[tuple[Any, ...]]) -> bool:
    """Doubles are added in another order by each."""

    def same(x: Any, y: Any) -> bool:  # noqa: ANN401
        if isinstance(x, float):
            return math.isclose(x, y, rel_tol=1e-9, abs_tol=1e-9)
        return bool(x == y)

    return len(a) == len(b) and all(
        all(map(same, row, other)) for row, other in zip(a, b, strict=True)
    )


def compare(spark: SparkSession, folder: Path, runs: int) -> int:
    """Prints the table; the number of pairs that differ."""
    frame = spark.read.parquet(str(folder))
    frame.createOrReplaceTempView("t")
    # A condition that is always true, which leaves the rows to Spark.
    rows = frame.where("k >= 0")
    failures = 0
    print(f"{'seconds, the least of the runs':44}{'files':>8}{'rows':>8}{'Spark':>8}")
    for pair in PAIRS:
        of_files = of_rows = theirs = math.inf
        for run in range(runs + 1):
            got, first = collected(sqxer.spark.sql(spark, pair.sqxer, t=frame))
            again, other = collected(sqxer.spark.sql(spark, pair.sqxer, t=rows))
            expected, second = None, math.inf
            if pair.spark is not None:
                expected, second = collected(spark.sql(pair.spark))
            if run > 0:
                of_files, of_rows = min(of_files, first), min(of_rows, other)
                theirs = min(theirs, second)
        for made in (got, again):
            # A model is a text, whose last digits depend on the order of rows.
            if expected is not None and not equal(made, expected):
                print(f"FAILED {pair.what}: {made[:2]} and {expected[:2]}")
                failures += 1
        peer = "       -" if pair.spark is None else f"{theirs:8.2f}"
        print(f"{pair.what:44}{of_files:8.2f}{of_rows:8.2f}{peer}", flush=True)
    return failures


def main() -> int:
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("--rows", type=count, default=50_000_000, help="of the table")
    options.add_argument("--runs", type=count, default=2, help="of each query, after a first one")
    chosen = options.parse_args()
    if shutil.which("java") is None and "JAVA_HOME" not in os.environ:
        print("Spark takes Java, which is missing")
        return 1
    print(f"{machine()}, load {load()}; {chosen.rows} rows", flush=True)
    with tempfile.TemporaryDirectory(dir="build") as scratch:
        folder = Path(scratch).resolve() / "t"
        write(folder, chosen.rows)
        spark = start(scratch)
        try:
            return min(compare(spark, folder, chosen.runs), 1)
        finally:
            spark.stop()


if __name__ == "__main__":
    sys.exit(main())
