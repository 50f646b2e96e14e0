#pragma once

#include <cstdint>
#include <string>

/// Who and what this process is.
namespace winapi {

/// The user of the calling thread, who may be impersonated; empty if the system cannot tell.
[[nodiscard]] std::wstring current_user_name();

/// The textual security identifier of a user of this machine, empty if the look-up fails. Where users have numbers
/// only, it is "S-1-5-21-0-0-0-" and the user's number.
[[nodiscard]] std::wstring user_sid_text(const std::wstring& user_name);

[[nodiscard]] std::uint32_t current_process_id() noexcept;

/// The session that a process runs in: the terminal session on Windows, the process session elsewhere. On failure
/// returns false, leaves `session_id` alone and sets the thread's last error.
[[nodiscard]] bool process_id_to_session_id(std::uint32_t process_id, std::uint32_t& session_id) noexcept;

/// The path of the host executable, in the ANSI code page on Windows, as the file system has it elsewhere. Raises
/// error::win32exception.
[[nodiscard]] std::string current_process_path();

} // namespace winapi
