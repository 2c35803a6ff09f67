"""Runs the tests on a mutant, in a copy of the tree that is built with the sanitizers."""
import hashlib
import json
import os
import re
import shutil
import signal
import subprocess
import time
from pathlib import Path

from mutation import Error

# The test programs for the mutants of each folder, with arguments. A trial ends with the first program that fails, so
# the programs that detect most mutants come first.
TESTS = {
    "libxavo": [("xavo_tests",), ("fuzz_answers", "tests/fuzz/corpus/answers")],
    "companion": [("companion_tests",), ("worker_tests",), ("nightly_backup_test",)],
    "platform": [("platform_tests",)],
    "simulator": [("simulator_tests",), ("xavo_tests",), ("update_test",), ("nightly_backup_test",)],
}
# Results of a trial. With a result in NO_MUTANT the candidate is no mutant: it does not make a different program.
SURVIVES, NOT_COMPILED, SAME_CODE = "survives", "does not compile", "same code"
NO_MUTANT = (NOT_COMPILED, SAME_CODE)
HANGS = "detected: hangs"
IDLE_SECONDS = 6


def tracked_files():
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], check=True,
                           stdout=subprocess.PIPE).stdout.decode().split("\0")
    return [name for name in names if name and os.path.isfile(name)]


def processor_seconds(pid):
    """Returns the CPU time that a process has used, in seconds."""
    with open(f"/proc/{pid}/stat") as stat:
        user, system = stat.read().rsplit(")", 1)[1].split()[11:13]
    return (int(user) + int(system)) / os.sysconf("SC_CLK_TCK")


def wait_for(child, limit, idle):
    """Waits for a process, and returns its exit status. Returns None if the process has used `limit` seconds of CPU
    time, has used no CPU time for `idle` seconds, or has run for three times `limit` seconds."""
    used, since = 0, time.monotonic()
    end = since + 3 * limit
    while used < limit and time.monotonic() < min(since + idle, end):
        try:
            return child.wait(0.05)
        except subprocess.TimeoutExpired:
            now = processor_seconds(child.pid)
        if now != used:
            used, since = now, time.monotonic()
    return None


def failure_in(log):
    """Returns the name of the failed test, or of the sanitizer, in a test program's output; None if it has neither."""
    found = re.search(r"^\[  FAILED  \] ([\w/.]+)", log, re.M) or \
        re.search(r"((?:Address|Leak)Sanitizer: [\w-]+|runtime error)", log)
    return found.group(1) if found else None


def comparison_command(command):
    """Returns the words of a compile command that optimises, without sanitizers, debug information and warnings."""
    words = [w for w in command.split() if not re.match(r"-f(no-)?sanitize|-O|-g|-W", w)]
    words[words.index("-o") + 1] = "object"
    words = [w for i, w in enumerate(words) if w not in ("-MD", "-MT", "-MF") and words[i - 1] not in ("-MT", "-MF")]
    return words + ["-O2", "-g0", "-w"]


class Copy:
    """A copy of the tree in a folder of its own, in which mutants are built and judged."""

    def __init__(self, folder):
        self.folder = Path(folder)
        self.log = self.folder / "log"

    def prepare(self, parts):
        """Makes the copy equal to the tree, and builds the test programs for these folders."""
        self.folder.mkdir(parents=True, exist_ok=True)
        self.update()
        with open(self.log, "w") as log:
            configured = subprocess.run(["cmake", "--preset", "asan", "-DXAVO_WERROR=OFF", "-DXAVO_BUILD_TOOLS=OFF",
                                         # So that an uninitialised variable does not have the right value by chance.
                                         "-DCMAKE_CXX_FLAGS=-ftrivial-auto-var-init=pattern"],
                                        cwd=self.folder, stdout=log, stderr=log).returncode == 0
        if not configured or not self.build(sorted({test[0] for part in parts for test in TESTS[part]})):
            raise Error(f"the tree does not build; see {self.log}")

    def update(self):
        """Copies the files that differ, and removes those that the tree no longer has. The others keep their times, so
        that they are not built again."""
        names = tracked_files()
        for folder in {name.split("/")[0] for name in names if "/" in name}:
            for old in (self.folder / folder).rglob("*"):
                if old.is_file() and str(old.relative_to(self.folder)) not in names:
                    old.unlink()
        for name in names:
            target = self.folder / name
            if not target.exists() or target.read_bytes() != Path(name).read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(name, target)

    def build(self, programs):
        with open(self.log, "a") as log:
            return subprocess.run(["cmake", "--build", self.folder / "build/asan", "--parallel", "1", "--target",
                                   *programs], stdout=log, stderr=log).returncode == 0

    def compile_commands(self):
        return json.loads((self.folder / "build/asan/compile_commands.json").read_text())

    def run_tests(self, part, limit, idle=IDLE_SECONDS):
        """Returns the result of a folder's tests: SURVIVES, NOT_COMPILED, or what detected the change."""
        tests = (self.folder / "build/asan/tests").resolve()
        environment = dict(os.environ, GTEST_FAIL_FAST="1", GTEST_BRIEF="1",
                           ASAN_OPTIONS="strict_string_checks=1:detect_stack_use_after_return=1")
        for program, *arguments in TESTS[part]:
            self.log.unlink(missing_ok=True)
            if not self.build([program]):
                return NOT_COMPILED
            command = [tests / program] + [a if a.startswith("-") else (self.folder / a).resolve() for a in arguments]
            with open(self.log, "w") as log:
                child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, cwd=tests,
                                         env=environment, start_new_session=True)
                status = wait_for(child, limit, idle)
                try:
                    os.killpg(child.pid, signal.SIGKILL)  # the processes that it started, too
                except ProcessLookupError:
                    pass
                child.wait()
            if status is None:
                return HANGS
            if status != 0:
                found = failure_in(self.log.read_text(errors="replace"))
                return "detected: " + (found or f"{program}, status {status}")
        return SURVIVES

    def object_code(self, path):
        """Returns a checksum of the code that an optimising compiler makes of the file or, for a header, of every
        source that may include it."""
        root = self.folder.resolve()
        is_header = path.endswith(".h")
        component = root.joinpath(*path.split("/")[:2])  # libxavo/src, whose sources may include the header
        whole = hashlib.sha256()
        for command in sorted(self.compile_commands(), key=lambda c: c["file"]):
            source = Path(command["file"])
            if source != root / path and not (is_header and component in source.parents):
                continue
            subprocess.run(comparison_command(command["command"]), cwd=self.folder, check=True,
                           stderr=subprocess.DEVNULL)
            whole.update((self.folder / "object").read_bytes())
        return whole.hexdigest()

    def attempt(self, mutant, limit):
        """Changes the file, runs the tests and restores the file; returns the result."""
        part = mutant.path.split("/")[0]
        file = self.folder / mutant.path
        original = file.read_bytes()
        changed = original[:mutant.start] + mutant.new.encode() + original[mutant.end:]
        file.write_bytes(changed)
        try:
            result = self.run_tests(part, limit)
            if result not in (SURVIVES, HANGS):
                return result
            code = self.object_code(mutant.path)
            file.write_bytes(original)
            if code == self.object_code(mutant.path):
                return SAME_CODE
            if result == HANGS:  # the machine may have been busy: try again with more time
                file.write_bytes(changed)
                result = self.run_tests(part, 3 * limit, 30)
            return result
        finally:
            file.write_bytes(original)
            os.utime(file)
