"""Runs the suite: whole queries over tables in memory, then whole processes from file to answer.

Ends with status 1 when engines differ in a result, or one fails.
"""

import statistics
import sys
import time
from collections.abc import Callable, Mapping, Sequence

from driver import files
from driver.answers import difference
from driver.engines import ENGINES, Answer, Run, run
from driver.machine import load, machine, today
from driver.options import available, count, parser, queries, tables
from driver.queries import QUERIES, Query
from driver.results import RESULTS, Figures, QueryResult, SuiteResult, digits, write
from driver.tables import cells, plain

#: More than this much processor time per time is more than one thread.
THREADS = 1.25
ENOUGH_NS = 2e8


def run_all(names: Sequence[str], rows: int, runs: int, asked: Sequence[Query]) -> dict[str, Run]:
    """Every engine's run, in turn."""
    results = {}
    with tables(rows) as folder:
        for name in names:
            start = time.monotonic()
            results[name] = run(name, folder, runs, asked)
            seconds = time.monotonic() - start
            title = f"{ENGINES[name].title} {results[name].version}"
            print(f"{title}: {seconds:.0f} s", file=sys.stderr)
    return results


def _answer_problems(query: str, name: str, answer: Answer) -> list[str]:
    problems = []
    title = ENGINES[name].title
    if answer.error is not None:
        problems.append(f"{query}: skipped by {title}: {answer.error}")
    spent = sum(answer.ns)
    if spent > ENOUGH_NS and answer.cpu_ns > THREADS * spent:
        problems.append(f"{query}: {title} used {answer.cpu_ns / spent:.1f} threads")
    return problems


def check(query: str, results: Mapping[str, Run]) -> list[str]:
    """What is wrong: all results of a query must be that of the first engine, on one thread."""
    answers = {name: run.answers[query] for name, run in results.items() if query in run.answers}
    given = [(name, answer.rows) for name, answer in answers.items() if answer.rows is not None]
    problems = []
    for name, rows in given[1:]:
        first, expected = given[0]
        found = difference(expected, rows)
        if found is not None:
            problems.append(f"{query}: {name} differs from {first}: {found}")
    for name, answer in answers.items():
        problems += _answer_problems(query, name, answer)
    return problems


def figures(query: Query, results: Mapping[str, Run], rows: int) -> QueryResult:
    answers = {name: run.answers.get(query.name, Answer()) for name, run in results.items()}

    def per_row(of: Callable[[Sequence[int]], float]) -> Figures:
        return {
            name: digits(of(answer.ns) / rows) if answer.ns else None
            for name, answer in answers.items()
        }

    result: QueryResult = {
        "name": query.name,
        "ns_per_row": per_row(min),
        "median_ns_per_row": per_row(statistics.median),
        "runs": {name: len(answer.ns) or None for name, answer in answers.items()},
    }
    skipped = {name: answer.error for name, answer in answers.items() if answer.error is not None}
    if skipped:
        result["skipped"] = skipped
    return result


def main() -> int:
    options = parser(__doc__, tuple(ENGINES))
    options.add_argument(
        "--rows", type=count, default=4_000_000, help="of the order lines and sales"
    )
    options.add_argument(
        "--queries", type=queries, help="these alone, parted by commas; nothing is written"
    )
    chosen = options.parse_args()
    busy = load()
    names = available(chosen.engines)
    asked = chosen.queries or QUERIES
    results = run_all(names, chosen.rows, chosen.runs, asked)
    problems = [f"{ENGINES[n].title} {r.failure}" for n, r in results.items() if r.failure]
    for query in asked:
        problems += check(query.name, results)
    result: SuiteResult = {
        "date": today(),
        "machine": machine(),
        "load": busy,
        "rows": chosen.rows,
        "runs": chosen.runs,
        "versions": {name: run.version for name, run in results.items()},
        "queries": [figures(query, results, chosen.rows) for query in asked],
    }
    print(f"\n{result['machine']}")
    print(f"{chosen.rows} rows, the fastest of {chosen.runs} runs (* fewer)\n")
    print(plain(cells(result, str)))
    if not chosen.queries:
        measured, wrong = files.measure(names, chosen.rows, min(chosen.runs, files.RUNS))
        result["files"] = measured
        problems += wrong
        files.show(measured)
    if busy > 0.5:
        print(f"\nThe machine was busy before the run: load {busy}.")
    if not chosen.no_write and not chosen.queries:
        write(result, RESULTS)
    for problem in problems:
        print(f"FAILED {problem}")
    print(f"{len(problems)} failed" if problems else "all results are equal")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
