"""Sessions: tables, and the statements that are run over them; DB-API 2.0 besides."""

from __future__ import annotations

import atexit
import os
import time
from contextlib import contextmanager
from typing import TYPE_CHECKING, Any, Literal, Self
from weakref import WeakSet

from . import _engine, _functions, _tables
from ._marks import numbered
from ._texts import parameter_text, switch_text
from .errors import InterfaceError, NotSupportedError
from .expression import Expression
from .result import Result

if TYPE_CHECKING:
    from collections.abc import Callable, Iterator, Sequence

Numerics = Literal["settled", "decimal", "double"]


# Connections that are open, so that no statement runs when the interpreter ends.
_open: WeakSet[Connection] = WeakSet()


@atexit.register
def _end_all() -> None:
    for connection in list(_open):
        connection.end()


class Connection:
    """Tables, and the statements that are run over them. One thread at a time.

    >>> import sqxer
    >>> connection = sqxer.connect()
    >>> connection.register("t", {"a": [1, 2, 3]})
    >>> connection.execute("SELECT SUM(a) AS s FROM t WHERE a > ?", [1]).fetchall()
    [(5,)]
    """

    def __init__(
        self,
        directory: str | os.PathLike[str] = ".",
        threads: int | None = None,
        *,
        untrusted: bool = False,
    ) -> None:
        """`directory`: where a bare name of a table means NAME.csv. `threads`: all processors.

        `untrusted`: statements are others'. They read files below `directory` and what is
        registered, write none, and have tighter limits, which `set` can widen and they cannot.
        """
        self._session: _engine.Session | None = _engine.Session()
        self._session.set_directory(os.fspath(directory))
        self._session.set_threads(threads or os.cpu_count() or 1)
        if untrusted:
            self._session.set_untrusted()
        self._statements = 0
        _open.add(self)

    @contextmanager
    def _running(self) -> Iterator[None]:
        if self._statements:
            msg = "another thread uses this connection: open one for each thread"
            raise InterfaceError(msg)
        self._statements += 1
        try:
            yield
        finally:
            self._statements -= 1

    def end(self) -> None:
        """Ends what is running, and waits a little until it has ended."""
        session = self._session
        if session is None:
            return
        deadline = time.monotonic() + 2
        while self._statements and time.monotonic() < deadline:
            session.cancel()
            time.sleep(0.005)
        if not self._statements:
            session.stop()

    @property
    def session(self) -> _engine.Session:
        """The engine's session; an error when the connection was closed."""
        if self._session is None:
            msg = "the connection was closed"
            raise InterfaceError(msg)
        self._refuse_within_call()
        return self._session

    def _refuse_within_call(self) -> None:
        if _functions.is_called_by(self):
            msg = "a statement of this connection is calling the function: open one of its own"
            raise InterfaceError(msg)

    def set(self, switch: str, value: object) -> None:
        """Sets a switch for the statements to come: `sqxer --help-switches` explains each."""
        self.session.set(switch, switch_text(value))

    def register(
        self,
        name: str,
        data: Any,  # noqa: ANN401
        types: str | None = None,
        *,
        binary_as_text: bool = False,
    ) -> None:
        """Makes data a table: Arrow data, a data frame, columns, rows, a dataset, or a path.

        Arrow data is shared, not copied, wherever its layout is the engine's. `types` are for
        files: "COL:TYPE,COL:TYPE" in the place of the types that are found. `binary_as_text`:
        binary columns hold UTF-8, such as JSON documents.
        """
        if types is not None:
            self.session.set_types(name, types)
        _tables.add_table(self.session, name, data, binary_as_text)

    def unregister(self, name: str) -> None:
        """Lets go of a table."""
        self.session.remove_table(name)

    def register_function(  # noqa: PLR0913 (all but three by their names)
        self,
        name: str,
        function: Callable[..., object],
        result: str,
        arguments: Sequence[str] | None = None,
        *,
        rows: bool = False,
        volatile: bool = False,
    ) -> None:
        """Makes a Python function one of SQL, for the statements and expressions to come.

        It is called with a pyarrow array for each argument, of a few thousand rows, and gives as
        many values: an array, anything of Arrow or numpy, a list, or one value for all rows. With
        `rows` it is called with the values of one row, None for NULL, and gives one.

        `result` and `arguments` are types as columns have them: boolean, int4, double, numeric,
        varchar, varchar(n), date, time, timestamp and a few more. Arguments and results are
        brought to them by casts; without `arguments` there may be any number of any type, and
        decimals come as doubles. The function must give the same for the same arguments, or be
        `volatile`: then each row is a call of its own.

        >>> import sqxer
        >>> connection = sqxer.connect()
        >>> connection.register_function("initial", lambda name: name[0], "varchar(1)", rows=True)
        >>> connection.execute("SELECT initial('Ada') AS i").fetchall()
        [('A',)]
        """
        call = _functions.over_rows(function) if rows else _functions.over_columns(function)
        types = None if arguments is None else list(arguments)
        call = _functions.of_connection(self, call)
        self.session.add_function(name, types, result, volatile, call)

    def unregister_function(self, name: str) -> None:
        """Lets go of a function that was registered."""
        self.session.remove_function(name)

    def execute(
        self,
        sql: str,
        params: Sequence[object] = (),
        *,
        numerics: Numerics = "settled",
        dictionaries: bool = False,
    ) -> Result:
        """Runs a statement to its end.

        One without rows, such as CREATE TABLE, gives a result without columns, whose `tag` says
        what was done.

        `?` or `$1` stand for `params`. `numerics`: decimals come as Arrow decimals with the digits
        that the values have, or integers where all are whole (settled), always as decimals, or as
        doubles. `dictionaries`: texts that came as dictionaries go as dictionaries.
        """
        parameters = [parameter_text(value) for value in params]
        with numbered(sql) as text, self._running():
            result = self.session.query(text, parameters, numerics, dictionaries)
            return Result(result, owner=self)

    sql = execute

    def stream(
        self, sql: str, params: Sequence[object] = (), *, numerics: Numerics = "decimal"
    ) -> Result:
        """Runs a statement whose rows are made while they are read, which can be done once.

        The next use of the connection ends it.
        """
        parameters = [parameter_text(value) for value in params]
        with numbered(sql) as text, self._running():
            return Result(self.session.stream(text, parameters, numerics, False), owner=self)

    def expr(self, expression: str, params: Sequence[object] = ()) -> Expression:
        """An expression that is evaluated over any table that has its columns."""
        parameters = [parameter_text(value) for value in params]
        return Expression(self, expression, parameters)

    def cancel(self) -> None:
        """Ends the statement that is running, from another thread."""
        if self._session is not None:
            self._session.cancel()

    def close(self) -> None:
        """Lets go of everything."""
        self._refuse_within_call()
        self._session = None

    def __enter__(self) -> Self:
        """The connection itself."""
        return self

    def __exit__(self, *_: object) -> None:
        """Closes it."""
        self.close()

    # DB-API 2.0.

    def cursor(self) -> Cursor:
        """A cursor, as DB-API 2.0 has it."""
        return Cursor(self)

    def commit(self) -> None:
        """There is nothing to commit: each statement stands when it has succeeded."""

    def rollback(self) -> None:
        """Refused: there are no transactions."""
        msg = "there are no transactions"
        raise NotSupportedError(msg)


class Cursor:
    """A cursor, as DB-API 2.0 has it."""

    arraysize = 1

    def __init__(self, connection: Connection) -> None:
        self.connection = connection
        self._result: Result | None = None

    @property
    def description(self) -> list[tuple[str, str, None, None, None, None, None]] | None:
        """Name and type of each column; None before a statement, and for one without rows."""
        if self._result is None or self._result.tag:
            return None
        return [
            (name, kind, None, None, None, None, None)
            for name, kind in zip(self._result.columns, self._result.types, strict=True)
        ]

    @property
    def rowcount(self) -> int:
        """The rows of the last statement, or those that it has written; -1 where there are none."""
        return -1 if self._result is None else self._result.rowcount

    def execute(self, sql: str, params: Sequence[object] = ()) -> Self:
        """Runs a statement."""
        self._result = None
        self._result = self.connection.execute(sql, params)
        return self

    def executemany(self, sql: str, seq_of_params: Sequence[Sequence[object]]) -> Self:
        """Runs a statement with one list of parameters after the other."""
        for params in seq_of_params:
            self.execute(sql, params)
        return self

    def _get(self) -> Result:
        if self._result is None:
            msg = "no statement was executed"
            raise InterfaceError(msg)
        if self._result.tag:
            msg = f"the statement gives no rows: {self._result.tag}"
            raise InterfaceError(msg)
        return self._result

    def fetchone(self) -> tuple[Any, ...] | None:
        """The next row; None behind the last one."""
        return self._get().fetchone()

    def fetchmany(self, size: int | None = None) -> list[tuple[Any, ...]]:
        """The next rows, `arraysize` if nothing is said."""
        return self._get().fetchmany(self.arraysize if size is None else size)

    def fetchall(self) -> list[tuple[Any, ...]]:
        """All rows that are left."""
        return self._get().fetchall()

    def __iter__(self) -> Iterator[tuple[Any, ...]]:
        """The rows that are left."""
        while (row := self.fetchone()) is not None:
            yield row

    def close(self) -> None:
        """Lets go of the result."""
        self._result = None

    def setinputsizes(self, sizes: object) -> None:
        """Does nothing."""

    def setoutputsize(self, size: int, column: int | None = None) -> None:
        """Does nothing."""
