#pragma once

#include <windows.h>
#include <winsock2.h> // ahead of windows.h, which would bring the old one

namespace tpl {

/// A handle that overlapped operations run on: a socket.
using native_handle = SOCKET;
inline constexpr native_handle invalid_handle = INVALID_SOCKET;

/// The handle of a thread started by start_thread.
using thread_handle = HANDLE;

/// The platform's record of one operation under way.
using overlapped = OVERLAPPED;

} // namespace tpl
