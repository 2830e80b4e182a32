"""Functions of sqxer beside DuckDB's of the same meaning, over one Arrow table in one process, with
one thread. Each is asked of all rows and summed up; the results are compared.

Ends with status 1 when results differ.
"""

import argparse
import math
import statistics
import sys
import time
from dataclasses import dataclass
from typing import Any

import duckdb
import sqxer

from driver.machine import load, machine
from driver.options import count

# Small integers, doubles, decimals, 1,000 words, texts that differ in every row, days and moments.
TABLE = """
SELECT i::integer AS i, (hash(i) % 1000)::integer AS n, (hash(i + 1) % 97)::integer + 1 AS m,
       (hash(i + 2) % 1000000) / 1000.0 - 300 AS x,
       ((hash(i + 3) % 1000000) / 100.0)::decimal(12, 2) AS d,
       'word ' || (hash(i + 4) % 1000) AS word,
       'order ' || i || ' of customer-' || (hash(i + 5) % 100000) AS line,
       DATE '2000-01-01' + (hash(i + 6) % 9000)::integer AS day,
       TIMESTAMP '2000-01-01 00:00:00'
         + to_microseconds((hash(i + 7) % 700000000000000)::bigint) AS moment
FROM range({rows}) AS t(i)
"""


@dataclass(frozen=True)
class Function:
    """An expression, the form of its value, and DuckDB's way to write it where that is another.

    Forms are "text", "number", "truth" and "moment", "whole" for an aggregate and "estimate" for
    one that is only near the true value.
    """

    sql: str
    form: str
    duckdb: str = ""

    def spelled(self, engine: str) -> str:
        return self.duckdb if engine == "duckdb" and self.duckdb else self.sql

    def timed(self, engine: str) -> str:
        """The statement that is timed."""
        sql = self.spelled(engine)
        length = "CHAR_LENGTH" if engine == "sqxer" else "LENGTH"
        summed = {
            "text": f"SUM({length}({sql}))",
            "number": f"SUM({sql})",
            "truth": f"COUNT(*) FILTER (WHERE {sql})",
            "moment": f"MAX({sql})",
            "whole": sql,
            "estimate": sql,
        }
        return f"SELECT {summed[self.form]} FROM facts"

    def compared(self, engine: str) -> str:
        """The statement whose results have to agree."""
        if self.form in ("number", "whole", "truth", "estimate"):
            return self.timed(engine)
        sql = self.spelled(engine)
        return f"SELECT MIN({sql}), MAX({sql}), COUNT({sql}) FROM facts"


FUNCTIONS = (
    Function("CONCAT(word, '/', line)", "text"),
    Function("CONCAT_WS(', ', word, line)", "text"),
    Function("LPAD(line, 40, '.')", "text"),
    Function("RPAD(word, 12, '-+')", "text"),
    Function("SPLIT_PART(line, ' ', 2)", "text"),
    Function("STRPOS(line, 'customer')", "number"),
    Function("STARTS_WITH(line, 'order 12')", "truth"),
    Function("ENDS_WITH(line, '77')", "truth"),
    Function("CONTAINS(line, '-99')", "truth"),
    Function("REVERSE(line)", "text"),
    Function("TRANSLATE(line, 'oe1', 'OE')", "text"),
    Function("HEX(line)", "text"),
    Function("MD5(line)", "text"),
    Function("SHA256(line)", "text"),
    Function("line ILIKE '%CUSTOMER-9%'", "truth"),
    Function("REGEXP_LIKE(line, 'r \\d+5 of')", "truth", "REGEXP_MATCHES(line, 'r \\d+5 of')"),
    Function("REGEXP_REPLACE(line, '\\d+', '#', 'g')", "text"),
    Function("REGEXP_SUBSTR(line, '\\d+')", "text", "REGEXP_EXTRACT(line, '\\d+')"),
    Function("REGEXP_COUNT(line, '[aeiou]')", "number", "LEN(REGEXP_EXTRACT_ALL(line, '[aeiou]'))"),
    Function("DATE_TRUNC('month', moment)", "moment"),
    Function("DATE_TRUNC('hour', moment)", "moment"),
    Function("DATE_TRUNC('week', day)", "moment"),
    Function("EXTRACT(epoch FROM moment)", "number"),
    Function("EXTRACT(isoyear FROM day)", "number"),
    Function("MAKE_DATE(2000 + m % 20, 1 + n % 12, 1 + n % 28)", "moment"),
    Function("LAST_DAY(day)", "moment"),
    Function("day + n", "moment"),
    Function("day - DATE '2010-01-01'", "number"),
    Function("GREATEST(n, m)", "number"),
    Function("LEAST(x, n)", "number"),
    Function("n & m", "number"),
    Function("n # m", "number", "XOR(n, m)"),
    Function("GCD(n, m)", "number"),
    Function("LOG2(n + 1)", "number"),
    Function("CBRT(x)", "number"),
    Function("x IS DISTINCT FROM n", "truth"),
    Function("CAST(d AS numeric(12, 1))", "number"),
    Function("TRY_CAST(word AS integer) IS NULL", "truth"),
    Function("SUM(x) FILTER (WHERE n > 500)", "whole"),
    Function("COUNT(*) FILTER (WHERE n > 500)", "whole"),
    Function("VAR_SAMP(x)", "whole"),
    Function("REGR_INTERCEPT(x, n)", "whole"),
    Function("REGR_R2(x, n)", "whole"),
    Function("QUANTILE_CONT(x, 0.95)", "whole"),
    Function("BOOL_AND(n >= 0)", "whole"),
    Function("REGR_COUNT(x, n)", "whole"),
    Function("BIT_XOR(n)", "whole"),
    Function("CHAR_LENGTH(STRING_AGG(word, ', ') FILTER (WHERE i < 50000))", "whole"),
    Function("STRING_AGG(word, ',' ORDER BY x, i) FILTER (WHERE i < 50000)", "whole"),
    Function("CHAR_LENGTH(STRING_AGG(DISTINCT word, ','))", "whole"),
    Function("MAX_BY(word, i)", "whole"),
    Function("MIN_BY(day, i)", "whole"),
    Function("MODE(m * 0 + n % 7)", "whole"),
    Function("HISTOGRAM(m)", "whole"),
    Function("COUNT(DISTINCT word)", "whole"),
    Function("COUNT(DISTINCT n, m)", "whole", "COUNT(DISTINCT (n, m))"),
    Function("VAR_SAMP(DISTINCT d)", "whole"),
    Function("MEDIAN(DISTINCT x)", "whole"),
    Function("MEDIAN(x)", "whole"),
    Function("AVG(day)", "whole"),
    Function("MEDIAN(day)", "whole"),
    Function("QUANTILE_CONT(x, 0.1), QUANTILE_CONT(x, 0.5), QUANTILE_CONT(x, 0.9)", "whole"),
    Function("APPROX_COUNT_DISTINCT(line)", "estimate"),
    Function("APPROX_COUNT_DISTINCT(n)", "estimate"),
    Function("APPROX_QUANTILE(x, 0.9)", "estimate"),
)


# How far estimates of two engines may be apart.
ESTIMATE = 0.25


def is_same(a: object, b: object, tolerance: float = 1e-9) -> bool:
    """Whether two values agree, numbers to nine digits; days and moments may be either."""
    if isinstance(a, bool) or isinstance(b, bool) or a is None or b is None:
        return a == b
    try:
        return math.isclose(float(a), float(b), rel_tol=tolerance)  # type: ignore[arg-type]
    except (TypeError, ValueError):
        return as_text(a) == as_text(b)


def as_text(value: object) -> str:
    """A value as either engine writes it: a map of counts as a text, a day as a moment."""
    if isinstance(value, dict):
        return "{" + ", ".join(f"{key}={count}" for key, count in sorted(value.items())) + "}"
    return str(value).removesuffix(" 00:00:00")


class Engines:
    """Both engines over the same table."""

    def __init__(self, rows: int) -> None:
        self._duckdb = duckdb.connect(":memory:")
        self._duckdb.execute("SET threads=1")
        facts = self._duckdb.sql(TABLE.format(rows=rows)).to_arrow_table()
        self._duckdb.register("facts", facts)
        self._sqxer = sqxer.connect(threads=1)
        self._sqxer.register("facts", facts)

    def ask(self, engine: str, sql: str) -> Any:  # noqa: ANN401
        connection: Any = self._sqxer if engine == "sqxer" else self._duckdb
        return connection.execute(sql).fetchall()[0]


def main() -> int:
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("--rows", type=count, default=1_000_000, help="of the table")
    options.add_argument("--runs", type=count, default=5, help="of each function")
    chosen = options.parse_args()
    print(f"{machine()}, load {load()}", flush=True)
    print(f"{chosen.rows} rows, one thread; milliseconds, the least of {chosen.runs} runs")
    engines = Engines(chosen.rows)
    ratios: list[float] = []
    failures = 0
    for function in FUNCTIONS:
        ours, theirs = (
            engines.ask(engine, function.compared(engine)) for engine in ("sqxer", "duckdb")
        )
        tolerance = ESTIMATE if function.form == "estimate" else 1e-9
        if not all(is_same(a, b, tolerance) for a, b in zip(ours, theirs, strict=True)):
            print(f"FAILED {function.sql}: {ours}, DuckDB {theirs}")
            failures += 1
        least = {"sqxer": math.inf, "duckdb": math.inf}
        for _ in range(chosen.runs):
            for engine, before in least.items():
                start = time.perf_counter()
                engines.ask(engine, function.timed(engine))
                least[engine] = min(before, time.perf_counter() - start)
        ratios.append(least["sqxer"] / least["duckdb"])
        times = f"{least['sqxer'] * 1e3:8.1f}{least['duckdb'] * 1e3:8.1f}{ratios[-1]:8.2f}"
        print(f"{function.sql:52}{times}", flush=True)
    print(f"median {statistics.median(ratios):.2f}, greatest {max(ratios):.2f}")
    return min(failures, 1)


if __name__ == "__main__":
    sys.exit(main())
