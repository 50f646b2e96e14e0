#pragma once

#include "tool/system/win32_codes.h"

#include <array>
#include <cstdint>

namespace winapi {

/// A Win32 or Winsock number and its text, without a line end.
struct code_text
{
    std::uint32_t code;
    const char* text;
};

/// The texts of the codes that the product uses, for systems without a message table and for texts that are the same on
/// every system.
inline constexpr std::array code_texts{
    code_text{code::success, "Success"},
    code_text{code::invalid_function, "Invalid function"},
    code_text{code::file_not_found, "File not found"},
    code_text{code::path_not_found, "Path not found"},
    code_text{code::too_many_open_files, "Too many open files"},
    code_text{code::access_denied, "Access denied"},
    code_text{code::invalid_handle, "Invalid handle"},
    code_text{code::not_enough_memory, "Not enough memory"},
    code_text{code::invalid_data, "Invalid data"},
    code_text{code::sharing_violation, "Sharing violation"},
    code_text{code::not_supported, "Not supported"},
    code_text{code::file_exists, "File exists"},
    code_text{code::invalid_parameter, "Invalid parameter"},
    code_text{code::disk_full, "Disk full"},
    code_text{code::call_not_implemented, "Call not implemented"},
    code_text{code::invalid_name, "Invalid name"},
    code_text{code::negative_seek, "Negative seek"},
    code_text{code::already_exists, "Already exists"},
    code_text{code::file_name_too_long, "File name too long"},
    code_text{code::file_too_large, "File too large"},
    code_text{code::more_data, "More data available"},
    code_text{code::wait_timeout, "Wait timed out"},
    code_text{code::operation_aborted, "Operation aborted"},
    code_text{code::io_pending, "Input or output pending"},
    code_text{code::no_access, "Invalid access to memory"},
    code_text{code::file_invalid, "File no longer valid"},
    code_text{code::io_device, "Device error"},
    code_text{code::not_found, "Not found"},
    code_text{code::no_such_user, "No such user"},
    code_text{code::no_system_resources, "Not enough system resources"},
    code_text{code::would_block, "Operation would block"},
    code_text{code::not_socket, "Not a socket"},
    code_text{code::address_in_use, "Address in use"},
    code_text{code::address_not_available, "Address not available"},
    code_text{code::network_down, "Network down"},
    code_text{code::network_unreachable, "Network unreachable"},
    code_text{code::connection_aborted, "Connection aborted"},
    code_text{code::connection_reset, "Connection reset"},
    code_text{code::not_connected, "Not connected"},
    code_text{code::socket_shut_down, "Socket shut down"},
    code_text{code::timed_out, "Connection timed out"},
    code_text{code::connection_refused, "Connection refused"},
    code_text{code::host_unreachable, "Host unreachable"},
    code_text{code::system_call_failure, "System call failure"},
};

} // namespace winapi
