"""Runs the tests: once as they are, to see which changes each of them reaches, and then with one
change after the other, until one of the tests that reach it fails.
"""

import contextlib
import hashlib
import json
import os
import re
import shutil
import signal
import subprocess
import tempfile
from collections import defaultdict
from collections.abc import Iterator, Mapping, Sequence
from concurrent.futures import ThreadPoolExecutor
from dataclasses import asdict, dataclass
from itertools import repeat
from pathlib import Path
from time import monotonic

from mutants.building import BUILD, FOLDER, NUMBERS, SOURCE

PROGRAMS = (
    "utility_tests",
    "expr_tests",
    "compiler_tests",
    "tables_tests",
    "engine_tests",
    "arrow_tests",
    "corpus_tests",
    "front_tests",
    "command_tests",
    "slt_tests",
)
#: The corpus again, a file of it at a time, as ctest runs it.
SETTINGS = {
    "": {},
    "tiny_sort_buffer": {"RUN_BUFFER_SIZE": "1"},
    "tiny_group_memory": {
        "RUN_BUFFER_SIZE": "1",
        "SQXER_TEST_SET": "GroupMemory=1,JoinMemory=1",
    },
    "tiny_table_memory": {"SQXER_TEST_SET": "TableMemory=1,JoinMemory=1"},
}
#: The areas of what goes to temporary files.
SPILLING = ("aggregates", "sorter", "engine")
#: Tests of what is given within a time, or that take very long.
LEFT_OUT = re.compile(r"^Threads\.|Cancel|Interrupt|Timeout|Time[A-Z]?Limit")
#: Seconds: a test that takes longer is left out, too.
MOST_SECONDS = 15.0
#: How many seconds of tests are given to one process, the first time and then ever more.
FIRST_SHARE = 0.5
#: A change of which a test takes so many times as long as without it has been noticed.
PATIENCE, GRACE = 8.0, 10.0
#: What a process may take: address space, and the size of a file.
LIMITS = ("prlimit", f"--as={12 << 30}", f"--fsize={1 << 30}", "--core=0")


@dataclass(frozen=True)
class Trial:
    """A test, or tests under one filter, of a program."""

    program: str
    filter: str
    setting: str
    seconds: float
    reached: tuple[int, ...]


@dataclass(frozen=True)
class Outcome:
    """What became of a change: `fate` is killed, survived or unreached, `by` the test or crash."""

    fate: str
    by: str = ""
    tests: int = 0


def run_program(
    program: str, tests: str, setting: str, extra: Mapping[str, str], seconds: float
) -> tuple[int | None, str]:
    """The status of a program, None where it took longer than `seconds`, and what it printed."""
    folder = tempfile.mkdtemp(prefix="sqxer-mutants-")
    environment = {**os.environ, **SETTINGS[setting], **extra, "TMPDIR": folder}
    command = [*LIMITS, str(BUILD / "bin" / program), "--gtest_brief=1", "--gtest_fail_fast"]
    try:
        with subprocess.Popen(
            [*command, f"--gtest_filter={tests}"],
            env=environment,
            cwd=folder,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            start_new_session=True,
        ) as process:
            try:
                output = process.communicate(timeout=seconds)[0]
                return process.returncode, output.decode(errors="replace")
            except subprocess.TimeoutExpired:
                return None, ""
            finally:
                # What it started and left, too.
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(process.pid, signal.SIGKILL)
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def read_list(listing: str) -> list[str]:
    """The tests of a program by what --gtest_list_tests prints."""
    names = []
    suite = ""
    for line in listing.splitlines():
        name = line.split("  #")[0].rstrip()
        if line.startswith("  "):
            names.append(suite + name.strip())
        elif name.endswith("."):
            suite = name
    return [name for name in names if not name.startswith("DISABLED") and ".DISABLED_" not in name]


def list_tests() -> Iterator[tuple[str, str, str]]:
    """Program, filter and setting of each test."""
    for program in PROGRAMS:
        listing = subprocess.run(
            [BUILD / "bin" / program, "--gtest_list_tests"],
            check=True,
            capture_output=True,
            text=True,
        ).stdout
        names = [name for name in read_list(listing) if not LEFT_OUT.search(name)]
        for name in names:
            yield program, name, ""
        suites = sorted({name.rsplit(".", 1)[0] for name in names if name.startswith("Corpus.")})
        for setting in SETTINGS:
            if setting:
                for suite in suites:
                    yield program, suite + ".*", setting


def _sign_server() -> bytes:
    digest = hashlib.sha256(NUMBERS.read_bytes())
    for path in sorted((SOURCE / "server").rglob("*")):
        if path.is_file():
            digest.update(path.read_bytes())
    return digest.digest()


def _signature(server: bytes, program: str, tests: str) -> str:
    """Stays while the server, the changes and a test stay; of the corpus it is what a file says."""
    digest = hashlib.sha256(server)
    suite = tests.rsplit(".", 1)[0]
    if suite.startswith("Corpus."):
        digest.update((SOURCE / "tests/sql" / (suite[7:].replace(".", "/") + ".test")).read_bytes())
    elif program != "corpus_tests":
        digest.update((BUILD / "bin" / program).read_bytes())
    return digest.hexdigest()[:16]


def measure(count: int, jobs: int) -> list[Trial]:
    """Every test that passes, with its time and the changes that it reaches. What an earlier run
    measured of the same build holds.
    """
    kept = FOLDER / "tests.json"
    known: dict[str, dict[str, object] | None] = {}
    if kept.exists():
        known = json.loads(kept.read_text())
    signatures: dict[tuple[str, str], str] = {}
    server = _sign_server()

    def name_of(program: str, tests: str, setting: str) -> str:
        suite = tests.rsplit(".", 1)[0]
        place = (program, suite)
        if place not in signatures:
            signatures[place] = _signature(server, program, tests)
        return f"{program} {tests} {setting} {signatures[place]}"

    listed = {name_of(*each): each for each in list_tests()}
    new = {name: each for name, each in listed.items() if name not in known}
    print(f"mutants: {len(listed)} tests, {len(new)} of them are measured", flush=True)
    with ThreadPoolExecutor(jobs) as pool:
        measured = pool.map(_measure_one, new.values(), repeat(count))
        for name, test in zip(new, measured, strict=True):
            known[name] = asdict(test) if test else None
    kept.write_text(json.dumps({name: known[name] for name in listed}))
    tests = []
    for name, (program, filtered, setting) in listed.items():
        record = known[name]
        seconds = record["seconds"] if record else None
        if record is None or not isinstance(seconds, float) or seconds > MOST_SECONDS:
            print(f"mutants: left out: {program} {filtered} {setting}")
            continue
        reached = record["reached"]
        assert isinstance(reached, Sequence)
        tests.append(Trial(program, filtered, setting, seconds, tuple(reached)))
    return tests


def _measure_one(place: tuple[str, str, str], count: int) -> Trial | None:
    program, tests, setting = place
    with tempfile.NamedTemporaryFile(prefix="sqxer-reached-") as file:
        file.write(bytes(count + 1))
        file.flush()
        start = monotonic()
        extra = {"SQXER_MUTANTS_REACHED": file.name}
        status, _ = run_program(program, tests, setting, extra, MOST_SECONDS * 2)
        seconds = monotonic() - start
        if status != 0:
            return None
        reached = Path(file.name).read_bytes()
    return Trial(
        program, tests, setting, seconds, tuple(n for n in range(1, count + 1) if reached[n])
    )


def share(tests: Sequence[Trial]) -> Iterator[list[Trial]]:
    """The tests for one process each, quick ones and those without a setting first, in shares that
    grow.
    """
    left = sorted(tests, key=lambda each: (each.setting != "", each.seconds))
    most = FIRST_SHARE
    at = 0
    while at < len(left):
        by_program: defaultdict[tuple[str, str], list[Trial]] = defaultdict(list)
        total = 0.0
        while at < len(left) and (total == 0 or total + left[at].seconds <= most):
            by_program[left[at].program, left[at].setting].append(left[at])
            total += left[at].seconds
            at += 1
        yield from by_program.values()
        most *= 2


def try_change(number: int, area: str | None, tests: Sequence[Trial]) -> Outcome:
    """What the tests that reach a change say; those under settings of what spills alone."""
    reaching = [
        test
        for test in tests
        if number in test.reached and (test.setting == "" or area in SPILLING)
    ]
    if not reaching:
        return Outcome("unreached")
    for group in share(reaching):
        names = ":".join(test.filter for test in group)
        patience = GRACE + PATIENCE * sum(test.seconds for test in group)
        first = group[0]
        extra = {"SQXER_MUTANT": str(number)}
        status, output = run_program(first.program, names, first.setting, extra, patience)
        if status is None:
            return Outcome("killed", "time", len(reaching))
        if status != 0:
            failed = re.search(r"^\[  FAILED  \] ([^ ,]+)", output, re.MULTILINE)
            by = f"{first.program} {failed[1]}" if failed else f"status {status}"
            return Outcome("killed", by, len(reaching))
    return Outcome("survived", "", len(reaching))
