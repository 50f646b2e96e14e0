#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "store/object_ledger.h"

#include <initializer_list>
#include <map>
#include <ocidl.h>
#include <olectl.h>
#include <vector>

namespace host {

/// The connection point for one event interface. Its container owns it and normally outlives it. If a caller holds it
/// longer, it has no container after detach(). All calls must be made on one thread.
class connection_point final : public ComObject<IConnectionPoint>
{
public:
    connection_point(const IID& events, IConnectionPointContainer& container);

    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override;
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** container) override;
    /// Accepts a sink that implements the event interface itself.
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override;

    /// Calls every sink that is currently advised, in the order of advising. Their results are ignored. `arguments` are
    /// in the order of the event's declaration. A sink may advise and unadvise during the call.
    void fire(DISPID event, std::initializer_list<VARIANT> arguments);
    [[nodiscard]] std::size_t sinks() const noexcept { return sinks_.size(); }
    /// Releases all sinks, as the client does when it ends. Returns true if there were any.
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

/// The single connection point of an object that raises events.
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
    /// Implements IConnectionPointContainer::FindConnectionPoint.
    HRESULT find(REFIID iid, IConnectionPoint** point) const;

private:
    IID events_;
    ComPtr<connection_point> point_;
};

/// Returns a boolean argument that sinks may change. Refers to `flag`.
VARIANT by_reference(VARIANT_BOOL& flag);
/// Returns an argument that stays owned by the caller.
VARIANT by_value(IDispatch* object);
VARIANT by_value(BSTR text);

} // namespace host
