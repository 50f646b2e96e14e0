#include "desk/run/closed_pipe.h"
#include "mail/files/unfinished_path.h"

#include <csignal>

namespace host {

namespace {

bool is_ignored() noexcept
{
    struct sigaction present = {};
    return sigaction(SIGPIPE, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

/// As the process was started: the network library ignores the signal later.
const bool was_ignored = is_ignored();

} // namespace

void end_by_closed_pipe()
{
    if (was_ignored) {
        return;
    }
    const auto held = delete_unfinished_paths();
    std::signal(SIGPIPE, SIG_DFL);
    std::raise(SIGPIPE);
}

} // namespace host
