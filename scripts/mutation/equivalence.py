"""Finds by the syntax tree the swaps that cannot change what a program does, so that no test needs to detect them.

Both rules are conservative: if a rule does not apply to an expression, its swap counts as a mutant."""
import functools
import re
from pathlib import Path

from clang.cindex import CursorKind as Kind, StorageClass, TypeKind

LITERALS = (Kind.INTEGER_LITERAL, Kind.FLOATING_LITERAL, Kind.CHARACTER_LITERAL, Kind.STRING_LITERAL,
            Kind.CXX_BOOL_LITERAL_EXPR, Kind.CXX_NULL_PTR_LITERAL_EXPR, Kind.GNU_NULL_EXPR)
WRAPPERS = (Kind.PAREN_EXPR, Kind.UNEXPOSED_EXPR)  # the latter is an implicit conversion
CASTS = (Kind.CSTYLE_CAST_EXPR, Kind.CXX_STATIC_CAST_EXPR, Kind.CXX_REINTERPRET_CAST_EXPR, Kind.CXX_CONST_CAST_EXPR,
         Kind.CXX_FUNCTIONAL_CAST_EXPR)
FUNCTIONS = (Kind.FUNCTION_DECL, Kind.FUNCTION_TEMPLATE, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR,
             Kind.CONVERSION_FUNCTION)
VARIABLES = (Kind.VAR_DECL, Kind.PARM_DECL)
REFERENCES = (TypeKind.LVALUEREFERENCE, TypeKind.RVALUEREFERENCE)
UNSIGNED = (TypeKind.UINT, TypeKind.ULONG, TypeKind.ULONGLONG)
PLAIN = UNSIGNED + (
    TypeKind.BOOL, TypeKind.CHAR_U, TypeKind.UCHAR, TypeKind.USHORT, TypeKind.CHAR_S, TypeKind.SCHAR, TypeKind.SHORT,
    TypeKind.INT, TypeKind.LONG, TypeKind.LONGLONG, TypeKind.FLOAT, TypeKind.DOUBLE, TypeKind.ENUM, TypeKind.POINTER,
    TypeKind.NULLPTR)
TOTAL_OPERATORS = ("==", "!=", "<", "<=", ">", ">=", "&&", "||", "&", "|", "^")
UNSIGNED_OPERATORS = ("+", "-", "*")  # with signed operands they may overflow


@functools.lru_cache(maxsize=None)
def contents(path):
    return Path(path).read_bytes()


def operator_between(left, right):
    """Returns the operator between two operands, and its offset in the file; ("", 0) inside a macro."""
    start, end = left.extent.end.offset, right.extent.start.offset
    text = contents(left.location.file.name)[start:end] if start < end else b""
    found = re.fullmatch(rb"(?s)(?:\s|/\*.*?\*/|//[^\n]*\n)*([^\s\w]{1,3}?)(?:\s|/\*.*?\*/|//[^\n]*\n)*", text)
    return (found[1].decode(), start + found.start(1)) if found else ("", 0)


def sign_of(cursor):
    return operator_between(*cursor.get_children())[0]


def kind_of(type_):
    try:
        return type_.get_canonical().kind
    except ValueError:  # a type that the bindings do not know, such as _Atomic
        return TypeKind.UNEXPOSED


def is_plain(type_):
    """Returns whether reading or writing a variable of this type calls no function and has no other visible effect."""
    return kind_of(type_) in PLAIN and not type_.get_canonical().is_volatile_qualified()


def is_total(cursor):
    """Returns whether the evaluation of the expression has no effect and cannot fail, for all values: it does not
    call, write, divide, index, dereference, shift or overflow."""
    kind, children = cursor.kind, list(cursor.get_children())
    if kind in LITERALS:
        return True
    if kind == Kind.CXX_UNARY_EXPR:  # sizeof, alignof
        return True
    if kind in WRAPPERS:
        return len(children) == 1 and is_total(children[0])
    if kind in (Kind.DECL_REF_EXPR, Kind.MEMBER_REF_EXPR):
        return is_plain(cursor.type) and (is_enumerator(cursor) or is_object(cursor))
    if kind in CASTS:
        inner = [child for child in children if child.kind.is_expression()]
        return len(inner) == 1 and is_plain(cursor.type) and is_plain(inner[0].type) and is_total(inner[0])
    if kind == Kind.UNARY_OPERATOR:
        return is_number(cursor) or (next(cursor.get_tokens()).spelling in ("!", "~", "+") and is_total(children[0]))
    if kind == Kind.BINARY_OPERATOR:
        sign = sign_of(cursor)
        return (sign in TOTAL_OPERATORS or (sign in UNSIGNED_OPERATORS and kind_of(cursor.type) in UNSIGNED)) and \
            all(map(is_total, children))
    return kind == Kind.CONDITIONAL_OPERATOR and all(map(is_total, children))


def is_number(cursor):
    """Returns whether the expression is a literal with a minus sign, such as -1."""
    children = list(cursor.get_children())
    return cursor.kind == Kind.UNARY_OPERATOR and children[0].kind in LITERALS and \
        next(cursor.get_tokens()).spelling == "-"


def is_enumerator(cursor):
    return cursor.kind == Kind.DECL_REF_EXPR and cursor.referenced is not None and \
        cursor.referenced.kind == Kind.ENUM_CONSTANT_DECL


def base_of(cursor):
    """Returns the object before the dot of a member expression; None if it is reached by a pointer, such as an implicit
    `this`."""
    base = list(cursor.get_children())
    return base[0] if base and kind_of(base[0].type) != TypeKind.POINTER else None


def is_object(cursor):
    """Returns whether the expression names a variable, a member of *this, or a member of one of these."""
    if cursor.referenced is None or cursor.kind not in (Kind.DECL_REF_EXPR, Kind.MEMBER_REF_EXPR):
        return False
    if cursor.kind == Kind.DECL_REF_EXPR:
        return cursor.referenced.kind in VARIABLES
    if cursor.referenced.kind != Kind.FIELD_DECL:
        return False
    base = base_of(cursor)
    return not list(cursor.get_children()) if base is None else is_object(base)


def local_place(cursor):
    """Returns the local variable that an expression names, followed by the names of the members that lead to a part of
    it. Returns None for a static variable, a reference, a member of a union and the target of a pointer: two of these
    can be the same place in memory."""
    members = []
    if not is_plain(cursor.type):
        return None
    while cursor is not None and cursor.kind == Kind.MEMBER_REF_EXPR:
        member = cursor.referenced
        if member is None or member.kind != Kind.FIELD_DECL or kind_of(member.type) in REFERENCES or \
                member.semantic_parent.kind == Kind.UNION_DECL:
            return None
        members.insert(0, cursor.spelling)
        cursor = base_of(cursor)
    if cursor is None or cursor.kind != Kind.DECL_REF_EXPR or not is_object(cursor):
        return None
    variable = cursor.referenced
    if variable.semantic_parent.kind not in FUNCTIONS or kind_of(variable.type) in REFERENCES or \
            variable.storage_class in (StorageClass.STATIC, StorageClass.EXTERN):
        return None
    return [(variable.get_usr(), variable.location.offset)] + members


def is_constant(cursor):
    children = list(cursor.get_children())
    if cursor.kind in WRAPPERS:
        return len(children) == 1 and is_constant(children[0])
    return cursor.kind in LITERALS or is_number(cursor) or is_enumerator(cursor)


def constant_store(statement):
    """Returns the local variable or member to which a statement assigns a constant (see local_place), or None."""
    if statement.kind != Kind.BINARY_OPERATOR or sign_of(statement) != "=":
        return None
    left, right = statement.get_children()
    return local_place(left) if is_constant(right) else None


def operands_commute(first, second):
    """Returns whether swapping the operands of && or || changes nothing."""
    return is_total(first) and is_total(second)


def statements_commute(first, second):
    """Returns whether both statements store constants, to different local variables or members of these."""
    one, other = constant_store(first), constant_store(second)
    return one is not None and other is not None and one != other
