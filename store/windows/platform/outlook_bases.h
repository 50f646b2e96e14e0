#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "outlook/qdmailprotect/mapi/outlook_items.h"

#include <string>

/// IDispatch without type information and names: only property gets by number are supported.
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
    /// Returns the value of property `id`, or DISP_E_MEMBERNOTFOUND if it does not exist.
    virtual HRESULT Property(DISPID id, VARIANT& value) = 0;
    void* FindInterface(REFIID iid) override;

private:
    IID kind_;
};

/// An item of the kind `kind`: IID_MailItem, IID_MeetingItem, IID_TaskItem, or any other identifier.
class OutlookItemBase : public LateBoundObject
{
protected:
    using LateBoundObject::LateBoundObject;
    /// Returns the store's object. The caller owns the reference.
    virtual HRESULT MapiObject(IUnknown** object) = 0;
    HRESULT Property(DISPID id, VARIANT& value) override;
};

/// An attachment whose names are provided by the derived class.
class OutlookAttachmentBase : public LateBoundObject
{
protected:
    OutlookAttachmentBase();
    virtual std::wstring FileName() = 0;
    virtual std::wstring DisplayName() = 0;
    HRESULT Property(DISPID id, VARIANT& value) override;
};
