#include "host/broker/security_layer_provider.h"

#include "host/broker/broker_config.h"
#include "host/settings/settings_file.h"
#include "outlook/qdmailprotect/com/com_border.h"
#include "outlook/qdmailprotect/mapi/com_error.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace host {

namespace {

/// Checks a call as a strict server does.
HRESULT check_call(DISPID id, REFIID iid, WORD flags, const DISPPARAMS* parameters)
{
    if (iid != IID_NULL) {
        return DISP_E_UNKNOWNINTERFACE;
    }
    if (id != security_layer_provider::load_method || !(flags & DISPATCH_METHOD)) {
        return DISP_E_MEMBERNOTFOUND;
    }
    if (!parameters || parameters->cArgs != 1 || parameters->cNamedArgs != 0) {
        return DISP_E_BADPARAMCOUNT;
    }
    if (parameters->rgvarg[0].vt != VT_I4) {
        return DISP_E_TYPEMISMATCH;
    }
    return parameters->rgvarg[0].lVal == security_layer_provider::load_argument ? S_OK : E_INVALIDARG;
}

void put_bytes(const std::vector<std::uint8_t>& bytes, VARIANT& value)
{
    SAFEARRAY* const array = ::SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
    void* content = nullptr;
    if (!array || FAILED(::SafeArrayAccessData(array, &content))) {
        ::SafeArrayDestroy(array);
        throw ComError(E_OUTOFMEMORY);
    }
    std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(content));
    ::SafeArrayUnaccessData(array);
    value.vt = VT_ARRAY | VT_UI1;
    value.parray = array;
}

void put_text(VARIANT& value)
{
    value.bstrVal = ::SysAllocString(L"settings");
    if (!value.bstrVal) {
        throw ComError(E_OUTOFMEMORY);
    }
    value.vt = VT_BSTR;
}

HRESULT answer(VARIANT& value)
{
    const broker_config config = read_broker_config();
    switch (config.answer) {
    case broker_config::answer_kind::failed_call:
        return E_FAIL;
    case broker_config::answer_kind::text:
        put_text(value);
        return S_OK;
    case broker_config::answer_kind::bytes:
        break;
    }
    try {
        put_bytes(load_settings_bytes(config.settings_file), value);
    } catch (const settings_file_error&) {
        return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    }
    return S_OK;
}

} // namespace

void* security_layer_provider::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IDispatch ? static_cast<IDispatch*>(this) : nullptr;
}

HRESULT STDMETHODCALLTYPE security_layer_provider::GetTypeInfoCount(UINT* count)
{
    if (!count) {
        return E_POINTER;
    }
    *count = 0;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE security_layer_provider::GetTypeInfo(UINT, LCID, ITypeInfo** info)
{
    if (info) {
        *info = nullptr;
    }
    return DISP_E_BADINDEX;
}

HRESULT STDMETHODCALLTYPE security_layer_provider::GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*)
{
    return DISP_E_UNKNOWNNAME;
}

HRESULT STDMETHODCALLTYPE security_layer_provider::Invoke(DISPID id, REFIID iid, LCID, WORD flags,
                                                          DISPPARAMS* parameters, VARIANT* result, EXCEPINFO*, UINT*)
{
    const HRESULT checked = check_call(id, iid, flags, parameters);
    if (FAILED(checked)) {
        return checked;
    }
    if (!result) {
        return E_POINTER;
    }
    ::VariantInit(result);
    return ComBorder("Invoke", [result] { return answer(*result); });
}

} // namespace host
