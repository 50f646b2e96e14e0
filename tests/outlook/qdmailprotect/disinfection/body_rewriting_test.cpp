#include "outlook/qdmailprotect/disinfection/body_rewriting.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tests/outlook/qdmailprotect/support/stored_message.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <boost/archive/iterators/dataflow_exception.hpp>
#include <gtest/gtest.h>

namespace {

using texts = std::vector<std::string>;

/// Texts that differ from the built-in ones.
class other_texts final : public StringResources
{
public:
    std::map<std::uint32_t, std::wstring> texts;
    [[nodiscard]] std::wstring Load(std::uint32_t id) const override
    {
        const auto found = texts.find(id);
        return found == texts.end() ? std::wstring() : found->second;
    }
};

class body_rewriting : public ::testing::Test
{
protected:
    body_rewriting()
    {
        body.bodyType = 3;
        body.subject = "Old subject";
        body.scanResult = ScanResult::Blocked;
        body.scanResponse = test::reply_with("<p>gone</p>");
    }
    void TearDown() override
    {
        EXPECT_EQ(message.saves, 0) << "the message itself is never saved";
        message.close();
        EXPECT_EQ(store.alive, 0) << "a reference was not released";
    }

    bool modify() { return ModifyMailBody(message.reference(), body, attachments, *EnglishTexts()); }

    test::scripted_store store;
    test::stored_message message{store};
    test::log_capture log;
    MailBodyInfo body;
    std::vector<AttachmentResult> attachments;
};

TEST_F(body_rewriting, takes_every_step_in_its_order)
{
    body.plainBody = "Old text";
    body.scanResponse = test::reply_with("<img src=\"data:image/png;base64,QUJD\">");
    EXPECT_TRUE(modify());
    EXPECT_EQ(store.calls(), (texts{
                                 "message.DeleteProps 1000001f",
                                 "message.OpenProperty 10130102 IStream 1 1",
                                 "message.10130102.QueryInterface IStream",
                                 "message.SetProps 10160003=3",
                                 "message.SetProps 3fde0003=65001",
                                 "message.CreateAttach null 0",
                                 "attach0.SetProps 0e210003=0",
                                 "attach0.SetProps 37050003=1",
                                 "attach0.SetProps 370b0003=4294967295",
                                 "attach0.SetProps 3704001f=qdimg0001.png",
                                 "attach0.SetProps 3707001f=qdimg0001.png",
                                 "attach0.SetProps 3001001f=qdimg0001.png",
                                 "attach0.SetProps 3712001f=qdimg0001.png@51444D41494C.5A52544D3130",
                                 "attach0.SetProps 7ffe000b=true",
                                 "attach0.SetProps 7ffd0003=8",
                                 "attach0.SetProps 370e001f=image/png",
                                 "attach0.OpenProperty 37010102 IStream 0 3",
                                 "attach0.37010102.QueryInterface IStream",
                                 "attach0.37010102.Write 3",
                                 "attach0.37010102.Commit 0",
                                 "attach0.SaveChanges 0",
                                 "message.10130102.Seek 0 0",
                                 "message.10130102.Write 56",
                                 "message.10130102.SetSize 56",
                                 "message.CreateAttach null 0",
                                 "attach1.SetProps 0e210003=1",
                                 "attach1.SetProps 37050003=1",
                                 "attach1.SetProps 370e001f=text/plain",
                                 "attach1.OpenProperty 37010102 IStream 0 3",
                                 "attach1.37010102.QueryInterface IStream",
                                 "attach1.37010102.Write 41",
                                 "attach1.37010102.Commit 0",
                                 "attach1.SetProps 370b0003=4294967295",
                                 "attach1.SetProps 3704001f=original_body.txt",
                                 "attach1.SetProps 3707001f=original_body.txt",
                                 "attach1.SetProps 3001001f=original_body.txt",
                                 "attach1.SaveChanges 0",
                             }));
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Modifying mail body (type 3)",
                                      "500 Deleted the plain body: 0x0",
                                      "200 Getting new HTML body from ICAP scanner",
                                      "400 Adding a binary attach - 'qdimg0001.png', size: 3, hidden",
                                      "500 Saving the binary attach changes...",
                                      "400 Binary attach added, result: 0x0",
                                      "400 Adding a text attach - 'original_body.txt', MIME tag: text/plain",
                                      "500 Saving the text attach changes...",
                                      "500 Modified the body data",
                                  }));
    EXPECT_EQ(message.value(PR_HTML), std::string("<img src=\"cid:qdimg0001.png@51444D41494C.5A52544D3130\">") + '\0');
}

TEST_F(body_rewriting, leaves_an_html_message_without_a_plain_body)
{
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.value(PR_BODY_W), std::nullopt);
    EXPECT_EQ(message.value(PR_HTML), std::string("<p>gone</p>") + '\0') << "nothing of the longer old body stays";
    EXPECT_EQ(message.value(PR_NATIVE_BODY_INFO), "3");
    EXPECT_EQ(message.value(PR_INTERNET_CPID), "65001");
    EXPECT_EQ(message.value(PR_SUBJECT_W), "Old subject") << "the subject is the caller's";
    EXPECT_EQ(message.attachments(), texts{}) << "there was no plain text to keep";
}

TEST_F(body_rewriting, writes_one_byte_more_than_the_page_has)
{
    const std::string page(10000, 'p');
    body.scanResponse = test::reply_with(page);
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.value(PR_HTML), page + '\0');
}

TEST_F(body_rewriting, takes_the_page_of_an_answer_that_holds_a_request)
{
    body.scanResponse = test::reply_with_request("<p>changed</p>");
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.value(PR_HTML), std::string("<p>changed</p>") + '\0');
}

TEST_F(body_rewriting, opens_the_html_of_rtf_and_html_bodies_as_it_is)
{
    for (const std::uint32_t type : {2U, 3U}) {
        store.clear();
        body.bodyType = type;
        EXPECT_TRUE(modify());
        EXPECT_EQ(store.calls("message.OpenProperty"), (texts{"message.OpenProperty 10130102 IStream 1 1"}));
    }
}

TEST_F(body_rewriting, creates_the_html_of_other_bodies_at_once)
{
    for (const std::uint32_t type : {0U, 1U, 4U}) {
        store.clear();
        log.clear();
        body.bodyType = type;
        EXPECT_TRUE(modify());
        EXPECT_EQ(store.calls("message.OpenProperty"), (texts{"message.OpenProperty 10130102 IStream 1 3"}));
        EXPECT_EQ(message.value(PR_NATIVE_BODY_INFO), "3");
        EXPECT_EQ(test::leveled(log).front(), "400 Modifying mail body (type " + std::to_string(type) + ")");
    }
}

TEST_F(body_rewriting, makes_a_plain_message_an_html_message)
{
    message.remove(PR_HTML);
    body.bodyType = 1;
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.value(PR_HTML), std::string("<p>gone</p>") + '\0');
    EXPECT_EQ(message.value(PR_NATIVE_BODY_INFO), "3");
}

TEST_F(body_rewriting, creates_html_that_is_missing)
{
    message.remove(PR_HTML);
    EXPECT_TRUE(modify());
    EXPECT_EQ(store.calls("message.OpenProperty"),
              (texts{"message.OpenProperty 10130102 IStream 1 1", "message.OpenProperty 10130102 IStream 1 3"}));
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Modifying mail body (type 3)",
                                      "500 Deleted the plain body: 0x0",
                                      "200 Failed to open HTML body for modification: 0x8004010f",
                                      "200 Trying to create a new HTML body",
                                      "200 Getting new HTML body from ICAP scanner",
                                      "500 Modified the body data",
                                  }));
    EXPECT_EQ(message.value(PR_HTML), std::string("<p>gone</p>") + '\0');
}

TEST_F(body_rewriting, gives_up_where_missing_html_cannot_be_created)
{
    store.fail("message.OpenProperty 10130102 IStream 1 1", MAPI_E_NOT_FOUND);
    store.fail("message.OpenProperty 10130102 IStream 1 3", MAPI_E_NO_ACCESS);
    EXPECT_FALSE(modify());
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Modifying mail body (type 3)",
                                      "500 Deleted the plain body: 0x0",
                                      "200 Failed to open HTML body for modification: 0x8004010f",
                                      "200 Trying to create a new HTML body",
                                      "200 Failed to create a new HTML body: 0x80070005",
                                      "200 Failed to open mail body",
                                  }));
    EXPECT_EQ(message.value(PR_BODY_W), std::nullopt) << "deleted by then";
    EXPECT_EQ(message.value(PR_HTML), "<p>Old and long body</p>");
    EXPECT_EQ(message.value(PR_NATIVE_BODY_INFO), "1");
}

TEST_F(body_rewriting, does_not_create_html_after_any_other_failure)
{
    store.fail("message.OpenProperty", MAPI_E_NO_ACCESS);
    EXPECT_FALSE(modify());
    EXPECT_EQ(store.calls("message.OpenProperty").size(), 1U);
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Modifying mail body (type 3)",
                                      "500 Deleted the plain body: 0x0",
                                      "200 Failed to open HTML body for modification: 0x80070005",
                                      "200 Failed to open mail body",
                                  }));
}

TEST_F(body_rewriting, gives_up_where_a_plain_message_gets_no_html)
{
    body.bodyType = 1;
    store.fail("message.OpenProperty", MAPI_E_NO_ACCESS);
    EXPECT_FALSE(modify());
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Modifying mail body (type 1)",
                                      "500 Deleted the plain body: 0x0",
                                      "200 Failed to create new HTML body: 0x80070005",
                                      "200 Failed to open mail body",
                                  }));
}

TEST_F(body_rewriting, gives_up_where_the_store_claims_success_without_an_object)
{
    store.fail("message.OpenProperty", S_OK);
    EXPECT_FALSE(modify());
    EXPECT_EQ(test::leveled(log).back(), "200 Failed to open mail body");
    EXPECT_EQ(test::leveled(log).size(), 3U);
}

TEST_F(body_rewriting, does_not_use_an_object_that_comes_with_a_failure)
{
    store.deny("message.OpenProperty", MAPI_E_NO_ACCESS);
    EXPECT_FALSE(modify());
    EXPECT_EQ(test::leveled(log).back(), "200 Failed to open mail body");
    EXPECT_TRUE(store.calls("message.10130102").empty());
}

TEST_F(body_rewriting, gives_up_without_a_stream)
{
    store.fail("message.10130102.QueryInterface", E_NOINTERFACE);
    EXPECT_FALSE(modify());
    EXPECT_EQ(test::leveled(log).back(), "200 Failed to open mail stream");
    EXPECT_EQ(message.value(PR_NATIVE_BODY_INFO), "1") << "nothing behind it is done";
}

TEST_F(body_rewriting, goes_on_where_the_plain_body_cannot_be_deleted)
{
    store.fail("message.DeleteProps", MAPI_E_NO_ACCESS);
    EXPECT_TRUE(modify());
    EXPECT_EQ(test::leveled(log)[1], "500 Deleted the plain body: 0x80070005");
    EXPECT_EQ(message.value(PR_BODY_W), "Old text");
    EXPECT_EQ(message.value(PR_HTML), std::string("<p>gone</p>") + '\0');
}

TEST_F(body_rewriting, goes_on_where_the_kind_of_body_cannot_be_set)
{
    store.fail("message.SetProps", MAPI_E_NO_ACCESS);
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.value(PR_HTML), std::string("<p>gone</p>") + '\0');
}

TEST_F(body_rewriting, fails_where_the_html_cannot_be_written_but_keeps_the_text)
{
    body.plainBody = "Old text";
    store.fail("message.10130102.Write", MAPI_E_NO_ACCESS);
    EXPECT_FALSE(modify());
    EXPECT_EQ(store.calls("message.10130102.SetSize"), (texts{"message.10130102.SetSize 0"}))
        << "as many bytes as were written";
    EXPECT_EQ(message.attachments(), (texts{"0 original_body.txt"}));
    EXPECT_EQ(test::leveled(log).back(), "500 Modified the body data");
}

TEST_F(body_rewriting, looks_only_at_the_write)
{
    store.fail("message.10130102.Seek", MAPI_E_NO_ACCESS);
    store.fail("message.10130102.SetSize", MAPI_E_NO_ACCESS);
    EXPECT_TRUE(modify());
    EXPECT_TRUE(store.calls("message.10130102.Commit").empty());
}

TEST_F(body_rewriting, of_a_sound_body_shows_the_notice_of_the_first_attachment)
{
    body.scanResult = ScanResult::Clean;
    attachments = {test::condemned_record(0, L"a", "<p>first</p>"), test::condemned_record(1, L"b", "<p>second</p>")};
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.value(PR_HTML), std::string("<p>first</p>") + '\0');
    EXPECT_EQ(test::leveled(log)[2], "200 Getting new HTML body from attachments");
}

TEST_F(body_rewriting, looks_at_the_first_attachment_whatever_its_result)
{
    body.scanResult = ScanResult::None;
    attachments = {{}, test::condemned_record(1, L"b", "<p>second</p>")};
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.value(PR_HTML), std::string(1, '\0'));
}

TEST_F(body_rewriting, of_a_condemned_body_does_not_look_at_the_attachments)
{
    attachments = {test::condemned_record(0, L"a", "<p>first</p>")};
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.value(PR_HTML), std::string("<p>gone</p>") + '\0');
    body.scanResponse.reset();
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.value(PR_HTML), std::string(1, '\0')) << "not even without an answer";
}

TEST_F(body_rewriting, without_any_page_writes_an_empty_body)
{
    body.scanResult = ScanResult::Clean;
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.value(PR_HTML), std::string(1, '\0'));
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Modifying mail body (type 3)",
                                      "500 Deleted the plain body: 0x0",
                                      "500 Modified the body data",
                                  }));
}

TEST_F(body_rewriting, keeps_the_old_text_headed_by_the_old_subject)
{
    body.plainBody = "Old text\r\nof two lines";
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.attachments(), (texts{"0 original_body.txt"}));
    EXPECT_EQ(message.value(0, PR_ATTACH_DATA_BIN),
              "Subject: Old subject\r\n\r\nBody:\r\n\r\nOld text\r\nof two lines");
    EXPECT_EQ(message.value(0, PR_ATTACH_MIME_TAG_W), "text/plain");
    EXPECT_EQ(message.value(0, PR_ATTACHMENT_HIDDEN), std::nullopt);
}

TEST_F(body_rewriting, words_the_old_text_in_the_ansi_code_page)
{
    other_texts russian;
    russian.texts = {{661, L"\x0422\x0435\x043A\x0441\x0442:"}, {662, L"\x0422\x0435\x043C\x0430:"}};
    body.plainBody = "\xE4\xE0";
    const std::uint32_t before = winapi::ansi_code_page(1251);
    EXPECT_TRUE(ModifyMailBody(message.reference(), body, attachments, russian));
    winapi::ansi_code_page(before);
    EXPECT_EQ(message.value(0, PR_ATTACH_DATA_BIN),
              "\xD2\xE5\xEC\xE0: Old subject\r\n\r\n\xD2\xE5\xEA\xF1\xF2:\r\n\r\n\xE4\xE0");
}

TEST_F(body_rewriting, tells_where_the_old_text_cannot_be_kept)
{
    body.plainBody = "Old text";
    store.fail("message.CreateAttach", MAPI_E_NO_ACCESS);
    EXPECT_TRUE(modify()) << "the new body is written all the same";
    const texts lines = test::leveled(log);
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 2], "200 Failed to attach plain body: 0x80004005");
    EXPECT_EQ(lines.back(), "500 Modified the body data");
}

TEST_F(body_rewriting, attaches_images_in_their_order_and_skips_rejected_ones)
{
    body.scanResponse = test::reply_with("<img src=\"data:a/1;base64,QUJD\"><img src=\"data:none\">" +
                                         std::string(60, ' ') + "<img src=\"data:a/3;base64,REVG\">");
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.attachments(), (texts{"0 qdimg0001.png", "1 qdimg0003.png"}));
    EXPECT_EQ(message.value(1, PR_ATTACH_DATA_BIN), "DEF");
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Modifying mail body (type 3)",
                                      "500 Deleted the plain body: 0x0",
                                      "200 Getting new HTML body from ICAP scanner",
                                      "400 Adding a binary attach - 'qdimg0001.png', size: 3, hidden",
                                      "500 Saving the binary attach changes...",
                                      "400 Binary attach added, result: 0x0",
                                      "200 Failed to create binary attach - no data (0, 0, 0)",
                                      "400 Binary attach added, result: 0x80070057",
                                      "400 Adding a binary attach - 'qdimg0003.png', size: 3, hidden",
                                      "500 Saving the binary attach changes...",
                                      "400 Binary attach added, result: 0x0",
                                      "500 Modified the body data",
                                  }));
}

TEST_F(body_rewriting, goes_on_where_an_image_cannot_be_attached)
{
    body.scanResponse = test::reply_with("<img src=\"data:a/1;base64,QUJD\"><img src=\"data:a/2;base64,REVG\">");
    store.fail("attach0.OpenProperty", MAPI_E_NO_ACCESS);
    EXPECT_TRUE(modify());
    EXPECT_EQ(message.attachments(), (texts{"1 qdimg0002.png"}));
    EXPECT_TRUE(log.contains("Binary attach added, result: 0x80004002"));
}

TEST_F(body_rewriting, lets_the_decoders_error_out_and_stores_no_image)
{
    body.plainBody = "Old text";
    body.scanResponse = test::reply_with("<img src=\"data:a/1;base64,QUJD\"><img src=\"data:a/2;base64,***\">");
    EXPECT_THROW(modify(), boost::archive::iterators::dataflow_exception);
    EXPECT_EQ(message.attachments(), texts{});
    EXPECT_EQ(message.value(PR_HTML), "<p>Old and long body</p>");
}

} // namespace
