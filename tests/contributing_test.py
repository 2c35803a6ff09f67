#!/usr/bin/env python3
"""Compares the lists of CONTRIBUTING.md, "Where a change goes", with the sources: each path exists, and each method,
property or member that exists today is in each file of a step that does not begin with "If"."""
import os
import re
import unittest
from pathlib import Path

os.chdir(Path(__file__).resolve().parents[1])
TEXT = Path("CONTRIBUTING.md").read_text().split("## Where a change goes")[1].split("\n## ")[0]
SECTIONS = dict(part.split("\n", 1) for part in TEXT.split("\n### ")[1:])
TYPES = Path("libxavo/include/XAVO_types.h").read_text()
# XAVO_invoke_BackupRestore calls one of two methods, whose names stand in some places instead of its own.
METHODS_OF = {"BackupRestore": ("BackupImage", "RestoreImage")}


def paths(text):
    """The paths in backquotes, files and folders."""
    return [path for path in re.findall(r"`([^`\s]+)`", text) if "/" in path and "./scripts" not in path]


def steps(section):
    return [" ".join(step.split()) for step in re.split(r"^\d+\. ", SECTIONS[section], flags=re.M)[1:]]


def contents(path):
    """The text of a file, or of the sources in a folder."""
    files = [Path(path)] if Path(path).is_file() else sorted(Path(path).glob("*.cpp"))
    return "".join(file.read_text() for file in files)


def members():
    records = re.findall(r"typedef struct XAVO_\w+_DATA \{(.*?)\n\}", TYPES, re.S)
    return {name for record in records
            for name in re.findall(r"(\w+)(?:\[\d+\])?;", re.sub(r"/\*.*?\*/", "", record, flags=re.S))}


ITEMS = {
    "A method": re.findall(r"\bXAVO_invoke_(\w+)\(XAVO_Proxy", Path("libxavo/include/XAVO.h").read_text()),
    "A property of a job": re.findall(r"ROW\((\w+)\)", TYPES.split("XAVO_JOB_PROPERTIES(ROW)")[1].split("\n\n")[0]),
    "A member of a record": members(),
}


def has(text, item):
    """Whether a text has an item, perhaps behind "XAVO_invoke_", or all of its methods (METHODS_OF)."""
    return re.search(rf"\b(XAVO_invoke_)?{item}\b", text) or \
        (item in METHODS_OF and all(has(text, method) for method in METHODS_OF[item]))


class Places(unittest.TestCase):
    def test_paths_exist(self):
        found = paths(TEXT)
        self.assertGreater(len(found), 40)
        self.assertEqual([path for path in found if not Path(path).exists()], [])

    def test_what_exists_is_in_each_place(self):
        for section, items in ITEMS.items():
            self.assertGreater(len(items), 6, section)
            for step in steps(section):
                if step.startswith("If "):
                    continue
                for path in paths(step.split(": ")[0]):
                    text = contents(path)
                    with self.subTest(section, path=path):
                        self.assertEqual([item for item in items if not has(text, item)], [])


if __name__ == "__main__":
    unittest.main()
