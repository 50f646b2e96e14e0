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

/// Reaches what a link keeps to itself.
class ScannerLinkProbe
{
public:
    explicit ScannerLinkProbe(ScannerLink& link)
        : link_(link)
    {}
    /// The server accepted last. For a test in which no other thread uses the link.
    ServerInfo& Accepted() { return link_.serverInfo_; }

private:
    ScannerLink& link_;
};

namespace test {

/// A clock that stands still until it is moved.
class manual_clock final : public winapi::time_source
{
public:
    std::atomic<std::uint32_t> now{5000};
    [[nodiscard]] std::uint32_t tick_count() const override { return now; }
    [[nodiscard]] std::uint64_t system_ticks() const override { return 0; }
};

/// What a manual_timers was asked, and the timer that waits. Outlives the queue, which its user owns.
class timer_journal
{
public:
    std::atomic<bool> refuses{false}; ///< timers can't be made
    std::atomic<int> deletions{0};

    /// The delays of all timers made, in milliseconds.
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
    /// Lets the waiting timer fire on this thread; false when there is none.
    bool fire();

private:
    friend class manual_timers;
    mutable std::mutex lock_;
    std::vector<std::uint32_t> delays_;
    std::function<void()> waiting_;
};

/// A timer queue whose timers fire when the test says so.
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

    std::function<void()> on_query; ///< may raise
    std::function<void()> on_scan;  ///< may raise
    std::function<void()> on_release;
    ScanResult answer = ScanResult::Clean;
    [[nodiscard]] std::vector<icap::client::scan_health> questions() const;
    std::atomic<int> leased{0}; ///< sessions out now
    std::atomic<int> terminations{0};

private:
    class health_session;
    mutable std::mutex lock_;
    std::vector<icap::client::scan_health> questions_;
};

/// A link over a pool, broker, presence, clock and timer of the test's.
class link_fixture : public ::testing::Test
{
protected:
    using Settings = DOVA::Settings::WebTrafficMonitorSettings;
    using texts = std::vector<std::string>;

    link_fixture();

    /// The broker's record from now on.
    void serve(const Settings& settings);
    void serve_bytes(SettingsBroker::Bytes bytes);
    /// The factory's pool from now on.
    void offer(std::shared_ptr<health_pool> next);
    /// What the factory was asked for.
    [[nodiscard]] std::vector<ServerInfo> servers() const;
    /// For another link over the same broker.
    [[nodiscard]] std::shared_ptr<SettingsBroker> broker();
    /// The lines of the logger "outlook", each behind its level: "500 Trying to load new settings".
    [[nodiscard]] texts lines() const;

    manual_clock clock;
    timer_journal timer;
    log_capture log;
    std::shared_ptr<switched_presence> presence = std::make_shared<switched_presence>();
    std::shared_ptr<health_pool> pool = std::make_shared<health_pool>();
    std::function<void()> on_create;  ///< runs when the factory is asked, and may raise
    std::function<void()> on_connect; ///< runs when a visit to the broker begins, and may raise
    std::function<void()> on_load;    ///< runs when the broker is asked, and may raise
    std::atomic<int> loads{0};        ///< questions to the broker
    std::unique_ptr<ScannerLink> link;

private:
    class fixture_broker;
    mutable std::mutex lock_; ///< guards what follows and `pool`
    std::vector<ServerInfo> servers_;
    SettingsBroker::Bytes blob_;
};

/// A record with that port and path set.
DOVA::Settings::WebTrafficMonitorSettings settings_of(std::uint32_t port, const std::wstring& uri = L"webscan");

} // namespace test
