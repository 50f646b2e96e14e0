#pragma once

#include "tool/icap/message.h"

#include <cstdint>
#include <memory>
#include <mutex>

namespace icap {

namespace detail {
struct encapsulated_part;
} // namespace detail

/// What requests and responses have in common: the raw head, the two encapsulated HTTP messages with their analyzers
/// and bodies, and the count of body bytes. The lock is recursive, as a message that changes its own head under the
/// lock goes through its header table. Locks nest in the order: analyzer, message, analyzer of the message's parts.
class message_base : public message
{
public:
    message_base(const message_base&) = delete;
    message_base& operator=(const message_base&) = delete;
    ~message_base() override;

    void set_id(std::uint32_t id) override;
    [[nodiscard]] std::uint32_t id() const override;
    [[nodiscard]] const http::byte_vector& raw_head() const override { return raw_head_; }
    [[nodiscard]] bool has_request() override;
    [[nodiscard]] http::message& request() override;
    [[nodiscard]] bool has_response() override;
    [[nodiscard]] http::message& response() override;
    void set_encapsulated(std::unique_ptr<http::message> message) override;
    [[nodiscard]] std::unique_ptr<http::message> release_encapsulated(std::uint32_t kind) override;

    /// The record of the Encapsulated header as it stands.
    [[nodiscard]] encapsulated_offsets encapsulated() const;

protected:
    message_base(http::byte_vector raw_head, const encapsulated_offsets& offsets);

    mutable std::recursive_mutex lock_;
    http::byte_vector raw_head_;
    encapsulated_offsets offsets_;
    std::unique_ptr<detail::encapsulated_part> request_part_;
    std::unique_ptr<detail::encapsulated_part> response_part_;
    std::uint64_t received_ = 0; ///< body bytes offered so far
    std::uint64_t consumed_ = 0; ///< body bytes taken so far
    std::uint32_t id_ = 0;
};

} // namespace icap
