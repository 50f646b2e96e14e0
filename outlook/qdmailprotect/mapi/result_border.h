#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <exception>
#include <new>

/// The border between code that raises and its COM callers, who get a HRESULT: runs `work`, which gives a HRESULT, and
/// turns what it raises into E_OUTOFMEMORY or E_FAIL.
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
