#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <string>
#include <string_view>

namespace host {

/// A text as one header value: as it is when it is short ASCII, else as encoded words. Lines are folded; there is no
/// line end behind the last.
std::string encoded_words(std::wstring_view text);

/// A parameter of a header with a UTF-8 text of any characters, as RFC 2231 has it, from its ";" on. Lines are folded.
std::string header_parameter(std::string_view name, std::string_view utf8_text);

/// Printable ASCII without blanks, "<" and ">"; not empty, not too long for a line.
bool is_identifier(std::wstring_view text);

/// Sender, recipients, subject, date and identifier of a message as header lines. Raises ComError.
std::string mail_headers(IMessage& message, bool include_bcc);

} // namespace host
