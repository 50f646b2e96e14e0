#pragma once

#include "outlook/qdmailprotect/link/connection_source.h"
#include "tool/system/hresult.h"

#include <exception>

/// The border between the network side, which raises, and the check, which answers results: a std::exception of `step`
/// drops the connection and becomes E_UNEXPECTED.
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
