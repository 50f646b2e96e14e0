#pragma once

#include <array>
#include <cstdint>

/// The names of the service's mutex. The mutex is in a private namespace that the service makes, and the namespace is
/// opened with the boundary that it was made with, so that no other program can take the name.
namespace presence {

inline constexpr const wchar_t* boundary_name = L"g004213BE_CFF9_4BE9_AC4D_0B99C1FD766D";
inline constexpr const wchar_t* namespace_alias = L"TRAL";
inline constexpr const wchar_t* mutex_name = L"TRAL\\ServiceMutex";

/// A security identifier with one subauthority, in the system's layout: revision, count, authority (the highest byte
/// first), subauthority (the lowest byte first).
struct alignas(std::uint32_t) sid
{
    std::array<std::uint8_t, 12> bytes{};
    friend constexpr bool operator==(const sid&, const sid&) = default;
};

/// Returns S-1-AUTHORITY-SUBAUTHORITY; both must be below 256.
constexpr sid make_sid(std::uint8_t authority, std::uint8_t subauthority)
{
    return {{1, 1, 0, 0, 0, 0, 0, authority, subauthority, 0, 0, 0}};
}

inline constexpr sid local_system_sid = make_sid(5, 18); ///< S-1-5-18, of SECURITY_NT_AUTHORITY
inline constexpr sid everyone_sid = make_sid(1, 0);      ///< S-1-1-0, of SECURITY_WORLD_SID_AUTHORITY

} // namespace presence
