#include "outlook/qdmailprotect/access/attachment_creation.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tests/outlook/qdmailprotect/support/stored_message.h"
#include "tool/system/conversions.h"

#include <gtest/gtest.h>

namespace {

using texts = std::vector<std::string>;

std::vector<std::byte> bytes(std::string_view text)
{
    std::vector<std::byte> result;
    for (const char letter : text) {
        result.push_back(static_cast<std::byte>(letter));
    }
    return result;
}

class attachment_creation : public ::testing::Test
{
protected:
    void TearDown() override
    {
        EXPECT_EQ(message.saves, 0) << "the message itself is never saved";
        message.close();
        EXPECT_EQ(store.alive, 0) << "a reference was not released";
    }

    HRESULT add_text(const std::string& text = "<p>gone</p>")
    {
        return AddTextAttachment(message.reference(), L"a.doc.htm", text, L"text/html");
    }
    HRESULT add_binary(bool hidden = true) { return AddBinaryAttachment(message.reference(), hidden, image); }
    static AttachmentResult new_image()
    {
        AttachmentResult record;
        record.attachMethod = ATTACH_BY_VALUE;
        record.mimeTag = "image/gif";
        record.fileName = L"qdimg0001.png";
        record.contentId = L"qdimg0001.png@51444D41494C.5A52544D3130";
        record.data = bytes(std::string_view("GIF\0\xFF", 5));
        return record;
    }

    test::scripted_store store;
    test::stored_message message{store};
    test::log_capture log;
    AttachmentResult image = new_image();
};

TEST_F(attachment_creation, of_text_writes_the_contents_before_the_names)
{
    EXPECT_EQ(add_text(), S_OK);
    EXPECT_EQ(store.calls(), (texts{
                                 "message.CreateAttach null 0",
                                 "attach0.SetProps 0e210003=0",
                                 "attach0.SetProps 37050003=1",
                                 "attach0.SetProps 370e001f=text/html",
                                 "attach0.OpenProperty 37010102 IStream 0 3",
                                 "attach0.37010102.QueryInterface IStream",
                                 "attach0.37010102.Write 11",
                                 "attach0.37010102.Commit 0",
                                 "attach0.SetProps 370b0003=4294967295",
                                 "attach0.SetProps 3704001f=a.doc.htm",
                                 "attach0.SetProps 3707001f=a.doc.htm",
                                 "attach0.SetProps 3001001f=a.doc.htm",
                                 "attach0.SaveChanges 0",
                             }));
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Adding a text attach - 'a.doc.htm', MIME tag: text/html",
                                      "500 Saving the text attach changes...",
                                  }));
}

TEST_F(attachment_creation, of_text_leaves_an_attachment_with_all_its_properties)
{
    message.attach(4, L"other.txt", "other");
    ASSERT_EQ(add_text(std::string("a\0b", 3)), S_OK);
    EXPECT_EQ(message.attachments(), (texts{"4 other.txt", "5 a.doc.htm"}));
    EXPECT_EQ(test::values_of(*message.now().attachments.at(5).properties),
              (std::map<ULONG, std::string>{
                  {PR_DISPLAY_NAME_W, "a.doc.htm"},
                  {PR_ATTACH_DATA_BIN, std::string("a\0b", 3)},
                  {PR_ATTACH_FILENAME_W, "a.doc.htm"},
                  {PR_ATTACH_METHOD, "1"},
                  {PR_ATTACH_LONG_FILENAME_W, "a.doc.htm"},
                  {PR_RENDERING_POSITION, "-1"},
                  {PR_ATTACH_MIME_TAG_W, "text/html"},
              }));
    EXPECT_EQ(store.calls("attach5.SetProps 0e21"), (texts{"attach5.SetProps 0e210003=5"}));
}

TEST_F(attachment_creation, of_an_empty_text_makes_an_empty_attachment)
{
    EXPECT_EQ(add_text(""), S_OK);
    EXPECT_EQ(message.attachments(), (texts{"0 a.doc.htm"}));
    EXPECT_EQ(message.value(0, PR_ATTACH_DATA_BIN), "");
    EXPECT_EQ(store.calls("attach0.37010102.Write"), (texts{"attach0.37010102.Write 0"}));
}

TEST_F(attachment_creation, of_text_fails_without_an_attachment)
{
    store.fail("message.CreateAttach", MAPI_E_NO_ACCESS);
    EXPECT_EQ(add_text(), E_FAIL);
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Adding a text attach - 'a.doc.htm', MIME tag: text/html",
                                      "200 Failed to create attach = 0x80070005",
                                  }));
    store.clear();
    log.clear();
    store.fail("message.CreateAttach", S_OK);
    EXPECT_EQ(add_text(), E_FAIL) << "claimed, but not there";
    EXPECT_EQ(test::leveled(log).back(), "200 Failed to create attach = 0x0");
    EXPECT_EQ(message.attachments(), texts{});
}

TEST_F(attachment_creation, does_not_use_an_attachment_or_contents_that_come_with_a_failure)
{
    store.deny("message.CreateAttach", MAPI_E_NO_ACCESS);
    EXPECT_EQ(add_text(), E_FAIL);
    EXPECT_EQ(add_binary(), E_FAIL);
    EXPECT_EQ(store.calls().size(), 2U);
    store.clear();
    store.deny("attach2.OpenProperty", MAPI_E_NO_ACCESS);
    store.deny("attach3.OpenProperty", MAPI_E_NO_ACCESS);
    EXPECT_EQ(add_text(), E_NOINTERFACE);
    EXPECT_EQ(add_binary(), E_NOINTERFACE);
    EXPECT_TRUE(store.calls("attach2.37010102").empty());
    EXPECT_TRUE(store.calls("attach3.37010102").empty());
    EXPECT_EQ(message.attachments(), texts{});
}

TEST_F(attachment_creation, of_text_fails_without_its_contents_and_keeps_nothing)
{
    store.fail("attach0.OpenProperty", MAPI_E_NO_ACCESS);
    EXPECT_EQ(add_text(), E_NOINTERFACE);
    EXPECT_EQ(test::leveled(log).back(), "200 Failed to open attach body = 0x80070005");
    EXPECT_EQ(store.calls().back(), "attach0.OpenProperty 37010102 IStream 0 3") << "neither names nor a save";
    store.clear();
    store.fail("attach1.OpenProperty", S_OK);
    EXPECT_EQ(add_text(), E_NOINTERFACE);
    EXPECT_EQ(test::leveled(log).back(), "200 Failed to open file body stream");
    EXPECT_EQ(message.attachments(), texts{}) << "what isn't saved isn't on the message";
}

TEST_F(attachment_creation, of_text_fails_without_a_stream)
{
    store.refuse_each_way("attach0.37010102.QueryInterface", E_NOINTERFACE, [&](HRESULT) {
        log.clear();
        EXPECT_EQ(add_text(), E_NOINTERFACE);
        EXPECT_EQ(test::leveled(log).back(), "200 Failed to open file body stream");
        EXPECT_EQ(store.calls().back(), "attach0.37010102.QueryInterface IStream");
        EXPECT_EQ(message.attachments(), texts{});
        message.close();
    });
}

TEST_F(attachment_creation, of_text_passes_over_everything_else_that_fails)
{
    for (const std::string operation :
         {"attach0.SetProps", "attach0.37010102.Write", "attach0.37010102.Commit", "attach0.SaveChanges"}) {
        test::stored_message another(store);
        store.clear();
        store.fail(operation, MAPI_E_CALL_FAILED);
        EXPECT_EQ(AddTextAttachment(another.reference(), L"n", "text", L"t/t"), S_OK) << operation;
        EXPECT_EQ(store.calls().size(), 13U) << "every step is tried";
    }
    EXPECT_EQ(log.texts().back(), "Saving the text attach changes...");
}

TEST_F(attachment_creation, of_text_takes_names_of_every_alphabet)
{
    EXPECT_EQ(AddTextAttachment(message.reference(), L"\x5FA1\x898B.htm", "x", L"text/html"), S_OK);
    EXPECT_EQ(message.value(0, PR_ATTACH_LONG_FILENAME_W), winapi::conv_to_char(L"\x5FA1\x898B.htm", 65001));
}

TEST_F(attachment_creation, of_an_image_writes_the_names_before_the_contents)
{
    EXPECT_EQ(add_binary(), S_OK);
    EXPECT_EQ(store.calls(), (texts{
                                 "message.CreateAttach null 0",
                                 "attach0.SetProps 0e210003=0",
                                 "attach0.SetProps 37050003=1",
                                 "attach0.SetProps 370b0003=4294967295",
                                 "attach0.SetProps 3704001f=qdimg0001.png",
                                 "attach0.SetProps 3707001f=qdimg0001.png",
                                 "attach0.SetProps 3001001f=qdimg0001.png",
                                 "attach0.SetProps 3712001f=qdimg0001.png@51444D41494C.5A52544D3130",
                                 "attach0.SetProps 7ffe000b=true",
                                 "attach0.SetProps 7ffd0003=8",
                                 "attach0.SetProps 370e001f=image/gif",
                                 "attach0.OpenProperty 37010102 IStream 0 3",
                                 "attach0.37010102.QueryInterface IStream",
                                 "attach0.37010102.Write 5",
                                 "attach0.37010102.Commit 0",
                                 "attach0.SaveChanges 0",
                             }));
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Adding a binary attach - 'qdimg0001.png', size: 5, hidden",
                                      "500 Saving the binary attach changes...",
                                  }));
}

TEST_F(attachment_creation, of_an_image_leaves_an_attachment_with_all_its_properties)
{
    image.attachMethod = ATTACH_OLE; // must be ignored
    ASSERT_EQ(add_binary(), S_OK);
    EXPECT_EQ(test::values_of(*message.now().attachments.at(0).properties),
              (std::map<ULONG, std::string>{
                  {PR_DISPLAY_NAME_W, "qdimg0001.png"},
                  {PR_ATTACH_DATA_BIN, std::string("GIF\0\xFF", 5)},
                  {PR_ATTACH_FILENAME_W, "qdimg0001.png"},
                  {PR_ATTACH_METHOD, "6"},
                  {PR_ATTACH_LONG_FILENAME_W, "qdimg0001.png"},
                  {PR_RENDERING_POSITION, "-1"},
                  {PR_ATTACH_MIME_TAG_W, "image/gif"},
                  {PR_ATTACH_CONTENT_ID_W, "qdimg0001.png@51444D41494C.5A52544D3130"},
                  {PR_ATTACHMENT_FLAGS, "8"},
                  {PR_ATTACHMENT_HIDDEN, "1"},
              }));
}

TEST_F(attachment_creation, of_an_image_that_is_not_hidden_says_nothing_of_hiding)
{
    ASSERT_EQ(add_binary(false), S_OK);
    EXPECT_EQ(message.value(0, PR_ATTACHMENT_HIDDEN), std::nullopt);
    EXPECT_EQ(message.value(0, PR_ATTACHMENT_FLAGS), std::nullopt);
    EXPECT_EQ(message.value(0, PR_RENDERING_POSITION), "-1");
    EXPECT_EQ(test::leveled(log).front(), "400 Adding a binary attach - 'qdimg0001.png', size: 5");
}

TEST_F(attachment_creation, of_an_image_without_a_type_sets_none)
{
    image.mimeTag.clear();
    ASSERT_EQ(add_binary(), S_OK);
    EXPECT_EQ(message.value(0, PR_ATTACH_MIME_TAG_W), std::nullopt);
}

TEST_F(attachment_creation, of_an_image_reads_its_type_in_the_ansi_code_page)
{
    const std::uint32_t before = winapi::ansi_code_page(1251);
    image.mimeTag = "x/\xE4";
    EXPECT_EQ(add_binary(), S_OK);
    winapi::ansi_code_page(before);
    EXPECT_EQ(message.value(0, PR_ATTACH_MIME_TAG_W), "x/\xD0\xB4");
}

TEST_F(attachment_creation, of_an_image_needs_a_name_an_identifier_and_data)
{
    const auto refused = [&](const AttachmentResult& record, const std::string& line) {
        log.clear();
        EXPECT_EQ(AddBinaryAttachment(message.reference(), true, record), E_INVALIDARG);
        EXPECT_EQ(test::leveled(log), (texts{line}));
    };
    refused({}, "200 Failed to create binary attach - no data (0, 0, 0)");
    AttachmentResult record = image;
    record.fileName.clear();
    refused(record, "200 Failed to create binary attach - no data (0, 39, 5)");
    record = image;
    record.contentId.clear();
    refused(record, "200 Failed to create binary attach - no data (13, 0, 5)");
    record = image;
    record.data.clear();
    refused(record, "200 Failed to create binary attach - no data (13, 39, 0)");
    EXPECT_TRUE(store.calls().empty());
}

TEST_F(attachment_creation, of_an_image_fails_without_an_attachment)
{
    store.fail("message.CreateAttach", MAPI_E_NO_ACCESS);
    EXPECT_EQ(add_binary(), E_FAIL);
    EXPECT_EQ(test::leveled(log), (texts{
                                      "400 Adding a binary attach - 'qdimg0001.png', size: 5, hidden",
                                      "200 Failed to create binary attach = 0x80070005",
                                  }));
}

TEST_F(attachment_creation, of_an_image_fails_without_its_contents_and_keeps_nothing)
{
    store.fail("attach0.OpenProperty", MAPI_E_NO_ACCESS);
    EXPECT_EQ(add_binary(), E_NOINTERFACE);
    EXPECT_EQ(test::leveled(log).back(), "200 Failed to open binary attach body = 0x80070005");
    store.clear();
    message.close();
    store.refuse_each_way("attach0.37010102.QueryInterface", E_NOINTERFACE, [&](HRESULT) {
        log.clear();
        EXPECT_EQ(add_binary(), E_NOINTERFACE);
        EXPECT_EQ(test::leveled(log).back(), "200 Failed to open binary file body stream");
        EXPECT_EQ(message.attachments(), texts{});
        message.close();
    });
}

TEST_F(attachment_creation, announces_each_save_before_it)
{
    texts announced;
    store.watch([&](const std::string& operation) {
        if (operation.ends_with("SaveChanges 0")) {
            announced.push_back(test::leveled(log).back());
        }
    });
    EXPECT_EQ(add_text(), S_OK);
    EXPECT_EQ(add_binary(), S_OK);
    EXPECT_EQ(announced, (texts{"500 Saving the text attach changes...", "500 Saving the binary attach changes..."}));
}

TEST_F(attachment_creation, of_an_image_passes_over_everything_else_that_fails)
{
    for (const std::string operation :
         {"attach0.SetProps", "attach0.37010102.Write", "attach0.37010102.Commit", "attach0.SaveChanges"}) {
        test::stored_message another(store);
        store.clear();
        store.fail(operation, MAPI_E_CALL_FAILED);
        EXPECT_EQ(AddBinaryAttachment(another.reference(), true, image), S_OK) << operation;
        EXPECT_EQ(store.calls().size(), 16U) << "every step is tried";
    }
}

} // namespace
