"""How changes are named, chosen, written, and reported; none is run."""

from pathlib import Path

import pytest

from mutants.building import SOURCE, failed_numbers
from mutants.report import read_explained, report
from mutants.sites import (
    Site,
    area_of,
    choose,
    choose_evenly,
    number_repeats,
    number_sites,
    rewrite,
)
from mutants.trials import Outcome, Trial, read_list, share

FILE = "server/Utility/Src/Decimal.cpp"


def make_site(text: str, original: str, changed: str, kind: str = "relation") -> Site:
    start = text.index(original)
    line = text[:start].count("\n") + 1
    return Site(FILE, "F", kind, line, start, start + len(original), original, changed)


def test_rewrites_expressions_within_each_other_and_statements() -> None:
    text = "void F() {\n  if (a < b + 1) {\n    G();\n  }\n}\n"
    outer = make_site(text, "a < b + 1", "a <= b + 1")
    inner = make_site(text, "b + 1", "b - 1", "arithmetic")
    dropped = make_site(text, "G()", "", "drop")
    written = rewrite(text.encode(), [(3, dropped), (1, outer), (2, inner)]).decode()
    on = "::sqxer_mutants::On"
    assert written == (
        f"void F() {{\n  if (({on}(1) ? (a <= b + 1) : (a < ({on}(2) ? (b - 1) : (b + 1))))) {{\n"
        f"    if (!{on}(3)) G();\n  }}\n}}\n"
    )


def test_names_hold_no_lines_and_are_told_apart() -> None:
    text = "x = a < b;\ny = a < b;\n"
    first = make_site(text, "a < b", "a <= b")
    second = Site(**{**first.__dict__, "line": 2, "start": 15, "end": 20})
    names = [site.name for site in number_repeats([second, first])]
    assert names == [f"{FILE} F: `a < b` to `a <= b`", f"{FILE} F: `a < b` to `a <= b` #2"]


def test_choice_is_one_a_line_even_and_kept_where_other_files_change() -> None:
    sites = [
        Site(file, "F", "literal", line, 10 * line + at, 10 * line + at + 1, f"{line}{at}", "0")
        for file in (FILE, "server/Query/Execution/Tables/Src/InputFile.cpp")
        for line in range(50)
        for at in (1, 2)
    ]
    chosen = choose_evenly(sites, 40, seed=7)
    assert len(chosen) == 40
    assert len({(site.file, site.line) for site in chosen}) == 40
    of_one = [site for site in chosen if site.file == FILE]
    assert of_one == choose([site for site in sites if site.file == FILE], 20, seed=7)
    assert chosen != choose_evenly(sites, 40, seed=8)


def test_numbers_are_kept() -> None:
    sites = [make_site(text, text, "") for text in ("a", "b", "c", "d")]
    before = {sites[1].name: 1, sites[3].name: 4, "gone": 2}
    assert [number for number, _ in number_sites(sites, before)] == [2, 1, 3, 4]


def test_areas_are_of_sources() -> None:
    assert area_of(FILE) == "values"
    assert area_of("server/Utility/Src/SqrtSorter.cpp") == "sorter"
    assert area_of("server/Utility/Src/CMakeLists.txt") is None
    assert area_of("tools/sqxer/Src/Main.cpp") is None


def test_errors_of_the_compiler_name_changes() -> None:
    text = "\n\nx = a < b;\n\ny = c + d;\nz = e * f;\n"
    numbered = [
        (1, make_site(text, "a < b", "a <= b")),
        (2, make_site(text, "c + d", "c - d")),
        (3, make_site(text, "e * f", "e / f")),
    ]
    path = SOURCE / FILE
    output = (
        f"{path}:4:7: error: no match\n"
        f"/usr/include/c++/12/vector:1:1: error: no type\n{path}:7:3: note: required here\n"
        f"{path}:6:3: note: something else\n"
    )
    assert failed_numbers(output, numbered) == {1, 3}


def test_shares_grow_and_hold_one_program_each() -> None:
    tests = [Trial("a", "slow", "", 3.0, (1,)), Trial("a", "set", "tiny_sort_buffer", 0.1, (1,))]
    tests += [Trial("ab"[each % 2], f"t{each}", "", 0.1, (1,)) for each in range(8)]
    shares = list(share(tests))
    assert sum(len(group) for group in shares) == len(tests)
    assert all(len({(test.program, test.setting) for test in group}) == 1 for group in shares)
    assert [test.filter for test in shares[-1]] == ["set"]
    assert [test.filter for test in shares[-2]] == ["slow"]


def test_reads_lists_of_tests() -> None:
    listing = "Running main\nOne.\n  A\n  DISABLED_B\nCases/Two.  # TypeParam = int\n  C/0  # 7\n"
    assert read_list(listing) == ["One.A", "Cases/Two.C/0"]


def test_explained_ones_do_not_count_and_are_dropped_once_killed() -> None:
    text = "a < b;\nc + d;\n"
    first = make_site(text, "a < b", "a <= b")
    second = make_site(text, "c + d", "c - d")
    numbered = [(1, first), (2, second)]
    explained = read_explained(f"# why\n\n{first.name}\n  the same either way\n")
    outcomes = {1: Outcome("survived"), 2: Outcome("killed")}
    assert report(numbered, outcomes, explained)[1]
    printed, is_enough = report(numbered, outcomes, {})
    assert not is_enough
    assert first.name in printed
    outcomes[1] = Outcome("killed")
    assert f"no longer needed: {first.name}" in report(numbered, outcomes, explained)[0]


@pytest.mark.parametrize(
    "text", ["a name\n\n  a reason\n", "a name\n", "  a reason\n", "a\n  b\n\na\n  c\n"]
)
def test_lists_without_names_or_reasons_are_refused(text: str) -> None:
    with pytest.raises(ValueError, match="reason"):
        read_explained(text)


def test_the_kept_list_is_read() -> None:
    text = (Path(__file__).parent / "explained.txt").read_text()
    assert all(name.startswith("server/") for name in read_explained(text))
