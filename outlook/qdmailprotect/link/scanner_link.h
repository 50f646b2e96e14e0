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

/// Creates the pool of sessions to a service. Throws if the service cannot be reached.
using SessionManagerFactory = std::function<std::shared_ptr<icap::client::session_pool>(const ServerInfo& server)>;

/// The default factory: creates a session manager with its first session.
[[nodiscard]] std::shared_ptr<icap::client::session_pool> NewSessionManager(const ServerInfo& server);

/// The dependencies of a ScannerLink.
struct ScannerLinkServices
{
    std::shared_ptr<SettingsBroker> broker;        ///< required
    std::shared_ptr<const PresenceProbe> presence; ///< null: the system's
    SessionManagerFactory newManager;              ///< empty: NewSessionManager
    std::unique_ptr<TimerQueue> timers;            ///< null: the system's
    const winapi::time_source* clock = nullptr;    ///< null: the system clock; otherwise must outlive the link
};

/// Keeps the settings record and the session manager up to date and returns shared references to them, which remain
/// valid after a replacement. A timer updates both; a check may request a connection too. All operations are
/// thread-safe; CheckHealth and LoadSettings may run on several threads at once. Only Start throws.
///
/// connected | session manager | meaning        | left by
/// no        | null            | no connection  | CreateSessionManager
/// yes       | set             | pool installed | BreakConnection, a failed health check, Stop
class ScannerLink final : public ConnectionSource
{
public:
    /// A health check is due when more than this time has passed since the last one, in milliseconds.
    static constexpr std::uint32_t HealthPeriod = 300000;
    /// The maximum wait for the answer to a health question, in milliseconds.
    static constexpr std::uint32_t HealthTimeout = 30000;

    explicit ScannerLink(ScannerLinkServices services);
    ScannerLink(const ScannerLink&) = delete;
    ScannerLink& operator=(const ScannerLink&) = delete;
    ~ScannerLink() override;

    /// Arms the timer. Throws std::runtime_error if the system fails to create one.
    void Start() override;
    /// Disarms the timer, waits for its current run, and shuts the session manager down.
    void Stop() override;
    [[nodiscard]] std::shared_ptr<const DOVA::Settings::WebTrafficMonitorSettings> GetSettings() override;
    [[nodiscard]] std::shared_ptr<icap::client::session_pool> GetSessionManager() override;
    [[nodiscard]] bool IsConnected() const override { return connected_; }
    /// Checks the health on this thread if `now` is true; otherwise the next run of the timer does.
    void ForceConnection(bool now) override;
    /// Requests the settings from the broker unless the service is present, and replaces the current ones. On failure
    /// the current settings remain in effect.
    void LoadSettings() override;
    void BreakConnection() override;

    /// Executes one run of the timer.
    void OnTimer();
    /// Connects if necessary, sends a health question to the service, applies a change of port or path, and loads
    /// settings.
    void CheckHealth();
    /// Returns the session manager and creates it if there is none; null if the service cannot be reached.
    std::shared_ptr<icap::client::session_pool> CreateSessionManager();
    [[nodiscard]] bool IsServicePresent() const { return presence_->IsServicePresent(); }

private:
    friend class ScannerLinkProbe; // gives tests access to the server accepted last

    using Settings = DOVA::Settings::WebTrafficMonitorSettings;
    using Pool = icap::client::session_pool;

    static ServerInfo ComposeServerInfo(const Settings& settings);
    void FollowServer();
    /// Must be called with the lock held. Returns the manager of a connection that it broke, because a pool must not be
    /// destroyed under the lock.
    [[nodiscard]] std::shared_ptr<Pool> CompareServerInfo(ServerInfo composed, const char* changeText);
    void AcceptSettings(std::shared_ptr<const Settings> loaded);
    /// Returns the previously installed manager, so that the caller can destroy it without the lock.
    std::shared_ptr<Pool> InstallManager(std::shared_ptr<Pool> manager, bool connect);

    const std::shared_ptr<SettingsBroker> broker_;
    const std::shared_ptr<const PresenceProbe> presence_;
    const SessionManagerFactory newManager_;
    const winapi::time_source& clock_;

    std::atomic<bool> connected_{false};
    std::unique_ptr<TimerQueue> timerQueue_;
    RestartableTimer timer_;
    std::shared_ptr<Pool> sessionManager_;  ///< guarded by lock_
    std::atomic<bool> managerIsSet_{false}; ///< whether sessionManager_ is set; written under lock_
    std::atomic<std::uint32_t> connectRequested_{0};
    std::atomic<std::uint32_t> lastHealthTick_{0};
    mutable std::recursive_mutex lock_; ///< never held during an exchange with the service
    std::shared_ptr<const Settings> settings_ = std::make_shared<const Settings>(); ///< never null; guarded by lock_
    bool firstInfo_ = true; ///< no server has been compared yet; guarded by lock_
    ServerInfo serverInfo_; ///< the server accepted last; guarded by lock_
};
