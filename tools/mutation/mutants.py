# SPDX-License-Identifier: MIT
"""Every small change that could be made to a file, by its syntax tree."""
import collections
import dataclasses
import typing

from clang.cindex import CursorKind, Index, TranslationUnitLoadError

from mutation.build import ROOT, Unusable

TURNED = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==",
          "&&": "||", "||": "&&", "+": "-", "-": "+", "+=": "-=", "-=": "+="}
OTHER_WORD = {"true": "false", "false": "true", "ok": "failed", "failed": "ok",
              "nullptr": None}
LEFT_OUT = {CursorKind.CALL_EXPR, CursorKind.BINARY_OPERATOR, CursorKind.UNARY_OPERATOR,
            CursorKind.COMPOUND_ASSIGNMENT_OPERATOR, CursorKind.CXX_DELETE_EXPR,
            CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT}
FUNCTIONS = {CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR,
             CursorKind.DESTRUCTOR, CursorKind.FUNCTION_TEMPLATE, CursorKind.CONVERSION_FUNCTION}


class Function(typing.NamedTuple):
    """Where a change is: the function's name, and where its first statement begins."""
    name: str = ""
    body: int = 0


class Span(typing.NamedTuple):
    begin: int
    end: int


@dataclasses.dataclass(frozen=True)
class Mutant:
    """One small change: some bytes of a file, and what comes in their place."""
    path: str
    begin: int
    end: int
    text: str
    kind: str
    function: str
    body: int
    # Of an operator: the whole expression, and whether the operator that comes in its place would
    # take other operands to itself.
    around: typing.Optional[Span] = None
    regroups: bool = False
    which: int = 1

    def key(self, source):
        """What names the mutant however the lines around it move."""
        old = source[self.begin:self.end].decode()
        which = f" ({self.which})" if self.which > 1 else ""
        return " ".join(
            f"{self.path} {self.function}: {old} -> {self.text or 'nothing'}{which}".split())

    def change(self, source):
        """The bytes that go, and what comes."""
        if not self.regroups:
            return Span(self.begin, self.end), self.text
        left = source[self.around.begin:self.begin].decode().strip()
        right = source[self.end:self.around.end].decode().strip()
        return self.around, f"(({left}) {self.text} ({right}))"

    def applied(self, source):
        span, text = self.change(source)
        return source[:span.begin] + text.encode() + source[span.end:]


def span_of(cursor):
    return Span(cursor.extent.start.offset, cursor.extent.end.offset)


class Finder:
    """Walks the tree of one file and notes every small change that could be made."""

    def __init__(self, path, source):
        self.path, self.source, self.found = path, source, []
        self.operands_of_and = set()

    def note(self, span, text, kind, function, **more):
        self.found.append(Mutant(self.path, span.begin, span.end, text, kind, function.name,
                                 function.body, **more))

    def here(self, cursor):
        start, end = cursor.extent.start, cursor.extent.end
        return start.file is not None and end.file is not None \
            and start.file.name == end.file.name == str(ROOT / self.path) \
            and start.offset < end.offset

    def text_of(self, cursor):
        span = span_of(cursor)
        return self.source[span.begin:span.end].decode()

    def operator(self, cursor, function):
        children = list(cursor.get_children())
        if len(children) != 2 or not all(self.here(child) for child in children):
            return
        left, right = span_of(children[0]), span_of(children[1])
        between = self.source[left.end:right.begin].decode()
        word = between.strip()
        if word not in TURNED:
            return
        at = left.end + between.index(word)
        around = Span(left.begin, right.end)
        self.note(Span(at, at + len(word)), TURNED[word], "operator", function, around=around,
                  regroups=self.regroups(word, around, (left, right)))

    def regroups(self, word, around, operands):
        """`a && b && c` is no longer what it was when one of them alone becomes `||`."""
        if word == "&&":
            self.operands_of_and.update(operands) # which are looked at later
        return word == "&&" and around in self.operands_of_and \
            or word == "||" and any(b"||" in self.source[span.begin:span.end] for span in operands)

    def condition(self, cursor, function):
        first = next(cursor.get_children(), None)
        if first is None or not self.here(first):
            return
        if first.kind.is_declaration() or first.kind == CursorKind.DECL_STMT:
            return
        self.note(span_of(first), f"!({self.text_of(first)})", "condition", function)

    def statement(self, cursor, function):
        for child in cursor.get_children():
            if self.does_nothing(child):
                continue
            if child.kind in LEFT_OUT or child.kind == CursorKind.UNEXPOSED_EXPR:
                if self.here(child):
                    self.note(span_of(child), "", "statement", function)

    def does_nothing(self, cursor):
        """On any machine that the compilers know."""
        return self.here(cursor) and self.text_of(cursor).startswith("va_end(")

    def literal(self, cursor, function):
        try:
            value = int(self.text_of(cursor).rstrip("uUlL").replace("'", ""), 0)
        except ValueError:
            return
        self.note(span_of(cursor), str(value + 1), "constant", function)

    def answer(self, cursor, function):
        for child in cursor.get_children():
            text = self.text_of(child) if self.here(child) else ""
            if OTHER_WORD.get(text):
                self.note(span_of(child), OTHER_WORD[text], "answer", function)

    def function(self, cursor):
        for child in cursor.get_children():
            if child.kind == CursorKind.COMPOUND_STMT and self.here(child):
                return Function(cursor.spelling, span_of(child).begin + 1)
        return Function(cursor.spelling)

    def walk(self, cursor, function=Function()):
        for child in cursor.get_children():
            if not self.here(child) and child.kind != CursorKind.UNEXPOSED_DECL:
                continue
            if function.name:
                self.look_at(child, function)
            self.walk(child, self.function(child) if child.kind in FUNCTIONS else function)

    def look_at(self, cursor, function):
        kind = cursor.kind
        if kind in (CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR):
            self.operator(cursor, function)
        elif kind in (CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.CONDITIONAL_OPERATOR):
            self.condition(cursor, function)
        elif kind == CursorKind.COMPOUND_STMT:
            self.statement(cursor, function)
        elif kind == CursorKind.INTEGER_LITERAL:
            self.literal(cursor, function)
        elif kind == CursorKind.RETURN_STMT:
            self.answer(cursor, function)


def mutants_of(build, path):
    try:
        unit = Index.create().parse(str(ROOT / path), args=build.parse_arguments(path))
    except TranslationUnitLoadError as error:
        raise Unusable(f"{path} can't be parsed") from error
    finder = Finder(path, build.source[path])
    finder.walk(unit.cursor)
    found = sorted(set(finder.found), key=lambda mutant: (mutant.begin, mutant.end, mutant.text))
    return list(numbered(found, build.source[path]))


def numbered(mutants, source):
    """Those of one function that look the same have numbers."""
    seen = collections.Counter()
    for mutant in mutants:
        seen[mutant.key(source)] += 1
        yield dataclasses.replace(mutant, which=seen[mutant.key(source)])
