#include "store/outlook_bases.h"

void* OutlookAttachmentBase::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_OutlookAttachment ? static_cast<OutlookAttachmentInterface*>(this)
                                                               : nullptr;
}
