#include "tests/support/process_resources.h"
#include "tests/tool/icap_client/session_fixture.h"
#include "tool/asyncio/event.h"
#include "tool/icap_client/session_manager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace reply = test::reply;
using namespace icap::client;
using test::conversation;
using test::greeted;
using test::scripted_peer;

const std::string mail_end = "\r\n0\r\n\r\n";

/// Returns a conversation of that many answered mail scans.
conversation mails(int count, const std::string& answer = reply::no_content())
{
    auto script = greeted();
    for (int number = 0; number < count; ++number) {
        script.expect_until(mail_end).send(answer);
    }
    return script;
}

scan_mail mail_of(const std::string& body, std::uint32_t timeout = 20000)
{
    scan_mail mail;
    mail.tag = "t";
    mail.subject = "s";
    mail.data = std::make_shared<test::string_data>(body);
    mail.timeout = timeout;
    return mail;
}

class PoolOnTheNetwork : public testing::Test
{
protected:
    std::shared_ptr<session_manager> pool_at(const scripted_peer& peer, std::uint32_t initial = 1,
                                             std::uint32_t options_answer = 20000)
    {
        return std::make_shared<session_manager>(session_manager_parameters{L"127.0.0.1", peer.port(), L"/webscan"},
                                                 initial,
                                                 session_timing{.options_answer = options_answer, .release_poll = 1});
    }
    static ScanResult scan(const std::shared_ptr<session_pool>& pool, const scan_mail& mail)
    {
        const session_lease lease(pool);
        session::answer_ptr answer;
        return lease->scan(mail, answer);
    }
};

TEST_F(PoolOnTheNetwork, OneSessionServesScansInSequence)
{
    scripted_peer peer({mails(3)});
    const auto pool = pool_at(peer);
    for (int count = 0; count < 3; ++count) {
        EXPECT_EQ(scan(pool, mail_of("body")), ScanResult::Clean);
    }
    EXPECT_EQ(peer.connections(), 1U);
    EXPECT_TRUE(peer.complaints().empty());
}

TEST_F(PoolOnTheNetwork, AScanAfterATimeOutWorksOnANewSession)
{
    scripted_peer peer({std::move(greeted().expect_until(mail_end).wait()), mails(1, reply::blocked("Bad"))});
    const auto pool = pool_at(peer);
    EXPECT_EQ(scan(pool, mail_of("body", 80)), ScanResult::Clean);
    EXPECT_EQ(scan(pool, mail_of("body")), ScanResult::Blocked);
    EXPECT_EQ(peer.connections(), 2U);
    EXPECT_TRUE(peer.wait_for_end(0));
}

TEST_F(PoolOnTheNetwork, AScanAfterAnErrorStatusWorksOnANewSession)
{
    scripted_peer peer({mails(1, reply::bare(500, "Error")), mails(1, reply::blocked("Bad"))});
    const auto pool = pool_at(peer);
    EXPECT_EQ(scan(pool, mail_of("body")), ScanResult::Clean);
    EXPECT_EQ(scan(pool, mail_of("body")), ScanResult::Blocked);
    EXPECT_EQ(peer.connections(), 2U);
}

TEST_F(PoolOnTheNetwork, ASessionThatThePeerClosedWhileIdleIsReplaced)
{
    scripted_peer peer({std::move(mails(1).close()), mails(1, reply::blocked("Bad"))});
    const auto pool = pool_at(peer);
    EXPECT_EQ(scan(pool, mail_of("body")), ScanResult::Clean);
    ASSERT_TRUE(peer.wait_for_end(0));
    // The pool knows of the close after the outstanding read has completed.
    for (int attempt = 0; attempt < 3000 && peer.connections() == 1; ++attempt) {
        pool->release_session(pool->query_session());
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(scan(pool, mail_of("body")), ScanResult::Blocked);
    EXPECT_EQ(peer.connections(), 2U);
}

TEST_F(PoolOnTheNetwork, TwoUsersOfOneIdleSessionMakeASecond)
{
    scripted_peer peer({mails(1), mails(1)});
    const auto pool = pool_at(peer);
    const auto first = pool->query_session();
    const auto second = pool->query_session();
    EXPECT_NE(first, second);
    EXPECT_EQ(peer.connections(), 2U);
    pool->release_session(first);
    pool->release_session(second);
    EXPECT_EQ(pool->query_session(), first);
    EXPECT_EQ(pool->query_session(), second);
}

TEST_F(PoolOnTheNetwork, TheNotifierReachesEachNewSession)
{
    class counter final : public istag_notifier
    {
    public:
        void istag_changed() override { ++calls; }
        std::atomic<int> calls{0};
    } notifier;
    scripted_peer peer({mails(1, reply::no_content("new"))});
    const auto pool = pool_at(peer, 0);
    pool->set_istag_notifier(&notifier);
    EXPECT_EQ(scan(pool, mail_of("body")), ScanResult::Clean);
    EXPECT_EQ(notifier.calls, 1);
}

TEST_F(PoolOnTheNetwork, KnowsTheIstagThatAnySessionHeardLast)
{
    scripted_peer peer({mails(2, reply::no_content("new")), mails(1)});
    const auto pool = pool_at(peer, 0);
    EXPECT_EQ(pool->istag(), "") << "nothing was heard";
    session::answer_ptr answer;
    const auto first = pool->query_session();
    EXPECT_EQ(pool->istag(), "\"T-1\"") << "of the options";
    first->scan(mail_of("body"), answer);
    EXPECT_EQ(pool->istag(), "new");
    const auto second = pool->query_session();
    EXPECT_EQ(pool->istag(), "\"T-1\"") << "of the second session's options";
    first->scan(mail_of("body"), answer);
    EXPECT_EQ(pool->istag(), "new") << "also when the session knew it";
    pool->release_session(first);
    pool->release_session(second);
}

TEST_F(PoolOnTheNetwork, TerminationClosesTheConnections)
{
    scripted_peer peer({greeted(), greeted()});
    const auto pool = pool_at(peer, 2);
    pool->terminate();
    EXPECT_TRUE(peer.wait_for_end(0));
    EXPECT_TRUE(peer.wait_for_end(1));
}

TEST_F(PoolOnTheNetwork, ASessionOnLeaseSurvivesTheTermination)
{
    scripted_peer peer({greeted()});
    const auto pool = pool_at(peer);
    auto taken = pool->query_session();
    pool->terminate();
    EXPECT_THROW(pool->release_session(taken), std::runtime_error);
    EXPECT_NO_THROW(static_cast<void>(taken->idle()));
    taken.reset();
    EXPECT_TRUE(peer.wait_for_end(0));
}

TEST_F(PoolOnTheNetwork, TerminationDuringAScanLetsItEndInItsTimeOut)
{
    scripted_peer peer({std::move(greeted().expect_until(mail_end).wait().send(reply::no_content()))});
    const auto pool = pool_at(peer);
    const auto taken = pool->query_session();
    std::thread scanning([&] {
        session::answer_ptr answer;
        EXPECT_EQ(taken->scan(mail_of("body", 150), answer), ScanResult::Clean);
    });
    pool->terminate();
    scanning.join();
    EXPECT_THROW(pool->release_session(taken), std::runtime_error);
}

TEST_F(PoolOnTheNetwork, ConstructionWithATooSlowServiceRaisesAndLeavesNothing)
{
    scripted_peer peer({conversation{}.wait()});
    EXPECT_THROW(session_manager(session_manager_parameters{L"127.0.0.1", peer.port(), L"/x"}, 1,
                                 session_timing{.options_answer = 60, .release_poll = 1}),
                 std::runtime_error);
    EXPECT_TRUE(peer.wait_for_end(0));
}

TEST_F(PoolOnTheNetwork, NoThreadAndNoDescriptorIsLeft)
{
    const auto run = [this] {
        scripted_peer peer({std::move(greeted().expect_until(mail_end).wait()), mails(2), std::move(greeted().close()),
                            std::move(mails(1).reset())});
        const auto pool = pool_at(peer);
        scan(pool, mail_of("body", 50));
        scan(pool, mail_of("body"));
        const auto second = pool->query_session();
        const auto third = pool->query_session();
        const auto fourth = pool->query_session();
        session::answer_ptr answer;
        fourth->scan(mail_of("body", 50), answer);
        pool->release_session(fourth);
        pool->release_session(third);
        pool->release_session(second);
        pool->terminate();
    };
    run(); // objects that are made once per process exist from here on
    const auto before = test::process_resources::now();
    run();
    run();
    const auto left = test::process_resources::settled(before);
    EXPECT_LE(left.threads, before.threads);
    EXPECT_LE(left.handles, before.handles);
}

TEST_F(PoolOnTheNetwork, EightThreadsShareAPool)
{
    constexpr int threads = 8;
    constexpr int scans = 40;
    std::vector<conversation> conversations;
    for (int count = 0; count < threads; ++count) {
        conversations.push_back(mails(threads * scans, reply::repaired("healed")));
    }
    scripted_peer peer(std::move(conversations));
    const auto pool = pool_at(peer);
    std::atomic<int> repaired{0};
    std::vector<std::thread> users;
    for (int count = 0; count < threads; ++count) {
        users.emplace_back([&] {
            for (int number = 0; number < scans; ++number) {
                const auto mail = mail_of("a sick body");
                if (scan(pool, mail) == ScanResult::Repaired &&
                    std::static_pointer_cast<test::string_data>(mail.data)->text() == "healed") {
                    ++repaired;
                }
            }
        });
    }
    for (auto& user : users) {
        user.join();
    }
    EXPECT_EQ(repaired, threads * scans);
    EXPECT_LE(peer.connections(), static_cast<std::size_t>(threads));
}

TEST_F(PoolOnTheNetwork, EightThreadsSurviveFailingSessionsAndATermination)
{
    constexpr int threads = 8;
    std::vector<conversation> conversations;
    for (int count = 0; count < 200; ++count) {
        switch (count % 4) {
        case 0:
            conversations.push_back(mails(2));
            break;
        case 1:
            conversations.push_back(std::move(mails(1).reset()));
            break;
        case 2:
            conversations.push_back(mails(1, reply::bare(500, "Error")));
            break;
        default:
            conversations.push_back(std::move(mails(1).close()));
        }
    }
    scripted_peer peer(std::move(conversations));
    const auto pool = pool_at(peer, 2, 500);
    std::atomic<int> scans{0};
    tpl::event in_the_midst;
    std::atomic<int> finished{0};
    std::vector<std::thread> users;
    for (int count = 0; count < threads; ++count) {
        users.emplace_back([&] {
            try {
                for (int number = 0; number < 8; ++number) {
                    scan(pool, mail_of("body", 30));
                    if (++scans == threads) {
                        in_the_midst.set();
                    }
                }
            } catch (const std::exception&) {
                // The pool was terminated, or a connection failed in its OPTIONS exchange.
            }
            if (++finished == threads) {
                in_the_midst.set();
            }
        });
    }
    EXPECT_EQ(in_the_midst.wait(60000), tpl::wait_result::signalled);
    pool->terminate();
    for (auto& user : users) {
        user.join();
    }
    EXPECT_EQ(finished, threads);
}

} // namespace
