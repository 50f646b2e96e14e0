#pragma once

#include "tool/system/unique_handle.h"

#include <winsock2.h> // includes windows.h, without the old socket declarations

namespace winapi {

/// Preserves the thread's last error during a call that closes a handle.
class last_error_keeper
{
public:
    last_error_keeper() noexcept
        : code_(::GetLastError())
    {}
    last_error_keeper(const last_error_keeper&) = delete;
    last_error_keeper& operator=(const last_error_keeper&) = delete;
    ~last_error_keeper() { ::SetLastError(code_); }

private:
    DWORD code_;
};

/// Events, mutexes, threads, mappings, ports: null if invalid.
struct kernel_handle_traits
{
    using type = HANDLE;
    static type invalid() noexcept { return nullptr; }
    static void close(type handle) noexcept
    {
        const last_error_keeper keeper;
        ::CloseHandle(handle);
    }
};
using kernel_handle = unique_handle<kernel_handle_traits>;

/// Files: INVALID_HANDLE_VALUE if invalid.
struct file_handle_traits
{
    using type = HANDLE;
    static type invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void close(type handle) noexcept
    {
        const last_error_keeper keeper;
        ::CloseHandle(handle);
    }
};
using file_handle = unique_handle<file_handle_traits>;

/// Open registry keys.
struct registry_handle_traits
{
    using type = HKEY;
    static type invalid() noexcept { return nullptr; }
    static void close(type handle) noexcept
    {
        const last_error_keeper keeper;
        ::RegCloseKey(handle);
    }
};
using registry_handle = unique_handle<registry_handle_traits>;

/// Loaded modules.
struct module_handle_traits
{
    using type = HMODULE;
    static type invalid() noexcept { return nullptr; }
    static void close(type handle) noexcept
    {
        const last_error_keeper keeper;
        ::FreeLibrary(handle);
    }
};
using module_handle = unique_handle<module_handle_traits>;

} // namespace winapi
