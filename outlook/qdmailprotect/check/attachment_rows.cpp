#include "outlook/qdmailprotect/check/attachment_rows.h"

namespace {

std::wstring Text(const SPropValue& value)
{
    return value.Value.lpszW ? value.Value.lpszW : L"";
}

} // namespace

AttachmentRow ReadAttachmentRow(const SRow& row)
{
    AttachmentRow result;
    for (ULONG i = 0; i < row.cValues; ++i) {
        const SPropValue& value = row.lpProps[i];
        switch (value.ulPropTag) {
        case PR_ATTACH_NUM:
            result.number = value.Value.ul;
            break;
        case PR_ATTACH_SIZE:
            result.size = value.Value.ul;
            break;
        case PR_ATTACH_METHOD:
            result.method = value.Value.ul;
            break;
        case PR_DISPLAY_NAME_W:
            result.displayName = Text(value);
            break;
        case PR_ATTACH_LONG_FILENAME_W:
            result.fileName = Text(value);
            break;
        case PR_ATTACH_FILENAME_W:
            if (result.fileName.empty()) {
                result.fileName = Text(value);
            }
            break;
        case PR_ATTACH_MIME_TAG_W:
            result.mimeTag = Text(value);
            break;
        default:
            break;
        }
    }
    return result;
}
