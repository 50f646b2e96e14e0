#include "desk/run/closed_pipe.h"
#include "desk/run/ignored_signal_posix.h"
#include "mail/files/unfinished_path.h"

#include <csignal>

namespace host {

namespace {

/// As the process was started: the network library ignores the signal later.
const bool was_ignored = is_ignored(SIGPIPE);

} // namespace

void end_by_closed_pipe()
{
    if (was_ignored) {
        return;
    }
    const auto held = delete_unfinished_paths();
    (void)std::signal(SIGPIPE, SIG_DFL);
    (void)std::raise(SIGPIPE);
}

} // namespace host
