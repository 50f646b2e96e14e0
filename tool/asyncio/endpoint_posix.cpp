#include "tool/asyncio/endpoint_posix.h"

#include "tool/asyncio/completion_port_posix.h"
#include "tool/system/win32_codes.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tpl {

namespace code = winapi::code;

std::uint32_t winsock_code(int error) noexcept
{
    switch (error) { // these error numbers have another meaning on a file
    case EBADF:
        return code::not_socket;
    case EINVAL:
        return code::socket_invalid;
    case EFAULT:
        return code::socket_fault;
    case EACCES:
    case EPERM:
        return code::socket_access;
    case EMFILE:
    case ENFILE:
        return code::too_many_sockets;
    case ENOMEM:
        return code::no_buffer_space;
    default:
        return winapi::code_from_errno(error);
    }
}

native_handle open_endpoint(int descriptor)
{
    const auto made = std::make_shared<endpoint>(descriptor);
    made->self_ = made;
    return made.get();
}

void close_endpoint(native_handle handle)
{
    handle->close();
    const auto last = std::move(handle->self_);
}

std::uint32_t endpoint::make_non_blocking()
{
    if (non_blocking_) {
        return code::success;
    }
    const int descriptor = descriptor_;
    const int flags = ::fcntl(descriptor, F_GETFL);
    if (flags < 0 || ((flags & O_NONBLOCK) == 0 && ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) < 0)) {
        return winsock_code(errno);
    }
    non_blocking_ = true;
    return code::success;
}

bool endpoint::bind(std::shared_ptr<completion_port::impl> port, conduit* key)
{
    const std::lock_guard guard(lock_);
    if (port_ != nullptr || descriptor_ == -1) {
        return false;
    }
    id_ = port->add(weak_from_this());
    port_ = std::move(port);
    key_ = key;
    return true;
}

std::uint32_t endpoint::start_read(char* destination, std::uint32_t size, io_context* context)
{
    const std::lock_guard guard(lock_);
    if (descriptor_ == -1) {
        return code::not_socket;
    }
    if (reads_refused_) {
        return code::socket_shut_down;
    }
    if (pending_.context != nullptr) {
        return code::in_progress;
    }
    if (!registered_) {
        // An unconnected socket refuses at once; readiness would report it only later.
        char byte = 0;
        if (::recv(descriptor_, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && errno != EAGAIN && errno != EINTR) {
            return winsock_code(errno);
        }
    }
    pending_ = {destination, size, context};
    if (port_ != nullptr) {
        if (const auto error = arm(); error != code::success) {
            pending_ = {};
            return error;
        }
    }
    return code::io_pending;
}

std::uint32_t endpoint::arm()
{
    const int error = port_->watch(descriptor_, id_, registered_);
    registered_ = registered_ || error == 0;
    return error == 0 ? code::success : winsock_code(error);
}

bool endpoint::finish_read(completion& done)
{
    const std::lock_guard guard(lock_);
    if (pending_.context == nullptr || descriptor_ == -1) {
        return false; // cancelled meanwhile
    }
    const auto count = ::recv(descriptor_, pending_.destination, pending_.size, MSG_DONTWAIT);
    const int failure = count < 0 ? errno : 0;
    std::uint32_t error = failure == 0 ? code::success : winsock_code(failure);
    if (failure == EAGAIN || failure == EINTR) {
        error = arm();
        if (error == code::success) {
            return false;
        }
    }
    done = {};
    done.key = key_;
    done.context = pending_.context;
    if (error == code::success) {
        done.transferred = static_cast<std::uint32_t>(count);
        done.context->InternalHigh = done.transferred;
    } else {
        done.succeeded = false;
        done.error = error;
    }
    pending_ = {};
    return true;
}

bool endpoint::take_cancelled(completion& done)
{
    if (pending_.context == nullptr) {
        return false;
    }
    done.succeeded = false;
    done.error = code::operation_aborted;
    done.key = key_;
    done.context = pending_.context;
    pending_ = {};
    return true;
}

void endpoint::deliver_cancelled(bool cancelled, const completion& done)
{
    if (!cancelled) {
        return;
    }
    if (port_ != nullptr) {
        port_->post(done);
    } else {
        const std::unique_ptr<io_context> undeliverable(done.context); // bound to no port: nothing waits for it
    }
}

void endpoint::cancel_read()
{
    completion done;
    bool cancelled = false;
    {
        const std::lock_guard guard(lock_);
        cancelled = take_cancelled(done);
    }
    deliver_cancelled(cancelled, done);
}

void endpoint::refuse_reads()
{
    const std::lock_guard guard(lock_);
    reads_refused_ = true;
}

void endpoint::close()
{
    completion done;
    bool cancelled = false;
    {
        const std::lock_guard guard(lock_);
        cancelled = take_cancelled(done);
        if (const int descriptor = descriptor_.exchange(-1); descriptor != -1) {
            ::close(descriptor); // also removes it from the epoll instance
        }
    }
    if (port_ != nullptr) {
        port_->remove(id_);
    }
    deliver_cancelled(cancelled, done);
}

} // namespace tpl
