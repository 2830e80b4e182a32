"""What is asked of a file: statements that every engine answers, {table} being the file. Polars has
its expressions in peers/polars_queries.py.
"""

from collections.abc import Sequence
from dataclasses import dataclass

from driver.queries import FIVE_WAYS

GZIPPED = "_gz"
ALL_CORES = "_all_cores"


@dataclass(frozen=True)
class FileCase:
    """`kept`: the whole table is loaded into memory first, and then asked twice."""

    name: str
    what: str
    sql: str
    kept: bool = False


# The greatest value of each column cannot be told without reading all values, and is cheap.
_EVERY_COLUMN = "SELECT {greatest} FROM {table}"

CASES = (
    FileCase(
        name="group_by_text",
        what="group by one of two texts",
        sql="""SELECT l_region AS region, COUNT(*) AS n, SUM(l_price) AS price,
                      AVG(l_quantity) AS quantity FROM {table} GROUP BY l_region""",
    ),
    FileCase(
        name="filter_and_sum",
        what="filter of five comparisons, one sum",
        sql=FIVE_WAYS.replace(
            "SUM(l_price * l_discount)", "SUM(l_price * l_discount) AS total"
        ).replace("FROM lines", "FROM {table}"),
    ),
    FileCase(name="count_rows", what="COUNT(*)", sql="SELECT COUNT(*) AS n FROM {table}"),
    FileCase(name="first_ten_rows", what="LIMIT 10", sql="SELECT * FROM {table} LIMIT 10"),
    FileCase(name="all_columns", what="MAX of all 17 columns", sql=_EVERY_COLUMN),
    FileCase(
        name="all_columns_kept",
        what="the same, of a table kept and asked twice",
        sql=_EVERY_COLUMN,
        kept=True,
    ),
)


def sql_for(case: FileCase, columns: Sequence[str]) -> str:
    """On one line, with {table} still open."""
    greatest = ", ".join(f"MAX({name}) AS {name}" for name in columns)
    return " ".join(case.sql.replace("{greatest}", greatest).split())


def describe(name: str) -> str:
    """A row as the documents name it, from its name in the results."""
    plain = name.removesuffix(ALL_CORES)
    base = plain.removesuffix(GZIPPED)
    what = next((case.what for case in CASES if case.name == base), base)
    return f"{what}, gzipped" if base != plain else what
