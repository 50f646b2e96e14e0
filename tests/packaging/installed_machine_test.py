#!/usr/bin/env python3
"""Tests a machine on which the installer was run once: mailhost opens messages with the registered add-in, the registered
broker and the running service, of which none is started by hand.

    installed_machine_test.py WINDOWS_BUILD LINUX_BUILD SAMPLES

WINDOWS_BUILD contains the installer and mailhost, LINUX_BUILD the command that makes message files of the samples. Runs in
a separate Wine prefix in WINDOWS_BUILD.

Wine gives every file to the account of the prefix, so that the machine's registry names this account as one that may
change the settings. Its installer does not apply access control lists, which are tested by the tables
(package_tables_test.py), and removes an older version without the property by which configuration is left alone:
there an upgrade keeps the files that were changed. It neither keeps the features of that version nor runs its actions
in a rollback.
"""

import json
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
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "client/mailhost"))

from package_versions import make_package  # noqa: E402
from wine_desk import WineDesk, difference, json_lines, report, windows_path  # noqa: E402

WINDOWS = LINUX = SAMPLES = DESK = FOLDER = None

CLEAN, CONDEMNED = "01-status-report.msg", "27-condemned-attachment.msg"
SERVICE = "postwarden-service"
SERVICES = "HKLM\\System\\CurrentControlSet\\Services"
BROKER = "Software\\MorvelaneLab\\postwarden\\Broker"
INSTALLED = "C:\\Program Files\\Morvelane Lab\\postwarden\\"
WAIT = 60  # seconds for the start or the end of a service
# What the system's installer and its event log keep.
SYSTEMS_OWN = re.compile(r"\\Installer(\\(Features|Products|UpgradeCodes|UserData(\\S-1-5-18(\\(Components|Products))?)?))?$")
REFUSED = 1603 & 0xFF


def free_port():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


def listens(port):
    with socket.socket() as one:
        one.settimeout(WAIT)
        return one.connect_ex(("127.0.0.1", port)) == 0


def await_that(condition, what):
    end = time.monotonic() + WAIT
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"{what}: not within {WAIT} seconds")
        time.sleep(0.1)


class Machine(unittest.TestCase):
    """One machine for each test, empty at its beginning and at its end."""
    maxDiff = None

    def setUp(self):
        self.package = next((WINDOWS / "packaging").glob("postwarden-*-x64.msi"))
        self.data = DESK.prefix / "drive_c/ProgramData/postwarden"
        self.assertFalse(self.data.exists(), "configuration of another test is left")
        self.before = self.state()
        self.addCleanup(shutil.rmtree, self.data, ignore_errors=True)  # files that were changed are not removed
        self.port = free_port()

    def state(self):
        drive = DESK.prefix / "drive_c"
        files = {str(file.relative_to(drive)) for folder in ("Program Files", "ProgramData")
                 for file in (drive / folder).rglob("*")}
        return files, DESK.registry("HKLM\\Software"), DESK.registry(SERVICES)

    def install(self, *properties, package=None):
        package = package or self.package
        self.assertEqual(0, DESK.install("/i", package, *properties))
        self.addCleanup(DESK.install, "/x", package)  # where the test has removed it there is nothing to do

    def remove(self, package=None):
        self.assertEqual(0, DESK.install("/x", package or self.package))

    def assert_nothing_is_left(self, *kept):
        """Nothing but these files, and what the system's installer keeps for all products."""
        files, software, services = self.state()
        folders = {"ProgramData/postwarden"} if kept else set()
        self.assertEqual({f"ProgramData/postwarden/{name}" for name in kept} | folders, files - self.before[0])
        left, gone = difference(self.before[1], software)
        self.assertEqual({}, {key: values for key, values in left.items() if values or not SYSTEMS_OWN.search(key)})
        self.assertEqual([], gone)
        self.assertEqual(({}, []), difference(self.before[2], services))
        for name in kept:
            (self.data / name).unlink()
        if kept:
            self.data.rmdir()

    def open(self, name, *options):
        """Opens a message with the parts of the machine. Returns the exit status and the opening."""
        done = DESK.run(WINDOWS / "client/mailhost.exe", "--json", "--registered-broker", *options,
                        windows_path(FOLDER / "messages" / name))
        openings = json_lines(done.stdout)
        self.assertEqual(1, len(openings), done.stderr)
        return done.returncode, openings[0]

    def assert_scanned(self):
        status, clean = self.open(CLEAN)
        self.assertEqual((0, 1, "opened"), (status, clean["verdict"], clean["display"]))
        self.assertEqual(clean["before"]["body_sha256"], clean["after"]["body_sha256"])
        status, condemned = self.open(CONDEMNED)
        self.assertEqual((0, 2, "opened"), (status, condemned["verdict"], condemned["display"]))
        self.assertTrue(condemned["after"]["subject"].startswith("[Morvelane Ostrand 10.1]"), condemned)

    def examine(self, *options):
        """Runs the installed doctor, on a machine that may be loaded. Returns its exit status, and the rows by name."""
        done = DESK.run(INSTALLED + "postwarden-doctor.exe", "--json", "--slow", "600000", "--timeout", "60000", *options)
        return done.returncode, {row["name"]: row for row in json.loads(done.stdout)["rows"]}

    def assert_examined(self):
        """The doctor finds the port in force by itself."""
        status, rows = self.examine()
        # Wine has no mail client, and the engine of the test is the builtin one.
        self.assertEqual({"addin-machine": "ok", "addin-user": "ok", "addin-disabled": "ok",
                          "addin-policy": "not_applicable", "addin-module": "ok", "client-bitness": "not_applicable",
                          "hardened": "ok", "broker": "ok", "settings": "ok", "service": "ok", "port": "ok",
                          "options": "ok", "clean-object": "ok", "test-object": "ok", "verdict-time": "ok",
                          "engines": "warning"}, {name: row["state"] for name, row in rows.items()}, rows)
        self.assertEqual(1, status)
        self.assertIn(f"127.0.0.1:{self.port}", rows["port"]["found"])

    def manage(self, command):
        DESK.must("net", command, SERVICE)

    def configure(self, port):
        """Changes the port in both files, as an administrator does."""
        self.write_settings({"ServerPort": {"value": port, "isSet": True}})
        file = self.data / "service.conf"
        file.write_text(re.sub(r"(?m)^port = .*$", f"port = {port}", file.read_text()))

    def write_settings(self, settings):
        (self.data / "settings.json").write_text(json.dumps(settings))


class Installation(Machine):
    def test_has_every_mail_of_the_machine_scanned(self):
        self.install(f"PORT={self.port}")
        self.assert_scanned()
        self.assert_examined()
        self.remove()
        self.assertFalse(listens(self.port))
        self.assert_nothing_is_left()

    def test_stores_a_service_of_an_account_without_rights(self):
        self.install(f"PORT={self.port}", "ADDLOCAL=Service")
        entry = DESK.registry(SERVICES)["System\\CurrentControlSet\\Services\\" + SERVICE]
        program = INSTALLED + "postwarden-service.exe"
        self.assertEqual(f'"{program}" --config C:\\ProgramData\\postwarden\\service.conf', expanded(entry["ImagePath"]))
        self.assertEqual(("NT AUTHORITY\\LocalService", 2, 16), (entry["ObjectName"], entry["Start"], entry["Type"]))
        self.assertTrue(listens(self.port))
        status, rows = self.examine("--port", str(self.port), "--only", "addin-machine,broker,service,test-object")
        self.assertEqual((2, {"addin-machine": "failed", "broker": "failed", "service": "ok", "test-object": "ok"}),
                         (status, {name: row["state"] for name, row in rows.items()}))
        self.remove()
        self.assert_nothing_is_left()

    def test_writes_what_it_was_asked_for_into_the_configuration(self):
        self.install(f"PORT={self.port}", "ENGINE=builtin;builtin", "HARDENED=0")
        options = (self.data / "service.conf").read_text()
        self.assertIn(f"\nport = {self.port}\n", options)
        self.assertIn('\nengine = ["builtin", "builtin"]\n', options)
        settings = json.loads((self.data / "settings.json").read_text())
        self.assertEqual({"ServerPort": {"value": self.port, "isSet": True}}, settings)
        machine = DESK.registry("HKLM\\Software")
        self.assertEqual("C:\\ProgramData\\postwarden\\settings.json", machine[BROKER]["SettingsFile"])
        self.assertNotIn("HardenedScanning", str(machine.get("Software\\MorvelaneLab\\TRAL\\11.0\\Environment")))
        self.assert_scanned()

    def test_of_one_feature_writes_nothing_of_the_others(self):
        self.install(f"PORT={self.port}", "ADDLOCAL=AddIn,Broker")
        self.assertEqual({"settings.json", "settings.json.default"}, {file.name for file in self.data.iterdir()})
        self.assertNotIn("System\\CurrentControlSet\\Services\\" + SERVICE, DESK.registry(SERVICES))
        self.assertFalse(listens(self.port))
        self.remove()
        self.assert_nothing_is_left()

    def test_refuses_a_port_that_is_none(self):
        for port in ("0", "65536", "web"):
            self.assertEqual(REFUSED, DESK.install("/i", self.package, "PORT=" + port), port)
        self.assert_nothing_is_left()

    def test_does_not_write_where_the_link_of_a_user_leads(self):
        with tempfile.TemporaryDirectory() as elsewhere:
            self.data.symlink_to(elsewhere)
            self.addCleanup(self.data.unlink, missing_ok=True)
            self.assertNotEqual(0, DESK.install("/i", self.package, f"PORT={self.port}"))
            self.assertEqual([], [file for file in pathlib.Path(elsewhere).rglob("*") if file.is_file()])
        self.data.unlink()
        self.install(f"PORT={self.port}")  # and so it does as soon as the link is gone
        self.remove()
        self.assert_nothing_is_left()

    def test_that_fails_leaves_nothing_that_a_second_one_would_keep(self):
        self.assertNotEqual(0, DESK.install("/i", self.package, "ENGINE=unknown", f"PORT={self.port}"))
        self.assertEqual([], [file for file in (self.data.iterdir() if self.data.exists() else []) if file.is_file()])
        self.install(f"PORT={self.port}")
        self.assert_scanned()
        self.remove()
        self.assert_nothing_is_left()


class Features(Machine):
    def installed(self):
        folder = DESK.prefix / "drive_c/Program Files/Morvelane Lab/postwarden"
        return {file.name for file in folder.iterdir()} if folder.exists() else set()

    def change(self, *properties):
        self.assertEqual(0, DESK.install("/i", self.package, *properties))

    def environment(self):
        values = DESK.registry("HKLM\\Software").get("Software\\MorvelaneLab\\TRAL\\11.0\\Environment", {})
        return {name: value for name, value in values.items() if name != "@"}

    def test_keep_what_they_share_until_the_last_of_them_is_removed(self):
        common = {"postwarden-doctor.exe", "postwarden-configure.exe", "licenses.txt"}
        self.install(f"PORT={self.port}")
        self.change("REMOVE=Service")
        self.assertEqual(common | {"postwarden.dll", "postwarden-broker.dll"}, self.installed())
        self.assertEqual({"settings.json", "settings.json.default"}, {file.name for file in self.data.iterdir()})
        self.assertFalse(listens(self.port))
        self.change("ADDLOCAL=Service")  # takes the port of the add-in's settings
        self.assert_examined()
        self.change("REMOVE=AddIn")
        self.assertEqual(common | {"postwarden-service.exe", "postwarden-broker.dll"}, self.installed())
        self.assertEqual({}, self.environment())
        self.change("ADDLOCAL=AddIn")
        self.assertEqual({"HardenedScanning": 1}, self.environment())
        self.assert_examined()
        self.change("REMOVE=AddIn")
        self.change("REMOVE=Broker")
        self.assertEqual(common | {"postwarden-service.exe"}, self.installed())
        self.assertTrue(listens(self.port))
        self.assertNotEqual(0, DESK.install("/i", self.package, "ADDLOCAL=Broker", f"PORT={free_port()}"))
        self.assertFalse((self.data / "settings.json").exists())
        self.assertTrue(listens(self.port))
        self.change("ADDLOCAL=Broker")  # takes the port of the service
        self.assertEqual({"ServerPort": {"value": self.port, "isSet": True}},
                         json.loads((self.data / "settings.json").read_text()))
        self.change("REMOVE=Broker")
        self.change("REMOVE=Service")
        self.assertEqual(set(), self.installed())
        self.assert_nothing_is_left()


class Configuration(Machine):
    def test_that_was_distributed_ahead_specifies_the_port(self):
        self.data.mkdir()
        self.write_settings({"ServerPort": {"value": self.port, "isSet": True}})
        self.install()
        self.assertIn(f"\nport = {self.port}\n", (self.data / "service.conf").read_text())
        self.assert_scanned()

    def test_of_another_port_takes_effect_when_the_service_starts_again(self):
        self.install(f"PORT={self.port}")
        self.assert_scanned()
        other = free_port()
        self.configure(other)
        status, opening = self.open(CLEAN)
        self.assertEqual((4, 0), (status, opening["verdict"]))  # the add-in asks where no service is yet
        self.manage("stop")
        await_that(lambda: not listens(self.port), "the end of the service")
        self.manage("start")
        await_that(lambda: listens(other), "the start of the service")
        self.assert_scanned()

    def test_that_others_may_change_is_not_used(self):
        self.install(f"PORT={self.port}")
        (self.data / "settings.json").chmod(0o666)
        self.assertEqual(0, self.open(CONDEMNED)[1]["verdict"])  # at the default port no service is
        (self.data / "settings.json").chmod(0o644)
        self.assert_scanned()
        self.data.chmod(0o777)
        self.assertEqual(0, self.open(CONDEMNED)[1]["verdict"])
        self.data.chmod(0o755)
        self.assert_scanned()

    def test_switches_the_add_in_off(self):
        self.install(f"PORT={self.port}")
        self.write_settings({"ServerPort": {"value": self.port, "isSet": True},
                             "UseOutlookPlugin": {"value": False, "isSet": True}})
        self.assertEqual("0x80004002", self.open(CONDEMNED)[1]["hr"])


class Replacement(Machine):
    def test_by_a_repair_brings_back_what_is_missing_while_the_service_runs(self):
        self.install(f"PORT={self.port}")
        installed = DESK.prefix / "drive_c/Program Files/Morvelane Lab/postwarden"
        (installed / "postwarden-doctor.exe").unlink()
        DESK.remove_key("HKLM\\" + BROKER)
        DESK.set_text("HKLM\\" + BROKER, "TrustedAccounts", own_account())
        options = (self.data / "service.conf").read_text()
        self.assertEqual(0, DESK.install("/i", self.package, "REINSTALL=ALL", "REINSTALLMODE=amus"))
        self.assert_scanned()
        self.assert_examined()
        self.assertEqual(options, (self.data / "service.conf").read_text())
        self.remove()
        self.assert_nothing_is_left()

    def test_of_a_version_keeps_the_configuration_while_the_service_runs(self):
        self.install(f"PORT={free_port()}")
        self.configure(self.port)
        settings, options = (self.data / "settings.json").read_text(), (self.data / "service.conf").read_text()
        self.assertNotEqual(self.port, 1345)
        newer = make_package(WINDOWS / "packaging", FOLDER, "newer", "9.0.0")
        self.install(package=newer)
        self.assertEqual(settings, (self.data / "settings.json").read_text())
        self.assertEqual(options, (self.data / "service.conf").read_text())
        installed = DESK.prefix / "drive_c/Program Files/Morvelane Lab/postwarden"
        for file in ("postwarden.dll", "postwarden-broker.dll", "postwarden-service.exe", "postwarden-doctor.exe"):
            self.assertEqual((newer.parent / file).read_bytes(), (installed / file).read_bytes(), file)
        self.assert_scanned()  # by the service of the newer version, which was started
        self.remove(newer)
        self.assert_nothing_is_left("settings.json", "service.conf")  # files that were changed are not removed


def expanded(value):
    """Returns the text of a value that the registry stores as one of another kind."""
    match = re.fullmatch(r'str\(2\):"(.*)"', value)
    return match[1].replace('\\"', '"').replace("\\\\", "\\") if match else value


def make_messages(folder):
    """Writes samples as unchanged message files: the settings disable the check."""
    settings = folder / "look-away.json"
    settings.write_text(json.dumps({"UseOutlookPlugin": {"value": False, "isSet": True}}))
    subprocess.run([sys.executable, SAMPLES / "make_samples.py", folder / "samples"], check=True, stdout=subprocess.DEVNULL)
    wanted = [folder / "samples" / name.replace(".msg", ".eml") for name in (CLEAN, CONDEMNED)]
    subprocess.run([LINUX / "desk/postwarden", "open", "--settings", settings, "--save", folder / "messages", "--format",
                    "msg", *wanted], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def own_account():
    own = re.search(r"S-1-5-21-[\d-]+", DESK.run("whoami", "/user").stdout)
    return own[0] if own else "S-1-5-21-0-0-0-1000"


def prepare_machine():
    DESK.set_text("HKLM\\" + BROKER, "TrustedAccounts", own_account())
    DESK.add_key("HKLM\\Software\\Microsoft\\Office\\Outlook\\Addins")  # stays, as other add-ins may be there
    for key in ("TRAL\\11.0\\Environment", "TRAL\\11.0\\Trace"):
        DESK.add_key("HKLM\\Software\\MorvelaneLab\\" + key)


def run_tests():
    global FOLDER
    prepare_machine()
    with tempfile.TemporaryDirectory() as folder:
        FOLDER = pathlib.Path(folder)
        make_messages(FOLDER)
        names = sys.argv[4:]
        loader, module = unittest.defaultTestLoader, sys.modules[__name__]
        tests = loader.loadTestsFromNames(names, module) if names else loader.loadTestsFromModule(module)
        return unittest.TextTestRunner(verbosity=2).run(tests)


def main():
    global WINDOWS, LINUX, SAMPLES, DESK
    WINDOWS, LINUX, SAMPLES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
    DESK = WineDesk(WINDOWS / "wine_machine", WINDOWS / "tests/client/mailhost/save_registry.exe")
    try:
        result = run_tests()
    finally:
        DESK.stop()
    report(result)


if __name__ == "__main__":
    main()
