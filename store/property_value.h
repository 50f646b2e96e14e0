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

/// The contents of one property, without its identifier. Large contents are shared, so a copy is cheap. The alternative
/// depends on the type: a number for PT_I2, PT_LONG, PT_BOOLEAN, PT_I8, PT_CURRENCY, PT_SYSTIME and PT_ERROR; a real
/// for PT_R4, PT_DOUBLE and PT_APPTIME; the text for PT_UNICODE, or its UTF-16LE as bytes if it is longer than
/// `longest_text`, so that it need not be in memory; the bytes for PT_STRING8 and PT_BINARY; the identifier for
/// PT_CLSID; the storage for PT_OBJECT, or nothing if the object is a message; a list of one of these for multiple
/// values. A type that MAPI does not define is stored as bytes, or as a number if it has the size of a number.
struct property_value
{
    using text = std::shared_ptr<const std::wstring>;
    using contents = std::variant<std::monostate, std::int64_t, double, GUID, text, bytes_ptr,
                                  std::vector<std::int64_t>, std::vector<double>, std::vector<GUID>,
                                  std::vector<std::wstring>, std::vector<std::string>, storage_ptr>;

    static constexpr std::size_t longest_text = 65535; ///< units of UTF-16

    std::uint32_t type = PT_NULL;
    contents data;
    std::uint32_t code_page = 0; ///< code page of PT_STRING8; 0: the ANSI one

    static property_value of_long(std::int64_t number);
    static property_value of_bool(bool flag);
    static property_value of_time(std::uint64_t file_time);
    static property_value of_text(std::wstring_view text);
    static property_value of_binary(bytes_ptr data);
    static property_value of_error(std::int32_t code);

    [[nodiscard]] std::int64_t number() const;
    /// Returns the text of either string type; empty for all other types.
    [[nodiscard]] std::wstring wide() const;
    /// Returns the same text, which `kept` contains if the value itself does not. The view is valid while both exist.
    [[nodiscard]] std::wstring_view wide_view(std::wstring& kept) const;
    /// Returns the text of either string type in a code page, without holding a long text in memory. Throws
    /// std::runtime_error for a text that the code page cannot represent.
    [[nodiscard]] bytes_ptr narrow(std::uint32_t page) const;
    /// Returns the size of the value in bytes as MAPI defines it.
    [[nodiscard]] std::uint64_t size() const;
};

/// Returns true if two values have the same type and contents; reals are compared bit by bit.
bool same_value(const property_value& left, const property_value& right);

/// Returns true for PT_STRING8 and PT_UNICODE.
bool is_string(std::uint32_t type);
/// Returns true for the types that can be opened as a stream.
bool is_streamed(std::uint32_t type);
/// Converts the value to the string type `type`; returns it unchanged if it already has that type. `code_page` is the
/// code page of a resulting PT_STRING8.
property_value convert_string(const property_value& value, std::uint32_t type, std::uint32_t code_page = 0);
/// Returns the contents of a stream over the value: the bytes of PT_STRING8 and PT_BINARY, UTF-16LE for PT_UNICODE.
bytes_ptr stream_bytes(const property_value& value);
/// Returns the value of type `type` for the contents of its stream.
property_value from_stream_bytes(std::uint32_t type, const bytes_ptr& data);

/// The UTF-16LE of a text that is made piece by piece, and then a value.
class text_builder
{
public:
    /// Appends text; a surrogate pair must not be split.
    void append(std::wstring_view text);
    /// Returns the text as PT_UNICODE. The builder is empty afterwards.
    property_value value();

private:
    scratch units_;
};

/// Convert text to UTF-16LE and back. Unpaired surrogates are preserved; an odd byte at the end is dropped.
std::string to_utf16le(std::wstring_view text);
std::wstring from_utf16le(std::string_view data);

} // namespace host
