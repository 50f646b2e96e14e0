#include "tool/system/win32_codes.h"

#include <array>
#include <cerrno>

namespace winapi {

namespace {

struct errno_code
{
    int error;
    std::uint32_t code;
};

constexpr std::array errno_codes{
    errno_code{0, code::success},
    errno_code{EPERM, code::access_denied},
    errno_code{ENOENT, code::file_not_found},
    errno_code{EINTR, code::socket_interrupted},
    errno_code{EIO, code::io_device},
    errno_code{EBADF, code::invalid_handle},
    errno_code{EAGAIN, code::would_block},
    errno_code{EWOULDBLOCK, code::would_block},
    errno_code{ENOMEM, code::not_enough_memory},
    errno_code{EACCES, code::access_denied},
    errno_code{EFAULT, code::no_access},
    errno_code{EBUSY, code::busy},
    errno_code{EEXIST, code::file_exists},
    errno_code{ENOTDIR, code::path_not_found},
    errno_code{EISDIR, code::access_denied},
    errno_code{EINVAL, code::invalid_parameter},
    errno_code{ENFILE, code::too_many_open_files},
    errno_code{EMFILE, code::too_many_open_files},
    errno_code{EFBIG, code::file_too_large},
    errno_code{ENOSPC, code::disk_full},
    errno_code{EROFS, code::write_protect},
    errno_code{EPIPE, code::socket_shut_down},
    errno_code{ENAMETOOLONG, code::file_name_too_long},
    errno_code{ENOSYS, code::call_not_implemented},
    errno_code{EINPROGRESS, code::in_progress},
    errno_code{EALREADY, code::already_in_progress},
    errno_code{ENOTSOCK, code::not_socket},
    errno_code{EDESTADDRREQ, code::address_required},
    errno_code{EMSGSIZE, code::message_size},
    errno_code{EPROTOTYPE, code::wrong_protocol_type},
    errno_code{ENOPROTOOPT, code::no_protocol_option},
    errno_code{EPROTONOSUPPORT, code::protocol_not_supported},
    errno_code{EOPNOTSUPP, code::operation_not_supported},
    errno_code{EAFNOSUPPORT, code::family_not_supported},
    errno_code{EADDRINUSE, code::address_in_use},
    errno_code{EADDRNOTAVAIL, code::address_not_available},
    errno_code{ENETDOWN, code::network_down},
    errno_code{ENETUNREACH, code::network_unreachable},
    errno_code{ENETRESET, code::network_reset},
    errno_code{ECONNABORTED, code::connection_aborted},
    errno_code{ECONNRESET, code::connection_reset},
    errno_code{ENOBUFS, code::no_buffer_space},
    errno_code{EISCONN, code::already_connected},
    errno_code{ENOTCONN, code::not_connected},
    errno_code{ETIMEDOUT, code::timed_out},
    errno_code{ECONNREFUSED, code::connection_refused},
    errno_code{EHOSTUNREACH, code::host_unreachable},
};

} // namespace

std::uint32_t code_from_errno(int error) noexcept
{
    for (const auto& entry : errno_codes) {
        if (entry.error == error) {
            return entry.code;
        }
    }
    return code::no_system_resources;
}

} // namespace winapi
