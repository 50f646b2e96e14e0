"""A Windows machine for tests: a separate Wine prefix, its registry and the programs that run in it."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

WAIT = 300  # time limit of one program, in seconds


class WineDesk:
    """A failure of Wine itself, and of a program of its that must succeed, raises CalledProcessError."""

    def __init__(self, prefix, save_registry):
        """`save_registry` is the path of the program of that name."""
        self.prefix = pathlib.Path(prefix)
        self.save_registry = save_registry
        self.environment = dict(os.environ, WINEPREFIX=str(self.prefix), WINEDEBUG="-all", DISPLAY="",
                                WINEDLLOVERRIDES="winedbg.exe=d;mscoree=d;mshtml=d")
        made = self.prefix / "made"  # written last: an incomplete prefix is made anew
        if self.prefix.exists():
            self.stop()
        if not made.exists():
            shutil.rmtree(self.prefix, ignore_errors=True)
            self.prefix.mkdir(parents=True)
            self.serve()
            self.must("wineboot", "-i")
            self.stop()
            made.touch()
        self.serve()

    def serve(self):
        """Starts the server, which keeps running between programs: starting it takes longer than the tested programs,
        and a program that starts while a server ends can fail."""
        self.server(f"-p{WAIT}")

    def stop(self):
        """Returns when the server has ended and the registry is on the disk."""
        subprocess.run(["wineserver", "-k"], env=self.environment, timeout=WAIT)  # fails when there is none
        self.server("-w")

    def server(self, option):
        subprocess.run(["wineserver", option], env=self.environment, timeout=WAIT, check=True)

    def run(self, *arguments, cwd=None):
        """Runs a program. Returns the completed process with its output as text."""
        # The output goes to files: Wine's own services would inherit a pipe and keep it open.
        with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
            done = subprocess.run(["wine", *map(str, arguments)], env=self.environment, cwd=cwd, timeout=WAIT,
                                  stdin=subprocess.DEVNULL, stdout=out, stderr=err)
            done.stdout, done.stderr = text_in(out), text_in(err)
        return done

    def must(self, *arguments):
        """Runs a program that must succeed."""
        done = self.run(*arguments)
        if done.returncode != 0:
            print(done.stdout, done.stderr, sep="\n", file=sys.stderr)
        done.check_returncode()

    def start(self, *arguments):
        return subprocess.Popen(["wine", *map(str, arguments)], env=self.environment, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)

    def registry(self, root):
        """Returns all keys below a root that are not volatile, each with its values by name. The default value has the
        name "@"."""
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder) / "keys.reg"
            self.must(self.save_registry, root, windows_path(file))
            return parse_registry(file.read_text("ascii"), root.split("\\", 1)[1])

    def install(self, action, package, *properties):
        """Runs the installer and returns its exit status, cut to 8 bits as the system does. 0 means that every action
        succeeded, according to the installer's log as well."""
        with tempfile.TemporaryDirectory() as folder:
            log = pathlib.Path(folder) / "installer.log"
            done = self.run("msiexec", action, windows_path(package), "/qn", "/l*v", windows_path(log), *properties)
            account = log.read_text("utf-8", "replace") if log.exists() else "no log was written"
        ended = re.findall(r"^Action ended [\d:]+: INSTALL\. Return value (\d+)", account, re.MULTILINE)
        if done.returncode == 0 and ended[-1:] != ["1"]:
            raise AssertionError(f"the installer gives success behind a failure:\n{account}")
        return done.returncode

    def set_text(self, key, name, text):
        value = ["/v", name] if name else ["/ve"]
        self.must("reg", "add", key, *value, "/t", "REG_SZ", "/d", text, "/f")

    def set_number(self, key, name, number):
        self.must("reg", "add", key, "/v", name, "/t", "REG_DWORD", "/d", number, "/f")

    def add_key(self, key):
        self.must("reg", "add", key, "/f")

    def remove_key(self, key):
        self.must("reg", "delete", key, "/f")


def text_in(file):
    file.seek(0)
    return file.read().decode("utf-8", "replace").replace("\r\n", "\n")


def windows_path(path):
    return "Z:" + str(pathlib.Path(path).resolve()).replace("/", "\\")


def parse_registry(text, root):
    """Parses the format of Wine's server, which leaves out a key that has subkeys and no values."""
    keys = {}
    values = None
    for line in text.replace("\\\n  ", "").split("\n"):
        key = re.fullmatch(r"\[(.*)\] \d+", line)
        if key:
            path = root + "\\" + key[1].replace("\\\\", "\\")
            values = keys.setdefault(path, {})
            while path not in (root, "") and (path := path.rpartition("\\")[0]) not in keys:
                keys[path] = {}
        elif line.startswith(("@=", '"')):
            name, value = split_value(line)
            values[name] = value
    return keys


def split_value(line):
    """ "name"="text", @=..., "name"=dword:00000003 """
    if line.startswith("@="):
        return "@", plain(line[2:])
    end = 1
    while line[end] != '"':
        end += 2 if line[end] == "\\" else 1
    return line[1:end].replace('\\"', '"').replace("\\\\", "\\"), plain(line[end + 2:])


def plain(value):
    if value.startswith('"'):
        return value[1:-1].replace('\\"', '"').replace("\\\\", "\\")
    if value.startswith("dword:"):
        return int(value[6:], 16)
    return value


def difference(before, after):
    """Returns the keys that are new or have other values, and the keys that were removed."""
    changed = {key: values for key, values in after.items() if before.get(key) != values}
    gone = sorted(key for key in before if key not in after)
    return changed, gone


def json_lines(text):
    return [json.loads(line) for line in text.splitlines() if line.startswith("{")]


def report(result):
    """Prints the numbers of a unittest result as the other test programs do, and ends with status 1 after a failure."""
    failed = len({test.id() for test, _ in result.failures + result.errors})
    print(f"[  PASSED  ] {result.testsRun - failed} tests.")
    if not result.wasSuccessful():
        print(f" {failed} FAILED TESTS")
        sys.exit(1)
