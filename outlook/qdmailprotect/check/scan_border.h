#pragma once

#include "outlook/qdmailprotect/link/connection_source.h"
#include "tool/system/hresult.h"

#include <exception>

/// The border between the network code, which throws, and the check, which returns results: if `step` throws a
/// std::exception, the connection is dropped and E_UNEXPECTED is returned.
template <typename Step>
HRESULT ScanBorder(ConnectionSource& link, Step&& step)
{
    try {
        return step();
    } catch (const std::exception&) {
        link.BreakConnection();
        return E_UNEXPECTED;
    }
}
