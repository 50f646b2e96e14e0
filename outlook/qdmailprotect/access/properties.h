#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <cstdint>
#include <string>

// Reads and writes of single properties. Nothing here raises an error of its own; every failed read of an object that
// is there leaves a line in the log. Used on the thread that delivers item events.

/// The raw read under all the others. `value` gets the one value, whatever its type: a caller may ask for a type and be
/// given another. False, with the store's code in `error` (which may be null), for a property that it has no value of.
bool GetProp(IMAPIProp* object, ULONG tag, SCODE* error, MapiBuffer<SPropValue>& value);

/// Typed reads. A failed read leaves `value` as it was. `error` as in GetProp.
bool GetPropLong(IMAPIProp* object, ULONG tag, std::uint32_t& value, SCODE* error = nullptr);
/// Text as it is, bytes as upper-case hexadecimal (no bytes fail), a time as local date and time; another type leaves
/// `value` as it was and is true.
bool GetPropNarrowString(IMAPIProp* object, ULONG tag, std::string& value, SCODE* error = nullptr);
bool GetPropWideString(IMAPIProp* object, ULONG tag, std::wstring& value, SCODE* error = nullptr);

/// Writes give the store's result and log nothing.
HRESULT SetPropLong(IMAPIProp* object, ULONG tag, std::uint32_t value);
HRESULT SetPropBool(IMAPIProp* object, ULONG tag, bool value);
HRESULT SetPropWideString(IMAPIProp* object, ULONG tag, const std::wstring& value);
HRESULT DeleteProp(IMAPIProp* object, ULONG tag);

/// Opens a property for reading as an object of the interface `iid`. Null with the store's result when it fails.
HRESULT OpenObject(IMAPIProp* object, ULONG tag, const IID& iid, ComPtr<IUnknown>& opened);
