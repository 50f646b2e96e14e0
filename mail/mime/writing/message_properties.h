#pragma once

#include "outlook/qdmailprotect/mapi/com_error.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// Reads properties of any store's object, using only MAPI. A property that is missing, or not available in the
// requested type, is not a failure. If the object as a whole fails, ComError is thrown with its result. Nothing is
// logged.

/// Returns wide text as UTF-8.
std::string utf8(std::wstring_view text);

/// Returns text of any length; empty if the property is missing.
std::wstring text_property(IMAPIProp& object, std::uint32_t tag);
std::optional<std::uint32_t> number_property(IMAPIProp& object, std::uint32_t tag);
bool flag_property(IMAPIProp& object, std::uint32_t tag);
/// Returns a time in units of 100 ns since 1601.
std::optional<std::uint64_t> time_property(IMAPIProp& object, std::uint32_t tag);
/// Opens a property as an object for reading; returns null if the property is missing. Other failures, including the
/// object's failure to provide the interface, throw ComError.
template <typename Interface>
ComPtr<Interface> object_of_property(IMAPIProp& object, std::uint32_t tag, REFIID iid)
{
    ComPtr<IUnknown> opened;
    HRESULT result = object.OpenProperty(tag, &iid, 0, 0, Receive(opened));
    if (result == MAPI_E_NOT_FOUND || (SUCCEEDED(result) && !opened)) {
        return nullptr;
    }
    ComPtr<Interface> typed;
    if (SUCCEEDED(result)) {
        result = Query(opened.get(), iid, typed);
    }
    if (FAILED(result) || !typed) {
        throw ComError(FAILED(result) ? result : E_FAIL);
    }
    return typed;
}

/// Opens a stream over a property.
ComPtr<IStream> property_stream(IMAPIProp& object, std::uint32_t tag);

/// Calls `work` for each row of a table with these columns.
void each_row(IMAPITable& table, const std::vector<std::uint32_t>& columns,
              const std::function<void(const SRow& row)>& work);
/// Return the text (empty if missing) and the number of a row.
std::wstring text_in(const SRow& row, std::uint32_t tag);
std::optional<std::uint32_t> number_in(const SRow& row, std::uint32_t tag);

/// Returns the tag of a named property whose name is a string; 0 if the store does not know the name.
std::uint32_t named_tag(IMAPIProp& object, const GUID& set, std::wstring_view name, std::uint32_t type);

} // namespace host
