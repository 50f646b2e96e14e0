#!/usr/bin/env python3
"""Tests the tables of the installer.

    package_tables_test.py PACKAGE VERSION

VERSION is the project's, which the modules carry in their version resources.
"""

import subprocess
import sys
import unittest

PACKAGE = VERSION = None


def table(name):
    """Returns the rows of a table as dictionaries."""
    exported = subprocess.run(["msiinfo", "export", PACKAGE, name], capture_output=True, text=True, check=True).stdout
    columns, _, _, *rows = [line.split("\t") for line in exported.splitlines()]
    return [dict(zip(columns, row, strict=True)) for row in rows]


class Tables(unittest.TestCase):
    def test_files_have_the_version_and_the_language_of_their_resources(self):
        found = {row["FileName"]: (row["Version"], row["Language"]) for row in table("File")}
        self.assertEqual({"postwarden.dll": (VERSION + ".0", "1033"), "postwarden_loc.dll": (VERSION + ".0", "1031")},
                         found)

    def test_files_with_a_version_have_no_hash(self):
        self.assertEqual([], table("MsiFileHash"))

    def test_files_are_written_whatever_version_is_on_the_disk(self):
        properties = {row["Property"]: row["Value"] for row in table("Property")}
        self.assertEqual("amus", properties["REINSTALLMODE"])

    def test_older_versions_and_other_builds_of_this_one_are_replaced(self):
        replaced, = [row for row in table("Upgrade") if row["ActionProperty"] == "OTHERBUILDS"]
        self.assertEqual(("0.0.0", VERSION), (replaced["VersionMin"], replaced["VersionMax"]))
        self.assertEqual(256 + 512, int(replaced["Attributes"]))  # both bounds are included

    def test_newer_versions_are_only_detected(self):
        newer, = [row for row in table("Upgrade") if row["ActionProperty"] == "NEWERVERSION"]
        self.assertEqual((VERSION, "", 2), (newer["VersionMin"], newer["VersionMax"], int(newer["Attributes"])))
        self.assertEqual(["Installed OR NOT NEWERVERSION"], [row["Condition"] for row in table("LaunchCondition")])

    def test_the_properties_of_the_search_and_of_the_administrator_are_secure(self):
        secure, = [row["Value"] for row in table("Property") if row["Property"] == "SecureCustomProperties"]
        self.assertEqual({"OTHERBUILDS", "NEWERVERSION", "HARDENED"}, set(secure.split(";")))

    def test_hardened_scanning_is_switched_on_unless_it_is_refused(self):
        properties = {row["Property"]: row["Value"] for row in table("Property")}
        self.assertEqual("1", properties["HARDENED"])
        component, = [row for row in table("Component") if row["Component"] == "HardenedScanning"]
        self.assertEqual('REMOVE = "ALL" OR HARDENED <> "0" AND (NOT Installed OR ?HardenedScanning = 3)', component["Condition"])
        value, = [row for row in table("Registry") if row["Component_"] == "HardenedScanning"]
        self.assertEqual(("2", "SOFTWARE\\MorvelaneLab\\TRAL\\11.0\\Environment", "HardenedScanning", "#1"),
                         (value["Root"], value["Key"], value["Name"], value["Value"]))  # below HKLM, a number
        # Of the 64-bit view, with the value as the part that shows whether it is installed.
        self.assertEqual((256 + 4, value["Registry"]), (int(component["Attributes"]), component["KeyPath"]))
        self.assertIn(("AddIn", "HardenedScanning"),
                      {(row["Feature_"], row["Component_"]) for row in table("FeatureComponents")})

    def test_nothing_else_depends_on_a_condition(self):
        self.assertEqual({"HardenedScanning"}, {row["Component"] for row in table("Component") if row["Condition"]})

    def test_other_builds_are_removed_before_files_are_written(self):
        order = {row["Action"]: int(row["Sequence"]) for row in table("InstallExecuteSequence")}
        self.assertLess(order["FindRelatedProducts"], order["RemoveExistingProducts"])
        self.assertLess(order["InstallValidate"], order["RemoveExistingProducts"])
        self.assertLess(order["RemoveExistingProducts"], order["InstallFiles"])

    def test_the_add_in_cannot_be_left_out(self):
        self.assertEqual({"AddIn": "16", "German": "0"}, {row["Feature"]: row["Attributes"] for row in table("Feature")})

    def test_a_component_without_files_creates_its_folder(self):
        with_files = {row["Component_"] for row in table("File")}
        folders = {(row["Directory_"], row["Component_"]) for row in table("CreateFolder")}
        for row in table("Component"):
            if row["Component"] not in with_files:
                self.assertIn((row["Directory_"], row["Component"]), folders)


if __name__ == "__main__":
    PACKAGE, VERSION = sys.argv[1:3]
    result = unittest.TextTestRunner(verbosity=2).run(unittest.defaultTestLoader.loadTestsFromTestCase(Tables))
    print(f"[  PASSED  ] {result.testsRun - len(result.failures) - len(result.errors)} tests.")
    sys.exit(0 if result.wasSuccessful() else 1)
