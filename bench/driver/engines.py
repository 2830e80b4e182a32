"""The engines of the suite: how each program is started, and whether it is there."""

import json
import os
import subprocess
import sys
from collections.abc import Sequence
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from driver.answers import Rows
from driver.queries import QUERIES, Query, digest_for, sql_for
from driver.results import BENCH

BUILD = BENCH.parent / "build" / "bench" / "bin"
SUITE = BUILD / "sqxer_suite"
COMMAND = BUILD / "sqxer"
UNLIMITED = 1e9


@dataclass(frozen=True)
class Engine:
    """`limit`: seconds of a first run beyond which a query is not run again. `module`: what Python
    must be able to import; such an engine runs in a Python process.
    """

    title: str
    limit: float = UNLIMITED
    module: str | None = None


#: In the order of the tables.
ENGINES = {
    "sqxer": Engine("sqxer"),
    "duckdb": Engine("DuckDB", module="duckdb"),
    "clickhouse": Engine("ClickHouse", module="chdb"),
    "polars": Engine("Polars", module="polars"),
    "sqlite": Engine("SQLite", limit=1),
    "handwritten": Engine("by hand"),
}


def missing(name: str) -> str | None:
    """Why the engine cannot take part; None when it can."""
    module = ENGINES[name].module
    if module is None:
        return None
    probe = [sys.executable, "-c", f"import {module}"]
    ended = subprocess.run(probe, capture_output=True, text=True, check=False)
    if ended.returncode == 0:
        return None
    reason = ended.stderr.strip().rpartition("\n")[2]
    return f"{module} cannot be loaded ({reason or ended.returncode})"


def _suite(*arguments: str) -> str:
    """What the suite's program prints."""
    ended = subprocess.run([SUITE, *arguments], capture_output=True, text=True, check=False)
    if ended.returncode != 0:
        raise RuntimeError(ended.stderr.strip() or f"{SUITE} ended with {ended.returncode}")
    return ended.stdout


def columns() -> str:
    """The columns of each table as JSON."""
    return _suite("columns").strip()


def column_names() -> list[str]:
    """Of the order lines."""
    return [column["name"] for column in json.loads(columns())["lines"]]


def write_tables(rows: int, folder: Path) -> None:
    _suite("write", str(rows), str(folder))


def environment(threads: int) -> dict[str, str]:
    """Of a process of a peer. Polars has no other way to be told its threads."""
    return os.environ | {"POLARS_MAX_THREADS": str(threads)}


@dataclass
class Answer:
    """An engine's answer to a query: its runs in nanoseconds, the processor time of them all and
    the result, or its error.
    """

    ns: list[int] = field(default_factory=list)
    cpu_ns: int = 0
    rows: Rows | None = None
    error: str | None = None


@dataclass
class Run:
    """What an engine's program said. `failure`: it did not come to its end."""

    version: str = ""
    answers: dict[str, Answer] = field(default_factory=dict)
    failure: str | None = None


def parse_line(run: Run, line: str) -> None:
    """Adds a line that an engine's program printed."""
    told: dict[str, Any] = json.loads(line)
    if "version" in told:
        run.version = told["version"]
    else:
        name = told.pop("name")
        run.answers[name] = Answer(**told)


def _command(name: str, folder: Path, runs: int) -> list[str]:
    job = [name, str(folder), str(runs), str(ENGINES[name].limit)]
    if ENGINES[name].module is None:
        return [str(SUITE), *job]
    return [sys.executable, "-m", "driver.peers.serve", *job, columns()]


def run(name: str, folder: Path, runs: int, queries: Sequence[Query] = QUERIES) -> Run:
    """Loads the tables of the folder into the engine and runs every query that it has."""
    asked = [
        "\t".join((query.name, sql, digest_for(query, name)))
        for query in queries
        if (sql := sql_for(query, name)) is not None
    ]
    ended = subprocess.run(
        _command(name, folder, runs),
        cwd=BENCH,
        env=environment(1),
        input="".join(line + "\n" for line in asked),
        stdout=subprocess.PIPE,
        text=True,
        check=False,
    )
    found = Run()
    # A program that was ended may have left half a line.
    lines: Sequence[str] = ended.stdout.splitlines(keepends=True)
    for line in lines:
        if line.endswith("\n"):
            parse_line(found, line)
    if ended.returncode != 0:
        found.failure = f"ended with {ended.returncode}"
    elif missing_answers := len(asked) - len(found.answers):
        found.failure = f"left {missing_answers} queries without an answer"
    return found
