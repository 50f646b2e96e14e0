#pragma once

#include "tool/system/unique_handle.h"

#include <cerrno>
#include <unistd.h>

namespace winapi {

/// File descriptors of any kind: -1 if invalid.
struct file_handle_traits
{
    using type = int;
    static type invalid() noexcept { return -1; }
    static void close(type handle) noexcept
    {
        const int error = errno;
        ::close(handle);
        errno = error;
    }
};
using file_handle = unique_handle<file_handle_traits>;

} // namespace winapi
