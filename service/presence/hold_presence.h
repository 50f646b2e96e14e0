#pragma once

#include <memory>

namespace presence {

/// Shows all processes that may look that the service runs, as long as it lives. The system takes the sign down when
/// the process ends in any other way.
class holder
{
public:
    virtual ~holder() = default;
};

/// Takes the system's own sign: the mutex in the service's private namespace on Windows, a locked file elsewhere.
/// Raises std::runtime_error that says why it can't be had: another process holds it, the system lacks what it takes,
/// or this process may not make it.
[[nodiscard]] std::unique_ptr<holder> hold_presence();

} // namespace presence
