#pragma once

#include <cstdint>

namespace tpl {

/// A file descriptor with the data that a completion port needs; made by open_endpoint, freed by close_endpoint.
class endpoint;

/// A handle that overlapped operations run on: a socket.
using native_handle = endpoint*;
inline constexpr native_handle invalid_handle = nullptr;

/// The thread that a thread_handle refers to.
class thread_object;

/// The handle of a thread started by start_thread.
using thread_handle = thread_object*;

/// The platform's record of one operation under way. The fields have the meaning that completion ports give them.
struct overlapped
{
    std::uintptr_t Internal = 0;     ///< status of the operation
    std::uintptr_t InternalHigh = 0; ///< bytes transferred
};

} // namespace tpl
