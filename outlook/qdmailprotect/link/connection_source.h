#pragma once

#include "settings/web_traffic_monitor_settings.h"
#include "tool/icap_client/session_pool.h"

#include <memory>

/// The part of the link to the scanning service that a message check uses. Thread-safe.
class ConnectionSource
{
public:
    virtual void Start() = 0;
    virtual void Stop() = 0;
    /// Returns the current settings; null if no record has been loaded yet.
    [[nodiscard]] virtual std::shared_ptr<const DOVA::Settings::WebTrafficMonitorSettings> GetSettings() = 0;
    /// Returns the pool of sessions, or null if there is no connection.
    [[nodiscard]] virtual std::shared_ptr<icap::client::session_pool> GetSessionManager() = 0;
    /// Returns true while a pool is installed.
    [[nodiscard]] virtual bool IsConnected() const = 0;
    /// Connects on the calling thread if `now` is true, otherwise soon on another thread.
    virtual void ForceConnection(bool now) = 0;
    virtual void LoadSettings() = 0;
    /// Drops the pool. Leased sessions remain valid until they are released.
    virtual void BreakConnection() = 0;
    virtual ~ConnectionSource() = default;
};
