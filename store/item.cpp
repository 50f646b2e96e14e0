#include "store/item.h"

#include <utility>

namespace host {

namespace {

const IID& interface_of(item_kind kind)
{
    switch (kind) {
    case item_kind::meeting:
        return IID_MeetingItem;
    case item_kind::task:
        return IID_TaskItem;
    default:
        return IID_MailItem;
    }
}

} // namespace

item::item(item_kind kind, ComPtr<message_object> message)
    : OutlookItemBase(interface_of(kind))
    , message_(std::move(message))
{}

HRESULT item::MapiObject(IUnknown** object)
{
    *object = static_cast<IMessage*>(message_.get());
    message_->AddRef();
    return S_OK;
}

item_kind kind_of_class(std::wstring_view message_class)
{
    if (message_class.starts_with(L"IPM.Schedule.Meeting")) {
        return item_kind::meeting;
    }
    return message_class.starts_with(L"IPM.Task") ? item_kind::task : item_kind::mail;
}

} // namespace host
