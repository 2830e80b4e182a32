"""Which explanations hold, and what an area is short of."""

import branches
import pytest
from counters import Line, Source


def test_explanations_are_blocks() -> None:
    text = "# A comment.\n\na/b.cpp 2\n    if (x)\nIt is never\nnull.\n\n\nc.h 1\ny\nz\n"
    assert branches.explanations_of(text) == [
        branches.Explanation("a/b.cpp", 2, "if (x)", "It is never null."),
        branches.Explanation("c.h", 1, "y", "z"),
    ]
    for wrong in ("a.cpp\ntext\nreason", "a.cpp 1\ntext", "a.cpp x\ntext\nreason"):
        with pytest.raises(ValueError, match="no file and number"):
            branches.explanations_of(wrong)


TEXTS = {"server/Utility/Src/Decimal.cpp": ["if (x)", "  if (x)", "if (y)"]}
SOURCES = {
    file: Source({1: Line(1, [1, 0]), 2: Line(0, [0, 0]), 3: Line(1, [1, 1])}, {1: 1})
    for file in TEXTS
}


@pytest.mark.parametrize(
    ("file", "count", "text", "missed"),
    [
        ("server/Utility/Src/Decimal.cpp", 3, "if (x)", 3),
        ("server/Utility/Src/Decimal.cpp", 1, "if (x)", 3),
        ("server/Utility/Src/Decimal.cpp", 1, "if (y)", 0),
        ("server/Utility/Src/Decimal.cpp", 1, "if (z)", 0),
        ("server/Utility/Src/Other.cpp", 1, "if (x)", 0),
    ],
)
def test_an_explanation_fits_as_many_branches_as_it_says(
    file: str, count: int, text: str, missed: int
) -> None:
    found = branches.Findings()
    found.explain(branches.Explanation(file, count, text, "why"), SOURCES, TEXTS)
    assert (found.wrong == []) == (missed == count)
    figures = found.figures(SOURCES)
    assert figures["values"].lines == (2, 3)
    assert figures["values"].branches == (3, 6)
    assert figures["values"].share == 100 * (3 + missed) / 6
    assert bool(branches.below(figures)) == (missed < 3)


def test_gaps_are_the_lines_that_nothing_explains() -> None:
    [(file, source)] = SOURCES.items()
    assert branches.gaps("a", source, TEXTS[file], set()) == [
        "a:1: [+-] if (x)",
        "a:2: [--] if (x)",
    ]
    assert branches.gaps("a", source, TEXTS[file], {"if (x)"}) == ["a:2: not run: if (x)"]


@pytest.mark.parametrize(
    ("file", "area"),
    [
        ("server/Query/Execution/Expr/Src/SQXEROpsCast.h", "op structs"),
        ("server/Query/Execution/Expr/Src/SQXERExprCast.cpp", "functions and casts"),
        ("server/Query/Execution/Expr/Src/SQXERExprAggregateSum.cpp", "aggregates"),
        ("server/Query/Execution/Expr/Src/SQXERBinding.cpp", "nodes, binding"),
        ("server/Utility/Src/Decimal.cpp", "values"),
        ("server/Utility/Src/SortBuffer.cpp", "platform"),
        ("server/Query/Execution/Arrow/Src/ArrowView.cpp", "reader of Arrow"),
        ("server/Query/Execution/Arrow/Src/ArrowWriter.cpp", "writer of Arrow"),
        ("tests/TestMain.cpp", None),
    ],
)
def test_files_have_an_area(file: str, area: str | None) -> None:
    found = branches.area_of(file)
    assert (found.name if found else None) == area
