#!/usr/bin/env python3
"""wine_machine_test.py BUILD: postwarden-doctor.exe of the build folder BUILD on a separate Windows machine, before the
add-in is installed and afterwards, with a service beside it."""

import json
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "client/mailhost"))
from wine_desk import WineDesk, windows_path  # noqa: E402

BUILD = pathlib.Path(sys.argv.pop()).resolve()
DOCTOR = BUILD / "doctor/postwarden-doctor.exe"
SERVICE = BUILD / "service/postwarden-service.exe"
MODULE = BUILD / "outlook/qdmailprotect/com/postwarden.dll"
ENVIRONMENT = r"HKLM\Software\MorvelaneLab\TRAL\11.0\Environment"
SLOW = ("--slow", "600000", "--timeout", "60000")  # the machine of a test may be loaded


class Machine(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.desk = WineDesk(BUILD / "wine_of_doctor", BUILD / "tests/client/mailhost/save_registry.exe")

    @classmethod
    def tearDownClass(cls):
        cls.desk.run("regsvr32", "/s", "/u", windows_path(MODULE))
        cls.desk.stop()

    def examine(self, *arguments):
        """Returns the exit status, and the rows by name."""
        done = self.desk.run(DOCTOR, "--json", *SLOW, *arguments)
        rows = {row["name"]: row for row in json.loads(done.stdout)["rows"]}
        return done.returncode, rows

    def test_1_nothing_is_installed(self):
        status, rows = self.examine("--port", "1")
        self.assertEqual(status, 2)
        failed = [name for name, row in rows.items() if row["state"] == "failed"]
        self.assertEqual(failed, ["addin-machine", "addin-module", "broker", "port", "options", "clean-object",
                                  "test-object", "verdict-time", "engines"])
        self.assertEqual(rows["broker"]["found"], "no settings broker is registered")
        self.assertIn("connection refused", rows["port"]["found"])
        for name in failed:
            self.assertNotEqual(rows[name]["remedy"], "", name)

    def test_2_the_addin_and_a_service(self):
        self.desk.must("regsvr32", "/s", windows_path(MODULE))
        self.desk.set_number(ENVIRONMENT, "HardenedScanning", "1")
        service = self.desk.start(SERVICE, "--port", "0", "--metrics-port", "0")
        try:
            port = service.stdout.readline().strip().rpartition(":")[2]
            metrics = service.stdout.readline().strip().rpartition(":")[2]
            status, rows = self.examine("--port", port, "--metrics-port", metrics)
            # There is no broker and no client, the service is started by hand, and its engine is the builtin one.
            self.maxDiff = None
            self.assertEqual({name: row["state"] for name, row in rows.items()},
                             {"addin-machine": "ok", "addin-user": "ok", "addin-disabled": "ok",
                              "addin-policy": "not_applicable", "addin-module": "ok",
                              "client-bitness": "not_applicable", "hardened": "ok", "broker": "failed",
                              "settings": "not_applicable", "service": "warning", "port": "ok", "options": "ok",
                              "clean-object": "ok", "test-object": "ok", "verdict-time": "ok", "engines": "warning"})
            self.assertEqual(status, 2)
            self.assertIn(f"127.0.0.1:{port} is open", rows["port"]["found"])  # Wine may not find the owner
            status, _ = self.examine("--port", port, "--only",
                                     "addin-machine,addin-module,hardened,port,options,clean-object,test-object")
            self.assertEqual(status, 0)
        finally:
            self.desk.run("taskkill", "/f", "/im", SERVICE.name)
            service.wait()
            service.stdout.close()

    def test_3_usage(self):
        done = self.desk.run(DOCTOR, "--only", "nothing")
        self.assertEqual(done.returncode, 3)
        self.assertIn("there is no row 'nothing'", done.stderr)
        done = self.desk.run(DOCTOR, "--help")
        self.assertEqual(done.returncode, 0)
        self.assertLessEqual(max(map(len, done.stdout.splitlines())), 80)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]], verbosity=2)
