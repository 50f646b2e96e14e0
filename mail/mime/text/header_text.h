#pragma once

#include "mail/mime/text/gmime_ptr.h"

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// One header line of a kept text: its name, and what follows the colon with its line breaks as they were.
struct kept_header
{
    std::string name;
    std::string value;
};

/// The headers of a text that may be a header block; lines that are none, and names that don't begin with a letter or
/// are longer than a line takes, are left out.
std::vector<kept_header> split_headers(std::string_view text);

/// UTF-8 text as a header value that reads back to the very same text: plain where it can be, else encoded words.
std::string header_words(std::string_view utf8);

/// A list without blanks, with ";" between its entries, as a header value: each entry begins a line.
std::string header_lines(std::string_view list);

/// Printable ASCII without blanks, "<" and ">"; not empty, not too long for a line.
bool is_plain_word(std::string_view text);

/// The text with a blank for each control character.
std::string without_controls(std::string text);

/// The text with blanks in words of ASCII that are too long for a line.
std::string with_word_breaks(std::string_view utf8);

/// What of a text is printable ASCII, as much of it as a line takes.
std::string ascii_of_line(std::string_view text);

/// Adds a header whose value is on the wire as it stands here, from behind the colon; lines end in LF.
void append_raw_header(GMimeObject* object, const char* name, const std::string& value);

} // namespace host
