#include "tests/support/process_resources.h"
#include "tests/support/resource_limit_posix.h"
#include "tests/tool/asyncio/reading_conduit.h"
#include "tests/tool/asyncio/thread_state_posix.h"
#include "tool/asyncio/channel.h"
#include "tool/asyncio/event.h"
#include "tool/asyncio/thread.h"
#include "tool/system/errors.h"

#include <platform/handles.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <memory>
#include <string>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

/// Works without sleeping, for longer than a port waits before it checks whether a handler sleeps.
void compute()
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(25);
    while (std::chrono::steady_clock::now() < end) {
    }
}

/// Runs `count` completions whose handlers compute without sleeping. Returns the highest number that ran at a time.
int most_at_a_time(std::uint32_t concurrency, int count)
{
    tpl::channel channel(4, concurrency);
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    const auto handler = [&] {
        const int now = ++inside;
        int seen = most.load();
        while (seen < now && !most.compare_exchange_weak(seen, now)) {
        }
        compute();
        --inside;
    };
    std::vector<std::unique_ptr<test::reading_conduit>> readers;
    for (int index = 0; index < count; ++index) {
        readers.push_back(std::make_unique<test::reading_conduit>(handler));
        EXPECT_TRUE(channel.attach(*readers.back()));
        EXPECT_EQ(readers.back()->start_read(), 0U);
    }
    for (auto& reader : readers) {
        EXPECT_TRUE(reader->peer().send("go"));
    }
    for (auto& reader : readers) {
        EXPECT_EQ(reader->next().bytes, "go");
    }
    channel.stop();
    return most;
}

TEST(CompletionPort, RunsOneHandlerAtATimeWhileNoneSleeps)
{
    EXPECT_EQ(most_at_a_time(1, 12), 1);
}

TEST(CompletionPort, RunsNoMoreHandlersThanTheConcurrencySays)
{
    const int most = most_at_a_time(2, 12);
    EXPECT_GE(most, 1);
    EXPECT_LE(most, 2);
}

TEST(CompletionPort, MayHaveTheDescriptorOfAClosedStandardInput)
{
    const winapi::file_handle input(::dup(STDIN_FILENO));
    ::close(STDIN_FILENO);
    const bool first_free = test::next_descriptor() == STDIN_FILENO;
    EXPECT_NO_THROW(tpl::completion_port(1));
    EXPECT_TRUE(first_free);
    ::dup2(input.get(), STDIN_FILENO);
}

TEST(CompletionPort, RaisesAndLeavesNothingOpenWhenTheSystemRefuses)
{
    const int next = test::next_descriptor();
    for (const int further : {0, 1}) {
        try {
            const test::descriptor_limit limit(further);
            const tpl::completion_port port(1);
            ADD_FAILURE() << "nothing was raised";
        } catch (const error::win32exception& failure) {
            EXPECT_EQ(failure.code(), 10024U);
        }
    }
    EXPECT_EQ(test::next_descriptor(), next);
}

/// A worker that did not take the wake-up would be woken by it again and again.
TEST(CompletionPort, LetsItsWorkersSleepBehindAWakeUp)
{
    tpl::channel channel(2, 1);
    test::reading_conduit reader;
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(), 0U);
    while (!test::others_sleep()) { // only a worker that waits for readiness is woken
        std::this_thread::yield();
    }
    tpl::cancel_io(reader.handle());
    EXPECT_EQ(reader.next().error, 995U);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    int asleep = 0; // looks in sequence that have found all asleep
    while (asleep < 50 && std::chrono::steady_clock::now() < end) {
        asleep = test::others_sleep() ? asleep + 1 : 0;
    }
    EXPECT_EQ(asleep, 50);
    channel.stop();
}

/// What a thread that may not make one system call gets instead of a port.
struct refused_port
{
    std::uint32_t code = 0;
    std::size_t descriptors_left = 0;
};

/// Makes a system call fail on the calling thread, until the thread ends.
void refuse_system_call(unsigned number, unsigned error)
{
    std::array<sock_filter, 4> rules{{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                                      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
                                      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
                                      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)}};
    const sock_fprog program{rules.size(), rules.data()};
    ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

refused_port port_without(unsigned system_call, unsigned error)
{
    refused_port seen;
    std::thread maker([&seen, system_call, error] {
        refuse_system_call(system_call, error);
        const auto before = test::process_resources::now().handles;
        try {
            const tpl::completion_port port(1);
            ADD_FAILURE() << "no exception";
        } catch (const error::win32exception& failure) {
            seen.code = failure.code();
        }
        seen.descriptors_left = test::process_resources::now().handles - before;
    });
    maker.join();
    return seen;
}

TEST(CompletionPort, LeavesNothingOpenWhenItCannotWatchItsWakeUps)
{
    const auto refused = port_without(SYS_epoll_ctl, ENOMEM);
    EXPECT_EQ(refused.code, 10055U);
    EXPECT_EQ(refused.descriptors_left, 0U);
}

/// A thread that takes one completion of a port: the signal to stop.
struct taker
{
    std::atomic<pid_t> id{0};
    std::thread thread;

    explicit taker(tpl::completion_port& port)
        : thread([this, &port] {
            id = ::gettid();
            EXPECT_EQ(port.wait().context, nullptr);
        })
    {}

    [[nodiscard]] pid_t asleep_id() const
    {
        while (id == 0 || !test::is_asleep(id)) {
            std::this_thread::yield();
        }
        return id;
    }
};

TEST(CompletionPort, CountsAHandlerThatBelongsToNoConduit)
{
    tpl::completion_port port(1);
    test::reading_conduit unheard;
    test::reading_conduit heard;
    ASSERT_TRUE(port.attach(unheard.handle(), nullptr));
    ASSERT_TRUE(port.attach(heard.handle(), &heard));
    ASSERT_EQ(unheard.start_read(), 0U);
    ASSERT_EQ(heard.start_read(), 0U);
    ASSERT_TRUE(unheard.peer().send("1"));
    const auto first = port.wait();
    const std::unique_ptr<tpl::io_context> first_context(first.context);
    EXPECT_EQ(first.key, nullptr);
    ASSERT_NE(first_context, nullptr);
    ASSERT_TRUE(heard.peer().send("2"));
    std::atomic<bool> entered{false};
    std::atomic<bool> returned{false};
    tpl::completion second;
    std::thread other([&] {
        entered = true;
        second = port.wait();
        returned = true;
    });
    while (!entered) {
    }
    compute();
    EXPECT_FALSE(returned) << "a handler of concurrency 1 is computing";
    other.join(); // asleep, the handler no longer counts
    const std::unique_ptr<tpl::io_context> second_context(second.context);
    EXPECT_EQ(second.key, &heard);
}

TEST(CompletionPort, LetsOneWorkerAloneCheckWhetherAHandlerSleeps)
{
    tpl::completion_port port(1);
    test::reading_conduit reader;
    ASSERT_TRUE(port.attach(reader.handle(), &reader));
    ASSERT_EQ(reader.start_read(), 0U);
    ASSERT_TRUE(reader.peer().send("1"));
    std::atomic<bool> handling{false};
    std::atomic<bool> finish{false};
    std::thread handler([&] {
        const std::unique_ptr<tpl::io_context> context(port.wait().context);
        EXPECT_NE(context, nullptr);
        handling = true;
        while (!finish) { // without sleeping
        }
        EXPECT_EQ(port.wait().context, nullptr);
    });
    while (!handling) {
        std::this_thread::yield();
    }
    const auto let_sleep = [](pid_t thread, unsigned long times) {
        const auto before = test::times_asleep(thread);
        while (test::times_asleep(thread) < before + times) {
            std::this_thread::yield();
        }
    };
    taker watcher(port);
    let_sleep(watcher.asleep_id(), 3);
    taker other(port);
    const auto before = test::times_asleep(other.asleep_id());
    let_sleep(watcher.id, 20);
    EXPECT_LT(test::times_asleep(other.id), before + 10) << "woken only when there is something to do";
    for (int worker = 0; worker < 3; ++worker) {
        port.post_stop();
    }
    finish = true;
    handler.join();
    watcher.thread.join();
    other.thread.join();
}

/// All workers wait when the handler's bytes arrive, so that each step of another one is a wake-up by the last.
TEST(CompletionPort, WakesAnotherWorkerWhileAHandlerSleeps)
{
    tpl::channel channel(4, 1);
    tpl::event entered;
    tpl::event leave;
    test::reading_conduit blocked([&] {
        entered.set();
        EXPECT_EQ(leave.wait(60000), tpl::wait_result::signalled);
    });
    test::reading_conduit other;
    ASSERT_TRUE(channel.attach(blocked));
    ASSERT_TRUE(channel.attach(other));
    ASSERT_EQ(blocked.start_read(), 0U);
    ASSERT_EQ(other.start_read(), 0U);
    while (!test::others_sleep()) {
        std::this_thread::yield();
    }
    ASSERT_TRUE(blocked.peer().send("1"));
    ASSERT_EQ(entered.wait(60000), tpl::wait_result::signalled);
    ASSERT_TRUE(other.peer().send("2"));
    EXPECT_EQ(other.next().bytes, "2");
    leave.set();
    EXPECT_EQ(blocked.next().bytes, "1");
    channel.stop();
}

/// A completion that reports no count: that of a cancelled read.
TEST(CompletionPort, LetsAWorkerTakeAMissingCountFromTheOperation)
{
    tpl::channel channel(1, 1);
    test::reading_conduit reader;
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(1000, 7), 0U);
    tpl::cancel_io(reader.handle());
    const auto done = reader.next();
    EXPECT_EQ(done.error, 995U);
    EXPECT_EQ(done.transferred, 1007U);
    channel.stop();
}

} // namespace
