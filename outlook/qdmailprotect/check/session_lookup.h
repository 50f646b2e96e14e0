#pragma once

#include <cstdint>

/// The system's numbers for a process. May be used from any thread.
class SessionLookup
{
public:
    [[nodiscard]] virtual std::uint32_t CurrentProcess() const = 0;
    /// The session that a process runs in. Answers 0, or the system's error with `session` left as it is.
    virtual std::uint32_t FindSession(std::uint32_t process, std::uint32_t& session) const = 0;
    virtual ~SessionLookup() = default;
};

/// Asks the system. Lives as long as the process.
const SessionLookup& SystemSessionLookup();
