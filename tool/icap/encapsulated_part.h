#pragma once

#include "tool/http/analyzer.h"
#include "tool/http/message.h"
#include "tool/http/message_body.h"

#include <cstdint>
#include <memory>

namespace icap::detail {

/// Carries the method of an encapsulated request to the analyzer of the response that answers it.
class support_persistent_impl final : public http::support_persistent
{
public:
    void set(std::uint32_t value) override { value_ = value; }
    [[nodiscard]] std::uint32_t get() const override { return value_; }

private:
    std::uint32_t value_ = 0;
};

/// How the body of an encapsulated message begins its life.
struct body_start
{
    bool completed = false; ///< a null body
    bool preview = false;
    std::uint64_t preview_size = 0;
};

/// One encapsulated HTTP message: the analyzer that reads its head, the message, its body. Used under the lock of the
/// ICAP message.
class encapsulated_part
{
public:
    /// Takes bytes of the head. When they end the head, the message and its body are made. Bytes behind the head's end
    /// go the way that the HTTP analyzer gives them.
    void append_head(const char* begin, const char* end, http::support_persistent* link, const body_start& start);
    /// Offers the same bytes to the HTTP analyzer again and again. Its cache is bounded, so this ends with
    /// std::out_of_range "inmemory_cache::append() failed: max size exceeded". The range is not empty.
    [[noreturn]] void offer_until_overflow(const char* begin, const char* end, http::support_persistent* link);
    /// Takes bytes of the body; returns how many it took.
    std::uint64_t append_body(const char* begin, const char* end) { return body_->append(begin, end); }

    /// Replaces the message.
    void set(std::unique_ptr<http::message> message);
    /// Gives the message back and destroys the body.
    [[nodiscard]] std::unique_ptr<http::message> release();

    [[nodiscard]] http::message* message() const noexcept { return message_.get(); }
    [[nodiscard]] http::http_message_body* body() const noexcept { return body_.get(); }
    [[nodiscard]] bool completed() const { return body_ && body_->completed(); }

private:
    http::analyzer& analyzer(http::support_persistent* link);

    std::unique_ptr<http::analyzer> analyzer_; ///< made with the first byte
    std::unique_ptr<http::message> message_;
    std::unique_ptr<http::http_message_body> body_; ///< refers to `message_`
};

} // namespace icap::detail
