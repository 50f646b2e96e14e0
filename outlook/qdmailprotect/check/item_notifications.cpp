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

bool CProxyItemNotifications::Unadvise(std::uint32_t cookie)
{
    const auto released = owners_.extract(cookie); // the owner may end with its reference, after the table has changed
    return !released.empty();
}

CProxyItemNotifications::Connections CProxyItemNotifications::Connected() const
{
    return {owners_.begin(), owners_.end()};
}

// A notification may connect and disconnect objects, so each one goes to those that are connected when it begins.

void CProxyItemNotifications::Fire_OnReadComplete(IUnknown* item, std::int32_t* Cancel)
{
    for (const auto& [cookie, owner] : Connected()) {
        owner->OnReadComplete(item, Cancel);
    }
}

void CProxyItemNotifications::Fire_OnUnload(IUnknown* item)
{
    for (const auto& [cookie, owner] : Connected()) {
        owner->OnUnload(item);
    }
}

void CProxyItemNotifications::Fire_OnSend(IUnknown* item, std::int32_t* Cancel)
{
    for (const auto& [cookie, owner] : Connected()) {
        owner->OnSend(item, Cancel);
    }
}

void CProxyItemNotifications::Fire_OnBeforeRead(IUnknown* item)
{
    for (const auto& [cookie, owner] : Connected()) {
        owner->OnBeforeRead(item);
    }
}

void CProxyItemNotifications::Fire_OnBeforeAttachmentRead(IUnknown* item, IUnknown* attachment, std::int32_t* Cancel)
{
    for (const auto& [cookie, owner] : Connected()) {
        owner->OnBeforeAttachmentRead(item, attachment, Cancel);
    }
}
