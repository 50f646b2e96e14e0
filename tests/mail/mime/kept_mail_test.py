#!/usr/bin/env python3
"""Compares saved messages with the mail that they were read from, by Python's email package and by openssl.

    kept_mail_test.py MAIL_EDIT SAMPLES [FOLDER]

MAIL_EDIT saves each message of a folder unchanged, without each of its attachments, with a notice in place of each, and
with another body. Everything that it did not change must be what it was, byte by byte and in its place. FOLDER contains
more mail to compare.
"""

import email
import email.policy
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # leaves the source tree unchanged

MAIL_EDIT = SAMPLES = FOLDER = None
OWN = b"X-Postwarden-"

SIGNED_TEXT = b"Content-Type: text/plain; charset=windows-1251\r\nContent-Transfer-Encoding: 8bit\r\n" \
              b"Content-Description: of the text\r\n\r\n\xcf\xf0\xe8\xe2\xe5\xf2  \r\n"


def part(headers, text, end):
    return b"".join(line.encode() + end for line in headers) + end + text


def odd_mail(end):
    """Messages with structures that a writer of its own would not make."""
    def multipart(kind, parts, extra=(), preamble=b"", epilogue=b"", closed=True):
        text = preamble + end if preamble else b""
        for each in parts:
            text += b"--b=1" + end + each + end
        text += (b"--b=1--" + end + epilogue) if closed else b""
        return part(["From: =?utf-8?q?Ad=C3=A4?= <ad@example.org>, second@example.org", "Subject:  two  blanks ",
                     "X-Folded: one", "\ttwo", "MIME-Version: 1.0 (by hand)",
                     'content-type: multipart/%s; boundary="b=1"' % kind] + list(extra), text, end)

    text = part(["Content-Type: text/plain; charset=KOI8-R; format=flowed", "Content-Language: ru"],
                b"\xf0\xd2\xc9\xd7\xc5\xd4" + end, end)
    file = part(["Content-Type: text/csv; charset=iso-8859-14", "Content-Transfer-Encoding: 8bit",
                 'Content-Disposition: attachment; filename="a b.csv"; size=5', "Content-Location: http://a/b.csv",
                 "Content-Description: a table", "X-Part: kept"], b"a;\xe4" + end, end)
    binary = part(["Content-Type: application/x-thing", "Content-Transfer-Encoding: binary",
                   "Content-Disposition: attachment; filename*=utf-8''%C3%A4.bin"],
                  b"\0\1\2\n\r\n\r\xff" + b"x" * 70000 + b"\n.\n", end)
    inner = part(["Content-Type: message/rfc822", "Content-Disposition: attachment"],
                 part(["From: i@example.org", "Subject: inner", "Content-Type: multipart/mixed; boundary=i"],
                      b"--i" + end + end + b"inner" + end + b"--i" + end + file + end + b"--i--" + end, end), end)
    status = part(["Content-Type: message/delivery-status"],
                  b"Reporting-MTA: dns; a" + end + end + b"Final-Recipient: rfc822; b@c" + end, end)
    headers_only = b"Content-Type: text/x-empty; name=e" + end
    found = {
        "mixed": multipart("mixed", [text, file, binary, inner], preamble=b"This is mail.", epilogue=b"Bye." + end),
        "report": multipart("report; report-type=delivery-status", [text, status, inner]),
        "notified": multipart("report; report-type=disposition-notification",
                              [text, part(["Content-Type: message/disposition-notification"], b"Disposition: x" + end,
                                          end)]),
        "digest": multipart("digest", [end + part(["Subject: one"], b"1" + end, end),
                                       end + part(["Subject: two"], b"2" + end, end)]),
        "encrypted": multipart('encrypted; protocol="application/pgp-encrypted"',
                               [part(["Content-Type: application/pgp-encrypted"], b"Version: 1" + end, end),
                                part(["Content-Type: application/octet-stream"], b"-----BEGIN" + end, end)]),
        "parallel": multipart("parallel", [file, binary], closed=False),
        "external": multipart("mixed", [text, part(["Content-Type: message/external-body; access-type=local-file;",
                                                    ' name="x"'], b"Content-Type: text/plain" + end + end, end),
                                        part(["Content-Type: message/partial; id=a; number=1; total=2"],
                                             b"Subject: p" + end + end + b"x" + end, end)]),
        "headers": multipart("mixed", [text, headers_only, file]),
        "unclosed": part(["Subject: u", "Content-Type: multipart/mixed; boundary=o"],
                         b"--o" + end + part(["Content-Type: multipart/alternative; boundary=i"],
                                             b"--i" + end + text + end + b"--i" + end + part(
                                                 ["Content-Type: text/html"], b"<p>x" + end, end), end) +
                         end + b"--o  " + end + file, end),
        "no-boundary": part(["Subject: n", "Content-Type: multipart/mixed"], b"--x" + end + text, end),
        "file-only": part(["Subject: f", "X-After: type", "Content-Type: application/pdf; name=f.pdf",
                           "Content-Transfer-Encoding: base64", "X-Last: 1"], b"JVBERi0xLjQK" + end, end),
        "enveloped": b"From a@example.org Sat Nov 21 09:00:00 2026" + end + part(["Subject: e"], b"text" + end, end),
        "no-end": part(["Subject: e"], b"the last line has no end", end),
        "headers-only": b"Subject: nothing else" + end,
        "local-part": part(["From: d\u00f6rte@example.org, Other <o@example.org>", "Subject: gr\u00fc\u00df"], b"x", end),
    }
    return found


def parse(data):
    return email.message_from_bytes(data, policy=email.policy.compat32)


def without_own(data):
    """Returns the document behind the headers of the program."""
    envelope = b""
    if data.startswith(b"From "):
        envelope, data = data[:data.index(b"\n") + 1], data[data.index(b"\n") + 1:]
    lines = data.split(b"\n")
    for number, line in enumerate(lines):
        if line.startswith(OWN + b"End: 1"):
            return envelope + b"\n".join(lines[number + 1:])
        assert line.startswith((OWN, b" ")), line
    raise AssertionError("no end of the own headers")


def flat(message):
    """Returns every part with its headers, and with its text, as they are."""
    found = []
    for each in message.walk():
        text = each.get_payload() if not each.is_multipart() else None
        found.append((tuple(each.raw_items()), text, each.preamble or "", each.epilogue or ""))
    return found


def common(one, other):
    """Returns the lengths of the common beginning and of the common end that does not overlap it."""
    start = 0
    while start < min(len(one), len(other)) and one[start] == other[start]:
        start += 1
    end = 0
    while end < min(len(one), len(other)) - start and one[-1 - end] == other[-1 - end]:
        end += 1
    return start, end


class KeptMail(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        root = pathlib.Path(cls.folder.name)
        source, out = root / "in", root / "out"
        source.mkdir()
        out.mkdir()
        cls.make_signed(root, source)
        for options in ([], ["--count", "30", "--seed", "5"]):
            subprocess.run([sys.executable, SAMPLES + "/make_samples.py", str(source)] + options, check=True,
                           stdout=subprocess.DEVNULL)
        for name, end in (("crlf", b"\r\n"), ("lf", b"\n")):
            for kind, data in odd_mail(end).items():
                (source / ("odd-%s-%s.eml" % (kind, name))).write_bytes(data)
        for path in pathlib.Path(FOLDER).rglob("*.eml") if FOLDER else []:
            shutil.copy(path, source / path.name)
        printed = subprocess.run([MAIL_EDIT, str(source), str(out)], check=True, stdout=subprocess.PIPE)
        cls.saved = [json.loads(line) for line in printed.stdout.splitlines()]
        cls.source, cls.out = source, out

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    @classmethod
    def make_signed(cls, root, source):
        cls.key, cls.certificate = root / "key.pem", root / "certificate.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=Ada", "-days", "2",
                        "-keyout", str(cls.key), "-out", str(cls.certificate)], check=True, stderr=subprocess.DEVNULL)
        text = root / "text"
        text.write_bytes(SIGNED_TEXT)
        signed = subprocess.run(["openssl", "smime", "-sign", "-binary", "-in", str(text), "-signer",
                                 str(cls.certificate), "-inkey", str(cls.key), "-subject", "signed"], check=True,
                                stdout=subprocess.PIPE).stdout
        (source / "odd-signed.eml").write_bytes(signed)

    def each(self, kinds):
        """Returns each saved file of these kinds and its source, if that is a file of its own."""
        for line in self.saved:
            source = pathlib.Path(line["source"])
            if line["kind"].split("-")[0] in kinds and source.exists():
                yield line, source.read_bytes(), without_own((self.out / line["file"]).read_bytes())

    def test_that_there_is_enough_to_look_at(self):
        self.assertGreaterEqual(sum(line["kind"] == "same" for line in self.saved), 95)
        self.assertGreaterEqual(sum(line["kind"].startswith("taken") for line in self.saved), 100)

    def test_unchanged_mail_is_the_same_bytes(self):
        for line, before, after in self.each(["same"]):
            with self.subTest(line["file"]):
                self.assertEqual(after, before)

    def test_a_signature_is_still_valid(self):
        file = self.out / "odd-signed.eml.same.eml"
        verified = subprocess.run(["openssl", "smime", "-verify", "-in", str(file), "-CAfile", str(self.certificate)],
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(verified.returncode, 0, verified.stderr)
        self.assertEqual(verified.stdout, SIGNED_TEXT)

    def test_all_but_the_taken_part_is_the_same_bytes_in_its_place(self):
        for line, before, after in self.each(["taken", "notice"]):
            with self.subTest(line["file"]):
                start, end = common(before, after)
                gone, new = before[start:len(before) - end], after[start:len(after) - end]
                if line["file"].startswith("odd-file-only"):  # its headers described the file
                    continue
                one, other = flat(parse(before)), flat(parse(after))
                same_start, same_end = common(one, other)
                self.assertLessEqual(len(other) - same_start - same_end, 1, "one part is new at most")
                self.assertGreater(len(one), same_start + same_end)
                taken = one[same_start:len(one) - same_end]
                depth_of_taken = sum(len(text or "") + sum(len(n) + len(v) + 4 for n, v in headers)
                                     for headers, text, _, _ in taken)
                self.assertLessEqual(len(gone), depth_of_taken + 200 * len(taken), "what is gone is the part")
                if line["kind"].startswith("taken"):
                    self.assertLessEqual(len(new), 200)

    def test_a_notice_is_in_the_place_of_its_attachment(self):
        for line, before, after in self.each(["notice"]):
            with self.subTest(line["file"]):
                if not line["file"].startswith("odd-mixed"):
                    continue
                kinds = [p.get_content_type() for p in parse(after).get_payload()]
                self.assertEqual(kinds[1 + int(line["kind"].split("-")[1])], "text/html")

    def test_a_page_replaces_the_bodies_and_nothing_else(self):
        for line, before, after in self.each(["page"]):
            with self.subTest(line["file"]):
                one, other = flat(parse(before)), flat(parse(after))
                kept = [(h, t) for h, t, _, _ in one[1:] if t is not None]
                found = [(h, t) for h, t, _, _ in other]
                missing = [part for part in kept if part not in found]
                unclosed = "unclosed" in line["file"]  # the parser drops the line end of such a part
                self.assertLessEqual(len(missing), 3 if unclosed else 2, "the text and the HTML")
                if parse(before)["Subject"]:  # otherwise it may be behind a damaged header
                    words = email.header.decode_header(parse(after)["Subject"])
                    self.assertIn("Condem", str(email.header.make_header(words)))
                names = [p.get_filename() for p in parse(after).walk()]
                self.assertIn("original_body.txt", names)
                self.assertIn("image.png", names)
                types = [p.get_content_type() for p in parse(after).walk()]
                self.assertLess(types.index("text/html"), names.index("original_body.txt"))
                before_root = [item for item in parse(before).raw_items()]
                after_root = [item for item in parse(after).raw_items()]
                for name, value in before_root:
                    if name.lower() != "subject" and not name.lower().startswith("content-"):
                        self.assertIn((name, value), after_root)

    def test_parsers_find_no_new_defect(self):
        for line, before, after in self.each(["taken", "notice", "page"]):
            with self.subTest(line["file"]):
                old = [type(d) for p in parse(before).walk() for d in p.defects]
                new = [type(d) for p in parse(after).walk() for d in p.defects]
                for each in new:
                    self.assertIn(each, old)

    def test_lines_end_as_they_did(self):
        for line, before, after in self.each(["taken", "notice", "page"]):
            with self.subTest(line["file"]):
                if line["file"].startswith("odd-") and "-lf.eml" in line["file"] and b"\r" not in before:
                    self.assertNotIn(b"\r", after)


if __name__ == "__main__":
    MAIL_EDIT, SAMPLES = sys.argv[1:3]
    FOLDER = sys.argv[3] if len(sys.argv) > 3 else None
    unittest.main(argv=sys.argv[:1])
