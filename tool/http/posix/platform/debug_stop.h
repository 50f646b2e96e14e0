#pragma once

#include <csignal>
#include <fstream>
#include <string>

namespace platform {

/// Breaks into an attached debugger; without one, does nothing.
inline void debug_stop()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("TracerPid:") && line.find_first_of("123456789") != std::string::npos) {
            static_cast<void>(std::raise(SIGTRAP));
            return;
        }
    }
}

} // namespace platform
