"""What a change is, how it is named and written, and which changes are chosen."""

import hashlib
import re
from collections import defaultdict
from collections.abc import Iterable, Mapping, Sequence
from dataclasses import dataclass
from fnmatch import fnmatch
from itertools import count

SWITCH = "::sqxer_mutants::On"

#: What each operator becomes.
RELATIONAL = {
    "<": ("<=", ">"),
    "<=": ("<", ">"),
    ">": (">=", "<"),
    ">=": (">", "<"),
    "==": ("!=",),
    "!=": ("==",),
}
ARITHMETIC = {
    "+": ("-",),
    "-": ("+",),
    "*": ("/",),
    "/": ("*",),
    "%": ("*",),
    "<<": (">>",),
    ">>": ("<<",),
    "&": ("|",),
    "|": ("&",),
    "^": ("&",),
}
LOGICAL = {"&&": ("||",), "||": ("&&",)}
ASSIGNMENT = {"+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "|=": "&=", "&=": "|="}


@dataclass(frozen=True)
class Site:
    """A change: `original`, the bytes from `start` to `end` of a file, becomes `changed`, and a
    statement that is dropped becomes nothing.
    """

    file: str
    function: str
    kind: str
    line: int
    start: int
    end: int
    original: str
    changed: str
    #: The how-many-th of the same text in its function.
    ordinal: int = 1

    @property
    def name(self) -> str:
        """A name that stays when code moves: without the line."""
        again = f" #{self.ordinal}" if self.ordinal > 1 else ""
        return f"{self.file} {self.function}: {self.sentence}{again}"

    @property
    def sentence(self) -> str:
        if self.kind == "drop":
            return f"drop `{shorten(self.original)}`"
        return f"`{shorten(self.original)}` to `{shorten(self.changed)}`"


def one_line(text: str) -> str:
    return re.sub(r"\s*\n\s*", " ", text).strip()


def shorten(text: str, most: int = 100) -> str:
    line = one_line(text)
    return line if len(line) <= most else line[: most - 3] + "..."


def can_be_copied(text: str) -> bool:
    """Whether a text can be written a second time, on one line."""
    return not re.search(r'//|/\*|R"|#|\\\n', text)


def number_repeats(sites: Iterable[Site]) -> list[Site]:
    """The sites in their order, with ordinals, so that each has a name of its own."""
    counts: defaultdict[str, int] = defaultdict(int)
    numbered = []
    for site in sorted(sites, key=lambda each: (each.file, each.start, each.end, each.changed)):
        name = Site(**{**site.__dict__, "ordinal": 1}).name
        counts[name] += 1
        numbered.append(Site(**{**site.__dict__, "ordinal": counts[name]}))
    return numbered


def choose(sites: Iterable[Site], most: int, seed: int) -> list[Site]:
    """At most so many sites, one a line, picked by their names alone: those of a file do not depend
    on what is written in another.
    """

    def lot(site: Site) -> bytes:
        return hashlib.sha256(f"{seed} {site.name}".encode()).digest()

    chosen: list[Site] = []
    lines: set[tuple[str, int]] = set()
    ranges: set[tuple[str, int, int]] = set()
    for site in sorted(sites, key=lot):
        if len(chosen) == most:
            break
        place = (site.file, site.line)
        extent = (site.file, site.start, site.end)
        if place not in lines and extent not in ranges:
            lines.add(place)
            ranges.add(extent)
            chosen.append(site)
    return sorted(chosen, key=lambda each: (each.file, each.start, each.end))


@dataclass(frozen=True)
class Area:
    """Sources that are spoken of together. A file belongs to the first area that matches it."""

    name: str
    patterns: tuple[str, ...]

    def matches(self, file: str) -> bool:
        return any(fnmatch(file, pattern) for pattern in self.patterns)


EXPR = "server/Query/Execution/Expr/Src/SQXER"
UTILITY = "server/Utility/Src/"
ENGINE = "server/Query/Execution/Engine/Src/"
COMPILER = "server/Query/Compiler/Src/"

AREAS = (
    Area("operators", (EXPR + "Ops*",)),
    Area(
        "aggregates",
        (EXPR + "ExprAggregate*", EXPR + "Distinct*", EXPR + "*Variant*", EXPR + "Spilled*"),
    ),
    Area("batches", (EXPR + "Batch*",)),
    Area(
        "binding",
        (
            EXPR + "*Binding*",
            EXPR + "MakeNode*",
            COMPILER + "*Typer*",
            COMPILER + "OperandRules*",
            COMPILER + "Typed*",
            COMPILER + "*Types*",
            COMPILER + "PlanConstant*",
            COMPILER + "TryCasts*",
        ),
    ),
    Area("nodes", (EXPR + "*",)),
    Area("planner", (COMPILER + "*",)),
    Area(
        "sorter",
        (
            *(UTILITY + name for name in ("S*Sort*", "Sort*", "Run*", "Spill*", "Record*", "Key*")),
            *(ENGINE + name for name in ("*Sort*", "KeyWords*", "RowNumbers*")),
        ),
    ),
    Area("values", (UTILITY + "*",)),
    Area("engine", (ENGINE + "*",)),
    Area("readers", ("server/Query/Execution/Tables/Src/*",)),
)


def area_of(file: str) -> str | None:
    if not file.endswith((".h", ".cpp")):
        return None
    return next((area.name for area in AREAS if area.matches(file)), None)


def choose_evenly(sites: Sequence[Site], most: int, seed: int) -> list[Site]:
    """At most so many sites, as many of each area as of another where there are so many."""
    by_area: defaultdict[str, list[Site]] = defaultdict(list)
    for site in sites:
        if area := area_of(site.file):
            by_area[area].append(site)
    chosen: list[Site] = []
    areas = sorted(by_area.values(), key=len)
    for index, each in enumerate(areas):
        chosen += choose(each, (most - len(chosen)) // (len(areas) - index), seed)
    return sorted(chosen, key=lambda each: (each.file, each.start, each.end))


def number_sites(sites: Iterable[Site], before: Mapping[str, int]) -> list[tuple[int, Site]]:
    """The sites with a number each, that of their name before where it had one: what has been
    built with it stays.
    """
    chosen = list(sites)
    free = count(1)
    taken = {before[site.name] for site in chosen if site.name in before}
    return [
        (before[site.name], site)
        if site.name in before
        else (next(number for number in free if number not in taken), site)
        for site in chosen
    ]


def rewrite(text: bytes, numbered: Sequence[tuple[int, Site]]) -> bytes:
    """The text of a file with a switch at each site, its number beside it. Sites are apart or one
    within the other. Lines stay where they are.
    """
    ordered = sorted(numbered, key=lambda pair: (pair[1].start, -pair[1].end))
    out, at = _rewrite_until(text, ordered, 0, 0, len(text))
    assert at == len(ordered)
    return out


def _rewrite_until(
    text: bytes, ordered: Sequence[tuple[int, Site]], at: int, start: int, end: int
) -> tuple[bytes, int]:
    out = b""
    position = start
    while at < len(ordered) and ordered[at][1].start < end:
        number, site = ordered[at]
        inner, at = _rewrite_until(text, ordered, at + 1, site.start, site.end)
        out += text[position : site.start] + _switched(number, site, inner)
        position = site.end
    return out + text[position:end], at


def _switched(number: int, site: Site, inner: bytes) -> bytes:
    switch = f"{SWITCH}({number})".encode()
    if site.kind == "drop":
        return b"if (!" + switch + b") " + inner
    return b"(" + switch + b" ? (" + site.changed.encode() + b") : (" + inner + b"))"
