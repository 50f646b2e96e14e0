// A store whose n-th operation fails, for every n: whatever the failure, no reference is leaked, and no part of a
// message is lost except those that must be removed.

#include "outlook/qdmailprotect/access/attachment_creation.h"
#include "outlook/qdmailprotect/disinfection/body_rewriting.h"
#include "outlook/qdmailprotect/disinfection/encrypted_message.h"
#include "outlook/qdmailprotect/disinfection/mail_disinfector.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tests/outlook/qdmailprotect/support/stored_message.h"
#include "tool/icap/response_message.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace {

using texts = std::vector<std::string>;
using values = std::map<ULONG, std::string>;
using test::stored_message;

const std::string Page = "<img src=\"data:image/png;base64,QUJD\"><p>gone</p>";
const std::string NewSubject =
    "[Morvelane Ostrand 10.1] Malicious or other object is detected. The e-mail is modified.";

/// The results that the store may return instead of success; S_OK denotes claimed success without a result.
const std::vector<HRESULT> Failures{MAPI_E_CALL_FAILED, MAPI_E_NOT_FOUND, S_OK};

/// The initial state of a message.
struct before
{
    explicit before(stored_message& message)
        : properties(test::values_of(*message.now().properties))
    {
        for (const auto& [number, attachment] : message.now().attachments) {
            attachments[number] = test::values_of(*attachment.properties);
        }
    }
    values properties;
    std::map<std::uint32_t, values> attachments;
};

/// Checks that every property except those that disinfection changes is unchanged, and likewise every attachment except
/// the condemned ones, each of which is complete or deleted. New attachments must have one of the expected names.
void expect_nothing_lost(stored_message& message, const before& was, const std::set<std::uint32_t>& condemned)
{
    static const std::set<ULONG> changing{PR_BODY_W,        PR_HTML,      PR_NATIVE_BODY_INFO,
                                          PR_INTERNET_CPID, PR_SUBJECT_W, PR_MESSAGE_CLASS_W};
    static const std::set<std::string> new_names{"1.htm",         "b.doc.htm",     "c.zip.htm",
                                                 "forwarded.htm", "qdimg0001.png", "original_body.txt"};
    const values now = test::values_of(*message.now().properties);
    for (const auto& [tag, value] : was.properties) {
        if (changing.count(tag) == 0) {
            EXPECT_EQ(now.count(tag) ? now.at(tag) : "(gone)", value) << "property " << tag;
        }
    }
    for (const auto& [number, attachment] : was.attachments) {
        const auto found = message.now().attachments.find(number);
        if (found == message.now().attachments.end()) {
            EXPECT_TRUE(condemned.count(number)) << "attachment " << number << " is lost";
        } else {
            EXPECT_EQ(test::values_of(*found->second.properties), attachment) << "attachment " << number;
        }
    }
    for (const auto& [number, attachment] : message.now().attachments) {
        if (was.attachments.count(number) == 0) {
            const auto name = test::value_of(*attachment.properties, PR_ATTACH_LONG_FILENAME_W);
            EXPECT_TRUE(!name || new_names.count(*name)) << *name;
        }
    }
    const auto subject = message.value(PR_SUBJECT_W);
    EXPECT_TRUE(subject == "Old subject" || subject == NewSubject) << subject.value_or("(gone)");
}

class failing_store : public ::testing::Test
{
protected:
    failing_store()
    {
        body.bodyType = 3;
        body.subject = "Old subject";
        body.plainBody = "Old text";
        body.scanResult = ScanResult::Blocked;
        body.scanResponse = test::reply_with(Page);
    }

    static void fill(stored_message& message)
    {
        message.attach(0, L"a.txt", "sound");
        message.attach(1, L"b.doc", "evil");
        message.attach(2, L"c.zip", "evil too");
    }
    static std::vector<AttachmentResult> records()
    {
        AttachmentResult sound = test::condemned_record(0, L"a.txt", "<p>sound</p>");
        sound.scanResult = ScanResult::Clean;
        return {test::condemned_record(2, L"c.zip", "<p>c</p>"), sound,
                test::condemned_record(1, L"b.doc", "<p>b</p>")};
    }

    /// Runs `operation` repeatedly, with each of the store's operations failing in turn and in each of the ways, until
    /// no operation is left to fail. Each run has its own store, which must contain no objects at its end.
    void fail_everywhere(const std::function<void(test::scripted_store&)>& operation, std::size_t at_least)
    {
        for (const HRESULT failure : Failures) {
            std::size_t n = 1;
            for (;; ++n) {
                SCOPED_TRACE("operation " + std::to_string(n) + " gives " + std::to_string(failure));
                test::scripted_store store;
                store.fail_nth(n, failure);
                operation(store);
                EXPECT_EQ(store.alive, 0) << "a reference was not released";
                if (HasFailure()) {
                    return;
                }
                if (store.calls().size() < n) {
                    break;
                }
            }
            EXPECT_GT(n, at_least) << "the operations that failed";
        }
    }

    winapi::memory_registry registry;
    winapi::registry_override registry_is{registry};
    MailBodyInfo body;
};

TEST_F(failing_store, leaves_nothing_behind_when_text_is_attached)
{
    fail_everywhere(
        [](test::scripted_store& store) {
            stored_message message(store);
            fill(message);
            const before was(message);
            const HRESULT result = AddTextAttachment(message.reference(), L"b.doc.htm", "text", L"text/html");
            EXPECT_TRUE(result == S_OK || result == E_FAIL || result == E_NOINTERFACE);
            expect_nothing_lost(message, was, {});
            message.close();
        },
        13);
}

TEST_F(failing_store, leaves_nothing_behind_when_an_image_is_attached)
{
    AttachmentResult image;
    image.attachMethod = ATTACH_BY_VALUE;
    image.mimeTag = "image/png";
    image.fileName = L"qdimg0001.png";
    image.contentId = L"i";
    image.data.assign(3, std::byte{1});
    fail_everywhere(
        [&](test::scripted_store& store) {
            stored_message message(store);
            fill(message);
            const before was(message);
            const HRESULT result = AddBinaryAttachment(message.reference(), true, image);
            EXPECT_TRUE(result == S_OK || result == E_FAIL || result == E_NOINTERFACE);
            expect_nothing_lost(message, was, {});
            message.close();
        },
        16);
}

TEST_F(failing_store, leaves_nothing_behind_when_a_body_is_rewritten)
{
    for (const std::uint32_t type : {1U, 3U}) {
        body.bodyType = type;
        fail_everywhere(
            [&](test::scripted_store& store) {
                stored_message message(store);
                fill(message);
                const before was(message);
                const bool written = ModifyMailBody(message.reference(), body, records(), *EnglishTexts());
                expect_nothing_lost(message, was, {});
                const std::string html = message.value(PR_HTML).value_or("");
                if (written && store.calls("message.10130102.Write").empty()) {
                    ADD_FAILURE() << "claims what was never tried";
                }
                if (!written) {
                    EXPECT_TRUE(html.empty() || html == "<p>Old and long body</p>") << html;
                }
                EXPECT_EQ(message.value(PR_SUBJECT_W), "Old subject");
                message.close();
            },
            37);
    }
}

TEST_F(failing_store, leaves_nothing_behind_when_a_message_is_disinfected)
{
    fail_everywhere(
        [&](test::scripted_store& store) {
            stored_message message(store);
            fill(message);
            const before was(message);
            VerdictCache verdicts;
            auto attachments = records();
            MakeMailDisinfector()->DisinfectMessage(verdicts, message.reference(), body, attachments, nullptr);
            expect_nothing_lost(message, was, {1, 2});
            for (const AttachmentResult& record : attachments) {
                const bool there = message.now().attachments.count(record.attachNumber) != 0;
                EXPECT_TRUE(record.deleted || there) << "unmarked, and yet gone";
            }
            message.close();
        },
        60);
}

TEST_F(failing_store, leaves_nothing_behind_when_attachments_alone_are_condemned)
{
    body = {};
    fail_everywhere(
        [&](test::scripted_store& store) {
            stored_message message(store);
            fill(message);
            const before was(message);
            VerdictCache verdicts;
            auto attachments = records();
            MakeMailDisinfector()->DisinfectMessage(verdicts, message.reference(), body, attachments, nullptr);
            expect_nothing_lost(message, was, {1, 2});
            EXPECT_EQ(message.value(PR_HTML), "<p>Old and long body</p>");
            EXPECT_EQ(message.value(PR_BODY_W), "Old text");
            if (message.value(PR_SUBJECT_W) == NewSubject) {
                EXPECT_TRUE(attachments[1].deleted || attachments[2].deleted);
            }
            message.close();
        },
        30);
}

TEST_F(failing_store, leaves_nothing_behind_when_an_encrypted_message_is_disinfected)
{
    fail_everywhere(
        [&](test::scripted_store& store) {
            stored_message base(store, "base");
            fill(base);
            stored_message wrapper(store, "wrapper");
            wrapper.make_encrypted();
            fill(wrapper);
            wrapper.object().wrap(base.reference());
            const before base_was(base);
            const before wrapper_was(wrapper);
            VerdictCache verdicts;
            auto attachments = records();
            MakeMailDisinfector()->DisinfectMessage(verdicts, wrapper.reference(), body, attachments, nullptr);
            expect_nothing_lost(base, base_was, {});
            // A wrapper that cannot be recognized as one is treated as a plain message.
            expect_nothing_lost(wrapper, wrapper_was, {1, 2});
            wrapper.close();
            base.close();
        },
        40);
}

/// Complete checks over the failing store with a scanner that condemns everything.
class failing_store_in_a_check : public test::checker_fixture
{};

TEST_F(failing_store_in_a_check, leaves_nothing_behind)
{
    for (const HRESULT failure : Failures) {
        std::size_t n = 1;
        for (;; ++n) {
            SCOPED_TRACE("operation " + std::to_string(n) + " gives " + std::to_string(failure));
            test::scripted_store failing;
            stored_message message(failing);
            message.attach(0, L"a.txt", "never looked at");
            message.attach(1, L"b.doc", "evil");
            message.attach(2, L"c.zip", "evil too");
            message.attach_message(3, L"forwarded", L"evil inside");
            message.never_scanned(0);
            const before was(message);
            failing.fail_nth(n, failure);
            link->pool = pool; // a failed scan drops it
            pool->answers.assign(4, {ScanResult::Blocked, test::reply_with(Page), false});
            MailChecker another({link, converter->platform(), MakeMailDisinfector(), &clock, &session});
            another.Init(true, 1, "p", "u");
            {
                auto item = MakeCom<test::scripted_item>(failing, IID_MailItem, identity(message))->reference();
                another.CheckMessage(false, true, std::move(item), verdict, block_display);
            }
            EXPECT_FALSE(block_display);
            expect_nothing_lost(message, was, {1, 2, 3});
            message.close();
            EXPECT_EQ(failing.alive, 0) << "a reference was not released";
            EXPECT_EQ(pool->leased, 0);
            if (HasFailure()) {
                return;
            }
            if (failing.calls().size() < n) {
                break;
            }
        }
        EXPECT_GT(n, 120U) << "the operations that failed";
    }
}

} // namespace
