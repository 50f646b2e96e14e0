#include "outlook/qdmailprotect/check/mail_events.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/check/mail_item_event_handler.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "outlook/qdmailprotect/mapi/outlook_items.h"
#include "outlook/qdmailprotect/mapi/result_text.h"

#include <exception>
#include <new>
#include <string>
#include <utility>

namespace {

HRESULT NewMailItemEventHandler(const std::shared_ptr<ItemEventSource>& events, ComPtr<IUnknown>& handler)
{
    try {
        handler = static_cast<IMailItemEventHandler*>(MakeCom<CMailItemEventHandler>(events).get());
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

/// Calls Advise and converts the exception that the handler throws if it is already advised to an HRESULT.
HRESULT AdviseHandler(IMailItemEventHandler& handler, IUnknown* owner, IUnknown* item)
{
    try {
        return handler.Advise(owner, item);
    } catch (const ComError& failure) {
        return failure.Error();
    }
}

/// Logs the begin and end lines of one event. Both texts must have static storage duration. A value is appended to
/// each.
class EventLines
{
public:
    EventLines(const winapi::time_source& clock, const char* beginText, const char* endText, const void* item)
        : clock_(clock)
        , endText_(endText)
        , begin_(clock.tick_count())
    {
        LOG_LINE(logging::outlook_log(), 400, beginText << item << ")");
    }
    EventLines(const EventLines&) = delete;
    EventLines& operator=(const EventLines&) = delete;
    void End() const { LOG_LINE(logging::outlook_log(), 400, endText_ << clock_.tick_count() - begin_ << "ms)"); }

private:
    const winapi::time_source& clock_;
    const char* endText_;
    std::uint32_t begin_;
};

/// Returns the file name of an attachment, or its display name if it has no file name.
std::wstring AttachmentName(OutlookAttachmentInterface* attachment)
{
    std::wstring name;
    if (FAILED(GetFileName(attachment, name)) || name.empty()) {
        name.clear();
        if (FAILED(GetDisplayName(attachment, name))) {
            name.clear();
        }
    }
    return name;
}

} // namespace

MailEvents::MailEvents(std::shared_ptr<MessageCheck> check, std::shared_ptr<ItemEventSource> events,
                       const winapi::time_source* clock, EventHandlerFactory factory)
    : check_(std::move(check))
    , events_(std::move(events))
    , clock_(clock ? clock : &winapi::system_time_source())
    , factory_(factory ? std::move(factory) : NewMailItemEventHandler)
{}

void* MailEvents::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IMailItemNotifications ? static_cast<IMailItemNotifications*>(this)
                                                                    : nullptr;
}

ComPtr<IMailItemEventHandler> MailEvents::NewHandler()
{
    ComPtr<IUnknown> object;
    const HRESULT result = factory_(events_, object);
    if (FAILED(result) || !object) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to create event handler, hr=0x" << HexResult(result));
        return nullptr;
    }
    ComPtr<IMailItemEventHandler> handler;
    if (FAILED(Query(object.get(), IID_IMailItemEventHandler, handler)) || !handler) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to obtain the event handler interface");
    }
    return handler;
}

void MailEvents::OnItemLoad(IUnknown* item)
{
    LOG_LINE(logging::outlook_log(), 400,
             "-===  On item load: begin processing (" << static_cast<const void*>(item) << ")");
    if (!item) {
        return;
    }
    ComPtr<IMailItemEventHandler> handler = NewHandler();
    if (!handler) {
        return;
    }
    const HRESULT result = AdviseHandler(*handler, owner_, item);
    if (FAILED(result)) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to advise for the mail item events, hr=0x" << HexResult(result));
        return;
    }
    handlers_[item] = std::move(handler);
    LOG_LINE(logging::outlook_log(), 400, "-===  On item load: end processing");
}

void MailEvents::ReleaseHandlers()
{
    const auto released = std::exchange(handlers_, {}); // releasing a handler may deliver another event
    for (const auto& entry : released) {
        try {
            entry.second->Unadvise();
        } catch (const std::exception&) {
            continue; // its owner's advise has been removed already
        }
    }
}

HRESULT STDMETHODCALLTYPE MailEvents::OnBeforeRead(IUnknown* item)
{
    const EventLines lines(*clock_, "-=  On before read: begin processing (", "-=  On before read: end processing (",
                           item);
    displayBlocked_ = false;
    ScanResult verdict = ScanResult::None;
    bool blockDisplay = false;
    const HRESULT result = check_->CheckMessage(connectNow_, true, ComPtr<IUnknown>(item), verdict, blockDisplay);
    if (FAILED(result)) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to check message, hr = " << HexResult(result));
    } else {
        connectNow_ = false;
        LOG_LINE(logging::outlook_log(), 400, "Message checked, result = " << static_cast<int>(verdict));
        displayBlocked_ = blockDisplay;
    }
    lines.End();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MailEvents::OnReadComplete(IUnknown* item, std::int32_t* Cancel)
{
    const EventLines lines(*clock_, "-=  On item read complete: begin processing (",
                           "-=  On item read complete: end processing (", item);
    if (Cancel) {
        *Cancel = displayBlocked_ ? 1 : 0;
    }
    lines.End();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MailEvents::OnSend(IUnknown* item, std::int32_t*)
{
    const EventLines lines(*clock_, "-=  On item send: begin processing (", "-=  On item send: end processing (", item);
    lines.End();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MailEvents::OnUnload(IUnknown* item)
{
    LOG_LINE(logging::outlook_log(), 400, "-===  On item unload (" << static_cast<const void*>(item) << ")");
    handlers_.erase(item);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MailEvents::OnBeforeAttachmentRead(IUnknown* item, IUnknown* attachment, std::int32_t* Cancel)
{
    if (!attachment || !Cancel) {
        return E_INVALIDARG;
    }
    const EventLines lines(*clock_, "-=  On before attachment read: begin processing (",
                           "-=  On before attachment read: end processing (", item);
    ComPtr<OutlookAttachmentInterface> interface_;
    if (FAILED(Query(attachment, IID_OutlookAttachment, interface_)) || !interface_) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to get the attachment interface");
        return E_NOINTERFACE;
    }
    const std::wstring name = AttachmentName(interface_.get());
    if (!name.empty() && !check_->IsAttachmentAllowed(name)) {
        LOG_LINE(logging::outlook_log(), 200, "Denied the opening of attachment " << winapi::conv_to_char(name));
        *Cancel = 1;
    }
    lines.End();
    return S_OK;
}
