#pragma once

#include "settings/web_traffic_monitor_settings.h"

namespace DOVA::Settings {

/// Throws SettingsJsonError with the full name of a setting whose value or default the product cannot use: a port that
/// is none, or a path that cannot be part of a request.
void ExpectWithinLimits(const WebTrafficMonitorSettings& settings);

} // namespace DOVA::Settings
