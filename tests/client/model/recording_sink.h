#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"

#include <functional>
#include <vector>

namespace host::test {

/// One event as received by a sink. Arguments are in the order of transmission: the last one first.
struct heard_event
{
    DISPID id = 0;
    WORD flags = 0;
    std::vector<VARTYPE> types;
};

/// A sink for one event interface that records the events.
class recording_sink final : public ComObject<IDispatch>
{
public:
    using reaction = std::function<void(DISPID id, DISPPARAMS& parameters)>;

    /// `react` is called during each event if it is not empty.
    explicit recording_sink(const IID& events, reaction react = {})
        : events_(events)
        , react_(std::move(react))
    {}

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override
    {
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT*, EXCEPINFO*,
                                     UINT*) override
    {
        heard_event event{id, flags, {}};
        for (UINT i = 0; i < parameters->cArgs; ++i) {
            event.types.push_back(parameters->rgvarg[i].vt);
        }
        heard.push_back(std::move(event));
        if (react_) {
            react_(id, *parameters);
        }
        return E_FAIL; // the result is ignored
    }

    std::vector<heard_event> heard;

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == IID_IDispatch || iid == events_ ? static_cast<IDispatch*>(this) : nullptr;
    }

private:
    IID events_;
    reaction react_;
};

/// Advises a sink as an add-in does. Returns the cookie; 0 if it is refused.
inline DWORD advise(IDispatch* source, const IID& events, IUnknown* sink)
{
    ComPtr<IConnectionPointContainer> container;
    ComPtr<IConnectionPoint> point;
    DWORD cookie = 0;
    if (SUCCEEDED(Query(source, IID_IConnectionPointContainer, container)) &&
        SUCCEEDED(container->FindConnectionPoint(events, Receive(point)))) {
        point->Advise(sink, &cookie);
    }
    return cookie;
}

inline HRESULT unadvise(IDispatch* source, const IID& events, DWORD cookie)
{
    ComPtr<IConnectionPointContainer> container;
    ComPtr<IConnectionPoint> point;
    source->QueryInterface(IID_IConnectionPointContainer, Receive(container));
    container->FindConnectionPoint(events, Receive(point));
    return point->Unadvise(cookie);
}

} // namespace host::test
