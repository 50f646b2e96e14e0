#include "service/presence/lock_holder_posix.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace presence {

namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& why)
{
    throw std::runtime_error("the presence cannot be shown: " + path + ": " + why);
}

[[noreturn]] void refuse(const std::string& path, int code)
{
    refuse(path, std::string(std::strerror(code)));
}

/// Opens the folder. Creates it if it does not exist.
winapi::file_handle make_folder(const lock_place& place)
{
    const mode_t mode = place.shared ? 0755 : 0700;
    const bool made = ::mkdir(place.folder.c_str(), mode) == 0;
    if (!made && errno != EEXIST) {
        refuse(place.folder, errno);
    }
    winapi::file_handle folder = open_lock_folder(place);
    if (!folder) {
        refuse(place.folder, errno);
    }
    if (!is_trusted(folder.get(), place, S_IFDIR)) {
        refuse(place.folder, "belongs to somebody else, or others may write to it");
    }
    if (made) {
        ::fchmod(folder.get(), mode); // regardless of the umask of the process
    }
    return folder;
}

/// Opens the file in that folder. Creates it if it does not exist.
winapi::file_handle make_file(const lock_place& place, const winapi::file_handle& folder)
{
    constexpr int how = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const mode_t mode = place.shared ? 0644 : 0600;
    winapi::file_handle file(::openat(folder.get(), lock_file_name, how | O_CREAT | O_EXCL, mode));
    if (file) {
        ::fchmod(file.get(), mode);
    } else if (errno == EEXIST) {
        file.reset(::openat(folder.get(), lock_file_name, how));
    }
    if (!file) {
        refuse(lock_path(place), errno);
    }
    if (!is_trusted(file.get(), place, S_IFREG)) {
        refuse(lock_path(place), "belongs to somebody else, or others may write to it");
    }
    return file;
}

} // namespace

lock_holder::lock_holder(const lock_place& place)
{
    winapi::file_handle file = make_file(place, make_folder(place));
    struct flock wanted = whole_file(F_WRLCK);
    if (::fcntl(file.get(), F_OFD_SETLK, &wanted) != 0) {
        if (errno == EAGAIN || errno == EACCES) {
            refuse(lock_path(place), "another service holds it");
        }
        refuse(lock_path(place), errno);
    }
    file_ = std::move(file);
}

} // namespace presence
