"""Two engines' results compared, and peers' values as texts."""

import datetime
from decimal import Decimal

import pytest
from driver.answers import Rows, difference, rows_of


@pytest.mark.parametrize(
    ("expected", "actual"),
    [
        ([["1", "a"], ["2", "b"]], [["2", "b"], ["1", "a"]]),
        ([["12.50"]], [["1.25E+1"]]),
        ([["1000000000"]], [["1000000001.9"]]),
        ([["N ", None]], [["N", None]]),
        ([[None, "1"], ["", "2"]], [["", "2"], [None, "1"]]),
        ([], []),
    ],
)
def test_equal(expected: Rows, actual: Rows) -> None:
    assert difference(expected, actual) is None
    assert difference(actual, expected) is None


@pytest.mark.parametrize(
    ("expected", "actual", "found"),
    [
        ([["1"]], [["1"], ["1"]], "2 rows, not 1"),
        ([["1000000000"]], [["1000000003"]], '["1000000003"], not ["1000000000"]'),
        ([["0"]], [[None]], '[null], not ["0"]'),
        ([["0"]], [["1e-300"]], '["1e-300"], not ["0"]'),
        ([[""]], [[None]], '[null], not [""]'),
        ([["a"]], [[" a"]], '[" a"], not ["a"]'),
        ([["1", "2"]], [["1"]], '["1"], not ["1", "2"]'),
        ([["1", "x"], ["2", "y"]], [["2", "x"], ["1", "y"]], '["1", "y"], not ["1", "x"]'),
        ([["nan"]], [["1"]], '["1"], not ["nan"]'),
    ],
)
def test_different(expected: Rows, actual: Rows, found: str) -> None:
    assert difference(expected, actual) == found


def test_values_of_peers_keep_their_digits() -> None:
    values = (1, 0.1 + 0.2, Decimal("1E+3"), datetime.date(1994, 2, 1), "N ", True, None)
    assert rows_of([values]) == [
        ["1", "0.30000000000000004", "1000", "1994-02-01", "N ", "true", None]
    ]
    with pytest.raises(TypeError, match="list is no value of a result"):
        rows_of([[[1]]])
