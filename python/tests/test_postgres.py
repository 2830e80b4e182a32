"""Statements of everyday SQL give what PostgreSQL gives, and fail where it fails.

The statements stand in python/tests/postgres, one a line, in which ⟦a ¦ b⟧ stands for each of some
texts in turn. A line "-- differs: reason" says that the statement behind it gives something else,
and "-- postgres: statement" is for its server alone: it makes the table that NAME.csv has for us.
"""

from __future__ import annotations

import datetime
import itertools
import math
import re
from collections.abc import Iterator
from dataclasses import dataclass
from decimal import Decimal, InvalidOperation
from pathlib import Path

import pytest
import sqxer
from postgres_server import Outcome, PostgresServer, find_programs

FOLDER = Path(__file__).parent / "postgres"
DIFFERS = "-- differs:"
SETUP = "-- postgres:"

# The conditions that errors of sqxer stand for.
CONDITIONS: dict[str, set[int]] = {
    "0A000": {58033, 58048, 58049, 59051, 59052, 59060},
    "21000": {57131},
    "22003": {58011, 58047, 59013, 59038, 59161},
    "22004": {58017, 58048},
    "22007": {58010, 58082, 59062, 59172},
    "22008": {58010, 58011, 59050, 59051, 59171, 59172},
    "22015": {58011},
    "22012": {59008},
    "22013": {58017, 58048},
    "22016": {59028},
    "22023": {58033, 58084, 58075, 58045, 59007, 59035, 59036, 59063, 59176},
    "2201B": {59175},
    "2201E": {59010},
    "2201F": {59009, 59010},
    "2201G": {59037},
    "22025": {59025},
    "22P02": {58010, 58082, 59172, 59061},
    "42601": {58001, 58003, 58074, 58081, 58083, 59060},
    "42701": {58003},
    "42702": {58015},
    "42703": {59015, 58022},
    "42712": {58080},
    "42803": {58006, 58007, 58008, 58061},
    "42809": {58046, 58070},
    "42804": {58018, 58082, 59020, 59021},
    "42883": {58004, 58013, 58074, 58084, 59001, 59030},
    "42P01": {57001, 58016},
    "42P10": {58009, 58017, 58062, 58071, 58081},
    "54011": {58060},
    "42P20": {58001, 58006, 58038, 58049},
}


# A table that both sides have: its columns as PostgreSQL declares them, and its rows.
FACTS = "g text, n integer, x double precision, d numeric(10, 2), w text, day date, at timestamp"
WORDS = ["apple", "pear", "", "plum", None, "Äpfel", "fig"]


def make_facts() -> list[tuple[object, ...]]:
    """Forty rows with NULLs and ties; group c has one row, and group d NULLs alone."""
    rows: list[tuple[object, ...]] = []
    for i in range(38):
        day = datetime.date(2012, 1, 1) + datetime.timedelta(days=i * 11 % 60)
        moment = datetime.datetime(2012, 1, 1) + datetime.timedelta(seconds=i * 7919.25)
        rows.append(
            (
                "ab"[i % 2],
                None if i % 7 == 3 else i * 5 % 9,
                None if i % 11 == 5 else i * 1.25 - 20,
                None if i % 13 == 1 else Decimal(i * 37 % 100 - 50) / 4,
                WORDS[i % len(WORDS)],
                day,
                moment,
            )
        )
    rows.append(("c", 3, 1.5, Decimal("2.25"), "kiwi", None, None))
    rows.append(("d", None, None, None, None, None, None))
    return rows


def as_literal(value: object) -> str:
    """A value as PostgreSQL reads it in INSERT."""
    if value is None:
        return "NULL"
    return str(value) if isinstance(value, (int, float, Decimal)) else f"'{value}'"


@dataclass(frozen=True)
class Case:
    """A statement, and where it stands."""

    sql: str
    place: str
    differs: bool


def expand(line: str) -> Iterator[str]:
    """The statements that a line stands for."""
    parts = re.split(r"⟦([^⟦⟧]*)⟧", line)
    choices = [
        [part] if i % 2 == 0 else [choice.strip() for choice in part.split("¦")]
        for i, part in enumerate(parts)
    ]
    for chosen in itertools.product(*choices):
        yield "".join(chosen)


def read_cases(path: Path) -> list[list[Case]]:
    """The cases of a file, those of a line together."""
    groups: list[list[Case]] = []
    differs = False
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if line.startswith(DIFFERS):
            assert line.removeprefix(DIFFERS).strip(), f"{path.name}:{number} gives no reason"
            differs = True
        elif line and not line.startswith("--"):
            place = f"{path.name}:{number}"
            groups.append([Case(sql, place, differs) for sql in expand(line)])
            differs = False
    return groups


def read_setup(path: Path) -> list[str]:
    """What the server runs before the cases of a file."""
    lines = path.read_text().splitlines()
    return [line.removeprefix(SETUP).strip() for line in lines if line.startswith(SETUP)]


def is_same_value(ours: object, theirs: str | None) -> bool:
    """Whether a value is the one that psql wrote."""
    if ours is None or theirs is None:
        return ours is None and theirs is None
    if isinstance(ours, bool):
        return theirs == ("t" if ours else "f")
    if isinstance(ours, (int, float, Decimal)):
        return is_same_number(ours, theirs)
    if isinstance(ours, (datetime.timedelta, sqxer.Interval)):
        return read_interval(theirs) == ours
    if isinstance(ours, (datetime.datetime, datetime.time)):
        text = str(ours)
        return (text.rstrip("0") if "." in text else text) == theirs
    return str(ours) == theirs


def read_interval(text: str) -> datetime.timedelta | sqxer.Interval:
    """An interval as PostgreSQL writes it, as the value that it comes as."""
    counts = {unit: int(count) for count, unit in re.findall(r"([-+]?\d+) (year|mon|day)", text)}
    clock = re.search(r"([-+]?)(\d+):(\d+):(\d+)(?:\.(\d+))?", text)
    sign, hour, minute, second, fraction = clock.groups("0") if clock else ("", 0, 0, 0, "0")
    time = ((int(hour) * 60 + int(minute)) * 60 + int(second)) * 1_000_000
    time += int(str(fraction).ljust(6, "0"))
    microseconds = -time if sign == "-" else time
    months = counts.get("year", 0) * 12 + counts.get("mon", 0)
    days = counts.get("day", 0)
    if months:
        return sqxer.Interval(months, days, microseconds)
    return datetime.timedelta(days=days, microseconds=microseconds)


def is_same_number(ours: float | Decimal, theirs: str) -> bool:
    """The same for numbers: their last digits may differ."""
    try:
        number = Decimal(theirs)
    except InvalidOperation:
        return False
    if isinstance(ours, float):
        double = float(theirs)
        both_nan = math.isnan(ours) and math.isnan(double)
        return both_nan or math.isclose(ours, double, rel_tol=1e-12)
    return abs(Decimal(ours) - number) <= abs(number) * Decimal("1e-15")


def connect() -> sqxer.Connection:
    """A connection that has the table."""
    pyarrow = pytest.importorskip("pyarrow")
    types = [
        pyarrow.string(),
        pyarrow.int32(),
        pyarrow.float64(),
        pyarrow.decimal128(10, 2),
        pyarrow.string(),
        pyarrow.date32(),
        pyarrow.timestamp("us"),
    ]
    names = [column.split()[0] for column in FACTS.replace("(10, 2)", "").split(", ")]
    columns = zip(*make_facts(), strict=True)
    arrays = [pyarrow.array(values, kind) for values, kind in zip(columns, types, strict=True)]
    connection = sqxer.connect()
    connection.register("facts", pyarrow.table(dict(zip(names, arrays, strict=True))))
    return connection


def run_ours(connection: sqxer.Connection, sql: str) -> tuple[list[tuple[object, ...]], int]:
    """The rows of a statement, or the code of its error."""
    try:
        return connection.execute(sql).fetchall(), 0
    except sqxer.Error as error:
        return [], int(error.code or -1)


def find_difference(rows: list[tuple[object, ...]], code: int, theirs: Outcome) -> str:
    """What is not as PostgreSQL has it; nothing where all is."""
    if theirs.condition or code:
        if theirs.condition and code in CONDITIONS.get(theirs.condition, set()):
            return ""
        return f"condition {theirs.condition or 'none'}, here error {code or 'none'}"
    same = len(rows) == len(theirs.rows) and all(
        len(row) == len(other) and all(map(is_same_value, row, other))
        for row, other in zip(rows, theirs.rows, strict=True)
    )
    return "" if same else f"{theirs.rows}, here {rows}"


@pytest.fixture(scope="session")
def server() -> Iterator[PostgresServer]:
    programs = find_programs()
    if programs is None:
        pytest.skip("there is no PostgreSQL 15 server here (Debian's package postgresql-15)")
    postgres = PostgresServer(programs)
    values = ", ".join(f"({', '.join(map(as_literal, row))})" for row in make_facts())
    made = postgres.run([f"CREATE TABLE facts ({FACTS})", f"INSERT INTO facts VALUES {values}"])
    assert all(not outcome.condition for outcome in made)
    yield postgres
    postgres.stop()


@pytest.mark.parametrize("path", sorted(FOLDER.glob("*.sql")), ids=lambda path: path.stem)
def test_gives_what_postgres_gives(path: Path, server: PostgresServer) -> None:
    groups = read_cases(path)
    cases = [case for group in groups for case in group]
    setup = read_setup(path)
    ran = server.run(setup + [case.sql for case in cases])
    assert not any(outcome.condition for outcome in ran[: len(setup)])
    outcomes = dict(zip(cases, ran[len(setup) :], strict=True))
    connection = connect()
    if setup:
        connection.register(path.stem, path.with_suffix(".csv"))
    failures: list[str] = []
    for group in groups:
        found = [
            f"{case.place} {case.sql}\n    {difference}"
            for case in group
            if (difference := find_difference(*run_ours(connection, case.sql), outcomes[case]))
        ]
        if not group[0].differs:
            failures += found
        elif not found:
            failures.append(f"{group[0].place} {group[0].sql}\n    does not differ any more")
    assert not failures, f"{len(failures)} of {len(cases)}:\n" + "\n".join(failures[:200])
