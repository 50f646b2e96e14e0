#pragma once

#include "tool/icap_client/session_manager.h"

#include <cstdint>
#include <memory>

namespace test {

/// Returns a session manager whose sessions wait only `patience` milliseconds for the response to OPTIONS and for that
/// to a scan, regardless of the settings record. Throws the same exceptions as the session manager.
std::shared_ptr<icap::client::session_pool> connect_impatiently(const icap::client::session_manager_parameters& server,
                                                                std::uint32_t patience);

} // namespace test
