#include "mail/mime/reading/attachment_names.h"
#include "mail/mime/reading/calendar.h"
#include "store/item.h"
#include "tests/mail/mime/mime_fixture.h"

namespace host::test {
namespace {

TEST(Bodies, OfPlainTextComeInUnicodeWithTheirCodePage)
{
    const auto message = read("Content-Type: text/plain; charset=koi8-r\nContent-Transfer-Encoding: base64\n\n5MTB\n");
    EXPECT_EQ(L"\u0414\u0434\u0430", wide(message, PR_BODY_W));
    EXPECT_EQ(1, number(message, PR_NATIVE_BODY_INFO));
    EXPECT_EQ(20866, number(message, PR_INTERNET_CPID));
    EXPECT_EQ(nullptr, message.properties->find(PROP_ID(PR_HTML)));
    EXPECT_TRUE(message.attachments.empty());
}

TEST(Bodies, OfHtmlStayInTheirOwnBytes)
{
    const auto message = read("Content-Type: text/html; charset=iso-8859-1\n"
                              "Content-Transfer-Encoding: quoted-printable\n\n<p>K=F6ln</p>\n");
    EXPECT_EQ("<p>K\xF6ln</p>\r\n", binary(message, PR_HTML));
    EXPECT_EQ(3, number(message, PR_NATIVE_BODY_INFO));
    EXPECT_EQ(28591, number(message, PR_INTERNET_CPID));
    EXPECT_EQ(nullptr, message.properties->find(PROP_ID(PR_BODY_W)));
}

constexpr std::string_view alternative = R"(Subject: a
Content-Type: multipart/alternative; boundary=b

--b
Content-Type: text/plain; charset=us-ascii

plain
--b
Content-Type: text/html; charset=utf-8

<p>html</p>
--b--
)";

TEST(Bodies, OfAnAlternativeAreBothAndNativelyHtml)
{
    const auto message = read(alternative);
    EXPECT_EQ(L"plain", wide(message, PR_BODY_W));
    EXPECT_EQ("<p>html</p>", binary(message, PR_HTML));
    EXPECT_EQ(3, number(message, PR_NATIVE_BODY_INFO));
    EXPECT_EQ(65001, number(message, PR_INTERNET_CPID));
    EXPECT_TRUE(message.attachments.empty());
}

TEST(Bodies, OfAnAlternativeMayStandInSetsOfTheirOwnInAnyOrder)
{
    const auto message = read(R"(Content-Type: multipart/mixed; boundary=a

--a
Content-Type: multipart/alternative; boundary=b

--b
Content-Type: multipart/related; boundary=c

--c
Content-Type: text/html

<p>html</p>
--c
Content-Type: image/png

png
--c--

--b
Content-Type: text/plain

plain
--b--

--a
Content-Type: text/html

<p>footer</p>
--a--
)");
    EXPECT_EQ(L"plain", wide(message, PR_BODY_W));
    EXPECT_EQ("<p>html</p>", binary(message, PR_HTML));
    ASSERT_EQ(2U, message.attachments.size());
    EXPECT_EQ("png", binary(attachment(message, 0), PR_ATTACH_DATA_BIN));
    EXPECT_EQ("<p>footer</p>", binary(attachment(message, 1), PR_ATTACH_DATA_BIN));
}

TEST(Bodies, AreTheFirstTextOnlyFurtherTextsAreAttachments)
{
    const auto message = read(R"(Content-Type: multipart/mixed; boundary=b

--b

first
--b
Content-Type: text/plain

footer
--b
Content-Type: text/html

<p>late</p>
--b--
)");
    EXPECT_EQ(L"first", wide(message, PR_BODY_W));
    ASSERT_EQ(2U, message.attachments.size());
    EXPECT_EQ("footer", binary(attachment(message, 0), PR_ATTACH_DATA_BIN));
    EXPECT_EQ("<p>late</p>", binary(attachment(message, 1), PR_ATTACH_DATA_BIN));
}

TEST(Bodies, AreNotTextsThatHaveANameOrAreDeclaredAttachments)
{
    const auto message = read(R"(Content-Type: multipart/mixed; boundary=b

--b
Content-Type: text/plain
Content-Disposition: attachment

kept
--b
Content-Type: text/plain; name=notes.txt

named
--b--
)");
    EXPECT_EQ(nullptr, message.properties->find(PROP_ID(PR_BODY_W)));
    EXPECT_EQ(nullptr, message.properties->find(PROP_ID(PR_NATIVE_BODY_INFO)));
    EXPECT_EQ(2U, message.attachments.size());
}

TEST(Bodies, WithoutACharsetAreReadAsWhatTheyCanBe)
{
    EXPECT_EQ(L"Gr\u00FC\u00DFe\r\n", wide(read("Subject: a\n\nGr\xC3\xBC\xC3\x9F"
                                                "e\n"),
                                           PR_BODY_W));
    EXPECT_EQ(L"S\u00F6der\r\n", wide(read("Subject: a\n\nS\xF6"
                                           "der\n"),
                                      PR_BODY_W));
    EXPECT_EQ(20127, number(read("Subject: a\n\nx\n"), PR_INTERNET_CPID));
}

TEST(Bodies, InAnUnknownOrDamagedSetAreStillRead)
{
    EXPECT_EQ(L"M\u00E4tv\r\n", wide(read("Content-Type: text/plain; charset=x-no-such\n\nM\xE4tv\n"), PR_BODY_W));
    EXPECT_EQ(L"a\uFFFDb\r\n", wide(read("Content-Type: text/plain; charset=utf-8\n\na\xFF"
                                         "b\n"),
                                    PR_BODY_W));
}

TEST(Attachments, HaveAllTheirNamesAndTypes)
{
    const auto message = read(R"(Content-Type: multipart/mixed; boundary=b

--b

text
--b
Content-Type: APPLICATION/PDF; name="Framework agreement.pdf"
Content-Disposition: attachment; filename="Framework agreement.pdf"
Content-Transfer-Encoding: base64
Content-Location: http://example.com/a.pdf

JVBERi0=
--b--
)");
    ASSERT_EQ(1U, message.attachments.size());
    const property_bag& file = attachment(message, 0);
    EXPECT_EQ(L"Framework agreement.pdf", wide(file, PR_ATTACH_LONG_FILENAME_W));
    EXPECT_EQ(L"Framework agreement.pdf", wide(file, PR_DISPLAY_NAME_W));
    EXPECT_EQ(L"FRAMEW~1.PDF", wide(file, PR_ATTACH_FILENAME_W));
    EXPECT_EQ(L".pdf", wide(file, tag::attach_extension));
    EXPECT_EQ(L"application/pdf", wide(file, PR_ATTACH_MIME_TAG_W));
    EXPECT_EQ(L"http://example.com/a.pdf", wide(file, PR_ATTACH_CONTENT_LOCATION_W));
    EXPECT_EQ(std::int64_t{ATTACH_BY_VALUE}, number(file, PR_ATTACH_METHOD));
    EXPECT_EQ(-1, number(file, PR_RENDERING_POSITION));
    EXPECT_EQ("%PDF-", binary(file, PR_ATTACH_DATA_BIN));
    EXPECT_EQ(5U, message.attachments.at(0).size());
}

TEST(Attachments, MayHaveNoName)
{
    const auto message = read("Content-Type: application/octet-stream\n\nxyz");
    ASSERT_EQ(1U, message.attachments.size());
    EXPECT_EQ(nullptr, attachment(message, 0).find(PROP_ID(PR_ATTACH_LONG_FILENAME_W)));
    EXPECT_EQ(nullptr, attachment(message, 0).find(PROP_ID(PR_DISPLAY_NAME_W)));
    EXPECT_EQ("xyz", binary(attachment(message, 0), PR_ATTACH_DATA_BIN));
}

std::wstring name_of_disposition(const std::string& parameters)
{
    const auto message =
        read("Content-Type: application/pdf\nContent-Disposition: attachment; " + parameters + "\n\nx");
    return wide(attachment(message, 0), PR_ATTACH_LONG_FILENAME_W);
}

TEST(Attachments, HaveNamesInEveryForm)
{
    EXPECT_EQ(L"a b.pdf", name_of_disposition("filename=\"a b.pdf\""));
    EXPECT_EQ(L"\u00DCbersicht.pdf", name_of_disposition("filename*=utf-8''%C3%9Cbersicht.pdf"));
    EXPECT_EQ(L"\u00DCbersicht 2024.pdf",
              name_of_disposition("filename*0*=iso-8859-1'de'%DCbersicht; filename*1=\" 2024.pdf\""));
    EXPECT_EQ(L"\u0414\u0434\u0430.pdf", name_of_disposition("filename=\"=?koi8-r?B?5MTBLnBkZg==?=\""));
    EXPECT_EQ(L"\u00DC.pdf", name_of_disposition("filename=\"\xC3\x9C.pdf\""));
}

TEST(Attachments, ThatTheHtmlShowsAreHidden)
{
    const auto message = read(R"(Content-Type: multipart/related; boundary=b

--b
Content-Type: text/html

<img src="cid:one@x">
--b
Content-Type: image/png
Content-ID: <one@x>

png
--b
Content-Type: image/png
Content-ID: <two@x>

png
--b--
)");
    ASSERT_EQ(2U, message.attachments.size());
    EXPECT_EQ(L"one@x", wide(attachment(message, 0), PR_ATTACH_CONTENT_ID_W));
    EXPECT_EQ(1, number(attachment(message, 0), PR_ATTACHMENT_HIDDEN));
    EXPECT_EQ(nullptr, attachment(message, 1).find(PROP_ID(PR_ATTACHMENT_HIDDEN))); // otherwise never displayed
}

/// Returns true if the only image of a message with this HTML is hidden.
bool is_hidden(const std::string& html, const std::string& id)
{
    const auto message = read("Content-Type: multipart/related; boundary=b\n\n--b\nContent-Type: text/html\n\n" + html +
                              "\n--b\nContent-Type: image/png\nContent-ID: <" + id + ">\n\npng\n--b--\n");
    return number(attachment(message, 0), PR_ATTACHMENT_HIDDEN) == 1;
}

TEST(Attachments, AreShownByAnAddressInAnyForm)
{
    for (const char* html :
         {"<img src=\"cid:a@x\">", "<img src='cid:a@x'>", "<img src=cid:a@x>", "<img src=cid:a@x />",
          "<p style=\"background: url(cid:a@x)\">", "<p style=\"background: url(&quot;cid:a@x&quot;)\">",
          "cid:b <img src=\"cid:cid:\"> <img src=\"cid:a@x\">", "<img src=\"cid:a@x"}) {
        EXPECT_TRUE(is_hidden(html, "a@x")) << html;
    }
    EXPECT_TRUE(is_hidden("<img src=\"cid:a(1) &b@x\">", "a(1) &b@x"));
    for (const char* html : {"<img src=\"cid:a@x1\">", "<img src=\"a@x\">", "<img src=\"cid:\">", "cid:"}) {
        EXPECT_FALSE(is_hidden(html, "a@x")) << html;
    }
}

TEST(Attachments, ThatAreMessagesKeepTheirParts)
{
    const auto message = read(R"(Content-Type: multipart/mixed; boundary=b

--b

outer
--b
Content-Type: message/rfc822

Subject: inner
From: a@example.com
Message-ID: <inner@example.com>
Content-Type: multipart/mixed; boundary=c

--c

inner body
--c
Content-Type: application/zip; name=a.zip

PK
--c--

--b--
)");
    ASSERT_EQ(1U, message.attachments.size());
    EXPECT_EQ(std::int64_t{ATTACH_EMBEDDED_MSG}, number(attachment(message, 0), PR_ATTACH_METHOD));
    EXPECT_EQ(L"inner", wide(attachment(message, 0), PR_DISPLAY_NAME_W));
    EXPECT_EQ(L"message/rfc822", wide(attachment(message, 0), PR_ATTACH_MIME_TAG_W));
    const auto inner = message.attachments.at(0).embedded;
    ASSERT_NE(nullptr, inner);
    EXPECT_EQ(L"inner body", wide(*inner, PR_BODY_W));
    EXPECT_EQ(L"<inner@example.com>", wide(*inner, PR_INTERNET_MESSAGE_ID_W));
    EXPECT_EQ(nullptr, inner->properties->find(PROP_ID(PR_ENTRYID)));
    ASSERT_EQ(1U, inner->attachments.size());
    EXPECT_EQ("PK", binary(attachment(*inner, 0), PR_ATTACH_DATA_BIN));
}

TEST(Attachments, NestOnlySoDeep)
{
    std::string text = "Subject: innermost\n\nx\n";
    for (int i = 0; i < 100; ++i) {
        text = "Subject: level\nContent-Type: message/rfc822\n\n" + text;
    }
    const auto message = read(text);
    const message_record* level = &message;
    int depth = 0;
    while (!level->attachments.empty() && level->attachments.at(0).embedded) {
        level = level->attachments.at(0).embedded.get();
        ++depth;
    }
    EXPECT_EQ(deepest_embedded - 1, depth);
    ASSERT_EQ(1U, level->attachments.size());
    // Deeper levels are kept unchanged, so that they are scanned as a file.
    EXPECT_NE(std::string::npos, binary(attachment(*level, 0), PR_ATTACH_DATA_BIN).find("innermost"));
}

TEST(Attachments, ThatAreMessagesTooDeepAreKeptToTheirLastByte)
{
    std::string text =
        "Subject: innermost\nContent-Type: application/zip; name=a.zip\n\nPK" + std::string(3, '\0') + "end\n";
    for (int i = 0; i < deepest_embedded; ++i) {
        text = "Content-Type: message/rfc822\n\n" + text;
    }
    const auto message = read("Subject: outer\n" + text);
    const message_record* level = &message;
    while (level->attachments.at(0).embedded) {
        level = level->attachments.at(0).embedded.get();
    }
    EXPECT_EQ(
        crlf("Subject: innermost\nContent-Type: application/zip; name=a.zip\n\nPK" + std::string(3, '\0') + "end\n"),
        binary(attachment(*level, 0), PR_ATTACH_DATA_BIN));
}

TEST(Attachments, WithADamagedEncodingKeepWhatCanBeRead)
{
    const auto message = read("Content-Type: application/zip\nContent-Transfer-Encoding: base64\n\nUEsh!!!\n");
    EXPECT_EQ("PK!", binary(attachment(message, 0), PR_ATTACH_DATA_BIN).substr(0, 3));
}

TEST(Attachments, DecodeEveryTransferEncoding)
{
    const auto data = [](const std::string& encoding, const std::string& body) {
        const auto message =
            read("Content-Type: application/zip\nContent-Transfer-Encoding: " + encoding + "\n\n" + body);
        return binary(attachment(message, 0), PR_ATTACH_DATA_BIN);
    };
    EXPECT_EQ("a=b", data("quoted-printable", "a=3Db"));
    EXPECT_EQ("Cat", data("x-uuencode", "begin 644 cat.txt\n#0V%T\n`\nend\n"));
    EXPECT_EQ("\xFF\x01", data("binary", "\xFF\x01"));
    EXPECT_EQ("raw", data("no-such-encoding", "raw"));
}

TEST(Attachments, ThatAreLargeAreDecodedWhole)
{
    std::string encoded;
    for (int i = 0; i < 10000; ++i) {
        encoded += "QUJDREVGR0hJSktMTU5PUFFSU1RVVldYWVphYmNkZWZnaGlqa2xtbm9wcXJzdHV2\n"; // 48 bytes per line
    }
    const auto message = read("Content-Type: application/zip\nContent-Transfer-Encoding: base64\n\n" + encoded);
    const std::string data = binary(attachment(message, 0), PR_ATTACH_DATA_BIN);
    ASSERT_EQ(480000U, data.size());
    EXPECT_EQ("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuv", data.substr(479952));
}

TEST(MultipartStructures, ThatAreBrokenAreReadAsFarAsTheyGo)
{
    const auto message = read(R"(Content-Type: multipart/mixed; boundary=b

--b

first
--b
Content-Type: application/zip; name=a.zip

cut)");
    EXPECT_EQ(L"first", wide(message, PR_BODY_W));
    ASSERT_EQ(1U, message.attachments.size());
    EXPECT_EQ("cut", binary(attachment(message, 0), PR_ATTACH_DATA_BIN));
}

TEST(MultipartStructures, WithoutAnyPartAreKeptAsAFile)
{
    for (const char* type :
         {"multipart/mixed", "multipart/mixed; boundary=y", "multipart/alternative; boundary=\"\""}) {
        const auto message = read("Content-Type: " + std::string(type) + "\n\n--x\n\nhidden\n");
        ASSERT_EQ(1U, message.attachments.size()) << type;
        EXPECT_EQ(std::int64_t{ATTACH_BY_VALUE}, number(attachment(message, 0), PR_ATTACH_METHOD));
        EXPECT_NE(std::string::npos, binary(attachment(message, 0), PR_ATTACH_DATA_BIN).find("hidden")) << type;
    }
    EXPECT_TRUE(read("Content-Type: multipart/mixed; boundary=x\n\n--x--\n").attachments.empty());
    EXPECT_TRUE(read("Content-Type: multipart/mixed; boundary=x\n\n\n").attachments.empty());
}

/// Returns a message of `depth` nested multiparts with a file in the innermost one.
std::string nested_multiparts(int depth)
{
    std::string text = "Subject: x\n";
    for (int i = 0; i < depth; ++i) {
        const std::string mark = std::to_string(i);
        text += "Content-Type: multipart/mixed; boundary=b" + mark + "\n\n--b" + mark + "\n";
    }
    return text + "Content-Type: application/zip; name=deep.zip\n\nend\n";
}

TEST(MultipartStructures, MayNestWithoutBoundAndLoseNothing)
{
    const auto flat = read(nested_multiparts(64));
    EXPECT_EQ(L"deep.zip", wide(attachment(flat, 0), PR_ATTACH_LONG_FILENAME_W));
    for (const int depth : {65, 1000, 5000}) {
        const auto message = read(nested_multiparts(depth));
        ASSERT_EQ(1U, message.attachments.size()) << depth;
        EXPECT_EQ(L"multipart/mixed", wide(attachment(message, 0), PR_ATTACH_MIME_TAG_W));
        EXPECT_NE(std::string::npos, binary(attachment(message, 0), PR_ATTACH_DATA_BIN).find("name=deep.zip")) << depth;
    }
}

constexpr std::string_view calendar =
    "BEGIN:VCALENDAR\r\nMETHOD:REQUEST\r\nBEGIN:VEVENT\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";

TEST(Calendars, MakeAMeetingOfTheMessage)
{
    const auto message = read(R"(Subject: Concrete
Content-Type: multipart/alternative; boundary=b

--b

When: Monday
--b
Content-Type: text/calendar; method=REQUEST

BEGIN:VCALENDAR
END:VCALENDAR
--b--
)");
    EXPECT_EQ(L"IPM.Schedule.Meeting.Request", wide(message, PR_MESSAGE_CLASS_W));
    EXPECT_EQ(item_kind::meeting, kind_of_class(wide(message, PR_MESSAGE_CLASS_W)));
    EXPECT_EQ(L"When: Monday", wide(message, PR_BODY_W));
    ASSERT_EQ(1U, message.attachments.size()); // the calendar is checked like any other attachment
    EXPECT_EQ(L"text/calendar", wide(attachment(message, 0), PR_ATTACH_MIME_TAG_W));
}

TEST(Calendars, TellTheClassByTheirMethod)
{
    EXPECT_EQ(L"IPM.Schedule.Meeting.Request", calendar_class(calendar, ""));
    EXPECT_EQ(L"IPM.Schedule.Meeting.Request", calendar_class("", "request"));
    EXPECT_EQ(L"IPM.Schedule.Meeting.Canceled", calendar_class(calendar, "CANCEL"));
    EXPECT_EQ(L"IPM.Schedule.Meeting.Resp.Pos", calendar_class("ATTENDEE;PARTSTAT=ACCEPTED:x", "REPLY"));
    EXPECT_EQ(L"IPM.Schedule.Meeting.Resp.Neg", calendar_class("ATTENDEE;PARTSTAT=DECLINED:x", "REPLY"));
    EXPECT_EQ(L"IPM.Schedule.Meeting.Resp.Tent", calendar_class("ATTENDEE;PARTSTAT=TENTATIVE:x", "REPLY"));
    EXPECT_EQ(L"IPM.Task", calendar_class("BEGIN:VTODO\n", "REQUEST"));
    EXPECT_EQ(L"", calendar_class("BEGIN:VEVENT\nMETHOD:PUBLISH\n", ""));
    EXPECT_EQ(L"", calendar_class("", ""));
}

TEST(Calendars, ThatAreAttachedChangeNothing)
{
    const auto message = read("Content-Type: text/calendar; method=REQUEST\nContent-Disposition: attachment\n\nx\n");
    EXPECT_EQ(L"IPM.Note", wide(message, PR_MESSAGE_CLASS_W));
}

TEST(SignedMessages, ShowTheirBodyAndKeepTheSignature)
{
    const auto message = read(R"(Content-Type: multipart/signed; protocol="application/pkcs7-signature"; boundary=b

--b

I confirm.
--b
Content-Type: application/pkcs7-signature; name=smime.p7s
Content-Transfer-Encoding: base64

AAAA
--b--
)");
    EXPECT_EQ(L"IPM.Note.SMIME.MultipartSigned", wide(message, PR_MESSAGE_CLASS_W));
    EXPECT_EQ(L"I confirm.", wide(message, PR_BODY_W));
    EXPECT_EQ(L"smime.p7s", wide(attachment(message, 0), PR_ATTACH_LONG_FILENAME_W));
}

TEST(ShortNames, HaveEightAndThreeCharacters)
{
    EXPECT_EQ(L"", short_name(L""));
    EXPECT_EQ(L"plan.pdf", short_name(L"plan.pdf"));
    EXPECT_EQ(L"README", short_name(L"README"));
    EXPECT_EQ(L"LONGFI~1.HTM", short_name(L"long file name.html"));
    EXPECT_EQ(L"______~1.PDF", short_name(L"\u0414\u043E\u0433\u043E\u0432\u043E\u0440.pdf"));
    EXPECT_EQ(L"ATARGZ~1", short_name(L"a.tar.gz.").substr(0, 8));
    EXPECT_EQ(L".gz", extension_of(L"a.tar.gz"));
    EXPECT_EQ(L"", extension_of(L"README"));
}

TEST(MessageParts, ReadANameInARowOfPaddedWordsToItsEnd)
{
    const auto message =
        read("MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=x\n\n--x\n"
             "Content-Type: application/pdf\n"
             "Content-Disposition: attachment;\n filename=\"=?utf-8?B?w4Q=?=\n =?utf-8?B?w7wucGRm?=\"\n"
             "\ncontents\n--x--\n");
    EXPECT_EQ(L"\u00C4\u00FC.pdf", wide(attachment(message, 0), PR_ATTACH_LONG_FILENAME_W));
}

} // namespace
} // namespace host::test
