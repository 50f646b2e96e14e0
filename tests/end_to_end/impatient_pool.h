#pragma once

#include "tool/icap_client/session_manager.h"

#include <cstdint>
#include <memory>

namespace test {

/// A session manager whose sessions wait for `patience` milliseconds only: for the answer to OPTIONS, and for that to a
/// scan, whatever its record says. Raises as the session manager does.
std::shared_ptr<icap::client::session_pool> connect_impatiently(const icap::client::session_manager_parameters& server,
                                                                std::uint32_t patience);

} // namespace test
