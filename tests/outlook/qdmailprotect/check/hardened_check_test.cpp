// The check with the switch HardenedScanning. What the check does without it is tested beside this file.

#include "tests/outlook/qdmailprotect/check/hardened_fixture.h"
#include "tool/icap/response_message.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using test::reply_with;
using test::reply_without_contents;
using test::verdict_property;
using names = std::vector<std::string>;

class hardened_check : public test::hardened_fixture
{};

// --- the switch

TEST_F(hardened_check, marks_its_scans_only_with_the_registry_value)
{
    for (const std::uint32_t value : {0U, 1U, 4294967295U}) {
        harden(value);
        EXPECT_EQ(log.contains("Additions params - HardenedScanning = " + std::to_string(value)), value != 0);
        const auto message = another_message();
        message->attach(0, L"a.txt", "data");
        pool->scans.clear();
        EXPECT_EQ(check(*message), S_OK);
        EXPECT_EQ(scans().size(), 2U);
        for (const auto& scan : scans()) {
            EXPECT_EQ(scan.parameters.hardened, value != 0);
        }
    }
}

TEST_F(hardened_check, takes_an_unreadable_switch_for_an_absent_one)
{
    registry.set_bytes(winapi::registry_names::environment_key, winapi::registry_names::hardened_scanning,
                       std::vector<unsigned char>(8, 1));
    log.clear();
    checker.Init(true, 1, "p", "u");
    EXPECT_FALSE(log.contains("HardenedScanning"));
    const auto message = new_message();
    EXPECT_EQ(check(*message), S_OK);
    ASSERT_EQ(scans().size(), 1U);
    EXPECT_FALSE(scans()[0].parameters.hardened);
}

// --- failed exchanges

TEST_F(hardened_check, remembers_nothing_of_a_body_without_a_verdict)
{
    const auto message = new_message();
    message->attach(0, L"a.txt", "data");
    answer(ScanResult::None);
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(scans().size(), 2U) << "the attachment is scanned all the same";
    expect_untouched(*message);
}

TEST_F(hardened_check, remembers_nothing_if_one_attachment_is_without_a_verdict)
{
    const auto message = new_message();
    message->attach(0, L"a.txt", "data");
    message->attach(1, L"b.txt", "data");
    answer(ScanResult::Clean);
    answer(ScanResult::None);
    EXPECT_EQ(open(*message), S_OK);
    expect_untouched(*message);
}

TEST_F(hardened_check, remembers_nothing_if_the_connection_breaks_at_an_attachment)
{
    const auto message = new_message();
    message->attach(0, L"a.txt", "data");
    answer(ScanResult::Clean);
    fail_next_scan();
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(link->calls.back(), "BreakConnection");
    expect_untouched(*message);
}

TEST_F(hardened_check, remembers_nothing_if_the_connection_is_gone_before_an_attachment)
{
    const auto message = new_message();
    message->attach(0, L"a.txt", "data");
    store.watch([this](const std::string& operation) {
        if (operation.find("OpenAttach") != std::string::npos) {
            link->pool.reset();
        }
    });
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_TRUE(log.contains("No connection to ICAP server"));
    store.watch({});
    expect_untouched(*message);
}

TEST_F(hardened_check, remembers_nothing_if_part_of_an_attached_message_is_without_a_verdict)
{
    for (const bool is_body : {true, false}) {
        SCOPED_TRACE(is_body);
        const auto message = another_message();
        message->attach_message(0, L"Inner", L"inner text");
        answer(ScanResult::Clean);
        answer(is_body ? ScanResult::None : ScanResult::Clean);
        answer(is_body ? ScanResult::Clean : ScanResult::None);
        EXPECT_EQ(open(*message), S_OK);
        expect_untouched(*message);
    }
}

TEST_F(hardened_check, condemns_whatever_exchange_fails_beside_it)
{
    const auto message = new_message();
    message->attach(0, L"a.txt", "data");
    message->attach(1, L"b.txt", "data");
    answer(ScanResult::None);
    answer(ScanResult::Blocked, reply_with("<p>gone</p>"));
    answer(ScanResult::None);
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_FALSE(block_display);
    EXPECT_EQ(message->value(verdict_property), "2");
    EXPECT_EQ(message->attachments(), (names{"1 b.txt", "2 a.txt.htm"}));
}

TEST_F(hardened_check, takes_no_skipped_object_for_a_failed_exchange)
{
    link->settings->SizeLimit = {20, 20, true};
    const auto message = new_message();
    message->attach(0, L"empty.txt", "");
    message->attach(1, L"large.txt", std::string(100, 'x'));
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(scans().size(), 1U);
    EXPECT_EQ(verdict, ScanResult::Clean);
    EXPECT_EQ(message->value(verdict_property), "1");
}

// --- disinfection

TEST_F(hardened_check, shows_a_message_that_was_disinfected)
{
    const auto message = new_message();
    message->attach(0, L"a.txt", "data");
    answer(ScanResult::Blocked, reply_with("<p>page</p>"));
    answer(ScanResult::Blocked, reply_with("<p>gone</p>"));
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_FALSE(block_display);
    EXPECT_EQ(message->value(verdict_property), "2");
    EXPECT_EQ(message->value(PR_HTML), std::string("<p>page</p>") + '\0');
}

TEST_F(hardened_check, keeps_the_connection_and_blocks_the_display_if_disinfection_raises)
{
    const auto message = new_message();
    answer(ScanResult::Blocked, reply_with("<p>page</p>"));
    disinfector->raises = true;
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(disinfector->calls, 1);
    EXPECT_EQ(link->pool, pool);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_TRUE(block_display);
    EXPECT_EQ(message->value(verdict_property), std::nullopt);
    EXPECT_TRUE(log.contains("Failed to disinfect the message: scripted failure"));
    block_display = false;
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_TRUE(block_display) << "also the second time";
}

TEST_F(hardened_check, blocks_the_display_of_an_attachment_that_cannot_be_deleted)
{
    const auto message = new_message();
    message->attach(0, L"a.txt", "data");
    message->attach(1, L"b.txt", "data");
    answer(ScanResult::Clean);
    answer(ScanResult::Blocked, reply_with("<p>gone</p>"));
    answer(ScanResult::Blocked, reply_with("<p>gone</p>"));
    store.fail("message.DeleteAttach 0", MAPI_E_NO_ACCESS); // the second one succeeds
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(message->attachments(), (names{"0 a.txt", "2 b.txt.htm"}));
    expect_blocked(*message);
}

TEST_F(hardened_check, blocks_the_display_of_a_body_that_cannot_be_replaced)
{
    const auto message = new_message();
    message->attach(0, L"a.txt", "data");
    answer(ScanResult::Blocked, reply_with("<p>page</p>"));
    answer(ScanResult::Blocked, reply_with("<p>gone</p>"));
    store.fail("message.OpenProperty 10130102", MAPI_E_NO_ACCESS);
    EXPECT_EQ(open(*message), S_OK);
    expect_blocked(*message);
}

TEST_F(hardened_check, blocks_the_display_of_a_body_that_was_condemned_without_a_page)
{
    const auto message = new_message();
    answer(ScanResult::Blocked, reply_without_contents());
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(message->value(PR_BODY_A), "plain text");
    expect_blocked(*message);
}

TEST_F(hardened_check, blocks_the_first_display_of_an_encrypted_message_with_a_condemned_attachment)
{
    const auto message = new_message();
    message->attach(0, L"a.txt", "data");
    const auto base = encrypt(*message);
    answer(ScanResult::Clean);
    answer(ScanResult::Blocked, reply_with("<p>gone</p>"));
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_TRUE(block_display);
    EXPECT_TRUE(log.contains("Message encrypted, block its first display"));
    EXPECT_EQ(base->value(PR_HTML), std::string("<p>gone</p>") + '\0');
    EXPECT_EQ(base->value(test::verdict_tag(store)), "2");
    message->close();
}

TEST_F(hardened_check, keeps_an_encrypted_message_blocked_whose_base_is_not_saved)
{
    const auto message = new_message();
    const auto base = encrypt(*message);
    answer(ScanResult::Blocked, reply_with("<p>page</p>"));
    store.fail("base.SaveChanges", MAPI_E_NO_ACCESS);
    EXPECT_EQ(open(*message), S_OK);
    EXPECT_EQ(base->value(test::verdict_tag(store)), std::nullopt);
    expect_blocked(*message);
    message->close();
}

} // namespace
