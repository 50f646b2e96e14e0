"""Rows of the installer that wixl cannot write."""

# Only administrators change the configuration, which every user reads, and the service writes to the folder of its log
# alone. Lists of objects are not inherited from the folder above, in which every user can create files.
EVERYTHING, READ, CHANGE = "FA", "0x1200a9", "0x1301bf"
SYSTEM, ADMINISTRATORS, USERS, LOCAL_SERVICE = "SY", "BA", "BU", "LS"


def access_list(*entries):
    return "D:PAI" + "".join(f"(A;OICI;{rights};;;{account})" for account, rights in entries)


DATA_ACCESS = access_list((SYSTEM, EVERYTHING), (ADMINISTRATORS, EVERYTHING), (USERS, READ), (LOCAL_SERVICE, READ))
LOG_ACCESS = access_list((SYSTEM, EVERYTHING), (ADMINISTRATORS, EVERYTHING), (LOCAL_SERVICE, CHANGE))

EVENT_SOURCES = {"ServiceProgram": "ServiceFile", "BrokerModule": "BrokerFile"}
FAILS_INSTALLATION = 0x8000  # msidbServiceInstallErrorControlVital

# Kinds of custom actions: an installed program, run in the installation with the rights of the system.
INSTALLED_PROGRAM = 18
IN_SCRIPT, NO_IMPERSONATION, GO_ON_AFTER_FAILURE = 0x400, 0x800, 0x40
CONFIGURE = INSTALLED_PROGRAM + IN_SCRIPT + NO_IMPERSONATION
FORGET = CONFIGURE + GO_ON_AFTER_FAILURE
IN_ROLLBACK = 0x100
TAKE_BACK = FORGET + IN_ROLLBACK

# Tables that wixl does not create: the columns with their types, of which the first is the key, and
# the rows.
TABLES = {
    "MsiLockPermissionsEx": (
        {"MsiLockPermissionsEx": "CHAR(72) NOT NULL", "LockObject": "CHAR(72) NOT NULL", "Table": "CHAR(32) NOT NULL",
         "SDDLText": "LONGCHAR NOT NULL", "Condition": "LONGCHAR"},
        [("DataAccess", "DATADIR", "CreateFolder", DATA_ACCESS, None),
         ("LogAccess", "LOGDIR", "CreateFolder", LOG_ACCESS, None)]),
}

# Configuration that was there before: an installation that fails leaves it.
SEARCHES = [("OPTIONSFILE", "OptionsFile", "SERVICE.CON|service.conf"),
            ("SETTINGSFILE", "SettingsFile", "SETTINGS.JSO|settings.json")]
SEARCHED_FOLDER = "[CommonAppDataFolder]postwarden"

# The choice of the installation is that of its maintenance, until the add-in is chosen anew.
LOCAL_MACHINE, TEXT_IN_64_BIT_VIEW = 2, 2 + 16
KEPT, KEPT_KEY, KEPT_NAME = "KEPTHARDENED", "SOFTWARE\\MorvelaneLab\\postwarden\\AddIn", "Hardened"
KEEP_CHOICE = f'Installed AND {KEPT} AND NOT (ADDLOCAL >< "AddIn" OR ADDLOCAL = "ALL")'
SETS_PROPERTY = 51

ACTIONS = [
    ("KeepHardened", SETS_PROPERTY, "HARDENED", f"[{KEPT}]"),
    # The point keeps the backslash at the end of the folder from the quotation mark.
    ("ConfigureService", CONFIGURE, "ConfigureFile", 'service "[DATADIR]." "[PORT]" "[ENGINE]" "[#ServiceFile]"'),
    ("ConfigureBroker", CONFIGURE, "ConfigureFile", 'broker "[DATADIR]." "[PORT]"'),
    # Restarts, privileges and identity are stored by the code of "postwarden-service install", and the path of the program
    # gets quotation marks, which not every installer writes.
    ("CompleteService", CONFIGURE, "ConfigureFile", 'complete-service "[#ServiceFile]" "[DATADIR]service.conf"'),
    ("TakeServiceBack", TAKE_BACK, "ConfigureFile", 'remove-service "[DATADIR]."'),
    ("TakeBrokerBack", TAKE_BACK, "ConfigureFile", 'remove-broker "[DATADIR]."'),
    # A rollback creates the older service's entry anew, without what "complete-service" has stored.
    ("CompleteServiceAgain", TAKE_BACK, "ConfigureFile", 'complete-service "[#ServiceFile]" "[DATADIR]service.conf"'),
    # A service has ended for the manager while its process still has its files.
    ("AwaitService", FORGET, "ConfigureFile", 'await-end "[#ServiceFile]"'),
    ("ForgetService", FORGET, "ConfigureFile", 'remove-service "[DATADIR]."'),
    ("ForgetBroker", FORGET, "ConfigureFile", 'remove-broker "[DATADIR]."'),
]

# Behind the files and ahead of the service's start; behind the service's end and ahead of the files' removal.
# A rollback undoes what follows the actions for it.
SEQUENCE = [
    ("AwaitService", "&Service = 2 OR REINSTALL AND &Service = 3", 3390),
    ("ForgetService", "&Service = 2 AND NOT UPGRADINGPRODUCTCODE", 3400),
    ("ForgetBroker", "&Broker = 2 AND NOT UPGRADINGPRODUCTCODE", 3410),
    # Ahead of the removal, so that a rollback runs it behind that of the removal, and ahead of the service's start.
    ("CompleteServiceAgain", "&Service = 2", 1990),
    ("AppSearch", None, 50),
    ("KeepHardened", KEEP_CHOICE, 60),
    ("TakeServiceBack", "&Service = 3 AND NOT OPTIONSFILE", 5680),
    ("TakeBrokerBack", "&Broker = 3 AND NOT SETTINGSFILE", 5690),
    ("ConfigureService", "&Service = 3", 5700),
    ("ConfigureBroker", "&Broker = 3", 5710),
    ("CompleteService", "&Service = 3", 5840),
]

# Names that are no short ones, of eight characters and three, are preceded by one. wixl writes them as they are.
SHORT_NAMES = {
    ("File", "FileName"): {"ModuleFile": "POSTWARD.DLL", "BrokerFile": "PWBROKER.DLL", "ServiceFile": "PWSERVIC.EXE",
                           "ConfigureFile": "PWCONFIG.EXE", "DoctorFile": "PWDOCTOR.EXE", "GermanTextsFile": "PWTEXTS.DLL"},
    ("Directory", "DefaultDir"): {"MAKERDIR": "MORVELAN", "INSTALLDIR": "POSTWARD", "DATADIR": "POSTWARD"},
}


def literal(value):
    return str(value) if isinstance(value, int) else f"'{value}'"


def insertion(table, columns, row):
    """Leaves out the columns without a value."""
    given = [(column, value) for column, value in zip(columns, row, strict=True) if value is not None]
    names = ", ".join(f"`{column}`" for column, _ in given)
    return f"INSERT INTO `{table}` ({names}) VALUES ({', '.join(literal(value) for _, value in given)})"


def short_names(rows):
    """Returns the statements that add the short names. `rows` returns the rows of a table by its name: the first
    value is the key, and the third the long name."""
    statements = []
    for (table, column), names in SHORT_NAMES.items():
        for key, _, long_name in (row[:3] for row in rows(table)):
            if key in names:
                statements.append(f"UPDATE `{table}` SET `{column}` = '{names[key]}|{long_name}' WHERE `{table}` = '{key}'")
    return statements


def queries():
    """Returns the statements that add the rows to a package."""
    statements = []
    for table, (columns, rows) in TABLES.items():
        types = ", ".join(f"`{column}` {kind}" for column, kind in columns.items())
        statements.append(f"CREATE TABLE `{table}` ({types} PRIMARY KEY `{next(iter(columns))}`)")
        statements += [insertion(table, columns, row) for row in rows]
    statements.append("CREATE TABLE `DrLocator` (`Signature_` CHAR(72) NOT NULL, `Parent` CHAR(72), `Path` CHAR(255), "
                      "`Depth` SHORT PRIMARY KEY `Signature_`, `Parent`, `Path`)")
    for found, signature, file in SEARCHES:
        statements += [insertion("Signature", ("Signature", "FileName"), (signature, file)),
                       insertion("DrLocator", ("Signature_", "Path", "Depth"), (signature, SEARCHED_FOLDER, 0)),
                       insertion("AppSearch", ("Property", "Signature_"), (found, signature))]
    statements += [insertion("RegLocator", ("Signature_", "Root", "Key", "Name", "Type"),
                             ("KeptHardened", LOCAL_MACHINE, KEPT_KEY, KEPT_NAME, TEXT_IN_64_BIT_VIEW)),
                   insertion("AppSearch", ("Property", "Signature_"), (KEPT, "KeptHardened"))]
    statements += [insertion("CustomAction", ("Action", "Type", "Source", "Target"), row) for row in ACTIONS]
    statements += [insertion("InstallExecuteSequence", ("Action", "Condition", "Sequence"), row) for row in SEQUENCE]
    # wixl writes a text where the type is "expandable".
    statements += [f"UPDATE `Registry` SET `Value` = '#%[#{file}]' WHERE `Name` = 'EventMessageFile' AND "
                   f"`Component_` = '{component}'" for component, file in EVENT_SOURCES.items()]
    statements.append(f"UPDATE `ServiceInstall` SET `ErrorControl` = {FAILS_INSTALLATION + 1}")
    return statements
