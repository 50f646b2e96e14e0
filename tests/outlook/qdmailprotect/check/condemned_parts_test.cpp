// Messages of which the scanner condemns a part, with a page, without one, or with one that cannot be read.

#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tool/icap/response_message.h"
#include "tool/web/io_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace {

using texts = std::vector<std::string>;

/// A body whose first 4096 bytes can be read and the others cannot.
class torn_body final : public web::io_data
{
public:
    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override
    {
        if (offset != 0) {
            throw std::runtime_error("scripted failure");
        }
        const std::uint64_t given = std::min<std::uint64_t>(count, 4096);
        std::fill_n(static_cast<char*>(destination), given, 'x');
        return given;
    }
    std::uint64_t write(std::uint64_t, const void*, std::uint64_t) override { return 0; }
    std::uint64_t append(const void*, std::uint64_t) override { return 0; }
    void swap(web::io_data&) override {}
    void size(std::uint64_t) override {}
    [[nodiscard]] std::uint64_t size() override { return 8192; }
};

std::shared_ptr<icap::response_message> unreadable_reply()
{
    auto reply = test::reply_with("<p>gone</p>");
    reply->response().set_body(std::make_unique<torn_body>());
    return reply;
}

class condemned_parts : public test::checker_fixture
{
protected:
    HRESULT check_attachments() { return probe.CheckAttachments(message->reference(), "mail tag", records); }
    /// Expects one record with the result, no notice and a dropped connection.
    void expect_result_without_notice(ScanResult result)
    {
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records[0].scanResult, result);
        EXPECT_EQ(records[0].noticeHtml, "");
        EXPECT_EQ(leveled(log).back(),
                  "400    Attachment checked, hr = 0x8000ffff, result: " + std::to_string(static_cast<int>(result)));
        EXPECT_EQ(link->calls, (texts{"BreakConnection"}));
    }
    void TearDown() override
    {
        message.reset();
        checker_fixture::TearDown();
    }

    std::unique_ptr<test::stored_message> message = new_message();
    std::vector<AttachmentResult> records;
};

TEST_F(condemned_parts, are_disinfected_once_where_the_body_has_no_page)
{
    message->attach(0, L"a.txt", "data");
    answer(ScanResult::Blocked);
    answer(ScanResult::Blocked, test::reply_with("<p>gone</p>"));
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(disinfector->calls, 1) << "because of the attachment";
    EXPECT_EQ(disinfector->body.scanResult, ScanResult::Blocked);
    ASSERT_EQ(disinfector->attachments.size(), 1U);
    EXPECT_EQ(disinfector->attachments[0].scanResult, ScanResult::Blocked);
    EXPECT_FALSE(log.contains("Message body should be disinfected"));
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_FALSE(block_display);
}

TEST_F(condemned_parts, are_disinfected_once_where_both_have_a_page)
{
    message->attach(0, L"a.txt", "data");
    answer(ScanResult::Blocked, test::reply_with("<p>body</p>"));
    answer(ScanResult::Blocked, test::reply_with("<p>gone</p>"));
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(disinfector->calls, 1);
    EXPECT_TRUE(log.contains("Message body should be disinfected"));
}

TEST_F(condemned_parts, keep_their_result_where_the_notice_of_a_file_cannot_be_read)
{
    message->attach(0, L"a.txt", "data");
    answer(ScanResult::Blocked, unreadable_reply());
    EXPECT_EQ(check_attachments(), S_OK);
    expect_result_without_notice(ScanResult::Blocked);
}

TEST_F(condemned_parts, keep_their_result_where_the_page_of_an_attached_messages_body_cannot_be_read)
{
    message->attach_message(0, L"inner", L"inner text");
    answer(ScanResult::Blocked, unreadable_reply());
    EXPECT_EQ(check_attachments(), S_OK);
    EXPECT_EQ(scans().size(), 1U);
    expect_result_without_notice(ScanResult::Blocked);
}

TEST_F(condemned_parts, keep_their_result_where_the_notice_of_an_attached_message_cannot_be_read)
{
    message->attach_message(0, L"inner", L"inner text");
    answer(ScanResult::Clean);
    answer(ScanResult::Blocked, unreadable_reply());
    EXPECT_EQ(check_attachments(), S_OK);
    EXPECT_EQ(scans().size(), 2U);
    expect_result_without_notice(ScanResult::Blocked);
}

TEST_F(condemned_parts, are_disinfected_without_a_notice_where_it_cannot_be_read)
{
    message->attach(0, L"a.txt", "data");
    answer(ScanResult::Clean);
    answer(ScanResult::Blocked, unreadable_reply());
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    ASSERT_EQ(disinfector->attachments.size(), 1U);
    EXPECT_EQ(disinfector->attachments[0].scanResult, ScanResult::Blocked);
    EXPECT_EQ(disinfector->attachments[0].noticeHtml, "");
    EXPECT_EQ(message->value(test::verdict_tag(store)), "2");
}

} // namespace
