#include "doctor/program_files_windows.h"

#include "tool/system/conversions.h"

#include <platform/handles.h>

#include <cstddef>
#include <vector>

namespace doctor {

namespace {

std::string version_of(const std::wstring& path)
{
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
    std::vector<std::byte> resource(size);
    void* place = nullptr;
    UINT length = 0;
    if (size == 0 || GetFileVersionInfoW(path.c_str(), 0, size, resource.data()) == 0 ||
        VerQueryValueW(resource.data(), L"\\", &place, &length) == 0 || length < sizeof(VS_FIXEDFILEINFO)) {
        return {};
    }
    const auto& fixed = *static_cast<const VS_FIXEDFILEINFO*>(place);
    return std::to_string(HIWORD(fixed.dwFileVersionMS)) + "." + std::to_string(LOWORD(fixed.dwFileVersionMS)) + "." +
           std::to_string(HIWORD(fixed.dwFileVersionLS)) + "." + std::to_string(LOWORD(fixed.dwFileVersionLS));
}

} // namespace

program_file system_program_files::look(const std::string& path)
{
    const std::wstring wide = winapi::conv_to_wide(path, winapi::code_page_utf8);
    const DWORD attributes = GetFileAttributesW(wide.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return {};
    }
    return {true, machine_in(path), version_of(wide)};
}

} // namespace doctor
