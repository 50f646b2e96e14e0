#pragma once

#include "service/presence/hold_presence.h"
#include "tool/presence/lock_file_posix.h"

namespace presence {

/// Holds the lock at one place. Creates folder and file if they do not exist.
class lock_holder final : public holder
{
public:
    /// Throws std::runtime_error.
    explicit lock_holder(const lock_place& place);

private:
    winapi::file_handle file_;
};

} // namespace presence
