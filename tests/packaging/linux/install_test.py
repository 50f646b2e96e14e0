#!/usr/bin/env python3
"""Tests "cmake --install".

    install_test.py BUILD CMAKE

BUILD is the folder of the build, which has built everything that is installed."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # keeps the source tree unchanged

from installed_files import COMMON, CONFIGURATION, UNIT, below, prefixed  # noqa: E402

BUILD = CMAKE = None


def output_of(*words, **more):
    return subprocess.run([str(word) for word in words], capture_output=True, text=True, check=True, **more).stdout


class Installation(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def install(self, *options, **environment):
        output_of(CMAKE, "--install", BUILD, *options, env={"PATH": "/usr/bin:/bin", **environment})

    def started_by(self, unit):
        line, = [line for line in unit.read_text().splitlines() if line.startswith("ExecStart=")]
        return line.removeprefix("ExecStart=")

    def test_with_a_prefix_writes_everything_below_it(self):
        self.install("--prefix", self.folder)
        self.assertEqual(COMMON | {"etc/" + CONFIGURATION}, below(self.folder))
        service, configuration = self.folder / "bin/postwarden-service", self.folder / "etc" / CONFIGURATION
        self.assertEqual(f"{service} --config {configuration}", self.started_by(self.folder / UNIT))
        self.assertIn("port = 1345 #", output_of(service, "--config", configuration, "--print-config"))

    def test_into_a_root_has_the_paths_of_the_system(self):
        self.install(DESTDIR=str(self.folder))
        self.assertEqual(prefixed("usr/", COMMON) | {"etc/" + CONFIGURATION}, below(self.folder))
        self.assertEqual("/usr/bin/postwarden-service --config /etc/postwarden/service.conf",
                         self.started_by(self.folder / "usr" / UNIT))

    def test_into_a_root_with_a_prefix_has_the_paths_of_the_prefix(self):
        self.install("--prefix", "/opt/postwarden", DESTDIR=str(self.folder))
        self.assertEqual(prefixed("opt/postwarden/", COMMON | {"etc/" + CONFIGURATION}), below(self.folder))
        self.assertEqual("/opt/postwarden/bin/postwarden-service --config /opt/postwarden/etc/postwarden/service.conf",
                         self.started_by(self.folder / "opt/postwarden" / UNIT))

    def test_keeps_a_configuration_that_is_there(self):
        for options, environment, configuration in (
                (("--prefix", self.folder / "prefix"), {}, self.folder / "prefix/etc" / CONFIGURATION),
                ((), {"DESTDIR": str(self.folder / "root")}, self.folder / "root/etc" / CONFIGURATION)):
            self.install(*options, **environment)
            configuration.write_text("port = 1400\n")
            self.install(*options, **environment)
            self.assertEqual("port = 1400\n", configuration.read_text())

    def test_writes_files_that_everybody_can_read_and_runs_none_of_them_as_a_program_but_the_commands(self):
        self.install("--prefix", self.folder)
        for name in below(self.folder):
            expected = 0o755 if name.startswith("bin/") else 0o644
            self.assertEqual(expected, (self.folder / name).stat().st_mode & 0o777, name)


if __name__ == "__main__":
    BUILD, CMAKE = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1])
