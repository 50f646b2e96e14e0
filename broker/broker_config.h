#pragma once

#include <string>

namespace host {

/// How the stand-in broker answers. It stands in the registry under "Software\postwarden\Broker", the user's if there
/// is one, else the machine's: the string values "SettingsFile" and "Answer".
struct broker_config
{
    enum class answer_kind
    {
        bytes,      ///< the file's bytes
        text,       ///< a text in the place of the bytes ("wrong-type")
        failed_call ///< no answer: the call fails ("failure")
    };

    std::wstring settings_file;
    answer_kind answer = answer_kind::bytes;
};

inline constexpr const wchar_t* broker_config_key = L"Software\\postwarden\\Broker";

/// The configuration as it now stands; no file when there is none. Raises std::runtime_error for an "Answer" that means
/// nothing.
[[nodiscard]] broker_config read_broker_config();

} // namespace host
