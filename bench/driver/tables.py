"""The figures of a run as tables of texts: for the terminal and for the documents."""

import math
from collections.abc import Callable, Sequence

from driver.engines import ENGINES
from driver.results import Figures, FileResult, GrowthQuery, GrowthResult, QueryResult, SuiteResult

#: Rows of cells, the header first.
Table = list[list[str]]
#: The first cell of a row, from the name of a query.
What = Callable[[str], str]

NONE = "-"


def _whole(number: float) -> str:
    return str(math.floor(number + 0.5))


def _short(number: float) -> str:
    return f"{number:.1f}" if number < 10 else _whole(number)


def _ratio(number: float | None) -> str:
    if number is None:
        return NONE
    return f"{number:.2f}" if number < 10 else _whole(number)


def _over(figures: Figures, engine: str) -> float | None:
    """sqxer's figure over the other engine's; None when one of them has none."""
    own, other = figures.get("sqxer"), figures.get(engine)
    return own / other if own and other else None


def _mean(ratios: Sequence[float | None]) -> str:
    """The geometric mean of those that are there."""
    logarithms = [math.log(ratio) for ratio in ratios if ratio is not None]
    return _ratio(math.exp(sum(logarithms) / len(logarithms))) if logarithms else NONE


def cells(result: SuiteResult, what: What) -> Table:
    queries = result["queries"]
    present = [name for name in ENGINES if any(q["ns_per_row"].get(name) for q in queries)]
    others = [name for name in present if name != "sqxer"]

    def time(query: QueryResult, name: str) -> str:
        ns = query["ns_per_row"].get(name)
        if not ns:
            return NONE
        return _short(ns) + ("*" if (query["runs"][name] or 0) < result["runs"] else "")

    header = ["ns per row", *(ENGINES[name].title for name in present)]
    header += [f"/ {ENGINES[name].title}" for name in others]
    rows = [
        [
            what(query["name"]),
            *(time(query, name) for name in present),
            *(_ratio(_over(query["ns_per_row"], name)) for name in others),
        ]
        for query in queries
    ]
    means = [_mean([_over(query["ns_per_row"], name) for query in queries]) for name in others]
    return [header, *rows, ["geometric mean", *("" for _ in present), *means]]


def growth_cells(result: GrowthResult, what: What) -> Table:
    """sqxer's time per row at each size, and every engine's exponent of time against rows."""
    names = list(result["queries"][0]["exponent"])
    header = ["ns per row of sqxer", *(f"{rows / 1e6:g}M" for rows in result["rows"])]
    header += [f"exponent {ENGINES[name].title}" for name in names]

    def line(query: GrowthQuery) -> list[str]:
        times = query["ns_per_row"].get("sqxer", [None] * len(result["rows"]))
        exponents = [query["exponent"][name] for name in names]
        return [
            what(query["name"]),
            *(NONE if time is None else _short(time) for time in times),
            *(NONE if exponent is None else f"{exponent:.2f}" for exponent in exponents),
        ]

    return [header, *map(line, result["queries"])]


#: The figures from file to answer, and what the tables call them.
FILE_FIGURES: dict[str, Callable[[FileResult], Figures]] = {
    "processor time, ms": lambda row: row["cpu_ms"],
    "wall time, ms": lambda row: row["wall_ms"],
    "peak memory, MB": lambda row: row["peak_mb"],
}


def file_cells(files: Sequence[FileResult], title: str, what: What) -> Table:
    """One of the figures of FILE_FIGURES by engine, and sqxer's over each of the others'."""
    figures_of = FILE_FIGURES[title]
    names = [name for name in ENGINES if any(figures_of(row).get(name) for row in files)]
    others = [name for name in names if name != "sqxer"]
    header = [title, "threads", *(ENGINES[name].title for name in names)]
    header += [f"/ {ENGINES[name].title}" for name in others]

    def line(row: FileResult) -> list[str]:
        figures = figures_of(row)
        values = [figures.get(name) for name in names]
        return [
            what(row["name"]),
            str(row["threads"]),
            *(NONE if value is None else _short(value) for value in values),
            *(_ratio(_over(figures, name)) for name in others),
        ]

    means = [_mean([_over(figures_of(row), name) for row in files]) for name in others]
    return [header, *map(line, files), ["geometric mean", "", *("" for _ in names), *means]]


def file_gaps(files: Sequence[FileResult], what: What) -> list[str]:
    """Why engines have no figure, a sentence for each reason of one."""
    rows_of: dict[tuple[str, str], list[str]] = {}
    for row in files:
        for name, reason in row.get("skipped", {}).items():
            threads = "" if row["threads"] == 1 else f" ({row['threads']} threads)"
            rows_of.setdefault((name, reason), []).append(what(row["name"]) + threads)
    return [
        f"{ENGINES[name].title} {reason}: it has no figure for {'; '.join(rows)}."
        for (name, reason), rows in rows_of.items()
    ]


def plain(table: Table) -> str:
    """Aligned columns, the first to the left."""
    widths = [max(map(len, column)) for column in zip(*table, strict=True)]

    def line(row: Sequence[str]) -> str:
        first, *others = (
            cell.rjust(width) if i else cell.ljust(width)
            for i, (cell, width) in enumerate(zip(row, widths, strict=True))
        )
        return "  ".join((first, *others)).rstrip()

    return "\n".join(map(line, table))


def markdown(table: Table) -> str:
    header, *rows = (f"| {' | '.join(row)} |" for row in table)
    return "\n".join((header, "|---|" + "---:|" * (len(table[0]) - 1), *rows))
