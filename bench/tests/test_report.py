"""The tables of the documents, made from results."""

import pytest
from driver import report
from driver.results import FileResult, GrowthResult, QueryResult, SuiteResult
from driver.tables import cells, plain

RESULT: SuiteResult = {
    "date": "2026-01-02",
    "machine": "a machine",
    "load": 0.9,
    "rows": 4_000_000,
    "runs": 5,
    "versions": {"sqxer": "1.0.0", "duckdb": "v2", "an engine of old": "1"},
    "queries": [
        {
            "name": "like",
            "ns_per_row": {"sqxer": 9.96, "duckdb": 2.49, "sqlite": None},
            "median_ns_per_row": {},
            "runs": {"sqxer": 5, "duckdb": 3, "sqlite": None},
        },
        {
            "name": "a query of old",
            "ns_per_row": {"sqxer": 12.5, "duckdb": 0},
            "median_ns_per_row": {},
            "runs": {"sqxer": 5, "duckdb": 5},
        },
        {
            "name": "in_8",
            "ns_per_row": {"sqxer": 10, "duckdb": 10},
            "median_ns_per_row": {},
            "runs": {"sqxer": 5, "duckdb": 5},
        },
    ],
}

FILES: list[FileResult] = [
    {
        "name": "count_rows",
        "threads": 1,
        "cpu_ms": {"sqxer": 30, "duckdb": 600},
        "wall_ms": {"sqxer": 31, "duckdb": 610},
        "peak_mb": {"sqxer": 4.25, "duckdb": 30},
    },
    {
        "name": "count_rows_gz_all_cores",
        "threads": 2,
        "cpu_ms": {"sqxer": None, "duckdb": 700},
        "wall_ms": {"sqxer": None, "duckdb": 400},
        "peak_mb": {"sqxer": None, "duckdb": 40},
        "skipped": {"sqxer": "does not read gzipped files"},
    },
]

GROWTH: GrowthResult = {
    "date": "2026-01-02",
    "machine": "a machine",
    "load": 0.1,
    "rows": [500_000, 1_000_000],
    "queries": [
        {
            "name": "like",
            "limit": 1.1,
            "exponent": {"sqxer": 1, "duckdb": None},
            "ns_per_row": {"sqxer": [9.5, None], "duckdb": [1, 2]},
        }
    ],
}


def test_results() -> None:
    assert report.results(RESULT) == (
        "Of 2026-01-02, 4,000,000 rows, on: a machine. The machine had other work too (load 0.9).\n"
        "sqxer 1.0.0, DuckDB v2.\n"
        "\n"
        "| ns per row | sqxer | DuckDB | / DuckDB |\n"
        "|---|---:|---:|---:|\n"
        "| LIKE '%special%' | 10.0 | 2.5* | 4.00 |\n"
        "| a query of old | 13 | - | - |\n"
        "| IN of 8 | 10 | 10 | 1.00 |\n"
        "| geometric mean |  |  | 2.00 |"
    )


def test_queries_of_several_tables_have_their_own() -> None:
    assert report.results(RESULT, several=True) == ""
    star: QueryResult = {**RESULT["queries"][0], "name": "star_join"}
    both: SuiteResult = {**RESULT, "queries": [*RESULT["queries"], star]}
    assert report.results(both) == report.results(RESULT)
    assert report.results(both, several=True).split("\n")[-2:] == [
        "| two joins, two filters, sum of a product by two texts | 10.0 | 2.5* | 4.00 |",
        "| geometric mean |  |  | 4.00 |",
    ]


def test_results_on_the_terminal() -> None:
    lines = plain(cells(RESULT, str)).split("\n")
    assert lines[0] == "ns per row      sqxer  DuckDB  / DuckDB"
    assert lines[1] == "like             10.0    2.5*      4.00"
    assert lines[-1] == "geometric mean                     2.00"


def test_from_file_to_answer() -> None:
    processor, wall, memory, gaps = report.files(RESULT, FILES).split("\n\n")[1:]
    assert processor == (
        "| processor time, ms | threads | sqxer | DuckDB | / DuckDB |\n"
        "|---|---:|---:|---:|---:|\n"
        "| COUNT(*) | 1 | 30 | 600 | 0.05 |\n"
        "| COUNT(*), gzipped | 2 | - | 700 | - |\n"
        "| geometric mean |  |  |  | 0.05 |"
    )
    assert "| COUNT(*), gzipped | 2 | - | 400 | - |" in wall
    assert "| COUNT(*) | 1 | 4.2 | 30 | 0.14 |" in memory
    assert gaps == (
        "sqxer does not read gzipped files: it has no figure for COUNT(*), gzipped (2 threads)."
    )


def test_growth() -> None:
    assert report.growth(GROWTH) == (
        "Of 2026-01-02, on: a machine.\n"
        "\n"
        "| ns per row of sqxer | 0.5M | 1M | exponent sqxer | exponent DuckDB |\n"
        "|---|---:|---:|---:|---:|\n"
        "| LIKE '%special%' | 9.5 | - | 1.00 | - |"
    )


def test_only_the_section_is_replaced() -> None:
    page = "before\n<!-- files -->\n\nold \\1\n\n<!-- end of files -->\nafter\n"
    assert report.replace(page, "files", "new \\1") == (
        "before\n<!-- files -->\n\nnew \\1\n\n<!-- end of files -->\nafter\n"
    )
    with pytest.raises(ValueError, match="no section growth"):
        report.replace(page, "growth", "new")


def test_the_page_has_all_sections() -> None:
    page = report.PAGE.read_text(encoding="utf-8")
    for section in ("results", "several tables", "files", "growth"):
        assert report.replace(page, section, "figures") != page
