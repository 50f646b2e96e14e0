#pragma once

#include "doctor/port_owner.h"
#include "doctor/row.h"

#include <string>

namespace doctor {

/// The row of a port. `refusal` is the result of a connection, as refusal_of() returns it.
[[nodiscard]] finding port_row(const endpoint& peer, const std::string& refusal, port_table& ports);

} // namespace doctor
