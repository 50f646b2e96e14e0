#pragma once

#include "host/store/bytes.h"
#include "outlook/qdmailprotect/mapi/mapi.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace host {

/// The contents of one property, without its identifier. Large contents are shared, so a copy is cheap.
/// By type: PT_I2, PT_LONG, PT_BOOLEAN, PT_I8, PT_CURRENCY, PT_SYSTIME and PT_ERROR are the number; PT_R4, PT_DOUBLE
/// and PT_APPTIME the real; PT_UNICODE the text; PT_STRING8 (ANSI code page) and PT_BINARY the bytes; PT_CLSID the
/// identifier; multiple values a list of one of these.
struct property_value
{
    using text = std::shared_ptr<const std::wstring>;
    using contents = std::variant<std::monostate, std::int64_t, double, GUID, text, bytes_ptr,
                                  std::vector<std::int64_t>, std::vector<std::wstring>, std::vector<std::string>>;

    std::uint32_t type = PT_NULL;
    contents data;

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

/// True for PT_STRING8 and PT_UNICODE.
bool is_string(std::uint32_t type);
/// True for the types that open as a stream.
bool is_streamed(std::uint32_t type);
/// The value as another string type; the value itself when it has that type. `type` is a string type.
property_value convert_string(const property_value& value, std::uint32_t type);
/// What a stream over the value shows: the bytes of PT_STRING8 and PT_BINARY, UTF-16LE for PT_UNICODE.
bytes_ptr stream_bytes(const property_value& value);
/// The value of a type whose stream shows these bytes.
property_value from_stream_bytes(std::uint32_t type, const bytes_ptr& data);

} // namespace host
