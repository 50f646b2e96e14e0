#pragma once

#include "tool/icap/encapsulated_part.h"
#include "tool/icap/message.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>

namespace icap {

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
    [[nodiscard]] const http::byte_vector& raw_head() const override { return head_text_; }
    [[nodiscard]] bool has_request() override;
    [[nodiscard]] http::message& request() override;
    [[nodiscard]] bool has_response() override;
    [[nodiscard]] http::message& response() override;
    void set_encapsulated(std::unique_ptr<http::message> part) override;
    [[nodiscard]] std::unique_ptr<http::message> release_encapsulated(std::uint32_t kind) override;

    /// The record of the Encapsulated header as it stands.
    [[nodiscard]] encapsulated_offsets encapsulated() const;

protected:
    message_base(http::byte_vector raw_head, const encapsulated_offsets& offsets);

    /// The body bytes of one append() that are left.
    struct body_range
    {
        const char* begin;
        const char* end;
    };
    /// A head among the body bytes: where it ends, counted from the first body byte, and what a head that doesn't end
    /// there is refused with; no text means that the analyzer's bound ends it.
    struct head_bounds
    {
        std::uint64_t end;
        const char* exceeded;
    };

    /// Takes all bytes of the range: calls step(body_range), which returns how many it took, until none is left. What
    /// the message keeps of a range whose step raised is what the steps before it took.
    template <class Step>
    std::uint64_t append_range(const char* begin, const char* end, Step step)
    {
        if (begin > end) {
            throw std::runtime_error("append: invalid range [beg, end)");
        }
        const rewind_received rewind(*this);
        received_ += static_cast<std::uint64_t>(end - begin);
        std::uint64_t taken = 0;
        while (consumed_ != received_) {
            const std::uint64_t count = step(body_range{begin + taken, end});
            consumed_ += count;
            taken += count;
        }
        return taken;
    }
    /// True when the part's head has been read, up to its end by the Encapsulated header.
    [[nodiscard]] bool head_read(const detail::encapsulated_part& part, const head_bounds& bounds) const noexcept
    {
        return part.message() != nullptr && consumed_ >= bounds.end;
    }
    /// A step: takes bytes of the head of `part`.
    std::uint64_t append_head(detail::encapsulated_part& part, const head_bounds& bounds, const body_range& range,
                              http::support_persistent* link, const detail::body_start& start);

    /// Sizes of the heads, from the Encapsulated header. They raise std::runtime_error "invalid request header",
    /// "invalid response header", "invalid request body" or "invalid response body" for a missing entry.
    [[nodiscard]] std::uint32_t sole_request_head_size() const;
    [[nodiscard]] std::uint32_t leading_request_head_size() const;
    [[nodiscard]] std::uint32_t response_head_size() const;

    mutable std::recursive_mutex message_lock_;
    http::byte_vector head_text_;
    encapsulated_offsets offsets_;
    detail::encapsulated_part request_part_;
    detail::encapsulated_part response_part_;
    std::uint64_t received_ = 0; ///< body bytes offered so far
    std::uint64_t consumed_ = 0; ///< body bytes taken so far
    std::uint32_t id_ = 0;

private:
    /// After a failure the bytes that nobody took are forgotten, so that a later range is not taken for them.
    struct rewind_received
    {
        explicit rewind_received(message_base& owner) noexcept
            : owner_(owner)
        {}
        rewind_received(const rewind_received&) = delete;
        rewind_received& operator=(const rewind_received&) = delete;
        ~rewind_received() { owner_.received_ = owner_.consumed_; }
        message_base& owner_;
    };
};

} // namespace icap
