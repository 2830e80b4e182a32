"""A PostgreSQL server of its own for a test run, and statements run by it."""

from __future__ import annotations

import csv
import io
import os
import pwd
import shutil
import subprocess
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

# How psql writes NULL, which no text of the statements is.
NULL = "\u2205"


@dataclass(frozen=True)
class Outcome:
    """The rows of a statement as texts, or the condition (SQLSTATE) with which it failed."""

    rows: list[list[str | None]]
    condition: str = ""


def find_programs() -> Path | None:
    """The folder of the server's programs; None where there is no server of version 15."""
    folder = Path("/usr/lib/postgresql/15/bin")
    found = (folder / "initdb").exists() and shutil.which("psql") is not None
    return folder if found else None


class PostgresServer:
    """A server over a folder that goes with it, reached by a socket there."""

    def __init__(self, programs: Path) -> None:
        self._programs = programs
        self._folder = Path(tempfile.mkdtemp(prefix="sqxer-postgres-"))
        # The server refuses to run as root.
        self._user = "postgres" if os.getuid() == 0 else pwd.getpwuid(os.getuid()).pw_name
        if os.getuid() == 0:
            shutil.chown(self._folder, self._user)
        self._as_user(
            str(programs / "initdb"),
            *("-D", str(self._data), "-A", "trust", "-U", "postgres", "-E", "UTF8"),
            *("--locale=C.UTF-8", "--no-sync"),
        )
        options = f"-k {self._folder} -c listen_addresses= -c fsync=off -c timezone=UTC"
        self._as_user(
            str(programs / "pg_ctl"),
            *("-D", str(self._data), "-l", str(self._folder / "log"), "-w", "-o", options, "start"),
        )

    @property
    def _data(self) -> Path:
        return self._folder / "data"

    def _as_user(self, *command: str) -> None:
        user = ["runuser", "-u", self._user, "--"] if os.getuid() == 0 else []
        subprocess.run([*user, *command], check=True, capture_output=True, cwd=self._folder)

    def stop(self) -> None:
        """Ends the server and takes its folder away."""
        self._as_user(str(self._programs / "pg_ctl"), "-D", str(self._data), "-m", "fast", "stop")
        for _ in range(20):
            shutil.rmtree(self._folder, ignore_errors=True)
            if not self._folder.exists():
                return
            time.sleep(0.1)

    def run(self, statements: list[str]) -> list[Outcome]:
        """The outcome of each statement, in one session."""
        mark = "@@@statement"
        script = [f"\\pset null {NULL}", "SET datestyle = ISO", "\\g"]
        for statement in statements:
            script += [f"\\echo {mark}", statement, "\\g", f"\\echo {mark} :SQLSTATE"]
        done = subprocess.run(
            ["psql", "-X", "-q", "--csv", "-t", "-h", str(self._folder), "-U", "postgres"],
            input="\n".join(script) + "\n",
            capture_output=True,
            text=True,
            check=True,
        )
        outcomes: list[Outcome] = []
        lines: list[str] = []
        for line in done.stdout.splitlines(keepends=True):
            if not line.startswith(mark):
                lines.append(line)
                continue
            condition = line[len(mark) :].strip()
            if condition:
                rows = [
                    # A line of one empty text is empty.
                    [None if value == NULL else value for value in row or [""]]
                    for row in csv.reader(io.StringIO("".join(lines)))
                ]
                failed = "" if condition == "00000" else condition
                outcomes.append(Outcome([] if failed else rows, failed))
            lines = []
        return outcomes
