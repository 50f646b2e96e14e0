#pragma once

// Bases of the objects that a stand-in for the mail client, or a test, gives to the add-in. A derived class supplies
// the same few operations on every system:
//
//   HRESULT MapiObject(IUnknown** object)            of OutlookItemBase(kind)
//   std::wstring FileName(), DisplayName()           of OutlookAttachmentBase
#include <platform/outlook_bases.h>
