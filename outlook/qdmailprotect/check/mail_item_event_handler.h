#pragma once

#include "outlook/qdmailprotect/check/item_events.h"
#include "outlook/qdmailprotect/check/item_notifications.h"
#include "outlook/qdmailprotect/check/notification_point.h"

#include <memory>

/// Listens to one loaded item and forwards each event to its owner. Kept alive by the reference of the owner and, while
/// advised, by that of the item. Its one connection point is that of IMailItemNotifications.
class CMailItemEventHandler final : public ComObject<IMailItemEventHandler, IItemEvents, IConnectionPointContainer>
{
public:
    explicit CMailItemEventHandler(std::shared_ptr<ItemEventSource> events);

    HRESULT STDMETHODCALLTYPE Advise(IUnknown* pOwner, IUnknown* pSource) override;
    HRESULT STDMETHODCALLTYPE Unadvise() override;

    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override;
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override;

    void OnReadComplete(std::int32_t* Cancel) override;
    void OnUnload() override;
    void OnSend(std::int32_t* Cancel) override;
    void OnBeforeRead() override;
    void OnBeforeAttachmentRead(IUnknown* attachment, std::int32_t* Cancel) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    std::shared_ptr<ItemEventSource> events_;
    CProxyItemNotifications notifications_;
    NotificationPoint point_{notifications_, *this};
    ComPtr<IUnknown> pSource_;
    std::uint32_t itemCookie_ = NotAdvised;
    std::uint32_t ownerCookie_ = NotAdvised;
};
