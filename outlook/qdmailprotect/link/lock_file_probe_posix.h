#pragma once

#include "outlook/qdmailprotect/link/presence_probe.h"
#include "tool/presence/lock_file_posix.h"

#include <vector>

/// Looks for a service that holds one of the lock files.
class LockFileProbe final : public PresenceProbe
{
public:
    explicit LockFileProbe(std::vector<presence::lock_place> places);

    /// Ignores a file that any user could have created.
    [[nodiscard]] bool IsServicePresent() const override;

private:
    std::vector<presence::lock_place> places_;
};
