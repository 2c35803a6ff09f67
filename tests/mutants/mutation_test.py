#!/usr/bin/python3
"""Tests of scripts/mutate. Exit status 77 (skipped) without clang's bindings, Debian's python3-clang."""
import contextlib
import io
import json
import os
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

# What the functions of the rows below can use.
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

# An expression, and whether swapping the operands of its && or || is a mutant.
OPERANDS = (
    ("a && b", False), ("n == 1 || c != GOOD", False), ("a && !(b && n < -1)", False), ("one_ && !other_", False),
    ("p != nullptr && v.number == 1", False), ("r.pair.x == 1 && r.left != nullptr", False), ("u + 1 > 2 || a", False),
    ("(u & ~7u) == 0 && static_cast<long>(n) == 5", False), ("a || sizeof(*p) == 4", False),
    ("(a ? b : c) && a", False),
    ("a && call()", True), ("call() && a", True), ("a && v", True), ("a && v.get() == 1", True),
    ("a && r.pair == Pair()", True), ("EITHER(b, call()) && EITHER(a, b)", True),
    ("p != nullptr && *p == 1", True), ("p != nullptr && p[0] == 1", True), ("t && t->leaf == 1", True),
    ("t && t->pair.x == 1", True), ("a && tree_->leaf == 1", True), ("n != 0 && 8 / n == 1", True),
    ("n != 0 && 8 % n == 1", True), ("n < 9 && n + 1 == 3", True), ("n < 9 && -n == 3", True),
    ("n < 9 && 1 << n == 2", True),
    ("a && (b = a)", True), ("a && n++ == 1", True), ("a && (call(), b)", True), ("a && device == 1", True),
    ("a && [] { return true; }()", True), ("a && new int", True), ("a && *&b", True), ("a && b && call()", True),
    ("EITHER(a, b)", False), ("a && EITHER(b, call())", True),
)
# Two statements, and whether swapping them is a mutant.
STATEMENTS = (
    ("n = 1; u = 2;", False), ("n = -1; p = nullptr;", False), ("Pair q{}; if (a) { q.x = 1; q.y = 2; }", False),
    ("Pair q{}; if (a) { q.x = 1; n = 2; }", False), ("a = true; c = GOOD;", False),
    ("n = 1; n = 2;", True), ("*p = 1; n = 2;", True), ("p[0] = 1; n = 2;", True), ("t->leaf = 1; n = 2;", True),
    ("r.leaf = 1; n = 2;", True),
    ("global = 1; n = 2;", True), ("elsewhere = 1; n = 2;", True), ("Tree::shared = 1; n = 2;", True),
    ("device = 1; n = 2;", True), ("one_ = true; n = 2;", True), ("n = u; u = 2;", True), ("n = 1; u = n;", True),
    ("n = 1; u = call();", True), ("n = 1; n += 2;", True), ("int &m = n; if (a) { m = 1; n = 2; }", True),
    ("static int s; if (a) { s = 1; n = 2; }", True), ("volatile int d; if (a) { d = 1; n = 2; }", True),
    ("Tree q{0, t, n}; if (a) { q.other = 1; n = 2; }", True), ("Tree q{0, t, n}; if (a) { q.a = 1; q.b = 2; }", True),
    ("Pair q{}; if (a) { q = Pair(); q.x = 2; }", True), ("Value w{}; if (a) { w.number = 1; w.number = 2; }", True),
    ("int m[2]; if (a) { m[0] = 1; n = 2; }", True),
)
# A function's body, and every mutant of it, as its old and new text.
RULES = (
    ("call();", {"call(); > "}),
    ("if (a) return b;", {"a > !(a)", "return b; > ;"}),
    ("if (!a) { call(); }", {"! > ", "call(); > "}),
    ("while (n == 1) call();", {"while (n == 1) call(); > ", "== > !=", "1 > 2", "call(); > ;"}),
    ("do --n; while (u);", {"do --n; while (u); > ", "--n; > ;", "-- > ++", "u > !(u)"}),
    ("n = a ? 0x0F : 'x';", {"n = a ? 0x0F : 'x'; > ", "a > !(a)", "0x0F > 16", "'x' > '~'"}),
    ("c = WORSE;", {"c = WORSE; > ", "WORSE > GOOD"}),
    ("n <<= 1; call();", {"n <<= 1; > ", "<<= > >>=", "1 > 2", "call(); > ", "n <<= 1; call(); > call(); n <<= 1;"}),
    ("int m = n; call();", {"call(); > "}),
    ('const char *s = "s"; return s /* a sign */ == nullptr;', {
        '"s" > "~s"', "== > !=", "return s /* a sign */ == nullptr; > "}),
)


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
        for table, rule, form in ((OPERANDS, "operands swapped", "return %s;"),
                                  (STATEMENTS, "statements swapped", "%s")):
            for (text, expected), found in zip(table, mutants_of([form % text for text, _ in table])):
                # Without those of the block around the two statements.
                swaps = [m for m in found if m.rule == rule and "{" not in m.old.replace("[] {", "")]
                with self.subTest(text):
                    self.assertEqual(bool(swaps), expected, [m.new for m in swaps])

    def test_each_rule_makes_its_mutants(self):
        for (text, expected), found in zip(RULES, mutants_of([text for text, _ in RULES])):
            with self.subTest(text):
                made = {f"{m.old} > {m.new}" for m in found}
                self.assertEqual(made, expected)


# Lines of a file of explanations, and what is read, or the message.
SOURCE = "libxavo/src/XAVO/XAVO.cpp f"
EXPLAINED = (
    (["# A comment.", "reason: R", SOURCE, "  - a", "  + b", SOURCE + "::operator bool (2)", "  - +"],
     {f"{SOURCE}\n  - a\n  + b", f"{SOURCE}::operator bool (2)\n  - +"}),
    ([SOURCE, "  - a"], "1: a mutant without a reason"),
    (["reason: R", "reason: S", SOURCE, "  - a"], "2: the reason above explains no mutant"),
    (["reason: R", SOURCE, SOURCE, "  - a"], "3: the mutant above has no old text"),
    (["reason: R", SOURCE, "  + a"], "3: the mutant above has no old text"),
    (["reason: R", SOURCE, "  - a", SOURCE, "  - a"], "6: the mutant above is listed twice"),
    (["reason: R", "libxavo/src/gone.cpp f", "  - a"], "2: there are no mutants of libxavo/src/gone.cpp"),
    (["reason: R", SOURCE, "  - a", "  - b"], "4: neither a reason nor a mutant:   - b"),
)


def mutant(old, new, path="libxavo/src/XAVO/XAVO.cpp"):
    return rules.Mutant(path, "f", "rule", 0, 1, old, new)


class Explanations(unittest.TestCase):
    def test_file_is_read_or_its_wrong_line_named(self):
        for lines, expected in EXPLAINED:
            with self.subTest(lines), tempfile.TemporaryDirectory() as folder:
                path = Path(folder) / "explained"
                path.write_text("\n".join(lines) + "\n")
                try:
                    found = journal.read_explained(path)
                except Error as error:
                    found = str(error).removeprefix(f"{path}:")
                self.assertEqual(found, expected)

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
        gone, elsewhere = mutant("c", "d").key, mutant("c", "d", "platform/src/a.c").key
        for result, explained, counts, good in (
                ("detected: T", set(), (1, 1, 0), True),
                ("detected: T", {elsewhere}, (1, 1, 0), True),
                ("detected: T", {known.key}, (1, 1, 0), False),
                ("detected: T", {gone}, (1, 1, 0), False),
                (judge.SURVIVES, set(), (1, 0, 0), False),
                (judge.SURVIVES, {known.key}, (0, 0, 1), True),
                (judge.NOT_COMPILED, set(), (0, 0, 0), True),
                (judge.SAME_CODE, {known.key}, (0, 0, 0), False)):
            with self.subTest(result, explained=explained):
                results = journal.Journal(self.path, "tree", False)
                results.add(known, result)
                report = journal.Report(["libxavo/src"], [known], [known], results, explained)
                with contextlib.redirect_stdout(io.StringIO()) as printed:
                    report.print("explained")
                report.write(self.path.with_suffix(".json"))
                written = json.loads(self.path.with_suffix(".json").read_text())
                folder = written["folders"][0]
                self.assertEqual((folder["mutants"], folder["detected"], folder["explained"]), counts)
                self.assertEqual((report.good(), not ("survives: " in printed.getvalue() or written["wrong"])),
                                 (good, good))


class Judge(unittest.TestCase):
    def test_waits_for_the_end_or_finds_a_hang(self):
        for command, limit, idle, expected in (("exit 3", 5, 5, 3), ("exec sleep 60", 5, 0.3, None),
                                               ("while :; do :; done", 0.3, 5, None)):
            with self.subTest(command), subprocess.Popen(["sh", "-c", command]) as child:
                self.assertEqual(judge.wait_for(child, limit, idle), expected)
                child.kill()

    def test_names_what_failed(self):
        for log, expected in (("[  FAILED  ] Handle.Opens (1 ms)\n", "Handle.Opens"),
                              ("==1==ERROR: LeakSanitizer: detected memory leaks\n", "LeakSanitizer: detected"),
                              ("a.cpp:1:2: runtime error: null\n", "runtime error"), ("Killed\n", None)):
            self.assertEqual(judge.failure_in(log), expected)

    def test_compares_code_without_sanitizers(self):
        self.assertEqual(judge.for_comparison("c++ -fsanitize=address -O1 -g -Wall -MD -MT b -MF a.d -o a.o -c a.cpp"),
                         ["c++", "-o", "object", "-c", "a.cpp", "-O2", "-g0", "-w"])


if __name__ == "__main__":
    unittest.main()
