#include "tests/outlook/qdmailprotect/com/support/odd_application.h"

#include "client/model/connection_point.h"
#include "outlook/qdmailprotect/com/outlook_events.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace test {

void* odd_application::FindInterface(REFIID iid)
{
    if (iid == IID_OutlookApplication) {
        return interfaces-- > 0 ? static_cast<IDispatch*>(this) : nullptr;
    }
    if (iid == IID_IConnectionPointContainer) {
        return has_points ? static_cast<IConnectionPointContainer*>(this) : nullptr;
    }
    return iid == IID_IUnknown || iid == IID_IDispatch ? static_cast<IDispatch*>(this) : nullptr;
}

HRESULT odd_application::FindConnectionPoint(REFIID, IConnectionPoint** point)
{
    *point = nullptr;
    if (SUCCEEDED(find_point) && !gives_no_point) {
        *point = this;
        AddRef();
    }
    return find_point;
}

HRESULT odd_application::Advise(IUnknown* sink, DWORD* made)
{
    ++advises;
    *made = cookie;
    if (SUCCEEDED(advise)) {
        sink_ = sink;
    }
    return advise;
}

HRESULT odd_application::Unadvise(DWORD ended)
{
    if (on_unadvise) {
        on_unadvise(ended);
    }
    sink_.reset();
    return unadvise;
}

void odd_application::fire(DISPID event, IDispatch* argument)
{
    ComPtr<IDispatch> sink;
    ASSERT_NE(sink_, nullptr);
    ASSERT_EQ(Query(sink_.get(), IID_IDispatch, sink), S_OK);
    VARIANT value = host::by_value(argument);
    DISPPARAMS parameters{&value, nullptr, 1, 0};
    EXPECT_EQ(
        sink->Invoke(event, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr),
        S_OK);
}

HRESULT odd_application::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*, UINT*)
{
    if (raises) {
        throw std::runtime_error("scripted failure");
    }
    VariantInit(result);
    if (id == DispIdApplicationName) {
        result->vt = VT_BSTR;
        result->bstrVal = SysAllocString(L"Stand-in");
        return S_OK;
    }
    if (version_type == VT_EMPTY) {
        return DISP_E_MEMBERNOTFOUND;
    }
    if (version_type == VT_I4) {
        result->vt = VT_I4;
        result->lVal = 16;
        return S_OK;
    }
    result->vt = VT_BSTR;
    result->bstrVal = SysAllocStringLen(version.data(), static_cast<UINT>(version.size()));
    return S_OK;
}

} // namespace test
