#include "mail/files/replace_file.h"

#include <platform/handles.h>
#include <windows.h>

#include <system_error>

namespace host::replacing {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const char* what, const fs::path& file)
{
    throw fs::filesystem_error(what, file, std::error_code(static_cast<int>(GetLastError()), std::system_category()));
}

} // namespace

bool create(const fs::path& file)
{
    const winapi::file_handle made(
        CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!made && GetLastError() != ERROR_FILE_EXISTS) {
        fail("cannot make a file", file);
    }
    return static_cast<bool>(made);
}

bool is_writable(const fs::path& file)
{
    const DWORD attributes = GetFileAttributesW(file.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) == 0;
}

void sync(const fs::path& file)
{
    const winapi::file_handle opened(CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                                 FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!opened || !FlushFileBuffers(opened.get())) {
        fail("cannot write", file);
    }
}

void rename(const fs::path& from, const fs::path& to)
{
    if (!MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        fail("cannot rename", to);
    }
}

} // namespace host::replacing
