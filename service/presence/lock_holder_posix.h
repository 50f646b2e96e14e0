#pragma once

#include "service/presence/hold_presence.h"
#include "tool/presence/lock_file_posix.h"

namespace presence {

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
