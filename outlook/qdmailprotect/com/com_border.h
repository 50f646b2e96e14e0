#pragma once

#include "tool/system/hresult.h"

#include <utility>

/// The result for the exception that is being handled, raised behind `entry`: that of a ComError, E_OUTOFMEMORY, or
/// E_UNEXPECTED. All but a ComError are told in one line at level 200.
HRESULT ResultOfCurrentException(const char* entry) noexcept;

/// The border of one entry point that the mail client calls: runs `body`, which gives a result, and lets no exception
/// out. `entry` is the name for the log.
template <typename Body>
HRESULT ComBorder(const char* entry, Body&& body) noexcept
{
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return ResultOfCurrentException(entry);
    }
}

/// The border of one event, which the mail client is always told went well: runs `body`, which gives nothing.
template <typename Body>
HRESULT EventBorder(const char* entry, Body&& body) noexcept
{
    try {
        std::forward<Body>(body)();
    } catch (...) {
        ResultOfCurrentException(entry);
    }
    return 0;
}
