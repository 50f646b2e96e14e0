#pragma once

#include <csignal>

namespace host {

/// Returns true if the process ignores a signal, as programs do that were started so.
inline bool is_ignored(int signal) noexcept
{
    struct sigaction present = {};
    return sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

} // namespace host
