#include "outlook/qdmailprotect/com/own_module.h"

#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"

namespace {

constexpr const char* SourcePath = "outlook\\qdmailprotect\\com\\own_module";
constexpr DWORD LongestPath = 0x8000;

} // namespace

HMODULE OwnModule() noexcept
{
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCWSTR>(&OwnModule), &module);
    return module;
}

std::wstring OwnModulePath()
{
    // The call truncates a path that is too long and indicates this by filling the buffer.
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = ::GetModuleFileNameW(OwnModule(), path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) {
            throw error::win32exception(::GetLastError(), SourcePath, __LINE__);
        }
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        if (path.size() > LongestPath) {
            throw error::win32exception(winapi::code::insufficient_buffer, SourcePath, __LINE__);
        }
        path.resize(path.size() * 2);
    }
}

std::wstring BesidePath(std::wstring_view path, std::wstring_view fileName)
{
    // Without a separator npos + 1 is 0, and no part of the path remains.
    return std::wstring(path.substr(0, path.find_last_of(L"\\/") + 1)).append(fileName);
}
