#!/usr/bin/env python3
"""Tests that the memory of a run does not grow with the number of its messages: long_run_test.py POSTWARDEN

Compares the peak memory of runs with few and with many messages, which come from a folder, an mbox and a pipe."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = None
FEW = 1000
MANY = 20000
# Far less than one byte for each of the bytes of MANY names, and more than the allocator's noise.
ALLOWED_GROWTH_KIB = 6 * 1024


def message(number):
    return f"From: a@example.com\nSubject: message {number}\nMessage-ID: <{number}@example.com>\n\nAll is well.\n"


def write_mailbox(output, count):
    for number in range(count):
        output.write(f"From a@example.com Mon Mar 11 16:42:10 2024\n{message(number)}\n".encode())


class Memory(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = pathlib.Path(self.folder.name)

    def peak(self, arguments, count, **more):
        """Returns the peak memory of a run that opens or scans `count` objects, in KiB."""
        with open(self.path / "output", "w+b") as output:
            child = subprocess.Popen([PROGRAM, *arguments], stdout=output, **more)
            _, status, usage = os.wait4(child.pid, 0)
            child.returncode = os.waitstatus_to_exitcode(status)
            output.seek(0)
            self.assertEqual((0, count), (child.returncode, sum(1 for _ in output)))
        return usage.ru_maxrss

    def expect_flat(self, few, many):
        self.assertLess(many, few + ALLOWED_GROWTH_KIB, f"{few} KiB with {FEW}, {many} KiB with {MANY}")

    def fill_folder(self, count):
        folder = self.path / f"folder-{count}"
        folder.mkdir()
        source = self.path / "source.eml"
        source.write_text(message(1))
        for number in range(count):
            os.link(source, folder / f"a-message-with-a-name-of-usual-length-{number}.eml")
        return str(folder)

    def test_is_flat_for_a_folder(self):
        few, many = (self.peak(["open", "--json", self.fill_folder(count)], count) for count in (FEW, MANY))
        self.expect_flat(few, many)

    def test_is_flat_for_a_mailbox(self):
        peaks = []
        for count in (FEW, MANY):
            with open(self.path / "box", "wb") as output:
                write_mailbox(output, count)
            peaks.append(self.peak(["open", "--json", str(self.path / "box")], count))
        self.expect_flat(*peaks)

    def test_is_flat_for_a_pipe(self):
        peaks = []
        for count in (FEW, MANY):
            with open(self.path / "box", "wb") as output:
                write_mailbox(output, count)
            with subprocess.Popen(["cat", self.path / "box"], stdout=subprocess.PIPE) as source:
                peaks.append(self.peak(["open", "--json", "-"], count, stdin=source.stdout))
        self.expect_flat(*peaks)

    def test_is_flat_for_scans_of_a_folder(self):
        few, many = (self.peak(["scan", "--json", self.fill_folder(count)], count) for count in (FEW, MANY))
        self.expect_flat(few, many)


if __name__ == "__main__":
    PROGRAM = sys.argv[1]
    unittest.main(argv=sys.argv[:1])
