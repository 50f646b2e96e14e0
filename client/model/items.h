#pragma once

#include "client/model/connection_point.h"
#include "client/model/dispatch.h"
#include "client/model/model.h"
#include "store/item.h"

#include <string>

namespace host {

/// One item of the mail client's model. Implements the interface of its kind, returns the store's object behind it, and
/// raises the item events. All calls must be made on one thread.
class outlook_item final : public dispatch_object<IConnectionPointContainer>
{
public:
    /// `kind` is the interface that identifies the item's kind. `object` is the value of MAPIOBJECT and may be null.
    outlook_item(const IID& kind, ComPtr<IUnknown> object);

    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override;
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override;

    // Events. Those that return a value return true if a sink cancels the operation.
    void before_read();
    void read();
    bool read_complete();
    bool open();
    bool send();
    bool write();
    bool close();
    bool before_attachment_read(IDispatch* attachment);
    void unload();
    /// Raises an event with any number, without arguments.
    void raise(DISPID event);

    /// Returns the number of current subscriptions.
    [[nodiscard]] std::size_t subscriptions() const noexcept { return events_.point().sinks(); }
    /// Releases all sinks, as the client does for open items when it ends.
    void drop_sinks() { events_.point().drop_sinks(); }

protected:
    void* FindInterface(REFIID iid) override;
    [[nodiscard]] const std::vector<dispatch_property>& properties() const override;
    HRESULT get(DISPID id, VARIANT& value) override;

private:
    void fire(model::item_event event, std::initializer_list<VARIANT> arguments);
    bool fire_cancellable(model::item_event event);

    IID kind_;
    ComPtr<IUnknown> object_;
    event_end events_{model::item_events, *this};
    ledger_entry entry_{"item", static_cast<IDispatch*>(this)};
};

/// Returns the interface of an item's kind.
const IID& interface_of_kind(item_kind kind);

/// One attachment of the mail client's model.
class outlook_attachment final : public dispatch_object<>
{
public:
    outlook_attachment(std::wstring file_name, std::wstring display_name, ComPtr<IUnknown> object);

protected:
    void* FindInterface(REFIID iid) override;
    [[nodiscard]] const std::vector<dispatch_property>& properties() const override;
    HRESULT get(DISPID id, VARIANT& value) override;

private:
    std::wstring file_name_;
    std::wstring display_name_;
    ComPtr<IUnknown> object_;
    ledger_entry entry_{"Attachment", static_cast<IDispatch*>(this)};
};

} // namespace host
