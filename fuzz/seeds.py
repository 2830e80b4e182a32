#!/usr/bin/env python3
"""fuzz/seeds.py TARGET FOLDER: first inputs of a target of libFuzzer, made of the repository."""

import gzip
import itertools
import re
import sys
from collections.abc import Iterator
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
TESTS = ROOT / "tests" / "sql"
EXAMPLES = ROOT / "examples" / "data"


def test_files() -> Iterator[str]:
    for path in sorted(TESTS.rglob("*.test")):
        yield path.read_text(encoding="utf-8")


def blocks(word: str) -> Iterator[list[str]]:
    """The lines of the blocks of test files that begin with a word, the first one included."""
    for text in test_files():
        for block in text.split("\n\n"):
            lines = [line for line in block.split("\n") if not line.startswith("#")]
            if lines and lines[0].split(" ")[0] == word:
                yield lines


def literals() -> Iterator[str]:
    for text in test_files():
        for literal in re.findall(r"'((?:[^'\n]|'')*)'", text):
            yield literal.replace("''", "'")


def statements() -> Iterator[bytes]:
    for word in ("query", "error"):
        for lines in blocks(word):
            end = lines.index("----") if "----" in lines else len(lines)
            yield "\n".join(lines[1:end]).encode()
    for word in ("lines", "session"):
        for lines in blocks(word):
            for line in lines[1:]:
                yield line.split(" =>")[0].encode()
    for lines in blocks("scalar"):
        for line in lines[1:]:
            yield ("SELECT " + line.split(" => ")[0]).encode()


def tables() -> Iterator[bytes]:
    for lines in blocks("table"):
        header = re.sub(r":[^,]*(\([0-9]+\))?", "", lines[0].split(" ")[-1])
        yield b"\0" + "\n".join([header, *lines[1:], ""]).encode()
    for path in sorted(EXAMPLES.glob("*.csv")):
        yield b"\0" + path.read_bytes()[:3000]


def documents() -> Iterator[bytes]:
    for path in sorted(EXAMPLES.glob("*.jsonl")):
        yield path.read_bytes()[:3000]
    for literal in literals():
        if literal.startswith(("{", "[")):
            yield literal.encode()


def packed() -> Iterator[bytes]:
    for number, table in enumerate(tables()):
        yield bytes([number % 8]) + b"\0\3" + table[1:]
        if number < 20:
            yield b"\0\0\0" + gzip.compress(table[1:])


def json_paths() -> Iterator[bytes]:
    paths = [literal for literal in literals() if literal.startswith("$")] or ["$"]
    for path, document in zip(itertools.cycle(paths), documents(), strict=False):
        for line in document.split(b"\n")[:4]:
            yield path.encode() + b"\n" + line


def patterns() -> Iterator[bytes]:
    marked = [literal for literal in literals() if re.search(r"[%_\\\[(*+?^$|]", literal)]
    others = [literal for literal in literals() if literal]
    for number, (pattern, text) in enumerate(zip(marked, itertools.cycle(others), strict=False)):
        yield bytes([number % 8]) + pattern.encode() + b"\n" + text.encode()


def formats() -> Iterator[bytes]:
    calls = r"TO_(?:CHAR|DATE|TIME|TIMESTAMP|NUMBER)\((.*?), *'((?:[^']|'')*)'"
    for text in test_files():
        for value, form in re.findall(calls, text):
            inner = re.search(r"'([^']*)'", value)
            read = inner.group(1) if inner else value
            for kind in (b"\0", b"\1"):
                yield kind + form.encode() + b"\n" + read.encode()


def decimals() -> Iterator[bytes]:
    numbers = [n for text in test_files() for n in re.findall(r"-?\d+\.?\d*(?:e-?\d+)?", text)]
    for first, second in itertools.pairwise(sorted(set(numbers))):
        yield f"{first}\n{second}\n".encode()


SEEDS = {
    "csv_slicer_fuzz": lambda: (b"\0" + table for table in tables()),
    "csv_table_fuzz": tables,
    "json_lines_fuzz": documents,
    "packed_fuzz": packed,
    "json_path_fuzz": json_paths,
    "pattern_fuzz": patterns,
    "date_format_fuzz": formats,
    "decimal_fuzz": decimals,
    "statement_fuzz": statements,
}


def main() -> None:
    target, folder = sys.argv[1], Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    for number, seed in enumerate(SEEDS.get(target, lambda: iter(()))()):
        (folder / f"seed-{number}").write_bytes(seed[:4096])


if __name__ == "__main__":
    main()
