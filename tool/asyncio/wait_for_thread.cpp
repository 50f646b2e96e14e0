#include "tool/asyncio/wait_for_thread.h"

#include <stdexcept>

namespace tpl {

bool wait_for_thread(thread_handle handle, std::uint32_t timeout, const thread_platform& platform)
{
    if (handle == thread_handle{}) {
        return true;
    }
    const auto thread = platform.thread_identity(handle);
    if (thread.id == platform.current_thread_id()) {
        throw std::runtime_error(thread.fallback ? "error: wait on self-thread is potential deadlock (XP)"
                                                 : "error: wait on self-thread is potential deadlock");
    }
    platform.wait(handle, timeout);
    platform.close(handle);
    return true;
}

} // namespace tpl
