"""Finds the places of the sources that can be changed, by clang's own reading of them."""

import json
import re
import shlex
import subprocess
from collections.abc import Callable, Iterable, Iterator
from concurrent.futures import ProcessPoolExecutor
from itertools import pairwise
from pathlib import Path

from clang.cindex import Cursor, CursorKind, Index, TranslationUnit, TypeKind

from mutants.sites import (
    ARITHMETIC,
    ASSIGNMENT,
    LOGICAL,
    RELATIONAL,
    Site,
    area_of,
    can_be_copied,
    number_repeats,
    one_line,
)

#: The bindings leave this one out, and fail where they meet it.
CONCEPT_DECL = CursorKind(604)

#: Kinds of which nothing is computed while the program runs.
UNCOMPUTED = {
    CursorKind.STATIC_ASSERT,
    CursorKind.ENUM_DECL,
    CursorKind.TYPE_ALIAS_DECL,
    CursorKind.TYPEDEF_DECL,
    CursorKind.TYPE_ALIAS_TEMPLATE_DECL,
    CONCEPT_DECL,
    CursorKind.CONCEPT_SPECIALIZATION_EXPR,
    CursorKind.REQUIRES_EXPR,
    CursorKind.CXX_UNARY_EXPR,
    CursorKind.CXX_TYPEID_EXPR,
    CursorKind.DECL_REF_EXPR,
    CursorKind.TYPE_REF,
    CursorKind.TEMPLATE_REF,
}
FUNCTIONS = {
    CursorKind.FUNCTION_DECL,
    CursorKind.FUNCTION_TEMPLATE,
    CursorKind.CXX_METHOD,
    CursorKind.CONSTRUCTOR,
    CursorKind.DESTRUCTOR,
    CursorKind.CONVERSION_FUNCTION,
}
#: bool, the integers, char and the floating point numbers, and what a template has yet to say.
NUMBERS = {
    *(kind for kind in TypeKind._kinds if kind is not None and 3 <= kind.value <= 23),
    TypeKind.DEPENDENT,
    TypeKind.UNEXPOSED,
}
MACRO = re.compile(r"[A-Z][A-Z0-9_]+ *\(")
#: Calls without which a program is only slower.
HINTS = ("reserve", "Reserve", "shrink_to_fit", "prefetch", "Prefetch", "notify_one", "notify_all")


class Finder:
    """Collects the sites of files, each file once."""

    def __init__(self, root: Path) -> None:
        self.root = root
        self.texts: dict[str, bytes] = {}
        self.done: set[str] = set()
        self.sites: list[Site] = []

    def read(self, unit: TranslationUnit, wanted: set[str]) -> None:
        """Collects the sites of the wanted files of a translation unit that are not done."""
        files: dict[str, str] = {}
        for cursor in unit.cursor.get_children():
            location = cursor.location.file
            if location is None:
                continue
            file = files.setdefault(location.name, self._relative(location.name))
            if file not in wanted or file in self.done:
                continue
            self._visit(cursor, file, "")
        self.done.update(name for name in files.values() if name in wanted)

    def _relative(self, name: str) -> str:
        path = Path(name).resolve()
        if not path.is_relative_to(self.root):
            return ""
        file = str(path.relative_to(self.root))
        if file not in self.texts:
            self.texts[file] = path.read_bytes()
        return file

    def _text(self, file: str, start: int, end: int) -> str:
        return self.texts[file][start:end].decode(errors="replace")

    def _of(self, cursor: Cursor, file: str) -> str:
        return self._text(file, cursor.extent.start.offset, cursor.extent.end.offset)

    def _add(self, cursor: Cursor, file: str, function: str, kind: str, changed: str) -> None:
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        original = self._text(file, start, end)
        if not function or not original or not can_be_copied(original):
            return
        # Of a macro it is known where it stands, and no more.
        if MACRO.match(original):
            return
        line = cursor.extent.start.line
        self.sites.append(Site(file, function, kind, line, start, end, original, one_line(changed)))

    def _visit(self, cursor: Cursor, file: str, function: str) -> None:
        kind = cursor.kind
        if kind == CursorKind.LAMBDA_EXPR:
            for child in cursor.get_children():
                if child.kind == CursorKind.COMPOUND_STMT:
                    self._visit(child, file, function or "lambda")
            return
        if kind in FUNCTIONS:
            self._visit_function(cursor, file)
            return
        if kind == CursorKind.VAR_DECL:
            self._visit_variable(cursor, file, function)
            return
        if kind in UNCOMPUTED:
            return
        self._find(cursor, file, function)
        for child in self._computed_children(cursor, file):
            self._visit(child, file, function)

    def _visit_function(self, cursor: Cursor, file: str) -> None:
        before = self._text(file, cursor.extent.start.offset, cursor.location.offset)
        if "consteval" in before:
            return
        parent = cursor.semantic_parent
        owner = parent.spelling + "::" if parent is not None and parent.kind in CLASSES else ""
        name = owner + cursor.spelling.split("<")[0]
        for child in cursor.get_children():
            if child.kind == CursorKind.COMPOUND_STMT:
                self._visit(child, file, name)

    def _visit_variable(self, cursor: Cursor, file: str, function: str) -> None:
        start = cursor.extent.start.offset
        is_constant = "constexpr" in self._text(file, start, cursor.location.offset)
        for child in cursor.get_children():
            if not child.kind.is_expression():
                continue
            before = self._text(file, start, child.extent.start.offset).rstrip()
            if before.endswith(("<", ",")):
                continue
            if is_constant or child.kind in LITERALS:
                self._visit_lambdas(child, file, function)
            else:
                self._visit(child, file, function)

    def _visit_lambdas(self, cursor: Cursor, file: str, function: str) -> None:
        if cursor.kind == CursorKind.LAMBDA_EXPR:
            self._visit(cursor, file, function)
            return
        for child in cursor.get_children():
            self._visit_lambdas(child, file, function)

    def _computed_children(self, cursor: Cursor, file: str) -> Iterator[Cursor]:
        children = list(cursor.get_children())
        kind = cursor.kind
        start = cursor.extent.start.offset
        if kind == CursorKind.CALL_EXPR:
            if children and children[0].kind in CALLEES:
                yield children[0]
            yield from _arguments(cursor)
        elif kind == CursorKind.MEMBER_REF_EXPR:
            if children and children[0].kind.is_expression():
                yield children[0]
        elif kind == CursorKind.CASE_STMT:
            yield from children[1:]
        elif kind == CursorKind.IF_STMT and self._is_constexpr_if(cursor, file):
            yield from (each for each in children if each.kind.is_statement())
        elif kind == CursorKind.FIELD_DECL:
            equals = self._of(cursor, file).find("=")
            yield from (
                each
                for each in children
                if equals >= 0 and each.extent.start.offset > start + equals
            )
        else:
            yield from children

    def _is_constexpr_if(self, cursor: Cursor, file: str) -> bool:
        return "constexpr" in self._of(cursor, file).partition("(")[0]

    def _find(self, cursor: Cursor, file: str, function: str) -> None:
        if find := FINDERS.get(cursor.kind):
            find(self, cursor, file, function)

    def _find_unary(self, cursor: Cursor, file: str, function: str) -> None:
        text = self._of(cursor, file)
        plain = text[1:].strip()
        if text.startswith("!") and not text.startswith("!="):
            self._add(cursor, file, function, "unary", f"static_cast<bool>({plain})")
        elif text.startswith("-") and not text.startswith("--"):
            self._add(cursor, file, function, "unary", plain)

    def _find_choice(self, cursor: Cursor, file: str, function: str) -> None:
        condition = next(cursor.get_children(), None)
        if condition is not None:
            for value in ("true", "false"):
                self._add(condition, file, function, "condition", value)

    def _find_truth(self, cursor: Cursor, file: str, function: str) -> None:
        other = {"true": "false", "false": "true"}.get(self._of(cursor, file))
        if other:
            self._add(cursor, file, function, "literal", other)

    def _find_number(self, cursor: Cursor, file: str, function: str) -> None:
        text = self._of(cursor, file)
        if text.isdigit():
            self._add(cursor, file, function, "literal", str(int(text) + 1))

    def _find_statements(self, cursor: Cursor, file: str, function: str) -> None:
        for child in cursor.get_children():
            self._find_statement(child, file, function)

    def _find_binary(self, cursor: Cursor, file: str, function: str) -> None:
        children = list(cursor.get_children())
        if len(children) == 2:
            self._exchange(cursor, children[0], children[1], file, function)

    def _exchange(
        self, cursor: Cursor, left: Cursor, right: Cursor, file: str, function: str
    ) -> None:
        low, high = left.extent.end.offset, right.extent.start.offset
        between = self._text(file, low, high).strip()
        is_number = all(each.type.get_canonical().kind in NUMBERS for each in (cursor, left, right))
        others: tuple[str, ...] = RELATIONAL.get(between, ()) + LOGICAL.get(between, ())
        kind = "relation" if between in RELATIONAL else "logic"
        if is_number and between in ARITHMETIC:
            others, kind = ARITHMETIC[between], "arithmetic"
        elif is_number and between in ASSIGNMENT:
            others, kind = (ASSIGNMENT[between],), "arithmetic"
        for other in others:
            changed = f"{self._of(left, file)} {other} {self._of(right, file)}"
            self._add(cursor, file, function, kind, changed)

    def _find_call(self, cursor: Cursor, file: str, function: str) -> None:
        text = self._of(cursor, file)
        for name, other in (("std::min", "std::max"), ("std::max", "std::min")):
            if text.startswith((name + "(", name + "<")):
                self._add(cursor, file, function, "extreme", other + text[len(name) :])
        if cursor.spelling.removeprefix("operator") in RELATIONAL:
            arguments = _arguments(cursor)
            if len(arguments) == 2:
                self._exchange(cursor, arguments[0], arguments[1], file, function)

    def _find_condition(self, cursor: Cursor, file: str, function: str) -> None:
        if cursor.kind == CursorKind.IF_STMT and self._is_constexpr_if(cursor, file):
            return
        children = list(cursor.get_children())
        start = cursor.extent.start.offset
        for child, behind in pairwise(children):
            low, high = child.extent.end.offset, behind.extent.start.offset
            before = self._text(file, start, child.extent.start.offset).rstrip()
            if (
                child.kind.is_expression()
                and self._text(file, low, high).strip() == ")"
                and before.endswith(("(", ";"))
            ):
                self._add(child, file, function, "condition", "false")
                if cursor.kind == CursorKind.IF_STMT:
                    self._add(child, file, function, "condition", "true")
                return

    def _find_statement(self, cursor: Cursor, file: str, function: str) -> None:
        if cursor.kind == CursorKind.UNEXPOSED_EXPR:
            inner = list(cursor.get_children())
            if len(inner) == 1 and inner[0].extent == cursor.extent:
                self._find_statement(inner[0], file, function)
            return
        text = self._of(cursor, file)
        if cursor.kind == CursorKind.CALL_EXPR:
            is_wanted = not any(hint in text for hint in HINTS)
        elif cursor.kind == CursorKind.UNARY_OPERATOR:
            is_wanted = "++" in text or "--" in text
        else:
            is_wanted = cursor.kind in ASSIGNMENTS
        if is_wanted:
            self._add(cursor, file, function, "drop", "")

    def _find_return(self, cursor: Cursor, file: str, function: str) -> None:
        value = next(cursor.get_children(), None)
        while value is not None and value.kind == CursorKind.UNEXPOSED_EXPR:
            inner = list(value.get_children())
            if len(inner) != 1 or inner[0].extent != value.extent:
                break
            value = inner[0]
        if value is None or value.type.get_canonical().kind != TypeKind.BOOL:
            return
        if value.kind in (CursorKind.CALL_EXPR, CursorKind.MEMBER_REF_EXPR):
            self._add(value, file, function, "unary", f"!({self._of(value, file)})")


#: What looks for changes of each kind of cursor.
FINDERS: dict[CursorKind, Callable[[Finder, Cursor, str, str], None]] = {
    CursorKind.BINARY_OPERATOR: Finder._find_binary,
    CursorKind.COMPOUND_ASSIGNMENT_OPERATOR: Finder._find_binary,
    CursorKind.CALL_EXPR: Finder._find_call,
    CursorKind.UNARY_OPERATOR: Finder._find_unary,
    CursorKind.IF_STMT: Finder._find_condition,
    CursorKind.WHILE_STMT: Finder._find_condition,
    CursorKind.CONDITIONAL_OPERATOR: Finder._find_choice,
    CursorKind.COMPOUND_STMT: Finder._find_statements,
    CursorKind.CXX_BOOL_LITERAL_EXPR: Finder._find_truth,
    CursorKind.INTEGER_LITERAL: Finder._find_number,
    CursorKind.RETURN_STMT: Finder._find_return,
}
CLASSES = {
    CursorKind.CLASS_DECL,
    CursorKind.STRUCT_DECL,
    CursorKind.CLASS_TEMPLATE,
    CursorKind.CLASS_TEMPLATE_PARTIAL_SPECIALIZATION,
}
CALLEES = {CursorKind.MEMBER_REF_EXPR, CursorKind.CALL_EXPR, CursorKind.UNEXPOSED_EXPR}
LITERALS = {CursorKind.INTEGER_LITERAL, CursorKind.CXX_BOOL_LITERAL_EXPR}
ASSIGNMENTS = {CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR}


def _arguments(call: Cursor) -> list[Cursor]:
    return [each for each in call.get_arguments() if each is not None]


def arguments_of(command: str, resources: str) -> list[str]:
    """The arguments of a compile command that matter for reading a source."""
    words = shlex.split(command)
    kept: list[str] = []
    for word, following in zip(words, [*words[1:], ""], strict=True):
        if word == "-isystem":
            kept += [word, following]
        elif word.startswith(("-I", "-D", "-std", "-march")):
            kept.append(word)
    return [*kept, "-w", "-resource-dir", resources]


def _find_in(root: Path, commands: list[tuple[str, list[str]]], wanted: set[str]) -> list[Site]:
    index = Index.create()
    finder = Finder(root)
    for source, arguments in commands:
        unit = index.parse(source, args=arguments)
        worst = [each for each in unit.diagnostics if each.severity >= 3]
        if worst:
            raise RuntimeError(f"clang cannot read {source}: {worst[0]}")
        finder.read(unit, wanted)
    return finder.sites


def find_sites(
    root: Path, copy: Path, database: Path, files: Iterable[str], jobs: int
) -> list[Site]:
    """Every site of the files, sources and the headers that they include, by the compile commands
    of a copy's build.
    """
    resources = subprocess.run(
        ["clang-16", "-print-resource-dir"], check=True, capture_output=True, text=True
    ).stdout.strip()
    wanted = set(files)
    here = f"{copy}/"
    commands = []
    for entry in json.loads(database.read_text()):
        file = str(Path(entry["file"]).relative_to(copy)) if entry["file"].startswith(here) else ""
        if area_of(file):
            arguments = arguments_of(entry["command"].replace(here, f"{root}/"), resources)
            commands.append((str(root / file), arguments))
    parts = [commands[each::jobs] for each in range(jobs)]
    with ProcessPoolExecutor(jobs) as pool:
        found = pool.map(_find_in, [root] * jobs, parts, [wanted] * jobs)
        unique = {
            (site.file, site.start, site.end, site.kind, site.changed): site
            for part in found
            for site in part
        }
    return number_repeats(unique.values())
