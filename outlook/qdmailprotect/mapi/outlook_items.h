#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"

#include <platform/outlook_items.h>

#include <string>

// The mail client's objects, as far as a check looks at them. The three kinds of items answer QueryInterface for an
// identifier of their own and are otherwise alike. An object that is given to the add-in, by a stand-in for the mail
// client or by a test, derives from OutlookItemBase or OutlookAttachmentBase of the platform header and supplies the
// same few operations on every system:
//
//   HRESULT MapiObject(IUnknown** object)            of OutlookItemBase(kind)
//   std::wstring FileName(), DisplayName()           of OutlookAttachmentBase

inline constexpr IID IID_MailItem{0x00063034, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_MeetingItem{0x00063062, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_TaskItem{0x00063035, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_OutlookAttachment{0x00063007, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// get_MAPIOBJECT of an item: the store's object behind it, which may be null even on success.
HRESULT GetMapiObject(OutlookItemInterface* item, ComPtr<IUnknown>& object);
HRESULT GetFileName(OutlookAttachmentInterface* attachment, std::wstring& name);
HRESULT GetDisplayName(OutlookAttachmentInterface* attachment, std::wstring& name);
