#pragma once

#include "outlook/qdmailprotect/mapi/result_border.h"

#include <utility>

namespace host {

/// The border between the store's code, which raises, and its callers, who get a HRESULT: runs `work`, which gives a
/// HRESULT, and turns what it raises into one.
template <typename Work>
HRESULT guarded(Work&& work) noexcept
{
    return ResultBorder(std::forward<Work>(work));
}

} // namespace host
