#pragma once

#include <cstdint>

/// Looks up the terminal session of a process. Thread-safe.
class SessionLookup
{
public:
    [[nodiscard]] virtual std::uint32_t CurrentProcess() const = 0;
    /// Returns in `session` the session in which `process` runs. The result is 0 on success; otherwise it is the
    /// system's error code and `session` is unchanged.
    virtual std::uint32_t FindSession(std::uint32_t process, std::uint32_t& session) const = 0;
    virtual ~SessionLookup() = default;
};

/// Returns the look-up that queries the system. It lives as long as the process.
const SessionLookup& SystemSessionLookup();
