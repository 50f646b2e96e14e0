#include "tests/outlook/qdmailprotect/link/link_fixture.h"
#include "tool/asyncio/event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace scanner_link_test {

using test::settings_of;
constexpr std::uint32_t long_wait = 60000;

class ScannerLinkTest : public test::link_fixture
{
protected:
    /// Returns the lines of a health check up to the loading of the settings.
    static texts created(const std::string& port = "1345", const std::string& uri = "webscan")
    {
        return {"500 Check ICAP server health...",
                "500 Create new scan session manager: address='127.0.0.1', port=" + port + ", uri='/" + uri + "'",
                "500 Scan session manager has been created"};
    }
    static texts loaded()
    {
        return {"500 Trying to load new settings", "500 Connection to broker created, loading settings...",
                "500 Product settings loaded"};
    }
    static texts joined(texts first, const texts& second)
    {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }
};

TEST_F(ScannerLinkTest, BeginsWithTheDefaultsAndNoConnection)
{
    EXPECT_FALSE(link->IsConnected());
    EXPECT_EQ(link->GetSessionManager(), nullptr);
    ASSERT_NE(link->GetSettings(), nullptr);
    EXPECT_EQ(*link->GetSettings(), Settings());
    EXPECT_EQ(lines(), texts{});
    EXPECT_FALSE(timer.waits());
}

TEST_F(ScannerLinkTest, DescribesItsServerByTheServicesOldDefaults)
{
    const ServerInfo info;
    EXPECT_EQ(info.address, L"127.0.0.1");
    EXPECT_EQ(info.port, 1345U);
    EXPECT_EQ(info.uri, L"/avscan");
    EXPECT_EQ(info, (ServerInfo{L"127.0.0.1", 1345, L"/avscan"}));
    EXPECT_NE(info, (ServerInfo{L"127.0.0.2", 1345, L"/avscan"}));
    EXPECT_NE(info, (ServerInfo{L"127.0.0.1", 1346, L"/avscan"}));
    EXPECT_NE(info, (ServerInfo{L"127.0.0.1", 1345, L"/AVSCAN"}));
}

TEST_F(ScannerLinkTest, DoesNothingAtTheFirstFiringUnlessAsked)
{
    link->Start();
    EXPECT_EQ(timer.delays(), (std::vector<std::uint32_t>{500}));
    clock.now += 500;
    EXPECT_TRUE(timer.fire());
    EXPECT_EQ(lines(), texts{});
    EXPECT_EQ(timer.delays(), (std::vector<std::uint32_t>{500, 1000}));
}

TEST_F(ScannerLinkTest, ChecksTheHealthOnceMoreThanFiveMinutesHaveGoneBy)
{
    link->Start();
    clock.now += 300000;
    link->OnTimer();
    EXPECT_EQ(lines(), texts{});
    clock.now += 1;
    link->OnTimer();
    EXPECT_EQ(lines(), joined(created(), loaded()));
    EXPECT_TRUE(link->IsConnected());
    log.clear();

    clock.now += 300000;
    link->OnTimer();
    EXPECT_EQ(lines(), texts{});
    clock.now += 1;
    link->OnTimer();
    EXPECT_EQ(lines(), joined({"500 Check ICAP server health..."}, loaded()));
    EXPECT_EQ(pool->questions().size(), 2U);
}

TEST_F(ScannerLinkTest, CountsTicksAcrossTheirWrap)
{
    clock.now = 0xFFFFFFFF - 1000;
    link->Start();
    clock.now = 299000; // 300001 ms later
    link->OnTimer();
    EXPECT_EQ(pool->questions().size(), 1U);
    clock.now = 299000 + 300000;
    link->OnTimer();
    EXPECT_EQ(pool->questions().size(), 1U);
}

TEST_F(ScannerLinkTest, CountsFromTheStart)
{
    clock.now = 3000000000U;
    link->Start();
    link->OnTimer();
    EXPECT_EQ(lines(), texts{});
}

TEST_F(ScannerLinkTest, ConnectsAtTheNextFiringWhenACheckAsks)
{
    link->Start();
    link->ForceConnection(false);
    EXPECT_FALSE(link->IsConnected());
    EXPECT_EQ(lines(), texts{});
    EXPECT_TRUE(timer.fire());
    EXPECT_TRUE(link->IsConnected());
    EXPECT_EQ(link->GetSessionManager(), pool);
    EXPECT_EQ(lines(), joined(created(), loaded()));
    log.clear();
    EXPECT_TRUE(timer.fire());
    EXPECT_EQ(lines(), texts{}) << "the request was served";
}

TEST_F(ScannerLinkTest, TriesAgainAtEachFiringUntilTheServiceIsThere)
{
    on_create = [] { throw std::runtime_error("nobody listens"); };
    link->Start();
    link->ForceConnection(false);
    for (std::size_t attempt = 1; attempt <= 5; ++attempt) {
        clock.now += 1000;
        EXPECT_TRUE(timer.fire());
        EXPECT_FALSE(link->IsConnected());
        EXPECT_EQ(servers().size(), attempt);
    }
    EXPECT_EQ(timer.delays(), (std::vector<std::uint32_t>{500, 1000, 1000, 1000, 1000, 1000}));
    on_create = nullptr;
    EXPECT_TRUE(timer.fire());
    EXPECT_TRUE(link->IsConnected());
    EXPECT_TRUE(timer.fire());
    EXPECT_EQ(servers().size(), 6U);
    EXPECT_EQ(pool->questions().size(), 1U);
}

TEST_F(ScannerLinkTest, AFailedCheckStillCountsForTheNextPlainOne)
{
    on_create = [] { throw std::runtime_error("nobody listens"); };
    link->Start();
    clock.now += 300001;
    link->OnTimer();
    EXPECT_EQ(servers().size(), 1U);
    link->OnTimer();
    EXPECT_EQ(servers().size(), 1U);
}

TEST_F(ScannerLinkTest, ConnectsOnTheCallersThreadWhenToldNow)
{
    const auto self = std::this_thread::get_id();
    pool->on_scan = [self] { EXPECT_EQ(std::this_thread::get_id(), self); };
    link->ForceConnection(true);
    EXPECT_TRUE(link->IsConnected());
    EXPECT_EQ(pool->questions().size(), 1U);
    link->OnTimer();
    EXPECT_EQ(pool->questions().size(), 1U) << "that was no request to the timer";
}

TEST_F(ScannerLinkTest, AsksTheServiceWhetherItIsWell)
{
    link->CheckHealth();
    const auto questions = pool->questions();
    ASSERT_EQ(questions.size(), 1U);
    EXPECT_EQ(questions[0].user_name, "S-1-1-0");
    EXPECT_EQ(questions[0].health, "Is scanner available?");
    EXPECT_EQ(questions[0].timeout, 30000U);
    EXPECT_EQ(pool->leased, 0);
}

TEST_F(ScannerLinkTest, IgnoresWhatTheServiceAnswers)
{
    for (const ScanResult answer : {ScanResult::None, ScanResult::Blocked, ScanResult::Repaired}) {
        pool->answer = answer;
        link->CheckHealth();
        EXPECT_TRUE(link->IsConnected());
    }
}

TEST_F(ScannerLinkTest, HoldsTheLeaseWhileItComparesAndReturnsItBeforeTheLoad)
{
    pool->on_release = [this] { EXPECT_EQ(loads, 0); };
    on_load = [this] { EXPECT_EQ(pool->leased, 0); };
    link->CheckHealth();
    EXPECT_EQ(loads, 1);
}

TEST_F(ScannerLinkTest, ServesOtherThreadsWhileItConnectsAsksAndLoads)
{
    std::vector<std::thread> others;
    std::size_t answered = 0;
    const auto ask_from_another_thread = [&] {
        if (answered < others.size()) {
            return; // one thread waits already
        }
        const auto done = std::make_shared<tpl::event>(); // the thread may go on after the wait
        others.emplace_back([this, done] {
            EXPECT_NE(link->GetSettings(), nullptr);
            static_cast<void>(link->GetSessionManager());
            done->set();
        });
        answered += done->wait(long_wait) == tpl::wait_result::signalled ? 1U : 0U;
    };
    on_create = ask_from_another_thread;
    pool->on_query = ask_from_another_thread;
    pool->on_scan = ask_from_another_thread;
    pool->on_release = ask_from_another_thread;
    on_connect = ask_from_another_thread;
    on_load = ask_from_another_thread;
    link->CheckHealth();
    for (std::thread& other : others) {
        other.join();
    }
    EXPECT_EQ(others.size(), 6U);
    EXPECT_EQ(answered, 6U);
}

TEST_F(ScannerLinkTest, GoesBackToNoConnectionWhenNoSessionCanBeHad)
{
    link->CheckHealth();
    log.clear();
    pool->on_query = [] { throw std::runtime_error("connection refused"); };
    link->CheckHealth();
    EXPECT_FALSE(link->IsConnected());
    EXPECT_EQ(link->GetSessionManager(), nullptr);
    EXPECT_EQ(lines(), joined({"500 Check ICAP server health...", "200 Scan server is unavailableconnection refused"},
                              loaded()));
}

TEST_F(ScannerLinkTest, GoesBackToNoConnectionWhenTheScanOrTheReturnRaises)
{
    pool->on_scan = [] { throw std::runtime_error("broken off"); };
    link->CheckHealth();
    EXPECT_FALSE(link->IsConnected());
    EXPECT_EQ(pool->leased, 0);
    EXPECT_TRUE(log.contains("Scan server is unavailablebroken off"));
    pool->on_scan = nullptr;
    pool->on_release = [] { throw std::runtime_error("already terminated"); };
    link->CheckHealth();
    EXPECT_FALSE(link->IsConnected());
    EXPECT_EQ(link->GetSessionManager(), nullptr);
    EXPECT_TRUE(log.contains("Scan server is unavailablealready terminated"));
    EXPECT_EQ(loads, 2) << "the settings are looked at all the same";
}

TEST_F(ScannerLinkTest, LoadsSettingsEvenWhenTheServiceCannotBeReached)
{
    on_create = [] { throw std::runtime_error("nobody listens"); };
    link->CheckHealth();
    EXPECT_EQ(lines(), joined({"500 Check ICAP server health...",
                               "500 Create new scan session manager: address='127.0.0.1', port=1345, uri='/webscan'",
                               "200 Create scan session manager failed: nobody listens"},
                              loaded()));
    EXPECT_EQ(pool->questions().size(), 0U);
}

TEST_F(ScannerLinkTest, CreatesTheManagerFromTheSettingsInForce)
{
    serve(settings_of(4711, L"other/path"));
    link->LoadSettings();
    EXPECT_EQ(link->CreateSessionManager(), pool);
    EXPECT_EQ(servers(), (std::vector<ServerInfo>{{L"127.0.0.1", 4711, L"/other/path"}}));
    EXPECT_TRUE(link->IsConnected());
    EXPECT_TRUE(log.contains("Create new scan session manager: address='127.0.0.1', port=4711, uri='/other/path'"));
}

TEST_F(ScannerLinkTest, PutsASlashInFrontOfThePathWithoutATest)
{
    serve(settings_of(1, L"/webscan"));
    link->LoadSettings();
    link->CreateSessionManager();
    EXPECT_EQ(servers().at(0).uri, L"//webscan");
}

TEST_F(ScannerLinkTest, CreatesNoSecondManager)
{
    const auto first = link->CreateSessionManager();
    offer(std::make_shared<test::health_pool>());
    log.clear();
    EXPECT_EQ(link->CreateSessionManager(), first);
    EXPECT_EQ(servers().size(), 1U);
    EXPECT_EQ(lines(), texts{});
}

TEST_F(ScannerLinkTest, IsConnectedOnceThePoolIsThereWhateverTheServiceSays)
{
    pool->on_query = [] { throw std::runtime_error("refused"); };
    link->CreateSessionManager();
    EXPECT_TRUE(link->IsConnected());
}

TEST_F(ScannerLinkTest, ForgetsTheManagerWhenItsCreationFails)
{
    on_create = [] { throw std::runtime_error("nobody listens"); };
    EXPECT_EQ(link->CreateSessionManager(), nullptr);
    EXPECT_FALSE(link->IsConnected());
    EXPECT_EQ(link->GetSessionManager(), nullptr);
}

TEST_F(ScannerLinkTest, ForgetsAlsoTheManagerThatWasMadeWhileItsOwnFailed)
{
    int attempts = 0;
    on_create = [&] {
        if (++attempts == 1) {
            EXPECT_EQ(link->CreateSessionManager(), pool);
            EXPECT_TRUE(link->IsConnected());
            throw std::runtime_error("nobody listens");
        }
    };
    EXPECT_EQ(link->CreateSessionManager(), nullptr);
    EXPECT_EQ(attempts, 2);
    EXPECT_FALSE(link->IsConnected());
    EXPECT_EQ(link->GetSessionManager(), nullptr);
}

TEST_F(ScannerLinkTest, BreaksTheConnectionByLettingGoOnly)
{
    link->CreateSessionManager();
    const auto lease = link->GetSessionManager();
    log.clear();
    link->BreakConnection();
    EXPECT_FALSE(link->IsConnected());
    EXPECT_EQ(link->GetSessionManager(), nullptr);
    EXPECT_EQ(pool->terminations, 0);
    EXPECT_EQ(lines(), texts{});
    EXPECT_EQ(lease, pool) << "who has it keeps it";
}

TEST_F(ScannerLinkTest, TheFirstComparisonNeverBreaksTheConnection)
{
    // The initial record contains /avscan, which no settings specified.
    link->CheckHealth();
    EXPECT_TRUE(link->IsConnected());
    EXPECT_FALSE(log.contains("breaking connection"));
    link->CheckHealth();
    EXPECT_TRUE(link->IsConnected());
    EXPECT_EQ(servers().size(), 1U);
}

TEST_F(ScannerLinkTest, TheFirstComparisonMayBeTheHealthChecks)
{
    presence->present = true; // so that no load compares
    link->CheckHealth();
    EXPECT_TRUE(link->IsConnected());
    presence->present = false;
    serve(settings_of(2));
    log.clear();
    link->LoadSettings();
    EXPECT_FALSE(link->IsConnected()) << "the second comparison counts";
}

TEST_F(ScannerLinkTest, FollowsANewPortBetweenTwoHealthChecks)
{
    link->CheckHealth();
    log.clear();
    serve(settings_of(4711));
    link->CheckHealth(); // its load detects the change
    EXPECT_FALSE(link->IsConnected());
    EXPECT_EQ(link->GetSessionManager(), nullptr);
    EXPECT_TRUE(log.contains("Connection settings have changed, breaking connection"));
    log.clear();
    link->CheckHealth();
    EXPECT_EQ(lines(), joined(created("4711"), loaded()));
    EXPECT_EQ(servers().back(), (ServerInfo{L"127.0.0.1", 4711, L"/webscan"}));
}

TEST_F(ScannerLinkTest, AHealthCheckBreaksAConnectionThatIsBehindTheSettings)
{
    const ServerInfo current{L"127.0.0.1", 1345, L"/webscan"};
    for (const ServerInfo& former :
         {ServerInfo{L"127.0.0.1", 1346, L"/webscan"}, ServerInfo{L"127.0.0.2", 1345, L"/webscan"}, ServerInfo()}) {
        link->CheckHealth();
        ScannerLinkProbe(*link).Accepted() = former;
        log.clear();
        pool->on_release = [this] { EXPECT_EQ(link->GetSessionManager(), nullptr) << "broken before the return"; };
        link->CheckHealth();
        pool->on_release = nullptr;
        EXPECT_FALSE(link->IsConnected());
        EXPECT_EQ(ScannerLinkProbe(*link).Accepted(), current);
        EXPECT_EQ(
            lines(),
            joined({"500 Check ICAP server health...", "400 Server info has changed, breaking connection"}, loaded()));
    }
}

TEST_F(ScannerLinkTest, StopShutsTheManagerDown)
{
    link->Start();
    link->CreateSessionManager();
    link->Stop();
    EXPECT_EQ(pool->terminations, 1);
    EXPECT_FALSE(link->IsConnected());
    EXPECT_EQ(link->GetSessionManager(), nullptr);
    EXPECT_FALSE(timer.waits());
    link->Stop();
    EXPECT_EQ(pool->terminations, 1);
}

TEST_F(ScannerLinkTest, StartRaisesWhenThereIsNoTimer)
{
    timer.refuses = true;
    EXPECT_THROW(link->Start(), std::runtime_error);
}

TEST_F(ScannerLinkTest, StartsAgainAfterAStop)
{
    link->Start();
    link->Stop();
    link->ForceConnection(false);
    link->Start();
    EXPECT_TRUE(timer.fire());
    EXPECT_TRUE(link->IsConnected());
}

/// The same with the platform's timers.
TEST_F(ScannerLinkTest, StopWaitsForTheTimersRun)
{
    tpl::event entered;
    tpl::event leave;
    std::atomic<bool> ended{false};
    ScannerLinkServices services;
    services.broker = broker();
    services.presence = presence;
    services.newManager = [&](const ServerInfo&) -> std::shared_ptr<icap::client::session_pool> {
        entered.set();
        EXPECT_EQ(leave.wait(long_wait), tpl::wait_result::signalled);
        ended = true;
        return pool;
    };
    ScannerLink real(std::move(services));
    real.Start();
    real.ForceConnection(false);
    ASSERT_EQ(entered.wait(long_wait), tpl::wait_result::signalled);
    std::thread letting_go([&] { leave.set(); });
    real.Stop();
    EXPECT_TRUE(ended);
    EXPECT_FALSE(real.IsConnected());
    EXPECT_EQ(pool->terminations, 1);
    letting_go.join();
}

TEST_F(ScannerLinkTest, StopFromTheTimersOwnRunDoesNotWaitForItself)
{
    link->Start();
    link->ForceConnection(false);
    on_load = [this] { link->Stop(); };
    EXPECT_TRUE(timer.fire());
    EXPECT_FALSE(timer.waits());
    EXPECT_FALSE(link->IsConnected());
    EXPECT_EQ(pool->terminations, 1);
}

TEST_F(ScannerLinkTest, TwoThreadsMayCheckAtOnce)
{
    // Both find no manager, both create one, and the later one remains installed; the other one is still valid for its
    // user.
    std::atomic<int> inside{0};
    tpl::event both;
    on_create = [&] {
        if (++inside == 2) {
            both.set();
            both.set();
        } else {
            EXPECT_EQ(both.wait(long_wait), tpl::wait_result::signalled);
        }
    };
    std::thread other([this] { link->CheckHealth(); });
    link->CheckHealth();
    other.join();
    EXPECT_EQ(servers().size(), 2U);
    EXPECT_TRUE(link->IsConnected());
    EXPECT_EQ(pool->leased, 0);
    EXPECT_EQ(pool->questions().size(), 2U);
}

TEST_F(ScannerLinkTest, ManyThreadsMayUseItWhileItsServerChanges)
{
    constexpr int rounds = 200;
    std::vector<std::thread> threads;
    threads.emplace_back([this] {
        for (int round = 0; round < rounds; ++round) {
            serve(settings_of(round % 2 == 0 ? 1000 : 2000));
            link->LoadSettings();
        }
    });
    threads.emplace_back([this] {
        for (int round = 0; round < rounds; ++round) {
            link->CheckHealth();
            clock.now += 300001;
            link->OnTimer();
        }
    });
    threads.emplace_back([this] {
        for (int round = 0; round < rounds; ++round) {
            link->BreakConnection();
            link->ForceConnection(round % 2 == 0);
        }
    });
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([this] {
            for (int round = 0; round < rounds * 20; ++round) {
                const auto settings = link->GetSettings();
                ASSERT_NE(settings, nullptr);
                const auto port = settings->ServerPort.Effective();
                EXPECT_TRUE(port == 1345 || port == 1000 || port == 2000) << port;
                if (const auto manager = link->GetSessionManager()) {
                    const icap::client::session_lease lease(manager);
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(pool->leased, 0);
    link->CheckHealth();
    link->CheckHealth();
    EXPECT_TRUE(link->IsConnected());
}

} // namespace scanner_link_test
