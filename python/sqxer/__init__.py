"""SQL with exact rules over files, Arrow data and data frames.

>>> import sqxer
>>> trades = {"symbol": ["A", "B", "A"], "price": [1.25, 2.5, 3.75], "quantity": [2, 4, 6]}
>>> sqxer.sql("SELECT symbol, SUM(price * quantity) AS total FROM trades GROUP BY symbol",
...           trades=trades)
symbol  total
------  -----
A        25.0
B        10.0
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

from ._dbapi import (
    BINARY,
    DATETIME,
    NUMBER,
    ROWID,
    STRING,
    Binary,
    Date,
    DateFromTicks,
    Time,
    TimeFromTicks,
    Timestamp,
    TimestampFromTicks,
)
from ._engine import __version__
from ._values import Interval
from .connection import Connection, Cursor, Numerics
from .errors import (
    DatabaseError,
    DataError,
    Error,
    IntegrityError,
    InterfaceError,
    InternalError,
    NotSupportedError,
    OperationalError,
    ProgrammingError,
    Warning,  # noqa: A004 (the name that DB-API 2.0 wants)
)
from .expression import Expression
from .result import Batch, Result

if TYPE_CHECKING:
    import os
    from collections.abc import Mapping, Sequence

    from ._plan import Plan

apilevel = "2.0"
threadsafety = 1
paramstyle = "qmark"


def connect(
    directory: str | os.PathLike[str] = ".",
    threads: int | None = None,
    *,
    untrusted: bool = False,
) -> Connection:
    """A session of its own. `directory`: where a bare name of a table means NAME.csv.

    `untrusted`: the statements are others'; see `Connection`.
    """
    return Connection(directory, threads, untrusted=untrusted)


def sql(
    statement: str,
    params: Sequence[object] = (),
    *,
    numerics: Numerics = "settled",
    threads: int | None = None,
    **tables: Any,  # noqa: ANN401
) -> Result:
    """Runs one statement over tables that are handed over by their names.

    A table is whatever `Connection.register` takes: Arrow data, a data frame, a dict of columns, a
    path. Names that are not among them mean files: `FROM trades` is trades.csv, `FROM "a/b.csv"` a
    path.
    """
    connection = Connection(threads=threads)
    for name, data in tables.items():
        connection.register(name, data)
    return connection.execute(statement, params, numerics=numerics)


def plan(  # noqa: PLR0913 (all but three by their names)
    statement: str,
    schema: Any,  # noqa: ANN401
    params: Sequence[object] = (),
    *,
    switches: Mapping[str, object] | None = None,
    numerics: Numerics = "settled",
    scale: int | None = None,
) -> Plan:
    """A statement over a table in parts: `partial`, `combine`, `finish`. It needs pyarrow."""
    from ._plan import Plan  # noqa: PLC0415

    return Plan(statement, schema, params, switches=switches, numerics=numerics, scale=scale)


def expr(expression: str, params: Sequence[object] = ()) -> Expression:
    """An expression that is evaluated over any table that has its columns."""
    return Connection(threads=1).expr(expression, params)


__all__ = [
    "BINARY",
    "DATETIME",
    "NUMBER",
    "ROWID",
    "STRING",
    "Batch",
    "Binary",
    "Connection",
    "Cursor",
    "DataError",
    "DatabaseError",
    "Date",
    "DateFromTicks",
    "Error",
    "Expression",
    "IntegrityError",
    "InterfaceError",
    "InternalError",
    "Interval",
    "NotSupportedError",
    "OperationalError",
    "ProgrammingError",
    "Result",
    "Time",
    "TimeFromTicks",
    "Timestamp",
    "TimestampFromTicks",
    "Warning",
    "__version__",
    "apilevel",
    "connect",
    "expr",
    "paramstyle",
    "plan",
    "sql",
    "threadsafety",
]
