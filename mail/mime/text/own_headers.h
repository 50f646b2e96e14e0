#pragma once

#include "store/message_record.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Headers of this program ahead of the messages that it saves; they contain data that the message cannot express.
/// Their format is documented in docs/message-files.md. They have no meaning in mail from outside; the caller that
/// reads a message specifies whether it is a saved one.
namespace host::own_headers {

/// The prefix of all names.
inline constexpr std::string_view name_prefix = "X-Postwarden-";
/// The stored verdict as a number.
inline constexpr const char* verdict_name = "X-Postwarden-Verdict";
/// The other properties that differ from those of the document.
inline constexpr const char* properties_name = "X-Postwarden-Properties";
/// The properties of one recipient; one header per recipient, if they differ from those of the document.
inline constexpr const char* recipient_name = "X-Postwarden-Recipient";
/// An attachment that differs from that of the document.
inline constexpr const char* attachment_name = "X-Postwarden-Attachment";
/// The last header of this program. Everything behind it is the document, whatever its headers are named.
inline constexpr const char* end_name = "X-Postwarden-End";
/// The list of the only recipient header of a message without recipients.
inline constexpr std::string_view no_recipients = "-";

/// Returns true if a header has one of these names or is reserved for future ones; compared without regard to case.
bool is_own(std::string_view name);

/// The stored verdict and the identifier of its property.
struct stored_verdict
{
    std::uint32_t id = 0;
    std::int64_t number = 0;
};

/// Returns the verdict property of a message; empty if there is none.
std::optional<stored_verdict> find_verdict(const message_record& message);
/// Sets the verdict property from the text of its header. Does nothing if the text is not a number.
void set_verdict(message_record& message, std::string_view text);

/// Properties and the names of their store.
struct named_properties
{
    const property_bag& properties;
    const name_table& names;
};

/// Formats the differences between the properties of an object and those that its document yields as one line of
/// printable characters without blanks: !TAG for a property that does not exist, TAG=VALUE for one that is other or
/// new, separated by ";" and sorted. `left_out` is the identifier of a property that has a separate header.
std::string differences(const named_properties& wanted, const named_properties& document, std::uint32_t left_out = 0);
/// Applies such a list, in which blanks are ignored, to the properties that the document yields. Entries that cannot be
/// parsed are omitted.
void apply(std::string_view list, name_table& names, property_bag& properties);

/// Removes an entry "KEY=VALUE" from the beginning of a list and returns its value; empty if the list begins with
/// another one.
std::optional<std::string_view> take_entry(std::string_view& list, std::string_view key);
/// Does the same for a number. An entry that is none is removed as well.
std::optional<std::uint32_t> take_number(std::string_view& list, std::string_view key);

} // namespace host::own_headers
