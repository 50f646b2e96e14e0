#include "outlook/qdmailprotect/com/connect.h"
#include "outlook/qdmailprotect/com/outlook_events.h"
#include "tests/outlook/qdmailprotect/com/support/com_fixture.h"

#include <gtest/gtest.h>

namespace {

using test::com_fixture;
using texts = std::vector<std::string>;

constexpr IID ContactItem{0x00063021, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// The add-in connected to the client while items are loaded and unloaded.
class item_events : public com_fixture
{
protected:
    void SetUp() override
    {
        registry.set_number(winapi::registry_names::environment_key, winapi::registry_names::keep_verdict_in_email, 1);
        connected();
        addin->OnStartupComplete(nullptr);
        log.clear();
    }
    void TearDown() override
    {
        item.reset();
        other.reset();
        com_fixture::TearDown();
    }
    /// Has the message of `opened` condemned with the verdict stored in memory only, so that further openings are
    /// blocked.
    void condemn(const ComPtr<host::outlook_item>& opened)
    {
        link->pool->answers.push_back({ScanResult::Blocked, nullptr, false});
        opened->before_read();
    }
    void load(const ComPtr<host::outlook_item>& loaded) { outlook->item_load(loaded.get()); }
    /// Delivers read complete with a 32-bit flag whose initial value is `before`.
    static std::uint32_t read_complete(const ComPtr<host::outlook_item>& of, std::uint32_t before);

    ComPtr<host::outlook_item> item = new_item();
    ComPtr<host::outlook_item> other = new_item();
};

std::uint32_t item_events::read_complete(const ComPtr<host::outlook_item>& of, std::uint32_t before)
{
    ComPtr<IConnectionPoint> point;
    EXPECT_EQ(of->FindConnectionPoint(IID_ItemEvents, Receive(point)), S_OK);
    auto flag = before;
    static_cast<host::connection_point*>(point.get())
        ->fire(DispIdReadComplete, {host::by_reference(reinterpret_cast<VARIANT_BOOL&>(flag))});
    return flag;
}

// --- the events of one item

TEST_F(item_events, reach_the_check_in_their_order)
{
    clock.step = 25;
    load(item);
    item->before_read();
    EXPECT_FALSE(item->read_complete());
    item->unload();
    texts seen;
    for (const std::string& line : lines()) {
        if (line.find("-=") != std::string::npos) {
            seen.push_back(line);
        }
    }
    EXPECT_EQ(seen, (texts{
                        at("400 -===  On item load: begin processing", item.get()),
                        "400 -===  On item load: end processing",
                        at("400 -=  On before read: begin processing", item.get()),
                        "400 -=  On before read: end processing (25ms)",
                        at("400 -=  On item read complete: begin processing", item.get()),
                        "400 -=  On item read complete: end processing (25ms)",
                        at("400 -===  On item unload", item.get()),
                    }));
    EXPECT_TRUE(log.contains("Message checked, result = 1"));
    EXPECT_EQ(pool->scans.size(), 1U);
    EXPECT_EQ(item->subscriptions(), 0U) << "the handler has unadvised itself";
}

TEST_F(item_events, hold_the_add_in_that_hears_them_until_the_unload)
{
    const auto references = [this] {
        addin->AddRef();
        return addin->Release();
    };
    EXPECT_EQ(references(), 1U);
    load(item);
    load(other);
    EXPECT_EQ(references(), 3U);
    item->unload();
    EXPECT_EQ(references(), 2U);
    disconnect();
    EXPECT_EQ(references(), 1U);
}

TEST_F(item_events, reach_the_check_when_the_client_has_let_the_add_in_go)
{
    load(item);
    addin.reset();
    EXPECT_EQ(environment->initialized, 1) << "the item's handler holds the add-in";
    item->before_read();
    EXPECT_EQ(pool->scans.size(), 1U);
    item->unload();
    EXPECT_EQ(environment->initialized, 0);
    load(other); // the add-in has ended with its last item
    other->before_read();
    EXPECT_EQ(pool->scans.size(), 1U);
    EXPECT_EQ(other->subscriptions(), 0U);
}

TEST_F(item_events, of_mail_meeting_and_task_items_lead_to_their_messages)
{
    for (const IID& kind : {IID_MailItem, IID_MeetingItem, IID_TaskItem}) {
        const auto opened = new_item(kind);
        pool->scans.clear();
        load(opened);
        opened->before_read();
        EXPECT_EQ(pool->scans.size(), 1U);
        EXPECT_FALSE(log.contains("Failed to get the MAPI item interface"));
        opened->unload();
    }
}

TEST_F(item_events, of_another_kind_of_item_are_heard_and_nothing_is_checked)
{
    const auto contact = new_item(ContactItem);
    load(contact);
    EXPECT_EQ(contact->subscriptions(), 1U) << "every item gets a handler";
    contact->before_read();
    EXPECT_TRUE(log.contains("Failed to get the MAPI object"));
    EXPECT_TRUE(log.contains("Failed to check message, hr = 80004002"));
    EXPECT_FALSE(contact->read_complete());
    contact->unload();
    EXPECT_TRUE(pool->scans.empty());
}

TEST_F(item_events, of_no_item_are_told_and_nothing_more)
{
    outlook->item_load(nullptr);
    EXPECT_EQ(lines(), (texts{at("400 -===  On item load: begin processing", nullptr)}));
}

TEST_F(item_events, of_new_mail_lead_nowhere)
{
    outlook->new_mail(L"0011,0022");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(item_events, of_a_sending_are_told_and_the_flag_is_left_alone)
{
    load(item);
    log.clear();
    EXPECT_FALSE(item->send());
    EXPECT_EQ(lines(), (texts{at("400 -=  On item send: begin processing", item.get()),
                              "400 -=  On item send: end processing (0ms)"}));
    EXPECT_TRUE(pool->scans.empty()) << "outgoing mail is not checked";
    item->unload();
}

TEST_F(item_events, of_the_items_own_numbers_that_are_not_in_the_map_do_nothing)
{
    load(item);
    log.clear();
    item->read();
    EXPECT_FALSE(item->write());
    EXPECT_FALSE(item->open());
    EXPECT_FALSE(item->close());
    item->raise(0xFC8D);
    item->raise(1);
    EXPECT_TRUE(log.lines().empty());
    item->unload();
}

TEST_F(item_events, of_the_applications_own_numbers_that_are_not_in_the_map_do_nothing)
{
    outlook->startup();
    outlook->quit();
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(item_events, of_an_attachments_opening_are_not_listened_to)
{
    load(item);
    log.clear();
    const auto attachment = MakeCom<host::outlook_attachment>(L"virus.exe", L"", ComPtr<IUnknown>());
    EXPECT_FALSE(item->before_attachment_read(attachment.get()));
    EXPECT_TRUE(log.lines().empty());
    item->unload();
}

TEST_F(item_events, of_an_attachments_opening_would_be_answered)
{
    std::int32_t cancel = 0;
    const auto attachment = MakeCom<host::outlook_attachment>(L"", L"display.exe", ComPtr<IUnknown>());
    const ComPtr<IDispatch> of(item.get());
    link->settings->BlockExecInAttach.value = true;
    link->settings->BlockExecInAttach.isSet = true;
    EXPECT_EQ(addin->OnBeforeAttachmentRead(of.get(), static_cast<IDispatch*>(attachment.get()), &cancel), S_OK);
    EXPECT_EQ(cancel, 1);
    EXPECT_TRUE(log.contains("Denied the opening of attachment display.exe"));
    EXPECT_EQ(addin->OnBeforeAttachmentRead(of.get(), of.get(), &cancel), E_NOINTERFACE);
    EXPECT_TRUE(log.contains("Failed to get the attachment interface"));
}

// --- handlers

TEST_F(item_events, of_an_item_that_was_loaded_twice_go_to_both_handlers_but_one_is_kept)
{
    load(item);
    load(item);
    EXPECT_EQ(item->subscriptions(), 2U) << "the earlier handler is released, its advise is the item's";
    log.clear();
    item->unload();
    EXPECT_EQ(item->subscriptions(), 0U) << "each handler unadvises itself";
    EXPECT_EQ(lines(), (texts(2, at("400 -===  On item unload", item.get()))));
}

TEST_F(item_events, of_an_item_that_cannot_be_heard_never_come)
{
    const ComPtr<IDispatch> deaf(MakeCom<host::addin_instance>().get());
    outlook->item_load(deaf.get());
    EXPECT_EQ(lines(), (texts{at("400 -===  On item load: begin processing", deaf.get()),
                              "200 Failed to advise for the mail item events, hr=0x80004002"}));
    log.clear();
    EXPECT_EQ(addin->OnUnload(deaf.get()), S_OK) << "and an unload finds nothing";
    EXPECT_EQ(lines(), (texts{at("400 -===  On item unload", deaf.get())}));
}

TEST_F(item_events, unload_one_item_and_leave_the_others)
{
    load(item);
    load(other);
    item->unload();
    EXPECT_EQ(item->subscriptions(), 0U);
    EXPECT_EQ(other->subscriptions(), 1U);
    other->before_read();
    EXPECT_EQ(pool->scans.size(), 1U);
    other->unload();
}

TEST_F(item_events, keep_an_item_alive_until_its_unload)
{
    load(item);
    host::outlook_item* const alone = item.get();
    item.reset();
    alone->before_read();
    EXPECT_EQ(pool->scans.size(), 1U) << "its handler holds it";
    const ComPtr<host::outlook_item> until_end(alone);
    alone->unload();
}

// --- blocking

TEST_F(item_events, deliver_a_block_in_read_complete)
{
    load(item);
    condemn(item);
    EXPECT_FALSE(item->read_complete()) << "a message that was just disinfected is shown";
    item->before_read();
    EXPECT_TRUE(log.contains("blocking the message display"));
    EXPECT_TRUE(item->read_complete());
    EXPECT_TRUE(item->read_complete()) << "without another before read, the block is repeated";
    item->unload();
}

TEST_F(item_events, deliver_a_block_to_whatever_item_completes_its_read_next)
{
    load(item);
    load(other);
    condemn(item);
    item->before_read();
    EXPECT_TRUE(other->read_complete());
    item->unload();
    other->unload();
}

TEST_F(item_events, clear_a_block_by_the_before_read_of_the_next_item)
{
    load(item);
    load(other);
    condemn(item);
    item->before_read();
    other->before_read();
    EXPECT_FALSE(item->read_complete());
    item->unload();
    other->unload();
}

TEST_F(item_events, write_the_cancel_flag_as_32_bits)
{
    load(item);
    EXPECT_EQ(read_complete(item, 0xFFFFFFFFU), 0U);
    condemn(item);
    item->before_read();
    EXPECT_EQ(read_complete(item, 0xFFFFFFFFU), 1U);
    item->unload();
}

TEST_F(item_events, never_cancel_after_a_failed_check)
{
    load(item);
    link->pool->answers.push_back({ScanResult::None, nullptr, true});
    item->before_read();
    EXPECT_FALSE(item->read_complete());
    item->unload();
}

} // namespace
