"""The list of explained survivors, and what is printed of a run."""

from collections import Counter
from collections.abc import Mapping, Sequence
from pathlib import Path

from mutants.sites import AREAS, Site, area_of
from mutants.trials import Outcome

#: Percent of the changes that have no explanation.
LEAST_KILLED = 95.0


def read_explained(text: str) -> dict[str, str]:
    """The reason for each name: a line with a name, and its reason indented behind it."""
    reasons: dict[str, str] = {}
    name = ""
    for line in text.splitlines():
        if line.startswith("#"):
            continue
        if not line.strip():
            if name:
                raise ValueError(f"without a reason: {name}")
        elif not line.startswith(" "):
            if name or line in reasons:
                raise ValueError(f"twice, or without a reason: {name or line}")
            name = line
        elif name:
            reasons[name] = line.strip()
            name = ""
        else:
            raise ValueError(f"a reason of nothing: {line.strip()}")
    if name:
        raise ValueError(f"without a reason: {name}")
    return reasons


def load_explained(path: Path) -> dict[str, str]:
    return read_explained(path.read_text())


def report(
    numbered: Sequence[tuple[int, Site]],
    outcomes: Mapping[int, Outcome],
    explained: Mapping[str, str],
) -> tuple[str, bool]:
    """What is printed, and whether enough was killed."""
    lines = []
    counts = {area.name: Counter[str]() for area in AREAS}
    for number, site in numbered:
        fate = outcomes[number].fate
        is_explained = site.name in explained
        if is_explained and fate == "killed":
            lines.append(f"no longer needed: {site.name}")
        elif is_explained:
            fate = "explained"
        elif fate != "killed":
            lines.append(f"{fate}: {site.file}:{site.line}\n    {site.name}")
        counts[area_of(site.file) or ""][fate] += 1
    lines.append("")
    total = sum(counts.values(), Counter[str]())
    columns = ("killed", "survived", "unreached", "explained")
    lines.append(f"{'':12} changes" + "".join(f"{each:>11}" for each in columns) + "  killed")
    for name, count in [*counts.items(), ("all", total)]:
        if count:
            figures = "".join(f"{count[each]:11}" for each in columns)
            lines.append(f"{name:12} {count.total():7}{figures}  {percent(count):5.1f} %")
    return "\n".join(lines), percent(total) >= LEAST_KILLED


def percent(count: Counter[str]) -> float:
    """The killed ones of a hundred that have no explanation."""
    unexplained = count.total() - count["explained"]
    return 100.0 * count["killed"] / unexplained if unexplained else 100.0
