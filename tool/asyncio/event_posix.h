#pragma once

#include "tool/asyncio/event.h"

#include <condition_variable>
#include <mutex>

namespace tpl {

class event::impl
{
public:
    std::mutex lock;
    std::condition_variable changed; ///< notified of a set(), and of registered waits that are to end
    bool signalled = false;
};

} // namespace tpl
