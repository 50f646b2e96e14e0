#pragma once

#include "mail/mime/text/gmime_ptr.h"

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// One header line of a kept header block: its name, and the text after the colon with its line breaks preserved.
struct kept_header
{
    std::string name;
    std::string value;
};

/// Returns the headers of a text that may be a header block. Other lines are omitted, as are names that do not begin
/// with a letter or are too long for a line.
std::vector<kept_header> split_headers(std::string_view text);

/// Encodes UTF-8 text as a header value that decodes to the same text: plain if possible, otherwise as encoded words.
std::string header_words(std::string_view utf8);

/// Formats a list of entries separated by ";", without blanks, as a header value with each entry on a separate line.
std::string header_lines(std::string_view list);

/// Returns true if the text consists of printable ASCII without blanks, "<" and ">", is not empty and fits on a line.
bool is_plain_word(std::string_view text);

/// Replaces each control character of the text by a blank.
std::string without_controls(std::string text);

/// Inserts blanks into ASCII words that are too long for a line.
std::string with_word_breaks(std::string_view utf8);

/// Returns the printable ASCII characters of a text, as many as fit on a line.
std::string ascii_of_line(std::string_view text);

/// Adds a header whose value, including the text directly after the colon, is written unchanged. Lines must end in LF.
void append_raw_header(GMimeObject* object, const char* name, const std::string& value);

} // namespace host
