"""The form of the files under bench/results and bench/growth, and how they are written and read."""

import json
from pathlib import Path
from typing import NotRequired, TypedDict, cast

BENCH = Path(__file__).resolve().parents[1]
RESULTS = BENCH / "results"
GROWTH = BENCH / "growth"

#: A figure by the name of its engine, None where it has none.
Figures = dict[str, float | None]


class QueryResult(TypedDict):
    name: str
    ns_per_row: Figures
    median_ns_per_row: Figures
    runs: dict[str, int | None]
    #: Why an engine has no figure: its error.
    skipped: NotRequired[dict[str, str]]


class FileResult(TypedDict):
    """One row of the table from file to answer."""

    name: str
    threads: int
    cpu_ms: Figures
    wall_ms: Figures
    peak_mb: Figures
    skipped: NotRequired[dict[str, str]]


class SuiteResult(TypedDict):
    date: str
    machine: str
    load: float
    rows: int
    runs: int
    versions: dict[str, str]
    queries: list[QueryResult]
    files: NotRequired[list[FileResult]]


class GrowthQuery(TypedDict):
    name: str
    limit: float
    exponent: Figures
    #: By engine a figure for each size.
    ns_per_row: dict[str, list[float | None]]


class GrowthResult(TypedDict):
    date: str
    machine: str
    load: float
    rows: list[int]
    queries: list[GrowthQuery]


def digits(number: float, count: int = 4) -> float:
    """Rounded to so many significant digits; whole numbers have no point in the files."""
    rounded = float(f"{number:.{count}g}")
    return int(rounded) if rounded.is_integer() else rounded


def write(result: SuiteResult | GrowthResult, folder: Path) -> None:
    """Writes the result under its date, over one of the same day."""
    folder.mkdir(parents=True, exist_ok=True)
    path = folder / f"{result['date']}.json"
    path.write_text(json.dumps(result, indent=1, ensure_ascii=False) + "\n", encoding="utf-8")
    print(f"written to {path.relative_to(BENCH.parent)}")


def _newest(folder: Path) -> object | None:
    paths = sorted(folder.glob("*.json"))
    return json.loads(paths[-1].read_text(encoding="utf-8")) if paths else None


def newest_suite(folder: Path = RESULTS) -> SuiteResult | None:
    """The newest results; None when there are none. Our own files are taken at their word."""
    return cast("SuiteResult | None", _newest(folder))


def newest_growth(folder: Path = GROWTH) -> GrowthResult | None:
    return cast("GrowthResult | None", _newest(folder))
