#include "broker/machine_configuration.h"

#include "tool/system/errors.h"
#include "tool/system/registry.h"

namespace broker {

namespace {

std::optional<std::wstring> text_of(const wchar_t* name)
{
    try {
        return winapi::local_machine().string_value(configuration_key, name);
    } catch (const error::win32exception&) {
        return {}; // no text
    }
}

} // namespace

std::optional<std::wstring> configured_file()
{
    return text_of(settings_file_name);
}

access_rules configured_rules()
{
    return access_rules(accounts_in(text_of(trusted_accounts_name).value_or(std::wstring())));
}

} // namespace broker
