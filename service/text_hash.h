#pragma once

#include <cstdint>
#include <string_view>

namespace service {

/// Returns a short number for any text (FNV-1a). Texts that an attacker chooses may have the same number.
[[nodiscard]] constexpr std::uint64_t text_hash(std::string_view text) noexcept
{
    std::uint64_t value = 0xCBF29CE484222325U;
    for (const char byte : text) {
        value = (value ^ static_cast<unsigned char>(byte)) * 0x100000001B3U;
    }
    return value;
}

} // namespace service
