#pragma once

#include "outlook/qdmailprotect/link/scanner_link.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace host {

/// The add-in's own link to the scanning service, including its timer, with settings specified by a command.
class service_link
{
public:
    /// Uses the product's default settings with this port and path, whatever other services run. `uri` has no leading
    /// "/".
    service_link(std::uint16_t port, const std::wstring& uri);
    /// Uses the settings of a file, blob or JSON, which is read again on each load. As in the product, settings are not
    /// loaded while a service shows its presence.
    explicit service_link(std::filesystem::path settings_file);

    [[nodiscard]] const std::shared_ptr<ScannerLink>& get() const noexcept { return link_; }
    /// Returns true if a connection was requested at least once and could not be made.
    [[nodiscard]] bool refused() const noexcept { return *refused_; }

private:
    service_link(std::function<SettingsBroker::Bytes()> settings, std::shared_ptr<const PresenceProbe> presence);

    std::shared_ptr<std::atomic<bool>> refused_ = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<ScannerLink> link_;
};

} // namespace host
