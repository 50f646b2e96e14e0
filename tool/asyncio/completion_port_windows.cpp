#include "tool/asyncio/completion_port.h"
#include "tool/system/errors.h"

namespace tpl {

class completion_port::impl
{
public:
    explicit impl(std::uint32_t concurrency)
        : handle(::CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, concurrency))
    {
        if (handle == nullptr) {
            throw error::win32exception(::GetLastError(), "tool\\asyncio\\completion_port", __LINE__);
        }
    }
    impl(const impl&) = delete;
    impl& operator=(const impl&) = delete;
    ~impl()
    {
        while (free_next()) {
        }
        ::CloseHandle(handle);
    }

    [[nodiscard]] completion take(DWORD milliseconds)
    {
        completion taken;
        DWORD count = 0;
        ULONG_PTR key = 0;
        OVERLAPPED* context = nullptr;
        taken.succeeded = ::GetQueuedCompletionStatus(handle, &count, &key, &context, milliseconds) != FALSE;
        if (!taken.succeeded) {
            taken.error = ::GetLastError();
        }
        taken.transferred = count;
        taken.key = reinterpret_cast<conduit*>(key);
        taken.context = static_cast<io_context*>(context);
        return taken;
    }

    const HANDLE handle;

private:
    /// Frees the context of a completion that no worker took. Returns false if there is no completion left.
    bool free_next()
    {
        const completion taken = take(0);
        const std::unique_ptr<io_context> context(taken.context);
        return taken.succeeded || taken.context != nullptr;
    }
};

completion_port::completion_port(std::uint32_t concurrency)
    : impl_(std::make_shared<impl>(concurrency))
{}

completion_port::~completion_port() = default;

bool completion_port::attach(native_handle handle, conduit* key)
{
    return ::CreateIoCompletionPort(reinterpret_cast<HANDLE>(handle), impl_->handle, reinterpret_cast<ULONG_PTR>(key),
                                    0) != nullptr;
}

void completion_port::post_stop()
{
    ::PostQueuedCompletionStatus(impl_->handle, 0, 0, nullptr);
}

completion completion_port::wait()
{
    return impl_->take(INFINITE);
}

} // namespace tpl
