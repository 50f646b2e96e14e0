#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"

#include <cstdint>

// The road of an event: the item's event interface, CMailItemEventHandler, its connection point, and the owner that
// implements IMailItemNotifications. All of it runs on the thread that delivers events.

inline constexpr IID IID_IMailItemNotifications{
    0x7D2D078B, 0x9609, 0x4459, {0xBA, 0x93, 0x68, 0xE4, 0x19, 0x35, 0x49, 0x24}};
inline constexpr IID IID_IMailItemEventHandler{
    0x5E0A3C6F, 0x7B0D, 0x4D5B, {0x8E, 0x3B, 0x1C, 0x0B, 0x6C, 0x52, 0x41, 0xA7}};

/// The cookie of an advise that isn't in force.
inline constexpr std::uint32_t NotAdvised = 0xFEFEFEFE;

/// No connection can be made to this object: it lacks the interface.
inline constexpr HRESULT CannotConnect = hresult(0x80040202U);

/// What the owner of an event handler is told. `Cancel` is a flag of 32 bits, 0 or 1, and may be null.
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

/// Listens to one item for one owner.
struct IMailItemEventHandler : IUnknown
{
    /// Starts listening. E_POINTER for a null argument; a failure to subscribe leaves nothing behind. Raises ComError
    /// with E_FAIL when it already listens.
    virtual HRESULT STDMETHODCALLTYPE Advise(IUnknown* pOwner, IUnknown* pSource) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise() = 0;

protected:
    ~IMailItemEventHandler() = default;
};

/// What an item says to who listens to it. OnBeforeAttachmentRead stands here because the handler can forward it; no
/// source delivers it.
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

/// How items are listened to: connection points of the mail client, or a stand-in's own list.
class ItemEventSource
{
public:
    /// `sink` hears the events of `item`, and is kept alive, until Unadvise. `cookie` names the connection.
    virtual HRESULT Advise(IUnknown* item, ComPtr<IItemEvents> sink, std::uint32_t& cookie) = 0;
    virtual HRESULT Unadvise(IUnknown* item, std::uint32_t cookie) = 0;
    virtual ~ItemEventSource() = default;
};
