#pragma once

#include "outlook/qdmailprotect/check/item_events.h"
#include "outlook/qdmailprotect/com/event_sink.h"

/// Listens to the events of one item on behalf of its handler. Kept alive by the item's reference while it is advised.
class ItemEventSink final : public EventSink
{
public:
    explicit ItemEventSink(ComPtr<IItemEvents> handler);

protected:
    void Handle(DISPID event, const VARIANT* argument) override;

private:
    ComPtr<IItemEvents> handler_;
};

/// A source of item events that uses the items' connection points.
class ItemConnectionPoints final : public ItemEventSource
{
public:
    HRESULT Advise(IUnknown* item, ComPtr<IItemEvents> sink, std::uint32_t& cookie) override;
    HRESULT Unadvise(IUnknown* item, std::uint32_t cookie) override;
};
