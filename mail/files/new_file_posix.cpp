#include "mail/files/new_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>

namespace host {

namespace {

[[noreturn]] void refuse(int error)
{
    throw std::runtime_error(std::generic_category().message(error));
}

} // namespace

bool make_new_file(const std::filesystem::path& file)
{
    std::FILE* made = std::fopen(file.c_str(), "wx");
    if (!made) {
        if (errno != EEXIST) {
            refuse(errno);
        }
        return false;
    }
    static_cast<void>(std::fclose(made)); // nothing was written
    return true;
}

bool rename_to_new(const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno == EEXIST) {
        return false;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        refuse(errno);
    }
    // A file system without this operation: the name is taken by an empty file first.
    if (!make_new_file(to)) {
        return false;
    }
    if (::rename(from.c_str(), to.c_str()) != 0) {
        const int error = errno;
        static_cast<void>(::unlink(to.c_str())); // it is empty
        refuse(error);
    }
    return true;
}

std::filesystem::path make_private_folder()
{
    std::string name = (std::filesystem::temp_directory_path() / "postwarden-XXXXXX").string();
    if (!::mkdtemp(name.data())) {
        refuse(errno);
    }
    return name;
}

} // namespace host
