#include "tests/support/log_capture.h"
#include "tests/support/loopback_socket.h"
#include "tests/tool/icap_client/fake_session.h"
#include "tests/tool/icap_client/joined.h"
#include "tool/asyncio/channel.h"
#include "tool/icap_client/session_impl.h"
#include "tool/icap_client/session_manager.h"
#include "tool/system/errors.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace icap::client;
using test::fake_session;
using test::joined;
using texts = std::vector<std::string>;

/// Opens fake sessions and keeps them for inspection.
class opener
{
public:
    session_manager::session_opener function()
    {
        return [this](const session_target& target, tpl::channel& pools) -> std::shared_ptr<session> {
            targets.push_back(target);
            channel = &pools;
            if (refuse) {
                throw std::runtime_error("the service is down");
            }
            opened.push_back(std::make_shared<fake_session>());
            return opened.back();
        };
    }
    std::vector<session_target> targets;
    std::vector<std::shared_ptr<fake_session>> opened;
    const tpl::channel* channel = nullptr; ///< the pool's; null until a session was opened
    bool refuse = false;
};

class SessionManager : public testing::Test
{
protected:
    void make(std::uint32_t initial)
    {
        pool = std::make_shared<session_manager>(parameters, initial, sessions.function(),
                                                 session_timing{.options_answer = 100, .release_poll = 1});
    }
    static std::string address(const std::shared_ptr<session>& one)
    {
        std::ostringstream text;
        text << one.get();
        return text.str();
    }
    /// Returns the records of the client's lines for debugging.
    static std::vector<test::log_record> debug_lines(const texts& all)
    {
        std::vector<test::log_record> records;
        for (const auto& text : all) {
            records.push_back({500, "icapclnt", text});
        }
        return records;
    }
    static std::string failure(const std::function<void()>& action)
    {
        try {
            action();
        } catch (const std::exception& problem) {
            return problem.what();
        }
        return "nothing was raised";
    }

    session_manager_parameters parameters{L"127.0.0.1", 1344, L"/webscan"};
    opener sessions;
    std::shared_ptr<session_manager> pool;
};

TEST_F(SessionManager, OpensTheSessionsThatItIsToldTo)
{
    make(3);
    EXPECT_EQ(sessions.opened.size(), 3U);
    EXPECT_FALSE(pool->is_terminating());
}

TEST_F(SessionManager, OpensNoneForZero)
{
    make(0);
    EXPECT_EQ(sessions.opened.size(), 0U);
}

TEST_F(SessionManager, FormsTheTargetAndTellsTheCreation)
{
    make(0);
    const test::log_capture log;
    const auto created = pool->create_session();
    ASSERT_EQ(sessions.targets.size(), 1U);
    EXPECT_EQ(sessions.targets[0].uri, L"icap://127.0.0.1:1344/webscan");
    EXPECT_EQ(web::host_number(sessions.targets[0].address), 0x7F000001U);
    EXPECT_EQ(web::port_number(sessions.targets[0].address), 1344U);
    EXPECT_EQ(log.lines(),
              debug_lines({"create new session: begin", "create new session: 'icap://127.0.0.1:1344/webscan'",
                           joined({"create new session(", address(created), "): end"})}));
}

TEST_F(SessionManager, AnAddressThatIsNoneRaisesThePlatformsCode)
{
    parameters.address = L"not an address";
    make(0);
    const test::log_capture log;
    try {
        static_cast<void>(pool->create_session());
        FAIL();
    } catch (const error::win32exception& problem) {
        EXPECT_EQ(problem.code(), 10022U);
    }
    const auto all = log.lines();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[1], (test::log_record{200, "icapclnt",
                                        "create new session failed: could not convert 'not an address:1344'"}));
    EXPECT_TRUE(sessions.targets.empty());
}

TEST_F(SessionManager, AServiceThatIsDownFailsTheConstruction)
{
    sessions.refuse = true;
    EXPECT_EQ(failure([this] { make(1); }), "the service is down");
}

TEST_F(SessionManager, GivesTheSessionThatHasBeenIdleLongest)
{
    make(3);
    const auto first = pool->query_session();
    const auto second = pool->query_session();
    EXPECT_EQ(first, sessions.opened[0]);
    EXPECT_EQ(second, sessions.opened[1]);
    pool->release_session(second);
    pool->release_session(first);
    EXPECT_EQ(pool->query_session(), sessions.opened[2]);
    EXPECT_EQ(pool->query_session(), sessions.opened[1]);
    EXPECT_EQ(pool->query_session(), sessions.opened[0]);
}

TEST_F(SessionManager, OpensANewSessionWhenNoneIsIdle)
{
    make(0);
    const auto first = pool->query_session();
    const auto second = pool->query_session();
    EXPECT_NE(first, second);
    EXPECT_EQ(sessions.opened.size(), 2U);
    pool->release_session(first);
    pool->release_session(second);
    EXPECT_EQ(pool->query_session(), first);
    EXPECT_EQ(pool->query_session(), second);
    EXPECT_EQ(sessions.opened.size(), 2U);
}

TEST_F(SessionManager, TellsQueryAndRelease)
{
    make(2);
    const test::log_capture log;
    const auto taken = pool->query_session();
    pool->release_session(taken);
    EXPECT_EQ(log.lines(),
              debug_lines({"active sessions = 2", joined({"query session(", address(taken), ") from 1 sessons"}),
                           joined({"return session(", address(taken), ") to active sessions"})}));
}

TEST_F(SessionManager, StepsOverAnInvalidSessionAndLeavesItInTheList)
{
    make(2);
    sessions.opened[0]->invalid = true;
    const test::log_capture log;
    const auto taken = pool->query_session();
    EXPECT_EQ(taken, sessions.opened[1]);
    EXPECT_TRUE(log.contains(") from 1 sessons"));
    // It is tested again at each query, and would be used again if it had become valid.
    const auto fresh = pool->query_session();
    EXPECT_EQ(sessions.opened[0]->validity_tests, 2);
    EXPECT_EQ(fresh, sessions.opened[2]);
    EXPECT_TRUE(log.contains("active sessions = 1"));
    sessions.opened[0]->invalid = false;
    EXPECT_EQ(pool->query_session(), sessions.opened[0]);
    EXPECT_EQ(sessions.opened[0]->closes, 0);
}

TEST_F(SessionManager, AFailedCreationLeavesThePoolAsItWas)
{
    make(1);
    sessions.opened[0]->invalid = true;
    sessions.refuse = true;
    EXPECT_EQ(failure([this] { static_cast<void>(pool->query_session()); }), "the service is down");
    sessions.opened[0]->invalid = false;
    EXPECT_EQ(pool->query_session(), sessions.opened[0]);
}

TEST_F(SessionManager, ClosesAnInvalidSessionOnReleaseAndWaitsForItsSocket)
{
    make(1);
    auto taken = pool->query_session();
    const auto fake = sessions.opened[0];
    fake->invalid = true;
    fake->looks_until_closed = 5;
    const std::string own = address(taken);
    const test::log_capture log;
    pool->release_session(std::move(taken));
    EXPECT_EQ(fake->closes, 1);
    EXPECT_EQ(fake->looks_until_closed, 0);
    EXPECT_EQ(log.lines(),
              debug_lines({joined({"release invalid session(", own, ") and wait when socket will be closed"}),
                           joined({"invalid session(", own, ") has been release"})}));
    EXPECT_NE(pool->query_session(), fake);
}

TEST_F(SessionManager, RefusesAfterTermination)
{
    make(1);
    const auto taken = pool->query_session();
    pool->terminate();
    EXPECT_TRUE(pool->is_terminating());
    const test::log_capture log;
    EXPECT_EQ(failure([this] { static_cast<void>(pool->query_session()); }),
              "query session: session manager already terminated");
    EXPECT_EQ(log.lines(), (std::vector<test::log_record>{
                               {200, "icapclnt", "query session failed: session manager is terminating"}}));
    EXPECT_EQ(failure([&] { pool->release_session(taken); }), "release session: session manager already terminated");
    EXPECT_EQ(sessions.opened[0]->closes, 0);
}

TEST_F(SessionManager, TerminationClosesTheValidIdleSessionsAndDropsAll)
{
    make(3);
    sessions.opened[1]->invalid = true;
    pool->terminate();
    EXPECT_EQ(sessions.opened[0]->closes, 1);
    EXPECT_EQ(sessions.opened[1]->closes, 0);
    EXPECT_EQ(sessions.opened[2]->closes, 1);
    for (const auto& one : sessions.opened) {
        EXPECT_EQ(one.use_count(), 1);
    }
}

TEST_F(SessionManager, TerminationStopsTheChannelOfTheSessions)
{
    make(1);
    EXPECT_FALSE(sessions.channel->is_stopped());
    pool->terminate();
    EXPECT_TRUE(sessions.channel->is_stopped());
}

TEST_F(SessionManager, TerminatesTwice)
{
    make(1);
    pool->terminate();
    pool->terminate();
    EXPECT_EQ(sessions.opened[0]->closes, 1);
}

TEST_F(SessionManager, DestructionTerminates)
{
    make(1);
    pool.reset();
    EXPECT_EQ(sessions.opened[0]->closes, 1);
    EXPECT_EQ(sessions.opened[0].use_count(), 1);
}

TEST_F(SessionManager, TerminationGoesOnWithTheNextSessionAfterOneThatFails)
{
    make(3);
    sessions.opened[1]->fails = true;
    pool->terminate();
    EXPECT_EQ(sessions.opened[0]->closes, 1);
    EXPECT_EQ(sessions.opened[1]->closes, 0);
    EXPECT_EQ(sessions.opened[2]->closes, 1);
    EXPECT_EQ(sessions.opened[1].use_count(), 1) << "the pool has dropped it";
}

TEST_F(SessionManager, DestructionDoesNotRaiseForASessionThatFails)
{
    make(1);
    sessions.opened[0]->fails = true;
    pool.reset();
    EXPECT_EQ(sessions.opened[0].use_count(), 1);
}

TEST_F(SessionManager, ALeaseThatOutlivesTheTerminationRaisesAtItsEnd)
{
    make(1);
    EXPECT_EQ(failure([this] {
                  const session_lease lease(pool);
                  pool->terminate();
              }),
              "release session: session manager already terminated");
}

TEST_F(SessionManager, AReleaseThatWaitsEndsWithTheTermination)
{
    make(1);
    auto taken = pool->query_session();
    sessions.opened[0]->invalid = true;
    sessions.opened[0]->looks_until_closed = 1 << 30; // its socket never closes, as its channel was stopped
    std::thread releasing([&] { pool->release_session(std::move(taken)); });
    while (sessions.opened[0]->closes == 0) {
        std::this_thread::yield();
    }
    pool->terminate();
    releasing.join();
    EXPECT_EQ(sessions.opened[0].use_count(), 1);
}

TEST(SessionManagerOnARefusedPort, FailsItsConstruction)
{
    std::uint32_t port = 0;
    {
        const auto listener = test::loopback_socket::listen();
        port = listener.port();
    }
    try {
        const session_manager pool({L"127.0.0.1", port, L"/webscan"});
        FAIL();
    } catch (const error::win32exception& problem) {
        EXPECT_EQ(problem.code(), 10061U);
    }
}

} // namespace
