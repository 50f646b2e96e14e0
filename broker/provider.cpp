#include "broker/provider.h"

#include "broker/broker_registration.h"
#include "broker/kept_settings.h"
#include "broker/machine_configuration.h"
#include "broker/protected_file.h"
#include "events/source.h"

#include <string>
#include <utility>
#include <vector>

namespace broker {

namespace {

constexpr std::size_t largest = 1U << 20U; // bytes

kept_settings::contents configured_settings()
{
    const auto path = configured_file();
    if (!path) {
        throw unusable_file(unusable_file::fault::unreadable,
                            std::wstring(L"HKLM\\") + configuration_key + L" has no text " + settings_file_name);
    }
    return {*path, read_protected_file(*path, configured_rules(), largest)};
}

/// Opens the source for each record: they are rare, and nothing is left to be closed when the process ends.
class event_log final : public events::sink
{
public:
    void report(events::severity kind, std::uint32_t id, std::vector<std::wstring> texts) noexcept override
    {
        try {
            events::source(event_source).report(kind, id, std::move(texts));
        } catch (...) {
            return; // a record that cannot be written must not reach the add-in
        }
    }
};

kept_settings& of_process()
{
    static event_log log;
    static kept_settings kept(configured_settings, log);
    return kept;
}

/// Keeps this module, and with it the settings, until the process ends.
void stay_in_memory() noexcept
{
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                         reinterpret_cast<LPCWSTR>(&stay_in_memory), &module);
}

HRESULT settings_of_machine(VARIANT& value)
{
    const auto blob = of_process().current();
    if (!blob) {
        return HRESULT_FROM_WIN32(ERROR_INVALID_DATA);
    }
    stay_in_memory();
    return put_bytes(*blob, value);
}

} // namespace

provider::provider()
    : settings_object(settings_of_machine)
{}

} // namespace broker
