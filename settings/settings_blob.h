#pragma once

#include "settings/web_traffic_monitor_settings.h"

#include <cstdint>
#include <span>
#include <vector>

namespace DOVA::Settings {

/// Reads the record that the product's broker returns. A field that the blob's version does not have gets its default.
/// Throws cctool::Serialization::InvalidDataError and its subclasses for bytes that are not such a blob,
/// IncompatibleVersionError for a record of another major version, std::length_error and std::bad_alloc; all derive
/// from std::exception.
[[nodiscard]] WebTrafficMonitorSettings SettingsFromBlob(std::span<const std::uint8_t> blob);

/// Returns the record as a blob of the latest layout.
[[nodiscard]] std::vector<std::uint8_t> BlobFromSettings(const WebTrafficMonitorSettings& settings);

} // namespace DOVA::Settings
