#pragma once

#include "tool/http/analyzer.h"
#include "tool/http/message.h"
#include "tool/http/message_body.h"

#include <cstdint>
#include <memory>

namespace icap::detail {

/// Passes the method of an encapsulated request to the analyzer of the response that answers it.
class support_persistent_impl final : public http::support_persistent
{
public:
    void set(std::uint32_t value) override { value_ = value; }
    [[nodiscard]] std::uint32_t get() const override { return value_; }

private:
    std::uint32_t value_ = 0;
};

/// The initial state of the body of an encapsulated message; see http::http_message_body.
struct body_start
{
    bool completed = false;         ///< true for a null body
    bool preview = false;           ///< true if the ICAP message has a preview
    std::uint64_t preview_size = 0; ///< bytes
};

/// One encapsulated HTTP message: the analyzer that reads its head, the message, its body. Used under the lock of the
/// ICAP message.
class encapsulated_part
{
public:
    /// Takes bytes of the head. When they end the head, makes the message and its body. The HTTP analyzer decides on
    /// bytes behind the end of the head. Throws what that analyzer throws.
    void append_head(const char* begin, const char* end, http::support_persistent* link, const body_start& start);
    /// Passes the same bytes to the HTTP analyzer repeatedly. Its cache is limited, so this ends with std::out_of_range
    /// "inmemory_cache::append() failed: max size exceeded". The range must not be empty.
    [[noreturn]] void offer_until_overflow(const char* begin, const char* end, http::support_persistent* link);
    /// Takes bytes of the body and returns the count taken. The body must exist.
    std::uint64_t append_body(const char* begin, const char* end) { return body_->append(begin, end); }

    /// Replaces the message, which must not be null, and makes its body. The body is completed if the message is
    /// complete.
    void set(std::unique_ptr<http::message> message);
    /// Returns the message to the caller, who owns it then, and destroys the body.
    [[nodiscard]] std::unique_ptr<http::message> release();

    /// Returns the message, null before its head has been read. Not owned by the caller.
    [[nodiscard]] http::message* message() const noexcept { return message_.get(); }
    /// Returns the body, null if there is no message. Not owned by the caller.
    [[nodiscard]] http::http_message_body* body() const noexcept { return body_.get(); }
    /// Returns true if the body exists and is completed.
    [[nodiscard]] bool completed() const { return body_ && body_->completed(); }

private:
    http::analyzer& analyzer(http::support_persistent* link);

    std::unique_ptr<http::analyzer> analyzer_; ///< made with the first byte
    std::unique_ptr<http::message> message_;
    std::unique_ptr<http::http_message_body> body_; ///< refers to `message_`
};

} // namespace icap::detail
