#include "mail/files/new_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <system_error>

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

std::filesystem::path make_private_folder()
{
    std::string name = (std::filesystem::temp_directory_path() / "postwarden-XXXXXX").string();
    if (!::mkdtemp(name.data())) {
        refuse(errno);
    }
    return name;
}

} // namespace host
