#pragma once

// The part of COM that the message store interfaces are based on, with the order of operations, record layouts and
// identifiers of the Windows headers. Wide strings are std::wchar_t.
#include <platform/hresult.h>

#include <cstdint>
#include <cstring>

#define STDMETHODCALLTYPE

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using WCHAR = wchar_t;
using OLECHAR = wchar_t;
using LPBYTE = BYTE*;
using LPVOID = void*;
using LPSTR = char*;
using LPWSTR = wchar_t*;
using LPOLESTR = OLECHAR*;

struct GUID
{
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];

    friend constexpr bool operator==(const GUID&, const GUID&) = default;
};
using IID = GUID;
using CLSID = GUID;
using LPGUID = GUID*;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

union LARGE_INTEGER {
    struct
    {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
};

union ULARGE_INTEGER {
    struct
    {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
};

/// A point in time in units of 100 ns since 1601-01-01 UTC.
struct FILETIME
{
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

inline constexpr IID IID_IUnknown{0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_ISequentialStream{
    0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};
inline constexpr IID IID_IStorage{0x0000000B, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IStream{0x0000000C, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// Identity and lifetime of an object. Objects destroy themselves with their last reference and are never deleted.
struct IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

protected:
    ~IUnknown() = default;
};
using LPUNKNOWN = IUnknown*;

enum STGTY : DWORD
{
    STGTY_STORAGE = 1,
    STGTY_STREAM = 2
};
enum STREAM_SEEK : DWORD
{
    STREAM_SEEK_SET = 0,
    STREAM_SEEK_CUR = 1,
    STREAM_SEEK_END = 2
};
enum STATFLAG : DWORD
{
    STATFLAG_DEFAULT = 0,
    STATFLAG_NONAME = 1
};

struct STATSTG
{
    LPOLESTR pwcsName;
    DWORD type;
    ULARGE_INTEGER cbSize;
    FILETIME mtime;
    FILETIME ctime;
    FILETIME atime;
    DWORD grfMode;
    DWORD grfLocksSupported;
    CLSID clsid;
    DWORD grfStateBits;
    DWORD reserved;
};

struct ISequentialStream : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG count, ULONG* read) = 0;
    virtual HRESULT STDMETHODCALLTYPE Write(const void* buffer, ULONG count, ULONG* written) = 0;

protected:
    ~ISequentialStream() = default;
};

struct IStream : ISequentialStream
{
    virtual HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read,
                                             ULARGE_INTEGER* written) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit(DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
    virtual HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) = 0;
    virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IStream** clone) = 0;

protected:
    ~IStream() = default;
};
using LPSTREAM = IStream*;

struct IEnumSTATSTG;
using SNB = LPOLESTR*;

struct IStorage : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE CreateStream(const OLECHAR* name, DWORD mode, DWORD reserved1, DWORD reserved2,
                                                   IStream** stream) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenStream(const OLECHAR* name, void* reserved1, DWORD mode, DWORD reserved2,
                                                 IStream** stream) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateStorage(const OLECHAR* name, DWORD mode, DWORD reserved1, DWORD reserved2,
                                                    IStorage** storage) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenStorage(const OLECHAR* name, IStorage* priority, DWORD mode, SNB exclude,
                                                  DWORD reserved, IStorage** storage) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(DWORD excluded, const IID* interfaces, SNB names, IStorage* target) = 0;
    virtual HRESULT STDMETHODCALLTYPE MoveElementTo(const OLECHAR* name, IStorage* target, const OLECHAR* new_name,
                                                    DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit(DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumElements(DWORD reserved1, void* reserved2, DWORD reserved3,
                                                   IEnumSTATSTG** elements) = 0;
    virtual HRESULT STDMETHODCALLTYPE DestroyElement(const OLECHAR* name) = 0;
    virtual HRESULT STDMETHODCALLTYPE RenameElement(const OLECHAR* name, const OLECHAR* new_name) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetElementTimes(const OLECHAR* name, const FILETIME* created,
                                                      const FILETIME* accessed, const FILETIME* modified) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetClass(REFCLSID clsid) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetStateBits(DWORD bits, DWORD mask) = 0;
    virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) = 0;

protected:
    ~IStorage() = default;
};
using LPSTORAGE = IStorage*;
