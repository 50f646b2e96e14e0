#pragma once

#include "outlook/qdmailprotect/check/item_events.h"

#include <boost/container/small_vector.hpp>

#include <cstdint>
#include <map>
#include <utility>

/// The connections of an event handler. Forwards each notification to every connected object in turn.
class CProxyItemNotifications
{
public:
    /// Connected objects with their cookies. A handler has one owner, seldom more.
    using Connections = boost::container::small_vector<std::pair<std::uint32_t, ComPtr<IMailItemNotifications>>, 2>;

    /// Returns CannotConnect if `owner` does not implement IMailItemNotifications.
    HRESULT Advise(IUnknown* owner, std::uint32_t& cookie);
    /// Returns false if `cookie` denotes no connection.
    bool Unadvise(std::uint32_t cookie);
    /// Returns a snapshot of the connected objects with their cookies, in the order in which they connected.
    [[nodiscard]] Connections Connected() const;

    void Fire_OnReadComplete(IUnknown* item, std::int32_t* Cancel);
    void Fire_OnUnload(IUnknown* item);
    void Fire_OnSend(IUnknown* item, std::int32_t* Cancel);
    void Fire_OnBeforeRead(IUnknown* item);
    void Fire_OnBeforeAttachmentRead(IUnknown* item, IUnknown* attachment, std::int32_t* Cancel);

private:
    std::map<std::uint32_t, ComPtr<IMailItemNotifications>> owners_;
    std::uint32_t nextCookie_ = 1;
};
