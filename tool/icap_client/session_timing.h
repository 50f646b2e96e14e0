#pragma once

#include <cstdint>

namespace icap::client {

/// The waits of a session and its pool that no scan record specifies, in milliseconds.
struct session_timing
{
    std::uint32_t options_answer = 30000; ///< for the answer to OPTIONS
    std::uint32_t release_poll = 50;      ///< between two checks of a socket that is being released
};

} // namespace icap::client
