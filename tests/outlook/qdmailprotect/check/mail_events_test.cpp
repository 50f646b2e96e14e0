#include "outlook/qdmailprotect/check/mail_item_event_handler.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "tests/outlook/qdmailprotect/check/mail_events_fixture.h"

#include <functional>

namespace {

using test::fake_attachment;
using test::listed_events;
using test::mail_events;
using test::scripted_check;
using texts = std::vector<std::string>;

/// A handler that ignores events and calls a function when it is destroyed.
class ending_handler final : public ComObject<IMailItemEventHandler>
{
public:
    explicit ending_handler(std::function<void()> end)
        : end_(std::move(end))
    {}
    ~ending_handler() override { end_(); }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown*, IUnknown*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Unadvise() override { return S_OK; }

protected:
    void* FindInterface(REFIID) override { return static_cast<IMailItemEventHandler*>(this); }

private:
    std::function<void()> end_;
};

/// A handler that returns its interface together with a failure.
class refusing_handler final : public ComObject<IMailItemEventHandler>
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        ComObject::QueryInterface(iid, object);
        return E_NOINTERFACE;
    }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown*, IUnknown*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Unadvise() override { return S_OK; }

protected:
    void* FindInterface(REFIID) override { return static_cast<IMailItemEventHandler*>(this); }
};

// --- item load and unload

TEST_F(mail_events, subscribe_to_a_loaded_item)
{
    events->OnItemLoad(item.get());
    EXPECT_EQ(source->sinks.size(), 1U);
    EXPECT_EQ(events->HandlerCount(), 1U);
    EXPECT_EQ(leveled(log), (texts{at("400 -===  On item load: begin processing", item.get()),
                                   "400 -===  On item load: end processing"}));
}

TEST_F(mail_events, do_nothing_for_no_item)
{
    events->OnItemLoad(nullptr);
    EXPECT_EQ(leveled(log), (texts{at("400 -===  On item load: begin processing", nullptr)}));
    EXPECT_EQ(events->HandlerCount(), 0U);
}

TEST_F(mail_events, do_nothing_for_new_mail)
{
    events->OnNewMail();
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(mail_events, tell_that_a_handler_could_not_be_made)
{
    events = new_events([](const auto&, ComPtr<IUnknown>&) { return E_OUTOFMEMORY; });
    events->OnItemLoad(item.get());
    EXPECT_EQ(leveled(log).back(), "200 Failed to create event handler, hr=0x8007000e");
    EXPECT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(events->HandlerCount(), 0U);
}

TEST_F(mail_events, tell_that_a_handler_lacks_its_interface)
{
    events = new_events([this](const auto&, ComPtr<IUnknown>& handler) {
        handler = new_item();
        return S_OK;
    });
    store.refuse_each_way("object.QueryInterface", E_NOINTERFACE, [&](HRESULT) {
        log.clear();
        events->OnItemLoad(item.get());
        EXPECT_EQ(leveled(log).back(), "200 Failed to obtain the event handler interface");
        EXPECT_EQ(log.lines().size(), 2U);
        EXPECT_EQ(events->HandlerCount(), 0U);
    });
}

TEST_F(mail_events, do_not_use_a_handler_whose_interface_comes_with_a_failure)
{
    events = new_events([](const auto&, ComPtr<IUnknown>& handler) {
        handler = ComPtr<IUnknown>(MakeCom<refusing_handler>());
        return S_OK;
    });
    events->OnItemLoad(item.get());
    EXPECT_EQ(leveled(log).back(), "200 Failed to obtain the event handler interface");
    EXPECT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(events->HandlerCount(), 0U);
}

TEST_F(mail_events, leave_an_item_that_cannot_be_heard_unprotected)
{
    source->advise_result = CannotConnect;
    events->OnItemLoad(item.get());
    EXPECT_EQ(leveled(log).back(), "200 Failed to advise for the mail item events, hr=0x80040202");
    EXPECT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(events->HandlerCount(), 0U);
    log.clear();
    EXPECT_EQ(events->OnUnload(item.get()), S_OK) << "an unload finds nothing";
    EXPECT_EQ(leveled(log), (texts{at("400 -===  On item unload", item.get())}));
}

TEST_F(mail_events, take_a_handler_that_is_advised_already_for_a_failure)
{
    const auto handler = MakeCom<CMailItemEventHandler>(source);
    events = new_events([&](const auto&, ComPtr<IUnknown>& made) {
        made = static_cast<IMailItemEventHandler*>(handler.get());
        return S_OK;
    });
    events->OnItemLoad(item.get());
    events->OnItemLoad(item.get());
    EXPECT_EQ(leveled(log).back(), "200 Failed to advise for the mail item events, hr=0x80004005");
    handler->Unadvise();
}

TEST_F(mail_events, replace_the_handler_of_an_item_that_is_loaded_twice)
{
    int alive = 0;
    events = new_events([&](const auto&, ComPtr<IUnknown>& handler) {
        ++alive;
        handler = ComPtr<IUnknown>(MakeCom<ending_handler>([&alive] { --alive; }));
        return S_OK;
    });
    events->OnItemLoad(item.get());
    events->OnItemLoad(other.get());
    EXPECT_EQ(alive, 2);
    events->OnItemLoad(item.get());
    EXPECT_EQ(alive, 2) << "the earlier handler was released";
    EXPECT_EQ(events->HandlerCount(), 2U);
    events->OnUnload(item.get());
    EXPECT_EQ(alive, 1);
    events->ReleaseHandlers();
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(events->HandlerCount(), 0U);
}

TEST_F(mail_events, may_come_while_the_handlers_are_released)
{
    bool ended = false;
    events = new_events([&](const auto&, ComPtr<IUnknown>& handler) {
        handler = ComPtr<IUnknown>(MakeCom<ending_handler>([&] {
            if (!std::exchange(ended, true)) {
                events->OnItemLoad(item.get());
                events->OnUnload(other.get());
            }
        }));
        return S_OK;
    });
    events->OnItemLoad(item.get());
    events->OnItemLoad(other.get());
    events->ReleaseHandlers();
    EXPECT_TRUE(ended);
    EXPECT_EQ(events->HandlerCount(), 1U) << "the one that was made meanwhile";
    events->ReleaseHandlers();
    EXPECT_EQ(events->HandlerCount(), 0U);
}

TEST_F(mail_events, unload_ends_the_subscription)
{
    events->OnItemLoad(item.get());
    log.clear();
    source->of(item.get())->OnUnload();
    EXPECT_EQ(leveled(log), (texts{at("400 -===  On item unload", item.get())}));
    EXPECT_EQ(events->HandlerCount(), 0U);
    EXPECT_TRUE(source->sinks.empty());
    EXPECT_EQ(source->unadvised, 1);
}

TEST_F(mail_events, of_open_items_end_with_the_disconnection)
{
    events->OnItemLoad(item.get());
    events->OnItemLoad(other.get());
    const ComPtr<IItemEvents> kept(source->of(item.get())); // by an item that goes on delivering
    events->ReleaseHandlers();
    EXPECT_EQ(events->HandlerCount(), 0U);
    EXPECT_TRUE(source->sinks.empty());
    EXPECT_EQ(source->unadvised, 2);
    log.clear();
    std::int32_t cancel = 7;
    kept->OnBeforeRead();
    kept->OnReadComplete(&cancel);
    kept->OnUnload();
    EXPECT_TRUE(check->items.empty());
    EXPECT_EQ(cancel, 7);
    EXPECT_EQ(leveled(log), texts{});
}

// --- before read, read complete

TEST_F(mail_events, before_read_checks_the_message)
{
    clock.step = 40;
    events->OnItemLoad(item.get());
    log.clear();
    source->of(item.get())->OnBeforeRead();
    EXPECT_EQ(check->items, (std::vector<IUnknown*>{item.get()}));
    EXPECT_EQ(check->use_cache, (std::vector<bool>{true}));
    EXPECT_EQ(leveled(log),
              (texts{at("400 -=  On before read: begin processing", item.get()), "400 Message checked, result = 1",
                     "400 -=  On before read: end processing (40ms)"}));
}

TEST_F(mail_events, connect_in_the_first_check_only)
{
    events->OnBeforeRead(item.get());
    EXPECT_EQ(check->connect_now.back(), false) << "the mail client hasn't finished starting";
    events->SetConnectNow();
    check->result = E_NOINTERFACE;
    events->OnBeforeRead(item.get());
    EXPECT_EQ(check->connect_now.back(), true);
    check->result = S_OK;
    events->OnBeforeRead(item.get());
    EXPECT_EQ(check->connect_now.back(), true) << "a failed check leaves it as it is";
    events->OnBeforeRead(item.get());
    EXPECT_EQ(check->connect_now.back(), false);
}

TEST_F(mail_events, open_an_item_whose_check_failed)
{
    check->result = E_UNEXPECTED;
    check->block = true;
    EXPECT_EQ(events->OnBeforeRead(item.get()), S_OK);
    EXPECT_EQ(leveled(log),
              (texts{at("400 -=  On before read: begin processing", item.get()),
                     "200 Failed to check message, hr = 8000ffff", "400 -=  On before read: end processing (0ms)"}));
    EXPECT_EQ(read_complete(item.get()), 0);
}

TEST_F(mail_events, deliver_a_block_in_read_complete)
{
    events->OnItemLoad(item.get());
    check->block = true;
    check->verdict = ScanResult::Blocked;
    source->of(item.get())->OnBeforeRead();
    EXPECT_TRUE(log.contains("Message checked, result = 2"));
    log.clear();
    std::int32_t cancel = 0;
    source->of(item.get())->OnReadComplete(&cancel);
    EXPECT_EQ(cancel, 1);
    EXPECT_EQ(leveled(log), (texts{at("400 -=  On item read complete: begin processing", item.get()),
                                   "400 -=  On item read complete: end processing (0ms)"}));
}

TEST_F(mail_events, clear_cancel_when_nothing_is_blocked)
{
    EXPECT_EQ(read_complete(item.get(), 1), 0);
    EXPECT_EQ(events->OnReadComplete(item.get(), nullptr), S_OK);
}

TEST_F(mail_events, deliver_a_block_to_whatever_item_comes_next)
{
    check->block = true;
    events->OnBeforeRead(item.get());
    EXPECT_EQ(read_complete(other.get()), 1);
}

TEST_F(mail_events, repeat_a_block_until_the_next_before_read)
{
    check->block = true;
    events->OnBeforeRead(item.get());
    EXPECT_EQ(read_complete(item.get()), 1);
    EXPECT_EQ(read_complete(other.get()), 1);
    check->block = false;
    events->OnBeforeRead(other.get());
    EXPECT_EQ(read_complete(item.get()), 0) << "the second before-read cleared the first block";
}

TEST_F(mail_events, clear_a_block_also_when_the_next_check_fails)
{
    check->block = true;
    events->OnBeforeRead(item.get());
    check->result = E_FAIL;
    events->OnBeforeRead(other.get());
    EXPECT_EQ(read_complete(item.get()), 0);
}

TEST_F(mail_events, let_outgoing_mail_alone)
{
    events->OnItemLoad(item.get());
    log.clear();
    std::int32_t cancel = 7;
    source->of(item.get())->OnSend(&cancel);
    EXPECT_EQ(cancel, 7);
    EXPECT_TRUE(check->items.empty());
    EXPECT_EQ(leveled(log), (texts{at("400 -=  On item send: begin processing", item.get()),
                                   "400 -=  On item send: end processing (0ms)"}));
}

// --- opened attachments

TEST_F(mail_events, deny_an_attachment_by_its_file_name)
{
    const auto attachment = MakeCom<fake_attachment>();
    attachment->file_name = L"a.exe";
    attachment->display_name = L"b.txt";
    check->allowed = false;
    std::int32_t cancel = 0;
    EXPECT_EQ(events->OnBeforeAttachmentRead(item.get(), attachment.get(), &cancel), S_OK);
    EXPECT_EQ(cancel, 1);
    EXPECT_EQ(check->names, (std::vector<std::wstring>{L"a.exe"}));
    EXPECT_EQ(leveled(log), (texts{at("400 -=  On before attachment read: begin processing", item.get()),
                                   "200 Denied the opening of attachment a.exe",
                                   "400 -=  On before attachment read: end processing (0ms)"}));
}

TEST_F(mail_events, take_the_display_name_of_an_attachment_without_a_file_name)
{
    const auto attachment = MakeCom<fake_attachment>();
    attachment->display_name = L"b.exe";
    std::int32_t cancel = 0;
    EXPECT_EQ(events->OnBeforeAttachmentRead(item.get(), attachment.get(), &cancel), S_OK);
    EXPECT_EQ(cancel, 0) << "allowed";
    EXPECT_EQ(check->names, (std::vector<std::wstring>{L"b.exe"}));
}

TEST_F(mail_events, do_not_judge_an_attachment_without_a_name)
{
    check->allowed = false;
    std::int32_t cancel = 0;
    EXPECT_EQ(events->OnBeforeAttachmentRead(item.get(), MakeCom<fake_attachment>().get(), &cancel), S_OK);
    EXPECT_EQ(cancel, 0);
    EXPECT_TRUE(check->names.empty());
}

TEST_F(mail_events, refuse_missing_arguments_of_an_attachment)
{
    std::int32_t cancel = 0;
    EXPECT_EQ(events->OnBeforeAttachmentRead(item.get(), nullptr, &cancel), E_INVALIDARG);
    EXPECT_EQ(events->OnBeforeAttachmentRead(item.get(), MakeCom<fake_attachment>().get(), nullptr), E_INVALIDARG);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(mail_events, refuse_what_is_no_attachment)
{
    std::int32_t cancel = 0;
    store.refuse_each_way("object.QueryInterface", E_NOINTERFACE, [&](HRESULT) {
        log.clear();
        EXPECT_EQ(events->OnBeforeAttachmentRead(item.get(), other.get(), &cancel), E_NOINTERFACE);
        EXPECT_EQ(leveled(log), (texts{at("400 -=  On before attachment read: begin processing", item.get()),
                                       "200 Failed to get the attachment interface"}));
    });
    EXPECT_EQ(cancel, 0);
}

TEST_F(mail_events, can_be_told_of_an_attachment_through_the_handler)
{
    events->OnItemLoad(item.get());
    const auto attachment = MakeCom<fake_attachment>();
    attachment->file_name = L"a.exe";
    check->allowed = false;
    std::int32_t cancel = 0;
    source->of(item.get())->OnBeforeAttachmentRead(attachment.get(), &cancel);
    EXPECT_EQ(cancel, 1);
}

// --- the handler itself

class event_handler : public mail_events
{
protected:
    HRESULT advise(IUnknown* of) { return handler->Advise(static_cast<IMailItemNotifications*>(events.get()), of); }
    void TearDown() override
    {
        source->sinks.clear();
        handler.reset();
        mail_events::TearDown();
    }
    ComPtr<CMailItemEventHandler> handler = MakeCom<CMailItemEventHandler>(source);
};

TEST_F(event_handler, needs_owner_and_item)
{
    EXPECT_EQ(handler->Advise(nullptr, item.get()), E_POINTER);
    EXPECT_EQ(advise(nullptr), E_POINTER);
    EXPECT_TRUE(source->sinks.empty());
}

TEST_F(event_handler, that_listens_raises_when_advised_again)
{
    ASSERT_EQ(advise(item.get()), S_OK);
    try {
        advise(other.get());
        ADD_FAILURE() << "nothing raised";
    } catch (const ComError& failure) {
        EXPECT_EQ(failure.Error(), E_FAIL);
    }
    EXPECT_EQ(source->sinks.size(), 1U);
}

TEST_F(event_handler, gives_the_items_failure)
{
    source->advise_result = E_NOTIMPL;
    EXPECT_EQ(advise(item.get()), E_NOTIMPL);
    source->advise_result = S_OK;
    EXPECT_EQ(advise(item.get()), S_OK) << "it can be tried again";
}

TEST_F(event_handler, undoes_the_subscription_when_the_owner_cannot_be_told)
{
    EXPECT_EQ(handler->Advise(other.get(), item.get()), CannotConnect);
    EXPECT_TRUE(source->sinks.empty());
    EXPECT_EQ(source->unadvised, 1);
    IUnknown* const kept = item.get();
    item.reset();
    EXPECT_EQ(store.alive, 1) << "the item was released";
    (void)kept;
    item = new_item();
    EXPECT_EQ(advise(item.get()), S_OK);
}

TEST_F(event_handler, without_an_item_has_nothing_to_end)
{
    EXPECT_EQ(handler->Unadvise(), S_OK);
    EXPECT_EQ(source->unadvised, 0);
}

TEST_F(event_handler, that_was_ended_tells_nobody)
{
    ASSERT_EQ(advise(item.get()), S_OK);
    const ComPtr<IItemEvents> sink(source->of(item.get()));
    EXPECT_EQ(handler->Unadvise(), S_OK);
    log.clear();
    sink->OnBeforeRead();
    EXPECT_TRUE(check->items.empty());
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(advise(item.get()), S_OK) << "it can listen again";
}

TEST_F(event_handler, forwards_to_every_owner_in_turn)
{
    CProxyItemNotifications point;
    const auto second_check = std::make_shared<scripted_check>();
    const auto second = MakeCom<MailEvents>(second_check, source, &clock);
    std::uint32_t first_cookie = 0;
    std::uint32_t second_cookie = 0;
    ASSERT_EQ(point.Advise(static_cast<IMailItemNotifications*>(events.get()), first_cookie), S_OK);
    ASSERT_EQ(point.Advise(static_cast<IMailItemNotifications*>(second.get()), second_cookie), S_OK);
    EXPECT_NE(first_cookie, second_cookie);
    point.Fire_OnBeforeRead(item.get());
    EXPECT_EQ(check->items.size(), 1U);
    EXPECT_EQ(second_check->items.size(), 1U);
    point.Unadvise(first_cookie);
    point.Fire_OnBeforeRead(item.get());
    EXPECT_EQ(check->items.size(), 1U);
    EXPECT_EQ(second_check->items.size(), 2U);
}

// --- the events of one message

using opened_message = test::checker_fixture;

TEST_F(opened_message, that_memory_knows_as_blocked_is_not_shown)
{
    const auto source = std::make_shared<listed_events>();
    const auto events =
        MakeCom<MailEvents>(std::shared_ptr<MessageCheck>(&checker, [](MessageCheck*) {}), source, &clock);
    const auto message = new_message();
    const auto item = item_of(*message)->reference();
    const auto open = [&] {
        std::int32_t cancel = 0;
        events->OnItemLoad(item.get());
        source->of(item.get())->OnBeforeRead();
        source->of(item.get())->OnReadComplete(&cancel);
        source->of(item.get())->OnUnload();
        return cancel;
    };
    answer(ScanResult::Blocked);
    EXPECT_EQ(open(), 0);
    message->remove(test::verdict_tag(store));
    EXPECT_EQ(open(), 1);
    EXPECT_EQ(scans().size(), 1U);
}

} // namespace
