// What a check asks of the store and of the scanner in detail: flags, code pages, numbers.

#include "outlook/qdmailprotect/check/mail_checker.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <gtest/gtest.h>

namespace {

using value = host::property_value;
using texts = std::vector<std::string>;

/// A look-up that fails after it has written a number.
class spoiling_session final : public SessionLookup
{
public:
    [[nodiscard]] std::uint32_t CurrentProcess() const override { return 4711; }
    std::uint32_t FindSession(std::uint32_t, std::uint32_t& session) const override
    {
        session = 3;
        return 87;
    }
};

class requests_of_a_check : public test::checker_fixture
{
protected:
    HRESULT check_attachments() { return probe.CheckAttachments(message->reference(), "mail tag", records); }
    void TearDown() override
    {
        message.reset();
        checker_fixture::TearDown();
    }

    std::unique_ptr<test::stored_message> message = new_message();
    std::vector<AttachmentResult> records;
};

TEST_F(requests_of_a_check, contain_no_session_number_of_a_look_up_that_fails)
{
    const spoiling_session spoiling;
    MailChecker another({link, converter->platform(), disinfector, &clock, &spoiling});
    another.Init(false, 1234, "p", "u");
    EXPECT_EQ(another.CheckMessage(false, true, item_of(*message)->reference(), verdict, block_display), S_OK);
    ASSERT_EQ(scans().size(), 1U);
    EXPECT_EQ(scans()[0].parameters.session_id, 0xFFFFFFFFU);
    EXPECT_TRUE(log.contains("ProcessIdToSessionId() failed: error=0x57"));
    EXPECT_TRUE(log.contains("Session ID = 4294967295"));
}

TEST_F(requests_of_a_check, contain_the_mail_tag_in_utf_8)
{
    const std::wstring subject = L"Gr\x00FC\x00DF\x65 \x4F60";
    message->set_text(PR_SUBJECT_W, subject);
    message->attach(0, L"a.txt", "data");
    message->attach_message(1, subject, L"inner text");
    EXPECT_EQ(check(*message), S_OK);
    const std::string in_utf8 = "[Subject:" + winapi::conv_to_char(subject, winapi::code_page_utf8) + "]";
    ASSERT_EQ(scans().size(), 4U) << "the body, the file, the attached message's body, the attached message";
    for (const test::scan_record& scan : scans()) {
        EXPECT_NE(scan.parameters.subject.find(in_utf8), std::string::npos) << scan.parameters.subject;
    }
}

TEST_F(requests_of_a_check, contain_the_mime_tag_in_the_ansi_code_page)
{
    host::attachment_record file = test::file_attachment(L"a.txt", "data");
    file.properties->set(PR_ATTACH_MIME_TAG_W, value::of_text(L"text/caf\x00E9"));
    message->attach(0, std::move(file));
    EXPECT_EQ(check_attachments(), S_OK);
    ASSERT_EQ(scans().size(), 1U);
    EXPECT_EQ(scans()[0].parameters.mime_type, winapi::conv_to_char(L"text/caf\x00E9", winapi::code_page_ansi));
}

TEST_F(requests_of_a_check, query_a_hundred_rows_of_the_table_without_advancing_it)
{
    message->attach(4, L"a.txt", "data");
    EXPECT_EQ(check_attachments(), S_OK);
    EXPECT_EQ(store.calls("message.GetAttachmentTable"), (texts{"message.GetAttachmentTable 0"}));
    EXPECT_EQ(store.calls("message.table."), (texts{"message.table.QueryRows 100 1"})) << "and set no columns";
    EXPECT_EQ(store.calls("message.OpenAttach"), (texts{"message.OpenAttach 4 null 0"}));
}

TEST_F(requests_of_a_check, follow_the_order_of_the_table)
{
    const auto row = [](std::uint32_t number) {
        return test::table_row{{PR_ATTACH_NUM, value::of_long(number)},
                               {PR_ATTACH_METHOD, value::of_long(ATTACH_BY_VALUE)}};
    };
    message->attach(0, L"a.txt", "first");
    message->attach(1, L"b.txt", "second");
    store.give_rows({row(1), row(0)});
    EXPECT_EQ(check_attachments(), S_OK);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].attachNumber, 1U);
    EXPECT_EQ(records[1].attachNumber, 0U);
    EXPECT_EQ(scans()[0].data, "second");
}

TEST_F(requests_of_a_check, skip_by_method_before_size)
{
    message->attach(0, L"a.txt", "data");
    message->never_scanned(0);
    store.claim_size("attach0", 20971521);
    EXPECT_EQ(check_attachments(), S_OK);
    EXPECT_EQ(leveled(log).back(), "400    Skipped by attach method");
    EXPECT_FALSE(log.contains("Skipped by size"));
    EXPECT_TRUE(records.empty());
}

TEST_F(requests_of_a_check, save_a_mime_sheets_message_without_flags)
{
    std::shared_ptr<icap::response_message> response;
    EXPECT_EQ(probe.CheckMessageAsMimeSheet(true, message->reference(), verdict, response), S_OK);
    EXPECT_EQ(store.calls("message.SaveChanges"), (texts{"message.SaveChanges 0"}));
}

} // namespace
