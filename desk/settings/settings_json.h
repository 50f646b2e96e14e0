#pragma once

#include "settings/web_traffic_monitor_settings.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace DOVA::Settings {

/// JSON that is not a settings record. The text begins with the full name of the invalid field, such as
/// "UrlRules.value[2].Type: ", or with the line and column of a syntax error.
class SettingsJsonError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Converts the record to readable JSON, UTF-8: one object with the fields in the order of the record. A setting is an
/// object of "default", "value", "isSet" and "effective". An unpaired surrogate in a text becomes U+FFFD.
[[nodiscard]] std::string JsonFromSettings(const WebTrafficMonitorSettings& settings);

/// Parses that form. Missing fields and parts take their defaults. "effective" must have the right type and is
/// otherwise ignored, since it follows from the other parts. Unknown names, duplicate names, wrong types and numbers
/// out of range throw SettingsJsonError.
[[nodiscard]] WebTrafficMonitorSettings SettingsFromJson(std::string_view json);

/// One setting as text; lists and records in compact JSON.
struct SettingText
{
    std::string name; ///< the full name, such as "Base.ScanType"
    std::string default_;
    std::string value;
    bool isSet;
    std::string effective;
    bool readByAddin;
};

/// Returns all settings in the order of the record.
[[nodiscard]] std::vector<SettingText> TextsOf(const WebTrafficMonitorSettings& settings);

} // namespace DOVA::Settings
