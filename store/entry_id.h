#pragma once

#include "store/bytes.h"

#include <string>

namespace host {

/// Returns 32 bytes that are derived from the origin of a message, `place`, and from its contents. Of long contents the
/// size and both ends are used.
std::string entry_id(const bytes& contents, const std::string& place);

} // namespace host
