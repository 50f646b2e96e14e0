"""Generates any number of messages for load tests: all different, all reproducible from a seed."""

import random

import documents
import messages
import mime_text as mime

FIRST = ["Anna", "Tomasz", "Ngozi", "Fatima", "Jürgen", "Екатерина", "健一", "Maria", "Owen", "Li"]
LAST = ["Lindqvist", "Wilk", "Adeyemi", "El Idrissi", "Weiß", "Соколова", "佐藤", "Costa", "Price", "Na"]
TOPICS = ["Delivery of beams", "Crane inspection", "Schedule, block C", "Invoice", "Window hinges", "Safety walk",
          "Pump readings", "Minutes", "Change request", "Permit"]
SENTENCES = ["The pour is booked for Thursday at seven.", "Please confirm the amount before Friday.",
             "Two pieces were damaged on arrival; photos follow.", "We are one day behind.",
             "The inspector asked for the old drawings.", "Nothing else to report.",
             "Could you send me the signed copy?", "The supplier offers a replacement on Wednesday."]


def body_text(source):
    paragraphs = [" ".join(source.choices(SENTENCES, k=source.randint(2, 6))) for _ in range(source.randint(1, 8))]
    return "\n\n".join(paragraphs) + "\n"


def attachments(source):
    made = []
    for _ in range(source.choices([0, 1, 2, 4], [60, 25, 10, 5])[0]):
        number = source.randint(100, 999)
        kind = source.randrange(4)
        if kind == 0:
            made.append(mime.attachment(documents.pdf(["Document %d" % number]), "document-%d.pdf" % number,
                                        messages.PDF))
        elif kind == 1:
            made.append(mime.attachment(documents.docx(["Note %d" % number]), "note-%d.docx" % number, messages.DOCX))
        elif kind == 2:
            made.append(mime.attachment(documents.gradient(24, 24, (number % 256, 80, 120)), "photo-%d.png" % number,
                                        messages.PNG))
        else:
            made.append(mime.attachment(documents.noise(source.randint(1000, 60000), number), "data-%d.bin" % number,
                                        "application/octet-stream"))
    return made


CONDEMNED_IN = ["body", "attachment", "forward", "both"]


def condemned_files(where, number):
    """Returns the attachments of a message that is condemned at `where`. Each `number` yields a unique message."""
    made = []
    if where in ("attachment", "both"):
        data = ("rem %d\r\n%s\r\n" % (number, messages.CONDEMNED)).encode("ascii")
        made.append(mime.attachment(data, "tool-%d.com" % number, "application/octet-stream"))
    if where == "forward":
        made.append(mime.forwarded(mime.message(
            messages.headers(messages.TOM, messages.ANNA, "Forwarded %d" % number, "Mon, 01 Jan 2024 08:00:00 +0000",
                             "inner-%d@office.example.com" % number),
            mime.text("Seen this?\n\n%s\n" % messages.CONDEMNED, encoding="7bit", charset="us-ascii"))))
    return made


def generated(count, seed, condemned=False):
    """Yields (file name, bytes) of `count` messages. About one in fifty is condemned, in its body. With `condemned` all
    are, alternately in the body, an attachment, a forwarded message, and in body and attachment, as named."""
    source = random.Random(seed)
    for number in range(1, count + 1):
        name = "%s %s" % (source.choice(FIRST), source.choice(LAST))
        sender = mime.address(name, "sender%d@office%d.example.com" % (source.randint(1, 400), source.randint(1, 9)))
        date = "Mon, %02d Jan 2024 %02d:%02d:%02d +0000" % (
            source.choice([1, 8, 15, 22, 29]), source.randrange(24), source.randrange(60), source.randrange(60))
        heads = messages.headers(sender, messages.ANNA, "%s %d" % (source.choice(TOPICS), number), date,
                                 "load-%d-%d@office.example.com" % (seed, number))
        text = body_text(source)
        where = CONDEMNED_IN[number % len(CONDEMNED_IN)] if condemned else ""
        if source.randrange(50) == 0 and not condemned or where in ("body", "both"):
            text += "\n" + messages.CONDEMNED + "\n"
        form = source.choices(["plain", "html", "alternative"], [40, 20, 40])[0]
        html = messages.page("".join("<p>%s</p>" % p for p in text.split("\n\n")))
        body = mime.text(text) if form == "plain" else html
        if form == "alternative":
            body = mime.multipart("alternative", [mime.text(text), html])
        files = attachments(source) + condemned_files(where, number)
        file = "load-%06d%s.eml" % (number, where and "-" + where)
        yield file, mime.message(heads, mime.multipart("mixed", [body, *files]) if files else body)
