#include "mail/mime/reading/encoded_words.h"
#include "tests/mail/mime/mime_fixture.h"

namespace host::test {
namespace {

TEST(MailHeaders, BecomeProperties)
{
    const auto message = read(R"(Received: from a by b; Mon, 11 Mar 2024 15:42:12 +0000
Received: from c by a; Mon, 11 Mar 2024 15:42:11 +0000
From: "Tomasz Wilk" <t.wilk@brattmark.example.com>
To: Anna Lindqvist <anna@brattmark.example.com>, site@brattmark.example.com
Cc: Ngozi <ngozi@example.org>
Subject: Re: Week 11
Date: Mon, 11 Mar 2024 16:42:10 +0100
Message-ID: <4A1F@brattmark.example.com>
In-Reply-To: <4A1E@brattmark.example.com>
Importance: High

Hello.
)");
    EXPECT_EQ(L"Tomasz Wilk", wide(message, PR_SENDER_NAME_W));
    EXPECT_EQ(L"t.wilk@brattmark.example.com", wide(message, PR_SENDER_EMAIL_ADDRESS_W));
    EXPECT_EQ(L"Re: Week 11", wide(message, PR_SUBJECT_W));
    EXPECT_EQ(L"Week 11", wide(message, tag::normalized_subject));
    EXPECT_EQ(L"<4A1F@brattmark.example.com>", wide(message, PR_INTERNET_MESSAGE_ID_W));
    EXPECT_EQ(L"<4A1E@brattmark.example.com>", wide(message, tag::in_reply_to));
    EXPECT_EQ(L"Anna Lindqvist; site@brattmark.example.com", wide(message, PR_DISPLAY_TO_W));
    EXPECT_EQ(L"Ngozi", wide(message, PR_DISPLAY_CC_W));
    EXPECT_EQ(2, number(message, tag::importance));
    EXPECT_EQ(L"IPM.Note", wide(message, PR_MESSAGE_CLASS_W));
    // 2024-03-11 15:42:12 UTC, from the newest Received line; sent two seconds before.
    EXPECT_EQ(133546453320000000, number(message, PR_MESSAGE_DELIVERY_TIME));
    EXPECT_EQ(133546453300000000, number(message, PR_CLIENT_SUBMIT_TIME));
    ASSERT_EQ(3U, message.recipients.size());
    EXPECT_EQ(std::int64_t{MAPI_TO}, number(*message.recipients[1], PR_RECIPIENT_TYPE));
    EXPECT_EQ(L"site@brattmark.example.com", wide(*message.recipients[1], PR_EMAIL_ADDRESS_W));
    EXPECT_EQ(std::int64_t{MAPI_CC}, number(*message.recipients[2], PR_RECIPIENT_TYPE));
    EXPECT_TRUE(wide(message, PR_TRANSPORT_MESSAGE_HEADERS_W).find(L"Importance: High") != std::wstring::npos);
}

TEST(MailHeaders, ThatAreMissingLeaveNoProperty)
{
    const auto message = read("To: a@example.com\n\nbattery low\n");
    for (const std::uint32_t tag :
         {std::uint32_t{PR_SENDER_NAME_W}, std::uint32_t{PR_SUBJECT_W}, std::uint32_t{PR_INTERNET_MESSAGE_ID_W},
          std::uint32_t{PR_MESSAGE_DELIVERY_TIME}, std::uint32_t{PR_CLIENT_SUBMIT_TIME}, tag::in_reply_to}) {
        EXPECT_EQ(nullptr, message.properties->find(PROP_ID(tag))) << std::hex << tag;
    }
    EXPECT_EQ(L"battery low\r\n", wide(message, PR_BODY_W));
}

TEST(MailHeaders, NameTheSenderApartFromTheAuthor)
{
    const auto message = read("From: Author <a@example.com>\nSender: Office <o@example.com>\n\nx\n");
    EXPECT_EQ(L"Office", wide(message, PR_SENDER_NAME_W));
    EXPECT_EQ(L"Author", wide(message, PR_SENT_REPRESENTING_NAME_W));
}

TEST(MailHeaders, GiveTheAddressWhereNoNameIsTold)
{
    EXPECT_EQ(L"a@example.com", wide(read("From: a@example.com\n\nx\n"), PR_SENDER_NAME_W));
}

TEST(MailHeaders, AreDecodedFromEncodedWords)
{
    const auto message =
        read("From: =?koi8-r?B?5cvB1MXSyc7B?= <e@example.org>\n"
             "Subject: =?utf-8?Q?Gr=C3=BC=C3=9Fe?= =?utf-8?B?IGF1cw==?= =?iso-8859-1?Q?_K=F6ln?=\n\nx\n");
    EXPECT_EQ(L"\u0415\u043A\u0430\u0442\u0435\u0440\u0438\u043D\u0430", wide(message, PR_SENDER_NAME_W));
    EXPECT_EQ(L"Gr\u00FC\u00DFe aus K\u00F6ln", wide(message, PR_SUBJECT_W));
}

TEST(MailHeaders, MayHoldRawBytesOfOldAndNewSets)
{
    EXPECT_EQ(L"Gr\u00FC\u00DFe", wide(read("Subject: Gr\xC3\xBC\xC3\x9F"
                                            "e\n\nx\n"),
                                       PR_SUBJECT_W));
    EXPECT_EQ(L"S\u00F6der", wide(read("Subject: S\xF6"
                                       "der\n\nx\n"),
                                  PR_SUBJECT_W));
}

TEST(MailHeaders, WithADamagedDateLeaveNoTime)
{
    const auto message = read("Date: Thirtyfirst of Foo\nSubject: x\n\nx\n");
    EXPECT_EQ(nullptr, message.properties->find(PROP_ID(PR_CLIENT_SUBMIT_TIME)));
    EXPECT_EQ(nullptr, message.properties->find(PROP_ID(PR_MESSAGE_DELIVERY_TIME)));
}

TEST(MailHeaders, KeepTheContentTypeUnderItsName)
{
    const auto message = read("Subject: x\nContent-Type: application/pkcs7-mime; smime-type=enveloped-data;\n"
                              "  name=smime.p7m\nContent-Transfer-Encoding: base64\n\nAAAA\n");
    const std::uint32_t id = message.store->names.id_of({PS_INTERNET_HEADERS, L"content-type"}, false);
    ASSERT_NE(0U, id);
    const std::wstring told = wide(message, PROP_TAG(PT_UNICODE, id));
    EXPECT_TRUE(told.find(L"smime-type=enveloped-data") != std::wstring::npos);
    EXPECT_EQ(std::wstring::npos, told.find(L'\n'));
    EXPECT_EQ(L"IPM.Note.SMIME", wide(message, PR_MESSAGE_CLASS_W));
}

TEST(MailHeaders, WithoutAContentTypeLeaveTheNameUnset)
{
    const auto message = read("Subject: x\n\nx\n");
    const std::uint32_t id = message.store->names.id_of({PS_INTERNET_HEADERS, L"content-type"}, false);
    EXPECT_TRUE(id == 0 || !message.properties->find(id));
}

TEST(EntryIdentifier, FollowsFromPlaceAndContents)
{
    const auto id = [](std::string_view text, const std::string& origin) {
        return binary(read(text, origin), PR_ENTRYID);
    };
    const std::string first = id("Subject: a\n\nx\n", "one.eml");
    EXPECT_EQ(32U, first.size());
    EXPECT_EQ(first, id("Subject: a\n\nx\n", "one.eml"));
    EXPECT_NE(first, id("Subject: a\n\nx\n", "two.eml"));
    EXPECT_NE(first, id("Subject: a\n\ny\n", "one.eml"));
}

TEST(EntryIdentifier, OfALongMessageSeesBothEnds)
{
    const auto id = [](char first, char last) {
        std::string text = "Subject: a\r\n\r\n" + std::string(3U << 20U, 'x');
        text[14] = first;
        text.back() = last;
        return binary(read_message(bytes_of(text), "long", std::make_shared<store_context>()), PR_ENTRYID);
    };
    const std::string base = id('a', 'b');
    EXPECT_EQ(base, id('a', 'b'));
    EXPECT_NE(base, id('c', 'b'));
    EXPECT_NE(base, id('a', 'c'));
}

class Unreadable : public testing::TestWithParam<std::string>
{};

TEST_P(Unreadable, IsRefusedWithAReason)
{
    try {
        read_message(bytes_of(GetParam()), "test", std::make_shared<store_context>());
        FAIL() << "was taken for a message";
    } catch (const unreadable_message& problem) {
        EXPECT_STRNE("", problem.what());
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, Unreadable,
                         testing::Values(std::string(), std::string("\r\n\r\n"), std::string("just some words\r\n"),
                                         std::string("words\r\n\r\nSubject: late\r\n"),
                                         std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16), std::string(4096, '\0'),
                                         std::string("S\0u\0b\0j\0e\0c\0t\0:\0", 16)));

TEST(Readable, IsWhatHasOneHeaderBehindBlankOrEnvelopeLines)
{
    EXPECT_EQ(L"a", wide(read("From someone Mon Mar 11 16:42:10 2024\nSubject: a\n\nx\n"), PR_SUBJECT_W));
    EXPECT_NO_THROW(read("Sub\x93ject: damaged\nFrom: a@example.com\n\nx\n"));
    EXPECT_NO_THROW(read("Subject:\n"));
    EXPECT_NO_THROW(read("X : y\n\n"));
}

TEST(MailHeaders, ReadARowOfPaddedWordsToItsEnd)
{
    const auto message = read("Subject: =?utf-8?B?w7w=?=\n =?UTF-8?b?w7w=?= =?utf-8?B?eA==?= and =?utf-8?B?w7w=?=\n"
                              "From: =?utf-8?B?w4Q=?=\n =?utf-8?B?w7w=?= <a@b>\n"
                              "To: =?utf-8?B?w4Q=?= =?utf-8?B?w7w=?= <c@d>, =?utf-8?B?w7w=?= <e@f>\n\ntext\n");
    EXPECT_EQ(L"\u00FC\u00FCx and \u00FC", wide(message, PR_SUBJECT_W));
    EXPECT_EQ(L"\u00C4\u00FC", wide(message, PR_SENDER_NAME_W));
    EXPECT_EQ(L"\u00C4\u00FC; \u00FC", wide(message, PR_DISPLAY_TO_W));
    EXPECT_NE(std::wstring::npos, wide(message, PR_TRANSPORT_MESSAGE_HEADERS_W).find(L"=?UTF-8?b?w7w=?="));
}

TEST(MailHeaders, ReadANameThatIsFolded)
{
    const auto message = read("From: \"The  Board\n\tof Directors\" <a@b>\n\ntext\n");
    EXPECT_EQ(L"The  Board of Directors", wide(message, PR_SENDER_NAME_W));
}

TEST(MailHeaders, FullOfBeginningsOfWordsAreReadInOneSweep)
{
    std::string text;
    for (int i = 0; i < 100000; ++i) {
        text += "=?a?B?x";
    }
    EXPECT_EQ(text, join_encoded_words(text));
    EXPECT_EQ(text + " ?=", join_encoded_words(text + " ?="));
    EXPECT_EQ("=?a?B?x y?= =?a?B?eA==?=", join_encoded_words("=?a?B?x y?= =?a?B?eA==?="));
    EXPECT_EQ("=?a?B?eHk=?=", join_encoded_words("=?a?B?eA==?= =?A?b?eQ==?="));
}

TEST(MailHeaders, ReadACharacterThatIsCutBetweenTwoWords)
{
    const auto message = read("Subject: =?utf-8?B?4oI=?= =?utf-8?B?rA==?=\n\ntext\n");
    EXPECT_EQ(L"\u20AC", wide(message, PR_SUBJECT_W));
}

} // namespace
} // namespace host::test
