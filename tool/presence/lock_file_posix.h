#pragma once

#include <platform/handles.h>

#include <fcntl.h>
#include <string>
#include <sys/types.h>
#include <vector>

/// The sign that the service runs, on systems without private namespaces: a lock on a file. It is a lock for writing of
/// an open file description, so that only a process that may write the file can hold it, and it ends with its holder.
/// The file and its folder must belong to the trusted user, and no other user may write to them; no link is followed.
namespace presence {

/// A folder for the lock file.
struct lock_place
{
    std::string folder;
    uid_t owner = 0;     ///< owner of folder and file; root is accepted everywhere
    bool shared = false; ///< all users may read
};

enum class lock_state
{
    free,     ///< there is no file, or the lock is not held
    held,     ///< a service runs
    untrusted ///< the file or its folder belongs to another user, or other users may write to it
};

/// Returns the places that this process checks: the machine's place (/run/postwarden, root's), and the user's own below
/// XDG_RUNTIME_DIR or /run/user/UID. POSTWARDEN_RUNTIME_DIR specifies one folder instead of both.
[[nodiscard]] std::vector<lock_place> lock_places();

/// Returns the place in which this process would hold the lock: the last of lock_places(), so root uses the machine's
/// place and any other user their own.
[[nodiscard]] lock_place own_lock_place();

[[nodiscard]] std::string lock_path(const lock_place& place);

/// Checks the lock without changing it.
[[nodiscard]] lock_state look_at(const lock_place& place);

// The functions that the reader of the lock and its holder share.

inline constexpr const char* lock_file_name = "service.lock";

/// Returns true for an open file or folder of the type `type` (S_IFREG, S_IFDIR) that belongs to the owner of `place`
/// or to root and that no other user may change.
[[nodiscard]] bool is_trusted(int descriptor, const lock_place& place, mode_t type);

/// Opens the folder. Returns no handle, and sets errno, if it cannot be opened. Follows no link.
[[nodiscard]] winapi::file_handle open_lock_folder(const lock_place& place);

/// Returns a lock of that type (F_RDLCK, F_WRLCK) over the whole file.
[[nodiscard]] struct flock whole_file(short type);

} // namespace presence
