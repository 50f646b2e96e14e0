#!/usr/bin/python3
"""Verifies saved, disinfected mail with independent readers.

    saved_mail_test.py POSTWARDEN SAMPLES

Condemned messages are opened and saved by the command. The .eml copies are read by Python's email package, the .msg
copies are converted to MIME by msgconvert first. Both must contain the page as the body, the notices instead of the
attachments, the old text and the images, as reported in the command's "after".
"""

import email
import email.policy
import hashlib
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import olefile

sys.dont_write_bytecode = True  # keeps the source tree unchanged

POSTWARDEN = SAMPLES = None
GENERATED = 40
REPLACED_SUBJECT = "[Morvelane Ostrand 10.1] Malicious or other object is detected. The e-mail is modified."
EMBEDDED = 5  # method of an attached message


def run(*command, cwd=None):
    done = subprocess.run(command, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    if done.returncode != 0:
        raise AssertionError("%s: %d, %s" % (command[0], done.returncode, done.stderr.decode("utf-8", "replace")))
    return done.stdout.decode("utf-8")


def sha256(data):
    return hashlib.sha256(data).hexdigest()


def leaves(part):
    """Yields the parts of a message that are not multiparts, without those of attached messages."""
    if part.get_content_maintype() == "multipart":
        for inner in part.iter_parts():
            yield from leaves(inner)
    else:
        yield part


def repaired_name(part):
    """Returns a file name. msgconvert writes it as raw UTF-8."""
    return (part.get_filename() or "").encode("utf-8", "surrogateescape").decode("utf-8", "replace")


class SavedMail(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        root = cls.root = pathlib.Path(cls.folder.name)
        make = pathlib.Path(SAMPLES) / "make_samples.py"
        run(sys.executable, str(make), str(root / "all"))
        run(sys.executable, str(make), str(root / "mail"), "--count", str(GENERATED), "--condemned")
        for sample in ("25-condemned-body", "26-condemned-html-body", "27-condemned-attachment",
                       "28-condemned-body-and-attachment", "29-condemned-forward"):
            (root / "all" / (sample + ".eml")).rename(root / "mail" / (sample + ".eml"))
        cls.after = {}
        for form in ("eml", "msg"):
            told = run(POSTWARDEN, "open", "--json", "--save", str(root / form), "--format", form, str(root / "mail"))
            lines = [json.loads(line) for line in told.splitlines()]
            cls.after[form] = {pathlib.Path(line["file"]).stem: line["after"] for line in lines}
        (root / "converted").mkdir()
        run("msgconvert", *(str(file) for file in sorted((root / "msg").iterdir())), cwd=root / "converted")

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def check(self, form, folder):
        files = sorted((self.root / folder).glob("*.eml"))
        self.assertEqual(len(files), GENERATED + 5)
        for file in files:
            with self.subTest(form=form, file=file.name):
                message = email.message_from_bytes(file.read_bytes(), policy=email.policy.default)
                self.check_message(message, self.after[form][file.stem])

    def check_message(self, message, after):
        self.assertEqual(after["subject"], REPLACED_SUBJECT)
        self.assertEqual(after["verdict_property"], 2)
        parts = list(leaves(message))
        bodies = [part for part in parts if part.get_content_maintype() == "text" and not part.get_filename()]
        html = [part.get_payload(decode=True) for part in bodies if part.get_content_type() == "text/html"]
        self.assertEqual([sha256(data) for data in html], [after["html_sha256"]] if after["html_sha256"] else [])
        if "qdimg0001.png" in [entry["name"] for entry in after["attachments"]]:  # a page replaces the body
            self.assertIn(b"Harmful content was found and removed", html[0])
            text = [part.get_payload(decode=True).strip() for part in bodies if part.get_content_type() == "text/plain"]
            self.assertEqual(b"".join(text), b"")
        files = [part for part in parts if part not in bodies]
        self.assertEqual(len(files), len(after["attachments"]))
        for entry in after["attachments"]:
            self.check_attachment(files, entry)
        self.check_images(html, files)

    def check_attachment(self, files, entry):
        if entry["method"] == EMBEDDED:
            self.assertTrue([part for part in files if part.get_content_type() == "message/rfc822"], entry["name"])
            return
        fitting = [part for part in files
                   if repaired_name(part) == entry["name"] and part.get_content_type() == entry["mime_tag"] and
                   sha256(part.get_payload(decode=True)) == entry["sha256"]]
        self.assertTrue(fitting, "%s among %s" % (entry, [repaired_name(part) for part in files]))

    def check_images(self, html, files):
        """Expects that everything the page refers to exists."""
        known = {str(part["Content-ID"]).strip("<> ") for part in files if part["Content-ID"]}
        for page in html:
            for reference in re.findall(rb"cid:([^\"')\s]+)", page):
                self.assertIn(reference.decode("ascii"), known)

    def test_eml_is_read_by_python(self):
        self.check("eml", "eml")
        for file in (self.root / "eml").iterdir():
            message = email.message_from_bytes(file.read_bytes(), policy=email.policy.default)
            self.assertEqual(message["Subject"], REPLACED_SUBJECT)
            self.assertEqual(message["X-Postwarden-Verdict"], "2")

    def test_msg_is_read_by_msgconvert(self):
        self.check("msg", "converted")

    def test_msg_holds_the_subject(self):
        """Reads the stored subject: msgconvert shows the one in the original header lines, which are kept."""
        for file in (self.root / "msg").iterdir():
            with olefile.OleFileIO(str(file)) as compound:
                stored = compound.openstream("__substg1.0_0037001F").read().decode("utf-16-le")
            self.assertEqual(stored, REPLACED_SUBJECT)


if __name__ == "__main__":
    POSTWARDEN, SAMPLES = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1])
