#pragma once

#include "tool/system/errors.h"

#include <cstdint>
#include <string_view>

namespace web {

/// Throws the exception of a failed socket operation, with the source line of the call.
[[noreturn]] inline void raise_socket_error(std::uint32_t code, std::string_view text = {}, int line = __builtin_LINE())
{
    throw error::win32exception(code, "tool\\wproxy\\socket", line, text);
}

} // namespace web
