#!/usr/bin/env python3
"""Tests the unit of the service by the manager's own analysis.

    unit_test.py UNIT SERVICE

UNIT is the source of the unit; SERVICE takes the place of the installed program, which need not exist."""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

NAME = "postwarden-service.service"
MOST_EXPOSURE = 15  # tenths; what remains is the network, the socket of clamd, and the root of the file system
UNIT = SERVICE = None


def analyze(text, *arguments):
    """Runs systemd-analyze with a unit of this text."""
    with tempfile.TemporaryDirectory() as folder:
        unit = pathlib.Path(folder, NAME)
        unit.write_text(text)
        return subprocess.run(["systemd-analyze", "--no-pager", *arguments, str(unit)], capture_output=True, text=True)


class Unit(unittest.TestCase):
    def setUp(self):
        self.text = pathlib.Path(UNIT).read_text().replace("@bindir@", "/usr/bin").replace("@sysconfdir@", "/etc")
        self.runnable = re.sub(r"^ExecStart=\S+", f"ExecStart={SERVICE}", self.text, flags=re.M)
        self.assertIn(f"ExecStart={SERVICE} --config", self.runnable)

    def test_is_understood_in_each_line(self):
        done = analyze(self.runnable, "verify", "--man=no")
        self.assertEqual(("", 0), (done.stdout + done.stderr, done.returncode))

    def test_a_wrong_line_would_be_seen(self):
        wrong = self.runnable.replace("[Install]", "NoSuchSetting=1\n[Install]")
        self.assertIn("NoSuchSetting", analyze(wrong, "verify", "--man=no").stderr)

    def test_exposes_little(self):
        limit = ["security", "--offline=true", f"--threshold={MOST_EXPOSURE}"]
        done = analyze(self.runnable, *limit)
        self.assertEqual(0, done.returncode, done.stdout + done.stderr)
        weaker = re.sub(r"^(SystemCallFilter|ProtectSystem)=.*\n", "", self.runnable, flags=re.M)
        self.assertNotEqual(0, analyze(weaker, *limit).returncode)

    def test_has_what_the_documents_promise(self):
        for line in ("Type=notify", "DynamicUser=yes", "ProtectSystem=strict", "ProtectHome=yes", "PrivateTmp=yes",
                     "PrivateDevices=yes", "NoNewPrivileges=yes", "MemoryDenyWriteExecute=yes", "CapabilityBoundingSet=",
                     "IPAddressDeny=any", "IPAddressAllow=localhost", "Restart=on-failure", "StartLimitIntervalSec=0",
                     "LogsDirectory=postwarden"):
            self.assertIn(line, self.text.splitlines())


if __name__ == "__main__":
    UNIT, SERVICE = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1])
