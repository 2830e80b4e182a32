"""Files of the command's form `arrow` hold what the package gives as Arrow data."""

from __future__ import annotations

import subprocess
from pathlib import Path

import pytest
import sqxer

ipc = pytest.importorskip("pyarrow.ipc")

_ROOT = Path(__file__).parents[2]
_COMMAND = _ROOT / "build" / "release" / "bin" / "sqxer"

pytestmark = pytest.mark.skipif(not _COMMAND.exists(), reason="the command is not built")

_STATEMENTS = [
    # Every type, NULLs in some rows of each.
    """SELECT CASE WHEN n % 3 <> 0 THEN n END AS i, n * 0.5 AS d, n / 7.0 AS q,
              CAST(n % 2 = 0 AS boolean) AS b, DATE '2024-01-01' + n AS day,
              CASE WHEN n > 2 THEN TIMESTAMP '2024-01-01' + n * INTERVAL '1 hour' END AS at,
              TIME '10:00:00' AS t, INTERVAL '1 month 2 days' AS span,
              CASE n WHEN 2 THEN NULL WHEN 3 THEN '' ELSE 'é日' || n END AS text,
              CAST(NULL AS varchar(5)) AS nothing
       FROM generate_series(1, 10) AS s(n)""",
    # More rows than a chunk has.
    "SELECT n, 'text ' || n % 1000 AS text FROM generate_series(1, 300000) AS s(n)",
    "SELECT 1 AS x, 'a' AS y WHERE false",
    "EXPLAIN SELECT 1",
]


@pytest.mark.parametrize("statement", _STATEMENTS)
def test_arrow_files_hold_the_result(statement: str, tmp_path: Path) -> None:
    """Types, values and validity, read by pyarrow."""
    path = tmp_path / "result.arrow"
    subprocess.run([_COMMAND, "-o", "arrow", "--out", path, statement], check=True)
    with ipc.open_file(path) as file:
        table = file.read_all()
    table.validate(full=True)
    expected = sqxer.sql(statement).arrow()
    assert table.schema.equals(expected.schema)
    assert table.equals(expected)
