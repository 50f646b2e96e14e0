#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <cstdint>
#include <string>

// Reads and writes single properties. These functions throw no errors of their own. Every failed read of an existing
// object is logged. Must be called on the thread that delivers item events.

/// Reads one property; all other reads are based on this function. `value` receives a single value of any type: the
/// store may return a type other than the requested one. Returns false if the property has no value; `error` (may be
/// null) then contains the store's code.
bool GetProp(IMAPIProp* object, ULONG tag, SCODE* error, MapiBuffer<SPropValue>& value);

/// Typed reads. If the read fails, `value` is unchanged. `error` is as in GetProp.
bool GetPropLong(IMAPIProp* object, ULONG tag, std::uint32_t& value, SCODE* error = nullptr);
/// Returns text unchanged, binary data as upper-case hexadecimal digits (empty data is a failure) and a time as local
/// date and time. For any other type the function returns true and leaves `value` unchanged.
bool GetPropNarrowString(IMAPIProp* object, ULONG tag, std::string& value, SCODE* error = nullptr);
bool GetPropWideString(IMAPIProp* object, ULONG tag, std::wstring& value, SCODE* error = nullptr);

/// Writes one property. Returns the store's result and logs nothing.
HRESULT SetPropLong(IMAPIProp* object, ULONG tag, std::uint32_t value);
HRESULT SetPropBool(IMAPIProp* object, ULONG tag, bool value);
HRESULT SetPropWideString(IMAPIProp* object, ULONG tag, const std::wstring& value);
HRESULT DeleteProp(IMAPIProp* object, ULONG tag);

/// Opens a property for reading as an object of the interface `iid`. On failure `opened` is null and the store's result
/// is returned.
HRESULT OpenObject(IMAPIProp* object, ULONG tag, const IID& iid, ComPtr<IUnknown>& opened);
