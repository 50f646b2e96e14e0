#pragma once

#include "outlook/qdmailprotect/check/item_notifications.h"

#include <platform/connection_points.h>

/// The connection point of an event handler as COM presents it. A part of its container: references count there. All
/// operations run on the thread that delivers events.
class NotificationPoint final : public IConnectionPoint
{
public:
    /// `connections` and `container` must outlive the point; it adds no reference to the container.
    NotificationPoint(CProxyItemNotifications& connections, IConnectionPointContainer& container);
    NotificationPoint(const NotificationPoint&) = delete;
    NotificationPoint& operator=(const NotificationPoint&) = delete;
    ~NotificationPoint() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override;
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** container) override;
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override;

    /// Implements IConnectionPointContainer::FindConnectionPoint for a container of this point alone.
    HRESULT Find(REFIID iid, IConnectionPoint** point);
    /// Implements IConnectionPointContainer::EnumConnectionPoints for a container of this point alone.
    HRESULT Enumerate(IEnumConnectionPoints** points);

private:
    CProxyItemNotifications& connections_;
    IConnectionPointContainer& container_;
};
