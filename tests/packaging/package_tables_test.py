#!/usr/bin/env python3
"""Tests the tables of the installer.

    package_tables_test.py PACKAGE VERSION

VERSION is the project's, which the modules carry in their version resources.
"""

import subprocess
import sys
import unittest

sys.dont_write_bytecode = True  # keeps the source tree unchanged

import package_database  # noqa: E402

PACKAGE = VERSION = None


def table(name):
    return package_database.table(PACKAGE, name)


def long_name(name):
    return name.rpartition("|")[2]


class Tables(unittest.TestCase):
    def test_files_are_those_of_the_product(self):
        self.assertEqual({"postwarden.dll", "postwarden-broker.dll", "postwarden-service.exe", "postwarden-doctor.exe",
                          "postwarden-configure.exe", "postwarden_loc.dll", "licenses.txt"},
                         {long_name(row["FileName"]) for row in table("File")})

    def test_files_with_a_version_have_no_hash(self):
        self.assertEqual({row["File"] for row in table("File") if not row["Version"]},
                         {row["File_"] for row in table("MsiFileHash")})
        self.assertEqual({"licenses.txt"}, {row["FileName"] for row in table("File") if not row["Version"]})

    def test_files_are_written_whatever_version_is_on_the_disk(self):
        properties = {row["Property"]: row["Value"] for row in table("Property")}
        self.assertEqual("amus", properties["REINSTALLMODE"])

    def test_older_versions_and_other_builds_of_this_one_are_replaced(self):
        replaced, = [row for row in table("Upgrade") if row["ActionProperty"] == "OTHERBUILDS"]
        self.assertEqual(("0.0.0", VERSION), (replaced["VersionMin"], replaced["VersionMax"]))
        both_bounds_included, features_kept = 256 + 512, 1
        self.assertEqual(both_bounds_included + features_kept, int(replaced["Attributes"]))

    def test_an_upgrade_keeps_the_features_that_are_installed(self):
        """The installer does so where its action is immediately behind CostFinalize, in both sequences."""
        for name in ("InstallExecuteSequence", "InstallUISequence"):
            order = sorted((int(row["Sequence"]), row["Action"]) for row in table(name))
            actions = [action for _, action in order]
            self.assertLess(actions.index("FindRelatedProducts"), actions.index("CostFinalize"), name)
            self.assertEqual("MigrateFeatureStates", actions[actions.index("CostFinalize") + 1], name)
            self.assertEqual([""], [row["Condition"] for row in table(name) if row["Action"] == "MigrateFeatureStates"])

    def test_newer_versions_are_only_detected(self):
        newer, = [row for row in table("Upgrade") if row["ActionProperty"] == "NEWERVERSION"]
        self.assertEqual((VERSION, "", 2), (newer["VersionMin"], newer["VersionMax"], int(newer["Attributes"])))
        self.assertIn("Installed OR NOT NEWERVERSION", [row["Condition"] for row in table("LaunchCondition")])

    def test_the_properties_of_the_search_and_of_the_administrator_are_secure(self):
        secure, = [row["Value"] for row in table("Property") if row["Property"] == "SecureCustomProperties"]
        self.assertEqual({"OTHERBUILDS", "NEWERVERSION", "HARDENED", "PORT", "ENGINE"}, set(secure.split(";")))

    def test_hardened_scanning_is_switched_on_unless_it_is_refused(self):
        properties = {row["Property"]: row["Value"] for row in table("Property")}
        self.assertEqual("1", properties["HARDENED"])
        component, = [row for row in table("Component") if row["Component"] == "HardenedScanning"]
        # A component whose condition is false is not removed either.
        self.assertEqual('REMOVE OR HARDENED <> "0"', component["Condition"])
        value, = [row for row in table("Registry") if row["Component_"] == "HardenedScanning"]
        self.assertEqual(("2", "SOFTWARE\\MorvelaneLab\\TRAL\\11.0\\Environment", "HardenedScanning", "#1"),
                         (value["Root"], value["Key"], value["Name"], value["Value"]))  # below HKLM, a number
        # Of the 64-bit view, with the value as the part that shows whether it is installed.
        self.assertEqual((256 + 4, value["Registry"]), (int(component["Attributes"]), component["KeyPath"]))
        self.assertIn(("AddIn", "HardenedScanning"),
                      {(row["Feature_"], row["Component_"]) for row in table("FeatureComponents")})

    def test_maintenance_keeps_the_choice_of_hardened_scanning_until_the_add_in_is_chosen_anew(self):
        """The states of features and components are not known where conditions of components are evaluated."""
        for row in table("Component"):
            self.assertNotRegex(row["Condition"], r"[?$&!]")
        written, = [row for row in table("Registry") if row["Value"] == "[HARDENED]"]
        search, = [row["Signature_"] for row in table("AppSearch") if row["Property"] == "KEPTHARDENED"]
        read, = [row for row in table("RegLocator") if row["Signature_"] == search]
        for column in ("Root", "Key", "Name"):
            self.assertEqual(written[column], read[column])
        raw, in_64_bit_view = 2, 16
        self.assertEqual((raw + in_64_bit_view, "Module"), (int(read["Type"]), written["Component_"]))
        action, = [row for row in table("CustomAction") if row["Source"] == "HARDENED"]
        set_property = 51
        self.assertEqual((set_property, "[KEPTHARDENED]"), (int(action["Type"]), action["Target"]))
        order = self.order()
        conditions = {row["Action"]: row["Condition"] for row in table("InstallExecuteSequence")}
        self.assertEqual('Installed AND KEPTHARDENED AND NOT (ADDLOCAL >< "AddIn" OR ADDLOCAL = "ALL")',
                         conditions[action["Action"]])
        self.assertLess(order["AppSearch"], order[action["Action"]])
        self.assertLess(order[action["Action"]], order["CostInitialize"])

    def test_nothing_else_depends_on_a_condition(self):
        self.assertEqual({"HardenedScanning"}, {row["Component"] for row in table("Component") if row["Condition"]})

    def test_other_builds_are_removed_before_files_are_written_and_come_back_if_the_installation_fails(self):
        order = self.order()
        self.assertLess(order["FindRelatedProducts"], order["RemoveExistingProducts"])
        # In the transaction, as its first action: the installer refuses it behind one that changes the machine.
        transaction = sorted(number for number in order.values() if number >= order["InstallInitialize"])
        self.assertEqual([order["InstallInitialize"], order["RemoveExistingProducts"]], transaction[:2])
        self.assertLess(order["RemoveExistingProducts"], order["InstallFiles"])

    def test_the_machine_is_never_restarted_by_an_installation_that_nobody_watches(self):
        properties = {row["Property"]: row["Value"] for row in table("Property")}
        self.assertEqual("ReallySuppress", properties["REBOOT"])

    def test_names_have_a_short_one_in_front_unless_they_are_short(self):
        folders = {row["Component"]: row["Directory_"] for row in table("Component")}
        names = [(folders[row["Component_"]], row["FileName"]) for row in table("File")]
        names += [(row["Directory_Parent"], row["DefaultDir"]) for row in table("Directory")]
        names += [("", row["FileName"]) for row in table("Signature")]
        # The folders of the system have none, and the root has the name of the source.
        used = [(folder, name.partition("|")[0]) for folder, name in names if name not in (".", "SourceDir")]
        for _, short in used:
            self.assertRegex(short, r"^[A-Za-z0-9_]{1,8}(\.[A-Za-z0-9_]{1,3})?$")
        self.assertEqual(len(set(used)), len(used))

    def test_the_add_in_cannot_be_left_out(self):
        self.assertEqual({"AddIn": "16", "Service": "0", "Broker": "0", "German": "0"},
                         {row["Feature"]: row["Attributes"] for row in table("Feature")})

    def test_all_but_the_german_texts_is_installed_unless_features_are_chosen(self):
        self.assertEqual({"AddIn": "1", "Service": "1", "Broker": "1", "German": "1000"},
                         {row["Feature"]: row["Level"] for row in table("Feature")})

    def test_each_feature_has_all_that_it_needs(self):
        features = {}
        for row in table("FeatureComponents"):
            features.setdefault(row["Feature_"], set()).add(row["Component_"])
        common = {"MakerFolder", "DoctorProgram", "Configure", "DataFolder", "Licenses"}
        self.assertEqual({"AddIn": {"Module", "MakerFolder", "HardenedScanning", "DoctorProgram", "Licenses"},
                          "Service": common | {"ServiceProgram", "LogFolder"},
                          "Broker": common | {"BrokerModule"}, "German": {"GermanTexts"}}, features)

    def test_the_doctor_is_installed_with_each_feature_that_it_examines(self):
        files = {row["File"]: row["Component_"] for row in table("File") if long_name(row["FileName"]) == "postwarden-doctor.exe"}
        component, = files.values()
        features = {row["Feature_"] for row in table("FeatureComponents") if row["Component_"] == component}
        self.assertEqual({"AddIn", "Service", "Broker"}, features)

    def test_a_component_of_several_features_is_what_each_of_them_needs_alone(self):
        """Such a component remains until its last feature is removed. It has its own file or folder as the part that shows
        whether it is installed, and nothing that belongs to one of the features."""
        features = {}
        for row in table("FeatureComponents"):
            features.setdefault(row["Component_"], set()).add(row["Feature_"])
        shared = {component for component, users in features.items() if len(users) > 1}
        self.assertEqual({"MakerFolder", "DoctorProgram", "Configure", "DataFolder", "Licenses"}, shared)
        owned = {name: {row["Component_"] for row in table(name)} for name in ("Registry", "ServiceInstall", "ServiceControl")}
        self.assertEqual([], [name for name, components in owned.items() if components & shared])
        for row in table("Component"):
            if row["Component"] in shared:
                files = [file["File"] for file in table("File") if file["Component_"] == row["Component"]]
                self.assertEqual(files or [""], [row["KeyPath"]], row)

    def test_each_file_has_a_component_of_its_own_that_has_no_twin(self):
        components = [row["Component_"] for row in table("File")]
        self.assertEqual(len(set(components)), len(components))
        identifiers = [row["ComponentId"] for row in table("Component")]
        self.assertEqual(len(set(identifiers)), len(identifiers))
        self.assertEqual([], [one for one in identifiers if one != one.upper()])

    def test_components_are_of_the_64_bit_view(self):
        self.assertEqual({256}, {int(row["Attributes"]) & 256 for row in table("Component")})

    def test_a_port_that_is_none_is_refused(self):
        properties = {row["Property"]: row["Value"] for row in table("Property")}
        # Without PORT the port is that of the configuration which is there already.
        self.assertEqual((None, "builtin"), (properties.get("PORT"), properties["ENGINE"]))
        messages = {row["Condition"]: row["Description"] for row in table("LaunchCondition")}
        self.assertEqual("PORT must be a number from 1 to 65535.",
                         messages["Installed OR NOT PORT OR PORT >= 1 AND PORT <= 65535"])

    def test_the_tables_of_the_fifth_installer_are_not_offered_to_an_older_one(self):
        information = subprocess.run(["msiinfo", "suminfo", PACKAGE], capture_output=True, text=True, check=True).stdout
        self.assertIn("Version: 500 ", information)

    def test_the_service_runs_under_local_service_from_the_start_of_the_machine(self):
        row, = table("ServiceInstall")
        self.assertEqual(("postwarden-service", "16", "2", "NT AUTHORITY\\LocalService", "", "ServiceProgram"),
                         tuple(row[name] for name in ("Name", "ServiceType", "StartType", "StartName", "Password",
                                                      "Component_")))
        self.assertEqual('--config "[DATADIR]service.conf"', row["Arguments"])
        self.assertTrue(row["DisplayName"] and row["Description"])

    def test_a_service_that_cannot_be_installed_fails_the_installation(self):
        row, = table("ServiceInstall")
        self.assertEqual(0x8000 + 1, int(row["ErrorControl"]))  # msidbServiceInstallErrorControlVital, and normal

    def test_the_program_of_the_service_is_the_key_path_of_its_component(self):
        component, = [row for row in table("Component") if row["Component"] == "ServiceProgram"]
        file, = [row for row in table("File") if row["File"] == component["KeyPath"]]
        self.assertEqual("postwarden-service.exe", long_name(file["FileName"]))

    def test_the_service_is_started_stopped_and_removed_and_each_is_waited_for(self):
        row, = table("ServiceControl")
        start_at_installation, stop_at_installation, stop_at_removal, delete_at_removal = 1, 2, 32, 128
        self.assertEqual((start_at_installation + stop_at_installation + stop_at_removal + delete_at_removal, "1"),
                         (int(row["Event"]), row["Wait"]))
        self.assertEqual(("postwarden-service", "ServiceProgram"), (row["Name"], row["Component_"]))

    def order(self):
        return {row["Action"]: int(row["Sequence"]) for row in table("InstallExecuteSequence")}

    def test_the_service_has_ended_before_its_files_are_removed_or_written(self):
        order = self.order()
        self.assertLess(order["StopServices"], order["DeleteServices"])
        self.assertLess(order["DeleteServices"], order["RemoveFiles"])
        conditions = {row["Action"]: row["Condition"] for row in table("InstallExecuteSequence")}
        self.assertLess(order["StopServices"], order["AwaitService"])
        self.assertLess(order["AwaitService"], order["RemoveFiles"])
        # Of an upgrade too, and at a repair.
        self.assertEqual("&Service = 2 OR REINSTALL AND &Service = 3", conditions["AwaitService"])
        self.assertLess(order["StopServices"], order["InstallFiles"])

    def test_configuration_is_written_behind_the_files_and_ahead_of_the_service(self):
        order = self.order()
        for action in ("ConfigureService", "ConfigureBroker"):
            self.assertLess(order["InstallFiles"], order[action])
            self.assertLess(order[action], order["InstallServices"])

    def test_configuration_is_removed_ahead_of_the_program_that_does_it_and_never_by_an_upgrade(self):
        order = self.order()
        conditions = {row["Action"]: row["Condition"] for row in table("InstallExecuteSequence")}
        for feature in ("Service", "Broker"):
            self.assertLess(order["StopServices"], order["Forget" + feature])
            self.assertLess(order["Forget" + feature], order["RemoveFiles"])
            self.assertEqual(f"&{feature} = 2 AND NOT UPGRADINGPRODUCTCODE", conditions["Forget" + feature])
            self.assertEqual(f"&{feature} = 3", conditions["Configure" + feature])

    def test_a_failed_installation_takes_back_the_configuration_that_it_has_written_and_no_other(self):
        order = self.order()
        conditions = {row["Action"]: row["Condition"] for row in table("InstallExecuteSequence")}
        searched = {row["Property"]: row["Signature_"] for row in table("AppSearch")}
        files = {row["Signature"]: long_name(row["FileName"]) for row in table("Signature")}
        folders = {row["Signature_"]: row["Path"] for row in table("DrLocator")}
        for feature, found, file in (("Service", "OPTIONSFILE", "service.conf"), ("Broker", "SETTINGSFILE", "settings.json")):
            action = f"Take{feature}Back"
            self.assertLess(order["InstallFiles"], order[action])  # so that the program is still there
            self.assertLess(order[action], order["Configure" + feature])
            self.assertEqual(f"&{feature} = 3 AND NOT {found}", conditions[action])
            self.assertEqual((file, "[CommonAppDataFolder]postwarden"), (files[searched[found]], folders[searched[found]]))
        self.assertLess(order["AppSearch"], order["CostInitialize"])

    def test_the_service_has_its_restarts_privileges_and_quoted_path_before_it_starts(self):
        order = self.order()
        conditions = {row["Action"]: row["Condition"] for row in table("InstallExecuteSequence")}
        self.assertEqual("&Service = 3", conditions["CompleteService"])  # at a repair too
        self.assertLess(order["InstallServices"], order["CompleteService"])
        self.assertLess(order["CompleteService"], order["StartServices"])

    def test_a_rollback_gives_the_service_that_comes_back_its_restarts_too(self):
        """The actions of the rollback run in the reverse order: the service's entry, what completes it, the start."""
        order = self.order()
        conditions = {row["Action"]: row["Condition"] for row in table("InstallExecuteSequence")}
        self.assertEqual("&Service = 2", conditions["CompleteServiceAgain"])  # at an upgrade and at a removal
        self.assertLess(order["StopServices"], order["CompleteServiceAgain"])
        self.assertLess(order["CompleteServiceAgain"], order["DeleteServices"])
        self.assertLess(order["CompleteServiceAgain"], order["RemoveFiles"])  # so that the program is there again
        targets = {row["Action"]: row["Target"] for row in table("CustomAction")}
        self.assertEqual(targets["CompleteService"], targets["CompleteServiceAgain"])

    def test_custom_actions_run_the_installed_program_with_the_rights_of_the_system(self):
        installed_program, in_script, no_impersonation, go_on_after_failure, in_rollback = 18, 1024, 2048, 64, 256
        system = installed_program + in_script + no_impersonation
        program, = [row["File"] for row in table("File") if long_name(row["FileName"]) == "postwarden-configure.exe"]
        self.assertEqual(
            {("ConfigureService", system, program, 'service "[DATADIR]." "[PORT]" "[ENGINE]" "[#ServiceFile]"'),
             ("ConfigureBroker", system, program, 'broker "[DATADIR]." "[PORT]"'),
             ("CompleteService", system, program, 'complete-service "[#ServiceFile]" "[DATADIR]service.conf"'),
             ("CompleteServiceAgain", system + in_rollback + go_on_after_failure, program,
              'complete-service "[#ServiceFile]" "[DATADIR]service.conf"'),
             ("TakeServiceBack", system + in_rollback + go_on_after_failure, program, 'remove-service "[DATADIR]."'),
             ("TakeBrokerBack", system + in_rollback + go_on_after_failure, program, 'remove-broker "[DATADIR]."'),
             ("AwaitService", system + go_on_after_failure, program, 'await-end "[#ServiceFile]"'),
             ("ForgetService", system + go_on_after_failure, program, 'remove-service "[DATADIR]."'),
             ("ForgetBroker", system + go_on_after_failure, program, 'remove-broker "[DATADIR]."')},
            {(row["Action"], int(row["Type"]), row["Source"], row["Target"]) for row in table("CustomAction")
             if row["Source"] != "HARDENED"})

    def test_only_administrators_change_the_configuration_and_the_service_its_log_alone(self):
        lists = {row["LockObject"]: (row["Table"], row["SDDLText"]) for row in table("MsiLockPermissionsEx")}
        # Protected from inheritance. System and administrators everything; users and the service read, or the service
        # changes.
        self.assertEqual({
            "DATADIR": ("CreateFolder", "D:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)(A;OICI;0x1200a9;;;LS)"),
            "LOGDIR": ("CreateFolder", "D:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1301bf;;;LS)")}, lists)
        self.assertLessEqual({"DATADIR", "LOGDIR"}, {row["Directory_"] for row in table("CreateFolder")})

    def test_both_kinds_of_access_lists_are_never_used_together(self):
        tables = subprocess.run(["msiinfo", "tables", PACKAGE], capture_output=True, text=True, check=True).stdout.split()
        self.assertNotIn("LockPermissions", tables)

    def test_configuration_is_no_file_of_the_package(self):
        """The installer would replace or remove it with the version that brought it."""
        self.assertEqual(set(), {long_name(row["FileName"]) for row in table("File")} & {"service.conf", "settings.json"})

    def test_event_sources_have_their_messages(self):
        sources = {}
        for row in table("Registry"):
            key, _, name = row["Key"].rpartition("\\")
            if key.endswith("\\EventLog\\Application"):
                sources.setdefault(name, {})[row["Name"]] = row["Value"]
        self.assertEqual({"postwarden-service": {"EventMessageFile": "#%[#ServiceFile]", "TypesSupported": "#7"},
                          "postwarden-broker": {"EventMessageFile": "#%[#BrokerFile]", "TypesSupported": "#7"}}, sources)

    def test_the_broker_serves_both_kinds_of_apartments_and_reads_the_file_in_the_protected_folder(self):
        values = {(row["Key"].split("\\")[-1], row["Name"]): row["Value"] for row in table("Registry")
                  if row["Component_"] == "BrokerModule"}
        self.assertEqual("Both", values["InprocServer32", "ThreadingModel"])
        self.assertEqual("[#BrokerFile]", values["InprocServer32", ""])
        self.assertEqual("[DATADIR]settings.json", values["Broker", "SettingsFile"])

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
