"""Changes the sources in small ways, one at a time, and tells which changes no test notices.

    python -m mutants [--most N] [--seed N] [--files PATTERN] [--again]

Status 1 where fewer than 95 % of the changes without an explanation are killed.
"""

import argparse
import hashlib
import json
import os
import sys
from collections.abc import Sequence
from concurrent.futures import ThreadPoolExecutor
from dataclasses import asdict
from fnmatch import fnmatch
from pathlib import Path

from mutants import building, finding
from mutants.report import load_explained, report
from mutants.sites import Site, area_of, choose_evenly, number_sites
from mutants.trials import PROGRAMS, Outcome, Trial, measure, try_change

EXPLAINED = building.HERE / "explained.txt"
OUTCOMES = building.FOLDER / "outcomes.json"


def read_sites(database: Path, jobs: int) -> list[Site]:
    """The sites of all areas. They are kept until a source changes, since to find them takes
    minutes.
    """
    files = [name for name in building.list_sources() if area_of(name)]
    digest = hashlib.sha256((building.HERE / "finding.py").read_bytes())
    for name in files:
        digest.update(name.encode() + (building.ROOT / name).read_bytes())
    kept = building.FOLDER / f"sites-{digest.hexdigest()[:16]}.json"
    if kept.exists():
        return [Site(**each) for each in json.loads(kept.read_text())]
    for old in building.FOLDER.glob("sites-*.json"):
        old.unlink()
    print(f"mutants: reads {len(files)} files", flush=True)
    sites = finding.find_sites(building.ROOT, building.SOURCE, database, files, jobs)
    kept.write_text(json.dumps([asdict(site) for site in sites]))
    return sites


def build_changes(chosen: Sequence[Site], jobs: int) -> list[tuple[int, Site]]:
    """The chosen sites that compile, with their numbers. Those that did not the last time are not
    tried again.
    """
    before: dict[str, int] = {}
    broken: set[str] = set()
    if building.NUMBERS.exists():
        before, listed = json.loads(building.NUMBERS.read_text())
        broken = set(listed)
    numbered = number_sites((site for site in chosen if site.name not in broken), before)
    failed = building.build(numbered, PROGRAMS, jobs)
    broken |= {site.name for number, site in numbered if number in failed}
    numbered = [each for each in numbered if each[0] not in failed]
    names = {site.name: number for number, site in numbered}
    building.NUMBERS.write_text(json.dumps([names, sorted(broken)]))
    return numbered


def try_all(
    numbered: Sequence[tuple[int, Site]], tests: Sequence[Trial], again: bool, jobs: int
) -> dict[int, Outcome]:
    """The outcome of each change; `again`: of those alone that were not killed the last time."""
    before: dict[str, dict[str, object]] = {}
    if again and OUTCOMES.exists():
        before = json.loads(OUTCOMES.read_text())
    outcomes: dict[int, Outcome] = {}
    left = []
    for number, site in numbered:
        known = before.get(site.name)
        if known is not None and known["fate"] == "killed":
            outcomes[number] = Outcome("killed", str(known["by"]))
        else:
            left.append((number, site))

    def attempt(pair: tuple[int, Site]) -> tuple[int, Site, Outcome]:
        return (*pair, try_change(pair[0], area_of(pair[1].file), tests))

    with ThreadPoolExecutor(jobs) as pool:
        for done, (number, site, outcome) in enumerate(pool.map(attempt, left), 1):
            outcomes[number] = outcome
            by = f" by {outcome.by}" if outcome.by else ""
            print(f"[{done}/{len(left)}] {outcome.fate}{by}: {site.name}", flush=True)
    names = dict(numbered)
    OUTCOMES.write_text(
        json.dumps({names[number].name: asdict(each) for number, each in outcomes.items()})
    )
    return outcomes


def main() -> int:
    parser = argparse.ArgumentParser(prog="mutants", description=(__doc__ or "").split("\n")[0])
    parser.add_argument("--most", type=int, default=450, help="how many changes")
    parser.add_argument("--seed", type=int, default=1, help="which of them")
    parser.add_argument("--files", default="*", help="of files of this pattern alone")
    parser.add_argument("--again", action="store_true", help="without those killed the last time")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1)
    options = parser.parse_args()

    building.FOLDER.mkdir(parents=True, exist_ok=True)
    if not building.SOURCE.exists():
        building.write_copy([])
    sites = read_sites(building.configure(), options.jobs)
    sites = [site for site in sites if fnmatch(site.file, options.files)]
    numbered = build_changes(choose_evenly(sites, options.most, options.seed), options.jobs)
    tests = measure(max((number for number, _ in numbered), default=0), options.jobs)
    outcomes = try_all(numbered, tests, options.again, options.jobs)
    text, is_enough = report(numbered, outcomes, load_explained(EXPLAINED))
    print(text)
    return 0 if is_enough else 1


if __name__ == "__main__":
    sys.exit(main())
