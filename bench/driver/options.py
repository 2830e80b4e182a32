"""The command line and the tables' files, for the programs of the suite."""

import argparse
import re
import tempfile
from collections.abc import Iterator, Sequence
from contextlib import contextmanager
from pathlib import Path

from driver.engines import BUILD, ENGINES, missing, write_tables
from driver.queries import QUERIES, Query


def count(text: str) -> int:
    """A number of rows or runs."""
    if not re.fullmatch(r"[1-9]\d*", text, re.ASCII):
        raise argparse.ArgumentTypeError(f'this is no number of rows or runs: "{text}"')
    return int(text)


def counts(text: str) -> list[int]:
    return [count(part) for part in text.split(",")]


def engines(text: str) -> list[str]:
    names = text.split(",")
    for name in names:
        if name not in ENGINES:
            raise argparse.ArgumentTypeError(f'there is no engine "{name}"')
    return names


def queries(text: str) -> list[Query]:
    by_name = {query.name: query for query in QUERIES}
    names = text.split(",")
    for name in names:
        if name not in by_name:
            raise argparse.ArgumentTypeError(f'there is no query "{name}"')
    return [by_name[name] for name in names]


def parser(about: str | None, chosen: Sequence[str]) -> argparse.ArgumentParser:
    """With the options that all programs have."""
    options = argparse.ArgumentParser(description=about)
    options.add_argument("--runs", type=count, default=5, help="of each query")
    options.add_argument(
        "--engines", type=engines, default=",".join(chosen), help="parted by commas"
    )
    options.add_argument("--no-write", action="store_true", help="print the figures only")
    return options


def available(names: Sequence[str]) -> list[str]:
    """Those that can take part; says which cannot."""
    present = []
    for name in names:
        reason = missing(name)
        if reason is None:
            present.append(name)
        else:
            print(f"{ENGINES[name].title} is skipped: {reason}")
    return present


@contextmanager
def tables(rows: int) -> Iterator[Path]:
    """The folder of the tables' files, NAME.csv each, in the build folder; it goes again."""
    with tempfile.TemporaryDirectory(prefix="tables-", dir=BUILD) as folder:
        write_tables(rows, Path(folder))
        yield Path(folder)
