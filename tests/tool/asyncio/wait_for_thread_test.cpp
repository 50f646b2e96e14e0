#include "tool/asyncio/event.h"
#include "tool/asyncio/wait_for_thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// Threads that behave as a test specifies; records the calls.
class told_threads final : public tpl::thread_platform
{
public:
    told_threads(std::uint64_t handle_id, std::uint64_t current_id, bool fallback = false)
        : identity_{handle_id, fallback}
        , current_id_(current_id)
    {}

    [[nodiscard]] identity thread_identity(tpl::thread_handle) const override
    {
        calls.emplace_back("identity");
        return identity_;
    }
    [[nodiscard]] std::uint64_t current_thread_id() const override { return current_id_; }
    void wait(tpl::thread_handle, std::uint32_t timeout) const override
    {
        calls.emplace_back("wait " + std::to_string(timeout));
    }
    void close(tpl::thread_handle) const override { calls.emplace_back("close"); }

    mutable std::vector<std::string> calls;

private:
    identity identity_;
    std::uint64_t current_id_;
};

tpl::thread_handle some_handle()
{
    static int anything = 0;
    return reinterpret_cast<tpl::thread_handle>(&anything);
}

std::string raised_text(const told_threads& threads)
{
    try {
        static_cast<void>(tpl::wait_for_thread(some_handle(), tpl::infinite, threads));
    } catch (const std::runtime_error& problem) {
        return problem.what();
    }
    return "nothing was raised";
}

using calls = std::vector<std::string>;

TEST(WaitForThread, GivesTrueForANullHandleWithoutLookingUpAnything)
{
    const told_threads threads(1, 1);
    EXPECT_TRUE(tpl::wait_for_thread(tpl::thread_handle{}, tpl::infinite, threads));
    EXPECT_EQ(threads.calls, calls{});
    EXPECT_TRUE(tpl::wait_for_thread(tpl::thread_handle{}, tpl::infinite));
}

TEST(WaitForThread, WaitsAndThenClosesTheHandle)
{
    const told_threads threads(1, 2);
    EXPECT_TRUE(tpl::wait_for_thread(some_handle(), 1234, threads));
    EXPECT_EQ(threads.calls, (calls{"identity", "wait 1234", "close"}));
}

TEST(WaitForThread, RefusesToWaitForItself)
{
    const told_threads threads(7, 7);
    EXPECT_EQ(raised_text(threads), "error: wait on self-thread is potential deadlock");
    EXPECT_EQ(threads.calls, calls{"identity"});
}

TEST(WaitForThread, TellsWhenTheIdCameTheOlderWay)
{
    const told_threads threads(7, 7, true);
    EXPECT_EQ(raised_text(threads), "error: wait on self-thread is potential deadlock (XP)");
    EXPECT_EQ(threads.calls, calls{"identity"});
}

TEST(WaitForThread, WaitsTheOlderWayToo)
{
    const told_threads threads(1, 2, true);
    EXPECT_TRUE(tpl::wait_for_thread(some_handle(), tpl::infinite, threads));
    EXPECT_EQ(threads.calls, (calls{"identity", "wait 4294967295", "close"}));
}

TEST(WaitForThread, ReturnsAfterTheThreadHasEnded)
{
    std::atomic<bool> ran{false};
    const auto handle = tpl::start_thread([](void* flag) { static_cast<std::atomic<bool>*>(flag)->store(true); }, &ran);
    EXPECT_TRUE(tpl::wait_for_thread(handle, tpl::infinite));
    EXPECT_TRUE(ran);
}

TEST(WaitForThread, GivesTrueAlsoWhenTheThreadGoesOn)
{
    static struct
    {
        tpl::event go;
        tpl::event gone;
    } events; // static, because the thread may still be inside set() when the test ends
    const auto handle = tpl::start_thread(
        [](void* parameter) {
            auto& shared = *static_cast<decltype(events)*>(parameter);
            static_cast<void>(shared.go.wait(tpl::infinite));
            shared.gone.set();
        },
        &events);
    EXPECT_TRUE(tpl::wait_for_thread(handle, 1));
    events.go.set();
    EXPECT_EQ(events.gone.wait(60000), tpl::wait_result::signalled);
}

TEST(WaitForThread, RaisesOnTheThreadItself)
{
    struct
    {
        tpl::event started;
        tpl::thread_handle handle{};
        std::string text;
    } shared;
    shared.handle = tpl::start_thread(
        [](void* parameter) {
            auto& own = *static_cast<decltype(shared)*>(parameter);
            static_cast<void>(own.started.wait(tpl::infinite));
            try {
                static_cast<void>(tpl::wait_for_thread(own.handle, tpl::infinite));
            } catch (const std::runtime_error& problem) {
                own.text = problem.what();
            }
        },
        &shared);
    shared.started.set();
    EXPECT_TRUE(tpl::wait_for_thread(shared.handle, tpl::infinite));
    EXPECT_EQ(shared.text, "error: wait on self-thread is potential deadlock");
}

} // namespace
