#pragma once

#include "outlook/qdmailprotect/link/scanner_link.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace host {

/// The add-in's own link to the scanning service, timer and all, over settings that a command gives it.
class service_link
{
public:
    /// The settings are the product's defaults with this port and path, whatever other services run. `uri` is without
    /// its leading "/".
    service_link(std::uint16_t port, const std::wstring& uri);
    /// The settings of a file, blob or JSON, that is read anew at each load; as in the product, none are loaded while a
    /// service shows its presence.
    explicit service_link(std::filesystem::path settings_file);

    [[nodiscard]] const std::shared_ptr<ScannerLink>& get() const noexcept { return link_; }
    /// A connection was asked for and could not be had, once or more.
    [[nodiscard]] bool refused() const noexcept { return *refused_; }

private:
    service_link(std::function<SettingsBroker::Bytes()> settings, std::shared_ptr<const PresenceProbe> presence);

    std::shared_ptr<std::atomic<bool>> refused_ = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<ScannerLink> link_;
};

} // namespace host
