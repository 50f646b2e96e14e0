#pragma once

#include <platform/mapi.h>

#include <string>

/// An item of the mail client, of whatever kind.
struct IOutlookItem : IUnknown
{
    /// The message store's object behind the item; the reference is the caller's.
    virtual HRESULT STDMETHODCALLTYPE get_MAPIOBJECT(IUnknown** object) = 0;

protected:
    ~IOutlookItem() = default;
};

/// An attachment as the mail client shows it.
struct IOutlookAttachment : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE get_FileName(std::wstring& name) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_DisplayName(std::wstring& name) = 0;

protected:
    ~IOutlookAttachment() = default;
};

using OutlookItemInterface = IOutlookItem;
using OutlookAttachmentInterface = IOutlookAttachment;
