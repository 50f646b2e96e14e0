#include "tool/asyncio/channel.h"

#include "tool/asyncio/wait_for_thread.h"

#include <memory>
#include <utility>

namespace tpl {

channel::channel(std::size_t thread_count, std::uint32_t concurrency)
    : port_(concurrency)
    , threads_(thread_count, thread_handle{})
{
    try {
        for (auto& thread : threads_) {
            thread = start_thread(&channel::work, this);
        }
    } catch (...) {
        stop(); // the workers that have started still use the port
        throw;
    }
}

channel::~channel()
{
    stop();
}

bool channel::attach(conduit& target)
{
    return port_.attach(target.handle(), &target);
}

void channel::stop()
{
    for (std::size_t posted = 0; posted < threads_.size(); ++posted) {
        port_.post_stop();
    }
    for (auto& thread : threads_) {
        wait_for_thread(thread, infinite);
        thread = thread_handle{};
    }
    threads_.clear();
    stopped_ = true;
}

void channel::work(void* self)
{
    static_cast<channel*>(self)->run();
}

void channel::run()
{
    for (;;) {
        const completion done = port_.wait();
        std::unique_ptr<io_context> context(done.context);
        if (done.key == nullptr && context == nullptr) {
            return;
        }
        if (done.key == nullptr || context == nullptr) {
            continue; // not part of a conduit's operation
        }
        if (!done.succeeded) {
            context->error = done.error;
        }
        const auto count = done.transferred != 0 ? done.transferred : static_cast<std::uint32_t>(context->InternalHigh);
        context->transferred += count;
        done.key->complete(std::move(context));
    }
}

} // namespace tpl
