#pragma once

#include <string>

namespace host {

/// Configuration of the stand-in broker. It is stored in the registry under "Software\postwarden\Broker", for the user
/// if that key exists, otherwise for the machine: the string values "SettingsFile" and "Answer".
struct broker_config
{
    enum class answer_kind
    {
        bytes,      ///< the bytes of the file
        text,       ///< a text instead of the bytes ("wrong-type")
        failed_call ///< no result: the call fails ("failure")
    };

    std::wstring settings_file;
    answer_kind answer = answer_kind::bytes;
};

inline constexpr const wchar_t* broker_config_key = L"Software\\postwarden\\Broker";

/// Reads the current configuration; without one, the file is empty. Throws std::runtime_error if "Answer" has an
/// unknown value.
[[nodiscard]] broker_config read_broker_config();

} // namespace host
