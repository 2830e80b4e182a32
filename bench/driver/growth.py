"""How time grows with rows: runs the suite at each size and fits the exponent of time against rows
per query.

Ends with status 1 when an engine fails, or sqxer grows faster than a query's limit without a reason
in queries.py.
"""

import math
import sys
from collections.abc import Mapping, Sequence

from driver.engines import ENGINES, Answer, run
from driver.machine import load, machine, today
from driver.options import available, counts, parser, tables
from driver.queries import QUERIES, Query
from driver.results import GROWTH, GrowthQuery, GrowthResult, digits, write
from driver.tables import growth_cells, plain

SIZES = "500000,1000000,2000000,4000000,8000000"

#: The fastest runs in nanoseconds: by engine and query a list by size, None for no run.
Fastest = dict[str, dict[str, list[int | None]]]


def measure(names: Sequence[str], sizes: Sequence[int], runs: int) -> tuple[Fastest, list[str]]:
    """The times, and what went wrong."""
    fastest: Fastest = {name: {query.name: [] for query in QUERIES} for name in names}
    problems = []
    for rows in sizes:
        with tables(rows) as folder:
            for name in names:
                result = run(name, folder, runs)
                if result.failure is not None:
                    problems.append(f"{ENGINES[name].title} at {rows} rows {result.failure}")
                for query in QUERIES:
                    times = result.answers.get(query.name, Answer()).ns
                    fastest[name][query.name].append(min(times, default=None))
                print(f"{rows} rows: {ENGINES[name].title}", file=sys.stderr)
    return fastest, problems


def exponent(sizes: Sequence[int], times: Sequence[int | None]) -> float | None:
    """The slope of the logarithm of time over that of rows, by least squares."""
    points = [
        (math.log(rows), math.log(time))
        for rows, time in zip(sizes, times, strict=True)
        if time is not None
    ]
    if len({x for x, _ in points}) < 2:
        return None
    mean_x = sum(x for x, _ in points) / len(points)
    mean_y = sum(y for _, y in points) / len(points)
    products = sum((x - mean_x) * (y - mean_y) for x, y in points)
    return round(products / sum((x - mean_x) ** 2 for x, _ in points), 2)


def figures(query: Query, sizes: Sequence[int], fastest: Fastest) -> GrowthQuery:
    times = {name: by_query[query.name] for name, by_query in fastest.items()}

    def per_row(of_engine: Sequence[int | None]) -> list[float | None]:
        pairs = zip(of_engine, sizes, strict=True)
        return [None if time is None else digits(time / rows) for time, rows in pairs]

    return {
        "name": query.name,
        "limit": query.growth,
        "exponent": {name: exponent(sizes, of_engine) for name, of_engine in times.items()},
        "ns_per_row": {name: per_row(of_engine) for name, of_engine in times.items()},
    }


def judge(result: GrowthQuery, queries: Mapping[str, Query]) -> tuple[str, bool] | None:
    """What to say of sqxer's growth, and whether it is a failure; None within its limit."""
    found = result["exponent"].get("sqxer")
    if found is None or found <= result["limit"]:
        return None
    text = f"{result['name']} grows by {found}, not {result['limit']}"
    reason = queries[result["name"]].growth_reason
    return (f"{text}, without a reason", True) if reason is None else (f"{text}: {reason}", False)


def main() -> int:
    options = parser(__doc__, ("sqxer", "duckdb", "handwritten"))
    options.add_argument(
        "--rows", type=counts, default=SIZES, help="of the tables, parted by commas"
    )
    chosen = options.parse_args()
    busy = load()
    fastest, problems = measure(available(chosen.engines), chosen.rows, chosen.runs)
    result: GrowthResult = {
        "date": today(),
        "machine": machine(),
        "load": busy,
        "rows": chosen.rows,
        "queries": [figures(query, chosen.rows, fastest) for query in QUERIES],
    }
    print(f"\n{result['machine']}\n")
    print(plain(growth_cells(result, str)))
    if busy > 0.5:
        print(f"\nThe machine was busy before the run: load {busy}.")
    by_name = {query.name: query for query in QUERIES}
    for query in result["queries"]:
        match judge(query, by_name):
            case text, True:
                problems.append(text)
            case text, False:
                print(text)
    if not chosen.no_write:
        write(result, GROWTH)
    for problem in problems:
        print(f"FAILED {problem}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
