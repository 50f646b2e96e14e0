#pragma once

// Connectable objects, with the order of operations, record layouts, identifiers and results of the Windows headers.
#include <platform/com.h>

inline constexpr IID IID_IEnumConnections{0xB196B287, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IEnumConnectionPoints{
    0xB196B285, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IConnectionPoint{0xB196B286, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IConnectionPointContainer{
    0xB196B284, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};

inline constexpr HRESULT CONNECT_E_NOCONNECTION = hresult(0x80040200U);

struct IConnectionPoint;
struct IConnectionPointContainer;

struct CONNECTDATA
{
    IUnknown* pUnk;
    DWORD dwCookie;
};

struct IEnumConnections : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, CONNECTDATA* connections, ULONG* fetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumConnections** clone) = 0;

protected:
    ~IEnumConnections() = default;
};

struct IEnumConnectionPoints : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, IConnectionPoint** points, ULONG* fetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumConnectionPoints** clone) = 0;

protected:
    ~IEnumConnectionPoints() = default;
};

struct IConnectionPoint : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** container) = 0;
    virtual HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) = 0;

protected:
    ~IConnectionPoint() = default;
};

struct IConnectionPointContainer : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) = 0;

protected:
    ~IConnectionPointContainer() = default;
};
