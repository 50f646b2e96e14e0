#include "tool/system/win32_codes.h"

namespace winapi {

namespace {
thread_local std::uint32_t thread_code = 0;
} // namespace

std::uint32_t last_error_code() noexcept
{
    return thread_code;
}

void last_error_code(std::uint32_t code) noexcept
{
    thread_code = code;
}

} // namespace winapi
