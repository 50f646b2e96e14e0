#include "outlook/qdmailprotect/check/item_notifications.h"

#include <new>

HRESULT CProxyItemNotifications::Advise(IUnknown* owner, std::uint32_t& cookie)
{
    ComPtr<IMailItemNotifications> notifications;
    if (FAILED(Query(owner, IID_IMailItemNotifications, notifications)) || !notifications) {
        return CannotConnect;
    }
    try {
        owners_.emplace(nextCookie_, std::move(notifications));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY; // the handler undoes the earlier steps
    }
    cookie = nextCookie_++;
    return S_OK;
}

void CProxyItemNotifications::Unadvise(std::uint32_t cookie)
{
    owners_.erase(cookie);
}

std::vector<ComPtr<IMailItemNotifications>> CProxyItemNotifications::Connected() const
{
    std::vector<ComPtr<IMailItemNotifications>> connected;
    for (const auto& [cookie, owner] : owners_) {
        connected.push_back(owner);
    }
    return connected;
}

void CProxyItemNotifications::Fire_OnReadComplete(IUnknown* item, std::int32_t* Cancel)
{
    for (const auto& owner : Connected()) {
        owner->OnReadComplete(item, Cancel);
    }
}

void CProxyItemNotifications::Fire_OnUnload(IUnknown* item)
{
    for (const auto& owner : Connected()) {
        owner->OnUnload(item);
    }
}

void CProxyItemNotifications::Fire_OnSend(IUnknown* item, std::int32_t* Cancel)
{
    for (const auto& owner : Connected()) {
        owner->OnSend(item, Cancel);
    }
}

void CProxyItemNotifications::Fire_OnBeforeRead(IUnknown* item)
{
    for (const auto& owner : Connected()) {
        owner->OnBeforeRead(item);
    }
}

void CProxyItemNotifications::Fire_OnBeforeAttachmentRead(IUnknown* item, IUnknown* attachment, std::int32_t* Cancel)
{
    for (const auto& owner : Connected()) {
        owner->OnBeforeAttachmentRead(item, attachment, Cancel);
    }
}
