#include "tests/outlook/qdmailprotect/check/mail_events_fixture.h"

#include <utility>

namespace {

using test::fake_attachment;
using test::mail_events;
using texts = std::vector<std::string>;

/// An owner that notes what it hears and passes it on.
class noting_owner final : public ComObject<IMailItemNotifications>
{
public:
    explicit noting_owner(ComPtr<MailEvents> events)
        : events_(std::move(events))
    {}
    texts heard;

    HRESULT STDMETHODCALLTYPE OnReadComplete(IUnknown* item, std::int32_t* Cancel) override
    {
        heard.emplace_back("read complete");
        return events_->OnReadComplete(item, Cancel);
    }
    HRESULT STDMETHODCALLTYPE OnUnload(IUnknown* item) override
    {
        heard.emplace_back("unload");
        return events_->OnUnload(item);
    }
    HRESULT STDMETHODCALLTYPE OnSend(IUnknown* item, std::int32_t* Cancel) override
    {
        heard.emplace_back("send");
        return events_->OnSend(item, Cancel);
    }
    HRESULT STDMETHODCALLTYPE OnBeforeRead(IUnknown* item) override
    {
        heard.emplace_back("before read");
        return events_->OnBeforeRead(item);
    }
    HRESULT STDMETHODCALLTYPE OnBeforeAttachmentRead(IUnknown* item, IUnknown* attachment,
                                                     std::int32_t* Cancel) override
    {
        heard.emplace_back("before attachment read");
        return events_->OnBeforeAttachmentRead(item, attachment, Cancel);
    }

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == IID_IMailItemNotifications ? this : nullptr;
    }

private:
    const ComPtr<MailEvents> events_;
};

TEST_F(mail_events, of_an_item_go_to_the_owner_and_by_it_to_the_logic)
{
    const auto owner = MakeCom<noting_owner>(events);
    events->SetOwner(owner.get());
    events->OnItemLoad(item.get());
    IItemEvents* const sink = source->of(item.get());
    const auto attachment = MakeCom<fake_attachment>();
    attachment->file_name = L"a.exe";
    check->block = true;
    check->allowed = false;
    std::int32_t cancelled = 0;
    std::int32_t denied = 0;
    sink->OnBeforeRead();
    sink->OnReadComplete(&cancelled);
    sink->OnBeforeAttachmentRead(attachment.get(), &denied);
    sink->OnSend(&cancelled);
    sink->OnUnload();
    EXPECT_EQ(owner->heard, (texts{"before read", "read complete", "before attachment read", "send", "unload"}));
    EXPECT_EQ(check->items, (std::vector<IUnknown*>{item.get()}));
    EXPECT_EQ(cancelled, 1);
    EXPECT_EQ(denied, 1);
    EXPECT_EQ(events->HandlerCount(), 0U);
    EXPECT_TRUE(source->sinks.empty());
}

TEST_F(mail_events, keep_the_owner_alive_by_the_handlers_alone)
{
    const auto owner = MakeCom<noting_owner>(events);
    const auto references = [&owner] {
        owner->AddRef();
        return owner->Release();
    };
    events->SetOwner(owner.get());
    EXPECT_EQ(references(), 1U);
    events->OnItemLoad(item.get());
    EXPECT_EQ(references(), 2U);
    source->of(item.get())->OnUnload();
    EXPECT_EQ(references(), 1U);
}

TEST_F(mail_events, are_their_own_owner_before_and_after_another)
{
    const auto owner = MakeCom<noting_owner>(events);
    events->OnItemLoad(item.get());
    source->of(item.get())->OnBeforeRead();
    source->of(item.get())->OnUnload();
    events->SetOwner(owner.get());
    events->SetOwner(nullptr);
    events->OnItemLoad(other.get());
    source->of(other.get())->OnBeforeRead();
    source->of(other.get())->OnUnload();
    EXPECT_TRUE(owner->heard.empty());
    EXPECT_EQ(check->items, (std::vector<IUnknown*>{item.get(), other.get()}));
}

} // namespace
