#include "outlook/qdmailprotect/check/check_switches.h"

#include "logging/logging.h"
#include "tool/system/conversions.h"
#include "tool/system/registry.h"

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace {

bool IsOn(std::wstring_view name)
{
    try {
        const std::uint32_t value =
            winapi::local_machine().number_value(winapi::registry_names::environment_key, name).value_or(0);
        if (value != 0) {
            LOG_LINE(logging::outlook_log(), 500,
                     "Additions params - " << winapi::conv_to_char(std::wstring(name)) << " = " << value);
        }
        return value != 0;
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace

CheckSwitches ReadCheckSwitches()
{
    CheckSwitches switches;
    switches.hardenedScanning = IsOn(winapi::registry_names::hardened_scanning);
    switches.rescanOnNewSignatures = IsOn(winapi::registry_names::rescan_on_new_signatures);
    return switches;
}
