"""What the tests run of the sources, by area, from the counters of a build: lines, branches and
functions.

    python branches.py BUILD_FOLDER EXPLAINED.txt [--gaps AREA]

Branches that cannot be taken stand in EXPLAINED.txt, each with its reason. Status 1 where an area
is below its floor, or where an explanation does not fit its line.
"""

import argparse
import sys
from collections import Counter, defaultdict
from collections.abc import Iterable, Mapping, Sequence
from dataclasses import dataclass, field
from fnmatch import fnmatchcase
from pathlib import Path

from counters import Source, sources_of

EXPRESSIONS = "server/Query/Execution/Expr/Src"
UTILITY = "server/Utility/Src"
TABLES = "server/Query/Execution/Tables/Src"
ARROW = "server/Query/Execution/Arrow/Src"


@dataclass(frozen=True)
class Area:
    name: str
    patterns: tuple[str, ...]
    #: The least share of branches, in percent, that are run or explained: it only rises.
    floor: float = 0


def _in(folder: str, *names: str) -> tuple[str, ...]:
    return tuple(f"{folder}/{name}" for name in names)


#: The first one that has a pattern for a file has the file.
AREAS = (
    Area(
        "op structs",
        _in(EXPRESSIONS, "SQXEROps*", "*Format.*", "SQXERTrendlineText.*", "SQXERUtf8Reader.h")
        + _in(EXPRESSIONS, "SQXERTextBytes.h", "SQXERMadeText.h", "SQXERMatrix.*"),
        92,
    ),
    Area(
        "values",
        _in(UTILITY, "Decimal*", "Velmar*", "NumberText*", "*Date*", "Interval*", "TimeZone*")
        + _in(UTILITY, "XeCalendar*", "Like*", "Regular*", "Character*", "JSon*", "TextBlanks.h")
        + _in(UTILITY, "TextDigest*", "TextDecoder*", "Utf16Text.h", "SUDataConvert*")
        + _in("server/include/Utility", "*"),
        91,
    ),
    Area(
        "functions and casts",
        _in(EXPRESSIONS, "SQXERExprFunction*", "SQXERExprCast*")
        + _in(EXPRESSIONS, "SQXERExprTryCast*", "SQXERExprConvert*", "SQXERExprExtract*"),
        78,
    ),
    Area("comparisons", _in(EXPRESSIONS, "*Compare*", "*Logical*", "SQXERExprIn.*", "*Like*"), 82),
    Area("readers of files", _in(TABLES, "*"), 92),
    Area("writer of Arrow", _in(ARROW, "ArrowWriter*", "ArrowFile*")),
    Area("reader of Arrow", _in(ARROW, "*"), 94),
    Area("aggregates", _in(EXPRESSIONS, "*Aggregate*", "*Distinct*", "*Moving*", "*Spilled*")),
    Area("nodes, binding", _in(EXPRESSIONS, "*")),
    Area("platform", _in(UTILITY, "*")),
    Area("plan builder", ("server/Query/Compiler/*", "server/Query/Plan/*")),
    Area("executor", ("server/Query/Execution/Engine/*",)),
    Area("results as text", ("server/Query/Execution/Text/*",)),
    Area("engine's front", ("server/Query/Execution/Front/*", "server/include/Engine/*")),
    Area("command", ("tools/*",)),
)


@dataclass(frozen=True)
class Explanation:
    file: str
    branches: int
    text: str
    reason: str


@dataclass
class Figures:
    """Parts that were run, and all parts."""

    lines: tuple[int, int] = (0, 0)
    branches: tuple[int, int] = (0, 0)
    functions: tuple[int, int] = (0, 0)
    explained: int = 0

    def add(self, source: Source, explained: int) -> None:
        lines = source.lines.values()
        self.lines = _plus(self.lines, (line.count > 0 for line in lines))
        self.branches = _plus(
            self.branches, (count > 0 for line in lines for count in line.branches)
        )
        self.functions = _plus(self.functions, (count > 0 for count in source.functions.values()))
        self.explained += explained

    @property
    def share(self) -> float:
        """The percentage of branches that are run or explained."""
        run, all_branches = self.branches
        return 100 * (run + self.explained) / all_branches if all_branches else 100


def _plus(so_far: tuple[int, int], parts: Iterable[bool]) -> tuple[int, int]:
    found = Counter(parts)
    return so_far[0] + found[True], so_far[1] + found[True] + found[False]


def explanations_of(text: str) -> list[Explanation]:
    """The blocks of EXPLAINED.txt: file and number of branches, the line's text, the reason."""
    found = []
    for block in text.split("\n\n"):
        rows = [row.strip() for row in block.splitlines() if row and not row.startswith("#")]
        if not rows:
            continue
        head = rows[0].rsplit(" ", 1)
        if len(rows) < 3 or len(head) != 2 or not head[1].isdecimal():
            raise ValueError(f"no file and number, text and reason: {rows[0]}")
        found.append(Explanation(head[0], int(head[1]), rows[1], " ".join(rows[2:])))
    return found


def explained_branches(explanation: Explanation, source: Source, texts: Sequence[str]) -> int:
    """How many branches that were not taken the lines of this text have."""
    return sum(
        line.missed
        for number, line in source.lines.items()
        if texts[number - 1].strip() == explanation.text
    )


def area_of(file: str) -> Area | None:
    for area in AREAS:
        if any(fnmatchcase(file, pattern) for pattern in area.patterns):
            return area
    return None


@dataclass
class Findings:
    """What the explanations come to."""

    #: Files, and the texts of lines in them that are explained.
    known: dict[str, set[str]] = field(default_factory=lambda: defaultdict(set))
    #: Files, and how many of their branches are explained.
    branches: Counter[str] = field(default_factory=Counter)
    #: The explanations that do not fit.
    wrong: list[str] = field(default_factory=list)

    def explain(
        self,
        explanation: Explanation,
        sources: Mapping[str, Source],
        texts: Mapping[str, Sequence[str]],
    ) -> None:
        file = explanation.file
        missed = (
            explained_branches(explanation, sources[file], texts[file]) if file in sources else 0
        )
        if missed != explanation.branches:
            self.wrong.append(
                f"{file}: {explanation.text}\n"
                f"    {missed} branches are not taken, {explanation.branches} are explained"
            )
        self.known[file].add(explanation.text)
        self.branches[file] += missed

    def figures(self, sources: Mapping[str, Source]) -> dict[str, Figures]:
        """Of each area."""
        found = {area.name: Figures() for area in AREAS}
        for file, source in sources.items():
            area = area_of(file)
            if area is not None:
                found[area.name].add(source, self.branches[file])
        return found


def below(figures: Mapping[str, Figures]) -> list[str]:
    """The areas that are below their floors."""
    return [
        f"{area.name}: {figures[area.name].share:.2f} % of the branches, not {area.floor}"
        for area in AREAS
        if figures[area.name].share < area.floor
    ]


def table(figures: Mapping[str, Figures]) -> str:
    """A table of the areas, in Markdown."""

    def cell(run: int, parts: int) -> str:
        return f"{100 * run / parts:.1f} % of {parts}" if parts else "-"

    rows = ["| area | lines | branches | explained | functions |", "|---|---:|---:|---:|---:|"]
    rows += [
        f"| {name} | {cell(*found.lines)} | {cell(*found.branches)} | {found.explained} "
        f"| {cell(*found.functions)} |"
        for name, found in figures.items()
    ]
    return "\n".join(rows)


def gaps(file: str, source: Source, texts: Sequence[str], known: set[str]) -> list[str]:
    """The lines that were not run, and those with branches not taken that nothing explains."""
    found = []
    for number, line in source.lines.items():
        text = texts[number - 1].strip()
        if line.missed and text not in known:
            taken = "".join("+" if count else "-" for count in line.branches)
            found.append(f"{file}:{number}: [{taken}] {text}")
        elif not line.count:
            found.append(f"{file}:{number}: not run: {text}")
    return found


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("build", type=Path)
    parser.add_argument("explained", type=Path)
    parser.add_argument("--root", type=Path, default=Path())
    parser.add_argument("--gaps", metavar="AREA", help="what the tests leave out of it, or a file")
    arguments = parser.parse_args()

    files = (
        path for folder in ("server", "tools") for path in arguments.root.rglob(f"{folder}/**/*.*")
    )
    texts = {
        str(path.relative_to(arguments.root)): path.read_text().splitlines()
        for path in files
        if path.suffix in {".h", ".cpp", ".c"}
    }
    sources = sources_of(arguments.build, texts)
    explanations = explanations_of(arguments.explained.read_text())
    found = Findings()
    for explanation in explanations:
        found.explain(explanation, sources, texts)
    print(table(found.figures(sources)))
    for file, source in sources.items():
        area = area_of(file)
        if arguments.gaps in (file, area and area.name):
            print("\n".join(gaps(file, source, texts[file], found.known[file])))
    wrong = found.wrong + below(found.figures(sources))
    print("\n".join(wrong), file=sys.stderr)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
