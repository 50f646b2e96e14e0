#pragma once

#include "store/bytes.h"

#include <string>

namespace host {

/// 32 bytes that follow from the place that a message comes from and its contents; of long contents the size and both
/// ends count.
std::string entry_id(const bytes& contents, const std::string& place);

} // namespace host
