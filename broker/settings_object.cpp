#include "broker/settings_object.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace broker {

namespace {

/// Refuses every call but one.
HRESULT check_call(DISPID id, REFIID iid, WORD flags, const DISPPARAMS* parameters)
{
    if (iid != IID_NULL) {
        return DISP_E_UNKNOWNINTERFACE;
    }
    if (id != settings_object::load_method || (flags & DISPATCH_METHOD) == 0) {
        return DISP_E_MEMBERNOTFOUND;
    }
    if (!parameters || parameters->cArgs != 1 || parameters->cNamedArgs != 0) {
        return DISP_E_BADPARAMCOUNT;
    }
    if (parameters->rgvarg[0].vt != VT_I4) {
        return DISP_E_TYPEMISMATCH;
    }
    return parameters->rgvarg[0].lVal == settings_object::load_argument ? HRESULT{S_OK} : E_INVALIDARG;
}

} // namespace

HRESULT put_bytes(const std::vector<std::uint8_t>& bytes, VARIANT& value)
{
    SAFEARRAY* const array = ::SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
    if (!array) {
        return E_OUTOFMEMORY;
    }
    value.vt = VT_ARRAY | VT_UI1;
    value.parray = array;
    void* contents = nullptr;
    const HRESULT result = ::SafeArrayAccessData(array, &contents);
    if (FAILED(result)) {
        ::VariantClear(&value);
        return result;
    }
    std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(contents));
    return ::SafeArrayUnaccessData(array);
}

settings_object::settings_object(answer settings)
    : settings_(std::move(settings))
{}

void* settings_object::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IDispatch ? static_cast<IDispatch*>(this) : nullptr;
}

HRESULT settings_object::GetTypeInfoCount(UINT* count)
{
    if (!count) {
        return E_POINTER;
    }
    *count = 0;
    return S_OK;
}

HRESULT settings_object::GetTypeInfo(UINT, LCID, ITypeInfo** info)
{
    if (info) {
        *info = nullptr;
    }
    return DISP_E_BADINDEX;
}

HRESULT settings_object::GetIDsOfNames(REFIID iid, LPOLESTR*, UINT count, LCID, DISPID* identifiers)
{
    if (iid != IID_NULL) {
        return DISP_E_UNKNOWNINTERFACE;
    }
    if (!identifiers) {
        return E_POINTER;
    }
    std::fill_n(identifiers, count, DISPID_UNKNOWN);
    return DISP_E_UNKNOWNNAME;
}

HRESULT settings_object::Invoke(DISPID id, REFIID iid, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                                EXCEPINFO*, UINT* wrong_argument)
{
    const HRESULT checked = check_call(id, iid, flags, parameters);
    if (checked == DISP_E_TYPEMISMATCH && wrong_argument) {
        *wrong_argument = 0; // there is only one
    }
    if (FAILED(checked)) {
        return checked;
    }
    if (!result) {
        return S_OK; // the caller does not want the settings
    }
    ::VariantInit(result);
    try {
        return settings_(*result);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::exception&) {
        return E_FAIL;
    }
}

} // namespace broker
