#include "client/model/items.h"

#include <cstdint>
#include <utility>

namespace host {

namespace {

HRESULT put_mapi_object(const ComPtr<IUnknown>& object, VARIANT& value)
{
    if (object) {
        put_object(object.get(), value);
    } else {
        value.vt = VT_UNKNOWN;
        value.punkVal = nullptr;
    }
    return S_OK;
}

/// The cancel flag of a sink, with padding after it: an add-in that writes 32 bits through the reference does no harm.
struct alignas(std::uint32_t) cancel_flag
{
    VARIANT_BOOL value = VARIANT_FALSE;
    VARIANT_BOOL room = VARIANT_FALSE;
};

} // namespace

outlook_item::outlook_item(const IID& kind, ComPtr<IUnknown> object)
    : kind_(kind)
    , object_(std::move(object))
{}

void* outlook_item::FindInterface(REFIID iid)
{
    if (iid == IID_IUnknown || iid == IID_IDispatch || iid == kind_) {
        return static_cast<IDispatch*>(this);
    }
    return iid == IID_IConnectionPointContainer ? static_cast<IConnectionPointContainer*>(this) : nullptr;
}

const std::vector<dispatch_property>& outlook_item::properties() const
{
    static const std::vector<dispatch_property> all{{model::mapi_object, L"MAPIOBJECT"}};
    return all;
}

HRESULT outlook_item::get(DISPID id, VARIANT& value)
{
    return id == model::mapi_object ? put_mapi_object(object_, value) : DISP_E_MEMBERNOTFOUND;
}

HRESULT outlook_item::EnumConnectionPoints(IEnumConnectionPoints** points)
{
    if (points) {
        *points = nullptr;
    }
    return E_NOTIMPL;
}

HRESULT outlook_item::FindConnectionPoint(REFIID iid, IConnectionPoint** point)
{
    return events_.find(iid, point);
}

void outlook_item::fire(model::item_event event, std::initializer_list<VARIANT> arguments)
{
    events_.point().fire(static_cast<DISPID>(event), arguments);
}

bool outlook_item::fire_cancellable(model::item_event event)
{
    cancel_flag cancel;
    fire(event, {by_reference(cancel.value)});
    return cancel.value != VARIANT_FALSE;
}

void outlook_item::before_read()
{
    fire(model::item_event::before_read, {});
}

void outlook_item::read()
{
    fire(model::item_event::read, {});
}

bool outlook_item::read_complete()
{
    return fire_cancellable(model::item_event::read_complete);
}

bool outlook_item::open()
{
    return fire_cancellable(model::item_event::open);
}

bool outlook_item::send()
{
    return fire_cancellable(model::item_event::send);
}

bool outlook_item::write()
{
    return fire_cancellable(model::item_event::write);
}

bool outlook_item::close()
{
    return fire_cancellable(model::item_event::close);
}

bool outlook_item::before_attachment_read(IDispatch* attachment)
{
    cancel_flag cancel;
    fire(model::item_event::before_attachment_read, {by_value(attachment), by_reference(cancel.value)});
    return cancel.value != VARIANT_FALSE;
}

void outlook_item::unload()
{
    fire(model::item_event::unload, {});
}

void outlook_item::raise(DISPID event)
{
    events_.point().fire(event, {});
}

const IID& interface_of_kind(item_kind kind)
{
    switch (kind) {
    case item_kind::meeting:
        return model::meeting_item;
    case item_kind::task:
        return model::task_item;
    default:
        return model::mail_item;
    }
}

outlook_attachment::outlook_attachment(std::wstring file_name, std::wstring display_name, ComPtr<IUnknown> object)
    : file_name_(std::move(file_name))
    , display_name_(std::move(display_name))
    , object_(std::move(object))
{}

void* outlook_attachment::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IDispatch || iid == model::attachment ? static_cast<IDispatch*>(this)
                                                                                   : nullptr;
}

const std::vector<dispatch_property>& outlook_attachment::properties() const
{
    static const std::vector<dispatch_property> all{{model::mapi_object, L"MAPIOBJECT"},
                                                    {model::attachment_file_name, L"FileName"},
                                                    {model::attachment_display_name, L"DisplayName"}};
    return all;
}

HRESULT outlook_attachment::get(DISPID id, VARIANT& value)
{
    switch (id) {
    case model::mapi_object:
        return put_mapi_object(object_, value);
    case model::attachment_file_name:
        return put_text(file_name_, value);
    case model::attachment_display_name:
        return put_text(display_name_, value);
    default:
        return DISP_E_MEMBERNOTFOUND;
    }
}

} // namespace host
