"""Copies of the source tree, each with a build of its own in which mutants are compiled and judged by the tests."""

import filecmp
import functools
import hashlib
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time
from dataclasses import dataclass

# Some optimisation makes the tests twice as fast, costs no time here, and gives more of the mutants that do the same as
# the original the same object code. Warnings are off: a variable that is no longer used does not kill a mutant.
OPTIONS = {
    "CMAKE_BUILD_TYPE": "",
    "CMAKE_CXX_FLAGS": "-O1 -w",
    "CMAKE_UNITY_BUILD": "OFF",
    "POSTWARDEN_BENCH": "OFF",
    "POSTWARDEN_PCH": "ON",
    "POSTWARDEN_TESTS": "ON",
    "POSTWARDEN_UNITY": "",
}
LINKERS = {"mold": "mold", "ld.lld": "lld", "ld.gold": "gold"}  # the fastest first
CLEAN_LIMIT = 900  # seconds for a test of the unchanged program
BUILD_LIMIT = 600  # seconds for what one mutant makes the compiler do
MEMORY = 4 << 30  # bytes that a process may take; a mutant that never stops would take all
COMPILED_AT_ONCE = 3  # so many objects are compiled before any test, to sort out what is no mutant worth a link


class Stopped(Exception):
    """The run ends early."""


class Broken(Exception):
    """What has to work without a mutant does not."""


class Processes:
    """Runs commands in process groups of their own; none outlives its call, nor a stop."""

    def __init__(self):
        self.stopping = threading.Event()

    def run(self, command, cwd, environment, output=subprocess.DEVNULL, limit=None):
        """The exit status, or None when the limit (seconds on a machine that has nothing else to do) was over."""
        with subprocess.Popen(
            command, cwd=cwd, env=environment, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
            start_new_session=True,
        ) as process:
            ended = self._wait(process.pid, limit)
            if not ended:
                # ninja has a group for each compiler, and ends them when it is asked to end.
                os.kill(process.pid, signal.SIGTERM)
                self._wait(process.pid, 2, stops=False)
            # The id of the group is good until its leader is waited for.
            os.killpg(process.pid, signal.SIGKILL)
            status = process.wait()
        if self.stopping.is_set():
            raise Stopped
        return status if ended else None

    def _wait(self, pid, limit, stops=True):
        begin = time.monotonic()
        while os.waitid(os.P_PID, pid, os.WEXITED | os.WNOWAIT | os.WNOHANG) is None:
            over = limit and time.monotonic() - begin > limit and time.monotonic() - begin > limit * slowdown()
            if over or resident(pid) > MEMORY or (stops and self.stopping.is_set()):
                return False
            time.sleep(0.005)
        return True


def resident(pid):
    """Bytes of memory that a process has taken; what it has only reserved is not counted."""
    try:
        with open(f"/proc/{pid}/statm") as file:
            return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")
    except (OSError, IndexError):
        return 0  # it has ended


def slowdown():
    """By how much the machine is slower than when it has nothing else to do."""
    return max(1, os.getloadavg()[0] / (os.cpu_count() or 1))


class Graph:
    """What ninja knows of a configured build: which rule makes an output, from what, and what is made from it."""

    def __init__(self, ask):
        pairs = [line.rpartition(": ")[::2] for line in ask("-t", "targets", "all").splitlines()]
        self.rules = {output: rule for output, rule in pairs if rule != "phony"}
        self.inputs = {output: [] for output in self.rules}
        self.outputs = {}
        node, section = None, None
        for line in ask("-t", "query", *self.rules).splitlines():
            if not line.startswith(" "):
                node = line[:-1]
            elif not line.startswith("    "):
                section = line.split(":")[0].strip()
            elif section == "input":
                kind, _, name = line[4:].rpartition("| ")
                # Behind "||" stands what need only be there before, such as the library of a library; for a program
                # that is another program which it starts.
                if kind != "|" or (self.is_program(node) and self.is_program(name)):
                    self.inputs[node].append(name)
        for output, inputs in self.inputs.items():
            for name in inputs:
                self.outputs.setdefault(name, []).append(output)

    def is_object(self, node):
        return "_COMPILER__" in self.rules.get(node, "") and bool(self.inputs[node])

    def is_program(self, node):
        return "EXECUTABLE_LINKER" in self.rules.get(node, "")

    def is_library(self, node):
        return "LIBRARY_LINKER" in self.rules.get(node, "")

    def reach(self, nodes, edges):
        """What the edges lead to from the nodes, with these."""
        reached, new = set(nodes), list(nodes)
        while new:
            found = set(edges.get(new.pop(), ())) - reached
            reached |= found
            new.extend(found)
        return reached

    def above(self, nodes):
        return self.reach(nodes, self.outputs)

    def below(self, nodes):
        return self.reach(nodes, self.inputs)


@dataclass
class Test:
    name: str
    command: list
    folder: str
    variables: dict
    programs: list  # those among the command that the build makes
    files: list  # what decides how it ends: these, the programs that they start, scripts


class Build:
    """One copy of the tree, its build, and the mutants judged in it."""

    def __init__(self, root, home, processes):
        self.root, self.home, self.processes = root, home, processes
        self.name = home.name
        self.source, self.binary = home / "source", home / "build"
        self.aside = home / "aside"
        self.temporary = tempfile.mkdtemp(prefix="mutants-")
        self.environment = dict(
            os.environ,
            TMPDIR=self.temporary,
            # One build finds again what another one compiled.
            CCACHE_DIR=str(home.parent / "cache"),
            CCACHE_BASEDIR=str(home),
            CCACHE_NOHASHDIR="1",
            CCACHE_MAXSIZE="4G",
        )

    def close(self):
        shutil.rmtree(self.temporary, ignore_errors=True)

    # The copy and its build

    def prepare(self):
        """Makes the copy the same as the tree, touching only what differs, and configures the build."""
        self.source.mkdir(parents=True, exist_ok=True)
        self._synchronise()
        options = dict(OPTIONS)
        linker = next((name for program, name in LINKERS.items() if shutil.which(program)), None)
        if linker:
            options["CMAKE_EXE_LINKER_FLAGS"] = "-fuse-ld=" + linker
        words = ["cmake", "-G", "Ninja", "-S", self.source, "-B", self.binary]
        self._must("configure", words + [f"-D{name}={value}" for name, value in options.items()])
        self.graph = Graph(lambda *words: self._ask("ninja", *words))
        self.objects = {}  # of the sources
        for node in self.graph.rules:
            if self.graph.is_object(node) and self.graph.inputs[node][0].startswith(f"{self.source}/"):
                path = os.path.relpath(self.graph.inputs[node][0], self.source)
                self.objects.setdefault(path, []).append(node)

    def _synchronise(self):
        listed = subprocess.run(
            ["git", "-C", self.root, "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
            capture_output=True, text=True,
        )
        if listed.returncode:
            raise Broken("the files of the tree are told by git, which says: " + listed.stderr.strip())
        wanted = {name for name in listed.stdout.split("\0") if name and (self.root / name).is_file()}
        for path in [path for path in self.source.rglob("*") if not path.is_dir() or path.is_symlink()]:
            if str(path.relative_to(self.source)) not in wanted:
                path.unlink()
        for name in wanted:
            original, copy = self.root / name, self.source / name
            if not copy.is_file() or not filecmp.cmp(original, copy, shallow=False):
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(original, copy)
            if copy.stat().st_mode != original.stat().st_mode:
                shutil.copymode(original, copy)
        shutil.rmtree(self.aside, ignore_errors=True)

    def make(self, targets, jobs=1):
        """Builds what the unchanged program needs."""
        self._must("build", ["ninja", "-C", self.binary, "-j", str(jobs), *targets])
        self.users = {}  # of each source and header: objects that were compiled with it
        real = functools.lru_cache(None)(lambda path: os.path.realpath(self.binary / path))
        for line in self._ask("ninja", "-t", "deps").splitlines():
            if not line.startswith(" "):
                target = line.partition(": #deps")[0]
            elif real(line.strip()).startswith(f"{self.source}/"):
                self.users.setdefault(os.path.relpath(real(line.strip()), self.source), set()).add(target)
        self.tests = self._known_tests()
        self.clean = {name: self.fingerprint(test) for name, test in self.tests.items()}

    def _must(self, what, command):
        log = self.home / f"{what}.log"
        with log.open("w") as output:
            if self.processes.run(command, self.home, self.environment, output) != 0:
                raise Broken(f"{what} failed without a mutant (whole log: {log}):\n{complaints(log)}")

    def _ask(self, *command):
        """What a tool tells of the build."""
        done = subprocess.run(command, cwd=self.binary, capture_output=True, text=True)
        if done.returncode:
            raise Broken(f"{' '.join(command[:3])}: {done.stderr or done.stdout}")
        return done.stdout

    def _known_tests(self):
        known = {}
        for entry in json.loads(self._ask("ctest", "--show-only=json-v1"))["tests"]:
            told = {item["name"]: item["value"] for item in entry.get("properties", [])}
            command = entry.get("command", [])  # missing until its program is built
            programs = [os.path.relpath(word, self.binary) for word in command if word.startswith(f"{self.binary}/")]
            programs = [program for program in programs if self.graph.is_program(program)]
            # What passes by its output or by failing is not judged here.
            if programs and not {"PASS_REGULAR_EXPRESSION", "FAIL_REGULAR_EXPRESSION", "WILL_FAIL"} & told.keys():
                variables = dict(text.split("=", 1) for text in told.get("ENVIRONMENT", []))
                folder = told.get("WORKING_DIRECTORY", str(self.binary))
                started = sorted(filter(self.graph.is_program, self.graph.below(programs)))
                files = [str(self.binary / program) for program in started] + command
                known[entry["name"]] = Test(entry["name"], command, folder, variables, programs, files)
        return known

    def run_test(self, test, limit):
        """"" when it passes, else how it failed."""
        environment = dict(self.environment, GTEST_FAIL_FAST="1", GTEST_BRIEF="1", **test.variables)
        status = self.processes.run(test.command, test.folder, environment, limit=limit)
        for entry in os.scandir(self.temporary):  # what a test that was killed leaves behind
            shutil.rmtree(entry.path, ignore_errors=True) if entry.is_dir(follow_symlinks=False) else os.unlink(entry)
        if status is None:
            return f"no end in {limit:.0f} s, or more memory than is allowed"
        return "" if status == 0 else f"signal {-status}" if status < 0 else f"status {status}"

    # Facts about tests

    def tests_of(self, nodes):
        """Names of the tests whose programs are made from these nodes."""
        made = self.graph.above(nodes)
        return {name for name, test in self.tests.items() if made.intersection(test.programs)}

    def nearness(self, name, path):
        """Sorts tests for a changed file: first those of the same folder, then those that need the fewest objects of
        libraries."""
        programs = self.tests[name].programs
        names = {part for program in programs for part in pathlib.PurePath(program).parts[:-1]}
        libraries = filter(self.graph.is_library, self.graph.below(programs))
        return -len(names.intersection(pathlib.PurePath(path).parts[:-1])), sum(
            len(self.graph.inputs[library]) for library in libraries
        )

    def fingerprint(self, test):
        """Changes with what decides how a test ends."""
        digest = hashlib.sha256(repr(sorted(test.variables.items())).encode())
        for name in test.files:
            digest.update(pathlib.Path(name).read_bytes() if os.path.isfile(name) else name.encode())
        return digest.hexdigest()

    # Mutants

    def judge(self, mutant, names, limits):
        """Judges a mutant by the tests of these names in that order, each with its limit (seconds). The state ("killed",
        "survived", "stillborn", "equivalent" or "unbuilt"), what was decisive, and how many objects were compiled."""
        programs = [program for name in names for program in self.tests[name].programs]
        objects = sorted(self.users.get(mutant.path, set()) & self.graph.below(programs))
        if not objects:
            return "unbuilt", "", 0
        path = self.source / mutant.path
        text, facts = path.read_text(), path.stat()
        shutil.rmtree(self.aside, ignore_errors=True)
        kept = {node: self.aside / str(number) for number, node in enumerate(objects)}
        self.aside.mkdir()
        try:
            for node, place in kept.items():
                os.rename(self.binary / node, place)
            path.write_text(mutant.apply(text))
            state, reason = self._verdict(objects, kept, names, limits)
            compiled = [node for node in objects if (self.binary / node).exists()]
            return state, reason, len(compiled)
        finally:
            self._restore(kept)
            path.write_text(text)
            os.utime(path, ns=(facts.st_atime_ns, facts.st_mtime_ns))

    def _verdict(self, objects, kept, names, limits):
        if len(objects) <= COMPILED_AT_ONCE:
            if not self._builds(objects):
                return "stillborn", ""
            if self._same(kept):
                return "equivalent", ""
        run_by = []
        for name in names:
            test = self.tests[name]
            if not self._builds(test.programs):
                return "stillborn", ""
            self._check_fresh(objects, test)
            if self.fingerprint(test) == self.clean[name]:
                continue  # the linker takes from a library only what is needed: the mutant is not in there
            run_by.append(name)
            failure = self.run_test(test, limits[name])
            if failure:
                return "killed", f"{name}: {failure}"
        if self._same(kept):
            return "equivalent", ""
        return "survived", " ".join(run_by) or "no test links it"

    def _builds(self, targets):
        with (self.home / "mutant.log").open("w") as log:
            command = ["ninja", "-j", "1", *targets]
            return self.processes.run(command, self.binary, self.environment, log, BUILD_LIMIT) == 0

    def _same(self, kept):
        """True if every object that was compiled is what it was before."""
        compiled = [(self.binary / node, place) for node, place in kept.items() if (self.binary / node).exists()]
        return all(filecmp.cmp(*pair, shallow=False) for pair in compiled)

    def _check_fresh(self, objects, test):
        """A program that was linked before the mutant was compiled would judge the original."""
        for program in test.programs:
            linked = (self.binary / program).stat().st_mtime_ns
            for node in self.graph.below([program]).intersection(objects):
                if (self.binary / node).stat().st_mtime_ns > linked:
                    raise Broken(f"{program} was not linked again with {node}")

    def _restore(self, kept):
        """Puts the objects of the original back, with their times, and removes what was made of others, so that ninja
        makes it again: by its times it would look up to date. The source comes last; as long as it is changed, the next
        run compiles it anew."""
        compiled = [node for node in kept if (self.binary / node).exists()]
        for node in self.graph.above(compiled).difference(kept):
            (self.binary / node).unlink(missing_ok=True)
        for node, place in kept.items():
            if place.exists():
                os.replace(place, self.binary / node)


def complaints(log):
    """What the tools complain of, or else their last words."""
    lines = log.read_text(errors="replace").splitlines()
    errors = [line for line in lines if re.search(r"^FAILED: |\b[Ee]rror\b.*:|^CMake Error|undefined reference", line)]
    return "\n".join(errors[:20] or lines[-20:])
