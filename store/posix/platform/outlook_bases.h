#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "outlook/qdmailprotect/mapi/outlook_items.h"

#include <string>

/// An item of the kind `kind`: IID_MailItem, IID_MeetingItem, IID_TaskItem, or any other identifier.
class OutlookItemBase : public ComObject<OutlookItemInterface>
{
public:
    HRESULT STDMETHODCALLTYPE get_MAPIOBJECT(IUnknown** object) override { return MapiObject(object); }

protected:
    explicit OutlookItemBase(const IID& kind)
        : kind_(kind)
    {}
    /// Returns the store's object. The caller owns the reference.
    virtual HRESULT MapiObject(IUnknown** object) = 0;
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == kind_ ? static_cast<OutlookItemInterface*>(this) : nullptr;
    }

private:
    IID kind_;
};

/// An attachment whose names are provided by the derived class.
class OutlookAttachmentBase : public ComObject<OutlookAttachmentInterface>
{
public:
    HRESULT STDMETHODCALLTYPE get_FileName(std::wstring& name) override
    {
        name = FileName();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_DisplayName(std::wstring& name) override
    {
        name = DisplayName();
        return S_OK;
    }

protected:
    virtual std::wstring FileName() = 0;
    virtual std::wstring DisplayName() = 0;
    void* FindInterface(REFIID iid) override;
};
