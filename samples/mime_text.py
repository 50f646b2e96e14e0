"""Writes MIME messages as bytes. The output depends on the arguments only, never on the clock.

A part is a `Part` (headers in order, body bytes); `message()` prepends mail headers to one. Lines end in CRLF.
"""

import base64
import binascii
import hashlib
import quopri
import urllib.parse


class Part:
    """The headers as an ordered list of (name, value), and the body in wire format."""

    def __init__(self, headers, body):
        self.headers = list(headers)
        self.body = body

    def to_bytes(self):
        head = b"".join(name.encode("ascii") + b": " + _raw(value) + b"\r\n" for name, value in self.headers)
        return head + b"\r\n" + self.body


def _raw(value):
    return value if isinstance(value, bytes) else value.encode("ascii")


def words(text, charset="utf-8", encoding="b"):
    """Returns header text: ASCII unchanged, any other text as encoded words of at most 75 characters, folded."""
    if text.isascii():
        return text
    pieces = []
    piece = ""
    for character in text:
        if len(_word(piece + character, charset, encoding)) > 70:
            pieces.append(_word(piece, charset, encoding))
            piece = ""
        piece += character
    pieces.append(_word(piece, charset, encoding))
    return "\r\n ".join(pieces)


def _word(text, charset, encoding):
    data = text.encode(charset)
    if encoding == "b":
        body = base64.b64encode(data).decode("ascii")
    else:
        body = "".join(chr(c) if chr(c).isalnum() and c < 128 else "_" if c == 32 else "=%02X" % c for c in data)
    return "=?%s?%s?%s?=" % (charset, encoding.upper(), body)


def address(name, mailbox, charset="utf-8", encoding="b"):
    """Returns a display name and a mailbox as header text."""
    if not name:
        return mailbox
    if name.isascii():
        return '"%s" <%s>' % (name, mailbox)
    return "%s <%s>" % (words(name, charset, encoding), mailbox)


def crlf(text):
    return text.replace("\r\n", "\n").replace("\n", "\r\n")


def text(content, subtype="plain", charset="utf-8", encoding="quoted-printable", extra=()):
    """Returns a text part in the given charset and transfer encoding (quoted-printable, base64, 8bit, 7bit)."""
    data = crlf(content).encode(charset)
    if encoding == "quoted-printable":
        body = crlf(quopri.encodestring(data.replace(b"\r\n", b"\n")).decode("ascii")).encode("ascii")
    elif encoding == "base64":
        body = base64_lines(data)
    else:
        body = data
    return Part([("Content-Type", 'text/%s; charset="%s"' % (subtype, charset)),
                 ("Content-Transfer-Encoding", encoding), *extra], body)


def base64_lines(data):
    """Returns base64 in lines of 76 characters."""
    step = 57
    lines = [binascii.b2a_base64(data[i:i + step], newline=False) for i in range(0, len(data), step)]
    return b"\r\n".join(lines) + b"\r\n" if lines else b""


def name_parameter(key, name, style="quoted", charset="utf-8", language=""):
    """Returns a file name as a parameter: quoted, encoded (a word in quotes, as many clients write), extended (RFC
    2231) or continued (RFC 2231 in numbered pieces)."""
    if style == "quoted":
        return '%s="%s"' % (key, name)
    if style == "encoded":
        return '%s="%s"' % (key, words(name, charset).replace("\r\n ", " "))
    value = urllib.parse.quote(name, safe="", encoding=charset)
    if style == "extended":
        return "%s*=%s'%s'%s" % (key, charset, language, value)
    pieces = []
    while value:
        cut = min(len(value), 48)
        while cut < len(value) and "%" in value[cut - 2:cut]:
            cut -= 1
        pieces.append(value[:cut])
        value = value[cut:]
    first = "%s*0*=%s'%s'%s" % (key, charset, language, pieces[0])
    return ";\r\n ".join([first] + ["%s*%d*=%s" % (key, n, p) for n, p in enumerate(pieces) if n > 0])


def attachment(data, name, mime_type, style=None, charset="utf-8", disposition="attachment", content_id="", extra=()):
    """Returns a base64 part with a file name in both Content-Type and Content-Disposition."""
    if style is None:
        style = "quoted" if name.isascii() else "extended"
    headers = [("Content-Type", "%s;\r\n %s" % (mime_type, name_parameter("name", name, style, charset))),
               ("Content-Transfer-Encoding", "base64")]
    if content_id:
        headers.append(("Content-ID", "<%s>" % content_id))
    headers.append(("Content-Disposition",
                    "%s;\r\n %s" % (disposition, name_parameter("filename", name, style, charset))))
    return Part(headers + list(extra), base64_lines(data))


def forwarded(inner, name=""):
    """Returns a whole message (bytes) as a message/rfc822 part."""
    headers = [("Content-Type", "message/rfc822"), ("Content-Disposition", "attachment")]
    if name:
        headers = [("Content-Type", "message/rfc822;\r\n " + name_parameter("name", name)),
                   ("Content-Disposition", "attachment;\r\n " + name_parameter("filename", name))]
    return Part(headers, inner)


def multipart(subtype, parts, parameters="", preamble="This is a multi-part message in MIME format.\r\n"):
    """Returns a multipart. The boundary is computed from the contents, so that equal messages have equal boundaries."""
    bodies = [part.to_bytes() for part in parts]
    mark = hashlib.sha256(b"\0".join(bodies) + subtype.encode("ascii")).hexdigest()[:24]
    boundary = "----=_Part_%s" % mark
    line = b"--" + boundary.encode("ascii")
    body = preamble.encode("ascii") + b"".join(
        b"\r\n" + line + b"\r\n" + data for data in bodies) + b"\r\n" + line + b"--\r\n"
    return Part([("Content-Type", 'multipart/%s;%s\r\n boundary="%s"' % (subtype, parameters, boundary))], body)


def message(headers, part):
    """Returns a part with mail headers prepended, as bytes."""
    return Part(list(headers) + [("MIME-Version", "1.0")] + part.headers, part.body).to_bytes()
