#pragma once

#include <memory>

namespace presence {

/// Indicates to all processes that have access that the service is running, for the lifetime of the object. The
/// system removes the indication if the process ends in any other way.
class holder
{
public:
    virtual ~holder() = default;
};

/// Acquires the system's indication: the mutex in the service's private namespace on Windows, a locked file elsewhere.
/// Throws std::runtime_error with the reason if it cannot be acquired: another process holds it, the system lacks a
/// required function, or this process does not have the right to create it.
[[nodiscard]] std::unique_ptr<holder> hold_presence();

} // namespace presence
