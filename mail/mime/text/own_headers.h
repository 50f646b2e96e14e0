#pragma once

#include "store/message_record.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Headers of this program in the messages that it saves; they contain data that MIME cannot express. Their format is
/// documented in docs/message-files.md. They have no meaning in mail from outside; the caller that reads a message
/// specifies whether it is a saved one.
namespace host::own_headers {

/// The prefix of all names.
inline constexpr std::string_view name_prefix = "X-Postwarden-";
/// The stored verdict as a number.
inline constexpr const char* verdict_name = "X-Postwarden-Verdict";
/// All other properties of a message.
inline constexpr const char* properties_name = "X-Postwarden-Properties";
/// The properties of one recipient; one header per recipient.
inline constexpr const char* recipient_name = "X-Postwarden-Recipient";
/// The number and properties of an attachment, in the headers of its part.
inline constexpr const char* attachment_name = "X-Postwarden-Attachment";

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

/// Specifies the contents that a list of properties omits.
struct listing_rules
{
    /// Identifiers of contents that the document itself contains. Narrow text is listed nevertheless, because the
    /// document contains it in another form.
    std::vector<std::uint32_t> in_document;
    std::uint32_t left_out = 0; ///< an identifier that has a separate header; 0: none
};

/// Formats the properties as one line of printable characters without blanks: TAG=VALUE pairs separated by ";".
std::string to_text(const property_bag& properties, const name_table& names, const listing_rules& rules);

/// Prefixes such a list with the number of an attachment.
std::string numbered(std::uint32_t number, const std::string& list);
/// Removes the number from the text and returns it; empty if there is none.
std::optional<std::uint32_t> take_number(std::string_view& text);

/// Parses such a list, in which blanks are ignored. Contents that the document itself contains are taken from
/// `document`. Entries that cannot be parsed are omitted.
std::shared_ptr<property_bag> from_text(std::string_view text, name_table& names, const property_bag& document);

} // namespace host::own_headers
