#include "host/broker/broker_config.h"

#include <platform/handles.h>

#include <optional>
#include <stdexcept>

namespace host {

namespace {

/// A string value; nothing when it is absent.
std::optional<std::wstring> text_of(HKEY key, const wchar_t* name)
{
    DWORD size = 0;
    if (::RegGetValueW(key, nullptr, name, RRF_RT_REG_SZ, nullptr, nullptr, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    std::wstring text(size / sizeof(wchar_t), L'\0');
    if (::RegGetValueW(key, nullptr, name, RRF_RT_REG_SZ, nullptr, text.data(), &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    text.resize(text.find(L'\0'));
    return text;
}

winapi::registry_handle open_config()
{
    winapi::registry_handle key;
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        if (::RegOpenKeyExW(root, broker_config_key, 0, KEY_READ, key.put()) == ERROR_SUCCESS) {
            return key;
        }
    }
    return {};
}

broker_config::answer_kind answer_of(const std::wstring& word)
{
    if (word.empty() || word == L"bytes") {
        return broker_config::answer_kind::bytes;
    }
    if (word == L"wrong-type") {
        return broker_config::answer_kind::text;
    }
    if (word == L"failure") {
        return broker_config::answer_kind::failed_call;
    }
    throw std::runtime_error("the broker's \"Answer\" is none of bytes, wrong-type, failure");
}

} // namespace

broker_config read_broker_config()
{
    broker_config config;
    if (const winapi::registry_handle key = open_config()) {
        config.settings_file = text_of(key.get(), L"SettingsFile").value_or(L"");
        config.answer = answer_of(text_of(key.get(), L"Answer").value_or(L""));
    }
    return config;
}

} // namespace host
