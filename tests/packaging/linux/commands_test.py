#!/usr/bin/env python3
"""Tests what is made of the help texts: manual pages, completions, the configuration file; and the help texts.

    commands_test.py FOLDER PROGRAM SERVICE VERSION SOURCE

FOLDER contains what was made; SOURCE is the folder of the sources."""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

FOLDER = PROGRAM = SERVICE = VERSION = SOURCE = None


def run(*words, **more):
    return subprocess.run([str(word) for word in words], capture_output=True, text=True, **more)


def commands_in(text):
    """Returns the subcommands of a help text."""
    _, _, rows = text.partition("\nSubcommands:\n")
    return re.findall(r"^  ([a-z]\S*)", rows.partition("\n\n")[0], flags=re.M)


def help_texts(*words):
    """Yields the words of each command and its help text."""
    if not words:
        yield [SERVICE], run(SERVICE, "--help").stdout
        words = [PROGRAM]
    text = run(*words, "--help").stdout
    yield list(words), text
    for command in commands_in(text):
        yield from help_texts(*words, command)


def options_in(text):
    return set(re.findall(r"^  (?:-\w,)?(--[a-z-]+)", text, flags=re.M))


class HelpTexts(unittest.TestCase):
    def test_fit_eighty_columns(self):
        for words, text in help_texts():
            self.assertGreater(len(text.splitlines()), 5, words)
            self.assertEqual([], [line for line in text.splitlines() if len(line) > 80], words)

    def test_use_the_width(self):
        self.assertGreater(max(len(line) for _, text in help_texts() for line in text.splitlines()), 75)


class Version(unittest.TestCase):
    def test_contains_the_commit(self):
        commit = run("git", "-C", SOURCE, "describe", "--always", "--dirty", "--abbrev=12", "--exclude=*")
        expected = VERSION
        if pathlib.Path(SOURCE, ".git").exists() and commit.returncode == 0:
            expected += f" ({commit.stdout.strip()})"
        self.assertEqual(f"postwarden {expected}\n", run(PROGRAM, "--version").stdout)
        self.assertEqual(f"postwarden-service {expected}\n", run(SERVICE, "--version").stdout)


class Manuals(unittest.TestCase):
    def rendered(self, name):
        text = subprocess.run(["gzip", "-dc", f"{FOLDER}/{name}.gz"], capture_output=True, text=True, check=True).stdout
        done = run("groff", "-man", "-Tascii", "-P-c", "-ww", "-rLL=80n", input=text)
        self.assertEqual(("", 0), (done.stderr, done.returncode))
        return re.sub(r".\x08", "", done.stdout)

    def test_have_each_option_of_the_help_text(self):
        for name, first in (("postwarden-service.8", SERVICE), ("postwarden.1", PROGRAM)):
            page = self.rendered(name)
            for words, text in help_texts():
                if words[0] == first:
                    self.assertEqual(set(), options_in(text) - options_in(page.replace("\n     ", "\n")), words)
        self.assertGreater(len(options_in(run(SERVICE, "--help").stdout)), 30)

    def test_have_each_command(self):
        page = self.rendered("postwarden.1")
        for words, _ in help_texts():
            if words[0] == PROGRAM:
                self.assertIn(" ".join(["postwarden", *words[1:]]), page)

    def test_have_the_usual_sections(self):
        for name in ("postwarden-service.8", "postwarden.1"):
            page = self.rendered(name)
            for section in ("NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "SEE ALSO"):
                self.assertRegex(page, f"(?m)^{section}$")
            self.assertIn("xit status", page)


class BashCompletion(unittest.TestCase):
    def completed(self, *words):
        """Returns what bash offers for the last word."""
        name = pathlib.Path(words[0]).name
        script = f'. "{FOLDER}/bash/{name}"; compopt() {{ :; }}; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); ' \
                 f"$(complete -p {name} | sed 's/.*-F \\([^ ]*\\).*/\\1/'); " 'printf "%s\\n" "${COMPREPLY[@]}"'
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "mail.eml").touch()
            pathlib.Path(folder, "kept").mkdir()
            done = run("bash", "-u", "-c", script, "bash", *words, cwd=folder)
        self.assertEqual(("", 0), (done.stderr, done.returncode))
        return done.stdout.split()

    def test_offers_commands(self):
        commands = commands_in(run(PROGRAM, "--help").stdout)
        self.assertLessEqual({"open", "scan", "settings", "doctor"}, set(commands))
        self.assertEqual(commands, self.completed("postwarden", ""))
        self.assertEqual(["scan"], self.completed("postwarden", "sc"))
        self.assertEqual(["show", "make"], self.completed("postwarden", "settings", ""))

    def test_offers_each_option(self):
        for words, text in help_texts():
            name = pathlib.Path(words[0]).name
            self.assertEqual(options_in(text) | {"-h"}, set(self.completed(name, *words[1:], "-")), words)
        self.assertEqual(["--scan-threads", "--scan-timeout"], self.completed("postwarden-service", "--scan"))

    def test_offers_values(self):
        self.assertEqual(["pass", "block"], self.completed("postwarden-service", "--when-unchecked", ""))
        self.assertEqual(["block"], self.completed("postwarden-service", "--when-unchecked", "=", "b"))
        self.assertEqual(["http-request", "http-response"], self.completed("postwarden", "scan", "--kind", "http"))
        self.assertEqual([], self.completed("postwarden-service", "--port", ""))

    def test_offers_files_and_folders(self):
        self.assertEqual(["kept", "mail.eml"], sorted(self.completed("postwarden", "open", "")))
        self.assertEqual(["kept"], self.completed("postwarden", "open", "--save", ""))
        self.assertEqual(["mail.eml"], self.completed("postwarden-service", "--config", "m"))


class ZshCompletion(unittest.TestCase):
    def test_is_understood(self):
        for name in ("_postwarden", "_postwarden-service"):
            done = run("zsh", "-f", "-n", f"{FOLDER}/zsh/{name}")
            self.assertEqual(("", 0), (done.stderr, done.returncode))

    def test_has_each_option(self):
        for words, text in help_texts():
            made = pathlib.Path(FOLDER, "zsh", "_" + pathlib.Path(words[0]).name).read_text()
            for option in options_in(text):
                self.assertRegex(made, rf"'\*?{option}=?\[")


class Configuration(unittest.TestCase):
    def setUp(self):
        self.path = pathlib.Path(FOLDER, "service.conf")
        self.text = self.path.read_text()

    def test_sets_the_port_of_the_add_in_only(self):
        lines = [line for line in self.text.splitlines() if line and not line.startswith("#")]
        self.assertEqual(["port = 1345"], lines)
        printed = run(SERVICE, "--config", self.path, "--print-config").stdout
        others = [line for line in printed.splitlines() if "# default" not in line]
        self.assertEqual([f"port = 1345 # {self.path}:{self.text.splitlines().index('port = 1345') + 1}"], others)

    def test_describes_each_option_with_its_default(self):
        keys = set(re.findall(r"^#?([a-z-]+) =", self.text, flags=re.M))
        expected = {name[2:] for name in options_in(run(SERVICE, "--help").stdout)}
        self.assertEqual(expected - {"config", "check-config", "print-config", "help", "version"}, keys)
        with tempfile.NamedTemporaryFile("w") as file:
            file.write(re.sub(r"^#([a-z-]+ = .)", r"\1", self.text, flags=re.M))
            file.flush()
            done = run(SERVICE, "--config", file.name, "--check-config")
        self.assertEqual("the configuration is valid\n", done.stdout, done.stderr)


if __name__ == "__main__":
    FOLDER, PROGRAM, SERVICE, VERSION, SOURCE = sys.argv[1:6]
    unittest.main(argv=sys.argv[:1])
