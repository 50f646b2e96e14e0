#pragma once

namespace host {

/// Makes the MIME library's tables, once, and keeps them. Any thread may call.
void prepare_mime_library();

} // namespace host
