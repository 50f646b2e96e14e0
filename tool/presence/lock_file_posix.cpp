#include "tool/presence/lock_file_posix.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace presence {

namespace {

constexpr const char* machine_folder = "/run/postwarden";
constexpr mode_t writable_by_others = S_IWGRP | S_IWOTH;

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
    return place.folder + "/" + lock_file_name;
}

bool is_trusted(int descriptor, const lock_place& place, mode_t type)
{
    struct stat facts = {};
    return ::fstat(descriptor, &facts) == 0 && (facts.st_mode & S_IFMT) == type &&
           (facts.st_uid == place.owner || facts.st_uid == 0) && (facts.st_mode & writable_by_others) == 0;
}

winapi::file_handle open_lock_folder(const lock_place& place)
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

lock_state look_at(const lock_place& place)
{
    const winapi::file_handle folder = open_lock_folder(place);
    if (!folder) {
        return errno == ENOENT || errno == EACCES ? lock_state::free : lock_state::untrusted;
    }
    const winapi::file_handle file(
        ::openat(folder.get(), lock_file_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file) {
        return errno == ENOENT ? lock_state::free : lock_state::untrusted;
    }
    if (!is_trusted(folder.get(), place, S_IFDIR) || !is_trusted(file.get(), place, S_IFREG)) {
        return lock_state::untrusted;
    }
    // Only a lock for writing conflicts with one for reading: a process that may only read the file cannot pretend to
    // hold it.
    struct flock other = whole_file(F_RDLCK);
    return ::fcntl(file.get(), F_OFD_GETLK, &other) == 0 && other.l_type == F_WRLCK ? lock_state::held
                                                                                    : lock_state::free;
}

} // namespace presence
