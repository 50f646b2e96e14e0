#include "mail/mime/writing/message_properties.h"

#include "mail/mime/text/content_source.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "store/property_value.h"
#include "tool/system/conversions.h"

#include <array>

namespace host {

namespace {

using value_ptr = MapiBuffer<SPropValue>;

/// Returns the value, or null if there is none of that type; sets `too_large` if it can only be opened as a stream.
value_ptr get(IMAPIProp& object, std::uint32_t tag, bool* too_large = nullptr)
{
    SPropTagArray tags{1, {tag}};
    ULONG count = 0;
    SPropValue* values = nullptr;
    const HRESULT result = object.GetProps(&tags, MAPI_UNICODE, &count, &values);
    value_ptr value(values);
    if (FAILED(result)) {
        throw ComError(result);
    }
    if (!value || count == 0) {
        return nullptr;
    }
    if (too_large && PROP_TYPE(value->ulPropTag) == PT_ERROR) {
        *too_large = value->Value.err == MAPI_E_NOT_ENOUGH_MEMORY;
    }
    return value->ulPropTag == tag ? std::move(value) : nullptr;
}

const SPropValue* find(const SRow& row, std::uint32_t tag)
{
    for (ULONG i = 0; i < row.cValues; ++i) {
        if (row.lpProps[i].ulPropTag == tag) {
            return &row.lpProps[i];
        }
    }
    return nullptr;
}

std::string whole_stream(IMAPIProp& object, std::uint32_t tag)
{
    std::string text;
    if (ComPtr<IStream> stream = property_stream(object, tag)) {
        const content_ptr content = stream_content(std::move(stream));
        std::array<char, 16384> block{};
        while (const std::size_t got = content->read(block.data(), block.size())) {
            text.append(block.data(), got);
        }
    }
    return text;
}

} // namespace

std::string utf8(std::wstring_view text)
{
    return winapi::conv_to_char(std::wstring(text), winapi::code_page_utf8);
}

std::wstring text_property(IMAPIProp& object, std::uint32_t tag)
{
    bool too_large = false;
    if (const value_ptr value = get(object, tag, &too_large); value && value->Value.lpszW) {
        return value->Value.lpszW;
    }
    return too_large ? from_utf16le(whole_stream(object, tag)) : std::wstring();
}

std::optional<std::uint32_t> number_property(IMAPIProp& object, std::uint32_t tag)
{
    const value_ptr value = get(object, tag);
    return value ? std::optional<std::uint32_t>(value->Value.ul) : std::nullopt;
}

bool flag_property(IMAPIProp& object, std::uint32_t tag)
{
    const value_ptr value = get(object, tag);
    return value && value->Value.b != 0;
}

std::optional<std::uint64_t> time_property(IMAPIProp& object, std::uint32_t tag)
{
    const value_ptr value = get(object, tag);
    if (!value) {
        return std::nullopt;
    }
    const FILETIME& time = value->Value.ft;
    return std::uint64_t{time.dwHighDateTime} << 32U | time.dwLowDateTime;
}

ComPtr<IStream> property_stream(IMAPIProp& object, std::uint32_t tag)
{
    return object_of_property<IStream>(object, tag, IID_IStream);
}

void each_row(IMAPITable& table, const std::vector<std::uint32_t>& columns,
              const std::function<void(const SRow& row)>& work)
{
    constexpr LONG rows_at_once = 64;
    std::vector<ULONG> words{static_cast<ULONG>(columns.size())};
    words.insert(words.end(), columns.begin(), columns.end());
    HRESULT result = table.SetColumns(reinterpret_cast<SPropTagArray*>(words.data()), 0);
    while (SUCCEEDED(result)) {
        SRowSet* found = nullptr;
        result = table.QueryRows(rows_at_once, 0, &found);
        const RowSetPtr rows(found);
        if (SUCCEEDED(result) && (!rows || rows->cRows == 0)) {
            return;
        }
        for (ULONG i = 0; SUCCEEDED(result) && i < rows->cRows; ++i) {
            work(rows->aRow[i]);
        }
    }
    throw ComError(result);
}

std::wstring text_in(const SRow& row, std::uint32_t tag)
{
    const SPropValue* value = find(row, tag);
    return value && value->Value.lpszW ? std::wstring(value->Value.lpszW) : std::wstring();
}

std::optional<std::uint32_t> number_in(const SRow& row, std::uint32_t tag)
{
    const SPropValue* value = find(row, tag);
    return value ? std::optional<std::uint32_t>(value->Value.ul) : std::nullopt;
}

std::uint32_t named_tag(IMAPIProp& object, const GUID& set, std::wstring_view name, std::uint32_t type)
{
    GUID own_set = set;
    std::wstring own_name(name); // the interface takes non-const pointers
    MAPINAMEID wanted{};
    wanted.lpguid = &own_set;
    wanted.ulKind = MNID_STRING;
    wanted.Kind.lpwstrName = own_name.data();
    LPMAPINAMEID names = &wanted;
    SPropTagArray* found = nullptr;
    const HRESULT result = object.GetIDsFromNames(1, &names, 0, &found);
    const MapiBuffer<SPropTagArray> tags(found);
    if (FAILED(result) || !tags || tags->cValues == 0 || PROP_ID(tags->aulPropTag[0]) == 0) {
        return 0;
    }
    return CHANGE_PROP_TYPE(tags->aulPropTag[0], type);
}

} // namespace host
