#include "client/broker/broker_config.h"

#include "client/model/registry_key.h"

#include <stdexcept>
#include <utility>

namespace host {

namespace {

/// Opens the user's key if it exists, otherwise the machine's.
registry_key open_config()
{
    registry_key key = registry_key::open(HKEY_CURRENT_USER, broker_config_key);
    return key ? std::move(key) : registry_key::open(HKEY_LOCAL_MACHINE, broker_config_key);
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
    const registry_key key = open_config();
    config.settings_file = key.text(L"SettingsFile").value_or(std::wstring());
    config.answer = answer_of(key.text(L"Answer").value_or(std::wstring()));
    return config;
}

} // namespace host
