#include "tests/outlook/qdmailprotect/support/checker_fixture.h"

#include <stdexcept>

namespace test {

HRESULT noting_disinfector::DisinfectMessage(VerdictCache&, ComPtr<IMessage> given, MailBodyInfo& info,
                                             std::vector<AttachmentResult>& records, ComPtr<IUnknown> of)
{
    ++calls;
    message = given.get();
    item = of.get();
    body = info;
    attachments = records;
    if (raises) {
        throw std::runtime_error("scripted failure");
    }
    return result;
}

checker_fixture::checker_fixture()
    : checker({link, converter->platform(), disinfector, &clock, &session})
{
    checker.Init(true, 1234, "C:\\client.exe", "S-1-5-21-1");
    link->calls.clear();
    converter->calls.clear();
    log.clear();
}

void checker_fixture::TearDown()
{
    disinfector->body.scanResponse.reset();
    EXPECT_EQ(store.alive, 0) << "a reference was not released";
    EXPECT_EQ(pool->leased, 0) << "a session was not returned";
}

std::unique_ptr<stored_message> checker_fixture::new_message()
{
    auto message = empty_message(store);
    message->set_bytes(PR_ENTRYID, std::string("\x00\xAB\x0F", 3));
    message->set_bytes(PR_INTERNET_MESSAGE_ID_A, "<id@host>");
    message->set_text(PR_SUBJECT_W, L"Hello");
    message->set_text(PR_SENDER_NAME_W, L"Ada");
    message->set_number(PR_NATIVE_BODY_INFO, 1);
    message->set_bytes(PR_BODY_A, "plain text");
    return message;
}

HRESULT checker_fixture::check(stored_message& message, bool connect_now, bool use_cache)
{
    ComPtr<scripted_item> item = item_of(message);
    ComPtr<IUnknown> reference = item->reference();
    item.reset();
    return checker.CheckMessage(connect_now, use_cache, std::move(reference), verdict, block_display);
}

std::vector<std::string> leveled(const log_capture& log)
{
    std::vector<std::string> texts;
    for (const log_record& line : log.lines()) {
        texts.push_back(std::to_string(line.level) + " " + line.text);
    }
    return texts;
}

std::vector<std::string> leveled_without_reads(const log_capture& log)
{
    std::vector<std::string> texts;
    for (std::string& text : leveled(log)) {
        if (text.rfind("200 Error getting prop", 0) != 0) {
            texts.push_back(std::move(text));
        }
    }
    return texts;
}

} // namespace test
