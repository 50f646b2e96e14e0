#pragma once

#include <platform/mapi.h>

#include <string>

/// An item of the mail client, of any kind.
struct IOutlookItem : IUnknown
{
    /// Returns the message store's object behind the item. The caller owns the reference.
    virtual HRESULT STDMETHODCALLTYPE get_MAPIOBJECT(IUnknown** object) = 0;

protected:
    ~IOutlookItem() = default;
};

/// An attachment as the mail client presents it.
struct IOutlookAttachment : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE get_FileName(std::wstring& name) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_DisplayName(std::wstring& name) = 0;

protected:
    ~IOutlookAttachment() = default;
};

using OutlookItemInterface = IOutlookItem;
using OutlookAttachmentInterface = IOutlookAttachment;
