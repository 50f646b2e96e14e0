#include "desk/report/mail_frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace host::test {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using testing::Not;

class MailFrame : public testing::Test
{
protected:
    mail_frame of_page(const std::string& page)
    {
        message.html = bytes_of(page);
        return make_mail_frame(message, limits);
    }
    mail_frame of_text(const std::string& text)
    {
        message.body = bytes_of(text);
        message.body_type = 1;
        return make_mail_frame(message, limits);
    }
    void attach(const std::string& id, const std::string& type, const std::string& data)
    {
        attachment_snapshot entry;
        entry.number = static_cast<std::uint32_t>(message.attachments.size());
        entry.content_id = id;
        entry.mime_tag = type;
        entry.data = bytes_of(data);
        message.attachments.push_back(entry);
    }
    /// Returns the document without its constant beginning.
    static std::string contents(const mail_frame& frame)
    {
        return frame.document.substr(frame.document.rfind("</style>") + 8);
    }

    message_snapshot message;
    frame_limits limits;
};

TEST_F(MailFrame, IsEmptyWithoutABody)
{
    const mail_frame frame = make_mail_frame(message);
    EXPECT_EQ(mail_frame::body_kind::none, frame.kind);
    EXPECT_EQ("", frame.document);
}

TEST_F(MailFrame, BeginsWithAPolicyThatBlocksEverything)
{
    constexpr const char* policy =
        "<!DOCTYPE html><meta charset=utf-8><meta http-equiv=Content-Security-Policy content=\"default-src 'none'; "
        "img-src data:; style-src 'unsafe-inline'; base-uri 'none'; form-action 'none'\">";
    EXPECT_TRUE(of_page("<p>a").document.starts_with(policy));
    EXPECT_TRUE(of_text("a").document.starts_with(policy));
    EXPECT_THAT(of_page("<p>a").document, HasSubstr("<base target=_blank>"));
}

TEST_F(MailFrame, ShowsTheTextWhereItIsTheOriginal)
{
    message.html = bytes_of("<p>page");
    EXPECT_EQ("<pre>a &lt;b&gt;\n</pre>", contents(of_text("a <b>\r\n")));
    message.body_type = 3;
    EXPECT_EQ("<p>page", contents(make_mail_frame(message)));
    message.html = nullptr;
    EXPECT_EQ(mail_frame::body_kind::text, make_mail_frame(message).kind);
}

TEST_F(MailFrame, ReplacesElementsThatConnectRegardlessOfAPolicy)
{
    EXPECT_EQ("<basefont rel=preconnect xref=//a>", contents(of_page("<link rel=preconnect href=//a>")));
    EXPECT_EQ("<basefont http-equiv=refresh>", contents(of_page("<mEtA http-equiv=refresh>")));
    EXPECT_EQ("<basefont xref=//a><!--<basefont-->", contents(of_page("<BASE href=//a><!--<link-->")));
    EXPECT_EQ("<basefont color=red><main><lin", contents(of_page("<BASEFONT color=red><main><lin")));
}

TEST_F(MailFrame, ReplacesElementsThatContainDocuments)
{
    EXPECT_EQ("<basefont src=a></iframe><basefont><basefont><basefont>b</object><basefont><basefont>",
              contents(of_page("<iframe src=a></iframe><FRAMESET><frame><object>b</object><embed><applet>")));
}

TEST_F(MailFrame, HasNoLinks)
{
    EXPECT_EQ("<a xref=http://a.example>a</a><area xREF = 'b'><a xlink:xref\n=c>href</a><a href>",
              contents(of_page("<a href=http://a.example>a</a><area HREF = 'b'><a xlink:href\n=c>href</a><a href>")));
    EXPECT_EQ("<svg><a><basefont attributeName=xlink:href to=a><basefont>",
              contents(of_page("<svg><a><set attributeName=xlink:href to=a><animate>")));
}

TEST_F(MailFrame, ContainsTheImagesOfTheMail)
{
    attach("a@b", "image/PNG", "abc");
    const mail_frame frame =
        of_page("<img src=\"cid:a@b\"><img src=CID:a@b><p style=\"background:url('cid:a@b')\">cid:a@b xcid:");
    EXPECT_EQ("<img src=\"data:image/png;base64,YWJj\"><img src=data:image/png;base64,YWJj>"
              "<p style=\"background:url('data:image/png;base64,YWJj')\">cid:a@b xcid:",
              contents(frame));
    EXPECT_EQ(0U, frame.missing_images);
}

TEST_F(MailFrame, CountsImagesThatItLacks)
{
    limits.image = 4;
    limits.images = 7;
    attach("small", "image/png", "abcd");
    attach("large", "image/png", "abcde");
    attach("page", "text/html", "abc");
    attach("odd", "image/\"><script>", "abc");
    attach("embedded", "image/png", "");
    message.attachments.back().data = nullptr;
    const mail_frame frame =
        of_page("<img src='cid:small'><img src='cid:large'><img src='cid:page'><img src='cid:odd'>"
                "<img src='cid:embedded'><img src='cid:'><img src='cid:none'><img src='cid:small'>");
    EXPECT_EQ(7U, frame.missing_images);
    EXPECT_THAT(contents(frame), HasSubstr("<img src='data:image/png;base64,YWJjZA=='><img src='data:,'>"));
    EXPECT_THAT(contents(frame), Not(HasSubstr("script")));
}

TEST_F(MailFrame, CountsWhatItBlocks)
{
    EXPECT_EQ("1 image", of_page("<img src=http://a.example/i>").blocked.words());
    EXPECT_EQ("", of_text("<img src=http://a.example/i>").blocked.words());
}

TEST_F(MailFrame, IsCut)
{
    limits.body = 3;
    const mail_frame frame = of_page("abcdef");
    EXPECT_EQ("abc", contents(frame));
    EXPECT_EQ(3U, frame.shown);
    EXPECT_EQ(6U, frame.size);
}

TEST_F(MailFrame, ConvertsThePageToUtf8)
{
    message.html_page = 1251;
    EXPECT_EQ("Иван", contents(of_page("\xC8\xE2\xE0\xED")));
    message.html_page = 65001;
    EXPECT_EQ("Иван", contents(of_page("Иван")));
    message.html_page = 99999; // no such code page
    EXPECT_EQ("Ivan", contents(of_page("Ivan")));
}

TEST_F(MailFrame, EndsAheadOfTheNullCharacterOfAPage)
{
    EXPECT_EQ("<p>a\0b"s, contents(of_page("<p>a\0b\0"s)));
}

} // namespace
} // namespace host::test
