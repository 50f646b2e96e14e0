#pragma once

#include "doctor/port_probe.h"

#include <string>

namespace doctor {

/// The process that listens on a port.
struct port_owner
{
    std::string program; ///< path or name of its program; empty if it could not be read
    std::string process; ///< its number; empty if it could not be read
    std::string user;    ///< in words; empty if the system does not show it
};

/// The listening ports of this machine.
class port_table
{
public:
    /// Throws std::runtime_error with the reason in words if the table cannot be read, or does not contain the port.
    [[nodiscard]] virtual port_owner owner_of(const endpoint& peer) = 0;
    virtual ~port_table() = default;
};

} // namespace doctor
