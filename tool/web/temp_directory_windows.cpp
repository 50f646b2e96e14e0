#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"
#include "tool/web/body_store.h"

#include <windows.h>

#include <array>

namespace web {

std::wstring system_temp_directory()
{
    std::array<wchar_t, MAX_PATH + 1> directory{};
    const DWORD length = ::GetTempPathW(static_cast<DWORD>(directory.size()), directory.data());
    if (length == 0 || length >= directory.size()) {
        const std::uint32_t code = length == 0 ? ::GetLastError() : winapi::code::insufficient_buffer;
        throw error::win32exception(code, "tool\\web\\io_file", __LINE__);
    }
    return with_separator(directory.data());
}

std::wstring with_separator(std::wstring directory)
{
    if (directory.empty() || (directory.back() != L'\\' && directory.back() != L'/')) {
        directory.push_back(L'\\');
    }
    return directory;
}

} // namespace web
