#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace events {

enum class severity
{
    information,
    warning,
    error
};

/// Accepts records for the system's event log.
class sink
{
public:
    /// Reports one record. `id` is a message of the message table of the source's module, with its severity bits, and
    /// `texts` replace %1, %2 and so on in it. Never fails towards the caller: a record that the system does not accept
    /// is dropped. Thread-safe.
    virtual void report(severity kind, std::uint32_t id, std::vector<std::wstring> texts) noexcept = 0;
    virtual ~sink() = default;
};

} // namespace events
