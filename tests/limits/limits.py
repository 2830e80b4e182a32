"""Runs every kind of query under a few limits of memory, and checks what the limit promises: the
process takes no more than it and 64 MiB, and the result is that of a run without a limit, or there
is the one error that says what was too large.

    python3 limits.py --sqxer build/release/bin/sqxer [--rows N] [--limits MIB,MIB] [KIND...]

Prints a line for each query: what was given, what was taken, how it ended. Status 1 where a promise
was broken.
"""

import argparse
import hashlib
import os
import re
import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

MIB = 1 << 20
#: What a process takes besides: its libraries, stacks, and blocks too small to count.
BESIDE = 64
#: Of memory, and of temporary files.
FIRST_ERROR, LAST_ERROR = 57174, 57183

#: How the table is made: a few groups, many groups, numbers and texts in no order.
TABLE = """
SELECT i AS id,
       MOD(n * 7919, 100) AS few,
       MOD(n * 104729, {many}) AS many,
       MOD(n * 15485863, 1000003) / 8.0 AS x,
       CONCAT('text ', MOD(n * 32452843, {texts})) AS s,
       DATE '2000-01-01' + CAST(i % 9000 AS INTEGER) AS d
FROM (SELECT i, CAST(i AS NUMERIC) AS n FROM GENERATE_SERIES(1, {rows}) AS series(i)) AS numbers
"""


@dataclass(frozen=True)
class Kind:
    """A kind of query. `spills`: it has a result under every limit."""

    name: str
    sql: str
    spills: bool = False
    options: tuple[str, ...] = ()


KINDS = (
    Kind(
        "filter", "SELECT COUNT(*), SUM(x) FROM big WHERE s LIKE '%77%' AND few < 50", spills=True
    ),
    Kind("rows", "SELECT id, s, x * 2 FROM big WHERE few < 90", spills=True),
    Kind(
        "rows as a table",
        "SELECT id, s FROM big WHERE few < 20",
        True,
        ("-o", "table", "--rows", "all"),
    ),
    Kind("few groups", "SELECT few, COUNT(*), MIN(s), MAX(x) FROM big GROUP BY few", spills=True),
    Kind(
        "many groups", "SELECT many, COUNT(*), SUM(id), MAX(d) FROM big GROUP BY many", spills=True
    ),
    Kind("groups of texts", "SELECT s, COUNT(*), SUM(x) FROM big GROUP BY s", spills=True),
    Kind(
        "groups sorted",
        "SELECT many, COUNT(*) AS n FROM big GROUP BY many ORDER BY n, many",
        spills=True,
    ),
    Kind(
        "grouping sets",
        "SELECT few, many, COUNT(*) FROM big GROUP BY ROLLUP(few, many)",
        spills=True,
    ),
    Kind("DISTINCT", "SELECT DISTINCT few, s FROM big", spills=True),
    Kind("COUNT(DISTINCT)", "SELECT COUNT(DISTINCT id), COUNT(DISTINCT s) FROM big", spills=True),
    Kind(
        "COUNT(DISTINCT) of groups",
        "SELECT few, COUNT(DISTINCT s) FROM big GROUP BY few",
        spills=True,
    ),
    Kind(
        "MEDIAN",
        "SELECT MEDIAN(x), PERCENTILE_CONT(0.9) WITHIN GROUP (ORDER BY x), COUNT(*) FROM big",
        spills=True,
    ),
    Kind(
        "MEDIAN of groups", "SELECT few, MEDIAN(x), MEDIAN(id) FROM big GROUP BY few", spills=True
    ),
    Kind(
        "MEDIAN of one group",
        "SELECT few < 1000, MEDIAN(x) FROM big GROUP BY few < 1000",
        spills=True,
    ),
    Kind(
        "MODE", "SELECT few, MODE() WITHIN GROUP (ORDER BY many) FROM big GROUP BY few", spills=True
    ),
    Kind(
        "STRING_AGG",
        "SELECT many, STRING_AGG(s, ',' ORDER BY id) FROM big GROUP BY many",
        spills=True,
    ),
    Kind("STRING_AGG unsorted", "SELECT many, STRING_AGG(s, ',') FROM big GROUP BY many"),
    Kind("HISTOGRAM", "SELECT HISTOGRAM(few) FROM big", spills=True),
    Kind(
        "approximate",
        "SELECT few, APPROX_COUNT_DISTINCT(s), APPROX_QUANTILE(x, 0.5) FROM big GROUP BY few",
    ),
    Kind("ORDER BY a number", "SELECT id, x FROM big ORDER BY x, id", spills=True),
    Kind("ORDER BY a text", "SELECT id, s FROM big ORDER BY s DESC, id", spills=True),
    Kind(
        "ORDER BY with LIMIT",
        "SELECT id, x, s FROM big ORDER BY x DESC, id LIMIT 1000",
        spills=True,
    ),
    Kind("window of totals", "SELECT id, SUM(x) OVER (PARTITION BY few ORDER BY id) AS t FROM big"),
    Kind("window of ranks", "SELECT id, RANK() OVER (ORDER BY x) AS r FROM big"),
    Kind(
        "window of partitions",
        "SELECT id, LAG(x) OVER (PARTITION BY many ORDER BY id) AS l, "
        "AVG(x) OVER (PARTITION BY many) FROM big",
    ),
    Kind("window of medians", "SELECT id, MEDIAN(x) OVER (PARTITION BY few) AS m FROM big"),
    Kind("tiles", "SELECT id, NTILE(10) OVER (ORDER BY id) AS t FROM big"),
    Kind("shares", "SELECT id, PERCENT_RANK() OVER (PARTITION BY few ORDER BY x) AS p FROM big"),
    Kind(
        "moving frames",
        "SELECT id, AVG(x) OVER (ORDER BY id ROWS BETWEEN 100 PRECEDING AND CURRENT ROW) AS a, "
        "MEDIAN(x) OVER (ORDER BY id ROWS BETWEEN 1000 PRECEDING AND CURRENT ROW) AS m FROM big",
    ),
    Kind("DISTINCT ON", "SELECT DISTINCT ON (few) few, id, s FROM big ORDER BY few, id DESC"),
    Kind("INTERSECT", "SELECT many FROM big INTERSECT SELECT id FROM big"),
    Kind(
        "EXISTS",
        "SELECT COUNT(*) FROM big a WHERE EXISTS (SELECT 1 FROM big b WHERE b.many = a.id)",
    ),
    Kind(
        "series",
        "SELECT COUNT(*), SUM(i) FROM GENERATE_SERIES(1, 20000000) AS g(i) WHERE i % 3 = 0",
    ),
    Kind(
        "statistics",
        "SELECT many, STDDEV(x), CORR(id, x), REGR_SLOPE(id, x) FROM big GROUP BY many",
        spills=True,
    ),
    Kind("SUMMARIZE", "SUMMARIZE SELECT id, x, s FROM big"),
    Kind(
        "lists of all",
        "SELECT few, STRING_AGG(DISTINCT s, ',') FROM big WHERE many < 1000 GROUP BY few",
    ),
    Kind(
        "join by number",
        "SELECT COUNT(*), SUM(a.x - b.x) FROM big AS a JOIN big AS b ON a.id = b.many",
        spills=True,
    ),
    Kind(
        "join by text",
        "SELECT COUNT(*) FROM big AS a JOIN big AS b ON a.s = b.s AND a.id < b.id",
        spills=True,
    ),
    Kind(
        "join that multiplies",
        "SELECT a.s, b.s FROM big AS a JOIN big AS b ON a.few = b.few WHERE a.many < 100",
        spills=True,
    ),
    Kind(
        "star join",
        "SELECT g, COUNT(*), SUM(x) FROM big JOIN (SELECT i AS few, i % 7 AS g "
        "FROM GENERATE_SERIES(0, 99) AS s(i)) AS d USING (few) GROUP BY g ORDER BY g",
        spills=True,
    ),
    Kind(
        "simple subquery",
        "SELECT COUNT(*), SUM(y) FROM (SELECT x * 2 AS y, few FROM big WHERE many > 10) AS s "
        "WHERE few < 50",
        spills=True,
    ),
    Kind("subquery", "SELECT COUNT(*) FROM big WHERE many IN (SELECT id FROM big WHERE few = 3)"),
    Kind(
        "query of WITH",
        "WITH w AS (SELECT id, s, x FROM big WHERE few < 80) "
        "SELECT COUNT(*), MAX(s) FROM w WHERE x > 10",
    ),
    Kind("UNION", "SELECT s FROM big UNION SELECT s FROM big"),
    Kind(
        "CREATE TABLE", "CREATE TABLE kept AS SELECT * FROM big; SELECT COUNT(*), MAX(s) FROM kept"
    ),
    Kind("packed file", "SELECT few, SUM(x), COUNT(*) FROM 'big.csv.gz' GROUP BY few", spills=True),
    Kind("JSON lines", "SELECT few, MAX(s), COUNT(*) FROM 'big.jsonl' GROUP BY few", spills=True),
    Kind("Arrow file", "COPY (SELECT id, s, x FROM big) TO 'out.arrow'"),
)


@dataclass(frozen=True)
class Ended:
    """How a run ended: its peak in bytes, a digest of its output, the code of its error."""

    status: int
    peak: int
    digest: str
    error: int | None
    text: str
    seconds: float


def run(sqxer: Path, folder: Path, sql: str, *options: str) -> Ended:
    started = time.monotonic()
    with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
        # Its own process at once: what a fork of this one takes must not count.
        process = os.posix_spawn(
            sqxer,
            [str(sqxer), "-C", str(folder), "--no-progress", *options, sql],
            {**os.environ, "PWD": str(folder)},
            file_actions=[
                (os.POSIX_SPAWN_DUP2, output.fileno(), 1),
                (os.POSIX_SPAWN_DUP2, errors.fileno(), 2),
            ],
        )
        _, status, usage = os.wait4(process, 0)
        output.seek(0)
        digest = hashlib.file_digest(output, "md5").hexdigest()
        errors.seek(0)
        text = errors.read().decode(errors="replace")
    code = re.search(r"error (\d+)", text)
    return Ended(
        os.waitstatus_to_exitcode(status),
        usage.ru_maxrss * 1024,
        digest,
        int(code.group(1)) if code else None,
        text.strip().splitlines()[0] if text.strip() else "",
        time.monotonic() - started,
    )


def make_tables(sqxer: Path, folder: Path, rows: int) -> None:
    query = TABLE.format(rows=rows, many=rows // 3 + 1, texts=rows // 2 + 1)
    for name in ("big.csv", "big.csv.gz", "big.jsonl"):
        made = run(sqxer, folder, f"COPY ({query}) TO '{folder / name}'")
        if made.status != 0:
            sys.exit(f"{name}: {made.text}")


def judge(kind: Kind, limit: int, ended: Ended, expected: Ended) -> str:
    """What is wrong with a run; nothing when all is right."""
    if ended.peak > (limit + BESIDE) * MIB:
        return "TAKES TOO MUCH"
    if ended.status == 0:
        return "" if ended.digest == expected.digest else "OTHER RESULT"
    if ended.error is None or not FIRST_ERROR <= ended.error <= LAST_ERROR:
        return f"ENDS WITH {ended.status}: {ended.text}"
    return "HAS NO RESULT" if kind.spills else ""


def main() -> int:
    parser = argparse.ArgumentParser(description="Checks what MemoryLimit promises.")
    parser.add_argument("--sqxer", type=Path, default=Path("build/release/bin/sqxer"))
    parser.add_argument("--rows", type=int, default=10_000_000)
    parser.add_argument("--limits", default="64,256,1024", help="MiB, with commas between them")
    parser.add_argument("kinds", nargs="*", help="only these kinds")
    options = parser.parse_args()
    sqxer = options.sqxer.resolve()
    limits = [int(limit) for limit in options.limits.split(",")]
    kinds = [kind for kind in KINDS if not options.kinds or kind.name in options.kinds]
    failures = 0
    print(f"{options.rows} rows; MiB\n{'query':28}{'limit':>8}{'peak':>8}{'s':>8}  ended")
    with tempfile.TemporaryDirectory() as path:
        folder = Path(path)
        make_tables(sqxer, folder, options.rows)
        os.chdir(folder)
        for kind in kinds:
            free = run(sqxer, folder, kind.sql, "--set", "MemoryLimit=100%", *kind.options)
            print(
                f"{kind.name:28}{'none':>8}{free.peak // MIB:>8}{free.seconds:>8.1f}  {free.text}"
            )
            for limit in limits:
                given = (*kind.options, "--set", f"MemoryLimit={limit}MiB")
                ended = run(sqxer, folder, kind.sql, *given)
                wrong = judge(kind, limit, ended, free)
                failures += bool(wrong)
                how = "result" if ended.status == 0 else f"error {ended.error}"
                peak = ended.peak // MIB
                print(f"{'':28}{limit:>8}{peak:>8}{ended.seconds:>8.1f}  {how} {wrong}", flush=True)
    print(f"{failures} broken promises")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
