#pragma once

#include "logging/logging.h"

/// Writes a log line of the socket that `this` points to.
#define SOCKET_LINE(level, ...) LOG_LINE(logging::wpx_log(), level, "socket(" << this << __VA_ARGS__)
