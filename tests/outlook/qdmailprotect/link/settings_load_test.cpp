#include "desk/settings/bytes_broker.h"
#include "logging/logging.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "settings/settings_blob.h"
#include "settings/task_settings_ser.h"
#include "tests/outlook/qdmailprotect/link/link_fixture.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

namespace {

using test::settings_of;

class SettingsLoad : public test::link_fixture
{
protected:
    static constexpr const char* trying = "500 Trying to load new settings";
    static constexpr const char* connected = "500 Connection to broker created, loading settings...";
    static constexpr const char* loaded = "500 Product settings loaded";
    static constexpr const char* breaking = "400 Connection settings have changed, breaking connection";

    static std::string news(const std::string& port, const std::string& uri, const std::string& plugin = "1",
                            const std::string& exec = "1")
    {
        return "500 New settings loaded:\r\nserver: 127.0.0.1, port: " + port + ", uri: '/" + uri +
               "',\r\nuse plugin: " + plugin + ", block exec: " + exec + "\r\n";
    }
};

TEST_F(SettingsLoad, IsSkippedWhileTheServiceIsPresent)
{
    presence->present = true;
    serve(settings_of(4711));
    link->LoadSettings();
    EXPECT_EQ(lines(), (texts{"400 Skipping the settings request from product"}));
    EXPECT_EQ(loads, 0);
    EXPECT_EQ(*link->GetSettings(), Settings());
}

TEST_F(SettingsLoad, AsksTheBrokerWhileTheServiceIsAbsent)
{
    serve(settings_of(4711, L"x"));
    link->LoadSettings();
    EXPECT_EQ(lines(), (texts{trying, connected, loaded, news("4711", "x")}));
    EXPECT_EQ(*link->GetSettings(), settings_of(4711, L"x"));
}

TEST_F(SettingsLoad, ReplacesAnEqualRecordWithoutALine)
{
    serve(settings_of(4711));
    link->LoadSettings();
    const auto first = link->GetSettings();
    log.clear();
    link->LoadSettings();
    EXPECT_EQ(lines(), (texts{trying, connected, loaded}));
    EXPECT_NE(link->GetSettings(), first) << "the record is another one";
    EXPECT_EQ(*link->GetSettings(), *first);
}

TEST_F(SettingsLoad, TellsTheEffectiveValues)
{
    auto settings = settings_of(1, L"u");
    settings.UseOutlookPlugin = {true, false, true};
    settings.BlockExecInAttach = {false, true, false};
    serve(settings);
    link->LoadSettings();
    EXPECT_EQ(lines().back(), news("1", "u", "0", "0"));
}

TEST_F(SettingsLoad, NeverBreaksTheConnectionAtTheFirstComparison)
{
    link->CreateSessionManager();
    serve(settings_of(4711));
    link->LoadSettings();
    EXPECT_TRUE(link->IsConnected());
    EXPECT_FALSE(log.contains("breaking connection"));
}

TEST_F(SettingsLoad, BreaksTheConnectionWhenThePortChanges)
{
    link->LoadSettings();
    link->CreateSessionManager();
    log.clear();
    serve(settings_of(4711));
    link->LoadSettings();
    EXPECT_EQ(lines(), (texts{trying, connected, loaded, news("4711", "webscan"), breaking}));
    EXPECT_FALSE(link->IsConnected());
    EXPECT_EQ(link->GetSessionManager(), nullptr);
    EXPECT_EQ(pool->terminations, 0);
}

TEST_F(SettingsLoad, BreaksTheConnectionWhenThePathChangesInOneLetter)
{
    serve(settings_of(1, L"scan"));
    link->LoadSettings();
    link->CreateSessionManager();
    serve(settings_of(1, L"Scan"));
    link->LoadSettings();
    EXPECT_FALSE(link->IsConnected());
}

TEST_F(SettingsLoad, LeavesTheConnectionAloneWhenAnythingElseChanges)
{
    link->LoadSettings();
    link->CreateSessionManager();
    log.clear();
    Settings changed;
    changed.UseOutlookPlugin = {true, false, true};
    changed.SizeLimit = {1, 2, true};
    serve(changed);
    link->LoadSettings();
    EXPECT_EQ(lines(), (texts{trying, connected, loaded, news("1345", "webscan", "0")}));
    EXPECT_TRUE(link->IsConnected());
    EXPECT_EQ(*link->GetSettings(), changed);
}

TEST_F(SettingsLoad, SeesTheSamePortSetAsNoChangeOfTheServer)
{
    link->LoadSettings();
    link->CreateSessionManager();
    serve(settings_of(1345));
    link->LoadSettings();
    EXPECT_TRUE(link->IsConnected());
    EXPECT_TRUE(link->GetSettings()->ServerPort.isSet);
}

TEST_F(SettingsLoad, KeepsTheOldRecordWhenTheBrokerCannotBeReached)
{
    serve(settings_of(4711));
    link->LoadSettings();
    const auto before = link->GetSettings();
    log.clear();
    on_connect = [] { throw ComError(static_cast<HRESULT>(0x800401F3)); };
    link->LoadSettings();
    EXPECT_EQ(lines(), (texts{trying, "200 Load settings failed: hr=0x800401f3"}));
    EXPECT_EQ(link->GetSettings(), before);
}

TEST_F(SettingsLoad, GoesOnWithTheDefaultsWhenThereWasNeverABroker)
{
    on_connect = [] { throw ComError(static_cast<HRESULT>(0x800401F3)); };
    link->CheckHealth();
    EXPECT_EQ(servers(), (std::vector<ServerInfo>{{L"127.0.0.1", 1345, L"/webscan"}}));
    EXPECT_EQ(*link->GetSettings(), Settings());
    EXPECT_TRUE(link->IsConnected());
}

TEST_F(SettingsLoad, KeepsTheOldRecordWhenTheBrokersAnswerFails)
{
    const auto before = link->GetSettings();
    on_load = [] { throw ComError(E_FAIL); };
    link->LoadSettings();
    EXPECT_EQ(lines(), (texts{trying, connected, "200 Load settings failed: hr=0x80004005"}));
    on_load = [] { throw std::runtime_error("no such file"); };
    log.clear();
    link->LoadSettings();
    EXPECT_EQ(lines(), (texts{trying, connected, "200 Load settings failed: no such file"}));
    EXPECT_EQ(link->GetSettings(), before);
}

/// Returns the message of the exception that reading these bytes throws.
std::string complaint(const SettingsBroker::Bytes& bytes)
{
    try {
        static_cast<void>(DOVA::Settings::SettingsFromBlob(bytes));
    } catch (const std::exception& failure) {
        return failure.what();
    }
    return {};
}

TEST_F(SettingsLoad, KeepsTheOldRecordWhenTheBytesAreNone)
{
    serve(settings_of(4711));
    link->LoadSettings();
    const auto before = link->GetSettings();
    const auto whole = DOVA::Settings::BlobFromSettings(settings_of(4712));
    for (const auto& bytes : {SettingsBroker::Bytes{}, SettingsBroker::Bytes{'{', '}'},
                              SettingsBroker::Bytes(whole.begin(), whole.end() - 1)}) {
        log.clear();
        serve_bytes(bytes);
        link->LoadSettings();
        EXPECT_EQ(lines(), (texts{trying, connected, "200 Load settings failed: " + complaint(bytes)}));
        EXPECT_EQ(link->GetSettings(), before);
    }
}

TEST_F(SettingsLoad, KeepsTheOldRecordWhenTheBytesAreOfALaterMajorVersion)
{
    const auto before = link->GetSettings();
    const auto tree = cctool::Serialization::CreateEmptyContainer();
    DOVA::Settings::Serialize(settings_of(4711), *tree);
    tree->SetVersion(cctool::Serialization::version_info_tag, {2, 0});
    SettingsBroker::Bytes later;
    ASSERT_TRUE(tree->GetBlob(later, false));
    EXPECT_THROW(static_cast<void>(DOVA::Settings::SettingsFromBlob(later)),
                 cctool::Serialization::IncompatibleVersionError);
    serve_bytes(later);
    link->LoadSettings();
    EXPECT_EQ(lines(), (texts{trying, connected, "200 Load settings failed: " + complaint(later)}));
    EXPECT_EQ(link->GetSettings(), before);
}

TEST_F(SettingsLoad, TakesTheDefaultsOfWhatAnEarlierVersionDoesNotHave)
{
    const auto tree = cctool::Serialization::CreateEmptyContainer();
    DOVA::Settings::Serialize(settings_of(4711), *tree, 0);
    SettingsBroker::Bytes early;
    ASSERT_TRUE(tree->GetBlob(early, false));
    serve_bytes(early);
    link->LoadSettings();
    EXPECT_EQ(link->GetSettings()->ServerPort.Effective(), 1345U);
    EXPECT_EQ(lines(), (texts{trying, connected, loaded})) << "nothing differs from the defaults";
}

TEST_F(SettingsLoad, TakesItsBytesFromAFunctionWhereThereIsNoComponentModel)
{
    int calls = 0;
    BytesBroker broker([&calls] { return SettingsBroker::Bytes(static_cast<std::size_t>(++calls), 'x'); });
    for (std::size_t round = 1; round <= 3; ++round) {
        const auto visit = broker.Begin();
        visit->Connect();
        EXPECT_EQ(visit->Load().size(), round) << "read anew at each load";
    }
}

TEST_F(SettingsLoad, DoesNotHoldTheLockWhileTheBrokerWorks)
{
    on_load = [this] {
        std::thread other([this] {
            EXPECT_NE(link->GetSettings(), nullptr);
            link->BreakConnection();
        });
        other.join();
    };
    link->LoadSettings();
    EXPECT_EQ(loads, 1);
}

/// A pool whose destructor uses the link from another thread.
class looking_pool final : public icap::client::session_pool
{
public:
    explicit looking_pool(ScannerLink& link)
        : link_(link)
    {}
    ~looking_pool() override
    {
        std::thread other([this] { EXPECT_NE(link_.GetSettings(), nullptr); });
        other.join();
    }
    std::shared_ptr<icap::client::session> query_session() override { throw std::runtime_error("none"); }
    void release_session(std::shared_ptr<icap::client::session>) override {}
    void terminate() override {}

private:
    ScannerLink& link_;
};

TEST_F(SettingsLoad, LetsTheOldPoolEndOutsideTheLock)
{
    ScannerLink* target = nullptr;
    ScannerLinkServices services;
    services.broker = broker();
    services.presence = presence;
    services.newManager = [&target](const ServerInfo&) { return std::make_shared<looking_pool>(*target); };
    ScannerLink other(std::move(services));
    target = &other;
    other.LoadSettings();
    other.CreateSessionManager();
    serve(settings_of(4711));
    other.LoadSettings(); // would deadlock
    EXPECT_FALSE(other.IsConnected());
    other.CheckHealth();
    other.CreateSessionManager();
    other.BreakConnection();
    EXPECT_FALSE(other.IsConnected());
}

/// Calls a function at each line up to its threshold.
class line_hook final : public logging::line_sink
{
public:
    explicit line_hook(std::function<void()> at_line)
        : at_line_(std::move(at_line))
    {}
    void write(logging::priority::level_type, std::string_view, std::string_view) override { at_line_(); }

private:
    std::function<void()> at_line_;
};

TEST(SettingsLoadUnderWay, LetsAPoolEndOutsideTheLockThatCameInTheMeantime)
{
    auto blob = DOVA::Settings::BlobFromSettings(settings_of(4711));
    ScannerLink* target = nullptr;
    ScannerLinkServices services;
    services.broker = std::make_shared<BytesBroker>([&blob] { return blob; });
    services.presence = std::make_shared<test::switched_presence>();
    services.newManager = [&target](const ServerInfo&) { return std::make_shared<looking_pool>(*target); };
    ScannerLink link(std::move(services));
    target = &link;
    link.LoadSettings();
    blob = DOVA::Settings::BlobFromSettings(settings_of(4712));
    // The only line at this level reports the break; the lines of a manager's creation have a lower level.
    int managers = 0;
    const auto hook = std::make_shared<line_hook>([&] { managers += link.CreateSessionManager() ? 1 : 0; });
    logging::log_manager::default_manager().add_sink(hook, 400);
    link.LoadSettings(); // would deadlock
    logging::log_manager::default_manager().remove_sink(hook);
    EXPECT_EQ(managers, 1);
    EXPECT_FALSE(link.IsConnected());
    EXPECT_EQ(link.GetSessionManager(), nullptr);
}

} // namespace
