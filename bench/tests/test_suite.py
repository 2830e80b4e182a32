"""What the suite makes of the lines that the engines' programs print."""

import pytest
from driver import growth, suite
from driver.engines import Answer, Run, parse_line
from driver.file_cases import CASES
from driver.growth import exponent
from driver.peers.polars_queries import FILE_QUERIES
from driver.peers.polars_queries import QUERIES as POLARS_QUERIES
from driver.peers.polars_sales import SALES_QUERIES
from driver.queries import QUERIES, digest_for, sql_for
from driver.results import GrowthQuery, newest_growth, newest_suite

QUERY = QUERIES[0]
NAME = QUERY.name


def run_of(*lines: str) -> Run:
    run = Run()
    for line in lines:
        parse_line(run, line)
    return run


SQXER = run_of(
    '{"version": "1.0.0"}',
    f'{{"name": "{NAME}", "ns": [400, 300, 800], "cpu_ns": 1500, "rows": [["7", null]]}}',
)


def test_lines_of_an_engine() -> None:
    assert SQXER.version == "1.0.0"
    assert SQXER.answers == {NAME: Answer([400, 300, 800], 1500, [["7", None]])}


def test_figures_are_fastest_and_median_per_row() -> None:
    failed = run_of(f'{{"name": "{NAME}", "error": "no such function"}}')
    absent = run_of('{"version": "2"}')
    result = suite.figures(QUERY, {"sqxer": SQXER, "duckdb": failed, "sqlite": absent}, 30)
    assert result == {
        "name": NAME,
        "ns_per_row": {"sqxer": 10, "duckdb": None, "sqlite": None},
        "median_ns_per_row": {"sqxer": 13.33, "duckdb": None, "sqlite": None},
        "runs": {"sqxer": 3, "duckdb": None, "sqlite": None},
        "skipped": {"duckdb": "no such function"},
    }


def test_differences_errors_and_threads_are_problems() -> None:
    other = run_of(
        f'{{"name": "{NAME}", "ns": [300000000], "cpu_ns": 600000000, "rows": [["8", null]]}}'
    )
    failed = run_of(f'{{"name": "{NAME}", "error": "no such function"}}')
    assert suite.check(NAME, {"sqxer": SQXER}) == []
    assert suite.check(NAME, {"sqxer": SQXER, "duckdb": other, "polars": failed}) == [
        f'{NAME}: duckdb differs from sqxer: ["8", null], not ["7", null]',
        f"{NAME}: DuckDB used 2.0 threads",
        f"{NAME}: skipped by Polars: no such function",
    ]


@pytest.mark.parametrize(
    ("times", "slope"),
    [
        ([10, 20, 40], 1.0),
        ([10, 40, 160], 2.0),
        ([7, None, 7], 0.0),
        ([10, None, None], None),
    ],
)
def test_exponent(times: list[int | None], slope: float | None) -> None:
    assert exponent([1000, 2000, 4000], times) == slope


def test_growth_beyond_its_limit_needs_a_reason() -> None:
    by_name = {query.name: query for query in QUERIES}

    def said(name: str, found: float) -> tuple[str, bool] | None:
        result: GrowthQuery = {
            "name": name,
            "limit": by_name[name].growth,
            "exponent": {"sqxer": found},
            "ns_per_row": {},
        }
        return growth.judge(result, by_name)

    assert said("like", 1.1) is None
    assert said("like", 1.2) == ("like grows by 1.2, not 1.1, without a reason", True)
    explained = said("group_by_1m", 1.2)
    assert explained is not None
    assert explained[1] is False


def test_spellings_and_digests() -> None:
    queries = {query.name: query for query in QUERIES}
    assert sql_for(queries["median_by_1k"], "sqlite") is None
    assert "DATE" not in str(sql_for(queries["five_way_filter"], "sqlite"))
    assert digest_for(queries["like"], "duckdb") == ""
    assert digest_for(queries["rank_by_1k"], "duckdb").startswith(
        "SELECT COUNT(*), COUNT(k), SUM(k * 1e0), COUNT(r), SUM(r * 1e0), SUM(k * 1e0 * r) "
        "FROM (SELECT l_id AS k,"
    )


def test_polars_has_every_question() -> None:
    assert set(POLARS_QUERIES) == {query.name for query in QUERIES if not query.several}
    assert set(SALES_QUERIES) == {query.name for query in QUERIES if query.several}
    assert set(FILE_QUERIES) == {case.name for case in CASES}


def test_kept_results_have_the_form_that_is_written() -> None:
    kept, kept_growth = newest_suite(), newest_growth()
    assert kept is not None
    assert kept_growth is not None
    written = suite.figures(QUERY, {"sqxer": SQXER}, 30)
    assert kept["queries"][0].keys() == written.keys()
    assert (
        kept_growth["queries"][0].keys()
        == growth.figures(QUERY, [10, 20], {"sqxer": {NAME: [5, None]}}).keys()
    )
