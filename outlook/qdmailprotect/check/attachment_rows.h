#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <cstdint>
#include <string>

/// One row of an attachment table. What the row doesn't have is 0 or empty.
struct AttachmentRow
{
    std::uint32_t number = 0;
    std::uint32_t size = 0; ///< bytes
    std::uint32_t method = 0;
    std::wstring displayName;
    std::wstring fileName; ///< the long name, else the short one
    std::wstring mimeTag;
};

AttachmentRow ReadAttachmentRow(const SRow& row);
