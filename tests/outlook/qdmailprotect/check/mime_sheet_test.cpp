#include "outlook/qdmailprotect/check/mail_checker.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tool/icap/response_message.h"

#include <gtest/gtest.h>

namespace {

using test::stored_message;
using texts = std::vector<std::string>;

class mime_sheet : public test::checker_fixture
{
protected:
    HRESULT check_sheet(bool use_cache = false)
    {
        return probe.CheckMessageAsMimeSheet(use_cache, message->reference(), verdict, response);
    }
    void TearDown() override
    {
        message.reset();
        checker_fixture::TearDown();
    }

    std::unique_ptr<stored_message> message = new_message();
    std::shared_ptr<icap::response_message> response;
};

TEST_F(mime_sheet, without_the_cache_is_converted_and_scanned)
{
    clock.step = 25;
    const auto expected = test::reply_with("x");
    answer(ScanResult::Repaired, expected);
    EXPECT_EQ(check_sheet(), S_OK);
    EXPECT_EQ(verdict, ScanResult::Repaired);
    EXPECT_EQ(response, expected);
    EXPECT_EQ(test::leveled_without_reads(log), (texts{
                                                    "500 Checking message as MIME sheet",
                                                    "500 Message ID: 00AB0F",
                                                    "500 Internet Message ID: <id@host>",
                                                    "400 Message conversion: starting",
                                                    "400 Message conversion: finished (25ms)",
                                                    "500 lease",
                                                    "400 Session ID = 7",
                                                    "500 Message subject: [From:Ada][Subject:Hello][Time:]",
                                                    "500 scan",
                                                }));
    EXPECT_TRUE(store.calls("message.GetIDsFromNames").empty());
    EXPECT_TRUE(store.calls("message.SaveChanges").empty());
}

TEST_F(mime_sheet, fills_the_request)
{
    EXPECT_EQ(check_sheet(), S_OK);
    ASSERT_EQ(scans().size(), 1U);
    const auto& scan = scans()[0].parameters;
    EXPECT_EQ(scan.user_name, "S-1-5-21-1");
    EXPECT_EQ(scan.session_id, 7U);
    EXPECT_EQ(scan.process_name, "C:\\client.exe");
    EXPECT_EQ(scan.process_id, 1234U);
    EXPECT_EQ(scan.subject, "[From:Ada][Subject:Hello][Time:]");
    EXPECT_EQ(scan.tag, "<id@host>");
    EXPECT_EQ(scan.mime_type, "text/html");
    EXPECT_EQ(scan.type, icap::client::content_type::attachment);
    EXPECT_EQ(scan.attach_name, "");
    EXPECT_EQ(scan.timeout, 60000U);
    EXPECT_EQ(scans()[0].data, converter->mime);
}

TEST_F(mime_sheet, with_the_cache_is_a_body_and_is_stored_and_saved)
{
    answer(ScanResult::Blocked);
    EXPECT_EQ(check_sheet(true), S_OK);
    EXPECT_EQ(scans()[0].parameters.type, icap::client::content_type::body);
    EXPECT_EQ(message->value(test::verdict_tag(store)), "2");
    EXPECT_EQ(store.calls("message.SaveChanges").size(), 1U);
    EXPECT_EQ(message->saves, 1);
    EXPECT_EQ(leveled(log).back(), "500 Saving message result = 0x0");
}

TEST_F(mime_sheet, with_the_cache_tells_a_failed_save)
{
    store.fail_nth(1, E_ACCESSDENIED, "message.SaveChanges");
    EXPECT_EQ(check_sheet(true), S_OK);
    EXPECT_EQ(leveled(log).back(), "500 Saving message result = 0x80070005");
    EXPECT_EQ(verdict, ScanResult::Clean);
}

TEST_F(mime_sheet, with_the_cache_does_not_store_what_was_not_judged)
{
    answer(ScanResult::None);
    EXPECT_EQ(check_sheet(true), S_OK);
    EXPECT_TRUE(store.calls("message.SaveChanges").empty());
    EXPECT_EQ(probe.verdicts().InternalSize(), 0U);
}

TEST_F(mime_sheet, with_the_cache_believes_it)
{
    probe.verdicts().AddMessage(message->pointer(), ScanResult::Blocked);
    log.clear();
    EXPECT_EQ(check_sheet(true), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_EQ(leveled(log).back(), "500 Message found in cache, verdict:2");
    EXPECT_EQ(converter->conversions, 0);
    verdict = ScanResult::None;
    EXPECT_EQ(check_sheet(false), S_OK);
    EXPECT_EQ(verdict, ScanResult::Clean) << "without the cache the message is scanned";
}

TEST_F(mime_sheet, never_connects_on_the_calling_thread)
{
    link->connected = false;
    EXPECT_EQ(check_sheet(), S_OK);
    EXPECT_EQ(link->calls, (texts{"LoadSettings", "ForceConnection later"}));
}

TEST_F(mime_sheet, is_not_checked_when_the_plugin_is_turned_off)
{
    link->settings->UseOutlookPlugin = {true, false, true};
    EXPECT_EQ(check_sheet(), E_NOINTERFACE);
    EXPECT_EQ(leveled(log), (texts{"500 Checking message as MIME sheet", "400 Outlook plugin is turned off"}));
}

TEST_F(mime_sheet, that_cannot_be_converted_gives_that_result)
{
    converter->result = MAPI_E_CORRUPT_DATA;
    EXPECT_EQ(check_sheet(), MAPI_E_CORRUPT_DATA);
    const texts lines = leveled(log);
    EXPECT_EQ(lines[lines.size() - 2], "200 Failed to convert message, hr = 0x8004011b");
    EXPECT_EQ(lines.back(), "200 Failed to convert the message to MIME, hr = 0x8004011b");
    EXPECT_TRUE(scans().empty());
}

TEST_F(mime_sheet, that_converts_to_nothing_gives_the_success_code)
{
    converter->gives_stream = false;
    EXPECT_EQ(check_sheet(), S_OK);
    EXPECT_EQ(verdict, ScanResult::None);
    EXPECT_EQ(leveled(log).back(), "200 Failed to convert the message to MIME, hr = 0x0");
    EXPECT_TRUE(scans().empty());
}

TEST_F(mime_sheet, without_a_started_converter_cannot_be_made)
{
    MailChecker without_mapi({link, converter->platform(), disinfector, &clock, &session});
    without_mapi.Init(false, 1, "p", "u");
    converter->session_result = E_ACCESSDENIED;
    MailChecker failed({link, converter->platform(), disinfector, &clock, &session});
    failed.Init(true, 1, "p", "u");
    for (MailChecker* each : {&without_mapi, &failed}) {
        EXPECT_EQ(MailCheckerProbe(*each).CheckMessageAsMimeSheet(false, message->reference(), verdict, response),
                  E_POINTER);
        EXPECT_EQ(leveled(log).back(), "200 Failed to convert the message to MIME, hr = 0x80004003");
    }
    EXPECT_EQ(converter->conversions, 0);
}

TEST_F(mime_sheet, is_scanned_from_its_beginning_wherever_the_conversion_left_the_stream)
{
    converter->mime = std::string(70000, 'm');
    EXPECT_EQ(check_sheet(), S_OK);
    EXPECT_EQ(scans()[0].data, converter->mime);
}

TEST_F(mime_sheet, without_a_pool_fails)
{
    link->pool.reset();
    EXPECT_EQ(check_sheet(), E_FAIL);
    EXPECT_EQ(leveled(log).back(), "200 Connection to ICAP server aborted");
    EXPECT_TRUE(link->calls.empty());
}

TEST_F(mime_sheet, breaks_the_connection_when_a_request_raises)
{
    verdict = ScanResult::Repaired;
    fail_next_scan();
    EXPECT_EQ(check_sheet(true), E_UNEXPECTED);
    EXPECT_EQ(verdict, ScanResult::Repaired) << "left as it was";
    EXPECT_EQ(link->calls, (texts{"BreakConnection"}));
    EXPECT_TRUE(store.calls("message.SaveChanges").empty());
}

TEST_F(mime_sheet, breaks_the_connection_when_a_session_cannot_be_returned)
{
    pool->release_raises = true;
    answer(ScanResult::Blocked, test::reply_with("x"));
    EXPECT_EQ(check_sheet(), E_UNEXPECTED);
    EXPECT_EQ(verdict, ScanResult::None);
    EXPECT_EQ(response, nullptr);
    EXPECT_EQ(link->calls, (texts{"BreakConnection"}));
}

} // namespace
