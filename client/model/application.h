#pragma once

#include "client/model/connection_point.h"
#include "client/model/dispatch.h"
#include "client/model/model.h"

#include <string>

namespace host {

/// The mail client's application object as seen by an add-in: name, version and events. All calls must be made on one
/// thread.
class application final : public dispatch_object<IConnectionPointContainer>
{
public:
    explicit application(std::wstring version);

    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override;
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override;

    // Events.
    void startup();
    void quit();
    void item_load(IDispatch* item);
    void new_mail(const std::wstring& entry_ids);
    /// Returns the number of current subscriptions.
    [[nodiscard]] std::size_t subscriptions() const noexcept { return events_.point().sinks(); }

protected:
    void* FindInterface(REFIID iid) override;
    [[nodiscard]] const std::vector<dispatch_property>& properties() const override;
    HRESULT get(DISPID id, VARIANT& value) override;

private:
    void fire(model::application_event event, std::initializer_list<VARIANT> arguments);

    std::wstring version_;
    event_end events_{model::application_events, *this};
    ledger_entry entry_{"Application", static_cast<IDispatch*>(this)};
};

/// The object passed to OnConnection as the add-in's own entry in the client's list. It has no properties.
class addin_instance final : public dispatch_object<>
{
protected:
    void* FindInterface(REFIID iid) override;
    [[nodiscard]] const std::vector<dispatch_property>& properties() const override;
    HRESULT get(DISPID id, VARIANT& value) override;

private:
    ledger_entry entry_{"COMAddIn", static_cast<IDispatch*>(this)};
};

} // namespace host
