"""Runs the tests on a mutant, in a copy of the tree that is built with the sanitizers."""
import hashlib
import json
import os
import re
import shlex
import shutil
import signal
import subprocess
import time
from pathlib import Path

from mutation import Error

# The test programs for the mutants of each folder, with arguments. A trial ends with the first program that fails, so
# the programs that detect most mutants come first. For xavoctl: the preset that builds it, and a pattern of the names
# of the tests in tests/xavoctl that run it. The tests of failed allocations need a build without sanitizers.
TESTS = {
    "libxavo": [("xavo_tests",), ("fuzz_answers", "tests/fuzz/corpus/answers")],
    "companion": [("companion_tests",), ("worker_tests",), ("nightly_backup_test",)],
    "platform": [("platform_tests",)],
    "simulator": [("simulator_tests",), ("xavo_tests",), ("update_test",), ("nightly_backup_test",)],
    "tools": [("xavoctl", "asan", "^(reading|changing|a dry run|records|completion|listings|jobs that)"),
              ("xavoctl", "dev", ".")],
}
# Results of a trial. With a result in NO_MUTANT the candidate is no mutant: it does not make a different program.
SURVIVES, NOT_COMPILED, SAME_CODE = "survives", "does not compile", "same code"
NO_MUTANT = (NOT_COMPILED, SAME_CODE)
HANGS = "detected: hangs"
IDLE_SECONDS = 6
BATS_TEST_SECONDS = 180  # a test of xavoctl that takes longer fails


def tracked_files():
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], check=True,
                           stdout=subprocess.PIPE).stdout.decode().split("\0")
    return [name for name in names if name and os.path.isfile(name)]


def processor_seconds(pid):
    """Returns the CPU time that a process has used, in seconds."""
    with open(f"/proc/{pid}/stat") as stat:
        user, system = stat.read().rsplit(")", 1)[1].split()[11:13]
    return (int(user) + int(system)) / os.sysconf("SC_CLK_TCK")


def wait_for(child, limit, idle, log):
    """Waits for a process, and returns its exit status; 1 as soon as its output says that a test failed. Returns None
    if the process has used `limit` seconds of CPU time, has used no CPU time for `idle` seconds, or has run for three
    times `limit` seconds."""
    used, since = 0, time.monotonic()
    end = since + 3 * limit
    while used < limit and time.monotonic() < min(since + idle, end):
        try:
            return child.wait(0.05)
        except subprocess.TimeoutExpired:
            now = processor_seconds(child.pid)
        if re.search(r"^not ok ", log.read_text(errors="replace"), re.M):
            return 1
        if now != used:
            used, since = now, time.monotonic()
    return None


def failure_in(log):
    """Returns the name of the failed test, or of the sanitizer, in a test program's output; None if it has neither."""
    found = re.search(r"^(?:\[  FAILED  \] ([\w/.]+)|not ok \d+ (.+))", log, re.M) or \
        re.search(r"((?:Address|Leak)Sanitizer: [\w-]+|runtime error)", log)
    return next(filter(None, found.groups())) if found else None


def end_session(leader):
    """Ends the processes that a test program started. Those of bats are in groups of their own."""
    for status in Path("/proc").glob("[0-9]*/stat"):
        try:
            if int(status.read_text().rsplit(")", 1)[1].split()[3]) == leader:
                os.kill(int(status.parent.name), signal.SIGKILL)
        except (OSError, IndexError):
            pass  # it has ended


def comparison_command(command):
    """Returns the words of a compile command that optimises, without sanitizers, debug information and warnings."""
    words = [w for w in shlex.split(command) if not re.match(r"-f(no-)?sanitize|-O|-g|-W", w)]
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
            failed = [subprocess.run(["cmake", "--preset", preset, "-DXAVO_WERROR=OFF",
                                      f"-DXAVO_BUILD_TOOLS={'ON' if 'tools' in parts else 'OFF'}",
                                      # So that an uninitialised variable does not have the right value by chance.
                                      "-DCMAKE_C_FLAGS=-ftrivial-auto-var-init=pattern",
                                      "-DCMAKE_CXX_FLAGS=-ftrivial-auto-var-init=pattern"],
                                     cwd=self.folder, stdout=log, stderr=log).returncode
                      for preset in self.targets(parts)]
        if any(failed) or not all(self.build(targets, preset) for preset, targets in self.targets(parts).items()):
            raise Error(f"the tree does not build; see {self.log}")

    @staticmethod
    def targets(parts):
        """Returns what is built for the tests of these folders, by preset."""
        targets = {"asan": sorted({test[0] for part in parts for test in TESTS[part]})}
        if "tools" in parts:
            targets["asan"].append("xavoctl_print_records")
            targets["dev"] = ["xavoctl", "xavoctl_print_records", "xavoctl_fail_call"]
        return targets

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

    def build(self, programs, preset="asan"):
        with open(self.log, "a") as log:
            return subprocess.run(["cmake", "--build", self.folder / "build" / preset, "--parallel", "1", "--target",
                                   *programs], stdout=log, stderr=log).returncode == 0

    def compile_commands(self):
        return json.loads((self.folder / "build/asan/compile_commands.json").read_text())

    def command(self, program, *arguments):
        """Returns the command of a test, the preset that builds its program, and its environment."""
        if program != "xavoctl":
            tests = (self.folder / "build/asan/tests").resolve()
            arguments = [a if a.startswith("-") else (self.folder / a).resolve() for a in arguments]
            return "asan", [tests / program, *arguments], {"GTEST_FAIL_FAST": "1", "GTEST_BRIEF": "1"}
        preset, names = arguments
        build = (self.folder / "build" / preset).resolve()
        environment = {"XAVOCTL": build / "tools/xavoctl", "BATS_TEST_TIMEOUT": str(BATS_TEST_SECONDS),
                       "XAVOCTL_PRINT_RECORDS": build / "tests/libxavoctl_print_records.so"}
        if preset == "dev":
            environment["XAVOCTL_FAIL_CALL"] = build / "tests/libxavoctl_fail_call.so"
        tests = (self.folder / "tests/xavoctl").resolve()
        return preset, ["bats", "--jobs", "8", "--filter", names, tests], environment

    def run_tests(self, part, limit, idle=IDLE_SECONDS):
        """Returns the result of a folder's tests: SURVIVES, NOT_COMPILED, or what detected the change."""
        if part == "tools":
            idle = 3 * limit  # bats waits for its tests
        for program, *arguments in TESTS[part]:
            preset, command, environment = self.command(program, *arguments)
            self.log.unlink(missing_ok=True)
            if not self.build([program], preset):
                return NOT_COMPILED
            environment = dict(os.environ, ASAN_OPTIONS="strict_string_checks=1:detect_stack_use_after_return=1",
                               **environment)
            with open(self.log, "w") as log:
                child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, env=environment,
                                         cwd=(self.folder / "build" / preset / "tests").resolve(),
                                         start_new_session=True)
                try:
                    status = wait_for(child, limit, idle, self.log)
                finally:
                    end_session(child.pid)
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
        component = root / path.split("/")[0]  # libxavo, whose sources may include the header
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
