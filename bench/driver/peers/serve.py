"""The program of a peer: the same job as `sqxer_suite ENGINE FOLDER RUNS SECONDS`, told by
`python -m driver.peers.serve ENGINE FOLDER RUNS SECONDS COLUMNS`, where COLUMNS is what
`sqxer_suite columns` prints. The queries are lines of standard input, the answers lines of JSON.
"""

import json
import resource
import sys
import time

from driver.peers import load
from driver.peers.engine import Job, LoadedEngine, Report


def processor_time() -> int:
    """The processor time of this process, all its threads, in nanoseconds."""
    usage = resource.getrusage(resource.RUSAGE_SELF)
    return round((usage.ru_utime + usage.ru_stime) * 1e9)


def measure(engine: LoadedEngine, job: Job, runs: int, seconds: float) -> dict[str, object]:
    times: list[int] = []
    report: Report | None = None
    processor = processor_time()
    while len(times) < runs and not (times and times[0] > seconds * 1e9):
        # What the last run left behind is given back outside the clock.
        report = None
        start = time.perf_counter_ns()
        report = engine.run(job)
        times.append(time.perf_counter_ns() - start)
    spent = processor_time() - processor
    return {"name": job.name, "ns": times, "cpu_ns": spent, "rows": report() if report else []}


def main() -> None:
    name, folder, runs, seconds, columns = sys.argv[1:]
    engine = load(name, folder, json.loads(columns))
    print(json.dumps({"version": engine.version}), flush=True)
    for line in sys.stdin:
        job = Job(*line.rstrip("\n").split("\t"))
        try:
            answer = measure(engine, job, int(runs), float(seconds))
        except Exception as error:  # whatever the engine refuses it with is its answer
            answer = {"name": job.name, "error": str(error).partition("\n")[0]}
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    main()
