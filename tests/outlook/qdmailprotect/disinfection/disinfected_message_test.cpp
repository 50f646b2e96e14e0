// The properties of a message after a check that condemned parts of it: the checker, the disinfector and the in-memory
// store together.

#include "outlook/qdmailprotect/disinfection/mail_disinfector.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tests/outlook/qdmailprotect/support/stored_message.h"
#include "tool/icap/response_message.h"

#include <gtest/gtest.h>

namespace disinfected_message_test {

using texts = std::vector<std::string>;
using values = std::map<ULONG, std::string>;
using test::stored_message;

constexpr ULONG VerdictTag = 0x80000003; // the first resolved name
const std::string NewSubject =
    "[Morvelane Ostrand 10.1] Malicious or other object is detected. The e-mail is modified.";

class disinfected_message : public test::checker_fixture
{
protected:
    disinfected_message()
    {
        whole.Init(true, 1, "p", "u");
        log.clear();
    }
    void TearDown() override
    {
        EXPECT_EQ(message.saves, 0) << "an opened message is never saved";
        message.close();
        checker_fixture::TearDown();
    }

    HRESULT open(stored_message& opened) { return open(opened, whole); }
    HRESULT open(stored_message& opened, MailChecker& by)
    {
        auto item = item_of(opened)->reference();
        return by.CheckMessage(false, true, std::move(item), verdict, block_display);
    }
    void answer_blocked(const std::string& page) { answer(ScanResult::Blocked, test::reply_with(page)); }
    [[nodiscard]] values now() { return test::values_of(*message.now().properties); }
    [[nodiscard]] values now(std::uint32_t attachment)
    {
        return test::values_of(*message.now().attachments.at(attachment).properties);
    }

    stored_message message{store};
    MailChecker whole{{link, converter->platform(), MakeMailDisinfector(), &clock, &session}};
};

TEST_F(disinfected_message, has_notices_in_the_places_of_its_condemned_attachments)
{
    message.attach(0, L"sound.txt", "sound");
    message.attach(1, L"invoice.doc", "evil");
    message.attach(2, L"tool.exe", "evil too");
    const values before = now();
    const values sound = now(0);
    answer(ScanResult::Clean); // the body
    answer(ScanResult::Clean);
    answer_blocked("<p>invoice.doc is gone</p>");
    answer(ScanResult::Blocked); // without a page
    EXPECT_EQ(open(message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_FALSE(block_display);

    values expected = before;
    expected[PR_SUBJECT_W] = NewSubject;
    expected[VerdictTag] = "2";
    EXPECT_EQ(now(), expected) << "the body is as it was";
    EXPECT_EQ(message.attachments(), (texts{"0 sound.txt", "3 invoice.doc.htm"}));
    EXPECT_EQ(now(0), sound);
    EXPECT_EQ(now(3), (values{
                          {PR_ATTACH_METHOD, "1"},
                          {PR_ATTACH_MIME_TAG_W, "text/html"},
                          {PR_RENDERING_POSITION, "-1"},
                          {PR_ATTACH_FILENAME_W, "invoice.doc.htm"},
                          {PR_ATTACH_LONG_FILENAME_W, "invoice.doc.htm"},
                          {PR_DISPLAY_NAME_W, "invoice.doc.htm"},
                          {PR_ATTACH_DATA_BIN, "<p>invoice.doc is gone</p>"},
                      }));
}

TEST_F(disinfected_message, has_the_scanners_page_for_its_condemned_body)
{
    message.attach(0, L"sound.txt", "sound");
    const values before = now();
    const values sound = now(0);
    answer_blocked(
        "<body style=\"background: url(data:image/gif;base64,R0lG)\"><img src=\"data:image/png;base64,QUJD\">");
    answer(ScanResult::Clean);
    EXPECT_EQ(open(message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_FALSE(block_display);

    values expected = before;
    expected.erase(PR_BODY_W);
    expected[PR_HTML] = std::string("<body style=\"background: url(cid:qdimg0002.png@51444D41494C.5A52544D3130)\">"
                                    "<img src=\"cid:qdimg0001.png@51444D41494C.5A52544D3130\">") +
                        '\0';
    expected[PR_NATIVE_BODY_INFO] = "3";
    expected[PR_INTERNET_CPID] = "65001";
    expected[PR_SUBJECT_W] = NewSubject;
    expected[VerdictTag] = "2";
    EXPECT_EQ(now(), expected);
    EXPECT_EQ(message.attachments(),
              (texts{"0 sound.txt", "1 qdimg0001.png", "2 qdimg0002.png", "3 original_body.txt"}));
    EXPECT_EQ(now(0), sound);
    EXPECT_EQ(now(1), (values{
                          {PR_ATTACH_METHOD, "1"},
                          {PR_ATTACH_MIME_TAG_W, "image/png"},
                          {PR_RENDERING_POSITION, "-1"},
                          {PR_ATTACH_FILENAME_W, "qdimg0001.png"},
                          {PR_ATTACH_LONG_FILENAME_W, "qdimg0001.png"},
                          {PR_DISPLAY_NAME_W, "qdimg0001.png"},
                          {PR_ATTACH_CONTENT_ID_W, "qdimg0001.png@51444D41494C.5A52544D3130"},
                          {PR_ATTACHMENT_HIDDEN, "1"},
                          {PR_ATTACHMENT_FLAGS, "8"},
                          {PR_ATTACH_DATA_BIN, "ABC"},
                      }));
    EXPECT_EQ(message.value(2, PR_ATTACH_DATA_BIN), "GIF");
    EXPECT_EQ(now(3), (values{
                          {PR_ATTACH_METHOD, "1"},
                          {PR_ATTACH_MIME_TAG_W, "text/plain"},
                          {PR_RENDERING_POSITION, "-1"},
                          {PR_ATTACH_FILENAME_W, "original_body.txt"},
                          {PR_ATTACH_LONG_FILENAME_W, "original_body.txt"},
                          {PR_DISPLAY_NAME_W, "original_body.txt"},
                          {PR_ATTACH_DATA_BIN, "Subject: Old subject\r\n\r\nBody:\r\n\r\nOld text"},
                      }));
}

TEST_F(disinfected_message, is_what_a_checker_leaves_that_was_given_no_disinfector)
{
    MailChecker plain({link, converter->platform(), nullptr, &clock, &session});
    message.attach(1, L"invoice.doc", "evil");
    answer(ScanResult::Clean); // the body
    answer_blocked("<p>invoice.doc is gone</p>");
    EXPECT_EQ(open(message, plain), S_OK);
    EXPECT_EQ(message.attachments(), (texts{"2 invoice.doc.htm"}));
    EXPECT_EQ(now()[PR_SUBJECT_W], NewSubject);
}

TEST_F(disinfected_message, gives_an_attached_message_up_as_a_whole)
{
    message.attach_message(0, L"forwarded", L"evil inside");
    answer(ScanResult::Clean); // the outer body
    answer(ScanResult::Clean); // the inner body
    answer_blocked("<p>the sheet is gone</p>");
    EXPECT_EQ(open(message), S_OK);
    EXPECT_EQ(scans().size(), 3U) << "the attached message goes over the wire twice";
    EXPECT_EQ(message.attachments(), (texts{"1 forwarded.htm"}));
    EXPECT_EQ(message.value(1, PR_ATTACH_DATA_BIN), "<p>the sheet is gone</p>");
    EXPECT_EQ(message.value(PR_SUBJECT_W), NewSubject);
}

TEST_F(disinfected_message, that_was_judged_clean_is_unchanged_but_for_its_verdict)
{
    message.attach(0, L"sound.txt", "sound");
    values expected = now();
    expected[VerdictTag] = "1";
    const values sound = now(0);
    EXPECT_EQ(open(message), S_OK);
    EXPECT_EQ(now(), expected);
    EXPECT_EQ(now(0), sound);
    EXPECT_EQ(message.attachments(), (texts{"0 sound.txt"}));
}

TEST_F(disinfected_message, opens_again_without_a_scan_or_a_change)
{
    message.attach(0, L"invoice.doc", "evil");
    answer_blocked("<p>gone</p>");
    answer_blocked("<p>gone too</p>");
    ASSERT_EQ(open(message), S_OK);
    const values properties = now();
    const texts attachments = message.attachments();
    pool->scans.clear();
    EXPECT_EQ(open(message), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_FALSE(block_display) << "its own property tells of the change";
    EXPECT_TRUE(scans().empty());
    EXPECT_EQ(now(), properties);
    EXPECT_EQ(message.attachments(), attachments);
}

TEST_F(disinfected_message, that_is_encrypted_becomes_a_note_and_is_blocked_once)
{
    stored_message wrapper(store, "wrapper");
    whole.CheckMessage(false, true, nullptr, verdict, block_display);
    ASSERT_EQ(store.context()->names.id_of(
                  {{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0, 0x0D, 0x0F, 0xD6}}, std::int32_t{1}}, true),
              0x8000U);
    wrapper.make_encrypted();
    wrapper.attach(0, L"invoice.doc", "evil");
    wrapper.object().wrap(message.reference());
    const values wrapper_before = test::values_of(*wrapper.now().properties);
    answer_blocked("<p>gone</p>");
    answer_blocked("<p>notice</p>");
    EXPECT_EQ(open(wrapper), S_OK);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    EXPECT_TRUE(block_display);
    EXPECT_EQ(message.value(PR_HTML), std::string("<p>gone</p>") + '\0');
    EXPECT_EQ(message.value(PR_SUBJECT_W), NewSubject);
    EXPECT_EQ(message.value(PR_MESSAGE_CLASS_W), "IPM.Note");
    EXPECT_EQ(message.value(VerdictTag), "2") << "the verdict is on the message inside";
    EXPECT_EQ(test::values_of(*wrapper.now().properties), wrapper_before);
    EXPECT_EQ(wrapper.attachments(), (texts{"0 invoice.doc"}));
    EXPECT_EQ(message.saves, 1);
    message.saves = 0;
    wrapper.close();
}

TEST_F(disinfected_message, whose_page_cannot_be_decoded_fails_the_check_at_its_border)
{
    message.set_number(PR_NATIVE_BODY_INFO, 3);
    message.attach(0, L"invoice.doc", "evil");
    answer_blocked("<img src=\"data:image/png;base64,***\">");
    answer_blocked("<p>notice</p>");
    EXPECT_EQ(open(message), E_UNEXPECTED);
    EXPECT_EQ(link->calls.back(), "BreakConnection");
    EXPECT_EQ(message.value(VerdictTag), std::nullopt) << "the next opening tries again";
    EXPECT_EQ(message.value(PR_SUBJECT_W), "Old subject");
    EXPECT_EQ(message.attachments(), (texts{"1 invoice.doc.htm"})) << "what was done before stays";
    EXPECT_EQ(message.value(PR_HTML), "<p>Old and long body</p>");
}

} // namespace disinfected_message_test
