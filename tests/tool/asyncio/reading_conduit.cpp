#include "tests/tool/asyncio/reading_conduit.h"

#include "tool/wproxy/socket_platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

namespace test {

namespace {
std::atomic<int> living{0};
} // namespace

tracked_context::tracked_context()
{
    ++living;
}

tracked_context::~tracked_context()
{
    --living;
}

int tracked_context::alive()
{
    return living;
}

reading_conduit::reading_conduit(std::function<void()> handler)
    : handler_(std::move(handler))
    , handle_(web::system_socket_platform().open_socket())
{
    auto listener = loopback_socket::listen();
    EXPECT_EQ(web::system_socket_platform().connect(handle_, web::make_socket_address(0x7F000001, listener.port())),
              0U);
    peer_ = listener.accept();
}

reading_conduit::~reading_conduit()
{
    close();
}

void reading_conduit::close()
{
    if (handle_ != tpl::invalid_handle) {
        web::system_socket_platform().closesocket(handle_);
        handle_ = tpl::invalid_handle;
    }
}

bool reading_conduit::complete(std::unique_ptr<tpl::io_context> context) noexcept
{
    if (handler_) {
        handler_();
    }
    const auto& done = static_cast<const tracked_context&>(*context);
    const std::lock_guard guard(lock_);
    const auto length = std::min<std::size_t>(done.transferred, done.bytes.size());
    seen_.push_back({std::string(done.bytes.data(), length), done.transferred, done.error, std::this_thread::get_id()});
    ++count_;
    arrived_.set();
    return true;
}

std::uint32_t reading_conduit::start_read(std::uint32_t transferred, std::uint32_t high)
{
    constexpr std::uint32_t pending = 997;
    auto context = std::make_unique<tracked_context>();
    context->transferred = transferred;
    context->InternalHigh = high;
    auto* const raw = context.release(); // owned by the channel, unless the start fails
    const auto size = static_cast<std::uint32_t>(raw->bytes.size());
    const auto code = web::system_socket_platform().recv(handle_, raw->bytes.data(), size, raw);
    if (code != 0 && code != pending) {
        context.reset(raw);
        return code;
    }
    return 0;
}

seen_completion reading_conduit::next()
{
    for (;;) {
        {
            const std::lock_guard guard(lock_);
            if (!seen_.empty()) {
                const auto first = seen_.front();
                seen_.pop_front();
                return first;
            }
        }
        if (arrived_.wait(60000) != tpl::wait_result::signalled) {
            ADD_FAILURE() << "no completion came";
            return {};
        }
    }
}

std::size_t reading_conduit::completions() const
{
    const std::lock_guard guard(lock_);
    return count_;
}

} // namespace test
