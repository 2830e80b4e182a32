"""Programs whose files, folders and standard streams are full, closed or change."""

import subprocess
import sys
from pathlib import Path

import pytest
import sqxer


def write_numbers(path: Path, count: int) -> None:
    path.write_text("a\n" + "".join(f"{i}\n" for i in range(count)))


def test_connection_goes_on_behind_a_folder_that_takes_nothing(tmp_path: Path) -> None:
    write_numbers(tmp_path / "t.csv", 20_000)
    connection = sqxer.connect(tmp_path)
    connection.set("GroupMemory", "1")
    connection.set("TempDirectory", str(tmp_path / "nope"))
    groups = "SELECT COUNT(*) FROM (SELECT a FROM t GROUP BY a) AS g"
    with pytest.raises(sqxer.DatabaseError, match="No such file or directory") as caught:
        connection.execute(groups)
    assert caught.value.code == 59180
    connection.set("TempDirectory", str(tmp_path))
    assert connection.execute(groups).fetchall() == [(20_000,)]
    assert [path.name for path in tmp_path.iterdir()] == ["t.csv"]


def test_what_cannot_be_written_is_an_error(tmp_path: Path) -> None:
    connection = sqxer.connect(tmp_path)
    with pytest.raises(sqxer.DatabaseError, match="No space left on device") as caught:
        connection.execute("COPY (SELECT 1 AS a) TO '/dev/full' (FORMAT csv)")
    assert caught.value.code == 57152
    with pytest.raises(sqxer.DatabaseError, match="No such file or directory"):
        connection.execute(f"COPY (SELECT 1 AS a) TO '{tmp_path}/none/a.csv'")
    assert connection.execute("SELECT 1 AS a").fetchall() == [(1,)]
    assert list(tmp_path.iterdir()) == []


def test_file_that_changes_while_its_rows_are_read_is_an_error(tmp_path: Path) -> None:
    path = tmp_path / "t.csv"
    # More than is read ahead.
    path.write_bytes(b"a\n" + b"12345678\n" * 10_000_000)
    connection = sqxer.connect(tmp_path)
    connection.set("TableMemory", "1")
    rows = connection.stream("SELECT a FROM t")
    assert rows.fetchone() == (12345678,)
    with path.open("r+b") as file:
        file.truncate(1000)
    with pytest.raises(sqxer.DatabaseError, match="has changed while it was read"):
        rows.fetchall()
    assert connection.execute("SELECT 1 AS a").fetchall() == [(1,)]


@pytest.mark.parametrize("closed", range(8))
def test_closed_standard_streams_are_never_taken_for_files(tmp_path: Path, closed: int) -> None:
    write_numbers(tmp_path / "t.csv", 20_000)
    program = f"""
import os
for stream in range(3):
    if {closed} >> stream & 1:
        os.close(stream)
import sqxer
connection = sqxer.connect({str(tmp_path)!r})
connection.set("GroupMemory", "1")
rows = connection.execute("SELECT COUNT(*) FROM (SELECT a FROM t GROUP BY a) AS g").fetchall()
assert rows == [(20_000,)]
connection.execute("COPY (SELECT 1 AS a) TO '{tmp_path}/made.csv'")
for stream in range(3):
    if {closed} >> stream & 1:
        try:
            os.fstat(stream)
        except OSError:
            continue
        raise AssertionError(f"{{stream}} is open")
"""
    done = subprocess.run([sys.executable, "-c", program], check=False, capture_output=True)
    # What the interpreter says of its own streams at its end is no matter of the engine's.
    assert b"AssertionError" not in done.stderr
    assert (tmp_path / "made.csv").read_text() == "a\n1\n"
