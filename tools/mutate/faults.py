"""Finds the places where a small fault can be seeded, and writes sources with a choice of faults in them.

A fault is a replacement of one expression or statement by "the faulty one if fault N is chosen, else the
right one", so that one build has all faults, and a test run chooses one (fault.h).
"""

import os
import random
import re
import shlex

from clang import cindex
from clang.cindex import CursorKind, TypeKind

cindex.Config.set_library_file("/usr/lib/llvm-14/lib/libclang.so.1")

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
CONDITIONS = {"&&": "||", "||": "&&"}
NUMBERS = {
    TypeKind.CHAR_U, TypeKind.UCHAR, TypeKind.USHORT, TypeKind.UINT, TypeKind.ULONG, TypeKind.ULONGLONG,
    TypeKind.CHAR_S, TypeKind.SCHAR, TypeKind.SHORT, TypeKind.INT, TypeKind.LONG, TypeKind.LONGLONG,
    TypeKind.POINTER,
}
LEAVES = (CursorKind.RETURN_STMT, CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT)
LOCKS = re.compile(r"\b(\w*Lock|lock_guard|unique_lock|shared_lock|scoped_lock)\b")
# What stands in these is settled when it is compiled.
CONSTANT = (CursorKind.STATIC_ASSERT, CursorKind.ENUM_DECL)


class Site:
    """A place in a file: bytes start to end, operands inside it that may have sites of their own."""

    def __init__(self, kind, start, end, operands, write, what):
        self.kind, self.start, self.end = kind, start, end
        self.operands, self.write, self.what = operands, write, what
        self.number = 0


class Finder:
    def __init__(self, root, folders):
        self.root = os.path.realpath(root)
        self.folders = tuple(os.path.join(self.root, folder) + os.sep for folder in folders)
        self.sources = {}
        self.sites = {}
        self.seen = set()
        self.index = cindex.Index.create()

    def source(self, path):
        if path not in self.sources:
            with open(path, "rb") as file:
                self.sources[path] = file.read()
        return self.sources[path]

    def file(self, command):
        """Looks through one translation unit of the compile commands."""
        arguments = shlex.split(command["command"])[1:]
        keep = [a for i, a in enumerate(arguments)
                if a.startswith(("-I", "-D", "-std", "-isystem", "-f")) or arguments[i - 1] == "-isystem"]
        path = os.path.join(command["directory"], command["file"])
        unit = self.index.parse(path, args=keep + ["-x", "c++" if path.endswith("pp") else "c"])
        for cursor in unit.cursor.get_children():
            self.visit(cursor, None)

    def visit(self, cursor, parent):
        location = cursor.location.file
        path = os.path.realpath(location.name) if location else None
        if parent is None:
            # Headers come again with every source that includes them.
            place = (path, cursor.extent.start.offset, cursor.extent.end.offset)
            if path is None or not path.startswith(self.folders) or place in self.seen:
                return
            self.seen.add(place)
        if cursor.kind in CONSTANT:
            return
        if cursor.kind == CursorKind.VAR_DECL and b"constexpr" in self.bytes(cursor, path):
            return
        if path and path.startswith(self.folders):
            self.look(cursor, parent, path)
        for place, child in enumerate(cursor.get_children()):
            if cursor.kind == CursorKind.CASE_STMT and place == 0:
                continue
            self.visit(child, cursor)

    def bytes(self, cursor, path):
        return self.source(path)[cursor.extent.start.offset:cursor.extent.end.offset] if path else b""

    def add(self, path, site):
        text = self.source(path)[site.start:site.end]
        if b"//" in text or b"/*" in text or b"\n#" in text:
            return
        self.sites.setdefault((path, site.kind, site.start, site.end), site)

    def operands(self, cursor, path):
        """Its two operands and the operator between them, if they stand in the file as they are."""
        children = list(cursor.get_children())
        if len(children) != 2:
            return None
        left, right = (child.extent for child in children)
        if left.end.offset > right.start.offset or left.start.offset != cursor.extent.start.offset:
            return None
        between = self.source(path)[left.end.offset:right.start.offset].decode().strip()
        return (left.start.offset, left.end.offset), (right.start.offset, right.end.offset), between

    def look(self, cursor, parent, path):
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        if start >= end:
            return
        if cursor.kind == CursorKind.BINARY_OPERATOR:
            self.lookAtOperator(cursor, path, start, end)
        elif cursor.kind == CursorKind.IF_STMT:
            self.lookAtGuard(cursor, path)
        elif cursor.kind == CursorKind.COMPOUND_STMT:
            self.lookAtStatements(cursor, path)
        elif cursor.kind == CursorKind.STRING_LITERAL and parent.type.kind == TypeKind.POINTER:
            if self.bytes(cursor, path).startswith(b'"'):
                self.add(path, Site("text", start, end, [(start, end)],
                                    lambda fault, text: f'({fault} ? "?" : {text})', "another text"))
        elif cursor.kind == CursorKind.DECL_REF_EXPR and cursor.referenced is not None:
            name = self.bytes(cursor, path).decode()
            if cursor.referenced.kind == CursorKind.ENUM_CONSTANT_DECL and re.fullmatch(r"[\w:]+", name):
                self.add(path, Site(
                    "code", start, end, [(start, end)],
                    lambda fault, text: f"static_cast<decltype({text})>(static_cast<int>({text}) ^ {fault})",
                    "another code"))

    def lookAtOperator(self, cursor, path, start, end):
        found = self.operands(cursor, path)
        if not found:
            return
        left, right, operator = found
        for kind, table in (("comparison", COMPARISONS), ("condition", CONDITIONS)):
            if operator in table:
                self.add(path, Site(kind, start, end, [left, right], replaced(operator, table[operator]),
                                    f"{operator} is {table[operator]}"))
        if operator in ("+", "-", "*") and cursor.type.get_canonical().kind in NUMBERS:
            self.add(path, Site("off by one", start, end, [(start, end)],
                                lambda fault, text: f"(({text}) + {fault})", "one more"))

    def lookAtGuard(self, cursor, path):
        children = list(cursor.get_children())
        if len(children) != 2 or children[0].kind == CursorKind.DECL_STMT:
            return
        condition, then = children
        last = list(then.get_children())[-1:] if then.kind == CursorKind.COMPOUND_STMT else [then]
        if not last or last[0].kind not in LEAVES:
            return
        start, end = condition.extent.start.offset, condition.extent.end.offset
        before = self.source(path)[cursor.extent.start.offset:start].decode().strip()
        if re.fullmatch(r"if\s*\(", before):
            self.add(path, Site("guard", start, end, [(start, end)],
                                lambda fault, text: f"(({text}) && !{fault})", "guard is missing"))

    def lookAtStatements(self, cursor, path):
        source = self.source(path)
        before = None
        for statement in cursor.get_children():
            start, end = statement.extent.start.offset, statement.extent.end.offset
            called = statement.kind == CursorKind.CALL_EXPR and source[end:end + 1] == b";"
            if called:
                self.add(path, Site("call", start, end, [(start, end)],
                                    lambda fault, text: f"({fault} ? (void)0 : (void)({text}))",
                                    "call is missing"))
                if before is not None and source[before[1] + 1:start].isspace():
                    self.add(path, Site(
                        "order", before[0], end + 1, [before, (start, end)],
                        lambda fault, a, b: f"if ({fault}) {{ {flat(b)}; {flat(a)}; }} else {{ {a}; {b}; }}",
                        "calls are swapped"))
            elif statement.kind == CursorKind.DECL_STMT:
                self.lookAtLock(statement, path, start, end, source[end:cursor.extent.end.offset])
            before = (start, end) if called else None

    def lookAtLock(self, statement, path, start, end, rest):
        variables = list(statement.get_children())
        if len(variables) == 1 and LOCKS.search(variables[0].type.spelling):
            found = re.fullmatch(rb"(?:const )?([\w:<> ]+) (\w+)\((.*)\);", self.source(path)[start:end])
            # One that is let go or waited on with is more than held.
            if found and not re.search(rb"\b" + found[2] + rb"\b", rest):
                kind = variables[0].type.get_canonical().spelling
                kind = kind.replace("const ", "").replace("(anonymous namespace)::", "")
                name, mutex = found[2].decode(), found[3].decode()
                self.add(path, Site("lock", start, end, [],
                                    lambda fault: f"const QuarloFaultLock<{kind}> {name}({fault}, {mutex});",
                                    "lock is missing"))


def replaced(operator, other):
    return lambda fault, a, b: f"({fault} ? ({flat(a)} {other} {flat(b)}) : ({a} {operator} {b}))"


def flat(text):
    return text.replace("\n", " ")


def find(root, folders, commands):
    """All places in a fixed order."""
    finder = Finder(root, folders)
    for command in commands:
        finder.file(command)
    return finder, sorted(finder.sites.items(), key=lambda item: (item[0][0], item[0][2], item[0][3], item[0][1]))


def choose(places, count, seed):
    """As many of each kind as of every other, as far as there are."""
    kinds = {}
    for key, site in places:
        kinds.setdefault(site.kind, []).append((key, site))
    rng = random.Random(seed)
    for of_kind in kinds.values():
        rng.shuffle(of_kind)
    chosen, ranges = [], {}
    while len(chosen) < count and any(kinds.values()):
        for kind in sorted(kinds):
            while kinds[kind] and len(chosen) < count:
                key, site = kinds[kind].pop()
                if fits(site, ranges.setdefault(key[0], [])):
                    chosen.append((key[0], site))
                    break
    chosen.sort(key=lambda item: (item[0], item[1].start, item[1].end))
    for number, (_, site) in enumerate(chosen, 1):
        site.number = number
    return chosen


def fits(site, taken):
    """Whether it stands beside, in an operand of, or around all others."""
    for other in taken:
        beside = site.end <= other.start or other.end <= site.start
        if not beside and not inside(site, other) and not inside(other, site):
            return False
    taken.append(site)
    return True


def inside(inner, outer):
    return (inner.start, inner.end) != (outer.start, outer.end) and any(
        start <= inner.start and inner.end <= end for start, end in outer.operands)


def write(name, source, sites):
    """The text of a file with these sites in it; every line keeps its number."""

    def render(start, end, left):
        text, at = "", start
        for site in sorted(left, key=lambda s: (s.start, -s.end)):
            if site.start < at or site.end > end:
                continue
            within = [other for other in left if other is not site
                      and site.start <= other.start and other.end <= site.end]
            operands = [render(*operand, within) for operand in site.operands]
            text += source[at:site.start].decode() + site.write(f"quarloFault({site.number})", *operands)
            at = site.end
        return text + source[at:end].decode()

    fault = os.path.join(os.path.dirname(os.path.abspath(__file__)), "fault.h")
    return f'#include "{fault}"\n#line 1 "{name}"\n' + render(0, len(source), sites)
