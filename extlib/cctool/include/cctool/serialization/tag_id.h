#pragma once

#include <cstdint>

namespace cctool::Serialization {

/// The address of a value in a container. Containers are keyed on `id` alone; `name` serves error messages.
struct TagId
{
    std::uint32_t id;
    const wchar_t* name; ///< text of static storage; may be null
};

/// The tag under which every serialised record opens with its version.
inline constexpr TagId version_info_tag{0xFF00, L"__VersionInfo"};

} // namespace cctool::Serialization
