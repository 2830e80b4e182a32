"""The engines that run in a Python process, each in a process of its own. A module has `load` for
the suite, and `open_engine` for questions about a file.
"""

import importlib
from typing import cast

from driver.peers.engine import Columns, FileEngine, LoadedEngine


def load(name: str, folder: str, columns: Columns) -> LoadedEngine:
    """Only the one engine is imported."""
    module = importlib.import_module(f"driver.peers.{name}")
    return cast("LoadedEngine", module.load(folder, columns))


def open_engine(name: str, threads: int) -> FileEngine:
    module = importlib.import_module(f"driver.peers.{name}")
    return cast("FileEngine", module.open_engine(threads))
