#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <cstdint>
#include <string>

/// One row of an attachment table. Missing columns are 0 or empty.
struct AttachmentRow
{
    std::uint32_t number = 0;
    std::uint32_t size = 0; ///< bytes
    std::uint32_t method = 0;
    std::wstring displayName;
    std::wstring fileName; ///< the long name, or the short name if there is none
    std::wstring mimeTag;
};

AttachmentRow ReadAttachmentRow(const SRow& row);
