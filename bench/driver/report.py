"""Puts the newest results into docs/performance.md."""

import re
from collections.abc import Sequence

from driver.engines import ENGINES
from driver.file_cases import describe
from driver.queries import QUERIES
from driver.results import (
    BENCH,
    FileResult,
    GrowthResult,
    SuiteResult,
    newest_growth,
    newest_suite,
)
from driver.tables import FILE_FIGURES, cells, file_cells, file_gaps, growth_cells, markdown

PAGE = BENCH.parent / "docs" / "performance.md"


def what(name: str) -> str:
    """A query as the documents name it; results may be older than the list."""
    return next((query.what for query in QUERIES if query.name == name), name)


def _busy(load: float) -> str:
    return f" The machine had other work too (load {load})." if load > 0.5 else ""


def _head(result: SuiteResult) -> str:
    versions = ", ".join(
        f"{ENGINES[name].title} {version}"
        for name, version in result["versions"].items()
        if name in ENGINES
    )
    when = f"Of {result['date']}, {result['rows']:,} rows, on: {result['machine']}."
    return f"{when}{_busy(result['load'])}\n{versions}."


def results(result: SuiteResult, several: bool = False) -> str:
    """Of the queries of one table, or of those of several; '' when there are none."""
    names = {query.name for query in QUERIES if query.several}
    queries = [query for query in result["queries"] if (query["name"] in names) is several]
    if not queries:
        return ""
    return f"{_head(result)}\n\n{markdown(cells({**result, 'queries': queries}, what))}"


def files(result: SuiteResult, measured: Sequence[FileResult]) -> str:
    tables = [markdown(file_cells(measured, title, describe)) for title in FILE_FIGURES]
    return "\n\n".join((_head(result), *tables, *file_gaps(measured, describe)))


def growth(result: GrowthResult) -> str:
    head = f"Of {result['date']}, on: {result['machine']}.{_busy(result['load'])}"
    return f"{head}\n\n{markdown(growth_cells(result, what))}"


def replace(page: str, section: str, text: str) -> str:
    """The page with the text between the two marks of a section replaced; ValueError without."""
    marks = re.compile(f"(<!-- {section} -->\n).*?(<!-- end of {section} -->)", re.DOTALL)
    page, found = marks.subn(lambda mark: f"{mark[1]}\n{text}\n\n{mark[2]}", page, count=1)
    if found == 0:
        raise ValueError(f"docs/performance.md has no section {section}")
    return page


def main() -> None:
    page = PAGE.read_text(encoding="utf-8")
    last, last_growth = newest_suite(), newest_growth()
    if last is not None:
        for section, several in (("results", False), ("several tables", True)):
            found = results(last, several)
            if found:
                page = replace(page, section, found)
        measured = last.get("files")
        if measured:
            page = replace(page, "files", files(last, measured))
    if last_growth is not None:
        page = replace(page, "growth", growth(last_growth))
    PAGE.write_text(page, encoding="utf-8")


if __name__ == "__main__":
    main()
