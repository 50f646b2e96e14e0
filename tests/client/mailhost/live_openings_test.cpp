#include "client/model/items.h"
#include "store/message_object.h"
#include "tests/client/mailhost/live_addin.h"
#include "tests/support/process_memory.h"
#include "tests/support/process_resources.h"

#include <windows.h>

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

namespace host::test {
namespace {

using ::test::process_resources;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

class LiveOpenings : public live_addin
{
protected:
    /// Returns an item for a message, loaded but not yet read.
    ComPtr<outlook_item> load(const std::shared_ptr<message_record>& stored, const IID& kind = model::mail_item)
    {
        const auto save = [stored](const message_record& changed) {
            *stored = changed.copy();
            return HRESULT{S_OK};
        };
        const auto message = MakeCom<message_object>(*stored, true, save);
        auto item = MakeCom<outlook_item>(kind, ComPtr<IUnknown>(static_cast<IMessage*>(message.get())));
        program().item_load(item.get());
        return item;
    }
    static std::wstring subject(const message_record& message)
    {
        return message.properties->find(PROP_ID(PR_SUBJECT_W))->wide();
    }
};

TEST_F(LiveOpenings, JudgeTheBodyAndEachAttachment)
{
    start_service();
    connect();
    EXPECT_EQ(ScanResult::Clean, open(plain_message("Nothing of note.")).verdict);

    const opening body = open(plain_message(condemned_text()));
    EXPECT_EQ(S_OK, body.result);
    EXPECT_EQ(ScanResult::Blocked, body.verdict);
    EXPECT_FALSE(body.blocked);
    EXPECT_THAT(subject(body.shown), testing::StartsWith(L"[Morvelane Ostrand 10.1]"));

    const auto message = plain_message("See the file.");
    attach(*message, L"crane.txt", "harmless");
    attach(*message, L"loads.com", condemned_text());
    const opening file = open(message);
    EXPECT_EQ(ScanResult::Blocked, file.verdict);
    ASSERT_EQ(2U, file.shown.attachments.size()); // the clean one and the notice
    EXPECT_TRUE(file.shown.attachments.contains(0));
    EXPECT_FALSE(file.shown.attachments.contains(1));
}

TEST_F(LiveOpenings, TakeMeetingsAndTasksButNoOtherItems)
{
    start_service();
    connect();
    for (const wchar_t* kind : {L"IPM.Schedule.Meeting.Request", L"IPM.TaskRequest"}) {
        const auto message = plain_message("On Monday.");
        message->properties->set(PR_MESSAGE_CLASS_W, property_value::of_text(kind));
        EXPECT_EQ(ScanResult::Clean, open(message).verdict);
    }
    EXPECT_THAT(only(take_lines(), "200 outlook Failed to get the MAPI"), IsEmpty());
    const auto contact = load(plain_message("A friend."), model::contact_item);
    contact->before_read();
    EXPECT_FALSE(contact->read_complete());
    contact->unload();
    const auto lines = take_lines();
    EXPECT_THAT(lines, Contains("200 outlook Failed to get the MAPI object"));
    EXPECT_THAT(lines, Contains("200 outlook Failed to check message, hr = 80004002"));
}

TEST_F(LiveOpenings, TrustTheVerdictOnTheMessage)
{
    start_service();
    connect();
    const auto message = plain_message("Nothing of note.");
    const opening first = open(message);
    const auto judged = std::make_shared<message_record>(first.shown.copy());
    take_lines();
    EXPECT_EQ(ScanResult::Clean, open(judged).verdict);
    EXPECT_THAT(only(take_lines(), "400 outlook Message body checked"), IsEmpty());
}

TEST_F(LiveOpenings, ForgetABlockWithTheNextItemAndRepeatItWithout)
{
    start_service();
    connect();
    // The display is blocked because of a verdict that is stored in this process only.
    const auto condemned = plain_message(condemned_text());
    open(condemned);
    const auto first = load(condemned);
    const auto second = load(plain_message("Nothing of note."));
    first->before_read();
    second->before_read();
    EXPECT_FALSE(first->read_complete()); // the second one's check has cleared it
    first->before_read();
    EXPECT_TRUE(second->read_complete()); // the item that completes is the one that is blocked
    EXPECT_TRUE(first->read_complete());
    first->unload();
    second->unload();
}

TEST_F(LiveOpenings, TakeAnItemThatIsLoadedTwice)
{
    start_service();
    connect();
    const auto item = load(plain_message("Nothing of note."));
    program().item_load(item.get());
    item->before_read();
    EXPECT_FALSE(item->read_complete());
    item->unload();
    EXPECT_EQ(0U, item->subscriptions());
}

TEST_F(LiveOpenings, PassOverEventsThatNobodyAskedFor)
{
    connect();
    const auto item = load(plain_message("Nothing of note."));
    take_lines();
    for (const DISPID event : {0xF001, 0xF002, 0xF003, 0xF004, 0xF006, 0xF007, 0xFC8D, 0xFBAE, 0x1, -5}) {
        item->raise(event);
    }
    EXPECT_FALSE(item->write());
    EXPECT_FALSE(item->open());
    program().quit();
    program().new_mail(L"0011");
    EXPECT_THAT(take_lines(), IsEmpty());
    item->unload();
}

TEST_F(LiveOpenings, LeaveAttachmentsToTheReader)
{
    connect();
    const auto item = load(plain_message("See the file."));
    const auto program_file = MakeCom<outlook_attachment>(L"setup.exe", L"setup.exe", nullptr);
    take_lines();
    EXPECT_FALSE(item->before_attachment_read(program_file.get()));
    EXPECT_THAT(take_lines(), IsEmpty());
    item->unload();
}

TEST_F(LiveOpenings, NeverStopAnItemFromBeingSent)
{
    start_service();
    connect();
    const auto item = load(plain_message(condemned_text()));
    EXPECT_FALSE(item->send());
    EXPECT_THAT(take_lines(), Contains(HasSubstr("-=  On item send: begin processing (")));
    item->unload();
}

TEST_F(LiveOpenings, MayBeUnderWayWhenTheAddInIsDisconnected)
{
    start_service();
    connect();
    const auto read = load(plain_message("Nothing of note."));
    const auto loaded = load(plain_message("Neither here."));
    read->before_read();
    disconnect();
    // When the client ends it releases the sinks of items that are still open.
    read->drop_sinks();
    loaded->drop_sinks();
}

TEST_F(LiveOpenings, LetAClientEndWithoutAWord)
{
    constexpr int status = 3;
    const auto open_and_end = [this] {
        start_service();
        connect();
        const auto item = load(plain_message("Nothing of note."));
        item->before_read(); // the add-in's threads are running from here on
        end_process(status);
    };
    EXPECT_EXIT(open_and_end(), testing::ExitedWithCode(status), "");
}

TEST_F(LiveOpenings, GoOnUnscannedWithoutAService)
{
    auto& service = start_service();
    service.stop();
    connect();
    const opening result = open(plain_message(condemned_text()));
    EXPECT_EQ(S_OK, result.result);
    EXPECT_EQ(ScanResult::None, result.verdict);
    EXPECT_FALSE(result.blocked);
    EXPECT_THAT(take_lines(), Contains("200 outlook No ICAP server available"));
}

/// Opens messages until one is judged, because the link finds the service by its timer. Gives up after a limit.
class LiveService : public LiveOpenings
{
protected:
    bool judged_in_time()
    {
        constexpr int attempts = 100;
        for (int i = 0; i < attempts; ++i) {
            if (open(plain_message("Nothing of note.")).verdict == ScanResult::Clean) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }
};

TEST_F(LiveService, MayDieWhileAnItemIsOpenAndComeBackOnItsPortAndOnAnother)
{
    auto& first = start_service();
    connect();
    const auto item = load(plain_message("Nothing of note."));
    item->before_read();
    EXPECT_FALSE(item->read_complete());
    first.stop();
    const opening unscanned = open(plain_message(condemned_text()));
    EXPECT_FALSE(unscanned.blocked);

    const auto old_port = first.port();
    service::server_options same_port;
    same_port.port = old_port;
    service::scan_server restarted(same_port);
    restarted.start();
    EXPECT_TRUE(judged_in_time());
    EXPECT_FALSE(item->read_complete());
    restarted.stop();

    auto& second = start_service(); // the broker reports its port
    EXPECT_NE(old_port, second.port());
    EXPECT_TRUE(judged_in_time());
    EXPECT_FALSE(item->close());
    item->unload();
    EXPECT_EQ(ScanResult::Blocked, open(plain_message(condemned_text())).verdict);
}

TEST_F(LiveService, MayComeLaterThanTheClient)
{
    auto& probe = start_service();
    const auto port = probe.port();
    probe.stop();
    connect();
    EXPECT_EQ(ScanResult::None, open(plain_message(condemned_text())).verdict);
    service::server_options options;
    options.port = port;
    service::scan_server late(options);
    late.start();
    EXPECT_TRUE(judged_in_time());
    disconnect();
}

TEST_F(LiveOpenings, NeedNoMoreOfTheProcessAfterTenThousand)
{
    start_service();
    connect();
    const auto clean = plain_message("Nothing of note.");
    const auto condemned = plain_message("See the file.");
    attach(*condemned, L"loads.com", condemned_text());
    const auto rounds = [&](int count) {
        for (int i = 0; i < count; ++i) {
            // The stored record has no verdict: each of these is sent to the service unless memory contains its
            // verdict.
            ASSERT_EQ(ScanResult::Clean, open(clean).verdict);
            ASSERT_EQ(ScanResult::Clean, open(plain_message("Another one.")).verdict);
            ASSERT_EQ(ScanResult::Blocked, open(condemned).verdict);
            ASSERT_EQ(ScanResult::Clean, open(clean).verdict);
            take_lines();
        }
    };
    rounds(250);
    const auto before = process_resources::now();
    const std::size_t memory = ::test::heap_bytes();
    rounds(2500);
    constexpr process_resources workers{2, 4}; // the system's pool occasionally adds one, with its handles
    const process_resources bound{before.threads + workers.threads, before.handles + workers.handles};
    const auto after = process_resources::settled(bound);
    EXPECT_LE(after.threads, bound.threads);
    EXPECT_LE(after.handles, bound.handles);
    constexpr std::size_t allowed = 1U << 19U; // the table of verdicts grows with new messages
    EXPECT_LE(::test::heap_bytes(), memory + allowed);
}

} // namespace
} // namespace host::test
