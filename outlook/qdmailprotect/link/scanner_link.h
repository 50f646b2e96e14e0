#pragma once

#include "outlook/qdmailprotect/link/connection_source.h"
#include "outlook/qdmailprotect/link/presence_probe.h"
#include "outlook/qdmailprotect/link/restartable_timer.h"
#include "outlook/qdmailprotect/link/server_info.h"
#include "outlook/qdmailprotect/link/settings_broker.h"
#include "outlook/qdmailprotect/link/timer_queue.h"
#include "tool/system/clock.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

/// Makes the pool of sessions to a service. Raises when the service can't be reached.
using SessionManagerFactory = std::function<std::shared_ptr<icap::client::session_pool>(const ServerInfo& server)>;

/// The factory of the add-in: a session manager with its first session.
[[nodiscard]] std::shared_ptr<icap::client::session_pool> NewSessionManager(const ServerInfo& server);

/// What a ScannerLink works with.
struct ScannerLinkServices
{
    std::shared_ptr<SettingsBroker> broker;        ///< required
    std::shared_ptr<const PresenceProbe> presence; ///< null: the system's
    SessionManagerFactory newManager;              ///< empty: NewSessionManager
    std::unique_ptr<TimerQueue> timers;            ///< null: the system's
    const winapi::time_source* clock = nullptr;    ///< null: the system's; else outlives the link
};

/// Keeps the settings record and the session manager fresh and hands out shared references to them, which stay good
/// after a replacement. A timer looks after both; a check may ask for a connection too. All operations may be called
/// from any thread, CheckHealth and LoadSettings by several at once. None but Start raises.
///
/// connected | session manager | meaning        | left by
/// no        | null            | no connection  | CreateSessionManager
/// yes       | set             | pool installed | BreakConnection, a failed health check, Stop
class ScannerLink final : public ConnectionSource
{
public:
    /// A health check is due when more than this has gone by since the last one, in milliseconds.
    static constexpr std::uint32_t HealthPeriod = 300000;
    /// The longest wait for the answer to a health question, in milliseconds.
    static constexpr std::uint32_t HealthTimeout = 30000;

    explicit ScannerLink(ScannerLinkServices services);
    ScannerLink(const ScannerLink&) = delete;
    ScannerLink& operator=(const ScannerLink&) = delete;
    ~ScannerLink() override;

    /// Arms the timer. Raises std::runtime_error when the system gives none.
    void Start() override;
    /// Disarms the timer, waiting for its run, and shuts the session manager down.
    void Stop() override;
    [[nodiscard]] std::shared_ptr<const DOVA::Settings::WebTrafficMonitorSettings> GetSettings() override;
    [[nodiscard]] std::shared_ptr<icap::client::session_pool> GetSessionManager() override;
    [[nodiscard]] bool IsConnected() const override { return connected_; }
    /// Checks the health on this thread if `now`; else the timer does, at its next run.
    void ForceConnection(bool now) override;
    /// Asks the broker for the settings unless the service is present, and puts them in the place of the old ones. A
    /// failure leaves those in force.
    void LoadSettings() override;
    void BreakConnection() override;

    /// One run of the timer.
    void OnTimer();
    /// Connects if need be, asks the service whether it is well, follows a change of port or path, and loads settings.
    void CheckHealth();
    /// The session manager, made if there is none; null when the service can't be reached.
    std::shared_ptr<icap::client::session_pool> CreateSessionManager();
    [[nodiscard]] bool IsServicePresent() const { return presence_->IsServicePresent(); }

private:
    friend class ScannerLinkProbe; // tests look at the server accepted last

    using Settings = DOVA::Settings::WebTrafficMonitorSettings;
    using Pool = icap::client::session_pool;

    static ServerInfo ComposeServerInfo(const Settings& settings);
    void FollowServer();
    /// Called under the lock. Returns the manager of a connection that it broke: a pool must not end under the lock.
    [[nodiscard]] std::shared_ptr<Pool> CompareServerInfo(ServerInfo composed, const char* changeText);
    void AcceptSettings(std::shared_ptr<const Settings> loaded);
    /// Returns the manager that was installed, so that the caller may let it end without the lock.
    std::shared_ptr<Pool> InstallManager(std::shared_ptr<Pool> manager, bool connect);

    const std::shared_ptr<SettingsBroker> broker_;
    const std::shared_ptr<const PresenceProbe> presence_;
    const SessionManagerFactory newManager_;
    const winapi::time_source& clock_;

    std::atomic<bool> connected_{false};
    std::unique_ptr<TimerQueue> timerQueue_;
    RestartableTimer timer_;
    std::shared_ptr<Pool> sessionManager_;  ///< under lock_
    std::atomic<bool> managerIsSet_{false}; ///< whether sessionManager_ is; written under lock_
    std::atomic<std::uint32_t> connectRequested_{0};
    std::atomic<std::uint32_t> lastHealthTick_{0};
    mutable std::recursive_mutex lock_; ///< never held across an exchange with the service
    std::shared_ptr<const Settings> settings_ = std::make_shared<const Settings>(); ///< never null; under lock_
    bool firstInfo_ = true; ///< no server was compared yet; under lock_
    ServerInfo serverInfo_; ///< the server accepted last; under lock_
};
