"""The command `sqxer` asked about a file: the whole process, less one that is asked `SELECT 1`."""

import functools
import gzip
import json
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

from driver.answers import Rows, rows_of
from driver.engines import COMMAND
from driver.peers.engine import FileJob

LAUNCH = Path(__file__).with_name("launch.py")


@dataclass(frozen=True)
class Process:
    wall_ns: int
    cpu_ns: int
    peak_bytes: int
    output: str


def parse_rows(text: str) -> Rows:
    """Lines of JSON objects; numbers keep their digits."""
    lines = [json.loads(line, parse_float=str, parse_int=str) for line in text.splitlines()]
    return rows_of(line.values() for line in lines)


def parse_process(text: str) -> tuple[int, Process]:
    """What launch.py printed: the status, and the rest."""
    first, _, output = text.partition("\n")
    status, wall, processor, peak = map(int, first.split())
    return status, Process(wall, processor, peak, output)


def _run(arguments: list[str]) -> Process:
    """RuntimeError with the command's own sentence when it fails."""
    launcher = [sys.executable, "-I", "-S", str(LAUNCH), str(COMMAND), "-o", "json", *arguments]
    ended = subprocess.run(launcher, capture_output=True, text=True, check=True)
    status, process = parse_process(ended.stdout)
    if status != 0:
        raise RuntimeError(ended.stderr.strip().partition("\n")[0] or f"status {status}")
    return process


@functools.cache
def has_threads() -> bool:
    told = subprocess.run([COMMAND, "--help"], capture_output=True, text=True, check=True).stdout
    return "--threads" in told


@functools.cache
def reads_gzip() -> bool:
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "probe.csv.gz"
        path.write_bytes(gzip.compress(b"n\n1\n"))
        try:
            _run([f'SELECT COUNT(*) AS n FROM "{path}"'])
        except RuntimeError:
            return False
    return True


def cannot(job: FileJob, threads: int) -> str | None:
    """Why the command cannot be asked this; None when it can."""
    if threads != 1 and not has_threads():
        return "reads on one thread only"
    if job.path.endswith(".gz") and not reads_gzip():
        return "does not read gzipped files"
    return None


def measure(threads: int, job: FileJob) -> dict[str, object]:
    """As for a peer, see ask.py."""
    options = ["--threads", str(threads)] if has_threads() else []
    if job.kept:
        options += ["--repeat", "2"]
    start = _run([*options, "SELECT 1 AS n"])
    asked = _run([*options, job.sql.format(table=f'"{job.path}"')])
    return {
        "wall_ns": max(asked.wall_ns - start.wall_ns, 0),
        "cpu_ns": max(asked.cpu_ns - start.cpu_ns, 0),
        "peak_bytes": max(asked.peak_bytes - start.peak_bytes, 0),
        "rows": parse_rows(asked.output),
    }
