#pragma once

#include "outlook/qdmailprotect/check/item_events.h"
#include "outlook/qdmailprotect/check/message_check.h"
#include "tool/system/clock.h"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>

/// Creates an event handler. The default factory creates a CMailItemEventHandler.
using EventHandlerFactory =
    std::function<HRESULT(const std::shared_ptr<ItemEventSource>& events, ComPtr<IUnknown>& handler)>;

/// Handles the mail client's item events. Each loaded item gets a handler. The message is checked before it is read. A
/// block is reported through `Cancel` of the next read-complete event, regardless of its item. Must be created with
/// MakeCom; the handlers hold references to their owner while they are advised. All operations must be called on the
/// thread that delivers events.
///
/// The events of one item are delivered in this order: OnItemLoad, OnBeforeRead, OnReadComplete, OnUnload. The
/// application delivers the first one, the item's handler and its owner the others.
class MailEvents final : public ComObject<IMailItemNotifications>
{
public:
    /// If `clock` is null, the system clock is used; otherwise `clock` must outlive this object.
    MailEvents(std::shared_ptr<MessageCheck> check, std::shared_ptr<ItemEventSource> events,
               const winapi::time_source* clock = nullptr, EventHandlerFactory factory = {});

    /// Sets the owner of the handlers that are created from now on. The owner receives their events and calls this
    /// object for each; null selects this object, which is the initial owner. Only the handlers hold references to it:
    /// it must be replaced before it is destroyed.
    void SetOwner(IMailItemNotifications* owner) noexcept { owner_ = owner ? owner : this; }

    /// Allows the next check to connect on its own thread. Called when the mail client has finished starting.
    void SetConnectNow() noexcept { connectNow_ = true; }
    [[nodiscard]] bool ConnectNow() const noexcept { return connectNow_; }

    /// Called when new mail has arrived. Does nothing, because a mail is checked when it is opened.
    void OnNewMail() noexcept {}
    /// Subscribes to the events of a loaded item. If this fails, the item is unprotected and the failure is only
    /// logged.
    void OnItemLoad(IUnknown* item);

    HRESULT STDMETHODCALLTYPE OnReadComplete(IUnknown* item, std::int32_t* Cancel) override;
    HRESULT STDMETHODCALLTYPE OnUnload(IUnknown* item) override;
    HRESULT STDMETHODCALLTYPE OnSend(IUnknown* item, std::int32_t* Cancel) override;
    HRESULT STDMETHODCALLTYPE OnBeforeRead(IUnknown* item) override;
    HRESULT STDMETHODCALLTYPE OnBeforeAttachmentRead(IUnknown* item, IUnknown* attachment,
                                                     std::int32_t* Cancel) override;

    /// Ends and releases the remaining handlers without an unload event. Called at disconnection: the items that are
    /// still open hold their handlers, the handlers their owner, and the owner holds this object.
    void ReleaseHandlers();
    [[nodiscard]] std::size_t HandlerCount() const noexcept { return handlers_.size(); }

protected:
    void* FindInterface(REFIID iid) override;

private:
    ComPtr<IMailItemEventHandler> NewHandler();

    std::shared_ptr<MessageCheck> check_;
    std::shared_ptr<ItemEventSource> events_;
    const winapi::time_source* clock_;
    EventHandlerFactory factory_;
    IMailItemNotifications* owner_ = this; ///< not counted, since a reference to itself would be a cycle
    bool connectNow_ = false;
    bool displayBlocked_ = false; ///< shared by all items
    std::map<IUnknown*, ComPtr<IMailItemEventHandler>> handlers_;
};
