#include "outlook/qdmailprotect/access/item_access.h"
#include "outlook/qdmailprotect/check/mail_events.h"
#include "store/event_source.h"
#include "store/item.h"
#include "tests/store/store_fixture.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

class Items : public StoreTest
{
protected:
    ComPtr<item> make(item_kind kind) { return MakeCom<item>(kind, open()); }
};

TEST_F(Items, AnswerTheInterfaceOfTheirKindOnly)
{
    const IID* kinds[] = {&IID_MailItem, &IID_MeetingItem, &IID_TaskItem};
    const item_kind values[] = {item_kind::mail, item_kind::meeting, item_kind::task};
    for (std::size_t made = 0; made < 3; ++made) {
        const auto opened = make(values[made]);
        for (std::size_t asked = 0; asked < 3; ++asked) {
            ComPtr<IUnknown> found;
            EXPECT_EQ(made == asked ? S_OK : E_NOINTERFACE, opened->QueryInterface(*kinds[asked], Receive(found)));
        }
    }
}

TEST_F(Items, LeadToTheirMessage)
{
    stored->properties->set(PR_SUBJECT_W, property_value::of_text(L"Schedule"));
    for (const item_kind kind : {item_kind::mail, item_kind::meeting, item_kind::task}) {
        const auto opened = make(kind);
        ComPtr<IMessage> message;
        ComPtr<IUnknown> unknown;
        ASSERT_EQ(S_OK, opened->QueryInterface(IID_IUnknown, Receive(unknown)));
        ASSERT_EQ(S_OK, ItemToMessage(unknown, message));
        EXPECT_STREQ(L"Schedule", get_props(message.get(), {PR_SUBJECT_W})[0].Value.lpszW);
    }
}

TEST_F(Items, AreOfTheKindThatTheirClassTells)
{
    EXPECT_EQ(item_kind::mail, kind_of_class(L"IPM.Note"));
    EXPECT_EQ(item_kind::mail, kind_of_class(L""));
    EXPECT_EQ(item_kind::meeting, kind_of_class(L"IPM.Schedule.Meeting.Request"));
    EXPECT_EQ(item_kind::meeting, kind_of_class(L"IPM.Schedule.Meeting.Resp.Pos"));
    EXPECT_EQ(item_kind::task, kind_of_class(L"IPM.Task"));
    EXPECT_EQ(item_kind::task, kind_of_class(L"IPM.TaskRequest"));
}

/// Records its events.
class listener final : public ComObject<IItemEvents>
{
public:
    explicit listener(std::vector<std::string>& heard, std::int32_t answer = 0)
        : heard_(heard)
        , answer_(answer)
    {}
    void OnReadComplete(std::int32_t* Cancel) override
    {
        heard_.emplace_back("read complete");
        *Cancel |= answer_;
    }
    void OnUnload() override { heard_.emplace_back("unload"); }
    void OnSend(std::int32_t* Cancel) override
    {
        heard_.emplace_back("send");
        *Cancel |= answer_;
    }
    void OnBeforeRead() override { heard_.emplace_back("before read"); }
    void OnBeforeAttachmentRead(IUnknown*, std::int32_t*) override { heard_.emplace_back("attachment"); }

protected:
    void* FindInterface(REFIID iid) override { return iid == IID_IUnknown ? static_cast<IItemEvents*>(this) : nullptr; }

private:
    std::vector<std::string>& heard_;
    std::int32_t answer_;
};

class Events : public Items
{
protected:
    ComPtr<IUnknown> unknown_of(const ComPtr<item>& opened)
    {
        ComPtr<IUnknown> unknown;
        opened->QueryInterface(IID_IUnknown, Receive(unknown));
        return unknown;
    }
    event_source source;
    std::vector<std::string> heard;
};

TEST_F(Events, ReachWhoListensToThatItem)
{
    const auto first = unknown_of(make(item_kind::mail));
    const auto second = unknown_of(make(item_kind::mail));
    std::uint32_t cookie = 0;
    ASSERT_EQ(S_OK, source.Advise(first.get(), MakeCom<listener>(heard), cookie));
    source.before_read(second.get());
    EXPECT_TRUE(heard.empty());
    source.before_read(first.get());
    EXPECT_FALSE(source.read_complete(first.get()));
    EXPECT_FALSE(source.send(first.get()));
    source.unload(first.get());
    EXPECT_EQ((std::vector<std::string>{"before read", "read complete", "send", "unload"}), heard);
}

TEST_F(Events, TellWhenAListenerCancels)
{
    const auto opened = unknown_of(make(item_kind::mail));
    std::uint32_t cookie = 0;
    ASSERT_EQ(S_OK, source.Advise(opened.get(), MakeCom<listener>(heard, 1), cookie));
    EXPECT_TRUE(source.read_complete(opened.get()));
    EXPECT_TRUE(source.send(opened.get()));
}

TEST_F(Events, EndWithTheSubscription)
{
    const auto opened = unknown_of(make(item_kind::mail));
    std::uint32_t cookie = 0;
    ASSERT_EQ(S_OK, source.Advise(opened.get(), MakeCom<listener>(heard), cookie));
    EXPECT_EQ(E_INVALIDARG, source.Unadvise(opened.get(), cookie + 1));
    EXPECT_EQ(1U, source.subscriptions());
    EXPECT_EQ(S_OK, source.Unadvise(opened.get(), cookie));
    source.before_read(opened.get());
    EXPECT_TRUE(heard.empty());
    EXPECT_EQ(0U, source.subscriptions());
}

/// A check whose outcome is set by the test.
class told_check final : public MessageCheck
{
public:
    HRESULT CheckMessage(bool, bool, ComPtr<IUnknown>, ScanResult&, bool& blockDisplay) override
    {
        blockDisplay = block;
        return S_OK;
    }
    [[nodiscard]] bool IsAttachmentAllowed(const std::wstring&) override { return true; }
    bool block = false;
};

TEST_F(Events, DriveTheEventLogicFromLoadToUnload)
{
    const auto check = std::make_shared<told_check>();
    const auto events = std::make_shared<event_source>();
    const auto receiver = MakeCom<MailEvents>(check, events);
    const auto opened = unknown_of(make(item_kind::meeting));
    receiver->OnItemLoad(opened.get());
    EXPECT_EQ(1U, events->subscriptions());
    EXPECT_EQ(1U, receiver->HandlerCount());
    check->block = true;
    events->before_read(opened.get());
    EXPECT_TRUE(events->read_complete(opened.get()));
    events->unload(opened.get());
    EXPECT_EQ(0U, events->subscriptions());
    EXPECT_EQ(0U, receiver->HandlerCount());
}

} // namespace
} // namespace host::test
