#!/usr/bin/env python3
"""Writes the sample messages into a folder.

    make_samples.py OUT                       the sample mailbox: OUT/*.eml, OUT/archive.mbox, OUT/expectations.txt,
                                              and OUT/unreadable/ with files that are not messages
    make_samples.py OUT --count N [--seed S]  N generated messages for load tests; with --condemned each contains
                                              something that the scanner condemns

The same arguments always write the same bytes. The output is not tracked, because some of the messages contain the
standard antivirus test file, which a scanner would remove.
"""

import argparse
import pathlib
import sys

sys.dont_write_bytecode = True  # keeps the source tree unchanged

import documents  # noqa: E402
import load  # noqa: E402
import messages  # noqa: E402


def mbox(found):
    """Returns the messages in mbox form, each after a "From " line; lines that look like one are quoted with ">"."""
    out = bytearray()
    for data in found:
        out += b"From sender@example.com Mon Mar 11 16:42:10 2024\n"
        for line in data.replace(b"\r\n", b"\n").splitlines(keepends=True):
            out += (b">" if line.lstrip(b">").startswith(b"From ") else b"") + line
        out += b"\n"
    return bytes(out)


def write(path, data):
    """Writes a file unless it already contains these bytes, so that nothing that depends on it is rebuilt."""
    if not path.exists() or path.stat().st_size != len(data) or path.read_bytes() != data:
        path.write_bytes(data)


def write_mailbox(out):
    lines = []
    written = {}
    for name, data, expectation in messages.samples():
        write(out / name, data)
        written[name] = data
        lines.append("%-42s %s\n" % (name, expectation))
    quoted = messages.mime.message(
        messages.headers(messages.TOM, messages.ANNA, "Meeting room", "Mon, 11 Mar 2024 09:00:00 +0100",
                         "room@brattmark.example.com"),
        messages.mime.text("From Monday on we meet in room 4.\n", encoding="7bit", charset="us-ascii"))
    write(out / "archive.mbox", mbox([written["01-status-report.eml"], quoted, written["04-contract-pdf.eml"],
                                      written["12-cyrillic-koi8.eml"]]))
    write(out / "expectations.txt", "".join(lines).encode("utf-8"))
    unreadable = out / "unreadable"
    unreadable.mkdir(exist_ok=True)
    write(unreadable / "empty.eml", b"")
    write(unreadable / "noise.eml", documents.noise(4096, 99))
    return len(written)


def main(arguments):
    parser = argparse.ArgumentParser(description="Write the sample messages into a folder.")
    parser.add_argument("out", type=pathlib.Path, help="folder to write to; made when missing")
    parser.add_argument("--count", type=int, help="write that many generated messages instead")
    parser.add_argument("--seed", type=int, default=1, help="what the generated messages follow from (default 1)")
    parser.add_argument("--condemned", action="store_true", help="something to object to in every generated message")
    options = parser.parse_args(arguments)
    if options.count is not None and options.count < 0:
        parser.error("--count must not be negative")
    if options.condemned and options.count is None:
        parser.error("--condemned needs --count")
    options.out.mkdir(parents=True, exist_ok=True)
    if options.count is None:
        print("%d messages in %s" % (write_mailbox(options.out), options.out))
        return 0
    for name, data in load.generated(options.count, options.seed, options.condemned):
        write(options.out / name, data)
    print("%d generated messages in %s" % (options.count, options.out))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
