#include "outlook/qdmailprotect/check/notification_point.h"

#include "outlook/qdmailprotect/check/enumerator.h"

#include <utility>
#include <vector>

namespace {

struct ListedPoint
{
    ComPtr<IConnectionPoint> point;
    [[nodiscard]] IConnectionPoint* Give() const { return ComPtr<IConnectionPoint>(point).detach(); }
};

struct ListedConnection
{
    ComPtr<IMailItemNotifications> owner;
    DWORD cookie;
    [[nodiscard]] CONNECTDATA Give() const { return {ComPtr<IMailItemNotifications>(owner).detach(), cookie}; }
};

using PointEnumerator = Enumerator<IEnumConnectionPoints, IConnectionPoint*, ListedPoint>;
using ConnectionEnumerator = Enumerator<IEnumConnections, CONNECTDATA, ListedConnection>;

} // namespace

NotificationPoint::NotificationPoint(CProxyItemNotifications& connections, IConnectionPointContainer& container)
    : connections_(connections)
    , container_(container)
{}

HRESULT STDMETHODCALLTYPE NotificationPoint::QueryInterface(REFIID iid, void** object)
{
    if (!object) {
        return E_POINTER;
    }
    const bool answered = iid == IID_IUnknown || iid == IID_IConnectionPoint;
    *object = answered ? static_cast<IConnectionPoint*>(this) : nullptr;
    if (!answered) {
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

ULONG STDMETHODCALLTYPE NotificationPoint::AddRef()
{
    return container_.AddRef();
}

ULONG STDMETHODCALLTYPE NotificationPoint::Release()
{
    return container_.Release();
}

HRESULT STDMETHODCALLTYPE NotificationPoint::GetConnectionInterface(IID* iid)
{
    if (!iid) {
        return E_POINTER;
    }
    *iid = IID_IMailItemNotifications;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE NotificationPoint::GetConnectionPointContainer(IConnectionPointContainer** container)
{
    return PutObject(container, [this] { return ComPtr<IConnectionPointContainer>(&container_); });
}

HRESULT STDMETHODCALLTYPE NotificationPoint::Advise(IUnknown* sink, DWORD* cookie)
{
    if (!sink || !cookie) {
        return E_POINTER;
    }
    std::uint32_t given = 0;
    const HRESULT result = connections_.Advise(sink, given);
    *cookie = SUCCEEDED(result) ? given : 0;
    return result;
}

HRESULT STDMETHODCALLTYPE NotificationPoint::Unadvise(DWORD cookie)
{
    return connections_.Unadvise(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
}

HRESULT STDMETHODCALLTYPE NotificationPoint::EnumConnections(IEnumConnections** connections)
{
    return PutObject(connections, [this] {
        std::vector<ListedConnection> listed;
        for (const auto& [cookie, owner] : connections_.Connected()) {
            listed.push_back({owner, cookie});
        }
        return MakeCom<ConnectionEnumerator>(IID_IEnumConnections, std::move(listed));
    });
}

HRESULT NotificationPoint::Find(REFIID iid, IConnectionPoint** point)
{
    if (!point) {
        return E_POINTER;
    }
    *point = nullptr;
    if (iid != IID_IMailItemNotifications) {
        return CONNECT_E_NOCONNECTION;
    }
    *point = ComPtr<IConnectionPoint>(this).detach();
    return S_OK;
}

HRESULT NotificationPoint::Enumerate(IEnumConnectionPoints** points)
{
    return PutObject(points, [this] {
        return MakeCom<PointEnumerator>(IID_IEnumConnectionPoints, std::vector<ListedPoint>{{this}});
    });
}
