#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

namespace host {

/// Creates an empty memory stream that grows as it is written and is freed with its last reference, which the caller
/// owns.
HRESULT create_memory_stream(IStream** stream);

} // namespace host
