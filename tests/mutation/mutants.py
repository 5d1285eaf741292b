"""Finds the mutants. A mutant is a small change to a source file, which a test should notice.

The syntax tree of libclang gives the expressions and statements to change. The tokens of libclang give the
literals to change. Static assertions and preprocessor directives have no mutants.

Most mutants in functions change an expression. Several such mutants can be compiled into one program.
The environment variable MUTANT then selects the mutant that takes effect."""

import dataclasses
import pathlib
import re

from clang import cindex
from clang.cindex import CursorKind, TokenKind, TypeKind

from independent import are_independent, useless_breaks

# The parts of the project that have mutants, and their directories.
PARTS = {"program": ("app", "console", "settings", "store", "network", "meterinit"),
         "simulator": ("simulator", "simulator/cdsctl")}

COMPARISONS = {"==": ("!=",), "!=": ("==",), "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="),
               ">=": (">", "<")}
BOOLEAN = {"&&": ("||",), "||": ("&&",)}
ARITHMETIC = {"+": ("-",), "-": ("+",), "*": ("+",), "/": ("*",), "%": ("*",), "+=": ("-=",),
              "-=": ("+=",), "++": ("--",), "--": ("++",), "|": ("&",), "&": ("|",), "|=": ("&=",),
              "&=": ("|=",), "<<": (">>",), ">>": ("<<",)}
OPERATORS = {token: (name, others) for name, table in (
    ("comparison", COMPARISONS), ("boolean", BOOLEAN), ("arithmetic", ARITHMETIC))
    for token, others in table.items()}
EMPTY_STATEMENT = "(void)0"


@dataclasses.dataclass(frozen=True, order=True)
class Mutant:
    file: str  # the path relative to the project's directory
    start: int  # the offset in bytes of the changed text
    end: int
    replacement: str
    operator: str
    line: int
    original: str
    source_line: str  # the line of `start`, without its indentation
    scope: tuple  # (start, end) of the whole changed expression, or () if the mutant needs its own program
    which: int = 1  # distinguishes mutants with the same change in identical lines of one file

    def __str__(self):
        return f"{self.file}:{self.line}: {self.operator}: {self.change}"

    @property
    def change(self):
        return f"{shortened(self.original)} -> {shortened(self.replacement)}"

    @property
    def key(self):
        """Returns a value that identifies the mutant even after other lines of the file have changed."""
        return self.file, self.source_line, self.change, self.which


def shortened(text):
    return re.sub(r"\s+", " ", text)


class Source:
    """One source file, and the mutants that were found in the file so far."""

    def __init__(self, root, name):
        self.name = name
        self.text = (root / name).read_bytes()
        self.found = {}
        # Lists of byte ranges: code without mutants, bodies of functions, and constant expressions.
        self.excluded = []
        self.run = []
        self.constant = []

    def part(self, start, end):
        return self.text[start:end].decode()

    def add(self, operator, start, end, replacement, scope=()):
        original = self.part(start, end)
        if original == replacement:
            return
        before = self.text[:start]
        first = before.rfind(b"\n") + 1
        line = self.text[first:self.text.find(b"\n", start)].decode().strip()
        mutant = Mutant(self.name, start, end, replacement, operator, before.count(b"\n") + 1,
                        original, line, scope)
        self.found.setdefault((start, end, replacement), mutant)

    def mutants(self):
        counts = {}
        for mutant in sorted(self.found.values()):
            if any(overlap((mutant.start, mutant.end), place) for place in self.excluded):
                continue
            counts[mutant.key] = counts.get(mutant.key, 0) + 1
            scope = mutant.scope if self.runs(mutant.scope) else ()
            yield dataclasses.replace(mutant, scope=scope, which=counts[mutant.key])

    def runs(self, scope):
        """Returns True if the code in `scope` runs, so that the program can select a mutant at run time."""
        return scope and any(s <= scope[0] and scope[1] <= e for s, e in self.run) and not any(
            overlap(scope, place) for place in self.constant)


# -- several mutants in one program --

def overlap(one, other):
    return one[0] < other[1] and other[0] < one[1]


def batches_of(mutants_of_a_file, size):
    """Groups the mutants so that the scopes in a group do not overlap. A mutant without a scope is alone in
    its group. A group has at most `size` mutants."""
    groups, alone = [], []
    for mutant in mutants_of_a_file:
        if not mutant.scope:
            alone.append([mutant])
            continue
        for group in groups:
            if len(group) < size and not any(overlap(mutant.scope, other.scope) for other in group):
                group.append(mutant)
                break
        else:
            groups.append([mutant])
    return groups + alone


def with_mutants(text, group):
    """Returns the source with all mutants of the group. Its variable `mutant_number` selects one mutant."""
    for number, mutant in sorted(enumerate(group, 1), key=lambda each: each[1].scope, reverse=True):
        first, last = mutant.scope
        old = text[first:last]
        new = text[first:mutant.start] + mutant.replacement.encode() + text[mutant.end:last]
        if mutant.replacement == EMPTY_STATEMENT:
            old = b"(void)(" + old + b")"
        text = (text[:first] + b"(mutant_number == %d ? (" % number + new + b") : (" + old + b"))"
                + text[last:])
    return text


# -- literals --

def string_changes(text):
    if text == '""':
        return ['"x"']
    return [re.sub(r'(\\x[0-9a-f]+|\\.|.)"$', '"', text)]  # removes the last character


def literal_changes(token):
    text = token.spelling
    if text in ("true", "false"):
        return [("constant", "false" if text == "true" else "true")]
    if token.kind != TokenKind.LITERAL:
        return []
    if text.startswith('"'):
        return [("text", change) for change in string_changes(text)]
    if text.startswith("'"):
        return [("text", "'y'" if text == "'x'" else "'x'")]
    number = re.fullmatch(r"(0x[0-9a-fA-F]+|[0-9]+)([uUlL]*)", text.replace("'", ""))
    if number is None:
        return []
    is_octal = re.match(r"0[0-9]", text)
    value = int(number[1], 8 if is_octal else 0)
    return [("constant", f"{other}{number[2]}") for other in (value + 1, value - 1) if other >= 0]


def add_literals(unit, source, path):
    whole = cindex.SourceRange.from_locations(
        cindex.SourceLocation.from_offset(unit, unit.get_file(str(path)), 0),
        cindex.SourceLocation.from_offset(unit, unit.get_file(str(path)), len(source.text)))
    for token in unit.get_tokens(extent=whole):
        start, end = token.extent.start.offset, token.extent.end.offset
        line = source.text[source.text.rfind(b"\n", 0, start) + 1:start]
        if line.startswith(b"#"):
            continue
        for operator, change in literal_changes(token):
            source.add(operator, start, end, change, (start, end))


# -- expressions and statements --

def span(cursor):
    return cursor.extent.start.offset, cursor.extent.end.offset


PLAIN_KINDS = (TypeKind.BOOL, TypeKind.INT, TypeKind.UINT, TypeKind.LONG, TypeKind.ULONG,
               TypeKind.USHORT, TypeKind.SHORT, TypeKind.UCHAR, TypeKind.CHAR_S)


def scope_of(cursor):
    """Returns the range of an expression, or () if its type is not a simple type such as int."""
    return span(cursor) if cursor.type.get_canonical().kind in PLAIN_KINDS else ()


def text_of(source, cursor):
    return source.part(*span(cursor))


def add_operator(source, cursor):
    """Adds the mutants of a binary operator, which may be overloaded."""
    children = list(cursor.get_children())
    if cursor.kind == CursorKind.CALL_EXPR:
        if not re.fullmatch(r"operator\W+", cursor.spelling) or len(children) != 3:
            return
        children = [children[0], children[2]]
    if len(children) != 2:
        return
    left, right = children
    between = source.part(left.extent.end.offset, right.extent.start.offset)
    token = re.search(r"[-+*/%=!<>&|]+", re.sub(r"//.*|/\*.*?\*/", lambda c: " " * len(c[0]), between))
    if token is None or token[0] not in OPERATORS:
        return
    at = left.extent.end.offset + token.start()
    operator, others = OPERATORS[token[0]]
    for other in others:
        source.add(operator, at, at + len(token[0]), other, scope_of(cursor))
    if operator == "boolean":
        for operand in (left, right):
            source.add("operand dropped", *span(cursor), text_of(source, operand), scope_of(cursor))


def add_unary(source, cursor):
    start, end = span(cursor)
    text = source.part(start, end)
    for token, other in (("++", "--"), ("--", "++")):
        if text.startswith(token):
            source.add("arithmetic", start, start + 2, other, span(cursor))
        elif text.endswith(token):
            source.add("arithmetic", end - 2, end, other, span(cursor))
    if text[0] in "!~":
        source.add("boolean" if text[0] == "!" else "arithmetic", start, start + 1, "",
                   scope_of(cursor))


def add_condition(source, cursor):
    children = list(cursor.get_children())
    if children and children[0].kind.is_expression():
        text = text_of(source, children[0])
        source.add("negated condition", *span(children[0]), f"!({text})", span(children[0]))


def is_zero_of_an_enumeration(expression):
    constant = expression.referenced
    return constant is not None and constant.kind == CursorKind.ENUM_CONSTANT_DECL and constant.enum_value == 0


def add_return(source, cursor):
    value = next(iter(cursor.get_children()), None)
    if value is None:
        source.add("jump removed", *span(cursor), EMPTY_STATEMENT)
        return
    text = text_of(source, value)
    if re.fullmatch(r"true|false|\d+", text):
        return  # add_literals adds the mutants of these constants
    if text in ("std::nullopt", "nullptr") or is_zero_of_an_enumeration(value):
        return  # {} means the same
    kind = value.type.get_canonical().kind
    if kind == TypeKind.VOID:
        return
    if kind == TypeKind.BOOL:
        change = f"!({text})"
    elif kind in PLAIN_KINDS:
        change = f"({text}) + 1"
    elif kind == TypeKind.POINTER:
        change = "nullptr"
    else:
        change = "{}"
    source.add("return value", *span(value), change, () if change == "{}" else span(value))


def statements_within(cursor):
    """Returns those children of a statement that can be statements, for example the body of a loop."""
    children = list(cursor.get_children())
    if cursor.kind == CursorKind.IF_STMT:
        children = children[1:]
    elif cursor.kind != CursorKind.COMPOUND_STMT:
        children = children[-1:] if len(children) > 1 or cursor.kind == CursorKind.DEFAULT_STMT else []
    return children


def is_statement(source, cursor):
    end = cursor.extent.end.offset
    return cursor.kind.is_expression() and source.text[end:end + 1] == b";"


def add_statements(source, cursor):
    before = None
    for child in statements_within(cursor):
        if not is_statement(source, child):
            before = None
            continue
        macro = re.match(r"[A-Z_]+\(", text_of(source, child))  # not every macro expands to an expression
        source.add("statement removed", *span(child), EMPTY_STATEMENT, () if macro else span(child))
        if before is not None and cursor.kind == CursorKind.COMPOUND_STMT and not are_independent(before, child):
            add_swap(source, "statements swapped", before, child)
        before = child


def add_swap(source, operator, one, other):
    between = source.part(one.extent.end.offset, other.extent.start.offset)
    first, second = text_of(source, one), text_of(source, other)
    if first != second:
        source.add(operator, one.extent.start.offset, other.extent.end.offset, second + between + first)


def add_rows(source, cursor):
    if source.text[:cursor.extent.start.offset].endswith((b"std::min(", b"std::max(")):
        return  # the order does not matter
    rows = list(cursor.get_children())
    for one, other in zip(rows, rows[1:]):
        if one.type.get_canonical().kind == other.type.get_canonical().kind:
            add_swap(source, "rows swapped", one, other)


HANDLERS = {
    CursorKind.BINARY_OPERATOR: add_operator,
    CursorKind.COMPOUND_ASSIGNMENT_OPERATOR: add_operator,
    CursorKind.CALL_EXPR: add_operator,
    CursorKind.UNARY_OPERATOR: add_unary,
    CursorKind.IF_STMT: add_condition,
    CursorKind.WHILE_STMT: add_condition,
    CursorKind.CONDITIONAL_OPERATOR: add_condition,
    CursorKind.RETURN_STMT: add_return,
    CursorKind.INIT_LIST_EXPR: add_rows,
}
FUNCTIONS = (CursorKind.FUNCTION_DECL, CursorKind.FUNCTION_TEMPLATE)
BLOCKS = (CursorKind.COMPOUND_STMT, CursorKind.IF_STMT, CursorKind.FOR_STMT, CursorKind.WHILE_STMT,
          CursorKind.CXX_FOR_RANGE_STMT, CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT)


def note_places(source, cursor):
    """Adds the range of `cursor` to the list in `source` for its kind of code, if there is such a list."""
    kind, (start, end) = cursor.kind, span(cursor)
    if kind == CursorKind.STATIC_ASSERT:
        source.excluded.append((start, end))
    elif kind == CursorKind.SWITCH_STMT:
        source.excluded += map(span, useless_breaks(cursor))
    elif kind == CursorKind.COMPOUND_STMT:
        source.run.append((start, end))
    elif kind == CursorKind.CASE_STMT:
        source.constant.append(span(next(cursor.get_children())))
    elif kind == CursorKind.VAR_DECL and (
            "constexpr" in text_of(source, cursor) or "[" in text_of(source, cursor).split("=")[0]):
        source.constant.append((start, end))
    elif kind in FUNCTIONS and "constexpr" in text_of(source, cursor).split("{")[0]:
        source.constant.append((start, end))


def part_of(name):
    """Returns the part of the project that contains a file, or None if the file has no mutants."""
    top = name.split("/")[0]
    return next((part for part, folders in PARTS.items() if top in folders), None)


def visit(cursor, sources, root, part):
    for child in cursor.get_children():
        name = child.location.file and child.location.file.name
        if not name or not name.startswith(str(root)):
            continue
        name = str(pathlib.Path(name).relative_to(root))
        if part_of(name) != part:
            continue
        source = sources.get(name) or sources.setdefault(name, Source(root, name))
        note_places(source, child)
        if child.kind in HANDLERS and text_of(source, child):  # the text of code from a macro is empty
            HANDLERS[child.kind](source, child)
        if child.kind in BLOCKS:
            add_statements(source, child)
        if child.kind in (CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT):
            source.add("jump removed", *span(child), EMPTY_STATEMENT)
        visit(child, sources, root, part)


def all_mutants(root, parts=("program",)):
    """Returns all mutants of these parts, sorted by part, file and place."""
    return [mutant for part in parts for mutant in mutants_of_part(pathlib.Path(root).resolve(), part)]


def mutants_of_part(root, part):
    index = cindex.Index.create()
    arguments = ["-std=c++17", f"-I{root}", f"-I{root}/simulator/include", '-DCDSCTL_VERSION=""']
    sources, units = {}, {}
    for folder in PARTS[part]:
        for path in sorted((root / folder).glob("*.cpp")):
            unit = index.parse(str(path), arguments)
            errors = [d for d in unit.diagnostics if d.severity >= cindex.Diagnostic.Error]
            if errors:
                raise RuntimeError(f"{path} cannot be read: {errors[0]}")
            visit(unit.cursor, sources, root, part)
            for name in sources:
                units.setdefault(name, unit)
    for name, unit in units.items():
        add_literals(unit, sources[name], root / name)
    return [mutant for name in sorted(sources) for mutant in sources[name].mutants()]
