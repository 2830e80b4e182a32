"""The whole process from file to answer: processor time, wall time and memory of questions about a
CSV file, plain and gzipped, on one thread and on all. Prints the figures; the suite also writes
them.

Ends with status 1 when engines differ in a result, or one fails.
"""

import gzip
import json
import shutil
import subprocess
import sys
from collections.abc import Iterator, Sequence
from dataclasses import asdict, dataclass, field
from pathlib import Path

from driver.answers import Rows, difference
from driver.engines import ENGINES, column_names, environment
from driver.file_cases import ALL_CORES, CASES, GZIPPED, FileCase, describe, sql_for
from driver.machine import cores
from driver.options import available, count, parser, tables
from driver.peers import sqxer
from driver.peers.engine import FileJob
from driver.results import BENCH, FileResult, digits
from driver.tables import FILE_FIGURES, file_cells, file_gaps, plain

#: Engines that can be asked about a file.
READERS = ("sqxer", "duckdb", "clickhouse", "polars")
RUNS = 3


@dataclass
class Measured:
    """The runs of one question and the last result; or the error, or why it is not asked."""

    cpu_ns: list[int] = field(default_factory=list)
    wall_ns: list[int] = field(default_factory=list)
    peak_bytes: list[int] = field(default_factory=list)
    rows: Rows | None = None
    error: str | None = None
    skipped: str | None = None


def run_once(name: str, job: FileJob, threads: int, measured: Measured) -> None:
    """Adds one run, in a process of its own."""
    ended = subprocess.run(
        [sys.executable, "-m", "driver.peers.ask", name, str(threads), json.dumps(asdict(job))],
        cwd=BENCH,
        env=environment(threads),
        stdout=subprocess.PIPE,
        text=True,
        check=False,
    )
    if ended.returncode != 0:
        measured.error = f"ended with {ended.returncode}"
        return
    told = json.loads(ended.stdout)
    if "error" in told:
        measured.error = told["error"]
        return
    measured.cpu_ns.append(told["cpu_ns"])
    measured.wall_ns.append(told["wall_ns"])
    measured.peak_bytes.append(told["peak_bytes"])
    measured.rows = told["rows"]


def ask(name: str, job: FileJob, threads: int, runs: int) -> Measured:
    measured = Measured()
    if name == "sqxer":
        measured.skipped = sqxer.cannot(job, threads)
    while not measured.skipped and not measured.error and len(measured.wall_ns) < runs:
        run_once(name, job, threads, measured)
    return measured


def figures(name: str, threads: int, answers: dict[str, Measured]) -> FileResult:
    result: FileResult = {
        "name": name,
        "threads": threads,
        "cpu_ms": {
            n: digits(min(m.cpu_ns) / 1e6) if m.cpu_ns else None for n, m in answers.items()
        },
        "wall_ms": {
            n: digits(min(m.wall_ns) / 1e6) if m.wall_ns else None for n, m in answers.items()
        },
        "peak_mb": {
            n: digits(max(m.peak_bytes) / 1e6) if m.peak_bytes else None for n, m in answers.items()
        },
    }
    skipped = {name: reason for name, m in answers.items() if (reason := m.error or m.skipped)}
    if skipped:
        result["skipped"] = skipped
    return result


def check(name: str, answers: dict[str, Measured]) -> list[str]:
    """What is wrong: all results must be that of the first engine."""
    problems = [
        f"{name}: {ENGINES[engine].title} failed: {measured.error}"
        for engine, measured in answers.items()
        if measured.error is not None
    ]
    given = [(engine, m.rows) for engine, m in answers.items() if m.rows is not None]
    for engine, rows in given[1:]:
        first, expected = given[0]
        found = difference(expected, rows)
        if found is not None:
            problems.append(f"{name}: {engine} differs from {first}: {found}")
    return problems


def _compress(path: Path) -> Path:
    compressed = path.with_name(path.name + ".gz")
    with path.open("rb") as source, gzip.open(compressed, "wb", compresslevel=6) as target:
        shutil.copyfileobj(source, target, 1 << 20)
    return compressed


def _rounds(path: Path) -> Iterator[tuple[FileCase, Path, str, int]]:
    """Every case with its file, the name of its figures and its threads."""
    for threads, with_threads in ((1, ""), (cores(), ALL_CORES)):
        for file, with_file in ((path, ""), (_compress(path), GZIPPED)):
            for case in CASES:
                yield case, file, case.name + with_file + with_threads, threads


def measure(names: Sequence[str], rows: int, runs: int) -> tuple[list[FileResult], list[str]]:
    """The figures of those engines that can be asked about a file, and what went wrong."""
    readers = [name for name in names if name in READERS]
    columns = column_names()
    results: list[FileResult] = []
    problems: list[str] = []
    if not readers:
        return results, problems
    with tables(rows) as folder:
        for case, file, name, threads in _rounds(folder / "lines.csv"):
            job = FileJob(case.name, sql_for(case, columns), str(file), case.kept)
            answers = {reader: ask(reader, job, threads, runs) for reader in readers}
            results.append(figures(name, threads, answers))
            problems += check(name, answers)
            print(name, file=sys.stderr)
    return results, problems


def show(results: Sequence[FileResult]) -> None:
    for title in FILE_FIGURES if results else ():
        print(f"\n{plain(file_cells(results, title, describe))}")
    for line in file_gaps(results, str):
        print(line)


def main() -> int:
    options = parser(__doc__, READERS)
    options.add_argument("--rows", type=count, default=4_000_000, help="of the table")
    options.set_defaults(runs=RUNS)
    chosen = options.parse_args()
    results, problems = measure(available(chosen.engines), chosen.rows, chosen.runs)
    show(results)
    for problem in problems:
        print(f"FAILED {problem}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
