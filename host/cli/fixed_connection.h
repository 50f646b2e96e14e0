#pragma once

#include "outlook/qdmailprotect/link/connection_source.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace host {

/// A connection source with settings that never change: the product's defaults with the port and path that the user
/// named. No timer runs; a check that asks for a connection gets it on its own thread, or finds the service absent.
class fixed_connection final : public ConnectionSource
{
public:
    using settings = DOVA::Settings::WebTrafficMonitorSettings;

    /// `uri` without its leading "/".
    fixed_connection(std::uint16_t port, const std::wstring& uri);

    void Start() override;
    void Stop() override;
    std::shared_ptr<const settings> GetSettings() override;
    std::shared_ptr<icap::client::session_pool> GetSessionManager() override;
    bool IsConnected() const override;
    void ForceConnection(bool now) override;
    void LoadSettings() override;
    void BreakConnection() override;
    /// A connection was asked for and could not be had, once or more.
    [[nodiscard]] bool refused() const noexcept { return refused_; }

private:
    void create_pool();

    std::shared_ptr<const settings> settings_;
    std::atomic<bool> connected_{false};
    std::atomic<bool> refused_{false};
    mutable std::mutex lock_;
    std::shared_ptr<icap::client::session_pool> pool_; ///< under lock_
};

} // namespace host
