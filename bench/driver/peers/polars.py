"""Polars: a data frame in memory, or a file, asked by lazy expressions. It takes the number of its
threads from POLARS_MAX_THREADS, which whoever starts the process sets.
"""

import polars as pl

from driver.answers import rows_of
from driver.peers.engine import Columns, FileJob, Job, Report
from driver.peers.polars_queries import FILE_QUERIES, QUERIES
from driver.peers.polars_sales import SALES_QUERIES

TYPES = {
    "int4": pl.Int32(),
    "double": pl.Float64(),
    "date": pl.Date(),
    "char": pl.String(),
    "varchar": pl.String(),
}


def type_of(declared: str) -> pl.DataType:
    name, _, length = declared.rstrip(")").partition("(")
    if name != "numeric":
        return TYPES[name]
    precision, scale = map(int, length.split(","))
    return pl.Decimal(precision, scale)


def digest(result: pl.DataFrame) -> pl.DataFrame:
    """One row of a result of many, as suite/Digest.cpp makes it."""
    first, *_ = result.columns
    sums = [pl.len().alias("rows")]
    for name in result.columns:
        value = pl.col(name).cast(pl.Float64)
        sums += [value.count().alias(f"count_{name}"), value.sum().alias(f"sum_{name}")]
        if name != first:
            sums.append((pl.col(first).cast(pl.Float64) * value).sum().alias(f"product_{name}"))
    return result.select(sums)


class LoadedPolars:
    version = pl.__version__

    def __init__(self, folder: str, columns: Columns) -> None:
        self._tables = {}
        for table, of_table in columns.items():
            schema = {column["name"]: type_of(column["type"]) for column in of_table}
            self._tables[table] = pl.read_csv(f"{folder}/{table}.csv", schema=schema)

    def _ask(self, query: str) -> pl.LazyFrame:
        if query in QUERIES:
            return QUERIES[query](self._tables["lines"].lazy())
        return SALES_QUERIES[query]({name: frame.lazy() for name, frame in self._tables.items()})

    def run(self, job: Job) -> Report:
        result = self._ask(job.name).collect()
        return lambda: rows_of((digest(result) if job.digest else result).rows())


class FilePolars:
    version = pl.__version__

    def __init__(self, threads: int) -> None:
        if pl.thread_pool_size() != threads:
            raise RuntimeError(f"Polars has {pl.thread_pool_size()} threads, not {threads}")

    def answer(self, job: FileJob) -> Report:
        query = FILE_QUERIES[job.name]
        lines = pl.scan_csv(job.path, try_parse_dates=True)
        if job.kept:
            lines = lines.collect().lazy()
            query(lines).collect()
        result = query(lines).collect()
        return lambda: rows_of(result.rows())


load = LoadedPolars
open_engine = FilePolars
