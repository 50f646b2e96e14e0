#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <string>
#include <string_view>

namespace host {

/// Returns a text as one header value: unchanged if it is short ASCII, otherwise as encoded words. Lines are folded;
/// there is no line end after the last one.
std::string encoded_words(std::wstring_view text);

/// Returns a header parameter, starting with its ";", for any UTF-8 text, encoded as specified by RFC 2231. Lines are
/// folded.
std::string header_parameter(std::string_view name, std::string_view utf8_text);

/// Returns true if the text consists of printable ASCII without blanks, "<" and ">", is not empty and fits on a line.
bool is_identifier(std::wstring_view text);

/// Returns sender, recipients, subject, date and identifier of a message as header lines. Throws ComError.
std::string mail_headers(IMessage& message, bool include_bcc);

} // namespace host
