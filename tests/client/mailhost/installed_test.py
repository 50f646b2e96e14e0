#!/usr/bin/env python3
"""Tests the installed add-in: registered by itself or by the installer, found by mailhost as the mail client finds it,
judging the samples with the scanning service.

    installed_test.py WINDOWS_BUILD LINUX_BUILD SAMPLES

WINDOWS_BUILD contains the module, mailhost, the service and the installer. LINUX_BUILD contains the command and the
service that process the same messages on the other system. Runs in a separate Wine prefix in WINDOWS_BUILD.
"""

import contextlib
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # keeps the source tree unchanged

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "packaging"))

from package_versions import make_package  # noqa: E402
from wine_desk import WineDesk, difference, json_lines, report, windows_path  # noqa: E402

WINDOWS = LINUX = SAMPLES = DESK = FOLDER = None

PROG_ID = "QDMailProtect.Connect"
CLASS = "{73701B94-160C-49E1-91DF-B8CEAAD06DC1}"
LIBRARY = "{76951965-F88C-48B4-A590-F88BF9590523}"
INTERFACE = "{2B6E9A14-53C7-4E0D-A17F-940C6D3E825B}"
AUTOMATION = "{00020424-0000-0000-C000-000000000046}"
ADDIN_NAME = "Morvelane Lab Outlook Addin"
ADDINS = "Software\\Microsoft\\Office\\Outlook\\Addins"
REFUSED = 1603 & 0xFF  # a fatal error of the installation, as the system cuts it
# What the system's installer makes for all products at its first one, and keeps.
INSTALLERS_OWN = re.compile(r"\\Installer(\\(Features|Products|UpgradeCodes|UserData(\\S-1-5-18(\\(Components|Products))?)?))?$")
SWITCHES = "Software\\MorvelaneLab\\TRAL\\11.0\\Environment"
SWITCH_PARENTS = {SWITCHES.rsplit("\\", count)[0]: {} for count in (1, 2, 3)}
MAKER = "Software\\MorvelaneLab"
CHOICE = MAKER + "\\postwarden\\AddIn"
PARENTS = {"Software\\Microsoft\\Office", "Software\\Microsoft\\Office\\Outlook", ADDINS}


def module():
    return WINDOWS / "outlook/qdmailprotect/com/postwarden.dll"


def mailhost(*arguments):
    told = [windows_path(argument) if isinstance(argument, pathlib.Path) else argument for argument in arguments]
    return DESK.run(WINDOWS / "client/mailhost.exe", *told)


def register(*arguments, file=None):
    return DESK.run("regsvr32", "/s", *arguments, windows_path(file or module())).returncode


def unregister_all():
    """Removes registrations left behind by a failed test."""
    register("/u")
    register("/u", "/n", "/i:user")


def class_keys(path, classes="Software\\Classes\\"):
    """Returns the keys that registration writes below the classes, for a module at `path`."""
    own = classes + "CLSID\\" + CLASS
    return {
        classes + PROG_ID + ".1": {"@": "Connect Class"},
        classes + PROG_ID + ".1\\CLSID": {"@": CLASS},
        classes + PROG_ID: {"@": "Connect Class"},
        classes + PROG_ID + "\\CurVer": {"@": PROG_ID + ".1"},
        own: {"@": "Connect Class"},
        own + "\\ProgID": {"@": PROG_ID + ".1"},
        own + "\\VersionIndependentProgID": {"@": PROG_ID},
        own + "\\Programmable": {},
        own + "\\InprocServer32": {"@": path, "ThreadingModel": "Apartment"},
        own + "\\TypeLib": {"@": LIBRARY},
        own + "\\Version": {"@": "1.0"},
    }


def library_keys(path):
    library = "Software\\Classes\\Typelib\\" + LIBRARY
    interface = "Software\\Classes\\Interface\\" + INTERFACE
    return {
        library: {},
        library + "\\1.0": {"@": "QDMailProtect 1.0 Type Library"},
        library + "\\1.0\\0": {},
        library + "\\1.0\\0\\win64": {"@": path},
        library + "\\1.0\\FLAGS": {"@": "8"},
        library + "\\1.0\\HELPDIR": {"@": path[:path.rindex("\\") + 1]},
        interface: {"@": "IConnect"},
        interface + "\\ProxyStubClsid": {"@": AUTOMATION},
        interface + "\\ProxyStubClsid32": {"@": AUTOMATION},
        interface + "\\TypeLib": {"@": LIBRARY, "Version": "1.0"},
    }


def addin_keys():
    return {ADDINS + "\\" + PROG_ID: {"Description": ADDIN_NAME, "FriendlyName": ADDIN_NAME, "LoadBehavior": 3}}


def own_view(keys):
    """Returns the keys without the view for 32-bit programs, into which the system copies entries of type libraries,
    and without the installer's own records."""
    others = ("\\Wow6432Node\\", "\\Installer", "\\CurrentVersion\\Uninstall", "\\CurrentVersion\\SharedDLLs")
    return {key: values for key, values in keys.items() if not any(other in key for other in others)}


class Machine(unittest.TestCase):
    """Compares the registry at the end of each test with its contents before all of them."""
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        unregister_all()
        cls.note_registry()

    @classmethod
    def note_registry(cls):
        cls.machine = DESK.registry("HKLM\\Software")
        cls.user = DESK.registry("HKCU\\Software")

    def changes(self):
        machine, gone = difference(self.machine, DESK.registry("HKLM\\Software"))
        self.assertEqual([], gone)
        user, gone = difference(self.user, DESK.registry("HKCU\\Software"))
        self.assertEqual([], gone)
        return own_view(machine), own_view(user)

    def assert_untouched(self):
        self.assertEqual(({}, []), difference(self.machine, DESK.registry("HKLM\\Software")))
        self.assertEqual(({}, []), difference(self.user, DESK.registry("HKCU\\Software")))


class Registration(Machine):
    @contextlib.contextmanager
    def registered(self, *arguments, file=None):
        """Registers the module and removes the registration at the end, also after a failure."""
        self.assertEqual(0, register(*arguments, file=file))
        try:
            yield
        finally:
            removed = register("/u", *arguments, file=file)
        self.assertEqual(0, removed)
        self.assert_untouched()

    def test_for_the_machine_writes_what_is_told_and_takes_it_back(self):
        path = windows_path(module())
        expected = {**addin_keys(), **class_keys(path), **library_keys(path)}
        with self.registered():
            self.assertEqual((expected, {}), self.changes())
            self.assertEqual(0, register())  # a second time changes nothing
            self.assertEqual((expected, {}), self.changes())
        register("/u")  # a second time finds nothing to remove
        self.assert_untouched()

    def test_for_one_user_writes_the_users_classes(self):
        for argument in ("user", "USER"):
            with self.registered("/n", "/i:" + argument):
                machine, user = self.changes()
                path = windows_path(module())
                self.assertEqual(class_keys(path), user)
                # Wine registers a user's type libraries for the machine.
                self.assertEqual({**addin_keys(), **library_keys(path)}, machine)
                done = mailhost("--version-string", "16.0.1", FOLDER / "empty")
                self.assertEqual(3, done.returncode, done.stderr)  # loaded; the folder is empty

    def test_replaces_strays_in_the_class_whole(self):
        stray = "HKLM\\Software\\Classes\\CLSID\\" + CLASS + "\\Stray"
        DESK.set_text(stray, "", "left by somebody")
        with self.registered():
            path = windows_path(module())
            self.assertEqual(({**addin_keys(), **class_keys(path), **library_keys(path)}, {}), self.changes())

    def test_works_from_a_path_with_blanks_and_quotes(self):
        folder = FOLDER / "it's a folder"
        folder.mkdir(exist_ok=True)
        copy = folder / "postwarden.dll"
        shutil.copy(module(), copy)
        with self.registered(file=copy):
            path = windows_path(copy)
            self.assertEqual(({**addin_keys(), **class_keys(path), **library_keys(path)}, {}), self.changes())


class Package(Machine):
    INSTALLED = "C:\\Program Files\\Morvelane Lab\\postwarden\\"

    def setUp(self):
        self.package = next((WINDOWS / "packaging").glob("postwarden-*-x64.msi"))
        self.files = self.program_files()

    def entries(self, hardened=True):
        """Returns what an installation writes: the entries of self-registration, the switch unless it is refused, and this
        choice."""
        path = self.INSTALLED + "postwarden.dll"
        switch = {**SWITCH_PARENTS, SWITCHES: {"HardenedScanning": 1}} if hardened else {MAKER: {}}
        switch.update({CHOICE.rpartition("\\")[0]: {}, CHOICE: {"Hardened": "1" if hardened else "0"}})
        return {**addin_keys(), **class_keys(path), **library_keys(path), **switch}

    def install(self, package, *properties):
        """Installs the add-in only, unless the properties choose the features."""
        chosen = any(name.startswith(("ADDLOCAL=", "REINSTALL=")) for name in properties)
        self.assertEqual(0, DESK.install("/i", package, *properties, *([] if chosen else ["ADDLOCAL=AddIn"])))
        self.addCleanup(DESK.install, "/x", package)  # where the test has removed it there is nothing to do

    def remove(self, package):
        self.assertEqual(0, DESK.install("/x", package))

    def program_files(self):
        root = DESK.prefix / "drive_c/Program Files"
        return {str(file.relative_to(root)) for file in root.rglob("*")}

    def installed_files(self):
        return {file.replace("\\", "/") for file in self.program_files() - self.files}

    def test_writes_the_entries_of_self_registration_and_leaves_nothing(self):
        self.install(self.package)
        self.assertEqual((self.entries(), {}), self.changes())
        self.assertEqual({"Morvelane Lab", "Morvelane Lab/postwarden", "Morvelane Lab/postwarden/licenses.txt",
                          "Morvelane Lab/postwarden/postwarden.dll", "Morvelane Lab/postwarden/postwarden-doctor.exe"},
                         self.installed_files())
        done = mailhost(FOLDER / "empty")
        self.assertEqual(3, done.returncode, done.stderr)
        self.remove(self.package)
        self.assertEqual(set(), self.installed_files())
        left, gone = difference(self.machine, DESK.registry("HKLM\\Software"))
        left = {key: values for key, values in left.items() if values or not INSTALLERS_OWN.search(key)}
        self.assertEqual(({}, []), (left, gone))  # records of the product and the view for 32-bit programs included
        self.assertEqual(({}, []), difference(self.user, DESK.registry("HKCU\\Software")))

    def test_repairs_what_was_broken(self):
        self.install(self.package)
        DESK.remove_key("HKLM\\Software\\Classes\\CLSID\\" + CLASS)
        DESK.remove_key("HKLM\\" + SWITCHES)
        (DESK.prefix / "drive_c/Program Files/Morvelane Lab/postwarden/postwarden.dll").unlink()
        # Equivalent to "msiexec /famus"; Wine supports only the long form.
        self.install(self.package, "REINSTALL=ALL", "REINSTALLMODE=amus")
        self.assertEqual((self.entries(), {}), self.changes())
        self.assertIn("Morvelane Lab/postwarden/postwarden.dll", self.installed_files())

    def test_installs_the_german_texts_when_asked(self):
        self.install(self.package, "ADDLOCAL=AddIn,German")
        self.assertIn("Morvelane Lab/postwarden/postwarden_loc.dll", self.installed_files())
        message = FOLDER / "messages" / "25-condemned-body.msg"
        opened = json_lines(mailhost("--json", message).stdout)
        self.assertTrue(opened[0]["after"]["subject"].startswith("[Morvelane Ostrand 10.1] Es wurde"), opened)
        self.remove(self.package)
        self.assertEqual(set(), self.installed_files())

    def test_switches_hardened_scanning_on_for_the_module_that_it_installs(self):
        self.install(self.package)
        log = FOLDER / "hardened.log"
        done = mailhost("--log", windows_path(log), "--log-level", "500", FOLDER / "messages" / "25-condemned-body.msg")
        self.assertEqual(0, done.returncode, done.stderr)
        self.assertIn("Additions params - HardenedScanning = 1", log.read_text("utf-8", "replace"))

    def test_leaves_hardened_scanning_off_when_it_is_refused(self):
        self.install(self.package, "HARDENED=0")
        self.assertEqual((self.entries(hardened=False), {}), self.changes())
        self.install(self.package, "REINSTALL=ALL", "REINSTALLMODE=amus")  # a repair does not switch it on
        self.assertEqual((self.entries(hardened=False), {}), self.changes())
        self.remove(self.package)
        self.assertEqual(set(), self.installed_files())

    def test_takes_hardened_scanning_back_when_a_newer_version_is_to_be_without(self):
        self.install(self.package)
        newer = self.make_package("refused", "9.0.0")
        self.install(newer, "HARDENED=0")
        self.assertEqual((self.entries(hardened=False), {}), self.changes())

    def make_package(self, name, version):
        return make_package(WINDOWS / "packaging", FOLDER, name, version)

    def assert_only(self, package):
        """The only product is that of the package, with its own module and all entries."""
        products = installed_products()
        self.assertEqual(1, len(products), products)
        installed = DESK.prefix / "drive_c/Program Files/Morvelane Lab/postwarden/postwarden.dll"
        self.assertEqual((package.parent / "postwarden.dll").read_bytes(), installed.read_bytes())
        self.assertEqual((self.entries(), {}), self.changes())
        return products

    def test_takes_the_place_of_an_older_version(self):
        self.install(self.package)
        newer = self.make_package("newer", "9.0.0")
        self.install(newer)
        products = self.assert_only(newer)
        self.assertEqual(REFUSED, DESK.install("/i", self.package))  # an older version
        self.assertEqual(products, self.assert_only(newer))
        self.remove(newer)
        self.assertEqual(set(), self.installed_files())

    def test_takes_the_place_of_another_build_of_its_version(self):
        self.install(self.package)
        version = re.search(r"postwarden-([\d.]+)-x64", self.package.name).group(1)
        other = self.make_package("other", version)
        self.install(other)
        self.assert_only(other)
        self.install(self.package)
        self.assert_only(self.package)
        self.remove(self.package)
        self.assertEqual(set(), self.installed_files())


def installed_products():
    return [key for key in DESK.registry("HKLM\\Software\\Classes\\Installer")
            if re.search(r"Installer\\Products\\[0-9A-F]+$", key)]


class Service:
    """A scanning service on a free port, as a context manager."""

    def __init__(self, start):
        self.start = start

    def __enter__(self):
        self.process = self.start("--port", "0")
        told = self.process.stdout.readline()
        return int(re.search(r"listening on 127\.0\.0\.1:(\d+)", told).group(1))

    def __exit__(self, *failure):
        self.process.terminate()
        self.process.wait(timeout=60)
        self.process.stdout.close()


def windows_service():
    return Service(lambda *arguments: DESK.start(WINDOWS / "service/postwarden-service.exe", *arguments))


def linux_service():
    return Service(lambda *arguments: subprocess.Popen([LINUX / "service/postwarden-service", *arguments],
                                                       stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True))


def comparable(line):
    """Returns an opening without the fields that differ between runs and between systems."""
    line = dict(line)
    line.pop("elapsed_ms")
    line["file"] = re.split(r"[/\\]", line["file"])[-1]
    return line


def without_names_of_repaired(line):
    """The trace of the add-in names the threat of a condemned object, but not that of a repaired one."""
    repaired = 3
    answered = line["answered"]
    for one in [answered["body"], *answered["attachments"]]:
        if one.get("verdict") == repaired:
            one["threat"] = ""
    return line


class Samples(unittest.TestCase):
    """Opens the samples with the installed module and with the same logic on the other system."""
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        assert register() == 0

    @classmethod
    def tearDownClass(cls):
        register("/u")

    def on_linux(self, *arguments):
        with linux_service() as port:
            done = subprocess.run([LINUX / "desk/postwarden", "open", "--json", "--port", str(port), *arguments],
                                  capture_output=True, text=True, timeout=300)
        self.assertEqual(0, done.returncode, done.stderr)
        return [comparable(line) for line in json_lines(done.stdout)]

    def on_windows(self, *arguments):
        with windows_service() as port:
            done = mailhost("--json", "--port", port, *arguments)
        self.assertEqual(0, done.returncode, done.stderr)
        return [comparable(line) for line in json_lines(done.stdout)]

    def check(self, *options):
        expected = self.on_linux(*options, FOLDER / "messages")
        self.assertGreater(len(expected), 30)
        self.compare(expected, self.on_windows(*options, FOLDER / "messages"))
        return expected

    def compare(self, expected, found):
        for theirs, ours in zip(expected, found, strict=True):
            with self.subTest(message=theirs["file"], opening=theirs["opening"]):
                self.assertEqual(without_names_of_repaired(theirs), ours)

    def test_are_judged_and_changed_as_on_the_other_system(self):
        openings = self.check()
        self.assertEqual({0, 1, 2, 3}, {opening["verdict"] for opening in openings})

    def test_are_opened_again_as_on_the_other_system(self):
        self.check("--times", "2")

    def test_are_blocked_alike_when_no_verdict_is_kept_on_them(self):
        openings = self.check("--times", "2", "--registry", "KeepVerdictInEmail=1")
        self.assertIn("blocked", {opening["display"] for opening in openings})

    def test_are_handled_alike_by_hardened_scanning(self):
        openings = self.check("--times", "2", "--hardened")
        self.assertEqual({0, 1, 2, 3}, {opening["verdict"] for opening in openings})

    def test_are_handled_alike_when_they_are_encrypted(self):
        expected = self.on_linux("--smime-key", FOLDER / "key.pem", "--smime-cert", FOLDER / "certificate.pem",
                                 FOLDER / "encrypted")
        self.assertEqual({"blocked", "opened"}, {opening["display"] for opening in expected})
        self.assertEqual({1, 2}, {opening["verdict"] for opening in expected})
        self.compare(expected, self.on_windows("--decrypted", FOLDER / "messages", FOLDER / "encrypted"))

    def test_are_handled_alike_when_they_stay_encrypted(self):
        self.compare(self.on_linux(FOLDER / "encrypted"), self.on_windows(FOLDER / "encrypted"))


class Mailhost(Machine):
    MESSAGE = "01-status-report.msg"

    @classmethod
    def setUpClass(cls):
        """Only one test compares."""
        assert register() == 0

    @classmethod
    def tearDownClass(cls):
        unregister_all()

    def setUp(self):
        self.message = FOLDER / "messages" / self.MESSAGE

    def unregister(self):
        """Removes the registration until the end of the test."""
        self.addCleanup(register)
        unregister_all()

    def test_says_when_no_add_in_is_there(self):
        self.unregister()
        done = mailhost(self.message)
        self.assertEqual(5, done.returncode)
        self.assertEqual("mailhost: add-in: no add-in is registered that is loaded at the start\n", done.stderr)

    def test_loads_only_what_is_to_be_loaded_at_the_start(self):
        self.addCleanup(register)
        DESK.set_number("HKLM\\" + ADDINS + "\\" + PROG_ID, "LoadBehavior", 2)
        self.assertEqual(5, mailhost(self.message).returncode)

    def test_is_refused_when_its_version_is_too_old(self):
        done = mailhost("--version-string", "13.9", "--log-level", "200", self.message)
        self.assertEqual(5, done.returncode)
        self.assertIn("the add-in refuses to be connected (0x80004005)", done.stderr)
        self.assertIn("This Outlook version is not supported", done.stderr)

    def test_goes_on_without_a_message_system(self):
        forward = FOLDER / "messages" / "08-forwarded-twice.msg"
        key = "HKLM\\Software\\Clients\\Mail"
        DESK.set_text(key, "", "nobody")
        try:
            done = mailhost("--json", "--log-level", "200", forward)
        finally:
            DESK.set_text(key, "", "postwarden test")
        self.assertEqual(4, done.returncode, done.stderr)  # the attached message was not judged
        self.assertIn("Failed to initialize MAPI, hr = 0x80040605", done.stderr)
        self.assertIn("Failed to convert the message to MIME, hr = 0x80004003", done.stderr)
        self.assertEqual("opened", json_lines(done.stdout)[0]["display"])

    def test_tells_of_a_leak_with_the_kind_of_the_object(self):
        own_class = "{5E1D0C2A-93B4-4D58-A617-0B2F9C846D31}"
        classes = "HKCU\\Software\\Classes\\"
        entry = "HKCU\\" + ADDINS + "\\Leaky.Connect"
        DESK.set_number(entry, "LoadBehavior", 3)
        DESK.set_text(classes + "Leaky.Connect\\CLSID", "", own_class)
        DESK.set_text(classes + "CLSID\\" + own_class + "\\InprocServer32", "",
                      windows_path(WINDOWS / "tests/client/mailhost/leaky_addin.dll"))
        try:
            done = mailhost("--times", "3", self.message)
        finally:
            for key in (entry, classes + "Leaky.Connect", classes + "CLSID\\" + own_class):
                DESK.remove_key(key)
        self.assertEqual(6, done.returncode, done.stderr)
        self.assertIn("mailhost: leak: item: 3 never released, with 3 references", done.stderr)
        self.assertIn("mailhost: leak: IMessage: 3 never released", done.stderr)

    def test_goes_on_behind_what_cannot_be_read(self):
        broken = FOLDER / "broken.msg"
        broken.write_bytes(b"no message at all")
        done = mailhost("--json", broken, self.message)
        self.assertEqual(3, done.returncode)
        self.assertEqual([1], [line["verdict"] for line in json_lines(done.stdout)])

    def test_says_when_no_service_answers(self):
        done = mailhost("--json", "--port", "9", self.message)
        self.assertEqual(4, done.returncode)
        self.assertEqual([0], [line["verdict"] for line in json_lines(done.stdout)])
        self.assertIn("no scanning service answers there", done.stderr)

    def test_takes_its_traces_in_the_registry_back(self):
        log = FOLDER / "mailhost.log"
        self.unregister()
        self.note_registry()
        self.assertEqual(0, register())
        done = mailhost("--registry", "KeepVerdictInEmail=1", "--log", windows_path(log), "--log-level", "500",
                        self.message)
        self.assertEqual(0, done.returncode, done.stderr)
        register("/u")
        self.assert_untouched()
        text = log.read_text("utf-8", "replace")
        self.assertIn("400 outlook", text)
        self.assertIn("Additions params - KeepVerdictInEmail = 1", text)

    def test_takes_back_what_a_killed_one_left_in_the_registry(self):
        self.unregister()
        self.note_registry()
        self.assertEqual(0, register())

        def changed():
            return any(values.get("Configuration", "").startswith("level=")
                       for values in DESK.registry("HKLM\\Software").values())

        killed = DESK.start(WINDOWS / "client/mailhost.exe", "--times", "1000000", windows_path(self.message))
        try:
            while not changed():
                self.assertIsNone(killed.poll(), "it has ended")
        finally:
            killed.kill()
            killed.communicate()
        self.assertTrue(changed(), "nothing was left")
        done = mailhost(self.message)
        self.assertEqual(0, done.returncode, done.stderr)
        register("/u")
        self.assert_untouched()

    def test_traces_as_deep_as_its_log_is_configured(self):
        for level in (400, 500):
            done = mailhost("--registry", f"Configuration=level={level}; stderr", self.message)
            self.assertEqual(0, done.returncode, done.stderr)
            self.assertIn("400 outlook", done.stderr)
            self.assertEqual(level == 500, "500 outlook" in done.stderr, done.stderr)

    def test_saves_copies_that_need_no_service_any_more(self):
        saved = FOLDER / "saved"
        condemned = FOLDER / "messages" / "27-condemned-attachment.msg"
        done = mailhost("--json", "--save", saved, condemned)
        self.assertEqual(0, done.returncode, done.stderr)
        after = json_lines(done.stdout)[0]["after"]
        again = mailhost("--json", "--port", "9", saved)  # no program listens on this port
        self.assertEqual(4, again.returncode, again.stderr)
        opening = json_lines(again.stdout)[0]
        self.assertEqual((2, after), (opening["verdict"], opening["before"]))
        self.assertEqual(opening["before"], opening["after"])
        native = subprocess.run([LINUX / "desk/postwarden", "open", "--json", saved], capture_output=True, text=True)
        self.assertEqual(comparable(opening), comparable(json_lines(native.stdout)[0]))

    def test_opens_again_what_it_has_just_saved(self):
        done = mailhost("--json", "--reopen", FOLDER / "messages" / "25-condemned-body.msg")
        self.assertEqual(0, done.returncode, done.stderr)
        first, second = json_lines(done.stdout)
        self.assertEqual(first["after"], second["before"])
        self.assertEqual((2, 2), (first["verdict"], second["verdict"]))

    def test_writes_no_mail_of_another_form(self):
        done = mailhost("--json", "--save", FOLDER / "other", "--format", "eml", self.message)
        self.assertEqual(1, done.returncode)
        self.assertIn("only Outlook message files are written on this system", done.stderr)

    def test_takes_settings_from_a_file_through_the_broker(self):
        settings = FOLDER / "settings.json"
        condemned = FOLDER / "messages" / "25-condemned-body.msg"

        def opening_with(**values):
            settings.write_text(json.dumps({name: {"value": value, "isSet": True} for name, value in values.items()}))
            done = mailhost("--json", "--settings", settings, condemned)
            self.assertEqual(0, done.returncode, done.stderr)
            return json_lines(done.stdout)[0]

        with windows_service() as port:
            self.assertEqual(2, opening_with(ServerPort=port)["verdict"])
            off = opening_with(ServerPort=port, UseOutlookPlugin=False)
            self.assertEqual(("0x80004002", 0), (off["hr"], off["verdict"]))
            limited = opening_with(ServerPort=port, SizeLimit=10, UseSizeLimit=True)
            self.assertEqual(0, limited["verdict"])

    def test_refuses_settings_that_are_none(self):
        settings = FOLDER / "bad.json"
        settings.write_text('{"ServerPort": 1}')
        done = mailhost("--settings", settings, self.message)
        self.assertEqual(2, done.returncode)
        self.assertIn("ServerPort: must be an object", done.stderr)

    def test_shows_a_table_to_people(self):
        done = mailhost(self.message)
        self.assertEqual(0, done.returncode, done.stderr)
        lines = done.stdout.splitlines()
        self.assertTrue(lines[0].startswith("MESSAGE "), lines)
        self.assertRegex(lines[1], r"01-status-r\S+ +clean +all +opened +\d+  -$")
        self.assertRegex(lines[-1], r"^1 opening in \d+ ms: 1 clean")

    def test_takes_names_in_every_script(self):
        copy = FOLDER / "Журнал крана – 日本.msg"
        shutil.copy(self.message, copy)
        done = mailhost("--json", copy)
        self.assertEqual(0, done.returncode, done.stderr)
        self.assertTrue(json_lines(done.stdout)[0]["file"].endswith(copy.name), done.stdout)

    def test_refuses_options_that_it_does_not_know(self):
        done = mailhost("--bogus", self.message)
        self.assertEqual(2, done.returncode)
        self.assertTrue(done.stderr.startswith("mailhost: command line: "), done.stderr)


def make_messages(folder):
    """Writes the samples as unchanged message files: the settings disable the check."""
    settings = folder / "look-away.json"
    settings.write_text(json.dumps({"UseOutlookPlugin": {"value": False, "isSet": True}}))
    mail = folder / "samples"
    subprocess.run([sys.executable, SAMPLES / "make_samples.py", mail], check=True, stdout=subprocess.DEVNULL)
    encrypt(folder, mail, folder / "envelopes")
    for source, target in (mail, "messages"), (folder / "envelopes", "encrypted"):
        subprocess.run([LINUX / "desk/postwarden", "open", "--settings", settings, "--save", folder / target,
                        "--format", "msg", source], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    (folder / "empty").mkdir()


def encrypt(folder, mail, target):
    """Writes some samples in envelopes for one reader."""
    key, certificate = folder / "key.pem", folder / "certificate.pem"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key, "-out", certificate,
                    "-subj", "/CN=reader", "-days", "30"], check=True, stderr=subprocess.DEVNULL)
    target.mkdir()
    for name in "01-status-report", "25-condemned-body", "27-condemned-attachment":
        subprocess.run(["openssl", "cms", "-encrypt", "-aes-256-cbc", "-in", mail / f"{name}.eml", "-out",
                        target / f"{name}.eml", "-from", "a@example.org", "-to", "b@example.org", "-subject",
                        "For your eyes", certificate], check=True)


def run_tests():
    global FOLDER
    for parent in sorted(PARENTS):  # they stay, as other add-ins may stand there
        DESK.add_key("HKLM\\" + parent)
    DESK.set_text("HKLM\\Software\\Clients\\Mail", "", "postwarden test")
    DESK.set_text("HKLM\\Software\\Clients\\Mail\\postwarden test", "DLLPathEx",
                  windows_path(WINDOWS / "client/mapi_provider.dll"))
    with tempfile.TemporaryDirectory() as folder:
        FOLDER = pathlib.Path(folder)
        make_messages(FOLDER)
        tests = unittest.defaultTestLoader.loadTestsFromModule(sys.modules[__name__])
        return unittest.TextTestRunner(verbosity=2).run(tests)


def main():
    global WINDOWS, LINUX, SAMPLES, DESK
    WINDOWS, LINUX, SAMPLES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
    DESK = WineDesk(WINDOWS / "wine", WINDOWS / "tests/client/mailhost/save_registry.exe")
    try:
        result = run_tests()
    finally:
        DESK.stop()
    report(result)


if __name__ == "__main__":
    main()
