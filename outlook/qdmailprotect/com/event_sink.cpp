#include "outlook/qdmailprotect/com/event_sink.h"

#include "outlook/qdmailprotect/com/com_border.h"

#include <algorithm>
#include <ocidl.h>

void* EventSink::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IDispatch || iid == eventInterface_ ? static_cast<IDispatch*>(this)
                                                                                 : nullptr;
}

HRESULT STDMETHODCALLTYPE EventSink::GetTypeInfoCount(UINT* count)
{
    if (!count) {
        return E_POINTER;
    }
    *count = 0;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE EventSink::GetTypeInfo(UINT, LCID, ITypeInfo** info)
{
    if (info) {
        *info = nullptr;
    }
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE EventSink::GetIDsOfNames(REFIID, LPOLESTR*, UINT count, LCID, DISPID* identifiers)
{
    if (identifiers) {
        std::fill_n(identifiers, count, DISPID_UNKNOWN);
    }
    return DISP_E_UNKNOWNNAME;
}

HRESULT STDMETHODCALLTYPE EventSink::Invoke(DISPID event, REFIID iid, LCID, WORD, DISPPARAMS* parameters, VARIANT*,
                                            EXCEPINFO*, UINT*)
{
    if (iid != IID_NULL && iid != eventInterface_) {
        return S_OK;
    }
    const auto entry =
        std::find_if(map_.begin(), map_.end(), [event](const SinkEntry& known) { return known.event == event; });
    if (entry == map_.end()) {
        return S_OK;
    }
    const VARIANT* argument = nullptr;
    const UINT expected = entry->argument == VT_EMPTY ? 0 : 1;
    if (!parameters || parameters->cArgs != expected) {
        return DISP_E_BADPARAMCOUNT;
    }
    if (expected != 0) {
        argument = &parameters->rgvarg[0];
        if (argument->vt != entry->argument) {
            return DISP_E_TYPEMISMATCH;
        }
    }
    const ComPtr<IUnknown> alive(this); // handling the event may end the connection
    return EventBorder(name_, [&] { Handle(event, argument); });
}

namespace {

HRESULT FindConnectionPoint(IUnknown* source, REFIID iid, ComPtr<IConnectionPoint>& point)
{
    ComPtr<IConnectionPointContainer> container;
    HRESULT result = source->QueryInterface(IID_IConnectionPointContainer, Receive(container));
    if (SUCCEEDED(result) && container) {
        result = container->FindConnectionPoint(iid, Receive(point));
    }
    return SUCCEEDED(result) && !point ? E_NOINTERFACE : result;
}

} // namespace

HRESULT AdviseEvents(IUnknown* source, REFIID iid, IUnknown* sink, std::uint32_t& cookie)
{
    ComPtr<IConnectionPoint> point;
    HRESULT result = FindConnectionPoint(source, iid, point);
    if (SUCCEEDED(result)) {
        DWORD made = 0;
        result = point->Advise(sink, &made);
        if (SUCCEEDED(result)) {
            cookie = made;
        }
    }
    return result;
}

HRESULT UnadviseEvents(IUnknown* source, REFIID iid, std::uint32_t cookie)
{
    ComPtr<IConnectionPoint> point;
    const HRESULT result = FindConnectionPoint(source, iid, point);
    return SUCCEEDED(result) ? point->Unadvise(cookie) : result;
}
