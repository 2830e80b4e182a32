"""Statements over several tables give the rows that SQLite gives.

A second judge over python/tests/postgres/relations.sql: of its statements those that SQLite reads,
without regard to the order of rows. Where the dialects differ no statement is compared: see OTHER.
"""

from __future__ import annotations

import csv
import math
import re
import sqlite3
from collections import Counter
from decimal import Decimal

from test_postgres import FOLDER, connect, make_facts, read_cases, run_ours

# How many statements have to be compared at least.
LEAST = 2100

# What means something else in SQLite.
OTHER = {
    "times are texts": r"\b(at|day|date|timestamp|interval)\b",
    "NULLs come first, so that other rows are cut off": r"\blimit\b|\boffset\b",
    "the columns of USING stay in their places": r"SELECT \*.*\bUSING\b",
    "INTERSECT does not bind closer than UNION": r"\bintersect\b",
}
OTHER_TEXTS = re.compile("|".join(OTHER.values()), re.IGNORECASE)
TABLES = {
    "facts": "g TEXT, n INTEGER, x REAL, d REAL, w TEXT, day TEXT, at TEXT",
    "relations": "k INTEGER, g TEXT, n INTEGER, v REAL",
}


def open_sqlite() -> sqlite3.Connection:
    """A database with the two tables."""
    database = sqlite3.connect(":memory:")
    for name, columns in TABLES.items():
        database.execute(f"CREATE TABLE {name} ({columns})")
    with (FOLDER / "relations.csv").open(newline="") as file:
        rows = [[field or None for field in row] for row in csv.reader(file)][1:]
    database.executemany("INSERT INTO relations VALUES (?, ?, ?, ?)", rows)
    facts = [
        [
            float(value) if isinstance(value, Decimal) else value if value is None else str(value)
            for value in row
        ]
        for row in make_facts()
    ]
    database.executemany("INSERT INTO facts VALUES (?, ?, ?, ?, ?, ?, ?)", facts)
    return database


def as_common(value: object) -> object:
    """A value as both sides have it: numbers to twelve digits."""
    if isinstance(value, bool):
        return int(value)
    if isinstance(value, (float, Decimal)):
        number = float(value)
        if math.isfinite(number):
            number = float(f"{number:.12g}")
        return int(number) if number == int(number) else number
    return value


def as_rows(rows: list[tuple[object, ...]]) -> Counter[tuple[object, ...]]:
    return Counter(tuple(map(as_common, row)) for row in rows)


def test_gives_what_sqlite_gives() -> None:
    database = open_sqlite()
    connection = connect()
    connection.register("relations", FOLDER / "relations.csv")
    cases = [case for group in read_cases(FOLDER / "relations.sql") for case in group]
    failures: list[str] = []
    compared = 0
    for case in cases:
        if case.differs or OTHER_TEXTS.search(case.sql):
            continue
        try:
            theirs = database.execute(case.sql).fetchall()
        except sqlite3.Error:
            continue
        ours, code = run_ours(connection, case.sql)
        # It knows no types, and takes any row of several.
        if code:
            continue
        compared += 1
        if as_rows(ours) != as_rows(theirs):
            failures.append(f"{case.place} {case.sql}\n    {theirs}, here {ours}")
    print(f"{compared} of {len(cases)} statements compared, SQLite {sqlite3.sqlite_version}")
    assert not failures, f"{len(failures)} of {compared}:\n" + "\n".join(failures[:100])
    assert compared >= LEAST
