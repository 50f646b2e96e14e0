#!/usr/bin/env python3
"""Tests the files that the installer brings against its tables.

    package_files_test.py PACKAGE VERSION

VERSION is the project's.
"""

import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # keeps the source tree unchanged

import package_database  # noqa: E402
from version_resource import LIBRARY, PROGRAM, VersionResource  # noqa: E402

PACKAGE = VERSION = None
ENGLISH, GERMAN = 0x409, 0x407


class Files(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        subprocess.run(["msiextract", "-C", folder.name, PACKAGE], check=True, stdout=subprocess.DEVNULL)
        cls.images = {path.name: path.read_bytes() for path in pathlib.Path(folder.name).rglob("*") if path.is_file()}
        cls.resources = {name: VersionResource(image) for name, image in cls.images.items()}
        cls.rows = {row["FileName"].rpartition("|")[2]: row for row in package_database.table(PACKAGE, "File")}

    def test_are_those_of_the_table(self):
        self.assertEqual({name: int(row["FileSize"]) for name, row in self.rows.items()},
                         {name: len(image) for name, image in self.images.items()})

    def test_have_the_version_of_the_product_which_rises_with_it(self):
        version, = [row["Value"] for row in package_database.table(PACKAGE, "Property") if row["Property"] == "ProductVersion"]
        self.assertEqual(VERSION, version)
        for name, resource in self.resources.items():
            self.assertEqual((VERSION + ".0", VERSION + ".0"), (resource.file_version, resource.product_version), name)
            self.assertEqual((VERSION, VERSION), (resource.texts["FileVersion"], resource.texts["ProductVersion"]), name)

    def test_have_the_version_in_the_table_by_which_an_upgrade_replaces_them(self):
        self.assertEqual({name: row["Version"] for name, row in self.rows.items()},
                         {name: resource.file_version for name, resource in self.resources.items()})

    def test_have_one_language_the_same_in_the_table(self):
        self.assertEqual({name: [int(row["Language"])] for name, row in self.rows.items()},
                         {name: resource.languages for name, resource in self.resources.items()})
        for name, resource in self.resources.items():
            self.assertEqual(GERMAN if name == "postwarden_loc.dll" else ENGLISH, resource.text_language, name)
            self.assertEqual([resource.text_language], resource.languages, name)

    def test_name_themselves_and_their_product(self):
        for name, resource in self.resources.items():
            self.assertEqual((name, name.rpartition(".")[0], "postwarden", "Morvelane Lab"),
                             tuple(resource.texts[text] for text in ("OriginalFilename", "InternalName", "ProductName",
                                                                     "CompanyName")))
            self.assertEqual(PROGRAM if name.endswith(".exe") else LIBRARY, resource.kind, name)

    def test_have_a_description_each_of_its_own(self):
        descriptions = {resource.texts["FileDescription"] for resource in self.resources.values()}
        self.assertEqual((True, len(self.images)), (all(descriptions), len(descriptions)))

    def test_are_64_bit_images_that_the_system_can_protect_and_that_contain_no_time_and_no_symbols(self):
        high_entropy, relocatable, no_executable_data = 0x20, 0x40, 0x100
        wanted = high_entropy | relocatable | no_executable_data
        for name, image in self.images.items():
            header, = struct.unpack_from("<I", image, 0x3C)
            signature, machine, _, time, _, symbols = struct.unpack_from("<4sHHIII", image, header)
            self.assertEqual((b"PE\0\0", 0x8664, 0, 0), (signature, machine, time, symbols), name)
            protection, = struct.unpack_from("<H", image, header + 24 + 70)
            self.assertEqual(wanted, protection & wanted, name)


if __name__ == "__main__":
    PACKAGE, VERSION = sys.argv[1:3]
    result = unittest.TextTestRunner(verbosity=2).run(unittest.defaultTestLoader.loadTestsFromTestCase(Files))
    print(f"[  PASSED  ] {result.testsRun - len(result.failures) - len(result.errors)} tests.")
    sys.exit(0 if result.wasSuccessful() else 1)
