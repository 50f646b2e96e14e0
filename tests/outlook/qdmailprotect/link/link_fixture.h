#pragma once

#include "outlook/qdmailprotect/link/scanner_link.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// Gives access to private members of a link.
class ScannerLinkProbe
{
public:
    explicit ScannerLinkProbe(ScannerLink& link)
        : link_(link)
    {}
    /// Returns the server accepted last. No other thread may use the link meanwhile.
    ServerInfo& Accepted() { return link_.serverInfo_; }

private:
    ScannerLink& link_;
};

namespace test {

/// A clock that advances only when the test sets it.
class manual_clock final : public winapi::time_source
{
public:
    std::atomic<std::uint32_t> now{5000};
    [[nodiscard]] std::uint32_t tick_count() const override { return now; }
    [[nodiscard]] std::uint64_t system_ticks() const override { return 0; }
};

/// Records the calls of a manual_timers and holds the pending timer. Must outlive the queue, which its user owns.
class timer_journal
{
public:
    std::atomic<bool> refuses{false}; ///< timers cannot be created
    std::atomic<int> deletions{0};

    /// Returns the delays of all timers created, in milliseconds.
    [[nodiscard]] std::vector<std::uint32_t> delays() const
    {
        const std::lock_guard guard(lock_);
        return delays_;
    }
    [[nodiscard]] bool waits() const
    {
        const std::lock_guard guard(lock_);
        return static_cast<bool>(waiting_);
    }
    /// Fires the pending timer on this thread; returns false if there is none.
    bool fire();

private:
    friend class manual_timers;
    mutable std::mutex lock_;
    std::vector<std::uint32_t> delays_;
    std::function<void()> waiting_;
};

/// A timer queue whose timers are fired by the test.
class manual_timers final : public TimerQueue
{
public:
    explicit manual_timers(timer_journal& journal)
        : journal_(journal)
    {}
    bool CreateTimer(std::uint32_t delay, std::function<void()> fire) override;
    void DeleteTimer() override;

private:
    timer_journal& journal_;
};

/// A presence that the test switches.
class switched_presence final : public PresenceProbe
{
public:
    std::atomic<bool> present{false};
    [[nodiscard]] bool IsServicePresent() const override { return present; }
};

/// A pool of one session that answers health questions.
class health_pool final : public icap::client::session_pool
{
public:
    std::shared_ptr<icap::client::session> query_session() override;
    void release_session(std::shared_ptr<icap::client::session> returned) override;
    void terminate() override { ++terminations; }

    std::function<void()> on_query; ///< may throw
    std::function<void()> on_scan;  ///< may throw
    std::function<void()> on_release;
    ScanResult answer = ScanResult::Clean;
    [[nodiscard]] std::vector<icap::client::scan_health> questions() const;
    std::atomic<int> leased{0}; ///< sessions currently leased
    std::atomic<int> terminations{0};

private:
    class health_session;
    mutable std::mutex lock_;
    std::vector<icap::client::scan_health> questions_;
};

/// A link over a pool, broker, presence, clock and timer of the test.
class link_fixture : public ::testing::Test
{
protected:
    using Settings = DOVA::Settings::WebTrafficMonitorSettings;
    using texts = std::vector<std::string>;

    link_fixture();

    /// Sets the record that the broker returns.
    void serve(const Settings& settings);
    void serve_bytes(SettingsBroker::Bytes bytes);
    /// Sets the pool that the factory returns.
    void offer(std::shared_ptr<health_pool> next);
    /// Returns the servers that the factory was called with.
    [[nodiscard]] std::vector<ServerInfo> servers() const;
    /// Returns the broker, for use in another link.
    [[nodiscard]] std::shared_ptr<SettingsBroker> broker();
    /// Returns the lines of the logger "outlook", each preceded by its level: "500 Trying to load new settings".
    [[nodiscard]] texts lines() const;

    manual_clock clock;
    timer_journal timer;
    log_capture log;
    std::shared_ptr<switched_presence> presence = std::make_shared<switched_presence>();
    std::shared_ptr<health_pool> pool = std::make_shared<health_pool>();
    std::function<void()> on_create;  ///< runs when the factory is called, and may throw
    std::function<void()> on_connect; ///< runs when a visit to the broker begins, and may throw
    std::function<void()> on_load;    ///< runs when the broker is called, and may throw
    std::atomic<int> loads{0};        ///< calls of the broker
    std::unique_ptr<ScannerLink> link;

private:
    class fixture_broker;
    mutable std::mutex lock_; ///< guards the members below and `pool`
    std::vector<ServerInfo> servers_;
    SettingsBroker::Bytes blob_;
};

/// Returns a record with the given port and path.
DOVA::Settings::WebTrafficMonitorSettings settings_of(std::uint32_t port, const std::wstring& uri = L"webscan");

} // namespace test
