#include "outlook/qdmailprotect/check/mail_checker.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"
#include "tool/system/identity.h"
#include "tool/system/time_text.h"

#include <gtest/gtest.h>

namespace {

using texts = std::vector<std::string>;

constexpr ULONG VerdictTag = 0x80000003; // the first resolved name
constexpr HRESULT NoService = 240;

class mail_checker : public test::checker_fixture
{};

// --- connection

TEST_F(mail_checker, starts_converter_link_and_registry_once_each)
{
    MailChecker another({link, converter->platform(), disinfector, &clock, &session});
    log.clear();
    another.Init(true, 1, "p", "u");
    EXPECT_EQ(converter->calls, (texts{"session", "SetEncoding 3", "SetSaveFormat 1"}));
    EXPECT_EQ(converter->open_sessions, 2) << "this one's and the fixture's";
    EXPECT_EQ(leveled(log), (texts{"500 link Start", "500 Reading additional params from registry"}));
    log.clear();
    another.Close();
    EXPECT_EQ(leveled(log), (texts{"500 link Stop"}));
    EXPECT_EQ(converter->open_sessions, 1);
}

TEST_F(mail_checker, without_mapi_leaves_the_converter_alone)
{
    MailChecker another({link, converter->platform(), disinfector, &clock, &session});
    another.Init(false, 1, "p", "u");
    another.Close();
    EXPECT_TRUE(converter->calls.empty());
}

TEST_F(mail_checker, goes_on_without_a_converter_that_does_not_start)
{
    converter->session_result = E_ACCESSDENIED;
    MailChecker another({link, converter->platform(), disinfector, &clock, &session});
    log.clear();
    another.Init(true, 1, "p", "u");
    another.Close();
    EXPECT_EQ(leveled(log), (texts{"200 Failed to create the converter interface, hr=0x80070005",
                                   "200 Failed to initialize converter", "500 link Start",
                                   "500 Reading additional params from registry", "500 link Stop"}));
}

TEST_F(mail_checker, is_turned_off_without_settings)
{
    link->settings.reset();
    EXPECT_EQ(probe.EnsureConnection(true), E_NOINTERFACE);
    EXPECT_EQ(leveled(log), (texts{"400 Outlook plugin is turned off"}));
}

TEST_F(mail_checker, is_turned_off_by_the_setting)
{
    link->settings->UseOutlookPlugin = {true, false, true};
    EXPECT_EQ(probe.EnsureConnection(true), E_NOINTERFACE);
    EXPECT_EQ(leveled(log), (texts{"400 Outlook plugin is turned off"}));
    link->settings->UseOutlookPlugin = {true, false, false};
    EXPECT_EQ(probe.EnsureConnection(true), S_OK) << "a value that isn't set doesn't count";
}

TEST_F(mail_checker, is_ready_when_connected)
{
    EXPECT_EQ(probe.EnsureConnection(true), S_OK);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_TRUE(link->calls.empty());
}

TEST_F(mail_checker, looks_at_the_settings_again_before_it_is_ready)
{
    link->on_get_settings = [&] { link->settings->UseOutlookPlugin = {true, link->settings_reads < 2, true}; };
    EXPECT_EQ(probe.EnsureConnection(true), E_NOINTERFACE);
    EXPECT_EQ(leveled(log), (texts{"400 Outlook plugin is turned off"}));
}

TEST_F(mail_checker, forces_a_connection_when_there_is_none)
{
    link->connected = false;
    link->on_force = [&](bool now) { link->connected = now; };
    EXPECT_EQ(probe.EnsureConnection(true), S_OK);
    EXPECT_EQ(leveled(log), (texts{"500 link LoadSettings", "500 Forcing the ICAP server connection (1)",
                                   "500 link ForceConnection now"}));
}

TEST_F(mail_checker, goes_on_without_a_service)
{
    link->connected = false;
    EXPECT_EQ(probe.EnsureConnection(false), NoService);
    EXPECT_EQ(leveled(log), (texts{"500 link LoadSettings", "500 Forcing the ICAP server connection (0)",
                                   "500 link ForceConnection later", "200 No ICAP server available"}));
}

TEST_F(mail_checker, heeds_settings_that_a_load_turned_off)
{
    link->connected = false;
    link->on_load = [&] { link->settings->UseOutlookPlugin = {true, false, true}; };
    link->on_force = [&](bool) { link->connected = true; };
    EXPECT_EQ(probe.EnsureConnection(true), E_NOINTERFACE);
    EXPECT_EQ(leveled(log).back(), "400 Outlook plugin is turned off");
}

// --- subject

TEST_F(mail_checker, tags_a_mail_with_sender_subject_and_time)
{
    const auto message = new_message();
    message->set_text(PR_SENDER_NAME_W, L"J\x00FCrgen %1%");
    message->set_text(PR_SUBJECT_W, L"Gr\x00FC\x00DF\x65 \x4F60");
    message->set(PR_MESSAGE_DELIVERY_TIME, host::property_value::of_time(132'000'000'000'000'000));
    std::wstring date;
    std::wstring time;
    ASSERT_TRUE(winapi::format_local_time(132'000'000'000'000'000, date, time));
    std::string subject;
    std::string tag;
    EXPECT_EQ(probe.GetMessageSubject(message->pointer(), subject, tag), S_OK);
    const std::wstring whole =
        L"[From:J\x00FCrgen %1%][Subject:Gr\x00FC\x00DF\x65 \x4F60][Time:" + date + L" " + time + L"]";
    EXPECT_EQ(tag, winapi::conv_to_char(whole, winapi::code_page_utf8));
    EXPECT_EQ(subject, winapi::conv_to_char(L"Gr\x00FC\x00DF\x65 \x4F60", winapi::code_page_thread_ansi));
    EXPECT_EQ(leveled(log), (texts{"500 Message subject: " + winapi::conv_to_char(whole)}));
}

TEST_F(mail_checker, tags_a_mail_without_anything)
{
    const auto message = test::empty_message(store);
    std::string subject = "before";
    std::string tag;
    EXPECT_EQ(probe.GetMessageSubject(message->pointer(), subject, tag), S_OK);
    EXPECT_EQ(tag, "[From:][Subject:][Time:]");
    EXPECT_EQ(subject, "");
    EXPECT_EQ(leveled(log), (texts{
                                "200 Error getting prop 0xc1a001f, err=0x8004010f",
                                "200 Error getting prop 0x37001f, err=0x8004010f",
                                "200 Error getting prop 0xe060040, err=0x8004010f",
                                "500 Message subject: [From:][Subject:][Time:]",
                            }));
    EXPECT_EQ(probe.GetMessageSubject(nullptr, subject, tag), E_INVALIDARG);
}

// --- complete checks

TEST_F(mail_checker, of_a_clean_mail_tells_each_step)
{
    const auto message = new_message();
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Clean);
    EXPECT_FALSE(block_display);
    EXPECT_EQ(test::leveled_without_reads(log),
              (texts{
                  "500 Message ID: 00AB0F",
                  "500 Internet Message ID: <id@host>",
                  "500 Message subject: [From:Ada][Subject:Hello][Time:]",
                  "500 Determining if message is in cache (CustomPropertyID=0x0)",
                  "500 Initializing custom property ID",
                  "500 Custom property ID initialized: 0x80000003",
                  "400 Getting ContentTypeID: 0x8001001f",
                  "500 Message not found in global cache, check the internal cache",
                  "400 Searching for messageID in internal cache: 00AB0F",
                  "400 Not found in internal cache",
                  "400 Checking mail body",
                  "400 Getting a plain body, size: 10",
                  "400 Native body type: 1",
                  "400 Body size: 10 (0x0)",
                  "400 CPID: 0",
                  "400 Starting the body scan",
                  "500 lease",
                  "400 Session ID = 7",
                  "500 scan",
                  "400 Message body checked, hr=0x0, result: 1",
                  "400 Checking message attachments",
                  "400 Number of attachments: 0",
                  "400 Attachments checked, hr=0x0, generated results: 0",
                  "500 Calculated scan result = 1",
                  "500 Adding message to cache (CustomPropertyID=0x80000003)",
                  "400 Getting ContentTypeID: 0x8001001f",
                  "500 Adding message result: 0x0",
                  "400 Adding message to internal cache, MessageID: 00AB0F, verdict: 1, cache size = 1",
                  "500 Saving message result = 0x0",
              }));
    EXPECT_TRUE(store.calls("message.SaveChanges").empty()) << "the item check saves nothing";
    EXPECT_EQ(disinfector->calls, 0);
}

TEST_F(mail_checker, releases_the_item_on_every_path)
{
    const auto message = new_message();
    const auto run = [&](bool cache) {
        message->object();
        const int before = store.alive;
        auto item = item_of(*message)->reference();
        const HRESULT result = checker.CheckMessage(false, cache, std::move(item), verdict, block_display);
        EXPECT_EQ(store.alive, before);
        return result;
    };
    EXPECT_EQ(run(false), E_NOTIMPL);
    store.fail_nth(1, E_FAIL, "item.get_MAPIOBJECT");
    EXPECT_EQ(run(true), E_NOINTERFACE);
    fail_next_scan();
    EXPECT_EQ(run(true), S_OK);
    link->settings->UseOutlookPlugin = {true, false, true};
    EXPECT_EQ(run(true), E_NOINTERFACE);
}

TEST_F(mail_checker, without_the_cache_is_not_implemented)
{
    EXPECT_EQ(check(*new_message(), false, false), E_NOTIMPL);
    EXPECT_FALSE(block_display);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(mail_checker, of_no_item_is_refused)
{
    EXPECT_EQ(checker.CheckMessage(false, true, nullptr, verdict, block_display), E_POINTER);
    EXPECT_FALSE(block_display);
}

TEST_F(mail_checker, turned_off_does_not_even_look_into_the_cache)
{
    const auto message = new_message();
    ASSERT_EQ(check(*message), S_OK);
    probe.verdicts().AddMessage(message->pointer(), ScanResult::Blocked);
    message->remove(VerdictTag);
    link->settings->UseOutlookPlugin = {true, false, true};
    log.clear();
    verdict = ScanResult::None;
    EXPECT_EQ(check(*message), E_NOINTERFACE);
    EXPECT_FALSE(block_display);
    EXPECT_EQ(verdict, ScanResult::None);
    EXPECT_EQ(leveled(log), (texts{"400 Outlook plugin is turned off"}));
}

TEST_F(mail_checker, fills_the_request_of_a_body)
{
    const auto message = new_message();
    ASSERT_EQ(check(*message), S_OK);
    ASSERT_EQ(scans().size(), 1U);
    const auto& scan = scans()[0].parameters;
    EXPECT_EQ(scan.user_name, "S-1-5-21-1");
    EXPECT_EQ(scan.session_id, 7U);
    EXPECT_EQ(scan.process_name, "C:\\client.exe");
    EXPECT_EQ(scan.process_id, 1234U);
    EXPECT_EQ(scan.subject, "[From:Ada][Subject:Hello][Time:]");
    EXPECT_EQ(scan.tag, "<id@host>");
    EXPECT_EQ(scan.mime_type, "text/html");
    EXPECT_EQ(scan.type, icap::client::content_type::body);
    EXPECT_EQ(scan.attach_name, "");
    EXPECT_EQ(scan.timeout, 60000U);
    EXPECT_EQ(scans()[0].data, "plain text");
}

TEST_F(mail_checker, tags_a_mail_without_an_internet_identifier_by_its_entry)
{
    const auto message = new_message();
    message->remove(PR_INTERNET_MESSAGE_ID_A);
    ASSERT_EQ(check(*message), S_OK);
    ASSERT_EQ(scans().size(), 1U);
    EXPECT_EQ(scans()[0].parameters.tag, "00AB0F");
}

TEST_F(mail_checker, without_a_session_number_tells_so_and_goes_on)
{
    session.error = 5;
    ASSERT_EQ(check(*new_message()), S_OK);
    ASSERT_EQ(scans().size(), 1U);
    EXPECT_EQ(scans()[0].parameters.session_id, 0xFFFFFFFFU);
    const texts lines = leveled(log);
    const auto line = std::find(lines.begin(), lines.end(), "200 ProcessIdToSessionId() failed: error=0x5");
    ASSERT_NE(line, lines.end());
    EXPECT_EQ(line[1], "400 Session ID = 4294967295");
}

TEST_F(mail_checker, asks_the_system_for_its_session_by_default)
{
    MailChecker another({link, converter->platform(), disinfector});
    another.Init(false, 1234, "p", "u");
    const auto message = new_message();
    EXPECT_EQ(another.CheckMessage(false, true, item_of(*message)->reference(), verdict, block_display), S_OK);
    std::uint32_t expected = 0;
    ASSERT_TRUE(winapi::process_id_to_session_id(winapi::current_process_id(), expected));
    ASSERT_EQ(scans().size(), 1U);
    EXPECT_EQ(scans()[0].parameters.session_id, expected);
    EXPECT_FALSE(log.contains("ProcessIdToSessionId() failed"));
}

TEST_F(mail_checker, finds_a_verdict_on_the_message_without_a_scan)
{
    const auto message = new_message();
    ASSERT_EQ(check(*message), S_OK);
    for (const auto stored : {ScanResult::Clean, ScanResult::Blocked, ScanResult::Repaired}) {
        message->set_number(VerdictTag, static_cast<std::int64_t>(stored));
        pool->scans.clear();
        log.clear();
        EXPECT_EQ(check(*message), S_OK);
        EXPECT_EQ(verdict, stored);
        EXPECT_FALSE(block_display) << "a verdict on the message itself never blocks";
        EXPECT_TRUE(scans().empty());
        EXPECT_EQ(leveled(log).back(),
                  "500 Message found in cache, verdict:" + std::to_string(static_cast<int>(stored)));
    }
}

TEST_F(mail_checker, scans_a_clean_message_again_under_new_signatures_when_told_to)
{
    registry.set_number(winapi::registry_names::environment_key, winapi::registry_names::rescan_on_new_signatures, 1);
    checker.Init(false, 4711, "client", "user");
    pool->signatures = "\"engine-1\"";
    const auto message = new_message();
    ASSERT_EQ(check(*message), S_OK);
    ASSERT_EQ(check(*message), S_OK);
    EXPECT_EQ(scans().size(), 1U);
    pool->signatures = "\"engine-2\"";
    answer(ScanResult::Blocked);
    ASSERT_EQ(check(*message), S_OK);
    EXPECT_EQ(scans().size(), 2U);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    pool->signatures = "\"engine-3\"";
    ASSERT_EQ(check(*message), S_OK);
    EXPECT_EQ(scans().size(), 2U) << "what was condemned stays condemned";
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_TRUE(log.contains("Additions params - RescanOnNewSignatures = 1"));
}

TEST_F(mail_checker, keeps_a_clean_verdict_under_new_signatures_otherwise)
{
    pool->signatures = "\"engine-1\"";
    const auto message = new_message();
    ASSERT_EQ(check(*message), S_OK);
    pool->signatures = "\"engine-2\"";
    ASSERT_EQ(check(*message), S_OK);
    EXPECT_EQ(scans().size(), 1U);
}

TEST_F(mail_checker, knows_its_verdicts_without_a_pool)
{
    registry.set_number(winapi::registry_names::environment_key, winapi::registry_names::rescan_on_new_signatures, 1);
    checker.Init(false, 4711, "client", "user");
    pool->signatures = "\"engine-1\"";
    const auto message = new_message();
    ASSERT_EQ(check(*message), S_OK);
    link->pool = nullptr; // broken since the connection was tested
    verdict = ScanResult::None;
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Clean);
}

TEST_F(mail_checker, blocks_what_only_memory_knows_as_blocked)
{
    const auto message = new_message();
    answer(ScanResult::Blocked);
    ASSERT_EQ(check(*message), S_OK);
    EXPECT_EQ(message->value(VerdictTag), "2");
    message->remove(VerdictTag);
    log.clear();
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_TRUE(block_display);
    EXPECT_EQ(scans().size(), 1U);
    const texts lines = leveled(log);
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(texts(lines.end() - 2, lines.end()),
              (texts{"500 Message found in cache, verdict:2",
                     "500 Message disinfected earlier but has no stored information about it, blocking the message "
                     "display"}));
}

TEST_F(mail_checker, opens_what_only_memory_knows_as_clean)
{
    const auto message = new_message();
    ASSERT_EQ(check(*message), S_OK);
    message->remove(VerdictTag);
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Clean);
    EXPECT_FALSE(block_display);
    EXPECT_EQ(scans().size(), 1U);
}

TEST_F(mail_checker, with_the_registry_value_set_blocks_the_second_opening)
{
    registry.set_number(winapi::registry_names::environment_key, winapi::registry_names::keep_verdict_in_email, 1);
    checker.Init(true, 1, "p", "u");
    const auto message = new_message();
    answer(ScanResult::Blocked);
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_FALSE(block_display);
    EXPECT_EQ(message->value(VerdictTag), std::nullopt);
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_TRUE(block_display);
}

TEST_F(mail_checker, without_a_service_still_honours_a_stored_verdict)
{
    const auto message = new_message();
    ASSERT_EQ(check(*message), S_OK);
    message->set_number(VerdictTag, 3);
    link->connected = false;
    link->pool.reset();
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Repaired);
    EXPECT_EQ(pool->queries, 1) << "no session for the second opening";
}

TEST_F(mail_checker, without_a_service_judges_and_stores_nothing)
{
    const auto message = new_message();
    message->attach(0, L"a.txt", "data");
    link->connected = false;
    link->pool.reset();
    verdict = ScanResult::Clean;
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::None);
    EXPECT_FALSE(block_display);
    EXPECT_EQ(message->value(VerdictTag), std::nullopt);
    EXPECT_EQ(probe.verdicts().InternalSize(), 0U);
    EXPECT_TRUE(log.contains("Message body checked, hr=0x80004005, result: 0"));
    EXPECT_TRUE(log.contains("   Attachment checked, hr = 0x8000ffff, result: 0"));
    EXPECT_EQ(leveled(log).back(), "500 Calculated scan result = 0");
}

TEST_F(mail_checker, connects_only_as_it_is_told)
{
    link->connected = false;
    link->pool.reset();
    check(*new_message(), true);
    EXPECT_EQ(link->calls, (texts{"LoadSettings", "ForceConnection now"}));
    link->calls.clear();
    check(*new_message(), false);
    EXPECT_EQ(link->calls, (texts{"LoadSettings", "ForceConnection later"}));
}

// --- verdicts

struct verdict_case
{
    ScanResult body;
    ScanResult attachment;
    ScanResult expected;
};

TEST_F(mail_checker, calculates_the_verdict_from_body_and_attachments)
{
    constexpr ScanResult none = ScanResult::None;
    constexpr ScanResult clean = ScanResult::Clean;
    constexpr ScanResult blocked = ScanResult::Blocked;
    constexpr ScanResult repaired = ScanResult::Repaired;
    for (const verdict_case& row : {
             verdict_case{none, none, none},
             {none, clean, none},
             {none, blocked, blocked},
             {none, repaired, none},
             {clean, none, clean},
             {clean, clean, clean},
             {clean, blocked, blocked},
             {clean, repaired, clean},
             {blocked, none, blocked},
             {blocked, clean, blocked},
             {blocked, blocked, blocked},
             {repaired, clean, repaired},
             {repaired, blocked, blocked},
         }) {
        const auto message = new_message();
        message->attach(0, L"a.txt", "data");
        message->set_bytes(PR_ENTRYID, std::to_string(static_cast<int>(row.body)) +
                                           std::to_string(static_cast<int>(row.attachment)));
        answer(row.body);
        answer(row.attachment);
        EXPECT_EQ(check(*message), S_OK);
        EXPECT_EQ(verdict, row.expected) << static_cast<int>(row.body) << " and " << static_cast<int>(row.attachment);
        EXPECT_EQ(message->value(VerdictTag).value_or("0"), std::to_string(static_cast<int>(row.expected)));
        EXPECT_FALSE(block_display);
    }
}

TEST_F(mail_checker, scans_a_mail_with_an_empty_body_at_each_opening)
{
    const auto message = new_message();
    message->set_bytes(PR_BODY_A, "");
    message->attach(0, L"a.txt", "data");
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::None);
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(scans().size(), 2U);
}

TEST_F(mail_checker, prints_the_attachment_result_where_it_speaks_of_saving)
{
    const auto message = new_message();
    store.fail_nth(1, MAPI_E_NO_SUPPORT, "message.GetAttachmentTable");
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_TRUE(log.contains("Attachments checked, hr=0x80040102, generated results: 0"));
    EXPECT_EQ(leveled(log).back(), "500 Saving message result = 0x80040102");
    EXPECT_EQ(verdict, ScanResult::Clean);
}

TEST_F(mail_checker, goes_on_to_the_attachments_after_a_failed_body)
{
    const auto message = new_message();
    message->remove(PR_BODY_A);
    message->attach(0, L"a.txt", "data");
    answer(ScanResult::Blocked);
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_TRUE(log.contains("Message body checked, hr=0x80004005, result: 0"));
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_EQ(disinfector->calls, 1);
}

// --- disinfection

TEST_F(mail_checker, has_a_condemned_body_with_contents_disinfected)
{
    const auto message = new_message();
    const auto item = item_of(*message);
    answer(ScanResult::Blocked, test::reply_with("<p>gone</p>"));
    EXPECT_EQ(checker.CheckMessage(false, true, item->reference(), verdict, block_display), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_FALSE(block_display);
    ASSERT_EQ(disinfector->calls, 1);
    EXPECT_EQ(disinfector->message, message->pointer());
    EXPECT_EQ(disinfector->item, item->reference().get());
    EXPECT_EQ(disinfector->body.subject, "Hello");
    EXPECT_EQ(disinfector->body.plainBody, "plain text");
    EXPECT_EQ(disinfector->body.bodyType, 1U);
    EXPECT_EQ(disinfector->body.scanResult, ScanResult::Blocked);
    EXPECT_NE(disinfector->body.scanResponse, nullptr);
    EXPECT_EQ(message->value(VerdictTag), "2");
    const test::log_record expected{300, "outlook", "Message body should be disinfected"};
    const auto lines = log.lines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), expected), lines.end());
}

TEST_F(mail_checker, leaves_a_condemned_body_without_contents_alone)
{
    for (const auto& response : {std::shared_ptr<icap::response_message>(), test::reply_without_contents()}) {
        const auto message = new_message();
        message->set_bytes(PR_ENTRYID, response ? "a" : "b");
        answer(ScanResult::Blocked, response);
        EXPECT_EQ(check(*message), S_OK);
        EXPECT_EQ(verdict, ScanResult::Blocked);
        EXPECT_FALSE(block_display);
        EXPECT_EQ(disinfector->calls, 0);
        EXPECT_EQ(message->value(VerdictTag), "2") << "the verdict is stored all the same";
        EXPECT_FALSE(log.contains("Message body should be disinfected"));
    }
}

TEST_F(mail_checker, does_not_disinfect_for_a_clean_or_repaired_body)
{
    for (const auto result : {ScanResult::Clean, ScanResult::Repaired}) {
        const auto message = new_message();
        message->set_bytes(PR_ENTRYID, std::to_string(static_cast<int>(result)));
        answer(result, test::reply_with("x"));
        EXPECT_EQ(check(*message), S_OK);
        EXPECT_EQ(disinfector->calls, 0);
    }
}

TEST_F(mail_checker, has_a_condemned_attachment_disinfected_without_a_line)
{
    const auto message = new_message();
    message->attach(3, L"a.txt", "data");
    answer(ScanResult::Clean);
    answer(ScanResult::Blocked, test::reply_with("<p>gone</p>"));
    EXPECT_EQ(check(*message), S_OK);
    ASSERT_EQ(disinfector->calls, 1);
    ASSERT_EQ(disinfector->attachments.size(), 1U);
    EXPECT_EQ(disinfector->attachments[0].attachNumber, 3U);
    EXPECT_EQ(disinfector->attachments[0].noticeHtml, "<p>gone</p>");
    EXPECT_FALSE(log.contains("should be disinfected"));
    EXPECT_FALSE(block_display);
}

TEST_F(mail_checker, blocks_the_first_display_of_a_condemned_encrypted_body)
{
    const auto base = new_message();
    const auto wrapper = new_message();
    wrapper->object().wrap(base->reference());
    probe.verdicts().IsEncrypted(wrapper->pointer()); // the content type gets the first name
    wrapper->set_text(0x8000001F, L"application/pkcs7-mime; smime-type=enveloped-data");
    answer(ScanResult::Blocked, test::reply_with("<p>gone</p>"));
    EXPECT_EQ(check(*wrapper), S_OK);
    EXPECT_TRUE(block_display);
    EXPECT_EQ(disinfector->calls, 1);
    EXPECT_EQ(base->value(test::verdict_tag(store)), "2");
    EXPECT_EQ(wrapper->value(test::verdict_tag(store)), std::nullopt);
    const texts lines = leveled(log);
    EXPECT_NE(std::find(lines.begin(), lines.end(), "300 Message encrypted, block its first display"), lines.end());
}

TEST_F(mail_checker, does_not_block_for_a_condemned_attachment_of_an_encrypted_message)
{
    const auto base = new_message();
    const auto wrapper = new_message();
    wrapper->attach(0, L"a.txt", "data");
    wrapper->object().wrap(base->reference());
    probe.verdicts().IsEncrypted(wrapper->pointer());
    wrapper->set_text(0x8000001F, L"smime-type=enveloped-data");
    answer(ScanResult::Clean);
    answer(ScanResult::Blocked);
    EXPECT_EQ(check(*wrapper), S_OK);
    EXPECT_FALSE(block_display);
    EXPECT_EQ(disinfector->calls, 1);
}

TEST_F(mail_checker, ignores_what_disinfection_answers)
{
    disinfector->result = E_FAIL;
    answer(ScanResult::Blocked, test::reply_with("x"));
    const auto message = new_message();
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(message->value(VerdictTag), "2");
}

TEST_F(mail_checker, turns_an_exception_of_disinfection_into_a_failed_check)
{
    disinfector->raises = true;
    answer(ScanResult::Blocked, test::reply_with("x"));
    EXPECT_EQ(check(*new_message()), E_UNEXPECTED);
    EXPECT_EQ(link->calls, (texts{"BreakConnection"}));
}

TEST_F(mail_checker, judges_meeting_and_task_items_alike)
{
    for (const IID& kind : {IID_MeetingItem, IID_TaskItem}) {
        const auto message = new_message();
        message->set_bytes(PR_ENTRYID, kind == IID_TaskItem ? "t" : "m");
        EXPECT_EQ(checker.CheckMessage(false, true, item_of(*message, kind)->reference(), verdict, block_display),
                  S_OK);
        EXPECT_EQ(verdict, ScanResult::Clean);
    }
}

TEST_F(mail_checker, sees_a_failed_lease_as_no_judgement)
{
    pool->query_raises = true;
    const auto message = new_message();
    EXPECT_EQ(check(*message), S_OK);
    EXPECT_EQ(verdict, ScanResult::None);
    EXPECT_EQ(link->calls, (texts{"BreakConnection"}));
    EXPECT_TRUE(log.contains("Message body checked, hr=0x8000ffff, result: 0"));
    EXPECT_EQ(message->value(VerdictTag), std::nullopt) << "the next opening tries again";
}

} // namespace
