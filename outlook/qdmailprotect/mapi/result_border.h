#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <exception>
#include <new>

/// The border between code that throws and its COM callers, which receive an HRESULT: runs `work`, which returns an
/// HRESULT, and converts its exceptions to E_OUTOFMEMORY or E_FAIL.
template <typename Work>
HRESULT ResultBorder(Work&& work) noexcept
{
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::exception&) {
        return E_FAIL;
    }
}
