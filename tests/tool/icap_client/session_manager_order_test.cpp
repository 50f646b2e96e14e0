#include "tests/support/log_capture.h"
#include "tests/tool/icap_client/fake_session.h"
#include "tool/asyncio/channel.h"
#include "tool/asyncio/event.h"
#include "tool/icap_client/session_impl.h"
#include "tool/icap_client/session_manager.h"

#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace icap::client;
using tpl::wait_result;
constexpr std::uint32_t long_wait = 60000;

/// A session that calls a function at steps of the pool.
class watched_session final : public test::fake_session
{
public:
    ~watched_session() override { call(at_destruction); }
    [[nodiscard]] bool is_invalid() override
    {
        call(at_validity_test);
        return fake_session::is_invalid();
    }
    void close() override
    {
        call(at_close);
        fake_session::close();
    }

    std::function<void()> at_validity_test;
    std::function<void()> at_close;
    std::function<void()> at_destruction;

private:
    static void call(const std::function<void()>& action)
    {
        if (action) {
            action();
        }
    }
};

/// The order in which a pool takes its lock, opens, closes and drops sessions, and stops its channel.
class SessionManagerOrder : public testing::Test
{
protected:
    void make(std::uint32_t initial)
    {
        const auto open = [this](const session_target&, tpl::channel& pools) -> std::shared_ptr<session> {
            channel = &pools;
            if (at_opening) {
                at_opening();
            }
            auto made = std::make_shared<watched_session>();
            opened.push_back(made.get());
            return made;
        };
        pool = std::make_shared<session_manager>(session_manager_parameters{L"127.0.0.1", 1344, L"/webscan"}, initial,
                                                 open, session_timing{.options_answer = 100, .release_poll = 1});
    }

    std::function<void()> at_opening;
    std::vector<watched_session*> opened; ///< owned by the pool
    const tpl::channel* channel = nullptr;
    std::shared_ptr<session_manager> pool;
};

TEST_F(SessionManagerOrder, HoldsNoLockWhileItOpensASession)
{
    make(1);
    opened[0]->invalid = true;
    tpl::event asked;
    std::thread other;
    at_opening = [&] {
        other = std::thread([&] {
            EXPECT_FALSE(pool->is_terminating());
            asked.set();
        });
        EXPECT_EQ(asked.wait(long_wait), wait_result::signalled) << "the pool is locked while a session is opened";
    };
    const auto beside_an_invalid_one = pool->query_session();
    other.join();
    EXPECT_EQ(beside_an_invalid_one.get(), opened[1]);
}

TEST_F(SessionManagerOrder, HoldsNoLockWhileItOpensASessionForAnEmptyPool)
{
    make(0);
    tpl::event asked;
    std::thread other;
    at_opening = [&] {
        other = std::thread([&] {
            pool->set_istag_notifier(nullptr);
            asked.set();
        });
        EXPECT_EQ(asked.wait(long_wait), wait_result::signalled) << "the pool is locked while a session is opened";
    };
    EXPECT_NE(pool->query_session(), nullptr);
    other.join();
}

TEST_F(SessionManagerOrder, StopsTheChannelBehindTheLastCloseAndAheadOfTheFirstDestruction)
{
    make(2);
    int closes = 0;
    int destructions = 0;
    for (watched_session* const one : opened) {
        one->at_close = [&] {
            ++closes;
            EXPECT_FALSE(channel->is_stopped()) << "the cancelled read could not complete";
        };
        one->at_destruction = [&] {
            ++destructions;
            EXPECT_EQ(closes, 2);
            EXPECT_TRUE(channel->is_stopped()) << "a worker could still use the session";
        };
    }
    pool->terminate();
    EXPECT_EQ(closes, 2);
    EXPECT_EQ(destructions, 2);
}

TEST_F(SessionManagerOrder, KeepsAValidSessionThatIsReturnedDuringTheTerminationUntilItEnds)
{
    make(2);
    const test::log_capture log;
    const std::string return_line = "return session(";
    auto taken = pool->query_session();
    watched_session& returned = *opened[0];
    bool destroyed = false;
    returned.at_destruction = [&] { destroyed = true; };
    tpl::event tested;
    tpl::event terminating;
    returned.at_validity_test = [&] { // the release has found the pool running, and does not hold its lock
        tested.set();
        EXPECT_EQ(terminating.wait(long_wait), wait_result::signalled) << "the pool is locked during the test";
    };
    opened[1]->at_close = [&] { // the termination holds the lock
        terminating.set();
        for (int chance = 0; chance < 1000 && !log.contains(return_line); ++chance) {
            std::this_thread::yield();
        }
        EXPECT_FALSE(log.contains(return_line)) << "taken back in the middle of the termination";
    };
    std::string failure;
    std::thread releasing([&] {
        try {
            pool->release_session(std::move(taken));
        } catch (const std::exception& problem) {
            failure = problem.what();
        }
    });
    EXPECT_EQ(tested.wait(long_wait), wait_result::signalled);
    pool->terminate();
    releasing.join();
    EXPECT_EQ(failure, "");
    EXPECT_TRUE(log.contains(return_line));
    EXPECT_EQ(returned.closes, 0);
    EXPECT_FALSE(destroyed);
    pool.reset();
    EXPECT_TRUE(destroyed);
}

} // namespace
