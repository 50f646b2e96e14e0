#pragma once

#include "tool/system/errors.h"

#include <cstdint>
#include <source_location>
#include <string_view>

namespace web {

/// Raises a failed socket operation with the line that it was found at.
[[noreturn]] inline void raise_socket_error(std::uint32_t code, std::string_view text = {},
                                            std::source_location where = std::source_location::current())
{
    throw error::win32exception(code, "tool\\wproxy\\socket", static_cast<int>(where.line()), text);
}

} // namespace web
