// Encrypted mail through the whole logic: the reader's own key opens it, the check judges the contents, and
// disinfection changes the base message behind the wrapper.

#include "desk/run/snapshot.h"
#include "mail/mime/reading/message_reader.h"
#include "mail/smime/enveloped_message.h"
#include "service/engine/builtin_engine.h"
#include "service/notice_page.h"
#include "service/scan_server.h"
#include "tests/end_to_end/counting_engine.h"
#include "tests/end_to_end/desk.h"
#include "tests/mail/smime/smime_fixture.h"
#include "tests/support/log_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using host::test::encrypted;
using host::test::entity_with_attachment;
using host::test::key_pair;
using host::test::text_entity;
using testing::HasSubstr;

constexpr const char* replaced_subject =
    "[Morvelane Ostrand 10.1] Malicious or other object is detected. The e-mail is "
    "modified.";

class EncryptedMail : public testing::Test
{
protected:
    static void SetUpTestSuite() { keys = std::make_unique<key_pair>("ben"); }
    static void TearDownTestSuite() { keys.reset(); }

    void SetUp() override
    {
        service::server_options options;
        options.custom_engine = engine;
        server = std::make_unique<service::scan_server>(options);
        server->start();
        reader = std::make_unique<test::desk>(server->port(),
                                              std::make_shared<host::smime_identity>(keys->key(), keys->certificate()));
    }
    static std::string sealed(const std::string& entity) { return encrypted(entity, {keys->certificate()}); }
    static std::string html(const host::message_snapshot& message)
    {
        return message.html ? host::to_string(*message.html) : "(none)";
    }
    static const host::attachment_snapshot* find(const host::message_snapshot& message, const std::string& name)
    {
        const auto found = std::find_if(message.attachments.begin(), message.attachments.end(),
                                        [&name](const auto& entry) { return entry.name == name; });
        return found == message.attachments.end() ? nullptr : &*found;
    }
    /// Expects that the message in the store, or a copy of it, is a plain message with the service's page as its body.
    static void expect_page(const host::message_snapshot& message, const std::string& object_name)
    {
        EXPECT_EQ("IPM.Note", message.message_class);
        EXPECT_EQ(replaced_subject, message.subject);
        EXPECT_EQ(3U, message.body_type);
        EXPECT_EQ(nullptr, message.body);
        const std::string page = service::notice_page("EICAR-Test-File", object_name);
        const std::size_t image = page.find("data:");
        ASSERT_NE(std::string::npos, image);
        EXPECT_EQ(page.substr(0, image), html(message).substr(0, image));
        EXPECT_THAT(html(message).substr(image), testing::StartsWith("cid:"));
        const auto* hidden = find(message, "qdimg0001.png");
        ASSERT_NE(nullptr, hidden);
        EXPECT_TRUE(hidden->hidden);
    }

    static std::unique_ptr<key_pair> keys;
    std::shared_ptr<test::counting_engine> engine =
        std::make_shared<test::counting_engine>(std::make_shared<service::builtin_engine>());
    std::unique_ptr<service::scan_server> server;
    std::unique_ptr<test::desk> reader;
};

std::unique_ptr<key_pair> EncryptedMail::keys;

TEST_F(EncryptedMail, ThatIsCleanStaysEncryptedAndKeepsItsVerdict)
{
    const auto stored = reader->receive(sealed(entity_with_attachment("Inside.", "a.txt", "harmless")));
    const auto first = reader->open(stored);
    EXPECT_EQ(ScanResult::Clean, first.verdict);
    EXPECT_FALSE(first.blocked);
    EXPECT_EQ("", first.closed);
    EXPECT_EQ(2U, engine->take_count()); // the body and the attachment inside
    const auto kept = take_snapshot(first.shown);
    EXPECT_EQ(1U, kept.verdict_property);
    EXPECT_EQ("", describe_changes(take_snapshot(*stored), kept));
    EXPECT_TRUE(host::is_enveloped(first.shown));
    const auto again = reader->reopen(first);
    EXPECT_EQ(ScanResult::Clean, again.verdict);
    EXPECT_EQ(0U, engine->take_count());
}

TEST_F(EncryptedMail, WithACondemnedBodyIsNotShownAndGivesUpItsEncryption)
{
    const auto stored =
        reader->receive(sealed(entity_with_attachment(test::antivirus_test_file(), "a.txt", "harmless")));
    const test::log_capture log;
    const auto first = reader->open(stored);
    EXPECT_EQ(S_OK, first.result);
    EXPECT_EQ(ScanResult::Blocked, first.verdict);
    EXPECT_TRUE(first.blocked);
    for (const char* line :
         {"Message encrypted, block its first display",
          "The message is encrypted, starting the special disinfection procedure...", "Got the base message",
          "Old message class: IPM.Note.SMIME", "Changing the class... result = 0x0"}) {
        EXPECT_TRUE(log.contains(line)) << line;
    }
    expect_page(take_snapshot(*stored), "");
    EXPECT_EQ(std::nullopt, take_snapshot(*stored).verdict_property); // written after the only save
    const auto kept = take_snapshot(first.shown);
    expect_page(kept, "");
    EXPECT_EQ(2U, kept.verdict_property);
    const auto* old_text = find(kept, "original_body.txt");
    ASSERT_NE(nullptr, old_text);
    EXPECT_EQ("Subject: Quarter\r\n\r\nBody:\r\n\r\n" + test::antivirus_test_file(), host::to_string(*old_text->data));
    EXPECT_NE(nullptr, find(kept, "smime.p7m")); // disinfection of an encrypted message deletes no attachment
    EXPECT_EQ(nullptr, find(kept, "a.txt"));
}

TEST_F(EncryptedMail, ThatGaveUpItsEncryptionOpensPlainAndSendsNothing)
{
    const auto first = reader->open(sealed(text_entity(test::antivirus_test_file())));
    engine->take_count();
    test::desk without_key(server->port());
    for (test::desk* where : {reader.get(), &without_key}) {
        const auto again = where->reopen(first);
        EXPECT_EQ(ScanResult::Blocked, again.verdict);
        EXPECT_FALSE(again.blocked);
        EXPECT_EQ("", again.closed);
        EXPECT_EQ(0U, engine->take_count());
        EXPECT_EQ("", describe_changes(take_snapshot(first.shown), take_snapshot(again.shown)));
    }
}

TEST_F(EncryptedMail, WhoseVerdictNobodySavedIsBlockedWhileTheProcessRemembers)
{
    const auto stored = reader->receive(sealed(text_entity(test::antivirus_test_file())));
    reader->open(stored);
    engine->take_count();
    const auto again = reader->open(stored);
    EXPECT_TRUE(again.blocked);
    EXPECT_EQ(ScanResult::Blocked, again.verdict);
    EXPECT_EQ(0U, engine->take_count());
}

TEST_F(EncryptedMail, WithOnlyACondemnedAttachmentIsShownOnceAndTakesTheNoticeAsItsBody)
{
    const auto stored =
        reader->receive(sealed(entity_with_attachment("Inside.", "a.com", test::antivirus_test_file())));
    const test::log_capture log;
    const auto first = reader->open(stored);
    EXPECT_EQ(ScanResult::Blocked, first.verdict);
    EXPECT_FALSE(first.blocked);
    EXPECT_FALSE(log.contains("Message encrypted, block its first display"));
    const auto kept = take_snapshot(first.shown);
    expect_page(kept, "a.com");
    EXPECT_EQ(2U, kept.verdict_property);
    EXPECT_EQ(nullptr, find(kept, "a.com.htm")); // the notice is the body, not an attachment
    EXPECT_EQ("Subject: Quarter\r\n\r\nBody:\r\n\r\nInside.", host::to_string(*find(kept, "original_body.txt")->data));
    const auto again = reader->reopen(first);
    EXPECT_FALSE(again.blocked);
    EXPECT_EQ(ScanResult::Blocked, again.verdict);
}

TEST_F(EncryptedMail, InHtmlMayHaveNoOldText)
{
    const auto first =
        reader->open(sealed("Content-Type: text/html; charset=utf-8\r\n\r\n<p>" + test::antivirus_test_file()));
    EXPECT_TRUE(first.blocked);
    const auto kept = take_snapshot(first.shown);
    expect_page(kept, "");
    EXPECT_EQ(nullptr, find(kept, "original_body.txt"));
    EXPECT_THAT(describe_changes(take_snapshot(*reader->receive("Subject: a\r\n\r\n")), kept),
                HasSubstr("body replaced"));
}

TEST_F(EncryptedMail, OpensWithoutContentsForOthersAndIsJudgedByNobody)
{
    test::desk stranger(server->port());
    const key_pair other("carl");
    test::desk second(server->port(), std::make_shared<host::smime_identity>(other.key(), other.certificate()));
    const std::string mail = sealed(text_entity(test::antivirus_test_file()));
    for (test::desk* where : {&stranger, &second}) {
        const auto stored = where->receive(mail);
        const auto opened = where->open(stored);
        EXPECT_EQ(S_OK, opened.result);
        EXPECT_EQ(ScanResult::None, opened.verdict);
        EXPECT_FALSE(opened.blocked);
        EXPECT_NE("", opened.closed);
        EXPECT_EQ(0U, engine->take_count());
        EXPECT_EQ(std::nullopt, take_snapshot(opened.shown).verdict_property);
        EXPECT_TRUE(host::is_enveloped(*stored));
    }
}

TEST_F(EncryptedMail, ThatIsDamagedOpensWithoutContents)
{
    std::string mail = sealed(text_entity(std::string(1000, 'x')));
    mail.resize(mail.size() * 2 / 3);
    const auto opened = reader->open(mail);
    EXPECT_EQ(S_OK, opened.result);
    EXPECT_EQ(ScanResult::None, opened.verdict);
    EXPECT_NE("", opened.closed);
    EXPECT_EQ(0U, engine->take_count());
}

TEST_F(EncryptedMail, ThatIsOnlySignedIsPlainMailToTheCheck)
{
    const host::test::temporary_folder folder;
    const std::string output = (folder.path() / "signed").string();
    host::test::openssl({"cms", "-sign", "-in",
                         folder.write("plain", text_entity(test::antivirus_test_file())).string(), "-out", output,
                         "-signer", keys->certificate(), "-inkey", keys->key()});
    const auto stored = std::make_shared<host::message_record>(
        host::read_message(host::bytes_of_file(output), "signed", std::make_shared<host::store_context>()));
    const auto opened = reader->open(stored);
    EXPECT_EQ(ScanResult::Blocked, opened.verdict);
    EXPECT_FALSE(opened.blocked);
    EXPECT_EQ("IPM.Note.SMIME.MultipartSigned", take_snapshot(opened.shown).message_class);
    EXPECT_EQ(replaced_subject, take_snapshot(opened.shown).subject);
}

} // namespace
