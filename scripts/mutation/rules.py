"""Finds the candidates for mutants in source files. The rules: a statement left out, two adjacent statements swapped, a
condition inverted, two operands of && or || swapped, two members swapped, an operator or a constant changed."""
import os
import re
from pathlib import Path

import clang.cindex as clang
from clang.cindex import CursorKind as Kind

from mutation import equivalence

OTHER_OPERATOR = {
    "==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "+": "-", "-": "+", "*": "/", "/": "*",
    "%": "/", "&": "|", "|": "&", "^": "&", "<<": ">>", ">>": "<<", "&&": "||", "||": "&&", "+=": "-=", "-=": "+=",
    "|=": "&=", "&=": "|=", "*=": "/=", "/=": "*=", "<<=": ">>=", ">>=": "<<=", "++": "--", "--": "++",
}
TRANSPARENT = (Kind.NAMESPACE, Kind.LINKAGE_SPEC, Kind.UNEXPOSED_DECL)  # the last is extern "C"
CLASSES = (Kind.CLASS_DECL, Kind.STRUCT_DECL, Kind.CLASS_TEMPLATE)
LOOPS = (Kind.WHILE_STMT, Kind.FOR_STMT, Kind.CXX_FOR_RANGE_STMT, Kind.DO_STMT)
LABELS = (Kind.CASE_STMT, Kind.DEFAULT_STMT)
JUMPS = (Kind.RETURN_STMT, Kind.BREAK_STMT, Kind.CONTINUE_STMT)


def abridged(text):
    text = " ".join(text.split())
    return text if len(text) <= 90 else text[:60] + " ... " + text[-25:]


class Mutant:
    """One change of a source file: bytes `start` to `end`, which are `old`, become `new`."""

    def __init__(self, path, function, rule, start, end, old, new):
        self.path, self.function, self.rule = path, function, rule
        self.start, self.end, self.old, self.new = start, end, old, new
        self.number = 1  # among the mutants of this function with the same old and new text

    @property
    def key(self):
        """Returns the text that identifies the mutant in tests/mutants/explained.txt: file and function, the old text,
        and the new text unless that is empty. It has no line number, which other changes of the file would change."""
        where = f"{self.path} {self.function}" + (f" ({self.number})" if self.number > 1 else "")
        new = "" if self.new in ("", ";") else f"\n  + {abridged(self.new)}"
        return f"{where}\n  - {abridged(self.old)}{new}"


class Finder:
    """Finds the mutants in sources and in the headers that they include, if these files are in one of the folders."""

    def __init__(self, folders):
        self.folders = folders
        self.index = clang.Index.create()
        self.contents, self.found = {}, {}

    def read(self, path, arguments):
        """Adds the mutants of a source and of the headers that it includes; raises ValueError if it does not parse."""
        unit = self.index.parse(path, args=arguments)
        errors = [d for d in unit.diagnostics if d.severity >= clang.Diagnostic.Error]
        if errors:
            raise ValueError(f"{path} does not parse: {errors[0]}")
        for cursor in unit.cursor.get_children():
            self.walk(cursor, [], None)

    def mutants(self):
        """Returns all that were found, in the order of the sources."""
        mutants = sorted(self.found.values(), key=lambda m: (m.path, m.start, m.end, m.new))
        numbers = {}
        for mutant in mutants:
            key = mutant.key
            mutant.number = numbers[key] = numbers.get(key, 0) + 1
        return mutants

    def file_of(self, cursor):
        """Returns the name of a cursor's file if mutants are made in it, else None."""
        file = cursor.location.file
        name = os.path.relpath(file.name) if file else ""
        return name if any(name == f or name.startswith(f + "/") for f in self.folders) else None

    def text(self, name, start=0, end=None):
        if name not in self.contents:
            self.contents[name] = Path(name).read_bytes()
        return self.contents[name][start:end]

    def extent(self, name, cursor, statement=False):
        """Returns where the text of a cursor starts and ends in the file; that of a statement includes its
        semicolon."""
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        if statement and not self.text(name, start, end).endswith((b";", b"}")):
            rest = re.match(rb"\s*;", self.text(name, end))
            end += rest.end() if rest else 0
        return start, end

    def add(self, name, path, rule, span, new):
        old = self.text(name, *span).decode()
        key = (name, *span, new)
        if old != new and key not in self.found:
            self.found[key] = Mutant(name, "::".join(path) or "-", rule, *span, old, new)

    def add_swap(self, name, path, rule, first, second):
        if first[1] <= second[0]:
            parts = [self.text(name, *span).decode() for span in (second, (first[1], second[0]), first)]
            self.add(name, path, rule, (first[0], second[1]), "".join(parts))

    def walk(self, cursor, path, parent):
        name = self.file_of(cursor)
        if name is None and cursor.kind not in TRANSPARENT:
            return
        if cursor.spelling and cursor.kind not in TRANSPARENT and (
                cursor.kind in CLASSES + (Kind.UNION_DECL,) or parent is None or
                parent.kind in TRANSPARENT + CLASSES):
            path = path + [re.sub(r"<.*>", "", cursor.spelling)]
        children = list(cursor.get_children())
        if name is not None:
            self.apply_rules(cursor, children, name, path)
        for child in children:
            self.walk(child, path, cursor)

    def apply_rules(self, cursor, children, name, path):
        kind = cursor.kind
        if kind == Kind.COMPOUND_STMT:
            self.change_statements(children, name, path)
        elif kind in (Kind.IF_STMT,) + LOOPS + LABELS:
            self.leave_out_bodies(cursor, children, name, path)
        if kind in (Kind.IF_STMT, Kind.WHILE_STMT, Kind.CONDITIONAL_OPERATOR) and children:
            self.invert(children[0], name, path)
        elif kind == Kind.DO_STMT and len(children) == 2:
            self.invert(children[1], name, path)
        elif kind in CLASSES:
            self.swap_members(children, name, path)
        elif kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
            self.change_operator(*children, name, path)
        elif self.is_class_operator(cursor):
            self.change_operator(children[0], children[-1], name, path)
        elif kind == Kind.UNARY_OPERATOR and children:
            self.change_unary_operator(cursor, name, path)
        else:
            self.change_constant(cursor, name, path)

    # ---- Statements and members -----------------------------------------------------------------

    def change_statements(self, children, name, path):
        for child in children:
            self.leave_out(child, name, path, "")
        for first, second in zip(children, children[1:]):
            # To move a jump before a statement is the same as to leave that statement out, which is a mutant already.
            if first.kind in JUMPS or second.kind in JUMPS or second.kind == Kind.CASE_STMT:
                continue
            if any(self.is_plain_declaration(statement) for statement in (first, second)):
                continue
            if not equivalence.statements_commute(first, second):
                self.add_swap(name, path, "statements swapped", self.extent(name, first, True),
                              self.extent(name, second, True))

    @staticmethod
    def is_plain_declaration(statement):
        """Returns whether it declares only variables without constructor and destructor."""
        return statement.kind == Kind.DECL_STMT and all(
            variable.type.is_pod() for variable in statement.get_children() if variable.kind == Kind.VAR_DECL)

    def leave_out(self, child, name, path, instead):
        # The statements inside an if or a block are candidates themselves. Without a plain declaration, the source
        # would not compile.
        if child.kind not in (Kind.COMPOUND_STMT, Kind.IF_STMT, Kind.NULL_STMT) + LABELS and \
                not self.is_plain_declaration(child):
            self.add(name, path, "left out", self.extent(name, child, True), instead)

    def leave_out_bodies(self, cursor, children, name, path):
        """Leaves out statements without braces after an if, an else, a loop's head or a label."""
        bodies = children[-1:]
        if cursor.kind in (Kind.DO_STMT, Kind.IF_STMT):
            bodies = children[:1] if cursor.kind == Kind.DO_STMT else children[1:]
        for body in bodies:
            self.leave_out(body, name, path, ";")

    def swap_members(self, children, name, path):
        fields = [child for child in children if child.kind == Kind.FIELD_DECL]
        for first, second in zip(fields, fields[1:]):
            if not (first.type.is_pod() and second.type.is_pod()):  # else the order of members has no effect
                self.add_swap(name, path, "members swapped", self.extent(name, first, True),
                              self.extent(name, second, True))

    # ---- Operators and conditions ---------------------------------------------------------------

    @staticmethod
    def is_class_operator(cursor):
        """Returns whether it is a binary operator that a class defines."""
        return (cursor.kind == Kind.CALL_EXPR and cursor.spelling.startswith("operator") and
                cursor.spelling[len("operator"):] in OTHER_OPERATOR and len(list(cursor.get_arguments())) == 2)

    def invert(self, condition, name, path):
        if not condition.kind.is_expression():
            return
        start, end = self.extent(name, condition)
        text = self.text(name, start, end).decode()
        inner, children = condition, list(condition.get_children())
        while inner.kind in equivalence.WRAPPERS and len(children) == 1:
            inner = children[0]
            children = list(inner.get_children())
        # For these, the mutant with the inverse operator is the same.
        if inner.kind == Kind.UNARY_OPERATOR and text.startswith("!"):
            return
        if (inner.kind == Kind.BINARY_OPERATOR or self.is_class_operator(inner)) and \
                equivalence.operator_between(children[0], children[-1])[0] in ("==", "!="):
            return
        self.add(name, path, "condition inverted", (start, end), f"!({text})")

    def change_operator(self, left, right, name, path):
        sign, at = equivalence.operator_between(left, right)
        if sign not in OTHER_OPERATOR:  # an operator inside a macro, or an assignment
            return
        self.add(name, path, "operator changed", (at, at + len(sign)), OTHER_OPERATOR[sign])
        if sign in ("&&", "||"):
            if left.kind == Kind.BINARY_OPERATOR and equivalence.sign_of(left) == sign:
                left = list(left.get_children())[1]
            if not equivalence.operands_commute(left, right):
                self.add_swap(name, path, "operands swapped", self.extent(name, left), self.extent(name, right))

    def change_unary_operator(self, cursor, name, path):
        start, end = self.extent(name, cursor)
        text = self.text(name, start, end).decode()
        for sign in ("++", "--"):
            if text.startswith(sign):
                self.add(name, path, "operator changed", (start, start + 2), OTHER_OPERATOR[sign])
            elif text.endswith(sign):
                self.add(name, path, "operator changed", (end - 2, end), OTHER_OPERATOR[sign])
        if text.startswith("!"):
            self.add(name, path, "operator changed", (start, start + 1), "")

    # ---- Constants ------------------------------------------------------------------------------

    def change_constant(self, cursor, name, path):
        start, end = self.extent(name, cursor)
        text = self.text(name, start, end).decode(errors="replace")
        new = None
        if cursor.kind == Kind.INTEGER_LITERAL:
            number = re.fullmatch(r"(0[xX][0-9a-fA-F]+|\d+)([uUlL]*)", text)
            if number:
                new = str(int(number[1], 16 if number[1][:2] in ("0x", "0X") else 10) + 1) + number[2]
        elif cursor.kind == Kind.CHARACTER_LITERAL and text.startswith("'"):
            new = "'~'"
        elif cursor.kind == Kind.STRING_LITERAL and text.startswith('"'):
            new = '"~' + text[1:]
        elif cursor.kind == Kind.CXX_BOOL_LITERAL_EXPR and text in ("true", "false"):
            new = "false" if text == "true" else "true"
        elif cursor.kind == Kind.DECL_REF_EXPR and text.endswith(cursor.spelling):
            other = self.next_enumerator(cursor.referenced)
            new = text[:len(text) - len(cursor.spelling)] + other if other else None
        if new is not None:
            self.add(name, path, "constant changed", (start, end), new)

    @staticmethod
    def next_enumerator(constant):
        """Returns the name of the next constant of the same enumeration that has another value; the first follows the
        last. Returns None if there is none, or if `constant` belongs to no enumeration."""
        if constant is None or constant.kind != Kind.ENUM_CONSTANT_DECL:
            return None
        constants = [c for c in constant.semantic_parent.get_children() if c.kind == Kind.ENUM_CONSTANT_DECL]
        here = [c.spelling for c in constants].index(constant.spelling)
        return next((c.spelling for c in constants[here + 1:] + constants[:here]
                     if c.enum_value != constant.enum_value), None)
