#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <platform/outlook_items.h>

#include <string>

// The parts of the mail client's objects that a check uses. The three kinds of items differ only in the identifier that
// QueryInterface accepts.

inline constexpr IID IID_MailItem{0x00063034, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_MeetingItem{0x00063062, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_TaskItem{0x00063035, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_OutlookAttachment{0x00063007, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// Returns the result of get_MAPIOBJECT of an item: the store's object behind it, which may be null even on success.
HRESULT GetMapiObject(OutlookItemInterface* item, ComPtr<IUnknown>& object);
HRESULT GetFileName(OutlookAttachmentInterface* attachment, std::wstring& name);
HRESULT GetDisplayName(OutlookAttachmentInterface* attachment, std::wstring& name);
