"""Question marks for parameters, as DB-API 2.0 has them, in the place of numbers."""

from __future__ import annotations

from contextlib import contextmanager
from typing import TYPE_CHECKING

from .errors import Error, InterfaceError

if TYPE_CHECKING:
    from collections.abc import Iterator


def _end_of_quoted(sql: str, start: int) -> int:
    """The end of what begins at a place: a quoted text or name, a comment, or one character."""
    if sql[start] in "'\"":
        end = sql.find(sql[start], start + 1)
        return len(sql) if end < 0 else end + 1
    if sql.startswith("--", start):
        end = sql.find("\n", start)
        return len(sql) if end < 0 else end
    if sql.startswith("/*", start):
        depth, at = 1, start + 2
        while at < len(sql) and depth:
            pair = sql[at : at + 2]
            depth += (pair == "/*") - (pair == "*/")
            at += 2 if pair in {"/*", "*/"} else 1
        return at
    return start + 1


def _pieces(sql: str) -> Iterator[tuple[int, int]]:
    """Where the pieces of a statement begin and end: what is quoted, comments, and characters."""
    at = 0
    while at < len(sql):
        end = _end_of_quoted(sql, at)
        yield at, end
        at = end


@contextmanager
def numbered(sql: str) -> Iterator[str]:
    """The statement with numbers for `?`; errors are those of the statement as it was written."""
    pieces = list(_pieces(sql))
    marks = 0
    made = ""
    # Of each place of the numbered statement that one of the other.
    places: list[int] = []
    for start, end in pieces:
        text = sql[start:end]
        if text == "?":
            marks += 1
            text = f"${marks}"
        places += [min(start + i, end - 1) for i in range(len(text))]
        made += text
    if marks and any(
        sql[start : start + 1] == "$" and sql[start + 1 : start + 2].isdigit()
        for start, _ in pieces
    ):
        msg = "a statement has ? or numbers for its parameters, not both"
        raise InterfaceError(msg)
    try:
        yield made
    except Error as error:
        if error.sql == made:
            error.sql = sql
            if error.position is not None and error.position < len(places):
                error.position = places[error.position]
        raise
