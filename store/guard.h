#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <exception>
#include <new>

namespace host {

/// The border between the store's code, which throws, and its callers, which receive an HRESULT: runs `work`, which
/// returns an HRESULT, and converts its exceptions to E_OUTOFMEMORY or E_FAIL.
template <typename Work>
HRESULT guarded(Work&& work) noexcept
{
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::exception&) {
        return E_FAIL;
    }
}

} // namespace host
