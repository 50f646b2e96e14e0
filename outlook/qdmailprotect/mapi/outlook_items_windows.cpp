#include "outlook/qdmailprotect/mapi/outlook_items.h"

namespace {

/// A VARIANT that is cleared with its scope.
class Variant
{
public:
    Variant() { VariantInit(&value_); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    ~Variant() { VariantClear(&value_); }
    VARIANT* operator&() noexcept { return &value_; }
    VARIANT* operator->() noexcept { return &value_; }

private:
    VARIANT value_;
};

HRESULT GetProperty(IDispatch* object, DISPID id, Variant& value)
{
    DISPPARAMS none{};
    return object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value, nullptr, nullptr);
}

HRESULT GetText(IDispatch* object, DISPID id, std::wstring& text)
{
    Variant value;
    const HRESULT result = GetProperty(object, id, value);
    if (FAILED(result)) {
        return result;
    }
    if (value->vt != VT_BSTR) {
        return DISP_E_TYPEMISMATCH;
    }
    text.assign(value->bstrVal ? value->bstrVal : L"", SysStringLen(value->bstrVal));
    return S_OK;
}

HRESULT SetText(const std::wstring& text, VARIANT& value)
{
    value.bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    if (!value.bstrVal) {
        return E_OUTOFMEMORY;
    }
    value.vt = VT_BSTR;
    return S_OK;
}

} // namespace

HRESULT GetMapiObject(OutlookItemInterface* item, ComPtr<IUnknown>& object)
{
    Variant value;
    const HRESULT result = GetProperty(item, DispIdMapiObject, value);
    if (SUCCEEDED(result)) {
        const bool is_object = value->vt == VT_UNKNOWN || value->vt == VT_DISPATCH;
        object = is_object ? value->punkVal : nullptr;
    }
    return result;
}

HRESULT GetFileName(OutlookAttachmentInterface* attachment, std::wstring& name)
{
    return GetText(attachment, DispIdAttachmentFileName, name);
}

HRESULT GetDisplayName(OutlookAttachmentInterface* attachment, std::wstring& name)
{
    return GetText(attachment, DispIdAttachmentDisplayName, name);
}

HRESULT STDMETHODCALLTYPE LateBoundObject::GetTypeInfoCount(UINT* count)
{
    if (!count) {
        return E_POINTER;
    }
    *count = 0;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE LateBoundObject::GetTypeInfo(UINT, LCID, ITypeInfo** info)
{
    if (info) {
        *info = nullptr;
    }
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE LateBoundObject::GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*)
{
    return DISP_E_UNKNOWNNAME;
}

HRESULT STDMETHODCALLTYPE LateBoundObject::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS*, VARIANT* result,
                                                  EXCEPINFO*, UINT*)
{
    if (!(flags & DISPATCH_PROPERTYGET)) {
        return DISP_E_MEMBERNOTFOUND;
    }
    if (!result) {
        return E_POINTER;
    }
    VariantInit(result);
    return Property(id, *result);
}

void* LateBoundObject::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IDispatch || iid == kind_ ? static_cast<IDispatch*>(this) : nullptr;
}

HRESULT OutlookItemBase::Property(DISPID id, VARIANT& value)
{
    if (id != DispIdMapiObject) {
        return DISP_E_MEMBERNOTFOUND;
    }
    value.punkVal = nullptr;
    const HRESULT result = MapiObject(&value.punkVal);
    if (SUCCEEDED(result)) {
        value.vt = VT_UNKNOWN;
    }
    return result;
}

OutlookAttachmentBase::OutlookAttachmentBase()
    : LateBoundObject(IID_OutlookAttachment)
{}

HRESULT OutlookAttachmentBase::Property(DISPID id, VARIANT& value)
{
    switch (id) {
    case DispIdAttachmentFileName:
        return SetText(FileName(), value);
    case DispIdAttachmentDisplayName:
        return SetText(DisplayName(), value);
    default:
        return DISP_E_MEMBERNOTFOUND;
    }
}
