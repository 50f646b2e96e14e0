#include "client/model/dispatch.h"

#include <algorithm>
#include <string>

namespace host {

HRESULT find_names(const std::vector<dispatch_property>& properties, REFIID iid, LPOLESTR* names, UINT count,
                   DISPID* identifiers)
{
    if (iid != IID_NULL) {
        return DISP_E_UNKNOWNINTERFACE;
    }
    if (!names || !identifiers || count == 0) {
        return E_INVALIDARG;
    }
    std::fill_n(identifiers, count, DISPID_UNKNOWN); // includes the names of arguments: there are none
    const std::wstring wanted(names[0]);
    const auto found = std::find_if(properties.begin(), properties.end(), [&wanted](const dispatch_property& property) {
        return CompareStringOrdinal(wanted.data(), static_cast<int>(wanted.size()), property.name.data(),
                                    static_cast<int>(property.name.size()), TRUE) == CSTR_EQUAL;
    });
    if (found == properties.end()) {
        return DISP_E_UNKNOWNNAME;
    }
    identifiers[0] = found->id;
    return count == 1 ? HRESULT{S_OK} : DISP_E_UNKNOWNNAME;
}

HRESULT check_property_get(REFIID iid, WORD flags, const DISPPARAMS* parameters)
{
    if (iid != IID_NULL) {
        return DISP_E_UNKNOWNINTERFACE;
    }
    if (!parameters) {
        return E_INVALIDARG;
    }
    if ((flags & DISPATCH_PROPERTYGET) == 0) {
        return DISP_E_MEMBERNOTFOUND;
    }
    return parameters->cArgs == 0 ? HRESULT{S_OK} : DISP_E_BADPARAMCOUNT;
}

HRESULT put_text(std::wstring_view text, VARIANT& value)
{
    value.bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    if (!value.bstrVal) {
        return E_OUTOFMEMORY;
    }
    value.vt = VT_BSTR;
    return S_OK;
}

void put_object(IUnknown* object, VARIANT& value)
{
    object->AddRef();
    value.punkVal = object;
    value.vt = VT_UNKNOWN;
}

} // namespace host
