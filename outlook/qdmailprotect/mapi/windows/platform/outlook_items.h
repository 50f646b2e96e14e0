#pragma once

#include <platform/com.h>

// The mail client's objects are late bound; these are the dispatch identifiers in use.
inline constexpr DISPID DispIdMapiObject = 0xF100;
inline constexpr DISPID DispIdAttachmentFileName = 0x3704;
inline constexpr DISPID DispIdAttachmentDisplayName = 0x3001;

using OutlookItemInterface = IDispatch;
using OutlookAttachmentInterface = IDispatch;
