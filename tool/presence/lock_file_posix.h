#pragma once

#include "tool/presence/hold_presence.h"

#include <platform/handles.h>

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

/// Holds the lock of one place, making folder and file where they are missing.
class lock_holder final : public holder
{
public:
    /// Raises std::runtime_error.
    explicit lock_holder(const lock_place& place);

private:
    winapi::file_handle file_;
};

} // namespace presence
