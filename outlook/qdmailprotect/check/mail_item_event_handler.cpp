#include "outlook/qdmailprotect/check/mail_item_event_handler.h"

#include "outlook/qdmailprotect/mapi/com_error.h"

#include <utility>

CMailItemEventHandler::CMailItemEventHandler(std::shared_ptr<ItemEventSource> events)
    : events_(std::move(events))
{}

void* CMailItemEventHandler::FindInterface(REFIID iid)
{
    if (iid == IID_IConnectionPointContainer) {
        return static_cast<IConnectionPointContainer*>(this);
    }
    return iid == IID_IUnknown || iid == IID_IMailItemEventHandler ? static_cast<IMailItemEventHandler*>(this)
                                                                   : nullptr;
}

HRESULT STDMETHODCALLTYPE CMailItemEventHandler::EnumConnectionPoints(IEnumConnectionPoints** points)
{
    return point_.Enumerate(points);
}

HRESULT STDMETHODCALLTYPE CMailItemEventHandler::FindConnectionPoint(REFIID iid, IConnectionPoint** point)
{
    return point_.Find(iid, point);
}

HRESULT STDMETHODCALLTYPE CMailItemEventHandler::Advise(IUnknown* pOwner, IUnknown* pSource)
{
    if (!pOwner || !pSource) {
        return E_POINTER;
    }
    pSource_ = pSource;
    if (itemCookie_ != NotAdvised) {
        throw ComError(E_FAIL);
    }
    HRESULT result = events_->Advise(pSource, ComPtr<IItemEvents>(this), itemCookie_);
    if (FAILED(result)) {
        itemCookie_ = NotAdvised;
        return result;
    }
    result = notifications_.Advise(pOwner, ownerCookie_);
    if (FAILED(result)) {
        events_->Unadvise(pSource, std::exchange(itemCookie_, NotAdvised));
        pSource_.reset();
    }
    return result;
}

HRESULT STDMETHODCALLTYPE CMailItemEventHandler::Unadvise()
{
    if (!pSource_) {
        return S_OK;
    }
    const ComPtr<IUnknown> alive(static_cast<IMailItemEventHandler*>(this)); // the item releases its reference
    notifications_.Unadvise(std::exchange(ownerCookie_, NotAdvised));
    return events_->Unadvise(pSource_.get(), std::exchange(itemCookie_, NotAdvised));
}

void CMailItemEventHandler::OnReadComplete(std::int32_t* Cancel)
{
    const ComPtr<CMailItemEventHandler> alive(this);
    notifications_.Fire_OnReadComplete(pSource_.get(), Cancel);
}

void CMailItemEventHandler::OnUnload()
{
    const ComPtr<CMailItemEventHandler> alive(this); // the owner releases its reference in this notification
    notifications_.Fire_OnUnload(pSource_.get());
    Unadvise();
}

void CMailItemEventHandler::OnSend(std::int32_t* Cancel)
{
    const ComPtr<CMailItemEventHandler> alive(this);
    notifications_.Fire_OnSend(pSource_.get(), Cancel);
}

void CMailItemEventHandler::OnBeforeRead()
{
    const ComPtr<CMailItemEventHandler> alive(this);
    notifications_.Fire_OnBeforeRead(pSource_.get());
}

void CMailItemEventHandler::OnBeforeAttachmentRead(IUnknown* attachment, std::int32_t* Cancel)
{
    const ComPtr<CMailItemEventHandler> alive(this);
    notifications_.Fire_OnBeforeAttachmentRead(pSource_.get(), attachment, Cancel);
}
