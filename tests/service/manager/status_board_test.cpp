// What the manager learns of a service, and what it asks for.

#include "service/manager/control_queue.h"
#include "service/manager/status_board.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace status_board_test {

using namespace std::chrono_literals;

constexpr DWORD all_controls = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN | SERVICE_ACCEPT_PARAMCHANGE;

class status_board : public testing::Test
{
protected:
    void take(const SERVICE_STATUS& status)
    {
        const std::lock_guard guard(lock);
        reports.push_back(status);
        changed.notify_all();
    }
    bool wait_for(std::size_t count)
    {
        std::unique_lock guard(lock);
        return changed.wait_for(guard, 60s, [&] { return reports.size() >= count; });
    }
    std::size_t count()
    {
        const std::lock_guard guard(lock);
        return reports.size();
    }
    SERVICE_STATUS last()
    {
        const std::lock_guard guard(lock);
        return reports.back();
    }

    std::mutex lock;
    std::condition_variable changed;
    std::vector<SERVICE_STATUS> reports;
    manager::status_board board{[this](const SERVICE_STATUS& status) { take(status); }};
};

TEST_F(status_board, reports_progress_until_the_service_runs)
{
    board.starting();
    ASSERT_TRUE(wait_for(3));
    board.running();
    ASSERT_GE(count(), 4U); // the board reports nothing more by itself
    for (std::size_t i = 0; i + 1 < reports.size(); ++i) {
        EXPECT_EQ(reports[i].dwCurrentState, static_cast<DWORD>(SERVICE_START_PENDING));
        EXPECT_EQ(reports[i].dwCheckPoint, i + 1);
        EXPECT_GE(reports[i].dwWaitHint, 10000U);
        EXPECT_EQ(reports[i].dwControlsAccepted, 0U);
    }
    EXPECT_EQ(last().dwServiceType, static_cast<DWORD>(SERVICE_WIN32_OWN_PROCESS));
    EXPECT_EQ(last().dwCurrentState, static_cast<DWORD>(SERVICE_RUNNING));
    EXPECT_EQ(last().dwControlsAccepted, all_controls);
    EXPECT_EQ(last().dwCheckPoint, 0U);
    EXPECT_EQ(last().dwWaitHint, 0U);
}

TEST_F(status_board, reports_progress_until_the_service_has_ended)
{
    board.starting();
    board.running();
    board.stopping();
    const std::size_t before = count();
    EXPECT_EQ(last().dwCurrentState, static_cast<DWORD>(SERVICE_STOP_PENDING));
    EXPECT_EQ(last().dwControlsAccepted, 0U);
    ASSERT_TRUE(wait_for(before + 2));
    EXPECT_GT(last().dwCheckPoint, 1U);
    board.stopping(); // a second time starts no new count
    EXPECT_GT(last().dwCheckPoint, 1U);
    board.stopped(0);
    EXPECT_EQ(last().dwCurrentState, static_cast<DWORD>(SERVICE_STOPPED));
    EXPECT_EQ(last().dwWin32ExitCode, static_cast<DWORD>(NO_ERROR));
    EXPECT_EQ(last().dwServiceSpecificExitCode, 0U);
}

TEST_F(status_board, reports_the_exit_status_of_a_service_that_has_failed)
{
    board.starting();
    board.stopped(2);
    EXPECT_EQ(last().dwCurrentState, static_cast<DWORD>(SERVICE_STOPPED));
    EXPECT_EQ(last().dwWin32ExitCode, static_cast<DWORD>(ERROR_SERVICE_SPECIFIC_ERROR));
    EXPECT_EQ(last().dwServiceSpecificExitCode, 2U);
}

TEST_F(status_board, reports_nothing_behind_the_end)
{
    board.starting();
    board.stopped(1);
    const std::size_t before = count();
    board.stopping();
    board.running();
    EXPECT_EQ(count(), before);
}

TEST(control_queue, gives_out_each_wish_once_and_the_end_first)
{
    using wish = manager::control_queue::wish;
    manager::control_queue controls;
    controls.put(wish::reload);
    controls.put(wish::reload);
    EXPECT_EQ(controls.take(), wish::reload);
    controls.put(wish::reload);
    controls.put(wish::stop);
    EXPECT_EQ(controls.take(), wish::stop);
    EXPECT_EQ(controls.take(), wish::stop);
}

TEST(control_queue, waits_for_a_wish)
{
    manager::control_queue controls;
    std::thread other([&controls] { controls.put(manager::control_queue::wish::reload); });
    EXPECT_EQ(controls.take(), manager::control_queue::wish::reload);
    other.join();
}

} // namespace status_board_test
