"""Finds changes of the program that cannot have an effect, so they are not mutants."""

import re

from clang.cindex import CursorKind, TypeKind

CHANGES = (CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR, CursorKind.UNARY_OPERATOR)
NAMES = (CursorKind.DECL_REF_EXPR, CursorKind.MEMBER_REF_EXPR)
REFERENCES = (TypeKind.LVALUEREFERENCE, TypeKind.RVALUEREFERENCE, TypeKind.POINTER)


def walk(cursor):
    return list(cursor.walk_preorder())


def is_standard(declaration):
    return declaration is not None and "/include/c++/" in str(declaration.location.file)


def named(expression):
    """Returns the variable or member that an expression names, or None for other expressions."""
    while expression.kind in (CursorKind.UNEXPOSED_EXPR, CursorKind.PAREN_EXPR):
        inner = list(expression.get_children())
        if len(inner) != 1:
            return None
        expression = inner[0]
    return expression.referenced if expression.kind in NAMES else None


def is_change(cursor):
    tokens = [token.spelling for token in cursor.get_tokens()]
    if cursor.kind == CursorKind.UNARY_OPERATOR:
        return "++" in tokens or "--" in tokens
    return cursor.kind in CHANGES and any(re.fullmatch(r"[-+*/%&|^]?=", token) for token in tokens)


def target_of(cursor):
    """Returns the variable or member that a call of a standard member function may change."""
    children = list(cursor.get_children())
    if not cursor.spelling.startswith("operator"):
        children = list(children[0].get_children()) if children else []
    return named(children[0]) if children else None


def changed_by(statement):
    """Returns the variables and members that a statement changes, or None if it may have other effects."""
    changed = []
    for each in walk(statement):
        if each.kind == CursorKind.CALL_EXPR:
            function = each.referenced
            if not is_standard(function):
                return None
            if function.spelling == "move":  # the assignment may change the moved variable
                changed.append(named(list(each.get_children())[-1]))
                continue
            if function.kind == CursorKind.CONSTRUCTOR or function.is_const_method():
                continue
            if function.kind != CursorKind.CXX_METHOD:
                return None
            changed.append(target_of(each))
        elif is_change(each):
            changed.append(named(next(each.get_children())))
    unknown = any(each is None or each.type.get_canonical().kind in REFERENCES for each in changed)
    return None if unknown or not changed else changed


def type_behind(declaration):
    kind = declaration.type.get_canonical()
    return (kind.get_pointee() if kind.kind in REFERENCES else kind).spelling.removeprefix("const ")


def may_use(statement, changed):
    """Returns True if the statement may use the variable or member `changed`, perhaps through a reference of
    the same type."""
    for each in walk(statement):
        if each.kind not in NAMES:
            continue
        used = each.referenced
        if used is None or used == changed:
            return True
        if used.type.get_canonical().kind in REFERENCES and type_behind(used) == type_behind(changed):
            return True
    return False


def are_independent(one, other):
    """Returns True if the order of two statements has no effect: each changes only variables and members that
    the other does not use."""
    for changing, using in ((one, other), (other, one)):
        changed = changed_by(changing)
        if changed is None or any(may_use(using, each) for each in changed):
            return False
    return True


def useless_breaks(switch):
    """Returns the `break` statements that a switch does not need: the last statement, and the statement before
    `default: break`."""
    *_, body = switch.get_children()
    flat = [each for child in body.get_children() for each in statements_of(child)]
    breaks = []
    while flat and flat[-1].kind == CursorKind.BREAK_STMT:
        breaks.append(flat.pop())
    return breaks


def statements_of(cursor):
    """Returns the statement after the labels of a switch, or the statement itself."""
    while cursor.kind in (CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT):
        *_, cursor = cursor.get_children()
    return [cursor]
