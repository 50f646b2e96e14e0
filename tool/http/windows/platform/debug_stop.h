#pragma once

#include <windows.h>

namespace platform {

/// Breaks into an attached debugger; without one, does nothing.
inline void debug_stop() noexcept
{
    if (IsDebuggerPresent() != FALSE) {
        DebugBreak();
    }
}

} // namespace platform
