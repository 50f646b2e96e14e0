#pragma once

namespace service {

/// Makes the allocator reuse memory of a few MiB instead of returning it to the system: to fetch it again takes longer
/// than to scan it.
void reuse_memory();

} // namespace service
