"""One question about a file, in a process of its own:

    python -m driver.peers.ask ENGINE THREADS JOB

JOB is a FileJob as JSON. Prints a line of JSON: `wall_ns` and `cpu_ns` of the question alone, all
threads counted, `peak_bytes`, the largest resident memory less that before the question, and
`rows`; or the `error`.
"""

import functools
import json
import re
import sys
import time
from contextlib import suppress
from pathlib import Path

from driver.peers import open_engine, sqxer
from driver.peers.engine import FileJob
from driver.peers.serve import processor_time


def _resident(line: str) -> int:
    """Bytes that the kernel tells of this process: VmRSS of now, VmHWM at most."""
    status = Path("/proc/self/status").read_text(encoding="ascii", errors="replace")
    found = re.search(rf"^{line}:\s*(\d+) kB", status, re.MULTILINE)
    if found is None:
        raise RuntimeError(f"/proc/self/status has no {line}")
    return int(found[1]) * 1024


def measure(name: str, threads: int, job: FileJob) -> dict[str, object]:
    engine = open_engine(name, threads)
    # The most so far becomes what is there now; where that is refused, imports hide small peaks.
    with suppress(OSError):
        Path("/proc/self/clear_refs").write_text("5", encoding="ascii")
    before, processor, start = _resident("VmRSS"), processor_time(), time.perf_counter_ns()
    report = engine.answer(job)
    wall, spent = time.perf_counter_ns() - start, processor_time() - processor
    peak = max(_resident("VmHWM") - before, 0)
    return {"wall_ns": wall, "cpu_ns": spent, "peak_bytes": peak, "rows": report()}


def main() -> None:
    name, threads, text = sys.argv[1:]
    job = FileJob(**json.loads(text))
    taken = sqxer.measure if name == "sqxer" else functools.partial(measure, name)
    try:
        answer = taken(int(threads), job)
    except Exception as error:  # whatever the engine refuses it with is its answer
        answer = {"error": str(error).partition("\n")[0]}
    print(json.dumps(answer))


if __name__ == "__main__":
    main()
