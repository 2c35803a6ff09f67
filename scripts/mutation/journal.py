"""Stores the results of runs, reads the list of explained mutants, and makes the report."""
import hashlib
import json
import os
import re
from pathlib import Path

from mutation import Error, judge

# The sources and tests on which a result depends.
FOLDERS = ("libxavo", "companion", "platform", "simulator", "tests", "examples", "tools")


def tree_checksum():
    whole = hashlib.sha256()
    for name in sorted(judge.tracked_files()):
        if name.split("/")[0] in FOLDERS:
            whole.update(name.encode() + b"\0" + Path(name).read_bytes())
    return whole.hexdigest()


class Journal:
    """The file of results, with a line {"tree": ..., "mutant": ..., "result": ...} for each trial. A later line
    replaces an earlier one of the same mutant. If `keep` is not set, results of other sources or tests are ignored."""

    def __init__(self, path, tree, keep):
        self.path, self.tree = Path(path), tree
        self.results, self.outdated = {}, set()
        for line in self.path.read_text().splitlines() if self.path.exists() else []:
            entry = json.loads(line)
            if keep or entry["tree"] == tree:
                self.enter(entry)

    def enter(self, entry):
        self.results[entry["mutant"]] = entry["result"]
        (self.outdated.discard if entry["tree"] == self.tree else self.outdated.add)(entry["mutant"])

    def add(self, mutant, result):
        entry = {"tree": self.tree, "mutant": mutant.key, "result": result}
        self.enter(entry)
        with open(self.path, "a") as file:
            file.write(json.dumps(entry) + "\n")


def read_explained(path, what="mutant"):
    """Returns the keys of the mutants, or conditions, that a file lists, each below the reason why no test detects it.
    Raises Error for a line that it cannot read, a mutant without a reason, and a reason without a mutant."""
    lines = Path(path).read_text().splitlines() + ["reason: end"]
    explained, reason, where, change = set(), None, None, []
    for number, line in enumerate(lines, 1):
        here = f"{path}:{number}:"
        if re.match(r"  [-+] ", line) and where and len(change) < 2 and line[2] == "-+"[len(change)]:
            change.append(line)
            continue
        if where:
            if not change:
                raise Error(f"{here} the {what} above has no old text")
            key = "\n".join([where] + change)
            if key in explained:
                raise Error(f"{here} the {what} above is listed twice")
            explained.add(key)
            where, change, reason = None, [], True
        if line.startswith("reason: "):
            if reason is False:
                raise Error(f"{here} the reason above explains no {what}")
            reason = False
        elif re.match(r"[^\s:]+\.(c|cpp|h) \S", line):
            if reason is None:
                raise Error(f"{here} a {what} without a reason")
            name = line.split(" ")[0]
            if name.split("/")[0] not in judge.TESTS or not os.path.isfile(name):
                raise Error(f"{here} there are no {what}s of {name}")
            where = line
        elif line and not line.startswith("#"):
            raise Error(f"{here} neither a reason nor a {what}: {line}")
    return explained


def is_judged(key, result, explained):
    """Returns whether the result counts for the share of detected mutants. A candidate that is no mutant does not
    count, nor does a mutant that survives and is explained."""
    return result not in judge.NO_MUTANT and not (result == judge.SURVIVES and key in explained)


def folder_of(key):
    """Returns the folder under which the report counts a mutant, such as libxavo/src, tools/commands or tools. The key
    of a mutant begins with its file."""
    return "/".join(os.path.dirname(key.split(" ")[0]).split("/")[:2])


class Report:
    """Counts the results of candidates by folder. `all_` has all candidates in `names`, which are files and folders;
    `tried` has the candidates whose results are reported."""

    def __init__(self, names, all_, tried, journal, explained):
        results = {m.key: journal.results[m.key] for m in tried if m.key in journal.results}
        self.folders = []
        for folder in sorted({folder_of(m.key) for m in tried}):
            here = [m.key for m in all_ if folder_of(m.key) == folder]
            known = [key for key in here if key in results]
            judged = [key for key in known if is_judged(key, results[key], explained)]
            surviving = [key for key in judged if results[key] == judge.SURVIVES]
            self.folders.append({
                "folder": folder, "candidates": len(here), "tried": len(known),
                "outdated": sum(key in journal.outdated for key in known),
                "mutants": len(judged), "detected": len(judged) - len(surviving), "surviving": surviving,
                "explained": sum(key in explained and results[key] == judge.SURVIVES for key in known),
            })
        existing = {m.key for m in all_}
        self.wrong = []  # explained mutants that do not exist or that a test detects
        for key in sorted(explained):
            path = key.split(" ")[0]
            if key not in existing and any(path == n or path.startswith(n + "/") for n in names):
                self.wrong.append({"mutant": key, "because": "does not exist"})
            elif results.get(key, judge.SURVIVES) != judge.SURVIVES:
                self.wrong.append({"mutant": key, "because": results[key]})

    def good(self):
        return not self.wrong and not any(folder["surviving"] for folder in self.folders)

    def print(self, explained_path):
        for folder in self.folders:
            for key in folder["surviving"]:
                print(f"survives: {key}")
            share = 100 * folder["detected"] / max(1, folder["mutants"])
            outdated = f", {folder['outdated']} of them on other sources or tests" if folder["outdated"] else ""
            print(f"{folder['folder']}: {folder['mutants']} mutants, {folder['detected']} detected ({share:.1f}%), "
                  f"{len(folder['surviving'])} survive, {folder['explained']} more are explained; "
                  f"{folder['tried']} of {folder['candidates']} candidates tried{outdated}")
        for wrong in self.wrong:
            print(f"{explained_path}: wrong explanation ({wrong['because']}): {wrong['mutant']}")

    def write(self, path):
        Path(path).write_text(json.dumps({"folders": self.folders, "wrong": self.wrong}, indent=1) + "\n")
