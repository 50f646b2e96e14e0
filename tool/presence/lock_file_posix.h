#pragma once

#include <platform/handles.h>

#include <fcntl.h>
#include <string>
#include <sys/types.h>
#include <vector>

/// The sign that the service runs where there are no private namespaces: a lock on a file. The lock is one for writing
/// of an open file description, so that only who may write the file can hold it, and it ends with its holder. The file
/// and its folder must belong to the one who is trusted, and nobody else may write to them; no link is followed.
namespace presence {

/// A folder for the lock file.
struct lock_place
{
    std::string folder;
    uid_t owner = 0;     ///< to whom folder and file must belong; root's are good everywhere
    bool shared = false; ///< everyone may look
};

enum class lock_state
{
    free,     ///< no file, or nobody holds it
    held,     ///< a service runs
    untrusted ///< the file or its folder belongs to somebody else, or others may write to it
};

/// Where this process looks: the machine's place (/run/postwarden, root's), and the user's own below XDG_RUNTIME_DIR or
/// /run/user/UID. POSTWARDEN_RUNTIME_DIR names one folder in the place of both.
[[nodiscard]] std::vector<lock_place> lock_places();

/// Where this process would hold: the last of lock_places(), so root holds the machine's and a user his own.
[[nodiscard]] lock_place own_lock_place();

[[nodiscard]] std::string lock_path(const lock_place& place);

/// Looks without touching the lock.
[[nodiscard]] lock_state look_at(const lock_place& place);

// What the reader of the lock and its holder have in common.

inline constexpr const char* lock_file_name = "service.lock";

/// True for an open file or folder of the type `type` (S_IFREG, S_IFDIR) that belongs to the owner of `place` or to
/// root and that nobody else may change.
[[nodiscard]] bool is_trusted(int descriptor, const lock_place& place, mode_t type);

/// Opens the folder; no handle, and errno, when it can't be opened. Follows no link.
[[nodiscard]] winapi::file_handle open_lock_folder(const lock_place& place);

/// A lock of that type (F_RDLCK, F_WRLCK) over the whole file.
[[nodiscard]] struct flock whole_file(short type);

} // namespace presence
