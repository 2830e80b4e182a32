"""What statements, tables and settings are refused for."""

from __future__ import annotations


class Warning(Exception):  # noqa: A001, N818 (the name that DB-API 2.0 wants)
    """Kept for DB-API 2.0; nothing raises it."""


class Error(Exception):
    """An error of the engine: one sentence, and where it comes from.

    `code` is its number, `sql` the statement (None without one), `position` the place in it, in
    characters from 0, and `row` the number of the input row, from 1, each None where it is unknown.
    `inputs` has the columns that the failed expression reads, and the texts of their values.
    """

    def __init__(
        self,
        message: str,
        code: int | None = None,
        sql: str | None = None,
        position: int | None = None,
        row: int | None = None,
    ) -> None:
        super().__init__(message)
        self.code = code
        self.sql = sql
        self.position = position
        self.row = row
        self.inputs: dict[str, str] = {}

    def __str__(self) -> str:
        """The sentence, and the line of SQL with a mark under the place."""
        text = str(self.args[0])
        if self.code is not None:
            text = f"error {self.code}: {text}"
        if self.row is not None:
            text += f" (input row {self.row})"
        if self.sql is not None and self.position is not None:
            start = self.sql.rfind("\n", 0, self.position) + 1
            end = self.sql.find("\n", self.position)
            line = self.sql[start : None if end < 0 else end]
            text += f"\n  {line}\n  {' ' * (self.position - start)}^"
        if self.inputs:
            text += "\n  " + ", ".join(f"{name} = {value}" for name, value in self.inputs.items())
        return text

    def __reduce__(self) -> tuple[object, ...]:
        """Errors travel from workers."""
        state = {"inputs": self.inputs}
        return (type(self), (self.args[0], self.code, self.sql, self.position, self.row), state)


class InterfaceError(Error):
    """The package was used in a way that it cannot be."""


class DatabaseError(Error):
    """What the engine says."""


class DataError(DatabaseError):
    """A value that an expression cannot take: a division by zero, an overflow."""


class OperationalError(DatabaseError):
    """A file or a stream that cannot be read, or a statement that was cancelled."""


class IntegrityError(DatabaseError):
    """Kept for DB-API 2.0; nothing raises it."""


class InternalError(DatabaseError):
    """A fault of the engine."""


class ProgrammingError(DatabaseError):
    """A statement that cannot be planned, or a switch that there is not."""


class NotSupportedError(DatabaseError):
    """Something that the engine does not do."""


# What values cause, and not the statement: divisions by zero, overflows, texts that do not read.
_VALUE_CODES = {59008, 59009, 59010, 59013, *range(59161, 59169), 59171, 59172, 59185, 59191, 59192}
_SORT_FILE_CODE = 59180
# What statements of a session say of names and columns.
_SESSION_CODES = {*range(57140, 57156)} - {57152}


def _kind_of(code: int, row: int) -> type[Error]:
    is_outside = 57000 <= code < 58000 and code not in _SESSION_CODES
    if is_outside or code == _SORT_FILE_CODE:
        return OperationalError
    if row >= 0 or code in _VALUE_CODES:
        return DataError
    return ProgrammingError


def make_error(code: int, message: str, sql: str, position: int, row: int) -> Error:
    """The exception of an error; unknown numbers are negative, `position` counts bytes."""
    place = len(sql.encode()[:position].decode(errors="ignore")) if position >= 0 else None
    return _kind_of(code, row)(message, code, sql or None, place, row if row >= 0 else None)
