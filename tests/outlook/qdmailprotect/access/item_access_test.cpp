#include "outlook/qdmailprotect/access/item_access.h"
#include "tests/outlook/qdmailprotect/support/scripted_item.h"
#include "tests/outlook/qdmailprotect/support/stored_message.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>
#include <vector>

namespace {

using test::scripted_item;
using test::stored_message;

constexpr IID ContactItem{0x00063021, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// An item that implements the interfaces of several kinds.
class item_of_kinds final : public ComObject<IUnknown>
{
public:
    void add(ComPtr<scripted_item> kind) { kinds_.push_back(std::move(kind)); }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        HRESULT result = ComObject::QueryInterface(iid, object);
        for (auto kind = kinds_.begin(); FAILED(result) && kind != kinds_.end(); ++kind) {
            result = (*kind)->QueryInterface(iid, object);
        }
        return result;
    }

protected:
    void* FindInterface(REFIID iid) override { return iid == IID_IUnknown ? static_cast<IUnknown*>(this) : nullptr; }

private:
    std::vector<ComPtr<scripted_item>> kinds_;
};

class item_access : public ::testing::Test
{
protected:
    void TearDown() override
    {
        reached.reset();
        message.reset();
        EXPECT_EQ(store.alive, 0);
    }
    HRESULT reach(const IID& kind, ComPtr<IUnknown> object)
    {
        return ItemToMessage(MakeCom<scripted_item>(store, kind, std::move(object))->reference(), reached);
    }
    /// Reaches the message of an item of two kinds; each kind has an object of its own.
    HRESULT reach_of_two(const IID& kind, ComPtr<IUnknown> object, const IID& other, ComPtr<IUnknown> other_object)
    {
        const auto item = MakeCom<item_of_kinds>();
        item->add(MakeCom<scripted_item>(store, other, std::move(other_object)));
        item->add(MakeCom<scripted_item>(store, kind, std::move(object)));
        return ItemToMessage(ComPtr<IUnknown>(item), reached);
    }
    [[nodiscard]] std::vector<std::string> texts() const { return log.texts("outlook"); }

    test::log_capture log;
    test::scripted_store store;
    std::unique_ptr<stored_message> message = test::empty_message(store);
    ComPtr<IMessage> reached;
};

TEST_F(item_access, of_nothing_is_refused)
{
    EXPECT_EQ(ItemToMessage(nullptr, reached), E_POINTER);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(item_access, reaches_the_message_of_each_kind_silently)
{
    for (const IID& kind : {IID_MailItem, IID_MeetingItem, IID_TaskItem}) {
        EXPECT_EQ(reach(kind, identity(*message)), S_OK);
        EXPECT_EQ(reached.get(), message->pointer());
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(item_access, gives_one_reference_and_keeps_none)
{
    ASSERT_EQ(reach(IID_MailItem, identity(*message)), S_OK);
    message->close();
    EXPECT_EQ(store.alive, 1) << "the item has gone, the message lives by the reference";
    reached.reset();
    EXPECT_EQ(store.alive, 0);
}

TEST_F(item_access, of_another_kind_finds_no_object)
{
    EXPECT_EQ(reach(ContactItem, identity(*message)), E_NOINTERFACE);
    const std::vector<test::log_record> expected{{200, "outlook", "Failed to get the MAPI object"}};
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(item_access, of_a_kind_that_comes_without_its_interface_finds_no_object)
{
    store.refuse_each_way("item.QueryInterface MailItem", E_NOINTERFACE, [&](HRESULT) {
        log.clear();
        EXPECT_EQ(reach(IID_MailItem, identity(*message)), E_NOINTERFACE);
        EXPECT_EQ(texts(), (std::vector<std::string>{"Failed to get the MAPI object"}));
    });
    EXPECT_TRUE(store.calls("item.get_MAPIOBJECT").empty());
}

TEST_F(item_access, tells_the_result_of_a_refused_object)
{
    store.fail_nth(1, E_FAIL, "item.get_MAPIOBJECT");
    EXPECT_EQ(reach(IID_MeetingItem, identity(*message)), E_NOINTERFACE);
    EXPECT_EQ(texts(), (std::vector<std::string>{
                           "Failed to get the MAPI item interface (meeting), hr = -2147467259",
                           "Failed to get the MAPI object",
                       }));
}

TEST_F(item_access, without_an_object_counts_as_refused)
{
    EXPECT_EQ(reach(IID_TaskItem, nullptr), E_NOINTERFACE);
    EXPECT_EQ(texts(), (std::vector<std::string>{
                           "Failed to get the MAPI item interface (task), hr = 0",
                           "Failed to get the MAPI object",
                       }));
    log.clear();
    EXPECT_EQ(reach(IID_MailItem, nullptr), E_NOINTERFACE);
    EXPECT_EQ(texts(), (std::vector<std::string>{
                           "Failed to get the MAPI item interface (mail), hr = 0",
                           "Failed to get the MAPI object",
                       }));
}

TEST_F(item_access, to_what_is_no_message_fails)
{
    const std::vector<test::log_record> expected{{200, "outlook", "Failed to get the IMessage interface"}};
    EXPECT_EQ(reach(IID_MailItem, ComPtr<IUnknown>(MakeCom<test::scripted_object>(store))), E_NOINTERFACE);
    EXPECT_EQ(log.lines(), expected);
    store.refuse_each_way("message.QueryInterface IMessage", E_NOINTERFACE, [&](HRESULT) {
        log.clear();
        EXPECT_EQ(reach(IID_MailItem, identity(*message)), E_NOINTERFACE);
        EXPECT_EQ(log.lines(), expected);
    });
}

TEST_F(item_access, gives_no_message_that_comes_with_a_failure)
{
    store.deny("message.QueryInterface IMessage", E_NOINTERFACE);
    EXPECT_EQ(reach(IID_MailItem, identity(*message)), E_NOINTERFACE);
    EXPECT_EQ(reached, nullptr);
}

TEST_F(item_access, does_not_use_an_object_that_comes_with_a_failure)
{
    store.deny("item.get_MAPIOBJECT", E_ACCESSDENIED);
    EXPECT_EQ(reach(IID_MailItem, identity(*message)), E_NOINTERFACE);
    const std::vector<test::log_record> expected{
        {200, "outlook", "Failed to get the MAPI item interface (mail), hr = -2147024891"},
        {200, "outlook", "Failed to get the MAPI object"}};
    EXPECT_EQ(log.lines(), expected);
    EXPECT_TRUE(store.calls("message.QueryInterface").empty());
    message->close();
    EXPECT_EQ(store.alive, 0) << "the object was released";
}

TEST_F(item_access, of_several_kinds_takes_the_first_of_mail_meeting_and_task)
{
    const auto other = test::empty_message(store);
    for (const auto& [first, second] :
         {std::pair{IID_MailItem, IID_MeetingItem}, {IID_MeetingItem, IID_TaskItem}, {IID_MailItem, IID_TaskItem}}) {
        store.clear();
        EXPECT_EQ(reach_of_two(first, identity(*message), second, identity(*other)), S_OK);
        EXPECT_EQ(reached.get(), message->pointer());
        EXPECT_EQ(store.calls("item.get_MAPIOBJECT").size(), 1U) << "the second kind is not tried";
    }
    EXPECT_TRUE(log.lines().empty());
    reached.reset();
}

TEST_F(item_access, of_several_kinds_takes_the_next_where_one_gives_no_object)
{
    const auto other = test::empty_message(store);
    for (const auto& [first, second, word] : {std::tuple{IID_MailItem, IID_MeetingItem, "mail"},
                                              {IID_MeetingItem, IID_TaskItem, "meeting"},
                                              {IID_MailItem, IID_TaskItem, "mail"}}) {
        const std::string failure = std::string("Failed to get the MAPI item interface (") + word + "), hr = ";
        log.clear();
        store.fail_nth(1, E_FAIL, "item.get_MAPIOBJECT");
        EXPECT_EQ(reach_of_two(first, identity(*message), second, identity(*other)), S_OK);
        EXPECT_EQ(reached.get(), other->pointer());
        EXPECT_EQ(reach_of_two(first, nullptr, second, identity(*other)), S_OK);
        EXPECT_EQ(reached.get(), other->pointer());
        const std::vector<test::log_record> expected{{200, "outlook", failure + "-2147467259"},
                                                     {200, "outlook", failure + "0"}};
        EXPECT_EQ(log.lines(), expected);
    }
    reached.reset();
}

class plain_body : public item_access
{
protected:
    void body(std::string bytes) { message->set_bytes(PR_BODY_A, std::move(bytes)); }
    std::string text;
};

TEST_F(plain_body, is_opened_for_reading_and_measured)
{
    message->set_bytes(PR_BODY_A, "plain");
    EXPECT_EQ(ReadPlainBody(message->pointer(), text), S_OK);
    EXPECT_EQ(text, "plain");
    EXPECT_EQ(store.calls("message.OpenProperty"),
              (std::vector<std::string>{"message.OpenProperty 1000001e IStream 0 0"}));
    const std::vector<test::log_record> expected{{400, "outlook", "Getting a plain body, size: 5"}};
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(plain_body, that_is_absent_gives_the_stores_result)
{
    EXPECT_EQ(ReadPlainBody(message->pointer(), text), MAPI_E_NOT_FOUND);
    const std::vector<test::log_record> expected{{200, "outlook", "Failed to open plain body prop: 0x8004010f"}};
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(plain_body, that_is_no_stream_fails)
{
    body("text");
    store.refuse_each_way("message.1000001e.QueryInterface IStream", E_NOINTERFACE,
                          [&](HRESULT) { EXPECT_EQ(ReadPlainBody(message->pointer(), text), E_FAIL); });
    EXPECT_TRUE(store.calls("message.1000001e.Stat").empty());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(plain_body, that_opens_as_nothing_fails)
{
    store.fail_nth(1, S_OK, "message.OpenProperty 1000001e");
    EXPECT_EQ(ReadPlainBody(message->pointer(), text), E_FAIL);
}

TEST_F(plain_body, that_comes_with_a_failure_is_not_used)
{
    body("text");
    store.deny("message.OpenProperty 1000001e", E_ACCESSDENIED);
    EXPECT_EQ(ReadPlainBody(message->pointer(), text), E_ACCESSDENIED);
    EXPECT_EQ(text, "");
    EXPECT_TRUE(store.calls("message.1000001e.").empty());
    EXPECT_EQ(store.alive, 1) << "the stream was released";
    EXPECT_EQ(texts(), (std::vector<std::string>{"Failed to open plain body prop: 0x80070005"}));
}

TEST_F(plain_body, of_one_block_needs_one_read_and_a_byte_more_needs_two)
{
    body(std::string(16384, 'a'));
    EXPECT_EQ(ReadPlainBody(message->pointer(), text), S_OK);
    EXPECT_EQ(text, std::string(16384, 'a'));
    EXPECT_EQ(store.calls("message.1000001e.Read"), (std::vector<std::string>{"message.1000001e.Read 16384"}));
    EXPECT_EQ(store.calls("message.1000001e.Stat"), (std::vector<std::string>{"message.1000001e.Stat 1"}));

    text.clear();
    store.clear();
    body(std::string(16385, 'b'));
    EXPECT_EQ(ReadPlainBody(message->pointer(), text), S_OK);
    EXPECT_EQ(text, std::string(16385, 'b'));
    EXPECT_EQ(store.calls("message.1000001e.Read"),
              (std::vector<std::string>{"message.1000001e.Read 16384", "message.1000001e.Read 16384"}));
}

TEST_F(plain_body, loses_the_rest_of_a_block_behind_a_nul)
{
    std::string bytes = "begin";
    bytes += '\0';
    bytes.resize(16384, 'x');
    bytes += "end";
    bytes += '\0';
    bytes += "lost";
    body(bytes);
    EXPECT_EQ(ReadPlainBody(message->pointer(), text), S_OK);
    EXPECT_EQ(text, "beginend");
}

TEST_F(plain_body, of_four_gigabytes_is_refused)
{
    body("x");
    store.claim_size("message.1000001e", 0x100000000);
    EXPECT_EQ(ReadPlainBody(message->pointer(), text), E_FAIL);
    EXPECT_EQ(texts(), (std::vector<std::string>{"Getting a plain body, size: 4294967296"}));
    EXPECT_TRUE(store.calls("message.1000001e.Read").empty());
}

TEST_F(plain_body, just_under_four_gigabytes_is_read_as_far_as_it_goes)
{
    body("short");
    store.claim_size("message.1000001e", 0xFFFFFFFF);
    EXPECT_EQ(ReadPlainBody(message->pointer(), text), S_OK);
    EXPECT_EQ(text, "short");
}

TEST_F(plain_body, that_cannot_be_measured_or_read_gives_the_streams_result)
{
    body("text");
    store.fail_nth(1, E_ACCESSDENIED, "message.1000001e.Stat");
    EXPECT_EQ(ReadPlainBody(message->pointer(), text), E_ACCESSDENIED);
    EXPECT_EQ(texts(), (std::vector<std::string>{"Getting a plain body, size: 0"}));
    body("text");
    store.fail_nth(1, MAPI_E_CORRUPT_DATA, "message.1000001e.Read");
    EXPECT_EQ(ReadPlainBody(message->pointer(), text), MAPI_E_CORRUPT_DATA);
}

TEST_F(plain_body, of_no_bytes_is_not_read)
{
    body("");
    EXPECT_EQ(ReadPlainBody(message->pointer(), text), S_OK);
    EXPECT_TRUE(store.calls("message.1000001e.Read").empty());
}

using body_type = item_access;

TEST_F(body_type, is_html_when_html_can_be_read)
{
    message->set_bytes(PR_HTML, "<p>");
    message->set_bytes(PR_BODY_A, "text");
    EXPECT_EQ(DeduceBodyType(message->pointer()), 3U);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(body_type, is_html_when_html_is_too_big_to_be_read)
{
    message->set_bytes(PR_HTML, std::string(20000, 'x')); // more than the store returns as a value
    EXPECT_EQ(DeduceBodyType(message->pointer()), 3U);
    EXPECT_EQ(texts(), (std::vector<std::string>{"Error getting prop 0x10130102, err=0x8007000e"}));
}

TEST_F(body_type, is_plain_without_html)
{
    message->set_bytes(PR_BODY_A, "text");
    EXPECT_EQ(DeduceBodyType(message->pointer()), 1U);
    EXPECT_EQ(texts(), (std::vector<std::string>{"Error getting prop 0x10130102, err=0x8004010f"}));
}

TEST_F(body_type, is_plain_when_the_text_is_too_big_to_be_read)
{
    message->set_bytes(PR_BODY_A, std::string(20000, 'x')); // more than the store returns as a value
    EXPECT_EQ(DeduceBodyType(message->pointer()), 1U);
}

TEST_F(body_type, is_plain_when_the_html_is_empty)
{
    message->set_bytes(PR_HTML, "");
    message->set_bytes(PR_BODY_A, "text");
    EXPECT_EQ(DeduceBodyType(message->pointer()), 1U);
    EXPECT_TRUE(log.lines().empty()) << "both can be read";
}

TEST_F(body_type, is_plain_when_the_html_cannot_be_read_at_all)
{
    message->set_bytes(PR_HTML, "<p>");
    message->set_bytes(PR_BODY_A, "text");
    store.fail("message.GetProps 10130102", E_ACCESSDENIED);
    EXPECT_EQ(DeduceBodyType(message->pointer()), 1U);
}

TEST_F(body_type, is_undefined_without_any_body)
{
    EXPECT_EQ(DeduceBodyType(message->pointer()), 0U);
    EXPECT_EQ(texts(), (std::vector<std::string>{"Error getting prop 0x10130102, err=0x8004010f",
                                                 "Error getting prop 0x1000001e, err=0x8004010f"}));
}

} // namespace
