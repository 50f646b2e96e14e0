#include "client/model/connection_point.h"

#include "store/guard.h"

#include <algorithm>
#include <utility>

namespace host {

connection_point::connection_point(const IID& events, IConnectionPointContainer& container)
    : events_(events)
    , container_(&container)
{}

void* connection_point::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IConnectionPoint ? static_cast<IConnectionPoint*>(this) : nullptr;
}

HRESULT connection_point::GetConnectionInterface(IID* iid)
{
    if (!iid) {
        return E_POINTER;
    }
    *iid = events_;
    return S_OK;
}

HRESULT connection_point::GetConnectionPointContainer(IConnectionPointContainer** container)
{
    if (!container) {
        return E_POINTER;
    }
    *container = container_;
    if (!container_) {
        return E_UNEXPECTED;
    }
    container_->AddRef();
    return S_OK;
}

HRESULT connection_point::Advise(IUnknown* sink, DWORD* cookie)
{
    if (!sink || !cookie) {
        return E_POINTER;
    }
    *cookie = 0;
    ComPtr<IDispatch> answering;
    if (FAILED(Query(sink, events_, answering)) || !answering) {
        return CONNECT_E_CANNOTCONNECT;
    }
    return guarded([&] {
        sinks_.emplace(next_cookie_, std::move(answering));
        *cookie = next_cookie_++;
        return HRESULT{S_OK};
    });
}

HRESULT connection_point::Unadvise(DWORD cookie)
{
    const auto found = sinks_.find(cookie);
    if (found == sinks_.end()) {
        return CONNECT_E_NOCONNECTION;
    }
    // Erasing the entry may release the sink and the objects it holds; the table must be consistent before that.
    const ComPtr<IDispatch> last = std::move(found->second);
    sinks_.erase(found);
    return S_OK;
}

HRESULT connection_point::EnumConnections(IEnumConnections** connections)
{
    if (connections) {
        *connections = nullptr;
    }
    return E_NOTIMPL;
}

void connection_point::fire(DISPID event, std::initializer_list<VARIANT> arguments)
{
    std::vector<VARIANT> reversed(arguments);
    std::reverse(reversed.begin(), reversed.end());
    std::vector<ComPtr<IDispatch>> listening;
    for (const auto& [cookie, sink] : sinks_) {
        listening.push_back(sink);
    }
    for (const ComPtr<IDispatch>& sink : listening) {
        DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
        VARIANT result;
        VariantInit(&result);
        sink->Invoke(event, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, &result, nullptr, nullptr);
        VariantClear(&result);
    }
}

bool connection_point::drop_sinks()
{
    const auto last = std::exchange(sinks_, {});
    return !last.empty();
}

HRESULT event_end::find(REFIID iid, IConnectionPoint** point) const
{
    if (!point) {
        return E_POINTER;
    }
    *point = nullptr;
    if (iid != events_) {
        return CONNECT_E_NOCONNECTION;
    }
    *point = ComPtr<connection_point>(point_).detach();
    return S_OK;
}

VARIANT by_reference(VARIANT_BOOL& flag)
{
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_BOOL | VT_BYREF;
    value.pboolVal = &flag;
    return value;
}

VARIANT by_value(IDispatch* object)
{
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_DISPATCH;
    value.pdispVal = object;
    return value;
}

VARIANT by_value(BSTR text)
{
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_BSTR;
    value.bstrVal = text;
    return value;
}

} // namespace host
