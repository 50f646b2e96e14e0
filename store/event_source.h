#pragma once

#include "outlook/qdmailprotect/check/item_events.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace host {

/// Says of each item what the mail client would say: who listens hears it, in the order of subscription. All of it
/// runs on one thread; a listener may subscribe and end its subscription from within an event.
class event_source final : public ItemEventSource
{
public:
    HRESULT Advise(IUnknown* item, ComPtr<IItemEvents> sink, std::uint32_t& cookie) override;
    HRESULT Unadvise(IUnknown* item, std::uint32_t cookie) override;

    void before_read(IUnknown* item);
    /// True when a listener stops the item from being displayed.
    bool read_complete(IUnknown* item);
    /// True when a listener stops the item from being sent.
    bool send(IUnknown* item);
    void unload(IUnknown* item);
    /// Subscriptions that are in force.
    [[nodiscard]] std::size_t subscriptions() const noexcept { return sinks_.size(); }

private:
    struct subscription
    {
        IUnknown* item;
        ComPtr<IItemEvents> sink;
    };
    [[nodiscard]] std::vector<ComPtr<IItemEvents>> listeners(IUnknown* item) const;

    std::map<std::uint32_t, subscription> sinks_;
    std::uint32_t next_cookie_ = 1;
};

} // namespace host
