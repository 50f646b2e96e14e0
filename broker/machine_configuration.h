#pragma once

#include "broker/access_rules.h"

#include <optional>
#include <string>

namespace broker {

/// The machine's configuration of the broker, below HKEY_LOCAL_MACHINE.
inline constexpr const wchar_t* configuration_key = L"SOFTWARE\\MorvelaneLab\\postwarden\\Broker";
inline constexpr const wchar_t* settings_file_name = L"SettingsFile";       ///< absolute path of the settings
inline constexpr const wchar_t* trusted_accounts_name = L"TrustedAccounts"; ///< who else may change them; accounts_in

/// Returns the path of the settings, nothing if none is specified.
[[nodiscard]] std::optional<std::wstring> configured_file();
/// Returns the rules for the file, which trust the accounts of the configuration too.
[[nodiscard]] access_rules configured_rules();

} // namespace broker
