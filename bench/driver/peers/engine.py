"""What a peer must be for the suite, and for questions about a file."""

from collections.abc import Callable, Mapping, Sequence
from dataclasses import dataclass
from typing import Protocol, TypedDict

from driver.answers import Rows

#: Makes the rows by which engines are compared, after the clock has stopped.
Report = Callable[[], Rows]


class Column(TypedDict):
    name: str
    type: str
    nullable: bool


@dataclass(frozen=True)
class Job:
    """A query of the suite. `digest` is SQL that makes one row of many, '' for a short result."""

    name: str
    sql: str
    digest: str


#: The columns of each table; its rows stand in NAME.csv.
Columns = Mapping[str, Sequence[Column]]


class LoadedEngine(Protocol):
    """An engine with the tables in memory, on one thread."""

    version: str

    def run(self, job: Job) -> Report:
        """Runs the query once, to the last row of its result, which the report keeps."""


@dataclass(frozen=True)
class FileJob:
    """A question about a file. In `sql` the file is {table}. When `kept`, the whole table is loaded
    into memory first, and then asked twice.
    """

    name: str
    sql: str
    path: str
    kept: bool


class FileEngine(Protocol):
    """An engine that has read nothing yet."""

    version: str

    def answer(self, job: FileJob) -> Report:
        """Reads the file and runs the query, to the last row of its result."""


def declare(
    columns: Sequence[Column], types: Mapping[str, str], nullable: Callable[[str], str]
) -> str:
    """The columns as SQL, by the name of each type without its length."""

    def type_of(column: Column) -> str:
        name, bracket, length = column["type"].partition("(")
        text = types[name].replace("()", bracket + length)
        return nullable(text) if column["nullable"] else text

    return ", ".join(f"{column['name']} {type_of(column)}" for column in columns)
