"""The documents' examples give what they print."""

from __future__ import annotations

import doctest
from pathlib import Path

import pytest

_ROOT = Path(__file__).parents[2]


@pytest.mark.parametrize("name", ["docs/python.md", "README.md"])
def test_examples_of_documents(name: str) -> None:
    """As they stand, from the project's folder."""
    outcome = doctest.testfile(str(_ROOT / name), module_relative=False)
    assert outcome.attempted > 0
    assert outcome.failed == 0
