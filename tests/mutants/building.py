"""A copy of the sources, and its build."""

import re
import shutil
import subprocess
from collections import defaultdict
from collections.abc import Sequence
from pathlib import Path

from mutants.sites import Site, rewrite

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent
FOLDER = ROOT / "build" / "mutants"
SOURCE = FOLDER / "source"
BUILD = FOLDER / "build"
#: Each change with its number, and those that do not compile.
NUMBERS = FOLDER / "numbers.json"
LIBRARY = "libsqxer_mutants.so"

#: Lengths that the standard library checks end a program that a change lets leave them.
FLAGS = "-O1 -DNDEBUG -D_GLIBCXX_ASSERTIONS"
#: As the project's own, `file:line:column: error:`, and where an error in another file comes from.
PLACE = re.compile(r"^(?:In file included from )?(/[^:\n]+):(\d+):")


def list_sources() -> list[str]:
    """The files of the project, those that are new too."""
    listed = subprocess.run(
        ["git", "ls-files", "--cached", "--others", "--exclude-standard"],
        cwd=ROOT,
        check=True,
        capture_output=True,
        text=True,
    )
    return [name for name in listed.stdout.splitlines() if (ROOT / name).is_file()]


def write_copy(numbered: Sequence[tuple[int, Site]]) -> None:
    """The copy, with a switch at each site. Files that stay as they are keep their time."""
    by_file: defaultdict[str, list[tuple[int, Site]]] = defaultdict(list)
    for number, site in numbered:
        by_file[site.file].append((number, site))
    names = set(list_sources())
    for name in names:
        text = (ROOT / name).read_bytes()
        if name in by_file:
            include = f'#include "{HERE / "MutantSwitch.h"}"\n'.encode()
            text = include + rewrite(text, by_file[name])
        target = SOURCE / name
        if not target.exists() or target.read_bytes() != text:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(text)
            shutil.copymode(ROOT / name, target)
    for path in sorted(SOURCE.rglob("*"), reverse=True):
        if path.is_file() and str(path.relative_to(SOURCE)) not in names:
            path.unlink()


def configure() -> Path:
    """Prepares the build, and gives the file of its compile commands."""
    BUILD.mkdir(parents=True, exist_ok=True)
    library = BUILD / "lib" / LIBRARY
    library.parent.mkdir(exist_ok=True)
    switch = [str(HERE / "MutantSwitch.cpp"), "-o", str(library)]
    subprocess.run(["clang++-16", "-std=c++20", "-O1", "-fPIC", "-shared", *switch], check=True)
    subprocess.run(
        [
            *("cmake", "-G", "Ninja", "-S", str(SOURCE), "-B", str(BUILD)),
            "-DCMAKE_BUILD_TYPE=Release",
            "-DCMAKE_C_COMPILER=clang-16",
            "-DCMAKE_CXX_COMPILER=clang++-16",
            f"-DCMAKE_CXX_FLAGS_RELEASE={FLAGS}",
            f"-DCMAKE_CXX_STANDARD_LIBRARIES={library} -Wl,-rpath,{library.parent}",
            "-DSQXER_WERROR=OFF",
            "-DSQXER_HARDEN=OFF",
        ],
        check=True,
        stdout=subprocess.DEVNULL,
    )
    return BUILD / "compile_commands.json"


def failed_numbers(output: str, numbered: Sequence[tuple[int, Site]]) -> set[int]:
    """The numbers of the changes on the lines that a compiler's errors speak of. Of an error in a
    file without changes: of the first line behind it that has one.
    """
    by_line: defaultdict[tuple[str, int], set[int]] = defaultdict(set)
    for number, site in numbered:
        # Behind the line of the include.
        for at in range(site.line + 1, site.line + 2 + site.original.count("\n")):
            by_line[str(SOURCE / site.file), at].add(number)
    failed: set[int] = set()
    is_open = False
    for line in output.splitlines():
        place = PLACE.match(line)
        if place is None:
            continue
        here = by_line.get((place[1], int(place[2])), set())
        if " error: " in line:
            failed |= here
            is_open = not here
        elif line.startswith("In file included"):
            is_open = False
        elif is_open and here:
            failed |= here
            is_open = False
    return failed


def build(numbered: Sequence[tuple[int, Site]], programs: Sequence[str], jobs: int) -> set[int]:
    """Builds the programs, and gives the numbers of the changes that do not compile. They are no
    longer in the copy.
    """
    failed: set[int] = set()
    for _ in range(20):
        left = [each for each in numbered if each[0] not in failed]
        write_copy(left)
        ninja = ["ninja", "-C", str(BUILD), "-k", "0", "-j", str(jobs), *programs]
        run = subprocess.run(ninja, check=False, capture_output=True, text=True)
        if run.returncode == 0:
            return failed
        (FOLDER / "errors.txt").write_text(run.stdout + run.stderr)
        more = failed_numbers(run.stdout, left) - failed
        if not more:
            raise RuntimeError(f"the copy does not compile, see {FOLDER / 'errors.txt'}")
        print(f"mutants: {len(more)} of the changes do not compile", flush=True)
        failed |= more
    raise RuntimeError("changes that do not compile remain")
