#include "outlook/qdmailprotect/disinfection/mail_disinfector.h"
#include "outlook/qdmailprotect/verdict/verdict_cache.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tests/outlook/qdmailprotect/support/stored_message.h"
#include "tool/icap/response_message.h"

#include <boost/archive/iterators/dataflow_exception.hpp>
#include <gtest/gtest.h>

namespace mail_disinfector_test {

using texts = std::vector<std::string>;
using test::condemned_record;

const std::string NewSubject =
    "[Morvelane Ostrand 10.1] Malicious or other object is detected. The e-mail is modified.";

/// Texts that are all empty.
class no_texts final : public StringResources
{
public:
    [[nodiscard]] std::wstring Load(std::uint32_t) const override { return {}; }
};

AttachmentResult clean_record(std::uint32_t number, std::wstring name)
{
    AttachmentResult record = condemned_record(number, std::move(name), "");
    record.scanResult = ScanResult::Clean;
    return record;
}

class mail_disinfector : public ::testing::Test
{
protected:
    mail_disinfector()
    {
        message.attach(0, L"a.txt", "sound");
        message.attach(1, L"b.doc", "evil");
        message.attach(2, L"c.zip", "evil too");
        verdicts.IsEncrypted(&message.object()); // resolves the name, so that it appears in no list of calls
        store.clear();
        log.clear();
    }
    void TearDown() override
    {
        EXPECT_EQ(message.saves, 0) << "the message itself is never saved";
        message.close();
        item.reset();
        EXPECT_EQ(store.alive, 0) << "a reference was not released";
    }

    HRESULT disinfect()
    {
        return disinfector->DisinfectMessage(verdicts, message.reference(), body, attachments, item);
    }
    /// Returns the log without the lines of the encryption check.
    [[nodiscard]] texts course() const
    {
        texts lines = test::leveled_without_reads(log);
        EXPECT_EQ(lines.front(), "400 Getting ContentTypeID: 0x8000001f");
        lines.erase(lines.begin());
        return lines;
    }
    void condemn_body(const std::string& page = "<p>gone</p>")
    {
        body.bodyType = 3;
        body.scanResult = ScanResult::Blocked;
        body.scanResponse = test::reply_with(page);
    }

    winapi::memory_registry registry;
    winapi::registry_override registry_is{registry};
    test::scripted_store store;
    test::stored_message message{store};
    ComPtr<IUnknown> item{MakeCom<test::scripted_message>(store, "item", nullptr)->reference()};
    VerdictCache verdicts;
    test::log_capture log;
    MailBodyInfo body;
    std::vector<AttachmentResult> attachments;
    std::shared_ptr<MessageDisinfector> disinfector = MakeMailDisinfector();
};

TEST_F(mail_disinfector, of_no_message_is_refused)
{
    EXPECT_EQ(disinfector->DisinfectMessage(verdicts, nullptr, body, attachments, item), E_INVALIDARG);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(mail_disinfector, replaces_condemned_attachments_by_notices)
{
    attachments = {condemned_record(1, L"b.doc", "<p>b</p>"), clean_record(0, L"a.txt")};
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(message.attachments(), (texts{"0 a.txt", "2 c.zip", "3 b.doc.htm"}));
    EXPECT_EQ(message.value(3, PR_ATTACH_DATA_BIN), "<p>b</p>");
    EXPECT_EQ(message.value(3, PR_ATTACH_MIME_TAG_W), "text/html");
    EXPECT_EQ(message.value(3, PR_ATTACH_METHOD), "1");
    EXPECT_EQ(message.value(PR_SUBJECT_W), NewSubject);
    EXPECT_TRUE(attachments[1].deleted);
    EXPECT_FALSE(attachments[0].deleted);
    EXPECT_EQ(course(), (texts{
                            "400 Disinfecting message...",
                            "400 Processing 2 attachments for deletion",
                            "400    Attach ID 0 (a.txt) scan result: 1",
                            "400    Attach ID 1 (b.doc) scan result: 2",
                            "400    Deleting attach 1",
                            "400    Attach deleted successfully",
                            "400    Skipping the new attach creation for 0, HTML size = 0",
                            "400 Adding a text attach - 'b.doc.htm', MIME tag: text/html",
                            "500 Saving the text attach changes...",
                            "400    Added new attach: b.doc.htm, result: 0x0",
                        }));
}

TEST_F(mail_disinfector, touches_the_store_in_its_order)
{
    attachments = {condemned_record(2, L"c.zip", "<p>c</p>"), condemned_record(1, L"b.doc", "<p>b</p>")};
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(store.calls("message."),
              (texts{"message.GetProps 8000001f 80000000", "message.DeleteAttach 1 0 null 0",
                     "message.DeleteAttach 2 0 null 0", "message.CreateAttach null 0", "message.CreateAttach null 0",
                     "message.SetProps 0037001f=" + NewSubject}));
    EXPECT_EQ(message.attachments(), (texts{"0 a.txt", "3 b.doc.htm", "4 c.zip.htm"})) << "all by their numbers";
}

TEST_F(mail_disinfector, keeps_the_order_of_records_of_one_number)
{
    attachments = {condemned_record(1, L"first", ""), condemned_record(1, L"second", ""), clean_record(0, L"a.txt"),
                   condemned_record(1, L"third", "")};
    disinfect();
    std::vector<std::wstring> names;
    for (const AttachmentResult& record : attachments) {
        names.push_back(record.fileName);
    }
    EXPECT_EQ(names, (std::vector<std::wstring>{L"a.txt", L"first", L"second", L"third"}));
}

TEST_F(mail_disinfector, with_nothing_condemned_changes_nothing)
{
    attachments = {clean_record(0, L"a.txt")};
    attachments[0].noticeHtml = "<p>repaired</p>";
    attachments[0].scanResult = ScanResult::Repaired;
    body.scanResult = ScanResult::Clean;
    body.scanResponse = test::reply_with("<p>x</p>");
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(message.attachments(), (texts{"0 a.txt", "1 b.doc", "2 c.zip"}));
    EXPECT_EQ(message.value(PR_SUBJECT_W), "Old subject");
    EXPECT_EQ(message.value(PR_HTML), "<p>Old and long body</p>");
    EXPECT_EQ(course(), (texts{
                            "400 Disinfecting message...",
                            "400 Processing 1 attachments for deletion",
                            "400    Attach ID 0 (a.txt) scan result: 3",
                            "400    Skipping the new attach creation for 0, HTML size = 15",
                        }));
}

TEST_F(mail_disinfector, without_attachments_only_replaces_the_body)
{
    condemn_body();
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(message.value(PR_HTML), std::string("<p>gone</p>") + '\0');
    EXPECT_EQ(message.value(PR_SUBJECT_W), NewSubject);
    EXPECT_EQ(course(), (texts{
                            "400 Disinfecting message...",
                            "400 Modifying mail body (type 3)",
                            "500 Deleted the plain body: 0x0",
                            "200 Getting new HTML body from ICAP scanner",
                            "500 Modified the body data",
                        }));
}

TEST_F(mail_disinfector, replaces_attachments_before_the_body_and_the_body_before_the_subject)
{
    condemn_body();
    attachments = {condemned_record(1, L"b.doc", "<p>b</p>")};
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(
        store.calls("message."),
        (texts{"message.GetProps 8000001f 80000000", "message.DeleteAttach 1 0 null 0", "message.CreateAttach null 0",
               "message.DeleteProps 1000001f", "message.OpenProperty 10130102 IStream 1 1",
               "message.10130102.QueryInterface IStream", "message.SetProps 10160003=3",
               "message.SetProps 3fde0003=65001", "message.10130102.Seek 0 0", "message.10130102.Write 12",
               "message.10130102.SetSize 12", "message.SetProps 0037001f=" + NewSubject}));
}

TEST_F(mail_disinfector, leaves_a_body_without_a_page)
{
    for (const auto& response : {std::shared_ptr<icap::response_message>(), test::reply_without_contents()}) {
        body.scanResult = ScanResult::Blocked;
        body.scanResponse = response;
        EXPECT_EQ(disinfect(), S_OK);
        EXPECT_EQ(message.value(PR_HTML), "<p>Old and long body</p>");
        EXPECT_EQ(message.value(PR_SUBJECT_W), "Old subject");
    }
}

TEST_F(mail_disinfector, leaves_a_body_that_is_not_condemned)
{
    for (const ScanResult result : {ScanResult::None, ScanResult::Clean, ScanResult::Repaired}) {
        condemn_body();
        body.scanResult = result;
        EXPECT_EQ(disinfect(), S_OK);
        EXPECT_EQ(message.value(PR_HTML), "<p>Old and long body</p>");
    }
}

TEST_F(mail_disinfector, names_the_notice_of_a_nameless_attachment_by_its_number)
{
    message.close();
    test::stored_message nameless(store);
    nameless.attach(3, L"", "evil");
    attachments = {condemned_record(3, L"", "<p>gone</p>")};
    EXPECT_EQ(disinfector->DisinfectMessage(verdicts, nameless.reference(), body, attachments, item), S_OK);
    EXPECT_EQ(nameless.attachments(), (texts{"4 3.htm"}));
    EXPECT_TRUE(log.contains("   Attach ID 3 () scan result: 2"));
}

TEST_F(mail_disinfector, gives_two_attachments_of_one_name_two_notices_of_one_name)
{
    attachments = {condemned_record(1, L"same", "<p>1</p>"), condemned_record(2, L"same", "<p>2</p>")};
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(message.attachments(), (texts{"0 a.txt", "3 same.htm", "4 same.htm"}));
    EXPECT_EQ(message.value(4, PR_ATTACH_DATA_BIN), "<p>2</p>");
}

TEST_F(mail_disinfector, deletes_without_a_notice_where_the_scanner_gave_none)
{
    attachments = {condemned_record(1, L"b.doc", "")};
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(message.attachments(), (texts{"0 a.txt", "2 c.zip"}));
    EXPECT_EQ(message.value(PR_SUBJECT_W), NewSubject);
    EXPECT_EQ(course().back(), "400    Skipping the new attach creation for 1, HTML size = 0");
}

TEST_F(mail_disinfector, leaves_no_notice_for_what_could_not_be_deleted)
{
    store.fail("message.DeleteAttach 1", MAPI_E_NO_ACCESS);
    attachments = {condemned_record(1, L"b.doc", "<p>b</p>"), condemned_record(2, L"c.zip", "<p>c</p>")};
    EXPECT_EQ(disinfect(), S_OK) << "the result of the last step that gave one";
    EXPECT_EQ(message.attachments(), (texts{"0 a.txt", "1 b.doc", "3 c.zip.htm"}));
    EXPECT_FALSE(attachments[0].deleted);
    EXPECT_EQ(course(), (texts{
                            "400 Disinfecting message...",
                            "400 Processing 2 attachments for deletion",
                            "400    Attach ID 1 (b.doc) scan result: 2",
                            "400    Deleting attach 1",
                            "200    Failed to delete attach = 0x80070005",
                            "400    Attach ID 2 (c.zip) scan result: 2",
                            "400    Deleting attach 2",
                            "400    Attach deleted successfully",
                            "400    Skipping the new attach creation for 1, HTML size = 8",
                            "400 Adding a text attach - 'c.zip.htm', MIME tag: text/html",
                            "500 Saving the text attach changes...",
                            "400    Added new attach: c.zip.htm, result: 0x0",
                        }));
}

TEST_F(mail_disinfector, gives_the_last_result_of_a_deletion_or_notice)
{
    store.fail("message.DeleteAttach 2", MAPI_E_NO_ACCESS);
    attachments = {condemned_record(1, L"b.doc", ""), condemned_record(2, L"c.zip", "")};
    EXPECT_EQ(disinfect(), MAPI_E_NO_ACCESS);
    EXPECT_EQ(message.value(PR_SUBJECT_W), NewSubject) << "one was deleted";

    store.clear();
    store.fail("message.CreateAttach", MAPI_E_NO_ACCESS);
    attachments = {condemned_record(2, L"c.zip", "<p>c</p>"), clean_record(3, L"")};
    EXPECT_EQ(disinfect(), E_FAIL);
    EXPECT_TRUE(log.contains("   Added new attach: c.zip.htm, result: 0x80004005"));
}

TEST_F(mail_disinfector, with_nothing_deleted_leaves_the_subject)
{
    store.fail("message.DeleteAttach", MAPI_E_NO_ACCESS);
    attachments = {condemned_record(1, L"b.doc", "<p>b</p>")};
    EXPECT_EQ(disinfect(), MAPI_E_NO_ACCESS);
    EXPECT_EQ(message.value(PR_SUBJECT_W), "Old subject");
}

TEST_F(mail_disinfector, goes_on_where_a_notice_cannot_be_made)
{
    store.fail("attach3.OpenProperty", MAPI_E_NO_ACCESS);
    attachments = {condemned_record(1, L"b.doc", "<p>b</p>"), condemned_record(2, L"c.zip", "<p>c</p>")};
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(message.attachments(), (texts{"0 a.txt", "4 c.zip.htm"})) << "of b.doc only the log tells";
    EXPECT_TRUE(log.contains("   Added new attach: b.doc.htm, result: 0x80004002"));
    EXPECT_EQ(message.value(PR_SUBJECT_W), NewSubject);
}

TEST_F(mail_disinfector, leaves_the_subject_where_the_body_failed_even_if_attachments_went)
{
    condemn_body();
    store.fail("message.OpenProperty", MAPI_E_NO_ACCESS);
    attachments = {condemned_record(1, L"b.doc", "<p>b</p>")};
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(message.attachments(), (texts{"0 a.txt", "2 c.zip", "3 b.doc.htm"}));
    EXPECT_EQ(message.value(PR_SUBJECT_W), "Old subject");
}

TEST_F(mail_disinfector, marks_the_subject_where_the_body_changed_though_no_attachment_went)
{
    condemn_body();
    store.fail("message.DeleteAttach", MAPI_E_NO_ACCESS);
    attachments = {condemned_record(1, L"b.doc", "<p>b</p>")};
    EXPECT_EQ(disinfect(), MAPI_E_NO_ACCESS);
    EXPECT_EQ(message.value(PR_SUBJECT_W), NewSubject);
}

TEST_F(mail_disinfector, without_a_text_leaves_the_subject_alone)
{
    disinfector = MakeMailDisinfector(std::make_shared<no_texts>());
    attachments = {condemned_record(1, L"b.doc", "<p>b</p>")};
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(message.value(PR_SUBJECT_W), "Old subject");
    EXPECT_TRUE(store.calls("message.SetProps").empty());
}

TEST_F(mail_disinfector, does_not_mind_a_subject_that_cannot_be_written)
{
    store.fail("message.SetProps 0037001f", MAPI_E_NO_ACCESS);
    attachments = {condemned_record(1, L"b.doc", "")};
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(message.value(PR_SUBJECT_W), "Old subject");
}

TEST_F(mail_disinfector, uses_nothing_of_the_item)
{
    condemn_body();
    attachments = {condemned_record(1, L"b.doc", "<p>b</p>")};
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_TRUE(store.calls("item.").empty());
    EXPECT_EQ(disinfector->DisinfectMessage(verdicts, message.reference(), body, attachments, nullptr), S_OK);
}

TEST_F(mail_disinfector, lets_the_decoders_error_out_with_all_references_released)
{
    condemn_body("<img src=\"data:a/b;base64,***\">");
    attachments = {condemned_record(1, L"b.doc", "<p>b</p>")};
    EXPECT_THROW(disinfect(), boost::archive::iterators::dataflow_exception);
    EXPECT_EQ(message.value(PR_SUBJECT_W), "Old subject");
    EXPECT_EQ(message.attachments(), (texts{"0 a.txt", "2 c.zip", "3 b.doc.htm"})) << "what was done before stays";
}

TEST_F(mail_disinfector, hands_an_encrypted_message_on)
{
    message.close();
    test::stored_message wrapper(store, "wrapper");
    wrapper.make_encrypted();
    wrapper.object().wrap(message.reference());
    attachments = {condemned_record(1, L"b.doc", "<p>b</p>")};
    EXPECT_EQ(disinfector->DisinfectMessage(verdicts, wrapper.reference(), body, attachments, item), S_OK);
    EXPECT_TRUE(store.calls("wrapper.DeleteAttach").empty());
    EXPECT_EQ(message.attachments(), (texts{"0 a.txt", "1 b.doc", "2 c.zip"}));
    EXPECT_EQ(message.value(PR_HTML), std::string("<p>b</p>") + '\0');
    EXPECT_FALSE(attachments[0].deleted);
    EXPECT_EQ(message.saves, 1);
    message.saves = 0;
    EXPECT_TRUE(log.contains("The message is encrypted, starting the special disinfection procedure..."));
    EXPECT_FALSE(log.contains("Disinfecting message..."));
    wrapper.close();
}

TEST(string_resources, are_english)
{
    const auto english = EnglishTexts();
    EXPECT_EQ(english->Load(660),
              L"[Morvelane Ostrand 10.1] Malicious or other object is detected. The e-mail is modified.");
    EXPECT_EQ(english->Load(661), L"Body:");
    EXPECT_EQ(english->Load(662), L"Subject:");
    EXPECT_EQ(english->Load(659), L"");
    EXPECT_EQ(english->Load(663), L"");
}

} // namespace mail_disinfector_test
