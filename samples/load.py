"""Messages in any number for load tests: all different, all reproducible from a seed."""

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


def generated(count, seed):
    """Yields (file name, bytes) of `count` messages; about one in fifty is condemned."""
    source = random.Random(seed)
    for number in range(1, count + 1):
        name = "%s %s" % (source.choice(FIRST), source.choice(LAST))
        sender = mime.address(name, "sender%d@office%d.example.com" % (source.randint(1, 400), source.randint(1, 9)))
        date = "Mon, %02d Jan 2024 %02d:%02d:%02d +0000" % (
            source.choice([1, 8, 15, 22, 29]), source.randrange(24), source.randrange(60), source.randrange(60))
        heads = messages.headers(sender, messages.ANNA, "%s %d" % (source.choice(TOPICS), number), date,
                                 "load-%d-%d@office.example.com" % (seed, number))
        text = body_text(source)
        if source.randrange(50) == 0:
            text += "\n" + messages.CONDEMNED + "\n"
        form = source.choices(["plain", "html", "alternative"], [40, 20, 40])[0]
        html = messages.page("".join("<p>%s</p>" % p for p in text.split("\n\n")))
        body = mime.text(text) if form == "plain" else html
        if form == "alternative":
            body = mime.multipart("alternative", [mime.text(text), html])
        files = attachments(source)
        yield "load-%06d.eml" % number, mime.message(heads, mime.multipart("mixed", [body, *files]) if files else body)
