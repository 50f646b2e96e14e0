// The order in which event handlers replace each other, connect and end.

#include "outlook/qdmailprotect/check/mail_item_event_handler.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "tests/outlook/qdmailprotect/check/mail_events_fixture.h"

#include <utility>

namespace {

using event_handlers = test::mail_events;
using texts = std::vector<std::string>;

/// A handler that ignores events and notes its advise and its end.
class noting_handler final : public ComObject<IMailItemEventHandler>
{
public:
    noting_handler(std::string name, HRESULT advise, texts& notes)
        : name_(std::move(name))
        , advise_(advise)
        , notes_(notes)
    {}
    ~noting_handler() override { notes_.push_back(name_ + " ended"); }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown*, IUnknown*) override
    {
        notes_.push_back(name_ + " advised");
        return advise_;
    }
    HRESULT STDMETHODCALLTYPE Unadvise() override
    {
        notes_.push_back(name_ + " unadvised");
        return S_OK;
    }

protected:
    void* FindInterface(REFIID) override { return static_cast<IMailItemEventHandler*>(this); }

private:
    const std::string name_;
    const HRESULT advise_;
    texts& notes_;
};

/// A source that returns given cookies and delivers one more event while it ends a subscription.
class late_source final : public ItemEventSource
{
public:
    std::uint32_t next_cookie = 1;
    HRESULT advise_result = S_OK; ///< a failure comes with a cookie too
    int advised = 0;
    std::vector<std::uint32_t> unadvised; ///< the cookies

    HRESULT Advise(IUnknown*, ComPtr<IItemEvents> sink, std::uint32_t& cookie) override
    {
        ++advised;
        cookie = next_cookie;
        if (SUCCEEDED(advise_result)) {
            sink_ = std::move(sink);
        }
        return advise_result;
    }
    HRESULT Unadvise(IUnknown*, std::uint32_t cookie) override
    {
        unadvised.push_back(cookie);
        if (const ComPtr<IItemEvents> ended = std::exchange(sink_, nullptr)) {
            ended->OnBeforeRead();
        }
        return S_OK;
    }

private:
    ComPtr<IItemEvents> sink_;
};

TEST_F(event_handlers, of_an_item_that_is_loaded_again_follow_each_other)
{
    texts notes;
    int made = 0;
    events = new_events([&](const auto&, ComPtr<IUnknown>& handler) {
        handler = ComPtr<IUnknown>(MakeCom<noting_handler>(++made == 1 ? "first" : "second", S_OK, notes));
        return S_OK;
    });
    events->OnItemLoad(item.get());
    events->OnItemLoad(item.get());
    EXPECT_EQ(notes, (texts{"first advised", "second advised", "first ended"})) << "released, without a call";
    EXPECT_EQ(events->HandlerCount(), 1U);
    notes.clear();
    events->OnUnload(item.get());
    EXPECT_EQ(notes, (texts{"second ended"}));
}

TEST_F(event_handlers, that_cannot_listen_replace_none)
{
    texts notes;
    int made = 0;
    events = new_events([&](const auto&, ComPtr<IUnknown>& handler) {
        handler = ComPtr<IUnknown>(++made == 1 ? MakeCom<noting_handler>("first", S_OK, notes)
                                               : MakeCom<noting_handler>("second", CannotConnect, notes));
        return S_OK;
    });
    events->OnItemLoad(item.get());
    events->OnItemLoad(item.get());
    EXPECT_EQ(notes, (texts{"first advised", "second advised", "second ended"}));
    EXPECT_EQ(events->HandlerCount(), 1U);
    notes.clear();
    events->ReleaseHandlers();
    EXPECT_EQ(notes, (texts{"first unadvised", "first ended"}));
}

TEST_F(event_handlers, that_listen_take_the_item_of_an_advise_that_fails)
{
    const auto handler = MakeCom<CMailItemEventHandler>(source);
    auto* const owner = static_cast<IMailItemNotifications*>(events.get());
    ASSERT_EQ(handler->Advise(owner, item.get()), S_OK);
    const ComPtr<IItemEvents> sink(source->of(item.get()));
    EXPECT_THROW(handler->Advise(owner, other.get()), ComError);
    sink->OnBeforeRead();
    EXPECT_EQ(check->items, (std::vector<IUnknown*>{other.get()})) << "the later item, heard from the earlier one";
    item.reset();
    EXPECT_EQ(store.alive, 1) << "the earlier item was released";
    EXPECT_EQ(handler->Unadvise(), S_OK);
}

/// A handler of a source whose cookies are given.
class handler_of_given_cookies : public event_handlers
{
protected:
    HRESULT advise() { return handler->Advise(static_cast<IMailItemNotifications*>(events.get()), item.get()); }
    void TearDown() override
    {
        handler->Unadvise();
        handler.reset();
        event_handlers::TearDown();
    }

    std::shared_ptr<late_source> late = std::make_shared<late_source>();
    ComPtr<CMailItemEventHandler> handler = MakeCom<CMailItemEventHandler>(late);
};

TEST_F(handler_of_given_cookies, leaves_its_owner_before_its_item)
{
    ASSERT_EQ(advise(), S_OK);
    EXPECT_EQ(handler->Unadvise(), S_OK);
    EXPECT_EQ(late->unadvised, (std::vector<std::uint32_t>{1}));
    EXPECT_TRUE(check->items.empty()) << "the owner hears nothing of what the item delivers last";
}

TEST_F(handler_of_given_cookies, listens_by_every_cookie_but_fefefefe)
{
    for (const std::uint32_t cookie : {0U, 1U, 0xFEFEFEFDU, 0xFFFFFFFFU}) {
        late->next_cookie = cookie;
        ASSERT_EQ(advise(), S_OK);
        EXPECT_THROW(advise(), ComError) << cookie;
        handler->Unadvise();
    }
    late->advised = 0;
    late->next_cookie = 0xFEFEFEFE;
    EXPECT_EQ(advise(), S_OK);
    EXPECT_EQ(advise(), S_OK) << "as one that does not listen";
    EXPECT_EQ(late->advised, 2);
}

TEST_F(handler_of_given_cookies, has_the_cookie_fefefefe_after_its_end)
{
    late->next_cookie = 7;
    ASSERT_EQ(advise(), S_OK);
    handler->Unadvise();
    handler->Unadvise();
    EXPECT_EQ(late->unadvised, (std::vector<std::uint32_t>{7, 0xFEFEFEFE}));
}

TEST_F(handler_of_given_cookies, forgets_the_cookie_of_a_failure)
{
    late->advise_result = CannotConnect;
    EXPECT_EQ(advise(), CannotConnect);
    late->advise_result = S_OK;
    EXPECT_EQ(advise(), S_OK);
}

} // namespace
