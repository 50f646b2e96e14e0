#include "tool/asyncio/event_windows.h"

#include "tool/system/errors.h"

namespace tpl {

event::impl::impl()
    : handle(::CreateEventW(nullptr, FALSE, FALSE, nullptr))
{
    if (handle == nullptr) {
        throw error::win32exception(::GetLastError(), "tool\\asyncio\\event", __LINE__);
    }
}

event::impl::~impl()
{
    ::CloseHandle(handle);
}

event::event()
    : impl_(std::make_unique<impl>())
{}

event::~event() = default;

void event::set() noexcept
{
    ::SetEvent(impl_->handle);
}

wait_result event::wait(std::uint32_t milliseconds) noexcept
{
    return static_cast<wait_result>(::WaitForSingleObject(impl_->handle, milliseconds));
}

} // namespace tpl
