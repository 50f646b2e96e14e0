#pragma once

#include <windows.h>

namespace platform {

/// Stops in a debugger that is attached; without one, does nothing.
inline void debug_stop() noexcept
{
    if (IsDebuggerPresent() != FALSE) {
        DebugBreak();
    }
}

} // namespace platform
