#include "outlook/qdmailprotect/mapi/late_bound.h"
#include "outlook/qdmailprotect/mapi/outlook_items.h"

HRESULT GetMapiObject(OutlookItemInterface* item, ComPtr<IUnknown>& object)
{
    Variant value;
    const HRESULT result = GetLateBound(item, DispIdMapiObject, value);
    if (SUCCEEDED(result)) {
        const bool is_object = value->vt == VT_UNKNOWN || value->vt == VT_DISPATCH;
        object = is_object ? value->punkVal : nullptr;
    }
    return result;
}

HRESULT GetFileName(OutlookAttachmentInterface* attachment, std::wstring& name)
{
    return GetLateBoundText(attachment, DispIdAttachmentFileName, name);
}

HRESULT GetDisplayName(OutlookAttachmentInterface* attachment, std::wstring& name)
{
    return GetLateBoundText(attachment, DispIdAttachmentDisplayName, name);
}
