#include "outlook/qdmailprotect/check/mail_checker.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <gtest/gtest.h>

namespace {

using test::fake_attach;
using test::fake_message;
using test::fake_row;
using texts = std::vector<std::string>;

class attachment_check : public test::checker_fixture
{
protected:
    HRESULT check_all()
    {
        records.clear();
        return probe.CheckAttachments(message->reference(), "mail tag", records);
    }
    HRESULT check_one(AttachmentResult& record)
    {
        return probe.CheckAttachment(message->reference(), "mail tag", record);
    }
    /// A file attachment with data.
    ComPtr<fake_attach> file(const fake_row& row, const std::string& data = "data")
    {
        auto attachment = message->attach(row);
        attachment->properties.set_bytes(PR_ATTACH_DATA_BIN, data);
        return attachment;
    }
    void TearDown() override
    {
        message.reset();
        checker_fixture::TearDown();
    }

    ComPtr<fake_message> message = new_message();
    std::vector<AttachmentResult> records;
};

TEST_F(attachment_check, of_a_mail_without_attachments)
{
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log), (texts{"400 Checking message attachments", "400 Number of attachments: 0"}));
}

TEST_F(attachment_check, without_a_table_gives_the_stores_result)
{
    store.script("GetAttachmentTable", E_ACCESSDENIED);
    EXPECT_EQ(check_all(), E_ACCESSDENIED);
    EXPECT_EQ(leveled(log),
              (texts{"400 Checking message attachments", "200 Failed to get the attachment table, 0x80070005"}));
    store.script("GetAttachmentTable", S_OK);
    log.clear();
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log).back(), "200 Failed to get the attachment table, 0x0");
}

TEST_F(attachment_check, without_rows_gives_the_stores_result)
{
    store.script("QueryRows", MAPI_E_CORRUPT_DATA);
    EXPECT_EQ(check_all(), MAPI_E_CORRUPT_DATA);
    EXPECT_EQ(leveled(log).back(), "200 Failed to query rows from attachment table, 0x8004011b");
    store.script("QueryRows", S_OK);
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log).back(), "200 Failed to query rows from attachment table, 0x0");
}

TEST_F(attachment_check, of_a_file_tells_each_step)
{
    file({.number = 2,
          .size = 44,
          .display_name = L"Shown.doc",
          .long_name = L"Long name.doc",
          .short_name = L"LONG~1.DOC",
          .mime_tag = L"application/msword"});
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log),
              (texts{
                  "400 Checking message attachments",
                  "400 Number of attachments: 1",
                  "400  - Checking attachment ID: 2, name: 'Shown.doc'/'Long name.doc', tag: application/msword, size: "
                  "44 bytes, method: 1",
                  "400    Attach size: 4 (0x0)",
                  "400    Starting the attach scan",
                  "500 lease",
                  "400 Session ID = 7",
                  "500 scan",
                  "400    Attachment checked, hr = 0x0, result: 1",
              }));
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].attachNumber, 2U);
    EXPECT_EQ(records[0].attachMethod, 1U);
    EXPECT_EQ(records[0].fileName, L"Shown.doc");
    EXPECT_EQ(records[0].mimeTag, "application/msword");
    EXPECT_EQ(records[0].scanResult, ScanResult::Clean);
    EXPECT_EQ(records[0].noticeHtml, "");
    EXPECT_FALSE(records[0].deleted);
    EXPECT_EQ(store.calls("QueryRows 100"), 1);
}

TEST_F(attachment_check, fills_the_request)
{
    file({.number = 0, .size = 4, .display_name = L"caf\x00E9.doc", .mime_tag = L"application/msword"}, "contents");
    ASSERT_EQ(check_all(), S_OK);
    ASSERT_EQ(scans().size(), 1U);
    const auto& scan = scans()[0].parameters;
    EXPECT_EQ(scan.user_name, "S-1-5-21-1");
    EXPECT_EQ(scan.session_id, 7U);
    EXPECT_EQ(scan.process_name, "C:\\client.exe");
    EXPECT_EQ(scan.process_id, 1234U);
    EXPECT_EQ(scan.subject, "mail tag");
    EXPECT_EQ(scan.tag, "");
    EXPECT_EQ(scan.mime_type, "application/msword");
    EXPECT_EQ(scan.type, icap::client::content_type::attachment);
    EXPECT_EQ(scan.attach_name, "caf\xC3\xA9.doc");
    EXPECT_EQ(scan.timeout, 60000U);
    EXPECT_EQ(scans()[0].data, "contents");
}

TEST_F(attachment_check, names_a_file_by_its_columns)
{
    file({.number = 0, .size = 4, .long_name = L"long.txt", .short_name = L"short.txt"});
    file({.number = 1, .size = 4, .short_name = L"sh\x00F6rt.txt"});
    file({.number = 2, .size = 4});
    EXPECT_EQ(check_all(), S_OK);
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0].fileName, L"long.txt");
    EXPECT_EQ(records[1].fileName, L"sh\x00F6rt.txt");
    EXPECT_EQ(scans()[1].parameters.attach_name, "sh\xC3\xB6rt.txt");
    EXPECT_EQ(records[2].fileName, L"");
    EXPECT_EQ(scans()[2].parameters.attach_name, "");
    EXPECT_TRUE(log.contains(" - Checking attachment ID: 2, name: ''/'', tag: , size: 4 bytes, method: 1"));
}

TEST_F(attachment_check, prefers_the_long_name_in_either_order)
{
    const auto wide = [](ULONG tag, const wchar_t* text) { return test::fake_value{tag, 0, text, nullptr, nullptr}; };
    message->add_row({wide(PR_ATTACH_LONG_FILENAME_W, L"long"), wide(PR_ATTACH_FILENAME_W, L"short")});
    message->add_row({wide(PR_ATTACH_FILENAME_W, L"short"), wide(PR_ATTACH_LONG_FILENAME_W, L"long")});
    message->add_row({wide(PR_ATTACH_FILENAME_W, L"short"), wide(PR_ATTACH_LONG_FILENAME_W, L"")});
    message->add_row({wide(PR_ATTACH_LONG_FILENAME_W, L""), wide(PR_ATTACH_FILENAME_W, L"short")});
    EXPECT_EQ(check_all(), S_OK);
    const texts lines = log.texts("outlook");
    ASSERT_EQ(lines.size(), 2U + 2U * 4U);
    for (const int row : {0, 1}) {
        EXPECT_EQ(lines[2 + 2 * row], " - Checking attachment ID: 0, name: ''/'long', tag: , size: 0 bytes, method: 0");
    }
    EXPECT_EQ(lines[6], " - Checking attachment ID: 0, name: ''/'', tag: , size: 0 bytes, method: 0")
        << "the long name is always taken";
    EXPECT_EQ(lines[8], " - Checking attachment ID: 0, name: ''/'short', tag: , size: 0 bytes, method: 0");
}

TEST_F(attachment_check, reads_a_missing_name_from_the_attachment)
{
    file({.number = 0, .size = 4})->properties.set_wide(PR_ATTACH_FILENAME_W, L"caf\x00E9.txt");
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(scans()[0].parameters.attach_name, winapi::conv_to_char(L"caf\x00E9.txt"));
    EXPECT_EQ(records[0].fileName, L"");
}

TEST_F(attachment_check, ignores_columns_of_another_type)
{
    message->add_row({{PROP_TAG(PT_ERROR, 0x3001), 5, {}, nullptr, nullptr},
                      {0x3001001E, 0, {}, std::make_shared<std::string>("narrow"), nullptr}});
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_TRUE(log.contains("name: ''/''"));
}

TEST_F(attachment_check, leaves_no_record_of_other_methods)
{
    for (std::uint32_t method : {0U, 2U, 3U, 4U, 7U}) {
        file({.number = method, .size = 4, .method = method});
    }
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_TRUE(records.empty());
    EXPECT_TRUE(message->opened().empty());
    const texts lines = leveled(log);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "400    Skipped by attach method"), 5);
}

TEST_F(attachment_check, leaves_no_record_of_an_oversized_file)
{
    file({.number = 0, .size = 20971521});
    file({.number = 1, .size = 20971520});
    EXPECT_EQ(check_all(), S_OK);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].attachNumber, 1U);
    EXPECT_EQ(leveled(log)[3], "400    Skipped by size");
    link->settings->UseSizeLimit = {true, false, true};
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(records.size(), 2U);
}

TEST_F(attachment_check, takes_the_settings_once)
{
    file({.number = 0, .size = 4});
    file({.number = 1, .size = 4});
    link->settings_reads = 0;
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(link->settings_reads, 1);
}

TEST_F(attachment_check, tries_exactly_a_hundred)
{
    for (std::uint32_t number = 0; number < 101; ++number) {
        file({.number = number, .size = 4, .display_name = L"a"});
    }
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(records.size(), 100U);
    EXPECT_EQ(scans().size(), 100U);
    EXPECT_TRUE(log.contains("Number of attachments: 100"));
    EXPECT_EQ(records.back().attachNumber, 99U);
}

TEST_F(attachment_check, that_fails_does_not_stop_the_next)
{
    file({.number = 0, .size = 4, .display_name = L"a"});
    file({.number = 1, .size = 4, .display_name = L"b"});
    store.script("OpenAttach", E_ACCESSDENIED);
    answer(ScanResult::Repaired);
    EXPECT_EQ(check_all(), S_OK);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].scanResult, ScanResult::None);
    EXPECT_EQ(records[1].scanResult, ScanResult::Repaired);
    const texts lines = leveled(log);
    EXPECT_EQ(lines[3], "200    Failed to open attach = 0x80070005");
    EXPECT_EQ(lines[4], "400    Attachment checked, hr = 0x80004005, result: 0");
}

TEST_F(attachment_check, that_opens_as_nothing_fails)
{
    file({.number = 0, .size = 4});
    store.script("OpenAttach", S_OK);
    AttachmentResult record;
    record.attachMethod = 1;
    EXPECT_EQ(check_one(record), E_FAIL);
    EXPECT_EQ(leveled(log), (texts{"200    Failed to open attach = 0x0"}));
}

TEST_F(attachment_check, of_a_file_without_data_is_refused)
{
    message->attach({.number = 0, .size = 4});
    AttachmentResult record;
    record.attachMethod = 1;
    EXPECT_EQ(check_one(record), E_INVALIDARG);
    EXPECT_EQ(leveled(log), (texts{"200    Failed to get attach body = 0x8004010f"}));
    store.script("Attach.OpenProperty 37010102", S_OK);
    log.clear();
    EXPECT_EQ(check_one(record), E_INVALIDARG);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(attachment_check, of_what_is_no_stream_is_refused)
{
    message->attach({.number = 0, .size = 4})
        ->properties.set_object(PR_ATTACH_DATA_BIN, ComPtr<IUnknown>(MakeCom<test::fake_object>(store)));
    AttachmentResult record;
    record.attachMethod = 1;
    EXPECT_EQ(check_one(record), E_NOINTERFACE);
    EXPECT_EQ(leveled(log), (texts{"200    Failed to open file body stream"}));
}

TEST_F(attachment_check, of_an_empty_file_leaves_an_unjudged_record)
{
    file({.number = 0, .size = 4}, "");
    EXPECT_EQ(check_all(), S_OK);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].scanResult, ScanResult::None);
    const texts lines = leveled(log);
    EXPECT_EQ(texts(lines.end() - 3, lines.end()),
              (texts{"400    Attach size: 0 (0x0)", "400    Skipping zero-length attach",
                     "400    Attachment checked, hr = 0x0, result: 0"}));
    EXPECT_EQ(pool->queries, 0);
}

TEST_F(attachment_check, tells_why_a_size_is_unknown)
{
    file({.number = 0, .size = 4});
    store.script("Stream.Stat", E_ACCESSDENIED);
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_TRUE(log.contains("   Attach size: 0 (0x80070005)"));
}

TEST_F(attachment_check, without_a_pool_is_unexpected)
{
    file({.number = 0, .size = 4});
    link->pool.reset();
    EXPECT_EQ(check_all(), S_OK);
    const texts lines = leveled(log);
    EXPECT_EQ(texts(lines.end() - 3, lines.end()),
              (texts{"400    Starting the attach scan", "200 No connection to ICAP server",
                     "400    Attachment checked, hr = 0x8000ffff, result: 0"}));
    EXPECT_TRUE(link->calls.empty());
}

TEST_F(attachment_check, breaks_the_connection_when_a_request_raises)
{
    file({.number = 0, .size = 4});
    fail_next_scan();
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(link->calls, (texts{"BreakConnection"}));
    EXPECT_EQ(records[0].scanResult, ScanResult::None);
    EXPECT_TRUE(log.contains("   Attachment checked, hr = 0x8000ffff, result: 0"));
}

TEST_F(attachment_check, keeps_a_result_whose_session_cannot_be_returned)
{
    file({.number = 0, .size = 4});
    pool->release_raises = true;
    answer(ScanResult::Blocked, test::reply_with("<p>gone</p>"));
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(records[0].scanResult, ScanResult::Blocked);
    EXPECT_EQ(records[0].noticeHtml, "<p>gone</p>");
    EXPECT_TRUE(log.contains("   Attachment checked, hr = 0x8000ffff, result: 2"));
    EXPECT_EQ(link->calls, (texts{"BreakConnection"}));
}

TEST_F(attachment_check, keeps_the_scanners_contents_as_notice)
{
    std::string html;
    while (html.size() < 3 * 4096 + 5) {
        html += "<p>" + std::to_string(html.size()) + "</p>";
    }
    for (int number = 0; number < 4; ++number) {
        file({.number = static_cast<std::uint32_t>(number), .size = 4});
    }
    answer(ScanResult::Blocked, test::reply_with(html));
    answer(ScanResult::Repaired, test::reply_with_request("repaired"));
    answer(ScanResult::Blocked, test::reply_without_contents());
    answer(ScanResult::Blocked, test::reply_with(""));
    EXPECT_EQ(check_all(), S_OK);
    ASSERT_EQ(records.size(), 4U);
    EXPECT_EQ(records[0].noticeHtml, html);
    EXPECT_EQ(records[1].noticeHtml, "repaired");
    EXPECT_EQ(records[1].scanResult, ScanResult::Repaired);
    EXPECT_EQ(records[2].noticeHtml, "");
    EXPECT_EQ(records[2].scanResult, ScanResult::Blocked);
    EXPECT_EQ(records[3].noticeHtml, "");
}

// --- embedded objects

TEST_F(attachment_check, gives_up_an_embedded_object)
{
    const auto attachment = message->attach({.number = 0, .size = 4, .method = 6});
    attachment->properties.set_object(PR_ATTACH_DATA_OBJ,
                                      ComPtr<IUnknown>(MakeCom<test::fake_object>(store, IID_IStorage)));
    EXPECT_EQ(check_all(), S_OK);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].scanResult, ScanResult::None);
    EXPECT_EQ(leveled(log).back(), "400    Attachment checked, hr = 0x80070057, result: 0");
    EXPECT_TRUE(scans().empty());
    EXPECT_EQ(attachment->open_flags, 0U);
}

TEST_F(attachment_check, tells_that_an_embedded_object_cannot_be_opened)
{
    const auto attachment = message->attach({.number = 0, .size = 4, .method = 6});
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log)[3], "200    Failed to get attach body storage = 0x8004010f");
    EXPECT_EQ(leveled(log)[4], "400    Attachment checked, hr = 0x80004002, result: 0");
    attachment->properties.set_object(PR_ATTACH_DATA_OBJ, ComPtr<IUnknown>(MakeCom<test::fake_object>(store)));
    log.clear();
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log)[3], "200    Failed to get attach body storage");
    EXPECT_EQ(leveled(log)[4], "400    Attachment checked, hr = 0x80004002, result: 0");
}

// --- embedded messages

class embedded_message : public attachment_check
{
protected:
    embedded_message()
    {
        embedded->properties.set_bytes(PR_ENTRYID, "\xEE");
        embedded->properties.set_bytes(PR_INTERNET_MESSAGE_ID_A, "<inner@host>");
        embedded->properties.set_wide(PR_SUBJECT_W, L"Inner");
        embedded->properties.set_bytes(PR_BODY_A, "inner text");
        message->attach({.number = 5, .size = 4, .method = 5, .display_name = L"inner"})
            ->properties.set_object(PR_ATTACH_DATA_OBJ, identity(embedded));
    }
    void TearDown() override
    {
        message.reset();
        embedded.reset();
        checker_fixture::TearDown();
    }
    ComPtr<fake_message> embedded = new_message();
};

TEST_F(embedded_message, goes_out_as_body_and_then_whole)
{
    answer(ScanResult::Clean);
    answer(ScanResult::Blocked, test::reply_with("<p>gone</p>"));
    EXPECT_EQ(check_all(), S_OK);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].scanResult, ScanResult::Blocked);
    EXPECT_EQ(records[0].noticeHtml, "<p>gone</p>");
    ASSERT_EQ(scans().size(), 2U);
    const auto& body = scans()[0].parameters;
    EXPECT_EQ(body.type, icap::client::content_type::body);
    EXPECT_EQ(body.tag, "<inner@host>");
    EXPECT_EQ(body.subject, "[From:Ada][Subject:Inner][Time:]");
    EXPECT_EQ(scans()[0].data, "inner text");
    const auto& sheet = scans()[1].parameters;
    EXPECT_EQ(sheet.type, icap::client::content_type::attachment);
    EXPECT_EQ(sheet.tag, "<inner@host>");
    EXPECT_EQ(sheet.mime_type, "text/html");
    EXPECT_EQ(sheet.attach_name, "");
    EXPECT_EQ(scans()[1].data, converter->mime);
}

TEST_F(embedded_message, tells_each_step)
{
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(test::leveled_without_reads(log),
              (texts{
                  "400 Checking message attachments",
                  "400 Number of attachments: 1",
                  "400  - Checking attachment ID: 5, name: 'inner'/'', tag: , size: 4 bytes, method: 5",
                  "500    Embedded message ID: EE",
                  "500    Embedded Internet Message ID: <inner@host>",
                  "500 Message subject: [From:Ada][Subject:Inner][Time:]",
                  "400 Checking mail body",
                  "400 Getting a plain body, size: 10",
                  "400 Native body type: 1",
                  "400 Body size: 10 (0x0)",
                  "400 CPID: 0",
                  "400 Starting the body scan",
                  "500 lease",
                  "400 Session ID = 7",
                  "500 scan",
                  "500 Checking message as MIME sheet",
                  "500 Message ID: EE",
                  "500 Internet Message ID: <inner@host>",
                  "400 Message conversion: starting",
                  "400 Message conversion: finished (0ms)",
                  "500 lease",
                  "400 Session ID = 7",
                  "500 Message subject: [From:Ada][Subject:Inner][Time:]",
                  "500 scan",
                  "400    Attachment checked, hr = 0x0, result: 1",
              }));
}

TEST_F(embedded_message, with_a_condemned_body_is_not_sent_whole)
{
    answer(ScanResult::Blocked, test::reply_with("<p>body</p>"));
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(scans().size(), 1U);
    EXPECT_EQ(converter->conversions, 0);
    EXPECT_EQ(records[0].scanResult, ScanResult::Blocked);
    EXPECT_EQ(records[0].noticeHtml, "<p>body</p>");
}

TEST_F(embedded_message, with_a_condemned_body_without_contents_has_no_notice)
{
    answer(ScanResult::Blocked);
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(records[0].scanResult, ScanResult::Blocked);
    EXPECT_EQ(records[0].noticeHtml, "");
}

TEST_F(embedded_message, takes_no_notice_from_a_sound_body)
{
    answer(ScanResult::Repaired, test::reply_with("<p>body</p>"));
    answer(ScanResult::Clean);
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(records[0].scanResult, ScanResult::Clean);
    EXPECT_EQ(records[0].noticeHtml, "");
}

TEST_F(embedded_message, without_an_internet_identifier_is_tagged_by_its_entry)
{
    embedded->properties.remove(PR_INTERNET_MESSAGE_ID_A);
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(scans()[0].parameters.tag, "EE");
    EXPECT_EQ(scans()[1].parameters.tag, "EE");
}

TEST_F(embedded_message, is_neither_looked_up_nor_stored)
{
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(store.calls("GetIDsFromNames"), 0);
    EXPECT_EQ(store.calls("SaveChanges"), 0);
    EXPECT_EQ(probe.verdicts().InternalSize(), 0U);
}

TEST_F(embedded_message, does_not_have_its_own_attachments_walked)
{
    file({.number = 0, .size = 4});
    embedded->attach({.number = 0, .size = 4});
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_TRUE(embedded->opened().empty());
    EXPECT_EQ(store.calls("GetAttachmentTable"), 1);
}

TEST_F(embedded_message, that_cannot_be_converted_gives_that_result)
{
    converter->result = E_OUTOFMEMORY;
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(records[0].scanResult, ScanResult::None);
    EXPECT_EQ(leveled(log).back(), "400    Attachment checked, hr = 0x8007000e, result: 0");
}

TEST_F(embedded_message, that_cannot_be_opened_fails)
{
    store.script("Attach.OpenProperty 3701000d", E_ACCESSDENIED);
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log)[3], "200    Failed to get embedded message from attach = 0x80070005");
    EXPECT_EQ(leveled(log)[4], "400    Attachment checked, hr = 0x80004005, result: 0");
    store.script("Attach.OpenProperty 3701000d", S_OK);
    log.clear();
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log)[3], "200    Failed to get embedded message from attach = 0x0");
}

TEST_F(embedded_message, that_is_no_message_fails)
{
    store.script("QueryMessage", E_NOINTERFACE);
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log)[3], "200    Failed to get embedded interface");
    EXPECT_EQ(leveled(log)[4], "400    Attachment checked, hr = 0x80004002, result: 0");
}

TEST_F(embedded_message, goes_out_whole_also_when_its_body_failed)
{
    embedded->properties.remove(PR_BODY_A);
    answer(ScanResult::Blocked);
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(scans().size(), 1U);
    EXPECT_EQ(records[0].scanResult, ScanResult::Blocked);
}

// --- filter of opened attachments

TEST_F(attachment_check, filters_executables_as_the_settings_say)
{
    EXPECT_FALSE(checker.IsAttachmentAllowed(L"a.exe"));
    EXPECT_TRUE(checker.IsAttachmentAllowed(L"a.txt"));
    EXPECT_TRUE(log.lines().empty());
    link->settings->BlockExecInAttach = {true, false, true};
    EXPECT_TRUE(checker.IsAttachmentAllowed(L"a.exe"));
    EXPECT_EQ(leveled(log), (texts{"400 Attachment filter is not applied"}));
    link->settings->BlockExecInAttach = {};
    link->settings->BlockExecInAttach.default_ = true;
    link->settings->UseOutlookPlugin = {true, false, true};
    EXPECT_TRUE(checker.IsAttachmentAllowed(L"a.exe"));
    link->settings.reset();
    EXPECT_TRUE(checker.IsAttachmentAllowed(L"a.exe"));
    EXPECT_EQ(log.lines().size(), 3U);
}

} // namespace
