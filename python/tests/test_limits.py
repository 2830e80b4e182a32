"""Limits of memory, and connections for statements of others."""

from pathlib import Path

import pytest
import sqxer


def test_memory_limit_is_an_operational_error() -> None:
    connection = sqxer.connect(threads=2)
    connection.set("MemoryLimit", "16MiB")
    join = (
        "SELECT a.n, b.n AS m FROM generate_series(1, 3000) AS a(n) "
        "RIGHT JOIN generate_series(1, 3000) AS b(n) ON a.n < b.n"
    )
    with pytest.raises(sqxer.OperationalError, match="MemoryLimit gives, 16MiB") as caught:
        connection.execute(join)
    assert caught.value.code == 57178
    assert connection.execute("SELECT 1 AS a").fetchall() == [(1,)]


def test_untrusted_connection_stays_in_its_directory(tmp_path: Path) -> None:
    inside = tmp_path / "in"
    inside.mkdir()
    (inside / "t.csv").write_text("a\n1\n")
    outside = tmp_path / "secret.csv"
    outside.write_text("s\n42\n")
    connection = sqxer.connect(inside, untrusted=True)
    assert connection.execute("SELECT a FROM t").fetchall() == [(1,)]
    codes = []
    for sql in (
        f"SELECT * FROM '{outside}'",
        f"COPY t TO '{inside / 'o.csv'}'",
        "SET StatementTimeout = 0",
    ):
        with pytest.raises(sqxer.DatabaseError) as caught:
            connection.execute(sql)
        codes.append(caught.value.code)
    assert codes == [57190, 57191, 57192]
    connection.register("given", str(outside))
    assert connection.execute("SELECT s FROM given").fetchall() == [(42,)]
