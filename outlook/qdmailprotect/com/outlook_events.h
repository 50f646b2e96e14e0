#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

// Identifiers of the mail client's object model that the add-in uses besides items and attachments. The objects are
// late bound by number.

/// The interface `_Application`.
inline constexpr IID IID_OutlookApplication{0x00063001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr DISPID DispIdApplicationName = 0x3001;
inline constexpr DISPID DispIdApplicationVersion = 0x0116;

/// Events of the application. The numbers from 0xF002 to 0xF007 denote other events for an item.
inline constexpr IID IID_ApplicationEvents{0x0006302C, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr DISPID DispIdNewMail = 0xFAB5;
inline constexpr DISPID DispIdItemLoad = 0xFBA7;

/// Events of an item.
inline constexpr IID IID_ItemEvents{0x0006302B, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr DISPID DispIdReadComplete = 0xFC8F;
inline constexpr DISPID DispIdUnload = 0xFBAD;
inline constexpr DISPID DispIdSend = 0xF005;
inline constexpr DISPID DispIdBeforeRead = 0xFC8C;
