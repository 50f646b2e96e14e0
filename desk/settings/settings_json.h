#pragma once

#include "settings/web_traffic_monitor_settings.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace DOVA::Settings {

/// JSON that is no settings record. The text begins with the full name of the field that is wrong, such as
/// "UrlRules.value[2].Type: ", or with the line and column where the JSON itself breaks off.
class SettingsJsonError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The record as JSON for people, UTF-8: one object with the fields in the order of the record. A setting is an object
/// of "default", "value", "isSet" and "effective". An unpaired surrogate of a text becomes U+FFFD.
[[nodiscard]] std::string JsonFromSettings(const WebTrafficMonitorSettings& settings);

/// Reads that form. Fields and parts that are missing have their defaults; "effective" must have the right type and is
/// otherwise passed over, since it follows from the other parts. Unknown names, names that stand twice, wrong types
/// and numbers out of range raise SettingsJsonError.
[[nodiscard]] WebTrafficMonitorSettings SettingsFromJson(std::string_view json);

/// One setting as text, lists and records in compact JSON.
struct SettingText
{
    std::string name; ///< the full name, such as "Base.ScanType"
    std::string default_;
    std::string value;
    bool isSet;
    std::string effective;
    bool readByAddin;
};

/// All settings in the order of the record.
[[nodiscard]] std::vector<SettingText> TextsOf(const WebTrafficMonitorSettings& settings);

} // namespace DOVA::Settings
