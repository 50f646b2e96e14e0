#include "outlook/qdmailprotect/mapi/outlook_items.h"

HRESULT GetMapiObject(OutlookItemInterface* item, ComPtr<IUnknown>& object)
{
    return item->get_MAPIOBJECT(Receive(object));
}

HRESULT GetFileName(OutlookAttachmentInterface* attachment, std::wstring& name)
{
    return attachment->get_FileName(name);
}

HRESULT GetDisplayName(OutlookAttachmentInterface* attachment, std::wstring& name)
{
    return attachment->get_DisplayName(name);
}
