#pragma once

#include "store/bytes.h"

#include <string_view>

namespace host {

/// Returns true if some header of a message begins so many encoded words without ending them that a search for the end
/// of each of them would take long: the size of the header for each. Reads the whole source.
bool has_costly_words(const bytes& source);
/// The same for the value of one header.
bool has_costly_words(std::string_view value);

} // namespace host
