#pragma once

#include "outlook/qdmailprotect/check/item_events.h"

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

/// The connections of an event handler. Forwards each notification to every connected object in turn.
class CProxyItemNotifications
{
public:
    /// Returns CannotConnect if `owner` does not implement IMailItemNotifications.
    HRESULT Advise(IUnknown* owner, std::uint32_t& cookie);
    /// Returns false if `cookie` denotes no connection.
    bool Unadvise(std::uint32_t cookie);
    /// Returns a snapshot of the connected objects with their cookies, in the order in which they connected.
    [[nodiscard]] std::vector<std::pair<std::uint32_t, ComPtr<IMailItemNotifications>>> Connected() const;

    void Fire_OnReadComplete(IUnknown* item, std::int32_t* Cancel);
    void Fire_OnUnload(IUnknown* item);
    void Fire_OnSend(IUnknown* item, std::int32_t* Cancel);
    void Fire_OnBeforeRead(IUnknown* item);
    void Fire_OnBeforeAttachmentRead(IUnknown* item, IUnknown* attachment, std::int32_t* Cancel);

private:
    std::map<std::uint32_t, ComPtr<IMailItemNotifications>> owners_;
    std::uint32_t nextCookie_ = 1;
};
