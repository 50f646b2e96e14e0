#pragma once

#include "mail/mime/text/gmime_ptr.h"

#include <string>
#include <string_view>

namespace host {

/// Returns a header value in which each sequence of base64 words of the same character set is merged into one word,
/// because the library decodes such a sequence only up to its first padding. A character that is split between two
/// words becomes complete. All other text is unchanged.
std::string join_encoded_words(std::string_view value);

/// Applies join_encoded_words to all headers of a message or part and to the library's decoded form of them.
void join_encoded_words(GMimeObject* object);

} // namespace host
