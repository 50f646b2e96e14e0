#include "outlook/qdmailprotect/mapi/late_bound.h"

HRESULT GetLateBound(IDispatch* object, DISPID id, Variant& value)
{
    DISPPARAMS none{};
    return object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value, nullptr, nullptr);
}

HRESULT GetLateBoundText(IDispatch* object, DISPID id, std::wstring& text)
{
    Variant value;
    const HRESULT result = GetLateBound(object, id, value);
    if (FAILED(result)) {
        return result;
    }
    if (value->vt != VT_BSTR) {
        return DISP_E_TYPEMISMATCH;
    }
    text.assign(value->bstrVal ? value->bstrVal : L"", SysStringLen(value->bstrVal));
    return S_OK;
}
