#pragma once

#include <cstdint>

/// Win32 and Winsock numbers as plain constants; error codes that cross the platform seam have these values on every
/// system. The names avoid those of the macros in the Windows headers.
namespace winapi::code {

inline constexpr std::uint32_t success = 0;
inline constexpr std::uint32_t invalid_function = 1;
inline constexpr std::uint32_t file_not_found = 2;
inline constexpr std::uint32_t path_not_found = 3;
inline constexpr std::uint32_t too_many_open_files = 4;
inline constexpr std::uint32_t access_denied = 5;
inline constexpr std::uint32_t invalid_handle = 6;
inline constexpr std::uint32_t not_enough_memory = 8;
inline constexpr std::uint32_t invalid_data = 13;
inline constexpr std::uint32_t write_protect = 19;
inline constexpr std::uint32_t sharing_violation = 32;
inline constexpr std::uint32_t handle_eof = 38;
inline constexpr std::uint32_t not_supported = 50;
inline constexpr std::uint32_t file_exists = 80;
inline constexpr std::uint32_t invalid_parameter = 87;
inline constexpr std::uint32_t broken_pipe = 109;
inline constexpr std::uint32_t disk_full = 112;
inline constexpr std::uint32_t call_not_implemented = 120;
inline constexpr std::uint32_t insufficient_buffer = 122;
inline constexpr std::uint32_t invalid_name = 123;
inline constexpr std::uint32_t negative_seek = 131;
inline constexpr std::uint32_t busy = 170;
inline constexpr std::uint32_t already_exists = 183;
inline constexpr std::uint32_t file_name_too_long = 206;
inline constexpr std::uint32_t file_too_large = 223;
inline constexpr std::uint32_t more_data = 234;
inline constexpr std::uint32_t wait_timeout = 258;
inline constexpr std::uint32_t operation_aborted = 995;
inline constexpr std::uint32_t io_pending = 997;
inline constexpr std::uint32_t no_access = 998;
inline constexpr std::uint32_t file_invalid = 1006;
inline constexpr std::uint32_t io_device = 1117;
inline constexpr std::uint32_t not_found = 1168;
inline constexpr std::uint32_t no_such_user = 1317;
inline constexpr std::uint32_t none_mapped = 1332;
inline constexpr std::uint32_t no_system_resources = 1450;

inline constexpr std::uint32_t socket_interrupted = 10004;
inline constexpr std::uint32_t socket_access = 10013;
inline constexpr std::uint32_t socket_fault = 10014;
inline constexpr std::uint32_t socket_invalid = 10022;
inline constexpr std::uint32_t too_many_sockets = 10024;
inline constexpr std::uint32_t would_block = 10035;
inline constexpr std::uint32_t in_progress = 10036;
inline constexpr std::uint32_t already_in_progress = 10037;
inline constexpr std::uint32_t not_socket = 10038;
inline constexpr std::uint32_t address_required = 10039;
inline constexpr std::uint32_t message_size = 10040;
inline constexpr std::uint32_t wrong_protocol_type = 10041;
inline constexpr std::uint32_t no_protocol_option = 10042;
inline constexpr std::uint32_t protocol_not_supported = 10043;
inline constexpr std::uint32_t operation_not_supported = 10045;
inline constexpr std::uint32_t family_not_supported = 10047;
inline constexpr std::uint32_t address_in_use = 10048;
inline constexpr std::uint32_t address_not_available = 10049;
inline constexpr std::uint32_t network_down = 10050;
inline constexpr std::uint32_t network_unreachable = 10051;
inline constexpr std::uint32_t network_reset = 10052;
inline constexpr std::uint32_t connection_aborted = 10053;
inline constexpr std::uint32_t connection_reset = 10054;
inline constexpr std::uint32_t no_buffer_space = 10055;
inline constexpr std::uint32_t already_connected = 10056;
inline constexpr std::uint32_t not_connected = 10057;
inline constexpr std::uint32_t socket_shut_down = 10058;
inline constexpr std::uint32_t timed_out = 10060;
inline constexpr std::uint32_t connection_refused = 10061;
inline constexpr std::uint32_t host_down = 10064;
inline constexpr std::uint32_t host_unreachable = 10065;
inline constexpr std::uint32_t system_call_failure = 10107;

} // namespace winapi::code

namespace winapi {

/// Returns the code that corresponds to a C library error number; socket errors give Winsock numbers. Returns
/// code::no_system_resources for an error without a counterpart.
[[nodiscard]] std::uint32_t code_from_errno(int error) noexcept;

/// Returns the calling thread's last error: GetLastError on Windows, elsewhere the number set last on this thread.
[[nodiscard]] std::uint32_t last_error_code() noexcept;
/// Sets the calling thread's last error.
void last_error_code(std::uint32_t code) noexcept;

} // namespace winapi
