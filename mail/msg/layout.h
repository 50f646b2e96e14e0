#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Names and numbers of the message file format ([MS-OXMSG]).
namespace host::msg {

/// Class identifier of the root storage.
inline constexpr GUID message_class_id{0x00020D0B, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

inline constexpr std::string_view properties_stream = "__properties_version1.0";
inline constexpr std::string_view names_storage = "__nameid_version1.0";
inline constexpr std::string_view recipient_prefix = "__recip_version1.0_#";
inline constexpr std::string_view attachment_prefix = "__attach_version1.0_#";

/// Returns the name of the stream or storage of a property: "__substg1.0_0037001F".
std::string value_name(std::uint32_t tag);
/// Returns the name of the stream of a list element: "__substg1.0_8000101F-00000002".
std::string element_name(std::uint32_t tag, std::uint32_t index);
/// Returns a name such as "__attach_version1.0_#0000000A".
std::string numbered_name(std::string_view prefix, std::uint32_t number);
/// The largest number of a recipient or attachment: MAPI uses signed numbers, and a next number must always exist.
inline constexpr std::uint32_t largest_number = 0x7FFFFFFE;
/// Returns the number in such a name, compared without regard to case; empty if the name has another form.
std::optional<std::uint32_t> number_of(std::string_view name, std::string_view prefix);
/// Returns the name with its ASCII letters in upper case, as compound files compare names.
std::string folded(std::string_view name);

/// The kinds of objects; each of them has a list of properties.
enum class object_kind
{
    message,
    embedded,
    recipient,
    attachment
};

/// Returns the number of bytes before the entries of a property list.
std::size_t header_size(object_kind kind);

/// An entry of a property list: the tag, flags, and eight bytes that contain the value or its size.
using property_entry = std::array<char, 16>;

// Offsets in the header of a message's property list.
inline constexpr std::size_t next_recipient = 8;
inline constexpr std::size_t next_attachment = 12;
inline constexpr std::size_t recipient_count = 16;
inline constexpr std::size_t attachment_count = 20;

inline constexpr std::size_t entry_flags = 4;
inline constexpr std::size_t entry_value = 8;
inline constexpr std::size_t entry_size = 8;
inline constexpr std::size_t entry_reserved = 12;
inline constexpr std::uint32_t readable_and_writable = 6;
inline constexpr std::uint32_t size_of_objects = 0xFFFFFFFF;
inline constexpr std::uint32_t reserved_of_messages = 1;
inline constexpr std::uint32_t reserved_of_storages = 4;

/// Properties from this identifier on have names.
inline constexpr std::uint32_t first_named = 0x8000;

/// Specifies where the value of a type is stored.
enum class value_form
{
    in_entry,
    in_stream,
    in_storage,
    list_in_stream,  ///< consecutive elements of one size
    list_of_streams, ///< a stream of lengths, and one per element
    unknown          ///< a stream if there is one, otherwise the entry
};
value_form form_of(std::uint32_t type);
/// Returns the size in bytes of a value, or of a list's element, of a fixed-size type; 0 for all other types.
std::size_t width_of(std::uint32_t type);

/// Little-endian numbers.
std::uint32_t u16_at(std::string_view data, std::size_t offset);
std::uint32_t u32_at(std::string_view data, std::size_t offset);
void append_u32(std::string& target, std::uint32_t number);

std::uint32_t u32_at(const property_entry& entry, std::size_t offset);
void set_u32(property_entry& entry, std::size_t offset, std::uint32_t number);
std::uint32_t tag_of(const property_entry& entry);

/// Reads and writes a GUID in its file format.
GUID guid_at(std::string_view data, std::size_t offset);
std::string bytes_of_guid(const GUID& guid);

} // namespace host::msg
