#!/usr/bin/env python3
"""Tests what a command shows on a terminal: terminal_test.py POSTWARDEN"""

import fcntl
import os
import pathlib
import pty
import re
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import unittest

PROGRAM = None
LIMIT = 60
MESSAGE = "From: a@example.com\nSubject: {}\n\nAll is well.\n"
ENVELOPE = "From a@example.com Mon Mar 11 16:42:10 2024\n"
DRAWN = re.compile(r"\r([^\r\n\x1b]*)\x1b\[J\r")


class Terminal:
    """A terminal whose output is collected until its last writer is gone."""

    def __init__(self, columns):
        self.master, self.slave = pty.openpty()
        self.resize(columns)
        self.text = ""
        self.changed = threading.Condition()
        self.reader = threading.Thread(target=self.read)
        self.reader.start()

    def resize(self, columns):
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))

    def read(self):
        while True:
            try:
                block = os.read(self.master, 65536)
            except OSError: # the last writer is gone
                block = b""
            with self.changed:
                self.text += block.decode()
                self.changed.notify_all()
            if not block:
                return

    def wait_for(self, pattern, begin=0):
        with self.changed:
            found = self.changed.wait_for(lambda: re.search(pattern, self.text[begin:]), LIMIT)
            assert found, f"{pattern!r} is not in {self.text[begin:]!r}"

    def close(self):
        os.close(self.slave)
        self.reader.join(LIMIT)
        os.close(self.master)
        return self.text


class Output(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = pathlib.Path(self.folder.name)
        for number in range(30):
            self.path.joinpath(f"{number}.eml").write_text(MESSAGE.format(number))

    def environment(self, **more):
        plain = {name: value for name, value in os.environ.items() if name != "NO_COLOR"}
        return plain | {"TERM": "xterm"} | more

    def shown(self, *arguments, columns=80, out=False, **environment):
        """Returns what a run writes to a terminal as standard error, and as standard output if `out`."""
        terminal = Terminal(columns)
        done = subprocess.run([PROGRAM, *arguments], stdin=subprocess.DEVNULL, stderr=terminal.slave,
                              stdout=terminal.slave if out else subprocess.DEVNULL,
                              env=self.environment(**environment), timeout=10 * LIMIT)
        text = terminal.close()
        self.assertEqual(0, done.returncode, text)
        return text

    def test_has_progress_from_the_first_message_in_one_line(self):
        for columns in (200, 80, 40, 20, 10):
            text = self.shown("open", "--json", self.folder.name, columns=columns)
            lines = DRAWN.findall(text)
            self.assertNotEqual([], lines)
            self.assertIn("0", lines[0])
            self.assertEqual([], [line for line in lines if not line or len(line) >= columns])
            self.assertTrue(text.endswith("\r\x1b[J"), text[-80:])
            self.assertNotIn("\n", text)
        self.assertIn("0 of 30 messages", self.shown("open", "--json", self.folder.name))

    def test_follows_the_terminal_when_its_size_changes(self):
        terminal = Terminal(150)
        with subprocess.Popen([PROGRAM, "open", "--json", "-"], stdin=subprocess.PIPE, stderr=terminal.slave,
                              stdout=subprocess.DEVNULL, env=self.environment()) as run:
            def write(first, last):
                for number in range(first, last):
                    run.stdin.write((ENVELOPE + MESSAGE.format(number) + "\n").encode())
                run.stdin.flush()
            write(0, 2)
            terminal.wait_for("1 messages") # also while the next one is waited for
            terminal.resize(30)
            begin = len(terminal.text)
            for number in range(2, 10000):
                write(number, number + 1)
                if DRAWN.search(terminal.text[begin:]):
                    break
            terminal.wait_for(DRAWN, begin)
            run.stdin.close()
            self.assertEqual(0, run.wait(LIMIT))
        text = terminal.close()
        # The line during the change may have been drawn for the width before it.
        self.assertEqual([], [line for line in DRAWN.findall(text[begin:])[1:] if len(line) >= 30])
        self.assertIn("/s", text[:begin])

    def test_has_no_progress_if_refused(self):
        self.assertEqual("", self.shown("open", "--json", "--quiet", self.folder.name))
        self.assertEqual("", self.shown("open", "--json", self.folder.name, TERM="dumb"))
        self.assertEqual("", self.shown("scan", "--json", "--quiet", self.folder.name))
        done = subprocess.run([PROGRAM, "open", "--json", self.folder.name], capture_output=True, check=True,
                              env=self.environment())
        self.assertEqual(b"", done.stderr)

    def test_has_rows_without_remains_of_the_progress(self):
        text = self.shown("open", self.folder.name, out=True)
        screen = re.sub(r"[^\n]*\r\x1b\[J", "", DRAWN.sub("", text).replace("\r\n", "\n"))
        rows = re.sub(r"\x1b\[[0-9;]*m", "", screen).splitlines()
        self.assertTrue(rows[0].startswith("MESSAGE"), rows[0])
        self.assertEqual(30, sum(row.startswith(self.folder.name) or "eml" in row for row in rows), screen)

    def test_has_colours_unless_refused(self):
        one = str(self.path / "1.eml")
        self.assertIn("\x1b[32mclean", self.shown("open", "--quiet", one, out=True))
        self.assertIn("\x1b[32mclean\x1b[0m", self.shown("scan", "--quiet", one, out=True))
        self.assertIn("\x1b[32mclean", self.shown("open", "--quiet", one, out=True, NO_COLOR=""))
        for refusal in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
            self.assertNotIn("\x1b", self.shown("open", "--quiet", one, out=True, **refusal))
            self.assertIn("\x1b[32mclean",
                          self.shown("open", "--quiet", "--color", "always", one, out=True, **refusal))
        self.assertNotIn("\x1b", self.shown("open", "--quiet", "--color", "never", one, out=True))

    def test_waits_for_a_pipe_until_it_is_interrupted(self):
        os.mkfifo(self.path / "pipe")
        terminal = Terminal(80)
        with subprocess.Popen([PROGRAM, "open", self.path / "pipe"], stderr=terminal.slave, stdout=subprocess.DEVNULL,
                              env=self.environment()) as run:
            terminal.wait_for("0 messages")
            run.send_signal(signal.SIGINT)
            self.assertIn(run.wait(LIMIT), (-signal.SIGINT, 128 + signal.SIGINT))
        terminal.close()


if __name__ == "__main__":
    PROGRAM = sys.argv[1]
    unittest.main(argv=sys.argv[:1])
