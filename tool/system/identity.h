#pragma once

#include <cstdint>
#include <string>

/// The user, the session and the executable of this process.
namespace winapi {

/// Returns the user of the calling thread, which may be impersonating; empty if the system does not report one.
[[nodiscard]] std::wstring current_user_name();

/// Returns the textual security identifier of a user of this machine, empty if the look-up fails. On systems where
/// users have numbers only, it is "S-1-5-21-0-0-0-" and the user's number.
[[nodiscard]] std::wstring user_sid_text(const std::wstring& user_name);

[[nodiscard]] std::uint32_t current_process_id() noexcept;

/// Stores the session that a process runs in: the terminal session on Windows, the process session elsewhere. On
/// failure returns false, does not change `session_id`, and sets the thread's last error.
[[nodiscard]] bool process_id_to_session_id(std::uint32_t process_id, std::uint32_t& session_id) noexcept;

/// Returns the path of the host executable, in the ANSI code page on Windows, in the file system's form elsewhere.
/// Throws error::win32exception.
[[nodiscard]] std::string current_process_path();

} // namespace winapi
