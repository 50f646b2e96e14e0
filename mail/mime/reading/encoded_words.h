#pragma once

#include "mail/mime/text/gmime_ptr.h"

#include <string>
#include <string_view>

namespace host {

/// A header value with each row of base64 words of one character set made into one word, since the library reads such a
/// row only up to its first padding. A character that was cut between two words is whole again. Anything else stays.
std::string join_encoded_words(std::string_view value);

/// Does so in all headers of a message or part, and in what the library has made of them.
void join_encoded_words(GMimeObject* object);

} // namespace host
