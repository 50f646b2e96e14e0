#pragma once

#include "doctor/port_owner.h"

namespace doctor {

/// The ports according to the system's table of TCP listeners.
class system_port_table final : public port_table
{
public:
    [[nodiscard]] port_owner owner_of(const endpoint& peer) override;
};

} // namespace doctor
