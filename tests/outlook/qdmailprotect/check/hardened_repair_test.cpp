// The check with the switch HardenedScanning: repaired contents. What the check does without it is tested beside this
// file.

#include "tests/outlook/qdmailprotect/check/hardened_fixture.h"
#include "tool/icap/response_message.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using test::reply_with;
using test::reply_with_request;
using test::reply_without_contents;
using test::verdict_property;
using names = std::vector<std::string>;

class hardened_repair : public test::hardened_fixture
{};

TEST_F(hardened_repair, writes_repaired_contents_and_saves_the_message_once)
{
    const auto message = new_message();
    message->attach(0, L"a.txt", "infected data");
    message->attach(1, L"b.txt", "b");
    answer(ScanResult::Repaired, reply_with_request("healed text"));
    answer(ScanResult::Repaired, reply_with("data"));
    answer(ScanResult::Repaired, reply_with_request(std::string(10000, 'x')));
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Repaired);
    EXPECT_FALSE(block_display);
    EXPECT_EQ(message->value(PR_BODY_A), "healed text");
    EXPECT_EQ(message->value(0, PR_ATTACH_DATA_BIN), "data");
    EXPECT_EQ(message->value(1, PR_ATTACH_DATA_BIN), std::string(10000, 'x'));
    EXPECT_EQ(message->attachments(), (names{"0 a.txt", "1 b.txt"}));
    EXPECT_EQ(message->value(verdict_property), "3");
    EXPECT_EQ(store.calls("message.SaveChanges"), (names{"message.SaveChanges 2"})) << "it remains writable";
}

TEST_F(hardened_repair, writes_a_repaired_html_body)
{
    const auto message = new_message();
    message->set_number(PR_NATIVE_BODY_INFO, 3);
    message->set_bytes(PR_HTML, "<p>infected</p>");
    answer(ScanResult::Repaired, reply_with("<p>healed</p>"));
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(message->value(PR_HTML), "<p>healed</p>");
}

TEST_F(hardened_repair, condemns_an_attachment_whose_repair_the_store_refuses)
{
    const struct
    {
        const char* operation;
        std::size_t nth;
    } steps[]{{"message.OpenAttach 0", 2},
              {"attach0.OpenProperty 37010102 IStream 2 1", 1},
              {"attach0.37010102.QueryInterface", 2},
              {"attach0.37010102.Write", 1},
              {"attach0.37010102.SetSize", 1},
              {"attach0.37010102.Commit", 1},
              {"attach0.SaveChanges", 1},
              {"message.SaveChanges 2", 1}};
    for (const auto& step : steps) {
        SCOPED_TRACE(step.operation);
        const auto message = another_message();
        message->attach(0, L"a.doc", "infected data");
        answer(ScanResult::Clean);
        answer(ScanResult::Repaired, reply_with_request("healed"));
        store.clear();
        store.fail_nth(step.nth, MAPI_E_NO_ACCESS, step.operation);
        EXPECT_EQ(open(*message), S_OK);
        EXPECT_EQ(verdict, ScanResult::Blocked);
        EXPECT_FALSE(block_display);
        EXPECT_EQ(message->value(verdict_property), "2");
        ASSERT_EQ(message->attachments(), (names{"1 a.doc.htm"}));
        EXPECT_EQ(message->value(1, PR_ATTACH_DATA_BIN),
                  "<html><head><meta charset=\"utf-8\"></head><body><p>[Morvelane Ostrand 10.1] Malicious or other "
                  "object is detected. The e-mail is modified.</p></body></html>");
    }
}

TEST_F(hardened_repair, condemns_an_attachment_whose_repair_is_missing)
{
    const auto message = new_message();
    message->attach(0, L"a.doc", "infected data");
    answer(ScanResult::Clean);
    answer(ScanResult::Repaired, reply_without_contents());
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_EQ(message->attachments(), (names{"1 a.doc.htm"}));
}

TEST_F(hardened_repair, blocks_the_display_of_a_body_whose_repair_the_store_refuses)
{
    const auto message = new_message();
    answer(ScanResult::Repaired, reply_with_request("healed"));
    store.fail("message.1000001e.Write", MAPI_E_NO_ACCESS);
    EXPECT_EQ(open(*message), S_OK);
    expect_blocked(*message);
}

TEST_F(hardened_repair, condemns_an_attached_message_that_was_repaired)
{
    for (const bool is_body : {true, false}) {
        SCOPED_TRACE(is_body);
        const auto message = another_message();
        message->attach_message(0, L"Inner", L"inner text");
        const auto repaired = reply_with_request("healed");
        answer(ScanResult::Clean);
        answer(is_body ? ScanResult::Repaired : ScanResult::Clean, is_body ? repaired : nullptr);
        answer(is_body ? ScanResult::Clean : ScanResult::Repaired, is_body ? nullptr : repaired);
        EXPECT_EQ(open(*message), S_OK);
        EXPECT_EQ(verdict, ScanResult::Blocked);
        ASSERT_EQ(message->attachments().size(), 1U);
        EXPECT_EQ(message->attachments().front().substr(0, 2), "1 ");
        EXPECT_EQ(message->value(1, PR_ATTACH_MIME_TAG_W), "text/html");
    }
}

TEST_F(hardened_repair, condemns_a_repaired_attachment_of_an_encrypted_message)
{
    const auto message = new_message();
    message->attach(0, L"a.doc", "infected data");
    const auto base = encrypt(*message);
    answer(ScanResult::Clean);
    answer(ScanResult::Repaired, reply_with_request("healed"));
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_TRUE(block_display);
    EXPECT_EQ(message->value(0, PR_ATTACH_DATA_BIN), "infected data");
    EXPECT_EQ(message->saves, 0);
    message->close();
}

TEST_F(hardened_repair, without_the_switch_leaves_repairs_and_failures_as_they_are)
{
    harden(0);
    const auto message = new_message();
    message->attach(0, L"a.doc", "infected data");
    answer(ScanResult::Clean);
    answer(ScanResult::Repaired, reply_with_request("healed"));
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Clean);
    EXPECT_EQ(message->value(0, PR_ATTACH_DATA_BIN), "infected data");
    EXPECT_EQ(message->saves, 0);
    const auto another = another_message();
    another->attach(0, L"a.doc", "data");
    answer(ScanResult::Clean);
    answer(ScanResult::None);
    EXPECT_EQ(open(*another), S_OK);
    EXPECT_EQ(verdict, ScanResult::Clean);
    EXPECT_EQ(another->value(verdict_property), "1");
}

} // namespace
