#include "outlook/qdmailprotect/check/mail_checker.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <gtest/gtest.h>

namespace {

using test::stored_message;
using value = host::property_value;
using texts = std::vector<std::string>;

/// An attachment as its table shows it; empty names are omitted.
struct file_row
{
    std::uint32_t number = 0;
    std::uint32_t size = 0;
    std::uint32_t method = ATTACH_BY_VALUE;
    std::wstring display_name{};
    std::wstring long_name{};
    std::wstring short_name{};
    std::wstring mime_tag{};
};

host::attachment_record record_of(const file_row& row)
{
    host::attachment_record record;
    record.properties->set(PR_ATTACH_METHOD, value::of_long(row.method));
    for (const auto& [tag, text] : {std::pair{PR_DISPLAY_NAME_W, row.display_name},
                                    {PR_ATTACH_FILENAME_W, row.short_name},
                                    {PR_ATTACH_LONG_FILENAME_W, row.long_name},
                                    {PR_ATTACH_MIME_TAG_W, row.mime_tag}}) {
        if (!text.empty()) {
            record.properties->set(tag, value::of_text(text));
        }
    }
    return record;
}

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
    void attach(const file_row& row, host::attachment_record record)
    {
        message->attach(row.number, std::move(record));
        store.claim_size("attach" + std::to_string(row.number), row.size);
    }
    /// A file attachment with data.
    void file(const file_row& row, const std::string& data = "data")
    {
        host::attachment_record record = record_of(row);
        record.properties->set(PR_ATTACH_DATA_BIN, value::of_binary(host::bytes_of(data)));
        attach(row, std::move(record));
    }
    /// An attachment of method 6, with an embedded object if there is one.
    void embedded_object(host::storage_ptr object)
    {
        host::attachment_record record = record_of({.method = ATTACH_OLE});
        if (object) {
            record.properties->set(PR_ATTACH_DATA_OBJ, {PT_OBJECT, std::move(object)});
        }
        attach({.number = 0, .size = 4}, std::move(record));
    }
    void TearDown() override
    {
        message.reset();
        checker_fixture::TearDown();
    }

    std::unique_ptr<stored_message> message = new_message();
    std::vector<AttachmentResult> records;
};

TEST_F(attachment_check, of_a_mail_without_attachments)
{
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log), (texts{"400 Checking message attachments", "400 Number of attachments: 0"}));
}

TEST_F(attachment_check, without_a_table_gives_the_stores_result)
{
    store.fail_nth(1, E_ACCESSDENIED, "message.GetAttachmentTable");
    EXPECT_EQ(check_all(), E_ACCESSDENIED);
    EXPECT_EQ(leveled(log),
              (texts{"400 Checking message attachments", "200 Failed to get the attachment table, 0x80070005"}));
    store.fail_nth(1, S_OK, "message.GetAttachmentTable");
    log.clear();
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log).back(), "200 Failed to get the attachment table, 0x0");
}

TEST_F(attachment_check, without_rows_gives_the_stores_result)
{
    store.fail_nth(1, MAPI_E_CORRUPT_DATA, "message.table.QueryRows");
    EXPECT_EQ(check_all(), MAPI_E_CORRUPT_DATA);
    EXPECT_EQ(leveled(log).back(), "200 Failed to query rows from attachment table, 0x8004011b");
    store.fail_nth(1, S_OK, "message.table.QueryRows");
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
    EXPECT_EQ(store.calls("message.table.QueryRows"), (texts{"message.table.QueryRows 100 1"}));
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
    const auto name = [](ULONG tag, const wchar_t* text) { return std::pair{tag, value::of_text(text)}; };
    store.give_rows({
        {name(PR_ATTACH_LONG_FILENAME_W, L"long"), name(PR_ATTACH_FILENAME_W, L"short")},
        {name(PR_ATTACH_FILENAME_W, L"short"), name(PR_ATTACH_LONG_FILENAME_W, L"long")},
        {name(PR_ATTACH_FILENAME_W, L"short"), name(PR_ATTACH_LONG_FILENAME_W, L"")},
        {name(PR_ATTACH_LONG_FILENAME_W, L""), name(PR_ATTACH_FILENAME_W, L"short")},
    });
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
    file({.number = 0, .size = 4, .short_name = L"caf\x00E9.txt"});
    store.give_rows({{{PR_ATTACH_NUM, value::of_long(0)},
                      {PR_ATTACH_SIZE, value::of_long(4)},
                      {PR_ATTACH_METHOD, value::of_long(ATTACH_BY_VALUE)}}});
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(scans()[0].parameters.attach_name, winapi::conv_to_char(L"caf\x00E9.txt"));
    EXPECT_EQ(records[0].fileName, L"");
}

TEST_F(attachment_check, ignores_columns_of_another_type)
{
    store.give_rows({{{0x30010000, value::of_error(5)},
                      {0x3001001E, host::from_stream_bytes(PT_STRING8, host::bytes_of("narrow"))}}});
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
    EXPECT_TRUE(store.calls("message.OpenAttach").empty());
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
    store.fail_nth(1, E_ACCESSDENIED, "message.OpenAttach");
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
    store.fail_nth(1, S_OK, "message.OpenAttach");
    AttachmentResult record;
    record.attachMethod = 1;
    EXPECT_EQ(check_one(record), E_FAIL);
    EXPECT_EQ(leveled(log), (texts{"200    Failed to open attach = 0x0"}));
}

TEST_F(attachment_check, of_a_file_without_data_is_refused)
{
    attach({.number = 0, .size = 4}, record_of({}));
    AttachmentResult record;
    record.attachMethod = 1;
    EXPECT_EQ(check_one(record), E_INVALIDARG);
    EXPECT_EQ(leveled(log), (texts{"200    Failed to get attach body = 0x8004010f"}));
    store.fail_nth(1, S_OK, "attach0.OpenProperty 37010102");
    log.clear();
    EXPECT_EQ(check_one(record), E_INVALIDARG);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(attachment_check, of_contents_that_come_with_a_failure_is_refused)
{
    file({.number = 0, .size = 4});
    store.deny("attach0.OpenProperty 37010102", E_ACCESSDENIED);
    AttachmentResult record;
    record.attachMethod = 1;
    EXPECT_EQ(check_one(record), E_INVALIDARG);
    EXPECT_EQ(leveled(log), (texts{"200    Failed to get attach body = 0x80070005"}));
    EXPECT_TRUE(scans().empty());
}

TEST_F(attachment_check, of_what_is_no_stream_is_refused)
{
    file({.number = 0, .size = 4});
    AttachmentResult record;
    record.attachMethod = 1;
    store.refuse_each_way("attach0.37010102.QueryInterface IStream", E_NOINTERFACE, [&](HRESULT) {
        log.clear();
        EXPECT_EQ(check_one(record), E_NOINTERFACE);
        EXPECT_EQ(leveled(log), (texts{"200    Failed to open file body stream"}));
    });
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
    store.fail_nth(1, E_ACCESSDENIED, "attach0.37010102.Stat");
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
    embedded_object(std::make_shared<host::storage_tree>());
    EXPECT_EQ(check_all(), S_OK);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].scanResult, ScanResult::None);
    EXPECT_EQ(leveled(log).back(), "400    Attachment checked, hr = 0x80070057, result: 0");
    EXPECT_TRUE(scans().empty());
    EXPECT_EQ(store.calls("attach0.OpenProperty"), (texts{"attach0.OpenProperty 3701000d IStorage 0 0"}));
}

TEST_F(attachment_check, tells_that_an_embedded_object_cannot_be_opened)
{
    embedded_object(nullptr);
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log)[3], "200    Failed to get attach body storage = 0x8004010f");
    EXPECT_EQ(leveled(log)[4], "400    Attachment checked, hr = 0x80004002, result: 0");
    message->close();
    embedded_object(std::make_shared<host::storage_tree>());
    store.refuse_each_way("attach0.3701000d.QueryInterface IStorage", E_NOINTERFACE, [&](HRESULT) {
        log.clear();
        EXPECT_EQ(check_all(), S_OK);
        EXPECT_EQ(leveled(log)[3], "200    Failed to get attach body storage");
        EXPECT_EQ(leveled(log)[4], "400    Attachment checked, hr = 0x80004002, result: 0");
    });
}

// --- embedded messages

class embedded_message : public attachment_check
{
protected:
    embedded_message()
    {
        set(PR_ENTRYID, value::of_binary(host::bytes_of("\xEE")));
        set(PR_INTERNET_MESSAGE_ID_A, narrow("<inner@host>"));
        set(PR_SUBJECT_W, value::of_text(L"Inner"));
        set(PR_SENDER_NAME_W, value::of_text(L"Ada"));
        set(PR_NATIVE_BODY_INFO, value::of_long(1));
        set(PR_BODY_A, narrow("inner text"));
        const file_row row{.number = 5, .size = 4, .method = ATTACH_EMBEDDED_MSG, .display_name = L"inner"};
        host::attachment_record record = record_of(row);
        embedded->store = store.context();
        record.embedded = embedded;
        attach(row, std::move(record));
    }
    static value narrow(const char* text) { return host::from_stream_bytes(PT_STRING8, host::bytes_of(text)); }
    void set(ULONG tag, value contents) { embedded->properties->set(tag, std::move(contents)); }
    void remove(ULONG tag) { embedded->properties->erase(PROP_ID(tag)); }

    std::shared_ptr<host::message_record> embedded = std::make_shared<host::message_record>();
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
    remove(PR_INTERNET_MESSAGE_ID_A);
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(scans()[0].parameters.tag, "EE");
    EXPECT_EQ(scans()[1].parameters.tag, "EE");
}

TEST_F(embedded_message, is_neither_looked_up_nor_stored)
{
    EXPECT_EQ(check_all(), S_OK);
    for (const std::string name : {"message.", "attach5.3701000d."}) {
        EXPECT_TRUE(store.calls(name + "GetIDsFromNames").empty());
        EXPECT_TRUE(store.calls(name + "SaveChanges").empty());
    }
    EXPECT_EQ(probe.verdicts().InternalSize(), 0U);
}

TEST_F(embedded_message, does_not_have_its_own_attachments_walked)
{
    file({.number = 0, .size = 4});
    embedded->attachments[0] = record_of({});
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_TRUE(store.calls("attach5.3701000d.OpenAttach").empty());
    EXPECT_TRUE(store.calls("attach5.3701000d.GetAttachmentTable").empty());
    EXPECT_EQ(store.calls("message.GetAttachmentTable").size(), 1U);
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
    store.fail_nth(1, E_ACCESSDENIED, "attach5.OpenProperty 3701000d");
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log)[3], "200    Failed to get embedded message from attach = 0x80070005");
    EXPECT_EQ(leveled(log)[4], "400    Attachment checked, hr = 0x80004005, result: 0");
    store.fail_nth(1, S_OK, "attach5.OpenProperty 3701000d");
    log.clear();
    EXPECT_EQ(check_all(), S_OK);
    EXPECT_EQ(leveled(log)[3], "200    Failed to get embedded message from attach = 0x0");
}

TEST_F(embedded_message, that_is_no_message_fails)
{
    store.refuse_each_way("attach5.3701000d.QueryInterface IMessage", E_NOINTERFACE, [&](HRESULT) {
        log.clear();
        EXPECT_EQ(check_all(), S_OK);
        EXPECT_EQ(leveled(log)[3], "200    Failed to get embedded interface");
        EXPECT_EQ(leveled(log)[4], "400    Attachment checked, hr = 0x80004002, result: 0");
    });
}

TEST_F(embedded_message, goes_out_whole_also_when_its_body_failed)
{
    remove(PR_BODY_A);
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
