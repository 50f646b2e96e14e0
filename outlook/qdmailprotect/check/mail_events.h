#pragma once

#include "outlook/qdmailprotect/check/item_events.h"
#include "outlook/qdmailprotect/check/message_check.h"
#include "tool/system/clock.h"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>

/// Makes an event handler; the default makes a CMailItemEventHandler.
using EventHandlerFactory =
    std::function<HRESULT(const std::shared_ptr<ItemEventSource>& events, ComPtr<IUnknown>& handler)>;

/// What the mail client's item events lead to. Each loaded item gets a handler; before a read the message is checked,
/// and a block is delivered through `Cancel` of the next read-complete event, of whatever item. Made with MakeCom; the
/// handlers hold references to their owner while they are advised. All of it runs on the thread that delivers events.
///
/// Order of the events of one item: OnItemLoad, OnBeforeRead, OnReadComplete, OnUnload. The first comes from the
/// application, the others through the item's handler and its owner.
class MailEvents final : public ComObject<IMailItemNotifications>
{
public:
    /// A null `clock` stands for the system's; another outlives this object.
    MailEvents(std::shared_ptr<MessageCheck> check, std::shared_ptr<ItemEventSource> events,
               const winapi::time_source* clock = nullptr, EventHandlerFactory factory = {});

    /// `owner` hears the events of the items that are loaded from now on, and calls this object for each; null stands
    /// for this object, the owner at first. It is kept alive by the handlers alone: it is replaced before it ends.
    void SetOwner(IMailItemNotifications* owner) noexcept { owner_ = owner ? owner : this; }

    /// From now on the next check may connect on its own thread. Called when the mail client has finished starting.
    void SetConnectNow() noexcept { connectNow_ = true; }
    [[nodiscard]] bool ConnectNow() const noexcept { return connectNow_; }

    /// New mail has arrived: nothing is done until it is opened.
    void OnNewMail() noexcept {}
    /// An item was loaded: subscribes to its events. A failure leaves the item unprotected and is only logged.
    void OnItemLoad(IUnknown* item);

    HRESULT STDMETHODCALLTYPE OnReadComplete(IUnknown* item, std::int32_t* Cancel) override;
    HRESULT STDMETHODCALLTYPE OnUnload(IUnknown* item) override;
    HRESULT STDMETHODCALLTYPE OnSend(IUnknown* item, std::int32_t* Cancel) override;
    HRESULT STDMETHODCALLTYPE OnBeforeRead(IUnknown* item) override;
    HRESULT STDMETHODCALLTYPE OnBeforeAttachmentRead(IUnknown* item, IUnknown* attachment,
                                                     std::int32_t* Cancel) override;

    /// Lets go of the handlers that are left, without an unload event. Called at disconnection: the handlers that are
    /// advised hold their owner, which holds this object.
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
    IMailItemNotifications* owner_ = this; ///< an own reference would be a circle
    bool connectNow_ = false;
    bool displayBlocked_ = false; ///< one for all items
    std::map<IUnknown*, ComPtr<IMailItemEventHandler>> handlers_;
};
