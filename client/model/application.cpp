#include "client/model/application.h"

#include <memory>
#include <new>
#include <utility>

namespace host {

namespace {

struct free_text
{
    using pointer = BSTR;
    void operator()(BSTR text) const noexcept { SysFreeString(text); }
};

} // namespace

application::application(std::wstring version)
    : version_(std::move(version))
{}

void* application::FindInterface(REFIID iid)
{
    if (iid == IID_IUnknown || iid == IID_IDispatch || iid == model::application) {
        return static_cast<IDispatch*>(this);
    }
    return iid == IID_IConnectionPointContainer ? static_cast<IConnectionPointContainer*>(this) : nullptr;
}

const std::vector<dispatch_property>& application::properties() const
{
    static const std::vector<dispatch_property> all{{model::application_name, L"Name"},
                                                    {model::application_version, L"Version"}};
    return all;
}

HRESULT application::get(DISPID id, VARIANT& value)
{
    switch (id) {
    case model::application_name:
        return put_text(L"Outlook", value);
    case model::application_version:
        return put_text(version_, value);
    default:
        return DISP_E_MEMBERNOTFOUND;
    }
}

HRESULT application::EnumConnectionPoints(IEnumConnectionPoints** points)
{
    if (points) {
        *points = nullptr;
    }
    return E_NOTIMPL;
}

HRESULT application::FindConnectionPoint(REFIID iid, IConnectionPoint** point)
{
    return events_.find(iid, point);
}

void application::fire(model::application_event event, std::initializer_list<VARIANT> arguments)
{
    events_.point().fire(static_cast<DISPID>(event), arguments);
}

void application::startup()
{
    fire(model::application_event::startup, {});
}

void application::quit()
{
    fire(model::application_event::quit, {});
}

void application::item_load(IDispatch* item)
{
    fire(model::application_event::item_load, {by_value(item)});
}

void application::new_mail(const std::wstring& entry_ids)
{
    const std::unique_ptr<OLECHAR, free_text> text(
        SysAllocStringLen(entry_ids.data(), static_cast<UINT>(entry_ids.size())));
    if (!text) {
        throw std::bad_alloc();
    }
    fire(model::application_event::new_mail_ex, {by_value(text.get())});
}

void* addin_instance::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IDispatch ? static_cast<IDispatch*>(this) : nullptr;
}

const std::vector<dispatch_property>& addin_instance::properties() const
{
    static const std::vector<dispatch_property> none;
    return none;
}

HRESULT addin_instance::get(DISPID, VARIANT&)
{
    return DISP_E_MEMBERNOTFOUND;
}

} // namespace host
