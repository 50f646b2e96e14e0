#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "outlook/qdmailprotect/mapi/outlook_items.h"

#include <string>

/// IDispatch without type information and without names: property gets by number are all that it answers.
class LateBoundObject : public ComObject<IDispatch>
{
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID locale,
                                            DISPID* identifiers) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID locale, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* exception, UINT* argument) override;

protected:
    explicit LateBoundObject(const IID& kind)
        : kind_(kind)
    {}
    /// The value of property `id`; DISP_E_MEMBERNOTFOUND for one that does not exist.
    virtual HRESULT Property(DISPID id, VARIANT& value) = 0;
    void* FindInterface(REFIID iid) override;

private:
    IID kind_;
};

/// An item of the kind `kind`: IID_MailItem, IID_MeetingItem, IID_TaskItem, or something else.
class OutlookItemBase : public LateBoundObject
{
protected:
    using LateBoundObject::LateBoundObject;
    /// The store's object, with a reference for the caller.
    virtual HRESULT MapiObject(IUnknown** object) = 0;
    HRESULT Property(DISPID id, VARIANT& value) override;
};

/// An attachment whose names the derived class gives.
class OutlookAttachmentBase : public LateBoundObject
{
protected:
    OutlookAttachmentBase();
    virtual std::wstring FileName() = 0;
    virtual std::wstring DisplayName() = 0;
    HRESULT Property(DISPID id, VARIANT& value) override;
};
