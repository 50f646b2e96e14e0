#pragma once

#include "outlook/qdmailprotect/com/module_lifetime.h"
#include "outlook/qdmailprotect/mapi/com_object.h"

#include <span>

/// One entry of a sink map: a handled event and the type of its only argument, VT_EMPTY if it has none.
struct SinkEntry
{
    DISPID event;
    VARTYPE argument;
};

/// A late-bound listener for one event interface. Events arrive through Invoke as numbers. An event that is not in the
/// map or belongs to another interface is ignored and returns success. Invoke does not throw and always returns success
/// for an event. Runs on the thread that delivers events.
class EventSink : public ComObject<IDispatch>
{
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID locale,
                                            DISPID* identifiers) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID event, REFIID iid, LCID locale, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* exception, UINT* argument) override;

protected:
    /// `map` must outlive the sink. `name` is the sink's name in the log and must be a literal.
    EventSink(const IID& eventInterface, std::span<const SinkEntry> map, const char* name) noexcept
        : eventInterface_(eventInterface)
        , map_(map)
        , name_(name)
    {}
    void* FindInterface(REFIID iid) override;
    /// Handles an event of the map. `argument` has the type given in the map and is null for an event without an
    /// argument. May throw.
    virtual void Handle(DISPID event, const VARIANT* argument) = 0;

private:
    ModuleReference module_;
    IID eventInterface_;
    std::span<const SinkEntry> map_;
    const char* name_;
};

/// Connects `sink` to the connection point `iid` of `source`. `cookie` receives the identifier of the connection.
HRESULT AdviseEvents(IUnknown* source, REFIID iid, IUnknown* sink, std::uint32_t& cookie);
/// Ends the connection that `cookie` identifies.
HRESULT UnadviseEvents(IUnknown* source, REFIID iid, std::uint32_t cookie);
