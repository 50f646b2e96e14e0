#pragma once

#include <cstdint>

namespace cctool::Serialization {

/// The address of a value in a container. Only `id` is the key; `name` is used in error messages.
struct TagId
{
    std::uint32_t id;
    const wchar_t* name; ///< text of static storage; may be null
};

/// The tag of the version, with which every serialised record begins.
inline constexpr TagId version_info_tag{0xFF00, L"__VersionInfo"};

} // namespace cctool::Serialization
