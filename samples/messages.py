"""The sample mailbox: mail of an invented building company and the people it writes to.

`samples()` yields (file name, bytes, expectation): the expectation describes the outcome of an opening in words. The
two patterns that the local service detects are assembled here, at run time.
"""

import documents
import mime_text as mime

CONDEMNED = "X5O!P%@AP[4\\PZX54(P^)7CC)7}$" + "EICAR-STANDARD-" + "ANTIVIRUS-TEST-FILE!$H+H*"
REPAIRABLE = "POSTWARDEN-" + "REPAIRABLE-TEST-PATTERN"

CLEAN = "opens unchanged, verdict 1"
PDF, PNG, ZIP = "application/pdf", "image/png", "application/zip"
DOCX = "application/vnd.openxmlformats-officedocument.wordprocessingml.document"

ANNA = mime.address("Anna Lindqvist", "anna.lindqvist@brattmark.example.com")
TOM = mime.address("Tomasz Wilk", "t.wilk@brattmark.example.com")
SITE = mime.address("Site Office Kvarnholm", "kvarnholm@brattmark.example.com")
LEGAL = mime.address("Ngozi Adeyemi", "ngozi.adeyemi@adeyemi-partners.example.org")
SUPPLIER = mime.address("Delmar Timber Orders", "orders@delmartimber.example.net")

HTML_PAGE = """<!DOCTYPE html>
<html><head><meta http-equiv="Content-Type" content="text/html; charset=utf-8"><style>
body {{ font-family: Calibri, Arial, sans-serif; font-size: 11pt; }}
td {{ padding: 2px 12px 2px 0; }}
</style></head><body>
{body}
<p style="color:#666">Brattmark Construction &middot; Kvarnholmen 4, Stockholm</p>
</body></html>
"""


def headers(sender, to, subject, date, message_id, extra=()):
    """Returns the headers of a message as delivered by a mail server."""
    result = [("Return-Path", "<" + sender.rsplit("<", 1)[-1].rstrip(">") + ">"),
              ("Received", "from mail-out.example.net (mail-out.example.net [192.0.2.41])\r\n"
                           "\tby mx1.brattmark.example.com with ESMTPS id 4TkQ2x;\r\n\t" + date),
              ("From", sender), ("To", to), ("Subject", mime.words(subject)), ("Date", date)]
    if message_id:
        result.append(("Message-ID", "<%s>" % message_id))
    return result + list(extra)


def page(body):
    return mime.text(HTML_PAGE.format(body=body), "html")


# --- Everyday mail ---------------------------------------------------------------------------------------------


def status_report():
    return mime.message(
        headers(TOM, ANNA, "Kvarnholm block C: week 11 status", "Mon, 11 Mar 2024 16:42:10 +0100",
                "20240311164210.4A1F@brattmark.example.com", [("X-Mailer", "Brattmark Desk 7.2")]),
        mime.text("""Hi Anna,

week 11 in short:

- formwork for the third floor slab is done, concrete is booked for Thursday 07:00
- the crane inspection passed without remarks
- two windows came with the wrong hinges; the supplier swaps them on Wednesday

We are one day behind, and I expect to have caught up by Friday. Numbers follow with
the monthly sheet.

Best regards
Tomasz
--\x20
Tomasz Wilk, site manager, +46 8 555 0142
""", encoding="7bit", charset="us-ascii"))


def newsletter():
    return mime.message(
        headers(mime.address("Brattmark Internal News", "news@brattmark.example.com"), "all@brattmark.example.com",
                "Spring safety week starts on Monday", "Fri, 15 Mar 2024 08:00:02 +0100",
                "news-2024-11@brattmark.example.com",
                [("List-Id", "Internal news <news.brattmark.example.com>"), ("Precedence", "bulk")]),
        page("""<h2>Spring safety week</h2>
<p>From Monday every site starts the day with a <b>ten-minute walk-through</b>. Bring your gloves.</p>
<table><tr><td>Monday</td><td>Scaffolding</td></tr><tr><td>Tuesday</td><td>Lifting gear</td></tr>
<tr><td>Wednesday</td><td>Dust &amp; noise</td></tr></table>
<p>Questions? <a href="https://intranet.example.com/safety">The safety page</a> has the answers.</p>"""))


def invoice_alternative():
    return mime.message(
        headers(SUPPLIER, ANNA, "Invoice 2024-0387 for delivery of 6 March", "Thu, 07 Mar 2024 10:15:44 +0000",
                "inv-2024-0387@delmartimber.example.net", [("Reply-To", "accounts@delmartimber.example.net")]),
        mime.multipart("alternative", [
            mime.text("""Dear Ms Lindqvist,

our invoice 2024-0387 over EUR 12,480.00 is due on 6 April 2024.

  Glulam beams GL28h      24 pcs   EUR 9,360.00
  Transport                        EUR   840.00
  VAT                              EUR 2,280.00

Kind regards
Delmar Timber
"""),
            page("""<p>Dear Ms Lindqvist,</p><p>our invoice <b>2024-0387</b> over <b>&euro; 12,480.00</b> is due on
6 April 2024.</p><table><tr><td>Glulam beams GL28h</td><td>24 pcs</td><td>&euro; 9,360.00</td></tr>
<tr><td>Transport</td><td></td><td>&euro; 840.00</td></tr><tr><td>VAT</td><td></td><td>&euro; 2,280.00</td></tr>
</table><p>Kind regards<br>Delmar Timber</p>""")]))


def contract_pdf():
    contract = documents.pdf(["Framework agreement 2024/19", "between Brattmark Construction and Delmar Timber",
                              "1. Scope: supply of structural timber.", "2. Term: twelve months."])
    return mime.message(
        headers(LEGAL, ANNA, "Framework agreement, signed copy", "Tue, 12 Mar 2024 11:20:31 +0000",
                "c7d1b2e0@adeyemi-partners.example.org", [("Cc", TOM), ("Importance", "high")]),
        mime.multipart("mixed", [
            mime.text("Dear Anna,\n\nattached is the countersigned agreement. Please file the original.\n\nNgozi\n"),
            mime.attachment(contract, "Framework agreement 2024-19.pdf", PDF)]))


def floor_plan_inline():
    plan = documents.gradient(48, 32)
    return mime.message(
        headers(SITE, TOM, "Photo of the stairwell", "Wed, 13 Mar 2024 14:03:55 +0100",
                "photo-88@brattmark.example.com"),
        mime.multipart("related", [
            mime.multipart("alternative", [
                mime.text("The picture shows the crack beside the lift door.\n"),
                page('<p>The crack beside the lift door:</p><p><img src="cid:stairwell@brattmark" alt="crack"></p>')]),
            mime.attachment(plan, "stairwell.png", PNG, disposition="inline", content_id="stairwell@brattmark")],
            parameters=' type="multipart/alternative";'))


def minutes_docx():
    minutes = documents.docx(["Minutes of the coordination meeting, 14 March 2024", "Present: Lindqvist, Wilk, Adeyemi",
                              "1. Schedule: one day behind, recovered by Friday.", "2. Windows & hinges: swap agreed."])
    return mime.message(
        headers(ANNA, TOM, "Minutes 14 March", "Thu, 14 Mar 2024 17:30:00 +0100", "minutes-0314@brattmark.example.com"),
        mime.multipart("mixed", [
            mime.text("Please check item 2 before I send them round.\n\n/Anna\n"),
            mime.attachment(minutes, "Minutes 2024-03-14.docx", DOCX)]))


def logs_zip():
    logs = documents.archive([("crane/2024-03-12.log", b"07:02 start\r\n15:58 stop\r\n" * 40),
                              ("crane/2024-03-13.log", b"06:58 start\r\n16:11 stop\r\n" * 40)])
    return mime.message(
        headers(SITE, TOM, "Crane logs", "Wed, 13 Mar 2024 18:12:09 +0100", "crane-0313@brattmark.example.com"),
        mime.multipart("mixed", [mime.text("Logs of the last two days.\n"),
                                 mime.attachment(logs, "crane-logs.zip", ZIP)]))


def forwarded_twice():
    innermost = status_report()
    middle = mime.message(
        headers(ANNA, LEGAL, "Fwd: Kvarnholm block C: week 11 status", "Mon, 11 Mar 2024 18:01:00 +0100",
                "fwd-1@brattmark.example.com"),
        mime.multipart("mixed", [mime.text("For your file, see the hinges.\n\nAnna\n"), mime.forwarded(innermost)]))
    return mime.message(
        headers(LEGAL, TOM, "Fwd: Fwd: Kvarnholm block C: week 11 status", "Tue, 12 Mar 2024 09:12:45 +0000",
                "fwd-2@adeyemi-partners.example.org"),
        mime.multipart("mixed", [mime.text("Tomasz, is the swap confirmed in writing?\n\nNgozi\n"),
                                 mime.forwarded(middle, "Fwd Kvarnholm block C week 11 status.eml")]))


# --- Meetings and tasks ----------------------------------------------------------------------------------------

CALENDAR = """BEGIN:VCALENDAR
PRODID:-//Brattmark//Desk 7.2//EN
VERSION:2.0
METHOD:{method}
BEGIN:{component}
UID:{uid}
DTSTAMP:20240311T120000Z
DTSTART:20240318T080000Z
{end}:20240318T090000Z
SUMMARY:{summary}
ORGANIZER;CN=Anna Lindqvist:mailto:anna.lindqvist@brattmark.example.com
ATTENDEE;CN=Tomasz Wilk;PARTSTAT={status}:mailto:t.wilk@brattmark.example.com
END:{component}
END:VCALENDAR
"""


def calendar_mail(sender, to, subject, method, component, plain, number):
    status = "ACCEPTED" if method == "REPLY" else "NEEDS-ACTION"
    data = mime.crlf(CALENDAR.format(method=method, component=component, summary=subject, status=status,
                                     uid="20240318-%s@brattmark.example.com" % number,
                                     end="DUE" if component == "VTODO" else "DTEND")).encode("utf-8")
    invitation = mime.Part([("Content-Type", 'text/calendar; charset="utf-8"; method=%s' % method),
                            ("Content-Transfer-Encoding", "base64")], mime.base64_lines(data))
    return mime.message(
        headers(sender, to, subject, "Mon, 11 Mar 2024 13:00:%02d +0100" % number,
                "cal-%d@brattmark.example.com" % number),
        mime.multipart("alternative", [mime.text(plain), invitation]))


def meeting_request():
    return calendar_mail(ANNA, TOM, "Concrete schedule, block C", "REQUEST", "VEVENT",
                         "When: Monday 18 March, 09:00-10:00\nWhere: Site office\n\nBring the pump plan.\n", 1)


def meeting_reply():
    return calendar_mail(TOM, ANNA, "Accepted: Concrete schedule, block C", "REPLY", "VEVENT", "I will be there.\n", 2)


def task_request():
    return calendar_mail(ANNA, TOM, "Order the replacement hinges", "REQUEST", "VTODO",
                         "Due Monday. The supplier's number is in the contract.\n", 3)


# --- Names and alphabets ---------------------------------------------------------------------------------------


def cyrillic():
    sender = mime.address("Екатерина Соколова", "e.sokolova@stroyles.example.org", "koi8-r")
    contract = documents.pdf(["Dogovor 48/2024"])
    return mime.message(
        [("From", sender), ("To", ANNA), ("Subject", mime.words("Договор поставки № 48: подписанный экземпляр")),
         ("Date", "Wed, 06 Mar 2024 12:44:00 +0300"), ("Message-ID", "<48-2024@stroyles.example.org>")],
        mime.multipart("mixed", [
            mime.text("Добрый день, Анна!\n\nВо вложении подписанный договор. Оригинал отправлен почтой.\n\n"
                      "С уважением,\nЕкатерина Соколова\n", charset="koi8-r", encoding="base64"),
            mime.attachment(contract, "Договор поставки.pdf", PDF, style="encoded")]))


def japanese():
    return mime.message(
        [("From", mime.address("佐藤 健一", "k.sato@minato-glass.example.co.jp", "iso-2022-jp")), ("To", ANNA),
         ("Subject", mime.words("お見積書の送付（窓ガラス）", "iso-2022-jp")),
         ("Date", "Fri, 08 Mar 2024 09:30:12 +0900"), ("Message-ID", "<20240308.0930@minato-glass.example.co.jp>")],
        mime.multipart("mixed", [
            mime.text("リンドクヴィスト様\n\nお世話になっております。お見積書をお送りいたします。\n\n佐藤\n",
                      charset="iso-2022-jp", encoding="7bit"),
            mime.attachment(documents.docx(["御見積書", "複層ガラス 24枚"]), "御見積書.docx", DOCX, style="extended")]))


def continued_name():
    name = "Übersicht der geänderten Brandschutzanforderungen für Treppenhäuser und Aufzugsschächte 2024.pdf"
    return mime.message(
        headers(mime.address("Jürgen Weiß", "j.weiss@brandschutz.example.de", "iso-8859-1", "q"), TOM,
                "Geänderte Anforderungen", "Tue, 05 Mar 2024 15:10:00 +0100", "bs-77@brandschutz.example.de"),
        mime.multipart("mixed", [
            mime.text("Sehr geehrter Herr Wilk,\n\nanbei die Übersicht.\n\nMit freundlichen Grüßen\nJürgen Weiß\n",
                      charset="iso-8859-1"),
            mime.attachment(documents.pdf(["Brandschutz 2024"]), name, PDF, style="continued")]))


def windows_1251_eight_bit():
    return mime.message(
        [("From", "=?windows-1251?B?yOLg7SDP5fLw7uI=?= <i.petrov@stroyles.example.org>"), ("To", TOM),
         ("Subject", "=?windows-1251?Q?=C3=F0=E0=F4=E8=EA_=EF=EE=F1=F2=E0=E2=EE=EA?="),
         ("Date", "Thu, 07 Mar 2024 17:20:00 +0300"), ("Message-ID", "<gp-12@stroyles.example.org>")],
        mime.text("Томаш, машина придёт в пятницу в 8:00.\n\nИван Петров\n", charset="windows-1251", encoding="8bit"))


# --- Missing and unusual pieces --------------------------------------------------------------------------------


def attachment_only():
    return mime.message(
        headers(mime.address("Scanner 2nd floor", "scan@brattmark.example.com"), ANNA, "Scan 0117",
                "Mon, 04 Mar 2024 08:09:10 +0100", "scan-0117@brattmark.example.com"),
        mime.multipart("mixed", [mime.attachment(documents.pdf(["Delivery note 5520"]), "scan0117.pdf", PDF)]))


def no_message_id():
    return mime.message(
        headers(mime.address("Door controller", "door@brattmark.example.com"), SITE, "Gate 2 left open",
                "Sat, 09 Mar 2024 22:15:00 +0100", ""),
        mime.text("Gate 2 has been open for more than 10 minutes.\n", encoding="7bit", charset="us-ascii"))


def missing_headers():
    return b"To: kvarnholm@brattmark.example.com\r\n\r\nradio battery low, unit 14\r\n"


def no_attachment_name():
    nameless = mime.Part([("Content-Type", "application/octet-stream"), ("Content-Transfer-Encoding", "base64"),
                          ("Content-Disposition", "attachment")], mime.base64_lines(b"unit=14;level=7\r\n" * 20))
    return mime.message(
        headers(SITE, TOM, "Radio readings", "Sun, 10 Mar 2024 06:00:00 +0100", "radio-10@brattmark.example.com"),
        mime.multipart("mixed", [mime.text("Readings attached.\n"), nameless]))


def many_attachments():
    parts = [mime.text("One file a delivery, as asked.\n\nDelmar Timber\n")]
    for number in range(1, 102):
        data = ("Delivery %03d\r\nBeams: %d\r\n" % (number, 10 + number % 7)).encode("ascii")
        parts.append(mime.attachment(data, "delivery-%03d.txt" % number, "text/plain"))
    return mime.message(
        headers(SUPPLIER, SITE, "Delivery notes January to March", "Fri, 15 Mar 2024 12:00:00 +0000",
                "notes-q1@delmartimber.example.net"), mime.multipart("mixed", parts))


def signed():
    signature = mime.attachment(documents.noise(1710, 26), "smime.p7s", "application/pkcs7-signature")
    return mime.message(
        headers(LEGAL, ANNA, "Power of attorney", "Thu, 14 Mar 2024 10:00:00 +0000",
                "poa@adeyemi-partners.example.org"),
        mime.multipart("signed", [mime.text("Dear Anna,\n\nI confirm the power of attorney of 1 March.\n\nNgozi\n"),
                                  signature],
                       parameters='\r\n protocol="application/pkcs7-signature"; micalg=sha-256;'))


def broken_encoding():
    bad = mime.Part([("Content-Type", 'application/octet-stream; name="readings.bin"'),
                     ("Content-Transfer-Encoding", "base64"), ("Content-Disposition", "attachment")],
                    b"UmVhZGluZ3M6IDE0LCAxNSwg!!MTYsIDE3\r\n*** line damaged in transit ***\r\nLCAxOA=\r\n")
    whole = mime.message(
        [("From", b"B\xe4rbel S\xf6derstr\xf6m <b.soderstrom@brattmark.example.com>"), ("To", ANNA),
         ("Subject", "=?utf-8?B?TcOkdHdlcnRlIHVuZCAg4oKs4o?= =?x-unknown-8bit?Q?=E4=F6?="),
         ("Date", "Thirtyfirst of Foo 2024"), ("Message-ID", "<bad-1@brattmark.example.com>")],
        mime.multipart("mixed", [
            mime.Part([("Content-Type", 'text/plain; charset="x-not-a-charset"'),
                       ("Content-Transfer-Encoding", "quoted-printable")],
                      b"M=E4tv=ZZrden =\r\nfr=C3=A5n =\r\n"), bad]))
    return whole[:-30]


def large():
    plain = "".join("%05d  Pressure %3d.%d bar, flow %3d l/min, valve %d, remark: none\n"
                    % (n, 90 + n * 7 % 40, n % 10, 200 + n * 13 % 80, n % 8) for n in range(24000))
    return mime.message(
        headers(SITE, TOM, "Pump readings, full export", "Fri, 15 Mar 2024 20:00:00 +0100",
                "pump-export@brattmark.example.com"),
        mime.multipart("mixed", [
            mime.text(plain, encoding="7bit", charset="us-ascii"),
            mime.attachment(documents.noise(4 * 1024 * 1024, 30), "pump-raw.bin", "application/octet-stream")]))


def over_the_limit():
    return mime.message(
        headers(SITE, TOM, "Drone video, block C", "Fri, 15 Mar 2024 20:05:00 +0100", "drone@brattmark.example.com"),
        mime.multipart("mixed", [
            mime.text("The flight of this morning.\n"),
            mime.attachment(documents.noise(0x1400000 + 1, 31), "flight.mp4", "video/mp4")]))


# --- Condemned messages ----------------------------------------------------------------------------------------


def condemned_body():
    return mime.message(
        headers(mime.address("Parcel Service", "tracking@parcels.example.org"), ANNA, "Your parcel could not be delivered",
                "Wed, 13 Mar 2024 03:12:00 +0000", "p-9917@parcels.example.org"),
        mime.text("Dear customer,\n\nrun the line below to reschedule the delivery:\n\n%s\n\nParcel Service\n" % CONDEMNED,
                  encoding="7bit", charset="us-ascii"))


def condemned_html_body():
    return mime.message(
        headers(mime.address("Accounts Payable", "ap@billing.example.org"), ANNA, "Overdue: open immediately",
                "Wed, 13 Mar 2024 04:20:00 +0000", "ap-1@billing.example.org"),
        mime.multipart("alternative", [
            mime.text("Please view this message in HTML.\n"),
            page("<p>Final reminder. Your account will be closed.</p><pre>%s</pre>" % CONDEMNED)]))


def condemned_attachment():
    return mime.message(
        headers(mime.address("Fatima El Idrissi", "f.elidrissi@logistics.example.net"), TOM, "Updated price list",
                "Thu, 14 Mar 2024 07:45:00 +0000", "pl-2024@logistics.example.net"),
        mime.multipart("mixed", [
            mime.text("Hello Tomasz,\n\nplease find our new price list attached.\n\nFatima\n"),
            mime.attachment(documents.pdf(["Price list 2024"]), "prices-2024.pdf", PDF),
            mime.attachment(CONDEMNED.encode("ascii"), "price-calculator.com", "application/octet-stream")]))


def condemned_both():
    return mime.message(
        headers(mime.address("IT Helpdesk", "helpdesk@it-support.example.org"), ANNA, "Password expires today",
                "Thu, 14 Mar 2024 02:00:00 +0000", "pw-77@it-support.example.org"),
        mime.multipart("mixed", [
            mime.text("Run this before noon:\n\n%s\n" % CONDEMNED, encoding="7bit", charset="us-ascii"),
            mime.attachment(CONDEMNED.encode("ascii"), "password-tool.com", "application/octet-stream")]))


def condemned_forward():
    return mime.message(
        headers(TOM, ANNA, "Fwd: Your parcel could not be delivered", "Wed, 13 Mar 2024 08:00:00 +0100",
                "fwd-parcel@brattmark.example.com"),
        mime.multipart("mixed", [mime.text("Is this one of ours?\n\nTomasz\n"), mime.forwarded(condemned_body())]))


def condemned_hundred_and_first():
    parts = [mime.text("The whole archive.\n")]
    for number in range(1, 101):
        parts.append(mime.attachment(b"page %03d\r\n" % number, "page-%03d.txt" % number, "text/plain"))
    parts.append(mime.attachment(CONDEMNED.encode("ascii"), "page-101.com", "application/octet-stream"))
    return mime.message(
        headers(mime.address("Archive", "archive@billing.example.org"), TOM, "Archive 1-101",
                "Thu, 14 Mar 2024 05:00:00 +0000", "arch@billing.example.org"), mime.multipart("mixed", parts))


def repairable_body():
    return mime.message(
        headers(mime.address("Vendor Portal", "portal@vendors.example.net"), ANNA, "Monthly statement",
                "Fri, 01 Mar 2024 06:00:00 +0000", "st-02@vendors.example.net"),
        mime.text("Statement for February: EUR 0.00\n\n%s\n\nVendor Portal\n" % REPAIRABLE, encoding="7bit",
                  charset="us-ascii"))


def repairable_attachment():
    sheet = ("item;count\r\nbeam;24\r\n%s\r\nhinge;2\r\n" % REPAIRABLE).encode("ascii")
    return mime.message(
        headers(SUPPLIER, SITE, "Packing list", "Tue, 12 Mar 2024 09:00:00 +0000", "pk-9@delmartimber.example.net"),
        mime.multipart("mixed", [mime.text("Packing list attached.\n"),
                                 mime.attachment(sheet, "packing-list.csv", "text/csv")]))


def samples():
    """Yields every sample as (file name, bytes, expected outcome of an opening with the local service)."""
    skipped = "opens unchanged, verdict 1; what no check reaches stays: "
    table = [
        ("status-report", status_report, CLEAN), ("newsletter-html", newsletter, CLEAN),
        ("invoice-alternative", invoice_alternative, CLEAN), ("contract-pdf", contract_pdf, CLEAN),
        ("photo-inline-image", floor_plan_inline, CLEAN), ("minutes-docx", minutes_docx, CLEAN),
        ("crane-logs-zip", logs_zip, CLEAN), ("forwarded-twice", forwarded_twice, CLEAN),
        ("meeting-request", meeting_request, CLEAN), ("meeting-reply", meeting_reply, CLEAN),
        ("task-request", task_request, CLEAN), ("cyrillic-koi8", cyrillic, CLEAN),
        ("japanese-iso2022", japanese, CLEAN), ("rfc2231-continued-name", continued_name, CLEAN),
        ("windows-1251-8bit", windows_1251_eight_bit, CLEAN),
        ("attachment-only", attachment_only, "opens unchanged, verdict 0: there is no body to judge"),
        ("no-message-id", no_message_id, CLEAN), ("missing-headers", missing_headers, CLEAN),
        ("nameless-attachment", no_attachment_name, CLEAN),
        ("hundred-and-one-attachments", many_attachments, skipped + "the 101st attachment"),
        ("signed", signed, CLEAN), ("broken-encoding", broken_encoding, CLEAN), ("large-export", large, CLEAN),
        ("over-the-size-limit", over_the_limit, skipped + "the attachment of over 20 MiB"),
        ("condemned-body", condemned_body, "opens with a notice as body, verdict 2"),
        ("condemned-html-body", condemned_html_body, "opens with a notice as body, verdict 2"),
        ("condemned-attachment", condemned_attachment, "opens with a notice for one attachment, verdict 2"),
        ("condemned-body-and-attachment", condemned_both, "opens with notices for body and attachment, verdict 2"),
        ("condemned-forward", condemned_forward, "opens with a notice for the forwarded message, verdict 2"),
        ("condemned-101st-attachment", condemned_hundred_and_first, skipped + "the condemned 101st attachment"),
        ("repairable-body", repairable_body, "opens, verdict 3"),
        ("repairable-attachment", repairable_attachment, "opens, verdict 1: a repair does not rise to the message"),
    ]
    for number, (name, make, expectation) in enumerate(table, 1):
        yield "%02d-%s.eml" % (number, name), make(), expectation
