# SPDX-License-Identifier: MIT
"""
Many mutants in one program. Each file is compiled once with all its chosen changes, each behind a
guard that asks for the change's number, and each program is linked once; a mutant is a copy of the
program with another number in it. What can't be written so, such as the size of an array in a
structure or the value of a constant, is compiled and linked on its own. The same programs tell
which changes a test reaches.
"""
import concurrent.futures
import shutil
import sys
import threading

from mutation.build import ROOT, Unusable
from mutation.mutants import Span
from mutation.process import run
from mutation.record import MOST, PLACE

MARK = b"vorn-mutant-it:\0"
# Of changes at the same place, the outer ones first.
ORDER = ["statement", "condition", "answer", "operator", "constant"]


class Stillborn(Exception):
    """It does not compile, or not link."""


class Misfit(Exception):
    """These changes can't be in one text."""


class Node:
    """A change, and those within it."""

    def __init__(self, span, mutant=None, number=0, probe=False):
        self.span, self.mutant, self.number, self.probe = span, mutant, number, probe
        self.within = []

    def place(self):
        order = ORDER.index(self.mutant.kind)
        return self.span.begin, not self.probe, -self.span.end, order


def nodes_of(numbers, probes):
    for mutant, number in numbers.items():
        if mutant in probes:
            yield Node(Span(mutant.body, mutant.body), mutant, number, probe=True)
        else:
            yield Node(mutant.around or Span(mutant.begin, mutant.end), mutant, number)


def rewritten(source, numbers, probes=frozenset()):
    """The text with all the changes; of the probes no more than a mark that they were reached."""
    root = Node(Span(0, len(source)))
    open_nodes = [root]
    for node in sorted(nodes_of(numbers, probes), key=Node.place):
        while open_nodes[-1] is not root and open_nodes[-1].span.end <= node.span.begin:
            open_nodes.pop()
        if node.span.end > open_nodes[-1].span.end:
            raise Misfit
        open_nodes[-1].within.append(node)
        open_nodes.append(node)
    return text_of(source, root.span, root.within)


def text_of(source, span, nodes):
    text, at = b"", span.begin
    for node in nodes:
        if span.begin <= node.span.begin and node.span.end <= span.end:
            text += source[at:node.span.begin] + guarded(source, node)
            at = node.span.end
    return text + source[at:span.end]


def guarded(source, node):
    """What stands for the bytes of a node."""
    asked = b"vorn_at(%d)" % node.number
    if node.probe:
        return b" " + asked + b";"
    mutant, new = node.mutant, node.mutant.text.encode()
    if mutant.kind == "operator":
        return guarded_operator(source, node, asked)
    text = text_of(source, node.span, node.within)
    if mutant.kind == "statement":
        return b"if (" + asked + b") ; else " + text
    if mutant.kind == "condition":
        return b"(static_cast<bool>(" + text + b") != " + asked + b")"
    return b"(" + asked + b" ? " + new + b" : " + text + b")"


def guarded_operator(source, node, asked):
    mutant = node.mutant
    if any(inner.span.begin < mutant.end and mutant.begin < inner.span.end
           for inner in node.within):
        raise Misfit
    left = text_of(source, Span(node.span.begin, mutant.begin), node.within)
    right = text_of(source, Span(mutant.end, node.span.end), node.within)
    old, new = source[mutant.begin:mutant.end], mutant.text.encode()
    return b"(" + asked + b" ? ((" + left + b") " + new + b" (" + right + b")) : (" \
        + left + old + right + b"))"


class Schemata:
    """The programs with all the mutants, made when they are asked for."""

    def __init__(self, build, mutants, jobs):
        if len(mutants) >= MOST:
            raise Unusable("so many mutants at once are too many")
        self.build, self.folder = build, build.scratch / "schemata"
        self.folder.mkdir()
        self.numbers = {mutant: number for number, mutant in enumerate(mutants, 1)}
        self.objects, self.expressed, self.marked = {}, set(), set()
        self.linked, self.lock = {}, threading.Lock()
        self.guard = self.support("guard.cpp")
        self.recorder = self.support("recorder.cpp")
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            list(pool.map(self.prepare, sorted({mutant.path for mutant in mutants})))

    def support(self, name):
        """The tool's own part of each program."""
        target = self.folder / f"{name}.o"
        done = run([next(iter(self.build.compile.values()))[0], "-std=c++20", "-O1", "-fPIC",
                    "-fvisibility=hidden", f"-DVORN_MUTANTS={MOST}",
                    f'-DVORN_REACHED="{PLACE}/reached"', f'-DVORN_RECORD="{PLACE}/record"',
                    f"-I{ROOT}", "-c", ROOT / "tools/mutation" / name, "-o", target], 120)
        if done != 0:
            raise Unusable(f"tools/mutation/{name} does not compile")
        return target

    def prepare(self, path):
        """Compiles a file with as many of its mutants as can be."""
        mutants = [mutant for mutant in self.numbers if mutant.path == path]
        expressed, probes = mutants, []
        if not self.compiles(path, mutants):
            expressed = self.fitting(path, mutants)
            alone = [mutant for mutant in mutants if mutant not in expressed and mutant.body]
            probes = self.fitting(path, alone, probes=True)
            if not self.compiles(path, expressed + probes, probes):
                return
        self.objects[path] = self.object_of(path)
        self.expressed.update(expressed)
        self.marked.update(expressed + probes)

    def object_of(self, path):
        return self.folder / f"{path.replace('/', '-')}.o"

    def fitting(self, path, mutants, probes=False):
        """Those with which the file compiles, found by halves."""
        if not mutants or self.compiles(path, mutants, mutants if probes else (), look_only=True):
            return mutants
        if len(mutants) == 1:
            return []
        half = len(mutants) // 2
        return self.fitting(path, mutants[:half], probes) + \
            self.fitting(path, mutants[half:], probes)

    def compiles(self, path, mutants, probes=(), look_only=False):
        numbers = {mutant: self.numbers[mutant] for mutant in mutants}
        try:
            text = rewritten(self.build.source[path], numbers, frozenset(probes))
        except Misfit:
            return False
        source = self.object_of(path).with_suffix(".cpp")
        source.write_bytes(text)
        command = self.build.object_command(path, source, self.object_of(path))
        command[1:1] = ["-include", str(ROOT / "tools/mutation/guard.h")]
        return run(command + (["-fsyntax-only"] if look_only else []), 120,
                   cwd=self.build.folder) == 0

    def program(self, name):
        """The program with no mutant but the one whose number is written into it."""
        with self.lock:
            if name not in self.linked:
                # The system tests hold nothing of the daemon, but learn what it reaches.
                objects = [self.guard, *(file for path, file in self.objects.items()
                                         if self.build.has(name, path))]
                if name != "vorn":
                    objects.append(self.recorder)
                target = self.folder / (name if name == "vorn" else f"{name}_tests")
                if run(self.build.link_with(name, objects, target), 120,
                       cwd=self.build.folder) != 0:
                    raise Unusable(f"{target.name} can't be linked with the changes in it")
                self.linked[name] = target
            return self.linked[name]

    def reaching(self, mutant, tests):
        """All of them if nobody can tell."""
        if mutant not in self.marked:
            return tests
        return [test for test in tests if self.numbers[mutant] in test.reached]

    def mutated(self, name, mutant, folder):
        """The program with the mutant in it; some tests look for their own name."""
        target = folder / (name if name == "vorn" else f"{name}_tests")
        if mutant not in self.expressed:
            self.make_alone(name, mutant, target)
            return target
        shutil.copy(self.program(name), target)
        with target.open("r+b") as file:
            at = file.read().index(MARK) + len(MARK)
            file.seek(at)
            file.write(self.numbers[mutant].to_bytes(4, sys.byteorder))
        return target

    def make_alone(self, name, mutant, target):
        replaced = target.parent / "mutant.o"
        if not replaced.exists():
            source = target.parent / "mutant.cpp"
            source.write_bytes(mutant.applied(self.build.source[mutant.path]))
            made(self.build.object_command(mutant.path, source, replaced), self.build)
        made(self.build.link_with(name, [replaced], target), self.build)


def made(command, build):
    if run(command, 120, cwd=build.folder) != 0:
        raise Stillborn
