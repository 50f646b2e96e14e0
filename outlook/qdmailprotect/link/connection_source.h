#pragma once

#include "settings/web_traffic_monitor_settings.h"
#include "tool/icap_client/session_pool.h"

#include <memory>

/// What a message check needs of the link to the scanning service. Every operation may be called from any thread.
class ConnectionSource
{
public:
    virtual void Start() = 0;
    virtual void Stop() = 0;
    /// The settings in force; null while there is no record yet.
    [[nodiscard]] virtual std::shared_ptr<const DOVA::Settings::WebTrafficMonitorSettings> GetSettings() = 0;
    /// The pool of sessions, or null when not connected.
    [[nodiscard]] virtual std::shared_ptr<icap::client::session_pool> GetSessionManager() = 0;
    /// True while a pool is installed.
    [[nodiscard]] virtual bool IsConnected() const = 0;
    /// Connects: on the calling thread if `now`, else soon on another one.
    virtual void ForceConnection(bool now) = 0;
    virtual void LoadSettings() = 0;
    /// Drops the pool; sessions on lease live on until released.
    virtual void BreakConnection() = 0;
    virtual ~ConnectionSource() = default;
};
