"""ClickHouse, in process as chdb: a table of the engine Memory. A long result is made and dropped
(the format Null), a short one written as text.
"""

import json

from chdb.session import Session

from driver.answers import Rows, rows_of
from driver.peers.engine import Column, Columns, FileJob, Job, Report, declare

TYPES = {
    "int4": "Int32",
    "double": "Float64",
    "numeric": "Decimal()",
    "date": "Date",
    "char": "FixedString()",
    "varchar": "String",
}


def parse_rows(text: str) -> Rows:
    """Lines of JSON arrays; numbers keep their digits."""
    lines = [json.loads(line, parse_float=str, parse_int=str) for line in text.splitlines()]
    return rows_of(lines)


def _without_length(column: Column) -> Column:
    """Strings have no declared length."""
    return {**column, "type": "varchar"} if column["type"].startswith("varchar") else column


class ClickHouse:
    def __init__(self, threads: int) -> None:
        self._session = Session()
        self.version = self._query("SELECT version()", "TSV").strip()
        for setting in ("max_threads", "max_parsing_threads"):
            self._query(f"SET {setting} = {threads}")
        # An empty field is NULL, as in the other engines.
        self._query("SET format_csv_null_representation = ''")

    def _query(self, sql: str, form: str = "JSONCompactEachRow") -> str:
        return str(self._session.query(sql, form))

    def load(self, folder: str, columns: Columns) -> None:
        for table, of_table in columns.items():
            plain = [_without_length(column) for column in of_table]
            fields = declare(plain, TYPES, lambda name: f"Nullable({name})")
            self._query(f"CREATE TABLE {table} ({fields}) ENGINE = Memory")
            file = f"file('{folder}/{table}.csv', 'CSVWithNames', '{fields}')"
            self._query(f"INSERT INTO {table} SELECT * FROM {file}")

    def run(self, job: Job) -> Report:
        text = self._query(job.sql, "Null" if job.digest else "JSONCompactEachRow")
        return lambda: parse_rows(self._query(job.digest) if job.digest else text)

    def answer(self, job: FileJob) -> Report:
        table = f"file('{job.path}', 'CSVWithNames')"
        if job.kept:
            self._query(f"CREATE TABLE lines ENGINE = Memory AS SELECT * FROM {table}")
            table = "lines"
            self._query(job.sql.format(table=table))
        text = self._query(job.sql.format(table=table))
        return lambda: parse_rows(text)


def load(folder: str, columns: Columns) -> ClickHouse:
    engine = ClickHouse(threads=1)
    engine.load(folder, columns)
    return engine


open_engine = ClickHouse
