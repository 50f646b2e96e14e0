#pragma once

#include "settings/setting.h"

#include <cstdint>
#include <string>

namespace DOVA::Settings {

/// The fields of the product's web traffic monitor record that a check reads, with their defaults.
struct WebTrafficMonitorSettings
{
    Setting<bool> UseSizeLimit{true};
    Setting<std::uint32_t> SizeLimit{0x1400000}; ///< bytes
    Setting<std::uint32_t> ServerPort{1345};
    Setting<std::wstring> Uri{L"webscan"}; ///< service path without the leading "/"
    Setting<bool> UseOutlookPlugin{true};
    Setting<bool> BlockExecInAttach{true};

    bool operator==(const WebTrafficMonitorSettings&) const = default;
};

} // namespace DOVA::Settings
