#pragma once

#include "settings/web_traffic_monitor_settings.h"

#include <cstdint>
#include <span>
#include <vector>

namespace DOVA::Settings {

/// Reads the record that the product's broker gives. What the blob's version does not have yet has its default. Raises
/// cctool::Serialization::InvalidDataError and its subclasses for what is no such blob, IncompatibleVersionError for a
/// record of another major version, std::length_error and std::bad_alloc; all are std::exception.
[[nodiscard]] WebTrafficMonitorSettings SettingsFromBlob(std::span<const std::uint8_t> blob);

/// The record as a blob of the latest layout.
[[nodiscard]] std::vector<std::uint8_t> BlobFromSettings(const WebTrafficMonitorSettings& settings);

} // namespace DOVA::Settings
