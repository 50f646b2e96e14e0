#pragma once

#include "tool/system/hresult.h"

#include <utility>

/// Converts the exception that is being handled to an HRESULT: the code of a ComError, E_OUTOFMEMORY, or E_UNEXPECTED.
/// Any exception other than a ComError is logged in one line at level 200. `entry` is the name of the entry point.
HRESULT ResultOfCurrentException(const char* entry) noexcept;

/// The exception border of one entry point that the mail client calls: runs `body`, returns its HRESULT, and does not
/// throw. `entry` is the name for the log.
template <typename Body>
HRESULT ComBorder(const char* entry, Body&& body) noexcept
{
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return ResultOfCurrentException(entry);
    }
}

/// The exception border of one event, for which the mail client always receives success: runs `body`, which returns
/// nothing.
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
