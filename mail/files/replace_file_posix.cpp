#include "mail/files/replace_file.h"

#include <platform/handles.h>

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace host::replacing {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const char* what, const fs::path& file)
{
    throw fs::filesystem_error(what, file, std::error_code(errno, std::generic_category()));
}

winapi::file_handle open(const fs::path& file, int flags)
{
    return winapi::file_handle(::open(file.c_str(), flags | O_CLOEXEC, 0666));
}

} // namespace

bool create(const fs::path& file)
{
    const auto made = open(file, O_CREAT | O_EXCL | O_WRONLY);
    if (!made && errno != EEXIST) {
        fail("cannot make a file", file);
    }
    return static_cast<bool>(made);
}

bool is_writable(const fs::path& file)
{
    return ::faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) == 0;
}

void sync(const fs::path& file)
{
    const auto opened = open(file, O_RDONLY);
    if (!opened || ::fsync(opened.get()) != 0) {
        fail("cannot write", file);
    }
}

void rename(const fs::path& from, const fs::path& to)
{
    fs::rename(from, to);
    // The rename is complete. A file system that cannot sync a folder writes it at its own time.
    const fs::path folder = to.parent_path();
    const auto opened = open(folder.empty() ? fs::path(".") : folder, O_RDONLY | O_DIRECTORY);
    if (opened) {
        ::fsync(opened.get());
    }
}

} // namespace host::replacing
