#pragma once

#include "outlook/qdmailprotect/com/module_lifetime.h"
#include "outlook/qdmailprotect/mapi/com_object.h"

#include <span>

/// One entry of a sink map: an event that is listened to, and the type of its one argument, VT_EMPTY if it has none.
struct SinkEntry
{
    DISPID event;
    VARTYPE argument;
};

/// A late-bound listener of one event interface. Events come by number through Invoke; one that isn't in the map, or of
/// another interface, is answered with success and does nothing. What an event leads to lets no exception out and is
/// always answered with success. Runs on the thread that delivers events.
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
    /// `map` outlives the sink; `name` names it in the log and is a literal.
    EventSink(const IID& eventInterface, std::span<const SinkEntry> map, const char* name) noexcept
        : eventInterface_(eventInterface)
        , map_(map)
        , name_(name)
    {}
    void* FindInterface(REFIID iid) override;
    /// An event of the map. `argument` has the type that the map tells, and is null for an event without one. May
    /// raise.
    virtual void Handle(DISPID event, const VARIANT* argument) = 0;

private:
    ModuleReference module_;
    IID eventInterface_;
    std::span<const SinkEntry> map_;
    const char* name_;
};

/// Connects `sink` to the connection point `iid` of `source`; `cookie` names the connection.
HRESULT AdviseEvents(IUnknown* source, REFIID iid, IUnknown* sink, std::uint32_t& cookie);
/// Ends a connection.
HRESULT UnadviseEvents(IUnknown* source, REFIID iid, std::uint32_t cookie);
