#!/usr/bin/env python3
"""Reads the output of the MIME writer with Python's email package.

    written_mail_test.py MAIL_COPY SAMPLES

MAIL_COPY writes each message of a folder anew, as a file of this program and as the document for the scanner, and
prints the displayed contents of the message. Both are compared with these contents and with the original mail.
"""

import email
import email.policy
import hashlib
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # leaves the source tree unchanged

MAIL_COPY = SAMPLES = None
DAMAGED = ("22-broken-encoding.eml",)  # readers differ in the interpretation of its headers


def parse(data):
    return email.message_from_bytes(data, policy=email.policy.default)


def sha256(data):
    return hashlib.sha256(data).hexdigest()


def own_leaves(part):
    """Returns the non-multipart parts of a message, without those of embedded messages."""
    if part.get_content_maintype() == "multipart":
        for inner in part.iter_parts():
            yield from own_leaves(inner)
    else:
        yield part


def is_body(part):
    return part.get_content_type() in ("text/plain", "text/html") and part.get_content_disposition() is None


def contents(part):
    return part.get_payload(decode=True)


def mailboxes(message, name):
    header = message[name]
    return [(a.display_name, a.addr_spec) for a in header.addresses] if header else []


class WrittenMail(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        root = pathlib.Path(cls.folder.name)
        cls.source, cls.out = root / "in", root / "out"
        cls.out.mkdir()
        for options in ([], ["--count", "40", "--seed", "3"]):
            subprocess.run([sys.executable, SAMPLES + "/make_samples.py", str(cls.source)] + options, check=True,
                           stdout=subprocess.DEVNULL)
        told = subprocess.run([MAIL_COPY, str(cls.source), str(cls.out)], check=True, stdout=subprocess.PIPE)
        cls.shown = [json.loads(line) for line in told.stdout.splitlines()]
        cls.documents = []
        for shown in cls.shown:
            for kind in ("eml", "mime"):
                data = (cls.out / ("%s.%s" % (shown["file"], kind))).read_bytes()
                cls.documents.append((shown, kind, data, parse(data)))

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    document = "all"  # the kind of document being compared

    def each(self):
        """Returns the displayed contents, kind, bytes and parsed form of every document."""
        for shown, kind, data, message in self.documents:
            self.document = "%s.%s" % (shown["file"], kind)
            yield shown, kind, data, message

    def _formatMessage(self, told, standard):
        return "%s: %s" % (self.document, super()._formatMessage(told, standard))

    def test_that_there_is_enough_to_look_at(self):
        self.assertGreaterEqual(len(self.shown), 76)

    def test_lines_are_those_of_mail(self):
        for _, _, data, _ in self.each():
            self.assertTrue(data.isascii())
            self.assertTrue(data.endswith(b"\r\n"))
            self.assertEqual(data.count(b"\r"), data.count(b"\r\n"))
            self.assertEqual(data.count(b"\n"), data.count(b"\r\n"))
            self.assertLessEqual(max(map(len, data.split(b"\r\n"))), 998)

    def test_documents_have_no_defects(self):
        for _, _, _, message in self.each():
            self.assertEqual(message["MIME-Version"], "1.0")
            for part in message.walk():
                self.assertEqual(part.defects, [])

    def test_bodies_are_quoted_printable_and_byte_for_byte_those_of_the_message(self):
        for shown, _, _, message in self.each():
            found = {"plain": None, "html": None}
            for part in filter(is_body, own_leaves(message)):
                self.assertEqual(part["Content-Transfer-Encoding"], "quoted-printable")
                self.assertIsNone(found[part.get_content_subtype()], "one body of a kind")
                found[part.get_content_subtype()] = sha256(contents(part))
            if shown["body_sha256"] or shown["html_sha256"]:
                self.assertEqual(found["plain"], shown["body_sha256"])
                self.assertEqual(found["html"], shown["html_sha256"])

    def test_bodies_are_alternatives_with_the_html_last(self):
        both = 0
        for shown, _, _, message in self.each():
            if shown["body_sha256"] and shown["html_sha256"]:
                choices = [p for p in message.walk() if p.get_content_type() == "multipart/alternative"][0]
                self.assertEqual([p.get_content_type() for p in choices.iter_parts()], ["text/plain", "text/html"])
                both += 1
        self.assertGreater(both, 0)

    def test_files_have_their_names_types_and_contents(self):
        seen = 0
        for shown, _, _, message in self.each():
            expected = [a for a in shown["attachments"] if a["method"] == 1]
            found = [p for p in own_leaves(message) if not is_body(p) and p.get_content_maintype() != "message"]
            self.assertEqual(sorted(sha256(contents(p)) for p in found), sorted(a["sha256"] for a in expected))
            by_digest = {}
            for part in found:
                by_digest.setdefault(sha256(contents(part)), []).append(part)
            for attachment in expected:
                part = by_digest[attachment["sha256"]].pop(0)
                self.assertEqual(part["Content-Transfer-Encoding"], "base64")
                self.assertEqual(part.get_content_type(), attachment["mime_tag"])
                self.assertEqual(part.get_filename() or "", attachment["name"])
                self.assertEqual(part.get_param("name") is None, attachment["name"] == "")
                seen += 1
        self.assertGreater(seen, 300)

    def test_hidden_images_stand_beside_the_html_under_their_identifiers(self):
        hidden = 0
        for shown, _, _, message in self.each():
            images = {a["content_id"]: a for a in shown["attachments"] if a["hidden"]}
            related = [p for p in message.walk() if p.get_content_type() == "multipart/related"]
            self.assertEqual(len(related), 1 if images else 0)
            for part in related and list(related[0].iter_parts())[1:]:
                identifier = part["Content-ID"].strip("<>")
                self.assertEqual(part.get_content_disposition(), "inline")
                self.assertEqual(sha256(contents(part)), images.pop(identifier)["sha256"])
                hidden += 1
            self.assertEqual(images, {})
        self.assertGreater(hidden, 0)

    def test_messages_inside_are_the_messages_that_were_inside(self):
        inside = 0
        for shown, _, _, message in self.each():
            found = [p.get_content() for p in own_leaves(message) if p.get_content_type() == "message/rfc822"]
            self.assertEqual(len(found), sum(a["method"] == 5 for a in shown["attachments"]))
            if found:
                source = parse((self.source / shown["file"]).read_bytes())
                before = [p.get_content() for p in own_leaves(source) if p.get_content_type() == "message/rfc822"]
                for inner, original in zip(found, before):
                    self.assertEqual(inner["Subject"], original["Subject"])
                    self.assertEqual([contents(p) for p in own_leaves(inner) if is_body(p)],
                                     [contents(p) for p in own_leaves(original) if is_body(p)])
                    inside += 1
        self.assertGreaterEqual(inside, 4)

    def test_headers_say_what_those_of_the_mail_said(self):
        compared = 0
        for shown, _, _, message in self.each():
            source = self.source / shown["file"]
            if not source.exists() or shown["file"] in DAMAGED:  # from a mailbox, or damaged
                continue
            before, after = parse(source.read_bytes()), message
            for name in ("From", "To", "Cc"):
                self.assertEqual(mailboxes(after, name), mailboxes(before, name))
            for name in ("Subject", "Message-ID", "Importance", "List-Id", "X-Mailer", "Reply-To"):
                self.assertEqual(after[name], before[name])
            self.assertEqual(after["Date"] and after["Date"].datetime, before["Date"] and before["Date"].datetime)
            self.assertEqual(len(after.get_all("Received", [])), len(before.get_all("Received", [])))
            compared += 1
        self.assertGreater(compared, 140)

    def test_only_files_of_this_program_have_its_headers(self):
        for _, kind, _, message in self.each():
            own = {name for part in message.walk() for name in part.keys() if name.startswith("X-Postwarden-")}
            self.assertEqual(kind == "eml", "X-Postwarden-Properties" in own)
            self.assertTrue(kind == "eml" or not own)


if __name__ == "__main__":
    MAIL_COPY, SAMPLES = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1])
