#pragma once

#include "outlook/qdmailprotect/check/item_events.h"

#include <boost/container/small_vector.hpp>

#include <cstdint>
#include <map>
#include <memory>

namespace host {

/// Raises the events of items in place of the mail client. Listeners receive them in the order of subscription. Must be
/// used on one thread; a listener may subscribe and unsubscribe within an event.
class event_source final : public ItemEventSource
{
public:
    HRESULT Advise(IUnknown* item, ComPtr<IItemEvents> sink, std::uint32_t& cookie) override;
    HRESULT Unadvise(IUnknown* item, std::uint32_t cookie) override;

    void before_read(IUnknown* item);
    /// Returns true if a listener cancels the display of the item.
    bool read_complete(IUnknown* item);
    /// Returns true if a listener cancels the sending of the item.
    bool send(IUnknown* item);
    void unload(IUnknown* item);
    /// Returns the number of active subscriptions.
    [[nodiscard]] std::size_t subscriptions() const noexcept { return sinks_.size(); }

private:
    struct subscription
    {
        IUnknown* item;
        ComPtr<IItemEvents> sink;
    };
    /// An item has one listener, seldom more.
    using sinks = boost::container::small_vector<ComPtr<IItemEvents>, 2>;
    [[nodiscard]] sinks listeners(IUnknown* item) const;

    std::map<std::uint32_t, subscription> sinks_;
    std::uint32_t next_cookie_ = 1;
};

} // namespace host
