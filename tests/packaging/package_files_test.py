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
LICENSES = "licenses.txt"
# The holders of rights, and what the license of each contains.
LIBRARIES = {
    "2017-2021 University of Cincinnati, developed by Henry Schreiner under NSF AWARD 1414736":
        "Neither the name of the University nor the names of its contributors",
    "2014-2016 Gabi Melman": "Permission is hereby granted, free of charge, to any person obtaining",
    "2013-2022 Niels Lohmann": "Permission is hereby granted, free of charge, to any person obtaining",
    "2009-2016 the mingw-w64 project": "Names of the copyright holders must not be used to endorse",
    "2010 Lockless Inc.": "Neither the name of Lockless Inc. nor the names of its contributors",
    "1997-2001 Lucent Technologies": "LUCENT DISCLAIMS ALL WARRANTIES",
    "2004, 2005 David M. Gay": "THE AUTHOR DISCLAIMS ALL WARRANTIES",
}
ENGLISH, GERMAN = 0x409, 0x407


class Files(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        subprocess.run(["msiextract", "-C", folder.name, PACKAGE], check=True, stdout=subprocess.DEVNULL)
        cls.files = {path.name: path.read_bytes() for path in pathlib.Path(folder.name).rglob("*") if path.is_file()}
        cls.images = {name: content for name, content in cls.files.items() if name != LICENSES}
        cls.resources = {name: VersionResource(image) for name, image in cls.images.items()}
        cls.rows = {row["FileName"].rpartition("|")[2]: row for row in package_database.table(PACKAGE, "File")}
        cls.all_rows, cls.rows = cls.rows, {name: row for name, row in cls.rows.items() if name != LICENSES}

    def test_are_those_of_the_table(self):
        self.assertEqual({name: int(row["FileSize"]) for name, row in self.all_rows.items()},
                         {name: len(content) for name, content in self.files.items()})

    def test_contain_the_licenses_of_all_libraries_whose_code_is_in_the_programs(self):
        content = self.files[LICENSES].decode()
        self.assertEqual(content.count("\n"), content.count("\r\n"))
        for part in content.split("-" * 78):  # one license each, below the libraries that have it
            self.assertGreater(len(part.splitlines()), 3, part)
        words = " ".join(content.split())
        for holder, beginning in LIBRARIES.items():
            self.assertIn(f"Copyright {holder} ", words)
            self.assertIn(beginning, words[words.index(holder):], holder)
        for name in ("Boost", "fmt", "libstdc++ and libgcc"):
            self.assertIn(f" {name} (", words)

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
