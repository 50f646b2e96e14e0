#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "store/object_ledger.h"

#include <initializer_list>
#include <map>
#include <ocidl.h>
#include <olectl.h>
#include <vector>

namespace host {

/// The place where sinks for one event interface are advised. Its container holds it and outlives it, but for
/// a client that keeps it longer: after detach() there is no container any more. All calls come on one thread.
class connection_point final : public ComObject<IConnectionPoint>
{
public:
    connection_point(const IID& events, IConnectionPointContainer& container);

    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override;
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** container) override;
    /// Takes a sink that answers the event interface itself.
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override;

    /// Calls every sink that is advised now, in the order of their advising; their results have no effect. Arguments
    /// stand in the event's own order. A sink may advise and unadvise meanwhile.
    void fire(DISPID event, std::initializer_list<VARIANT> arguments);
    [[nodiscard]] std::size_t sinks() const noexcept { return sinks_.size(); }
    /// Lets go of all sinks, as the client does at its end; true when there were any.
    bool drop_sinks();
    void detach() noexcept { container_ = nullptr; }

protected:
    void* FindInterface(REFIID iid) override;

private:
    IID events_;
    IConnectionPointContainer* container_;
    std::map<DWORD, ComPtr<IDispatch>> sinks_;
    DWORD next_cookie_ = 1;
    ledger_entry entry_{"connection point", static_cast<IConnectionPoint*>(this)};
};

/// The one connection point of an object that raises events.
class event_end
{
public:
    event_end(const IID& events, IConnectionPointContainer& container)
        : events_(events)
        , point_(MakeCom<connection_point>(events, container))
    {}
    event_end(const event_end&) = delete;
    event_end& operator=(const event_end&) = delete;
    ~event_end() { point_->detach(); }

    [[nodiscard]] connection_point& point() const noexcept { return *point_; }
    /// IConnectionPointContainer::FindConnectionPoint.
    HRESULT find(REFIID iid, IConnectionPoint** point) const;

private:
    IID events_;
    ComPtr<connection_point> point_;
};

/// A boolean argument that sinks may change.
VARIANT by_reference(VARIANT_BOOL& flag);
/// Arguments that stay the caller's.
VARIANT by_value(IDispatch* object);
VARIANT by_value(BSTR text);

} // namespace host
