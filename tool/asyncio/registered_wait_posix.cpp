#include "tool/asyncio/event_posix.h"
#include "tool/asyncio/registered_wait.h"

#include <stdexcept>
#include <thread>

namespace tpl {

/// One thread per registration: callbacks run in order, one at a time, and a long one delays no other registration.
class registered_wait::impl
{
public:
    impl(event::impl& signal, std::function<void()> callback)
        : signal_(signal)
        , callback_(std::move(callback))
        , thread_([this] { run(); })
    {}
    impl(const impl&) = delete;
    impl& operator=(const impl&) = delete;

    void unregister()
    {
        if (!thread_.joinable()) {
            return;
        }
        if (thread_.get_id() == std::this_thread::get_id()) {
            throw std::runtime_error("error: wait on self-thread is potential deadlock");
        }
        end();
        thread_.join();
    }

    void end() noexcept
    {
        ended_ = true;
        signal_.interrupt();
    }

private:
    void run()
    {
        for (;;) {
            const std::uint32_t seen = signal_.word();
            if (ended_) {
                return;
            }
            if (signal_.take()) {
                callback_();
            } else {
                signal_.sleep(seen, std::nullopt);
            }
        }
    }

    event::impl& signal_;
    std::function<void()> callback_;
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

registered_wait::registered_wait(event& signal, std::function<void()> callback)
    : impl_(std::make_unique<impl>(*signal.impl_, std::move(callback)))
{}

registered_wait::~registered_wait()
{
    unregister();
}

void registered_wait::end() noexcept
{
    impl_->end();
}

void registered_wait::unregister()
{
    impl_->unregister();
}

} // namespace tpl
