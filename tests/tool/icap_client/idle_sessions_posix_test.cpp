#include "tests/support/process_resources.h"
#include "tests/tool/icap_client/session_fixture.h"
#include "tool/icap_client/session_manager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace reply = test::reply;
using namespace icap::client;
using test::conversation;
using test::greeted;

/// Sessions that have become useless in the list of a pool.
class IdleSessions : public test::session_fixture
{
protected:
    static constexpr std::size_t useless = 20;

    /// Makes a pool of one session whose peer stays, and takes this session.
    void open_pool(const conversation& others)
    {
        std::vector<conversation> all{greeted()};
        all.resize(1 + useless, others);
        serve(std::move(all));
        pool = std::make_shared<session_manager>(session_manager_parameters{L"127.0.0.1", peer->port(), L"/webscan"}, 1,
                                                 timing);
        good = pool->query_session();
    }
    /// Puts sessions into the pool that become invalid there, and then the good one behind them.
    void add_useless()
    {
        std::vector<std::shared_ptr<session>> opened;
        for (std::size_t count = 0; count < useless; ++count) {
            opened.push_back(pool->query_session());
        }
        for (const auto& one : opened) {
            pool->release_session(one);
        }
        pool->release_session(good);
        for (std::size_t count = 0; count < useless; ++count) {
            peer->release();
        }
        for (const auto& one : opened) {
            for (int attempt = 0; attempt < 3000 && !one->is_invalid(); ++attempt) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            EXPECT_TRUE(one->is_invalid());
        }
    }
    static std::ptrdiff_t count(const test::log_capture& log, std::string_view part)
    {
        const auto all = log.texts();
        return std::count_if(all.begin(), all.end(),
                             [part](const std::string& text) { return text.find(part) != std::string::npos; });
    }

    std::shared_ptr<session_manager> pool;
    std::shared_ptr<session> good;
};

TEST_F(IdleSessions, ThatThePeerClosedHoldNoThreadAndNoDescriptorBehindAQuery)
{
    open_pool(greeted().wait().close());
    const auto before = test::process_resources::now();
    add_useless();
    EXPECT_GE(test::process_resources::now().handles, before.handles + useless);
    EXPECT_EQ(pool->query_session(), good);
    const auto left = test::process_resources::settled(before);
    EXPECT_LE(left.threads, before.threads);
    EXPECT_LE(left.handles, before.handles);
}

TEST_F(IdleSessions, RemainInTheListAndAreTestedAgain)
{
    open_pool(greeted().wait().close());
    add_useless();
    for (int query = 0; query < 3; ++query) {
        const test::log_capture log;
        EXPECT_EQ(pool->query_session(), good);
        EXPECT_EQ(count(log, "active sessions = 21"), 1);
        EXPECT_EQ(count(log, "invalid?:true, error?:false"), static_cast<std::ptrdiff_t>(useless));
        EXPECT_EQ(count(log, "invalid?:false"), 1);
        EXPECT_EQ(count(log, ") from 20 sessons"), 1);
        // The last line of a read that has ended may come at any time.
        EXPECT_EQ(log.lines().size() - count(log, ") network problem occured: 10058"), useless + 3);
        pool->release_session(good);
    }
    EXPECT_EQ(peer->connections(), 1 + useless);
}

TEST_F(IdleSessions, LogTheirEndAtTheTerminationOnly)
{
    open_pool(greeted().wait().close());
    add_useless();
    EXPECT_EQ(pool->query_session(), good);
    const test::log_capture log;
    pool->terminate();
    for (const std::string_view part : {") destroying", ") io canceled", ") destroyed"}) {
        EXPECT_EQ(count(log, part), static_cast<std::ptrdiff_t>(useless)) << part;
    }
    EXPECT_EQ(count(log, ") closed. assigned to channel = false"), 2 * static_cast<std::ptrdiff_t>(useless))
        << "once by the session, once by its socket";
}

TEST_F(IdleSessions, ThatReceivedAnAnswerWithoutARequestAreClosedByAQuery)
{
    open_pool(greeted().wait().send(reply::no_content()));
    const auto before = test::process_resources::now();
    add_useless();
    EXPECT_EQ(pool->query_session(), good);
    for (std::size_t number = 1; number <= useless; ++number) {
        EXPECT_TRUE(peer->wait_for_end(number));
    }
    pool->release_session(good);
    // The cancelled reads complete on the channel; the next query finds them completed.
    for (int attempt = 0; attempt < 3000; ++attempt) {
        pool->release_session(pool->query_session());
        const auto left = test::process_resources::now();
        if (left.threads <= before.threads && left.handles <= before.handles) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ADD_FAILURE() << "left: " << test::process_resources::now() << ", before: " << before;
}

} // namespace
