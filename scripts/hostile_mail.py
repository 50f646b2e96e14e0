"""Mails that try to leave the frame in which they are displayed, or to connect to another computer."""

import base64
import dataclasses
import re
import sys

CONDEMNED = "X5O!P%@AP[4\\PZX54(P^)7CC)7}$" + "EICAR-STANDARD-" + "ANTIVIRUS-TEST-FILE!$H+H*"
HARMLESS = b"A line of a mail. "


@dataclasses.dataclass
class Case:
    name: str
    body: bytes
    blocked: tuple = ()  # what the page states of it
    type: str = "text/html"


def html(text):
    return text.encode("utf-8")


TAKE_OVER = "document.title = 'x'; top.document.body.innerHTML = 'x'; fetch('http://script.example/')"

CASES = (
    Case("script", html(
        "<body onload=\"%s\"><script>%s</script><script src=http://script.example/s.js></script><img src=x onerror=\"%s\">"
        "<svg onload=\"%s\"></svg><a href=\"javascript:%s\">a</a><details open ontoggle=\"%s\">a</details>"
        % ((TAKE_OVER,) * 6)), ("Blocked, since it would come from other computers: 1 other content.",)),
    Case("style", html(
        "<style>@import url(http://style.example/s.css); @font-face { font-family: a; src: url(http://font.example/f) }"
        ":root, body, iframe, details { all: initial; position: fixed !important; inset: -5000px; z-index: 2147483647;"
        "background: red url(http://image.example/i) } * { font-family: a; cursor: url(http://cursor.example/c), auto }"
        "</style><p style=\"position: fixed; left: -9999px; width: 99999px; height: 99999px; background: lime\">a</p>"
        "<style>\\3c/style\\3e *{background:red}/* </style"),
         ("Blocked, since it would come from other computers: 2 images, 1 style sheet, 1 font.",)),
    Case("refresh", html(
        "<meta http-equiv=refresh content=\"0;url=http://refresh.example/\"><META HTTP-EQUIV='refresh' CONTENT='0'>"
        "<meta http-equiv=Content-Security-Policy content=\"default-src *\"><meta name=color-scheme content=dark>"
        "<base href=http://base.example/ target=_top><p>a")),
    Case("endings", html(
        "--></style></script></title></iframe></textarea></table></div></details></section></main></body></html>\">'>"
        "&quot;&gt;<h1>Outside</h1><style>* { background: red !important }</style><plaintext>")),
    Case("quotes", html("\" srcdoc=\"<h1>Outside</h1>\" style=\"position:fixed;inset:0\" onload=\"%s" % TAKE_OVER)),
    Case("directions", html("<p>\u202E\u202E\u2067reversed <bdo dir=rtl>more</bdo><html dir=rtl>\u202E")),
    Case("long-line", b"<p>" + b"x" * 1048576, ("The first 128 KB of 1.0 MB are shown.",)),
    Case("invalid-bytes", b"<p>\0\0\xff\xfe\xc3(\xed\xa0\x80\xf4\x90\x80\x80 <li\0nk rel=preconnect href=//nul.example>\xe2\x80"),
    Case("links", html("".join(
        "<a href=\"http://%s.example/\" target=%s ping=http://ping.example/ style=\"display: block; height: 60px\">%s</a>"
        % (target.strip("_"), target, target) for target in ("_self", "_top", "_parent", "_blank", "other")))),
    Case("set-link", html(
        "<svg width=700 height=300><a target=_self><set attributeName=href to=http://set.example/ /><animate attributeName="
        "xlink:href values=http://animated.example/ dur=9s /><rect width=700 height=300 /></a></svg>")),
    Case("form", html(
        "<form action=http://form.example/ method=post><button autofocus style=\"display: block; width: 700px; height: "
        "300px\">a</button><input autofocus name=a></form>")),
    Case("connections", html("".join(
        "<link rel=\"%s\" href=\"http://%s.example/\">" % (kind, kind.replace(" ", "-")) for kind in
        ("preconnect", "dns-prefetch", "prefetch", "preload", "prerender", "modulepreload", "stylesheet", "icon",
         "manifest"))), ("Blocked, since it would come from other computers: 1 style sheet, 8 other contents.",)),
    Case("media", html(
        "<img src=http://image.example/i srcset=\"http://set.example/1 1x, http://set.example/2 2x\"><picture><source srcset="
        "http://source.example/s></picture><video autoplay src=http://video.example/v poster=http://poster.example/p>"
        "</video><audio autoplay src=http://audio.example/a></audio><object data=http://object.example/o></object>"
        "<embed src=http://embed.example/e><iframe src=http://frame.example/></iframe><table background="
        "http://background.example/b><tr><td>a</table><svg><image href=http://drawing.example/d /><use href="
        "http://use.example/u#a /></svg><input type=image src=http://input.example/i><img src=\"http&#58;//entity.example/\">"
        "<img src=\"cid:http://cid.example/\"><iframe srcdoc=\"<img src=http://inner.example/i>\"></iframe>"),
         ("Blocked, since it would come from other computers: ", "1 image of the mail not shown")),
    Case("frames", html("<frameset cols=50%,50%><frame src=http://frame.example/><frame src=file:///etc/hostname></frameset>")),
    Case("text", b"</pre></iframe>\"><script>top.document.title = 'x'</script>\x1b[31m\x00\xe2\x80\xae " + b"y" * 100000,
         type="text/plain"),
)


def message_of(case, harmless):
    """Returns a message whose attachment is condemned, with the body of the case, or a harmless one of the same size."""
    body = (HARMLESS * (len(case.body) // len(HARMLESS) + 1))[:len(case.body)] if harmless else case.body
    part = "--limit\r\nContent-Type: %s; charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n%s\r\n%s\r\n"
    text = ("From: Sender <sender@example.com>\r\nTo: reader@example.com\r\nSubject: The same\r\nMIME-Version: 1.0\r\n"
            "Date: Mon, 11 Mar 2024 09:00:00 +0100\r\nContent-Type: multipart/mixed; boundary=limit\r\n\r\n")
    text += part % (case.type, "", base64.encodebytes(body).decode("ascii").replace("\n", "\r\n"))
    text += part % ("application/octet-stream", "Content-Disposition: attachment; filename=a.com\r\n",
                    base64.b64encode(CONDEMNED.encode("ascii")).decode("ascii"))
    return (text + "--limit--\r\n").encode("ascii")


def equalise(page):
    """Removes from a page what differs between two runs: times, durations and the address of the service."""
    text = page.read_bytes().decode("utf-8")
    for pattern in (r"(?s)<title>Mail.*?</title>", r"(?s)(?<=<header>).*?(?=</header>)",
                    r"(?s)<section aria-labelledby=(?:how|durations)>.*?</section>", r"(?<=<td>)\d+ ms"):
        text = re.sub(pattern, "", text)
    page.write_bytes(text.encode("utf-8"))


if __name__ == "__main__":
    sys.exit("hostile_mail.py is a module")
