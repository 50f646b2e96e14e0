#include "tool/system/win32_codes.h"

#include <windows.h>

namespace winapi {

std::uint32_t last_error_code() noexcept
{
    return ::GetLastError();
}

void last_error_code(std::uint32_t code) noexcept
{
    ::SetLastError(code);
}

} // namespace winapi
