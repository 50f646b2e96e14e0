#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"

#include <cstdint>

// An event passes from the item's event interface through CMailItemEventHandler and its connection point to the owner,
// which implements IMailItemNotifications. All of this runs on the thread that delivers events.

inline constexpr IID IID_IMailItemNotifications{
    0x7D2D078B, 0x9609, 0x4459, {0xBA, 0x93, 0x68, 0xE4, 0x19, 0x35, 0x49, 0x24}};
inline constexpr IID IID_IMailItemEventHandler{
    0x5E0A3C6F, 0x7B0D, 0x4D5B, {0x8E, 0x3B, 0x1C, 0x0B, 0x6C, 0x52, 0x41, 0xA7}};

/// The cookie that denotes no connection.
inline constexpr std::uint32_t NotAdvised = 0xFEFEFEFE;

/// The object does not implement the interface that the connection requires.
inline constexpr HRESULT CannotConnect = hresult(0x80040202U);

/// The notifications that the owner of an event handler receives. `Cancel` is a 32-bit flag, 0 or 1, and may be null.
struct IMailItemNotifications : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE OnReadComplete(IUnknown* item, std::int32_t* Cancel) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnUnload(IUnknown* item) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnSend(IUnknown* item, std::int32_t* Cancel) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnBeforeRead(IUnknown* item) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnBeforeAttachmentRead(IUnknown* item, IUnknown* attachment,
                                                             std::int32_t* Cancel) = 0;

protected:
    ~IMailItemNotifications() = default;
};

/// Listens to the events of one item on behalf of one owner.
struct IMailItemEventHandler : IUnknown
{
    /// Subscribes to the events of `pSource`. Returns E_POINTER for a null argument. If the subscription fails, no
    /// partial connection remains. Throws ComError with E_FAIL if the handler is already subscribed.
    virtual HRESULT STDMETHODCALLTYPE Advise(IUnknown* pOwner, IUnknown* pSource) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise() = 0;

protected:
    ~IMailItemEventHandler() = default;
};

/// The events of an item as its listeners receive them. OnBeforeAttachmentRead is declared because the handler can
/// forward it; no source raises it.
struct IItemEvents : IUnknown
{
    virtual void OnReadComplete(std::int32_t* Cancel) = 0;
    virtual void OnUnload() = 0;
    virtual void OnSend(std::int32_t* Cancel) = 0;
    virtual void OnBeforeRead() = 0;
    virtual void OnBeforeAttachmentRead(IUnknown* attachment, std::int32_t* Cancel) = 0;

protected:
    ~IItemEvents() = default;
};

/// A source of item events: the connection points of the mail client, or the listener list of a stand-in.
class ItemEventSource
{
public:
    /// Connects `sink` to the events of `item`. The connection keeps `sink` alive until Unadvise. `cookie` receives the
    /// identifier of the connection.
    virtual HRESULT Advise(IUnknown* item, ComPtr<IItemEvents> sink, std::uint32_t& cookie) = 0;
    virtual HRESULT Unadvise(IUnknown* item, std::uint32_t cookie) = 0;
    virtual ~ItemEventSource() = default;
};
