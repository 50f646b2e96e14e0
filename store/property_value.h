#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"
#include "store/bytes.h"
#include "store/storage_tree.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace host {

/// The contents of one property, without its identifier. Large contents are shared, so a copy is cheap.
/// By type: PT_I2, PT_LONG, PT_BOOLEAN, PT_I8, PT_CURRENCY, PT_SYSTIME and PT_ERROR are the number; PT_R4, PT_DOUBLE
/// and PT_APPTIME the real; PT_UNICODE the text; PT_STRING8 and PT_BINARY the bytes; PT_CLSID the identifier; PT_OBJECT
/// the storage, or nothing when it is a message; multiple values a list of one of these. A type that MAPI doesn't know
/// is its bytes, or the number when it is as short as a number.
struct property_value
{
    using text = std::shared_ptr<const std::wstring>;
    using contents = std::variant<std::monostate, std::int64_t, double, GUID, text, bytes_ptr,
                                  std::vector<std::int64_t>, std::vector<double>, std::vector<GUID>,
                                  std::vector<std::wstring>, std::vector<std::string>, storage_ptr>;

    std::uint32_t type = PT_NULL;
    contents data;
    std::uint32_t code_page = 0; ///< of PT_STRING8; 0: the ANSI one

    static property_value of_long(std::int64_t number);
    static property_value of_bool(bool flag);
    static property_value of_time(std::uint64_t file_time);
    static property_value of_text(std::wstring_view text);
    static property_value of_binary(bytes_ptr data);
    static property_value of_error(std::int32_t code);

    [[nodiscard]] std::int64_t number() const;
    /// Text of either string type; empty for the others.
    [[nodiscard]] std::wstring wide() const;
    /// Bytes that the value fills as MAPI counts it.
    [[nodiscard]] std::uint64_t size() const;
};

/// Whether two values have the same type and contents, reals bit by bit.
bool same_value(const property_value& left, const property_value& right);

/// True for PT_STRING8 and PT_UNICODE.
bool is_string(std::uint32_t type);
/// True for the types that open as a stream.
bool is_streamed(std::uint32_t type);
/// The value as another string type; the value itself when it has that type. `type` is a string type, `code_page` that
/// of what becomes PT_STRING8.
property_value convert_string(const property_value& value, std::uint32_t type, std::uint32_t code_page = 0);
/// What a stream over the value shows: the bytes of PT_STRING8 and PT_BINARY, UTF-16LE for PT_UNICODE.
bytes_ptr stream_bytes(const property_value& value);
/// The value of a type whose stream shows these bytes.
property_value from_stream_bytes(std::uint32_t type, const bytes_ptr& data);

/// Text as UTF-16LE and back: unpaired halves of characters are kept; an odd byte at the end is left out.
std::string to_utf16le(std::wstring_view text);
std::wstring from_utf16le(std::string_view data);

} // namespace host
