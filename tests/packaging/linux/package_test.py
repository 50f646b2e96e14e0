#!/usr/bin/env python3
"""Makes the Debian package and looks into it.

    package_test.py BUILD CPACK VERSION SOURCE

BUILD is the folder of the build, which has built everything that the package contains."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # keeps the source tree unchanged

from installed_files import COMMON, CONFIGURATION, DEBIAN_ONLY, DOCUMENTS, UNIT, below, prefixed  # noqa: E402

BUILD = CPACK = VERSION = SOURCE = None
SCRIPTS = ("postinst", "postrm", "prerm")


def output_of(*words, **more):
    return subprocess.run([str(word) for word in words], capture_output=True, text=True, check=True, **more).stdout


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        folder = pathlib.Path(cls.folder.name)
        subprocess.run([CPACK, "--config", f"{BUILD}/CPackConfig.cmake", "-B", folder / "made"], check=True,
                       stdout=subprocess.DEVNULL)
        cls.architecture = output_of("dpkg", "--print-architecture").strip()
        cls.package = folder / "made" / f"postwarden_{VERSION}-1_{cls.architecture}.deb"
        cls.root = folder / "root"
        subprocess.run(["dpkg-deb", "--raw-extract", cls.package, cls.root], check=True)

    def field(self, name):
        return output_of("dpkg-deb", "--field", self.package, name).strip()

    def test_has_the_fields_of_its_kind(self):
        self.assertEqual(["postwarden", f"{VERSION}-1", self.architecture, "mail"],
                         [self.field(name) for name in ("Package", "Version", "Architecture", "Section")])
        self.assertRegex(self.field("Depends"), r"libc6 \(>= 2\.\d+\)")
        for needed in ("libgmime-3.0-0", "libssl3", "libstdc++6", "procps"):
            self.assertIn(needed, self.field("Depends"))

    def test_has_its_files(self):
        found = {name for name in below(self.root) if not name.startswith("DEBIAN/")}
        self.assertEqual(prefixed("usr/", COMMON | DEBIAN_ONLY) | {"etc/" + CONFIGURATION}, found)
        documents = {path.name for path in self.root.glob(f"usr/{DOCUMENTS}*")}
        self.assertEqual({path.name for path in pathlib.Path(SOURCE, "docs").iterdir()}, documents)

    def test_belongs_to_root_and_is_writable_by_root_only(self):
        for line in output_of("dpkg-deb", "--contents", self.package).splitlines():
            mode, owner, *_ = line.split()
            self.assertEqual(("root/root", "r-"), (owner, mode[4:6] if mode[0] != "d" else "r-"), line)
            self.assertNotIn("w", mode[4:], line)

    def test_runs_what_it_installs(self):
        unit = (self.root / "usr" / UNIT).read_text()
        self.assertIn("ExecStart=/usr/bin/postwarden-service --config /etc/postwarden/service.conf\n", unit)
        service = self.root / "usr/bin/postwarden-service"
        self.assertIn("port = 1345 #", output_of(service, "--config", self.root / "etc/postwarden/service.conf",
                                                 "--print-config"))

    def test_contains_the_text_of_each_license(self):
        stanzas = (self.root / "usr/share/doc/postwarden/copyright").read_text().split("\n\n")
        named = {name for stanza in stanzas if stanza.startswith("Files:")
                 for line in re.findall(r"^License: (.*)$", stanza, flags=re.M) for name in line.split(" and ")}
        texts = {stanza.partition("\n")[0].removeprefix("License: ") for stanza in stanzas
                 if stanza.startswith("License: ") and stanza.count("\n") > 1}
        self.assertEqual({"postwarden", "BSD-3-clause", "Expat"}, named)
        self.assertEqual(named, texts)

    def test_keeps_what_the_administrator_has_changed(self):
        self.assertEqual("/etc/postwarden/service.conf\n", (self.root / "DEBIAN/conffiles").read_text())

    def test_has_scripts_that_the_shell_understands(self):
        for name in SCRIPTS:
            script = self.root / "DEBIAN" / name
            self.assertTrue(os.access(script, os.X_OK))
            output_of("sh", "-n", script)
            self.assertIn("postwarden-service.service", script.read_text())


if __name__ == "__main__":
    BUILD, CPACK, VERSION, SOURCE = sys.argv[1:5]
    unittest.main(argv=sys.argv[:1])
