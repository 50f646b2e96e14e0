"""Makes small valid documents byte by byte, so that the same call always returns the same file."""

import io
import struct
import zipfile
import zlib


def pdf(lines):
    """Returns a PDF document with one page of Helvetica text."""
    shown = "".join("(%s) Tj T*\n" % line.replace("\\", "\\\\").replace("(", "\\(").replace(")", "\\)")
                    for line in lines)
    content = ("BT /F1 11 Tf 14 TL 56 780 Td\n%sET\n" % shown).encode("latin-1", "replace")
    objects = [
        b"<< /Type /Catalog /Pages 2 0 R >>",
        b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Contents 4 0 R"
        b" /Resources << /Font << /F1 5 0 R >> >> >>",
        b"<< /Length %d >>\nstream\n%sendstream" % (len(content), content),
        b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
    ]
    out = bytearray(b"%PDF-1.4\n%\xe2\xe3\xcf\xd3\n")
    offsets = []
    for number, body in enumerate(objects, 1):
        offsets.append(len(out))
        out += b"%d 0 obj\n%s\nendobj\n" % (number, body)
    start = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    out += b"".join(b"%010d 00000 n \n" % offset for offset in offsets)
    out += b"trailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (len(objects) + 1, start)
    return bytes(out)


def png(width, height, pixel):
    """Returns a true-colour PNG image; pixel(x, y) returns (red, green, blue)."""
    rows = b"".join(b"\0" + bytes(value for x in range(width) for value in pixel(x, y)) for y in range(height))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b""))


def gradient(width=32, height=32, tint=(40, 90, 160)):
    """Returns a small image with more than one colour."""
    return png(width, height, lambda x, y: tuple((part + 5 * x + 3 * y) % 256 for part in tint))


def archive(files):
    """Returns a zip file of (name, bytes) entries with a fixed date."""
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as target:
        for name, data in files:
            entry = zipfile.ZipInfo(name, (2024, 3, 11, 9, 0, 0))
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 3
            entry.external_attr = 0o644 << 16
            target.writestr(entry, data)
    return out.getvalue()


def docx(paragraphs):
    """Returns a word-processor document with plain paragraphs."""
    def escape(line):
        return line.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")

    body = "".join('<w:p><w:r><w:t xml:space="preserve">%s</w:t></w:r></w:p>' % escape(p) for p in paragraphs)
    head = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
    types = (head + '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
             '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
             '<Override PartName="/word/document.xml" ContentType="application/vnd.openxmlformats-officedocument'
             '.wordprocessingml.document.main+xml"/></Types>')
    relations = (head + '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">'
                 '<Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships'
                 '/officeDocument" Target="word/document.xml"/></Relationships>')
    document = (head + '<w:document xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main"><w:body>'
                + body + '</w:body></w:document>')
    return archive([("[Content_Types].xml", types.encode("utf-8")), ("_rels/.rels", relations.encode("utf-8")),
                    ("word/document.xml", document.encode("utf-8"))])


def noise(size, seed):
    """Returns incompressible bytes that depend on the seed only: a xorshift generator, eight bytes per step."""
    state = (seed * 0x9E3779B97F4A7C15 + 0x123456789) & 0xFFFFFFFFFFFFFFFF
    block = bytearray()
    while len(block) < min(size, 65536):
        state ^= (state << 13) & 0xFFFFFFFFFFFFFFFF
        state ^= state >> 7
        state ^= (state << 17) & 0xFFFFFFFFFFFFFFFF
        block += struct.pack("<Q", state)
    repeats = size // len(block) + 1 if size else 0
    return (bytes(block) * repeats)[:size]
