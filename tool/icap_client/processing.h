#pragma once

#include "tool/icap/response_notifier.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace web {
class session;
} // namespace web

/// The small interfaces and values between a protocol processor and the session that it works for.
namespace icap {

/// Does the work that a processor passes on.
class application_process
{
public:
    virtual void process_directly(const std::shared_ptr<application_request>& request) = 0;
    virtual void process_asynchronously(const std::shared_ptr<application_request>& request) = 0;
    virtual ~application_process() = default;
};

/// The interface of a processor to its application.
class processing
{
public:
    /// Discards the message that is being assembled.
    virtual void reset() = 0;
    virtual void proceed() = 0;
    virtual ~processing() = default;
};

/// Marks a processor as busy during its own lifetime.
class transmitter
{
public:
    transmitter(std::uint32_t id, web::session* session, std::atomic<std::uint32_t>& busy_count) noexcept
        : id_(id)
        , session_(session)
        , busy_count_(&busy_count)
    {
        busy_count_->fetch_add(1);
    }
    transmitter(const transmitter&) = delete;
    transmitter& operator=(const transmitter&) = delete;
    ~transmitter() { busy_count_->fetch_sub(1); }

    [[nodiscard]] std::uint32_t id() const noexcept { return id_; }
    [[nodiscard]] web::session* session() const noexcept { return session_; }

private:
    std::uint32_t id_;
    web::session* session_;
    std::atomic<std::uint32_t>* busy_count_;
};

} // namespace icap
