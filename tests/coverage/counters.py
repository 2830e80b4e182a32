"""What g++'s counters say of our sources: each line, its branches and functions, instances merged.

gcov tells all instances of a template's line by themselves, and every call that can throw as a pair
of branches. Here a line stands once, however often it is instantiated: a branch counts as taken
where any instance takes it; and what the compiler makes for exceptions is no branch.
"""

import json
import os
import re
import subprocess
from collections import Counter, defaultdict
from collections.abc import Iterable, Mapping, Sequence
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

#: Our sources, as the compiler was told to name them.
OURS = re.compile(r"(server|tools)/")
#: What stands on a line that a programmer decides nothing on: destructors run there.
NO_CODE = re.compile(r"[\s{}();,]*((else|default:|try|do)[\s{]*)?(//.*)?")


@dataclass
class Line:
    """A line of a source, its instances merged."""

    count: int = 0
    #: How often each branch was taken.
    branches: list[int] = field(default_factory=list)

    @property
    def missed(self) -> int:
        return self.branches.count(0)


@dataclass
class Source:
    lines: dict[int, Line]
    #: Line of each definition, and how often any instance of it was called.
    functions: dict[int, int]


def decisions(branches: Iterable[Mapping[str, Any]]) -> list[int]:
    """How often the branches of a line's decisions were taken. A call that can throw is none: the
    branch to its handler stands behind the one of its return, and both are left out.
    """
    found: list[int] = []
    for branch in branches:
        if branch["throw"]:
            found.pop()
        else:
            found.append(branch["count"])
    return found


def merged(instances: Iterable[Sequence[int]]) -> list[int]:
    """The branches of a line of all its instances. Instances of which the compiler made equally
    many branches are added up, branch by branch; where constants leave some instances fewer, those
    with the most stand for all.
    """
    shapes: dict[int, list[int]] = {}
    for counts in instances:
        known = shapes.setdefault(len(counts), [0] * len(counts))
        shapes[len(counts)] = [a + b for a, b in zip(known, counts, strict=True)]
    return shapes[max(shapes)] if shapes else []


def _indent(text: str) -> int:
    return len(text) - len(text.lstrip())


def instances_inside(
    functions: Iterable[Mapping[str, Any]], texts: Sequence[str]
) -> dict[int, int]:
    """How many instances stand together in a line. gcov takes a lambda inside of a generic one to
    end where it starts, and then tells the branches of all its instances side by side.
    """
    cut = Counter(
        function["start_line"]
        for function in functions
        if function["end_line"] == function["start_line"]
    )
    found = {}
    for start in sorted(cut):
        text = texts[start - 1]
        if text.count("{") <= text.count("}"):
            continue
        for number in range(start + 1, len(texts) + 1):
            if texts[number - 1].strip() and _indent(texts[number - 1]) <= _indent(text):
                break
            found[number] = cut[start]
    return found


def parted(counts: Sequence[int], instances: int) -> list[Sequence[int]]:
    """The branches of each of some instances side by side; of all of them where they differ."""
    size, rest = divmod(len(counts), instances)
    if rest or not size:
        return [counts]
    return [counts[start : start + size] for start in range(0, len(counts), size)]


def source_of(entries: Iterable[Mapping[str, Any]], texts: Sequence[str]) -> Source:
    """A file as gcov tells it for each object that has code of it."""
    counts: defaultdict[int, int] = defaultdict(int)
    instances: defaultdict[int, list[Sequence[int]]] = defaultdict(list)
    functions: defaultdict[int, int] = defaultdict(int)
    for entry in entries:
        together = instances_inside(entry["functions"], texts)
        for line in entry["lines"]:
            number = line["line_number"]
            counts[number] += line["count"]
            if not NO_CODE.fullmatch(texts[number - 1]):
                taken = decisions(line["branches"])
                instances[number] += parted(taken, together.get(number, 1))
        for function in entry["functions"]:
            functions[function["start_line"]] += function["execution_count"]
    lines = {number: Line(counts[number], merged(instances[number])) for number in sorted(counts)}
    return Source(lines, dict(functions))


def entries_of(notes: Path) -> list[dict[str, Any]]:
    """Our files of one object, by its notes of coverage (.gcno) and the counters beside them."""
    command = ["gcov", "--json-format", "--branch-probabilities", "--stdout", str(notes)]
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise RuntimeError(f"{notes}: {done.stderr.strip()}")
    return [entry for entry in json.loads(done.stdout)["files"] if OURS.match(entry["file"])]


def sources_of(build: Path, texts_of: Mapping[str, Sequence[str]]) -> dict[str, Source]:
    """Our sources by their names, from all objects in a build folder."""
    found: defaultdict[str, list[dict[str, Any]]] = defaultdict(list)
    with ThreadPoolExecutor(os.cpu_count()) as threads:
        for entries in threads.map(entries_of, sorted(build.rglob("*.gcno"))):
            for entry in entries:
                if entry["file"] in texts_of:
                    found[entry["file"]].append(entry)
    return {file: source_of(found[file], texts_of[file]) for file in sorted(found)}
