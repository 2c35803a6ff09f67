#!/usr/bin/env python3
"""scripts/conditions.py EXPORT COMMANDS SUMMARY - called by scripts/coverage --mcdc. Prints how many conditions of each
part were seen to decide, and lists the others, in the form of tests/mcdc/explained.txt. Fails if fewer than LEAST are
covered or explained, or if an explained condition is covered or does not exist.
  EXPORT    the output of llvm-cov export
  COMMANDS  compile_commands.json; the sources are compiled again to find the decisions that clang cannot record. Such a
            decision counts as a condition that is not covered, and cannot be explained
  SUMMARY   where the numbers are written as JSON"""
import json
import re
import shlex
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.dont_write_bytecode = True
from mutation import Error  # noqa: E402
from mutation.journal import read_explained  # noqa: E402

EXPLAINED = "tests/mcdc/explained.txt"
PARTS = {"libxavo": "libxavo/src/", "companion": "companion/src/", "worker": "companion/worker/"}
LEAST = {"libxavo": 100, "companion": 73, "worker": 60}  # percent; the aim for the last two is 95
TOKENS = re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])+\'|&&|\|\||[()]')
UNSUPPORTED = re.compile(r"^(\S+?:\d+:\d+): warning: unsupported MC/DC", re.M)


def part_of(path):
    return next((part for part, folder in PARTS.items() if path.startswith(folder)), None)


def relative(name):
    path = Path(name).resolve()
    return str(path.relative_to(ROOT)) if path.is_relative_to(ROOT) else name


def text_between(path, first_line, first_column, last_line, last_column):
    lines = Path(path).read_text().splitlines()[first_line - 1:last_line]
    lines[-1] = lines[-1][:last_column - 1]
    lines[0] = lines[0][first_column - 1:]
    return " ".join(re.sub(r"\s*//.*", "", line).strip() for line in lines)


def conditions_in(text):
    """Returns the operands of the operators && and || in an expression, also of those in parentheses."""
    depth, operators, first_end = 0, [], None
    for token in TOKENS.finditer(text):
        depth += {"(": 1, ")": -1}.get(token[0], 0)
        if depth == 0 and token[0] in ("&&", "||"):
            operators.append(token.span())
        elif depth == 0 and token[0] == ")" and first_end is None:
            first_end = token.end()
    if operators:
        starts = [0] + [end for _, end in operators]
        ends = [start for start, _ in operators] + [len(text)]
        return [each for span in zip(starts, ends) for each in conditions_in(text[slice(*span)].strip())]
    inner = conditions_in(text[1:-1].strip()) if text[:1] == "(" and first_end == len(text) else []
    return inner if len(inner) > 1 else [text]


def plain_names(mangled):
    """Returns the names of functions without their types and namespaces."""
    result = subprocess.run(["llvm-cxxfilt-19"], input="\n".join(mangled), check=True, text=True,
                            stdout=subprocess.PIPE).stdout.splitlines()
    return [re.sub(r"\(.*", "", name.replace("(anonymous namespace)", "")).split("::")[-1] for name in result]


def read_decisions(export):
    """Returns {(path, place): (function, [whether each condition was seen to decide])}. A condition of an inline
    function is covered if it is covered in one of the sources that have the function."""
    functions = json.loads(Path(export).read_text())["data"][0]["functions"]
    decisions = {}
    names = plain_names([function["name"].split(";")[-1].split(":")[-1] for function in functions])
    for name, function in zip(names, functions):
        for *place, file, _, covered in function["mcdc_records"]:
            path = relative(function["filenames"][file])
            if part_of(path):
                _, before = decisions.get((path, *place), (name, [False] * len(covered)))
                decisions[(path, *place)] = (name, [a or b for a, b in zip(before, covered)])
    return decisions


def read_conditions(export):
    """Returns {key of a condition: whether it is covered}."""
    conditions, repeated = {}, {}
    for (path, *place), (name, covered) in sorted(read_decisions(export).items()):
        decision = text_between(path, *place)
        texts = conditions_in(decision)
        if len(texts) != len(covered):  # a macro contains further conditions
            texts = [f"condition {number + 1}" for number in range(len(covered))]
        repeated[path, name, decision] = number = repeated.get((path, name, decision), 0) + 1
        where = f"{path} {name}" + (f" ({number})" if number > 1 else "")
        for index, (text, seen) in enumerate(zip(texts, covered)):
            again = texts[:index].count(text)
            conditions["\n".join([where, f"  - {decision}", f"  + {text}" + f" ({again + 1})" * (again > 0)])] = seen
    return conditions


def unsupported_decisions(commands):
    """Returns the places of the decisions that clang cannot record."""
    places, running = set(), []
    for command in json.loads(Path(commands).read_text()):
        words = shlex.split(command["command"])
        if part_of(relative(command["file"])) and "-fcoverage-mcdc" in words:
            words = words[1:] if words[0].endswith("ccache") else words
            words[words.index("-o") + 1] = "/dev/null"
            running.append(subprocess.Popen(words + ["-O0", "-g0"], cwd=command["directory"], text=True,
                                            stderr=subprocess.PIPE))
            if len(running) == 2:
                places.update(UNSUPPORTED.findall(running.pop(0).communicate()[1]))
    for compiler in running:
        places.update(UNSUPPORTED.findall(compiler.communicate()[1]))
    return {relative(place) for place in places}


def main(export, commands, summary):
    explained = read_explained(EXPLAINED, "condition")
    conditions = read_conditions(export)
    unsupported = unsupported_decisions(commands)
    failed, result = False, {}
    for part, folder in PARTS.items():
        here = {key: seen for key, seen in conditions.items() if key.startswith(folder)}
        here.update({f"{place}: clang cannot record this decision": False
                     for place in unsupported if place.startswith(folder)})
        rest = [key for key, seen in here.items() if not seen]
        known = explained.intersection(rest)
        for key in rest:
            if key not in known:
                print(f"not covered: {key}")
        covered = len(here) - len(rest)
        share = 100 * (covered + len(known)) / max(1, len(here))
        print(f"{part}: {covered} of {len(here)} conditions covered, {len(known)} more explained "
              f"({share:.1f}%, at least {LEAST[part]}%)")
        failed = failed or not here or share < LEAST[part]
        result[part] = {"covered": covered, "total": len(here), "explained": len(known)}
    for key in sorted(explained):
        if conditions.get(key, True):
            print(f"{EXPLAINED}: wrong explanation ({'covered' if key in conditions else 'does not exist'}): {key}")
            failed = True
    Path(summary).write_text(json.dumps(result, indent=1) + "\n")
    return 1 if failed else 0


if __name__ == "__main__":
    try:
        sys.exit(main(*sys.argv[1:]))
    except Error as error:
        sys.exit(f"conditions: {error}")
