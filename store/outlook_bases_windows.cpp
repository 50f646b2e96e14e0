#include "store/outlook_bases.h"

namespace {

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
    if (SUCCEEDED(result) || value.punkVal) { // the caller releases what comes with a failure as well
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
