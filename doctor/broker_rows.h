#pragma once

#include "doctor/row.h"
#include "outlook/qdmailprotect/link/settings_broker.h"
#include "settings/web_traffic_monitor_settings.h"

#include <optional>
#include <string>

namespace doctor {

/// What the product's settings broker answered.
struct broker_answer
{
    std::optional<DOVA::Settings::WebTrafficMonitorSettings> settings;
    std::string failure; ///< in words; empty if there are settings
};

/// Asks a broker as the mail add-in does. Does not throw.
[[nodiscard]] broker_answer ask(SettingsBroker& broker);

/// Whether the broker answers.
[[nodiscard]] finding broker_row(const broker_answer& answer);
/// The settings in force, and what they switch off.
[[nodiscard]] finding settings_row(const broker_answer& answer);

} // namespace doctor
