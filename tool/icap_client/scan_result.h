#pragma once

#include <cstdint>

/// The result of one scan, and the verdict that is stored on a message.
enum class ScanResult : std::int32_t
{
    None = 0,    ///< not judged
    Clean = 1,   ///< no content to change; also the result of a failed request
    Blocked = 2, ///< to be removed or replaced
    Repaired = 3 ///< a repaired object was received
};
