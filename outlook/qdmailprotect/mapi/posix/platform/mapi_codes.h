#pragma once

#include <platform/hresult.h>

#include <cstdint>

// Result codes and flags of the message store.

inline constexpr HRESULT MAPI_E_CALL_FAILED = E_FAIL;
inline constexpr HRESULT MAPI_E_NOT_ENOUGH_MEMORY = E_OUTOFMEMORY;
inline constexpr HRESULT MAPI_E_INVALID_PARAMETER = E_INVALIDARG;
inline constexpr HRESULT MAPI_E_INTERFACE_NOT_SUPPORTED = E_NOINTERFACE;
inline constexpr HRESULT MAPI_E_NO_ACCESS = E_ACCESSDENIED;
inline constexpr HRESULT MAPI_E_NO_SUPPORT = hresult(0x80040102U);
inline constexpr HRESULT MAPI_E_BAD_CHARWIDTH = hresult(0x80040103U);
inline constexpr HRESULT MAPI_E_UNKNOWN_FLAGS = hresult(0x80040106U);
inline constexpr HRESULT MAPI_E_INVALID_OBJECT = hresult(0x80040108U);
inline constexpr HRESULT MAPI_E_OBJECT_CHANGED = hresult(0x80040109U);
inline constexpr HRESULT MAPI_E_OBJECT_DELETED = hresult(0x8004010AU);
inline constexpr HRESULT MAPI_E_NOT_FOUND = hresult(0x8004010FU);
inline constexpr HRESULT MAPI_E_CORRUPT_DATA = hresult(0x8004011BU);
inline constexpr HRESULT MAPI_E_COMPUTED = hresult(0x8004011AU);
inline constexpr HRESULT MAPI_E_BAD_VALUE = hresult(0x80040301U);
inline constexpr HRESULT MAPI_E_INVALID_TYPE = hresult(0x80040302U);
inline constexpr HRESULT MAPI_E_UNEXPECTED_TYPE = hresult(0x80040304U);
inline constexpr HRESULT MAPI_E_TOO_BIG = hresult(0x80040305U);
inline constexpr HRESULT MAPI_W_ERRORS_RETURNED = hresult(0x00040380U);
inline constexpr HRESULT MAPI_E_COLLISION = hresult(0x80040604U);
inline constexpr HRESULT MAPI_E_NOT_INITIALIZED = hresult(0x80040605U);

inline constexpr std::uint32_t MAPI_MODIFY = 0x00000001U;
inline constexpr std::uint32_t MAPI_CREATE = 0x00000002U;
inline constexpr std::uint32_t MAPI_DEFERRED_ERRORS = 0x00000008U;
inline constexpr std::uint32_t MAPI_BEST_ACCESS = 0x00000010U;
inline constexpr std::uint32_t MAPI_UNICODE = 0x80000000U;
inline constexpr std::uint32_t KEEP_OPEN_READONLY = 0x00000001U;
inline constexpr std::uint32_t KEEP_OPEN_READWRITE = 0x00000002U;
inline constexpr std::uint32_t FORCE_SAVE = 0x00000004U;
inline constexpr std::uint32_t TBL_NOADVANCE = 0x00000001U;
inline constexpr std::uint32_t MNID_ID = 0;
inline constexpr std::uint32_t MNID_STRING = 1;
inline constexpr std::uint32_t BOOKMARK_BEGINNING = 0;
inline constexpr std::uint32_t BOOKMARK_CURRENT = 1;
inline constexpr std::uint32_t BOOKMARK_END = 2;

inline constexpr std::uint32_t NO_ATTACHMENT = 0;
inline constexpr std::uint32_t ATTACH_BY_VALUE = 1;
inline constexpr std::uint32_t ATTACH_BY_REFERENCE = 2;
inline constexpr std::uint32_t ATTACH_BY_REF_RESOLVE = 3;
inline constexpr std::uint32_t ATTACH_BY_REF_ONLY = 4;
inline constexpr std::uint32_t ATTACH_EMBEDDED_MSG = 5;
inline constexpr std::uint32_t ATTACH_OLE = 6;

inline constexpr std::int32_t MAPI_TO = 1;
inline constexpr std::int32_t MAPI_CC = 2;
inline constexpr std::int32_t MAPI_BCC = 3;
