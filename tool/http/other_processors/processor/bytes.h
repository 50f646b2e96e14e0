#pragma once

#include "tool/http/plain_bytes.h"

namespace processor {

using bytes = http::plain_bytes;

} // namespace processor
