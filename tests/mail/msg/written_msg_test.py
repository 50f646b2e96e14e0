#!/usr/bin/python3
"""written_msg_test.py MSG_COPY POSTWARDEN SAMPLES: reads the message files of this program with other programs.

Samples and generated mail are written as .msg files, unchanged and, if condemned, also after their opening. msgconvert
converts them to MIME, which Python's email package reads: subject, bodies, names and contents of attachments must be
those of the message. olefile parses the compound files: class, counts, sizes and the mapping of property names must
conform to the documented format.
"""

import collections
import email
import email.policy
import hashlib
import json
import pathlib
import struct
import subprocess
import sys
import tempfile
import zlib

import olefile

MESSAGE_CLASS = "00020D0B-0000-0000-C000-000000000046"
problems = []


def expect(truth, file, what, *details):
    if not truth:
        problems.append("%s: %s %s" % (file, what, " / ".join(repr(d) for d in details)))


def run(*command, cwd=None):
    done = subprocess.run(command, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    if done.returncode != 0:
        sys.exit("%s failed: %s" % (command[0], done.stderr.decode("utf-8", "replace")[-2000:]))
    return done.stdout.decode("utf-8")


# --- The view of msgconvert and the email package --------------------------------------------------------------


def header_text(message, name):
    """Returns a header with its raw bytes decoded as UTF-8."""
    return str(message[name] or "").encode("utf-8", "surrogateescape").decode("utf-8", "replace")


def lines_of(text):
    return [line.rstrip() for line in text.strip().splitlines()]


def own_parts(part):
    """Returns the leaf parts of a message, without those of embedded messages."""
    if part.get_content_maintype() == "multipart":
        for inner in part.iter_parts():
            yield from own_parts(inner)
    else:
        yield part


def check_converted(file, shown, document):
    message = email.message_from_bytes(document, policy=email.policy.default)
    subject = header_text(message, "Subject")
    # msgconvert takes the subject from the header lines that the mail was received with. These are older than a
    # replaced subject, and damaged where they contain no text.
    if not shown.get("replaced_subject") and "\ufffd" not in subject:
        expect(subject == shown["subject"], file, "subject", subject, shown["subject"])
    bodies, attachments = {}, []
    for part in own_parts(message):
        if part.get_content_disposition() == "inline":
            bodies[part.get_content_type()] = part.get_payload(decode=True)
        else:
            attachments.append(part)
    plain = bodies.get("text/plain", b"").decode("utf-8")
    if "body" in shown:
        expect(lines_of(plain) == lines_of(shown["body"]), file, "body", plain[:80], shown["body"][:80])
    html = bodies.get("text/html")
    expect((html is not None) == (shown["html_sha256"] is not None), file, "HTML is there")
    if html is not None:
        expect(hashlib.sha256(html).hexdigest() == shown["html_sha256"], file, "HTML", html[:80])
    expect(len(attachments) == len(shown["attachments"]), file, "attachments", len(attachments))
    for part, entry in zip(attachments, shown["attachments"]):
        if entry["method"] == 5:
            expect(part.get_content_type() == "message/rfc822", file, "embedded message", part.get_content_type())
            continue
        name = (part.get_filename() or "").encode("utf-8", "surrogateescape").decode("utf-8", "replace")
        expect(name == entry["name"], file, "name", name, entry["name"])
        digest = hashlib.sha256(part.get_payload(decode=True)).hexdigest()
        expect(digest == entry["sha256"], file, "contents of " + name)
        expect(part.get_content_type() == entry["mime_tag"], file, "kind of " + name, part.get_content_type())


# --- The view of olefile ---------------------------------------------------------------------------------------

FIXED = {0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x0A, 0x0B, 0x14, 0x40}
TERMINATORS = {0x1E: 1, 0x1F: 2}


class Taken:
    """A compound file that records which parts have been examined."""

    def __init__(self, file):
        self.ole = olefile.OleFileIO(file, raise_defects=olefile.DEFECT_POTENTIAL)
        self.streams = {"/".join(path) for path in self.ole.listdir(streams=True, storages=False)}
        self.storages = {"/".join(path) for path in self.ole.listdir(streams=False, storages=True)}

    def take(self, path):
        self.streams.discard(path)
        return self.ole.openstream(path).read()

    def inner(self, prefix, name):
        return sorted(s for s in self.storages if s.startswith(prefix + name) and "/" not in s[len(prefix):])


def check_object(file, taken, prefix, kind):
    data = taken.take(prefix + "__properties_version1.0")
    header = {"message": 32, "embedded": 24}.get(kind, 8)
    expect((len(data) - header) % 16 == 0, file, prefix + " list of properties", len(data))
    values = {}
    for at in range(header, len(data), 16):
        tag, flags, size, reserved = struct.unpack_from("<IIII", data, at)
        what = "%s%08X" % (prefix, tag)
        expect(tag not in values, file, what + " twice")
        expect(flags == 6, file, what + " flags", flags)
        values[tag] = data[at + 8:at + 16]
        stream = "%s__substg1.0_%08X" % (prefix, tag)
        if tag & 0xFFFF == 0x0D:
            expect(size == 0xFFFFFFFF and reserved == 1, file, what + " object", size, reserved)
            expect(stream in taken.storages, file, what + " storage")
            check_object(file, taken, stream + "/", "embedded")
        elif tag & 0xFFFF not in FIXED:
            expect(stream in taken.streams, file, what + " stream")
            values[tag] = taken.take(stream)
            expect(size == len(values[tag]) + TERMINATORS.get(tag & 0xFFFF, 0), file, what + " size", size)
            expect(reserved == 0, file, what + " reserved", reserved)
    if kind in ("message", "embedded"):
        check_message(file, taken, prefix, kind, data)
    return values


def check_message(file, taken, prefix, kind, data):
    recipients = taken.inner(prefix, "__recip_version1.0_#")
    attachments = taken.inner(prefix, "__attach_version1.0_#")
    numbers = [int(storage.rsplit("#", 1)[1], 16) for storage in attachments]  # removed ones leave gaps
    counts = (len(recipients), max(numbers, default=-1) + 1, len(recipients), len(attachments))
    expect(struct.unpack_from("<IIII", data, 8) == counts, file, prefix + " counts", data[:24])
    expect(data[:8] == bytes(8) and data[24:32] in (bytes(8), data[24:32] if kind == "embedded" else None), file,
           "spare bytes")
    for number, storage in enumerate(recipients):
        expect(storage.endswith("#%08X" % number), file, "number of", storage)
        check_object(file, taken, storage + "/", "recipient")
    for number, storage in zip(numbers, attachments):
        expect(storage.endswith("#%08X" % number), file, "number of", storage)
        values = check_object(file, taken, storage + "/", "attachment")
        expect(struct.unpack_from("<I", values[0x0E210003])[0] == number, file, storage + " tells its number")


def checksum(name):
    """The checksum of the format: that of zlib without its inversions."""
    return zlib.crc32(name, 0xFFFFFFFF) ^ 0xFFFFFFFF


def check_names(file, taken):
    root = "__nameid_version1.0/__substg1.0_"
    guids, entries, strings = (taken.take(root + tag) for tag in ("00020102", "00030102", "00040102"))
    expect(len(guids) % 16 == 0 and len(entries) % 8 == 0, file, "mapping of names")
    wanted = collections.defaultdict(list)
    for number, (told, second) in enumerate(struct.iter_unpack("<II", entries)):
        kind, guid, index = second & 1, second >> 1 & 0x7FFF, second >> 16
        expect(index == number, file, "index of a name", index)
        expect(guid in (1, 2) or 3 <= guid < 3 + len(guids) // 16, file, "set of a name", guid)
        looked = told
        if kind:
            size = struct.unpack_from("<I", strings, told)[0]
            looked = checksum(strings[told + 4:told + 4 + size])
        wanted[0x1000 + (looked ^ (guid << 1 | kind)) % 0x1F].append(struct.pack("<II", looked, second))
    for stream, expected in wanted.items():
        expect(taken.take("%s%04X0102" % (root, stream)) == b"".join(expected), file, "reverse stream", hex(stream))
    return len(entries) // 8


def check_structure(path, shown):
    taken = Taken(str(path))
    expect(taken.ole.root.clsid == MESSAGE_CLASS, path.name, "class", taken.ole.root.clsid)
    values = check_object(path.name, taken, "", "message")
    names = check_names(path.name, taken)
    expect(not taken.streams, path.name, "streams without a property", sorted(taken.streams))
    expect(not taken.ole.parsing_issues, path.name, "defects", taken.ole.parsing_issues)
    expect(struct.unpack_from("<I", values[0x340D0003])[0] & 0x40000, path.name, "says that its texts are Unicode")
    expect(not [tag for tag in values if tag & 0xFFFF == 0x1E], path.name, "narrow texts")
    expect(values.get(0x0037001F, b"").decode("utf-16-le") == shown["subject"], path.name, "stored subject")
    named = [tag for tag in values if tag >= 0x80000000]
    expect(all(tag >> 16 < 0x8000 + names for tag in named), path.name, "names of", named)
    taken.ole.close()


def check_folder(msg_copy, mail, work):
    work.mkdir()
    converted = work / "converted"
    converted.mkdir()
    lines = [json.loads(line) for line in run(msg_copy, str(mail), str(work)).splitlines()]
    run("msgconvert", *(str(work / line["file"]) for line in lines), cwd=converted)
    for line in lines:
        file = line["file"]
        expect(line["before"] == line["after"], file, "reads the same again", line["before"], line["after"])
        check_structure(work / file, line["before"])
        check_converted(file, line["before"], (converted / (file[:-len(".msg")] + ".eml")).read_bytes())
    return len(lines)


def check_disinfected(postwarden, mail, work):
    """Opens condemned messages and saves them in their state after the opening."""
    work.mkdir()
    converted = work / "converted"
    converted.mkdir()
    condemned = sorted(str(file) for file in mail.glob("*.eml") if "condemned" in file.name)
    lines = [json.loads(line) for line in
             run(postwarden, "open", "--json", "--format", "msg", "--save", str(work), *condemned).splitlines()]
    run("msgconvert", *map(str, sorted(work.glob("*.msg"))), cwd=converted)
    lines = [line for line in lines if line["verdict"] == 2]  # one has it in an unscanned place
    for line in lines:
        name = pathlib.Path(line["file"]).stem
        before, after = line["before"], line["after"]
        expect(before != after, name, "was changed")
        after["replaced_subject"] = before["subject"] != after["subject"]
        expect(after["replaced_subject"], name, "has another subject")
        expect(after["verdict_property"] == 2, name, "carries its verdict", after["verdict_property"])
        check_structure(work / (name + ".msg"), after)
        document = (converted / (name + ".eml")).read_bytes()
        check_converted(name, after, document)
        for entry in before["attachments"]:
            gone = entry not in after["attachments"] and entry["method"] == 1
            leaked = gone and any(hashlib.sha256(part.get_payload(decode=True) or b"").hexdigest() == entry["sha256"]
                                  for part in email.message_from_bytes(document).walk() if not part.is_multipart())
            expect(not leaked, name, "still has " + entry["name"])
    return len(lines)


def main(msg_copy, postwarden, samples):
    with tempfile.TemporaryDirectory(prefix="written_msg_") as folder:
        folder = pathlib.Path(folder)
        make = [sys.executable, str(pathlib.Path(samples) / "make_samples.py")]
        run(*make, str(folder / "samples"))
        run(*make, str(folder / "generated"), "--count", "40", "--seed", "7")
        count = check_folder(msg_copy, folder / "samples", folder / "a")
        count += check_folder(msg_copy, folder / "generated", folder / "b")
        changed = check_disinfected(postwarden, folder / "samples", folder / "c")
    expect(count >= 70, "all", "messages looked at", count)
    expect(changed >= 5, "all", "condemned messages looked at", changed)
    count += changed
    for problem in problems[:50]:
        print(problem)
    print("%d message files, %d problems" % (count, len(problems)))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
