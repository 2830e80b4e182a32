"""DuckDB: an in-memory database. A long result is materialised, a short one handed to Python."""

import duckdb

from driver.answers import Rows, rows_of
from driver.peers.engine import Columns, FileJob, Job, Report, declare

TYPES = {
    "int4": "INTEGER",
    "double": "DOUBLE",
    "numeric": "DECIMAL()",
    "date": "DATE",
    "char": "VARCHAR",
    "varchar": "VARCHAR",
}


class _Digest:
    """Keeps a long result until the report has been made."""

    def __init__(
        self,
        connection: duckdb.DuckDBPyConnection,
        result: duckdb.DuckDBPyRelation,
        sql: str,
    ) -> None:
        self._connection, self._result, self._sql = connection, result, sql

    def __call__(self) -> Rows:
        return rows_of(self._connection.execute(self._sql).fetchall())


class DuckDb:
    def __init__(self, threads: int) -> None:
        self._connection = duckdb.connect(":memory:")
        self.version: str = self._query("SELECT version()")[0][0]
        self._connection.execute(f"SET threads={threads}")

    def _query(self, sql: str) -> list[tuple[str, ...]]:
        return self._connection.execute(sql).fetchall()

    def load(self, folder: str, columns: Columns) -> None:
        for table, of_table in columns.items():
            fields = declare(of_table, TYPES, lambda name: name)
            self._connection.execute(f"CREATE TABLE {table} ({fields})")
            self._connection.execute(
                f"COPY {table} FROM '{folder}/{table}.csv' (FORMAT csv, HEADER, AUTO_DETECT false)"
            )

    def run(self, job: Job) -> Report:
        if not job.digest:
            rows = self._query(job.sql)
            return lambda: rows_of(rows)
        # A mere execute() computes the rows only when they are fetched, as Python's objects.
        return _Digest(self._connection, self._connection.sql(job.sql).materialize(), job.digest)

    def answer(self, job: FileJob) -> Report:
        table = f"read_csv('{job.path}')"
        if job.kept:
            self._query(f"CREATE TABLE lines AS SELECT * FROM {table}")
            self._query(job.sql.format(table="lines"))
            table = "lines"
        rows = self._query(job.sql.format(table=table))
        return lambda: rows_of(rows)


def load(folder: str, columns: Columns) -> DuckDb:
    engine = DuckDb(threads=1)
    engine.load(folder, columns)
    return engine


open_engine = DuckDb
