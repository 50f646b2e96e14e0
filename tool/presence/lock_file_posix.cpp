#include "tool/presence/lock_file_posix.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace presence {

namespace {

constexpr const char* machine_folder = "/run/postwarden";
constexpr const char* file_name = "service.lock";
constexpr mode_t writable_by_others = S_IWGRP | S_IWOTH;

[[noreturn]] void refuse(const std::string& path, const std::string& why)
{
    throw std::runtime_error("the presence cannot be shown: " + path + ": " + why);
}

[[noreturn]] void refuse(const std::string& path, int code)
{
    refuse(path, std::string(std::strerror(code)));
}

const char* variable(const char* name)
{
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): nothing here changes the environment
    return value && *value == '/' ? value : nullptr;
}

lock_place user_place(uid_t user)
{
    const char* const runtime = variable("XDG_RUNTIME_DIR");
    const std::string base = runtime ? runtime : "/run/user/" + std::to_string(user);
    return {base + "/postwarden", user, false};
}

/// A file or folder that belongs to the owner or to root, and that nobody else may change.
bool is_trusted(int descriptor, const lock_place& place, mode_t type)
{
    struct stat facts = {};
    return ::fstat(descriptor, &facts) == 0 && (facts.st_mode & S_IFMT) == type &&
           (facts.st_uid == place.owner || facts.st_uid == 0) && (facts.st_mode & writable_by_others) == 0;
}

winapi::file_handle open_folder(const lock_place& place)
{
    return winapi::file_handle(::open(place.folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

struct flock whole_file(short type)
{
    struct flock wanted = {};
    wanted.l_type = type;
    wanted.l_whence = SEEK_SET;
    return wanted;
}

/// The folder, made when it is missing.
winapi::file_handle make_folder(const lock_place& place)
{
    const mode_t mode = place.shared ? 0755 : 0700;
    const bool made = ::mkdir(place.folder.c_str(), mode) == 0;
    if (!made && errno != EEXIST) {
        refuse(place.folder, errno);
    }
    winapi::file_handle folder = open_folder(place);
    if (!folder) {
        refuse(place.folder, errno);
    }
    if (!is_trusted(folder.get(), place, S_IFDIR)) {
        refuse(place.folder, "belongs to somebody else, or others may write to it");
    }
    if (made) {
        ::fchmod(folder.get(), mode); // whatever the process keeps from new files
    }
    return folder;
}

/// The file in that folder, made when it is missing.
winapi::file_handle make_file(const lock_place& place, const winapi::file_handle& folder)
{
    constexpr int how = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const mode_t mode = place.shared ? 0644 : 0600;
    winapi::file_handle file(::openat(folder.get(), file_name, how | O_CREAT | O_EXCL, mode));
    if (file) {
        ::fchmod(file.get(), mode);
    } else if (errno == EEXIST) {
        file.reset(::openat(folder.get(), file_name, how));
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

std::vector<lock_place> lock_places()
{
    const uid_t user = ::geteuid();
    if (const char* const chosen = variable("POSTWARDEN_RUNTIME_DIR")) {
        return {{chosen, user, false}};
    }
    std::vector<lock_place> places{{machine_folder, 0, true}};
    if (user != 0) {
        places.push_back(user_place(user));
    }
    return places;
}

lock_place own_lock_place()
{
    return lock_places().back();
}

std::string lock_path(const lock_place& place)
{
    return place.folder + "/" + file_name;
}

lock_state look_at(const lock_place& place)
{
    const winapi::file_handle folder = open_folder(place);
    if (!folder) {
        return errno == ENOENT || errno == EACCES ? lock_state::free : lock_state::untrusted;
    }
    const winapi::file_handle file(::openat(folder.get(), file_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file) {
        return errno == ENOENT ? lock_state::free : lock_state::untrusted;
    }
    if (!is_trusted(folder.get(), place, S_IFDIR) || !is_trusted(file.get(), place, S_IFREG)) {
        return lock_state::untrusted;
    }
    // Only a lock for writing stands against one for reading: who may just read the file can't pretend.
    struct flock other = whole_file(F_RDLCK);
    return ::fcntl(file.get(), F_OFD_GETLK, &other) == 0 && other.l_type == F_WRLCK ? lock_state::held
                                                                                    : lock_state::free;
}

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
