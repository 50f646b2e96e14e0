#pragma once

#include <cstdint>
#include <string>

namespace events {

/// Enters a source of the log "Application" into the machine's registry, so that the system finds the texts of its
/// records in the message table of `module`, the full path of a program or library. Replaces an existing entry.
/// Returns 0 or a Win32 code. Requires administrator rights.
[[nodiscard]] std::uint32_t add_source(const std::wstring& name, const std::wstring& module);

/// Removes the entry of a source. Returns 0, also if there is none, or a Win32 code.
[[nodiscard]] std::uint32_t remove_source(const std::wstring& name);

} // namespace events
