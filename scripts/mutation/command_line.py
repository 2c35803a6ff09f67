"""scripts/mutate [--sample N] [--seed S] [--keep] [--survivors] [--explained] [--list] [--report] [--json FILE]
[--jobs N] [FILE-OR-FOLDER...] - makes mutants of the sources by rule, one at a time, in copies of the tree, and prints
those that no test detects.

Without FILE-OR-FOLDER: libxavo/src and companion/src. The rules make candidates: a statement left out, two adjacent
statements swapped, a condition inverted, two operands of && or || swapped, two members swapped, an operator changed, a
constant changed. A swap that, by the syntax of its operands, cannot change anything is no candidate
(scripts/mutation/equivalence.py). A candidate is no mutant if it does not compile, or if an optimising compiler makes
the same code of it as of the original. The tests run under AddressSanitizer, LeakSanitizer and
UndefinedBehaviorSanitizer, in one copy of the tree for each core, or in --jobs N copies. A mutant that makes the tests
hang is detected, too. The tests in tests/xavoctl, which judge the mutants of tools/, mostly wait: for these, give more
--jobs than there are cores. The run fails if a mutant survives that tests/mutants/explained.txt does not list, or if a
mutant that this file lists is detected or does not exist.

build/mutate/journal.jsonl stores every result, so that an interrupted run can continue. After a change of a source or a
test, all results are ignored unless --keep is given.

--survivors tries the mutants again that survived earlier runs and are not explained. --explained tries only the
explained mutants. --sample N tries N mutants; with the same --seed it selects the same mutants, even after other
mutants were added or removed. --list prints the candidates. --report prints all results in the journal. --json FILE
also writes the report as JSON. The exit status is 3 if the run fails as described."""
import argparse
import concurrent.futures
import hashlib
import os
import queue
import re
import shlex
import signal
import subprocess
import sys
from pathlib import Path

from mutation import Error, judge
from mutation.journal import Journal, Report, folder_of, is_judged, read_explained, tree_checksum

WORK = Path("build/mutate")
JOURNAL = WORK / "journal.jsonl"
EXPLAINED = "tests/mutants/explained.txt"


def find_mutants(copy, names):
    """Returns all candidates in these files and folders, which are parsed with the compile commands of the copy."""
    try:
        from mutation import rules  # pylint: disable=import-outside-toplevel
    except ImportError as error:
        raise Error("python3-clang is missing: scripts/bootstrap mutate installs it") from error
    finder, seen = rules.Finder(names), set()
    root = str(copy.folder.resolve())
    for command in copy.compile_commands():
        source = os.path.relpath(command["file"], root)
        if source in seen or not any(source == n or source.startswith(n + "/") or n.startswith(os.path.dirname(source))
                                     for n in names):
            continue
        seen.add(source)
        words = [w for w in shlex.split(command["command"].replace(root, os.getcwd())) if re.match(r"-[ID]|-std=", w)]
        finder.read(source, words + (["-xc++"] if source.endswith(".cpp") else ["-xc"]))
    return finder.mutants()


def time_limit(copy, parts):
    """Returns the CPU seconds that the tests of a mutant may take: 5 more than twice the time without a mutant."""
    limit = 0
    for part in parts:
        before = os.times().children_user
        result = copy.run_tests(part, 600)
        if result != judge.SURVIVES:
            raise Error(f"the tests of {part} fail without a mutant: {result}")
        limit = max(limit, 5 + 2 * (os.times().children_user - before))
    return limit


def try_mutants(mutants, wanted, copies, limit, journal, explained):
    """Tries mutants, one at a time in each copy, until `wanted` results count (see is_judged). Returns these mutants,
    including those whose results were known before."""
    free = queue.SimpleQueue()
    for copy in copies:
        free.put(copy)

    def attempt(mutant):
        copy = free.get()
        try:
            return mutant, copy.attempt(mutant, limit)
        finally:
            free.put(copy)

    def counts(mutant):
        return is_judged(mutant.key, journal.results[mutant.key], explained)

    reached, todo, running, counted = [], iter(mutants), set(), 0
    with concurrent.futures.ThreadPoolExecutor(len(copies)) as pool:
        try:
            while True:
                while len(running) < len(copies) and counted + len(running) < wanted:
                    mutant = next(todo, None)
                    if mutant is None:
                        break
                    reached.append(mutant)
                    if mutant.key in journal.results:
                        counted += counts(mutant)
                    else:
                        running.add(pool.submit(attempt, mutant))
                if not running:
                    return reached
                done, running = concurrent.futures.wait(running, return_when=concurrent.futures.FIRST_COMPLETED)
                for future in done:
                    mutant, result = future.result()
                    journal.add(mutant, result)
                    counted += counts(mutant)
                    if result == judge.SURVIVES and mutant.key not in explained:
                        print(f"survives: {mutant.key}", flush=True)
                if sys.stderr.isatty():
                    print(f"\r{len(reached)} of {len(mutants)} ", end="", file=sys.stderr, flush=True)
        except KeyboardInterrupt:
            pool.shutdown(cancel_futures=True)
            raise


def positive(text):
    if int(text) < 1:
        raise ValueError
    return int(text)


def parse_arguments(called_from):
    parser = argparse.ArgumentParser(prog="mutate", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--sample", type=positive, metavar="N")
    parser.add_argument("--seed", type=int, default=1, metavar="S")
    for name in ("--keep", "--survivors", "--explained", "--list", "--report"):
        parser.add_argument(name, action="store_true")
    parser.add_argument("--json", metavar="FILE")
    parser.add_argument("--jobs", type=positive, default=os.cpu_count(), metavar="N")
    parser.add_argument("names", nargs="*", metavar="FILE-OR-FOLDER")
    options = parser.parse_args()
    options.names = [os.path.relpath(os.path.join(called_from, name)) for name in options.names]
    options.json = options.json and os.path.join(called_from, options.json)
    return options


def finish(report, options):
    report.print(EXPLAINED)
    if options.json:
        report.write(options.json)
    return 0 if report.good() else 3


def run(options):
    names = options.names or ["libxavo/src", "companion/src"]
    for name in names:
        if not os.path.exists(name) or name.split("/")[0] not in judge.TESTS:
            raise Error(f"{name}: no such file or folder, or there are no tests for its mutants")
    explained = read_explained(EXPLAINED)
    copies = [judge.Copy(WORK / str(number)) for number in range(options.jobs)]
    if options.report:
        if not JOURNAL.exists():
            raise Error("there are no results yet: run scripts/mutate without --report first")
        journal = Journal(JOURNAL, tree_checksum(), keep=True)
        if not options.names:
            names = sorted({folder_of(key) for key in journal.results})
        mutants = find_mutants(copies[0], names)
        return finish(Report(names, mutants, mutants, journal, explained), options)

    if os.environ.get("XAVO_SKIP_BOOTSTRAP") != "1":
        subprocess.run(["scripts/bootstrap", "build", "test", "mutate"], check=True)
    parts = sorted({name.split("/")[0] for name in names})
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        list(pool.map(lambda copy: copy.prepare(parts), copies))
    mutants = find_mutants(copies[0], names)
    if options.list:
        for mutant in mutants:
            print(f"{mutant.rule}: {mutant.key}")
        print(f"{len(mutants)} candidates")
        return 0

    journal = Journal(JOURNAL, tree_checksum(), options.keep or options.survivors)
    limit = time_limit(copies[0], parts)
    chosen = mutants
    if options.survivors:
        chosen = [m for m in chosen if m.key in journal.results]
        journal.results = {key: result for key, result in journal.results.items()
                           if result != judge.SURVIVES or key in explained}
    if options.explained:
        chosen = [m for m in chosen if m.key in explained]
    if options.sample is not None:
        # Sorted by a checksum of each mutant: the sample stays the same when other mutants are added or removed.
        chosen = sorted(chosen, key=lambda m: hashlib.sha256(f"{options.seed} {m.key}".encode()).digest())
    reached = try_mutants(chosen, options.sample or len(chosen), copies, limit, journal, explained)
    print()
    return finish(Report(names, mutants, reached, journal, explained), options)


def main(called_from):
    """Runs the command from the root of the tree; returns its exit status, or a message."""
    def interrupt(*_):
        raise KeyboardInterrupt

    signal.signal(signal.SIGTERM, interrupt)
    try:
        return run(parse_arguments(called_from))
    except (Error, OSError, ValueError, subprocess.CalledProcessError) as error:
        return f"mutate: {error}"
    except KeyboardInterrupt:
        return "mutate: interrupted; the same command continues from here"
