#include "outlook/qdmailprotect/disinfection/encrypted_message.h"
#include "outlook/qdmailprotect/disinfection/mail_disinfector.h"
#include "outlook/qdmailprotect/verdict/verdict_cache.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tests/outlook/qdmailprotect/support/stored_message.h"
#include "tool/icap/response_message.h"

#include <boost/archive/iterators/dataflow_exception.hpp>
#include <gtest/gtest.h>

namespace encrypted_message_test {

using texts = std::vector<std::string>;

const std::string NewSubject =
    "[Morvelane Ostrand 10.1] Malicious or other object is detected. The e-mail is modified.";

class no_texts final : public StringResources
{
public:
    [[nodiscard]] std::wstring Load(std::uint32_t) const override { return {}; }
};

class encrypted_message : public ::testing::Test
{
protected:
    encrypted_message()
    {
        base.attach(0, L"a.txt", "evil");
        wrapper.object().wrap(base.reference());
        body.bodyType = 3;
        body.scanResult = ScanResult::Blocked;
        body.scanResponse = test::reply_with("<p>gone</p>");
        store.clear();
        log.clear();
    }
    void TearDown() override
    {
        EXPECT_EQ(wrapper.saves, 0);
        wrapper.close();
        base.close();
        EXPECT_EQ(store.alive, 0) << "a reference was not released";
    }

    HRESULT disinfect(const std::shared_ptr<const StringResources>& strings = EnglishTexts())
    {
        ComPtr<IUnknown> item(MakeCom<test::scripted_message>(store, "item", nullptr)->reference());
        return DisinfectEncryptedMessage(verdicts, wrapper.reference(), body, attachments, std::move(item), *strings);
    }
    void expect_untouched()
    {
        EXPECT_EQ(base.value(PR_HTML), "<p>Old and long body</p>");
        EXPECT_EQ(base.value(PR_BODY_W), "Old text");
        EXPECT_EQ(base.value(PR_SUBJECT_W), "Old subject");
        EXPECT_EQ(base.value(PR_MESSAGE_CLASS_W), "IPM.Note.Original");
        EXPECT_EQ(base.saves, 0);
    }

    winapi::memory_registry registry;
    winapi::registry_override registry_is{registry};
    test::scripted_store store;
    test::stored_message base{store, "base"};
    test::stored_message wrapper{store, "wrapper"};
    VerdictCache verdicts;
    test::log_capture log;
    MailBodyInfo body;
    std::vector<AttachmentResult> attachments;
};

TEST_F(encrypted_message, gives_up_its_encrypted_form)
{
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(base.value(PR_HTML), std::string("<p>gone</p>") + '\0');
    EXPECT_EQ(base.value(PR_BODY_W), std::nullopt);
    EXPECT_EQ(base.value(PR_SUBJECT_W), NewSubject);
    EXPECT_EQ(base.value(PR_MESSAGE_CLASS_W), "IPM.Note");
    EXPECT_EQ(base.attachments(), (texts{"0 a.txt"}));
    EXPECT_EQ(base.saves, 1);
    EXPECT_EQ(store.calls(), (texts{
                                 "wrapper.QueryInterface ISecuredMessage",
                                 "wrapper.GetBaseMessage",
                                 "base.DeleteProps 1000001f",
                                 "base.OpenProperty 10130102 IStream 1 1",
                                 "base.10130102.QueryInterface IStream",
                                 "base.SetProps 10160003=3",
                                 "base.SetProps 3fde0003=65001",
                                 "base.10130102.Seek 0 0",
                                 "base.10130102.Write 12",
                                 "base.10130102.SetSize 12",
                                 "base.SetProps 0037001f=" + NewSubject,
                                 "base.GetProps 001a001f 80000000",
                                 "base.SetProps 001a001f=IPM.Note",
                                 "base.SaveChanges 0",
                             }));
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Disinfecting the encrypted message",
                                      "400 Got the secured interface",
                                      "400 Got the base message",
                                      "400 Modifying mail body (type 3)",
                                      "500 Deleted the plain body: 0x0",
                                      "200 Getting new HTML body from ICAP scanner",
                                      "500 Modified the body data",
                                      "400 Changing the message subject",
                                      "400 Unencrypting base message...",
                                      "400 Old message class: IPM.Note.Original",
                                      "400 Changing the class... result = 0x0",
                                  }));
}

TEST_F(encrypted_message, without_a_secured_interface_is_left_alone)
{
    wrapper.close();
    EXPECT_EQ(disinfect(), E_FAIL) << "a store that doesn't wrap";
    EXPECT_EQ(test::leveled(log), (texts{"400 Disinfecting the encrypted message"}));
    expect_untouched();
}

TEST_F(encrypted_message, whose_base_message_cannot_be_had_is_left_alone)
{
    store.fail("wrapper.GetBaseMessage", MAPI_E_NO_ACCESS);
    EXPECT_EQ(disinfect(), MAPI_E_NO_ACCESS);
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Disinfecting the encrypted message",
                                      "400 Got the secured interface",
                                      "200 Failed to get the base message: 0x80070005",
                                  }));
    expect_untouched();
}

TEST_F(encrypted_message, with_an_empty_base_message_is_left_alone)
{
    wrapper.object().wrap(nullptr);
    EXPECT_EQ(disinfect(), E_FAIL);
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Disinfecting the encrypted message",
                                      "400 Got the secured interface",
                                      "200 Failed to get the base message: empty message",
                                  }));
    expect_untouched();
}

TEST_F(encrypted_message, with_a_condemned_attachment_alone_shows_its_notice)
{
    body.scanResult = ScanResult::Clean;
    attachments = {test::condemned_record(0, L"a.txt", "<p>notice</p>")};
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(base.value(PR_HTML), std::string("<p>notice</p>") + '\0');
    EXPECT_EQ(base.value(PR_SUBJECT_W), NewSubject);
    EXPECT_EQ(base.value(PR_MESSAGE_CLASS_W), "IPM.Note");
    EXPECT_EQ(base.attachments(), (texts{"0 a.txt"})) << "none is deleted one by one";
    EXPECT_FALSE(attachments[0].deleted);
}

TEST_F(encrypted_message, shows_the_notice_that_comes_first_in_the_table)
{
    wrapper.make_encrypted();
    body.scanResult = ScanResult::Clean;
    attachments = {test::condemned_record(2, L"c.zip", "<p>c</p>"), test::condemned_record(1, L"b.doc", "<p>b</p>")};
    EXPECT_EQ(MakeMailDisinfector()->DisinfectMessage(verdicts, wrapper.reference(), body, attachments, nullptr), S_OK);
    EXPECT_EQ(base.value(PR_HTML), std::string("<p>c</p>") + '\0') << "not the one of the smallest number";
    EXPECT_EQ(attachments[0].attachNumber, 2U);
    const texts lines = test::leveled(log);
    ASSERT_GE(lines.size(), 4U);
    EXPECT_EQ(texts(lines.begin(), lines.begin() + 4),
              (texts{
                  "400 Getting ContentTypeID: 0x8000001f",
                  "400 Is message encrypted: 1",
                  "400 The message is encrypted, starting the special disinfection procedure...",
                  "400 Disinfecting the encrypted message",
              }));
}

TEST_F(encrypted_message, with_neither_gets_an_empty_body)
{
    body.scanResult = ScanResult::Clean;
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(base.value(PR_HTML), std::string(1, '\0'));
    EXPECT_EQ(base.value(PR_SUBJECT_W), NewSubject);
}

TEST_F(encrypted_message, gives_up_its_form_even_where_the_body_stays)
{
    store.fail("base.OpenProperty", MAPI_E_NO_ACCESS);
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(base.value(PR_SUBJECT_W), "Old subject");
    EXPECT_EQ(base.value(PR_MESSAGE_CLASS_W), "IPM.Note");
    EXPECT_EQ(base.saves, 1);
    EXPECT_FALSE(log.contains("Changing the message subject"));
}

TEST_F(encrypted_message, without_a_text_keeps_its_subject)
{
    EXPECT_EQ(disinfect(std::make_shared<no_texts>()), S_OK);
    EXPECT_EQ(base.value(PR_SUBJECT_W), "Old subject");
    EXPECT_TRUE(log.contains("Changing the message subject"));
    EXPECT_EQ(base.value(PR_MESSAGE_CLASS_W), "IPM.Note");
}

TEST_F(encrypted_message, does_not_mind_a_class_or_a_save_that_fails)
{
    store.fail("base.SetProps 001a001f", MAPI_E_NO_ACCESS);
    store.fail("base.SaveChanges", MAPI_E_NO_ACCESS);
    EXPECT_EQ(disinfect(), S_OK);
    EXPECT_EQ(store.calls().back(), "base.SaveChanges 0");
    EXPECT_TRUE(log.contains("Changing the class... result = 0x80070005"));
}

TEST_F(encrypted_message, lets_the_decoders_error_out_with_all_references_released)
{
    body.scanResponse = test::reply_with("<img src=\"data:a/b;base64,***\">");
    EXPECT_THROW(disinfect(), boost::archive::iterators::dataflow_exception);
    EXPECT_EQ(base.value(PR_MESSAGE_CLASS_W), "IPM.Note.Original");
    EXPECT_EQ(base.saves, 0);
}

} // namespace encrypted_message_test
