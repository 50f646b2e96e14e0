#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <exception>
#include <new>

namespace host {

/// The border between the store's code, which raises, and its callers, who get a HRESULT: runs `work`, which gives a
/// HRESULT, and turns what it raises into one.
template <typename Work>
HRESULT guarded(Work&& work) noexcept
{
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return MAPI_E_NOT_ENOUGH_MEMORY;
    } catch (const std::exception&) {
        return MAPI_E_CALL_FAILED;
    }
}

} // namespace host
