#include "mail/files/new_file.h"

#include <platform/handles.h>

#include <stdexcept>
#include <string>
#include <system_error>

namespace host {

namespace {

[[noreturn]] void refuse(DWORD error)
{
    throw std::runtime_error(std::system_category().message(static_cast<int>(error)));
}

} // namespace

bool make_new_file(const std::filesystem::path& file)
{
    const winapi::file_handle made(
        CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!made) {
        const DWORD error = GetLastError();
        if (error != ERROR_FILE_EXISTS && error != ERROR_ALREADY_EXISTS) {
            refuse(error);
        }
        return false;
    }
    return true;
}

bool rename_to_new(const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH) != 0) {
        return true;
    }
    const DWORD error = GetLastError();
    if (error != ERROR_FILE_EXISTS && error != ERROR_ALREADY_EXISTS) {
        refuse(error);
    }
    return false;
}

std::filesystem::path make_private_folder()
{
    // The folder for temporary files belongs to the user.
    const std::wstring begin =
        (std::filesystem::temp_directory_path() / (L"postwarden-" + std::to_wstring(GetCurrentProcessId()))).wstring();
    for (int number = 1;; ++number) {
        const std::wstring name = begin + L"-" + std::to_wstring(number);
        if (CreateDirectoryW(name.c_str(), nullptr) != 0) {
            return name;
        }
        if (const DWORD error = GetLastError(); error != ERROR_ALREADY_EXISTS) {
            refuse(error);
        }
    }
}

} // namespace host
