#include "outlook/qdmailprotect/com/item_event_sink.h"

#include "outlook/qdmailprotect/com/outlook_events.h"

#include <utility>

namespace {

/// Exactly these four events. Events that precede the opening of an attachment are not handled.
constexpr SinkEntry ItemSinkMap[] = {
    {DispIdReadComplete, VT_BOOL | VT_BYREF},
    {DispIdUnload, VT_EMPTY},
    {DispIdSend, VT_BOOL | VT_BYREF},
    {DispIdBeforeRead, VT_EMPTY},
};

/// Returns the flag of a cancellable event. It is read and written as a 32-bit value.
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
