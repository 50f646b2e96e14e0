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

// Properties of any store's object, by MAPI alone. What is absent, or cannot be had as the type that is asked for, is
// no failure; an object that fails as a whole raises ComError with its result. Nothing is logged.

/// Text, however long; empty when absent.
std::wstring text_property(IMAPIProp& object, std::uint32_t tag);
std::optional<std::uint32_t> number_property(IMAPIProp& object, std::uint32_t tag);
bool flag_property(IMAPIProp& object, std::uint32_t tag);
/// A time in units of 100 ns since 1601.
std::optional<std::uint64_t> time_property(IMAPIProp& object, std::uint32_t tag);
/// A property opened as an object for reading; null when the property is absent. Other failures raise ComError, or the
/// object's own refusal of the interface.
template <typename Interface>
ComPtr<Interface> property_object(IMAPIProp& object, std::uint32_t tag, REFIID iid)
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

/// A stream over a property.
ComPtr<IStream> property_stream(IMAPIProp& object, std::uint32_t tag);

/// Runs `work` on each row of a table, with these columns.
void each_row(IMAPITable& table, const std::vector<std::uint32_t>& columns,
              const std::function<void(const SRow& row)>& work);
/// A row's text, empty when absent, and number.
std::wstring text_in(const SRow& row, std::uint32_t tag);
std::optional<std::uint32_t> number_in(const SRow& row, std::uint32_t tag);

/// The tag of a named property that has a text for a name; 0 when the store doesn't know the name.
std::uint32_t named_tag(IMAPIProp& object, const GUID& set, std::wstring_view name, std::uint32_t type);

} // namespace host
