#pragma once

#include "tool/icap/encapsulated_part.h"
#include "tool/icap/message.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>

namespace icap {

/// The part that requests and responses share: the raw head, the two encapsulated HTTP messages with their analyzers
/// and bodies, and the counts of body bytes. The lock is recursive, because a message that changes its own head under
/// the lock uses its header table. Locks nest in this order: analyzer, message, analyzer of the message's parts.
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

    /// Returns the current record of the Encapsulated header.
    [[nodiscard]] encapsulated_offsets encapsulated() const;

protected:
    /// Takes ownership of the head's text.
    message_base(http::byte_vector raw_head, const encapsulated_offsets& offsets);

    /// The remaining bytes of one append().
    struct body_range
    {
        const char* begin;
        const char* end;
    };
    /// The bounds of a head among the body bytes.
    struct head_bounds
    {
        std::uint64_t end;    ///< end of the head, counted from the first body byte
        const char* exceeded; ///< exception text if the head does not end there; null: the analyzer's limit applies
    };

    /// Takes all bytes of the range: calls step(body_range), which returns the count it took, until none is left.
    /// Returns the length of the range. If a step throws, the message keeps what the earlier steps took. Throws
    /// std::runtime_error "append: invalid range [beg, end)" for a reversed range.
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
    /// Returns true if the part's head has been read, up to the end that the Encapsulated header specifies.
    [[nodiscard]] bool head_read(const detail::encapsulated_part& part, const head_bounds& bounds) const noexcept
    {
        return part.message() != nullptr && consumed_ >= bounds.end;
    }
    /// A step: takes bytes of the head of `part` and returns their count. Throws std::runtime_error with
    /// `bounds.exceeded`, or std::out_of_range, if the head does not end within its bounds.
    std::uint64_t append_head(detail::encapsulated_part& part, const head_bounds& bounds, const body_range& range,
                              http::support_persistent* link, const detail::body_start& start);

    /// Return the sizes of the heads in bytes, as the Encapsulated header specifies them. Throw std::runtime_error
    /// "invalid request header", "invalid response header", "invalid request body" or "invalid response body" for a
    /// missing entry.
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
    /// After a failure, forgets the bytes that were offered but not taken, so that the next range is not mistaken for
    /// them.
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
