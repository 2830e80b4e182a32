"""What is counted of a line's instances."""

from collections.abc import Sequence
from typing import Any

import counters
import pytest


@pytest.mark.parametrize(
    ("instances", "expected"),
    [
        ([], []),
        ([[]], []),
        ([[1, 0], [0, 2]], [1, 2]),
        ([[1, 0], [3, 0], []], [4, 0]),
        # An instance in which a constant decides a part of the condition.
        ([[5, 5], [1, 0, 0, 1]], [1, 0, 0, 1]),
    ],
)
def test_instances_are_merged(instances: Sequence[Sequence[int]], expected: list[int]) -> None:
    assert counters.merged(instances) == expected


def arcs(*taken: int) -> list[dict[str, Any]]:
    return [{"count": n, "throw": False} for n in taken]


CALL = [{"count": 3, "throw": False}, {"count": 0, "throw": True}]


def test_a_call_is_no_decision() -> None:
    assert counters.decisions(CALL) == []
    assert counters.decisions(CALL + arcs(5, 0) + CALL + arcs(1, 2, 0)) == [5, 0, 1, 2, 0]


def line(number: int, count: int, *taken: int) -> dict[str, Any]:
    return {"line_number": number, "count": count, "branches": arcs(*taken)}


def entry(*lines: dict[str, Any]) -> dict[str, Any]:
    functions = [{"start_line": 1, "end_line": 5, "execution_count": n} for n in (0, 4)]
    return {"lines": lines, "functions": functions}


def test_a_source_is_that_of_all_objects() -> None:
    texts = ["int f()", "  return a && b;", "  } // b", "  } else {", "  } else if (a) {"]
    source = counters.source_of(
        [entry(line(2, 0), line(2, 7, 7, 0)), entry(*(line(n, 1, 0, 1) for n in range(2, 6)))],
        texts,
    )
    assert source.lines == {
        2: counters.Line(8, [7, 1]),
        3: counters.Line(1, []),
        4: counters.Line(1, []),
        5: counters.Line(1, [0, 1]),
    }
    assert source.functions == {1: 8}


def test_lambdas_that_gcov_cuts_off_are_taken_apart() -> None:
    texts = ["  f([](auto x) {", "    if (x) {", "      g();", "    }", "  });", "if (y)"]
    short = [{"start_line": 1, "end_line": 1}] * 3
    assert counters.instances_inside(short, texts) == {2: 3, 3: 3, 4: 3}
    assert counters.instances_inside([{"start_line": 1, "end_line": 5}], texts) == {}
    assert counters.instances_inside([{"start_line": 6, "end_line": 6}], texts) == {}
    assert counters.parted([1, 0, 0, 2, 0, 0], 3) == [[1, 0], [0, 2], [0, 0]]
    assert counters.parted([1, 0, 0], 2) == [[1, 0, 0]]
    assert counters.parted([], 2) == [[]]
