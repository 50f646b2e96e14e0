#include "tests/support/process_resources.h"
#include "tests/tool/asyncio/reading_conduit.h"
#include "tool/asyncio/channel.h"
#include "tool/asyncio/event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using test::reading_conduit;
using testing::AnyOf;
using tpl::wait_result;
constexpr std::uint32_t long_wait = 60000;

TEST(Channel, StopWithoutThreadsDoesNothing)
{
    tpl::channel channel(0, 1);
    EXPECT_FALSE(channel.is_stopped());
    channel.stop();
    EXPECT_TRUE(channel.is_stopped());
}

TEST(Channel, StopTwiceFindsNoThreadsTheSecondTime)
{
    tpl::channel channel(4, 1);
    channel.stop();
    EXPECT_TRUE(channel.is_stopped());
    channel.stop();
    EXPECT_TRUE(channel.is_stopped());
}

TEST(Channel, AttachesAHandleOnce)
{
    tpl::channel channel(1, 1);
    tpl::channel other(1, 1);
    reading_conduit reader;
    EXPECT_TRUE(channel.attach(reader));
    EXPECT_FALSE(channel.attach(reader));
    EXPECT_FALSE(other.attach(reader));
    channel.stop();
}

TEST(Channel, DeliversAReadToTheHandlerOnAWorker)
{
    tpl::channel channel(4, 1);
    reading_conduit reader;
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(), 0U);
    ASSERT_TRUE(reader.peer().send("twelve bytes"));
    const auto done = reader.next();
    EXPECT_EQ(done.bytes, "twelve bytes");
    EXPECT_EQ(done.transferred, 12U);
    EXPECT_EQ(done.error, 0U);
    EXPECT_NE(done.thread, std::this_thread::get_id());
    channel.stop();
}

TEST(Channel, AddsTheCountToTheContextsOwn)
{
    tpl::channel channel(1, 1);
    reading_conduit reader;
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(1000), 0U);
    ASSERT_TRUE(reader.peer().send("abc"));
    EXPECT_EQ(reader.next().transferred, 1003U);
    channel.stop();
}

TEST(Channel, DeliversTheEndOfTheConnectionWithZeroBytes)
{
    tpl::channel channel(1, 1);
    reading_conduit reader;
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(), 0U);
    reader.peer().close();
    const auto done = reader.next();
    EXPECT_EQ(done.transferred, 0U);
    EXPECT_EQ(done.error, 0U);
    channel.stop();
}

TEST(Channel, DeliversAFailedReadWithNoCountAndTheErrorStored)
{
    tpl::channel channel(4, 1);
    reading_conduit reader;
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(), 0U);
    reader.close();
    const auto done = reader.next();
    EXPECT_EQ(done.transferred, 0U);
    EXPECT_THAT(done.error, AnyOf(995U, 64U, 676U, 1236U)); // possible codes for a handle closed during a read
    EXPECT_NE(done.thread, std::this_thread::get_id());
    channel.stop();
}

TEST(Channel, DeliversACancelledRead)
{
    tpl::channel channel(2, 1);
    reading_conduit reader;
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(), 0U);
    tpl::cancel_io(reader.handle());
    EXPECT_EQ(reader.next().error, 995U);
    ASSERT_EQ(reader.start_read(), 0U) << "the handle stays usable";
    ASSERT_TRUE(reader.peer().send("more"));
    EXPECT_EQ(reader.next().bytes, "more");
    channel.stop();
}

TEST(Channel, CancelsNothingWhereNothingIsUnderWay)
{
    tpl::channel channel(1, 1);
    reading_conduit reader;
    ASSERT_TRUE(channel.attach(reader));
    tpl::cancel_io(reader.handle());
    tpl::cancel_io(tpl::invalid_handle);
    channel.stop();
    EXPECT_EQ(reader.completions(), 0U);
}

TEST(Channel, GoesOnAfterACompletionThatBelongsToNoConduit)
{
    tpl::channel channel(1, 1);
    reading_conduit unheard;
    reading_conduit heard;
    ASSERT_TRUE(channel.port_handle().attach(unheard.handle(), nullptr));
    ASSERT_TRUE(channel.attach(heard));
    ASSERT_EQ(unheard.start_read(), 0U);
    ASSERT_EQ(heard.start_read(), 0U);
    ASSERT_TRUE(unheard.peer().send("1"));
    ASSERT_TRUE(heard.peer().send("2"));
    EXPECT_EQ(heard.next().bytes, "2");
    channel.stop();
    EXPECT_EQ(unheard.completions(), 0U);
}

TEST(Channel, LetsAnotherWorkerThroughWhileAHandlerBlocks)
{
    tpl::channel channel(4, 1);
    tpl::event entered;
    tpl::event leave;
    reading_conduit blocked([&] {
        entered.set();
        EXPECT_EQ(leave.wait(long_wait), wait_result::signalled);
    });
    reading_conduit other;
    ASSERT_TRUE(channel.attach(blocked));
    ASSERT_TRUE(channel.attach(other));
    ASSERT_EQ(blocked.start_read(), 0U);
    ASSERT_EQ(other.start_read(), 0U);
    ASSERT_TRUE(blocked.peer().send("1"));
    ASSERT_EQ(entered.wait(long_wait), wait_result::signalled);
    ASSERT_TRUE(other.peer().send("2"));
    EXPECT_EQ(other.next().bytes, "2");
    leave.set();
    EXPECT_EQ(blocked.next().bytes, "1");
    channel.stop();
}

TEST(Channel, StopLetsARunningHandlerEnd)
{
    tpl::channel channel(4, 1);
    tpl::event entered;
    tpl::event leave;
    std::atomic<bool> left{false};
    reading_conduit reader([&] {
        entered.set();
        EXPECT_EQ(leave.wait(long_wait), wait_result::signalled);
        left = true;
    });
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(), 0U);
    ASSERT_TRUE(reader.peer().send("1"));
    ASSERT_EQ(entered.wait(long_wait), wait_result::signalled);
    std::thread releaser([&] { leave.set(); });
    channel.stop();
    EXPECT_TRUE(left);
    releaser.join();
}

TEST(Channel, StopDeliversWhatWasCancelledBefore)
{
    tpl::channel channel(4, 1);
    reading_conduit reader;
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(), 0U);
    reader.close();
    channel.stop();
    EXPECT_EQ(reader.completions(), 1U);
}

TEST(Channel, StoppedOnItsOwnWorkerFailsLoudly)
{
    tpl::channel channel(2, 1);
    std::string text;
    reading_conduit reader([&] {
        try {
            channel.stop();
        } catch (const std::runtime_error& problem) {
            text = problem.what();
        }
    });
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(), 0U);
    ASSERT_TRUE(reader.peer().send("1"));
    static_cast<void>(reader.next());
    EXPECT_EQ(text, "error: wait on self-thread is potential deadlock");
    channel.stop();
    EXPECT_TRUE(channel.is_stopped());
}

TEST(Channel, GivesNoCompletionsAfterStop)
{
    tpl::channel channel(4, 1);
    reading_conduit reader;
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(), 0U);
    channel.stop();
    ASSERT_TRUE(reader.peer().send("late"));
    reader.close();
    EXPECT_EQ(reader.completions(), 0U);
}

TEST(Channel, FreesOperationsThatNobodyTook)
{
    const auto before = test::tracked_context::alive();
    {
        reading_conduit reader;
        tpl::channel channel(0, 1);
        ASSERT_TRUE(channel.attach(reader));
        ASSERT_EQ(reader.start_read(), 0U);
        EXPECT_EQ(test::tracked_context::alive(), before + 1);
        reader.close();
    }
    EXPECT_EQ(test::tracked_context::alive(), before);
}

TEST(Channel, ServesManyConduitsAtOnce)
{
    constexpr int count = 20;
    constexpr int rounds = 30;
    tpl::channel channel(4, 1);
    std::vector<std::unique_ptr<reading_conduit>> readers;
    for (int index = 0; index < count; ++index) {
        readers.push_back(std::make_unique<reading_conduit>());
        ASSERT_TRUE(channel.attach(*readers.back()));
    }
    for (int round = 0; round < rounds; ++round) {
        for (auto& reader : readers) {
            ASSERT_EQ(reader->start_read(), 0U);
            ASSERT_TRUE(reader->peer().send("round " + std::to_string(round)));
        }
        for (auto& reader : readers) {
            EXPECT_EQ(reader->next().bytes, "round " + std::to_string(round));
        }
    }
    channel.stop();
}

TEST(Channel, LeavesNoThreadAndNoDescriptorBehind)
{
    { // creates the objects that exist once per process
        tpl::channel channel(1, 1);
        reading_conduit reader;
    }
    const auto before = test::process_resources::now();
    for (int round = 0; round < 5; ++round) {
        reading_conduit reader;
        tpl::channel channel(4, 1);
        ASSERT_TRUE(channel.attach(reader));
        ASSERT_EQ(reader.start_read(), 0U);
        reader.peer().close();
        static_cast<void>(reader.next());
        reader.close();
    }
    EXPECT_EQ(test::process_resources::settled(before), before);
}

TEST(Channel, StoppedTwiceLeavesNothingInItsPort)
{
    tpl::channel channel(4, 1);
    channel.stop();
    channel.stop();
    reading_conduit reader;
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(), 0U);
    ASSERT_TRUE(reader.peer().send("1"));
    const auto first = channel.port_handle().wait();
    const std::unique_ptr<tpl::io_context> context(first.context);
    EXPECT_EQ(first.key, &reader) << "the second stop has posted signals that no thread takes";
    EXPECT_EQ(first.transferred, 1U);
}

} // namespace
