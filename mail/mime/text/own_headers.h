#pragma once

#include "store/message_record.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Headers of this program in the messages that it saves: they carry what MIME has no word for. docs/message-files.md
/// tells their form. In mail from outside they mean nothing; who reads a message says whether it is a saved one.
namespace host::own_headers {

/// What all of them begin with.
inline constexpr std::string_view name_prefix = "X-Postwarden-";
/// The stored verdict as a number.
inline constexpr const char* verdict_name = "X-Postwarden-Verdict";
/// All other properties of a message.
inline constexpr const char* properties_name = "X-Postwarden-Properties";
/// The properties of one recipient; once for each.
inline constexpr const char* recipient_name = "X-Postwarden-Recipient";
/// The number and properties of an attachment, at its part.
inline constexpr const char* attachment_name = "X-Postwarden-Attachment";

/// Whether a header has one of these names, or may come to have one; case-blind.
bool is_own(std::string_view name);

/// The stored verdict and the identifier of its property.
struct stored_verdict
{
    std::uint32_t id = 0;
    std::int64_t number = 0;
};

/// The verdict property of a message; nothing when there is none.
std::optional<stored_verdict> find_verdict(const message_record& message);
/// Sets the verdict property from the text of its header; no number, no property.
void set_verdict(message_record& message, std::string_view text);

/// What a list of properties leaves to others.
struct listing_rules
{
    /// Identifiers of contents that the document holds itself. Narrow text is listed all the same, since the document
    /// has it in another form.
    std::vector<std::uint32_t> in_document;
    std::uint32_t left_out = 0; ///< an identifier that has a header of its own; 0: none
};

/// The properties as one line of printable characters without blanks: TAG=VALUE pairs with ";" between them.
std::string to_text(const property_bag& properties, const name_table& names, const listing_rules& rules);

/// Such a text behind the number of an attachment.
std::string numbered(std::uint32_t number, const std::string& list);
/// Takes the number off; nothing when there is none.
std::optional<std::uint32_t> take_number(std::string_view& text);

/// The properties that such a text lists, blanks in it or not; of contents that the document holds those of
/// `document`. What cannot be understood is left out.
std::shared_ptr<property_bag> from_text(std::string_view text, name_table& names, const property_bag& document);

} // namespace host::own_headers
