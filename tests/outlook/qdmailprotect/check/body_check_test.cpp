#include "outlook/qdmailprotect/check/mail_checker.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tool/icap/response_message.h"

#include <gtest/gtest.h>

namespace {

using test::stored_message;
using texts = std::vector<std::string>;

class body_check : public test::checker_fixture
{
protected:
    HRESULT check_body() { return probe.CheckBody(message->reference(), "tag", "mail tag", body); }
    void TearDown() override
    {
        message.reset();
        checker_fixture::TearDown();
    }
    void native_type(std::uint32_t type) { message->set_number(PR_NATIVE_BODY_INFO, type); }
    [[nodiscard]] std::string sent() const { return scans().empty() ? "nothing" : scans().back().data; }
    /// Sets a plain body whose stream claims a size.
    void claim(std::uint64_t size)
    {
        message->set_bytes(PR_BODY_A, "claimed");
        store.claim_size("message.1000001e", size);
    }

    std::unique_ptr<stored_message> message = new_message();
    MailBodyInfo body;
};

TEST_F(body_check, of_no_message_is_refused)
{
    EXPECT_EQ(probe.CheckBody(nullptr, "tag", "mail tag", body), E_INVALIDARG);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(body_check, of_plain_text_tells_each_step)
{
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_EQ(leveled(log), (texts{
                                "400 Checking mail body",
                                "400 Getting a plain body, size: 10",
                                "400 Native body type: 1",
                                "400 Body size: 10 (0x0)",
                                "200 Error getting prop 0x3fde0003, err=0x8004010f",
                                "400 CPID: 0",
                                "400 Starting the body scan",
                                "500 lease",
                                "400 Session ID = 7",
                                "500 scan",
                            }));
    EXPECT_EQ(body.scanResult, ScanResult::Clean);
    EXPECT_EQ(body.bodyType, 1U);
    EXPECT_EQ(body.plainBody, "plain text");
    EXPECT_EQ(sent(), "plain text");
    EXPECT_EQ(scans()[0].parameters.subject, "mail tag");
    EXPECT_EQ(scans()[0].parameters.tag, "tag");
    EXPECT_EQ(scans()[0].parameters.mime_type, "text/html") << "also for plain text";
}

TEST_F(body_check, tells_the_code_page_and_does_not_send_it)
{
    message->set_number(PR_INTERNET_CPID, 65001);
    check_body();
    EXPECT_TRUE(log.contains("CPID: 65001"));
}

TEST_F(body_check, keeps_the_scanners_answer)
{
    const auto response = test::reply_with("<p>");
    answer(ScanResult::Blocked, response);
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_EQ(body.scanResult, ScanResult::Blocked);
    EXPECT_EQ(body.scanResponse, response);
}

TEST_F(body_check, of_html_sends_the_html)
{
    message->set_bytes(PR_HTML, "<p>html</p>");
    for (const std::uint32_t type : {2U, 3U}) {
        native_type(type);
        EXPECT_EQ(check_body(), S_OK);
        EXPECT_EQ(sent(), "<p>html</p>");
        EXPECT_EQ(body.bodyType, type);
        EXPECT_EQ(body.plainBody, "plain text") << "read although it isn't sent";
        body.plainBody.clear();
    }
    EXPECT_EQ(store.calls("message.OpenProperty 10130102"),
              (texts{"message.OpenProperty 10130102 IStream 0 0", "message.OpenProperty 10130102 IStream 0 0"}));
}

TEST_F(body_check, of_rtf_without_html_sends_the_plain_text)
{
    native_type(2);
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_EQ(sent(), "plain text");
    EXPECT_EQ(body.bodyType, 1U);
    EXPECT_TRUE(log.contains("Failed to open HTML body: 0x8004010f"));
}

TEST_F(body_check, of_plain_text_does_not_look_at_the_html)
{
    message->set_bytes(PR_HTML, "<p>html</p>");
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_EQ(sent(), "plain text");
    EXPECT_TRUE(store.calls("message.OpenProperty 10130102").empty());
}

TEST_F(body_check, takes_html_that_opens_as_nothing_for_absent)
{
    native_type(3);
    message->set_bytes(PR_HTML, "<p>html</p>");
    store.fail_nth(1, S_OK, "message.OpenProperty 10130102");
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_EQ(sent(), "plain text");
    EXPECT_EQ(body.bodyType, 1U);
    EXPECT_FALSE(log.contains("Failed to open HTML body"));
}

TEST_F(body_check, deduces_a_type_that_the_message_does_not_tell)
{
    for (const bool absent : {false, true}) {
        native_type(0);
        if (absent) {
            message->remove(PR_NATIVE_BODY_INFO);
        }
        message->set_bytes(PR_HTML, "<p>html</p>");
        log.clear();
        EXPECT_EQ(check_body(), S_OK);
        EXPECT_EQ(sent(), "<p>html</p>");
        const texts lines = test::leveled_without_reads(log);
        ASSERT_GE(lines.size(), 4U);
        EXPECT_EQ(lines[2], "400 Native body type: 0");
        EXPECT_EQ(lines[3], "400 Deduced body type: 3");
    }
    message->remove(PR_HTML);
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_EQ(body.bodyType, 1U);
    EXPECT_TRUE(log.contains("Deduced body type: 1"));
}

TEST_F(body_check, of_an_undefined_type_with_empty_html_sends_the_plain_text)
{
    native_type(0);
    message->set_bytes(PR_HTML, "");
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_TRUE(log.contains("Deduced body type: 1"));
    EXPECT_EQ(sent(), "plain text");
    EXPECT_EQ(body.bodyType, 1U);
    EXPECT_TRUE(store.calls("message.OpenProperty 10130102").empty());
}

TEST_F(body_check, of_an_undefined_type_tries_the_plain_text)
{
    native_type(0);
    store.answer(PR_BODY_A, PROP_TAG(PT_ERROR, PROP_ID(PR_BODY_A)), static_cast<ULONG>(E_ACCESSDENIED));
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_TRUE(log.contains("Deduced body type: 0"));
    EXPECT_EQ(sent(), "plain text");
    EXPECT_EQ(body.bodyType, 1U);
}

TEST_F(body_check, of_a_signed_type_sends_the_plain_text)
{
    native_type(4);
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_EQ(sent(), "plain text");
    EXPECT_EQ(body.bodyType, 1U);
}

TEST_F(body_check, of_a_message_without_a_body_has_nothing_to_check)
{
    native_type(3);
    message->remove(PR_BODY_A);
    EXPECT_EQ(check_body(), E_FAIL);
    EXPECT_EQ(body.bodyType, 3U);
    EXPECT_EQ(body.scanResult, ScanResult::None);
    EXPECT_EQ(leveled(log), (texts{
                                "400 Checking mail body",
                                "200 Failed to open plain body prop: 0x8004010f",
                                "400 Native body type: 3",
                                "200 Failed to open HTML body: 0x8004010f",
                                "200 Failed to open plain body: 0x8004010f",
                                "200 Nothing to check",
                            }));
}

TEST_F(body_check, of_plain_text_that_opens_as_nothing_has_nothing_to_check)
{
    native_type(3);
    store.fail_nth(2, S_OK, "message.OpenProperty 1000001e"); // the plain text reader uses the first
    EXPECT_EQ(check_body(), E_FAIL);
    EXPECT_EQ(body.bodyType, 1U) << "the property opened";
    EXPECT_EQ(leveled(log).back(), "200 Nothing to check");
}

TEST_F(body_check, does_not_use_html_that_comes_with_a_failure)
{
    native_type(3);
    message->set_bytes(PR_HTML, "<p>html</p>");
    store.deny("message.OpenProperty 10130102", E_ACCESSDENIED);
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_EQ(sent(), "plain text");
    EXPECT_EQ(body.bodyType, 1U);
    EXPECT_TRUE(log.contains("Failed to open HTML body: 0x80070005"));
}

TEST_F(body_check, does_not_use_plain_text_that_comes_with_a_failure)
{
    store.deny("message.OpenProperty 1000001e", E_ACCESSDENIED);
    EXPECT_EQ(check_body(), E_FAIL);
    EXPECT_EQ(sent(), "nothing");
    const texts lines = leveled(log);
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(texts(lines.end() - 2, lines.end()),
              (texts{"200 Failed to open plain body: 0x80070005", "200 Nothing to check"}));
}

TEST_F(body_check, of_what_is_no_stream_fails_silently)
{
    store.refuse_each_way("message.1000001e.QueryInterface IStream", E_NOINTERFACE, [&](HRESULT) {
        log.clear();
        EXPECT_EQ(check_body(), E_FAIL);
        EXPECT_EQ(leveled(log), (texts{"400 Checking mail body", "400 Native body type: 1"}));
    });
}

TEST_F(body_check, skips_an_empty_body)
{
    message->set_bytes(PR_BODY_A, "");
    for (const bool limited : {true, false}) {
        link->settings->UseSizeLimit = {limited, false, false};
        EXPECT_EQ(check_body(), S_OK);
        EXPECT_EQ(body.scanResult, ScanResult::None);
        const texts lines = leveled(log);
        ASSERT_GE(lines.size(), 2U);
        EXPECT_EQ(texts(lines.end() - 2, lines.end()), (texts{"400 Body size: 0 (0x0)", "400 Skipped body by size"}));
    }
    EXPECT_EQ(pool->queries, 0);
}

TEST_F(body_check, sends_a_body_of_the_limit_and_skips_one_byte_more)
{
    claim(20971520);
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_EQ(scans().size(), 1U);
    EXPECT_TRUE(log.contains("Body size: 20971520 (0x0)"));
    claim(20971521);
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_EQ(scans().size(), 1U);
    EXPECT_EQ(leveled(log).back(), "400 Skipped body by size");
}

TEST_F(body_check, compares_sizes_in_64_bits)
{
    claim(0x100000001);
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_TRUE(scans().empty());
    EXPECT_EQ(leveled(log).back(), "400 Skipped body by size");
}

TEST_F(body_check, without_a_limit_skips_nothing)
{
    link->settings->UseSizeLimit = {true, false, true};
    claim(20971521);
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_EQ(scans().size(), 1U);
}

TEST_F(body_check, obeys_a_limit_that_is_set)
{
    link->settings->SizeLimit = {20971520, 9, true};
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_TRUE(scans().empty());
    link->settings->SizeLimit = {20971520, 10, true};
    EXPECT_EQ(check_body(), S_OK);
    EXPECT_EQ(scans().size(), 1U);
}

TEST_F(body_check, tells_why_a_size_is_unknown)
{
    store.fail_nth(2, E_ACCESSDENIED, "message.1000001e.Stat"); // the plain text reader uses the first
    EXPECT_EQ(check_body(), S_OK);
    const texts lines = leveled(log);
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(texts(lines.end() - 2, lines.end()),
              (texts{"400 Body size: 0 (0x80070005)", "400 Skipped body by size"}));
}

TEST_F(body_check, without_a_pool_fails)
{
    link->pool.reset();
    EXPECT_EQ(check_body(), E_FAIL);
    EXPECT_EQ(leveled(log).back(), "200 No connection to ICAP server");
    EXPECT_EQ(body.scanResult, ScanResult::None);
}

TEST_F(body_check, breaks_the_connection_when_a_request_raises)
{
    fail_next_scan();
    EXPECT_EQ(check_body(), E_UNEXPECTED);
    EXPECT_EQ(body.scanResult, ScanResult::None);
    EXPECT_EQ(link->calls, (texts{"BreakConnection"}));
    EXPECT_EQ(pool->releases, 1);
}

TEST_F(body_check, breaks_the_connection_when_no_session_can_be_had)
{
    pool->query_raises = true;
    EXPECT_EQ(check_body(), E_UNEXPECTED);
    EXPECT_EQ(link->calls, (texts{"BreakConnection"}));
    EXPECT_FALSE(log.contains("Session ID"));
}

TEST_F(body_check, breaks_the_connection_when_a_session_cannot_be_returned)
{
    pool->release_raises = true;
    answer(ScanResult::Blocked, test::reply_with("x"));
    EXPECT_EQ(check_body(), E_UNEXPECTED);
    EXPECT_EQ(body.scanResult, ScanResult::None);
    EXPECT_EQ(body.scanResponse, nullptr);
    EXPECT_EQ(link->calls, (texts{"BreakConnection"}));
}

TEST_F(body_check, breaks_the_connection_when_the_body_cannot_be_read)
{
    native_type(3);
    message->set_bytes(PR_HTML, "<p>");
    message->remove(PR_BODY_A);
    store.fail_nth(1, E_ACCESSDENIED, "message.10130102.Read");
    EXPECT_EQ(check_body(), E_UNEXPECTED);
    EXPECT_EQ(link->calls, (texts{"BreakConnection"}));
}

} // namespace
