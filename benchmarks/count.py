#!/usr/bin/env python3
"""count.py CALLS [FILE] - compares each call of libxavo with the shortest C that makes the same calls into the client
library: instructions, allocations, time; also listings of 10 to 100,000 jobs. CALLS is the program made from calls.c.
Prints the tables of report.py, and writes the figures to FILE as JSON. The exit status is 3 when a call is above its
ceiling, or misses an aim and has no ceiling.

Callgrind counts the instructions in the function `counted`. "Own" instructions are those of libxavo, of its platform
library and of the C library, without those of the client library and the functions that it calls. The client library is
counted for both, because it does not take the same number of instructions for the same calls. Its allocations are not
counted. Times are medians of alternating runs."""
import json
import os
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

import report

SIZES = 10, 100, 1000, 10000, 100000
SIDES = {"libxavo": "libxavo", "by_hand": "by-hand"}
CLIENT, OURS = "libcmpisfcc", ("libxavo", "xavo_calls")
ALLOCATORS = {"malloc", "calloc", "realloc", "strdup"}
program = sys.argv[1]


def output(*arguments):
    """Returns what the program prints; raises CalledProcessError if it fails."""
    return subprocess.run([program, *arguments], check=True, text=True, stdout=subprocess.PIPE).stdout


def read_callgrind(path):
    """Returns the figures in a file that callgrind wrote: own instructions, allocations, and instructions in total."""
    names, total, client, allocations = {}, 0, 0, 0
    caller = callee = function = calling = None
    for line in open(path, encoding="utf-8"):
        key, _, value = line.rstrip("\n").partition("=")
        name = re.match(r"\((\d+)\)(?: (.*))?$", value)
        if name and key in ("ob", "cob", "fn", "cfn"):  # a name follows its number where the number first appears
            name = names.setdefault((key[-2:], name[1]), name[2])
        if key == "ob":
            caller = callee = os.path.basename(name)
        elif key == "cob":
            callee = os.path.basename(name)
        elif key == "cfn":
            function = name
        elif key == "calls":
            calling = int(value.split()[0])
        elif re.match(r"[+*\d-]", line):
            if calling is not None and caller.startswith(OURS):
                client += int(line.split()[1]) if callee.startswith(CLIENT) else 0
                allocations += calling if function in ALLOCATORS else 0
            calling, callee = None, caller
        elif line.startswith("summary: "):
            total = int(line.split()[1])
    return {"own": total - client, "allocations": allocations, "total": total}


def count(operation, side, times, jobs=10):
    """Returns the figures of one call, the mean of `times` calls."""
    with tempfile.NamedTemporaryFile() as out:
        subprocess.run(["valgrind", "--tool=callgrind", "--quiet", "--toggle-collect=counted", "--zero-before=repeat",
                        f"--callgrind-out-file={out.name}", program, operation, side, str(times), str(jobs)],
                       check=True)
        return {name: number / times for name, number in read_callgrind(out.name).items()}


def add_times(figures, operation, times, jobs=10):
    """Adds the time of a call to the figures of both sides, in nanoseconds."""
    for side, line in zip(SIDES, output(operation, "time", str(times), str(jobs)).split()):
        figures[side]["ns"] = float(line)


def measure():
    operations = [line.split() for line in output().splitlines()]
    wanted = [(name, side, 20) for name, _, _ in operations for side in SIDES.values()]
    wanted += [("list", side, 1, jobs) for jobs in reversed(SIZES) for side in SIDES.values()]
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        found = dict(zip(wanted, pool.map(lambda each: count(*each), wanted)))
    data = {"calls": [], "listings": []}
    for name, is_query, further in operations:
        call = {"name": name, "is_query": is_query == "1", "further_allocations": int(further)}
        call.update({key: found[name, side, 20] for key, side in SIDES.items()})
        add_times(call, name, 2001)
        data["calls"].append(call)
    for jobs in SIZES:
        listing = {"jobs": jobs, **{key: found["list", side, 1, jobs] for key, side in SIDES.items()}}
        add_times(listing, "list", 11 if jobs < SIZES[-1] else 5, jobs)
        data["listings"].append(listing)
    return data


figures = measure()
if len(sys.argv) > 2:
    with open(sys.argv[2], "w", encoding="utf-8") as file:
        json.dump(figures, file, indent=1)
result = report.Report(figures)
print(result.text)
sys.exit(3 if result.failures else 0)
