"""A table of every type for statements over tables in parts, and what one machine says of them."""

from __future__ import annotations

import decimal
import os
from pathlib import Path
from typing import Any

import numpy as np
import pyarrow as pa
import pyarrow.parquet as pq
import sqxer

SCALE = 10
PACKAGES = str(Path(sqxer.__file__).parent.parent)

# (statement, whether ORDER BY settles the order of all its rows)
STATEMENTS = [
    ("SELECT k, COUNT(*) c, COUNT(n), SUM(n), SUM(d) s, MIN(day), MAX(at), MAX(k) FROM t "
     "GROUP BY k HAVING COUNT(*) > 10 ORDER BY s DESC", True),
    ("SELECT d, yes, COUNT(*) FROM t WHERE n < 3 GROUP BY d, yes", False),
    ("SELECT k, MEDIAN(n), AVG(d), COUNT(DISTINCT n), REGR_SLOPE(x, n) FROM t GROUP BY k", False),
    ("SELECT k, AVG(d), AVG(n) m, RANGE(d), STDDEV(n), REGR_SLOPE(x, n), ROUND(CORR(x, n), 9) "
     "FROM t GROUP BY k ORDER BY m", True),
    ("SELECT SUM(x), COUNT(*), MIN(k) FROM t", False),
    ("SELECT COUNT(*), SUM(n) FROM t WHERE id < 0", False),
    ("SELECT AVG(n), COUNT(*) FROM t WHERE id < 0", False),
    ("SELECT DISTINCT k, n FROM t", False),
    ("SELECT id, d * 2 AS \"a.b\", k || '!' AS \"a.b\" FROM t WHERE x > 99 "
     "ORDER BY k DESC NULLS FIRST, id LIMIT 20 OFFSET 3", True),
    ("SELECT id, RANK() OVER (PARTITION BY k ORDER BY x DESC, id) r, SUM(d) OVER (PARTITION BY k) "
     "FROM t WHERE n > 15", False),
    ("SELECT k, CAST(SUM(at - day) AS text), CAST(MIN(AGE(at, day)) AS text) FROM t GROUP BY k "
     "ORDER BY MAX(at - day) DESC", True),
    ("SELECT CAST(DATE_TRUNC('month', AGE(at, day)) AS text) a, CAST(AVG(at - day) AS text), "
     "MIN(NOW() - LOCALTIMESTAMP) = '0' FROM t GROUP BY DATE_TRUNC('month', AGE(at, day))", False),
]  # fmt: skip
WRONG_VALUE = "SELECT k, SUM(1 / (n - 3)) FROM t GROUP BY k"


def make_table(rows: int, seed: int = 1) -> pa.Table:
    """Doubles are quarters, so that their sums do not depend on the order of rows."""
    random = np.random.default_rng(seed)

    def nullable(values: object, kind: pa.DataType) -> pa.Array:
        return pa.array(values, kind, mask=random.random(rows) < 0.05)

    texts = np.array(["a", "b", "Bb", "straße", "", "zz "], dtype=object)
    money = pa.array(random.integers(-5000, 5000, rows), pa.int32()).cast(pa.decimal128(12, 2))
    return pa.table(
        {
            "id": pa.array(np.arange(rows), pa.int32()),
            "k": nullable(texts[random.integers(0, len(texts), rows)], pa.string()),
            "n": nullable(random.integers(0, 20, rows), pa.int32()),
            "d": pa.chunked_array([money]).combine_chunks(),
            "x": nullable(random.integers(0, 400, rows) / 4, pa.float64()),
            "day": nullable(random.integers(18000, 19000, rows).astype("M8[D]"), pa.date32()),
            "at": nullable(random.integers(0, 10**15, rows).astype("M8[us]"), pa.timestamp("us")),
            "yes": nullable(random.random(rows) < 0.5, pa.bool_()),
        }
    )


def write_parts(folder: Path, rows: int, parts: int) -> None:
    """The table as Parquet files."""
    folder.mkdir(parents=True, exist_ok=True)
    each = rows // parts
    for part in range(parts):
        table = make_table(each, part)
        ids = pa.array(np.arange(part * each, (part + 1) * each), pa.int32())
        pq.write_table(table.set_column(0, "id", ids), folder / f"{part:03}.parquet")


def lines(rows: list[tuple[Any, ...]], in_order: bool) -> list[str]:
    """Rows as texts, decimals with as many digits as workers give them."""

    def text(value: object) -> str:
        if isinstance(value, decimal.Decimal | int) and not isinstance(value, bool):
            with decimal.localcontext(prec=60):
                digits = decimal.Decimal(1).scaleb(-SCALE)
                return str(decimal.Decimal(value).quantize(digits, decimal.ROUND_HALF_UP))
        return repr(value)

    made = ["|".join(text(value) for value in row) for row in rows]
    return made if in_order else sorted(made)


def expected(statement: str, table: object, in_order: bool) -> list[str]:
    """What one machine gives."""
    rows = sqxer.sql(statement, numerics="decimal", t=table).fetchall()
    return lines(rows, in_order)


def python_path() -> str:
    """Where workers find the package, which need not be installed."""
    return os.pathsep.join([PACKAGES, os.environ.get("PYTHONPATH", "")]).rstrip(os.pathsep)
