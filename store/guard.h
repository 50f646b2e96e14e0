#pragma once

#include "outlook/qdmailprotect/mapi/result_border.h"

#include <utility>

namespace host {

/// The border between the store's code, which throws, and its callers, which receive an HRESULT: runs `work`, which
/// returns an HRESULT, and converts its exceptions to one.
template <typename Work>
HRESULT guarded(Work&& work) noexcept
{
    return ResultBorder(std::forward<Work>(work));
}

} // namespace host
