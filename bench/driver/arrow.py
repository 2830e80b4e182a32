"""Queries of the suite over Arrow tables in one process of Python: sqxer, DuckDB and Polars over
the same table, with one thread and with all, and how long the table takes over the border.

Ends with status 1 when results differ.
"""

import argparse
import json
import math
import subprocess
import sys
import time
from collections.abc import Callable
from typing import Any

import duckdb
import polars as pl
import pyarrow as pa
import pyarrow.csv
import sqxer

from driver.answers import Rows, difference, rows_of
from driver.engines import columns, environment
from driver.machine import cores, load, machine
from driver.options import count, tables
from driver.peers.polars_queries import QUERIES as POLARS
from driver.queries import QUERIES, Query, sql_for

ASKED = (
    "sum_of_sums", "five_way_filter", "summary_double", "summary_numeric", "like", "case_of_three",
    "in_8", "group_by_1m", "median_by_1k", "extract_year", "min_max_text", "top_100",
)  # fmt: skip
ENGINES = ("sqxer", "duckdb", "polars")
TYPES = {
    "int4": pa.int32(),
    "double": pa.float64(),
    "date": pa.date32(),
    "char": pa.string(),
    "varchar": pa.string(),
}


def type_of(declared: str) -> Any:  # noqa: ANN401 (pyarrow is untyped)
    name, _, digits = declared.rstrip(")").partition("(")
    if name == "numeric":
        return pa.decimal128(*map(int, digits.split(",")))
    return TYPES[name]


def read_lines(path: str) -> Any:  # noqa: ANN401
    of_lines = json.loads(columns())["lines"]
    types = {column["name"]: type_of(column["type"]) for column in of_lines}
    options = pyarrow.csv.ConvertOptions(column_types=types, strings_can_be_null=True)
    return pyarrow.csv.read_csv(path, convert_options=options).combine_chunks()


class Peers:
    """Each engine's way from a query to its rows; a long result is only made."""

    def __init__(self, lines: Any, threads: int) -> None:  # noqa: ANN401
        self._sqxer = sqxer.connect(threads=threads)
        self._sqxer.register("lines", lines)
        self._duckdb = duckdb.connect(":memory:")
        self._duckdb.execute(f"SET threads={threads}")
        self._duckdb.register("lines", lines)
        self._polars = pl.from_arrow(lines)
        if threads != pl.thread_pool_size():
            raise RuntimeError(f"Polars has {pl.thread_pool_size()} threads, not {threads}")

    def ask(self, engine: str, query: Query) -> Callable[[], Rows]:
        if engine == "sqxer":
            result = self._sqxer.execute(sql_for(query, "sqxer") or "")
            return lambda: rows_of(result.fetchall())
        if engine == "duckdb":
            relation = self._duckdb.sql(sql_for(query, "duckdb") or "")
            table_ = relation.to_arrow_table()
            return lambda: rows_of(zip(*(c.to_pylist() for c in table_.columns), strict=True))
        assert isinstance(self._polars, pl.DataFrame)
        frame = POLARS[query.name](self._polars.lazy()).collect()
        return lambda: rows_of(frame.rows())


def crossing(lines: Any, names: list[str]) -> float:  # noqa: ANN401
    """Milliseconds from the table to a statement that reads one value of each of its columns."""
    best = math.inf
    for _ in range(5):
        connection = sqxer.connect(threads=1)
        start = time.perf_counter()
        connection.register("lines", lines.select(names))
        connection.execute(f"SELECT {', '.join(names)} FROM lines LIMIT 1")
        best = min(best, time.perf_counter() - start)
    return best * 1e3


def measure(path: str, threads: int, runs: int) -> int:
    """The part of a run that has so many threads, in a process of its own."""
    lines = read_lines(path)
    peers = Peers(lines, threads)
    asked = [query for query in QUERIES if query.name in ASKED]
    failures = 0
    ratios: dict[str, list[float]] = {"duckdb": [], "polars": []}
    print(f"\n{lines.num_rows} rows, {threads} threads; milliseconds, the least of {runs} runs")
    print(f"{'':42}{'sqxer':>8}{'DuckDB':>8}{'Polars':>8}{'/ DuckDB':>10}{'/ Polars':>10}")
    for query in asked:
        least = dict.fromkeys(ENGINES, math.inf)
        rows: dict[str, Rows] = {}
        for run in range(runs + 1):
            for engine in ENGINES:
                start = time.perf_counter()
                given = peers.ask(engine, query)
                # The first run reads what is kept from then on.
                if run > 0:
                    least[engine] = min(least[engine], time.perf_counter() - start)
                elif not query.columns:
                    rows[engine] = given()
        for engine in ENGINES[1:]:
            ratios[engine].append(least["sqxer"] / least[engine])
            found = difference(rows["sqxer"], rows[engine]) if rows else None
            if found is not None:
                print(f"FAILED {query.name}: {engine} differs: {found}")
                failures += 1
        times = "".join(f"{least[engine] * 1e3:8.1f}" for engine in ENGINES)
        shares = "".join(f"{least['sqxer'] / least[engine]:10.2f}" for engine in ENGINES[1:])
        print(f"{query.what:42}{times}{shares}")
    means = "".join(f"{math.exp(sum(map(math.log, r)) / len(r)):10.2f}" for r in ratios.values())
    print(f"{'geometric mean':66}{means}")
    if threads == 1:
        fixed = ["l_id", "l_partkey", "l_suppkey", "l_quantity", "l_price", "l_discount", "l_tax"]
        print(f"\nfrom {len(fixed)} columns of numbers to their first row: ", end="")
        print(f"{crossing(lines, fixed):.2f} ms; with the dates ", end="")
        print(f"{crossing(lines, [*fixed, 'l_shipdate', 'l_receiptdate']):.2f} ms")
    return failures


def main() -> int:
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("--rows", type=count, default=10_000_000, help="of the table")
    options.add_argument("--runs", type=count, default=3, help="of each query")
    options.add_argument("--measure", nargs=2, metavar=("FILE", "THREADS"), help=argparse.SUPPRESS)
    chosen = options.parse_args()
    if chosen.measure:
        return min(measure(chosen.measure[0], int(chosen.measure[1]), chosen.runs), 1)
    print(f"{machine()}, load {load()}", flush=True)
    status = 0
    with tables(chosen.rows) as folder:
        for threads in sorted({1, cores()}):
            command = [sys.executable, "-m", "driver.arrow", "--runs", str(chosen.runs)]
            command += ["--measure", str(folder / "lines.csv"), str(threads)]
            status |= subprocess.run(command, env=environment(threads), check=False).returncode
    return status


if __name__ == "__main__":
    sys.exit(main())
