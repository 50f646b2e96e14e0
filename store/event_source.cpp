#include "store/event_source.h"

#include <utility>

namespace host {

HRESULT event_source::Advise(IUnknown* item, ComPtr<IItemEvents> sink, std::uint32_t& cookie)
{
    if (!item || !sink) {
        return E_POINTER;
    }
    cookie = next_cookie_++;
    sinks_.emplace(cookie, subscription{item, std::move(sink)});
    return S_OK;
}

HRESULT event_source::Unadvise(IUnknown* item, std::uint32_t cookie)
{
    const auto found = sinks_.find(cookie);
    if (found == sinks_.end() || found->second.item != item) {
        return E_INVALIDARG;
    }
    // The sink and the objects that it owns may be destroyed with the subscription, so the table is updated before
    // that.
    const auto last = std::move(found->second.sink);
    sinks_.erase(found);
    return S_OK;
}

event_source::sinks event_source::listeners(IUnknown* item) const
{
    sinks result;
    for (const auto& [cookie, entry] : sinks_) {
        if (entry.item == item) {
            result.push_back(entry.sink);
        }
    }
    return result;
}

void event_source::before_read(IUnknown* item)
{
    for (const auto& sink : listeners(item)) {
        sink->OnBeforeRead();
    }
}

bool event_source::read_complete(IUnknown* item)
{
    std::int32_t cancel = 0;
    for (const auto& sink : listeners(item)) {
        sink->OnReadComplete(&cancel);
    }
    return cancel != 0;
}

bool event_source::send(IUnknown* item)
{
    std::int32_t cancel = 0;
    for (const auto& sink : listeners(item)) {
        sink->OnSend(&cancel);
    }
    return cancel != 0;
}

void event_source::unload(IUnknown* item)
{
    for (const auto& sink : listeners(item)) {
        sink->OnUnload();
    }
}

} // namespace host
