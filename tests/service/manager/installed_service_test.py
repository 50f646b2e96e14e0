#!/usr/bin/env python3
"""Tests the scanning service as a service of the system: installed by its own command, started, reconfigured and ended
by the system's service manager, removed without a trace.

    installed_service_test.py WINDOWS_BUILD

WINDOWS_BUILD contains the program. Runs in a separate Wine prefix in WINDOWS_BUILD. Wine's event log keeps nothing;
the texts of its records are read from the trace that it writes instead. Its service manager keeps no actions for
failures: service_details_test.cpp verifies what the program asks for.
"""

import pathlib
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest

sys.dont_write_bytecode = True  # keeps the source tree unchanged
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "client/mailhost"))

from wine_desk import WAIT, WineDesk, difference, report, windows_path  # noqa: E402

WINDOWS = DESK = TRACE = None
SERVICES = "system\\currentcontrolset\\services"
NAME = "postwarden-test-service"
PATIENCE = 60  # seconds for an event


class ServiceDesk(WineDesk):
    """A machine whose service manager writes the records for the event log to a file."""

    def serve(self):
        super().serve()
        if not (self.prefix / "made").exists():
            return
        with open(TRACE, "ab") as trace:  # services inherit it from the first program
            subprocess.run(["wine", "wineboot"], env=dict(self.environment, WINEDEBUG="-all,+eventlog"), timeout=WAIT,
                           stdin=subprocess.DEVNULL, stdout=trace, stderr=trace, check=True)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def ask(port, request):
    """Returns the head of the answer to an ICAP request, nothing if there is no service."""
    try:
        with socket.create_connection(("127.0.0.1", port), timeout=PATIENCE) as peer:
            peer.sendall(request)
            answer = b""
            while b"\r\n\r\n" not in answer and (received := peer.recv(4096)):
                answer += received
            return answer.decode("ascii", "replace")
    except ConnectionError:
        return None


def options(port):
    return ask(port, b"OPTIONS icap://127.0.0.1/webscan ICAP/1.0\r\nHost: 127.0.0.1\r\n\r\n")


def scan(port, content):
    head = b"HTTP/1.1 200 OK\r\n\r\n"
    return ask(port, b"RESPMOD icap://127.0.0.1/webscan ICAP/1.0\r\nHost: 127.0.0.1\r\nAllow: 204\r\n"
                     b"Encapsulated: res-hdr=0, res-body=%d\r\n\r\n%s%x\r\n%s\r\n0\r\n\r\n"
                     % (len(head), head, len(content), content))


def until(condition):
    """Waits until a function returns something true, and returns it; the last result after a bounded time."""
    end = time.monotonic() + PATIENCE
    while not (result := condition()) and time.monotonic() < end:
        time.sleep(0.1)
    return result


class InstalledService(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name) / "it's a folder"
        self.folder.mkdir()
        self.program = self.folder / "postwarden-service.exe"
        shutil.copy(WINDOWS / "service/postwarden-service.exe", self.program)
        self.file = self.folder / "service.conf"
        self.log = self.folder / "service.log"
        self.port = free_port()
        self.configure("preview = 1")
        self.before = DESK.registry("HKLM\\" + SERVICES)
        self.trace_begin = TRACE.stat().st_size
        self.addCleanup(self.assert_nothing_left)

    def assert_nothing_left(self):
        if NAME in str(self.changes()):
            self.command("remove", "--name", NAME)
        self.assertEqual({}, self.changes())
        self.assertIsNone(options(self.port))

    def changes(self):
        """Returns the services that are new or different."""
        changed, gone = difference(self.before, DESK.registry("HKLM\\" + SERVICES))
        self.assertEqual([], gone)
        return {key.lower(): values for key, values in changed.items()}  # as the system compares them

    def configure(self, line):
        self.file.write_text(f'port = {self.port}\nlog = "{windows_path(self.log)}"\n{line}\n')

    def command(self, *arguments):
        """Returns the exit status, the output and the errors."""
        done = DESK.run(self.program, *arguments)
        return done.returncode, done.stdout, done.stderr

    def act(self, word):
        status, out, errors = self.command(word, "--name", NAME)
        self.assertEqual((0, ""), (status, errors), out)
        return out

    def install(self):
        status, out, errors = self.command("install", "--name", NAME, "--config", windows_path(self.file))
        self.assertEqual((0, f"the service {NAME} is installed\n"), (status, out), errors)

    def traced(self, text):
        """Waits until a record with this text was reported. Returns the trace."""
        def read():
            return TRACE.read_bytes()[self.trace_begin:].decode("utf-8", "replace")
        until(lambda: text in read())
        return read()

    def logged(self, text):
        return until(lambda: self.log.exists() and text in self.log.read_text())

    def test_is_entered_once_with_few_rights_and_a_quoted_path_and_removed_without_a_trace(self):
        self.install()
        keys = self.changes()
        service = keys.pop(SERVICES + "\\" + NAME)
        source = keys.pop(SERVICES + "\\eventlog\\application\\" + NAME)
        parents = (SERVICES + "\\eventlog", SERVICES + "\\eventlog\\application")
        self.assertEqual({}, {key: values for key, values in keys.items() if key not in parents})
        path = windows_path(self.program)
        self.assertEqual(f'"{path}" --config "{windows_path(self.file)}"', text_of(service["ImagePath"]))
        self.assertEqual("NT AUTHORITY\\LocalService", service["ObjectName"])
        self.assertEqual(2, service["Start"])  # with the system
        self.assertEqual(0x10, service["Type"])  # a process of its own
        self.assertEqual("postwarden scanning service", service["DisplayName"])
        self.assertIn("postwarden", service["Description"])
        self.assertEqual(path, text_of(source["EventMessageFile"]))
        self.assertEqual(7, source["TypesSupported"])
        before = self.changes()
        status, out, errors = self.command("install", "--name", NAME, "--port", "1")
        self.assertEqual((1, "", f"postwarden-service: the service {NAME} exists already\n"), (status, out, errors))
        self.assertEqual(before, self.changes())
        self.assertEqual(f"the service {NAME} is removed\n", self.act("remove"))
        self.assertEqual([], [key for key in self.changes() if NAME in key])

    def test_is_not_installed_with_options_that_it_could_not_start_with(self):
        for arguments, problem in (
                (["--port", "x"], "--port"),
                ([], "a service needs a --port"),
                (["--port", "1", "--log", "service.log"], "full path"),
                (["--port", "1", "--engine", "none"], "none"),
                (["--port", "1", "--print-config"], "--print-config"),
                (["--help"], "nobody to show the options to"),
                (["--config", windows_path(self.folder / "missing.conf")], "missing.conf")):
            status, out, errors = self.command("install", "--name", NAME, *arguments)
            self.assertEqual((2, ""), (status, out), errors)
            self.assertIn(problem, errors)
        self.assertEqual({}, self.changes())

    def test_is_started_scans_reads_its_configuration_again_and_ends(self):
        self.install()
        self.assertEqual(f"the service {NAME} runs\n", self.act("start"))
        self.assertIn("Preview: 1\r\n", options(self.port))  # it runs as soon as its port accepts connections
        self.assertIn(" 204 ", scan(self.port, b"harmless"))
        self.assertIn("X-Infection-Found", scan(self.port, b"X5O!P%@AP[4\\PZX54(P^)7CC)7}$EICAR-STANDARD-"
                                                           b"ANTIVIRUS-TEST-FILE!$H+H*"))
        self.assertIn(f'L"{self.port}"', self.traced('L"builtin"'))  # the port and the engines
        status, _, errors = self.command("start", "--name", NAME)
        self.assertEqual((1, f"postwarden-service: the service {NAME} runs already\n"), (status, errors))
        self.configure("preview = 2")
        self.act("reload")
        self.assertTrue(until(lambda: "Preview: 2\r\n" in options(self.port)), options(self.port))
        self.assertTrue(self.logged("the configuration was read again: preview"))
        self.configure("preview = none")
        self.act("reload")
        self.assertIn("preview", self.traced("service.conf:3: "))  # the reason of the refusal
        self.assertIn("Preview: 2\r\n", options(self.port))
        self.assertEqual(f"the service {NAME} has ended\n", self.act("stop"))
        self.assertIsNone(options(self.port))
        self.assertEqual(f"the service {NAME} has ended\n", self.act("stop"))
        status, _, errors = self.command("reload", "--name", NAME)
        self.assertEqual((1, f"postwarden-service: the service {NAME} does not run\n"), (status, errors))
        # A second start, and a removal that ends the service.
        self.configure("preview = 3")
        self.act("start")
        self.assertIn("Preview: 3\r\n", options(self.port))
        self.act("remove")
        self.assertIsNone(options(self.port))

    def test_says_why_it_could_not_start(self):
        self.install()
        with socket.socket() as owner:
            owner.bind(("127.0.0.1", self.port))
            owner.listen()
            status, out, errors = self.command("start", "--name", NAME)
        self.assertEqual((1, ""), (status, out))
        self.assertEqual(f"postwarden-service: the service {NAME} could not start: the event log contains the reason\n",
                         errors)
        self.assertIn(f"port {self.port}", self.traced(f"port {self.port}"))
        self.file.write_text("port = 1\nengine = nobody\n")
        status, _, errors = self.command("start", "--name", NAME)
        self.assertEqual(1, status, errors)
        self.assertIn("nobody", self.traced("nobody"))

    def test_is_the_command_of_before_if_it_is_not_started_by_the_manager(self):
        for word in ([], ["run"]):
            running = DESK.start(self.program, *word, "--port", "0")
            try:
                line = running.stdout.readline()
                port = int(re.fullmatch(r"listening on 127\.0\.0\.1:(\d+)\s*", line)[1])
                self.assertIn(" 200 ", options(port))
            finally:
                running.kill()
                running.wait()
                running.stdout.close()


def text_of(value):
    """Returns the text of a value with a type, such as str(2):"text"."""
    typed = re.fullmatch(r'str\(\d+\):"(.*)"', value, re.DOTALL)
    return typed[1].replace('\\"', '"').replace("\\\\", "\\") if typed else value


def main():
    global WINDOWS, DESK, TRACE
    WINDOWS = pathlib.Path(sys.argv[1]).resolve()
    TRACE = WINDOWS / "tests/service/manager.trace"
    TRACE.parent.mkdir(parents=True, exist_ok=True)
    TRACE.write_bytes(b"")
    DESK = ServiceDesk(WINDOWS / "wine-service", WINDOWS / "tests/client/mailhost/save_registry.exe")
    try:
        tests = unittest.defaultTestLoader.loadTestsFromModule(sys.modules[__name__])
        result = unittest.TextTestRunner(verbosity=2).run(tests)
    finally:
        DESK.stop()
    report(result)


if __name__ == "__main__":
    main()
