#include "tool/asyncio/event_windows.h"
#include "tool/asyncio/registered_wait.h"
#include "tool/asyncio/thread.h"
#include "tool/system/errors.h"

#include <atomic>
#include <mutex>
#include <stdexcept>

namespace tpl {

namespace {
/// WT_EXECUTELONGFUNCTION, and a limit of 1024 threads in the pool's upper half.
constexpr ULONG wait_flags = 0x4000010;
} // namespace

class registered_wait::impl
{
public:
    impl(HANDLE signal, std::function<void()> callback)
        : callback_(std::move(callback))
    {
        if (::RegisterWaitForSingleObject(&wait_, signal, &impl::fired, this, INFINITE, wait_flags) == FALSE) {
            throw error::win32exception(::GetLastError(), "tool\\asyncio\\registered_wait", __LINE__);
        }
    }
    impl(const impl&) = delete;
    impl& operator=(const impl&) = delete;

    void unregister()
    {
        if (wait_ == nullptr) {
            return;
        }
        if (runner_.load() == ::GetCurrentThreadId()) {
            throw std::runtime_error("error: wait on self-thread is potential deadlock");
        }
        ::UnregisterWaitEx(wait_, INVALID_HANDLE_VALUE);
        wait_ = nullptr;
    }

private:
    static void CALLBACK fired(void* context, BOOLEAN /*timed_out*/) noexcept
    {
        auto& self = *static_cast<impl*>(context);
        // The pool waits for the event again while a callback runs, so a second callback may start on another thread.
        const std::lock_guard guard(self.one_at_a_time_);
        self.runner_ = ::GetCurrentThreadId();
        self.callback_();
        self.runner_ = 0;
    }

    std::function<void()> callback_;
    std::mutex one_at_a_time_;
    std::atomic<DWORD> runner_{0};
    HANDLE wait_ = nullptr;
};

registered_wait::registered_wait(event& signal, std::function<void()> callback)
    : impl_(std::make_unique<impl>(signal.impl_->handle, std::move(callback)))
{}

registered_wait::~registered_wait()
{
    unregister();
}

void registered_wait::end() noexcept
{
    // No thread belongs to the registration, so that unregister() waits for nothing but a running callback.
}

void registered_wait::unregister()
{
    impl_->unregister();
}

} // namespace tpl
