#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

namespace host {

/// Makes an empty stream in memory that grows as it is written and goes with its last reference, which is the caller's.
HRESULT create_memory_stream(IStream** stream);

} // namespace host
