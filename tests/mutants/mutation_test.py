#!/usr/bin/python3
"""Tests of scripts/mutate. Exit status 77 (skipped) without clang's bindings, Debian's python3-clang."""
import contextlib
import io
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
os.chdir(ROOT)
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))
try:
    from mutation import Error, journal, judge, rules
except ImportError as missing:
    print(missing)
    sys.exit(77)

# The declarations that the rows of rules.txt use.
HEADER = """
struct Pair { int x, y; bool operator==(const Pair &o) const { return x == o.x; } };
struct Tree { int leaf; Tree *left; int &other; union { int a; float b; }; Pair pair; static int shared; };
struct Value { int number; explicit operator bool() const; int get() const; };
enum Code { GOOD, BAD, WORSE = BAD };
bool call(); int global; extern int elsewhere; extern volatile int device;
#define EITHER(x, y) ((x) || (y))
struct Member { bool one_, other_; Tree *tree_;
"""
BODY = "bool f%d(bool a, bool b, int n, unsigned u, int *p, const Value &v, Tree *t, Tree &r, Code c) { %s }\n"



def rows(kind):
    """The rows of a kind in rules.txt: the place of each, its text, and its other cells."""
    found = []
    for number, line in enumerate(Path("tests/mutants/rules.txt").read_text().splitlines(), 1):
        if line.startswith(" "):
            found[-1][1] += " " + line.strip()
        else:
            found.append([f"rules.txt:{number}", line])
    found = [(where, line.split(" | ")) for where, line in found]
    return [(f"{where}: {cells[1]}", cells[1], cells[2:]) for where, cells in found if cells[0] == kind]


def mutants_of(bodies):
    """The mutants of each of some functions."""
    with tempfile.TemporaryDirectory() as folder:
        source = Path(folder) / "source.cpp"
        source.write_text(HEADER + "".join(BODY % row for row in enumerate(bodies)) + "};\n")
        name = os.path.relpath(source)
        finder = rules.Finder([name])
        finder.read(name, ["-std=c++17"])
        found = [[] for _ in bodies]
        for mutant in finder.mutants():
            if mutant.function.startswith("Member::f"):
                found[int(mutant.function[len("Member::f"):])].append(mutant)
        return found


class Rules(unittest.TestCase):
    def test_swaps_that_change_nothing_are_no_mutants(self):
        for kind, form in (("operands", "return %s;"), ("statements", "%s")):
            table = rows(kind)
            for (where, _, cells), found in zip(table, mutants_of([form % text for _, text, _ in table])):
                # Without those of the block around the two statements.
                swaps = [m for m in found if m.rule == f"{kind} swapped" and "{" not in m.old.replace("[] {", "")]
                with self.subTest(where):
                    self.assertEqual(["swap"] if swaps else [], cells, [m.new for m in swaps])

    def test_each_rule_makes_its_mutants(self):
        table = rows("rules")
        for (where, _, cells), found in zip(table, mutants_of([text for _, text, _ in table])):
            with self.subTest(where):
                self.assertEqual({f"{m.old} > {m.new}".rstrip() for m in found}, set(cells))


def with_function(text):
    """The lines of a row, with a function of the library in place of "F"."""
    return "\n".join(re.sub("^F", "libxavo/src/XAVO/XAVO.cpp f", line) for line in text.split(";"))


def mutant(old, new, path="libxavo/src/XAVO/XAVO.cpp"):
    return rules.Mutant(path, "f", "rule", 0, 1, old, new)


class Explanations(unittest.TestCase):
    def test_file_is_read_or_its_wrong_line_is_named(self):
        for where, text, expected in rows("explanations"):
            with self.subTest(where), tempfile.TemporaryDirectory() as folder:
                path = Path(folder) / "explained"
                path.write_text(with_function(text) + "\n")
                try:
                    found = journal.read_explained(path)
                except Error as error:
                    found = {str(error).removeprefix(f"{path}:")}
                self.assertEqual(found, {with_function(key) for key in expected})

    def test_file_of_the_tree_can_be_read(self):
        journal.read_explained("tests/mutants/explained.txt")


class Results(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = Path(folder.name) / "journal"

    def test_results_of_another_tree_count_only_if_kept(self):
        known = mutant("a", "b")
        journal.Journal(self.path, "old", False).add(known, judge.SURVIVES)
        journal.Journal(self.path, "old", False).add(known, "detected: T")
        for tree, keep, results, outdated in (("old", False, {known.key: "detected: T"}, set()),
                                              ("new", False, {}, set()),
                                              ("new", True, {known.key: "detected: T"}, {known.key})):
            with self.subTest(tree=tree, keep=keep):
                found = journal.Journal(self.path, tree, keep)
                self.assertEqual((found.results, found.outdated), (results, outdated))

    def test_report_fails_for_survivors_and_for_wrong_explanations(self):
        known = mutant("a", "b")
        keys = {"known": known.key, "gone": mutant("c", "d").key,
                "elsewhere": mutant("c", "d", "platform/src/a.c").key}
        for where, result, (counts, good, *explained) in rows("reports"):
            with self.subTest(where):
                results = journal.Journal(self.path, "tree", False)
                results.add(known, result)
                report = journal.Report(["libxavo/src"], [known], [known], results, {keys[name] for name in explained})
                with contextlib.redirect_stdout(io.StringIO()) as printed:
                    report.print("explained")
                report.write(self.path.with_suffix(".json"))
                written = json.loads(self.path.with_suffix(".json").read_text())
                folder = written["folders"][0]
                self.assertEqual(f"{folder['mutants']} {folder['detected']} {folder['explained']}", counts)
                says_good = not ("survives: " in printed.getvalue() or written["wrong"])
                self.assertEqual((report.good(), says_good), (good == "passes",) * 2)

    def test_files_count_with_their_folder(self):
        for key, folder in (("tools/calls.c f\n  - a / b", "tools"), ("libxavo/src/XAVO/a.cpp f", "libxavo/src")):
            self.assertEqual(journal.folder_of(key), folder)


class Judge(unittest.TestCase):
    def test_waits_for_the_end_or_finds_a_failure_or_a_hang(self):
        for command, limit, idle, expected in (("exit 3", 5, 5, 3), ("exec sleep 60", 5, 0.3, None),
                                               ("echo not ok 1; exec sleep 60", 5, 5, 1),
                                               ("while :; do :; done", 0.3, 5, None)):
            with self.subTest(command), tempfile.NamedTemporaryFile() as log, \
                    subprocess.Popen(["sh", "-c", command], stdout=log, start_new_session=True) as child:
                self.assertEqual(judge.wait_for(child, limit, idle, Path(log.name)), expected)
                judge.end_session(child.pid)

    def test_names_what_failed(self):
        for where, log, expected in rows("failures"):
            with self.subTest(where):
                self.assertEqual(judge.failure_in("ok 1 a\n" + log + "\n"), expected[0] if expected else None)

    def test_compares_code_without_sanitizers(self):
        command = "c++ -fsanitize=address -O1 -g -Wall -MD -MT b -MF a.d -o a.o -c a.cpp"
        self.assertEqual(judge.comparison_command(command),
                         ["c++", "-o", "object", "-c", "a.cpp", "-O2", "-g0", "-w"])


if __name__ == "__main__":
    unittest.main()
