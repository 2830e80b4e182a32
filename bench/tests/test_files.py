"""Questions about a file: what programs print, and what is made of it."""

import dataclasses
import subprocess
import sys
from collections.abc import Iterator
from pathlib import Path

import pytest
from driver import files
from driver.answers import difference
from driver.file_cases import CASES, describe, sql_for
from driver.files import Measured
from driver.peers import open_engine, sqxer
from driver.peers.engine import Column, FileJob, declare

LINES = """l_region,l_price,l_quantity,l_discount,l_shipdate
ASIA,10.5,3,0.06,1994-05-01
,2.25,,0.06,1994-05-02
ASIA,1.5,4,0.01,1994-05-03
"""


@pytest.fixture
def path(tmp_path: Path) -> Path:
    file = tmp_path / "lines.csv"
    file.write_text(LINES, encoding="ascii")
    return file


def test_rows_of_the_command() -> None:
    assert sqxer.parse_rows('{"a":1.50,"b":null}\n{"a":2,"b":"x"}\n') == [
        ["1.50", None],
        ["2", "x"],
    ]


def test_a_process_is_measured_with_its_status(tmp_path: Path) -> None:
    program = "import sys; held = bytearray(200_000_000); print('out'); sys.exit(3)"
    launcher = [sys.executable, "-I", "-S", str(sqxer.LAUNCH)]
    ended = subprocess.run(
        [*launcher, sys.executable, "-c", program], cwd=tmp_path, capture_output=True, check=True
    )
    status, process = sqxer.parse_process(ended.stdout.decode())
    assert status == 3
    assert process.output == "out\n"
    assert 200_000_000 < process.peak_bytes < 300_000_000
    assert 0 < process.cpu_ns < 4 * process.wall_ns


@pytest.mark.parametrize("engine", ["duckdb", "polars"])
@pytest.mark.parametrize("kept", [False, True])
def test_peers_answer_from_the_file(path: Path, kept: bool, engine: str) -> None:
    case = CASES[0]
    job = FileJob(case.name, sql_for(case, []), str(path), kept)
    measured = files.ask(engine, job, 1, 2)
    assert measured.rows is not None
    assert (
        difference([["ASIA", "2", "12", "3.5"], [None, "1", "2.25", None]], measured.rows) is None
    )
    assert len(measured.wall_ns) == 2
    assert min(measured.cpu_ns + measured.wall_ns + measured.peak_bytes) > 0


COMMAND = """#!/bin/sh
case "$*" in
  --help) echo "$HELP" ;;
  *probe.csv.gz*) echo '{"n":1}'; exit "$GZIP" ;;
  *) echo "$@" >> "$0.log"; echo '{"n":3}' ;;
esac
"""


@pytest.fixture
def command(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Iterator[Path]:
    """A command in the place of sqxer, which notes what it is asked."""
    file = tmp_path / "command"
    file.write_text(COMMAND, encoding="ascii")
    file.chmod(0o755)
    monkeypatch.setattr(sqxer, "COMMAND", file)
    yield file
    sqxer.has_threads.cache_clear()
    sqxer.reads_gzip.cache_clear()


def test_the_command_is_asked_what_it_can(command: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("HELP", "--threads N")
    monkeypatch.setenv("GZIP", "0")
    job = FileJob("count_rows", "SELECT COUNT(*) AS n FROM {table}", "lines.csv.gz", True)
    assert sqxer.cannot(job, 2) is None
    assert sqxer.measure(2, job)["rows"] == [["3"]]
    options = "-o json --threads 2 --repeat 2"
    assert command.with_suffix(".log").read_text(encoding="ascii") == (
        f'{options} SELECT 1 AS n\n{options} SELECT COUNT(*) AS n FROM "lines.csv.gz"\n'
    )


def test_what_the_command_cannot_be_asked(command: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("HELP", "no such option")
    monkeypatch.setenv("GZIP", "3")
    plain = FileJob("count_rows", "SELECT COUNT(*) AS n FROM {table}", "lines.csv", False)
    zipped = dataclasses.replace(plain, path="lines.csv.gz")
    assert sqxer.cannot(plain, 1) is None
    assert sqxer.cannot(plain, 2) == "reads on one thread only"
    assert sqxer.cannot(zipped, 1) == "does not read gzipped files"
    sqxer.measure(1, plain)
    assert "--threads" not in command.with_suffix(".log").read_text(encoding="ascii")


def test_figures_are_the_least_times_and_the_most_memory() -> None:
    answers = {
        "sqxer": Measured(skipped="reads on one thread only"),
        "duckdb": Measured(
            [3_000_000, 2_000_000], [5_000_000, 4_000_000], [10_000_000, 12_345_678]
        ),
    }
    assert files.figures("count_rows_all_cores", 2, answers) == {
        "name": "count_rows_all_cores",
        "threads": 2,
        "cpu_ms": {"sqxer": None, "duckdb": 2},
        "wall_ms": {"sqxer": None, "duckdb": 4},
        "peak_mb": {"sqxer": None, "duckdb": 12.35},
        "skipped": {"sqxer": "reads on one thread only"},
    }


def test_a_difference_and_an_error_are_problems_and_a_gap_is_none() -> None:
    answers = {
        "sqxer": Measured(skipped="does not read gzipped files"),
        "duckdb": Measured(rows=[["3"]]),
        "clickhouse": Measured(rows=[["4"]]),
        "polars": Measured(error="out of memory"),
    }
    assert files.check("count_rows", answers) == [
        "count_rows: Polars failed: out of memory",
        'count_rows: clickhouse differs from duckdb: ["4"], not ["3"]',
    ]


def test_a_failed_run_has_its_error(path: Path) -> None:
    job = FileJob("count_rows", "SELECT COUNT(*) FROM {table}", str(path), False)
    absent = dataclasses.replace(job, path="absent.csv")
    assert files.ask("duckdb", job, 1, 2).rows == [["3"]]
    measured = files.ask("duckdb", absent, 1, 2)
    assert measured.rows is None
    assert "absent.csv" in str(measured.error)


def test_polars_refuses_other_threads_than_it_has() -> None:
    with pytest.raises(RuntimeError, match="threads, not 4096"):
        open_engine("polars", 4096)


def test_statements_and_names() -> None:
    by_name = {case.name: case for case in CASES}
    assert sql_for(by_name["all_columns"], ["a", "b"]) == (
        "SELECT MAX(a) AS a, MAX(b) AS b FROM {table}"
    )
    assert describe("count_rows_gz_all_cores") == "COUNT(*), gzipped"
    assert describe("first_ten_rows_all_cores") == "LIMIT 10"
    assert describe("a_row_of_old") == "a_row_of_old"


def test_declared_columns() -> None:
    columns: list[Column] = [
        {"name": "a", "type": "numeric(15,2)", "nullable": True},
        {"name": "b", "type": "int4", "nullable": False},
    ]
    types = {"numeric": "Decimal()", "int4": "Int32"}
    declared = declare(columns, types, lambda name: f"Nullable({name})")
    assert declared == "a Nullable(Decimal(15,2)), b Int32"
