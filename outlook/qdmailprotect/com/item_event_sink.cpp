#include "outlook/qdmailprotect/com/item_event_sink.h"

#include "outlook/qdmailprotect/com/outlook_events.h"

#include <utility>

namespace {

/// Exactly these four. What leads up to the opening of an attachment isn't listened to.
constexpr SinkEntry ItemSinkMap[] = {
    {DispIdReadComplete, VT_BOOL | VT_BYREF},
    {DispIdUnload, VT_EMPTY},
    {DispIdSend, VT_BOOL | VT_BYREF},
    {DispIdBeforeRead, VT_EMPTY},
};

/// The flag that a cancellable event passes. It is read and written as 32 bits.
std::int32_t* CancelFlag(const VARIANT& argument)
{
    return reinterpret_cast<std::int32_t*>(argument.pboolVal);
}

} // namespace

ItemEventSink::ItemEventSink(ComPtr<IItemEvents> handler)
    : EventSink(IID_ItemEvents, ItemSinkMap, "an item event")
    , handler_(std::move(handler))
{}

void ItemEventSink::Handle(DISPID event, const VARIANT* argument)
{
    switch (event) {
    case DispIdReadComplete:
        handler_->OnReadComplete(CancelFlag(*argument));
        break;
    case DispIdUnload:
        handler_->OnUnload();
        break;
    case DispIdSend:
        handler_->OnSend(CancelFlag(*argument));
        break;
    case DispIdBeforeRead:
        handler_->OnBeforeRead();
        break;
    default:
        break;
    }
}

HRESULT ItemConnectionPoints::Advise(IUnknown* item, ComPtr<IItemEvents> sink, std::uint32_t& cookie)
{
    const auto listener = MakeCom<ItemEventSink>(std::move(sink));
    return AdviseEvents(item, IID_ItemEvents, listener.get(), cookie);
}

HRESULT ItemConnectionPoints::Unadvise(IUnknown* item, std::uint32_t cookie)
{
    return UnadviseEvents(item, IID_ItemEvents, cookie);
}
