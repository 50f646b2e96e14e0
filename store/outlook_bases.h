#pragma once

// Base classes of the objects that a stand-in for the mail client, or a test, passes to the add-in. A derived class
// implements the same operations on every platform:
//
// HRESULT MapiObject(IUnknown** object)            of OutlookItemBase(kind)
// std::wstring FileName(), DisplayName()           of OutlookAttachmentBase
#include <platform/outlook_bases.h>
