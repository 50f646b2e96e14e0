// The link in operation: real services start and stop, the settings change, mail is opened meanwhile, and eight threads
// scan over the current pool of the link. The link's own timer runs; only the five minutes between two health checks
// are skipped, by a clock that the test provides.

#include "desk/settings/bytes_broker.h"
#include "desk/settings/settings_file.h"
#include "logging/logging.h"
#include "outlook/qdmailprotect/link/scanner_link.h"
#include "settings/settings_blob.h"
#include "tests/end_to_end/desk.h"
#include "tests/end_to_end/running_service.h"
#include "tests/support/temporary_folder.h"
#include "tool/web/io_memory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using test::running_service;

/// The limit of every wait. Reached only on failure.
constexpr std::chrono::seconds bound{120};
/// How long a scan waits for its response, in milliseconds. A service that dies during a scan delays it by this time.
constexpr std::uint32_t scan_patience = 8000;

/// Waits for lines of the logger "outlook".
class line_watch final : public logging::line_sink
{
public:
    void write(logging::priority::level_type, std::string_view logger, std::string_view text) override
    {
        if (logger == "outlook") {
            const std::lock_guard guard(lock_);
            lines_.emplace_back(text);
            changed_.notify_all();
        }
    }
    /// Returns the current number of lines. Later lines have an index of at least this number.
    [[nodiscard]] std::size_t mark() const
    {
        const std::lock_guard guard(lock_);
        return lines_.size();
    }
    /// Waits until a line after `mark` contains `part`. Returns false if the limit is reached.
    [[nodiscard]] bool wait_for(const std::string& part, std::size_t mark)
    {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, bound, [&] { return found(part, mark); });
    }
    [[nodiscard]] bool has(const std::string& part, std::size_t mark) const
    {
        const std::lock_guard guard(lock_);
        return found(part, mark);
    }

private:
    [[nodiscard]] bool found(const std::string& part, std::size_t mark) const
    {
        return std::any_of(lines_.begin() + static_cast<std::ptrdiff_t>(mark), lines_.end(),
                           [&part](const auto& line) { return line.find(part) != std::string::npos; });
    }
    mutable std::mutex lock_;
    std::condition_variable changed_;
    std::vector<std::string> lines_;
};

/// Counts the completed runs of the timer.
class run_count
{
public:
    void add()
    {
        const std::lock_guard guard(lock_);
        ++runs_;
        changed_.notify_all();
    }
    /// Waits for `count` further runs to end. Returns false if the limit is reached.
    [[nodiscard]] bool wait_for_more(int count)
    {
        std::unique_lock guard(lock_);
        const int wanted = runs_ + count;
        return changed_.wait_for(guard, bound, [&] { return runs_ >= wanted; });
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    int runs_ = 0;
};

/// The system's timers with a counter.
class counted_timers final : public TimerQueue
{
public:
    explicit counted_timers(std::shared_ptr<run_count> runs)
        : runs_(std::move(runs))
    {}
    bool CreateTimer(std::uint32_t delay, std::function<void()> fire) override
    {
        return real_->CreateTimer(delay, [runs = runs_, fire = std::move(fire)] {
            fire();
            runs->add();
        });
    }
    void DeleteTimer() override { real_->DeleteTimer(); }

private:
    std::shared_ptr<run_count> runs_;
    std::unique_ptr<TimerQueue> real_ = NewTimerQueue();
};

class moved_clock final : public winapi::time_source
{
public:
    [[nodiscard]] std::uint32_t tick_count() const override { return now_; }
    [[nodiscard]] std::uint64_t system_ticks() const override { return 0; }
    /// Makes a health check due.
    void skip_to_the_next_check() { now_ += ScannerLink::HealthPeriod + 1; }

private:
    std::atomic<std::uint32_t> now_{1};
};

/// Eight threads that continuously scan small bodies over the link's pool. A missing pool is not an error.
class pool_users
{
public:
    explicit pool_users(ScannerLink& link)
        : link_(link)
    {
        for (int i = 0; i < 8; ++i) {
            threads_.emplace_back([this] { work(); });
        }
    }
    pool_users(const pool_users&) = delete;
    pool_users& operator=(const pool_users&) = delete;
    ~pool_users()
    {
        stop_ = true;
        for (auto& thread : threads_) {
            thread.join();
        }
    }
    [[nodiscard]] std::uint64_t scans() const { return scans_; }
    /// Waits until the threads have completed `count` further scans in total. Returns false if the limit is reached.
    [[nodiscard]] bool wait_for_more(std::uint64_t count) const
    {
        const std::uint64_t wanted = scans_ + count;
        const auto end = std::chrono::steady_clock::now() + bound;
        while (scans_ < wanted && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return scans_ >= wanted;
    }

private:
    void work()
    {
        while (!stop_) {
            try {
                scan();
            } catch (const std::exception&) { // no service at this moment
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        }
    }
    void scan()
    {
        const auto manager = link_.GetSessionManager();
        if (!manager) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            return;
        }
        const icap::client::session_lease lease(manager);
        icap::client::scan_mail mail;
        mail.tag = "[From:][Subject:][Time:]";
        mail.data = std::make_shared<web::io_memory>(body_.size());
        mail.data->append(body_.data(), body_.size());
        std::shared_ptr<icap::response_message> answer;
        if (lease->scan(mail, answer) == ScanResult::Clean && !lease->is_invalid()) {
            ++scans_;
        }
    }

    const std::string body_ = "Nothing special.";
    ScannerLink& link_;
    std::atomic<bool> stop_{false};
    std::atomic<std::uint64_t> scans_{0};
    std::vector<std::thread> threads_;
};

/// A reader's desk with a live link whose settings are in a file.
class LiveLink : public ::testing::Test
{
protected:
    using Settings = DOVA::Settings::WebTrafficMonitorSettings;

    LiveLink()
    {
        ::setenv("POSTWARDEN_RUNTIME_DIR", (folder_.path() / "presence").c_str(), 1);
        logging::log_manager::default_manager().add_sink(lines, 500);
    }
    ~LiveLink() override
    {
        users.reset();
        desk.reset();
        link.reset();
        logging::log_manager::default_manager().remove_sink(lines);
        ::unsetenv("POSTWARDEN_RUNTIME_DIR");
    }

    /// Starts with these settings.
    void begin(const Settings& settings)
    {
        write(settings);
        ScannerLinkServices services;
        services.broker = std::make_shared<BytesBroker>(
            [file = folder_.path() / "settings.blob"] { return host::load_settings_bytes(file); });
        services.newManager = [](const ServerInfo& server) {
            return test::connect_impatiently({server.address, server.port, server.uri}, scan_patience);
        };
        services.timers = std::make_unique<counted_timers>(runs);
        services.clock = &clock;
        link = std::make_shared<ScannerLink>(std::move(services));
        desk = std::make_unique<test::desk>(link);
        users = std::make_unique<pool_users>(*link);
    }
    void write(const Settings& settings) const
    {
        const auto blob = DOVA::Settings::BlobFromSettings(settings);
        write(std::string(blob.begin(), blob.end()));
    }
    /// Replaces the settings file atomically.
    void write(const std::string& bytes) const
    {
        std::filesystem::rename(folder_.write("new.blob", bytes), folder_.path() / "settings.blob");
    }
    static Settings settings_at(std::uint16_t port)
    {
        Settings settings;
        settings.ServerPort.value = port;
        settings.ServerPort.isSet = true;
        return settings;
    }
    static Settings switched(Settings settings, bool plugin)
    {
        settings.UseOutlookPlugin.value = plugin;
        settings.UseOutlookPlugin.isSet = true;
        return settings;
    }
    /// Opens a condemned message; it is blocked if it was scanned.
    host::opening open_condemned() { return desk->open(test::plain_mail(test::antivirus_test_file())); }
    /// Makes the timer run its health check. Expects that the load of the settings after it ends with this line.
    [[nodiscard]] bool check_ends_with(const std::string& line)
    {
        const std::size_t mark = lines->mark();
        clock.skip_to_the_next_check();
        return lines->wait_for(line, mark);
    }
    /// Runs an opening that only requests the connection, and two runs of the timer.
    [[nodiscard]] bool reconnects()
    {
        open_condemned();
        return runs->wait_for_more(2) && link->IsConnected();
    }

    /// Completes the last scans of the eight threads while there is a service.
    void finish()
    {
        EXPECT_TRUE(users->wait_for_more(100));
        users.reset();
    }

    std::shared_ptr<line_watch> lines = std::make_shared<line_watch>();
    std::shared_ptr<run_count> runs = std::make_shared<run_count>();
    moved_clock clock;
    std::shared_ptr<ScannerLink> link;
    std::unique_ptr<test::desk> desk;
    std::unique_ptr<pool_users> users;

private:
    host::test::temporary_folder folder_;
};

/// Returns a port on which no program listens: one that was free a moment ago.
std::uint16_t free_port()
{
    running_service service;
    const std::uint16_t port = service.port();
    service.end(SIGKILL);
    return port;
}

TEST_F(LiveLink, ScansAsSoonAsTheServiceAppears)
{
    const std::uint16_t port = free_port();
    begin(settings_at(port));
    const auto first = open_condemned();
    EXPECT_EQ(first.result, S_OK);
    EXPECT_FALSE(first.blocked);
    EXPECT_EQ(first.verdict, ScanResult::None);
    EXPECT_EQ(open_condemned().verdict, ScanResult::None);
    ASSERT_TRUE(runs->wait_for_more(2));
    EXPECT_FALSE(link->IsConnected()) << "it tries, and nobody is there";

    const running_service service(port);
    ASSERT_TRUE(runs->wait_for_more(2));
    EXPECT_TRUE(link->IsConnected());
    EXPECT_EQ(open_condemned().verdict, ScanResult::Blocked);
    finish();
}

TEST_F(LiveLink, ConnectsAtOnceWhenTheFirstMessageMay)
{
    const running_service service;
    begin(settings_at(service.port()));
    EXPECT_EQ(open_condemned().verdict, ScanResult::Blocked);
    finish();
}

TEST_F(LiveLink, MovesToTheServiceThatTheSettingsName)
{
    auto former = std::make_unique<running_service>();
    const running_service next;
    begin(settings_at(former->port()));
    EXPECT_EQ(open_condemned().verdict, ScanResult::Blocked);
    EXPECT_TRUE(users->wait_for_more(50));

    write(settings_at(next.port()));
    ASSERT_TRUE(check_ends_with("Connection settings have changed, breaking connection"));
    ASSERT_TRUE(reconnects());
    former->end(SIGKILL);
    EXPECT_EQ(open_condemned().verdict, ScanResult::Blocked) << "by the new one, as the old one is gone";
    EXPECT_EQ(link->GetSettings()->ServerPort.Effective(), next.port());
    finish();
}

TEST_F(LiveLink, OutlivesAServiceThatDiesInTheMiddleOfAScan)
{
    auto service = std::make_unique<running_service>();
    const std::uint16_t port = service->port();
    begin(settings_at(port));
    EXPECT_EQ(open_condemned().verdict, ScanResult::Blocked);
    EXPECT_TRUE(users->wait_for_more(50));

    service->send(SIGSTOP); // it does not respond from here on
    const std::size_t mark = lines->mark();
    auto opening = std::async(std::launch::async, [this] { return open_condemned(); });
    ASSERT_TRUE(lines->wait_for("Checking mail body", mark));
    service->end(SIGKILL);
    const auto interrupted = opening.get();
    EXPECT_EQ(interrupted.result, S_OK);
    EXPECT_FALSE(interrupted.blocked) << "it fails open";
    EXPECT_NE(interrupted.verdict, ScanResult::Blocked);
    EXPECT_EQ(open_condemned().verdict, ScanResult::None) << "no session can be had";

    service = std::make_unique<running_service>(port);
    ASSERT_TRUE(reconnects());
    EXPECT_EQ(open_condemned().verdict, ScanResult::Blocked);
    finish();
}

TEST_F(LiveLink, IsSwitchedOffAndOnByTheSettings)
{
    const running_service service;
    const Settings on = settings_at(service.port());
    begin(on);
    EXPECT_EQ(open_condemned().verdict, ScanResult::Blocked);

    write(switched(on, false));
    ASSERT_TRUE(check_ends_with("use plugin: 0"));
    ASSERT_TRUE(runs->wait_for_more(1));
    const auto unscanned = open_condemned();
    EXPECT_EQ(unscanned.result, E_NOINTERFACE);
    EXPECT_EQ(unscanned.verdict, ScanResult::None);
    EXPECT_FALSE(unscanned.blocked);
    EXPECT_TRUE(link->IsConnected()) << "the connection stays";

    write(switched(on, true));
    ASSERT_TRUE(check_ends_with("use plugin: 1"));
    ASSERT_TRUE(runs->wait_for_more(1));
    EXPECT_EQ(open_condemned().verdict, ScanResult::Blocked);
    finish();
}

TEST_F(LiveLink, KeepsItsSettingsWhenTheirFileIsBroken)
{
    const running_service service;
    begin(settings_at(service.port()));
    EXPECT_EQ(open_condemned().verdict, ScanResult::Blocked);
    const auto blob = DOVA::Settings::BlobFromSettings(settings_at(1));
    for (const std::string& broken :
         {std::string(), std::string("{"), std::string("no settings"), std::string(blob.begin(), blob.end() - 7)}) {
        write(broken);
        ASSERT_TRUE(check_ends_with("Load settings failed: "));
        EXPECT_EQ(link->GetSettings()->ServerPort.Effective(), service.port());
        EXPECT_EQ(open_condemned().verdict, ScanResult::Blocked);
    }
    finish();
}

TEST_F(LiveLink, AsksForSettingsOnlyWhileTheServiceDoesNotShowItsPresence)
{
    auto service = std::make_unique<running_service>();
    const std::uint16_t port = service->port();
    const Settings on = settings_at(port);
    begin(on);
    EXPECT_EQ(open_condemned().verdict, ScanResult::Blocked);
    service->end(SIGTERM);

    service = std::make_unique<running_service>(port, std::vector<std::string>{"--hold-presence"});
    EXPECT_TRUE(link->IsServicePresent());
    const std::size_t mark = lines->mark();
    write(switched(on, false));
    ASSERT_TRUE(check_ends_with("Skipping the settings request from product"));
    EXPECT_FALSE(lines->has("Product settings loaded", mark));
    EXPECT_TRUE(link->GetSettings()->UseOutlookPlugin.Effective()) << "nobody was asked";
    ASSERT_TRUE(reconnects());
    EXPECT_EQ(open_condemned().verdict, ScanResult::Blocked);

    service->end(SIGKILL);
    EXPECT_FALSE(link->IsServicePresent()) << "the sign goes with its holder";
    service = std::make_unique<running_service>(port);
    ASSERT_TRUE(check_ends_with("use plugin: 0"));
    ASSERT_TRUE(runs->wait_for_more(1));
    EXPECT_EQ(open_condemned().result, E_NOINTERFACE);
    finish();
}

} // namespace
