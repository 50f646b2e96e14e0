#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <array>
#include <cstdio>
#include <string>

namespace test {

/// Returns an identifier as in a registry, without braces: "00020307-0000-0000-C000-000000000046".
inline std::string identifier_text(const GUID& identifier)
{
    std::array<char, 37> text{};
    const auto& tail = identifier.Data4;
    std::snprintf(text.data(), text.size(), "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X",
                  static_cast<unsigned>(identifier.Data1), identifier.Data2, identifier.Data3, tail[0], tail[1],
                  tail[2], tail[3], tail[4], tail[5], tail[6], tail[7]);
    return text.data();
}

} // namespace test
